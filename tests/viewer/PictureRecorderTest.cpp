// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureRecorder.h"

#include "ModelTestSupport.h"
#include "PicBufAPI.h"
#include "PictureFile.h"

#include <QDir>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace {

/// A picture that holds up whoever writes it.
class GatedPicture : public CzImageData {
public:
    explicit GatedPicture(Gate& gate) : m_gate(gate) { setPicBuf(pixels()); }
    using CzImageData::picBuf;
    const SzPicBuf& picBuf() const override {
        m_gate.pass();
        return CzImageData::picBuf();
    }

private:
    static SzPicBuf pixels() {
        SzPicBuf picture;
        EXPECT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(picture, makeFrame(0)->picBuf(), false));
        return picture;
    }
    Gate& m_gate;
};

/// A result whose copies do.
class ResultToBeHeld : public CzImageData {
public:
    explicit ResultToBeHeld(Gate& gate) : m_gate(gate) {}
    using CzImageData::clone;
    CzImageData* clone(QObject*) const override { return new GatedPicture(m_gate); }

private:
    Gate& m_gate;
};

class PictureRecorderTest : public testing::Test {
protected:
    void SetUp() override { makeRecorder(CzPictureRecorder::usualMemory); }

    void makeRecorder(std::uint64_t memory) {
        m_recorder = std::make_unique<CzPictureRecorder>(memory);
        QObject::connect(m_recorder.get(), &CzPictureRecorder::failed, &m_listener,
                         [this](const QString& message) { m_failures.append(message); });
        QObject::connect(m_recorder.get(), &CzPictureRecorder::saved, &m_listener,
                         [this](const QString& path) { m_saved.append(path); });
        QObject::connect(m_recorder.get(), &CzPictureRecorder::recordingEnded, &m_listener,
                         [this](int recorded, int lost, const QString& error) {
                             m_ends.push_back({recorded, lost, error});
                         });
    }
    ~PictureRecorderTest() override { m_gate.open(); }

    /// From now on the disk is slow.
    void holdUpTheDisk() {
        m_recorder->save(std::make_shared<GatedPicture>(m_gate), path(QStringLiteral("held.tif")));
        m_gate.awaitArrival();
    }
    void offer(int value) { m_recorder->offer(*makeFrame(value, value)); }

    QString path(const QString& name) const { return m_folder.filePath(name); }
    /// What another program writes, or the user.
    void writeText(const QString& name, const QByteArray& text) {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    QByteArray textOf(const QString& name) {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }
    /// What a sequence consists of, as file name and picture.
    static std::vector<std::pair<QString, int>> sequence(const QString& folder) {
        std::vector<std::pair<QString, int>> found;
        for (const QString& name :
             QDir(folder).entryList({QStringLiteral("*.tif")}, QDir::Files, QDir::Name)) {
            QString error;
            const QString file = QDir(folder).filePath(name);
            const auto reader = CzPictureReader::open(file, &error);
            const auto picture = reader ? reader->read(0, SzSidecar(), &error) : nullptr;
            found.emplace_back(name, picture ? valueOf(*picture) : -1);
            EXPECT_TRUE(QFileInfo::exists(sidecarPath(file)));
        }
        return found;
    }

    Gate m_gate;
    QTemporaryDir m_folder;
    QStringList m_failures;
    QStringList m_saved;
    struct End {
        int recorded;
        int lost;
        QString error;
    };
    std::vector<End> m_ends;
    QObject m_listener; // takes no message any more before the lists go
    std::unique_ptr<CzPictureRecorder> m_recorder;
};

} // namespace

