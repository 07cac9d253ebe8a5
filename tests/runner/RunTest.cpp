// SPDX-License-Identifier: GPL-3.0-or-later
#include "RunnerFixture.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <gmock/gmock.h>

#include <utility>

namespace {

using RunTest = RunnerTest;

const QString kTrouble = QStringLiteral("test.CzTroubleCnbl");
const QString kTroubleId = QStringLiteral("org.zuviewer.test.CzTroubleCnbl");

QJsonObject summaryOf(const QVector<QJsonObject>& manifest) {
    return manifest.isEmpty() ? QJsonObject() : manifest.last().value("summary").toObject();
}

/// The beginning of a script: a run of a.tif as a job like those that a terminal starts, which has written a
/// frame.
QString startAndWaitForAFrame(const char* options) {
    return QStringLiteral("set -m; \"$ZURUN\" run c.zuchain a.tif -o out %1 & "
                          "until [ -s out/manifest.jsonl ]; do sleep 0.05; done; ")
        .arg(options);
}

} // namespace

TEST_F(RunTest, WritesOnePictureSidecarAndManifestLinePerFrame) {
    writeChain("c.zuchain", {kTrouble + "\" throwAt=\"-1"});
    writeRamp("a.tif", 5, 3, 10);
    writeRamp("b.tif", 5, 3, 20);
    const SzProgramResult result = zurun({"run", "c.zuchain", "a.tif", "b.tif", "-o", "out"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(filesIn("out"),
              (QStringList{"00001.tif", "00001.tif.json", "00002.tif", "00002.tif.json", "manifest.jsonl"}));
    EXPECT_EQ(firstSample("out/00001.tif"), 10);
    EXPECT_EQ(firstSample("out/00002.tif"), 20);

    const auto lines = manifest("out");
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[0].value("input"), "a.tif");
    EXPECT_EQ(lines[0].value("page"), 1);
    EXPECT_EQ(lines[0].value("frameNo"), 1);
    EXPECT_EQ(lines[0].value("output"), "00001.tif");
    EXPECT_EQ(lines[0].value("status"), "written");
    const QJsonObject element = lines[0].value("elements").toArray().at(0).toObject();
    EXPECT_EQ(element.value("uniqueId"), kTroubleId);
    EXPECT_EQ(element.value("error"), "");
    EXPECT_GE(element.value("ms").toDouble(-1.0), 0.0);
    EXPECT_EQ(lines[1].value("output"), "00002.tif");
    const QJsonObject summary = summaryOf(lines);
    EXPECT_EQ(summary.keys(), (QStringList{"consumed", "failed", "frames", "seconds", "written"}));
    EXPECT_EQ(summary.value("frames"), 2);
    EXPECT_EQ(summary.value("written"), 2);
    EXPECT_EQ(summary.value("consumed"), 0);
    EXPECT_EQ(summary.value("failed"), 0);
    EXPECT_GT(summary.value("seconds").toDouble(), 0.0);
}

TEST_F(RunTest, ProcessesPixelsThroughTheChain) {
    // Three channels in file order red, green, blue; the samples of one plane come out.
    writeChain("c.zuchain", {"CzExtractChannelCnbl\" channelIdx=\"1"});
    writeFile("rgb.ppm", QByteArray("P6\n2 1\n255\n") + "\x0a\x14\x1e\x28\x32\x3c");
    const SzProgramResult result = zurun({"run", "c.zuchain", "rgb.ppm", "-o", "out"});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    const auto picture = readPicture("out/00001.tif");
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->picBuf().channels, 1u);
    EXPECT_EQ(picture->picBuf().data[0], 20);
    EXPECT_EQ(picture->picBuf().data[1], 50);
}

TEST_F(RunTest, RunsAFolderInNaturalOrderAndPassesOverSidecars) {
    writeChain("c.zuchain", {});
    writeRamp("in/p10.tif", 4, 4, 110);
    writeRamp("in/p9.tif", 4, 4, 109);
    writeFile("in/notes.txt", "no picture");
    ASSERT_TRUE(exists("in/p9.tif.json"));
    const SzProgramResult result = zurun({"run", "c.zuchain", "in", "-o", "out"});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(column("out", "input"), (QJsonArray{"in/p9.tif", "in/p10.tif"}));
    EXPECT_EQ(firstSample("out/00001.tif"), 109);
}

