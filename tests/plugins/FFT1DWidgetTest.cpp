// SPDX-License-Identifier: GPL-3.0-or-later
#include "FFT1DWidget.h"

#include "Chain.h"
#include "FFT1DCnbl.h"
#include "FrameSource.h"
#include "TestPictures.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QTest>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

constexpr auto rggb = EzColorFilterArray::BayerRGGB;

/// The widget and its controls.
class Controls {
public:
    explicit Controls(CzFFT1DCnbl& element) : widget(element.createConfigWidget()) {}

    QListWidget* list() const { return widget->findChild<QListWidget*>("lstChannel"); }
    QComboBox* type() const { return widget->findChild<QComboBox*>("cbType"); }
    QCheckBox* check(const char* name) const { return widget->findChild<QCheckBox*>(name); }
    QDoubleSpinBox* spin(const char* name) const { return widget->findChild<QDoubleSpinBox*>(name); }

    std::unique_ptr<QWidget> widget;
};

// ---- What it shows ----

TEST(FFT1DWidget, showsTheDefaults) {
    LooseElement<CzFFT1DCnbl> element;
    element.setInput(pictureFormat(8, 8, 1, EzImageDataType::UInt8, rggb));
    const Controls controls(element);
    EXPECT_EQ(controls.widget->windowTitle(), "FFT 1D");
    ASSERT_EQ(controls.list()->count(), 5);
    EXPECT_EQ(controls.list()->item(4)->text(), "Blue");
    EXPECT_EQ(controls.list()->item(4)->data(Qt::UserRole), QVariant(3));
    EXPECT_EQ(controls.list()->currentRow(), 0);
    ASSERT_EQ(controls.type()->count(), 2);
    EXPECT_EQ(controls.type()->itemText(0), "Mean of rows");
    EXPECT_EQ(controls.type()->itemData(0), QVariant(0));
    EXPECT_EQ(controls.type()->itemText(1), "Mean of cols");
    EXPECT_EQ(controls.type()->itemData(1), QVariant(1));
    EXPECT_EQ(controls.type()->currentIndex(), 1);
    EXPECT_TRUE(controls.check("chkIncludeDc")->isChecked());
    EXPECT_FALSE(controls.check("chkLogarithmicY")->isChecked());
    EXPECT_TRUE(controls.check("chkShowGridX")->isChecked());
    EXPECT_TRUE(controls.check("chkShowGridY")->isChecked());
    EXPECT_TRUE(controls.check("chkAutoScaleY")->isChecked());
    EXPECT_FALSE(controls.spin("spinMinY")->isEnabled());
    EXPECT_FALSE(controls.spin("spinMaxY")->isEnabled());
    EXPECT_EQ(controls.spin("spinMinY")->value(), 0.0);
    EXPECT_EQ(controls.spin("spinMaxY")->value(), 400000.0);
    for (const char* const name : {"spinMinY", "spinMaxY"}) {
        EXPECT_EQ(controls.spin(name)->minimum(), -1000000.0);
        EXPECT_EQ(controls.spin(name)->maximum(), 10000000.0);
        EXPECT_EQ(controls.spin(name)->decimals(), 1);
    }
    EXPECT_EQ(element.channel(), -1); // opening it changes nothing
}

TEST(FFT1DWidget, showsWhatIsSet) {
    LooseElement<CzFFT1DCnbl> element;
    element.setTranstype(0);
    element.setIncludeDC(false);
    element.setLogarithmicY(true);
    element.setGridX(false);
    element.setGridY(false);
    element.setAutoScaleY(false);
    element.setMinY(-2.5);
    element.setMaxY(17.5);
    const Controls controls(element);
    EXPECT_EQ(controls.list()->count(), 0); // the input is not known
    EXPECT_EQ(controls.type()->currentIndex(), 0);
    EXPECT_FALSE(controls.check("chkIncludeDc")->isChecked());
    EXPECT_TRUE(controls.check("chkLogarithmicY")->isChecked());
    EXPECT_FALSE(controls.check("chkShowGridX")->isChecked());
    EXPECT_FALSE(controls.check("chkShowGridY")->isChecked());
    EXPECT_FALSE(controls.check("chkAutoScaleY")->isChecked());
    EXPECT_TRUE(controls.spin("spinMinY")->isEnabled());
    EXPECT_TRUE(controls.spin("spinMaxY")->isEnabled());
    EXPECT_EQ(controls.spin("spinMinY")->value(), -2.5);
    EXPECT_EQ(controls.spin("spinMaxY")->value(), 17.5);
}

TEST(FFT1DWidget, typeThatItDoesNotOfferShowsTheFirstAndStays) {
    LooseElement<CzFFT1DCnbl> element;
    element.setTranstype(2);
    const Controls controls(element);
    EXPECT_EQ(controls.type()->currentIndex(), 0);
    EXPECT_EQ(element.transtype(), 2);
}

