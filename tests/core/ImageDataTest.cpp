// SPDX-License-Identifier: GPL-3.0-or-later
#include "ImageData.h"

#include "FFTImageData.h"
#include "MemoryPool.h"
#include "support/Pictures.h"

#include <QPointer>

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace {

SzPicBufInfo format() {
    return pictureFormat(33, 17, 1, EzImageDataType::Float32, EzDataStorageFormat::Interleaved, 3);
}

std::shared_ptr<CzMemoryPool> makePool(int buffers) {
    return CzMemoryPool::create(buffers, 33 * 17 * 4);
}

SzPicBuf poolPicture(CzMemoryPool& pool, const SzPicBufInfo& pictureFormat, std::uint32_t seed = 1) {
    SzPicBuf picture;
    EXPECT_TRUE(CzPicBufAPI::AllocPicBufFromPool(pool.handle(), nullptr, picture, pictureFormat, false));
    fillPattern(picture, seed);
    return picture;
}

CzImageMetadata metadata() {
    CzImageMetadata result;
    result.colorFilterArray = EzColorFilterArray::Hyperspectral;
    result.hsiCameraParams.rgbNir = true;
    result.mosaicName = QStringLiteral("name");
    return result;
}

/// An image on the heap with everything set.
std::unique_ptr<CzImageData> fullImage() {
    SzPicBuf picture = patternPicture(format()).release();
    picture.frameNo = 12;
    picture.timeStampNs = 34;
    picture.floatMin = -5.0F;
    picture.floatMax = 6.0F;
    auto image = std::make_unique<CzImageData>();
    image->setPicBuf(picture);
    image->setImageMetadata(metadata());
    return image;
}

void expectDeepCopy(const CzImageData& copy, const CzImageData& original) {
    EXPECT_NE(copy.picBuf().data, original.picBuf().data);
    EXPECT_EQ(static_cast<const SzPicBufInfo&>(copy.picBuf()),
              static_cast<const SzPicBufInfo&>(original.picBuf()));
    EXPECT_TRUE(samePixels(copy.picBuf(), original.picBuf()));
    EXPECT_EQ(copy.picBuf().frameNo, original.picBuf().frameNo);
    EXPECT_EQ(copy.picBuf().timeStampNs, original.picBuf().timeStampNs);
    EXPECT_EQ(copy.picBuf().floatMin, original.picBuf().floatMin);
    EXPECT_EQ(copy.picBuf().floatMax, original.picBuf().floatMax);
    EXPECT_EQ(copy.imageMetadata(), original.imageMetadata());
}

TEST(ImageData, StartsEmpty) {
    const CzImageData image;
    EXPECT_EQ(image.picBuf().data, nullptr);
    EXPECT_EQ(image.frameNo(), 0);
    EXPECT_EQ(image.imageMetadata(), CzImageMetadata());
    EXPECT_FALSE(image.isFromMemoryPool(nullptr));
}

TEST(ImageData, FrameNumberIsThePictures) {
    const auto image = fullImage();
    EXPECT_EQ(image->frameNo(), 12);
    image->picBuf().frameNo = 13;
    EXPECT_EQ(image->frameNo(), 13);
}

TEST(ImageData, GivesItsPictureBackWhenItIsDeletedOnWhateverThread) {
    const auto pool = makePool(2);
    auto image = std::make_unique<CzImageData>();
    image->setPicBuf(poolPicture(*pool, format()));
    EXPECT_EQ(pool->freeBuffers(), 1);
    std::thread([&] { image.reset(); }).join();
    EXPECT_EQ(pool->freeBuffers(), 2);
}

TEST(ImageData, ANewPictureReleasesTheOldOne) {
    const auto pool = makePool(2);
    CzImageData image;
    image.setPicBuf(poolPicture(*pool, format(), 1));
    image.setPicBuf(poolPicture(*pool, format(), 2));
    EXPECT_EQ(pool->freeBuffers(), 1);
    EXPECT_TRUE(samePixels(image.picBuf(), *patternPicture(format(), 2)));
    image.setPicBuf(SzPicBuf());
    EXPECT_EQ(pool->freeBuffers(), 2);
    EXPECT_EQ(image.picBuf().data, nullptr);
}

TEST(ImageData, MayBeGivenItsOwnPicture) {
    const auto pool = makePool(1);
    CzImageData image;
    image.setPicBuf(poolPicture(*pool, format()));
    image.setPicBuf(image.picBuf());
    EXPECT_TRUE(samePixels(image.picBuf(), *patternPicture(format())));

    SzPicBuf borrowed;
    borrowed.setPicFormat(format());
    borrowed.bitDepth = 7;
    borrowed.frameNo = 8;
    borrowed.floatMin = 1.0F;
    borrowed.floatMax = 2.0F;
    borrowed.data = image.picBuf().data;
    image.setPicBuf(borrowed);
    EXPECT_EQ(image.picBuf().bitDepth, 7U);
    EXPECT_EQ(image.frameNo(), 8);
    EXPECT_EQ(image.picBuf().floatMin, 1.0F);
    EXPECT_EQ(image.picBuf().floatMax, 2.0F);
    EXPECT_TRUE(image.isFromMemoryPool(pool->handle()));
    EXPECT_EQ(pool->freeBuffers(), 0);
    image.setPicBuf(SzPicBuf());
    EXPECT_EQ(pool->freeBuffers(), 1);
}

TEST(ImageData, KnowsItsPool) {
    const auto pool = makePool(1);
    const auto other = makePool(1);
    CzImageData image;
    EXPECT_FALSE(image.isFromMemoryPool(pool->handle()));
    image.setPicBuf(poolPicture(*pool, format()));
    EXPECT_TRUE(image.isFromMemoryPool(pool->handle()));
    EXPECT_FALSE(image.isFromMemoryPool(other->handle()));
    EXPECT_FALSE(fullImage()->isFromMemoryPool(pool->handle()));
}

TEST(ImageData, CloneOnTheHeapIsADeepCopy) {
    const auto image = fullImage();
    QObject parent;
    const std::unique_ptr<CzImageData> copy(image->clone(&parent));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->parent(), &parent);
    expectDeepCopy(*copy, *image);
    fillPattern(copy->picBuf(), 9);
    EXPECT_TRUE(samePixels(image->picBuf(), *patternPicture(format())));
}

