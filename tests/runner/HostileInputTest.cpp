// SPDX-License-Identifier: GPL-3.0-or-later
#include "RunnerFixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QtEndian>

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;

class HostileInputTest : public RunnerTest {
protected:
    HostileInputTest() { writeChain("c.zuchain", {"CzExtractChannelCnbl\" channelIdx=\"0"}); }

    /// Runs the input and expects a single frame, which failed, and one sentence with this text.
    void expectUnreadable(const QString& input, const char* text) {
        const SzProgramResult result = zurun({"run", "c.zuchain", input, "-o", "out"});
        EXPECT_EQ(result.exitCode, 1);
        ASSERT_EQ(result.sentences().size(), 1) << result.err.toStdString();
        EXPECT_THAT(result.err.toStdString(), HasSubstr(text));
        EXPECT_EQ(filesIn("out"), QStringList{"manifest.jsonl"});
        const auto lines = manifest("out");
        ASSERT_EQ(lines.size(), 2);
        EXPECT_EQ(lines[0], (QJsonObject{{"input", input},
                                         {"page", 1},
                                         {"frameNo", 1},
                                         {"output", QJsonValue()},
                                         {"status", "failed"},
                                         {"elements", QJsonArray()}}));
        const QJsonObject summary = lines[1].value("summary").toObject();
        EXPECT_EQ(summary.value("frames"), 1);
        EXPECT_EQ(summary.value("failed"), 1);
        EXPECT_EQ(summary.value("written"), 0);
    }

    /// Runs the command line and expects that it does nothing but say one sentence with these texts.
    void expectMisuse(const QStringList& arguments, const QStringList& texts) {
        const SzProgramResult result = zurun(arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments.join(' ').toStdString();
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.sentences().size(), 1) << result.err.toStdString();
        for (const QString& text : texts)
            EXPECT_THAT(result.err.toStdString(), HasSubstr(text.toStdString()));
        EXPECT_FALSE(exists("out"));
    }
};

/// A TIFF that claims one uncompressed 8-bit page of this size and holds 16 bytes of it.
QByteArray tiffThatClaims(quint32 width, quint32 height) {
    QByteArray file("II*\0", 4);
    const auto append16 = [&](quint16 value) {
        value = qToLittleEndian(value);
        file.append(reinterpret_cast<const char*>(&value), 2);
    };
    const auto append32 = [&](quint32 value) {
        value = qToLittleEndian(value);
        file.append(reinterpret_cast<const char*>(&value), 4);
    };
    const auto tag = [&](quint16 id, quint32 value) {
        append16(id);
        append16(4); // an unsigned 32-bit value
        append32(1);
        append32(value);
    };
    append32(24); // the directory stands behind the pixels
    file.append(QByteArray(16, 'x'));
    append16(9);
    tag(256, width);
    tag(257, height);
    tag(258, 8); // bits per sample
    tag(259, 1); // no compression
    tag(262, 1); // black is 0
    tag(273, 8); // the strip's place
    tag(277, 1); // samples per pixel
    tag(278, height);
    tag(279, width * height);
    append32(0);
    return file;
}

} // namespace

// ---- Pictures ----

TEST_F(HostileInputTest, EmptyFile) {
    writeFile("empty.tif", "");
    expectUnreadable("empty.tif", "empty.tif");
}

TEST_F(HostileInputTest, TextInsteadOfAPicture) {
    writeFile("text.png", "This is no picture.");
    expectUnreadable("text.png", "text.png");
}

TEST_F(HostileInputTest, TruncatedTiff) {
    ASSERT_EQ(zurun({"generate", "mono", "-o", "whole.tif", "--size", "64x64"}).exitCode, 0);
    const QByteArray whole = readFile("whole.tif");
    // Cut at every place that matters to a reader, and some more: nothing may crash or hang.
    for (const int size : {1, 3, 4, 8, 9, 100, whole.size() / 2, whole.size() - 1}) {
        writeFile("cut.tif", whole.left(size));
        const SzProgramResult result = zurun({"run", "c.zuchain", "cut.tif"});
        EXPECT_TRUE(result.exitCode == 1 || (result.exitCode == 0 && size == whole.size() - 1)) << size;
    }
    writeFile("cut.tif", whole.left(whole.size() / 2));
    expectUnreadable("cut.tif", "cut.tif");
}

