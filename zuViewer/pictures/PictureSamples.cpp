// SPDX-License-Identifier: GPL-3.0-or-later
#include "PictureSamples.h"

#include "ImageData.h"
#include "PicBufAPI.h"
#include "PictureText.h"

#include <cstring>
#include <limits>

namespace {

bool isFloat(EzImageDataType dataType) {
    return dataType == EzImageDataType::Float32 || dataType == EzImageDataType::SpectrumFloat32;
}

bool isPlanar(const SzPicBufInfo& format) {
    return format.storageFormat == EzDataStorageFormat::Planar;
}

std::size_t sampleOffset(const SzPicBufInfo& format, std::uint32_t channel, std::uint32_t x,
                         std::uint32_t y) {
    const std::size_t bytes = bytesPerSample(format.dataType);
    if (isPlanar(format))
        return (std::size_t{channel} * format.height + y) * format.linePitch + x * bytes;
    return std::size_t{y} * format.linePitch + (std::size_t{x} * format.channels + channel) * bytes;
}

/// Bytes from a sample to the same sample of the next pixel.
std::size_t sampleStep(const SzPicBufInfo& format) {
    return isPlanar(format) ? bytesPerSample(format.dataType) : bytesPerPixel(format);
}

bool hasFileOrder(const SzPicBufInfo& format) {
    return !isPlanar(format) && memoryChannel(format, 0) == 0;
}

template <std::size_t sampleBytes>
void copyStrided(std::uint8_t* destination, std::size_t destinationStep, const std::uint8_t* source,
                 std::size_t sourceStep, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i, destination += destinationStep, source += sourceStep)
        std::memcpy(destination, source, sampleBytes);
}

void copySamples(std::size_t sampleBytes, std::uint8_t* destination, std::size_t destinationStep,
                 const std::uint8_t* source, std::size_t sourceStep, std::uint32_t count) {
    if (destinationStep == sampleBytes && sourceStep == sampleBytes)
        std::memcpy(destination, source, count * sampleBytes);
    else if (sampleBytes == 1)
        copyStrided<1>(destination, destinationStep, source, sourceStep, count);
    else if (sampleBytes == 2)
        copyStrided<2>(destination, destinationStep, source, sourceStep, count);
    else
        copyStrided<4>(destination, destinationStep, source, sourceStep, count);
}

} // namespace

std::uint64_t SzFileFormat::bytes() const {
    constexpr std::uint64_t absurd = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t result = std::uint64_t{width} * height;
    if (__builtin_mul_overflow(result, std::uint64_t{channels} * bytesPerSample(dataType), &result))
        return absurd;
    return result;
}

bool isPlausible(std::uint64_t pictureBytes, std::uint64_t fileBytes, std::uint32_t ratio) {
    return pictureBytes / ratio <= fileBytes;
}