TEST(ImageData, ParentOwnsTheClone) {
    const auto image = fullImage();
    auto parent = std::make_unique<QObject>();
    const QPointer<CzImageData> copy = image->clone(parent.get());
    ASSERT_FALSE(copy.isNull());
    parent.reset();
    EXPECT_TRUE(copy.isNull());
}

TEST(ImageData, CloneInAPoolIsADeepCopyThere) {
    const auto pool = makePool(1);
    const auto image = fullImage();
    const std::unique_ptr<CzImageData> copy(image->clone(pool->handle(), nullptr));
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(copy->isFromMemoryPool(pool->handle()));
    expectDeepCopy(*copy, *image);

    EXPECT_EQ(image->clone(pool->handle(), nullptr), nullptr) << "the pool is exhausted";
    EXPECT_EQ(pool->exhaustions(), 1U);
    void* const noPool = nullptr;
    EXPECT_EQ(image->clone(noPool, nullptr), nullptr);
}

TEST(ImageData, CloneOfAnEmptyImageIsEmpty) {
    const auto pool = makePool(1);
    CzImageData image;
    image.picBuf().setPicFormat(format());
    image.picBuf().frameNo = 3;
    const std::unique_ptr<CzImageData> onHeap(image.clone(nullptr));
    const std::unique_ptr<CzImageData> inPool(image.clone(pool->handle(), nullptr));
    for (const auto* copy : {onHeap.get(), inPool.get()}) {
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(copy->picBuf().data, nullptr);
        EXPECT_EQ(static_cast<const SzPicBufInfo&>(copy->picBuf()), format());
        EXPECT_EQ(copy->frameNo(), 3);
    }
    EXPECT_EQ(pool->freeBuffers(), 1);
}

TEST(ImageData, IsFoundThroughItsMetaObject) {
    CzFFTImageData spectrum;
    IzChainData* const data = &spectrum;
    EXPECT_EQ(CzImageData::staticMetaObject.cast(data), &spectrum);
    CzImageData image;
    EXPECT_EQ(qobject_cast<CzFFTImageData*>(&image), nullptr);
}

SzPicBufInfo spectrumFormat() {
    return pictureFormat(16, 9, 1, EzImageDataType::SpectrumFloat32);
}

TEST(FFTImageData, OwnsBothParts) {
    const auto pool = makePool(3);
    auto spectrum = std::make_unique<CzFFTImageData>();
    spectrum->setPicBuf(poolPicture(*pool, spectrumFormat(), 1));
    EXPECT_TRUE(spectrum->setPicBufIm(poolPicture(*pool, spectrumFormat(), 2)));
    EXPECT_EQ(pool->freeBuffers(), 1);
    EXPECT_TRUE(spectrum->setPicBufIm(poolPicture(*pool, spectrumFormat(), 3)));
    EXPECT_EQ(pool->freeBuffers(), 1) << "the imaginary part held before is released";
    EXPECT_TRUE(samePixels(spectrum->picBuf(), *patternPicture(spectrumFormat(), 1)));
    EXPECT_TRUE(samePixels(spectrum->picBufIm(), *patternPicture(spectrumFormat(), 3)));
    spectrum.reset();
    EXPECT_EQ(pool->freeBuffers(), 3);
}

