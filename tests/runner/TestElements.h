// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageProvider.h"
#include "Plugin.h"

/// An element that throws, consumes, reports, hangs or makes two of one at one frame each, and else lets
/// pictures pass. Its settings name the frames; -1 is none.
class CzTroubleCnbl : public CzImageProvider {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "Trouble")
    Q_CLASSINFO("UniqueID", "org.zuviewer.test.CzTroubleCnbl")
public:
    Q_INVOKABLE CzTroubleCnbl();

    QString caption() override;
    bool acceptsPredecessor(QObject* candidate) override;
    int maxPredecessors() override;
    CzChainable* duplicate() override;
    QWidget* createConfigWidget() override;
    bool isConfigurable() override;
    bool saveSettings(QDomDocument& document, QDomElement& element) const override;
    bool loadSettings(const QDomElement& element) override;
    bool hasHelp() const override;
    QString help(QString& topic) override;
    bool init(QString* errorText) override;
    IzChainData* processData(IzChainData* input) override;
    bool outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                         const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) override;

private:
    int m_throwAt = -1;
    int m_consumeAt = -1;
    int m_reportAt = -1;
    int m_hangAt = -1;
    int m_doubleAt = -1;
    bool m_refuseStart = false;
};

class CzTestPlugin : public QObject, public CzPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID CzProcessingPlugin_iid)
    Q_INTERFACES(CzPlugin)
public:
    bool initialize() override;
    QString pluginName() override;
    QString vendorName() override;
    QString pluginDescription() override;
    void coreVersion(int& major, int& minor, int& build) override;
    QString vendorUrl() override;
};
