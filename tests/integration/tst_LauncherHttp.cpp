// SPDX-License-Identifier: MIT
// The launcher with the library's own HTTP back-end, against a scripted server and without any engine.
#include "LauncherProcess.h"
#include "ScriptedHttpServer.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#ifdef Q_OS_UNIX
#include <csignal>
#endif

class tst_LauncherHttp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void refusesWrongUse_data();
    void refusesWrongUse();
    void finishesOneGroup();
    void finishesFilesWithoutMd5();
    void showsTheProgressLine();
    void notesRetries();
    void reportsAWrongChecksum();
    void goesOnAfterAFileThatFails();
    void tellsWhatWasThere();
#ifdef Q_OS_UNIX
    void stopsOnInterrupt();
#endif

private:
    void serve(const QByteArray& name, const QByteArray& content)
    {
        m_server->serve("/" + name, content);
    }
    /// A line of the list: the MD5 of `content`, or none.
    void list(const QByteArray& name, const QByteArray& content, bool withMd5 = true);
    QStringList arguments(const QStringList& more = {});
    void launch(LauncherProcess& process, const QStringList& more = {});
    LauncherResult run(const QStringList& more = {});
    QByteArray fileContent(const QString& name) const;

    std::unique_ptr<ScriptedHttpServer> m_server;
    std::unique_ptr<QTemporaryDir> m_folder;
    QByteArray m_list;
};

void tst_LauncherHttp::init()
{
    m_server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(m_server->port() != 0);
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_list.clear();
}

void tst_LauncherHttp::list(const QByteArray& name, const QByteArray& content, bool withMd5)
{
    const QByteArray md5 = withMd5 ? QCryptographicHash::hash(content, QCryptographicHash::Md5).toHex() : "-";
    m_list += m_server->urlText("/" + name).toUtf8() + ' ' + QByteArray::number(content.size()) + ' ' + md5 + '\n';
}

