// SPDX-License-Identifier: GPL-3.0-or-later

// What every element has to stand, whatever it does: each class that the plug-in registers is run in a real
// chain on every sample type, layout and arrangement. A new element is covered as soon as it is registered.

#include "Chain.h"
#include "ChainFile.h"
#include "FrameSource.h"
#include "ImageData.h"
#include "PicBufAPI.h"
#include "PluginLoader.h"
#include "RTTI.h"
#include "support/ScriptedElement.h"

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QCryptographicHash>
#include <QDomElement>
#include <QListWidget>
#include <QPointer>

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#ifdef _OPENMP
#include <omp.h>
#endif

namespace {

struct Format {
    SzPicBufInfo info;
    CzImageMetadata metadata;
};

std::string text(const SzPicBufInfo& info) {
    return QStringLiteral(
               "%1 x %2, pitch %3, %4 channels, type %5, %6 bits, storage %7, filter array %8, colour %9")
        .arg(info.width)
        .arg(info.height)
        .arg(info.linePitch)
        .arg(info.channels)
        .arg(int(info.dataType))
        .arg(info.bitDepth)
        .arg(int(info.storageFormat))
        .arg(int(info.colorFilterArray))
        .arg(info.isColor)
        .toStdString();
}

CzHsiCameraParams sensor(std::uint32_t cellWidth, std::uint32_t cellHeight, std::uint32_t block, int bands) {
    CzHsiCameraParams::CzFilterZone zone;
    zone.cellWidth = cellWidth;
    zone.cellHeight = cellHeight;
    zone.blockWidth = zone.blockHeight = block;
    zone.right = 383;
    zone.bottom = 287;
    for (int i = 0; i < bands; ++i)
        zone.bands.append(CzHsiCameraParams::CzBand(QString::number(i), 900.0 - 7 * i % 50));
    CzHsiCameraParams params;
    params.zones = {zone, zone};
    return params;
}

/// The sensors that a hyperspectral picture may claim, believable and not.
std::vector<CzHsiCameraParams> sensors() {
    CzHsiCameraParams simple = sensor(4, 4, 1, 16);
    simple.zones.removeLast();
    CzHsiCameraParams rgbNir = sensor(2, 2, 1, 4);
    rgbNir.zones.removeLast();
    rgbNir.rgbNir = true;
    CzHsiCameraParams wild = sensor(4, 4, 1, 16);
    wild.zones[0].left = -5;
    wild.zones[0].top = 1000000;
    wild.zones[0].bottom = 1000400;
    return {CzHsiCameraParams(), simple, rgbNir, sensor(5, 5, 1, 25), sensor(2, 3, 2, 6), sensor(0, 0, 0, 3),
            sensor(3, 3, 1, 0),  wild};
}

std::uint32_t significantBits(EzImageDataType type) {
    switch (bytesPerSample(type)) {
    case 1:
        return 8;
    case 2:
        return 12;
    default:
        return bytesPerSample(type) * 8;
    }
}

void appendLayouts(std::vector<Format>& formats, SzPicBufInfo info) {
    const std::vector<CzHsiCameraParams> knownSensors = sensors();
    for (const std::uint32_t channels : {1U, 2U, 3U, 4U, 5U}) {
        for (const std::uint32_t storage : {1U, 2U, 3U}) {
            info.channels = channels;
            info.storageFormat = EzDataStorageFormat(storage);
            info.isColor = channels == 3 || channels == 4;
            const std::uint32_t arrangements = channels == 1 ? 8 : 1;
            for (std::uint32_t arrangement = 0; arrangement < arrangements; ++arrangement) {
                info.colorFilterArray = EzColorFilterArray(arrangement);
                CzImageMetadata metadata;
                metadata.colorFilterArray = info.colorFilterArray;
                // A hyperspectral sensor of each kind in turn; now and then metadata that disagree with the
                // picture.
                if (arrangement == 7 || formats.size() % 5 == 0)
                    metadata.hsiCameraParams = knownSensors[formats.size() % knownSensors.size()];
                if (formats.size() % 11 == 0)
                    metadata.colorFilterArray = EzColorFilterArray::Hyperspectral;
                formats.push_back({info, metadata});
            }
        }
    }
}

std::vector<Format> allFormats() {
    struct Size {
        std::uint32_t width, height, padding;
    };
    std::vector<Format> formats;
    for (const Size size :
         {Size{1, 1, 0}, {1, 7, 0}, {2, 2, 8}, {3, 5, 0}, {3, 5, 24}, {33, 17, 0}, {33, 17, 64}}) {
        for (std::uint32_t type = 0; type <= 10; ++type) {
            std::vector<Format> layouts;
            SzPicBufInfo info;
            info.width = size.width;
            info.height = size.height;
            info.dataType = EzImageDataType(type);
            info.bitDepth = significantBits(info.dataType);
            appendLayouts(layouts, info);
            for (Format& format : layouts)
                format.info.linePitch = std::uint32_t(packedLineBytes(format.info)) + size.padding;
            formats.insert(formats.end(), layouts.begin(), layouts.end());
        }
    }
    for (const EzImageDataType type : {EzImageDataType::UInt8, EzImageDataType::UInt16,
                                       EzImageDataType::UInt32, EzImageDataType::Float32}) {
        Format format;
        format.info.width = 385;
        format.info.height = 289;
        format.info.dataType = type;
        format.info.bitDepth = significantBits(type);
        for (const std::uint32_t channels : {1U, 3U}) {
            for (const std::uint32_t arrangement : {0U, 1U, 7U}) {
                format.info.channels = channels;
                format.info.colorFilterArray = EzColorFilterArray(channels == 1 ? arrangement : 0);
                format.info.isColor = channels == 3;
                format.info.linePitch = std::uint32_t(packedLineBytes(format.info));
                format.metadata.colorFilterArray = format.info.colorFilterArray;
                format.metadata.hsiCameraParams = arrangement == 7 ? sensors()[1] : CzHsiCameraParams();
                formats.push_back(format);
            }
        }
    }
    return formats;
}

/// A raw picture with padded lines, as a camera of 12 bits sends it.
Format bayerFormat() {
    Format bayer;
    bayer.info.width = 64;
    bayer.info.height = 48;
    bayer.info.linePitch = 128;
    bayer.info.channels = 1;
    bayer.info.bitDepth = 12;
    bayer.info.dataType = EzImageDataType::UInt16;
    bayer.info.colorFilterArray = bayer.metadata.colorFilterArray = EzColorFilterArray::BayerRGGB;
    return bayer;
}

std::uint64_t linesOf(const SzPicBuf& picture) {
    return std::uint64_t(picture.height) *
           (picture.storageFormat == EzDataStorageFormat::Planar ? picture.channels : 1);
}

QByteArray pixels(const SzPicBuf& picture) {
    QByteArray bytes;
    const int lineBytes = int(packedLineBytes(picture));
    for (std::uint64_t y = 0; y < linesOf(picture); ++y)
        bytes.append(reinterpret_cast<const char*>(picture.data + y * picture.linePitch), lineBytes);
    return bytes;
}

/// A frame that notices when somebody wrote into it before it was released, and that counts its kind.
class WatchedFrame : public CzImageData {
public:
    static std::atomic<int> alive;

