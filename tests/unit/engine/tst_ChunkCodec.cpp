// SPDX-License-Identifier: MIT
#include "package/ChunkCodec.h"

#include <QtTest>

using namespace VantorEngine;

namespace {

QByteArray noise(int size)
{
    QByteArray content(size, Qt::Uninitialized);
    quint64 state = 1;
    for (char& byte : content) {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        byte = static_cast<char>(state >> 56);
    }
    return content;
}

ChunkSpec specOf(const QByteArray& content, const QByteArray& stored)
{
    return {digestOf(content), content.size(), stored.size()};
}

} // namespace

class tst_ChunkCodec : public QObject
{
    Q_OBJECT
private slots:
    void givesBackWhatItTook_data();
    void givesBackWhatItTook();
    void storesWhatDoesNotShrinkAsItIs();
    void refusesWhatIsDamaged_data();
    void refusesWhatIsDamaged();
    void refusesAnotherLength();
};

void tst_ChunkCodec::givesBackWhatItTook_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("a byte") << QByteArray("x");
    QTest::newRow("text") << QByteArray("words and words and ").repeated(5000);
    QTest::newRow("zeros") << QByteArray(1000 * 1000, '\0');
    QTest::newRow("noise") << noise(200 * 1000);
}

void tst_ChunkCodec::givesBackWhatItTook()
{
    QFETCH(const QByteArray, content);
    for (int level = 0; level <= 9; ++level) {
        const QByteArray stored = encodeChunk(content, level);
        QVERIFY(stored.size() <= content.size());
        QByteArray decoded;
        QVERIFY(decodeChunk(stored, specOf(content, stored), decoded));
        QCOMPARE(decoded, content);
    }
}

void tst_ChunkCodec::storesWhatDoesNotShrinkAsItIs()
{
    const QByteArray content = noise(5000);
    QCOMPARE(encodeChunk(content, 9), content);
    QVERIFY(encodeChunk(QByteArray(5000, 'a'), 1).size() < 100);
}

void tst_ChunkCodec::refusesWhatIsDamaged_data()
{
    QTest::addColumn<bool>("compressed");
    QTest::addColumn<int>("position");
    QTest::newRow("raw, first") << false << 0;
    QTest::newRow("raw, last") << false << -1;
    QTest::newRow("compressed, length") << true << 0;
    QTest::newRow("compressed, stream") << true << 20;
    QTest::newRow("compressed, last") << true << -1;
}

void tst_ChunkCodec::refusesWhatIsDamaged()
{
    QFETCH(const bool, compressed);
    QFETCH(const int, position);
    const QByteArray content = compressed ? QByteArray("words and words and ").repeated(5000) : noise(5000);
    QByteArray stored = encodeChunk(content, 6);
    QCOMPARE(stored.size() < content.size(), compressed);
    const ChunkSpec entry = specOf(content, stored);
    const int index = position < 0 ? stored.size() - 1 : position;
    stored[index] = static_cast<char>(stored.at(index) ^ 0x40);
    QByteArray decoded;
    QVERIFY(!decodeChunk(stored, entry, decoded));
}

void tst_ChunkCodec::refusesAnotherLength()
{
    const QByteArray content = noise(5000);
    const ChunkSpec entry = specOf(content, content);
    QByteArray decoded;
    QVERIFY(!decodeChunk({}, entry, decoded));
    QVERIFY(!decodeChunk(content.chopped(1), entry, decoded));
    QVERIFY(!decodeChunk(content + 'x', entry, decoded));
    QVERIFY(decodeChunk(content, entry, decoded));
}

QTEST_GUILESS_MAIN(tst_ChunkCodec)
#include "tst_ChunkCodec.moc"