TEST_F(PictureRecorderTest, SavesOnePictureInTheFormatOfItsName) {
    for (const QString& name : {QStringLiteral("a.tif"), QStringLiteral("b.PNG")})
        m_recorder->save(makeFrame(1, 7), path(name));
    ASSERT_TRUE(waitFor([this] { return m_saved.size() == 2; }));
    EXPECT_THAT(m_saved, ElementsAre(path(QStringLiteral("a.tif")), path(QStringLiteral("b.PNG"))));
    const auto magic = [this](const QString& name) {
        QFile file(path(name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.read(4);
    };
    EXPECT_EQ(QByteArray("II*\0", 4), magic(QStringLiteral("a.tif")));
    EXPECT_EQ(QByteArray("\x89PNG"), magic(QStringLiteral("b.PNG")));
    EXPECT_TRUE(QFileInfo::exists(sidecarPath(path(QStringLiteral("a.tif")))));
}

TEST_F(PictureRecorderTest, APictureThatCannotBeSavedIsTold) {
    m_recorder->save(makeFrame(1), path(QStringLiteral("no/such/folder.tif")));
    ASSERT_TRUE(waitFor([this] { return !m_failures.isEmpty(); }));
    EXPECT_TRUE(m_failures.first().contains(QStringLiteral("folder.tif")));
    EXPECT_TRUE(m_saved.isEmpty());
}

TEST_F(PictureRecorderTest, RecordsAWholeSequence) {
    offer(1); // before the start
    const QString folder = path(QStringLiteral("new/folder"));
    ASSERT_TRUE(m_recorder->start(folder));
    EXPECT_TRUE(m_recorder->isRecording());
    for (int value = 2; value <= 4; ++value)
        offer(value);
    m_recorder->stop();
    EXPECT_FALSE(m_recorder->isRecording());
    offer(5);
    m_recorder.reset(); // writes what waits
    EXPECT_THAT(sequence(folder), ElementsAre(std::pair(QStringLiteral("00001.tif"), 2),
                                              std::pair(QStringLiteral("00002.tif"), 3),
                                              std::pair(QStringLiteral("00003.tif"), 4)));
    EXPECT_TRUE(m_failures.isEmpty());
    EXPECT_TRUE(m_saved.isEmpty()) << "is told of single pictures";
}

TEST_F(PictureRecorderTest, PicturesAreRecordedBehindThoseThatAreThere) {
    for (const int value : {1, 2}) {
        ASSERT_TRUE(m_recorder->start(m_folder.path()));
        offer(value);
        ASSERT_TRUE(waitFor([this] { return m_recorder->recorded() == 1; }));
    }
    EXPECT_THAT(sequence(m_folder.path()), ElementsAre(std::pair(QStringLiteral("00001.tif"), 1),
                                                       std::pair(QStringLiteral("00002.tif"), 2)));
}

TEST_F(PictureRecorderTest, PicturesAreRecordedBehindThoseThatAreStillToBeWritten) {
    holdUpTheDisk();
    const QString folder = path(QStringLiteral("slow"));
    int value = 0;
    ASSERT_TRUE(QDir().mkpath(folder));
    ASSERT_TRUE(QFile::link(folder, path(QStringLiteral("link"))));
    for (const QString& sameFolder : {folder, path(QStringLiteral("link")), folder}) {
        ASSERT_TRUE(m_recorder->start(sameFolder));
        for (int i = 0; i < 2; ++i)
            offer(++value);
    }
    m_recorder->stop();
    m_gate.open();
    ASSERT_TRUE(waitFor([this] { return m_ends.size() == 3; }));
    for (const End& end : m_ends) {
        EXPECT_EQ(2, end.recorded);
        EXPECT_EQ(0, end.lost);
    }
    std::vector<std::pair<QString, int>> expected;
    for (int i = 1; i <= 6; ++i)
        expected.emplace_back(QStringLiteral("0000%1.tif").arg(i), i);
    EXPECT_EQ(expected, sequence(folder));
}

TEST_F(PictureRecorderTest, ASavedPictureAndARecordingDoNotReplaceEachOther) {
    for (const bool savesFirst : {true, false}) {
        const QString folder = path(savesFirst ? QStringLiteral("saved") : QStringLiteral("recorded"));
        Gate disk;
        m_recorder->save(std::make_shared<GatedPicture>(disk), path(QStringLiteral("held.tif")));
        disk.awaitArrival();
        ASSERT_TRUE(m_recorder->start(folder));
        const QString first = QDir(folder).filePath(QStringLiteral("00001.tif"));
        if (savesFirst)
            m_recorder->save(makeFrame(1, 9), first);
        offer(1);
        if (!savesFirst)
            m_recorder->save(makeFrame(1, 9), first);
        m_recorder->stop();
        disk.open();
        ASSERT_TRUE(waitFor([&] { return !m_recorder->isWriting(); }));
        QCoreApplication::processEvents(); // what it told
        if (savesFirst) {
            EXPECT_THAT(sequence(folder), ElementsAre(std::pair(QStringLiteral("00001.tif"), 9),
                                                      std::pair(QStringLiteral("00002.tif"), 1)));
            EXPECT_TRUE(m_failures.isEmpty());
        } else {
            EXPECT_THAT(sequence(folder), ElementsAre(std::pair(QStringLiteral("00001.tif"), 1)));
            ASSERT_EQ(1, m_failures.size());
            EXPECT_TRUE(m_failures.first().contains(QStringLiteral("00001.tif")));
        }
    }
}

TEST_F(PictureRecorderTest, ASavedPictureReplacesTheFileThatWasThereWhenTheUserChoseItsName) {
    const QString name = QStringLiteral("a.tif");
    writeText(name, "old");
    m_recorder->save(makeFrame(1, 3), path(name));
    ASSERT_TRUE(waitFor([this] { return !m_saved.isEmpty(); }));
    EXPECT_THAT(sequence(m_folder.path()), ElementsAre(std::pair(name, 3)));
}

TEST_F(PictureRecorderTest, FilesThatOthersWriteMeanwhileAreNotReplaced) {
    ASSERT_TRUE(m_recorder->start(m_folder.path()));
    Gate disk; // holds it up when it has chosen a name already
    m_recorder->offer(ResultToBeHeld(disk));
    disk.awaitArrival();
    const QStringList others{QStringLiteral("00001.tif"), QStringLiteral("00002.tif.json"),
                             QStringLiteral("00004.tif")};
    for (const QString& other : others)
        writeText(other, "other");
    ASSERT_TRUE(QFile::link(path(QStringLiteral("nowhere")), path(QStringLiteral("00005.tif"))));
    disk.open();
    offer(7);
    m_recorder->stop();
    ASSERT_TRUE(waitFor([this] { return m_ends.size() == 1; }));
    EXPECT_EQ(2, m_ends[0].recorded);
    EXPECT_EQ(0, m_ends[0].lost);
    for (const QString& other : others)
        EXPECT_EQ("other", textOf(other));
    EXPECT_THAT(QDir(m_folder.path()).entryList(QDir::Files | QDir::System, QDir::Name),
                ElementsAre(QStringLiteral("00001.tif"), QStringLiteral("00002.tif.json"),
                            QStringLiteral("00003.tif"), QStringLiteral("00003.tif.json"),
                            QStringLiteral("00004.tif"), QStringLiteral("00005.tif"),
                            QStringLiteral("00006.tif"), QStringLiteral("00006.tif.json")));
}

TEST_F(PictureRecorderTest, NumbersHaveNoEnd) {
    writeText(QStringLiteral("2147483647.tif"), "other");
    for (const int value : {1, 2}) {
        ASSERT_TRUE(m_recorder->start(m_folder.path()));
        offer(value);
        ASSERT_TRUE(waitFor([this] { return m_recorder->recorded() == 1; }));
    }
    EXPECT_TRUE(QFile::exists(path(QStringLiteral("2147483648.tif"))));
    EXPECT_TRUE(QFile::exists(path(QStringLiteral("2147483649.tif"))));
    EXPECT_EQ("other", textOf(QStringLiteral("2147483647.tif")));
}

TEST_F(PictureRecorderTest, OtherNamesThanThoseOfTiffAndPngAreRefused) {
    for (const QString& name : {QStringLiteral("a.jpg"), QStringLiteral("b"), QStringLiteral("tif")})
        m_recorder->save(makeFrame(1, 7), path(name));
    m_recorder->save(makeFrame(1, 7), path(QStringLiteral("c.TIFF")));
    ASSERT_TRUE(waitFor([this] { return !m_saved.isEmpty(); }));
    ASSERT_EQ(3, m_failures.size());
    EXPECT_TRUE(m_failures.first().contains(QStringLiteral("a.jpg")));
    EXPECT_TRUE(m_failures.first().contains(QStringLiteral("*.png")));
    EXPECT_THAT(QDir(m_folder.path()).entryList(QDir::Files),
                ElementsAre(QStringLiteral("c.TIFF"), QStringLiteral("c.TIFF.json")));
}

TEST_F(PictureRecorderTest, TellsTheEndOfARecordingWhenAllIsWritten) {
    ASSERT_TRUE(m_recorder->start(path(QStringLiteral("empty"))));
    m_recorder->stop();
    ASSERT_EQ(std::size_t{1}, m_ends.size());
    EXPECT_EQ(0, m_ends[0].recorded);
    m_recorder->stop(); // is at its end already
    ASSERT_TRUE(m_recorder->start(path(QStringLiteral("slow"))));
    holdUpTheDisk();
    for (int i = 0; i < 3; ++i)
        offer(i);
    m_recorder->stop();
    EXPECT_TRUE(m_recorder->isWriting());
    QCoreApplication::processEvents();
    EXPECT_EQ(std::size_t{1}, m_ends.size());
    m_gate.open();
    ASSERT_TRUE(waitFor([this] { return m_ends.size() == 2; }));
    EXPECT_EQ(3, m_ends[1].recorded);
    EXPECT_EQ(0, m_ends[1].lost);
    EXPECT_TRUE(m_ends[1].error.isEmpty());
    EXPECT_FALSE(m_recorder->isWriting());
}

TEST_F(PictureRecorderTest, LargePicturesTakeNoMoreMemoryThanTheyMay) {
    constexpr std::uint64_t pixels = 1024 * 1024;
    for (const auto& [memory, room] : {std::pair{4 * pixels + pixels / 2, 4}, {std::uint64_t{0}, 2}}) {
        const QString folder = path(QStringLiteral("large%1").arg(room));
        makeRecorder(memory);
        m_ends.clear();
        ASSERT_TRUE(m_recorder->start(folder));
        Gate gate;
        m_recorder->save(std::make_shared<GatedPicture>(gate), path(QStringLiteral("held.tif")));
        gate.awaitArrival();
        for (int i = 0; i < room + 3; ++i)
            m_recorder->offer(*makeFrame(i, i, 1024, 1024));
        EXPECT_EQ(3, m_recorder->dropped());
        m_recorder->stop();
        gate.open();
        ASSERT_TRUE(waitFor([this] { return m_ends.size() == 1; }));
        EXPECT_EQ(room, m_ends[0].recorded);
        EXPECT_EQ(3, m_ends[0].lost);
        m_recorder.reset(); // before its gate
    }
}

TEST_F(PictureRecorderTest, NobodyWaitsForASlowDiskAndWhatItCannotTakeIsCounted) {
    constexpr int room = 31;
    makeRecorder(room * 4200); // such a picture counts as 4096 bytes and its lines
    ASSERT_TRUE(m_recorder->start(path(QStringLiteral("slow"))));
    holdUpTheDisk();
    for (int i = 0; i < room + 9; ++i)
        offer(i);
    EXPECT_EQ(9, m_recorder->dropped());
    EXPECT_EQ(0, m_recorder->recorded());
    m_gate.open();
    ASSERT_TRUE(waitFor([this] { return m_recorder->recorded() == room; }));
    offer(77);
    ASSERT_TRUE(waitFor([this] { return m_recorder->recorded() == room + 1; }));
    const auto written = sequence(path(QStringLiteral("slow")));
    ASSERT_EQ(std::size_t{room + 1}, written.size());
    EXPECT_EQ(std::pair(QStringLiteral("00032.tif"), 77), written.back())
        << "files are numbered without gaps";
    EXPECT_EQ(9, m_recorder->dropped());
}

TEST_F(PictureRecorderTest, AFolderThatCannotBeWrittenIsToldOnceAndEndsTheRecording) {
    const QString folder = path(QStringLiteral("gone"));
    ASSERT_TRUE(m_recorder->start(folder));
    holdUpTheDisk();
    for (int i = 0; i < 5; ++i)
        offer(i);
    ASSERT_TRUE(QDir(folder).removeRecursively());
    m_gate.open();
    ASSERT_TRUE(waitFor([this] { return !m_recorder->isRecording(); }));
    EXPECT_EQ(5, m_recorder->dropped());
    offer(6);
    // What is saved now comes behind all that could still fail.
    m_recorder->save(makeFrame(1), path(QStringLiteral("last.tif")));
    ASSERT_TRUE(waitFor([this] { return m_saved.contains(path(QStringLiteral("last.tif"))); }));
    ASSERT_EQ(std::size_t{1}, m_ends.size());
    EXPECT_TRUE(m_ends[0].error.contains(QStringLiteral("00001.tif")));
    EXPECT_EQ(5, m_ends[0].lost);
    EXPECT_EQ(0, m_recorder->recorded());
    EXPECT_TRUE(m_failures.isEmpty()) << "is told of single pictures";

    ASSERT_TRUE(m_recorder->start(folder)) << "another try";
    offer(7);
    ASSERT_TRUE(waitFor([this] { return m_recorder->recorded() == 1; }));
    EXPECT_EQ(0, m_recorder->dropped());
}

TEST_F(PictureRecorderTest, AFolderThatCannotBeMadeIsTold) {
    QFile file(path(QStringLiteral("file")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_FALSE(m_recorder->start(path(QStringLiteral("file/folder"))));
    EXPECT_EQ(1, m_failures.size());
    EXPECT_FALSE(m_recorder->isRecording());
}

TEST_F(PictureRecorderTest, TheFailureOfAnEarlierSequenceIsNoneOfTheNextOne) {
    const QString first = path(QStringLiteral("first"));
    const QString second = path(QStringLiteral("second"));
    ASSERT_TRUE(m_recorder->start(first));
    holdUpTheDisk();
    offer(1);
    offer(2);
    m_recorder->stop();
    ASSERT_TRUE(m_recorder->start(second));
    offer(3);
    ASSERT_TRUE(QDir(first).removeRecursively());
    m_gate.open();
    ASSERT_TRUE(waitFor([this] { return m_recorder->recorded() == 1; }));
    EXPECT_TRUE(m_recorder->isRecording());
    EXPECT_EQ(0, m_recorder->dropped());
    ASSERT_TRUE(waitFor([this] { return m_ends.size() == 1; }));
    EXPECT_EQ(2, m_ends[0].lost);
    EXPECT_FALSE(m_ends[0].error.isEmpty());
    EXPECT_THAT(sequence(second), ElementsAre(std::pair(QStringLiteral("00001.tif"), 3)));
}
