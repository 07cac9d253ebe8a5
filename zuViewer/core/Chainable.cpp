// SPDX-License-Identifier: GPL-3.0-or-later
#include "Chainable.h"

#include "Chain.h"
#include "ChainPrivate.h"
#include "ChainablePrivate.h"
#include "FFTImageData.h"
#include "PicBufAPI.h"
#include "PicBufGeometry.h"
#include "RTTI.h"

#include <QDomElement>
#include <QPointer>

#include <chrono>
#include <exception>

namespace {

const QString kUniqueIdKey = QStringLiteral("uniqueId");
const QString kStateKey = QStringLiteral("state");

/// A copy of the picture without padding at the end of its lines; data is null when the pool has no buffer.
SzPicBuf packedCopy(const SzPicBuf& picture, void* pool, QObject* owner) {
    SzPicBufInfo format = picture;
    format.linePitch = static_cast<std::uint32_t>(packedLineBytes(picture));
    SzPicBuf packed;
    if (CzPicBufAPI::AllocPicBufFromPool(pool, owner, packed, format, false)) {
        CzPicBufAPI::CopyPicBuf(packed, picture, false);
        packed.copyPicAdditionalData(picture);
    }
    return packed;
}

bool hasPadding(const SzPicBuf& picture) {
    return hasPixels(picture) && picture.linePitch != packedLineBytes(picture);
}

} // namespace

CzChainable::CzSimpleStateConfigButton::CzSimpleStateConfigButton(const QString& caption, int id,
                                                                  bool checked)
    : m_caption(caption), m_id(id), m_checked(checked) {}

CzChainable::CzChainable(EzChainableFlags flags) : d(std::make_unique<Private>(flags)) {}

CzChainable::~CzChainable() {
    for (IzChainData* output : d->outputs)
        delete output;
}

bool CzChainable::isDataConsumer() const {
    return false;
}

EzChainableState CzChainable::state() {
    const CzChain* const running = chain();
    return running && running->d->onWorker() ? d->stateOfRun : d->state.load();
}

void CzChainable::setState(EzChainableState state) {
    if (d->state.exchange(state) == state)
        return;
    if (CzChain* const running = chain())
        running->d->setupRequested = true;
}

IzChainData* CzChainable::data(QObject*, int index) {
    const bool waits = index >= 0 && static_cast<std::size_t>(index) < d->outputs.size();
    return waits ? d->outputs[static_cast<std::size_t>(index)] : nullptr;
}

void CzChainable::discardData(QObject*, int index) {
    if (index >= 0 && static_cast<std::size_t>(index) < d->outputs.size())
        d->outputs.erase(d->outputs.begin() + index);
}

IzChainData* CzChainable::latestData(QObject*) {
    return d->outputs.empty() ? nullptr : d->outputs.back();
}

void CzChainable::discardLatestData(QObject*) {
    if (!d->outputs.empty())
        d->outputs.pop_back();
}

void CzChainable::simpleStateConfigButtons(QList<CzSimpleStateConfigButton>&, bool&) {}

void CzChainable::simpleStateConfigButtonPressed(int) {}

bool CzChainable::saveSettings(QDomDocument&, QDomElement& element) const {
    element.setAttribute(kUniqueIdKey, CzRTTI::uniqueId(*metaObject()));
    if (d->state == EzChainableState::Bypassed)
        element.setAttribute(kStateKey, static_cast<int>(EzChainableState::Bypassed));
    return true;
}

bool CzChainable::loadSettings(const QDomElement& element) {
    const QString state = element.attribute(kStateKey, QStringLiteral("0"));
    if (state == QLatin1String("0"))
        setState(EzChainableState::Processing);
    else if (state == QLatin1String("1"))
        setState(EzChainableState::Bypassed);
    else
        return false;
    return true;
}

bool CzChainable::hasHelp() const {
    return false;
}

QString CzChainable::help(QString&) {
    return {};
}

void CzChainable::setMaxFps(double maxFps) {
    d->maxFps = maxFps;
}

double CzChainable::maxFps() const {
    return d->maxFps;
}

void CzChainable::setupStart() {}

void CzChainable::setupStop() {}

int CzChainable::recommendedAdditionalBuffersInMemoryPool() const {
    return 0;
}

bool CzChainable::addSuccessor(CzChainable* successor) {
    if (!successor || d->successor || isDataConsumer())
        return false;
    d->successor = successor;
    return true;
}

bool CzChainable::addPrecedessor(CzChainable* predecessor) {
    if (!predecessor || d->predecessor || maxPredecessors() < 1 || !acceptsPredecessor(predecessor))
        return false;
    d->predecessor = predecessor;
    return true;
}

