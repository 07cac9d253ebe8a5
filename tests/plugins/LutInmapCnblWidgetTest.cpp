// SPDX-License-Identifier: GPL-3.0-or-later
#include "LutInmapCnblWidget.h"

#include "Chain.h"
#include "FrameSource.h"
#include "LutInmapCnbl.h"
#include "TestPictures.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QMetaMethod>
#include <QSpinBox>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Settings = CzLutInmapCnbl::SzSettings;
using Element = LooseElement<CzLutInmapCnbl>;

SzPicBufInfo inputFormat(std::uint32_t bitDepth, std::uint32_t channels = 1) {
    SzPicBufInfo format = pictureFormat(8, 8, channels, EzImageDataType::UInt32);
    format.bitDepth = bitDepth;
    return format;
}

/// The widget on the screen, and the user in front of it.
class ShownWidget {
public:
    explicit ShownWidget(CzLutInmapCnbl& element)
        : widget(element.createConfigWidget())
        , autoMinMax(widget->findChild<QCheckBox*>("chkAutoMinMax"))
        , mapToRgb(widget->findChild<QCheckBox*>("chkMapToRgb"))
        , pseudoColor(widget->findChild<QComboBox*>("cmbPseudoColor"))
        , min(widget->findChild<QSpinBox*>("spinMin"))
        , max(widget->findChild<QSpinBox*>("spinMax"))
        , gamma(widget->findChild<QDoubleSpinBox*>("spinGamma"))
        , tolerance(widget->findChild<QDoubleSpinBox*>("spinTolerance")) {
        widget->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(widget.get()));
    }

    static void click(QAbstractButton* button) {
        QTest::mouseClick(button, Qt::LeftButton, Qt::NoModifier, QPoint(8, button->height() / 2));
    }

    QLabel* label(const QString& text) const {
        for (QLabel* label : widget->findChildren<QLabel*>())
            if (label->text() == text)
                return label;
        ADD_FAILURE() << "no label " << text.toStdString();
        return nullptr;
    }

    std::unique_ptr<QWidget> widget;
    QCheckBox* autoMinMax;
    QCheckBox* mapToRgb;
    QComboBox* pseudoColor;
    QSpinBox* min;
    QSpinBox* max;
    QDoubleSpinBox* gamma;
    QDoubleSpinBox* tolerance;
};

void expectSame(const Settings& actual, const Settings& expected) {
    EXPECT_EQ(actual.mapToRgb, expected.mapToRgb);
    EXPECT_EQ(actual.pseudoColor, expected.pseudoColor);
    EXPECT_EQ(actual.autoMinMax, expected.autoMinMax);
    EXPECT_EQ(actual.autoTolerance, expected.autoTolerance);
    EXPECT_EQ(actual.srcMin, expected.srcMin);
    EXPECT_EQ(actual.srcMax, expected.srcMax);
    EXPECT_EQ(actual.gamma, expected.gamma);
}

/// The texts of labels and check boxes in a layout, and the names of its other controls.
QStringList contents(const QLayout* layout) {
    QStringList texts;
    for (int i = 0; layout && i < layout->count(); ++i) {
        const QWidget* const widget = layout->itemAt(i)->widget();
        if (const auto* const label = qobject_cast<const QLabel*>(widget))
            texts.append(label->text());
        else if (const auto* const box = qobject_cast<const QCheckBox*>(widget))
            texts.append(box->text());
        else if (widget)
            texts.append(widget->objectName());
    }
    return texts;
}

// ---- What it shows ----

