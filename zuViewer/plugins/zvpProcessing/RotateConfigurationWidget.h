// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

#include <memory>

class CzRotateImageCnbl;

namespace Ui {
class CzRotateConfigurationWidget;
}

/// Two radio buttons with which the user picks the direction.
class CzRotateConfigurationWidget : public QWidget {
    Q_OBJECT
public:
    /// element is not owned and outlives the widget.
    explicit CzRotateConfigurationWidget(CzRotateImageCnbl* element, QWidget* parent = nullptr);
    ~CzRotateConfigurationWidget() override;

private slots:
    // Found by their names.
    void on_clockButton_clicked(bool checked);
    void on_counterClockButton_clicked(bool checked);

private:
    std::unique_ptr<Ui::CzRotateConfigurationWidget> m_ui;
    CzRotateImageCnbl* m_element;
};