    WatchedFrame(const Format& format, int frameNo) {
        SzPicBuf picture;
        EXPECT_TRUE(CzPicBufAPI::AllocPicBufFromHeap(picture, format.info, false)) << text(format.info);
        std::uint32_t state = 12345;
        for (std::uint64_t y = 0; y < linesOf(picture); ++y)
            fillLine(picture, y, state);
        picture.frameNo = frameNo;
        if (picture.dataType == EzImageDataType::Float32)
            CzPicBufAPI::CalcFloatDataMinMax(picture, picture.floatMin, picture.floatMax, false);
        setPicBuf(picture);
        setImageMetadata(format.metadata);
        m_pixels = pixels(picBuf());
        ++alive;
    }
    ~WatchedFrame() override {
        EXPECT_EQ(m_pixels, pixels(picBuf())) << "the input was written to";
        --alive;
    }

private:
    static void fillLine(SzPicBuf& picture, std::uint64_t y, std::uint32_t& state) {
        std::uint8_t* const line = picture.data + y * picture.linePitch;
        const std::uint32_t size = bytesPerSample(picture.dataType);
        const bool real = picture.dataType == EzImageDataType::Float32 ||
                          picture.dataType == EzImageDataType::SpectrumFloat32;
        for (std::uint64_t i = 0; i < packedLineBytes(picture) / size; ++i) {
            state = state * 1664525U + 1013904223U;
            const std::uint64_t sample = state >> (32 - std::min(picture.bitDepth, 32U));
            const float value = float(state >> 16);
            std::memcpy(line + i * size, real ? static_cast<const void*>(&value) : &sample, size);
        }
    }