TEST(LutInmapCnblWidget, isLaidOutInRowsAroundALine) {
    Element element;
    const ShownWidget shown(element);
    EXPECT_EQ(shown.widget->windowTitle(), "LUT Mapping");
    const auto* const layout = qobject_cast<QVBoxLayout*>(shown.widget->layout());
    ASSERT_TRUE(layout);
    ASSERT_EQ(layout->count(), 5);
    const auto row = [&](int i) { return qobject_cast<QHBoxLayout*>(layout->itemAt(i)->layout()); };
    EXPECT_EQ(contents(row(0)), (QStringList{"Auto min-max", "Tolerance:", "spinTolerance", "‰"}));
    EXPECT_EQ(contents(row(1)), (QStringList{"Min:", "spinMin", "Gamma:", "spinGamma", "Max:", "spinMax"}));
    const auto* const line = qobject_cast<QFrame*>(layout->itemAt(2)->widget());
    ASSERT_TRUE(line);
    EXPECT_EQ(line->frameShape(), QFrame::HLine);
    EXPECT_EQ(line->frameShadow(), QFrame::Sunken);
    EXPECT_EQ(layout->itemAt(3)->widget(), shown.mapToRgb);
    EXPECT_EQ(shown.mapToRgb->text(), "Map to RGB");
    EXPECT_EQ(contents(row(4)), (QStringList{"Pseudocolor:", "cmbPseudoColor"}));
    for (const QWidget* child : std::vector<QWidget*>{shown.autoMinMax, shown.mapToRgb, shown.pseudoColor,
                                                      shown.min, shown.max, shown.gamma, shown.tolerance})
        EXPECT_EQ(child->parent(), shown.widget.get());
}

TEST(LutInmapCnblWidget, showsTheSettingsAndOpeningChangesNothing) {
    Element element;
    element.setInput(inputFormat(12));
    const Settings settings{true, 2, false, 7, 100, 3000, 2.2};
    element.setSettings(settings);
    const ShownWidget shown(element);
    EXPECT_FALSE(shown.autoMinMax->isChecked());
    EXPECT_TRUE(shown.mapToRgb->isChecked());
    EXPECT_EQ(shown.pseudoColor->currentIndex(), 3);
    EXPECT_EQ(shown.min->value(), 100);
    EXPECT_EQ(shown.max->value(), 3000);
    EXPECT_EQ(shown.gamma->value(), 2.2);
    EXPECT_EQ(shown.tolerance->value(), 7.0);
    expectSame(element.settings(), settings);
}

TEST(LutInmapCnblWidget, boundsGammaAndTolerance) {
    Element element;
    const ShownWidget shown(element);
    EXPECT_EQ(shown.tolerance->minimum(), 0.0);
    EXPECT_EQ(shown.tolerance->maximum(), 100.0);
    EXPECT_EQ(shown.tolerance->decimals(), 1);
    EXPECT_EQ(shown.gamma->minimum(), 0.1);
    EXPECT_EQ(shown.gamma->maximum(), 10.0);
    EXPECT_EQ(shown.gamma->singleStep(), 0.1);
}

TEST(LutInmapCnblWidget, boundsTheRangeByTheDepthOfTheInput) {
    struct Limits {
        std::uint32_t bitDepth;
        int largestMin;
        int largestMax;
    };
    constexpr int most = std::numeric_limits<int>::max();
    for (const Limits& limits : {Limits{8, 254, 255},
                                 {12, 4094, 4095},
                                 {16, 65534, 65535},
                                 {1, 0, 1},
                                 {31, most - 1, most},
                                 {32, most, most}, // what a spin box can hold
                                 {64, most, most},
                                 {4294967295U, most, most},
                                 {0, 0, 1}}) { // a single legal value each
        Element element;
        element.setInput(inputFormat(limits.bitDepth));
        const ShownWidget shown(element);
        EXPECT_EQ(shown.min->minimum(), 0) << limits.bitDepth;
        EXPECT_EQ(shown.min->maximum(), limits.largestMin) << limits.bitDepth;
        EXPECT_EQ(shown.max->minimum(), 1) << limits.bitDepth;
        EXPECT_EQ(shown.max->maximum(), limits.largestMax) << limits.bitDepth;
    }
}

TEST(LutInmapCnblWidget, withoutAKnownInputTheRangeIsFrom0To1) {
    Element element;
    const ShownWidget shown(element);
    EXPECT_EQ(shown.min->minimum(), 0);
    EXPECT_EQ(shown.min->maximum(), 0);
    EXPECT_EQ(shown.max->minimum(), 1);
    EXPECT_EQ(shown.max->maximum(), 1);
    EXPECT_EQ(element.settings().srcMax, 255) << "opening the widget changes nothing";
}

