// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageProvider.h"

#include <QString>

#include <cstdint>

/// Smallest, largest or mean sample of each cell of a raw mosaic picture, as one pixel per cell or, with
/// interpolation, for the window of a cell's size at each pixel; or each cell stretched to the full range,
/// which leaves the picture a mosaic.
class CzMosaicStatFilterChnbl : public CzImageProvider {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "Mosaic Filter")
    Q_CLASSINFO("UniqueID", "org.zuviewer.CzMosaicStatFilterChnbl")
public:
    enum EzStatFilter : std::int32_t { Minimum = 0, Maximum = 1, Average = 2, Normalize = 3 };
    static constexpr int statFilterCount = 4;

    Q_INVOKABLE CzMosaicStatFilterChnbl();

    // Parameters

    /// Number of the chosen filter, whether or not there is such a filter. Any thread.
    std::int32_t statFilter() const;
    /// Chooses a filter; a running chain is stopped meanwhile. GUI thread.
    void setStatFilter(std::int32_t statFilter);
    /// Whether the output has as many pixels as the input. Normalize does not ask. Any thread.
    bool interpolation() const;
    /// Switches interpolation; a running chain is stopped meanwhile. GUI thread.
    void setInterpolation(bool interpolation);

    /// What a filter is called; empty when there is none of this number.
    static QString filterName(std::int32_t statFilter);

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
    struct Parameters {
        std::int32_t statFilter;
        bool interpolation;
    };
    Parameters parameters() const;

    Parameters m_parameters; // guarded by mutex
};
