// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLockFile>

/// Remembers beside the settings whether the program comes to its proper end: made when it starts, gone when
/// it ends. The file that says so belongs to the first of several programs that run at a time; the others say
/// nothing about the last run, and their ends are none.
class CzLastRun {
public:
    CzLastRun();

    /// Whether the run before this one did not.
    bool wasUnclean() const { return m_wasUnclean; }

private:
    QLockFile m_running; // goes with this; after a crash it stays
    bool m_wasUnclean;
};
