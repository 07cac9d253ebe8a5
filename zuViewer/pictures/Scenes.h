// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>

class CzImageData;

/// What to render.
struct SzSceneSettings {
    std::uint32_t width = 1280;      ///< pixels, at least 1
    std::uint32_t height = 1024;     ///< lines, at least 1
    std::uint32_t bitDepth = 0;      ///< 8 ... 16; 0: the scene's own
    std::uint32_t seed = 1;          ///< the same seed gives the same picture, everywhere
    std::uint32_t saltAndPepper = 0; ///< percent of the samples, 0 ... 100, that are all black or all white
    std::uint32_t frame = 1;         ///< place in a sequence, from 1 on: noise differs, and things may move
    float noise = 1.0F;              ///< times the sensor's own, from 0 on
    bool moves = false;              ///< things move from frame to frame, as they always do in "sequence"
};

/// The scenes that can be rendered: mono, bayer, hsi4x4, hsi5x5, rgbnir, sequence, stripes (upright, with a
/// period of 20 pixels) and defocus (mono through a lens that makes a disc of every point).
QStringList sceneNames();

/// What people call a scene, in the user's language.
QString sceneTitle(const QString& scene);

/// Whether more than noise tells the scene's frames apart.
bool sceneMoves(const QString& scene, const SzSceneSettings& settings);

/// Renders a believable raw picture of a sensor (edges, gradients, fine texture, text, saturated spots, shot
/// noise that follows the light) with metadata that describe it. frameNo is the frame. Null for an unknown
/// scene. Needs a QGuiApplication for the text.
std::unique_ptr<CzImageData> renderScene(const QString& scene, const SzSceneSettings& settings);