bool CzChainable::removeSuccessor(CzChainable* successor) {
    return successor && d->successor == successor && clearSuccesors();
}

bool CzChainable::removePrecedessor(CzChainable* predecessor) {
    return predecessor && d->predecessor == predecessor && clearPrecedessors();
}

bool CzChainable::clearSuccesors() {
    const bool had = d->successor != nullptr;
    d->successor = nullptr;
    return had;
}

bool CzChainable::clearPrecedessors() {
    const bool had = d->predecessor != nullptr;
    d->predecessor = nullptr;
    return had;
}

bool CzChainable::addToOutputData(IzChainData* output) {
    if (!output)
        return false;
    if (const CzChain* const running = chain())
        running->d->observe(*this, *output);
    d->outputs.push_back(output);
    if (d->successor)
        d->successor->onDataAvailable(this, static_cast<int>(d->outputs.size()) - 1);
    return true;
}

void CzChainable::onFreePoolBuffers(void* pool) {
    for (auto output = d->outputs.begin(); output != d->outputs.end();) {
        if ((*output)->isFromMemoryPool(pool)) {
            delete *output;
            output = d->outputs.erase(output);
        } else {
            ++output;
        }
    }
}

void CzChainable::onDataAvailable(CzChainable*, int) {
    run();
}

void CzChainable::run() {
    if (!d->predecessor)
        return;
    while (IzChainData* const input = d->predecessor->data(this, 0)) {
        d->predecessor->discardData(this, 0);
        if (state() == EzChainableState::Bypassed)
            addToOutputData(input);
        else if (IzChainData* const output = processGuarded(input))
            addToOutputData(output);
    }
}

IzChainData* CzChainable::processGuarded(IzChainData* input) {
    CzChain* const running = chain();
    if (running)
        running->d->poolWasExhausted(); // by an element before this one, which got over it

    // An element that throws, or drops its input by returning null, may or may not have deleted it.
    QPointer<IzChainData> remaining = input;
    IzChainData* output = nullptr;
    const auto begin = std::chrono::steady_clock::now();
    bool failed = !guarded([&] {
        remaining = input = withoutPadding(input);
        if (input)
            output = processData(input);
    });
    d->milliseconds +=
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();

    if (!output) {
        if (!failed && running && running->d->poolWasExhausted()) {
            failed = true;
            setErrorMessage(tr("The memory pool has no free picture."));
        }
        if (failed && running)
            running->d->frameFailed = true;
        delete remaining;
    }
    return output;
}

bool CzChainable::guarded(const std::function<void()>& function) {
    const CzChain::Private::AtWork atWork(chain(), *this);
    try {
        function();
        return true;
    } catch (const std::exception& e) {
        setErrorMessage(tr("The element failed: %1").arg(QString::fromLocal8Bit(e.what())));
    } catch (...) {
        setErrorMessage(tr("The element failed."));
    }
    return false;
}

IzChainData* CzChainable::withoutPadding(IzChainData* input) {
    auto* const image = qobject_cast<CzImageData*>(input);
    if (!image || d->flags.testFlag(EzChainableFlag::ReadsPaddedLines))
        return input;
    auto* const spectrum = qobject_cast<CzFFTImageData*>(image);
    if (!hasPadding(image->picBuf()) && !(spectrum && hasPadding(spectrum->picBufIm())))
        return input;

    std::unique_ptr<CzImageData> packed(spectrum ? new CzFFTImageData : new CzImageData);
    packed->setPicBuf(packedCopy(image->picBuf(), memoryPool, this));
    bool complete = packed->picBuf().data;
    if (complete && spectrum && spectrum->picBufIm().data)
        complete = static_cast<CzFFTImageData&>(*packed).setPicBufIm(
            packedCopy(spectrum->picBufIm(), memoryPool, this));
    packed->setImageMetadata(image->imageMetadata());
    delete input;
    return complete ? packed.release() : nullptr;
}

void CzChainable::onChainStarted(CzChain*) {
    setErrorMessage(QString());
}

void CzChainable::onChainStopped(CzChain*) {
    for (IzChainData* output : d->outputs)
        delete output;
    d->outputs.clear();
}

CzChain* CzChainable::chain() const {
    return d->chain;
}

CzChainable::EzChainableFlags CzChainable::flags() const {
    return d->flags;
}

QString CzChainable::errorMessage() const {
    const std::lock_guard lock(d->messageMutex);
    return d->errorMessage;
}

void CzChainable::setErrorMessage(const QString& message) {
    const std::lock_guard lock(d->messageMutex);
    d->errorMessage = message;
}

CzChainable* CzChainable::predecessor() const {
    return d->predecessor;
}

CzChainable* CzChainable::successor() const {
    return d->successor;
}
