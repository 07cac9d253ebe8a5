// SPDX-License-Identifier: GPL-3.0-or-later
#include "Interruption.h"

#include <signal.h>
#include <time.h>

#include <atomic>
#include <cstdint>

namespace {

constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};

std::atomic<int> noted{0};
std::atomic<std::int64_t> notedAt{0}; ///< in milliseconds
static_assert(decltype(notedAt)::is_always_lock_free, "a signal handler may not wait");

std::int64_t milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

void note(int number) {
    constexpr std::int64_t impatient = 500;
    if (noted == 0) {
        notedAt = milliseconds();
        noted = number;
    } else if (milliseconds() - notedAt >= impatient) {
        ::signal(number, SIG_DFL);
        ::raise(number); // takes effect when this returns
    }
}

} // namespace

CzInterruption::CzInterruption() {
    noted = 0;
    struct sigaction action {};
    action.sa_handler = &note;
    action.sa_flags = SA_RESTART;
    for (const int number : signals) {
        struct sigaction before {};
        if (sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            sigaction(number, &action, nullptr);
    }
}

CzInterruption::~CzInterruption() {
    for (const int number : signals) {
        struct sigaction current {};
        if (sigaction(number, nullptr, &current) == 0 && current.sa_handler == &note)
            ::signal(number, SIG_DFL);
    }
}

int CzInterruption::signal() const {
    return noted;
}
