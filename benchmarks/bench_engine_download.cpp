// SPDX-License-Identifier: MIT
// One group of real files through DownloadController and the reference engine, for scripts/bench to time.
//   bench_engine_download LIST FOLDER [CONFIG]
// LIST holds a line "URL SIZE [MD5]" for each file. The engine must be on the library search path. Exit code 0: every
// file is in place.
#include "Manager/DownloadController.h"
#include "OrvelCommon/Testing.h"
#include "vantor/VantorExporter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>

#include <cstdio>

namespace {

QVector<DownloadTaskModel> readList(const QString& path, const QString& folder)
{
    QVector<DownloadTaskModel> models;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return models;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        const QList<QByteArray> words = line.split(' ');
        if (words.size() < 2)
            continue;
        DownloadTaskModel model;
        model.Init(QString::fromUtf8(words.at(0)), folder, QString::fromLatin1(words.value(2)), QString(),
                   words.at(1).toLongLong());
        models.append(model);
    }
    return models;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: bench_engine_download LIST FOLDER [CONFIG]\n");
        return 2;
    }
    QLoggingCategory::setFilterRules(QStringLiteral("orvel.qcomm.engine.debug=false"));
    Orvel::Common::SetLogSink([](const Orvel::Common::LogRecord&) {});
    const QString folder = QString::fromLocal8Bit(argv[2]);
    const QVector<DownloadTaskModel> models = readList(QString::fromLocal8Bit(argv[1]), folder);
    const QString config = argc > 3 ? QString::fromLocal8Bit(argv[3]) : QStringLiteral("{}");
    if (models.isEmpty() || !VantorExporter::Instance()->Init(folder, config, 4, 0)) {
        std::fprintf(stderr, "no files to fetch, or no engine on the library search path\n");
        return 2;
    }

    QElapsedTimer clock;
    clock.start();
    DownloadController controller(nullptr, QStringLiteral("bench"));
    QObject::connect(
        &controller, &DownloadController::finish, &app, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
    QObject::connect(
        &controller, &DownloadController::error, &app, [] { QCoreApplication::exit(1); }, Qt::QueuedConnection);
    controller.StartDownloadTask(controller.SetTask(models, Normal), folder);
    const int code = QCoreApplication::exec();
    std::printf("%.3f\n", static_cast<double>(clock.elapsed()) / 1000);
    return code;
}
