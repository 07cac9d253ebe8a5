// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// Remembers in the settings whether the program comes to its proper end: made when it starts, gone when it
/// ends.
class CzLastRun {
public:
    CzLastRun();
    ~CzLastRun();
    CzLastRun(const CzLastRun&) = delete;
    CzLastRun& operator=(const CzLastRun&) = delete;

    /// Whether the run before this one did not.
    bool wasUnclean() const { return m_wasUnclean; }

private:
    bool m_wasUnclean;
};