    QByteArray m_pixels;
};

std::atomic<int> WatchedFrame::alive{0};

class RegistryWalk : public testing::Test {
protected:
    static void SetUpTestSuite() {
        s_loader = new CzPluginLoader;
        ASSERT_TRUE(s_loader->loadFolder(QStringLiteral(ZU_BUILT_PLUGIN_FOLDER)))
            << s_loader->errors().join('\n').toStdString();
    }
    static void TearDownTestSuite() { delete s_loader; }

    static QStringList identifiers() {
        QStringList ids;
        for (const QMetaObject* metaObject : CzRTTI::instance()->classes("CzChainable"))
            ids.append(CzRTTI::uniqueId(*metaObject));
        EXPECT_FALSE(ids.isEmpty());
        return ids;
    }

    static std::unique_ptr<CzChainable> make(const QString& id) {
        return std::unique_ptr<CzChainable>(CzRTTI::instance()->createChainable(id));
    }

    /// The attributes that a new element of the class writes.
    static QStringList settingsOf(const QString& id) {
        QDomDocument document;
        QDomElement settings = document.createElement("chainable");
        make(id)->saveSettings(document, settings);
        QStringList names;
        for (int i = 0; i < settings.attributes().count(); ++i)
            names.append(settings.attributes().item(i).nodeName());
        names.removeAll("uniqueId");
        names.sort();
        return names;
    }

    static CzPluginLoader* s_loader;
};

CzPluginLoader* RegistryWalk::s_loader = nullptr;

/// A real chain around one element: a probe before it counts the pool, leaves old bytes in it that differ
/// with the number of threads, and sets that number; an observer behind it checks and hashes what comes out.
class Walk {
public:
    Walk(std::unique_ptr<CzChainable> walked, int threads) {
        auto* const probe = new ScriptedElement;
        probe->process = [this, threads](ScriptedElement& self, IzChainData* input) {
#ifdef _OPENMP
            omp_set_num_threads(threads);
#else
            Q_UNUSED(threads)
#endif
            const SzPicBuf& picture = static_cast<CzImageData*>(input)->picBuf();
            const int free = self.queryImagesCountInMemoryPool(picture, self.pool());
            EXPECT_EQ(16 + m_element->recommendedAdditionalBuffersInMemoryPool(), free)
                << "a pool buffer of an earlier frame is missing";
            leaveOldBytes(self, picture, threads);
            return input;
        };
        EXPECT_TRUE(m_chain.append(probe));
        m_element = qobject_cast<CzImageProvider*>(walked.get());
        EXPECT_TRUE(m_chain.append(walked.release()));
        m_chain.setFrameObserver([this](const SzFrameReport& report) { check(report); });
    }

    /// Sends three equal frames of each format: enough for an element that needs several.
    void run(const std::vector<Format>& formats) {
        ASSERT_TRUE(m_chain.start()) << m_chain.errorMessage().toStdString();
        for (const Format& format : formats)
            for (int i = 0; i < 3; ++i)
                ASSERT_TRUE(push(format));
        ASSERT_TRUE(m_chain.waitUntilIdle());
        m_chain.stop();
        const SzChainCounters counters = m_chain.counters();
        EXPECT_EQ(3 * formats.size(), counters.framesOut + counters.framesConsumed + counters.framesFailed);
        EXPECT_EQ(0, WatchedFrame::alive) << "an input was never released";
    }

    /// Sends one frame; false when the source is closed.
    bool push(const Format& format) {
        int frameNo = 0;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_sent.push_back(format);
            frameNo = int(m_sent.size());
        }
        return m_chain.source().push(std::make_unique<WatchedFrame>(format, frameNo));
    }

