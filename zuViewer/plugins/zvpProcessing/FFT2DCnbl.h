// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FFT.h"
#include "FFTChannels.h"
#include "ImageProvider.h"

#include <cstdint>

/// Replaces each picture by the two-dimensional Fourier transform of one of its channels: real and imaginary
/// part as floats, frequency 0 in the middle. 8- and 16-bit pictures.
class CzFFT2DCnbl : public CzImageProvider {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "Fast Fourier Transform 2D")
    Q_CLASSINFO("UniqueID", "org.zuviewer.CzFFT2DCnbl")
public:
    Q_INVOKABLE CzFFT2DCnbl();

    // Parameters

    /// The channel that is transformed, whether or not the input has it; −1: the picture as it is. Any
    /// thread.
    std::int32_t channel() const;
    /// Chooses a channel; a running chain is stopped meanwhile. GUI thread.
    void setChannel(std::int32_t channel);

    // Identity
    QString caption() override;
    bool acceptsPredecessor(QObject* candidate) override;
    int maxPredecessors() override;
    CzChainable* duplicate() override;
    QWidget* createConfigWidget() override;
    /// Whether there was a channel to choose at the last start.
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
    SzFFTChannel m_channel; // guarded by mutex

    // The worker's.
    FFTWork<&CzFFT::Free2D> m_work;
    HeapPicture m_extracted; // the channel, where it is cut out of the picture
};
