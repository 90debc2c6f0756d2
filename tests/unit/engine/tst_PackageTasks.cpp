// SPDX-License-Identifier: MIT
// Which chunk tasks run next to each other.
#include "package/PackageTasks.h"

#include "FileError.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QUrl>
#include <QtTest>

#include <memory>

using namespace VantorEngine;

namespace {

QStringList heard; ///< "GUID STATUS", with the error's code where there is one; repetitions left out

void onChunkTask(const char* guid, const char* data)
{
    const QJsonObject response = QJsonDocument::fromJson(data).object();
    const int code = response.value(QStringLiteral("error_code")).toInt();
    QString line = QString::fromUtf8(guid) + QLatin1Char(' ') + response.value(QStringLiteral("status")).toString();
    if (code != 0) {
        line += QStringLiteral(" %1").arg(code);
    }
    if (!heard.contains(line)) {
        heard.append(line);
    }
}

} // namespace

class tst_PackageTasks : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void waitsForAReleasedTaskToBeQuiet();
    void refusesAServerThatItCannotAsk_data();
    void refusesAServerThatItCannotAsk();

private:
    void add(const QByteArray& guid, PackageAction action)
    {
        PackageRequest request;
        request.action = action;
        request.package = QStringLiteral("p");
        request.branch = QStringLiteral("b");
        request.installDir = m_folder.path();
        m_tasks->add(guid, request, [this, guid] { m_free.append(guid); });
    }

    QTemporaryDir m_folder;
    CallbackTable m_callbacks;
    Log m_log{m_callbacks};
    Settings m_settings;
    std::unique_ptr<EngineServices> m_services;
    std::unique_ptr<PackageTasks> m_tasks;
    QByteArrayList m_free;
};

void tst_PackageTasks::init()
{
    m_services = std::make_unique<EngineServices>(m_callbacks, m_log, m_settings);
    m_tasks = std::make_unique<PackageTasks>(*m_services);
    m_callbacks.setChunkTask(onChunkTask);
    heard.clear();
    m_free.clear();
}

void tst_PackageTasks::cleanup()
{
    m_tasks.reset();
    m_services.reset();
}

/// Its work on other threads cannot be taken back: the next task must find the folder quiet.
void tst_PackageTasks::waitsForAReleasedTaskToBeQuiet()
{
    const auto gate = std::make_shared<QSemaphore>();
    const auto open = qScopeGuard([gate] { gate->release(static_cast<int>(WorkerPool::width())); });
    for (std::size_t i = 0; i < WorkerPool::width(); ++i) {
        m_services->workers.post([gate] { gate->acquire(); }, [] {});
    }
    add("first", PackageAction::DeleteDatabase); // has work that waits for the threads
    m_tasks->release("first");
    m_services->outbox.drop("first");
    add("second", PackageAction::DeleteDatabase);
    add("third", PackageAction::FetchVersion); // waits for nobody; its callbacks come after those of the second
    QTRY_VERIFY(heard.contains(QStringLiteral("third Start")));
    QCOMPARE(heard, QStringList(QStringLiteral("third Start")));
    QVERIFY(m_free.isEmpty());
    gate->release(static_cast<int>(WorkerPool::width()));
    QTRY_VERIFY(heard.contains(QStringLiteral("second Success")));
    QVERIFY(m_free.contains("first"));
    QVERIFY(heard.filter(QStringLiteral("first")).isEmpty());
}

void tst_PackageTasks::refusesAServerThatItCannotAsk_data()
{
    QTest::addColumn<QString>("baseUrl");
    QTest::addColumn<int>("code");
    QTest::newRow("none") << QString() << int(kNoServer);
    QTest::newRow("no URL") << QStringLiteral("packages") << int(kNoServer);
    QTest::newRow("no host") << QStringLiteral("http:///packages") << int(kNoServer);
    QTest::newRow("files") << QUrl::fromLocalFile(m_folder.path()).toString() << int(kNoServer);
    QTest::newRow("another scheme") << QStringLiteral("ftp://127.0.0.1/packages") << int(kNoServer);
    QTest::newRow("no TLS library") << QStringLiteral("https://127.0.0.1:1/packages") << int(kTlsMissing);
}

void tst_PackageTasks::refusesAServerThatItCannotAsk()
{
    QFETCH(QString, baseUrl);
    QFETCH(int, code);
    m_settings.packageBaseUrl = baseUrl;
    m_services->tlsAvailable = [] { return false; };
    add("task", PackageAction::FetchVersion);
    QTRY_VERIFY(heard.contains(QStringLiteral("task Failed %1").arg(code)));
}

QTEST_GUILESS_MAIN(tst_PackageTasks)
#include "tst_PackageTasks.moc"
