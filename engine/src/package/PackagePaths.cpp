// SPDX-License-Identifier: MIT
#include "package/PackagePaths.h"

#include "FileNames.h"

#include <QStringList>

#include <algorithm>

namespace VantorEngine {

const char* const kEngineFolder = ".vantor";

namespace {

bool isUnusableOnWindows(QChar character)
{
    return QLatin1String("<>\"|?*").contains(character);
}

/// Of the files that are named after a package or branch: ".json", and more while they are written.
constexpr int kIdSuffix = 12;

QString partProblem(const QString& name, int suffix)
{
    const QString problem = nameProblem(name, NameRules::Windows, suffix);
    if (!problem.isEmpty()) {
        return problem;
    }
    if (std::any_of(name.cbegin(), name.cend(), isUnusableOnWindows)) {
        return QStringLiteral("the file name has a character that not every system can store");
    }
    return name.toUtf8().size() > kLongestName - suffix ? QStringLiteral("the file name is too long") : QString();
}

QString collisionKey(const QString& path)
{
    return path.normalized(QString::NormalizationForm_C).toCaseFolded();
}

} // namespace

QString packageNameProblem(const QString& name)
{
    return partProblem(name, kIdSuffix);
}

QString packagePathProblem(const QString& path)
{
    const QStringList parts = path.split(QLatin1Char('/'));
    for (const QString& part : parts) {
        const QString problem = partProblem(part, 0); // fetched under another name
        if (!problem.isEmpty()) {
            return problem;
        }
    }
    if (collisionKey(parts.constFirst()) == QLatin1String(kEngineFolder)) {
        return QStringLiteral("the path lies in the engine's own folder");
    }
    return {};
}

QString PackagePathSet::addFile(const QString& path)
{
    const QString problem = addParents(path);
    return problem.isEmpty() ? add(path, false) : problem;
}

QString PackagePathSet::addFolder(const QString& path)
{
    const QString problem = addParents(path);
    return problem.isEmpty() ? add(path, true) : problem;
}

QString PackagePathSet::addParents(const QString& path)
{
    for (int slash = path.indexOf(QLatin1Char('/')); slash >= 0; slash = path.indexOf(QLatin1Char('/'), slash + 1)) {
        const QString problem = add(path.left(slash), true);
        if (!problem.isEmpty()) {
            return problem;
        }
    }
    return {};
}

QString PackagePathSet::add(const QString& path, bool folder)
{
    const QString key = collisionKey(path);
    const auto known = m_entries.constFind(key);
    if (known == m_entries.constEnd()) {
        m_entries.insert(key, {path, folder});
        return {};
    }
    const bool sameFolder = known->folder && folder && known->spelling == path;
    return sameFolder ? QString() : QStringLiteral("the paths %1 and %2 collide").arg(known->spelling, path);
}

} // namespace VantorEngine
