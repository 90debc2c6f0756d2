// SPDX-License-Identifier: MIT
// Parsing of group callbacks, their handling on the launcher's thread, and the requests for very large groups.
#include "GroupText.h"

#include "Manager/VantorDownloadManager.h"
#include "OrvelCommon/Testing.h"
#include "vantor/GroupTaskModel.h"

#include <QCoreApplication>
#include <QDir>

#include <benchmark/benchmark.h>

namespace {

void jsonParse(benchmark::State& state)
{
    const QByteArray text = groupText(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        const QJsonDocument document = QJsonDocument::fromJson(text);
        benchmark::DoNotOptimize(document);
    }
    state.SetComplexityN(state.range(0));
}

void groupParse(benchmark::State& state)
{
    const QByteArray text = groupText(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        GroupTaskModel model;
        model.Parse(text);
        benchmark::DoNotOptimize(model);
    }
    state.SetComplexityN(state.range(0));
}

void groupCallback(benchmark::State& state)
{
    GroupTaskModel model;
    model.Parse(groupText(static_cast<int>(state.range(0))));
    VantorDownloadManager manager(nullptr, QStringLiteral("bench"));
    manager.StartDownloadTask(1, {DownloadTaskModel()}, QDir::tempPath());
    for (auto _ : state)
        manager.onParseGroupTaskCallback(QStringLiteral("group"), model);
    state.SetComplexityN(state.range(0));
}

QVector<DownloadTaskModel> models(int count)
{
    QVector<DownloadTaskModel> list(count);
    for (int i = 0; i < count; ++i) {
        list[i].Init(QStringLiteral("https://cdn.example.org/game/data/%1.pak").arg(i), QStringLiteral("/games/demo"),
                     QStringLiteral("9e107d9d372bb6826bd81d3542a419d6"), QString(), 1048576);
    }
    return list;
}

void setTask(benchmark::State& state)
{
    const QVector<DownloadTaskModel> list = models(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        VantorDownloadManager manager(nullptr, QStringLiteral("bench"));
        manager.SetTask(list, Normal, 1);
    }
    state.SetComplexityN(state.range(0));
}

void startDownloadTask(benchmark::State& state)
{
    const QVector<DownloadTaskModel> list = models(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        VantorDownloadManager manager(nullptr, QStringLiteral("bench"));
        manager.StartDownloadTask(1, list, QDir::tempPath());
    }
    state.SetComplexityN(state.range(0));
}

BENCHMARK(jsonParse)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(groupParse)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(groupCallback)->RangeMultiplier(10)->Range(100, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(setTask)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);
BENCHMARK(startDownloadTask)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    // A launcher keeps its log; what is measured is building the lines, not a terminal.
    Orvel::Common::SetLogSink([](const Orvel::Common::LogRecord& record) { benchmark::DoNotOptimize(record); });
    Orvel::Common::SetDiskSpaceProbe([](const std::string&) {
        constexpr std::uint64_t kPlenty = std::uint64_t(1) << 40;
        return std::pair(kPlenty, kPlenty);
    });
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
