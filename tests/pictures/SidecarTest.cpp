// SPDX-License-Identifier: GPL-3.0-or-later
#include "Sidecar.h"

#include "PictureTestFiles.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace {

using testing::HasSubstr;

std::string problemOf(const QByteArray& json) {
    SzSidecar sidecar;
    sidecar.bitDepth = 3;
    QString error;
    EXPECT_FALSE(parseSidecar(json, sidecar, &error, nullptr)) << json.constData();
    EXPECT_EQ(sidecar.bitDepth, 3U) << "a refused sidecar changes nothing";
    return error.toStdString();
}

SzSidecar parsed(const QByteArray& json, QStringList* warnings = nullptr) {
    SzSidecar sidecar;
    QString error;
    EXPECT_TRUE(parseSidecar(json, sidecar, &error, warnings)) << qPrintable(error);
    return sidecar;
}

TEST(Sidecar, ReadsEveryKey) {
    QStringList warnings;
    const SzSidecar sidecar = parsed(R"({ "bitDepth": 12, "colorFilterArray": 7, "sensorColorFilterArray": 1,
        "isColor": false, "storageFormat": 2, "linePitch": 4112, "still": true, "dataType": 5,
        "hsi": { "rgbNir": true, "zones": [ { "cell": [2, 1], "block": [3, 4], "region": [0, -1, 2047, 1087],
                 "bands": [ { "name": "470 nm", "wavelength": 470.5 }, { "name": "NIR" } ] } ] } })",
                                     &warnings);
    EXPECT_EQ(sidecar.bitDepth, 12U);
    EXPECT_EQ(sidecar.colorFilterArray, EzColorFilterArray::Hyperspectral);
    EXPECT_EQ(sidecar.sensorColorFilterArray, EzColorFilterArray::BayerRGGB);
    EXPECT_EQ(sidecar.isColor, false);
    EXPECT_EQ(sidecar.storageFormat, EzDataStorageFormat::Planar);
    EXPECT_EQ(sidecar.linePitch, 4112U);
    EXPECT_EQ(sidecar.dataType, EzImageDataType::SpectrumFloat32);
    EXPECT_TRUE(sidecar.still);
    EXPECT_TRUE(sidecar.hsi.rgbNir);
    ASSERT_EQ(sidecar.hsi.zones.size(), 1);
    const auto& zone = sidecar.hsi.zones.at(0);
    EXPECT_EQ(zone.cellWidth, 2U);
    EXPECT_EQ(zone.cellHeight, 1U);
    EXPECT_EQ(zone.blockWidth, 3U);
    EXPECT_EQ(zone.blockHeight, 4U);
    EXPECT_EQ(zone.left, 0);
    EXPECT_EQ(zone.top, -1);
    EXPECT_EQ(zone.right, 2047);
    EXPECT_EQ(zone.bottom, 1087);
    ASSERT_EQ(zone.bands.size(), 2);
    EXPECT_EQ(zone.bands.at(0).name(), "470 nm");
    EXPECT_EQ(zone.bands.at(0).wavelength(), 470.5);
    EXPECT_EQ(zone.bands.at(1).wavelength(), 0.0);
    EXPECT_EQ(warnings, QStringList());
}

TEST(Sidecar, EveryKeyIsOptional) {
    const SzSidecar sidecar = parsed("{}");
    EXPECT_FALSE(sidecar.bitDepth);
    EXPECT_FALSE(sidecar.dataType);
    EXPECT_FALSE(sidecar.colorFilterArray);
    EXPECT_FALSE(sidecar.sensorColorFilterArray);
    EXPECT_FALSE(sidecar.isColor);
    EXPECT_FALSE(sidecar.storageFormat);
    EXPECT_FALSE(sidecar.linePitch);
    EXPECT_FALSE(sidecar.still);
    EXPECT_EQ(sidecar.hsi, CzHsiCameraParams());
    const SzSidecar zone = parsed(R"({"hsi": {"zones": [{}]}})");
    EXPECT_EQ(zone.hsi.zones.at(0).blockWidth, 1U);
    EXPECT_FALSE(zone.hsi.zones.at(0).hasRegion());
    parsed(R"({"unknown": [1, {"x": null}]})");
}