TEST_F(RunTest, TakesThePagesOfAFileAsFrames) {
    writeChain("c.zuchain", {});
    writePages("pages.tif", 4, 4, {7, 8, 9});
    writeRamp("last.tif", 4, 4, 10);
    ASSERT_EQ(zurun({"run", "c.zuchain", "pages.tif", "last.tif", "-o", "out"}).exitCode, 0);
    EXPECT_EQ(column("out", "page"), (QJsonArray{1, 2, 3, 1}));
    EXPECT_EQ(column("out", "frameNo"), (QJsonArray{1, 2, 3, 4}));
    EXPECT_EQ(firstSample("out/00003.tif"), 9);
}

TEST_F(RunTest, RepeatsTheInputUpToTheFrameLimit) {
    writeChain("c.zuchain", {});
    writePages("pages.tif", 4, 4, {7, 8});
    writeRamp("one.tif", 4, 4, 9);
    ASSERT_EQ(zurun({"run", "c.zuchain", "pages.tif", "one.tif", "--frames", "5", "-o", "out"}).exitCode, 0);
    EXPECT_EQ(column("out", "input"),
              (QJsonArray{"pages.tif", "pages.tif", "one.tif", "pages.tif", "pages.tif"}));
    EXPECT_EQ(column("out", "frameNo"), (QJsonArray{1, 2, 3, 4, 5}));
    EXPECT_EQ(firstSample("out/00005.tif"), 8);
}

TEST_F(RunTest, RepeatsASingleFile) {
    writeChain("c.zuchain", {});
    writePages("pages.tif", 4, 4, {7, 8});
    ASSERT_EQ(zurun({"run", "c.zuchain", "pages.tif", "--frames", "3", "-o", "out"}).exitCode, 0);
    EXPECT_EQ(column("out", "page"), (QJsonArray{1, 2, 1}));
    EXPECT_EQ(firstSample("out/00003.tif"), 7);
}

TEST_F(RunTest, CutsTheInputAtTheFrameLimit) {
    writeChain("c.zuchain", {});
    writePages("pages.tif", 4, 4, {7, 8, 9});
    ASSERT_EQ(zurun({"run", "c.zuchain", "pages.tif", "--frames", "2", "-o", "out"}).exitCode, 0);
    EXPECT_EQ(column("out", "page"), (QJsonArray{1, 2}));
}

TEST_F(RunTest, StillPicturesAreFrameZeroAndDoNotCount) {
    writeChain("c.zuchain", {});
    writeRamp("a.tif", 4, 4, 1);
    writeRamp("still.tif", 4, 4, 2);
    writeRamp("b.tif", 4, 4, 3);
    writeFile("still.tif.json", R"({"still": true})");
    ASSERT_EQ(zurun({"run", "c.zuchain", "a.tif", "still.tif", "b.tif", "-o", "out"}).exitCode, 0);
    EXPECT_EQ(column("out", "frameNo"), (QJsonArray{1, 0, 2}));
    EXPECT_EQ(column("out", "output"), (QJsonArray{"00001.tif", "00002.tif", "00003.tif"}));
}

TEST_F(RunTest, FormatMayChangeBetweenFrames) {
    writeChain("c.zuchain", {"CzExtractChannelCnbl\" channelIdx=\"0"});
    writeRamp("a.tif", 4, 4, 1);
    writeRamp("b.tif", 33, 7, 2);
    ASSERT_EQ(zurun({"run", "c.zuchain", "a.tif", "b.tif", "-o", "out"}).exitCode, 0);
    const auto picture = readPicture("out/00002.tif");
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->picBuf().width, 33u);
    EXPECT_EQ(picture->picBuf().height, 7u);
}

