// SPDX-License-Identifier: MIT
#include "OptionValues.h"

#include "Language.h"

#include <QDir>

namespace {

// More would not fit when it is counted in bytes.
constexpr qint64 kMostKilobytes = 1LL << 40;
constexpr int kPatienceSeconds = 60;
constexpr int kMostPatienceSeconds = 24 * 60 * 60;

} // namespace

void OptionValues::add(const QStringList& names, QCommandLineParser* parser)
{
    for (const QString& name : names)
        parser->addOption(QCommandLineOption(name, QString(), QStringLiteral("value")));
}

QString OptionValues::absolutePath(const QString& folder)
{
    return folder.isEmpty() ? folder : QDir::cleanPath(QDir(folder).absolutePath());
}

QString OptionValues::readLimit(const QCommandLineParser& parser, const QString& option, std::optional<qint64>* value)
{
    if (!parser.isSet(option))
        return QString();
    bool isNumber = false;
    const qint64 limit = parser.value(option).toLongLong(&isNumber);
    if (!isNumber || limit < 0 || limit > kMostKilobytes)
        return QStringLiteral("--limit wants a number of KiB per second");
    *value = limit;
    return QString();
}

QString OptionValues::readLanguage(const QCommandLineParser& parser, const QString& option, QString* value)
{
    *value = parser.isSet(option) ? parser.value(option) : Language::ofSystem();
    if (!Language::names().contains(*value))
        return QStringLiteral("--lang wants %1").arg(Language::names().join(QLatin1String(" or ")));
    return QString();
}

QString OptionValues::readPatience(const QCommandLineParser& parser, const QString& option, int* value)
{
    *value = kPatienceSeconds;
    if (!parser.isSet(option))
        return QString();
    *value = parser.value(option).toInt();
    if (*value < 1 || *value > kMostPatienceSeconds)
        return QStringLiteral("--patience wants a number of seconds");
    return QString();
}
