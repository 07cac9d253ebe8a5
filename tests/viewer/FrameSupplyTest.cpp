// SPDX-License-Identifier: GPL-3.0-or-later
#include "FrameSupply.h"

#include "ModelTestSupport.h"
#include "PictureFile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

using testing::ElementsAre;

namespace {

class FileSupplyTest : public testing::Test {
protected:
    QString path(const QString& name) const { return m_folder.filePath(name); }

    /// A file with one page per value.
    QString write(const QString& name, const std::vector<int>& values) const {
        std::vector<std::unique_ptr<CzImageData>> frames;
        QVector<const CzImageData*> pages;
        for (const int value : values) {
            frames.push_back(makeFrame(0, value));
            pages.append(frames.back().get());
        }
        QString error;
        EXPECT_TRUE(writePictures(path(name), pages, &error)) << error.toStdString();
        return path(name);
    }
    void describe(const QString& picture, const QByteArray& json) const {
        QFile file(sidecarPath(picture));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(json);
    }

    bool open(const QStringList& paths, const std::optional<SzSidecarChange>& change = std::nullopt) {
        m_error.clear();
        m_supply = CzFileSupply::open(paths, change, &m_error, &m_warnings);
        EXPECT_EQ(m_supply == nullptr, !m_error.isEmpty());
        return m_supply != nullptr;
    }

    std::vector<int> values() {
        std::vector<int> found;
        for (int i = 0; i < *m_supply->count(); ++i) {
            const std::unique_ptr<CzImageData> frame = m_supply->frame(i, &m_error);
            found.push_back(frame ? valueOf(*frame) : -1);
        }
        return found;
    }

    QTemporaryDir m_folder;
    QString m_error;
    QStringList m_warnings;
    std::unique_ptr<CzFileSupply> m_supply;
};

} // namespace

