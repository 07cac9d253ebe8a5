// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"
#include "Sidecar.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>

class CzImageData;

/// What a file says of the picture in it. Its samples come line by line in file order: red before blue.
struct SzFileFormat {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t channels = 0;
    EzImageDataType dataType = EzImageDataType::Undefined;
    std::uint32_t bitDepth = 0;
    bool isColor = false;

    std::uint64_t bytes() const;
};

/// Whether a file of fileBytes can hold a picture of pictureBytes when each of its bytes stands for at most
/// ratio bytes of the picture. Keeps a small file that claims to be huge from taking the memory for it.
bool isPlausible(std::uint64_t pictureBytes, std::uint64_t fileBytes, std::uint32_t ratio);

/// An empty frame for a picture of this file, laid out and described as the sidecar says. Null, with the
/// reason in problem, when there is no memory for it or the sidecar's layout does not fit.
std::unique_ptr<CzImageData> makeFrame(const SzFileFormat& file, const SzSidecar& sidecar, QString* problem);

/// To be called when a frame has its samples: notes the range of floats.
void finishFrame(CzImageData& frame);

/// Where a sample of the file belongs in memory, or comes from: colour is red, green, blue in files and blue,
/// green, red in memory.
std::uint32_t memoryChannel(const SzPicBufInfo& format, std::uint32_t fileSample);

/// Stores one sample each of count pixels from (x, y) on. The source's samples are sourceStep bytes apart and
/// need no alignment.
void storeSamples(SzPicBuf& picture, std::uint32_t fileSample, std::uint32_t x, std::uint32_t y,
                  std::uint32_t count, const std::uint8_t* source, std::size_t sourceStep);

/// Stores all samples of count pixels from (x, y) on; the source holds them pixel by pixel without gaps.
void storePixels(SzPicBuf& picture, std::uint32_t x, std::uint32_t y, std::uint32_t count,
                 const std::uint8_t* source);

/// The reverse of both, for one whole line.
void fetchSamples(const SzPicBuf& picture, std::uint32_t fileSample, std::uint32_t y,
                  std::uint8_t* destination, std::size_t destinationStep);
void fetchPixels(const SzPicBuf& picture, std::uint32_t y, std::uint8_t* destination);
