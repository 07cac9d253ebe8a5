// SPDX-License-Identifier: GPL-3.0-or-later
#include "SensorPanel.h"

#include "ViewerFixture.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTableWidget>
#include <QTest>
#include <QToolButton>

#include <limits>

namespace {

bool same(const SzSidecar& a, const SzSidecar& b) {
    return a.bitDepth == b.bitDepth && a.dataType == b.dataType && a.colorFilterArray == b.colorFilterArray &&
           a.sensorColorFilterArray == b.sensorColorFilterArray && a.isColor == b.isColor &&
           a.storageFormat == b.storageFormat && a.linePitch == b.linePitch && a.still == b.still &&
           a.hsi == b.hsi && a.mosaicName == b.mosaicName;
}

/// With something in every field.
SzSidecar fullSidecar() {
    SzSidecar sidecar;
    sidecar.bitDepth = 12;
    sidecar.dataType = EzImageDataType::UInt16;
    sidecar.colorFilterArray = EzColorFilterArray::Hyperspectral;
    sidecar.sensorColorFilterArray = EzColorFilterArray::Hyperspectral;
    sidecar.isColor = false;
    sidecar.storageFormat = EzDataStorageFormat::Planar;
    sidecar.linePitch = 4096;
    sidecar.still = true;
    sidecar.mosaicName = QStringLiteral("4 × 2 & more");
    sidecar.hsi.rgbNir = true;
    sidecar.hsi.zones = {mosaicZone(4, 2, 1, 3, QRect(10, 20, 300, 400)),
                         mosaicZone(2, 2, 2, 2, QRect(400, 0, 10, 10))};
    sidecar.hsi.zones[0].id = 7;
    sidecar.hsi.zones[1].bands[2] = CzHsiCameraParams::CzBand(QStringLiteral("band 5 nm 7"), 0.0);
    sidecar.hsi.zones[1].bands[3] = CzHsiCameraParams::CzBand(QString(), 1.0 / 3);
    return sidecar;
}

class SensorPanel : public testing::Test {
protected:
    SensorPanel() {
        panel.resize(340, 700);
        showOnScreen(panel);
    }

    /// Types a number into a spin box.
    void type(const char* name, int value) {
        auto& spin = childOf<QSpinBox>(panel, name);
        spin.setFocus();
        spin.selectAll();
        QTest::keyClicks(&spin, QString::number(value));
        QTest::keyClick(&spin, Qt::Key_Return);
        ASSERT_EQ(spin.value(), value) << name;
    }

    void chooseFilters(const QString& text) {
        auto& list = childOf<QComboBox>(panel, "colorFilterArray");
        list.setFocus();
        QTest::keyClick(&list, Qt::Key_Home);
        while (list.currentText() != text && list.currentIndex() + 1 < list.count())
            QTest::keyClick(&list, Qt::Key_Down);
        ASSERT_EQ(list.currentText(), text);
    }

    void editBand(int band, int column, const QString& text) {
        QTableWidgetItem* const item = bands.item(band, column);
        ASSERT_TRUE(item);
        bands.scrollToItem(item);
        bands.setCurrentItem(item);
        bands.editItem(item);
        auto* const editor = bands.findChild<QLineEdit*>();
        ASSERT_TRUE(editor);
        editor->selectAll();
        QTest::keyClicks(editor, text);
        QTest::keyClick(editor, Qt::Key_Return);
        ASSERT_TRUE(waitFor([&] { return !bands.findChild<QLineEdit*>(); }));
    }

    const CzHsiCameraParams::CzFilterZone& zone(int index = 0) { return panel.sidecar().hsi.zones.at(index); }

