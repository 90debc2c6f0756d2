// SPDX-License-Identifier: MIT
// Publishes a folder as a version of a package; see README.md.
#include "package/PackagePublisher.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUse = 2;
constexpr int kMostLevel = 9;

void print(std::FILE* stream, const QString& text)
{
    std::fprintf(stream, "%s\n", text.toUtf8().constData());
}

int refuse(const QString& reason)
{
    print(stderr, QStringLiteral("error: %1 (see vantor-pack --help)").arg(reason));
    return kWrongUse;
}

int publish(const VantorEngine::PublishOrder& order)
{
    const VantorEngine::PublishResult result = VantorEngine::publishPackage(order);
    if (!result.problem.isEmpty()) {
        print(stderr, QStringLiteral("error: %1").arg(result.problem));
        return kFailed;
    }
    print(stdout,
          QStringLiteral("published %1 %2 %3: %4 files, %5 bytes in %6 chunks; %7 chunks are new, %8 bytes stored")
              .arg(order.package, order.branch, order.version)
              .arg(result.files)
              .arg(result.bytes)
              .arg(result.chunks)
              .arg(result.newChunks)
              .arg(result.newStored));
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vantor-pack"));
    const QCommandLineOption package(QStringLiteral("package"), QStringLiteral("Id of the package."),
                                     QStringLiteral("id"));
    const QCommandLineOption branch(QStringLiteral("branch"), QStringLiteral("Branch that gets the version."),
                                    QStringLiteral("name"));
    const QCommandLineOption version(QStringLiteral("version"), QStringLiteral("Name of the version."),
                                     QStringLiteral("version"));
    const QCommandLineOption level(QStringLiteral("level"), QStringLiteral("Compression, 0 to 9 (default: 6)."),
                                   QStringLiteral("level"), QStringLiteral("6"));
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Publishes FOLDER as a version of a package into OUT, for any web server to serve.\n"
        "Exit codes: 0 published, 1 failed (the branch still has the version that it had), 2 wrong arguments."));
    parser.addHelpOption();
    parser.addOptions({package, branch, version, level});
    parser.addPositionalArgument(QStringLiteral("FOLDER"), QStringLiteral("The files."));
    parser.addPositionalArgument(QStringLiteral("OUT"), QStringLiteral("Folder to publish into."));
    parser.process(application);

    const QStringList folders = parser.positionalArguments();
    if (folders.size() != 2) {
        return refuse(QStringLiteral("FOLDER and OUT are wanted"));
    }
    bool isNumber = false;
    VantorEngine::PublishOrder order;
    order.folder = folders.at(0);
    order.out = folders.at(1);
    order.package = parser.value(package);
    order.branch = parser.value(branch);
    order.version = parser.value(version);
    order.level = parser.value(level).toInt(&isNumber);
    if (order.package.isEmpty() || order.branch.isEmpty() || order.version.isEmpty()) {
        return refuse(QStringLiteral("--package, --branch and --version are wanted"));
    }
    if (!isNumber || order.level < 0 || order.level > kMostLevel) {
        return refuse(QStringLiteral("--level wants a number from 0 to 9"));
    }
    return publish(order);
}
