// SPDX-License-Identifier: GPL-3.0-or-later
#include "SensorPanel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLocale>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>

#include <algorithm>

namespace {

constexpr int largestCell = 32;
constexpr int largestCoordinate = 1 << 20;

using Band = CzHsiCameraParams::CzBand;
using Zone = CzHsiCameraParams::CzFilterZone;

/// "name wavelength" per line; the wavelength may be missing.
QString bandText(const QVector<Band>& bands) {
    QStringList lines;
    for (const Band& band : bands)
        lines.append(band.wavelength() > 0.0
                         ? QStringLiteral("%1 %2").arg(band.name(), QLocale::c().toString(band.wavelength()))
                         : band.name());
    return lines.join(QLatin1Char('\n'));
}

QVector<Band> parseBands(const QString& text, int count) {
    QVector<Band> bands;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int i = 0; i < count; ++i) {
        const QString line = lines.value(i).trimmed();
        const int space = line.lastIndexOf(QLatin1Char(' '));
        bool isNumber = false;
        const double wavelength = QLocale::c().toDouble(line.mid(space + 1), &isNumber);
        if (space > 0 && isNumber && wavelength > 0.0)
            bands.append(Band(line.left(space).trimmed(), wavelength));
        else
            bands.append(Band(line.isEmpty() ? QString::number(i + 1) : line));
    }
    return bands;
}

} // namespace

CzSensorPanel::CzSensorPanel(QWidget* parent) : QWidget(parent) {
    auto* const form = new QFormLayout(this);
    m_bitDepth = addSpin(form, tr("&Bit depth:"), QStringLiteral("bitDepth"), 0, 32);
    m_bitDepth->setSpecialValueText(tr("as the file"));
    m_colorFilterArray = new QComboBox;
    m_colorFilterArray->setObjectName(QStringLiteral("colorFilterArray"));
    const QStringList names{tr("no filters"),  tr("Bayer RG/GB"),    tr("Bayer GR/BG"),
                            tr("Bayer GB/RG"), tr("Bayer BG/GR"),    tr("cyan, magenta, yellow, green"),
                            tr("RGBR"),        tr("mosaic of bands")};
    m_colorFilterArray->addItem(tr("as the file"), -1);
    for (int i = 0; i < names.size(); ++i)
        m_colorFilterArray->addItem(names.at(i), i);
    form->addRow(tr("&Filters:"), m_colorFilterArray);

    m_mosaic = new QGroupBox(tr("Mosaic"));
    auto* const mosaicForm = new QFormLayout(m_mosaic);
    m_cellWidth = addSpin(mosaicForm, tr("Cell &width:"), QStringLiteral("cellWidth"), 1, largestCell);
    m_cellHeight = addSpin(mosaicForm, tr("Cell &height:"), QStringLiteral("cellHeight"), 1, largestCell);
    m_blockWidth = addSpin(mosaicForm, tr("Patch width:"), QStringLiteral("blockWidth"), 1, largestCell);
    m_blockHeight = addSpin(mosaicForm, tr("Patch height:"), QStringLiteral("blockHeight"), 1, largestCell);
    m_left = addSpin(mosaicForm, tr("Left:"), QStringLiteral("left"), 0, largestCoordinate);
    m_top = addSpin(mosaicForm, tr("Top:"), QStringLiteral("top"), 0, largestCoordinate);
    m_right = addSpin(mosaicForm, tr("Right:"), QStringLiteral("right"), -1, largestCoordinate);
    m_bottom = addSpin(mosaicForm, tr("Bottom:"), QStringLiteral("bottom"), -1, largestCoordinate);
    for (QSpinBox* const spin : {m_right, m_bottom})
        spin->setSpecialValueText(tr("the picture's"));
    m_rgbNir = new QCheckBox(tr("&RGB-NIR sensor"));
    m_rgbNir->setObjectName(QStringLiteral("rgbNir"));
    mosaicForm->addRow(m_rgbNir);
    m_bands = new QPlainTextEdit;
    m_bands->setObjectName(QStringLiteral("bands"));
    m_bands->setPlaceholderText(tr("A line per band, row by row: name and wavelength in nanometres"));
    mosaicForm->addRow(tr("B&ands:"), m_bands);
    form->addRow(m_mosaic);

    auto* const save = new QPushButton(tr("&Save beside the pictures"));
    save->setObjectName(QStringLiteral("save"));
    save->setToolTip(tr("Writes a description file (*.json) beside each picture file."));
    form->addRow(save);
    connect(save, &QPushButton::clicked, this, &CzSensorPanel::saveRequested);

    const auto tell = [this] {
        enableMosaic();
        if (!m_setting)
            emit changed();
    };
    for (QSpinBox* const spin : findChildren<QSpinBox*>())
        connect(spin, QOverload<int>::of(&QSpinBox::valueChanged), this, tell);
    connect(m_colorFilterArray, QOverload<int>::of(&QComboBox::currentIndexChanged), this, tell);
    connect(m_rgbNir, &QCheckBox::toggled, this, tell);
    connect(m_bands, &QPlainTextEdit::textChanged, this, tell);
    setSidecar(SzSidecar());
}

