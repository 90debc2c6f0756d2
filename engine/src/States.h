// SPDX-License-Identifier: MIT
#pragma once

namespace VantorEngine {

/// A file's way: Pending, Start, Preparing, Prepared, Downloading, Downloaded, Verifying, Verified, Success; a failed
/// attempt shows Failed and, when it is tried again, Start once more; a cancel shows Cancelling and Cancelled.
enum class ItemStatus {
    Pending,
    Start,
    Preparing,
    Prepared,
    Downloading,
    Downloaded,
    Verifying,
    Verified,
    Cancelling,
    Cancelled,
    Failed,
    Success
};

/// A group's way: Pending, Start, Progressing, Verifying, then Success or Failed; or Cancelling, Cancelled; or
/// Duplicated alone.
enum class GroupStatus { Pending, Start, Progressing, Verifying, Cancelling, Cancelled, Failed, Success, Duplicated };

/// The words used in the callback texts.
const char* statusName(ItemStatus status);
const char* statusName(GroupStatus status);

} // namespace VantorEngine
