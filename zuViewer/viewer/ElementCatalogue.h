// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDialog>
#include <QString>

class QLineEdit;
class QListWidget;
class QListWidgetItem;
class QPushButton;
class QTextBrowser;

/// Lets the user choose one of the elements that plug-ins offer, by searching in their names and help.
class CzElementCatalogue : public QDialog {
    Q_OBJECT
public:
    explicit CzElementCatalogue(QWidget* parent = nullptr);

    /// Identifier of the chosen class; empty when none is.
    QString chosenId() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fill();
    void filter(const QString& text);
    void showHelp(const QListWidgetItem* item);

    QLineEdit* m_search;
    QListWidget* m_list;
    QTextBrowser* m_help;
    QPushButton* m_add;
};
