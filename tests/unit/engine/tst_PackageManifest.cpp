// SPDX-License-Identifier: MIT
#include "package/PackageManifest.h"

#include <QtTest>

using namespace VantorEngine;

namespace {

const QByteArray kDigestA(64, 'a');
const QByteArray kDigestB(64, 'b');

PackageManifest sample()
{
    PackageManifest manifest;
    manifest.package = QStringLiteral("demo");
    manifest.branch = QStringLiteral("main \u6E38");
    manifest.version = QStringLiteral("1.0 \"beta\"");
    manifest.chunks = {{kDigestA, 1000, 400}, {kDigestB, 10, 10}};
    PackageFile file;
    file.path = QStringLiteral("data/\u00DCbersicht.map");
    file.size = 2010;
    file.executable = true;
    file.chunks = {0, 1, 0};
    PackageFile empty;
    empty.path = QStringLiteral("empty");
    manifest.files = {file, empty};
    manifest.folders = QStringList(QStringLiteral("saves"));
    return manifest;
}

QString problemOf(const QByteArray& text)
{
    PackageManifest manifest;
    manifest.version = QStringLiteral("before");
    const QString problem = parseManifest(text, manifest);
    // What cannot be used changes nothing.
    return problem.isEmpty() || manifest.version == QLatin1String("before") ? problem : QStringLiteral("changed");
}

} // namespace

class tst_PackageManifest : public QObject
{
    Q_OBJECT
private slots:
    void readsWhatItWrites();
    void refusesManifests_data();
    void refusesManifests();
    void readsThePointerItWrites();
    void refusesPointers_data();
    void refusesPointers();
    void tellsDigests();
    void placesFiles();
};

void tst_PackageManifest::readsWhatItWrites()
{
    const PackageManifest written = sample();
    PackageManifest read;
    QCOMPARE(parseManifest(manifestText(written), read), QString());
    QCOMPARE(read.package, written.package);
    QCOMPARE(read.branch, written.branch);
    QCOMPARE(read.version, written.version);
    QCOMPARE(read.folders, written.folders);
    QCOMPARE(read.chunks.size(), 2);
    QCOMPARE(read.chunks.at(0).digest, kDigestA);
    QCOMPARE(read.chunks.at(0).size, qint64(1000));
    QCOMPARE(read.chunks.at(0).stored, qint64(400));
    QCOMPARE(read.files.size(), 2);
    QCOMPARE(read.files.at(0).path, written.files.at(0).path);
    QCOMPARE(read.files.at(0).size, qint64(2010));
    QCOMPARE(read.files.at(0).executable, true);
    QCOMPARE(read.files.at(0).chunks, written.files.at(0).chunks);
    QCOMPARE(read.files.at(1).executable, false);
    QVERIFY(read.files.at(1).chunks.isEmpty());
}

void tst_PackageManifest::refusesManifests_data()
{
    QTest::addColumn<QByteArray>("from");
    QTest::addColumn<QByteArray>("to");
    const auto row = [](const char* name, const char* from, const QByteArray& to) {
        QTest::newRow(name) << QByteArray(from) << to;
    };
    row("no JSON", "{\"format\"", "{format");
    row("other format", "\"format\":1", "\"format\":2");
    row("no version", "\"version\":", "\"versio\":");
    row("chunk size 0", ",1000,400]", ",0,0]");
    row("chunk size negative", ",1000,400]", ",-1000,400]");
    row("chunk size fractional", ",1000,400]", ",1000.5,400]");
    row("chunk size as text", ",1000,400]", ",\"1000\",400]");
    row("chunk too large", ",1000,400]", ",16777217,400]");
    row("chunk size huge", ",1000,400]", ",1e300,400]");
    row("chunk stored 0", ",1000,400]", ",1000,0]");
    row("chunk stored longer", ",1000,400]", ",1000,1001]");
    row("chunk with another member", ",1000,400]", ",1000,400,1]");
    row("digest too short", "aaaaaaaa", "aaaaaaa");
    row("digest in capitals", "aaaaaaaa", "AAAAAAAA");
    row("digest that is a path", "aaaaaaaa", "../aaaaa");
    row("chunk twice", "bbbbbbbb", "aaaaaaaa");
    row("index too large", "[0,1,0]", "[0,2,0]");
    row("index negative", "[0,1,0]", "[0,-1,0]");
    row("index huge", "[0,1,0]", "[0,4294967296,0]");
    row("index as text", "[0,1,0]", "[0,\"1\",0]");
    row("file of another size", "\"size\":2010", "\"size\":2011");
    row("file without a size", "\"size\":2010", "\"syze\":2010");
    row("file without a path", "\"path\":\"empty\"", "\"pth\":\"empty\"");
    row("path that leaves", "\"empty\"", "\"../empty\"");
    row("paths that collide", "\"empty\"",
        "\"DATA/\xC3\x9C"
        "bersicht.map\"");
    row("folder that leaves", "\"saves\"", "\"/saves\"");
    row("folder that is a file", "\"saves\"", "\"Empty\"");
    row("folder that is no text", "\"saves\"", "7");
}

