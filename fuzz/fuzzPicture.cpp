// SPDX-License-Identifier: GPL-3.0-or-later
// Any bytes are a picture or are refused with one sentence, in any layout that a sidecar asks for; what was
// read can be written and read again.

#include "ImageData.h"
#include "PictureFile.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

/// A file in memory, with a path.
class MemoryFile {
public:
    MemoryFile(const std::uint8_t* data, std::size_t size) : m_descriptor(memfd_create("picture", 0)) {
        check(write(m_descriptor, data, size) == static_cast<ssize_t>(size));
    }
    ~MemoryFile() { close(m_descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    QString path() const { return QStringLiteral("/proc/self/fd/%1").arg(m_descriptor); }

private:
    int m_descriptor;
};

SzSidecar sidecarOf(std::uint8_t choice) {
    SzSidecar sidecar;
    if ((choice & 1U) != 0)
        sidecar.storageFormat = EzDataStorageFormat::Planar;
    if ((choice & 2U) != 0)
        sidecar.isColor = (choice & 4U) != 0;
    if ((choice & 8U) != 0)
        sidecar.linePitch = 8U * (choice >> 4U);
    return sidecar;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    static QCoreApplication application(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const SzSidecar sidecar = sidecarOf(data[size - 1]);
    const MemoryFile file(data, size);
    QString error;
    const auto reader = CzPictureReader::open(file.path(), &error);
    check((reader != nullptr) == error.isEmpty());
    for (int page = 0; reader && page < std::min(reader->pageCount(), 4); ++page) {
        error.clear();
        const auto frame = reader->read(page, sidecar, &error);
        check((frame != nullptr) == error.isEmpty());
        if (!frame || frame->picBuf().dataSize() > 100000)
            continue;
        static const QTemporaryDir folder;
        const QString copy = folder.filePath(QStringLiteral("copy.tif"));
        check(writePicture(copy, EzPictureFormat::Tiff, *frame, &error));
        SzSidecar copySidecar;
        check(readSidecar(sidecarPath(copy), copySidecar, &error, nullptr));
        const auto copyReader = CzPictureReader::open(copy, &error);
        check(copyReader != nullptr);
        const auto again = copyReader->read(0, copySidecar, &error);
        check(again != nullptr && again->picBuf() == frame->picBuf());
    }
    return 0;
}
