// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ChannelCatalogue.h"
#include "ImageProvider.h"

/// Turns a picture into a one-channel picture of one chosen channel: a colour component or numbered sample,
/// one sub-plane of a raw 2 × 2 mosaic (half width and height) or one band of a hyperspectral mosaic (one
/// pixel per cell).
class CzExtractChannelCnbl : public CzImageProvider {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "Extract Channel")
    Q_CLASSINFO("UniqueID", "org.zuviewer.CzExtractChannelCnbl")
public:
    Q_INVOKABLE CzExtractChannelCnbl();

    // Parameters

    /// Identifier of the chosen channel, whether or not the input has it. Any thread.
    std::uint32_t channelIdx() const;
    /// Name of the channel as it was last picked by its name; empty otherwise. Any thread.
    QString selectedChannelName() const;
    /// Chooses a channel; a running chain is stopped meanwhile. GUI thread.
    void setChannel(std::uint32_t channelIdx, const QString& name);

    /// The channels of the current input, none while it is not known. selectedId becomes the identifier of
    /// the one that is extracted.
    SzChannelCatalogue currentChannels(int& selectedId);

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
    std::uint32_t m_channelIdx;    // guarded by mutex
    QString m_selectedChannelName; // guarded by mutex
};