TEST(Sidecar, UnknownNumbersAreKept) {
    const SzSidecar sidecar =
        parsed(R"({"colorFilterArray": 9, "storageFormat": 0, "bitDepth": 4294967295})");
    EXPECT_EQ(static_cast<std::uint32_t>(*sidecar.colorFilterArray), 9U);
    EXPECT_EQ(static_cast<std::uint32_t>(*sidecar.storageFormat), 0U);
    EXPECT_EQ(sidecar.bitDepth, 4294967295U);
}

TEST(Sidecar, WrongTypesAreRefusedWithTheirPlace) {
    const std::string whole = "expected a whole number from 0 to 4294967295";
    for (const char* value : {"\"12\"", "-1", "1.5", "4294967296", "1e300", "true", "null", "[]", "{}"})
        for (const char* key : {"bitDepth", "dataType", "colorFilterArray", "sensorColorFilterArray",
                                "storageFormat", "linePitch", "width", "height", "channels"})
            EXPECT_EQ(problemOf(QByteArray("{\"") + key + "\": " + value + "}"), key + (": " + whole))
                << value;
    EXPECT_EQ(problemOf(R"({"frameNo": 0.5})"),
              "frameNo: expected a whole number from -2147483648 to 2147483647");
    EXPECT_EQ(problemOf(R"({"isColor": 1})"), "isColor: expected true or false");
    EXPECT_EQ(problemOf(R"({"still": "yes"})"), "still: expected true or false");
    EXPECT_EQ(problemOf(R"({"mosaicName": 1})"), "mosaicName: expected a text");
    EXPECT_EQ(problemOf(R"({"floatMin": "a"})"), "floatMin: expected a number");
    EXPECT_EQ(problemOf(R"({"hsi": []})"), "hsi: expected an object");
    EXPECT_EQ(problemOf(R"({"hsi": {"rgbNir": 0}})"), "hsi.rgbNir: expected true or false");
    EXPECT_EQ(problemOf(R"({"hsi": {"zones": {}}})"), "hsi.zones: expected a list");
    EXPECT_EQ(problemOf(R"({"hsi": {"zones": [{}, 5]}})"), "hsi.zones[1]: expected an object");
    for (const char* cell : {"4", "[4]", "[4, 4, 4]", "[4, -4]", "[4, 0.5]", "[4, \"4\"]", "null"})
        EXPECT_EQ(problemOf(QByteArray(R"({"hsi": {"zones": [{"cell": )") + cell + "}]}}"),
                  "hsi.zones[0].cell: expected two whole numbers")
            << cell;
    EXPECT_EQ(problemOf(R"({"hsi": {"zones": [{"block": [1]}]}})"),
              "hsi.zones[0].block: expected two whole numbers");
    EXPECT_EQ(problemOf(R"({"hsi": {"zones": [{"region": [1, 2, 3]}]}})"),
              "hsi.zones[0].region: expected four whole numbers (left, top, right, bottom)");
    EXPECT_EQ(problemOf(R"({"hsi": {"zones": [{"bands": [{"name": 7}]}]}})"),
              "hsi.zones[0].bands[0].name: expected a text");
    EXPECT_EQ(problemOf(R"({"hsi": {"zones": [{"bands": [{}, {"wavelength": "470"}]}]}})"),
              "hsi.zones[0].bands[1].wavelength: expected a number");
}

TEST(Sidecar, SyntaxErrorsNameLineAndColumn) {
    EXPECT_THAT(problemOf("{\n  \"bitDepth\": ,\n}"), HasSubstr("line 2, column 1"));
    EXPECT_THAT(problemOf(""), HasSubstr("line 1, column 1"));
    EXPECT_EQ(problemOf("[]"), "line 1, column 1: expected an object");
}