std::unique_ptr<CzImageData> makeFrame(const SzFileFormat& file, const SzSidecar& sidecar, QString* problem) {
    SzPicBufInfo format;
    format.width = file.width;
    format.height = file.height;
    format.channels = file.channels;
    format.bitDepth = sidecar.bitDepth.value_or(file.bitDepth);
    format.dataType = file.dataType;
    if (isFloat(file.dataType) && sidecar.dataType == EzImageDataType::SpectrumFloat32)
        format.dataType = EzImageDataType::SpectrumFloat32;
    format.storageFormat = sidecar.storageFormat.value_or(EzDataStorageFormat::Interleaved);
    format.colorFilterArray = sidecar.colorFilterArray.value_or(EzColorFilterArray::None);
    format.isColor = sidecar.isColor.value_or(file.isColor);

    const std::uint64_t packed = packedLineBytes(format);
    const std::uint64_t pitch = sidecar.linePitch.value_or(0) == 0 ? packed : *sidecar.linePitch;
    if (pitch < packed) {
        *problem = SzPictureText::tr("the sidecar's linePitch of %1 is too short for lines of %2 bytes")
                       .arg(pitch)
                       .arg(packed);
        return nullptr;
    }
    if (pitch % bytesPerSample(format.dataType) != 0) {
        *problem = SzPictureText::tr("the sidecar's linePitch of %1 is no multiple of the samples' %2 bytes")
                       .arg(pitch)
                       .arg(bytesPerSample(format.dataType));
        return nullptr;
    }
    SzPicBuf picture;
    if (pitch <= std::numeric_limits<std::uint32_t>::max()) {
        format.linePitch = static_cast<std::uint32_t>(pitch);
        picture.setPicFormat(format);
        CzPicBufAPI::AllocPicBufFromHeap(picture, format, true);
    }
    if (!picture.data) {
        *problem = SzPictureText::tr("no memory for %1 × %2 pixels in lines of %3 bytes")
                       .arg(format.width)
                       .arg(format.height)
                       .arg(pitch);
        return nullptr;
    }
    picture.bitDepth = format.bitDepth; // as it was given, even where no sensor has such a depth

    CzImageMetadata metadata;
    metadata.colorFilterArray = sidecar.sensorColorFilterArray.value_or(format.colorFilterArray);
    metadata.hsiCameraParams = sidecar.hsi;
    metadata.mosaicName = sidecar.mosaicName;
    auto frame = std::make_unique<CzImageData>();
    frame->setPicBuf(picture);
    frame->setImageMetadata(metadata);
    return frame;
}

void finishFrame(CzImageData& frame) {
    SzPicBuf& picture = frame.picBuf();
    if (isFloat(picture.dataType))
        CzPicBufAPI::CalcFloatDataMinMax(picture, picture.floatMin, picture.floatMax, false);
}

std::uint32_t memoryChannel(const SzPicBufInfo& format, std::uint32_t fileSample) {
    const bool swapped = format.isColor && (format.channels == 3 || format.channels == 4);
    return swapped && fileSample < 3 ? 2 - fileSample : fileSample;
}

void storeSamples(SzPicBuf& picture, std::uint32_t fileSample, std::uint32_t x, std::uint32_t y,
                  std::uint32_t count, const std::uint8_t* source, std::size_t sourceStep) {
    const std::size_t offset = sampleOffset(picture, memoryChannel(picture, fileSample), x, y);
    copySamples(bytesPerSample(picture.dataType), picture.data + offset, sampleStep(picture), source,
                sourceStep, count);
}

void storePixels(SzPicBuf& picture, std::uint32_t x, std::uint32_t y, std::uint32_t count,
                 const std::uint8_t* source) {
    const std::size_t pixelBytes = bytesPerPixel(picture);
    if (hasFileOrder(picture)) {
        std::memcpy(picture.data + sampleOffset(picture, 0, x, y), source, count * pixelBytes);
        return;
    }
    for (std::uint32_t sample = 0; sample < picture.channels; ++sample)
        storeSamples(picture, sample, x, y, count, source + sample * bytesPerSample(picture.dataType),
                     pixelBytes);
}

void fetchSamples(const SzPicBuf& picture, std::uint32_t fileSample, std::uint32_t y,
                  std::uint8_t* destination, std::size_t destinationStep) {
    const std::size_t offset = sampleOffset(picture, memoryChannel(picture, fileSample), 0, y);
    copySamples(bytesPerSample(picture.dataType), destination, destinationStep, picture.data + offset,
                sampleStep(picture), picture.width);
}

void fetchPixels(const SzPicBuf& picture, std::uint32_t y, std::uint8_t* destination) {
    const std::size_t pixelBytes = bytesPerPixel(picture);
    if (hasFileOrder(picture)) {
        std::memcpy(destination, picture.data + sampleOffset(picture, 0, 0, y), picture.width * pixelBytes);
        return;
    }
    for (std::uint32_t sample = 0; sample < picture.channels; ++sample)
        fetchSamples(picture, sample, y, destination + sample * bytesPerSample(picture.dataType), pixelBytes);
}
