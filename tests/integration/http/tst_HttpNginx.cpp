// SPDX-License-Identifier: MIT
// The HTTP back-end against a real file server: killed processes, many files, a slow line, TLS.
#include "Network/DownloadManager.h"
#include "NginxServer.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

constexpr int kMegabyte = 1024 * 1024;

const char* const kSites = R"(
    access_log off;
    server {
        listen 127.0.0.1:PLAIN;
        root PREFIX/www;
        location /slow/ { alias PREFIX/www/; limit_rate 2m; }
        location /paced/ { alias PREFIX/www/; limit_rate 16m; }
    }
    server {
        listen 127.0.0.1:TLS ssl;
        CERTIFICATE
        root PREFIX/www;
    }
)";

QByteArray block(int number)
{
    QByteArray bytes(kMegabyte, '\0');
    QRandomGenerator generator(static_cast<quint32>(number));
    generator.fillRange(reinterpret_cast<quint32*>(bytes.data()), kMegabyte / 4);
    return bytes;
}

QString md5OfFile(const QString& path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Md5);
    return file.open(QIODevice::ReadOnly) && hash.addData(&file) ? QString::fromLatin1(hash.result().toHex())
                                                                 : QString();
}

int run(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    return process.waitForFinished(120000) && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

} // namespace

class tst_HttpNginx : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void survivesTwentyKills();
    void downloadsManyFiles();
    void downloadsFromASlowServer();
    void downloadsOverTls();

private:
    QString www(const QString& name) const { return m_server->path(QStringLiteral("www/") + name); }
    QString url(const QString& name) const
    {
        return QStringLiteral("http://127.0.0.1:%1/%2").arg(m_server->port()).arg(name);
    }
    DownloadTaskModel model(const QString& url, const QString& source) const;
    bool download(const QVector<DownloadTaskModel>& models, int timeoutMs, QString* failure) const;

    std::unique_ptr<NginxServer> m_server;
    std::unique_ptr<QTemporaryDir> m_target;
};

void tst_HttpNginx::initTestCase()
{
    m_server = std::make_unique<NginxServer>();
    m_server->start(kSites);
}

void tst_HttpNginx::cleanupTestCase()
{
    m_target.reset();
    m_server.reset();
}

void tst_HttpNginx::init()
{
    m_target = std::make_unique<QTemporaryDir>();
    QVERIFY(m_target->isValid());
}

DownloadTaskModel tst_HttpNginx::model(const QString& remote, const QString& source) const
{
    DownloadTaskModel model;
    model.Init(remote, m_target->path(), md5OfFile(source), QString(), QFileInfo(source).size());
    return model;
}

bool tst_HttpNginx::download(const QVector<DownloadTaskModel>& models, int timeoutMs, QString* failure) const
{
    DownloadManager manager(nullptr, QStringLiteral("nginx"));
    bool finished = false;
    connect(&manager, &DownloadManager::finish, &manager, [&finished] { finished = true; });
    connect(&manager, &DownloadManager::error, &manager, [failure](const TaskInfo& info) {
        *failure = QStringLiteral("%1 %2").arg(info.GetErrorCode()).arg(info.GetErrorString());
    });
    manager.StartDownloadTask(-1, models, QString());
    return QTest::qWaitFor([&] { return finished || !failure->isEmpty(); }, timeoutMs) && finished;
}

