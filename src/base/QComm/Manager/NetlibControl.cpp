// SPDX-License-Identifier: MIT
#include "Manager/NetlibControl.h"

#include <memory>

const QString NetlibControl::kNetlibTypeLibcurl = QStringLiteral("libcurl");
const QString NetlibControl::kNetlibTypeQT = QStringLiteral("QT");
const QString NetlibControl::kNetlibTypeVantor = QStringLiteral("vantor");
const QString NetlibControl::kPkgSizeInfoHeader = QStringLiteral("header");
const QString NetlibControl::kPkgSizeInfoResource = QStringLiteral("resource");

NetlibControl::NetlibControl() : netlibType(kNetlibTypeQT), pkgSizeInfo(kPkgSizeInfoHeader)
{
}

NetlibControl::~NetlibControl() = default;

NetlibControl* NetlibControl::Instance()
{
    // Initialised once under the compiler's own lock, whichever thread comes first; deleted at process exit.
    static const std::unique_ptr<NetlibControl> instance(new NetlibControl);
    return instance.get();
}
