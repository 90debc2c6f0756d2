// SPDX-License-Identifier: MIT
// The HTTP back-end on disks that are full or cannot be written, in a process of its own on file systems of its own.
#include "ScriptedHttpServer.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

constexpr int kRunLimitMs = 60000;

// Mounts a small file system at $dir and goes on with the steps of a test, where `get` is a download into $1.
const char* const kPrologue = R"(
dir=$1 child=$2 url=$3 md5=$4 size=$5
set -e
get() { "$child" "$1" "$url" "$md5" "$size" || true; }
mount -t tmpfs -o size=512k tmpfs "$dir"
)";

} // namespace

class tst_HttpDisk : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void fullDiskIs3004();
    void readOnlyFolderFailsTheStart();

private:
    QStringList run(const QByteArray& steps) const;

    QByteArray m_content;
    std::unique_ptr<ScriptedHttpServer> m_server;
    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_HttpDisk::initTestCase()
{
    QProcess probe;
    probe.setProcessChannelMode(QProcess::MergedChannels);
    probe.start(QStringLiteral("unshare"), {QStringLiteral("-rm"), QStringLiteral("true")});
    QVERIFY2(probe.waitForFinished(kRunLimitMs) && probe.exitCode() == 0,
             "this test needs unshare(1) and the right to mount within a namespace of its own: " + probe.readAll());
    m_content = QByteArray(2000000, '\0');
    for (int i = 0; i < m_content.size(); ++i)
        m_content[i] = static_cast<char>((i * 31 + i / 253) & 0xff);
    m_server = std::make_unique<ScriptedHttpServer>();
    m_server->serve("/file.bin", m_content);
}

void tst_HttpDisk::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

// What the steps print, line by line.
QStringList tst_HttpDisk::run(const QByteArray& steps) const
{
    const QString md5 = QString::fromLatin1(QCryptographicHash::hash(m_content, QCryptographicHash::Md5).toHex());
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("unshare"), {QStringLiteral("-rm"), QStringLiteral("sh"), QStringLiteral("-c"),
                                              QString::fromLatin1(kPrologue + steps), QStringLiteral("sh"),
                                              m_folder->path(), QStringLiteral(DOWNLOAD_CHILD),
                                              m_server->urlText("/file.bin"), md5, QString::number(m_content.size())});
    if (!process.waitForFinished(kRunLimitMs))
        return {QStringLiteral("not finished")};
    return QString::fromUtf8(process.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void tst_HttpDisk::fullDiskIs3004()
{
    const QStringList lines = run("get $dir; ls $dir; mount -o remount,size=8m tmpfs $dir; get $dir; ls $dir");
    // What has arrived stays, and the download goes on from it when there is space.
    QCOMPARE(lines,
             (QStringList{QStringLiteral("error 3004 -1 -1 message_disk_not_enough_space"),
                          QStringLiteral("file.bin_tmp"), QStringLiteral("finish"), QStringLiteral("file.bin")}));
    QVERIFY(m_server->requests("/file.bin").last().rangeStart() > 100000);
}

void tst_HttpDisk::readOnlyFolderFailsTheStart()
{
    const QStringList lines = run("mkdir $dir/there; mount -o remount,ro tmpfs $dir; get $dir/there; get $dir/new; "
                                  "mount -o remount,rw,size=8m tmpfs $dir; get $dir/there; get $dir/new");
    QCOMPARE(lines, (QStringList{QStringLiteral("error 3012 -1 0 download open file error"),
                                 QStringLiteral("error 3012 -1 0 download create floder error"),
                                 QStringLiteral("finish"), QStringLiteral("finish")}));
}

QTEST_GUILESS_MAIN(tst_HttpDisk)

#include "tst_HttpDisk.moc"
