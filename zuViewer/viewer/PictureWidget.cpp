// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureWidget.h"

#include "ImageData.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOptionFocusRect>
#include <QToolTip>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr double largestScale = 64.0;
constexpr double smallestScale = 1.0 / 256.0;
constexpr double zoomStep = 1.25;
constexpr double keyStep = 40.0;   // widget pixels
constexpr double leastShown = 1.0; // of the picture, in widget pixels: it cannot be moved away
constexpr int splitterReach = 4;   // widget pixels

QSizeF sizeOf(const CzImageData& picture) {
    return QSizeF(picture.picBuf().width, picture.picBuf().height);
}

/// Null for a picture without pixels, too.
const CzImageData* withPixels(const CzLinkTap::Picture& picture) {
    return picture && picture->picBuf().data ? picture.get() : nullptr;
}

QPointF middleOf(const QSizeF& size) {
    return {size.width() / 2, size.height() / 2};
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
    m_after = after;
    m_before = before;
    if (!pictureSize().isEmpty() && pictureSize() != m_lastSize) {
        m_lastSize = pictureSize();
        m_centre = middleOf(pictureSize());
        updateFit();
        viewChanged();
    }
    update();
}

void CzPictureWidget::setPlaceholder(const QString& text) {
    if (std::exchange(m_placeholder, text) != text)
        update();
}

void CzPictureWidget::setMode(EzMode mode) {
    m_mode = mode;
    updateFit();
    viewChanged();
}

void CzPictureWidget::setDisplay(const SzDisplaySettings& settings) {
    m_display = settings;
    update();
}

QSizeF CzPictureWidget::pictureSize() const {
    const CzImageData* const picture = withPixels(m_after) ? m_after.get() : withPixels(m_before);
    return picture ? sizeOf(*picture) : QSizeF(0.0, 0.0);
}

QVector<CzPictureWidget::SzPane> CzPictureWidget::panes() const {
    const CzImageData* const before = withPixels(m_before);
    const CzImageData* const after = withPixels(m_after);
    const auto halves = [this](int line) {
        return std::pair{QRect(0, 0, line, height()), QRect(line, 0, width() - line, height())};
    };
    switch (m_mode) {
    case EzMode::SideBySide: {
        const auto [left, right] = halves(width() / 2);
        return {{left, QRectF(left).center(), before, true}, {right, QRectF(right).center(), after, false}};
    }
    case EzMode::Split: {
        const auto [left, right] = halves(static_cast<int>(std::lround(m_split * width())));
        const QPointF middle = QRectF(rect()).center();
        return {{left, middle, before, true}, {right, middle, after, false}};
    }
    default:
        return {{rect(), QRectF(rect()).center(), after, false}};
    }
}

CzPictureWidget::SzPane CzPictureWidget::paneAt(const QPointF& position) const {
    const QVector<SzPane> shown = panes();
    const auto found = std::find_if(shown.begin(), shown.end(),
                                    [&](const SzPane& pane) { return QRectF(pane.area).contains(position); });
    return found == shown.end() ? shown.last() : *found;
}

SzViewport CzPictureWidget::viewportOf(const SzPane& pane) const {
    const QSizeF reference = pictureSize();
    const QSizeF size = sizeOf(*pane.picture);
    const double relative = std::min(reference.width() / size.width(), reference.height() / size.height());
    const QPointF centre = middleOf(size) + (m_centre - middleOf(reference)) / relative;
    const QPointF topLeft = centre - (pane.middle - pane.area.topLeft()) / (widgetScale() * relative);
    return {topLeft, m_scale * relative, pane.area.size() * devicePixelRatioF()};
}

QPointF CzPictureWidget::screenPixel(const QPointF& position) const {
    const double half = 0.5 / devicePixelRatioF();
    return position + QPointF(half, half);
}

QPoint CzPictureWidget::pixelAt(const SzPane& pane, const QPoint& position) const {
    if (!pane.picture || !pane.area.contains(position))
        return {-1, -1};
    const QPointF inPane = (screenPixel(position) - pane.area.topLeft()) * devicePixelRatioF();
    return shownPixel(pane.picture->picBuf(), viewportOf(pane),
                      {static_cast<int>(inPane.x()), static_cast<int>(inPane.y())});
}

void CzPictureWidget::paint(QPainter& painter) const {
    const QColor ground = palette().color(QPalette::Dark);
    painter.fillRect(rect(), ground);
    if (pictureSize().isEmpty()) {
        painter.setPen(ground.lightness() > 127 ? Qt::black : Qt::white);
        painter.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap, m_placeholder);
        return;
    }
    const QVector<SzPane> shown = panes();
    for (const SzPane& pane : shown) {
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
}

QImage CzPictureWidget::image() const {
    QImage shown(size() * devicePixelRatioF(), QImage::Format_ARGB32_Premultiplied);
    shown.setDevicePixelRatio(devicePixelRatioF());
    QPainter painter(&shown);
    paint(painter);
    return shown;
}

void CzPictureWidget::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    paint(painter);
    if (hasFocus()) {
        QStyleOptionFocusRect option;
        option.initFrom(this);
        style()->drawPrimitive(QStyle::PE_FrameFocusRect, &option, &painter, this);
    }
}

// ---- Zoom and place ----

