// SPDX-License-Identifier: MIT
#include "Tool/StringOperator.h"

#include <QFileInfo>
#include <QObject>
#include <QStringList>

#include <algorithm>

namespace {

const QLatin1String kTurkish("tr-tr");
const QLatin1String kPercentStart("[percent_sign_start]");
const QLatin1String kPercentEnd("[percent_sign_end]");
constexpr int kShortestDrive = 2; // a letter and the colon

// Intended: callers depend on the reversed sign (positive for a newer second version) and on the codes 2 and -2.
enum VersionResult {
    Same = 0,
    SecondNewer = 1,
    FirstNewer = -1,
    FirstEmpty = 2,
    SecondEmpty = -2,
    NoNumber = -2,
};

QStringList versionParts(const QString& version)
{
    return version.split(QLatin1Char('.'), Qt::SkipEmptyParts);
}

int comparePart(const QString& a, const QString& b)
{
    bool isNumberA = false;
    bool isNumberB = false;
    const int numberA = a.toInt(&isNumberA);
    const int numberB = b.toInt(&isNumberB);
    if (!isNumberA || !isNumberB)
        return NoNumber;
    if (numberA == numberB)
        return Same;
    return numberA < numberB ? SecondNewer : FirstNewer;
}

bool isForbidden(QChar character)
{
    // Intended: the full-width question mark U+FF1F stands where the ASCII one is to be expected, and that one is
    // allowed. Launchers depend on it; do not correct it.
    static const QString kForbidden = QStringLiteral("\uFF1F*><|:\"");
    return kForbidden.contains(character);
}

} // namespace

int StringOperator::VersionCompare(const QString& a, const QString& b)
{
    if (a == b)
        return Same;
    if (b.isEmpty())
        return SecondEmpty;
    if (a.isEmpty())
        return FirstEmpty;
    const QStringList partsA = versionParts(a);
    const QStringList partsB = versionParts(b);
    const QString missing = QStringLiteral("0");
    const int count = std::max(partsA.size(), partsB.size());
    for (int i = 0; i < count; ++i) {
        const int result = comparePart(partsA.value(i, missing), partsB.value(i, missing));
        if (result != Same)
            return result;
    }
    return Same;
}

QString StringOperator::AddPercent(const QString& text, const QString& lang, const QString& percent)
{
    const bool isBefore = lang == kTurkish;
    QString result = text;
    result.replace(kPercentStart, isBefore ? percent : QString());
    result.replace(kPercentEnd, isBefore ? QString() : percent);
    return result;
}

QString StringOperator::AddPercentSign(const QString& text, const QString& lang)
{
    return AddPercent(text, lang, QObject::tr("label_percent_sign"));
}

QString StringOperator::AppendFixedPath(const QString& path, const QString& fixedName)
{
    QString result = path;
    result.replace(QLatin1String("\\\\"), QLatin1String("/"));
    result.replace(QLatin1Char('\\'), QLatin1Char('/'));
    if (result.endsWith(QLatin1Char('/')))
        result.chop(1);
    const QString last = result.section(QLatin1Char('/'), -1);
    if (fixedName.isEmpty() || last.toLower() == fixedName.toLower())
        return result;
    return QStringLiteral("%1/%2").arg(result, fixedName);
}

bool StringOperator::IsValidPath(QString path)
{
    if (path.isEmpty())
        return false;
    if (QFileInfo::exists(path))
        return true;
    const QString drive = path.left(path.indexOf(QLatin1Char(':')) + 1);
    if (drive.size() < kShortestDrive || !QFileInfo::exists(drive))
        return false;
    return std::none_of(path.cbegin() + drive.size(), path.cend(), isForbidden);
}
