// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Chain.h"
#include "ChainFile.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUndoStack>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class CzChainable;

/// From when on a frame counts as hanging, in milliseconds.
constexpr double hangsAfterMs = 2000.0;

/// The chain that a window shows, and every change of it. Changes are undoable, move the elements themselves
/// and so lose no setting, saved or not. They are made while the chain stands still: a running one is asked
/// to stop, and goes on afterwards. Nothing here waits for the worker. GUI thread.
class CzChainSession : public QObject {
    Q_OBJECT
public:
    explicit CzChainSession(QObject* parent = nullptr);
    /// Waits for the frame at hand: see isStuck().
    ~CzChainSession() override;

    CzChain& chain() { return m_chain; }
    const CzChain& chain() const { return m_chain; }
    const QVector<CzChainable*>& elements() const { return m_chain.elements(); }
    const QUndoStack& undoStack() const { return m_undoStack; }

    // ---- Running ----

    enum class EzState {
        Stopped,
        Running,
        Stopping, ///< the frame at hand is being finished
    };
    EzState state() const;
    /// What the user asked for, whatever has come of it yet.
    bool isWanted() const { return m_wanted; }

    /// Starts or stops the chain, as soon as that can be. A start that is refused is told by failed().
    void setRunning(bool wanted);

    /// Calls the function once the chain stands still, at once when it does, also within another such
    /// function; a running chain is started again behind it. Functions are called in order. Those that wait
    /// go on waiting while a dialog or a list is open: it may be an element's own.
    void whenStopped(std::function<void()> change);

    /// The same for what a user does to an element's own widget: goes before all changes that wait, whatever
    /// is open. A running chain goes on behind it, as if nothing had been: state() stays, started() is not
    /// told. What a dialog asks for that the function opens waits until the function is back.
    void interrupt(std::function<void()> act);

    /// Whether one element has been at work for longer than this, in milliseconds.
    bool isStuck(double afterMilliseconds = hangsAfterMs) const;
    static bool isStuck(const SzWorkerState& worker, double afterMilliseconds = hangsAfterMs);

    // ---- Changes, the last 100 of which are undoable; indices count elements, the source being none ----

    /// Puts a new element of a class there; unknown classes, and elements that do not fit their neighbours,
    /// are told by failed().
    void insert(int index, const QString& uniqueId);
    /// Puts an element there, whose owner is now the session.
    void insert(int index, std::unique_ptr<CzChainable> element);
    void remove(int index);
    void duplicate(int index);
    /// to: the element's index afterwards.
    void move(int from, int to);
    void setBypassed(int index, bool bypassed);
    /// Presses one of the element's quick-switch buttons; not undoable.
    void pressButton(int index, int buttonId);
    void undo();
    void redo();

    // ---- Files ----

    /// Replaces the chain by that of a file, which clears the undo history. Warnings (missing classes,
    /// settings that could not be read) are told by warned(), a file that cannot be read by failed(), and
    /// then the chain stays.
    void load(const QString& path);
    /// The same with the text of a chain, which counts as modified when the file says something else. False
    /// when it cannot be read.
    bool loadText(const QByteArray& xml, const QString& path);
    /// An empty chain without a file.
    void clear();
    /// Atomically. False, and told by failed(), when that cannot be done.
    bool save(const QString& path);
    QString path() const { return m_path; }
    /// Whether the chain differs from what was last loaded or saved, settings included.
    bool isModified() const;
    QByteArray text() const;

signals:
    /// The elements are others or in another order; indices that somebody keeps are void.
    void chainChanged();
    /// Before the elements leave the chain, some of them for ever: let go of them and their widgets.
    void aboutToChange();
    void stateChanged();
    /// The chain has just been started; not told when it goes on behind an interruption.
    void started();
    void pathChanged();
    void warned(const QStringList& warnings);
    void failed(const QString& message);

private:
    void poll();
    void makeInterruptions();
    void makePendingChanges();
    /// False when there was nothing to start, or it was refused.
    bool startIfWanted();
    /// Undoably puts an element, a fresh one or one of the chain, to another place, or takes it out.
    void place(const QString& text, std::unique_ptr<CzChainable> fresh, QPointer<CzChainable> present,
               int to);
    /// Undoes or redoes what is called so.
    void retrace(const QString& text, void (QUndoStack::*step)());
    /// savedText: what the file at the path says; none: what the chain will say.
    /// False when the file makes no chain.
    bool replace(const CzChainFile& file, const QString& path,
                 const std::optional<QByteArray>& savedText = std::nullopt);

    CzChain m_chain;
    QUndoStack m_undoStack; // before the chain goes: its commands own the elements outside
    QTimer m_poll;
    std::vector<std::function<void()>> m_pending;
    std::vector<std::function<void()>> m_interruptions;
    bool m_changing = false;    // the pending changes are being made
    bool m_interrupted = false; // the interruptions are
    bool m_wanted = false;
    QString m_path;
    QByteArray m_savedText;
    EzState m_toldState = EzState::Stopped;
};
