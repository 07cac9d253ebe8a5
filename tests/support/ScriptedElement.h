// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ImageData.h"
#include "ImageProvider.h"

#include <QWidget>

#include <atomic>
#include <functional>

/// A chain element that does what a test tells it to do.
class ScriptedElement : public CzImageProvider {
    Q_OBJECT
    Q_CLASSINFO("CustomName", "Scripted")
    Q_CLASSINFO("UniqueID", "org.zuviewer.tests.ScriptedElement")
public:
    Q_INVOKABLE ScriptedElement() : ScriptedElement(EzChainableFlag::ReadsPaddedLines) {}
    explicit ScriptedElement(EzChainableFlags elementFlags) : CzImageProvider(elementFlags) {}

    std::function<IzChainData*(ScriptedElement&, IzChainData*)> process =
        [](ScriptedElement&, IzChainData* input) { return input; };
    std::function<SzPicBufInfo(SzPicBufInfo)> negotiate = [](SzPicBufInfo input) { return input; };
    std::function<void()> onSetupStart = [] {};
    std::function<void()> onSetupStop = [] {};
    bool accepts = true;
    bool initResult = true;
    bool consumer = false;
    int additionalBuffers = 0;

    std::atomic<int> setupStarts{0};
    std::atomic<int> setupStops{0};

    void* pool() const { return memoryPool; }
    void report(const QString& message) { setErrorMessage(message); }

    QString caption() override { return QStringLiteral("Scripted"); }
    bool acceptsPredecessor(QObject*) override { return accepts; }
    int maxPredecessors() override { return 1; }
    CzChainable* duplicate() override { return new ScriptedElement; }
    bool init(QString* errorText) override {
        if (!initResult && errorText)
            *errorText = QStringLiteral("not today");
        return initResult && CzImageProvider::init(errorText);
    }
    bool isDataConsumer() const override { return consumer; }
    QWidget* createConfigWidget() override { return new QWidget; }
    bool isConfigurable() override { return false; }
    void setupStart() override {
        ++setupStarts;
        onSetupStart();
    }
    void setupStop() override {
        ++setupStops;
        onSetupStop();
    }
    int recommendedAdditionalBuffersInMemoryPool() const override { return additionalBuffers; }
    IzChainData* processData(IzChainData* input) override { return process(*this, input); }
    bool outputImageInfo(const SzPicBufInfo& input, SzPicBufInfo& output,
                         const CzImageMetadata* inputMetadata, CzImageMetadata* outputMetadata) override {
        output = negotiate(input);
        if (inputMetadata && outputMetadata)
            *outputMetadata = *inputMetadata;
        return true;
    }
};
