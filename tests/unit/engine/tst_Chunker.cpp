// SPDX-License-Identifier: MIT
#include "package/Chunker.h"

#include <QByteArray>
#include <QSet>
#include <QVector>
#include <QtTest>

using namespace VantorEngine;

namespace {

constexpr ChunkLimits kSmall{1000, 16 * 1000, 12};

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

QVector<QByteArray> chunksOf(const QByteArray& content, const ChunkLimits& limits = kSmall)
{
    QVector<QByteArray> chunks;
    for (int begin = 0; begin < content.size();) {
        const int length = chunkLength(content.constData() + begin, content.size() - begin, true, limits);
        if (length <= 0) {
            return {};
        }
        chunks.append(content.mid(begin, length));
        begin += length;
    }
    return chunks;
}

int unknownBytes(const QByteArray& content, const QByteArray& known)
{
    const QVector<QByteArray> list = chunksOf(known);
    const QSet<QByteArray> old(list.cbegin(), list.cend());
    int bytes = 0;
    for (const QByteArray& chunk : chunksOf(content)) {
        bytes += old.contains(chunk) ? 0 : chunk.size();
    }
    return bytes;
}

} // namespace

class tst_Chunker : public QObject
{
    Q_OBJECT
private slots:
    void keepsTheLimits();
    void averagesWhatTheMaskSays();
    void asksForMoreWhenItCannotTell();
    void takesTheRestAtTheEnd_data();
    void takesTheRestAtTheEnd();
    void doesNotDependOnTheReadSize();
    void cutsWhatHasNoBoundaryAtTheMost();
    void findsItsWayBackAfterAChange_data();
    void findsItsWayBackAfterAChange();
    void boundariesStayThoseOfPublishedPackages();
};

void tst_Chunker::keepsTheLimits()
{
    const QByteArray content = noise(2 * 1000 * 1000, 1);
    const QVector<QByteArray> chunks = chunksOf(content);
    QVERIFY(!chunks.isEmpty());
    QByteArray joined;
    for (int i = 0; i < chunks.size(); ++i) {
        QVERIFY(chunks.at(i).size() <= kSmall.most);
        QVERIFY(chunks.at(i).size() >= kSmall.least || i == chunks.size() - 1);
        joined += chunks.at(i);
    }
    QCOMPARE(joined, content);
}

void tst_Chunker::averagesWhatTheMaskSays()
{
    const QByteArray content = noise(8 * 1000 * 1000, 2);
    const int average = content.size() / chunksOf(content).size();
    // The least length and 4,096 bytes more, less what the most length cuts off.
    QVERIFY2(average > 4200 && average < 5600, qPrintable(QString::number(average)));
}

void tst_Chunker::asksForMoreWhenItCannotTell()
{
    const QByteArray content = noise(kSmall.most, 3);
    QCOMPARE(chunkLength(content.constData(), kSmall.most - 1, false, kSmall), 0);
    QVERIFY(chunkLength(content.constData(), kSmall.most, false, kSmall) > 0);
}

void tst_Chunker::takesTheRestAtTheEnd_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {0, 1, 63, 64, 65, 999, 1000}) {
        QTest::addRow("%d", size) << size;
    }
}

void tst_Chunker::takesTheRestAtTheEnd()
{
    QFETCH(const int, size);
    const QByteArray content = noise(size, 4);
    QCOMPARE(chunkLength(content.constData(), size, true, kSmall), size);
}

void tst_Chunker::doesNotDependOnTheReadSize()
{
    const QByteArray content = noise(300 * 1000, 5);
    const QVector<QByteArray> whole = chunksOf(content);
    int begin = 0;
    for (const QByteArray& chunk : whole) {
        const int seen = qMin(content.size() - begin, kSmall.most);
        const bool last = begin + seen == content.size();
        QCOMPARE(chunkLength(content.constData() + begin, seen, last, kSmall), chunk.size());
        begin += chunk.size();
    }
}

void tst_Chunker::cutsWhatHasNoBoundaryAtTheMost()
{
    const QByteArray zeros(100 * 1000, '\0');
    const QVector<QByteArray> chunks = chunksOf(zeros);
    QCOMPARE(chunks.size(), 7);
    QCOMPARE(chunks.constFirst().size(), kSmall.most);
}

void tst_Chunker::findsItsWayBackAfterAChange_data()
{
    QTest::addColumn<int>("position");
    QTest::addColumn<int>("removed");
    QTest::addColumn<int>("inserted");
    QTest::newRow("a byte changed") << 500000 << 1 << 1;
    QTest::newRow("a byte inserted") << 500000 << 0 << 1;
    QTest::newRow("a byte removed") << 500000 << 1 << 0;
    QTest::newRow("inserted at the beginning") << 0 << 0 << 777;
    QTest::newRow("removed at the end") << 999000 << 1000 << 0;
    QTest::newRow("much inserted") << 300000 << 0 << 50000;
}

void tst_Chunker::findsItsWayBackAfterAChange()
{
    QFETCH(const int, position);
    QFETCH(const int, removed);
    QFETCH(const int, inserted);
    const QByteArray old = noise(1000 * 1000, 6);
    QByteArray content = old;
    content.replace(position, removed, noise(inserted, 7));
    QVERIFY(unknownBytes(content, old) > 0);
    QVERIFY(unknownBytes(content, old) <= inserted + 2 * kSmall.most);
}

/// Other boundaries would make clients fetch everything again.
void tst_Chunker::boundariesStayThoseOfPublishedPackages()
{
    const QByteArray content = noise(4 * 1024 * 1024, 8);
    QStringList lengths;
    for (const QByteArray& chunk : chunksOf(content, ChunkLimits())) {
        lengths.append(QString::number(chunk.size()));
    }
    QCOMPARE(lengths.mid(0, 4).join(QLatin1Char(' ')), QStringLiteral("245760 273434 135476 468630"));
}

QTEST_GUILESS_MAIN(tst_Chunker)
#include "tst_Chunker.moc"
