// SPDX-License-Identifier: MIT
// Group callbacks fired as fast as the engine can: whether all arrive, how long each takes to its signal on the
// launcher's thread, and what stays in memory. The engine double must be on the library search path.
//   bench_burst [CALLBACKS]
#include "EngineDouble.h"
#include "GroupText.h"
#include "ProcessMemory.h"

#include "Manager/VantorDownloadManager.h"
#include "OrvelCommon/Testing.h"
#include "vantor/VantorExporter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr int kBursts = 3;
constexpr int kFilesPerGroup = 12;
const QString kGuid = QStringLiteral("burst");

double milliseconds(qint64 nanoseconds)
{
    return static_cast<double>(nanoseconds) / 1e6;
}

/// \brief Fires `callbacks` group callbacks, the last of which ends the group, and waits for the end.
/// \return whether a signal came for each
bool burst(EngineDoubleClient& engine, VantorDownloadManager& manager, const QString& folder, int callbacks)
{
    engine.NextGroupGuid(kGuid);
    manager.StartDownloadTask(1, {DownloadTaskModel()}, folder);

    QElapsedTimer clock;
    clock.start();
    std::vector<qint64> fired(static_cast<std::size_t>(callbacks));
    std::vector<qint64> latencies;
    latencies.reserve(fired.size());
    const QObject context;
    QObject::connect(&manager, &VantorDownloadManager::downloadProgress, &context,
                     [&](const ProgressInfo&) { latencies.push_back(clock.nsecsElapsed() - fired[latencies.size()]); });
    QObject::connect(&manager, &VantorDownloadManager::finish, &context, [] { QCoreApplication::quit(); });

    const QByteArray text = groupText(kFilesPerGroup, kGuid);
    const QByteArray last = groupText(kFilesPerGroup, kGuid, QStringLiteral("Success"));
    const std::size_t heldBefore = heldKiB();
    for (int i = 0; i < callbacks; ++i) {
        fired[static_cast<std::size_t>(i)] = clock.nsecsElapsed();
        engine.FireGroup(kGuid, i + 1 < callbacks ? text : last);
    }
    engine.Flush();
    const qint64 firedAll = clock.nsecsElapsed();
    QCoreApplication::exec();
    const qint64 receivedAll = clock.nsecsElapsed();

    const bool complete = latencies.size() == fired.size();
    std::sort(latencies.begin(), latencies.end());
    std::printf("%8zu of %-8d %10.1f %10.1f %10.1f %10.1f %12zu %10zu %12ld\n", latencies.size(), callbacks,
                milliseconds(latencies[latencies.size() / 2]), milliseconds(latencies[latencies.size() * 99 / 100]),
                milliseconds(firedAll), milliseconds(receivedAll), heldBefore, heldKiB(), residentKiB());
    return complete;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    const int callbacks = argc > 1 ? std::atoi(argv[1]) : 10000;
    QLoggingCategory::setFilterRules(QStringLiteral("orvel.qcomm.engine.debug=false"));
    Orvel::Common::SetLogSink([](const Orvel::Common::LogRecord&) {});

    EngineDoubleClient engine;
    const QTemporaryDir folder;
    if (!VantorExporter::Instance()->Init(folder.path(), QStringLiteral("{}"), 0, 0)) {
        std::fprintf(stderr, "no engine double on the library search path\n");
        return 1;
    }
    VantorDownloadManager manager(nullptr, QStringLiteral("bench"));

    std::printf("%20s %10s %10s %10s %10s %12s %10s %12s\n", "received", "median ms", "99 % ms", "fired ms", "done ms",
                "held before", "after KiB", "resident KiB");
    bool complete = true;
    for (int i = 0; i < kBursts; ++i)
        complete = burst(engine, manager, folder.path(), callbacks) && complete;
    return complete ? 0 : 1;
}
