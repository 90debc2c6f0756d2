// SPDX-License-Identifier: MIT
#include "package/ChunkCodec.h"
#include "package/PackagePublisher.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using namespace VantorEngine;

namespace {

QByteArray noise(int size, quint32 seed)
{
    QByteArray content(size, Qt::Uninitialized);
    quint64 state = seed;
    for (char& byte : content) {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        byte = static_cast<char>(state >> 56);
    }
    return content;
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).absolutePath()) && file.open(QIODevice::WriteOnly) &&
           file.write(content) == content.size();
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class tst_PackagePublisher : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void publishesEveryByte();
    void sharesChunksOfEqualContent();
    void sharesChunksBetweenVersions();
    void isTheSameEachTime();
    void leavesNothingElse();
    void keepsTheOldVersionWhenItFails();
    void refusesWhatCannotBeInstalled_data();
    void refusesWhatCannotBeInstalled();
    void refusesOrders_data();
    void refusesOrders();
    void refusesToPublishIntoWhatIsPublished_data();
    void refusesToPublishIntoWhatIsPublished();
    void publishesBesideTheFolder();

private:
    PublishOrder order(const QString& version) const;
    PackageManifest published() const;
    QString in(const QString& path) const { return m_folder->filePath(QStringLiteral("in/") + path); }
    QString out(const QString& path) const { return m_folder->filePath(QStringLiteral("out/") + path); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_PackagePublisher::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("in")));
}

PublishOrder tst_PackagePublisher::order(const QString& version) const
{
    PublishOrder wanted;
    wanted.folder = m_folder->filePath(QStringLiteral("in"));
    wanted.out = m_folder->filePath(QStringLiteral("out"));
    wanted.package = QStringLiteral("p");
    wanted.branch = QStringLiteral("b");
    wanted.version = version;
    wanted.limits = {1000, 16 * 1000, 12};
    return wanted;
}

/// What a client of now finds.
PackageManifest tst_PackagePublisher::published() const
{
    BranchPointer pointer;
    PackageManifest manifest;
    const QString problem = parsePointer(readFile(out(pointerPath(QStringLiteral("p"), QStringLiteral("b")))), pointer);
    const QByteArray text = readFile(out(manifestPath(QStringLiteral("p"), pointer.manifest)));
    const bool right = problem.isEmpty() && digestOf(text) == pointer.manifest && text.size() == pointer.manifestSize;
    return right && parseManifest(text, manifest).isEmpty() ? manifest : PackageManifest();
}

void tst_PackagePublisher::publishesEveryByte()
{
    const QMap<QString, QByteArray> files{{QStringLiteral("a/b.bin"), noise(100 * 1000, 1)},
                                          {QStringLiteral("text"), QByteArray("words ").repeated(9000)},
                                          {QStringLiteral(".hidden"), QByteArray("h")},
                                          {QStringLiteral("empty"), QByteArray()}};
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        QVERIFY(writeFile(in(it.key()), it.value()));
    }
    QVERIFY(QDir().mkpath(in(QStringLiteral("folders/inner"))));
    const PublishResult result = publishPackage(order(QStringLiteral("1")));
    QCOMPARE(result.problem, QString());
    QCOMPARE(result.files, 4);
    const PackageManifest manifest = published();
    QCOMPARE(manifest.version, QStringLiteral("1"));
    QCOMPARE(manifest.folders, QStringList(QStringLiteral("folders/inner")));
    QCOMPARE(manifest.files.size(), files.size());
    qint64 stored = 0;
    for (const ChunkSpec& chunk : manifest.chunks) {
        stored += chunk.stored;
    }
    QCOMPARE(result.newStored, stored);
    for (const PackageFile& file : manifest.files) {
        QByteArray content;
        for (const int index : file.chunks) {
            QByteArray chunk;
            const ChunkSpec& entry = manifest.chunks.at(index);
            QVERIFY(decodeChunk(readFile(out(chunkPath(QStringLiteral("p"), entry.digest))), entry, chunk));
            content += chunk;
        }
        QCOMPARE(content, files.value(file.path));
    }
}

void tst_PackagePublisher::sharesChunksOfEqualContent()
{
    QVERIFY(writeFile(in(QStringLiteral("a")), noise(50 * 1000, 1)));
    QVERIFY(writeFile(in(QStringLiteral("b")), noise(50 * 1000, 1)));
    const PublishResult result = publishPackage(order(QStringLiteral("1")));
    QCOMPARE(result.bytes, qint64(100 * 1000));
    QCOMPARE(result.newStored, qint64(50 * 1000));
    QCOMPARE(published().files.at(0).chunks, published().files.at(1).chunks);
}

void tst_PackagePublisher::sharesChunksBetweenVersions()
{
    QByteArray content = noise(500 * 1000, 1);
    QVERIFY(writeFile(in(QStringLiteral("a")), content));
    QCOMPARE(publishPackage(order(QStringLiteral("1"))).problem, QString());
    QVERIFY(writeFile(in(QStringLiteral("a")), content.insert(250 * 1000, "inserted")));
    const PublishResult second = publishPackage(order(QStringLiteral("2")));
    QCOMPARE(second.problem, QString());
    QVERIFY(second.newChunks > 0);
    QVERIFY(second.newStored <= 3 * 16 * 1000);
    QCOMPARE(published().version, QStringLiteral("2"));
}

