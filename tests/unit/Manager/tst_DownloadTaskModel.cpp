// SPDX-License-Identifier: MIT
#include "Manager/DownloadTaskModel.h"

#include <QDir>
#include <QVector>
#include <QtTest>

#include <limits>

namespace {

DownloadTaskModel filledModel()
{
    DownloadTaskModel model;
    model.Init(QStringLiteral("http://host/dir/file.zip"), QStringLiteral("/games/demo"), QStringLiteral("ABCDEF"),
               QStringLiteral("salt"), 123456789012);
    model.priority = 5;
    return model;
}

void compareFields(const DownloadTaskModel& actual, const DownloadTaskModel& expected)
{
    QCOMPARE(actual.url, expected.url);
    QCOMPARE(actual.md5, expected.md5);
    QCOMPARE(actual.md5Salt, expected.md5Salt);
    QCOMPARE(actual.path, expected.path);
    QCOMPARE(actual.priority, expected.priority);
    QCOMPARE(actual.size, expected.size);
}

} // namespace

class tst_DownloadTaskModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hasDefaults();
    void initSetsFiveFields();
    void initTakesAnySize_data();
    void initTakesAnySize();
    void takesItsNameFromTheUrl_data();
    void takesItsNameFromTheUrl();
    void joinsNameAndFolder_data();
    void joinsNameAndFolder();
    void copiesCarryAllFields();
    void copiesAreIndependent();
    void copiesAreObjectsOfTheirOwn();
    void assignsToItself();
    void livesInAList();
};

void tst_DownloadTaskModel::hasDefaults()
{
    const DownloadTaskModel model;
    QVERIFY(model.url.isEmpty());
    QVERIFY(model.md5.isEmpty());
    QVERIFY(model.md5Salt.isEmpty());
    QVERIFY(model.path.isEmpty());
    QCOMPARE(model.priority, 1);
    QCOMPARE(model.size, qint64(0));
    QCOMPARE(model.parent(), nullptr);
    QVERIFY(model.GetFileName().isEmpty());
}

void tst_DownloadTaskModel::initSetsFiveFields()
{
    DownloadTaskModel model;
    model.priority = 9;
    model.Init(QStringLiteral("http://host/a.zip?x=1"), QStringLiteral("/games"), QStringLiteral("0123"),
               QStringLiteral("salt"), 42);
    QCOMPARE(model.url, QUrl(QStringLiteral("http://host/a.zip?x=1")));
    QCOMPARE(model.path, QStringLiteral("/games"));
    QCOMPARE(model.md5, QStringLiteral("0123"));
    QCOMPARE(model.md5Salt, QStringLiteral("salt"));
    QCOMPARE(model.size, qint64(42));
    QCOMPARE(model.priority, 9);

    model.Init(QString(), QString(), QString(), QString(), 0);
    QVERIFY(model.url.isEmpty());
    QVERIFY(model.path.isEmpty());
    QVERIFY(model.md5.isEmpty());
    QVERIFY(model.md5Salt.isEmpty());
    QCOMPARE(model.size, qint64(0));
}

void tst_DownloadTaskModel::initTakesAnySize_data()
{
    QTest::addColumn<qint64>("size");
    QTest::newRow("unknown") << qint64(0);
    QTest::newRow("negative") << qint64(-1);
    QTest::newRow("beyond 32 bits") << qint64(5000000000);
    QTest::newRow("largest") << std::numeric_limits<qint64>::max();
}

void tst_DownloadTaskModel::initTakesAnySize()
{
    QFETCH(const qint64, size);
    DownloadTaskModel model;
    model.Init(QStringLiteral("http://host/a"), QString(), QString(), QString(), size);
    QCOMPARE(model.size, size);
}

void tst_DownloadTaskModel::takesItsNameFromTheUrl_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("name");
    const auto row = [](const char* name, const QString& url, const QString& file) {
        QTest::newRow(name) << url << file;
    };
    row("plain", QStringLiteral("http://host/dir/a.zip"), QStringLiteral("a.zip"));
    row("encoded blank and query", QStringLiteral("http://host/dir/a%20b.zip?x=1"), QStringLiteral("a b.zip"));
    row("blank as it is", QStringLiteral("http://host/dir/a b.zip"), QStringLiteral("a b.zip"));
    row("fragment", QStringLiteral("http://host/dir/a.zip#part"), QStringLiteral("a.zip"));
    row("slash in the query", QStringLiteral("http://host/dir/a.zip?path=/b/c.zip"), QStringLiteral("a.zip"));
    row("encoded percent sign", QStringLiteral("http://host/50%25.txt"), QStringLiteral("50%.txt"));
    row("encoded question mark and hash", QStringLiteral("http://host/a%3Fb%23c"), QStringLiteral("a?b#c"));
    row("encoded letters that are not ASCII", QStringLiteral("http://host/%E6%B8%B8.pak"),
        QStringLiteral("\u6E38.pak"));
    row("letters that are not ASCII", QStringLiteral("http://host/\u6E38.pak"), QStringLiteral("\u6E38.pak"));
    row("no extension", QStringLiteral("http://host/dir/data"), QStringLiteral("data"));
    row("encoded slash does not leave the folder", QStringLiteral("http://host/dir/..%2F..%2Fa.zip"),
        QStringLiteral("a.zip"));
    row("folder", QStringLiteral("http://host/dir/"), QString());
    row("host alone", QStringLiteral("http://host"), QString());
    row("empty", QString(), QString());
}

