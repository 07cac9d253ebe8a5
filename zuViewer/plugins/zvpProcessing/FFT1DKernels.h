// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PictureView.h"

#include <cstdint>
#include <vector>

// Profiles of pictures with one sample per pixel, and spectra of profiles. Everything is computed strictly in
// the order that is stated, so that every machine finds the same bits.

/// The mean of each row: its samples are added from left to right in single precision, the sum divided by
/// their number. means holds as many as there are rows.
template <class T>
void rowMeans(PictureView<const T> picture, float* means);

/// The mean of each column: its samples are added row by row in single precision, the sum divided by their
/// number. means holds as many as there are columns.
template <class T>
void columnMeans(PictureView<const T> picture, float* means);

/// The profile of an 8- or 16-bit picture, row or column means, in the first of count places; what there is
/// beyond them is left out, places beyond that are 0. False, and nothing written, for other pictures.
bool meanProfile(const SzPicBuf& picture, bool ofRows, float* profile, std::size_t count);

/// The smallest and the largest of some amplitudes.
struct SzAmplitudeRange {
    double smallest; ///< without any: the largest number
    double largest;  ///< at least 0
};

/// The amplitudes of a spectrum of length values from index first on: the squares of its parts are added in
/// single precision, the root is taken in double. Places in amplitudes beyond the spectrum are 0 and do not
/// count for the range.
SzAmplitudeRange spectrumAmplitudes(const float* real, const float* imaginary, int length, int first,
                                    double* amplitudes, int count);