void tst_HttpNginx::survivesTwentyKills()
{
    constexpr int kMegabytes = 1024;
    const QString source = www(QStringLiteral("large.bin"));
    QFile file(source);
    QVERIFY(file.open(QIODevice::WriteOnly));
    for (int i = 0; i < kMegabytes; ++i)
        QCOMPARE(file.write(block(i)), qint64(kMegabyte));
    file.close();
    const QString md5 = md5OfFile(source);
    const auto arguments = [&](const QString& name) {
        return QStringList{m_target->path(), url(name), md5, QString::number(file.size())};
    };
    const QString temporary = m_target->filePath(QStringLiteral("large.bin_tmp"));

    qint64 before = 0;
    int resumed = 0;
    for (int i = 0; i < 20; ++i) {
        QProcess child;
        // Paced, so that however late a kill comes, all of them come before the end of the file.
        child.start(QStringLiteral(DOWNLOAD_CHILD), arguments(QStringLiteral("paced/large.bin")));
        QVERIFY(child.waitForStarted());
        // Killed when so much more has arrived, wherever that finds it.
        const qint64 goal = before + static_cast<qint64>(QRandomGenerator::global()->bounded(30 * kMegabyte));
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(temporary).size() >= goal && QFileInfo::exists(temporary), 60000);
        child.kill();
        QVERIFY(child.waitForFinished());
        QCOMPARE(child.exitStatus(), QProcess::CrashExit);
        const qint64 now = QFileInfo(temporary).size();
        QVERIFY2(now >= before, "a kill lost what had arrived before");
        resumed += before > 0;
        before = now;
    }
    QVERIFY(resumed >= 15);
    QVERIFY(!QFile::exists(m_target->filePath(QStringLiteral("large.bin"))));
    QCOMPARE(run(QStringLiteral(DOWNLOAD_CHILD), arguments(QStringLiteral("large.bin"))), 0);
    QCOMPARE(md5OfFile(m_target->filePath(QStringLiteral("large.bin"))), md5);
    QVERIFY(!QFile::exists(temporary));
    QVERIFY(QFile::remove(source));
}

void tst_HttpNginx::downloadsManyFiles()
{
    constexpr int kFiles = 500;
    QVector<DownloadTaskModel> models;
    for (int i = 0; i < kFiles; ++i) {
        const QString name = QStringLiteral("many%1.bin").arg(i);
        QFile file(www(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(block(i).left(1 + 97 * i));
        file.close();
        models << model(url(name), file.fileName());
    }
    // Sizes that the server must be asked for, all at once.
    for (int i = 0; i < kFiles; i += 2)
        models[i].size = 0;
    QString failure;
    QVERIFY2(download(models, 60000, &failure), qPrintable(failure));
    for (int i = 0; i < kFiles; ++i) {
        const QString name = QStringLiteral("many%1.bin").arg(i);
        QCOMPARE(md5OfFile(m_target->filePath(name)), models.at(i).md5);
    }
    QCOMPARE(QDir(m_target->path()).entryList(QDir::Files).size(), kFiles);
}

void tst_HttpNginx::downloadsFromASlowServer()
{
    QFile file(www(QStringLiteral("slow.bin")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    for (int i = 0; i < 4; ++i)
        file.write(block(i));
    file.close();
    QString failure;
    QElapsedTimer timer;
    timer.start();
    QVERIFY2(download({model(url(QStringLiteral("slow/slow.bin")), file.fileName())}, 20000, &failure),
             qPrintable(failure));
    QVERIFY(timer.elapsed() > 500);
}

void tst_HttpNginx::downloadsOverTls()
{
    QFile file(www(QStringLiteral("tls.bin")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(block(7));
    file.close();
    const DownloadTaskModel described =
        model(QStringLiteral("https://localhost:%1/tls.bin").arg(m_server->tlsPort()), file.fileName());
    // Nobody knows the authority yet.
    QString failure;
    QVERIFY(!download({described}, 20000, &failure));
    QVERIFY2(failure.startsWith(QStringLiteral("3010 status code: 0, error code: 6")), qPrintable(failure));

    const QSslConfiguration saved = QSslConfiguration::defaultConfiguration();
    QSslConfiguration trusting = saved;
    trusting.setCaCertificates(QSslCertificate::fromPath(m_server->authority()));
    QSslConfiguration::setDefaultConfiguration(trusting);
    failure.clear();
    const bool finished = download({described}, 20000, &failure);
    QSslConfiguration::setDefaultConfiguration(saved);
    QVERIFY2(finished, qPrintable(failure));
    QCOMPARE(md5OfFile(m_target->filePath(QStringLiteral("tls.bin"))), described.md5);
}

QTEST_GUILESS_MAIN(tst_HttpNginx)

#include "tst_HttpNginx.moc"
