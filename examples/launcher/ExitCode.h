// SPDX-License-Identifier: MIT
#pragma once

/// \brief What the program ends with. Told to the user in each command's help.
namespace ExitCode {

constexpr int kAllFinished = 0;   ///< every file is finished
constexpr int kFilesFailed = 1;   ///< at least one file failed
constexpr int kNotDone = 1;       ///< what a command was asked for could not be done
constexpr int kWrongUse = 2;      ///< arguments, list, folder or log file cannot be used
constexpr int kNoEngine = 3;      ///< no usable engine was found
constexpr int kNoUnpacker = 3;    ///< 7z.exe was not found or did not start
constexpr int kNoAnswer = 4;      ///< the engine ended or fell silent without a result
constexpr int kInterrupted = 130; ///< stopped by the user, as shells count an interrupt

} // namespace ExitCode
