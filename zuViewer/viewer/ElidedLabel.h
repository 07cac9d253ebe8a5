// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLabel>

/// A line of text that may be given less room than it needs: what does not fit is left out in its middle, and
/// the tool tip begins with all of it.
class CzElidedLabel : public QLabel {
    Q_OBJECT
public:
    /// hint: the rest of the tool tip, may be empty.
    explicit CzElidedLabel(const QString& hint, QWidget* parent = nullptr);

    void showText(const QString& text);
    bool isElided() const;
    /// All of the text, for a tool tip, where it is not shown in full; else empty.
    QString elidedTip() const;

    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QString shownText() const;
    void updateToolTip();

    QString m_hint;
};
