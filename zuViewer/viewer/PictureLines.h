// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "HsiCameraParams.h"
#include "PicBuf.h"
#include "PictureRenderer.h"

#include <array>
#include <functional>
#include <vector>

/// Rows of a picture as they are shown, before samples become brightness: grey, or red, green and blue.
class CzPictureLines {
public:
    /// The pixels of each row that are asked for, all inside the picture, which must outlive this.
    CzPictureLines(const CzImageData& picture, const SzDisplaySettings& settings, std::vector<int> columns);
    CzPictureLines(const CzPictureLines&) = delete;
    CzPictureLines& operator=(const CzPictureLines&) = delete;

    /// 0: the picture cannot be shown; 1: grey; 3: red, green and blue.
    int colours() const { return m_colours; }

    /// Whether there may be samples that are not a number: outside the zone of a band, and among floats.
    bool mayBeNothing() const { return m_mayBeNothing; }

    /// Makes the given row of the picture the present one.
    void goTo(int row) { m_fill(row); }

    /// The samples of the present row, one per column.
    const std::vector<double>& samples(int colour) const {
        return m_samples[static_cast<std::size_t>(colour)];
    }

private:
    void setColours(int colours);
    template <class T>
    void useChannels(const SzPicBuf& picture);
    template <class T>
    void useBayer(const SzPicBuf& picture);
    template <class T>
    void useBands(const SzPicBuf& picture, const CzHsiCameraParams::CzFilterZone& zone,
                  const std::vector<int>& bands);
    void useSpectrum(const SzPicBuf& real, const SzPicBuf& imaginary);

    std::vector<int> m_columns;
    int m_colours = 0;
    bool m_mayBeNothing = true;
    std::array<std::vector<double>, 3> m_samples; // red, green, blue
    std::function<void(int row)> m_fill;
};