    CzImageProvider& element() {
        return *m_element;
    }
    CzChain& chain() {
        return m_chain;
    }
    const std::vector<QByteArray>& results() const {
        return m_results;
    }

private:
    /// In the buffers that the element will take first.
    void leaveOldBytes(ScriptedElement& probe, const SzPicBufInfo& input, int byte) {
        SzPicBufInfo format = input;
        m_element->currentOutputImageInfo(format, nullptr);
        SzPicBuf buffers[2];
        for (SzPicBuf& buffer : buffers)
            if (CzPicBufAPI::AllocPicBufFromPool(probe.pool(), &probe, buffer, format, false))
                for (std::uint64_t y = 0; y < linesOf(buffer); ++y)
                    std::memset(buffer.data + y * buffer.linePitch, byte, packedLineBytes(buffer));
        for (SzPicBuf& buffer : buffers)
            CzPicBufAPI::FreePicBuf(buffer, false);
    }

    void check(const SzFrameReport& report) {
        Format sent;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            sent = m_sent[std::size_t(report.frameNo) - 1];
        }
        SCOPED_TRACE(text(sent.info));
        QByteArray result;
        if (report.output) {
            const auto* const image = qobject_cast<const CzImageData*>(report.output);
            ASSERT_NE(nullptr, image);
            const SzPicBuf& picture = image->picBuf();
            EXPECT_EQ(report.frameNo, image->frameNo());
            result = QCryptographicHash::hash(pixels(picture), QCryptographicHash::Sha1);

            // An element may find a picture that it negotiated about wanting, and pass it on.
            Format negotiated;
            const bool accepted = m_element->currentOutputImageInfo(negotiated.info, &negotiated.metadata);
            const bool passedOn = isSame(*image, sent);
            EXPECT_TRUE(passedOn || (accepted && negotiated.info == picture))
                << "negotiated: " << text(negotiated.info) << "\nproduced: " << text(picture);
            EXPECT_TRUE(passedOn || negotiated.metadata == image->imageMetadata())
                << "other metadata than negotiated";
        } else if (report.status == EzFrameStatus::Failed) {
            // Nothing but an output without pixels may fail.
            SzPicBufInfo negotiated;
            EXPECT_TRUE(m_element->currentOutputImageInfo(negotiated, nullptr) &&
                        negotiated.width * negotiated.height == 0)
                << m_element->errorMessage().toStdString();
        }
        m_results.push_back(result);
    }

    /// Whether a picture is the one that was sent, or a tightly packed copy of it.
    static bool isSame(const CzImageData& image, const Format& sent) {
        SzPicBufInfo format = image.picBuf();
        format.linePitch = sent.info.linePitch;
        return format == sent.info && image.imageMetadata() == sent.metadata &&
               pixels(image.picBuf()) == pixels(WatchedFrame(sent, 0).picBuf());
    }

    CzChain m_chain;
    CzImageProvider* m_element = nullptr;
    std::mutex m_mutex;
    std::vector<Format> m_sent;
    std::vector<QByteArray> m_results;
};

// ---- The walk itself ----

/// Walks with an element that does something wrong, and collects what the walk finds.
class WalkNotices : public testing::Test {
protected:
    using Process = std::function<IzChainData*(ScriptedElement&, IzChainData*)>;

    WalkNotices() {
        format.info.width = 5;
        format.info.height = 3;
        format.info.linePitch = 8;
        format.info.channels = 1;
        format.info.bitDepth = 8;
        format.info.dataType = EzImageDataType::UInt8;
    }

    /// The results of the walk.
    std::vector<QByteArray> walk(const Process& process, int threads = 1) {
        testing::TestPartResultArray found;
        const testing::ScopedFakeTestPartResultReporter reporter(
            testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &found);
        auto element = std::make_unique<ScriptedElement>();
        element->process = process;
        Walk walk(std::move(element), threads);
        walk.run({format});
        for (int i = 0; i < found.size(); ++i)
            findings += found.GetTestPartResult(i).message();
        return walk.results();
    }

