// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureWidget.h"

#include "ImageData.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace {

constexpr double largestScale = 64.0;
constexpr double smallestScale = 1.0 / 256.0;
constexpr double zoomStep = 1.25;
constexpr int splitterReach = 4; // screen pixels

/// The ground that shows where no picture is.
QBrush ground(const QPalette& palette) {
    return palette.brush(QPalette::Dark);
}

} // namespace

CzPictureWidget::CzPictureWidget(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setMinimumSize(160, 120);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAccessibleName(tr("Picture"));
}

QSize CzPictureWidget::sizeHint() const {
    return {640, 512};
}

// ---- What is shown ----

void CzPictureWidget::setPictures(const CzLinkTap::Picture& after, const CzLinkTap::Picture& before) {
    const QSizeF formerSize = pictureSize();
    m_after = after;
    m_before = before;
    if (pictureSize() != formerSize) {
        m_centre = QPointF(pictureSize().width() / 2, pictureSize().height() / 2);
        updateFit();
    }
    if (underMouse())
        tellCursor(mapFromGlobal(QCursor::pos()));
    update();
}

void CzPictureWidget::setMode(EzMode mode) {
    m_mode = mode;
    updateFit();
    update();
}

void CzPictureWidget::setDisplay(const SzDisplaySettings& settings) {
    m_display = settings;
    update();
}

QSizeF CzPictureWidget::pictureSize() const {
    const CzImageData* const picture = m_after ? m_after.get() : m_before.get();
    return picture ? QSizeF(picture->picBuf().width, picture->picBuf().height) : QSizeF();
}

QVector<CzPictureWidget::Pane> CzPictureWidget::panes() const {
    const int half = width() / 2;
    const int line = static_cast<int>(std::lround(m_split * width()));
    switch (m_mode) {
    case EzMode::SideBySide:
        return {{QRect(0, 0, half, height()), m_before.get(), true},
                {QRect(half, 0, width() - half, height()), m_after.get(), false}};
    case EzMode::Split:
        return {{QRect(0, 0, line, height()), m_before.get(), true},
                {QRect(line, 0, width() - line, height()), m_after.get(), false}};
    default:
        return {{rect(), m_after.get(), false}};
    }
}

SzViewport CzPictureWidget::viewportOf(const Pane& pane) const {
    // Before and after show the same place: side by side each in the middle of its half, split in the middle
    // of the widget. Pictures of another size than the one behind them are shown with the same scale.
    const QPointF middle =
        m_mode == EzMode::SideBySide ? QRectF(pane.area).center() : QRectF(rect()).center();
    const QPointF topLeft = m_centre - (middle - pane.area.topLeft()) / m_scale;
    const double ratio = devicePixelRatioF();
    return {topLeft, m_scale * ratio, pane.area.size() * ratio};
}

QPointF CzPictureWidget::toPicture(const QPointF& position, const Pane& pane) const {
    return viewportOf(pane).topLeft + (position - pane.area.topLeft()) / m_scale;
}

const CzPictureWidget::Pane* CzPictureWidget::paneAt(const QVector<Pane>& shown,
                                                     const QPoint& position) const {
    const auto found = std::find_if(shown.begin(), shown.end(),
                                    [&](const Pane& pane) { return pane.area.contains(position); });
    return found == shown.end() ? nullptr : &*found;
}

QImage CzPictureWidget::image() {
    QImage shown(size() * devicePixelRatioF(), QImage::Format_ARGB32_Premultiplied);
    shown.setDevicePixelRatio(devicePixelRatioF());
    render(&shown);
    return shown;
}

void CzPictureWidget::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), ground(palette()));
    const QVector<Pane> shown = panes();
    if (!m_after && !m_before) {
        painter.setPen(palette().color(QPalette::BrightText));
        painter.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap,
                         tr("No picture yet.\nOpen or drop pictures, or choose a scene."));
        return;
    }
    for (const Pane& pane : shown) {
        if (!pane.picture || pane.area.isEmpty())
            continue;
        QImage rendered =
            renderPicture(*pane.picture, m_display, displayRange(*pane.picture, m_display), viewportOf(pane));
        rendered.setDevicePixelRatio(devicePixelRatioF());
        painter.drawImage(pane.area.topLeft(), rendered);
    }
    if (shown.size() > 1) {
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2));
        painter.drawLine(shown.at(1).area.topLeft(), shown.at(1).area.bottomLeft());
    }
    if (hasFocus() && style()->styleHint(QStyle::SH_UnderlineShortcut)) {
        painter.setPen(palette().color(QPalette::Highlight));
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }
}

// ---- Zoom and place ----

double CzPictureWidget::scale() const {
    return m_scale;
}

void CzPictureWidget::updateFit() {
    if (!m_fitted || pictureSize().isEmpty())
        return;
    const double width = m_mode == EzMode::SideBySide ? this->width() / 2.0 : this->width();
    m_scale = std::min(width / pictureSize().width(), height() / pictureSize().height());
    m_centre = QPointF(pictureSize().width() / 2, pictureSize().height() / 2);
    emit scaleChanged(m_scale);
}

