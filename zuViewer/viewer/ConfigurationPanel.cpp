// SPDX-License-Identifier: GPL-3.0-or-later
#include "ConfigurationPanel.h"

#include "ChainSession.h"
#include "ImageProvider.h"

#include <QApplication>
#include <QEvent>
#include <QLabel>
#include <QScrollArea>
#include <QStyle>
#include <QTextBrowser>
#include <QVBoxLayout>

#include <algorithm>

namespace {

constexpr int widestMinimum = 560; // in pixels; beyond it the picture would have no room

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
    m_area = new QScrollArea;
    m_area->setFrameShape(QFrame::NoFrame);
    m_area->setWidgetResizable(true);
    m_help = new QTextBrowser;
    m_help->setObjectName(QStringLiteral("help"));
    m_help->setOpenExternalLinks(true);

    auto* const layout = new QVBoxLayout(this);
    layout->addWidget(m_caption);
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
    // The widget may be behind an open dialog or list, which it wants to come back to.
    const bool isInUse = QApplication::activeModalWidget() || QApplication::activePopupWidget();
    if (!isInUse && !(offerOf(*m_element) == m_offer))
        build();
    m_caption->setText(m_element->caption());
    // It would stop the chain and wait for the frame that hangs, and the window with it.
    m_area->setEnabled(!m_session.isStuck());
}

bool CzConfigurationPanel::isInElementWidget(const QObject* object) const {
    while (object && object != elementWidget()) // up from lists that pop up and dialogs, too
        object = object->parent();
    return object;
}

bool CzConfigurationPanel::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::LayoutRequest: // another row is shown, say
        if (watched == elementWidget())
            fitWidth();
        break;
    case QEvent::MouseButtonRelease:
    case QEvent::KeyRelease:
    case QEvent::Wheel:
        if (isInElementWidget(watched)) // told when the widget has done what it does
            QMetaObject::invokeMethod(this, &CzConfigurationPanel::touched, Qt::QueuedConnection);
        break;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}
