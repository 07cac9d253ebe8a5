// SPDX-License-Identifier: GPL-3.0-or-later
#include "StatusPanel.h"

#include "ChainSession.h"
#include "Chainable.h"
#include "ElidedLabel.h"

#include <QHBoxLayout>
#include <QLocale>

#include <algorithm>

namespace {

constexpr int messageMs = 5000;
constexpr int leastPixelWidth = 80; // of which something is always seen
constexpr double stateShare = 0.75; // less than all, so that the window can be made smaller

QString count(std::uint64_t value) {
    return QLocale().toString(static_cast<qulonglong>(value));
}

SzChainCounters since(const SzChainCounters& start, SzChainCounters counters) {
    counters.framesIn -= start.framesIn;
    counters.framesOut -= start.framesOut;
    counters.framesConsumed -= start.framesConsumed;
    counters.framesFailed -= start.framesFailed;
    counters.framesDropped -= start.framesDropped;
    counters.poolExhaustions -= start.poolExhaustions;
    return counters;
}

QString stateText(const CzChainSession& session, CzChainSession::EzState state, const SzWorkerState& worker) {
    if (CzChainSession::isStuck(worker)) {
        const QString caption = session.elements().at(worker.element)->caption();
        const QString seconds = QLocale().toString(worker.milliseconds / 1000.0, 'f', 0);
        if (worker.frameNo == 0) // a still picture, or the element is being set up
            return CzStatusPanel::tr("hangs in %1 for %2 s").arg(caption, seconds);
        return CzStatusPanel::tr("frame %1 hangs in %2 for %3 s")
            .arg(QString::number(worker.frameNo), caption, seconds);
    }
    switch (state) {
    case CzChainSession::EzState::Running:
        return worker.element < 0 ? CzStatusPanel::tr("waiting for frames") : CzStatusPanel::tr("running");
    case CzChainSession::EzState::Stopping:
        return CzStatusPanel::tr("stopping");
    default:
        return CzStatusPanel::tr("stopped");
    }
}

} // namespace

CzStatusPanel::CzStatusPanel(QWidget* parent) : QWidget(parent) {
    m_layout = new QHBoxLayout(this);
    m_layout->setContentsMargins(6, 0, 6, 0);
    m_layout->setSpacing(16);
    m_pixel = addLabel("pixelText", tr("The pixel under the cursor: its place and its samples"));
    m_layout->setStretchFactor(m_pixel, 1); // takes what the others leave
    m_pixel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    m_pixel->setMinimumWidth(leastPixelWidth);
    m_message = addLabel("messageText", QString());
    m_scale = addLabel("scaleText", tr("Screen pixels per picture pixel"));
    m_rate = addLabel("rateText", tr("Frames that the chain ended with per second, and the time that the "
                                     "last one took from the source to the end"));
    m_losses = addLabel("lossText",
                        tr("Since the source was opened: frames that never went through the chain (live ones "
                           "came too fast for it or waited when it stopped, others waited when the source "
                           "was described anew), frames that failed, "
                           "frames that an element kept (as an average does until it is complete), and "
                           "pictures that the screen had no time for"));
    m_pool =
        addLabel("poolText", tr("Buffers of the chain's memory pool that are in use, and how often, since "
                                "the source was opened, an element was refused one because there was "
                                "none left"));
    m_state = addLabel("stateText", tr("What the chain is doing"));
    m_messageTimer.setSingleShot(true);
    m_messageTimer.setInterval(messageMs);
    connect(&m_messageTimer, &QTimer::timeout, this, [this] { m_message->showText(m_lastingMessage); });
}

CzElidedLabel* CzStatusPanel::addLabel(const char* name, const QString& toolTip) {
    auto* const label = new CzElidedLabel(toolTip);
    label->setObjectName(QLatin1String(name));
    m_layout->addWidget(label);
    return label;
}

void CzStatusPanel::showPixel(const QString& description) {
    m_pixel->showText(description);
}

QString CzStatusPanel::pixelTip() const {
    return m_pixel->elidedTip();
}

void CzStatusPanel::showMessage(const QString& message) {
    m_message->showText(message);
    m_messageTimer.start();
}

void CzStatusPanel::setLastingMessage(const QString& message) {
    m_lastingMessage = message;
    if (!m_messageTimer.isActive())
        m_message->showText(message);
}

void CzStatusPanel::showScale(double scale) {
    m_scale->showText(tr("%1 %").arg(QLocale().toString(100.0 * scale, 'g', 4)));
}

void CzStatusPanel::startCounting(const CzChainSession& session, std::uint64_t notShown) {
    m_start = {session.chain().counters(), notShown};
}

void CzStatusPanel::showChain(const CzChainSession& session, const SzChainFigures& figures,
                              std::uint64_t notShown) {
    const SzChainCounters counters = since(m_start.counters, session.chain().counters());
    const SzWorkerState worker = session.chain().workerState();
    const CzChainSession::EzState state = session.state(); // once: the worker may end meanwhile
    const bool stands = state == CzChainSession::EzState::Stopped;
    m_rate->showText(tr("%1 frames/s, %2 ms")
                         .arg(QLocale().toString(stands ? 0.0 : figures.framesPerSecond, 'f', 1),
                              QLocale().toString(figures.latencyMs, 'f', 1)));
    QStringList losses{tr("%1 dropped, %2 failed, %3 not shown")
                           .arg(count(counters.framesDropped), count(counters.framesFailed),
                                count(notShown - m_start.notShown))};
    if (counters.framesConsumed > 0)
        losses.append(tr("%1 kept").arg(count(counters.framesConsumed)));
    m_losses->showText(losses.join(QLatin1String(", ")));
    QStringList pool;
    if (worker.poolBuffers > 0)
        pool.append(
            tr("pool %1 of %2").arg(worker.poolBuffers - worker.freePoolBuffers).arg(worker.poolBuffers));
    if (counters.poolExhaustions > 0)
        pool.append(tr("%1 refused").arg(count(counters.poolExhaustions)));
    m_pool->showText(pool.join(QLatin1String(", ")));
    m_state->showText(stateText(session, state, worker));
    giveRoomToState();
}

/// It gives way last: it names the element that hangs.
void CzStatusPanel::giveRoomToState() {
    m_state->setMinimumWidth(std::min(m_state->sizeHint().width(), static_cast<int>(stateShare * width())));
}

void CzStatusPanel::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    giveRoomToState();
}