void CzPictureWidget::clampCentre() {
    m_centre = {std::clamp(m_centre.x(), 0.0, std::max(0.0, pictureSize().width())),
                std::clamp(m_centre.y(), 0.0, std::max(0.0, pictureSize().height()))};
}

void CzPictureWidget::setScale(double scale, const QPointF& keepPicture, const QPointF& atWidget) {
    const QVector<Pane> shown = panes();
    const Pane* const pane = paneAt(shown, atWidget.toPoint());
    m_fitted = false;
    m_scale = std::clamp(scale, smallestScale, largestScale);
    // The same pixel stays below the cursor.
    if (pane)
        m_centre += keepPicture - toPicture(atWidget, *pane);
    clampCentre();
    emit scaleChanged(m_scale);
    update();
}

void CzPictureWidget::zoomTo(double scale, const QPointF& around) {
    const QVector<Pane> shown = panes();
    const Pane* const pane = paneAt(shown, around.toPoint());
    setScale(scale, pane ? toPicture(around, *pane) : m_centre, around);
}

void CzPictureWidget::fit() {
    m_fitted = true;
    updateFit();
    update();
}

void CzPictureWidget::showPixelByPixel() {
    const QVector<Pane> shown = panes();
    const QPointF middle = QRectF(shown.last().area).center();
    setScale(1.0 / devicePixelRatioF(), toPicture(middle, shown.last()), middle);
}

void CzPictureWidget::resizeEvent(QResizeEvent*) {
    updateFit();
}

// ---- Mouse and keys ----

bool CzPictureWidget::isOnSplitter(const QPoint& position) const {
    return m_mode == EzMode::Split && std::abs(position.x() - m_split * width()) <= splitterReach;
}

void CzPictureWidget::tellCursor(const QPoint& position) {
    const QVector<Pane> shown = panes();
    const Pane* const pane = paneAt(shown, position);
    if (!pane || !pane->picture) {
        emit cursorMoved(-1, -1, false);
        return;
    }
    const QPointF at = toPicture(position, *pane);
    const bool inside = at.x() >= 0 && at.y() >= 0 && at.x() < pane->picture->picBuf().width &&
                        at.y() < pane->picture->picBuf().height;
    emit cursorMoved(inside ? static_cast<int>(at.x()) : -1, inside ? static_cast<int>(at.y()) : -1,
                     pane->before);
}

void CzPictureWidget::wheelEvent(QWheelEvent* event) {
    const double steps = event->angleDelta().y() / 120.0;
    zoomTo(m_scale * std::pow(zoomStep, steps), event->position());
    event->accept();
}

void CzPictureWidget::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    m_pressedAt = event->pos();
    m_pressedCentre = m_centre;
    m_dragging = false;
    m_draggingSplitter = isOnSplitter(event->pos());
}

void CzPictureWidget::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton) {
        if (m_draggingSplitter) {
            m_split = std::clamp(double(event->pos().x()) / std::max(1, width()), 0.0, 1.0);
            update();
        } else if (m_dragging ||
                   (event->pos() - m_pressedAt).manhattanLength() >= QApplication::startDragDistance()) {
            m_dragging = true;
            m_fitted = false;
            m_centre = m_pressedCentre - QPointF(event->pos() - m_pressedAt) / m_scale;
            clampCentre();
            update();
        }
    }
    setCursor(isOnSplitter(event->pos()) ? Qt::SplitHCursor : Qt::ArrowCursor);
    tellCursor(event->pos());
}

void CzPictureWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || m_dragging || m_draggingSplitter)
        return;
    const QVector<Pane> shown = panes();
    const Pane* const pane = paneAt(shown, event->pos());
    if (!pane || !pane->picture)
        return;
    const QPointF at = toPicture(event->pos(), *pane);
    if (at.x() >= 0 && at.y() >= 0 && at.x() < pane->picture->picBuf().width &&
        at.y() < pane->picture->picBuf().height)
        emit pixelClicked(static_cast<int>(at.x()), static_cast<int>(at.y()), pane->before);
}

void CzPictureWidget::mouseDoubleClickEvent(QMouseEvent*) {
    if (m_fitted)
        showPixelByPixel();
    else
        fit();
}

void CzPictureWidget::keyPressEvent(QKeyEvent* event) {
    const QPointF middle = QRectF(panes().last().area).center();
    const double screenStep = 40.0 / m_scale; // in pixels of the picture
    QPointF by;
    switch (event->key()) {
    case Qt::Key_Plus:
        return zoomTo(m_scale * zoomStep, middle);
    case Qt::Key_Minus:
        return zoomTo(m_scale / zoomStep, middle);
    case Qt::Key_F:
        return fit();
    case Qt::Key_1:
        return showPixelByPixel();
    case Qt::Key_Left:
        by = {-screenStep, 0.0};
        break;
    case Qt::Key_Right:
        by = {screenStep, 0.0};
        break;
    case Qt::Key_Up:
        by = {0.0, -screenStep};
        break;
    case Qt::Key_Down:
        by = {0.0, screenStep};
        break;
    default:
        return QWidget::keyPressEvent(event);
    }
    m_fitted = false;
    m_centre += by;
    clampCentre();
    update();
}

void CzPictureWidget::leaveEvent(QEvent*) {
    emit cursorMoved(-1, -1, false);
}
