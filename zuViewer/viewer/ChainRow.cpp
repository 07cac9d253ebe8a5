// SPDX-License-Identifier: GPL-3.0-or-later
#include "ChainRow.h"

#include "MissingElement.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QToolButton>

CzChainRow::CzChainRow(QWidget* parent) : QWidget(parent) {
    m_switch = new QCheckBox;
    m_switch->setObjectName(QStringLiteral("switch"));
    m_switch->setToolTip(tr("Switches the element on and off: pictures pass it untouched."));
    m_caption = new QLabel;
    m_caption->setObjectName(QStringLiteral("caption"));
    m_caption->setTextFormat(Qt::PlainText);
    m_caption->setMinimumWidth(1); // gives way before the list would need a scroll bar
    m_time = new QLabel;
    m_time->setObjectName(QStringLiteral("time"));
    m_time->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_message = new QLabel;
    m_message->setObjectName(QStringLiteral("message"));
    m_message->setTextFormat(Qt::PlainText);
    m_message->setWordWrap(true);
    m_message->setStyleSheet(QStringLiteral("color: #900000; background: #ffe4e1; padding: 1px 3px"));
    m_message->hide();
    m_buttons = new QHBoxLayout;
    m_buttons->setSpacing(2);
    m_buttons->addStretch(); // the buttons stand before it

    auto* const layout = new QGridLayout(this);
    layout->setContentsMargins(4, 3, 4, 3);
    layout->setVerticalSpacing(2);
    layout->addWidget(m_switch, 0, 0);
    layout->addWidget(m_caption, 0, 1);
    layout->addWidget(m_time, 0, 2);
    layout->addLayout(m_buttons, 1, 1, 1, 2);
    layout->addWidget(m_message, 2, 1, 1, 2);
    layout->setColumnStretch(1, 1);

    connect(m_switch, &QCheckBox::clicked, this, &CzChainRow::switched);
}

void CzChainRow::showSource(const QString& caption) {
    m_switch->setVisible(false);
    m_caption->setText(caption);
}

void CzChainRow::showElement(CzChainable& element) {
    m_caption->setText(element.caption());
    m_caption->setToolTip(m_caption->text()); // there may be no room for all of it
    if (const QString name = tr("Use %1").arg(element.caption()); name != m_switch->accessibleName())
        m_switch->setAccessibleName(name);
    const bool isMissing = qobject_cast<CzMissingElement*>(&element);
    QFont font = m_caption->font();
    font.setItalic(isMissing);
    m_caption->setFont(font);
    m_switch->setEnabled(!isMissing); // would not be saved with it
    const bool on = element.state() == EzChainableState::Processing;
    m_switch->setChecked(on);
    m_caption->setEnabled(on);
    showButtons(element);
}

void CzChainRow::showButtons(CzChainable& element) {
    QList<CzChainable::CzSimpleStateConfigButton> buttons;
    bool exclusive = false;
    element.simpleStateConfigButtons(buttons, exclusive);

    while (m_toolButtons.size() > buttons.size()) {
        QToolButton* const button = m_toolButtons.takeLast();
        button->setAutoExclusive(false);
        button->hide();
        button->deleteLater(); // it may be the one that is being clicked
    }
    while (m_toolButtons.size() < buttons.size()) {
        auto* const button = new QToolButton;
        button->setCheckable(true);
        button->setFocusPolicy(Qt::TabFocus);
        m_buttons->insertWidget(m_buttons->count() - 1, button);
        button->show(); // now: the height of the row is asked for next
        m_toolButtons.append(button);
        connect(button, &QToolButton::clicked, this,
                [this, button] { emit buttonPressed(m_buttonIds.at(m_toolButtons.indexOf(button))); });
    }
    m_buttonIds.clear();
    for (QToolButton* const button : qAsConst(m_toolButtons))
        button->setAutoExclusive(false); // or the last checked button could not be unchecked
    for (int i = 0; i < buttons.size(); ++i) {
        QToolButton* const button = m_toolButtons.at(i);
        m_buttonIds.append(buttons.at(i).id());
        button->setText(buttons.at(i).caption());
        button->setChecked(buttons.at(i).checked());
    }
    for (QToolButton* const button : qAsConst(m_toolButtons)) {
        button->setAutoExclusive(exclusive);
        if (!exclusive || button->isChecked())
            button->setFocusPolicy(Qt::TabFocus); // a click leaves the focus with the list; arrows go on
    }
}

void CzChainRow::showFigures(double milliseconds, const QString& errorMessage) {
    m_time->setText(milliseconds < 0.0 ? QString()
                                       : tr("%1 ms").arg(QLocale().toString(milliseconds, 'f', 1)));
    m_message->setText(errorMessage);
    m_message->setVisible(!errorMessage.isEmpty());
}
