// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"
#include "Sidecar.h"

#include <QWidget>

#include <functional>
#include <optional>

class QCheckBox;
class QComboBox;
class QFormLayout;
class QGroupBox;
class QLabel;
class QLineEdit;
class QSpinBox;
class QTableWidget;
class QTableWidgetItem;
class QToolButton;

/// What picture files do not say of the sensor that took them: bit depth, colour filter array and, for
/// mosaics, the filter zones with their bands.
class CzSensorPanel : public QWidget {
    Q_OBJECT
public:
    explicit CzSensorPanel(QWidget* parent = nullptr);

    void setSidecar(const SzSidecar& sidecar);
    /// What was set, with the user's changes; what they left alone is as it was.
    const SzSidecar& sidecar() const { return m_sidecar; }

    /// The pictures that are described; none: nobody knows them. What cannot be true of them is said in a
    /// line of warnings.
    void setPictureFormat(const std::optional<SzPicBufInfo>& format);

signals:
    /// The user changed something.
    void changed();
    void saveRequested();

private:
    using Zone = CzHsiCameraParams::CzFilterZone;

    QSpinBox* addSpin(const char* name, int minimum, int maximum, std::function<void(int)> set);
    QGroupBox* makeMosaic();
    void setFilters(int index);
    void setBand(const QTableWidgetItem& item);
    void addZone();
    void removeZone();
    void fitBands(Zone& zone);
    Zone& zone();
    /// Changes the sidecar, and tells so, unless it is the sidecar that changes the widgets.
    void change(const std::function<void()>& set);
    void showAll();
    void showZone();
    void showWarnings();

    SzSidecar m_sidecar;
    std::optional<SzPicBufInfo> m_format;
    CzHsiCameraParams m_putAside; ///< the mosaic, while other filters are chosen
    int m_zone = 0;               ///< that is shown
    bool m_showing = false;

    QSpinBox* m_bitDepth;
    QComboBox* m_filters;
    QGroupBox* m_mosaic;
    QLineEdit* m_name;
    QCheckBox* m_rgbNir;
    QComboBox* m_zones;
    QToolButton* m_removeZone;
    QSpinBox* m_cellWidth;
    QSpinBox* m_cellHeight;
    QSpinBox* m_blockWidth;
    QSpinBox* m_blockHeight;
    QSpinBox* m_left;
    QSpinBox* m_top;
    QSpinBox* m_right;
    QSpinBox* m_bottom;
    QTableWidget* m_bands;
    QLabel* m_warnings;
};