TEST(LutInmapCnblWidget, showsSettingsThatNoControlCanSetAsTheNearestOnes) {
    Element element;
    element.setInput(inputFormat(32));
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    const Settings settings{true, 99, true, -5, -most, most, 0.0};
    element.setSettings(settings);
    const ShownWidget shown(element);
    EXPECT_EQ(shown.min->value(), 0);
    EXPECT_EQ(shown.max->value(), std::numeric_limits<int>::max());
    EXPECT_EQ(shown.gamma->value(), 0.1);
    EXPECT_EQ(shown.tolerance->value(), 0.0);
    EXPECT_EQ(shown.pseudoColor->currentIndex(), -1);
    expectSame(element.settings(), settings);
    // From then on what it shows counts, also the missing palette.
    ShownWidget::click(shown.mapToRgb);
    expectSame(element.settings(), {false, -2, true, 0, 0, std::numeric_limits<int>::max(), 0.1});
}

TEST(LutInmapCnblWidget, gammaThatNoControlCanSetIsShownWithinTheLimits) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::vector<std::pair<double, double>> gammas = {
        {0.0, 0.1},       {-0.0, 0.1},   {-3.0, 0.1},         {-infinity, 0.1},
        {infinity, 10.0}, {1e300, 10.0}, {std::nan(""), 10.0}};
    for (const auto& [gamma, expected] : gammas) {
        Element element;
        element.setInput(inputFormat(8));
        Settings settings = element.settings();
        settings.gamma = gamma;
        element.setSettings(settings);
        const ShownWidget shown(element);
        EXPECT_EQ(shown.gamma->value(), expected) << gamma;
        EXPECT_TRUE(std::isnan(gamma) ? std::isnan(element.settings().gamma)
                                      : element.settings().gamma == gamma)
            << "opening the widget changes nothing";
        shown.gamma->setValue(2.5);
        EXPECT_EQ(element.settings().gamma, 2.5);
    }
}

TEST(LutInmapCnblWidget, paletteRowIsHiddenForSeveralChannels) {
    for (const std::uint32_t channels : {0U, 1U, 2U, 3U, 4U}) {
        Element element;
        element.setInput(inputFormat(8, channels));
        const ShownWidget shown(element);
        EXPECT_EQ(shown.pseudoColor->isVisible(), channels <= 1) << channels;
        EXPECT_EQ(shown.label("Pseudocolor:")->isVisible(), channels <= 1) << channels;
        EXPECT_TRUE(shown.mapToRgb->isVisible());
    }
}

TEST(LutInmapCnblWidget, previewsNoPaletteAndEachOfThem) {
    Element element;
    const ShownWidget shown(element);
    EXPECT_EQ(shown.pseudoColor->minimumWidth(), 90);
    EXPECT_EQ(shown.pseudoColor->iconSize(), QSize(80, 16));
    ASSERT_EQ(shown.pseudoColor->count(), 7);
    for (int i = 0; i < shown.pseudoColor->count(); ++i) {
        EXPECT_EQ(shown.pseudoColor->itemText(i), QString());
        EXPECT_FALSE(shown.pseudoColor->itemData(i).isValid());
    }
    const auto strip = [&](int i) { return shown.pseudoColor->itemIcon(i).pixmap(80, 16).toImage(); };
    // Without a palette the ramp itself: column x holds 255 x / 80, the last one 251.
    ASSERT_EQ(strip(0).size(), QSize(80, 16));
    for (int x = 0; x < 80; ++x)
        for (int y = 0; y < 16; ++y)
            EXPECT_EQ(strip(0).pixelColor(x, y), QColor(255 * x / 80, 255 * x / 80, 255 * x / 80));
    EXPECT_EQ(strip(0).pixelColor(79, 0), QColor(251, 251, 251));
    // viridis and turbo at black, and at 127.
    EXPECT_EQ(strip(1).pixelColor(0, 0), QColor(68, 1, 84));
    EXPECT_EQ(strip(1).pixelColor(40, 15), QColor(33, 144, 141));
    EXPECT_EQ(strip(6).pixelColor(0, 15), QColor(48, 18, 59));
}

TEST(LutInmapCnblWidget, paletteIndexIsOffsetByOne) {
    Element element;
    element.setInput(inputFormat(8));
    for (int palette = -1; palette < 6; ++palette) {
        Settings settings = element.settings();
        settings.pseudoColor = palette;
        settings.mapToRgb = true;
        element.setSettings(settings);
        const ShownWidget shown(element);
        EXPECT_EQ(shown.pseudoColor->currentIndex(), palette + 1);
        shown.pseudoColor->setCurrentIndex((palette + 2) % 7);
        EXPECT_EQ(element.settings().pseudoColor, (palette + 2) % 7 - 1);
    }
}

