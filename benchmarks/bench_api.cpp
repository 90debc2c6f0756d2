// SPDX-License-Identifier: MIT
// Calls of a web API over one network manager: the time of each, one after the other and many at once, and what stays
// in memory and in open sockets after very many.
//   bench_api sequential|concurrent|plain|endurance URL CALLS
// Prints the seconds that the calls took; endurance a table instead. "plain" makes the sequential calls by Qt's network
// access alone, which shows what is left for this library to save.
#include "Network/BaseHttpApi.h"
#include "Network/HttpNetworkManager.h"
#include "OrvelCommon/Testing.h"
#include "ProcessMemory.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

constexpr int kInFlight = 12;
constexpr int kRows = 10;

/// \brief Makes calls, a fixed number of them at any time, each by an object of its own as launchers do.
class Caller : public QObject
{
public:
    Caller(HttpNetworkManager* network, const QString& url) : m_network(network), m_url(url) {}

    /// \return whether all calls succeeded
    bool run(int calls, int inFlight)
    {
        m_left = calls;
        m_running = 0;
        for (int i = 0; i < inFlight; ++i)
            next();
        QCoreApplication::exec();
        return m_failed == 0;
    }

private:
    void next()
    {
        if (m_left == 0) {
            if (m_running == 0)
                QCoreApplication::quit();
            return;
        }
        --m_left;
        ++m_running;
        auto* api = new BaseHttpApi;
        api->SetNetworkManager(m_network);
        api->SetBaseUrl(m_url);
        connect(api, &BaseHttpApi::apiFailed, this, [this] { ++m_failed; });
        connect(api, &BaseHttpApi::apiFinished, this, [this, api] {
            --m_running;
            api->deleteLater();
            next();
        });
        api->Send();
    }

    HttpNetworkManager* m_network;
    QString m_url;
    int m_left = 0;
    int m_running = 0;
    int m_failed = 0;
};

/// \brief The same requests without this library, one after the other.
/// \return whether all succeeded
bool callPlainly(const QUrl& url, int calls)
{
    QNetworkAccessManager network;
    int failed = 0;
    for (int i = 0; i < calls; ++i) {
        QNetworkReply* const reply = network.get(QNetworkRequest(url));
        QObject::connect(reply, &QNetworkReply::finished, reply, [reply, &failed] {
            failed += reply->error() == QNetworkReply::NoError && !reply->readAll().isEmpty() ? 0 : 1;
            reply->deleteLater();
            QCoreApplication::quit();
        });
        QCoreApplication::exec();
    }
    return failed == 0;
}

int openSockets()
{
    const QDir folder(QStringLiteral("/proc/self/fd"));
    int sockets = 0;
    const QFileInfoList files = folder.entryInfoList(QDir::Files | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo& file : files)
        sockets += file.symLinkTarget().contains(QLatin1String("socket:")) ? 1 : 0;
    return sockets;
}

bool endure(Caller& caller, int calls)
{
    std::printf("%10s %10s %12s %14s %8s\n", "calls", "seconds", "held KiB", "resident KiB", "sockets");
    QElapsedTimer clock;
    clock.start();
    bool succeeded = true;
    for (int row = 1; row <= kRows; ++row) {
        succeeded = caller.run(calls / kRows, kInFlight) && succeeded;
        std::printf("%10d %10.1f %12zu %14ld %8d\n", calls / kRows * row, double(clock.elapsed()) / 1000, heldKiB(),
                    residentKiB(), openSockets());
        std::fflush(stdout);
    }
    return succeeded;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    if (argc != 4) {
        std::fprintf(stderr, "usage: bench_api sequential|concurrent|plain|endurance URL CALLS\n");
        return 2;
    }
    Orvel::Common::SetLogSink([](const Orvel::Common::LogRecord&) {});
    const QByteArray mode(argv[1]);
    const int calls = std::atoi(argv[3]);
    HttpNetworkManager network;
    Caller caller(&network, QString::fromLocal8Bit(argv[2]));
    // The network access and its first connection.
    bool succeeded = caller.run(1, 1);
    if (mode == "endurance") {
        succeeded = endure(caller, calls) && succeeded;
    } else {
        QElapsedTimer clock;
        clock.start();
        if (mode == "plain")
            succeeded = callPlainly(QUrl(QString::fromLocal8Bit(argv[2])), calls) && succeeded;
        else
            succeeded = caller.run(calls, mode == "sequential" ? 1 : calls) && succeeded;
        std::printf("%.6f\n", double(clock.nsecsElapsed()) / 1e9);
    }
    if (!succeeded)
        std::fprintf(stderr, "not all calls succeeded\n");
    return succeeded ? 0 : 1;
}