void tst_DownloadTaskModel::takesItsNameFromTheUrl()
{
    QFETCH(const QString, url);
    QFETCH(const QString, name);
    DownloadTaskModel model;
    model.Init(url, QStringLiteral("/games"), QString(), QString(), 0);
    QCOMPARE(model.GetFileName(), name);
}

void tst_DownloadTaskModel::joinsNameAndFolder_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("file");
    const QString root = QDir::rootPath();
    QTest::newRow("folder") << root + QStringLiteral("games/demo") << root + QStringLiteral("games/demo/a b.zip");
    QTest::newRow("slash at the end") << root + QStringLiteral("games/demo/")
                                      << root + QStringLiteral("games/demo/a b.zip");
    QTest::newRow("root") << root << root + QStringLiteral("a b.zip");
    QTest::newRow("folder that is not ASCII")
        << root + QStringLiteral("\u6E38 \u620F") << root + QStringLiteral("\u6E38 \u620F/a b.zip");
    QTest::newRow("relative folder") << QStringLiteral("games")
                                     << QDir::current().absoluteFilePath(QStringLiteral("games/a b.zip"));
}

void tst_DownloadTaskModel::joinsNameAndFolder()
{
    QFETCH(const QString, folder);
    QFETCH(const QString, file);
    DownloadTaskModel model;
    model.Init(QStringLiteral("http://host/dir/a%20b.zip?x=1"), folder, QString(), QString(), 0);
    QCOMPARE(model.GetFilePath(), file);
    QCOMPARE(model.GetFilePath(), QDir(folder).absoluteFilePath(model.GetFileName()));
}

void tst_DownloadTaskModel::copiesCarryAllFields()
{
    const DownloadTaskModel model = filledModel();
    QCOMPARE(model.priority, 5);
    const DownloadTaskModel copy(model);
    compareFields(copy, model);
    DownloadTaskModel assigned;
    assigned = model;
    compareFields(assigned, model);
}

void tst_DownloadTaskModel::copiesAreIndependent()
{
    const DownloadTaskModel model = filledModel();
    DownloadTaskModel copy(model);
    copy.Init(QStringLiteral("http://host/other"), QStringLiteral("/other"), QString(), QString(), 1);
    copy.priority = 1;
    compareFields(model, filledModel());
}

void tst_DownloadTaskModel::copiesAreObjectsOfTheirOwn()
{
    DownloadTaskModel model = filledModel();
    model.setObjectName(QStringLiteral("model"));
    QObject owner;
    model.setParent(&owner);

    const DownloadTaskModel copy(model);
    QCOMPARE(copy.parent(), nullptr);
    QVERIFY(copy.objectName().isEmpty());
    DownloadTaskModel assigned;
    assigned = model;
    QCOMPARE(assigned.parent(), nullptr);
    QVERIFY(assigned.objectName().isEmpty());
    model.setParent(nullptr);
}

void tst_DownloadTaskModel::assignsToItself()
{
    DownloadTaskModel model = filledModel();
    const DownloadTaskModel& same = model;
    model = same;
    compareFields(model, filledModel());
}

void tst_DownloadTaskModel::livesInAList()
{
    QVector<DownloadTaskModel> models;
    for (int index = 0; index < 100; ++index) {
        DownloadTaskModel model = filledModel();
        model.size = index;
        models.append(model);
    }
    const QVector<DownloadTaskModel> copy = models;
    models.first().size = 1000;
    for (int index = 0; index < 100; ++index) {
        QCOMPARE(copy.at(index).size, qint64(index));
        QCOMPARE(copy.at(index).url, filledModel().url);
    }
}

QTEST_GUILESS_MAIN(tst_DownloadTaskModel)
#include "tst_DownloadTaskModel.moc"
