// SPDX-License-Identifier: GPL-3.0-or-later
#include "DisplayPanel.h"

#include "PictureSampling.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QDoubleValidator>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QSignalBlocker>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

using EzRange = SzDisplaySettings::EzRange;

constexpr double farthestLimit = std::numeric_limits<float>::max();
constexpr int rangeDigits = 4;
constexpr int stepDigits = 2;
constexpr int leastDigits = 7;   // have room
constexpr int shownDigits = 10;  // of every sample of 32 bits
constexpr int mostDecimals = 45; // the smallest float that is not 0

/// How many steps there are from 0 to 1 when the range has at least 10^digits of them; a power of ten.
double stepsPerUnit(const SzDisplayRange& range, int digits) {
    const double extent =
        range.white != range.black ? std::abs(range.white - range.black) : std::abs(range.white);
    return extent > 0.0 ? std::pow(10.0, digits - std::floor(std::log10(extent))) : 1.0;
}

/// In steps of at most a ten-thousandth of the range.
SzDisplayRange rounded(const SzDisplayRange& range) {
    const double steps = stepsPerUnit(range, rangeDigits);
    return {std::round(range.black * steps) / steps, std::round(range.white * steps) / steps};
}

/// A limit of the shown range, in the shortest notation, and as wide as that: floats may be long.
class LimitBox : public QDoubleSpinBox {
public:
    LimitBox() { connect(lineEdit(), &QLineEdit::textChanged, this, &LimitBox::updateGeometry); }

    QSize sizeHint() const override {
        const auto widthOf = [this](const QString& text) { return fontMetrics().horizontalAdvance(text); };
        QSize hint = QDoubleSpinBox::sizeHint(); // for the longest text
        hint.rwidth() -= widthOf(textFromValue(minimum()));
        hint.rwidth() += std::max(widthOf(text()), widthOf(QString(leastDigits, QLatin1Char('0'))));
        return hint;
    }
    QSize minimumSizeHint() const override { return sizeHint(); }

    /// To the next multiple of a hundredth of a step: sums of floats are hardly ever 0.
    void stepBy(int steps) override {
        interpretText();
        const double perUnit = 100.0 / singleStep();
        setValue(std::round((value() + steps * singleStep()) * perUnit) / perUnit);
        selectAll();
    }

    QString textFromValue(double value) const override {
        QLocale notation = locale();
        notation.setNumberOptions(QLocale::OmitGroupSeparator);
        return notation.toString(value, 'g', shownDigits);
    }
    double valueFromText(const QString& text) const override { return locale().toDouble(text); }
    QValidator::State validate(QString& text, int& cursor) const override {
        QDoubleValidator validator(minimum(), maximum(), decimals());
        validator.setLocale(locale());
        return validator.validate(text, cursor);
    }
};

bool hasColours(const CzLinkTap::Picture& picture) {
    return picture && hasMosaicColours(*picture);
}

/// The bands of a mosaic in the order of their numbers; empty for other pictures, and null.
QStringList bandsOf(const CzLinkTap::Picture& picture) {
    QStringList names;
    if (!picture || !hasZones(*picture))
        return names;
    for (const CzHsiCameraParams::CzFilterZone& zone : picture->imageMetadata().hsiCameraParams.zones)
        for (const CzHsiCameraParams::CzBand& band : zone.bands)
            names.append(band.name());
    return names;
}

} // namespace

CzDisplayPanel::CzDisplayPanel(QWidget* parent) : QWidget(parent) {
    const auto addList = [this](const char* name, const QString& toolTip) {
        auto* const list = new QComboBox;
        list->setObjectName(QLatin1String(name));
        list->setToolTip(toolTip);
        connect(list, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &CzDisplayPanel::tell);
        return list;
    };
    const auto addLimit = [this](const char* name, const QString& toolTip) {
        auto* const limit = new LimitBox;
        limit->setObjectName(QLatin1String(name));
        limit->setToolTip(toolTip);
        limit->setRange(-farthestLimit, farthestLimit);
        limit->setDecimals(0);
        limit->setKeyboardTracking(false);
        connect(limit, QOverload<double>::of(&QDoubleSpinBox::valueChanged), this, &CzDisplayPanel::tell);
        return limit;
    };
    const auto addBox = [this](const char* name, const QString& text, const QString& toolTip) {
        auto* const box = new QCheckBox(text);
        box->setObjectName(QLatin1String(name));
        box->setToolTip(toolTip);
        connect(box, &QCheckBox::toggled, this, &CzDisplayPanel::tell);
        return box;
    };
    m_mode = addList("mode", tr("What the selected element makes, alone or beside what it gets"));
    m_range = addList("range", tr("Which samples are black and white"));
    m_black = addLimit("black", tr("This sample and less is black"));
    m_white = addLimit("white", tr("This sample and more is white"));
    m_demosaic = addBox("demosaic", tr("&Colours of mosaics"), tr("Or the raw samples in grey"));
    m_band = addList("band", tr("One band of the mosaic, or all as they lie on the sensor"));
    m_saturated = addBox("saturated", tr("&Mark saturated"),
                         tr("Shows in red what the sensor could not hold. Zoomed out, a pixel of the screen "
                            "stands for one of many, and single saturated ones may be missed: look at the "
                            "picture pixel by pixel."));

    auto* const layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 2, 4, 2);
    for (QWidget* const widget :
         std::initializer_list<QWidget*>{m_mode, m_range, m_black, m_white, m_demosaic, m_band, m_saturated})
        layout->addWidget(widget);
    layout->addStretch();

    const QSignalBlocker quiet(this);
    m_mode->addItem(tr("Result"), int(CzPictureWidget::EzMode::Single));
    m_mode->addItem(tr("Before | After"), int(CzPictureWidget::EzMode::SideBySide));
    m_mode->addItem(tr("Split"), int(CzPictureWidget::EzMode::Split));
    m_range->addItem(tr("Full range"), int(EzRange::Full));
    m_range->addItem(tr("Automatic range"), int(EzRange::Automatic));
    m_range->addItem(tr("Manual range"), int(EzRange::Manual));
    m_band->addItem(tr("All bands"));
    m_demosaic->setChecked(true);
    m_demosaic->hide();
    m_band->hide();
}