TEST_F(RunTest, OutputFedInAgainGivesTheSame) {
    writeChain("c.zuchain", {"CzExtractChannelCnbl\" channelIdx=\"0"});
    ASSERT_EQ(zurun({"generate", "hsi4x4", "-o", "raw.tif", "--size", "65x43"}).exitCode, 0);
    writeChain("none.zuchain", {});
    ASSERT_EQ(zurun({"run", "none.zuchain", "raw.tif", "-o", "once"}).exitCode, 0);
    ASSERT_EQ(zurun({"run", "none.zuchain", "once", "-o", "twice"}).exitCode, 0);
    EXPECT_FALSE(readFile("once/00001.tif").isEmpty());
    EXPECT_EQ(readFile("once/00001.tif"), readFile("twice/00001.tif"));
    EXPECT_EQ(readFile("once/00001.tif.json"), readFile("twice/00001.tif.json"));
    // The description travels too: the same band comes out of both.
    ASSERT_EQ(zurun({"run", "c.zuchain", "raw.tif", "-o", "band"}).exitCode, 0);
    ASSERT_EQ(zurun({"run", "c.zuchain", "twice", "-o", "band-twice"}).exitCode, 0);
    EXPECT_FALSE(readFile("band/00001.tif").isEmpty());
    EXPECT_EQ(readFile("band/00001.tif"), readFile("band-twice/00001.tif"));
}

TEST_F(RunTest, OneSidecarCanDescribeAllPictures) {
    writeChain("c.zuchain", {"CzExtractChannelCnbl\" channelIdx=\"0"});
    writeRamp("a.tif", 8, 6, 1);
    writeFile("bayer.json", R"({"colorFilterArray": 1})");
    ASSERT_EQ(zurun({"run", "c.zuchain", "a.tif", "--metadata", "bayer.json", "-o", "out"}).exitCode, 0);
    const auto picture = readPicture("out/00001.tif");
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->picBuf().width, 4u);
    EXPECT_EQ(picture->picBuf().height, 3u);
}

TEST_F(RunTest, SetChangesASettingBeforeTheRun) {
    writeChain("c.zuchain", {kTrouble + "\" throwAt=\"-1", kTrouble + "\" throwAt=\"-1"});
    writePages("pages.tif", 4, 4, {7, 8, 9});
    const SzProgramResult result = zurun(
        {"run", "c.zuchain", "pages.tif", "-o", "out", "--set", "0.consumeAt=1", "--set", "1.consumeAt=3"});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(column("out", "status"), (QJsonArray{"consumed", "written", "consumed"}));
    EXPECT_EQ(column("out", "output"), (QJsonArray{QJsonValue(), "00001.tif", QJsonValue()}));
    EXPECT_EQ(firstSample("out/00001.tif"), 8);
}

TEST_F(RunTest, SetCanBypassAnElement) {
    writeChain("c.zuchain", {kTrouble + "\" throwAt=\"1"});
    writeRamp("a.tif", 4, 4, 1);
    EXPECT_EQ(zurun({"run", "c.zuchain", "a.tif"}).exitCode, 1);
    EXPECT_EQ(zurun({"run", "c.zuchain", "a.tif", "--set", "0.state=1"}).exitCode, 0);
}

