// SPDX-License-Identifier: MIT
// "launcher package" as its user sees it, on the reference engine: exit codes, texts, and what is on disk.
#include "LauncherProcess.h"
#include "PackageTree.h"

#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

const PackageTree::Tree& files()
{
    static const PackageTree::Tree tree{{QStringLiteral("a.bin"), PackageTree::content(200 * 1000, 1)},
                                        {QStringLiteral("b/c.txt"), QByteArray("text\n").repeated(2000)}};
    return tree;
}

} // namespace

class tst_PackageLauncher : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void tellsHowToUseIt();
    void refusesWrongUse_data();
    void refusesWrongUse();
    void needsAnEngine();
    void tellsVersionsAndSizes();
    void installsRepairsAndRemoves();
    void removesOnlyWhatIsInstalled();
    void tellsWhyItFailed();
    void tellsNamesAsTheyAre();

private:
    LauncherResult run(const QStringList& arguments, bool withEngine = true) const;
    LauncherResult act(const char* action, const QStringList& options = {}) const;
    QString install() const { return m_folder->filePath(QStringLiteral("install")); }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ScriptedHttpServer> m_server;
};

void tst_PackageLauncher::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_server = std::make_unique<ScriptedHttpServer>();
    QVERIFY(m_server->port() != 0);
    VantorEngine::PublishOrder order;
    order.folder = m_folder->filePath(QStringLiteral("source"));
    order.out = m_folder->filePath(QStringLiteral("published"));
    order.package = QStringLiteral("demo");
    order.branch = QStringLiteral("main");
    order.version = QStringLiteral("1.0");
    QVERIFY(PackageTree::write(order.folder, files()));
    QCOMPARE(VantorEngine::publishPackage(order).problem, QString());
    PackageTree::serve(*m_server, order.out);
}

LauncherResult tst_PackageLauncher::run(const QStringList& arguments, bool withEngine) const
{
    LauncherProcess launcher;
    launcher.setVariable(QStringLiteral("XDG_CACHE_HOME"), m_folder->filePath(QStringLiteral("cache")));
    if (withEngine)
        launcher.addEngineFolder(QStringLiteral(ENGINE_FOLDER));
    launcher.launch(arguments);
    return launcher.result();
}

LauncherResult tst_PackageLauncher::act(const char* action, const QStringList& options) const
{
    return run(QStringList{QStringLiteral("package"), QLatin1String(action), QStringLiteral("--package"),
                           QStringLiteral("demo"), QStringLiteral("--dir"), install(), QStringLiteral("--server"),
                           m_server->urlText("/"), QStringLiteral("--lang"), QStringLiteral("en-us")} +
               options);
}

void tst_PackageLauncher::tellsHowToUseIt()
{
    const LauncherResult help = run({QStringLiteral("package"), QStringLiteral("--help")}, false);
    QCOMPARE(help.code, 0);
    QVERIFY(help.out.startsWith(QStringLiteral("Usage: launcher package ACTION")));
    QVERIFY(run({QStringLiteral("--help")}, false).out.contains(QStringLiteral("\n  package ")));
}

void tst_PackageLauncher::refusesWrongUse_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char* arguments, const char* reason) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << QString::fromLatin1(reason);
    };
    row("--package p --dir d", "no action given");
    row("size install --package p --dir d --server http://s", "more than one action given");
    row("explode --package p --dir d --server http://s", "unknown action \"explode\"");
    row("size --dir d --server http://s", "--package is missing");
    row("size --package p --server http://s", "--dir is missing");
    row("size --package p --dir d", "--server is missing");
    row("size --package p --dir d --server ftp://s", "--server wants an http or https URL");
    row("size --package p --dir d --server http://s --limit x", "--limit wants a number of KiB per second");
    row("size --package p --dir d --server http://s --lang xx", "--lang wants en-us or zh-cn");
    row("size --package p --dir d --server http://s --patience 0", "--patience wants a number of seconds");
    row("install --package p --dir d --server http://s --with-files", "--with-files goes with \"remove\"");
}

void tst_PackageLauncher::refusesWrongUse()
{
    QFETCH(const QString, arguments);
    QFETCH(const QString, reason);
    const LauncherResult result =
        run(QStringList(QStringLiteral("package")) + arguments.split(QLatin1Char(' ')), false);
    QCOMPARE(result.code, 2);
    QCOMPARE(result.err, QStringLiteral("error: %1 (see launcher package --help)\n").arg(reason));
}

