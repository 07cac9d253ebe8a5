// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// Marks what zuCore exports; everything else in the library stays hidden.
#if defined(_WIN32)
#if defined(zuCore_EXPORTS)
#define ZUCORE_EXPORT __declspec(dllexport)
#else
#define ZUCORE_EXPORT __declspec(dllimport)
#endif
#else
#define ZUCORE_EXPORT __attribute__((visibility("default")))
#endif