    /// A pool picture in place of the input, its samples set by fill.
    static IzChainData* replace(ScriptedElement& self, IzChainData* input, const SzPicBufInfo& outputFormat,
                                const std::function<void(SzPicBuf&)>& fill) {
        const auto& image = static_cast<const CzImageData&>(*input);
        SzPicBuf output;
        if (!CzPicBufAPI::AllocPicBufFromPool(self.pool(), &self, output, outputFormat, false))
            return nullptr;
        fill(output);
        output.copyPicAdditionalData(image.picBuf());
        auto* const result = new CzImageData;
        result->setPicBuf(output);
        result->setImageMetadata(image.imageMetadata());
        return result;
    }

    static void setAll(SzPicBuf& picture, int value) {
        for (std::uint64_t y = 0; y < linesOf(picture); ++y)
            std::memset(picture.data + y * picture.linePitch, value, packedLineBytes(picture));
    }

    Format format;
    std::string findings;
};

TEST_F(WalkNotices, NothingWrongWithAnElementThatDoesItsWork) {
    const auto work = [this](ScriptedElement& self, IzChainData* input) {
        const std::unique_ptr<IzChainData> release(input);
        return replace(self, input, format.info, [](SzPicBuf& output) { setAll(output, 7); });
    };
    EXPECT_EQ(walk(work, 1), walk(work, 4));
    EXPECT_EQ("", findings);
}

TEST_F(WalkNotices, AnElementThatWritesIntoItsInput) {
    walk([](ScriptedElement&, IzChainData* input) {
        ++static_cast<CzImageData*>(input)->picBuf().data[12];
        return input;
    });
    EXPECT_THAT(findings, testing::HasSubstr("the input was written to"));
}

TEST_F(WalkNotices, AnElementThatKeepsAPoolBuffer) {
    std::vector<SzPicBuf> kept;
    walk([&](ScriptedElement& self, IzChainData* input) {
        kept.emplace_back();
        CzPicBufAPI::AllocPicBufFromPool(self.pool(), &self, kept.back(), format.info, false);
        return input;
    });
    EXPECT_THAT(findings, testing::HasSubstr("a pool buffer of an earlier frame is missing"));
    for (SzPicBuf& buffer : kept)
        CzPicBufAPI::FreePicBuf(buffer, false);
}

TEST_F(WalkNotices, AnElementThatNeverReleasesItsInput) {
    std::vector<std::unique_ptr<IzChainData>> kept;
    walk([&](ScriptedElement& self, IzChainData* input) {
        kept.emplace_back(input);
        return replace(self, input, format.info, [](SzPicBuf& output) { setAll(output, 7); });
    });
    EXPECT_THAT(findings, testing::HasSubstr("an input was never released"));
}

TEST_F(WalkNotices, AnElementThatProducesAnotherFormatThanNegotiated) {
    walk([this](ScriptedElement& self, IzChainData* input) {
        const std::unique_ptr<IzChainData> release(input);
        SzPicBufInfo other = format.info;
        other.bitDepth = 7;
        return replace(self, input, other, [](SzPicBuf& output) { setAll(output, 7); });
    });
    EXPECT_THAT(findings, testing::HasSubstr("produced: 5 x 3"));
}

TEST_F(WalkNotices, AnElementThatDeliversOtherMetadataThanNegotiated) {
    walk([this](ScriptedElement& self, IzChainData* input) {
        const std::unique_ptr<IzChainData> release(input);
        IzChainData* const output =
            replace(self, input, format.info, [](SzPicBuf& picture) { setAll(picture, 7); });
        CzImageMetadata other;
        other.mosaicName = "made up";
        static_cast<CzImageData*>(output)->setImageMetadata(other);
        return output;
    });
    EXPECT_THAT(findings, testing::HasSubstr("other metadata than negotiated"));
}

TEST_F(WalkNotices, AnElementThatForgetsTheFrameNumber) {
    walk([this](ScriptedElement& self, IzChainData* input) {
        const std::unique_ptr<IzChainData> release(input);
        IzChainData* const output =
            replace(self, input, format.info, [](SzPicBuf& picture) { setAll(picture, 7); });
        static_cast<CzImageData*>(output)->picBuf().frameNo = 0;
        return output;
    });
    EXPECT_THAT(findings, testing::HasSubstr("frameNo"));
}

TEST_F(WalkNotices, AnElementThatFails) {
    walk([](ScriptedElement&, IzChainData*) -> IzChainData* { throw std::runtime_error("broken"); });
    EXPECT_THAT(findings, testing::HasSubstr("broken"));
}