TEST_F(FileSupplyTest, AllPagesOfAllFilesComeInOrder) {
    const QString first = write(QStringLiteral("b.tif"), {1, 2, 3});
    const QString second = write(QStringLiteral("a.tif"), {4});
    ASSERT_TRUE(open({first, second}));
    EXPECT_EQ(4, m_supply->count());
    EXPECT_FALSE(m_supply->isLive());
    EXPECT_THAT(values(), ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(2, valueOf(*m_supply->frame(1, &m_error))) << "also back again";
    EXPECT_EQ(0, m_supply->frame(1, &m_error)->frameNo());
    EXPECT_EQ(QStringLiteral("b.tif, page 3"), m_supply->name(2));
    EXPECT_EQ(QStringLiteral("a.tif"), m_supply->name(3));
    EXPECT_EQ(first, m_supply->file(2));
    EXPECT_EQ(second, m_supply->file(3));
    EXPECT_FALSE(m_supply->frame(4, &m_error));
    EXPECT_FALSE(m_error.isEmpty());
}

TEST_F(FileSupplyTest, AFolderGivesItsPicturesInNaturalOrder) {
    write(QStringLiteral("10.tif"), {10});
    write(QStringLiteral("9.tif"), {9});
    ASSERT_TRUE(QDir(m_folder.path()).mkdir(QStringLiteral("empty")));
    ASSERT_TRUE(open({m_folder.path()}));
    EXPECT_THAT(values(), ElementsAre(9, 10));
    EXPECT_FALSE(open({path(QStringLiteral("empty"))}));
    EXPECT_TRUE(m_error.contains(QStringLiteral("empty")));
}

TEST_F(FileSupplyTest, EachFileIsDescribedByItsSidecar) {
    const QString first = write(QStringLiteral("a.tif"), {1});
    const QString second = write(QStringLiteral("b.tif"), {2});
    describe(first, R"({"bitDepth": 6, "still": true})");
    describe(second, R"({"colorFilterArray": 1})");
    ASSERT_TRUE(open({first, second}));
    EXPECT_TRUE(m_supply->isStill(0));
    EXPECT_FALSE(m_supply->isStill(1));
    EXPECT_EQ(6U, m_supply->frame(0, &m_error)->picBuf().bitDepth);
    EXPECT_EQ(EzColorFilterArray::BayerRGGB, m_supply->frame(1, &m_error)->picBuf().colorFilterArray);
    EXPECT_EQ(6U, m_supply->sidecar(0).bitDepth);
}

TEST_F(FileSupplyTest, AChangeIsMadeInTheDescriptionOfEachFile) {
    const QString first = write(QStringLiteral("a.tif"), {1});
    const QString second = write(QStringLiteral("b.tif"), {2});
    const QString third = write(QStringLiteral("c.tif"), {2});
    describe(first, R"({"bitDepth": 6, "still": true})");
    describe(second, R"({"colorFilterArray": 1, "mosaicName": "second"})");
    QFile::remove(sidecarPath(third));
    SzSidecarChange change;
    change.before.bitDepth = 6;
    change.before.still = true;
    change.after = change.before;
    change.after.bitDepth = 5;
    ASSERT_TRUE(open({first, second, third}, change));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(5U, m_supply->frame(i, &m_error)->picBuf().bitDepth) << i;
    EXPECT_TRUE(m_supply->isStill(0));
    EXPECT_FALSE(m_supply->isStill(1));
    EXPECT_EQ(EzColorFilterArray::BayerRGGB, m_supply->frame(1, &m_error)->picBuf().colorFilterArray);
    EXPECT_EQ(QStringLiteral("second"), m_supply->sidecar(1).mosaicName);
    EXPECT_FALSE(m_supply->sidecar(2).still);
}

TEST_F(FileSupplyTest, RegionsOutsideThePictureAreWarnedOfChangedOnesToo) {
    const QString picture = write(QStringLiteral("a.tif"), {1}); // 8 × 4
    const QByteArray zone = R"({"colorFilterArray": 7, "hsi": {"zones": [{"cell": [1, 1],
        "bands": [{"name": "a"}], "region": [0, 0, %1, 3]}]}})";
    describe(picture, QByteArray(zone).replace("%1", "7"));
    ASSERT_TRUE(open({picture}));
    EXPECT_TRUE(m_warnings.isEmpty()) << m_warnings.join(QLatin1Char(' ')).toStdString();
    ASSERT_TRUE(m_supply->format());
    EXPECT_EQ(8U, m_supply->format()->width);
    SzSidecarChange change{m_supply->sidecar(0), m_supply->sidecar(0)};
    change.after.hsi.zones[0].right = 8;
    ASSERT_TRUE(open({picture}, change));
    ASSERT_EQ(1, m_warnings.size());
    EXPECT_TRUE(m_warnings.first().contains(QStringLiteral("a.tif"))) << m_warnings.first().toStdString();
}

TEST_F(FileSupplyTest, WhatCannotBeReadInAFolderIsPassedOverAndTold) {
    write(QStringLiteral("1.tif"), {1});
    write(QStringLiteral("3.tif"), {3});
    const QString odd = write(QStringLiteral("4.tif"), {4});
    describe(odd, "[1, 2]");
    QFile bad(path(QStringLiteral("2.tif")));
    ASSERT_TRUE(bad.open(QIODevice::WriteOnly));
    bad.write("no picture");
    bad.close();
    ASSERT_TRUE(open({m_folder.path()}));
    EXPECT_THAT(values(), ElementsAre(1, 3));
    ASSERT_EQ(2, m_warnings.size());
    EXPECT_TRUE(m_warnings.at(0).contains(QStringLiteral("2.tif"))) << m_warnings.at(0).toStdString();
    EXPECT_TRUE(m_warnings.at(1).contains(QStringLiteral("4.tif.json"))) << m_warnings.at(1).toStdString();
    for (const QString& name : {QStringLiteral("1.tif"), QStringLiteral("3.tif"), QStringLiteral("4.tif")})
        QFile::remove(path(name));
    EXPECT_FALSE(open({m_folder.path()}));
    EXPECT_TRUE(m_error.contains(QStringLiteral("2.tif"))) << m_error.toStdString();
}