void tst_PackageLauncher::needsAnEngine()
{
    const LauncherResult result =
        run({QStringLiteral("package"), QStringLiteral("version"), QStringLiteral("--package"), QStringLiteral("demo"),
             QStringLiteral("--server"), m_server->urlText("/")},
            false);
    QCOMPARE(result.code, 3);
    QVERIFY(result.err.startsWith(QStringLiteral("error: the download engine was not found")));
}

void tst_PackageLauncher::tellsVersionsAndSizes()
{
    LauncherResult result = act("version");
    QCOMPARE(result.code, 0);
    QVERIFY2(result.out.endsWith(QStringLiteral("on the server: 1.0\ninstalled: none\n")), qPrintable(result.out));
    result = act("size");
    QCOMPARE(result.code, 0);
    QVERIFY2(result.out.contains(QStringLiteral("to write: 2 of 2 files\n")), qPrintable(result.out));
    QVERIFY2(result.out.contains(QStringLiteral(" in 2 of 2 chunks, ")), qPrintable(result.out));
    QVERIFY(!QDir(install()).exists());
}

void tst_PackageLauncher::installsRepairsAndRemoves()
{
    LauncherResult result = act("install");
    QCOMPARE(result.err, QString());
    QCOMPARE(result.code, 0);
    QVERIFY2(result.out.contains(QStringLiteral("Finished: version 1.0, 2 of 2 files written, ")),
             qPrintable(result.out));
    QCOMPARE(PackageTree::differences(PackageTree::read(install()), files()), QStringList());

    QVERIFY(PackageTree::writeFile(install() + QStringLiteral("/b/c.txt"), "damaged"));
    result = act("repair");
    QCOMPARE(result.code, 0);
    QVERIFY2(result.out.contains(QStringLiteral("Finished: version 1.0, 1 of 2 files written, ")),
             qPrintable(result.out));
    QCOMPARE(PackageTree::differences(PackageTree::read(install()), files()), QStringList());

    result = act("remove", {QStringLiteral("--with-files")});
    QCOMPARE(result.code, 0);
    QVERIFY2(result.out.contains(QStringLiteral("Removed: version 1.0\n")), qPrintable(result.out));
    QVERIFY(!QDir(install()).exists());
}

void tst_PackageLauncher::removesOnlyWhatIsInstalled()
{
    QVERIFY(PackageTree::write(install(), {{QStringLiteral("mine"), "mine"}}));
    LauncherResult result = act("remove", {QStringLiteral("--with-files")});
    QCOMPARE(result.code, 1);
    QVERIFY(result.err.contains(QStringLiteral("nothing was deleted")));
    QVERIFY(QFile::exists(install() + QStringLiteral("/mine")));
    QCOMPARE(act("install").code, 0);
    result = act("remove");
    QCOMPARE(result.code, 0);
    QVERIFY2(result.out.contains(QStringLiteral("Removed: version 1.0 (the files stay)\n")), qPrintable(result.out));
    QVERIFY(QFile::exists(install() + QStringLiteral("/a.bin")));
}

void tst_PackageLauncher::tellsWhyItFailed()
{
    const LauncherResult result = act("install", {QStringLiteral("--branch"), QStringLiteral("beta")});
    QCOMPARE(result.code, 1);
    QCOMPARE(result.err, QStringLiteral("error: demo: code 404: %1: the server answered with status 404\n")
                             .arg(m_server->urlText("/demo/branches/beta.json")));
}

void tst_PackageLauncher::tellsNamesAsTheyAre()
{
    // "%2" is part of the name and of the address, not a place to fill in.
    const QString package = QStringLiteral("a%2b");
    const LauncherResult result =
        run({QStringLiteral("package"), QStringLiteral("install"), QStringLiteral("--package"), package,
             QStringLiteral("--dir"), install(), QStringLiteral("--server"), m_server->urlText("/x%2Fy/"),
             QStringLiteral("--lang"), QStringLiteral("en-us")});
    QCOMPARE(result.code, 1);
    QCOMPARE(result.err, QString(QStringLiteral("error: ") + package + QStringLiteral(": code 404: ") +
                                 m_server->urlText("/x%2Fy/a%252b/branches/main.json") +
                                 QStringLiteral(": the server answered with status 404\n")));
}

QTEST_GUILESS_MAIN(tst_PackageLauncher)
#include "tst_PackageLauncher.moc"
