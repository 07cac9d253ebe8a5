// SPDX-License-Identifier: GPL-3.0-or-later
#include "ProblemBar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QStyle>
#include <QToolButton>

CzProblemBar::CzProblemBar(QWidget* parent) : QFrame(parent) {
    m_text = new QLabel;
    m_text->setObjectName(QStringLiteral("problem"));
    m_text->setWordWrap(true);
    m_text->setTextFormat(Qt::PlainText); // it may hold what a file says
    m_text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* const close = new QToolButton;
    close->setObjectName(QStringLiteral("closeProblem"));
    close->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
    close->setToolTip(tr("Close this message"));
    close->setAutoRaise(true);
    connect(close, &QToolButton::clicked, this, [this] { showProblem(QString()); });

    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 4, 4, 4);
    layout->addWidget(m_text, 1);
    layout->addWidget(close, 0, Qt::AlignTop);

    // The same on light and dark themes.
    QPalette colours = palette();
    colours.setColor(QPalette::Window, QColor(255, 224, 176));
    colours.setColor(QPalette::WindowText, QColor(64, 32, 0));
    setPalette(colours);
    setAutoFillBackground(true);
    hide();
}

void CzProblemBar::showProblem(const QString& text) {
    m_text->setText(text);
    setVisible(!text.isEmpty());
}

QString CzProblemBar::problem() const {
    return m_text->text();
}
