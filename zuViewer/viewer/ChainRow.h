// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Chainable.h"

#include <QVector>
#include <QWidget>

class QCheckBox;
class QHBoxLayout;
class QLabel;
class QToolButton;

/// One element in the chain panel, or the source.
class CzChainRow : public QWidget {
    Q_OBJECT
public:
    explicit CzChainRow(QWidget* parent = nullptr);

    void showSource(const QString& caption);
    void showElement(CzChainable& element);
    /// milliseconds: below 0 when there is nothing to tell.
    void showFigures(double milliseconds, const QString& errorMessage);

signals:
    void switched(bool on);
    void buttonPressed(int id);

private:
    void showButtons(CzChainable& element);

    QCheckBox* m_switch;
    QLabel* m_caption;
    QHBoxLayout* m_buttons;
    QVector<QToolButton*> m_toolButtons;
    QVector<int> m_buttonIds;
    QLabel* m_time;
    QLabel* m_message;
};