SzDisplaySettings CzDisplayPanel::settings() const {
    SzDisplaySettings settings;
    settings.range = EzRange(m_range->currentData().toInt());
    settings.manual = {m_black->value(), m_white->value()};
    settings.demosaic = m_demosaic->isChecked();
    settings.band = m_band->currentIndex() - 1;
    settings.markSaturated = m_saturated->isChecked();
    return settings;
}

CzPictureWidget::EzMode CzDisplayPanel::mode() const {
    return CzPictureWidget::EzMode(m_mode->currentData().toInt());
}

void CzDisplayPanel::setPictures(const CzLinkTap::Picture& after, const CzLinkTap::Picture& before) {
    if (!after && !before)
        return;
    m_picture = after ? after : before;
    m_demosaic->setVisible(hasColours(after) || hasColours(before));
    if (const bool isFloat = largestSample(m_picture->picBuf()) == 0.0; isFloat != m_isFloat) {
        m_isFloat = isFloat;
        // Not with every picture: it would undo what is being typed.
        for (QDoubleSpinBox* const limit : {m_black, m_white})
            limit->setDecimals(isFloat ? mostDecimals : 0);
        adaptSteps();
    }
    QStringList names = bandsOf(after);
    if (names.isEmpty())
        names = bandsOf(before);
    m_band->setVisible(!names.isEmpty());
    if (!names.isEmpty() && names != m_bandNames)
        offerBands(names);
}

void CzDisplayPanel::offerBands(const QStringList& names) {
    const QString chosen = m_bandNames.value(m_band->currentIndex() - 1);
    const int before = m_band->currentIndex();
    m_bandNames = names;
    {
        const QSignalBlocker quiet(m_band);
        m_band->clear();
        m_band->addItem(tr("All bands"));
        m_band->addItems(names);
        m_band->setCurrentIndex(before > 0 ? names.indexOf(chosen) + 1 : 0);
    }
    if (m_band->currentIndex() != before)
        tell();
}

void CzDisplayPanel::stepBand(int bands) {
    if (!m_band->isHidden())
        m_band->setCurrentIndex(std::clamp(m_band->currentIndex() + bands, 0, m_band->count() - 1));
}

void CzDisplayPanel::beginManualRange() {
    if (!m_picture)
        return;
    SzDisplaySettings before = settings();
    before.range = m_toldRange;
    const SzDisplayRange range = displayRange(*m_picture, before);
    const SzDisplayRange shown = m_isFloat ? rounded(range) : range;
    const QSignalBlocker quietBlack(m_black);
    const QSignalBlocker quietWhite(m_white);
    m_black->setValue(shown.black);
    m_white->setValue(shown.white);
}

void CzDisplayPanel::adaptSteps() {
    const double step = m_isFloat ? 1.0 / stepsPerUnit(settings().manual, stepDigits) : 1.0;
    if (step == m_black->singleStep())
        return; // it would undo what is being typed
    for (QDoubleSpinBox* const limit : {m_black, m_white})
        limit->setSingleStep(step);
}

void CzDisplayPanel::tell() {
    const EzRange range = settings().range;
    if (range == EzRange::Manual && m_toldRange != EzRange::Manual)
        beginManualRange();
    m_toldRange = range;
    adaptSteps();
    m_black->setVisible(range == EzRange::Manual);
    m_white->setVisible(range == EzRange::Manual);
    emit changed();
}