TEST(FFT1DWidget, boundsBeyondTheSpinBoxesStayInTheElementUntilTheyAreChanged) {
    LooseElement<CzFFT1DCnbl> element;
    element.setMinY(-1e300);
    element.setMaxY(1e300);
    const Controls controls(element);
    EXPECT_EQ(controls.spin("spinMaxY")->value(), 10000000.0);
    EXPECT_EQ(element.minY(), -1e300);
    EXPECT_EQ(element.maxY(), 1e300);
}

TEST(FFT1DWidget, controlsStandInAGridBelowTheList) {
    LooseElement<CzFFT1DCnbl> element;
    const Controls controls(element);
    auto* const grid = controls.widget->findChild<QGridLayout*>();
    ASSERT_TRUE(grid);
    const auto text = [&](int row, int column) {
        auto* const label = qobject_cast<QLabel*>(grid->itemAtPosition(row, column)->widget());
        return label ? label->text() : QString();
    };
    const auto name = [&](int row, int column) {
        return grid->itemAtPosition(row, column)->widget()->objectName();
    };
    EXPECT_EQ(text(0, 0), "Type");
    for (int column = 1; column <= 3; ++column)
        EXPECT_EQ(name(0, column), "cbType");
    EXPECT_EQ(text(1, 0), "Include DC");
    EXPECT_EQ(name(1, 1), "chkIncludeDc");
    EXPECT_EQ(text(1, 2), "Show grid X");
    EXPECT_EQ(name(1, 3), "chkShowGridX");
    EXPECT_EQ(text(2, 0), "Logarithmic Y");
    EXPECT_EQ(name(2, 1), "chkLogarithmicY");
    EXPECT_EQ(text(2, 2), "Show grid Y");
    EXPECT_EQ(name(2, 3), "chkShowGridY");
    EXPECT_EQ(text(3, 0), "Autoscale Y");
    EXPECT_EQ(name(3, 1), "chkAutoScaleY");
    EXPECT_EQ(text(3, 2), "Min Y");
    EXPECT_EQ(name(3, 3), "spinMinY");
    EXPECT_EQ(grid->itemAtPosition(4, 0), nullptr);
    EXPECT_EQ(text(4, 2), "Max Y");
    EXPECT_EQ(name(4, 3), "spinMaxY");
}

// ---- What the controls do ----

/// Counts the starts and stops of its chain.
class CountingElement : public CzFFT1DCnbl {
public:
    void onChainStarted(CzChain* chain) override {
        CzFFT1DCnbl::onChainStarted(chain);
        ++starts;
    }
    void onChainStopped(CzChain* chain) override {
        CzFFT1DCnbl::onChainStopped(chain);
        ++stops;
    }
    int starts = 0;
    int stops = 0;
};

struct Change {
    const char* name;
    std::function<void(const Controls&)> act;
    std::function<bool(const CzFFT1DCnbl&)> isDone;
};

const std::vector<Change>& changes() {
    static const std::vector<Change> all{
        {"channel", [](const Controls& c) { c.list()->setCurrentRow(3); },
         [](const CzFFT1DCnbl& e) { return e.channel() == 2; }},
        {"type", [](const Controls& c) { c.type()->setCurrentIndex(0); },
         [](const CzFFT1DCnbl& e) { return e.transtype() == 0; }},
        {"includeDc", [](const Controls& c) { c.check("chkIncludeDc")->click(); },
         [](const CzFFT1DCnbl& e) { return !e.includeDC(); }},
        {"logarithmicY", [](const Controls& c) { c.check("chkLogarithmicY")->click(); },
         [](const CzFFT1DCnbl& e) { return e.logarithmicY(); }},
        {"gridX", [](const Controls& c) { c.check("chkShowGridX")->click(); },
         [](const CzFFT1DCnbl& e) { return !e.gridX(); }},
        {"gridY", [](const Controls& c) { c.check("chkShowGridY")->click(); },
         [](const CzFFT1DCnbl& e) { return !e.gridY(); }},
        {"autoScaleY", [](const Controls& c) { c.check("chkAutoScaleY")->click(); },
         [](const CzFFT1DCnbl& e) { return !e.autoScaleY(); }},
        {"minY", [](const Controls& c) { c.spin("spinMinY")->setValue(12.5); },
         [](const CzFFT1DCnbl& e) { return e.minY() == 12.5; }},
        {"maxY", [](const Controls& c) { c.spin("spinMaxY")->setValue(99.5); },
         [](const CzFFT1DCnbl& e) { return e.maxY() == 99.5; }},
    };
    return all;
}

class FFT1DControl : public testing::TestWithParam<Change> {
protected:
    FFT1DControl() {
        chain.append(element);
        chain.source().setFormat(format, CzImageMetadata());
    }