TEST(Sidecar, ImpossibleSensorsAreLoadedWithAWarning) {
    QStringList warnings;
    const SzSidecar sidecar = parsed(R"({"hsi": {"zones": [
        {"cell": [0, 0], "bands": []},
        {"cell": [2, 2], "block": [0, 1], "bands": [{"name": "a"}]}]}})",
                                     &warnings);
    EXPECT_EQ(sidecar.hsi.zones.at(0).cellWidth, 0U);
    EXPECT_EQ(sidecar.hsi.zones.at(1).bands.size(), 1);
    EXPECT_EQ(warnings, (QStringList{"hsi.zones[0].cell: no sensor has cells of 0 × 0",
                                     "hsi.zones[1].block: no sensor has blocks of 0 × 1",
                                     "hsi.zones[1].bands: 1 bands for 4 cell positions"}));
    parsed(R"({"hsi": {"zones": [{"cell": [4294967295, 4294967295]}]}})", &warnings);
    EXPECT_THAT(warnings.last().toStdString(), HasSubstr("18446744065119617025 cell positions"));
}

TEST(Sidecar, RegionsOutsideThePictureAreWarnedOf) {
    SzPicBufInfo picture;
    picture.width = 10;
    picture.height = 5;
    const auto warningsFor = [&](const QByteArray& region) {
        return regionWarnings(parsed(R"({"hsi": {"zones": [{"region": )" + region + "}]}}").hsi, picture);
    };
    EXPECT_EQ(warningsFor("[0, 0, 9, 4]"), QStringList());
    EXPECT_EQ(warningsFor("[0, 0, -1, -1]"), QStringList());
    for (const char* region : {"[0, 0, 10, 4]", "[0, 0, 9, 5]", "[-1, 0, 9, 4]", "[0, -1, 9, 4]"})
        EXPECT_EQ(warningsFor(region).size(), 1) << region;
    EXPECT_EQ(warningsFor("[0, 0, 10, 4]").first(),
              "hsi.zones[0].region: [0, 0, 10, 4] lies outside a picture of 10 × 5 pixels");
}

TEST(Sidecar, FilesAreNamedInSentencesAndWarnings) {
    const PictureFolder folder;
    SzSidecar sidecar;
    QString error;
    QStringList warnings;
    EXPECT_FALSE(readSidecar(folder.path("none.json"), sidecar, &error, &warnings));
    EXPECT_THAT(error.toStdString(), HasSubstr("none.json: "));
    EXPECT_FALSE(readSidecar(folder.write("a.json", R"({"still": 1})"), sidecar, &error, &warnings));
    EXPECT_EQ(error, folder.path("a.json") + ": still: expected true or false");
    EXPECT_TRUE(
        readSidecar(folder.write("a.json", R"({"hsi": {"zones": [{}]}})"), sidecar, &error, &warnings));
    ASSERT_EQ(warnings.size(), 1);
    EXPECT_THAT(warnings.first().toStdString(), HasSubstr("a.json: hsi.zones[0].cell"));
    EXPECT_EQ(sidecarPath("x/a.tif"), "x/a.tif.json");
}

TEST(Sidecar, TextDescribesThePictureCompletely) {
    SzPicBuf picture;
    picture.width = 7;
    picture.height = 5;
    picture.linePitch = 32;
    picture.channels = 2;
    picture.bitDepth = 12;
    picture.dataType = EzImageDataType::UInt16;
    picture.storageFormat = EzDataStorageFormat::Interleaved;
    picture.isColor = true;
    picture.frameNo = 41;
    CzImageMetadata metadata;
    metadata.colorFilterArray = EzColorFilterArray::CMYG;
    const QJsonObject json = QJsonDocument::fromJson(sidecarText(picture, metadata)).object();
    const QJsonObject expected{{"width", 7},         {"height", 5},           {"linePitch", 32},
                               {"channels", 2},      {"bitDepth", 12},        {"dataType", 4},
                               {"storageFormat", 1}, {"colorFilterArray", 0}, {"sensorColorFilterArray", 5},
                               {"isColor", true},    {"frameNo", 41}};
    EXPECT_EQ(json, expected);

    picture.frameNo = 0;
    picture.dataType = EzImageDataType::Float32;
    picture.floatMin = -0.1F;
    picture.floatMax = std::numeric_limits<float>::infinity();
    metadata = {};
    const QJsonObject still = QJsonDocument::fromJson(sidecarText(picture, metadata)).object();
    EXPECT_EQ(still["still"], true);
    EXPECT_EQ(still["floatMin"].toDouble(), static_cast<double>(-0.1F));
    EXPECT_TRUE(still["floatMax"].isNull());
    EXPECT_FALSE(still.contains("sensorColorFilterArray"));
    EXPECT_FALSE(still.contains("hsi"));
    SzSidecar sidecar = parsed(sidecarText(picture, metadata));
    EXPECT_TRUE(sidecar.still);
}

