// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "LinkTap.h"
#include "PictureRenderer.h"

#include <QWidget>

/// Shows one picture, or two of them (before and after) side by side or split. The wheel zooms around the
/// cursor, dragging moves, keys do the same: + and -, arrows, F (fit), 1 (pixel by pixel).
class CzPictureWidget : public QWidget {
    Q_OBJECT
public:
    enum class EzMode {
        Single,
        SideBySide,
        Split, ///< one place, before on the left of a line that can be dragged, after on its right
    };

    explicit CzPictureWidget(QWidget* parent = nullptr);

    /// Shows these; null: nothing. before is used by the modes with two.
    void setPictures(const CzLinkTap::Picture& after, const CzLinkTap::Picture& before = {});
    CzLinkTap::Picture picture() const { return m_after; }
    void setMode(EzMode mode);
    EzMode mode() const { return m_mode; }
    void setDisplay(const SzDisplaySettings& settings);
    const SzDisplaySettings& display() const { return m_display; }

    /// Screen pixels per picture pixel.
    double scale() const;
    /// Around a place of the widget.
    void zoomTo(double scale, const QPointF& around);
    /// The whole picture, as large as it can be; stays so when the window changes.
    void fit();
    bool isFitted() const { return m_fitted; }
    void showPixelByPixel();

    /// What is seen now, for the clipboard and for tests.
    QImage image();

    QSize sizeHint() const override;

signals:
    /// The pixel under the cursor, of the picture that is there; (-1, -1) when there is none.
    void cursorMoved(int x, int y, bool before);
    /// A click without dragging.
    void pixelClicked(int x, int y, bool before);
    void scaleChanged(double scale);

protected:
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
    struct Pane {
        QRect area; ///< of the widget
        const CzImageData* picture = nullptr;
        bool before = false;
    };
    QVector<Pane> panes() const;
    QSizeF pictureSize() const;
    SzViewport viewportOf(const Pane& pane) const;
    QPointF toPicture(const QPointF& position, const Pane& pane) const;
    const Pane* paneAt(const QVector<Pane>& shown, const QPoint& position) const;
    void setScale(double scale, const QPointF& keepPicture, const QPointF& atWidget);
    void updateFit();
    void clampCentre();
    void tellCursor(const QPoint& position);
    bool isOnSplitter(const QPoint& position) const;

    CzLinkTap::Picture m_after;
    CzLinkTap::Picture m_before;
    SzDisplaySettings m_display;
    EzMode m_mode = EzMode::Single;
    bool m_fitted = true;
    double m_scale = 1.0; // screen pixels per picture pixel
    QPointF m_centre;     // of the view, in pixels of the picture
    double m_split = 0.5; // place of the line, as a part of the width
    QPoint m_pressedAt;
    QPointF m_pressedCentre;
    bool m_dragging = false;
    bool m_draggingSplitter = false;
};
