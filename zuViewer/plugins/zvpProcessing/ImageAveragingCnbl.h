// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ElementSupport.h"
#include "HistoData.h"
#include "ImageProvider.h"

#include <cstdint>

/// Averages a number of pictures into one. It can subtract the last average from each picture instead, so
/// that only what changed remains, and replace the rows or columns of what comes out by their means.
///
/// Still pictures (frame number 0) are not averaged, yet count in the series that is being summed.
class CzImageAveragingCnbl : public CzImageProvider {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "Image Averaging")
    Q_CLASSINFO("UniqueID", "org.zuviewer.CzImageAveragingCnbl")
public:
    Q_INVOKABLE CzImageAveragingCnbl();

    // Parameters. Any thread; what is set counts from the next picture on.

    /// Pictures per average; any number below 2 takes each picture for itself.
    int averageCount() const;
    void setAverageCount(int count);
    /// Whether each picture comes out as its difference to the last average, which is forgotten when this is
    /// set. The chain must be stopped: the average is allocated at its start.
    bool subtractFromAverage() const;
    void setSubtractFromAverage(bool subtract);
    /// One of EzLineAveraging; every other number averages no lines.
    int lineAveraging() const;
    void setLineAveraging(int mode);

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
    void setupStart() override;
    void setupStop() override;
    IzChainData* processData(IzChainData* input) override;

private:
    struct Parameters {
        std::int32_t averageCount;
        bool subtractFromAverage;
        std::int32_t lineAveraging;
    };
    Parameters parameters() const;
    bool averageReady() const;

    bool addToSeries(const SzPicBuf& picture, const Parameters& parameters);
    bool completeSeries(SzPicBuf& average, const SzPicBuf& picture, const Parameters& parameters);
    IzChainData* processStill(CzImageData* image, const Parameters& parameters);
    IzChainData* average(CzImageData* image, const Parameters& parameters);
    IzChainData* subtract(CzImageData* image, const Parameters& parameters);

    Parameters m_parameters;     // guarded by mutex
    bool m_averageReady = false; // guarded by mutex: m_average holds an average

    // The worker's.
    std::int32_t m_frameCounter = 0; // pictures summed up in the current series
    HeapPicture m_sums;
    HeapPicture m_average;   // the last one
    CzHistoData m_histogram; // of m_average, or of the last still picture
};