TEST(Sidecar, TextGivesTheSensorBack) {
    SzPicBuf picture;
    CzImageMetadata metadata;
    metadata.mosaicName = QStringLiteral("4 × 1 \"quoted\"");
    metadata.hsiCameraParams.rgbNir = true;
    CzHsiCameraParams::CzFilterZone zone;
    zone.id = 3;
    zone.cellWidth = 0;
    zone.cellHeight = 4294967295U;
    zone.blockWidth = 2;
    zone.left = -5;
    zone.right = std::numeric_limits<std::int32_t>::max();
    zone.bottom = std::numeric_limits<std::int32_t>::min();
    zone.bands = {CzHsiCameraParams::CzBand(QStringLiteral("Grün"), 0.1), CzHsiCameraParams::CzBand()};
    metadata.hsiCameraParams.zones = {zone, {}};
    const SzSidecar sidecar = parsed(sidecarText(picture, metadata));
    EXPECT_EQ(sidecar.hsi, metadata.hsiCameraParams);
    EXPECT_EQ(sidecar.mosaicName, metadata.mosaicName);

    metadata.hsiCameraParams.zones[0].bands = {
        CzHsiCameraParams::CzBand(QStringLiteral("x"), std::numeric_limits<double>::quiet_NaN())};
    EXPECT_EQ(parsed(sidecarText(picture, metadata)).hsi.zones.at(0).bands.at(0).wavelength(), 0.0);
}

TEST(SidecarText, SaysWhatASidecarSaysAndNothingElse) {
    EXPECT_TRUE(QJsonDocument::fromJson(sidecarText(SzSidecar())).object().isEmpty());

    SzSidecar sidecar;
    sidecar.bitDepth = 12;
    sidecar.dataType = EzImageDataType::SpectrumFloat32;
    sidecar.colorFilterArray = EzColorFilterArray::None;
    sidecar.sensorColorFilterArray = EzColorFilterArray::Hyperspectral;
    sidecar.isColor = false;
    sidecar.storageFormat = EzDataStorageFormat::Planar;
    sidecar.linePitch = 0;
    sidecar.still = true;
    sidecar.mosaicName = QStringLiteral("mosaic");
    sidecar.hsi.zones.resize(1);
    sidecar.hsi.zones[0].cellWidth = 1;
    sidecar.hsi.zones[0].cellHeight = 1;
    sidecar.hsi.zones[0].bands.append(CzHsiCameraParams::CzBand(QStringLiteral("a"), 1.0 / 3));
    const SzSidecar read = parsed(sidecarText(sidecar));
    EXPECT_EQ(read.bitDepth, sidecar.bitDepth);
    EXPECT_EQ(read.dataType, sidecar.dataType);
    EXPECT_EQ(read.colorFilterArray, sidecar.colorFilterArray);
    EXPECT_EQ(read.sensorColorFilterArray, sidecar.sensorColorFilterArray);
    EXPECT_EQ(read.isColor, sidecar.isColor);
    EXPECT_EQ(read.storageFormat, sidecar.storageFormat);
    EXPECT_EQ(read.linePitch, sidecar.linePitch);
    EXPECT_TRUE(read.still);
    EXPECT_EQ(read.mosaicName, sidecar.mosaicName);
    EXPECT_EQ(read.hsi, sidecar.hsi);
    EXPECT_EQ(QJsonDocument::fromJson(sidecarText(sidecar)).object().size(), 10);
}