void tst_PackagePublisher::isTheSameEachTime()
{
    for (int i = 0; i < 20; ++i) {
        QVERIFY(writeFile(in(QStringLiteral("%1/f").arg(i)), noise(5000, static_cast<quint32>(i))));
    }
    const PublishResult first = publishPackage(order(QStringLiteral("1")));
    const PublishResult again = publishPackage(order(QStringLiteral("1")));
    QCOMPARE(again.problem, QString());
    QCOMPARE(again.build, first.build);
    QCOMPARE(again.newChunks, 0);
}

void tst_PackagePublisher::leavesNothingElse()
{
    QVERIFY(writeFile(in(QStringLiteral("a")), noise(50 * 1000, 1)));
    const PublishResult result = publishPackage(order(QStringLiteral("1")));
    QDirIterator it(out(QString()), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    int files = 0;
    while (it.hasNext()) {
        it.next();
        ++files;
    }
    QCOMPARE(files, result.newChunks + 2);
}

void tst_PackagePublisher::keepsTheOldVersionWhenItFails()
{
    QVERIFY(writeFile(in(QStringLiteral("a")), "1"));
    QCOMPARE(publishPackage(order(QStringLiteral("1"))).problem, QString());
    QVERIFY(writeFile(in(QStringLiteral(".vantor/x")), "2"));
    QVERIFY(!publishPackage(order(QStringLiteral("2"))).problem.isEmpty());
    QCOMPARE(published().version, QStringLiteral("1"));
}

void tst_PackagePublisher::refusesWhatCannotBeInstalled_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("the engine's folder") << QStringLiteral(".vantor/p.json");
#ifndef Q_OS_WIN
    // What Windows does not even let a test make.
    QTest::newRow("device") << QStringLiteral("nul.txt");
    QTest::newRow("collision") << QStringLiteral("SAME");
    QTest::newRow("colon") << QStringLiteral("a:b");
    QTest::newRow("dot at the end") << QStringLiteral("a.");
#endif
}

void tst_PackagePublisher::refusesWhatCannotBeInstalled()
{
    QFETCH(const QString, path);
    QVERIFY(writeFile(in(QStringLiteral("same")), "1"));
    QVERIFY(writeFile(in(path), "2"));
    const PublishResult result = publishPackage(order(QStringLiteral("1")));
    QVERIFY2(result.problem.contains(path), qPrintable(result.problem));
    QVERIFY(!QFile::exists(out(QStringLiteral("p/branches"))));
}

void tst_PackagePublisher::refusesOrders_data()
{
    QTest::addColumn<QString>("package");
    QTest::addColumn<QString>("branch");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("folder");
    QTest::newRow("package") << QStringLiteral("../p") << QStringLiteral("b") << QStringLiteral("1") << QString();
    QTest::newRow("branch") << QStringLiteral("p") << QStringLiteral("b/c") << QStringLiteral("1") << QString();
    QTest::newRow("version") << QStringLiteral("p") << QStringLiteral("b") << QString() << QString();
    QTest::newRow("folder") << QStringLiteral("p") << QStringLiteral("b") << QStringLiteral("1")
                            << QStringLiteral("/there/is/none");
}

void tst_PackagePublisher::refusesOrders()
{
    QFETCH(const QString, package);
    QFETCH(const QString, branch);
    QFETCH(const QString, version);
    QFETCH(const QString, folder);
    PublishOrder wanted = order(version);
    wanted.package = package;
    wanted.branch = branch;
    if (!folder.isEmpty()) {
        wanted.folder = folder;
    }
    QVERIFY(!publishPackage(wanted).problem.isEmpty());
    QVERIFY(!QFile::exists(m_folder->filePath(QStringLiteral("out"))));
}

void tst_PackagePublisher::refusesToPublishIntoWhatIsPublished_data()
{
    QTest::addColumn<QString>("out");
    QTest::newRow("the folder itself") << QStringLiteral("in");
    QTest::newRow("a folder in it") << QStringLiteral("in/there/out");
    QTest::newRow("by a detour") << QStringLiteral("out/../in/./new/out");
#ifdef Q_OS_WIN
    QTest::newRow("in other letters") << QStringLiteral("IN/out");
#else
    QTest::newRow("by a link") << QStringLiteral("link/out");
#endif
}

void tst_PackagePublisher::refusesToPublishIntoWhatIsPublished()
{
    QFETCH(const QString, out);
    QVERIFY(writeFile(in(QStringLiteral("there/f")), "content"));
#ifdef Q_OS_UNIX
    QVERIFY(QFile::link(in(QString()), m_folder->filePath(QStringLiteral("link"))));
#endif
    PublishOrder wanted = order(QStringLiteral("1"));
    wanted.out = m_folder->filePath(out);
    QVERIFY2(publishPackage(wanted).problem.contains(QStringLiteral("lies within")), qPrintable(out));
    QCOMPARE(QDir(in(QString())).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList(QStringLiteral("there")));
}

/// A name that only begins like the folder's is another folder.
void tst_PackagePublisher::publishesBesideTheFolder()
{
    QVERIFY(writeFile(in(QStringLiteral("f")), "content"));
    PublishOrder wanted = order(QStringLiteral("1"));
    wanted.out = m_folder->filePath(QStringLiteral("in-published"));
    QCOMPARE(publishPackage(wanted).problem, QString());
}

QTEST_GUILESS_MAIN(tst_PackagePublisher)
#include "tst_PackagePublisher.moc"