    CzSensorPanel panel;
    QTableWidget& bands = childOf<QTableWidget>(panel, "bands");
};

TEST_F(SensorPanel, GivesBackWhatItWasGiven) {
    QSignalSpy changed(&panel, &CzSensorPanel::changed);
    for (const SzSidecar& sidecar : {SzSidecar(), fullSidecar(), SzSidecar()}) {
        panel.setSidecar(sidecar);
        EXPECT_TRUE(same(panel.sidecar(), sidecar));
    }
    EXPECT_TRUE(changed.isEmpty());
}

TEST_F(SensorPanel, LeavesAllFieldsAloneButTheOneThatIsChanged) {
    SzSidecar expected = fullSidecar();
    panel.setSidecar(expected);
    QSignalSpy changed(&panel, &CzSensorPanel::changed);
    type("bitDepth", 10);
    expected.bitDepth = 10;
    EXPECT_TRUE(same(panel.sidecar(), expected));
    EXPECT_EQ(changed.size(), 1);
}

TEST_F(SensorPanel, KeepsWhatNoSensorCanHave) {
    SzSidecar expected = fullSidecar();
    expected.bitDepth = 77;
    expected.hsi.zones[0].cellWidth = 0;
    expected.hsi.zones[0].blockWidth = std::numeric_limits<std::uint32_t>::max();
    expected.hsi.zones[0].left = std::numeric_limits<std::int32_t>::min();
    expected.hsi.zones[0].right = -9;
    panel.setSidecar(expected);
    EXPECT_TRUE(same(panel.sidecar(), expected));
    type("top", 33);
    expected.hsi.zones[0].top = 33;
    EXPECT_TRUE(same(panel.sidecar(), expected));
    type("cellWidth", 1); // and lets it be mended
    EXPECT_EQ(zone().cellWidth, 1U);
}

TEST_F(SensorPanel, SetsEveryFieldOfAZone) {
    panel.setSidecar(fullSidecar());
    QSignalSpy changed(&panel, &CzSensorPanel::changed);
    type("cellWidth", 3);
    type("cellHeight", 5);
    type("blockWidth", 6);
    type("blockHeight", 7);
    type("left", 8);
    type("top", 9);
    type("right", 100);
    type("bottom", 110);
    EXPECT_EQ(changed.size(), 8);
    EXPECT_EQ(zone().cellWidth, 3U);
    EXPECT_EQ(zone().cellHeight, 5U);
    EXPECT_EQ(zone().blockWidth, 6U);
    EXPECT_EQ(zone().blockHeight, 7U);
    EXPECT_EQ(zone().left, 8);
    EXPECT_EQ(zone().top, 9);
    EXPECT_EQ(zone().right, 100);
    EXPECT_EQ(zone().bottom, 110);
    EXPECT_EQ(zone().id, 7U);
    EXPECT_EQ(zone(1), fullSidecar().hsi.zones.at(1));
}

TEST_F(SensorPanel, ACellHasAsManyBandsAsPlaces) {
    panel.setSidecar(fullSidecar());
    type("cellWidth", 2);
    ASSERT_EQ(zone().bands.size(), 4);
    EXPECT_EQ(zone().bands.at(3).name(), QStringLiteral("band 3"));
    type("cellHeight", 3);
    ASSERT_EQ(zone().bands.size(), 6);
    EXPECT_EQ(zone().bands.at(5).name(), QStringLiteral("6"));
    EXPECT_EQ(bands.rowCount(), 6);
    EXPECT_TRUE(panel.sidecar().hsi.isValid());
}

TEST_F(SensorPanel, NamesAndWavelengthsOfBandsAreEdited) {
    panel.setSidecar(fullSidecar());
    editBand(1, 0, QStringLiteral("Band 5"));
    EXPECT_EQ(zone().bands.at(1), CzHsiCameraParams::CzBand(QStringLiteral("Band 5"), 890.0));
    editBand(1, 1, QStringLiteral("512.25"));
    EXPECT_EQ(zone().bands.at(1), CzHsiCameraParams::CzBand(QStringLiteral("Band 5"), 512.25));
    editBand(2, 1, QStringLiteral("unknown"));
    EXPECT_EQ(zone().bands.at(2), CzHsiCameraParams::CzBand(QStringLiteral("band 2"), 0.0));
    EXPECT_EQ(bands.item(2, 1)->text(), QString());
}

TEST_F(SensorPanel, DescribesSeveralZones) {
    panel.setSidecar(fullSidecar());
    auto& zones = childOf<QComboBox>(panel, "zones");
    ASSERT_EQ(zones.count(), 2);
    zones.setFocus();
    QTest::keyClick(&zones, Qt::Key_Down);
    EXPECT_EQ(bands.rowCount(), 4);
    type("left", 11);
    EXPECT_EQ(zone(1).left, 11);
    EXPECT_EQ(zone(0), fullSidecar().hsi.zones.at(0));
    QTest::mouseClick(&childOf<QToolButton>(panel, "addZone"), Qt::LeftButton);
    ASSERT_EQ(panel.sidecar().hsi.zones.size(), 3);
    EXPECT_EQ(zone(2), zone(1));
    auto& remove = childOf<QToolButton>(panel, "removeZone");
    QTest::mouseClick(&remove, Qt::LeftButton);
    QTest::mouseClick(&remove, Qt::LeftButton);
    QTest::mouseClick(&remove, Qt::LeftButton); // the last one stays
    ASSERT_EQ(panel.sidecar().hsi.zones.size(), 1);
    EXPECT_EQ(zone(), fullSidecar().hsi.zones.at(0));
}

TEST_F(SensorPanel, DescribesASensorThatHadNoDescription) {
    auto& mosaic = *panel.findChild<QGroupBox*>();
    EXPECT_FALSE(mosaic.isEnabled());
    chooseFilters(QStringLiteral("mosaic of bands"));
    EXPECT_TRUE(mosaic.isEnabled());
    EXPECT_TRUE(panel.sidecar().hsi.isValid());
    EXPECT_FALSE(zone().hasRegion());
    auto& name = childOf<QLineEdit>(panel, "mosaicName");
    name.setFocus();
    QTest::keyClicks(&name, QStringLiteral("new"));
    QTest::keyClick(&name, Qt::Key_Return);
    EXPECT_EQ(panel.sidecar().mosaicName, QStringLiteral("new"));
    auto& rgbNir = childOf<QCheckBox>(panel, "rgbNir");
    QTest::mouseClick(&rgbNir, Qt::LeftButton, Qt::NoModifier, QPoint(8, rgbNir.height() / 2));
    EXPECT_TRUE(panel.sidecar().hsi.isRgbNirCamera());
}

TEST_F(SensorPanel, OtherFiltersPutTheMosaicAsideAndBringItBack) {
    panel.setSidecar(fullSidecar());
    chooseFilters(QStringLiteral("Bayer GB/RG"));
    EXPECT_EQ(panel.sidecar().colorFilterArray, EzColorFilterArray::BayerGBRG);
    EXPECT_FALSE(panel.sidecar().sensorColorFilterArray);
    EXPECT_EQ(panel.sidecar().hsi, CzHsiCameraParams());
    chooseFilters(QStringLiteral("mosaic of bands"));
    EXPECT_EQ(panel.sidecar().hsi, fullSidecar().hsi);
    chooseFilters(QStringLiteral("as the file"));
    EXPECT_FALSE(panel.sidecar().colorFilterArray);
}

TEST_F(SensorPanel, AsksToBeSaved) {
    QSignalSpy requested(&panel, &CzSensorPanel::saveRequested);
    QTest::mouseClick(&childOf<QPushButton>(panel, "save"), Qt::LeftButton);
    EXPECT_EQ(requested.size(), 1);
}

TEST_F(SensorPanel, WhatIsBeingTypedIsSavedToo) {
    panel.setSidecar(fullSidecar());
    panel.activateWindow();
    auto& depth = childOf<QSpinBox>(panel, "bitDepth");
    auto& name = childOf<QLineEdit>(panel, "mosaicName");
    SzSidecar told;
    QObject::connect(&panel, &CzSensorPanel::saveRequested, &panel, [&] { told = panel.sidecar(); });
    const auto pressSave = [&] {
        QSignalSpy requested(&panel, &CzSensorPanel::saveRequested);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_S, Qt::AltModifier);
        ASSERT_TRUE(waitFor([&] { return requested.size() == 1; }));
    };
    depth.setFocus();
    depth.selectAll();
    QTest::keyClicks(&depth, QStringLiteral("10"));
    pressSave();
    EXPECT_EQ(told.bitDepth, 10U);
    name.setFocus();
    name.selectAll();
    QTest::keyClicks(&name, QStringLiteral("typed"));
    pressSave();
    EXPECT_EQ(told.mosaicName, QStringLiteral("typed"));
    bands.setCurrentItem(bands.item(1, 0));
    bands.editItem(bands.item(1, 0));
    auto* const editor = bands.findChild<QLineEdit*>();
    ASSERT_TRUE(editor);
    editor->selectAll();
    QTest::keyClicks(editor, QStringLiteral("cyan"));
    pressSave();
    EXPECT_EQ(told.hsi.zones.at(0).bands.at(1).name(), QStringLiteral("cyan"));
}

