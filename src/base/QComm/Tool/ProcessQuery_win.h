// SPDX-License-Identifier: MIT
#pragma once

#include "Tool/ProcessOperator.h"

#include <QList>
#include <QString>

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

/// \file
/// The queries of ProcessOperator, with what they ask of Windows. Internal: not installed.

namespace ProcessQuery {

/// \brief What is asked of Windows, so that tests can answer.
struct Api
{
    decltype(&::CreateToolhelp32Snapshot) createSnapshot = &::CreateToolhelp32Snapshot;
    decltype(&::Process32FirstW) firstProcess = &::Process32FirstW;
    decltype(&::Process32NextW) nextProcess = &::Process32NextW;
    decltype(&::OpenProcess) openProcess = &::OpenProcess;
    decltype(&::K32GetModuleFileNameExW) moduleFileName = &::K32GetModuleFileNameExW;
    decltype(&::QueryFullProcessImageNameW) imageName = &::QueryFullProcessImageNameW;
    decltype(&::CloseHandle) closeHandle = &::CloseHandle;
};

int Count(const QString& exeName, const Api& api = Api());
ProcessOperator::ProcessStatus Status(const QString& exeName, const Api& api = Api());
QList<int> Ids(const QString& exeName, const Api& api = Api());
QString PathOf(int pid, const Api& api = Api());

} // namespace ProcessQuery
