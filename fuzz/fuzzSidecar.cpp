// SPDX-License-Identifier: GPL-3.0-or-later
// Any text is a sidecar or is refused with one sentence; what was read comes back when it is written.

#include "Sidecar.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void check(bool condition) {
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<int>(size));
    SzSidecar sidecar;
    QString error;
    QStringList warnings;
    const bool read = parseSidecar(text, sidecar, &error, &warnings);
    check(read == error.isEmpty());
    if (!read)
        return 0;

    SzPicBuf picture;
    picture.width = 10;
    picture.height = 10;
    picture.colorFilterArray = sidecar.colorFilterArray.value_or(EzColorFilterArray::None);
    regionWarnings(sidecar.hsi, picture);
    CzImageMetadata metadata;
    metadata.hsiCameraParams = sidecar.hsi;
    metadata.mosaicName = sidecar.mosaicName;
    SzSidecar again;
    check(parseSidecar(sidecarText(picture, metadata), again, &error, &warnings));
    check(again.hsi == sidecar.hsi && again.mosaicName == sidecar.mosaicName);
    return 0;
}
