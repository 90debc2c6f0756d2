// SPDX-License-Identifier: MIT
#pragma once

#include <QtCore/qglobal.h>

/// \file
/// The export macro and the version of the library. Every other public header includes this one.

/// Marks what the library exports. Programs that use the DLL see `dllimport`; without it `connect` with
/// member function pointers would not find the signals.
#if defined(ORVELQCOMM_BUILD)
#define QCOMM_EXPORT Q_DECL_EXPORT
#else
#define QCOMM_EXPORT Q_DECL_IMPORT
#endif

#define QCOMM_VERSION_MAJOR 1        ///< grows with an interface that old programs cannot use
#define QCOMM_VERSION_MINOR 0        ///< grows with additions
#define QCOMM_VERSION_PATCH 0        ///< grows with repairs
#define QCOMM_VERSION_STRING "1.0.0" ///< the three numbers as text
