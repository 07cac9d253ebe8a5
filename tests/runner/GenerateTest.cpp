// SPDX-License-Identifier: GPL-3.0-or-later
#include "RunnerFixture.h"
#include "Scenes.h"

#include <QJsonDocument>

namespace {

using GenerateTest = RunnerTest;

} // namespace

TEST_F(GenerateTest, EverySceneComesWithItsSidecar) {
    for (const QString& scene : sceneNames()) {
        const SzProgramResult result = zurun({"generate", scene, "-o", scene + ".tif", "--size", "65x41"});
        EXPECT_EQ(result.exitCode, 0) << scene.toStdString() << ": " << result.err.toStdString();
        EXPECT_EQ(result.out, "");
        const QJsonObject sidecar = QJsonDocument::fromJson(readFile(scene + ".tif.json")).object();
        EXPECT_EQ(sidecar.value("width"), 65) << scene.toStdString();
        EXPECT_EQ(sidecar.value("height"), 41) << scene.toStdString();
        EXPECT_TRUE(readPicture(scene + ".tif")) << scene.toStdString();
    }
}

TEST_F(GenerateTest, SameSeedGivesTheSamePicture) {
    for (const char* seed : {"3", "3", "4"})
        zurun({"generate", "mono", "-o", QString("%1-%2.tif").arg(seed).arg(exists("3-0.tif") ? 1 : 0),
               "--size", "40x30", "--seed", seed});
    ASSERT_FALSE(readFile("3-0.tif").isEmpty());
    EXPECT_EQ(readFile("3-0.tif"), readFile("3-1.tif"));
    EXPECT_NE(readFile("3-0.tif"), readFile("4-1.tif"));
}

TEST_F(GenerateTest, SeveralFramesAreThePagesOfOneFile) {
    ASSERT_EQ(zurun({"generate", "sequence", "-o", "s.tif", "--size", "40x30", "--frames", "4"}).exitCode, 0);
    writeChain("c.zuchain", {});
    ASSERT_EQ(zurun({"run", "c.zuchain", "s.tif", "-o", "out"}).exitCode, 0);
    EXPECT_EQ(column("out", "frameNo"), (QJsonArray{1, 2, 3, 4}));
    EXPECT_NE(readFile("out/00001.tif"), readFile("out/00004.tif"));
}

TEST_F(GenerateTest, BitDepthStandsInTheSidecar) {
    ASSERT_EQ(zurun({"generate", "bayer", "-o", "b.png", "--size", "40x30", "--bit-depth", "10"}).exitCode,
              0);
    EXPECT_EQ(QJsonDocument::fromJson(readFile("b.png.json")).object().value("bitDepth"), 10);
}

TEST_F(GenerateTest, SaltAndPepperIsSprinkledOnTheSamePicture) {
    for (const char* percent : {"0", "20"})
        ASSERT_EQ(zurun({"generate", "mono", "-o", QString("%1.tif").arg(percent), "--size", "40x30",
                         "--salt-and-pepper", percent})
                      .exitCode,
                  0);
    zurun({"generate", "mono", "-o", "plain.tif", "--size", "40x30"});
    EXPECT_EQ(readFile("0.tif"), readFile("plain.tif"));
    EXPECT_NE(readFile("20.tif"), readFile("plain.tif"));
}

TEST_F(GenerateTest, RefusesWhatItCannotMake) {
    const QList<QStringList> wrong = {
        {"generate", "nonsense", "-o", "a.tif"},
        {"generate", "mono"},
        {"generate", "mono", "-o", "a.jpg"},
        {"generate", "mono", "-o", "a.tif", "--size", "0x5"},
        {"generate", "mono", "-o", "a.tif", "--size", "5"},
        {"generate", "mono", "-o", "a.tif", "--size", "5x123456"},
        {"generate", "mono", "-o", "a.tif", "--bit-depth", "7"},
        {"generate", "mono", "-o", "a.tif", "--bit-depth", "17"},
        {"generate", "mono", "-o", "a.tif", "--salt-and-pepper", "101"},
        {"generate", "mono", "-o", "a.tif", "--salt-and-pepper", "some"},
        {"generate", "mono", "-o", "a.tif", "--seed", "-1"},
        {"generate", "mono", "-o", "a.tif", "--frames", "0"},
        {"generate", "mono", "-o", "a.tif", "--frames", "9999"}, // would take more memory than machines have
        {"generate", "mono", "-o", "a.tif", "--size", "99999x99999"},
        {"generate", "mono", "-o", "a.png", "--frames", "2"},
        {"generate", "mono", "extra", "-o", "a.tif"},
    };
    for (const QStringList& arguments : wrong) {
        const SzProgramResult result = zurun(arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments.join(' ').toStdString();
        EXPECT_EQ(result.sentences().size(), 1) << arguments.join(' ').toStdString();
        EXPECT_EQ(result.out, "");
    }
    EXPECT_TRUE(filesIn(".").isEmpty());
}

TEST_F(GenerateTest, UnwritableFileIsAFailure) {
    writeFile("file", "x");
    const SzProgramResult result = zurun({"generate", "mono", "-o", "file/a.tif", "--size", "8x8"});
    EXPECT_EQ(result.exitCode, 1);
    ASSERT_EQ(result.sentences().size(), 1);
    EXPECT_TRUE(result.err.contains("file/a.tif"));
}
