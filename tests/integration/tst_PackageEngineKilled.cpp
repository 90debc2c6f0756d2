// SPDX-License-Identifier: MIT
// Installations and updates that are killed at any moment, and end byte-identical all the same.
#include "PackageTree.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>

using PackageTree::content;
using PackageTree::Tree;

namespace {

constexpr int kWaitMs = 60000;
constexpr int kFiles = 12;
constexpr int kFileBytes = 150 * 1000;

Tree version(int number)
{
    Tree tree;
    for (int i = 0; i < kFiles; ++i) {
        // Half of the files change with every version, one moves.
        const QString name = i == 0 ? QStringLiteral("moved-%1.bin").arg(number) : QStringLiteral("f/%1.bin").arg(i);
        tree.insert(name, content(kFileBytes, i % 2 == 0 ? i : i + 100 * number));
    }
    tree.insert(QStringLiteral("empty"), QByteArray());
    return tree;
}

} // namespace

class tst_PackageEngineKilled : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void installs();
    void updates();
    void updatesKilledWhileInstalling();
    void repairs();

private:
    void publish(int number);
    QStringList arguments(const char* action) const;
    bool finish(const char* action);
    void killAt(const char* action, int requests);
    void killWhen(const char* action, const std::function<bool()>& reached);
    QString at(const QString& name) const { return folder->filePath(name); }
    QString install() const { return at(QStringLiteral("install")); }
    int requests() const { return server->requestCount(); }
    QString onlyVersions(const Tree& a, const Tree& b) const;

    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<ScriptedHttpServer> server;
    int chunks = 0;
};

void tst_PackageEngineKilled::init()
{
    folder = std::make_unique<QTemporaryDir>();
    QVERIFY(folder->isValid());
    server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(server->port() != 0);
}

void tst_PackageEngineKilled::publish(int number)
{
    VantorEngine::PublishOrder order;
    order.folder = at(QStringLiteral("source-%1").arg(number));
    order.out = at(QStringLiteral("published"));
    order.package = QStringLiteral("p");
    order.branch = QStringLiteral("b");
    order.version = QString::number(number);
    order.limits = PackageTree::kSmallChunks;
    QVERIFY(PackageTree::write(order.folder, version(number)));
    const auto result = VantorEngine::publishPackage(order);
    QCOMPARE(result.problem, QString());
    chunks = result.newChunks;
    QDirIterator it(order.out, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        QVERIFY(file.open(QIODevice::ReadOnly));
        // Slow enough to be killed in the middle.
        server->always('/' + QDir(order.out).relativeFilePath(file.fileName()).toUtf8(),
                       HttpResponse::ok(file.readAll()).delay(5));
    }
    server->clearRequests();
}

QStringList tst_PackageEngineKilled::arguments(const char* action) const
{
    const QJsonObject request{{QStringLiteral("action"), QLatin1String(action)},
                              {QStringLiteral("package_id"), QStringLiteral("p")},
                              {QStringLiteral("branch"), QStringLiteral("b")},
                              {QStringLiteral("install_dir"), install()}};
    const QJsonObject config{{QStringLiteral("package_base_url"), server->urlText("/")}};
    const QString file = at(QStringLiteral("request.json"));
    if (!PackageTree::writeFile(file, QJsonDocument(request).toJson()))
        qFatal("cannot write %s", qPrintable(file));
    return {QStringLiteral(VANTOR_MODULE),  file,
            at(QStringLiteral("out.json")), QStringLiteral("--chunk"),
            QStringLiteral("--config"),     QString::fromUtf8(QJsonDocument(config).toJson(QJsonDocument::Compact))};
}

bool tst_PackageEngineKilled::finish(const char* action)
{
    QProcess host;
    host.start(QStringLiteral(ENGINE_HOST), arguments(action));
    return host.waitForFinished(kWaitMs) && host.exitCode() == 0;
}

