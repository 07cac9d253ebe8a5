// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ChainMonitor.h"

#include <QListWidget>
#include <QVector>
#include <QWidget>

#include <functional>

class CzChainSession;
class CzChainRow;
class QAction;

/// The list inside the panel: dragging an element tells where it was dropped and moves nothing itself.
class CzChainList : public QListWidget {
    Q_OBJECT
public:
    explicit CzChainList(QWidget* parent = nullptr);

signals:
    /// from, to: rows; to: the row that the dropped one is to have.
    void dropped(int from, int to);

protected:
    void dropEvent(QDropEvent* event) override;
};

/// The chain as a list: the source, then the elements in order, each with its caption, a switch, its
/// quick-switch buttons, the time that it takes and what is wrong with it. A row stands for the link behind
/// it.
class CzChainPanel : public QWidget {
    Q_OBJECT
public:
    /// The session must outlive the panel.
    explicit CzChainPanel(CzChainSession& session, QWidget* parent = nullptr);

    /// Index of the selected element; -1: the source.
    int selectedElement() const;
    void selectElement(int index);

    /// Name of the source, as its row shows it.
    void setSourceCaption(const QString& caption);

    /// Brings captions, switches, buttons, times and messages up to date.
    void refresh(const SzChainFigures& figures);

    /// Add, remove, duplicate, up, down, switch: for menus and tool bars. Each is enabled when it can do
    /// something.
    const QVector<QAction*>& editActions() const { return m_actions; }

    /// Adds an element behind the selected one.
    void add(const QString& uniqueId);

signals:
    /// Another row was selected, or another element is in it.
    void selectionChanged(int element);

private:
    QAction* addAction(const QString& name, const QString& text, const QKeySequence& key,
                       void (CzChainPanel::*slot)(), Qt::ShortcutContext context = Qt::WindowShortcut);
    void chooseAndAdd();
    /// Something is put at the place behind the selected row, and selected.
    void putBehindSelected(const std::function<void(int place)>& put);
    void removeSelected();
    void duplicateSelected();
    void moveSelectedUp();
    void moveSelectedDown();
    void switchSelected();
    void rebuild();
    void fitRow(int index);
    void enableActions();
    CzChainRow* row(int index) const;

    CzChainSession& m_session;
    CzChainList* m_list;
    QVector<QAction*> m_actions;
    QString m_sourceCaption;
    QVector<const QObject*> m_shown; // the elements, as the rows show them
};
