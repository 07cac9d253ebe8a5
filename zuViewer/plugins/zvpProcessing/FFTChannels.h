// SPDX-License-Identifier: GPL-3.0-or-later
// The channel that a Fourier element transforms: its name, its size, its samples.
#pragma once

#include "ElementSupport.h"

#include <QMap>
#include <QString>

#include <cstdint>

class CzHsiCameraParams;
class QListWidget;

// ---- Names ----

/// Display name of a channel of pictures of this format. Colour components are named by their index, not by
/// the order in which they are stored. sensor may be null where the format is no hyperspectral mosaic.
QString channelName(std::int32_t channel, const SzPicBufInfo& format, const CzHsiCameraParams* sensor);

/// The channels that the user can choose from, by their index: −1, the picture as it is, for mosaics alone.
/// The bands of a mosaic are those that its first zone describes.
QMap<int, QString> selectableChannels(const SzPicBufInfo& format, const CzImageMetadata& metadata);

/// Which of them stands for the element's channel: one beyond the last, or beyond the cell of the mosaic, is
/// the picture as it is or, where that is no choice, the first.
std::int32_t selectedChannel(std::int32_t channel, const SzPicBufInfo& format,
                             const CzImageMetadata& metadata);

/// Adds an entry for each channel, with its index as Qt::UserRole, and makes the selected one current, if
/// there is one.
void fillChannelList(QListWidget& list, const QMap<int, QString>& channels, std::int32_t selected);

// ---- Formats ----

/// Whether a picture of this format can be transformed: interleaved, of less than 5 components of at most 2
/// bytes.
bool isTransformable(const SzPicBufInfo& format);

/// Whether the samples of the channel are copied out of the picture before they are transformed.
bool isCutOut(const SzPicBufInfo& format, std::int32_t channel);

/// Width and height of the channel of a picture: a half for the sub-planes of a 2 × 2 mosaic, one pixel per
/// cell of the first zone for bands. metadata may be null. A mosaic without a zone or a cell keeps its size.
SzPicBufInfo channelSize(const SzPicBufInfo& format, const CzImageMetadata* metadata, std::int32_t channel);

/// What becomes of the metadata of a picture that is no mosaic any more.
CzImageMetadata withoutMosaic(const CzImageMetadata& metadata);

// ---- An element's channel ----

/// The chosen channel and the input for which it was chosen. Guarded by the element's mutex.
struct SzFFTChannel {
    std::int32_t channel = -1; ///< −1: none is chosen
    SzPicBufInfo format;       ///< of the input at the last start
    CzImageMetadata metadata;
    bool isFirstStart = true;

    /// Remembers the input of a start. The first one keeps the channel that was loaded, when no input was
    /// known; later ones forget it when the input's components or filter array change. Plain pictures have
    /// channel 0.
    void start(const SzPicBufInfo& input, const CzImageMetadata& inputMetadata);

    QString name() const;
};

/// The samples of the channel out of picture: picture itself, or extracted after they were copied there; what
/// the picture does not have is 0. Null when extracted does not fit the picture.
const SzPicBuf* channelSamples(const SzPicBuf& picture, const CzImageMetadata& metadata, std::int32_t channel,
                               SzPicBuf& extracted);

/// The plans and the work memory of a transform, given back by Free: with the guard, or before.
template <auto Free>
class FFTWork {
public:
    FFTWork() = default;
    ~FFTWork() { free(); }
    FFTWork(const FFTWork&) = delete;
    FFTWork& operator=(const FFTWork&) = delete;

    void free() {
        Free(a, b, c);
        a = b = c = nullptr;
    }

    void* a = nullptr;
    void* b = nullptr;
    void* c = nullptr;
};