TEST_F(RunTest, ThrowingElementFailsItsFrameAndTheRestGoesOn) {
    writeChain("c.zuchain", {kTrouble + "\" throwAt=\"2"});
    writePages("pages.tif", 4, 4, {7, 8, 9});
    const SzProgramResult result = zurun({"run", "c.zuchain", "pages.tif", "-o", "out"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(column("out", "status"), (QJsonArray{"written", "failed", "written"}));
    ASSERT_EQ(result.sentences().size(), 1) << result.err.toStdString();
    EXPECT_THAT(result.err.toStdString(), testing::HasSubstr("thrown on purpose"));
    EXPECT_THAT(result.err.toStdString(), testing::HasSubstr("pages.tif, page 2: element 0"));
    const QJsonObject summary = summaryOf(manifest("out"));
    EXPECT_EQ(summary.value("frames"), 3);
    EXPECT_EQ(summary.value("written"), 2);
    EXPECT_EQ(summary.value("failed"), 1);
}

TEST_F(RunTest, TwoPicturesOfOneFrameAreTwoLines) {
    writeChain("c.zuchain", {kTrouble + "\" throwAt=\"-1\" doubleAt=\"2"});
    writePages("pages.tif", 4, 4, {7, 8, 9});
    const SzProgramResult result = zurun({"run", "c.zuchain", "pages.tif", "-o", "out"});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(column("out", "page"), (QJsonArray{1, 2, 2, 3}));
    EXPECT_EQ(column("out", "output"), (QJsonArray{"00001.tif", "00002.tif", "00003.tif", "00004.tif"}));
    EXPECT_EQ(summaryOf(manifest("out")).value("frames"), 4);
}

TEST_F(RunTest, ReportedErrorIsSaidOnceAndStandsInEveryLaterLine) {
    writeChain("c.zuchain", {kTrouble + "\" throwAt=\"-1\" reportAt=\"2"});
    writePages("pages.tif", 4, 4, {7, 8, 9});
    const SzProgramResult result = zurun({"run", "c.zuchain", "pages.tif", "-o", "out"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.sentences().size(), 1) << result.err.toStdString();
    EXPECT_THAT(result.err.toStdString(), testing::HasSubstr("Reported on purpose."));
    QStringList errors;
    for (const QJsonValue& elements : column("out", "elements"))
        errors.append(elements.toArray().at(0).toObject().value("error").toString());
    EXPECT_EQ(errors, (QStringList{"", "Reported on purpose.", "Reported on purpose."}));
    EXPECT_EQ(column("out", "status"), (QJsonArray{"written", "written", "written"}));
}

TEST_F(RunTest, MissingSettingIsAWarningThatNamesIt) {
    writeChain("c.zuchain", {"CzExtractChannelCnbl"});
    writeRamp("a.tif", 4, 4, 5);
    const SzProgramResult result = zurun({"run", "c.zuchain", "a.tif", "-o", "out"});
    EXPECT_EQ(result.exitCode, 0);
    ASSERT_EQ(result.sentences().size(), 1);
    EXPECT_THAT(result.err.toStdString(),
                testing::AllOf(testing::HasSubstr("c.zuchain"), testing::HasSubstr("Extract"),
                               testing::HasSubstr("channelIdx")));
    EXPECT_EQ(firstSample("out/00001.tif"), 5);
}

TEST_F(RunTest, WithoutOutputFolderNothingIsWritten) {
    writeChain("c.zuchain", {kTrouble + "\" throwAt=\"-1\" consumeAt=\"2"});
    writePages("pages.tif", 4, 4, {7, 8, 9});
    const QStringList before = filesIn(".");
    const SzProgramResult result = zurun({"run", "c.zuchain", "pages.tif", "--json"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(filesIn("."), before);
    EXPECT_EQ(result.json().value("frames"), 3);
    EXPECT_EQ(result.json().value("delivered"), 2);
    EXPECT_EQ(result.json().value("consumed"), 1);
    EXPECT_EQ(result.json().value("written"), 0);
    EXPECT_TRUE(result.json().value("output").isNull());
}

TEST_F(RunTest, JsonSummaryAgreesWithTheManifest) {
    writeChain("c.zuchain", {kTrouble + "\" throwAt=\"1"});
    writePages("pages.tif", 4, 4, {7, 8, 9});
    const SzProgramResult result = zurun({"run", "c.zuchain", "pages.tif", "-o", "out", "--json"});
    const QJsonObject summary = summaryOf(manifest("out"));
    for (const QString& key : summary.keys())
        EXPECT_EQ(result.json().value(key), summary.value(key)) << key.toStdString();
    const QJsonObject element = result.json().value("elements").toArray().at(0).toObject();
    EXPECT_EQ(element.value("uniqueId"), kTroubleId);
    EXPECT_EQ(element.value("caption"), "Trouble at 1");
    EXPECT_THAT(element.value("error").toString().toStdString(), testing::HasSubstr("thrown on purpose"));
}

TEST_F(RunTest, TextSummaryTellsCountsAndElements) {
    writeChain("c.zuchain", {"CzExtractChannelCnbl\" channelIdx=\"0"});
    writePages("pages.tif", 4, 4, {7, 8});
    const SzProgramResult result = zurun({"run", "c.zuchain", "pages.tif", "-o", "out"});
    const QStringList lines = QString::fromUtf8(result.out).split('\n');
    ASSERT_EQ(lines.size(), 3);
    const QRegularExpression counts(R"(^2 frames in \d+\.\d{3} s \(\d+\.\d frames/s\): )"
                                    R"(2 written to 'out', 0 consumed, 0 failed$)");
    EXPECT_TRUE(counts.match(lines[0]).hasMatch()) << lines[0].toStdString();
    const QRegularExpression element(R"(^  0 +\d+\.\d{3} ms  Extract$)");
    EXPECT_TRUE(element.match(lines[1]).hasMatch()) << lines[1].toStdString();
}

TEST_F(RunTest, WritesPngWhereAskedFor) {
    writeChain("c.zuchain", {});
    writeRamp("a.tif", 5, 3, 10);
    ASSERT_EQ(zurun({"run", "c.zuchain", "a.tif", "-o", "out", "--format", "png"}).exitCode, 0);
    EXPECT_EQ(filesIn("out"), (QStringList{"00001.png", "00001.png.json", "manifest.jsonl"}));
    EXPECT_EQ(firstSample("out/00001.png"), 10);
}

TEST_F(RunTest, NumbersKeepTheirPointInAnyLocale) {
    environment.insert("LC_ALL", "de_DE.UTF-8");
    environment.insert("LANG", "de_DE.UTF-8");
    writeChain("c.zuchain", {"CzExtractChannelCnbl\" channelIdx=\"0"});
    writeRamp("a.tif", 5, 3, 10);
    const SzProgramResult result = zurun({"run", "c.zuchain", "a.tif", "-o", "out", "--frames", "1200"});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(QRegularExpression(R"(^1200 frames in \d+\.\d{3} s \(\d+\.\d frames/s\): 1200 written)")
                    .match(QString::fromUtf8(result.out))
                    .hasMatch())
        << result.out.toStdString();
    const QJsonObject summary = summaryOf(manifest("out"));
    EXPECT_EQ(summary.value("frames"), 1200);
    EXPECT_TRUE(exists("out/01200.tif"));
}

TEST_F(RunTest, FileNamesBeyondAsciiWorkInThePlainLocale) {
    environment.insert("LC_ALL", "C");
    const QString name = QString::fromUtf8("größe %1 %2.tif");
    writeChain("c.zuchain", {});
    writeRamp(name, 4, 4, 77);
    const SzProgramResult result = zurun({"run", "c.zuchain", name, "-o", QString::fromUtf8("aus°")});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(column(QString::fromUtf8("aus°"), "input"), (QJsonArray{name}));
}

TEST_F(RunTest, SecondRunBeginsTheManifestAnew) {
    writeChain("c.zuchain", {});
    writePages("pages.tif", 4, 4, {7, 8, 9});
    ASSERT_EQ(zurun({"run", "c.zuchain", "pages.tif", "-o", "out"}).exitCode, 0);
    ASSERT_EQ(zurun({"run", "c.zuchain", "pages.tif", "-o", "out", "--frames", "1"}).exitCode, 0);
    EXPECT_EQ(manifest("out").size(), 2);
}

TEST_F(RunTest, StillsComeBackAsStillsAndLivePicturesAsLive) {
    for (const char* chain : {"CzExtractChannelCnbl\" channelIdx=\"0", "test.CzTroubleCnbl\" throwAt=\"-1"}) {
        writeChain("c.zuchain", {chain});
        writeRamp("live.tif", 4, 4, 1);
        writeRamp("still.tif", 4, 4, 2);
        writeFile("still.tif.json", R"({"still": true})");
        ASSERT_EQ(zurun({"run", "c.zuchain", "still.tif", "live.tif", "-o", "once"}).exitCode, 0);
        ASSERT_EQ(zurun({"run", "c.zuchain", "once", "-o", "twice"}).exitCode, 0);
        EXPECT_EQ(column("once", "frameNo"), (QJsonArray{0, 1}));
        EXPECT_EQ(column("twice", "frameNo"), (QJsonArray{0, 1}));
        EXPECT_EQ(readFile("twice/00001.tif.json"), readFile("once/00001.tif.json"));
        EXPECT_EQ(readFile("twice/00002.tif.json"), readFile("once/00002.tif.json"));
    }
}

TEST_F(RunTest, SignalEndsARunInOrder) {
    writeChain("c.zuchain", {});
    writeRamp("a.tif", 4, 4, 1);
    for (const auto& [signal, exitCode] :
         {std::pair("INT", 130), std::pair("TERM", 143), std::pair("HUP", 129)}) {
        const SzProgramResult result =
            bash(startAndWaitForAFrame("--frames 2000000000") + "kill -" + signal + " $!; wait $!");
        EXPECT_EQ(result.exitCode, exitCode);
        const QStringList sentences = result.sentences().filter("zurun: "); // the shell has its own
        ASSERT_EQ(sentences.size(), 1) << result.err.toStdString();
        EXPECT_TRUE(sentences.first().contains("Interrupted")) << result.err.toStdString();
        const auto lines = manifest("out");
        const QJsonObject summary = summaryOf(lines);
        EXPECT_EQ(summary.value("frames"), lines.size() - 1);
        EXPECT_EQ(summary.value("written"), lines.size() - 1);
        EXPECT_EQ(summary.value("failed"), 0);
        EXPECT_EQ(filesIn("out").filter(QRegularExpression("^[0-9]+\\.tif$")).size(), lines.size() - 1);
        EXPECT_THAT(filesIn("out"),
                    testing::Each(testing::ResultOf([](const QString& name) { return name.count('.'); },
                                                    testing::Le(2))));
        ASSERT_TRUE(QDir(path("out")).removeRecursively());
    }
}

TEST_F(RunTest, SecondSignalEndsARunThatDoesNot) {
    writeChain("c.zuchain", {kTrouble + "\" throwAt=\"-1\" hangAt=\"2"});
    writePages("a.tif", 4, 4, {7, 8});
    const SzProgramResult result =
        bash(startAndWaitForAFrame("") + "kill -TERM $!; sleep 1; kill -0 $! && kill -TERM $!; wait $!");
    EXPECT_EQ(result.exitCode, 143);
    EXPECT_EQ(result.out, "");
}

TEST_F(RunTest, IgnoredSignalStaysIgnored) {
    writeChain("c.zuchain", {});
    writeRamp("a.tif", 4, 4, 1);
    const SzProgramResult result = bash("trap '' HUP; \"$ZURUN\" run c.zuchain a.tif --frames 20000 & "
                                        "sleep 0.1; kill -HUP $!; wait $!");
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
}

TEST_F(RunTest, InputBehindALinkIsNotOverwritten) {
    writeChain("c.zuchain", {});
    writeRamp("a.tif", 4, 4, 1);
    writeRamp("original.tif", 4, 4, 2);
    writeRamp("results/00001.tif", 4, 4, 3);
    ASSERT_TRUE(QDir().mkdir(path("links")));
    ASSERT_TRUE(QFile::link("../original.tif", path("links/00001.tif")));
    ASSERT_TRUE(QFile::link("results/00001.tif", path("link.tif")));
    EXPECT_EQ(zurun({"run", "c.zuchain", "a.tif", "links", "-o", "links"}).exitCode, 2);
    EXPECT_EQ(zurun({"run", "c.zuchain", "a.tif", "original.tif", "-o", "links"}).exitCode, 2);
    EXPECT_EQ(zurun({"run", "c.zuchain", "a.tif", "link.tif", "-o", "results"}).exitCode, 2);
    EXPECT_EQ(zurun({"run", "c.zuchain", "a.tif", "new/00001.tif", "-o", "./new"}).exitCode, 2);
    EXPECT_EQ(firstSample("original.tif"), 2);
    EXPECT_EQ(firstSample("results/00001.tif"), 3);
    // Other pictures there are in nobody's way.
    EXPECT_EQ(zurun({"run", "c.zuchain", "a.tif", "-o", "results"}).exitCode, 0);
}

TEST_F(RunTest, RefusesToOverwriteItsInput) {
    writeChain("c.zuchain", {});
    writePages("out/00001.tif", 4, 4, {7, 8});
    writeRamp("out/00002.tif", 4, 4, 9);
    const SzProgramResult result = zurun({"run", "c.zuchain", "out", "-o", "./out"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.sentences().size(), 1);
    EXPECT_EQ(firstSample("out/00002.tif"), 9);
    EXPECT_FALSE(exists("out/manifest.jsonl"));
}