QSpinBox* CzSensorPanel::addSpin(QFormLayout* form, const QString& label, const QString& name, int minimum,
                                 int maximum) {
    auto* const spin = new QSpinBox;
    spin->setObjectName(name);
    spin->setRange(minimum, maximum);
    form->addRow(label, spin);
    return spin;
}

void CzSensorPanel::setSidecar(const SzSidecar& sidecar) {
    m_setting = true;
    m_given = sidecar;
    m_bitDepth->setValue(static_cast<int>(sidecar.bitDepth.value_or(0)));
    const int filters = sidecar.colorFilterArray ? static_cast<int>(*sidecar.colorFilterArray) : -1;
    m_colorFilterArray->setCurrentIndex(std::max(0, m_colorFilterArray->findData(filters)));
    const Zone zone = sidecar.hsi.zones.value(0);
    const auto size = [](std::uint32_t value) { return static_cast<int>(std::max(value, 1U)); };
    m_cellWidth->setValue(size(zone.cellWidth));
    m_cellHeight->setValue(size(zone.cellHeight));
    m_blockWidth->setValue(size(zone.blockWidth));
    m_blockHeight->setValue(size(zone.blockHeight));
    m_left->setValue(zone.left);
    m_top->setValue(zone.top);
    m_right->setValue(zone.right);
    m_bottom->setValue(zone.bottom);
    m_rgbNir->setChecked(sidecar.hsi.rgbNir);
    m_bands->setPlainText(bandText(zone.bands));
    enableMosaic();
    m_setting = false;
}

SzSidecar CzSensorPanel::sidecar() const {
    SzSidecar sidecar = m_given;
    sidecar.bitDepth.reset();
    if (m_bitDepth->value() > 0)
        sidecar.bitDepth = static_cast<std::uint32_t>(m_bitDepth->value());
    sidecar.colorFilterArray.reset();
    if (const int filters = m_colorFilterArray->currentData().toInt(); filters >= 0)
        sidecar.colorFilterArray = static_cast<EzColorFilterArray>(filters);
    if (!m_mosaic->isEnabled()) {
        sidecar.hsi = CzHsiCameraParams();
        return sidecar;
    }
    if (sidecar.hsi.zones.isEmpty())
        sidecar.hsi.zones.append(Zone());
    Zone& zone = sidecar.hsi.zones.first();
    zone.cellWidth = static_cast<std::uint32_t>(m_cellWidth->value());
    zone.cellHeight = static_cast<std::uint32_t>(m_cellHeight->value());
    zone.blockWidth = static_cast<std::uint32_t>(m_blockWidth->value());
    zone.blockHeight = static_cast<std::uint32_t>(m_blockHeight->value());
    zone.left = m_left->value();
    zone.top = m_top->value();
    zone.right = m_right->value();
    zone.bottom = m_bottom->value();
    zone.bands = parseBands(m_bands->toPlainText(), m_cellWidth->value() * m_cellHeight->value());
    sidecar.hsi.rgbNir = m_rgbNir->isChecked();
    return sidecar;
}

void CzSensorPanel::enableMosaic() {
    const int mosaic = static_cast<int>(EzColorFilterArray::Hyperspectral);
    m_mosaic->setEnabled(m_colorFilterArray->currentData().toInt() == mosaic);
}