TEST_F(SensorPanel, WarnsOfWhatCannotBeTrueOfThePictures) {
    auto& warnings = childOf<QLabel>(panel, "warnings");
    const auto says = [&](const char* text) {
        return warnings.isVisible() && warnings.text().contains(QString::fromUtf8(text));
    };
    panel.setPictureFormat(pictureFormat(1000, 800, 1, EzImageDataType::UInt16));
    panel.setSidecar(fullSidecar());
    EXPECT_FALSE(warnings.isVisible()) << warnings.text().toStdString();
    type("bitDepth", 17);
    EXPECT_TRUE(says("more than the 16 bits"));
    type("bitDepth", 16);
    EXPECT_FALSE(warnings.isVisible());
    type("right", 5); // left is 10
    EXPECT_TRUE(says("Zone 1: The last pixel lies before the first one"));
    type("right", 1000);
    EXPECT_TRUE(says("Zone 1: The zone reaches beyond the picture of 1000 × 800 pixels"));
    type("right", 405); // the second zone begins at 400, 0 and is 10 high: ends above the first
    EXPECT_FALSE(warnings.isVisible()) << warnings.text().toStdString();
    type("top", 9);
    EXPECT_TRUE(says("Zones 1 and 2 overlap"));
    SzSidecar odd = fullSidecar();
    odd.hsi.zones.removeLast();
    odd.hsi.zones[0].cellWidth = 0;
    odd.hsi.zones[0].bands.removeLast();
    panel.setSidecar(odd);
    EXPECT_TRUE(says("7 bands for 0 places"));
    EXPECT_TRUE(says("The cell has no bands"));
    panel.setSidecar(SzSidecar());
    EXPECT_FALSE(warnings.isVisible());
}

TEST_F(SensorPanel, ItsSidecarIsReadBackFromText) {
    SzSidecar read;
    QString error;
    ASSERT_TRUE(parseSidecar(sidecarText(fullSidecar()), read, &error, nullptr)) << error.toStdString();
    EXPECT_TRUE(same(read, fullSidecar()));
    ASSERT_TRUE(parseSidecar(sidecarText(SzSidecar()), read, &error, nullptr));
    EXPECT_TRUE(same(read, SzSidecar()));
}

} // namespace