TEST(LutInmapCnblWidget, hasExactlyTwoSlots) {
    const QMetaObject& metaObject = CzLutInmapCnblWidget::staticMetaObject;
    ASSERT_EQ(metaObject.methodCount() - metaObject.methodOffset(), 2);
    EXPECT_EQ(metaObject.method(metaObject.methodOffset()).methodSignature(), "enableControls()");
    EXPECT_EQ(metaObject.method(metaObject.methodOffset() + 1).methodSignature(), "sendToChainable()");
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(metaObject.method(metaObject.methodOffset() + i).methodType(), QMetaMethod::Slot);
}

// ---- Which controls apply ----

void expectEnabled(const ShownWidget& shown, bool automatic, bool rgb) {
    for (const char* text : {"Tolerance:", "‰"})
        EXPECT_EQ(shown.label(text)->isEnabled(), automatic) << text;
    EXPECT_EQ(shown.tolerance->isEnabled(), automatic);
    for (const char* text : {"Min:", "Max:"})
        EXPECT_EQ(shown.label(text)->isEnabled(), !automatic) << text;
    EXPECT_EQ(shown.min->isEnabled(), !automatic);
    EXPECT_EQ(shown.max->isEnabled(), !automatic);
    EXPECT_TRUE(shown.gamma->isEnabled());
    EXPECT_TRUE(shown.label("Gamma:")->isEnabled());
    EXPECT_EQ(shown.pseudoColor->isEnabled(), rgb);
    EXPECT_EQ(shown.label("Pseudocolor:")->isEnabled(), rgb);
}

TEST(LutInmapCnblWidget, controlsThatDoNotApplyAreDisabled) {
    for (const bool automatic : {false, true})
        for (const bool rgb : {false, true}) {
            Element element;
            element.setInput(inputFormat(8));
            Settings settings = element.settings();
            settings.autoMinMax = automatic;
            settings.mapToRgb = rgb;
            element.setSettings(settings);
            const ShownWidget shown(element);
            expectEnabled(shown, automatic, rgb);
            ShownWidget::click(shown.autoMinMax);
            expectEnabled(shown, !automatic, rgb);
            ShownWidget::click(shown.mapToRgb);
            expectEnabled(shown, !automatic, !rgb);
            EXPECT_EQ(element.settings().autoMinMax, !automatic);
            EXPECT_EQ(element.settings().mapToRgb, !rgb);
        }
}

// ---- What a change does ----

TEST(LutInmapCnblWidget, everyChangeWritesAllSevenSettingsAsTheyAreShown) {
    Element element;
    element.setInput(inputFormat(12));
    const ShownWidget shown(element);
    // What the widget shows, whatever the element's range has become.
    Settings found = element.settings();
    found.srcMin = 1111;
    found.srcMax = 2222;
    element.setSettings(found);
    shown.gamma->setValue(1.5);
    expectSame(element.settings(), {false, 0, true, 2, 0, 255, 1.5});
    EXPECT_EQ(shown.min->value(), 0);

    ShownWidget::click(shown.autoMinMax);
    shown.max->setValue(4095);
    shown.min->setValue(4094);
    shown.tolerance->setValue(30);
    ShownWidget::click(shown.mapToRgb);
    shown.pseudoColor->setCurrentIndex(6);
    expectSame(element.settings(), {true, 5, false, 30, 4094, 4095, 1.5});
}

TEST(LutInmapCnblWidget, toleranceIsStoredInWholePerMille) {
    Element element;
    const ShownWidget shown(element);
    shown.tolerance->setValue(2.5);
    EXPECT_EQ(element.settings().autoTolerance, 2);
    EXPECT_EQ(shown.tolerance->value(), 2.5);
    shown.tolerance->setValue(99.9);
    EXPECT_EQ(element.settings().autoTolerance, 99);
}

TEST(LutInmapCnblWidget, minimumThatIsNotBelowTheMaximumIsCorrectedInTheElementOnly) {
    Element element;
    element.setInput(inputFormat(12));
    const ShownWidget shown(element);
    ShownWidget::click(shown.autoMinMax);
    shown.max->setValue(200);
    shown.min->setValue(300);
    EXPECT_EQ(element.settings().srcMin, 199);
    EXPECT_EQ(element.settings().srcMax, 200);
    EXPECT_EQ(shown.min->value(), 300);
    shown.min->setValue(200);
    EXPECT_EQ(element.settings().srcMin, 199);
    shown.max->setValue(1);
    EXPECT_EQ(element.settings().srcMin, 0);
    EXPECT_EQ(element.settings().srcMax, 1);
    shown.max->setValue(201);
    EXPECT_EQ(element.settings().srcMin, 200);
}