    SzPicBufInfo format = pictureFormat(32, 24, 1, EzImageDataType::UInt8, rggb);
    CzChain chain;
    CountingElement* element = new CountingElement; // the chain's
};
INSTANTIATE_TEST_SUITE_P(All, FFT1DControl, testing::ValuesIn(changes()),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(FFT1DControl, restartsARunningChain) {
    const Controls controls(*element);
    ASSERT_TRUE(chain.start());
    EXPECT_TRUE(chain.source().push(numberedFrame(format)));
    EXPECT_TRUE(chain.waitUntilIdle(10000));
    EXPECT_FALSE(GetParam().isDone(*element));
    GetParam().act(controls);
    EXPECT_TRUE(GetParam().isDone(*element));
    EXPECT_FALSE(chain.stopped());
    EXPECT_EQ(element->stops, 1);
    EXPECT_EQ(element->starts, 2);
    EXPECT_TRUE(chain.source().push(numberedFrame(format)));
    EXPECT_TRUE(chain.waitUntilIdle(10000));
    chain.stop();
    EXPECT_EQ(chain.counters().framesOut, 2U);
}

TEST_P(FFT1DControl, doesNotStartAStoppedChain) {
    const Controls controls(*element);
    GetParam().act(controls);
    EXPECT_TRUE(GetParam().isDone(*element));
    EXPECT_TRUE(chain.stopped());
    EXPECT_EQ(element->starts, 0);
}

TEST(FFT1DWidget, rangeCanBeSetWhereThePlotDoesNotChooseIt) {
    LooseElement<CzFFT1DCnbl> element;
    const Controls controls(element);
    controls.check("chkAutoScaleY")->click();
    EXPECT_FALSE(element.autoScaleY());
    EXPECT_TRUE(controls.spin("spinMinY")->isEnabled());
    EXPECT_TRUE(controls.spin("spinMaxY")->isEnabled());
    controls.check("chkAutoScaleY")->click();
    EXPECT_FALSE(controls.spin("spinMinY")->isEnabled());
}

TEST(FFT1DWidget, slotsIgnoreCallsThatAreNotTheirControls) {
    LooseElement<CzFFT1DCnbl> element;
    element.setInput(pictureFormat(8, 8, 1, EzImageDataType::UInt8, rggb));
    const Controls controls(element);
    QWidget* const widget = controls.widget.get();
    EXPECT_TRUE(QMetaObject::invokeMethod(widget, "on_lstChannelClicked", Q_ARG(int, 2)));
    EXPECT_TRUE(QMetaObject::invokeMethod(widget, "on_cbCurrentIndexChanged", Q_ARG(int, 0)));
    for (const char* const slot :
         {"on_chkIncludeDcStateChanged", "on_chkLogarithmicYStateChanged", "on_chkShowGridXStateChanged",
          "on_chkShowGridYStateChanged", "on_chkAutoScaleYStateChanged"})
        EXPECT_TRUE(QMetaObject::invokeMethod(widget, slot, Q_ARG(int, 0)));
    EXPECT_TRUE(QMetaObject::invokeMethod(widget, "on_spinMinYValueChanged", Q_ARG(double, 5.0)));
    EXPECT_TRUE(QMetaObject::invokeMethod(widget, "on_spinMaxYValueChanged", Q_ARG(double, 5.0)));
    for (const Change& change : changes())
        EXPECT_FALSE(change.isDone(element)) << change.name;
    EXPECT_EQ(element.minY(), 0.0);
    EXPECT_EQ(element.maxY(), 400000.0);
}

TEST(FFT1DWidget, noTypeAtAllIsIgnored) {
    LooseElement<CzFFT1DCnbl> element;
    const Controls controls(element);
    controls.type()->setCurrentIndex(-1);
    EXPECT_EQ(element.transtype(), 1);
}

TEST(FFT1DInChain, frameWhoseTransformFailsIsConsumedWithoutAMessage) {
    const SzPicBufInfo format = pictureFormat(1, 1, 1, EzImageDataType::UInt8, rggb); // empty sub-planes
    CzChain chain;
    auto* const element = new CountingElement; // the chain's
    chain.append(element);
    chain.source().setFormat(format, CzImageMetadata());
    element->setChannel(3);
    ASSERT_TRUE(chain.start());
    EXPECT_TRUE(chain.source().push(numberedFrame(format)));
    EXPECT_TRUE(chain.waitUntilIdle(10000));
    chain.stop();
    const SzChainCounters counters = chain.counters();
    EXPECT_EQ(counters.framesIn, 1U);
    EXPECT_EQ(counters.framesConsumed, 1U);
    EXPECT_EQ(counters.framesOut + counters.framesDropped + counters.framesFailed, 0U);
    EXPECT_EQ(counters.poolExhaustions, 0U);
    EXPECT_EQ(element->errorMessage(), QString());
}

} // namespace