TEST_F(WalkNotices, AnElementThatLeavesSamplesAsTheyWere) {
    const auto work = [this](ScriptedElement& self, IzChainData* input) {
        const std::unique_ptr<IzChainData> release(input);
        return replace(self, input, format.info,
                       [](SzPicBuf& output) { std::memset(output.data, 7, packedLineBytes(output)); });
    };
    EXPECT_NE(walk(work, 1), walk(work, 4));
}

#ifdef _OPENMP
TEST_F(WalkNotices, AnElementWhoseResultDependsOnTheNumberOfThreads) {
    const auto work = [this](ScriptedElement& self, IzChainData* input) {
        const std::unique_ptr<IzChainData> release(input);
        return replace(self, input, format.info,
                       [](SzPicBuf& output) { setAll(output, omp_get_max_threads()); });
    };
    EXPECT_NE(walk(work, 1), walk(work, 4));
    EXPECT_EQ("", findings);
}
#endif

// ---- The elements ----

TEST_F(RegistryWalk, EveryElementStandsEveryFormatAndAnyNumberOfThreadsGivesTheSameBytes) {
    const std::vector<Format> formats = allFormats();
    for (const QString& id : identifiers()) {
        SCOPED_TRACE(id.toStdString());
        Walk one(make(id), 1);
        one.run(formats);
        Walk several(make(id), 4);
        several.run(formats);
        EXPECT_EQ(one.results(), several.results());
    }
}

TEST_F(RegistryWalk, EveryElementIsNamedDescribedAndConfigurable) {
    for (const QString& id : identifiers()) {
        SCOPED_TRACE(id.toStdString());
        const std::unique_ptr<CzChainable> element = make(id);
        ASSERT_NE(nullptr, element);
        // The class's name, apart from the case of its letters.
        const QString className = element->metaObject()->className();
        EXPECT_EQ(0, id.compare("org.zuviewer." + className, Qt::CaseInsensitive)) << className.toStdString();
        EXPECT_FALSE(CzRTTI::customName(*element->metaObject()).isEmpty());
        EXPECT_FALSE(element->caption().isEmpty());
        EXPECT_EQ(1, element->maxPredecessors());
        EXPECT_TRUE(element->isConfigurable());
        EXPECT_TRUE(element->errorMessage().isEmpty());
        QString topic = "topic";
        EXPECT_EQ(element->hasHelp(), !element->help(topic).isEmpty());
        EXPECT_EQ("topic", topic);
        EXPECT_TRUE(element->acceptsPredecessor(element.get()));
        QObject stranger;
        EXPECT_FALSE(element->acceptsPredecessor(&stranger));
        EXPECT_FALSE(element->acceptsPredecessor(nullptr));

        const std::unique_ptr<CzChainable> copy(element->duplicate());
        ASSERT_NE(nullptr, copy);
        EXPECT_NE(element, copy);
        EXPECT_EQ(element->metaObject(), copy->metaObject());
        EXPECT_EQ(element->caption(), copy->caption());
        EXPECT_EQ(nullptr, copy->parent());

        const std::unique_ptr<QWidget> widget(element->createConfigWidget());
        ASSERT_NE(nullptr, widget);
        EXPECT_EQ(nullptr, widget->parent());
        EXPECT_FALSE(widget->windowTitle().isEmpty());
        QList<CzChainable::CzSimpleStateConfigButton> buttons;
        bool exclusive = false;
        element->simpleStateConfigButtons(buttons, exclusive);
        EXPECT_TRUE(exclusive || buttons.isEmpty());
    }
}