void tst_PackageManifest::refusesManifests()
{
    QFETCH(const QByteArray, from);
    QFETCH(const QByteArray, to);
    QByteArray text = manifestText(sample());
    QCOMPARE(problemOf(text), QString());
    QVERIFY(text.contains(from));
    // Digests are long: the whole run of letters is replaced where "chunk twice" wants equal ones.
    text.replace(from, to);
    const QString problem = problemOf(text);
    QVERIFY(!problem.isEmpty());
    QVERIFY(problem != QLatin1String("changed"));
}

void tst_PackageManifest::readsThePointerItWrites()
{
    BranchPointer pointer;
    QCOMPARE(parsePointer(pointerText(sample(), kDigestB, 1234), pointer), QString());
    QCOMPARE(pointer.version, sample().version);
    QCOMPARE(pointer.manifest, kDigestB);
    QCOMPARE(pointer.manifestSize, qint64(1234));
}

void tst_PackageManifest::refusesPointers_data()
{
    QTest::addColumn<QByteArray>("text");
    const QByteArray head = "{\"format\":1,\"version\":\"1\",";
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("an error page") << QByteArray("<html>");
    QTest::newRow("array") << QByteArray("[]");
    QTest::newRow("other format") << QByteArray("{\"format\":2}");
    QTest::newRow("no version") << "{\"format\":1,\"manifest\":\"" + kDigestA + "\",\"manifest_size\":5}";
    QTest::newRow("no manifest") << head + "\"manifest_size\":5}";
    QTest::newRow("no digest") << head + "\"manifest\":\"../../x\",\"manifest_size\":5}";
    QTest::newRow("no size") << head + "\"manifest\":\"" + kDigestA + "\"}";
    QTest::newRow("size 0") << head + "\"manifest\":\"" + kDigestA + "\",\"manifest_size\":0}";
    QTest::newRow("size too large") << head + "\"manifest\":\"" + kDigestA + "\",\"manifest_size\":536870913}";
}

void tst_PackageManifest::refusesPointers()
{
    QFETCH(const QByteArray, text);
    BranchPointer pointer;
    QVERIFY(!parsePointer(text, pointer).isEmpty());
    QVERIFY(pointer.manifest.isEmpty());
}

void tst_PackageManifest::tellsDigests()
{
    QVERIFY(isDigest(digestOf("abc")));
    QCOMPARE(digestOf("abc"), QByteArray("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    QVERIFY(!isDigest({}));
    QVERIFY(!isDigest(kDigestA.chopped(1)));
    QVERIFY(!isDigest(kDigestA + 'a'));
    QVERIFY(!isDigest(kDigestA.toUpper()));
    QVERIFY(!isDigest(QByteArray(64, 'g')));
}

void tst_PackageManifest::placesFiles()
{
    QCOMPARE(pointerPath(QStringLiteral("p"), QStringLiteral("b")), QStringLiteral("p/branches/b.json"));
    QCOMPARE(manifestPath(QStringLiteral("p"), "abc"), QStringLiteral("p/manifests/abc.json"));
    QCOMPARE(chunkPath(QStringLiteral("p"), "abc"), QStringLiteral("p/chunks/ab/abc"));
}

QTEST_GUILESS_MAIN(tst_PackageManifest)
#include "tst_PackageManifest.moc"
