// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FFT.h"
#include "FFTChannels.h"
#include "ImageProvider.h"
#include "SpectrumPlot.h"

#include <QVector>

#include <cstdint>
#include <vector>

/// Replaces each picture by a plot of the amplitude spectrum of its mean row or mean column. 8- and 16-bit
/// pictures; the plot is a colour picture of the same size.
class CzFFT1DCnbl : public CzImageProvider {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "Fast Fourier Transform 1D")
    Q_CLASSINFO("UniqueID", "org.zuviewer.CzFFT1DCnbl")
public:
    /// Needs a QApplication, as the plot is a widget.
    Q_INVOKABLE CzFFT1DCnbl();

    // Parameters. Those that the run's resources depend on are set while the chain is stopped.

    /// The channel that is analysed, whether or not the input has it; −1: the picture as it is. Any thread.
    std::int32_t channel() const;
    void setChannel(std::int32_t channel);
    /// 0: the mean of the rows, one value per column. Otherwise the mean of the columns, one value per row;
    /// as many as the picture is high for 1, as it is wide for every other number. Any thread.
    std::int32_t transtype() const;
    void setTranstype(std::int32_t transtype);
    /// Whether the plot begins with frequency 0. Any thread.
    bool includeDC() const;
    void setIncludeDC(bool include);
    // How the plot looks. Any thread.
    bool logarithmicY() const;
    void setLogarithmicY(bool logarithmic);
    bool gridX() const;
    void setGridX(bool shown);
    bool gridY() const;
    void setGridY(bool shown);
    /// Whether the amplitude axis fits the amplitudes of each picture, or always has the range from minY to
    /// maxY.
    bool autoScaleY() const;
    void setAutoScaleY(bool automatic);
    double minY() const;
    void setMinY(double amplitude);
    double maxY() const;
    void setMaxY(double amplitude);

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
        std::int32_t channel;
        std::int32_t transtype;
        bool includeDC;
        bool autoScaleY;
        double minY;
        double maxY;
    };
    Parameters parameters() const;
    bool transform(const SzPicBuf& samples, const Parameters& parameters);
    bool plot(SzPicBuf& picture, const Parameters& parameters);

    // Guarded by mutex.
    SzFFTChannel m_channel;
    std::int32_t m_transtype;
    bool m_includeDC;
    bool m_autoScaleY;
    double m_minY;
    double m_maxY;
    SpectrumPlot m_plot;

    // The worker's.
    FFTWork<&CzFFT::Free1D> m_work;
    HeapPicture m_extracted; // the channel, where it is cut out of the picture
    SzPicBufInfo m_samples;  // of the channel, in whatever picture it lies
    std::vector<float> m_profile;
    std::vector<float> m_real;
    std::vector<float> m_imaginary;
    QVector<double> m_x;
    QVector<double> m_amplitudes;
};
