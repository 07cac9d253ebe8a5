// SPDX-License-Identifier: GPL-3.0-or-later
#include "SensorPanel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QSpinBox>
#include <QTableWidget>
#include <QToolButton>

#include <algorithm>
#include <limits>
#include <utility>

namespace {

constexpr int largestCell = 32;
constexpr int largestCoordinate = 1 << 20;
constexpr int wholePicture = -1; // of a zone's right and bottom edge
constexpr int asTheFile = -1;    // of the filters

enum Column { NameColumn, WavelengthColumn };

using Band = CzHsiCameraParams::CzBand;

constexpr auto mosaicOfBands = EzColorFilterArray::Hyperspectral;

QString wavelengthText(double wavelength) {
    return wavelength > 0.0 ? QLocale().toString(wavelength, 'g', QLocale::FloatingPointShortest) : QString();
}

/// 0: unknown.
double wavelengthOf(const QString& text) {
    bool isNumber = false;
    double wavelength = QLocale().toDouble(text.trimmed(), &isNumber);
    if (!isNumber)
        wavelength = QLocale::c().toDouble(text.trimmed(), &isNumber);
    return isNumber && wavelength > 0.0 ? wavelength : 0.0;
}

/// A rectangle of pixels, the last ones included.
struct Area {
    std::int64_t left, top, right, bottom;
};

/// The pixels that a zone claims: without a region, all that there are.
Area areaOf(const CzHsiCameraParams::CzFilterZone& zone) {
    if (zone.hasRegion())
        return {zone.left, zone.top, zone.right, zone.bottom};
    return {0, 0, std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::max()};
}

bool overlap(const Area& a, const Area& b) {
    return a.left <= b.right && b.left <= a.right && a.top <= b.bottom && b.top <= a.bottom;
}

QStringList zoneWarnings(const CzHsiCameraParams::CzFilterZone& zone,
                         const std::optional<SzPicBufInfo>& picture) {
    QStringList warnings;
    const std::uint64_t places = std::uint64_t{zone.cellWidth} * zone.cellHeight;
    if (places == 0)
        warnings.append(CzSensorPanel::tr("The cell has no bands."));
    if (zone.blockWidth == 0 || zone.blockHeight == 0)
        warnings.append(CzSensorPanel::tr("The patch has no pixels."));
    if (places != static_cast<std::uint64_t>(zone.bands.size()))
        warnings.append(CzSensorPanel::tr("There are %1 bands for %2 places of the cell.")
                            .arg(zone.bands.size())
                            .arg(places));
    const bool isWhole =
        zone.left == 0 && zone.top == 0 && zone.right == wholePicture && zone.bottom == wholePicture;
    if (!zone.hasRegion() && !isWhole)
        warnings.append(CzSensorPanel::tr("The last pixel lies before the first one: the zone counts as the "
                                          "whole picture."));
    const bool isBeyond = zone.hasRegion() && picture &&
                          (zone.left < 0 || zone.top < 0 || std::int64_t{zone.right} >= picture->width ||
                           std::int64_t{zone.bottom} >= picture->height);
    if (isBeyond)
        warnings.append(CzSensorPanel::tr("The zone reaches beyond the picture of %1 × %2 pixels.")
                            .arg(picture->width)
                            .arg(picture->height));
    return warnings;
}

/// What cannot be true of a sensor that took such pictures.
QStringList warningsOf(const SzSidecar& sidecar, const std::optional<SzPicBufInfo>& picture) {
    QStringList warnings;
    const std::uint32_t sampleBits = picture ? 8 * bytesPerSample(picture->dataType) : 32;
    if (sidecar.bitDepth.value_or(0) > sampleBits)
        warnings.append(CzSensorPanel::tr("A bit depth of %1 is more than the %2 bits of a sample.")
                            .arg(*sidecar.bitDepth)
                            .arg(sampleBits));
    const QVector<CzHsiCameraParams::CzFilterZone>& zones = sidecar.hsi.zones;
    for (int i = 0; i < zones.size(); ++i) {
        for (const QString& warning : zoneWarnings(zones.at(i), picture))
            warnings.append(zones.size() == 1 ? warning
                                              : CzSensorPanel::tr("Zone %1: %2").arg(i + 1).arg(warning));
        for (int other = 0; other < i; ++other)
            if (overlap(areaOf(zones.at(i)), areaOf(zones.at(other))))
                warnings.append(CzSensorPanel::tr("Zones %1 and %2 overlap.").arg(other + 1).arg(i + 1));
    }
    return warnings;
}

/// Two widgets of one form row.
QHBoxLayout* pairOf(QWidget* first, const QString& between, QWidget* second) {
    auto* const row = new QHBoxLayout;
    row->addWidget(first, 1);
    row->addWidget(new QLabel(between));
    row->addWidget(second, 1);
    return row;
}

} // namespace