// ---- In a chain ----

/// Counts the starts and stops of its chain.
class CountingElement : public CzLutInmapCnbl {
public:
    void onChainStarted(CzChain* chain) override {
        CzLutInmapCnbl::onChainStarted(chain);
        ++starts;
    }
    void onChainStopped(CzChain* chain) override {
        CzLutInmapCnbl::onChainStopped(chain);
        ++stops;
        gammaAtStop = settings().gamma;
    }
    int starts = 0;
    int stops = 0;
    double gammaAtStop = -1.0;
};

class LutWidgetInChain : public testing::Test {
protected:
    LutWidgetInChain() {
        chain.append(element);
        chain.source().setFormat(pictureFormat(2, 1), CzImageMetadata());
    }

    CzChain chain;
    CountingElement* element = new CountingElement; // the chain's
};

TEST_F(LutWidgetInChain, everyControlRestartsARunningChainOnce) {
    const ShownWidget shown(*element);
    const std::vector<std::pair<const char*, std::function<void()>>> changes = {
        {"automatic", [&] { ShownWidget::click(shown.autoMinMax); }},
        {"tolerance", [&] { shown.tolerance->setValue(9); }},
        {"minimum", [&] { shown.min->setValue(9); }},
        {"maximum", [&] { shown.max->setValue(99); }},
        {"gamma", [&] { shown.gamma->setValue(0.5); }},
        {"RGB", [&] { ShownWidget::click(shown.mapToRgb); }},
        {"palette", [&] { shown.pseudoColor->setCurrentIndex(4); }}};
    for (const auto& [name, change] : changes) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(chain.start());
        element->starts = element->stops = 0;
        change();
        EXPECT_FALSE(chain.stopped());
        EXPECT_EQ(element->stops, 1);
        EXPECT_EQ(element->starts, 1);
        chain.stop();
    }
    expectSame(element->settings(), {true, 3, false, 9, 9, 99, 0.5});
}

TEST_F(LutWidgetInChain, changeIsStoredWhileTheChainIsStopped) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    shown.gamma->setValue(3.0);
    EXPECT_EQ(element->gammaAtStop, 1.0);
    EXPECT_EQ(element->settings().gamma, 3.0);
    chain.stop();
}

TEST_F(LutWidgetInChain, changeDoesNotStartAStoppedChain) {
    const ShownWidget shown(*element);
    ShownWidget::click(shown.mapToRgb);
    shown.gamma->setValue(3.0);
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(element->starts, 0);
    EXPECT_TRUE(element->settings().mapToRgb);
}

TEST_F(LutWidgetInChain, changeDropsTheTable) {
    std::vector<std::vector<std::uint8_t>> outputs;
    chain.setFrameObserver([&](const SzFrameReport& report) {
        const auto* const image = qobject_cast<const CzImageData*>(report.output);
        outputs.push_back(image ? samplesOf<std::uint8_t>(image->picBuf()) : std::vector<std::uint8_t>());
    });
    const auto push = [&] {
        EXPECT_TRUE(chain.source().push(numberedFrame(pictureFormat(2, 1)))); // 1, 2
        EXPECT_TRUE(chain.waitUntilIdle(10000));
    };
    Settings settings = element->settings();
    settings.autoMinMax = false;
    settings.srcMax = 2;
    element->setSettings(settings);
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    push();
    shown.max->setValue(4);
    push();
    chain.stop();
    EXPECT_EQ(outputs, (std::vector<std::vector<std::uint8_t>>{{128, 255}, {64, 128}}));
}

TEST_F(LutWidgetInChain, isNotRefreshedWhenTheRangeIsFound) {
    const ShownWidget shown(*element);
    ASSERT_TRUE(chain.start());
    EXPECT_TRUE(chain.source().push(numberedFrame(pictureFormat(2, 1))));
    EXPECT_TRUE(chain.waitUntilIdle(10000));
    chain.stop();
    EXPECT_EQ(element->settings().srcMax, 2);
    EXPECT_EQ(shown.max->value(), 255);
}

} // namespace
