// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <windows.h>

#include <objbase.h>
#include <wbemcli.h>

#include <string>

/// \file
/// What the storage management of Windows knows about physical disks, through WMI. Internal: not installed.

namespace DiskMedia {

/// \brief What is asked of COM, so that tests can answer.
struct Api
{
    decltype(&::CoInitializeEx) initialize = &::CoInitializeEx;
    decltype(&::CoInitializeSecurity) initializeSecurity = &::CoInitializeSecurity;
    decltype(&::CoCreateInstance) createInstance = &::CoCreateInstance;
    decltype(&::CoSetProxyBlanket) setProxyBlanket = &::CoSetProxyBlanket;
    decltype(&::CoUninitialize) uninitialize = &::CoUninitialize;
};

/// \brief One row of MSFT_PhysicalDisk. A property that cannot be read stays empty or 0.
struct Disk
{
    std::string deviceId;
    qint32 busType = 0;
    qint32 healthStatus = 0;
    qint32 spindleSpeed = 0;
    qint32 mediaType = 0;
};

constexpr int kUnspecified = 0;

Disk Read(IWbemClassObject* row);

/// \brief Whether the disk is the one with this number. A disk without an id is none.
bool Matches(const Disk& disk, int number);

/// \brief Reads all rows, one by one, with a debug line each. \return the media type of the disk with this
/// number, kUnspecified when none has it
int TypeAmong(IEnumWbemClassObject* rows, int number);

/// \brief The whole query, COM included. \return the media type, kUnspecified for the number -1, for one that
/// no disk has, and after a failure, which is written as a debug line
int TypeOf(int number, const Api& api = Api());

} // namespace DiskMedia
