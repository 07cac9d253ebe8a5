// SPDX-License-Identifier: GPL-3.0-or-later
#include "ElidedLabel.h"

#include <QFontMetrics>
#include <QPainter>
#include <QStringList>
#include <QStyle>

namespace {

/// Rich text, which is broken into lines.
QString tipOf(const QStringList& parts) {
    return parts.isEmpty() ? QString() : QStringLiteral("<qt>%1</qt>").arg(parts.join(QLatin1String("<br>")));
}

} // namespace

CzElidedLabel::CzElidedLabel(const QString& hint, QWidget* parent) : QLabel(parent), m_hint(hint) {
    setTextFormat(Qt::PlainText); // it may hold what a file is called
    updateToolTip();
}

void CzElidedLabel::showText(const QString& text) {
    if (text == this->text())
        return;
    setText(text);
    updateToolTip();
}

QString CzElidedLabel::shownText() const {
    return fontMetrics().elidedText(text(), Qt::ElideMiddle, contentsRect().width());
}

bool CzElidedLabel::isElided() const {
    return shownText() != text();
}

QString CzElidedLabel::elidedTip() const {
    return isElided() ? tipOf({text().toHtmlEscaped()}) : QString();
}

QSize CzElidedLabel::minimumSizeHint() const {
    return {1, QLabel::minimumSizeHint().height()};
}

void CzElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    style()->drawItemText(&painter, contentsRect(), static_cast<int>(alignment()), palette(), isEnabled(),
                          shownText(), foregroundRole());
}

void CzElidedLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    updateToolTip();
}

void CzElidedLabel::updateToolTip() {
    QStringList parts;
    if (isElided())
        parts.append(text().toHtmlEscaped());
    if (!m_hint.isEmpty())
        parts.append(m_hint.toHtmlEscaped());
    setToolTip(tipOf(parts));
}