void tst_PackageEngineKilled::killWhen(const char* action, const std::function<bool()>& reached)
{
    QProcess host;
    host.start(QStringLiteral(ENGINE_HOST), arguments(action));
    QTRY_VERIFY_WITH_TIMEOUT(reached() || host.state() == QProcess::NotRunning, kWaitMs);
    if (host.state() != QProcess::NotRunning) {
        host.kill();
        QVERIFY(host.waitForFinished());
    }
}

/// \brief Kills the engine after so many requests more.
void tst_PackageEngineKilled::killAt(const char* action, int more)
{
    const int limit = requests() + more;
    killWhen(action, [this, limit] { return requests() >= limit; });
}

/// \brief The first installed file that is neither that of the one version nor that of the other; empty for none.
QString tst_PackageEngineKilled::onlyVersions(const Tree& a, const Tree& b) const
{
    const Tree installed = PackageTree::read(install());
    for (auto it = installed.cbegin(); it != installed.cend(); ++it) {
        const bool ofA = a.contains(it.key()) && a.value(it.key()) == it.value();
        const bool ofB = b.contains(it.key()) && b.value(it.key()) == it.value();
        if (!ofA && !ofB && !it.key().endsWith(QLatin1Char('/')))
            return it.key();
    }
    return QString();
}

void tst_PackageEngineKilled::installs()
{
    publish(1);
    constexpr int kKills = 6;
    for (int i = 0; i < kKills; ++i)
        killAt("normal_download", 1 + QRandomGenerator::global()->bounded(chunks / 4));
    QVERIFY(finish("normal_download"));
    QCOMPARE(PackageTree::differences(PackageTree::read(install()), version(1)), QStringList());
    // Each kill costs what was on its way, not what had arrived: the chunks under way or in memory, and the two
    // descriptions.
    constexpr int kOnTheWay = 8 + 16 + 2;
    QVERIFY2(requests() <= chunks + 2 + kKills * kOnTheWay, qPrintable(QString::number(requests() - chunks)));
}

void tst_PackageEngineKilled::updates()
{
    publish(1);
    QVERIFY(finish("normal_download"));
    publish(2);
    for (int i = 0; i < 6; ++i) {
        killAt("normal_download", 1 + QRandomGenerator::global()->bounded(chunks / 3));
        QCOMPARE(onlyVersions(version(1), version(2)), QString());
    }
    QVERIFY(finish("normal_download"));
    QCOMPARE(PackageTree::differences(PackageTree::read(install()), version(2)), QStringList());
}

/// The moment when old files have gone and new ones are coming.
void tst_PackageEngineKilled::updatesKilledWhileInstalling()
{
    publish(1);
    QVERIFY(finish("normal_download"));
    for (int number = 2; number <= 5; ++number) {
        publish(number);
        const QString old = install() + QStringLiteral("/moved-%1.bin").arg(number - 1);
        killWhen("normal_download", [&old] { return !QFile::exists(old); });
        QCOMPARE(onlyVersions(version(number - 1), version(number)), QString());
        QVERIFY(finish("normal_download"));
        QCOMPARE(PackageTree::differences(PackageTree::read(install()), version(number)), QStringList());
    }
}

void tst_PackageEngineKilled::repairs()
{
    publish(1);
    QVERIFY(finish("normal_download"));
    for (int i = 1; i < kFiles; i += 2)
        QVERIFY(QFile::resize(install() + QStringLiteral("/f/%1.bin").arg(i), 1000 * i));
    server->clearRequests();
    for (int i = 0; i < 4; ++i)
        killAt("repair_download", 1 + QRandomGenerator::global()->bounded(chunks / 6));
    QVERIFY(finish("repair_download"));
    QCOMPARE(PackageTree::differences(PackageTree::read(install()), version(1)), QStringList());
}

QTEST_GUILESS_MAIN(tst_PackageEngineKilled)
#include "tst_PackageEngineKilled.moc"
