// SPDX-License-Identifier: GPL-3.0-or-later
#include "ConfigurationPanel.h"

#include "ChainSession.h"
#include "ImageProvider.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QApplication>
#include <QContextMenuEvent>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QScopedValueRollback>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcutEvent>
#include <QStyle>
#include <QTextBrowser>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace {

constexpr int widestMinimum = 560; // in pixels; beyond it the picture would have no room

template <class Event>
std::unique_ptr<QEvent> copyOf(const QEvent& event) {
    return std::make_unique<Event>(static_cast<const Event&>(event));
}

/// How to copy an event through which users reach widgets; null for all other events.
std::unique_ptr<QEvent> (*copierOf(QEvent::Type type))(const QEvent&) {
    switch (type) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
        return copyOf<QMouseEvent>;
    case QEvent::Wheel:
        return copyOf<QWheelEvent>;
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::ShortcutOverride:
        return copyOf<QKeyEvent>;
    case QEvent::InputMethod:
        return copyOf<QInputMethodEvent>;
    case QEvent::Shortcut:
        return copyOf<QShortcutEvent>;
    case QEvent::ContextMenu:
        return copyOf<QContextMenuEvent>;
    case QEvent::FocusIn:
    case QEvent::FocusOut:
        return copyOf<QFocusEvent>;
    case QEvent::Timer:
        return copyOf<QTimerEvent>;
    default:
        return nullptr;
    }
}

const QKeyEvent& asKey(const QEvent& event) {
    return static_cast<const QKeyEvent&>(event);
}

bool movesFocus(int key) {
    return key == Qt::Key_Tab || key == Qt::Key_Backtab;
}

bool isModifier(int key) {
    return key == Qt::Key_Shift || key == Qt::Key_Control || key == Qt::Key_Alt || key == Qt::Key_AltGr ||
           key == Qt::Key_Meta;
}

/// What takes clicks and wheels for no setting: what arranges widgets or describes them, and the bars of
/// views.
bool isGround(const QObject& target) {
    if (const auto* const group = qobject_cast<const QGroupBox*>(&target))
        return !group->isCheckable();
    if (const auto* const label = qobject_cast<const QLabel*>(&target))
        return !label->textInteractionFlags().testFlag(Qt::LinksAccessibleByMouse);
    if (qobject_cast<const QScrollBar*>(&target)) {
        const auto* const view = qobject_cast<const QAbstractScrollArea*>(target.parent()->parent());
        return view && (&target == view->horizontalScrollBar() || &target == view->verticalScrollBar());
    }
    const auto* const widget = qobject_cast<const QWidget*>(&target);
    return widget && widget->layout();
}

/// The window that a widget is a part of, also from a dock that floats as a window of its own.
QWidget& outermostOf(QWidget& widget) {
    return widget.parentWidget() ? outermostOf(*widget.parentWidget()) : widget;
}

/// Whether it comes again by itself.
bool isRepeated(const QEvent& event) {
    switch (event.type()) {
    case QEvent::Timer:
        return true;
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
        return asKey(event).isAutoRepeat();
    default:
        return false;
    }
}

/// Whether the event closes a list or menu that has popped up, and nothing else comes of it.
bool closesPopup(const QObject& target, const QEvent& event) {
    const QWidget* const popup = QApplication::activePopupWidget();
    switch (event.type()) {
    case QEvent::ShortcutOverride:
    case QEvent::KeyPress:
        return popup && asKey(event).key() == Qt::Key_Escape;
    case QEvent::MouseButtonPress:
        return popup == &target && !popup->rect().contains(static_cast<const QMouseEvent&>(event).pos());
    default:
        return false;
    }
}

} // namespace

bool CzConfigurationPanel::SzOffer::operator==(const SzOffer& other) const {
    return known == other.known && format == other.format && metadata == other.metadata &&
           configurable == other.configurable;
}

