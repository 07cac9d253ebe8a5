// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainPanel.h"

#include "ChainRow.h"
#include "ChainSession.h"
#include "Chainable.h"
#include "ElementCatalogue.h"
#include "MissingElement.h"

#include <QAction>
#include <QDropEvent>
#include <QToolBar>
#include <QVBoxLayout>

namespace {

constexpr int sourceRow = 0;

} // namespace

// ---- The list ----

CzChainList::CzChainList(QWidget* parent) : QListWidget(parent) {
    setDragDropMode(QAbstractItemView::InternalMove);
    setDefaultDropAction(Qt::MoveAction);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
}

void CzChainList::dropEvent(QDropEvent* event) {
    const int from = currentRow();
    const QModelIndex under = indexAt(event->pos());
    int before = under.isValid() ? under.row() : count();
    if (under.isValid() && event->pos().y() > visualRect(under).center().y())
        ++before;
    // The rows behind the one that goes move up. The model stays: the panel builds its rows anew.
    const int to = std::max(before > from ? before - 1 : before, sourceRow + 1);
    event->setDropAction(Qt::IgnoreAction);
    event->accept();
    if (from > sourceRow && to != from) // only drags of the list's own are let in
        emit dropped(from, to);
}

// ---- The panel ----

CzChainPanel::CzChainPanel(CzChainSession& session, QWidget* parent)
    : QWidget(parent), m_session(session), m_sourceCaption(tr("No source")) {
    m_list = new CzChainList;
    m_list->setObjectName(QStringLiteral("chain"));
    auto* const bar = new QToolBar;
    bar->setToolButtonStyle(Qt::ToolButtonTextOnly);

    // Keys that fields and lists elsewhere in the window have another use for are the panel's alone.
    constexpr auto inPanel = Qt::WidgetWithChildrenShortcut;
    addAction(QStringLiteral("add"), tr("&Add…"), QKeySequence(Qt::CTRL | Qt::Key_Plus),
              &CzChainPanel::chooseAndAdd);
    addAction(QStringLiteral("remove"), tr("Re&move"), QKeySequence::Delete, &CzChainPanel::removeSelected,
              inPanel);
    addAction(QStringLiteral("duplicate"), tr("&Duplicate"), QKeySequence(Qt::CTRL | Qt::Key_D),
              &CzChainPanel::duplicateSelected);
    addAction(QStringLiteral("up"), tr("Move U&p"), QKeySequence(Qt::ALT | Qt::Key_Up),
              &CzChainPanel::moveSelectedUp, inPanel);
    addAction(QStringLiteral("down"), tr("Move D&own"), QKeySequence(Qt::ALT | Qt::Key_Down),
              &CzChainPanel::moveSelectedDown, inPanel);
    addAction(QStringLiteral("switch"), tr("&Switch On or Off"), QKeySequence(Qt::CTRL | Qt::Key_B),
              &CzChainPanel::switchSelected);
    m_list->addActions(m_actions.toList());
    m_list->setContextMenuPolicy(Qt::ActionsContextMenu);
    bar->addActions(m_actions.mid(0, 3).toList());

    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(bar);
    layout->addWidget(m_list);

    connect(m_list, &QListWidget::currentRowChanged, this, [this] {
        enableActions();
        emit selectionChanged(selectedElement());
    });
    connect(m_list, &CzChainList::dropped, this,
            [this](int from, int to) { m_session.move(from - 1, to - 1); });
    connect(&session, &CzChainSession::chainChanged, this, &CzChainPanel::rebuild);
    rebuild();
}

QAction* CzChainPanel::addAction(const QString& name, const QString& text, const QKeySequence& key,
                                 void (CzChainPanel::*slot)(), Qt::ShortcutContext context) {
    auto* const action = new QAction(text, this);
    action->setObjectName(name);
    action->setShortcut(key);
    action->setShortcutContext(context);
    connect(action, &QAction::triggered, this, slot);
    m_actions.append(action);
    return action;
}

int CzChainPanel::selectedElement() const {
    return std::max(m_list->currentRow(), sourceRow) - 1;
}

void CzChainPanel::selectElement(int index) {
    m_list->setCurrentRow(std::clamp(index + 1, sourceRow, m_list->count() - 1));
}

void CzChainPanel::setSourceCaption(const QString& caption) {
    m_sourceCaption = caption;
    row(sourceRow)->showSource(caption);
}

