// SPDX-License-Identifier: GPL-3.0-or-later

// Plug-ins are built against the order of the virtual operations: it must not change unnoticed. In the
// Itanium C++ ABI a pointer to a virtual member function holds 1 + the byte offset of its entry in the
// virtual table, and a virtual destructor takes two entries where the interface counts one slot.

#include "Chain.h"
#include "Chainable.h"
#include "FFTImageData.h"
#include "ImageData.h"
#include "ImageProvider.h"
#include "Plugin.h"

#include <QDomElement>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace {

template <class Pointer>
int tableEntry(Pointer pointerToMember) {
    std::ptrdiff_t word = 0;
    std::memcpy(&word, &pointerToMember, sizeof word);
    EXPECT_EQ(1, word % 2) << "not a virtual member function";
    return static_cast<int>((word - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)));
}

/// All operations that are asked for stand behind the destructor.
template <class Pointer>
int slot(Pointer pointerToMember) {
    return tableEntry(pointerToMember) - 1;
}

TEST(SlotOrder, QObjectTakesSlots0To10) {
    struct Access : QObject {
        static auto disconnectNotifyPointer() { return &Access::disconnectNotify; }
    };
    EXPECT_EQ(0, tableEntry(&QObject::metaObject));
    EXPECT_EQ(10, slot(Access::disconnectNotifyPointer()));
}

TEST(SlotOrder, Chainable) {
    using C = CzChainable;
    int next = 11;
    EXPECT_EQ(next++, slot(&C::caption));
    EXPECT_EQ(next++, slot(&C::acceptsPredecessor));
    EXPECT_EQ(next++, slot(&C::maxPredecessors));
    EXPECT_EQ(next++, slot(&C::duplicate));
    EXPECT_EQ(next++, slot(&C::init));
    EXPECT_EQ(next++, slot(&C::initialized));
    EXPECT_EQ(next++, slot(&C::isDataConsumer));
    EXPECT_EQ(next++, slot(&C::state));
    EXPECT_EQ(next++, slot(&C::data));
    EXPECT_EQ(next++, slot(&C::discardData));
    EXPECT_EQ(next++, slot(&C::latestData));
    EXPECT_EQ(next++, slot(&C::discardLatestData));
    EXPECT_EQ(next++, slot(&C::createConfigWidget));
    EXPECT_EQ(next++, slot(&C::isConfigurable));
    EXPECT_EQ(next++, slot(&C::simpleStateConfigButtons));
    EXPECT_EQ(next++, slot(&C::simpleStateConfigButtonPressed));
    EXPECT_EQ(next++, slot(&C::saveSettings));
    EXPECT_EQ(next++, slot(&C::loadSettings));
    EXPECT_EQ(next++, slot(&C::hasHelp));
    EXPECT_EQ(next++, slot(&C::help));
    EXPECT_EQ(next++, slot(&C::setMaxFps));
    EXPECT_EQ(next++, slot(&C::maxFps));
    EXPECT_EQ(next++, slot(&C::setupStart));
    EXPECT_EQ(next++, slot(&C::setupStop));
    EXPECT_EQ(next++, slot(&C::recommendedAdditionalBuffersInMemoryPool));
    EXPECT_EQ(next++, slot(&C::processData));
    EXPECT_EQ(next++, slot(&C::addSuccessor));
    EXPECT_EQ(next++, slot(&C::addPrecedessor));
    EXPECT_EQ(next++, slot(&C::removeSuccessor));
    EXPECT_EQ(next++, slot(&C::removePrecedessor));
    EXPECT_EQ(next++, slot(&C::clearSuccesors));
    EXPECT_EQ(next++, slot(&C::clearPrecedessors));
    EXPECT_EQ(next++, slot(&C::addToOutputData));
    EXPECT_EQ(next++, slot(&C::onFreePoolBuffers));
    EXPECT_EQ(next++, slot(&C::onDataAvailable));
    EXPECT_EQ(next++, slot(&C::run));
    EXPECT_EQ(next++, slot(&C::onChainStarted));
    EXPECT_EQ(next++, slot(&C::onChainStopped));
    EXPECT_EQ(49, next);
}

TEST(SlotOrder, ImageProvider) {
    using P = CzImageProvider;
    EXPECT_EQ(49, slot(&P::outputImageInfo));
    EXPECT_EQ(50, slot(&P::currentOutputImageInfo));
    EXPECT_EQ(51, slot(&P::currentInputImageInfo));
    EXPECT_EQ(52, slot(&P::queryImagesCountInMemoryPool));
}

TEST(SlotOrder, ChainDataAndImageData) {
    using D = IzChainData;
    using I = CzImageData;
    EXPECT_EQ(11, slot(&D::frameNo));
    EXPECT_EQ(12, slot(static_cast<D* (D::*)(QObject*) const>(&D::clone)));
    EXPECT_EQ(13, slot(static_cast<D* (D::*)(void*, QObject*) const>(&D::clone)));
    EXPECT_EQ(14, slot(&D::isFromMemoryPool));
    EXPECT_EQ(15, slot(static_cast<const SzPicBuf& (I::*)() const>(&I::picBuf)));
    EXPECT_EQ(16, slot(static_cast<SzPicBuf& (I::*)()>(&I::picBuf)));
    EXPECT_EQ(17, slot(&I::setPicBuf));
    EXPECT_EQ(18, slot(&I::imageMetadata));
    EXPECT_EQ(19, slot(&I::setImageMetadata));
}

