// SPDX-License-Identifier: MIT
#pragma once

/// \brief How urgent a download group is, compared with the others of the same back-end.
///
/// Both back-ends accept it; the chunk-engine back-end ignores it.
enum DownloadPriority {
    Low = 0,
    Normal = 1,
    High = 2,
};
