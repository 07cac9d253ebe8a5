// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// While it exists, the first SIGINT, SIGTERM or SIGHUP ends nothing but is noted, so that a run can end in
/// order. One that comes half a second or more later ends the program at once; what comes sooner is the same
/// request, sent to the program and to its group. A signal that the program was started to ignore (nohup)
/// stays ignored. One at a time.
class CzInterruption {
public:
    CzInterruption();
    ~CzInterruption();
    CzInterruption(const CzInterruption&) = delete;
    CzInterruption& operator=(const CzInterruption&) = delete;

    /// The number of the signal that was noted, 0 while there was none. Any thread.
    int signal() const;
};
