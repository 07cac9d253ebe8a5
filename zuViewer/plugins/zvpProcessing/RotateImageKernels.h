// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "PictureView.h"

/// A turn by 90 degrees.
enum class EzQuarterTurn {
    Clockwise,        ///< the top left pixel goes to the top right
    Counterclockwise, ///< the top left pixel goes to the bottom left
};

/// Turns a picture by 90 degrees. Each pixel keeps its samples together and in order. The rows of the source
/// are shared out among all threads of OpenMP.
///
/// The source's pitch is not used: its lines are taken as tightly packed, so that a padded picture comes out
/// sheared, within its own bytes.
///
/// False, and nothing is written, unless both have data and as many channels, the destination's width and
/// height are the source's height and width, and their pitches have room for their lines.
///
/// Exists for both turns and for 8-, 16- and 32-bit unsigned integers and floats.
template <EzQuarterTurn turn, class T>
bool rotateImage(PictureView<T> destination, PictureView<const T> source);

/// The same for picture buffers. Nothing is written unless both have the same sample type, one of the four.
///
/// The planes of a planar picture count as one picture of interleaved samples: all of it goes to the
/// destination's first plane, whose pitch must have room for the samples of all channels.
bool rotateImage(SzPicBuf& destination, const SzPicBuf& source, EzQuarterTurn turn);