TEST(SlotOrder, PluginCountsItsDestructorAsSlot0) {
    using P = CzPlugin;
    int next = 1;
    EXPECT_EQ(next++, slot(&P::initialize));
    EXPECT_EQ(next++, slot(&P::finish));
    EXPECT_EQ(next++, slot(&P::loadSettings));
    EXPECT_EQ(next++, slot(&P::saveSettings));
    EXPECT_EQ(next++, slot(&P::copyrightNotice));
    EXPECT_EQ(next++, slot(&P::pluginName));
    EXPECT_EQ(next++, slot(&P::vendorName));
    EXPECT_EQ(next++, slot(&P::pluginDescription));
    EXPECT_EQ(next++, slot(&P::version));
    EXPECT_EQ(next++, slot(&P::coreVersion));
    EXPECT_EQ(next++, slot(&P::vendorUrl));
    EXPECT_EQ(next++, slot(&P::activeViewChanged));
    EXPECT_EQ(next++, slot(&P::viewAboutToClose));
    EXPECT_EQ(next++, slot(&P::newCameraConnected));
    EXPECT_EQ(next++, slot(&P::cameraDisconnected));
    EXPECT_EQ(next++, slot(&P::viewGotNewImage));
    EXPECT_EQ(next++, slot(&P::viewMouseBtnPressEvent));
    EXPECT_EQ(next++, slot(&P::viewMouseMoveEvent));
    EXPECT_EQ(next++, slot(&P::viewMouseBtnReleaseEvent));
    EXPECT_EQ(next++, slot(&P::viewMouseDoubleClickEvent));
    EXPECT_EQ(next++, slot(&P::customCommand));
    EXPECT_EQ(22, next);
}

// The records are handed over by plug-ins, too.
TEST(RecordLayout, PictureFormatHoldsNine32BitFieldsAndABool) {
    EXPECT_EQ(0U, offsetof(SzPicBufInfo, width));
    EXPECT_EQ(4U, offsetof(SzPicBufInfo, height));
    EXPECT_EQ(8U, offsetof(SzPicBufInfo, linePitch));
    EXPECT_EQ(12U, offsetof(SzPicBufInfo, channels));
    EXPECT_EQ(16U, offsetof(SzPicBufInfo, bitDepth));
    EXPECT_EQ(20U, offsetof(SzPicBufInfo, reserved));
    EXPECT_EQ(24U, offsetof(SzPicBufInfo, dataType));
    EXPECT_EQ(28U, offsetof(SzPicBufInfo, storageFormat));
    EXPECT_EQ(32U, offsetof(SzPicBufInfo, colorFilterArray));
    EXPECT_EQ(36U, offsetof(SzPicBufInfo, isColor));
}

TEST(RecordLayout, FilterZoneBeginsWithNine32BitFields) {
    using Zone = CzHsiCameraParams::CzFilterZone;
    EXPECT_EQ(0U, offsetof(Zone, id));
    EXPECT_EQ(4U, offsetof(Zone, cellWidth));
    EXPECT_EQ(8U, offsetof(Zone, cellHeight));
    EXPECT_EQ(12U, offsetof(Zone, blockWidth));
    EXPECT_EQ(16U, offsetof(Zone, blockHeight));
    EXPECT_EQ(20U, offsetof(Zone, left));
    EXPECT_EQ(24U, offsetof(Zone, top));
    EXPECT_EQ(28U, offsetof(Zone, right));
    EXPECT_EQ(32U, offsetof(Zone, bottom));
    EXPECT_LE(36U, offsetof(Zone, bands));
}

TEST(RecordLayout, EnumerationsAre32BitsWideWithTheirFixedValues) {
    EXPECT_EQ(4U, sizeof(EzImageDataType));
    EXPECT_EQ(4U, sizeof(EzDataStorageFormat));
    EXPECT_EQ(4U, sizeof(EzColorFilterArray));
    EXPECT_EQ(4U, sizeof(EzChainableState));
    EXPECT_EQ(4U, sizeof(CzChainable::EzChainableFlag));
    EXPECT_EQ(2, int(EzImageDataType::UInt8));
    EXPECT_EQ(4, int(EzImageDataType::UInt16));
    EXPECT_EQ(6, int(EzImageDataType::UInt32));
    EXPECT_EQ(7, int(EzImageDataType::Float32));
    EXPECT_EQ(1, int(EzDataStorageFormat::Interleaved));
    EXPECT_EQ(2, int(EzDataStorageFormat::Planar));
    EXPECT_EQ(3, int(EzDataStorageFormat::HostPacked));
    EXPECT_EQ(1, int(EzColorFilterArray::BayerRGGB));
    EXPECT_EQ(4, int(EzColorFilterArray::BayerBGGR));
    EXPECT_EQ(7, int(EzColorFilterArray::Hyperspectral));
    EXPECT_EQ(1, int(EzChainableState::Bypassed));
    EXPECT_EQ(1, int(CzChainable::EzChainableFlag::ReadsPaddedLines));
    EXPECT_EQ(4, int(CzChainable::EzChainableFlag::WantsRawPictures));
    EXPECT_EQ(8, int(CzChainable::EzChainableFlag::ConvertsPictures));
}

} // namespace