TEST_F(HostileInputTest, TiffThatClaimsTwoGigapixels) {
    writeFile("huge.tif", tiffThatClaims(65536, 32768));
    QElapsedTimer timer;
    timer.start();
    expectUnreadable("huge.tif", "huge.tif");
    EXPECT_LT(timer.elapsed(), 20000);
}

TEST_F(HostileInputTest, TiffThatClaimsMoreThanAddressesReach) {
    writeFile("huge.tif", tiffThatClaims(0xffffffff, 0xffffffff));
    expectUnreadable("huge.tif", "huge.tif");
}

TEST_F(HostileInputTest, SmallAndNarrowPicturesAreFine) {
    writeRamp("dot.tif", 1, 1, 200);
    writeRamp("line.tif", 60000, 1, 3);
    writeRamp("column.tif", 1, 60000, 4);
    const SzProgramResult result =
        zurun({"run", "c.zuchain", "dot.tif", "line.tif", "column.tif", "-o", "out"});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(firstSample("out/00001.tif"), 200);
    const auto line = readPicture("out/00002.tif");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->picBuf().width, 60000u);
    EXPECT_EQ(line->picBuf().data[59999], (3 + 59999) % 256);
    EXPECT_EQ(firstSample("out/00003.tif"), 4);
}

TEST_F(HostileInputTest, WhatIsNoRegularFile) {
    ASSERT_EQ(execute("mkfifo", {"pipe.tif"}).exitCode, 0);
    expectUnreadable("pipe.tif", "pipe.tif: expected a regular file");
    expectUnreadable("/dev/zero", "/dev/zero: expected a regular file");
    // In a folder it is not passed over in silence.
    writeRamp("folder/a.tif", 4, 4, 1);
    ASSERT_EQ(execute("ln", {"-s", "nowhere.tif", "folder/b.tif"}).exitCode, 0);
    EXPECT_EQ(zurun({"run", "c.zuchain", "folder", "-o", "links"}).exitCode, 1);
    EXPECT_EQ(column("links", "status"), (QJsonArray{"written", "failed"}));
}

TEST_F(HostileInputTest, SidecarLinkThatLeadsNowhere) {
    writeRamp("a.tif", 4, 4, 1);
    ASSERT_EQ(execute("ln", {"-sf", "nowhere.json", "a.tif.json"}).exitCode, 0);
    expectMisuse({"run", "c.zuchain", "a.tif", "-o", "out"}, {"a.tif.json"});
}

TEST_F(HostileInputTest, PagesThatWereCutOffAreMissed) {
    ASSERT_EQ(zurun({"generate", "sequence", "-o", "whole.tif", "--size", "8x8", "--frames", "3"}).exitCode,
              0);
    const QByteArray whole = readFile("whole.tif");
    writeFile("cut.tif", whole.left(whole.size() / 2));
    EXPECT_EQ(zurun({"run", "c.zuchain", "cut.tif", "-o", "out"}).exitCode, 1);
    EXPECT_EQ(column("out", "status"), (QJsonArray{"written", "failed"}));
}

TEST_F(HostileInputTest, MissingFile) {
    expectUnreadable("nowhere.tif", "nowhere.tif");
}

