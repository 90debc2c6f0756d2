// SPDX-License-Identifier: MIT
#pragma once

/// \file
/// The export macro of the OrvelCommon library.

/// \def ORVELCOMMON_EXPORT
/// Marks what the library exports.
#if defined(_WIN32)
#if defined(ORVELCOMMON_BUILD)
#define ORVELCOMMON_EXPORT __declspec(dllexport)
#else
#define ORVELCOMMON_EXPORT __declspec(dllimport)
#endif
#else
#define ORVELCOMMON_EXPORT __attribute__((visibility("default")))
#endif
