// SPDX-License-Identifier: MIT
// One group of real files, for scripts/bench to time.
//   bench_engine_download LIST FOLDER [CONFIG]    through DownloadController and the reference engine
//   bench_engine_download --bare LIST FOLDER      through nothing but Qt's network access, over six connections
// LIST holds a line "URL SIZE [MD5]" for each file. The engine must be on the library search path. Exit code 0: every
// file is in place.
#include "Manager/DownloadController.h"
#include "OrvelCommon/Testing.h"
#include "vantor/VantorExporter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>

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

int fetch(const QVector<DownloadTaskModel>& models, const QString& folder, const QString& config)
{
    if (!VantorExporter::Instance()->Init(folder, config, 4, 0)) {
        std::fprintf(stderr, "no engine on the library search path\n");
        return 2;
    }
    DownloadController controller(nullptr, QStringLiteral("bench"));
    QObject::connect(
        &controller, &DownloadController::finish, qApp, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
    QObject::connect(
        &controller, &DownloadController::error, qApp, [] { QCoreApplication::exit(1); }, Qt::QueuedConnection);
    controller.StartDownloadTask(controller.SetTask(models, Normal), folder);
    return QCoreApplication::exec();
}

/// \brief The floor for everything that is built on Qt's network access. Looks at nothing that it gets.
class BareFetch
{
public:
    explicit BareFetch(const QVector<DownloadTaskModel>& files) : models(files) {}

    int run()
    {
        constexpr int kConnections = 6;
        for (int i = 0; i < kConnections; ++i)
            fetchNext();
        return QCoreApplication::exec();
    }

private:
    void fetchNext()
    {
        if (next == models.size())
            return;
        const DownloadTaskModel& model = models.at(next++);
        QNetworkReply* const reply = network.get(QNetworkRequest(model.url));
        constexpr qint64 kReadBufferBytes = 512 * 1024;
        reply->setReadBufferSize(kReadBufferBytes);
        auto* const file = new QFile(model.path + QLatin1Char('/') + model.url.fileName(), reply);
        file->open(QIODevice::WriteOnly | QIODevice::Unbuffered);
        QObject::connect(reply, &QNetworkReply::readyRead, file, [reply, file] { file->write(reply->readAll()); });
        QObject::connect(reply, &QNetworkReply::finished, file, [this, reply, file] { onFinished(*reply, *file); });
    }

    void onFinished(QNetworkReply& reply, QFile& file)
    {
        file.write(reply.readAll());
        file.close();
        reply.deleteLater();
        if (reply.error() != QNetworkReply::NoError)
            QCoreApplication::exit(1);
        else if (++finished == models.size())
            QCoreApplication::exit(0);
        else
            fetchNext();
    }

    const QVector<DownloadTaskModel>& models;
    QNetworkAccessManager network;
    int next = 0;
    int finished = 0;
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    const bool bare = arguments.removeAll(QStringLiteral("--bare")) > 0;
    if (arguments.size() < 2) {
        std::fprintf(stderr, "usage: bench_engine_download [--bare] LIST FOLDER [CONFIG]\n");
        return 2;
    }
    QLoggingCategory::setFilterRules(QStringLiteral("orvel.qcomm.engine.debug=false"));
    Orvel::Common::SetLogSink([](const Orvel::Common::LogRecord&) {});
    const QString folder = arguments.at(1);
    const QVector<DownloadTaskModel> models = readList(arguments.at(0), folder);
    if (models.isEmpty()) {
        std::fprintf(stderr, "no files to fetch\n");
        return 2;
    }

    QElapsedTimer clock;
    clock.start();
    const int code = bare ? BareFetch(models).run() : fetch(models, folder, arguments.value(2, QStringLiteral("{}")));
    std::printf("%.3f\n", static_cast<double>(clock.elapsed()) / 1000);
    return code;
}
