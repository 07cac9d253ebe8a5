// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageProvider.h"

/// Turns each picture by 90 degrees. A raw Bayer picture stays one: its arrangement turns with it.
///
/// The direction is not saved with a chain, and the element has no help text: both stay the host's.
class CzRotateImageCnbl : public CzImageProvider {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "Rotate")
    // Saved chains find the class by this text: its small letter stays.
    Q_CLASSINFO("UniqueID", "org.zuviewer.czRotateImageCnbl")
public:
    Q_INVOKABLE CzRotateImageCnbl();

    // Parameters

    /// Whether pictures are turned clockwise, as in a new element, or counterclockwise. Any thread.
    bool clockwise() const;
    /// Chooses the direction. With restartChain a running chain is stopped meanwhile, unless the direction is
    /// the same (GUI thread); without, the direction counts from the next picture on (any thread).
    void setDirection(bool clockwise, bool restartChain);

    // Identity
    QString caption() override;
    bool acceptsPredecessor(QObject* candidate) override;
    int maxPredecessors() override;
    CzChainable* duplicate() override;
    QWidget* createConfigWidget() override;
    bool isConfigurable() override;
    void simpleStateConfigButtons(QList<CzSimpleStateConfigButton>& buttons, bool& exclusive) override;
    void simpleStateConfigButtonPressed(int id) override;

    // Processing
    bool outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                         const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) override;
    IzChainData* processData(IzChainData* input) override;

private:
    bool m_clockwise = true; // guarded by mutex
};