CzSensorPanel::CzSensorPanel(QWidget* parent) : QWidget(parent) {
    m_bitDepth = addSpin("bitDepth", 0, 32, [this](int bits) {
        m_sidecar.bitDepth.reset();
        if (bits > 0)
            m_sidecar.bitDepth = static_cast<std::uint32_t>(bits);
    });
    m_bitDepth->setSpecialValueText(tr("as the file"));
    m_filters = new QComboBox;
    m_filters->setObjectName(QStringLiteral("colorFilterArray"));
    m_filters->addItem(tr("as the file"), asTheFile);
    const QStringList names{tr("no filters"),  tr("Bayer RG/GB"),    tr("Bayer GR/BG"),
                            tr("Bayer GB/RG"), tr("Bayer BG/GR"),    tr("cyan, magenta, yellow, green"),
                            tr("RGBR"),        tr("mosaic of bands")};
    for (int i = 0; i < names.size(); ++i)
        m_filters->addItem(names.at(i), i);
    m_filters->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    connect(m_filters, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &CzSensorPanel::setFilters);
    m_mosaic = makeMosaic();
    auto* const save = new QPushButton(tr("&Save beside the pictures"));
    save->setObjectName(QStringLiteral("save"));
    save->setToolTip(tr("Writes a description file (*.json) beside each picture file."));
    connect(save, &QPushButton::clicked, this, [this, save] {
        save->setFocus(); // what is being typed counts, also when a key pressed the button
        emit saveRequested();
    });
    m_warnings = new QLabel;
    m_warnings->setObjectName(QStringLiteral("warnings"));
    m_warnings->setTextFormat(Qt::PlainText);
    m_warnings->setWordWrap(true);
    m_warnings->setStyleSheet(QStringLiteral("color: #402000; background: #ffe0b0; padding: 2px 4px"));

    auto* const form = new QFormLayout(this);
    form->addRow(tr("&Bit depth:"), m_bitDepth);
    form->addRow(tr("F&ilters:"), m_filters);
    form->addRow(m_warnings);
    form->addRow(m_mosaic);
    form->addRow(save);
    showAll();
}