TEST(FFTImageData, ImaginaryPartMustFitTheReal) {
    CzFFTImageData spectrum;
    const HeapPicture alone(spectrumFormat());
    EXPECT_FALSE(spectrum.setPicBufIm(*alone)) << "there is no real part";
    spectrum.setPicBuf(HeapPicture(spectrumFormat()).release());
    for (const SzPicBufInfo& other : {pictureFormat(15, 9, 1, EzImageDataType::SpectrumFloat32),
                                      pictureFormat(16, 8, 1, EzImageDataType::SpectrumFloat32),
                                      pictureFormat(16, 9, 1, EzImageDataType::Float32)}) {
        const HeapPicture refused(other); // freed here: it stays the caller's
        EXPECT_FALSE(spectrum.setPicBufIm(*refused)) << formatName(other);
        EXPECT_EQ(spectrum.picBufIm().data, nullptr);
    }
}

TEST(FFTImageData, ANewRealPartReleasesAnImaginaryOneThatDoesNotFit) {
    const auto pool = makePool(4);
    CzFFTImageData spectrum;
    spectrum.setPicBuf(poolPicture(*pool, spectrumFormat()));
    ASSERT_TRUE(spectrum.setPicBufIm(poolPicture(*pool, spectrumFormat())));
    spectrum.setPicBuf(poolPicture(*pool, spectrumFormat()));
    EXPECT_NE(spectrum.picBufIm().data, nullptr);
    spectrum.setPicBuf(poolPicture(*pool, pictureFormat(4, 4, 1, EzImageDataType::SpectrumFloat32)));
    EXPECT_EQ(spectrum.picBufIm().data, nullptr);
    EXPECT_EQ(pool->freeBuffers(), 3);
}

TEST(FFTImageData, ClonesBothParts) {
    CzFFTImageData spectrum;
    SzPicBuf real = patternPicture(spectrumFormat(), 1).release();
    real.frameNo = 4;
    spectrum.setPicBuf(real);
    SzPicBuf imaginary = patternPicture(spectrumFormat(), 2).release();
    imaginary.frameNo = 4;
    imaginary.floatMax = 8.0F;
    ASSERT_TRUE(spectrum.setPicBufIm(imaginary));
    spectrum.setImageMetadata(metadata());

    const auto pool = makePool(2);
    QObject parent;
    const std::unique_ptr<CzFFTImageData> onHeap(spectrum.clone(&parent));
    const std::unique_ptr<CzFFTImageData> inPool(spectrum.clone(pool->handle(), &parent));
    EXPECT_EQ(pool->freeBuffers(), 0);
    for (const auto* copy : {onHeap.get(), inPool.get()}) {
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(copy->parent(), &parent);
        expectDeepCopy(*copy, spectrum);
        EXPECT_NE(copy->picBufIm().data, spectrum.picBufIm().data);
        EXPECT_TRUE(samePixels(copy->picBufIm(), spectrum.picBufIm()));
        EXPECT_EQ(copy->picBufIm().frameNo, 4);
        EXPECT_EQ(copy->picBufIm().floatMax, 8.0F);
    }
}

TEST(FFTImageData, ACloneThatGetsOnlyOneBufferGivesItBack) {
    CzFFTImageData spectrum;
    spectrum.setPicBuf(HeapPicture(spectrumFormat()).release());
    ASSERT_TRUE(spectrum.setPicBufIm(HeapPicture(spectrumFormat()).release()));
    const auto pool = makePool(1);
    EXPECT_EQ(spectrum.clone(pool->handle(), nullptr), nullptr);
    EXPECT_EQ(pool->freeBuffers(), 1);
}

TEST(FFTImageData, EitherPartMakesItThePools) {
    const auto pool = makePool(2);
    CzFFTImageData realOnly;
    realOnly.setPicBuf(poolPicture(*pool, spectrumFormat()));
    EXPECT_TRUE(realOnly.isFromMemoryPool(pool->handle()));
    CzFFTImageData imaginaryOnly;
    imaginaryOnly.setPicBuf(HeapPicture(spectrumFormat()).release());
    EXPECT_FALSE(imaginaryOnly.isFromMemoryPool(pool->handle()));
    ASSERT_TRUE(imaginaryOnly.setPicBufIm(poolPicture(*pool, spectrumFormat())));
    EXPECT_TRUE(imaginaryOnly.isFromMemoryPool(pool->handle()));
}

} // namespace
