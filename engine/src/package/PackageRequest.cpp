// SPDX-License-Identifier: MIT
#include "package/PackageRequest.h"

#include "package/PackagePaths.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

namespace VantorEngine {

namespace {

struct NamedAction
{
    const char* name;
    PackageAction action;
};

constexpr NamedAction kActions[] = {
    {"fetch_version", PackageAction::FetchVersion},     {"fetch_size", PackageAction::FetchSize},
    {"normal_download", PackageAction::NormalDownload}, {"repair_download", PackageAction::RepairDownload},
    {"delete_database", PackageAction::DeleteDatabase},
};

PackageAction actionOf(const QString& name)
{
    for (const NamedAction& each : kActions) {
        if (name == QLatin1String(each.name)) {
            return each.action;
        }
    }
    return PackageAction::Unknown;
}

/// Folders are told apart, and compared, by their clean absolute paths.
QString folder(const QJsonObject& object, const char* key)
{
    const QString path = object.value(QLatin1String(key)).toString();
    return path.isEmpty() ? path : QDir::cleanPath(QDir::fromNativeSeparators(path));
}

} // namespace

PackageRequest parsePackageRequest(const QByteArray& json)
{
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    const auto text = [&object](const char* key) { return object.value(QLatin1String(key)).toString(); };
    PackageRequest request;
    request.guid = text("guid");
    request.actionName = text("action");
    request.action = actionOf(request.actionName);
    request.package = text("package_id");
    request.branch = text("branch");
    request.currentVersion = text("current_version");
    request.installDir = folder(object, "install_dir");
    request.stagingDir = folder(object, "staging_dir");
    request.preDownload = object.value(QLatin1String("pre_download")).toBool();
    request.preDownloadDir = folder(object, "pre_download_dir");
    return request;
}

QString requestProblem(const PackageRequest& request)
{
    if (request.action == PackageAction::Unknown) {
        return QStringLiteral("the action \"%1\" is unknown").arg(request.actionName);
    }
    const QString packageProblem = packageNameProblem(request.package);
    if (!packageProblem.isEmpty()) {
        return QStringLiteral("the package \"%1\" cannot be used: %2").arg(request.package, packageProblem);
    }
    const QString branchProblem =
        request.action == PackageAction::DeleteDatabase ? QString() : packageNameProblem(request.branch);
    if (!branchProblem.isEmpty()) {
        return QStringLiteral("the branch \"%1\" cannot be used: %2").arg(request.branch, branchProblem);
    }
    const bool needsFolder = request.action != PackageAction::FetchVersion;
    if (needsFolder ? !QDir::isAbsolutePath(request.installDir)
                    : !request.installDir.isEmpty() && !QDir::isAbsolutePath(request.installDir)) {
        return QStringLiteral("the installation folder \"%1\" is not an absolute path").arg(request.installDir);
    }
    for (const QString& path : {request.stagingDir, request.preDownloadDir}) {
        if (!path.isEmpty() && !QDir::isAbsolutePath(path)) {
            return QStringLiteral("the folder \"%1\" is not an absolute path").arg(path);
        }
    }
    return {};
}

QString stagingRoot(const PackageRequest& request)
{
    for (const QString& given : {request.preDownloadDir, request.stagingDir}) {
        if (!given.isEmpty()) {
            return QDir(given).filePath(QStringLiteral("vantor-") + request.package);
        }
    }
    return QStringLiteral("%1/%2/%3").arg(request.installDir, QLatin1String(kEngineFolder), request.package);
}

bool writesInstallation(PackageAction action)
{
    return action == PackageAction::NormalDownload || action == PackageAction::RepairDownload ||
           action == PackageAction::DeleteDatabase;
}

} // namespace VantorEngine