QGroupBox* CzSensorPanel::makeMosaic() {
    m_name = new QLineEdit;
    m_name->setObjectName(QStringLiteral("mosaicName"));
    connect(m_name, &QLineEdit::editingFinished, this, [this] {
        if (m_name->text() != m_sidecar.mosaicName)
            change([this] { m_sidecar.mosaicName = m_name->text(); });
    });
    m_rgbNir = new QCheckBox(tr("R&GB-NIR sensor"));
    m_rgbNir->setObjectName(QStringLiteral("rgbNir"));
    m_rgbNir->setToolTip(tr("Its bands are called R, G, B and NIR."));
    connect(m_rgbNir, &QCheckBox::toggled, this,
            [this](bool on) { change([this, on] { m_sidecar.hsi.rgbNir = on; }); });

    m_zones = new QComboBox;
    m_zones->setObjectName(QStringLiteral("zones"));
    connect(m_zones, QOverload<int>::of(&QComboBox::activated), this, [this](int zone) {
        m_zone = zone;
        showZone();
    });
    auto* const addZoneButton = new QToolButton;
    addZoneButton->setObjectName(QStringLiteral("addZone"));
    addZoneButton->setText(QStringLiteral("+"));
    addZoneButton->setToolTip(tr("Adds a filter zone like this one"));
    connect(addZoneButton, &QToolButton::clicked, this, &CzSensorPanel::addZone);
    m_removeZone = new QToolButton;
    m_removeZone->setObjectName(QStringLiteral("removeZone"));
    m_removeZone->setText(QStringLiteral("−"));
    m_removeZone->setToolTip(tr("Removes this filter zone"));
    connect(m_removeZone, &QToolButton::clicked, this, &CzSensorPanel::removeZone);
    auto* const zoneRow = new QHBoxLayout;
    zoneRow->addWidget(m_zones, 1);
    zoneRow->addWidget(addZoneButton);
    zoneRow->addWidget(m_removeZone);

    m_cellWidth = addSpin("cellWidth", 1, largestCell, [this](int bands) {
        zone().cellWidth = static_cast<std::uint32_t>(bands);
        fitBands(zone());
    });
    m_cellHeight = addSpin("cellHeight", 1, largestCell, [this](int bands) {
        zone().cellHeight = static_cast<std::uint32_t>(bands);
        fitBands(zone());
    });
    m_blockWidth = addSpin("blockWidth", 1, largestCell,
                           [this](int pixels) { zone().blockWidth = static_cast<std::uint32_t>(pixels); });
    m_blockHeight = addSpin("blockHeight", 1, largestCell,
                            [this](int pixels) { zone().blockHeight = static_cast<std::uint32_t>(pixels); });
    m_left = addSpin("left", 0, largestCoordinate, [this](int x) { zone().left = x; });
    m_top = addSpin("top", 0, largestCoordinate, [this](int y) { zone().top = y; });
    m_right = addSpin("right", wholePicture, largestCoordinate, [this](int x) { zone().right = x; });
    m_bottom = addSpin("bottom", wholePicture, largestCoordinate, [this](int y) { zone().bottom = y; });
    for (QSpinBox* const edge : {m_right, m_bottom}) {
        edge->setSpecialValueText(tr("whole"));
        edge->setToolTip(tr("Last pixel; a zone without a last pixel is the whole picture."));
    }
    m_bands = new QTableWidget(0, 2);
    m_bands->setObjectName(QStringLiteral("bands"));
    m_bands->setHorizontalHeaderLabels({tr("Band"), tr("Wavelength (nm)")});
    m_bands->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    m_bands->setMinimumHeight(160);
    m_bands->setToolTip(tr("In the order of the cell, row by row"));
    connect(m_bands, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) { setBand(*item); });

    auto* const group = new QGroupBox(tr("Mosaic"));
    auto* const form = new QFormLayout(group);
    form->addRow(tr("&Name:"), m_name);
    form->addRow(m_rgbNir);
    form->addRow(tr("Zone:"), zoneRow);
    const QString times = QStringLiteral("×");
    form->addRow(tr("Cell (bands):"), pairOf(m_cellWidth, times, m_cellHeight));
    form->addRow(tr("Patch (pixels):"), pairOf(m_blockWidth, times, m_blockHeight));
    form->addRow(tr("First pixel:"), pairOf(m_left, QStringLiteral(","), m_top));
    form->addRow(tr("Last pixel:"), pairOf(m_right, QStringLiteral(","), m_bottom));
    form->addRow(m_bands);
    return group;
}

QSpinBox* CzSensorPanel::addSpin(const char* name, int minimum, int maximum, std::function<void(int)> set) {
    auto* const spin = new QSpinBox;
    spin->setObjectName(QLatin1String(name));
    spin->setRange(minimum, maximum);
    spin->setKeyboardTracking(false);
    spin->setMinimumWidth(60); // two of them side by side, whatever the largest number
    connect(spin, QOverload<int>::of(&QSpinBox::valueChanged), this,
            [this, set](int value) { change([&] { set(value); }); });
    return spin;
}

void CzSensorPanel::setSidecar(const SzSidecar& sidecar) {
    m_sidecar = sidecar;
    m_putAside = CzHsiCameraParams();
    m_zone = 0;
    showAll();
}

void CzSensorPanel::setPictureFormat(const std::optional<SzPicBufInfo>& format) {
    m_format = format;
    showWarnings();
}

// ---- What the user changes ----

void CzSensorPanel::change(const std::function<void()>& set) {
    if (m_showing)
        return;
    set();
    showAll();
    emit changed();
}

CzHsiCameraParams::CzFilterZone& CzSensorPanel::zone() {
    QVector<Zone>& zones = m_sidecar.hsi.zones;
    if (zones.isEmpty()) {
        Zone fresh;
        fresh.cellWidth = fresh.cellHeight = 4;
        fresh.blockWidth = fresh.blockHeight = 1;
        fitBands(fresh);
        zones.append(fresh);
    }
    return zones[std::clamp(m_zone, 0, zones.size() - 1)];
}