CzConfigurationPanel::CzConfigurationPanel(CzChainSession& session, QWidget* parent)
    : QWidget(parent), m_session(session) {
    m_caption = new QLabel;
    m_caption->setObjectName(QStringLiteral("caption"));
    m_caption->setTextFormat(Qt::PlainText);
    m_caption->setWordWrap(true);
    QFont bold = m_caption->font();
    bold.setBold(true);
    m_caption->setFont(bold);
    m_waiting = new QLabel(tr("What you change takes effect when the frame at hand is through."));
    m_waiting->setObjectName(QStringLiteral("waiting"));
    m_waiting->setWordWrap(true);
    m_waiting->hide();
    m_area = new QScrollArea;
    m_area->setFrameShape(QFrame::NoFrame);
    m_area->setWidgetResizable(true);
    m_help = new QTextBrowser;
    m_help->setObjectName(QStringLiteral("help"));
    m_help->setOpenExternalLinks(true);

    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(m_caption);
    layout->addWidget(m_waiting);
    layout->addWidget(m_area, 3);
    layout->addWidget(m_help, 1);

    // An element that leaves may be deleted, and its widget knows it by its address.
    connect(&session, &CzChainSession::aboutToChange, this, &CzConfigurationPanel::release);
    connect(&session, &CzChainSession::chainChanged, this, [this] {
        if (!m_session.elements().contains(m_element))
            m_element = nullptr;
        if (!elementWidget()) // nobody has selected another element meanwhile
            build();
    });
    qApp->installEventFilter(this);
    build();
}

void CzConfigurationPanel::showElement(int index) {
    CzChainable* const element = m_session.elements().value(index);
    if (element == m_element && elementWidget())
        return;
    m_element = element;
    m_buildsAfterwards = !m_held.empty(); // what was done in the present widget is not to be lost
    if (!m_buildsAfterwards)
        build();
}

QWidget* CzConfigurationPanel::elementWidget() const {
    return m_area->widget();
}

CzConfigurationPanel::SzOffer CzConfigurationPanel::offerOf(CzChainable& element) {
    SzOffer offer;
    offer.configurable = element.isConfigurable();
    if (auto* const provider = qobject_cast<CzImageProvider*>(&element))
        offer.known = provider->currentInputImageInfo(offer.format, &offer.metadata);
    return offer;
}

void CzConfigurationPanel::release() {
    delete m_area->takeWidget();
    m_area->setMinimumWidth(0);
    m_keysDown.clear();
    m_isTypedInto = false;
}

/// Makes room for the element's widget, so that nobody has to scroll sideways.
void CzConfigurationPanel::fitWidth() {
    const int width =
        elementWidget()->minimumSizeHint().width() + style()->pixelMetric(QStyle::PM_ScrollBarExtent);
    m_area->setMinimumWidth(std::min(width, widestMinimum));
}

void CzConfigurationPanel::build() {
    release();
    QString topic;
    const QString help = m_element && m_element->hasHelp() ? m_element->help(topic) : QString();
    m_help->setHtml(help);
    m_help->setVisible(!help.isEmpty());
    if (!m_element) {
        m_caption->setText(tr("Select an element of the chain to configure it."));
        return;
    }
    m_offer = offerOf(*m_element);
    m_caption->setText(m_element->caption());
    QWidget* const widget = m_element->createConfigWidget();
    if (!widget)
        return;
    widget->setEnabled(m_offer.configurable);
    widget->setSizePolicy(QSizePolicy::Preferred,
                          QSizePolicy::Maximum); // what belongs together stays together
    m_area->setWidget(widget);
    fitWidth();
}

void CzConfigurationPanel::refresh() {
    if (!m_element)
        return;
    // The widget may be behind an open dialog or list, which it wants to come back to, or half a number was
    // typed, which it would make the element take as it goes.
    const bool isInUse = QApplication::activeModalWidget() || QApplication::activePopupWidget() ||
                         m_isTypedInto || m_isSending || !m_held.empty();
    if (!isInUse && !(offerOf(*m_element) == m_offer))
        build();
    m_caption->setText(m_element->caption());
    m_waiting->setVisible(!m_held.empty() && m_session.isStuck());
}