TEST_F(RegistryWalk, WhatIsNoPictureIsPassedOnOrDroppedButNeverTouched) {
    class Words : public IzChainData {
    public:
        int frameNo() const override { return 3; }
        IzChainData* clone(QObject*) const override { return new Words; }
        IzChainData* clone(void*, QObject*) const override { return new Words; }
        bool isFromMemoryPool(void*) const override { return false; }
    };
    for (const QString& id : identifiers()) {
        SCOPED_TRACE(id.toStdString());
        EXPECT_EQ(nullptr, make(id)->processData(nullptr));

        CzChain chain;
        QPointer<IzChainData> words;
        auto* const writer = new ScriptedElement;
        writer->process = [&](ScriptedElement&, IzChainData* input) {
            delete input;
            words = new Words;
            return words.data();
        };
        ASSERT_TRUE(chain.append(writer));
        ASSERT_TRUE(chain.append(make(id).release()));
        chain.setFrameObserver([&](const SzFrameReport& report) {
            EXPECT_EQ(report.output, words.data()) << "the same object, or none and the host released it";
        });
        ASSERT_TRUE(chain.start());
        chain.source().push(std::make_unique<WatchedFrame>(bayerFormat(), 1));
        ASSERT_TRUE(chain.waitUntilIdle());
        chain.stop();
        EXPECT_EQ(1U, chain.counters().framesOut + chain.counters().framesConsumed);
        EXPECT_TRUE(chain.elements()[1]->errorMessage().isEmpty());
    }
}

TEST_F(RegistryWalk, AStillPictureIsStillStillBehindThreeElements) {
    for (const QString& id : identifiers()) {
        SCOPED_TRACE(id.toStdString());
        CzChain chain;
        for (int i = 0; i < 3; ++i)
            ASSERT_TRUE(chain.append(make(id).release()));
        chain.setFrameObserver([](const SzFrameReport& report) {
            EXPECT_TRUE(!report.output || report.output->frameNo() == 0);
        });
        ASSERT_TRUE(chain.start());
        chain.source().push(std::make_unique<WatchedFrame>(bayerFormat(), 0));
        ASSERT_TRUE(chain.waitUntilIdle());
        chain.stop();
        EXPECT_EQ(1U, chain.counters().framesOut + chain.counters().framesConsumed);
    }
}

TEST_F(RegistryWalk, AnExhaustedPoolLosesNoFrameWithoutAWord) {
    for (const QString& id : identifiers()) {
        SCOPED_TRACE(id.toStdString());
        CzChain chain;
        auto* const hoarder = new ScriptedElement;
        std::vector<SzPicBuf> hoard;
        hoarder->process = [&](ScriptedElement& self, IzChainData* input) {
            SzPicBuf buffer;
            while (CzPicBufAPI::AllocPicBufFromPool(self.pool(), &self, buffer, bayerFormat().info, false)) {
                hoard.push_back(buffer);
                buffer = SzPicBuf();
            }
            return input;
        };
        ASSERT_TRUE(chain.append(hoarder));
        CzChainable* const element = make(id).release();
        ASSERT_TRUE(chain.append(element));
        ASSERT_TRUE(chain.start());
        for (int frameNo = 1; frameNo <= 4; ++frameNo)
            chain.source().push(std::make_unique<WatchedFrame>(bayerFormat(), frameNo));
        ASSERT_TRUE(chain.waitUntilIdle());
        chain.stop();
        const SzChainCounters counters = chain.counters();
        EXPECT_EQ(4U, counters.framesOut + counters.framesConsumed + counters.framesFailed);
        EXPECT_EQ(counters.framesFailed > 0 ? "The memory pool has no free picture." : "",
                  element->errorMessage().toStdString());
        for (SzPicBuf& buffer : hoard)
            CzPicBufAPI::FreePicBuf(buffer, false);
    }
}

TEST_F(RegistryWalk, SettingsSurviveSavingAndLoading) {
    for (const QString& id : identifiers()) {
        SCOPED_TRACE(id.toStdString());
        CzChainFile file;
        ASSERT_TRUE(file.appendDefault(id));
        CzChain chain;
        QStringList warnings;
        QString error;
        ASSERT_TRUE(file.appendTo(chain, &warnings, &error)) << error.toStdString();
        EXPECT_TRUE(warnings.isEmpty()) << warnings.join('\n').toStdString();
        EXPECT_EQ(file.toXml(), CzChainFile::describe(chain).toXml());
        EXPECT_EQ(make(id)->caption(), chain.elements()[0]->caption());
    }
}

