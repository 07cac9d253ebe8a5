// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PicBuf.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

/// What a pixel loop needs of a picture and nothing else: T is the sample type, const for a source.
template <class T>
struct PictureView {
    T* data;
    std::uint32_t width;    ///< pixels per line
    std::uint32_t height;   ///< lines
    std::uint32_t channels; ///< samples per pixel in a line; 1 for one plane of a planar picture
    std::size_t pitch;      ///< bytes from line to line, a multiple of the sample size

    T* row(std::size_t y) const {
        using Byte = std::conditional_t<std::is_const_v<T>, const std::uint8_t, std::uint8_t>;
        return reinterpret_cast<T*>(reinterpret_cast<Byte*>(data) + y * pitch);
    }
};

/// The lines of an interleaved picture, or of the first plane of a planar one.
template <class T>
PictureView<T> view(const SzPicBuf& picture) {
    const bool planar = picture.storageFormat == EzDataStorageFormat::Planar;
    return {reinterpret_cast<T*>(picture.data), picture.width, picture.height, planar ? 1 : picture.channels,
            picture.linePitch};
}

/// Plane number plane of a planar picture.
template <class T>
PictureView<T> planeView(const SzPicBuf& picture, std::uint32_t plane) {
    const std::size_t planeBytes = std::size_t{picture.linePitch} * picture.height;
    return {reinterpret_cast<T*>(picture.data + plane * planeBytes), picture.width, picture.height, 1,
            picture.linePitch};
}

/// Calls function with a value of the picture's sample type and returns its result; false for any sample type
/// that no kernel computes with. The one place that switches on the sample type:
///
///     return withSampleType(picture.dataType, [&](auto sample) {
///         using T = decltype(sample);
///         return invert(view<T>(picture));
///     });
template <class Function>
bool withSampleType(EzImageDataType dataType, Function&& function) {
    switch (dataType) {
    case EzImageDataType::UInt8:
        return function(std::uint8_t{});
    case EzImageDataType::UInt16:
        return function(std::uint16_t{});
    case EzImageDataType::UInt32:
        return function(std::uint32_t{});
    case EzImageDataType::Float32:
        return function(float{});
    default:
        return false;
    }
}