TEST_F(HostileInputTest, OneBadFileAmongGoodOnes) {
    writeRamp("a.tif", 4, 4, 1);
    writeFile("b.tif", "broken");
    writeRamp("c.tif", 4, 4, 3);
    const SzProgramResult result = zurun({"run", "c.zuchain", "a.tif", "b.tif", "c.tif", "-o", "out"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.sentences().size(), 1);
    EXPECT_EQ(column("out", "input"), (QJsonArray{"a.tif", "b.tif", "c.tif"}));
    EXPECT_EQ(column("out", "status"), (QJsonArray{"written", "failed", "written"}));
    EXPECT_EQ(column("out", "frameNo"), (QJsonArray{1, 2, 3}));
    EXPECT_EQ(column("out", "output"), (QJsonArray{"00001.tif", QJsonValue(), "00002.tif"}));
    EXPECT_EQ(firstSample("out/00002.tif"), 3);
}

TEST_F(HostileInputTest, RepeatedBadFileIsSaidOnce) {
    writeRamp("a.tif", 4, 4, 1);
    writeFile("b.tif", "broken");
    const SzProgramResult result =
        zurun({"run", "c.zuchain", "a.tif", "b.tif", "--frames", "7", "-o", "out"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.sentences().size(), 1);
    const QJsonObject summary = manifest("out").last().value("summary").toObject();
    EXPECT_EQ(summary.value("frames"), 7);
    EXPECT_EQ(summary.value("written"), 4);
    EXPECT_EQ(summary.value("failed"), 3);
}

TEST_F(HostileInputTest, FolderWithoutPicturesIsAFailureWithoutFrames) {
    writeFile("folder/readme.txt", "no picture");
    writeRamp("a.tif", 4, 4, 1);
    SzProgramResult result = zurun({"run", "c.zuchain", "folder", "-o", "out"});
    EXPECT_EQ(result.exitCode, 1);
    ASSERT_EQ(result.sentences().size(), 1);
    EXPECT_THAT(result.err.toStdString(), HasSubstr("folder"));
    EXPECT_EQ(manifest("out").size(), 1);
    // Nor do repetitions of nothing hang.
    EXPECT_EQ(zurun({"run", "c.zuchain", "folder", "--frames", "3"}).exitCode, 1);
    // The other inputs are processed.
    result = zurun({"run", "c.zuchain", "folder", "a.tif", "-o", "out"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(column("out", "status"), (QJsonArray{"written"}));
}

// ---- Outputs ----

TEST_F(HostileInputTest, OutputFolderBelowAFile) {
    writeFile("file", "x");
    writeRamp("a.tif", 4, 4, 1);
    const SzProgramResult result = zurun({"run", "c.zuchain", "a.tif", "-o", "file/out"});
    EXPECT_EQ(result.exitCode, 1);
    ASSERT_EQ(result.sentences().size(), 1);
    EXPECT_THAT(result.err.toStdString(), HasSubstr("file/out"));
}

TEST_F(HostileInputTest, OutputFolderThatIsAFile) {
    writeFile("file", "x");
    writeRamp("a.tif", 4, 4, 1);
    const SzProgramResult result = zurun({"run", "c.zuchain", "a.tif", "-o", "file"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.sentences().size(), 1);
    EXPECT_EQ(readFile("file"), "x");
}

TEST_F(HostileInputTest, FullDiskLeavesNoHalfWrittenPicture) {
    writeRamp("big.tif", 200, 200, 1); // 40 kB, of which the disk takes 8
    writeRamp("small.tif", 4, 4, 2);
    const SzProgramResult result = onFullDisk(8, "run c.zuchain big.tif small.tif big.tif big.tif -o out");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.sentences().size(), 2) << result.err.toStdString();
    EXPECT_THAT(result.err.toStdString(), HasSubstr("00001.tif"));
    EXPECT_THAT(result.err.toStdString(), HasSubstr("2 more"));
    EXPECT_EQ(filesIn("out"), (QStringList{"00001.tif", "00001.tif.json", "manifest.jsonl"}));
    EXPECT_EQ(firstSample("out/00001.tif"), 2);
    EXPECT_EQ(column("out", "status"), (QJsonArray{"failed", "written", "failed", "failed"}));
}

TEST_F(HostileInputTest, FullDiskLeavesAManifestOfWholeLines) {
    writeRamp("dot.tif", 1, 1, 1);
    const SzProgramResult result = onFullDisk(1, "run c.zuchain dot.tif --frames 40 -o out");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.sentences().size(), 1) << result.err.toStdString();
    EXPECT_THAT(result.err.toStdString(), HasSubstr("manifest.jsonl"));
    const auto lines = manifest("out");
    EXPECT_GT(lines.size(), 2);
    EXPECT_LT(lines.size(), 40);
    for (const QJsonObject& line : lines)
        EXPECT_EQ(line.value("status"), "written");
    EXPECT_TRUE(exists("out/00040.tif"));
}

TEST_F(HostileInputTest, StandardOutputThatTakesNothingIsAFailure) {
    const SzProgramResult result = bash("\"$ZURUN\" elements > /dev/full");
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.sentences().size(), 1);
}

TEST_F(HostileInputTest, PngRefusesWhatItCannotHold) {
    // 32-bit samples have no place in a PNG.
    writeChain("none.zuchain", {});
    QByteArray tiff = tiffThatClaims(2, 2);
    tiff[24 + 2 + 2 * 12 + 8] = 32; // bits per sample
    writeFile("deep.tif", tiff);
    const SzProgramResult result = zurun({"run", "none.zuchain", "deep.tif", "-o", "out", "--format", "png"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.sentences().size(), 1) << result.err.toStdString();
    EXPECT_EQ(filesIn("out"), QStringList{"manifest.jsonl"});
    EXPECT_EQ(column("out", "status"), QJsonArray{"failed"});
}

// ---- Chains, sidecars, command lines ----

TEST_F(HostileInputTest, ChainThatIsNoXmlNamesLineAndColumn) {
    writeRamp("a.tif", 4, 4, 1);
    writeFile("bad.zuchain", "<chain version=\"1\">\n  <chainable\n</chain>\n");
    expectMisuse({"run", "bad.zuchain", "a.tif", "-o", "out"}, {"bad.zuchain", "line 3", "column"});
}

TEST_F(HostileInputTest, MissingChainFile) {
    writeRamp("a.tif", 4, 4, 1);
    expectMisuse({"run", "nowhere.zuchain", "a.tif", "-o", "out"}, {"nowhere.zuchain"});
}

TEST_F(HostileInputTest, ChainWithAnUnknownClass) {
    writeRamp("a.tif", 4, 4, 1);
    writeChain("bad.zuchain", {"CzUnheardOfCnbl"});
    expectMisuse({"run", "bad.zuchain", "a.tif", "-o", "out"},
                 {"bad.zuchain", "org.zuviewer.CzUnheardOfCnbl"});
}

TEST_F(HostileInputTest, ChainThatRefusesToStart) {
    writeRamp("a.tif", 4, 4, 1);
    writeChain("bad.zuchain", {"test.CzTroubleCnbl\" throwAt=\"-1\" refuseStart=\"1"});
    const SzProgramResult result = zurun({"run", "bad.zuchain", "a.tif"});
    EXPECT_EQ(result.exitCode, 2);
    ASSERT_EQ(result.sentences().size(), 1) << result.err.toStdString();
    EXPECT_THAT(result.err.toStdString(), HasSubstr("No, thank you."));
}

TEST_F(HostileInputTest, ChainThatRefusesToStartLeavesEarlierResultsAlone) {
    writeRamp("a.tif", 4, 4, 1);
    ASSERT_EQ(zurun({"run", "c.zuchain", "a.tif", "-o", "out"}).exitCode, 0);
    const QByteArray before = readFile("out/manifest.jsonl");
    writeChain("bad.zuchain", {"test.CzTroubleCnbl\" throwAt=\"-1\" refuseStart=\"1"});
    EXPECT_EQ(zurun({"run", "bad.zuchain", "a.tif", "-o", "out"}).exitCode, 2);
    EXPECT_EQ(readFile("out/manifest.jsonl"), before);
    EXPECT_EQ(zurun({"run", "bad.zuchain", "a.tif", "-o", "new"}).exitCode, 2);
    EXPECT_FALSE(exists("new"));
    // A frame that cannot be read comes before the chain starts; the record of it is complete.
    EXPECT_EQ(zurun({"run", "bad.zuchain", "nowhere.tif", "a.tif", "-o", "new"}).exitCode, 2);
    EXPECT_EQ(column("new", "status"), (QJsonArray{"failed"}));
    EXPECT_EQ(manifest("new").last().value("summary").toObject().value("frames"), 1);
}

TEST_F(HostileInputTest, SidecarWithAWrongTypeNamesThePlace) {
    writeRamp("a.tif", 4, 4, 1);
    writeRamp("b.tif", 4, 4, 1);
    writeFile("b.tif.json", R"({"bitDepth": "twelve"})");
    expectMisuse({"run", "c.zuchain", "a.tif", "b.tif", "-o", "out"}, {"b.tif.json", "bitDepth"});
    expectMisuse({"run", "c.zuchain", "a.tif", "--metadata", "b.tif.json", "-o", "out"},
                 {"b.tif.json", "bitDepth"});
    expectMisuse({"info", "c.zuchain", "b.tif"}, {"b.tif.json", "bitDepth"});
}

TEST_F(HostileInputTest, MissingMetadataFile) {
    writeRamp("a.tif", 4, 4, 1);
    expectMisuse({"run", "c.zuchain", "a.tif", "--metadata", "nowhere.json", "-o", "out"}, {"nowhere.json"});
}

TEST_F(HostileInputTest, SensorThatCannotBeIsAWarning) {
    writeRamp("a.tif", 8, 8, 1);
    writeFile("a.tif.json", R"({"colorFilterArray": 7, "hsi": {"zones": [{"cell": [0, 0], "block": [1, 1],
                                "region": [0, 0, 99, 99], "bands": []}]}})");
    const SzProgramResult result = zurun({"run", "c.zuchain", "a.tif", "-o", "out"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.err.toStdString(), HasSubstr("a.tif.json"));
}