TEST_F(RegistryWalk, HostileSettingsLeaveARunningElement) {
    const std::vector<Format> everything = allFormats();
    std::vector<Format> some;
    for (std::size_t i = 0; i < everything.size(); i += 37)
        some.push_back(everything[i]);
    const QStringList values{"",
                             "-1",
                             "0",
                             "1",
                             "2",
                             "7",
                             "many",
                             "1e308",
                             "nan",
                             "-2147483648",
                             "2147483647",
                             "4294967295",
                             "9223372036854775807"};
    for (const QString& id : identifiers()) {
        for (const QString& setting : settingsOf(id)) {
            for (const QString& value : values) {
                SCOPED_TRACE((id + "." + setting + " = " + value).toStdString());
                QDomDocument document;
                QDomElement settings = document.createElement("chainable");
                std::unique_ptr<CzChainable> element = make(id);
                element->saveSettings(document, settings);
                settings.setAttribute(setting, value);
                element->loadSettings(settings);
                const std::unique_ptr<QWidget> widget(element->createConfigWidget());
                Walk(std::move(element), 2).run(some);
            }
        }
    }
}

TEST_F(RegistryWalk, SettingUpAndDownInAnyOrderDoesNoHarm) {
    for (const QString& id : identifiers()) {
        SCOPED_TRACE(id.toStdString());
        CzChain chain;
        CzChainable* const element = make(id).release();
        ASSERT_TRUE(chain.append(element));
        element->setupStop();
        element->setupStart();
        element->setupStop();
        element->setupStop();
        EXPECT_EQ(element->errorMessage(), QString());
        const Format format = allFormats().back();
        chain.source().setFormat(format.info, format.metadata);
        element->setupStart();
        element->setupStart();
        element->setupStop();
        element->setupStop();
        ASSERT_TRUE(chain.start());
        chain.source().push(std::make_unique<WatchedFrame>(format, 1));
        EXPECT_TRUE(chain.waitUntilIdle());
    }
}

/// Uses every control of a widget once, the next choice of each in turn.
void useControls(QWidget& widget, int turn) {
    for (QListWidget* list : widget.findChildren<QListWidget*>())
        if (list->count() > 0)
            list->setCurrentRow(turn % list->count());
    for (QAbstractButton* button : widget.findChildren<QAbstractButton*>())
        if (button->isEnabled())
            button->click();
    for (QAbstractSpinBox* spin : widget.findChildren<QAbstractSpinBox*>())
        spin->stepBy(turn % 3 - 1);
    for (QComboBox* combo : widget.findChildren<QComboBox*>())
        if (combo->count() > 0)
            combo->setCurrentIndex(turn % combo->count());
}

TEST_F(RegistryWalk, AThousandRestartsWithFramesInFlightWhileTheWidgetIsUsedLoseNothing) {
    const Format bayer = bayerFormat();
    for (const QString& id : identifiers()) {
        SCOPED_TRACE(id.toStdString());
        Walk walk(make(id), 2);
        walk.chain().source().setFormat(bayer.info, bayer.metadata);
        walk.chain().source().setQueue(CzFrameSource::EzOverflow::Wait, 3);
        const std::unique_ptr<QWidget> widget(walk.element().createConfigWidget());
        std::atomic<std::uint64_t> pushed{0};
        std::thread camera([&] {
            while (walk.push(bayer))
                ++pushed;
        });
        for (int turn = 0; turn < 1000; ++turn) {
            const std::uint64_t before = walk.chain().counters().framesIn;
            ASSERT_TRUE(walk.chain().start());
            while (walk.chain().counters().framesIn == before)
                std::this_thread::yield(); // from now on frames are in flight
            useControls(*widget, turn);
            EXPECT_FALSE(walk.chain().stopped()) << "a change on a running chain starts it again";
            walk.chain().stop();
            useControls(*widget, turn + 1);
            EXPECT_TRUE(walk.chain().stopped()) << "a change on a stopped chain does not start it";
        }
        walk.chain().source().close();
        camera.join();
        ASSERT_TRUE(walk.chain().start());
        EXPECT_TRUE(walk.chain().waitUntilIdle());
        walk.chain().stop();
        const SzChainCounters counters = walk.chain().counters();
        EXPECT_EQ(pushed, counters.framesOut + counters.framesConsumed);
        EXPECT_EQ(pushed, counters.framesIn);
        EXPECT_GE(pushed, 1000U);
        EXPECT_EQ(0U, counters.poolExhaustions);
    }
}

} // namespace
