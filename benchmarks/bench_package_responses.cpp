// SPDX-License-Identifier: MIT
// Chunk responses at a steady rate: whether the chunk thread parses and routes them as fast as they come, or a queue
// grows before it. The engine double must be on the library search path.
//   bench_package_responses [RESPONSES PER SECOND] [SECONDS]
#include "EngineDouble.h"
#include "OrvelCommon/Testing.h"
#include "vantor/VantorChunkTask.h"
#include "vantor/VantorExporter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace {

constexpr int kTasks = 100;
constexpr int kEngineThreads = 4;
constexpr int kStepMs = 10;
constexpr int kStepsPerSecond = 1000 / kStepMs;

/// \brief A progress response with every member that the engine sends.
QByteArray response(const QString& guid)
{
    return R"({"guid":")" + guid.toUtf8() +
           R"(","action":"normal_download","package_id":"demo","branch":"main","pre_download":false,)"
           R"("status":"Progressing","completed":false,"error_code":0,"error_msg":"",)"
           R"("build_id":"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",)"
           R"("local_version":"1.0","server_version":"2.0","depot_version_list":{"demo":"1.0"},)"
           R"("depot_server_version_list":{"demo":"2.0"},"total_download_byte":1073741824,)"
           R"("total_uncompressed_byte":2147483648,"total_file_num":1200,"total_to_process_file_num":900,)"
           R"("total_to_preprocess_file_num":0,"total_chunk_num":5600,"total_to_process_chunk_num":2800,)"
           R"("total_to_preprocess_chunk_num":0,"total_added_byte":123456789,"bandwidth_byte":52428800,)"
           R"("current_completed_file_num":0,"current_successful_file_num":0,"current_completed_chunk_num":1400,)"
           R"("current_successful_chunk_num":1400,"current_download_byte":536870912,)"
           R"("current_decompressed_byte":1073741824,"depot_list":[{"depot_guid":"demo","status":"Progressing",)"
           R"("completed":false,"error_code":0,"file_info":{"total":1200,"to_process":900,"completed":0},)"
           R"("chunk_info":{"total":5600,"to_process":2800,"completed":1400,"to_preprocess":0,"preprocessed":0}}]})";
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    const int rate = argc > 1 ? std::atoi(argv[1]) : 10000;
    const int seconds = argc > 2 ? std::atoi(argv[2]) : 5;
    QLoggingCategory::setFilterRules(QStringLiteral("orvel.qcomm.engine.debug=false"));
    Orvel::Common::SetLogSink([](const Orvel::Common::LogRecord&) {});

    EngineDoubleClient engine;
    const QTemporaryDir folder;
    if (!VantorExporter::Instance()->Init(folder.path(), QStringLiteral("{}"), 0, 0)) {
        std::fprintf(stderr, "no engine double on the library search path\n");
        return 1;
    }
    std::atomic<int> routed{0};
    std::vector<QSharedPointer<VantorChunkTask>> tasks;
    std::vector<QByteArray> texts;
    for (int i = 0; i < kTasks; ++i) {
        const auto task = VantorChunkTask::MakeChunkTask();
        QObject::connect(
            task.data(), &VantorChunkTask::ChunkNormalDownloadTaskProgressChanged, task.data(),
            [&routed] { routed.fetch_add(1, std::memory_order_relaxed); }, Qt::DirectConnection);
        auto req = std::make_unique<VantorChunkReq>();
        req->action_type = VantorChunkActionNormalDownload;
        req->install_dir = folder.path();
        task->Start(std::move(req));
        tasks.push_back(task);
        texts.push_back(response(task->GetGuid()));
    }

    std::printf("%8s %10s %10s %14s\n", "second", "fired", "routed", "most waiting");
    QElapsedTimer clock;
    clock.start();
    int fired = 0;
    for (int second = 1; second <= seconds; ++second) {
        int mostWaiting = 0;
        for (int step = 1; step <= kStepsPerSecond; ++step) {
            const qint64 due = (second - 1) * 1000LL + step * kStepMs;
            const int wanted = static_cast<int>(rate * due / 1000);
            for (; fired < wanted; ++fired) {
                const auto index = static_cast<std::size_t>(fired % kTasks);
                engine.FireChunk(tasks[index]->GetGuid(), texts[index], fired % kEngineThreads);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(std::max<qint64>(0, due - clock.elapsed())));
            mostWaiting = std::max(mostWaiting, fired - routed.load(std::memory_order_relaxed));
        }
        std::printf("%8d %10d %10d %14d\n", second, fired, routed.load(), mostWaiting);
    }
    engine.Flush();
    const qint64 firedAll = clock.elapsed();
    while (routed.load() < fired && clock.elapsed() < 60000)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    std::printf("all %d fired after %lld ms, all routed %lld ms later\n", fired, static_cast<long long>(firedAll),
                static_cast<long long>(clock.elapsed() - firedAll));
    return routed.load() == fired ? 0 : 1;
}