bool CzConfigurationPanel::isInElementWidget(const QObject* object) const {
    while (object && object != elementWidget()) // up from lists that pop up and dialogs, too
        object = object->parent();
    return object;
}

bool CzConfigurationPanel::mayChangeElement(const QObject& target, const QEvent& event) {
    // What changes nothing by itself goes behind what it follows.
    switch (event.type()) {
    case QEvent::MouseMove:
        return static_cast<const QMouseEvent&>(event).buttons() != Qt::NoButton &&
               (!isGround(target) || !m_held.empty());
    case QEvent::ShortcutOverride: // lists that popped up choose with it
        return QApplication::activePopupWidget();
    case QEvent::KeyPress:
        if (isModifier(asKey(event).key()))
            return false;
        if (movesFocus(asKey(event).key()))
            return !m_held.empty();
        m_keysDown.insert(asKey(event).key());
        m_isTypedInto |= !asKey(event).text().isEmpty();
        return true;
    case QEvent::KeyRelease: // not of the shortcuts of others
        return m_keysDown.remove(asKey(event).key());
    case QEvent::InputMethod:
        m_isTypedInto = true;
        return true;
    case QEvent::FocusIn:
        return !m_held.empty();
    case QEvent::FocusOut:
        return std::exchange(m_isTypedInto, false) || !m_held.empty();
    case QEvent::Timer: // buttons and arrows that are held down; other timers are no user's
        return qobject_cast<const QAbstractSpinBox*>(&target) ||
               qobject_cast<const QAbstractSlider*>(&target) || qobject_cast<const QAbstractButton*>(&target);
    default:
        return !isGround(target) || !m_held.empty();
    }
}

void CzConfigurationPanel::hold(QObject& target, QEvent& event) {
    SzHeld held{&target, copierOf(event.type())(event)};
    event.accept(); // nobody else is to take it
    if (m_held.empty()) {
        m_held.push_back(std::move(held));
        m_session.interrupt([self = QPointer<CzConfigurationPanel>(this)] {
            if (self)
                self->sendHeld();
        });
        return;
    }
    const auto isMove = [&target](const SzHeld& one) {
        return one.event->type() == QEvent::MouseMove && one.target == &target;
    };
    if (isMove(held) && isMove(m_held.back()))
        m_held.back() = std::move(held); // where to counts, not which way
    else if (!isRepeated(event))
        m_held.push_back(std::move(held));
}

void CzConfigurationPanel::sendHeld() {
    {
        // Also in the event loop of a dialog that is opened by one of them.
        const QScopedValueRollback<bool> sending(m_isSending, true);
        // Done before the window was disabled, which takes nothing any more.
        QWidget& whole = outermostOf(*this);
        const bool wasEnabled = whole.isEnabled();
        whole.setEnabled(true);
        while (!m_held.empty()) {
            const SzHeld held = std::move(m_held.front());
            m_held.pop_front();
            if (held.target) // may have gone with one before
                QCoreApplication::sendEvent(held.target, held.event.get());
        }
        whole.setEnabled(wasEnabled);
    }
    m_waiting->hide();
    if (std::exchange(m_buildsAfterwards, false))
        build();
    emit touched();
}

bool CzConfigurationPanel::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::LayoutRequest && watched == elementWidget()) {
        fitWidth(); // another row is shown, say
    } else if (!m_isSending && copierOf(event->type()) && isInElementWidget(watched) &&
               !closesPopup(*watched, *event) && mayChangeElement(*watched, *event)) {
        // Nothing overtakes what is held, also when the chain has come to its stop meanwhile.
        if (!m_held.empty() || !m_session.chain().stopped()) {
            hold(*watched, *event);
            return true;
        }
        // Told when the widget has done what it does.
        QMetaObject::invokeMethod(this, &CzConfigurationPanel::touched, Qt::QueuedConnection);
    }
    return QWidget::eventFilter(watched, event);
}
