// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageProvider.h"

/// Stands in a chain for an element whose class is not loaded: keeps its saved text word for word and refuses
/// to run.
class ZUCORE_EXPORT CzMissingElement : public CzImageProvider {
    Q_OBJECT
public:
    /// xml: the element as it stood in the chain file.
    CzMissingElement(const QString& uniqueId, const QString& xml);

    const QString& uniqueId() const { return m_uniqueId; }
    const QString& xml() const { return m_xml; }

    QString caption() override;
    bool acceptsPredecessor(QObject* candidate) override;
    int maxPredecessors() override;
    CzChainable* duplicate() override;
    bool init(QString* errorText) override;
    QWidget* createConfigWidget() override;
    bool isConfigurable() override;
    bool outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                         const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) override;
    IzChainData* processData(IzChainData* input) override;

private:
    QString m_uniqueId;
    QString m_xml;
};
