// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "LinkTap.h"
#include "PictureRenderer.h"

#include <QVector>
#include <QWidget>

/// Shows one picture, or two of them (before and after) side by side or split. The wheel zooms around the
/// cursor, dragging moves, a double click changes between all of the picture and pixel by pixel, and keys do
/// the same: + and -, arrows, F (fit), 1 (pixel by pixel). A tool tip that is seen follows its text.
class CzPictureWidget : public QWidget {
    Q_OBJECT
public:
    enum class EzMode {
        Single,
        SideBySide,
        Split, ///< one place, before on the left of a line that can be dragged, after on its right
    };

    explicit CzPictureWidget(QWidget* parent = nullptr);

    /// Shows these; null: nothing. before is used by the modes with two. A picture before of another size has
    /// its middle in the same place, and is shown as large as the one after.
    void setPictures(const CzLinkTap::Picture& after, const CzLinkTap::Picture& before = {});
    CzLinkTap::Picture picture() const { return m_after; }
    /// What is said in the place of a picture while there is none.
    void setPlaceholder(const QString& text);
    QString placeholder() const { return m_placeholder; }
    void setMode(EzMode mode);
    EzMode mode() const { return m_mode; }
    void setDisplay(const SzDisplaySettings& settings);
    const SzDisplaySettings& display() const { return m_display; }

    /// Screen pixels per picture pixel, from 1/256 to 64.
    double scale() const { return m_scale; }
    /// The place of the widget, and the pixel that is there, stay together.
    void zoomTo(double scale, const QPointF& around);
    /// The whole picture, as large as it can be; stays so when the window changes.
    void fit();
    bool isFitted() const { return m_fitted; }
    /// A screen pixel per picture pixel; the place stays.
    void showPixelByPixel(const QPointF& around);
    void showPixelByPixel();

    /// What is seen now, for the clipboard and for tests; in screen pixels.
    QImage image() const;

    QSize sizeHint() const override;

signals:
    /// The pixel under the cursor, of the picture that is there; (-1, -1) when there is none.
    void cursorMoved(int x, int y, bool before);
    /// A click without dragging.
    void pixelClicked(int x, int y, bool before);
    void scaleChanged(double scale);

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    /// One of the two places that pictures are shown in.
    struct SzPane {
        QRect area;     ///< of the widget
        QPointF middle; ///< where m_centre is shown; may lie outside the area
        const CzImageData* picture = nullptr;
        bool before = false;
    };
    /// Left to right; the last one shows the picture after.
    QVector<SzPane> panes() const;
    SzPane paneAt(const QPointF& position) const;
    SzViewport viewportOf(const SzPane& pane) const;
    /// The middle of the screen pixel that the cursor points at.
    QPointF screenPixel(const QPointF& position) const;
    /// (-1, -1): none.
    QPoint pixelAt(const SzPane& pane, const QPoint& position) const;

    QSizeF pictureSize() const;
    /// Widget pixels per picture pixel.
    double widgetScale() const { return m_scale / devicePixelRatioF(); }
    void updateFit();
    void moveBy(const QPointF& widgetPixels);
    void clampCentre();
    void tellCursor(const QPoint& position);
    /// Another place, or another scale: paints it, and tells the pixel that is now under the cursor.
    void viewChanged();
    bool isOnSplitter(const QPoint& position) const;
    void paint(QPainter& painter) const;

    enum class EzDrag { None, Pressed, Picture, Splitter };

    CzLinkTap::Picture m_after;
    CzLinkTap::Picture m_before;
    QString m_placeholder;
    QSizeF m_lastSize; // of the last picture that there was: the next one of this size keeps its place
    SzDisplaySettings m_display;
    EzMode m_mode = EzMode::Single;
    bool m_fitted = true;
    double m_scale = 1.0; // of the picture after
    QPointF m_centre;     // of the view, in pixels of the picture after
    double m_split = 0.5; // place of the line, as a part of the width
    EzDrag m_drag = EzDrag::None;
    QPoint m_pressedAt;
    QPoint m_draggedTo;
};
