// SPDX-License-Identifier: MIT
#include "Network/DownloadTaskInterface.h"

DownloadTaskInterface::DownloadTaskInterface(QObject* parent) : QObject(parent)
{
}

DownloadTaskInterface::~DownloadTaskInterface() = default;

void DownloadTaskInterface::Reserved()
{
}
