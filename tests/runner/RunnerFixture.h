// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageData.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <ostream>

// How Google Test shows them.
void PrintTo(const QString& text, std::ostream* stream);
void PrintTo(const QJsonArray& array, std::ostream* stream);
void PrintTo(const QJsonObject& object, std::ostream* stream);

/// What a program did.
struct SzProgramResult {
    int exitCode = -1; ///< -1: crashed or never ended
    QByteArray out;
    QByteArray err;

    QStringList sentences() const; ///< the lines on standard error
    QJsonObject json() const;      ///< standard output, read as JSON
};

/// Runs the real program in a folder of its own. Paths are relative to that folder.
class RunnerTest : public testing::Test {
protected:
    RunnerTest();

    SzProgramResult zurun(const QStringList& arguments) const;
    /// A script for bash, in which "$ZURUN" is the program.
    SzProgramResult bash(const QString& script) const;
    /// The program on a disk that takes so many kilobytes of each file.
    SzProgramResult onFullDisk(int kilobytes, const QString& arguments) const;
    SzProgramResult execute(const QString& program, const QStringList& arguments) const;

    QString path(const QString& name) const { return m_folder.filePath(name); }
    void writeFile(const QString& name, const QByteArray& content) const;
    QByteArray readFile(const QString& name) const;
    bool exists(const QString& name) const;
    QStringList filesIn(const QString& folder) const;

    /// A chain of these elements, each written as its identifier's last parts and its attributes:
    /// R"(CzExtractChannelCnbl" channelIdx="1)".
    void writeChain(const QString& name, const QStringList& elements) const;

    /// An 8-bit one-channel TIFF whose sample at (x, y) is (first + x + 3 y) mod 256.
    void writeRamp(const QString& name, std::uint32_t width, std::uint32_t height, int first) const;
    void writePages(const QString& name, std::uint32_t width, std::uint32_t height,
                    const QVector<int>& firsts) const;

    /// The first page of a file; null when it cannot be read.
    std::unique_ptr<CzImageData> readPicture(const QString& name) const;
    /// The first sample of an 8-bit picture file, -1 when it cannot be read.
    int firstSample(const QString& name) const;

    /// The manifest's lines; a line that is no JSON object is empty.
    QVector<QJsonObject> manifest(const QString& folder) const;
    /// One key of all frame lines.
    QJsonArray column(const QString& folder, const QString& key) const;

    QProcessEnvironment environment;

private:
    QTemporaryDir m_folder;
};
