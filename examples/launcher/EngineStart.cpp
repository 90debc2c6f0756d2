// SPDX-License-Identifier: MIT
#include "EngineStart.h"

#include "EngineHint.h"
#include "vantor/VantorExporter.h"

#include <QDir>
#include <QStandardPaths>

namespace {

// As the engine counts: routine information, to its log handler only, never to the screen.
constexpr int kEngineLogLevel = 2;
constexpr int kEngineLogDestination = 0;

} // namespace

QString startEngine(const QString& config)
{
    const QString folder =
        QDir(QStandardPaths::writableLocation(QStandardPaths::CacheLocation)).filePath(QStringLiteral("engine"));
    QDir().mkpath(folder);
    if (VantorExporter::Instance()->Init(folder, config, kEngineLogLevel, kEngineLogDestination))
        return QString();
    return QStringLiteral("the download engine was not found, or lacks a function.\n%1").arg(engineHint());
}
