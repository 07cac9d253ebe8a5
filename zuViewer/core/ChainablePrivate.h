// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "Chainable.h"

#include <atomic>
#include <deque>
#include <mutex>

struct CzChainable::Private {
    explicit Private(EzChainableFlags elementFlags) : flags(elementFlags) {}

    const EzChainableFlags flags;
    std::atomic<EzChainableState> state{EzChainableState::Processing};
    std::atomic<double> maxFps{0.0};
    std::atomic<CzChain*> chain{nullptr};

    // Change only while the chain is stopped.
    CzChainable* predecessor = nullptr;
    CzChainable* successor = nullptr;

    std::mutex messageMutex;
    QString errorMessage;

    // The worker's.
    EzChainableState stateOfRun = EzChainableState::Processing; ///< that the chain was set up with
    std::deque<IzChainData*> outputs;
    double milliseconds = 0.0; ///< spent in processData() for the frame at hand
};
