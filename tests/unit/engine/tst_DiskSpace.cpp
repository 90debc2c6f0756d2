// SPDX-License-Identifier: MIT
#include "DiskSpace.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

using namespace VantorEngine;

class tst_DiskSpace : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void setsAsideUpToWhatIsFree();
    void keepsVolumesApart();
    void looksAtTheVolumeAnew();
    void asksForAFolderThatExists();
    void takesEverythingWhereItCannotAsk();
    void asksTheSystem();

private:
    QHash<QString, Volume> m_volumes;
    QStringList m_asked;
    DiskSpace::Probe m_probe = [this](const QString& folder) {
        m_asked.append(folder);
        return m_volumes.value(folder);
    };
    const QString m_here = QDir::tempPath();
    const QString m_root = QDir::rootPath();
};

void tst_DiskSpace::init()
{
    m_volumes = {{m_here, {"one", 1000}}, {m_root, {"two", 500}}};
    m_asked.clear();
}

void tst_DiskSpace::setsAsideUpToWhatIsFree()
{
    DiskSpace disk(m_probe);
    QVERIFY(disk.reserve(m_here, 600));
    QVERIFY(!disk.reserve(m_here, 401)); // another group's, or another file's
    QVERIFY(disk.reserve(m_here, 400));
    QVERIFY(!disk.reserve(m_here, 1));
    QVERIFY(disk.reserve(m_here, 0));
    disk.release(m_here, 300);
    QVERIFY(disk.reserve(m_here, 300));
    disk.release(m_here, 5000); // never below nothing
    QVERIFY(disk.reserve(m_here, 1000));
    QVERIFY(!disk.reserve(m_here, 1));
}

void tst_DiskSpace::keepsVolumesApart()
{
    DiskSpace disk(m_probe);
    QVERIFY(disk.reserve(m_here, 1000));
    QVERIFY(disk.reserve(m_root, 500));
    QVERIFY(!disk.reserve(m_root, 1));
    disk.release(m_root, 500);
    QVERIFY(!disk.reserve(m_here, 1));
    QVERIFY(disk.reserve(m_root, 500));
}

void tst_DiskSpace::looksAtTheVolumeAnew()
{
    DiskSpace disk(m_probe);
    QVERIFY(disk.reserve(m_here, 800));
    QVERIFY(disk.hasFree(m_here, 800));
    m_volumes[m_here].freeBytes = 799; // somebody else wrote
    QVERIFY(!disk.hasFree(m_here, 800));
    QVERIFY(!disk.reserve(m_here, 1));
}

void tst_DiskSpace::asksForAFolderThatExists()
{
    DiskSpace disk(m_probe);
    const QString folder = m_here + QStringLiteral("/not there/neither");
    QVERIFY(!disk.reserve(folder, 1001));
    QVERIFY(disk.reserve(folder, 1000));
    QVERIFY(!disk.reserve(m_here, 1)); // the same volume
    QCOMPARE(m_asked, QStringList({m_here, m_here, m_here}));
}

void tst_DiskSpace::takesEverythingWhereItCannotAsk()
{
    m_volumes.clear();
    DiskSpace disk(m_probe);
    QVERIFY(disk.reserve(m_here, 1LL << 60));
    QVERIFY(disk.hasFree(m_here, 1LL << 60));
    disk.release(m_here, 1LL << 60);
}

void tst_DiskSpace::asksTheSystem()
{
    const QTemporaryDir folder;
    const Volume volume = volumeOf(folder.path());
    QVERIFY(!volume.id.isEmpty());
    QVERIFY(volume.freeBytes > 0);
    QCOMPARE(volumeOf(QDir(folder.path()).absolutePath()).id, volume.id);
    DiskSpace disk;
    QVERIFY(disk.reserve(folder.path(), 1));
    QVERIFY(!disk.reserve(folder.path(), 1LL << 62));
}

QTEST_GUILESS_MAIN(tst_DiskSpace)
#include "tst_DiskSpace.moc"
