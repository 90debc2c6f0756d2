// SPDX-License-Identifier: MIT
#pragma once

/// \file
/// Marks what the OrvelCommon library exports.

#if defined(_WIN32)
#if defined(ORVELCOMMON_BUILD)
#define ORVELCOMMON_EXPORT __declspec(dllexport)
#else
#define ORVELCOMMON_EXPORT __declspec(dllimport)
#endif
#else
#define ORVELCOMMON_EXPORT __attribute__((visibility("default")))
#endif