void CzPictureWidget::updateFit() {
    if (!m_fitted || pictureSize().isEmpty())
        return;
    const double paneWidth = m_mode == EzMode::SideBySide ? width() / 2.0 : width();
    const double fitting = std::min(paneWidth / pictureSize().width(), height() / pictureSize().height());
    m_scale = std::clamp(fitting * devicePixelRatioF(), smallestScale, largestScale);
    m_centre = middleOf(pictureSize());
    emit scaleChanged(m_scale);
}

void CzPictureWidget::clampCentre() {
    const double paneWidth = m_mode == EzMode::SideBySide ? width() / 2.0 : width();
    const double reachX = std::max(0.0, paneWidth / 2 - leastShown) / widgetScale();
    const double reachY = std::max(0.0, height() / 2.0 - leastShown) / widgetScale();
    m_centre = {std::clamp(m_centre.x(), -reachX, pictureSize().width() + reachX),
                std::clamp(m_centre.y(), -reachY, pictureSize().height() + reachY)};
}

void CzPictureWidget::moveBy(const QPointF& widgetPixels) {
    m_fitted = false;
    m_centre += widgetPixels / widgetScale();
    clampCentre();
    viewChanged();
}

void CzPictureWidget::zoomTo(double scale, const QPointF& around) {
    const QPointF fromMiddle = around - paneAt(around).middle;
    const double before = widgetScale();
    m_fitted = false;
    m_scale = std::clamp(scale, smallestScale, largestScale);
    m_centre += fromMiddle / before - fromMiddle / widgetScale();
    clampCentre();
    emit scaleChanged(m_scale);
    viewChanged();
}

void CzPictureWidget::fit() {
    m_fitted = true;
    updateFit();
    viewChanged();
}

void CzPictureWidget::showPixelByPixel(const QPointF& around) {
    zoomTo(1.0, around);
}

void CzPictureWidget::showPixelByPixel() {
    zoomTo(1.0, panes().last().middle);
}

void CzPictureWidget::resizeEvent(QResizeEvent*) {
    updateFit();
    viewChanged();
}

void CzPictureWidget::viewChanged() {
    update();
    if (underMouse())
        tellCursor(mapFromGlobal(QCursor::pos()));
}

// ---- Mouse and keys ----

bool CzPictureWidget::isOnSplitter(const QPoint& position) const {
    return m_mode == EzMode::Split && std::abs(position.x() - m_split * width()) <= splitterReach;
}

void CzPictureWidget::tellCursor(const QPoint& position) {
    const SzPane pane = paneAt(screenPixel(position));
    const QPoint pixel = pixelAt(pane, position);
    emit cursorMoved(pixel.x(), pixel.y(), pane.before);
}

void CzPictureWidget::wheelEvent(QWheelEvent* event) {
    if (const int turned = event->angleDelta().y(); turned != 0)
        zoomTo(m_scale * std::pow(zoomStep, turned / 120.0), screenPixel(event->position()));
    event->accept();
}

void CzPictureWidget::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    m_pressedAt = m_draggedTo = event->pos();
    m_drag = isOnSplitter(event->pos()) ? EzDrag::Splitter : EzDrag::Pressed;
}

void CzPictureWidget::mouseMoveEvent(QMouseEvent* event) {
    const QPoint position = event->pos();
    if (m_drag == EzDrag::Pressed &&
        (position - m_pressedAt).manhattanLength() >= QApplication::startDragDistance())
        m_drag = EzDrag::Picture;
    if (m_drag == EzDrag::Splitter) {
        m_split = std::clamp(double(position.x()) / std::max(1, width()), 0.0, 1.0);
        update();
    } else if (m_drag == EzDrag::Picture) {
        moveBy(m_draggedTo - position);
        m_draggedTo = position;
    }
    setCursor(m_drag == EzDrag::Splitter || isOnSplitter(position) ? Qt::SplitHCursor : Qt::ArrowCursor);
    tellCursor(position);
}

void CzPictureWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    const bool clicked = m_drag == EzDrag::Pressed;
    m_drag = EzDrag::None;
    const SzPane pane = paneAt(screenPixel(event->pos()));
    if (const QPoint pixel = pixelAt(pane, event->pos()); clicked && pixel.x() >= 0)
        emit pixelClicked(pixel.x(), pixel.y(), pane.before);
}

void CzPictureWidget::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    if (m_fitted)
        showPixelByPixel(screenPixel(event->pos()));
    else
        fit();
}

void CzPictureWidget::keyPressEvent(QKeyEvent* event) {
    const QPointF middle = panes().last().middle;
    switch (event->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Equal: // the same key without Shift
        return zoomTo(m_scale * zoomStep, middle);
    case Qt::Key_Minus:
        return zoomTo(m_scale / zoomStep, middle);
    case Qt::Key_F:
        return fit();
    case Qt::Key_1:
        return showPixelByPixel();
    case Qt::Key_Left:
        return moveBy({-keyStep, 0.0});
    case Qt::Key_Right:
        return moveBy({keyStep, 0.0});
    case Qt::Key_Up:
        return moveBy({0.0, -keyStep});
    case Qt::Key_Down:
        return moveBy({0.0, keyStep});
    default:
        QWidget::keyPressEvent(event);
    }
}

bool CzPictureWidget::event(QEvent* event) {
    // It is about the pixel under the cursor: another one, or of another picture.
    if (event->type() == QEvent::ToolTipChange && underMouse() && QToolTip::isVisible())
        QToolTip::showText(QCursor::pos(), toolTip(), this);
    return QWidget::event(event);
}

void CzPictureWidget::leaveEvent(QEvent*) {
    emit cursorMoved(-1, -1, false);
}