/// A sidecar file.
class ChangedSidecar : public testing::Test {
protected:
    /// What the file would say.
    QJsonObject changed(const QByteArray& text, const SzSidecarChange& change) {
        if (!text.isNull()) {
            QFile file(path);
            EXPECT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(text);
        }
        EXPECT_TRUE(changeSidecarText(path, change, after, &error)) << qPrintable(error);
        return QJsonDocument::fromJson(after).object();
    }
    static QJsonObject json(const QByteArray& text) { return QJsonDocument::fromJson(text).object(); }

    QTemporaryDir folder;
    QString path = folder.filePath(QStringLiteral("a.tif.json"));
    QByteArray after;
    QString error;
};

TEST_F(ChangedSidecar, SaysWhatWasChangedAndAllElseAsBefore) {
    SzSidecarChange change;
    change.before.bitDepth = 12;
    change.before.mosaicName = QStringLiteral("old");
    change.before.hsi.zones.resize(1);
    change.after = change.before;
    change.after.bitDepth = 10;
    change.after.mosaicName.clear();
    change.after.hsi.rgbNir = true;
    change.after.isColor = false;
    EXPECT_EQ(changed(R"({ "bitDepth": 8, "still": true, "mosaicName": "mine", "mine": { "a": [1, 2] },
                           "hsi": { "zones": [], "vendor": "x" }, "frameNo": 5 })",
                      change),
              json(R"({ "bitDepth": 10, "still": true, "mine": { "a": [1, 2] }, "isColor": false,
                        "hsi": { "zones": [], "vendor": "x", "rgbNir": true }, "frameNo": 5 })"));
    SzSidecar read;
    ASSERT_TRUE(readSidecar(path, change, read, &error, nullptr)) << qPrintable(error);
    EXPECT_EQ(read.bitDepth, 10U);
    EXPECT_TRUE(read.still);
    EXPECT_TRUE(read.hsi.rgbNir);
    EXPECT_TRUE(read.mosaicName.isEmpty());
}

TEST_F(ChangedSidecar, WithoutADifferenceTheTextStays) {
    SzSidecarChange change;
    change.before.bitDepth = 12;
    change.after.bitDepth = 10;
    const QByteArray text = "{\n  \"bitDepth\" : 10 }";
    changed(text, change);
    EXPECT_EQ(after, text);
    change.after = change.before;
    changed(text, change);
    EXPECT_EQ(after, text);
}

TEST_F(ChangedSidecar, AFileThatDoesNotExistSaysTheChangeAlone) {
    SzSidecarChange change;
    change.before.still = true;
    change.after = change.before;
    EXPECT_TRUE(changed({}, change).isEmpty());
    EXPECT_TRUE(after.isEmpty());
    change.after.bitDepth = 10;
    EXPECT_EQ(changed({}, change), json(R"({ "bitDepth": 10 })"));
    SzSidecar read;
    read.linePitch = 3; // of another picture
    ASSERT_TRUE(readSidecar(path, change, read, &error, nullptr));
    EXPECT_EQ(read.bitDepth, 10U);
    EXPECT_FALSE(read.linePitch);
    ASSERT_TRUE(readSidecar(path, SzSidecarChange(), read, &error, nullptr));
    EXPECT_FALSE(read.bitDepth);
}

TEST_F(ChangedSidecar, WhatIsNoSidecarIsRefused) {
    for (const QByteArray& text : {QByteArray("[1]"), QByteArray("{ \"bitDepth\": ")}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.close();
        EXPECT_FALSE(changeSidecarText(path, SzSidecarChange(), after, &error));
        EXPECT_TRUE(error.startsWith(path)) << qPrintable(error);
    }
    EXPECT_FALSE(changeSidecarText(folder.path(), SzSidecarChange(), after, nullptr));
}

} // namespace
