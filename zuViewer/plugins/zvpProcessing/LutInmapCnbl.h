// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageProvider.h"
#include "Lut.h"

#include <QTime>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

class CzHistoData;
class CzImageData;

/// The smallest and the largest sample value of a stretch.
struct SzSampleRange {
    std::int64_t smallest;
    std::int64_t largest;
};

/// The range that leaves at most tolerance per mille of the samples below it, and as many above it, in every
/// channel (per mille of the first channel's samples, whatever the others have). It may be reversed. Empty
/// without channels; 0 ... 0 without samples.
std::optional<SzSampleRange> automaticRange(const CzHistoData& histogram, std::int32_t tolerance);

/// Maps every sample through a look-up table: stretches a range of sample values, which it can find by
/// itself, to the whole depth with a gamma curve, or to 8-bit RGB, where single channels can take the colours
/// of a palette.
class CzLutInmapCnbl : public CzImageProvider {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "LUT Mapping")
    Q_CLASSINFO("UniqueID", "org.zuviewer.CzLutInmapCnbl")
public:
    Q_INVOKABLE CzLutInmapCnbl();
    ~CzLutInmapCnbl() override;

    // Parameters

    /// Saved chains may hold any numbers; CzLut says what becomes of them. A tolerance of 0 and less allows
    /// for no sample; one of 1000 and more, and any too large for its type, for all of them: the range is
    /// then 0 … 0.
    struct SzSettings {
        bool mapToRgb;              ///< to 8-bit RGB with alpha, instead of the input's format
        std::int32_t pseudoColor;   ///< palette for RGB; −1 (and any number without a palette): grey
        bool autoMinMax;            ///< choose the range from the histogram, at most eight times a second
        std::int32_t autoTolerance; ///< samples beyond either end of the automatic range, per mille
        std::int64_t srcMin;        ///< the range, as it was set or found
        std::int64_t srcMax;
        double gamma;
    };

    /// Any thread.
    SzSettings settings() const;
    /// What is set counts from the next picture on, for which an automatic range is found anew. Any thread;
    /// the format may change, so stop the chain.
    void setSettings(const SzSettings& settings);

    /// Replaces the clock that limits how often the range is found: it tells the time of day. Not while the
    /// chain runs.
    void setClock(std::function<QTime()> clock);

    // Identity
    QString caption() override;
    bool acceptsPredecessor(QObject* candidate) override;
    int maxPredecessors() override;
    CzChainable* duplicate() override;
    QWidget* createConfigWidget() override;
    bool isConfigurable() override;
    bool hasHelp() const override;
    QString help(QString& topic) override;

    // Settings
    bool saveSettings(QDomDocument& document, QDomElement& element) const override;
    bool loadSettings(const QDomElement& element) override;

    // Processing
    bool outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                         const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) override;
    IzChainData* processData(IzChainData* input) override;

private:
    SzSettings takeSettings();
    void dropTable();
    bool measurementIsDue(const QTime& now) const;
    void findRange(const CzImageData& image, SzSettings& settings);

    SzSettings m_settings;  // guarded by mutex
    bool m_changed = false; // guarded by mutex: set since the worker took the settings

    // The worker's.
    std::unique_ptr<CzLut> m_lut;       // null: to be built for the next picture
    QTime m_histogramTimer{0, 0, 0, 0}; // when the histogram was last measured; midnight: long ago
    std::function<QTime()> m_clock = &QTime::currentTime;
};