TEST_F(HostileInputTest, WrongSettings) {
    writeRamp("a.tif", 4, 4, 1);
    const QStringList wrong = {"",
                               "channelIdx=1",
                               "0.channelIdx",
                               "0.=1",
                               "-1.channelIdx=1",
                               "1.channelIdx=1",
                               "99999999999.channelIdx=1",
                               "0.channelIndex=1",
                               "0.channelIdx=one",
                               "0.channelIdx=nan",
                               "0.channelIdx=",
                               "0.uniqueId=1"};
    for (const QString& set : wrong)
        expectMisuse({"run", "c.zuchain", "a.tif", "-o", "out", "--set", set}, {"--set " + set});
}

TEST_F(HostileInputTest, WrongCommandLines) {
    writeRamp("a.tif", 4, 4, 1);
    expectMisuse({}, {"--help"});
    expectMisuse({"fly"}, {"'fly'"});
    expectMisuse({"run"}, {"CHAIN INPUT"});
    expectMisuse({"run", "c.zuchain"}, {"CHAIN INPUT"});
    expectMisuse({"run", "c.zuchain", "a.tif", "--unheard"}, {"unheard"});
    expectMisuse({"run", "c.zuchain", "a.tif", "-o"}, {"-o"});
    expectMisuse({"run", "c.zuchain", "a.tif", "-o", ""}, {"--output names no folder"});
    expectMisuse({"run", "c.zuchain", "a.tif", "--metadata", ""}, {"--metadata names no file"});
    expectMisuse({"run", "", "a.tif"}, {"empty", "CHAIN INPUT"});
    expectMisuse({"run", "c.zuchain", ""}, {"empty", "CHAIN INPUT"});
    expectMisuse({"run", "c.zuchain", "a.tif", "--frames", "0"}, {"--frames", "'0'"});
    expectMisuse({"run", "c.zuchain", "a.tif", "--frames", "many"}, {"--frames", "'many'"});
    expectMisuse({"run", "c.zuchain", "a.tif", "--frames", "99999999999"}, {"--frames"});
    expectMisuse({"run", "c.zuchain", "a.tif", "--format", "gif"}, {"--format", "'gif'"});
    expectMisuse({"info", "c.zuchain"}, {"CHAIN INPUT"});
    expectMisuse({"info", "c.zuchain", "a.tif", "a.tif"}, {"CHAIN INPUT"});
    expectMisuse({"elements", "a", "b"}, {"[ID]"});
    expectMisuse({"new"}, {"ID..."});
}
