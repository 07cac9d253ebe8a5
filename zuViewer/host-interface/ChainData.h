// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "CoreExport.h"

#include <QObject>

/// A data object that is passed along a chain. Whoever holds it owns it and releases it by deleting it.
class ZUCORE_EXPORT IzChainData : public QObject {
    Q_OBJECT
public:
    explicit IzChainData(QObject* parent = nullptr);
    ~IzChainData() override;

    /// Number of the frame: 0 for a still picture, live frames count from 1.
    virtual int frameNo() const = 0;

    /// A deep copy in memory of its own, owned by parent or, without one, by the caller; null when memory is
    /// short.
    virtual IzChainData* clone(QObject* parent) const = 0;

    /// A deep copy in memory of a pool; null when the pool has none free.
    virtual IzChainData* clone(void* pool, QObject* parent) const = 0;

    /// Whether any of its memory belongs to the pool.
    virtual bool isFromMemoryPool(void* pool) const = 0;
};
