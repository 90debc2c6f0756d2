// SPDX-License-Identifier: MIT
#include "Tool/DiskTypeEnumerator.h"

#include "Tool/DiskMedia_win.h"
#include "Tool/DiskNumber_win.h"

DiskTypeEnumerator::DiskTypeEnumerator(QObject* parent) : QObject(parent)
{
}

DiskTypeEnumerator::~DiskTypeEnumerator() = default;

void DiskTypeEnumerator::onStart()
{
    Q_EMIT mediaType(queryMediaType(physicalNumber(m_drive)));
}

int DiskTypeEnumerator::physicalNumber(const QString& drive)
{
    return DiskNumber::Of(drive);
}

int DiskTypeEnumerator::queryMediaType(int number)
{
    return DiskMedia::TypeOf(number);
}
