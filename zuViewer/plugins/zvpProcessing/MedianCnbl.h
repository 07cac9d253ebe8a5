// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ElementSupport.h"
#include "ImageProvider.h"

#include <vector>

/// Replaces each pixel by the median of a square around it: 8- and 16-bit pictures. Mosaics are filtered
/// plane by plane, so that their colours or bands never mix. What cannot be filtered (another sample type, a
/// sensor that is no simple mosaic, no memory for the planes, a mosaic of another format than the run's)
/// passes on as it is and is reported once.
class CzMedianCnbl : public CzImageProvider {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "Median Filter")
    Q_CLASSINFO("UniqueID", "org.zuviewer.CzMedianCnbl")
public:
    Q_INVOKABLE CzMedianCnbl();
    ~CzMedianCnbl() override;

    // Parameters

    /// Half the side of the square, rounded down: 1 is a 3 × 3 kernel; 0 … 2^30 − 1. Any thread.
    int radius() const;
    /// Changes the radius, in the same range; a running chain is stopped meanwhile, unless the radius is the
    /// same. GUI thread.
    void setRadius(int radius);

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

protected:
    /// What the host's median works with in this run; null when there is none, or no run.
    const void* medianBuffer() const { return m_medianBuffer; }
    /// The planes of a mosaic in this run, before and after the filter; empty without a run or a mosaic.
    const std::vector<HeapPicture>& planesIn() const { return m_planesIn; }
    const std::vector<HeapPicture>& planesOut() const { return m_planesOut; }

private:
    void freeRunResources();
    /// False when the planes of the run are not this picture's, or the host's median fails.
    bool filterPlanes(SzPicBuf& output, const SzPicBuf& input, const CzImageMetadata& metadata, int radius);

    int m_radius; // guarded by mutex

    // Of the run; the worker's.
    void* m_medianBuffer = nullptr;
    std::vector<HeapPicture> m_planesIn;
    std::vector<HeapPicture> m_planesOut;
};
