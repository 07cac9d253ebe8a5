// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageProvider.h"

#include <atomic>

/// Turns a raw picture of an RGB-NIR sensor, whose 2 × 2 cell holds red, green, blue and near-infrared, into
/// an 8-bit colour picture (blue, green, red, 255) or a near-infrared picture of the input's sample type,
/// both of full width and height. Pictures that are not raw pass through.
class CzRgbNirDemosaicCnbl : public CzImageProvider {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "RGB-NIR Processing")
    Q_CLASSINFO("UniqueID", "org.zuviewer.CzRgbNirDemosaicCnbl")
public:
    Q_INVOKABLE CzRgbNirDemosaicCnbl();

    // Parameters

    static constexpr int rgbChannel = 0; ///< the colour picture, as in a new element
    static constexpr int nirChannel = 1; ///< the near-infrared picture

    /// Which picture comes out. Other numbers, as only saved chains have them, announce the format of the
    /// near-infrared picture and write colour samples into it. Any thread.
    int channel() const;
    /// Chooses the picture. With restartChain a running chain is stopped meanwhile, even if the choice is the
    /// same (GUI thread); without, the choice counts from the next picture on (any thread).
    void setChannel(int channel, bool restartChain);

    // Identity
    QString caption() override;
    bool acceptsPredecessor(QObject* candidate) override;
    int maxPredecessors() override;
    CzChainable* duplicate() override;
    QWidget* createConfigWidget() override;
    bool isConfigurable() override;
    void simpleStateConfigButtons(QList<CzSimpleStateConfigButton>& buttons, bool& exclusive) override;
    void simpleStateConfigButtonPressed(int id) override;
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
    std::atomic<int> m_channel; // a single number: needs no mutex
};
