// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFrame>

class QLabel;

/// A message above the picture that stays until it is closed or another one comes.
class CzProblemBar : public QFrame {
    Q_OBJECT
public:
    explicit CzProblemBar(QWidget* parent = nullptr);

    /// Empty: closes the bar.
    void showProblem(const QString& text);
    /// Empty while the bar is closed.
    QString problem() const;

private:
    QLabel* m_text;
};
