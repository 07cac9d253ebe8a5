// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageMetadata.h"
#include "PicBuf.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

/// What a picture file cannot say of itself and the JSON file beside it does: <picture file name>.json. Every
/// key is optional.
struct SzSidecar {
    std::optional<std::uint32_t> bitDepth;
    std::optional<EzImageDataType> dataType; ///< tells the parts of a Fourier spectrum from plain floats; all
                                             ///< other types are the file's own
    std::optional<EzColorFilterArray> colorFilterArray;       ///< of the picture and of its metadata
    std::optional<EzColorFilterArray> sensorColorFilterArray; ///< of the metadata alone, where they differ
    std::optional<bool> isColor;
    std::optional<EzDataStorageFormat> storageFormat; ///< in memory, when the picture enters a chain
    std::optional<std::uint32_t> linePitch;           ///< in memory, in bytes; 0: packed
    bool still = false;                               ///< a still picture: frame number 0
    CzHsiCameraParams hsi;
    QString mosaicName;
};

/// Path of the sidecar of a picture file.
QString sidecarPath(const QString& pictureFile);

/// Reads a sidecar's text. False, with one sentence in error that names the place ("hsi.zones[0].cell") and
/// what was expected, for text that is no JSON or a value of the wrong type. What no sensor can have (a cell
/// of 0 × 0, a band list of the wrong length) is taken as it stands and adds a sentence to warnings. Keys of
/// the written sidecars that the picture itself tells (width, channels, dataType ...) are checked for their
/// type and passed over, as are unknown keys.
bool parseSidecar(const QByteArray& json, SzSidecar& sidecar, QString* error, QStringList* warnings);

/// One sentence for each filter zone whose region lies outside a picture of this size.
QStringList regionWarnings(const CzHsiCameraParams& sensor, const SzPicBufInfo& picture);

/// Reads a sidecar file; the sentences name it.
bool readSidecar(const QString& path, SzSidecar& sidecar, QString* error, QStringList* warnings);

/// What somebody changes in descriptions: that in which these differ.
struct SzSidecarChange {
    SzSidecar before;
    SzSidecar after;
};

/// Reads the text of a sidecar file and makes the change in it. All else that it says stays, also keys that
/// nobody here knows; where the change makes no difference, the text stays as it is. A file that does not
/// exist has the empty text. False, with one sentence that names the file in error, when it cannot be read or
/// is no JSON object.
bool changeSidecarText(const QString& path, const SzSidecarChange& change, QByteArray& text, QString* error);

/// Reads a sidecar file as if the change had been made in it, and it need not exist.
bool readSidecar(const QString& path, const SzSidecarChange& change, SzSidecar& sidecar, QString* error,
                 QStringList* warnings);

/// What a sidecar says, as JSON text; what it leaves open is missing.
QByteArray sidecarText(const SzSidecar& sidecar);

/// The sidecar that describes a picture completely, as JSON text.
QByteArray sidecarText(const SzPicBuf& picture, const CzImageMetadata& metadata);
