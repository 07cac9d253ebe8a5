// SPDX-License-Identifier: GPL-3.0-or-later
#include "RunnerFixture.h"

#include "PicBufAPI.h"
#include "PictureFile.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QProcess>

#include <vector>

namespace {

std::unique_ptr<CzImageData> ramp(std::uint32_t width, std::uint32_t height, int first) {
    SzPicBufInfo format;
    format.width = width;
    format.height = height;
    format.linePitch = width;
    format.channels = 1;
    format.bitDepth = 8;
    format.dataType = EzImageDataType::UInt8;
    SzPicBuf picture;
    EXPECT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(picture, format, true));
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x)
            picture.data[std::size_t{y} * picture.linePitch + x] =
                std::uint8_t(std::uint32_t(first) + x + 3 * y);
    picture.frameNo = 1; // a live picture
    auto data = std::make_unique<CzImageData>();
    data->setPicBuf(picture);
    return data;
}

} // namespace

void PrintTo(const QString& text, std::ostream* stream) {
    *stream << '"' << text.toStdString() << '"';
}

void PrintTo(const QJsonArray& array, std::ostream* stream) {
    *stream << QJsonDocument(array).toJson(QJsonDocument::Compact).toStdString();
}

void PrintTo(const QJsonObject& object, std::ostream* stream) {
    *stream << QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

QStringList SzProgramResult::sentences() const {
    return QString::fromUtf8(err).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QJsonObject SzProgramResult::json() const {
    return QJsonDocument::fromJson(out).object();
}

RunnerTest::RunnerTest() : environment(QProcessEnvironment::systemEnvironment()) {
    environment.insert(QStringLiteral("ZUVIEWER_PLUGIN_PATH"), QStringLiteral(PLUGIN_FOLDERS));
    environment.insert(QStringLiteral("ZURUN"), QStringLiteral(ZURUN_PROGRAM));
    // The program must do without any hint of a display.
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
        environment.remove(QLatin1String(name));
}

SzProgramResult RunnerTest::execute(const QString& program, const QStringList& arguments) const {
    constexpr int timeoutMs = 120000;
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(m_folder.path());
    process.start(program, arguments, QIODevice::ReadOnly);
    SzProgramResult result;
    if (process.waitForFinished(timeoutMs) && process.exitStatus() == QProcess::NormalExit)
        result.exitCode = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

SzProgramResult RunnerTest::zurun(const QStringList& arguments) const {
    return execute(QStringLiteral(ZURUN_PROGRAM), arguments);
}

SzProgramResult RunnerTest::bash(const QString& script) const {
    return execute(QStringLiteral("bash"), {QStringLiteral("-c"), script});
}

SzProgramResult RunnerTest::onFullDisk(int kilobytes, const QString& arguments) const {
    // Coverage data, which are cut as well, go where they spoil no others.
    return bash(QStringLiteral("trap '' XFSZ; ulimit -f %1; GCOV_PREFIX=coverage \"$ZURUN\" %2")
                    .arg(QString::number(kilobytes), arguments));
}

void RunnerTest::writeFile(const QString& name, const QByteArray& content) const {
    QDir().mkpath(QFileInfo(path(name)).path());
    QFile file(path(name));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(content), content.size());
}

QByteArray RunnerTest::readFile(const QString& name) const {
    QFile file(path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool RunnerTest::exists(const QString& name) const {
    return QFileInfo::exists(path(name));
}

QStringList RunnerTest::filesIn(const QString& folder) const {
    return QDir(path(folder)).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

void RunnerTest::writeChain(const QString& name, const QStringList& elements) const {
    QString xml = QStringLiteral("<chain version=\"1\">\n");
    for (const QString& element : elements)
        xml += QStringLiteral("  <chainable uniqueId=\"org.zuviewer.%1\"/>\n").arg(element);
    writeFile(name, (xml + QStringLiteral("</chain>\n")).toUtf8());
}

void RunnerTest::writeRamp(const QString& name, std::uint32_t width, std::uint32_t height, int first) const {
    writePages(name, width, height, {first});
}

void RunnerTest::writePages(const QString& name, std::uint32_t width, std::uint32_t height,
                            const QVector<int>& firsts) const {
    std::vector<std::unique_ptr<CzImageData>> pictures;
    QVector<const CzImageData*> pages;
    for (const int first : firsts) {
        pictures.push_back(ramp(width, height, first));
        pages.append(pictures.back().get());
    }
    QDir().mkpath(QFileInfo(path(name)).path());
    QString error;
    ASSERT_TRUE(writePictures(path(name), pages, &error)) << error.toStdString();
}

std::unique_ptr<CzImageData> RunnerTest::readPicture(const QString& name) const {
    QString error;
    const auto reader = CzPictureReader::open(path(name), &error);
    return reader ? reader->read(0, SzSidecar(), &error) : nullptr;
}

int RunnerTest::firstSample(const QString& name) const {
    const auto picture = readPicture(name);
    return picture ? picture->picBuf().data[0] : -1;
}

QVector<QJsonObject> RunnerTest::manifest(const QString& folder) const {
    const QByteArray text = readFile(folder + QStringLiteral("/manifest.jsonl"));
    QVector<QJsonObject> lines;
    for (const QByteArray& line : text.split('\n'))
        lines.append(QJsonDocument::fromJson(line).object());
    // The file ends with the end of a line.
    EXPECT_TRUE(text.isEmpty() || text.endsWith('\n'));
    lines.removeLast();
    return lines;
}

QJsonArray RunnerTest::column(const QString& folder, const QString& key) const {
    QJsonArray values;
    for (const QJsonObject& line : manifest(folder))
        if (!line.contains(QStringLiteral("summary")))
            values.append(line.value(key));
    return values;
}
