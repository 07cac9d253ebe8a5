// SPDX-License-Identifier: GPL-3.0-or-later
// What tests of every element do with it.
#pragma once

#include "TestPictures.h"

#include <QDomDocument>
#include <QPointer>
#include <QString>

#include <memory>
#include <utility>
#include <vector>

/// An element outside of any chain.
template <class Element>
class ElementTest : public testing::Test {
protected:
    using Attributes = std::vector<std::pair<QString, QString>>;

    /// What the element makes of a frame, in a pool that is large enough unless the test has chosen one. Null
    /// when nothing comes out.
    template <class Data = CzImageData>
    std::unique_ptr<Data> process(std::unique_ptr<CzImageData> frame) {
        if (!element.pool)
            element.usePool(4, pictureFormat(256, 64, 4, EzImageDataType::Float64));
        const QPointer<CzImageData> input = frame.get();
        IzChainData* const output = element.processData(frame.get());
        EXPECT_EQ(input.isNull(), output != nullptr) << "released only when another object comes out";
        if (output)
            frame.release();
        return std::unique_ptr<Data>(qobject_cast<Data*>(output));
    }

    SzPicBufInfo outputFormat(const SzPicBufInfo& input,
                              const CzImageMetadata& metadata = CzImageMetadata()) {
        SzPicBufInfo output;
        EXPECT_TRUE(element.outputImageInfo(input, output, &metadata, nullptr));
        return output;
    }

    CzImageMetadata outputMetadata(const SzPicBufInfo& input, const CzImageMetadata& metadata) {
        SzPicBufInfo output;
        CzImageMetadata result;
        EXPECT_TRUE(element.outputImageInfo(input, output, &metadata, &result));
        return result;
    }

    QDomElement settings(const Attributes& attributes) {
        QDomElement settings = document.createElement(QStringLiteral("chainable"));
        for (const auto& [key, value] : attributes)
            settings.setAttribute(key, value);
        return settings;
    }
    bool load(const Attributes& attributes) { return element.loadSettings(settings(attributes)); }

    QDomElement saved() {
        QDomElement result = settings({});
        EXPECT_TRUE(element.saveSettings(document, result));
        return result;
    }
    QString saved(const char* key) {
        return saved().attribute(QLatin1String(key), QStringLiteral("missing"));
    }

    Element element;
    QDomDocument document;
};