QStringList tst_LauncherHttp::arguments(const QStringList& more)
{
    const QString path = m_folder->filePath(QStringLiteral("list"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(m_list) != m_list.size())
        return {};
    return QStringList{QStringLiteral("download"),
                       QStringLiteral("--backend"),
                       QStringLiteral("http"),
                       QStringLiteral("--lang"),
                       QStringLiteral("en-us"),
                       QStringLiteral("--dir"),
                       m_folder->filePath(QStringLiteral("target")),
                       QStringLiteral("--list"),
                       path} +
           more;
}

void tst_LauncherHttp::launch(LauncherProcess& process, const QStringList& more)
{
    process.launch(arguments(more));
}

LauncherResult tst_LauncherHttp::run(const QStringList& more)
{
    LauncherProcess process;
    launch(process, more);
    return process.result();
}

QByteArray tst_LauncherHttp::fileContent(const QString& name) const
{
    QFile file(m_folder->filePath(QStringLiteral("target/") + name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<cannot be read>");
}

void tst_LauncherHttp::refusesWrongUse_data()
{
    QTest::addColumn<QStringList>("more");
    QTest::addColumn<QString>("reason");
    QTest::newRow("unknown") << QStringList{QStringLiteral("--backend"), QStringLiteral("ftp")}
                             << QStringLiteral("error: --backend wants engine or http");
    const QString engineOnly = QStringLiteral("error: --pcdn and --patience go with the engine");
    QTest::newRow("peers") << QStringList{QStringLiteral("--pcdn")} << engineOnly;
    QTest::newRow("patience") << QStringList{QStringLiteral("--patience"), QStringLiteral("5")} << engineOnly;
}

void tst_LauncherHttp::refusesWrongUse()
{
    QFETCH(QStringList, more);
    QFETCH(QString, reason);
    list("a.bin", "a");
    const LauncherResult result = run(more);
    QCOMPARE(result.code, 2);
    QVERIFY(result.err.startsWith(reason));
    QCOMPARE(m_server->requestCount(), 0);
}

void tst_LauncherHttp::finishesOneGroup()
{
    for (const char* name : {"a.bin", "b.bin", "c.bin"}) {
        serve(name, QByteArray(5000, *name));
        list(name, QByteArray(5000, *name));
    }
    serve("empty.bin", QByteArray());
    list("empty.bin", QByteArray());
    const LauncherResult result = run();
    QCOMPARE(result.err, QString());
    QCOMPARE(result.code, 0);
    QCOMPARE(result.outLines().constFirst(), QStringLiteral("connecting ..."));
    QVERIFY2(result.outLines().constLast().startsWith(QStringLiteral("Finished: 4 files, 14.65KB in ")),
             qPrintable(result.outLines().constLast()));
    QVERIFY(!result.out.contains(QStringLiteral("one after the other")));
    QCOMPARE(fileContent(QStringLiteral("b.bin")), QByteArray(5000, 'b'));
    QCOMPARE(QDir(m_folder->filePath(QStringLiteral("target"))).entryList(QDir::Files).size(), 4);
}

void tst_LauncherHttp::finishesFilesWithoutMd5()
{
    for (const char* name : {"a.bin", "b.bin", "c.bin"}) {
        serve(name, QByteArray(5000, *name));
        list(name, QByteArray(5000, *name), *name == 'b');
    }
    const LauncherResult result = run();
    QCOMPARE(result.err, QString());
    QCOMPARE(result.code, 0);
    QVERIFY(result.outLines().contains(
        QStringLiteral("Not every file has an MD5, so they are fetched one after the other, each on its own.")));
    for (const char* name : {"a.bin", "b.bin", "c.bin"})
        QCOMPARE(fileContent(QString::fromLatin1(name)), QByteArray(5000, *name));
}

void tst_LauncherHttp::showsTheProgressLine()
{
    const QByteArray content(3 * 1024 * 1024, 'x');
    m_server->always("/a.bin", HttpResponse::ok(content).rate(1024 * 1024));
    list("a.bin", content);
    const LauncherResult result = run();
    QCOMPARE(result.code, 0);
    const QRegularExpression line(
        QStringLiteral("(^|\\n) *\\d+%  [\\d.]+[KM]B / 3MB  [\\d.]+[KM]B/s  00:00:0\\d left(\\n|$)"));
    QVERIFY2(line.match(result.out).hasMatch(), qPrintable(result.out));
}

void tst_LauncherHttp::notesRetries()
{
    m_server->once("/a.bin", HttpResponse::withStatus(500));
    serve("a.bin", "content");
    list("a.bin", "content");
    const LauncherResult result = run();
    QCOMPARE(result.code, 0);
    const QStringList notes = result.outLines().filter(QStringLiteral("retrying "));
    QCOMPARE(notes.size(), 1);
    QVERIFY2(notes.first().startsWith(QStringLiteral("retrying a.bin: code 3010: status code: 500, ")),
             qPrintable(notes.first()));
    QVERIFY2(notes.first().endsWith(QStringLiteral(" (HTTP 500)")), qPrintable(notes.first()));
}

void tst_LauncherHttp::reportsAWrongChecksum()
{
    serve("a.bin", "content");
    list("a.bin", "CONTENT");
    const LauncherResult result = run();
    QCOMPARE(result.code, 1);
    QCOMPARE(result.errLines().size(), 2);
    QVERIFY2(result.errLines().constFirst().startsWith(
                 QStringLiteral("error: a.bin: code 3007: a.bin md5 not match, md5: ")),
             qPrintable(result.errLines().constFirst()));
    QCOMPARE(result.errLines().constLast(),
             QStringLiteral("1 of 1 files failed; the same command goes on where this one stopped"));
    QVERIFY(QDir(m_folder->filePath(QStringLiteral("target"))).isEmpty());
}

void tst_LauncherHttp::goesOnAfterAFileThatFails()
{
    m_server->always("/a.bin", HttpResponse::withStatus(404, "gone"));
    serve("b.bin", "content");
    list("a.bin", "content", false);
    list("b.bin", "content", false);
    const LauncherResult result = run();
    QCOMPARE(result.code, 1);
    QCOMPARE(result.errLines().size(), 2);
    QVERIFY2(result.errLines().constFirst().startsWith(QStringLiteral("error: a.bin: code 3009: status code: 404, ")),
             qPrintable(result.errLines().constFirst()));
    QCOMPARE(result.errLines().constLast(),
             QStringLiteral("1 of 2 files failed; the same command goes on where this one stopped"));
    QCOMPARE(fileContent(QStringLiteral("b.bin")), QByteArray("content"));
}

void tst_LauncherHttp::tellsWhatWasThere()
{
    const QByteArray content(4096, 'x');
    serve("a.bin", content);
    list("a.bin", content);
    QVERIFY(QDir().mkpath(m_folder->filePath(QStringLiteral("target"))));
    QFile part(m_folder->filePath(QStringLiteral("target/a.bin_tmp")));
    QVERIFY(part.open(QIODevice::WriteOnly));
    QCOMPARE(part.write(content.left(1024)), qint64(1024));
    part.close();
    const LauncherResult result = run();
    QCOMPARE(result.code, 0);
    QVERIFY2(result.outLines().constLast().endsWith(QStringLiteral(" (1KB were there already)")),
             qPrintable(result.outLines().constLast()));
    QCOMPARE(m_server->requests("/a.bin").last().rangeStart(), qint64(1024));
}

#ifdef Q_OS_UNIX
void tst_LauncherHttp::stopsOnInterrupt()
{
    const QByteArray content(4 * 1024 * 1024, 'x');
    m_server->always("/a.bin", HttpResponse::ok(content).stallAfter(1024 * 1024));
    list("a.bin", content);
    LauncherProcess process;
    launch(process);
    const QString temporary = m_folder->filePath(QStringLiteral("target/a.bin_tmp"));
    QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(temporary).size() > 500000, LauncherProcess::kRunLimitMs);
    ::kill(static_cast<pid_t>(process.processId()), SIGINT);
    const LauncherResult result = process.result();
    QCOMPARE(result.code, 130);
    QCOMPARE(result.outLines().mid(result.outLines().size() - 2),
             (QStringList{QStringLiteral("Stopping ..."),
                          QStringLiteral("Stopped. The same command goes on where this one stopped.")}));
    const qint64 have = QFileInfo(temporary).size();
    QVERIFY(have > 500000);
    // It does.
    serve("a.bin", content);
    QCOMPARE(run().code, 0);
    QCOMPARE(m_server->requests("/a.bin").last().rangeStart(), have);
    QCOMPARE(fileContent(QStringLiteral("a.bin")), content);
}
#endif

QTEST_GUILESS_MAIN(tst_LauncherHttp)

#include "tst_LauncherHttp.moc"
