// SPDX-License-Identifier: GPL-3.0-or-later
// What every element does the same way.
#pragma once

#include "Chain.h"
#include "Chainable.h"
#include "ImageData.h"
#include "PicBufAPI.h"

#include <QDomElement>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <type_traits>

// ---- Parameters ----

/// A saved parameter: the name of its attribute, and its default in a new element.
template <class T>
struct Setting {
    const char* key;
    T defaultValue;
};

/// Writes a parameter as an attribute, in the type of value: integers become decimal numbers.
template <class T, class Value>
void writeSetting(QDomElement& element, const Setting<T>& setting, Value value) {
    element.setAttribute(QLatin1String(setting.key), value);
}

/// Reads a parameter back. Empty when there is no such attribute; text that is no number of type T reads as
/// 0.
template <class T>
std::optional<T> readSetting(const QDomElement& element, const Setting<T>& setting) {
    const QString key = QLatin1String(setting.key);
    if (!element.hasAttribute(key))
        return std::nullopt;
    const QString text = element.attribute(key);
    if constexpr (std::is_same_v<T, int>)
        return text.toInt();
    else if constexpr (std::is_same_v<T, qlonglong>)
        return text.toLongLong();
    else {
        static_assert(std::is_same_v<T, double>, "no reading rule for this type");
        return text.toDouble();
    }
}

/// Stops the element's chain if it runs, calls store, and starts the chain again if it ran: the way to change
/// what the run's resources or formats depend on. store locks the element's mutex itself, which nobody may
/// hold here: stopping waits for the worker. GUI thread.
template <class Store>
void changeStopped(const CzChainable& element, Store&& store) {
    CzChain* const chain = element.chain();
    const bool running = chain && !chain->stopped();
    if (running)
        chain->stop();
    store();
    if (running)
        chain->start();
}

/// Appends one button per choice, of which exactly one is checked at a time: the one whose identifier is
/// checkedId. captions and ids have the same length.
void appendExclusiveButtons(QList<CzChainable::CzSimpleStateConfigButton>& buttons, bool& exclusive,
                            const QStringList& captions, const QList<int>& ids, int checkedId);

// ---- Formats ----

/// Bytes of a packed line of format (all channels interleaved), rounded up to a multiple of alignment, which
/// is a power of two. A line too long for 32 bits gives the largest multiple: too short for the line, so that
/// the allocator refuses the picture.
std::uint32_t alignedLinePitch(const SzPicBufInfo& format, std::uint32_t alignment);

// ---- Processing ----

/// Sets the element's error message unless it has one: the first reason stays visible. setErrorMessage is
/// protected; an element passes its own:
///
///     reportOnce(*this, &CzFooCnbl::setErrorMessage, tr("..."));
void reportOnce(CzChainable& element, void (CzChainable::*setErrorMessage)(const QString&),
                const QString& message);

/// Sets every sample of an allocated picture to 0.
void clearPicture(SzPicBuf& picture);

/// An output picture out of the chain's pool. Goes back to the pool with the guard unless it was delivered.
class OutputPicture {
public:
    /// Whether there is a picture: test before use. The flag is the pool's.
    OutputPicture(void* memoryPool, QObject* owner, const SzPicBufInfo& format, bool flag = false);
    ~OutputPicture();

    OutputPicture(const OutputPicture&) = delete;
    OutputPicture& operator=(const OutputPicture&) = delete;

    explicit operator bool() const { return m_picture.data; }
    SzPicBuf& operator*() { return m_picture; }
    SzPicBuf* operator->() { return &m_picture; }

    /// Ends the processing of input: hands its additional data to the picture, deletes it, and returns the
    /// new data object, which belongs to the caller.
    CzImageData* deliver(CzImageData* input, const CzImageMetadata& metadata);

    /// The same for the two parts of a spectrum, of one format. This picture is the real part.
    CzImageData* deliver(CzImageData* input, const CzImageMetadata& metadata, OutputPicture& imaginary);

private:
    SzPicBuf m_picture;
};

/// A work picture on the heap, freed with the guard.
class HeapPicture {
public:
    HeapPicture() = default;
    ~HeapPicture();

    HeapPicture(HeapPicture&& other) noexcept;
    HeapPicture& operator=(HeapPicture&& other) noexcept;

    /// Frees the picture held before and allocates one of this format, all zero. False, and no picture, when
    /// the format is refused. The flag is the host's.
    bool allocate(const SzPicBufInfo& format, bool flag = false);
    void free();

    explicit operator bool() const { return m_picture.data; }
    SzPicBuf& operator*() { return m_picture; }
    SzPicBuf* operator->() { return &m_picture; }
    const SzPicBuf& operator*() const { return m_picture; }
    const SzPicBuf* operator->() const { return &m_picture; }

private:
    SzPicBuf m_picture;
};