TEST_F(FileSupplyTest, WhatCannotBeReadIsNamed) {
    const QString good = write(QStringLiteral("a.tif"), {1});
    QFile bad(path(QStringLiteral("bad.tif")));
    ASSERT_TRUE(bad.open(QIODevice::WriteOnly));
    bad.write("no picture");
    bad.close();
    EXPECT_FALSE(open({good, bad.fileName()}));
    EXPECT_TRUE(m_error.contains(QStringLiteral("bad.tif"))) << m_error.toStdString();
    EXPECT_FALSE(open({path(QStringLiteral("absent.tif"))}));
    EXPECT_TRUE(m_error.contains(QStringLiteral("absent.tif"))) << m_error.toStdString();
    EXPECT_FALSE(open({}));
    describe(good, "[1, 2]");
    EXPECT_FALSE(open({good}));
    EXPECT_TRUE(m_error.contains(QStringLiteral("a.tif.json"))) << m_error.toStdString();
}

TEST_F(FileSupplyTest, AFileThatGoesAfterwardsIsToldWhenItsTurnComes) {
    const QString first = write(QStringLiteral("a.tif"), {1});
    const QString second = write(QStringLiteral("b.tif"), {2});
    ASSERT_TRUE(open({first, second}));
    ASSERT_TRUE(QFile::remove(first));
    EXPECT_THAT(values(), ElementsAre(-1, 2));
    EXPECT_TRUE(m_error.contains(QStringLiteral("a.tif")));
}

TEST(SceneSupplyTest, FramesDifferAndComeRoundAgain) {
    SzSceneSettings settings;
    settings.width = 64;
    settings.height = 48;
    CzSceneSupply supply(QStringLiteral("mono"), settings);
    EXPECT_EQ(std::nullopt, supply.count());
    EXPECT_TRUE(supply.isLive());
    EXPECT_FALSE(supply.isStill(0));
    EXPECT_EQ(QStringLiteral("Camera: mono"), supply.name(3));
    QString error;
    const auto pixels = [&](int index) {
        const std::unique_ptr<CzImageData> frame = supply.frame(index, &error);
        EXPECT_EQ(0, frame->frameNo());
        const SzPicBuf& picture = frame->picBuf();
        return QByteArray(reinterpret_cast<const char*>(picture.data), static_cast<int>(picture.dataSize()));
    };
    EXPECT_NE(pixels(0), pixels(1));
    EXPECT_EQ(pixels(0), pixels(16));
    EXPECT_EQ(pixels(2147483647 % 16), pixels(2147483647));
}

TEST(SceneSupplyTest, WhatMovesGoesThereAndBack) {
    SzSceneSettings settings;
    settings.width = 64;
    settings.height = 48;
    settings.noise = 0.0F;
    const auto picture = [](CzSceneSupply& supply, int index) {
        QString error;
        const std::unique_ptr<CzImageData> frame = supply.frame(index, &error);
        const SzPicBuf& shown = frame->picBuf();
        return QByteArray(reinterpret_cast<const char*>(shown.data), static_cast<int>(shown.dataSize()));
    };
    CzSceneSupply still(QStringLiteral("bayer"), settings);
    EXPECT_EQ(picture(still, 0), picture(still, 7));
    settings.moves = true;
    CzSceneSupply moving(QStringLiteral("bayer"), settings);
    EXPECT_NE(picture(moving, 0), picture(moving, 7));
    EXPECT_NE(picture(moving, 40), picture(moving, 47));
    EXPECT_EQ(picture(moving, 46), picture(moving, 48)); // 47 is the farthest
    EXPECT_EQ(picture(moving, 1), picture(moving, 93));
    EXPECT_EQ(picture(moving, 0), picture(moving, 94));
    EXPECT_EQ(picture(moving, 2147483647 % 94), picture(moving, 2147483647));
    CzSceneSupply sequence(QStringLiteral("sequence"), settings);
    EXPECT_EQ(picture(sequence, 1), picture(sequence, 93));
}

TEST(SceneSupplyTest, AnUnknownSceneIsNamed) {
    CzSceneSupply supply(QStringLiteral("moon"), SzSceneSettings());
    QString error;
    EXPECT_FALSE(supply.frame(0, &error));
    EXPECT_EQ(QStringLiteral("The scene 'moon' cannot be rendered."), error);
}
