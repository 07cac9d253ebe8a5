// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// What the program tells the shell.
enum class EzExitCode : int {
    Success = 0,
    Failed = 1, ///< a frame, an element or a file failed; everything else was done
    Misuse = 2, ///< the command line, the chain or a sidecar is wrong; nothing was done
};

/// As shells report a program that a signal ended: 130 for SIGINT, 143 for SIGTERM.
constexpr EzExitCode interruptedBy(int signal) {
    return EzExitCode(128 + signal);
}
