// SPDX-License-Identifier: MIT
// What a file does where the machine lacks something: seams that a whole engine does not have.
#include "FileJob.h"

#include "CallbackTable.h"

#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace VantorEngine;

namespace {

struct Listener : FileJobListener
{
    void fileChanged(FileJob& file) override { statuses.append(QString::fromLatin1(statusName(file.state().status))); }
    void fileThrough(FileJob&) override {}
    void fileSlotFree(FileJob&) override { ++freed; }
    void fileReady(FileJob&) override {}
    void fileEnded(FileJob&) override { ++ended; }
    QStringList statuses;
    int freed = 0;
    int ended = 0;
};

} // namespace

class tst_FileJob : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void namesAMissingTlsLibrary();
    void setsSpaceAsideForAllFilesOfAGroup();
    void looksForSpaceAgainWhenItStarts();

private:
    FileSpec wanted(const char* url, qint64 size) const
    {
        FileSpec file;
        file.url = QString::fromLatin1(url);
        file.directory = m_folder->path() + QLatin1Char('/');
        file.name = QStringLiteral("f%1").arg(size);
        file.size = size;
        return file;
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    CallbackTable m_callbacks;
    Log m_log{m_callbacks};
    Settings m_settings;
    std::unique_ptr<EngineServices> m_services;
    Listener m_listener;
    qint64 m_free = 0;
};

void tst_FileJob::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_services = std::make_unique<EngineServices>(m_callbacks, m_log, m_settings);
    m_services->disk = DiskSpace([this](const QString&) { return Volume{"volume", m_free}; });
    m_listener = {};
    m_free = 1000;
}

void tst_FileJob::cleanup()
{
    m_services.reset();
}

void tst_FileJob::namesAMissingTlsLibrary()
{
    m_services->tlsAvailable = [] { return false; };
    FileJob file(wanted("https://127.0.0.1:1/f", 100), QStringLiteral("g"), *m_services, m_listener);
    file.start();
    QCOMPARE(m_listener.statuses.last(), QStringLiteral("Failed"));
    QCOMPARE(file.state().error.code, int(kTlsMissing));
    QVERIFY(!file.state().error.transient);
    QVERIFY(file.state().completed);
    QCOMPARE(m_listener.ended, 1);
    QCOMPARE(m_listener.freed, 1);
}

void tst_FileJob::setsSpaceAsideForAllFilesOfAGroup()
{
    FileJob first(wanted("http://127.0.0.1:1/f", 600), QStringLiteral("g"), *m_services, m_listener);
    FileJob second(wanted("http://127.0.0.1:1/g", 500), QStringLiteral("g"), *m_services, m_listener);
    first.survey();
    second.survey();
    second.start(); // before the first one, which has its space all the same
    QCOMPARE(m_listener.statuses.last(), QStringLiteral("Failed"));
    QVERIFY(second.state().error.kind == FileError::Kind::Write);
    QCOMPARE(second.state().error.code, int(kDiskFull));
    first.cancel();
    QVERIFY(m_services->disk.reserve(m_folder->path(), 1000)); // given back
}

void tst_FileJob::looksForSpaceAgainWhenItStarts()
{
    FileJob file(wanted("http://127.0.0.1:1/f", 600), QStringLiteral("g"), *m_services, m_listener);
    file.survey();
    m_free = 599; // somebody else's doing
    file.start();
    QCOMPARE(m_listener.statuses.last(), QStringLiteral("Failed"));
    QCOMPARE(file.state().error.code, int(kDiskFull));
}

QTEST_GUILESS_MAIN(tst_FileJob)
#include "tst_FileJob.moc"