CzChainRow* CzChainPanel::row(int index) const {
    return static_cast<CzChainRow*>(m_list->itemWidget(m_list->item(index)));
}

void CzChainPanel::rebuild() {
    const QObject* const selected = m_shown.value(selectedElement());
    const int before = selectedElement();
    m_shown.clear();
    {
        const QSignalBlocker quiet(m_list);
        m_list->clear();
        const auto addRow = [this] {
            auto* const item = new QListWidgetItem(m_list);
            auto* const shown = new CzChainRow;
            m_list->setItemWidget(item, shown);
            return shown;
        };
        addRow()->showSource(m_sourceCaption);
        for (CzChainable* const element : m_session.elements()) {
            m_shown.append(element);
            CzChainRow* const shown = addRow();
            shown->showElement(*element);
            connect(shown, &CzChainRow::switched, this, [this, element](bool on) {
                m_session.setBypassed(m_session.elements().indexOf(element), !on);
            });
            connect(shown, &CzChainRow::buttonPressed, this, [this, element](int id) {
                m_session.pressButton(m_session.elements().indexOf(element), id);
            });
        }
        for (int i = 0; i < m_list->count(); ++i)
            fitRow(i);
        const int there = m_shown.indexOf(selected);
        selectElement(selected && there >= 0 ? there : std::min(before, m_shown.size() - 1));
    }
    enableActions();
    emit selectionChanged(selectedElement());
}

void CzChainPanel::refresh(const SzChainFigures& figures) {
    for (int i = 0; i < m_shown.size(); ++i) {
        CzChainable& element = *m_session.elements().at(i);
        CzChainRow* const shown = row(i + 1);
        shown->showElement(element);
        // Messages of an element outlast the frame that they were made for, and come up before the first.
        shown->showFigures(i < figures.elements.size() ? figures.elements.at(i).milliseconds : -1.0,
                           element.errorMessage());
        fitRow(i + 1);
    }
}

void CzChainPanel::fitRow(int index) {
    // As wide as the list, in which messages are broken into lines.
    const CzChainRow* const shown = row(index);
    const int height = shown->heightForWidth(m_list->viewport()->width());
    m_list->item(index)->setSizeHint({0, std::max(shown->sizeHint().height(), height)});
}

void CzChainPanel::enableActions() {
    const int selected = selectedElement();
    const int last = m_shown.size() - 1;
    const auto enable = [this](const char* name, bool enabled) {
        findChild<QAction*>(QLatin1String(name))->setEnabled(enabled);
    };
    enable("remove", selected >= 0);
    enable("duplicate", selected >= 0);
    enable("up", selected > 0);
    enable("down", selected >= 0 && selected < last);
    // Missing ones are not switched: it would not be saved.
    enable("switch", selected >= 0 && !qobject_cast<CzMissingElement*>(m_session.elements().value(selected)));
}

// ---- What the user asks for ----

void CzChainPanel::chooseAndAdd() {
    CzElementCatalogue catalogue(this);
    if (catalogue.exec() == QDialog::Accepted && !catalogue.chosenId().isEmpty())
        add(catalogue.chosenId());
}

// Where to is found out when the chain stands still: a change that waits may move the selected element.

void CzChainPanel::putBehindSelected(const std::function<void(int place)>& put) {
    m_session.whenStopped([this, put] {
        const int place = selectedElement() + 1;
        const int before = m_session.elements().size();
        put(place);
        if (m_session.elements().size() > before)
            selectElement(place);
    });
}

void CzChainPanel::add(const QString& uniqueId) {
    putBehindSelected([this, uniqueId](int place) { m_session.insert(place, uniqueId); });
}

void CzChainPanel::removeSelected() {
    m_session.remove(selectedElement());
}

void CzChainPanel::duplicateSelected() {
    putBehindSelected([this](int place) { m_session.duplicate(place - 1); });
}

void CzChainPanel::moveSelectedUp() {
    m_session.whenStopped([this] { m_session.move(selectedElement(), selectedElement() - 1); });
}

void CzChainPanel::moveSelectedDown() {
    m_session.whenStopped([this] { m_session.move(selectedElement(), selectedElement() + 1); });
}

void CzChainPanel::switchSelected() {
    const int selected = selectedElement();
    if (CzChainable* const element = m_session.elements().value(selected))
        m_session.setBypassed(selected, element->state() == EzChainableState::Processing);
}