void CzSensorPanel::fitBands(Zone& zone) {
    const int count = static_cast<int>(zone.cellWidth * zone.cellHeight);
    while (zone.bands.size() > count)
        zone.bands.removeLast();
    while (zone.bands.size() < count)
        zone.bands.append(Band(QString::number(zone.bands.size() + 1)));
}

void CzSensorPanel::setFilters(int index) {
    change([this, filters = m_filters->itemData(index).toInt()] {
        m_sidecar.sensorColorFilterArray.reset(); // the new ones are the sensor's, too
        m_sidecar.colorFilterArray.reset();
        if (filters != asTheFile)
            m_sidecar.colorFilterArray = static_cast<EzColorFilterArray>(filters);
        if (m_sidecar.colorFilterArray == mosaicOfBands) {
            if (m_sidecar.hsi.zones.isEmpty())
                m_sidecar.hsi = std::exchange(m_putAside, {});
            zone(); // there is one
        } else if (m_sidecar.hsi != CzHsiCameraParams()) {
            m_putAside = std::exchange(m_sidecar.hsi, {});
        }
    });
}

void CzSensorPanel::setBand(const QTableWidgetItem& item) {
    change([&] {
        Band& band = zone().bands[item.row()];
        band = item.column() == NameColumn ? Band(item.text().trimmed(), band.wavelength())
                                           : Band(band.name(), wavelengthOf(item.text()));
    });
}

void CzSensorPanel::addZone() {
    change([this] {
        const Zone like = zone();
        m_sidecar.hsi.zones.insert(++m_zone, like);
    });
}

void CzSensorPanel::removeZone() {
    change([this] {
        m_sidecar.hsi.zones.remove(m_zone);
        m_zone = std::max(0, m_zone - 1);
    });
}

// ---- What is shown ----

void CzSensorPanel::showAll() {
    m_showing = true;
    m_bitDepth->setValue(static_cast<int>(std::min(m_sidecar.bitDepth.value_or(0), 32U)));
    const int filters =
        m_sidecar.colorFilterArray ? static_cast<int>(*m_sidecar.colorFilterArray) : asTheFile;
    m_filters->setCurrentIndex(std::max(0, m_filters->findData(filters)));
    m_mosaic->setEnabled(m_sidecar.colorFilterArray == mosaicOfBands || !m_sidecar.hsi.zones.isEmpty());
    m_name->setText(m_sidecar.mosaicName);
    m_rgbNir->setChecked(m_sidecar.hsi.rgbNir);
    const int zones = m_sidecar.hsi.zones.size();
    m_zones->clear();
    for (int i = 0; i < zones; ++i)
        m_zones->addItem(tr("%1 of %2").arg(i + 1).arg(zones));
    m_zones->setCurrentIndex(m_zone);
    m_removeZone->setEnabled(zones > 1);
    m_showing = false;
    showZone();
    showWarnings();
}

void CzSensorPanel::showWarnings() {
    const QStringList warnings = warningsOf(m_sidecar, m_format);
    m_warnings->setText(warnings.join(QLatin1Char('\n')));
    m_warnings->setVisible(!warnings.isEmpty());
}

void CzSensorPanel::showZone() {
    m_showing = true;
    const Zone shown = m_sidecar.hsi.zones.value(m_zone);
    const auto showSize = [](QSpinBox* spin, std::uint32_t size) {
        spin->setMinimum(size == 0 ? 0 : 1); // a description that says 0 can be mended
        spin->setValue(static_cast<int>(std::min<std::uint32_t>(size, largestCell)));
    };
    showSize(m_cellWidth, shown.cellWidth);
    showSize(m_cellHeight, shown.cellHeight);
    showSize(m_blockWidth, shown.blockWidth);
    showSize(m_blockHeight, shown.blockHeight);
    m_left->setValue(shown.left);
    m_top->setValue(shown.top);
    m_right->setValue(shown.right);
    m_bottom->setValue(shown.bottom);

    m_bands->setRowCount(shown.bands.size());
    for (int i = 0; i < shown.bands.size(); ++i)
        for (const auto& [column, text] :
             {std::pair{NameColumn, shown.bands.at(i).name()},
              {WavelengthColumn, wavelengthText(shown.bands.at(i).wavelength())}}) {
            if (!m_bands->item(i, column))
                m_bands->setItem(i, column, new QTableWidgetItem);
            m_bands->item(i, column)->setText(text);
        }
    m_showing = false;
}
