// SPDX-License-Identifier: MIT
#include "Manager/NetlibControl.h"

#include <QMutex>
#include <QMutexLocker>

#include <memory>

const QString NetlibControl::kNetlibTypeLibcurl = QStringLiteral("libcurl");
const QString NetlibControl::kNetlibTypeQT = QStringLiteral("QT");
const QString NetlibControl::kNetlibTypeVantor = QStringLiteral("vantor");
const QString NetlibControl::kPkgSizeInfoHeader = QStringLiteral("header");
const QString NetlibControl::kPkgSizeInfoResource = QStringLiteral("resource");

namespace {

// At namespace scope, so that it is there until the library's own end: a download manager that is a static object of
// the launcher closes its files, and reads the settings for that, when the launcher's statics are destroyed.
QMutex instanceMutex;
std::unique_ptr<NetlibControl> instance;

} // namespace

NetlibControl::NetlibControl() : netlibType(kNetlibTypeQT), pkgSizeInfo(kPkgSizeInfoHeader)
{
}

NetlibControl::~NetlibControl() = default;

NetlibControl* NetlibControl::Instance()
{
    const QMutexLocker locker(&instanceMutex);
    if (!instance)
        instance.reset(new NetlibControl);
    return instance.get();
}
