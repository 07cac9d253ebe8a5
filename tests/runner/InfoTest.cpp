// SPDX-License-Identifier: GPL-3.0-or-later
#include "RunnerFixture.h"

#include <gmock/gmock.h>

namespace {

using InfoTest = RunnerTest;

} // namespace

TEST_F(InfoTest, ShowsCaptionsAndTheFormatOnEveryLink) {
    writeChain("c.zuchain", {"test.CzTroubleCnbl\" throwAt=\"7", "CzExtractChannelCnbl\" channelIdx=\"0"});
    writeRamp("a.tif", 9, 7, 0);
    writeFile("a.tif.json", R"({"colorFilterArray": 4, "bitDepth": 7})");
    const SzProgramResult result = zurun({"info", "c.zuchain", "a.tif"});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.toStdString(),
              "     9 x 7, 1 channel, 8-bit (7 significant), Bayer BGGR, lines of 9 bytes\n"
              "  0  Trouble at 7\n"
              "     9 x 7, 1 channel, 8-bit (7 significant), Bayer BGGR, lines of 9 bytes\n"
              "  1  Extract\n"
              "     4 x 3, 1 channel, 8-bit (7 significant), lines of 4 bytes\n");
}

TEST_F(InfoTest, JsonHasTheKeysOfASidecar) {
    writeChain("c.zuchain", {"CzExtractChannelCnbl\" channelIdx=\"0\" state=\"1"});
    writeRamp("a.tif", 9, 7, 0);
    const QJsonObject info = zurun({"info", "c.zuchain", "a.tif", "--json"}).json();
    const QJsonObject expected{{"width", 9},       {"height", 7},        {"linePitch", 9},
                               {"channels", 1},    {"bitDepth", 8},      {"dataType", 2},
                               {"isColor", false}, {"storageFormat", 1}, {"colorFilterArray", 0}};
    EXPECT_EQ(info.value("input").toObject(), expected);
    const QJsonObject element = info.value("elements").toArray().at(0).toObject();
    EXPECT_EQ(element.value("uniqueId"), "org.zuviewer.CzExtractChannelCnbl");
    EXPECT_EQ(element.value("caption"), "Extract");
    EXPECT_EQ(element.value("bypassed"), true);
    EXPECT_EQ(element.value("output").toObject(), expected);
}

TEST_F(InfoTest, UsesTheFirstPictureOfAFolder) {
    writeChain("c.zuchain", {});
    writeRamp("in/p10.tif", 10, 2, 0);
    writeRamp("in/p9.tif", 9, 2, 0);
    EXPECT_THAT(zurun({"info", "c.zuchain", "in"}).out.toStdString(), testing::HasSubstr("9 x 2,"));
}

TEST_F(InfoTest, ShowsAMissingElementAndSaysSo) {
    writeChain("c.zuchain", {"CzUnheardOfCnbl", "CzExtractChannelCnbl\" channelIdx=\"0"});
    writeRamp("a.tif", 9, 7, 0);
    const SzProgramResult result = zurun({"info", "c.zuchain", "a.tif"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.sentences().size(), 1);
    EXPECT_THAT(result.err.toStdString(), testing::HasSubstr("org.zuviewer.CzUnheardOfCnbl"));
    EXPECT_THAT(result.out.toStdString(), testing::HasSubstr("  1  Extract\n"));
}

TEST_F(InfoTest, UnreadablePictureIsAFailure) {
    writeChain("c.zuchain", {});
    writeFile("empty.tif", "");
    const SzProgramResult result = zurun({"info", "c.zuchain", "empty.tif"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.sentences().size(), 1);
}
