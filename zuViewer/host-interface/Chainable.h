// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <QFlags>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>

class CzChain;
class IzChainData;
class QDomDocument;
class QDomElement;
class QWidget;

/// What the user made of an element.
enum class EzChainableState : std::uint32_t {
    Processing = 0,
    Bypassed = 1, ///< switched off: data passes it untouched
};

/// One processing element of a chain. A chain is a line: each element has at most one predecessor and one
/// successor.
///
/// Elements are made, configured and deleted on the GUI thread. setupStart(), processData() and setupStop()
/// run on the chain's worker thread; whatever both threads touch is guarded by mutex. The order of the
/// virtual operations is part of the interface.
class ZUCORE_EXPORT CzChainable : public QObject {
    Q_OBJECT
public:
    /// Advice for the host; no element tests it.
    enum class EzChainableFlag : std::uint32_t {
        ReadsPaddedLines = 1, ///< honours linePitch; an element without it is handed tightly packed pictures
        WantsRawPictures = 4, ///< made for pictures taken through a colour filter array
        ConvertsPictures = 8, ///< turns pictures into pictures
    };
    Q_DECLARE_FLAGS(EzChainableFlags, EzChainableFlag)

    /// One button with which the host switches the element's state in its chain view.
    class ZUCORE_EXPORT CzSimpleStateConfigButton {
    public:
        CzSimpleStateConfigButton(const QString& caption, int id, bool checked);

        QString caption() const { return m_caption; }
        int id() const { return m_id; }
        bool checked() const { return m_checked; }

    private:
        QString m_caption;
        int m_id;
        bool m_checked;
    };

    explicit CzChainable(EzChainableFlags flags);
    ~CzChainable() override;

    // ---- Virtual operations, in the order of their slots ----

    /// Display caption with the current parameters.
    virtual QString caption() = 0;
    /// Whether candidate may feed this element.
    virtual bool acceptsPredecessor(QObject* candidate) = 0;
    /// Number of inputs.
    virtual int maxPredecessors() = 0;
    /// A new element with the same parameters, owned by the caller.
    virtual CzChainable* duplicate() = 0;

    /// Makes the element ready to run; called when its chain starts. False refuses the start, with the reason
    /// for the user in errorText (which may be null).
    virtual bool init(QString* errorText) = 0;
    virtual bool initialized() = 0;
    /// Whether the element ends a chain: it takes data and hands none on.
    virtual bool isDataConsumer() const;
    /// Any thread. On the worker the state that the frame at hand is processed with.
    virtual EzChainableState state();

    // Outputs that wait for the successor, or for the chain behind the last element. Worker thread.

    /// The output that waits at place index, 0 being the oldest; null when there is none. Still owned by this
    /// element.
    virtual IzChainData* data(QObject* consumer, int index);
    /// Takes the output at place index off the queue; it now belongs to the consumer, who asked data() for it
    /// before.
    virtual void discardData(QObject* consumer, int index);
    /// The newest output that waits, and taking it off the queue.
    virtual IzChainData* latestData(QObject* consumer);
    virtual void discardLatestData(QObject* consumer);

    /// A new configuration widget bound to this element, owned by the caller. GUI thread.
    virtual QWidget* createConfigWidget() = 0;
    /// Whether there is currently a choice to configure. Processing does not depend on it.
    virtual bool isConfigurable() = 0;
    /// Appends the buttons for quick switching; exclusive: exactly one is checked at a time.
    virtual void simpleStateConfigButtons(QList<CzSimpleStateConfigButton>& buttons, bool& exclusive);
    virtual void simpleStateConfigButtonPressed(int id);

    /// Writes the parameters as attributes of element: here the element's "uniqueId" and, when bypassed, its
    /// "state".
    virtual bool saveSettings(QDomDocument& document, QDomElement& element) const;
    /// Reads them back. False when something expected is missing or wrong; what could be read is kept.
    virtual bool loadSettings(const QDomElement& element);
    virtual bool hasHelp() const;
    /// Description for the user, as rich text.
    virtual QString help(QString& topic);

    /// Frames per second that the element can bear; 0: any number. A chain runs at the pace of its slowest
    /// element.
    virtual void setMaxFps(double maxFps);
    virtual double maxFps() const;

    /// Per-run resources for the current input format: made before the first frame, and anew when the format
    /// changes; freed after the last. setupStop() may be called when nothing was allocated. Worker thread.
    virtual void setupStart();
    virtual void setupStop();
    /// Pool buffers that the element needs beyond the one it outputs.
    virtual int recommendedAdditionalBuffersInMemoryPool() const;

    /// Turns one input into one output. Returns the input itself (it passes on, still owned by the host),
    /// another object (the input is gone, the new one belongs to the host) or null (nothing comes out; the
    /// input is still the host's, which deletes it). Worker thread.
    virtual IzChainData* processData(IzChainData* input) = 0;

    // Links. GUI thread, chain stopped. False when the link is refused or was not there.
    virtual bool addSuccessor(CzChainable* successor);
    virtual bool addPrecedessor(CzChainable* predecessor);
    virtual bool removeSuccessor(CzChainable* successor);
    virtual bool removePrecedessor(CzChainable* predecessor);
    virtual bool clearSuccesors();
    virtual bool clearPrecedessors();

    /// Queues an output for the successor, or for the chain behind the last element, and tells the successor.
    /// Takes ownership; false when it is null. Worker thread.
    virtual bool addToOutputData(IzChainData* output);
    /// The pool is about to be replaced: give back what is held of it. Worker thread.
    virtual void onFreePoolBuffers(void* pool);
    /// source has an output waiting at place index. Worker thread.
    virtual void onDataAvailable(CzChainable* source, int index);
    /// The processing loop: takes every input that waits, calls processData() and queues the results. Worker
    /// thread.
    virtual void run();
    /// Called on the thread that starts and stops the chain: before the worker begins, after it ended.
    virtual void onChainStarted(CzChain* chain);
    virtual void onChainStopped(CzChain* chain);

    // ---- The rest of the host's side ----

    /// The chain that runs this element; null while it is in none.
    CzChain* chain() const;

    EzChainableFlags flags() const;

    /// Why the element does not do its work; empty when it does. Any thread.
    QString errorMessage() const;

    /// Takes effect at the next frame: a running chain sets itself up again for the formats that follow from
    /// it. Any thread.
    void setState(EzChainableState state);

    CzChainable* predecessor() const;
    CzChainable* successor() const;

protected:
    /// The message that the host shows at the element. The host clears it when the chain starts. Any thread.
    void setErrorMessage(const QString& message);

    /// Guards the parameters between the worker and the GUI thread. Never held across a call that waits or
    /// calls back.
    mutable QMutex mutex;

    /// Handle of the chain's picture memory pool, for CzPicBufAPI; null while the chain is stopped.
    void* memoryPool = nullptr;

private:
    friend class CzChain;
    friend class CzImageProvider;

    /// Calls function; false when it threw, which the error message then tells.
    bool guarded(const std::function<void()>& function);
    /// Calls processData(), measures it, and settles who owns what afterwards. Null when nothing comes out.
    IzChainData* processGuarded(IzChainData* input);
    /// The input, or a tightly packed copy in its place for an element that needs one; null when there is no
    /// memory.
    IzChainData* withoutPadding(IzChainData* input);

    struct Private;
    std::unique_ptr<Private> d;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(CzChainable::EzChainableFlags)
