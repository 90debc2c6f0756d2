// SPDX-License-Identifier: MIT
// Which bytes of a file are there, and what is noted about them on disk.
#include "PartialBody.h"
#include "SystemStart.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

using namespace VantorEngine;

using Spans = std::vector<Span>;

class tst_PartialBody : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void joinsSpans_data();
    void joinsSpans();
    void findsTheFirstHole();

    void readsBackWhatItNoted();
    void keepsTheRecordBeforeATornOne();
    void leavesOutRunsThatFindNoRoom();
    void refusesRunsOutsideTheFile();

    void survivesAnEndAtAnyMoment();
    void removesTheNoteBeforeBytesOfAnotherVersion();
    void trustsADigestAloneAfterARestartOfTheSystem();
    void notesNothingThatMayNotBeGoneOnFrom();
    void needsNoNoteForASmallFile();
    void placesTheFileAndRemovesTheNote();

private:
    QString at(const char* name) const { return m_folder->filePath(QString::fromLatin1(name)); }
    QString url() const { return QStringLiteral("http://h/f"); }
    FileVersion version() const { return {url(), QStringLiteral("http://h/g"), "\"v\"", 1000}; }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_PartialBody::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
}

void tst_PartialBody::joinsSpans_data()
{
    QTest::addColumn<QVector<qint64>>("added"); // from, to, from, to...
    QTest::addColumn<QVector<qint64>>("expected");
    QTest::newRow("none") << QVector<qint64>() << QVector<qint64>();
    QTest::newRow("empty") << QVector<qint64>{5, 5, 7, 6} << QVector<qint64>();
    QTest::newRow("in a row") << QVector<qint64>{0, 5, 5, 9} << QVector<qint64>{0, 9};
    QTest::newRow("apart") << QVector<qint64>{6, 9, 0, 5} << QVector<qint64>{0, 5, 6, 9};
    QTest::newRow("before") << QVector<qint64>{5, 9, 0, 5} << QVector<qint64>{0, 9};
    QTest::newRow("between") << QVector<qint64>{0, 2, 4, 6, 2, 4} << QVector<qint64>{0, 6};
    QTest::newRow("between, apart") << QVector<qint64>{0, 2, 8, 9, 4, 6} << QVector<qint64>{0, 2, 4, 6, 8, 9};
    QTest::newRow("over several") << QVector<qint64>{0, 2, 4, 6, 8, 10, 1, 9} << QVector<qint64>{0, 10};
    QTest::newRow("inside") << QVector<qint64>{0, 9, 2, 4} << QVector<qint64>{0, 9};
}

void tst_PartialBody::joinsSpans()
{
    QFETCH(QVector<qint64>, added);
    QFETCH(QVector<qint64>, expected);
    Coverage coverage;
    for (int i = 0; i < added.size(); i += 2) {
        coverage.add({added.at(i), added.at(i + 1)});
    }
    QVector<qint64> found;
    qint64 total = 0;
    for (const Span& span : coverage.spans()) {
        found << span.from << span.to;
        total += span.length();
    }
    QCOMPARE(found, expected);
    QCOMPARE(coverage.total(), total);
    QCOMPARE(coverage.end(), expected.isEmpty() ? 0 : expected.last());
    QCOMPARE(coverage.prefix(), !expected.isEmpty() && expected.first() == 0 ? expected.at(1) : 0);
}

void tst_PartialBody::findsTheFirstHole()
{
    Coverage coverage;
    QVERIFY(coverage.firstHole(100) == (Span{0, 100}));
    coverage.add({10, 20});
    QVERIFY(coverage.firstHole(100) == (Span{0, 10}));
    QVERIFY(coverage.firstHole(5) == (Span{0, 5}));
    coverage.add({0, 10});
    QVERIFY(coverage.firstHole(100) == (Span{20, 100}));
    coverage.add({30, 100});
    QVERIFY(coverage.firstHole(100) == (Span{20, 30}));
    coverage.add({20, 30});
    QCOMPARE(coverage.firstHole(100).length(), 0);
}

void tst_PartialBody::readsBackWhatItNoted()
{
    StateFile state(at("s"));
    QVERIFY(!state.read().valid);
    Coverage onDisk;
    const FileVersion odd{QStringLiteral("http://h/ä?a=\"b\"\n"), QStringLiteral("http://h/g"), "\"\xE4\"", -1};
    QVERIFY(state.create(odd, onDisk));
    QVERIFY(state.read().valid);
    QCOMPARE(state.read().onDisk.total(), 0);
    for (int i = 1; i <= 5; ++i) {
        onDisk.add({i * 10, i * 10 + 5});
        QVERIFY(state.record(onDisk));
        const PartialState read = state.read();
        QVERIFY(read.valid);
        QVERIFY(read.onDisk.spans() == onDisk.spans());
        QCOMPARE(read.version.url, odd.url);
        QCOMPARE(read.version.finalUrl, odd.finalUrl);
        QCOMPARE(read.version.validator, odd.validator);
        QCOMPARE(read.version.size, odd.size);
    }
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList(QStringLiteral("s")));
    QVERIFY(state.remove());
    QVERIFY(state.remove()); // gone is gone
}

void tst_PartialBody::keepsTheRecordBeforeATornOne()
{
    StateFile state(at("s"));
    Coverage before;
    before.add({0, 10});
    QVERIFY(state.create(version(), before));
    Coverage after = before;
    after.add({10, 20});
    QVERIFY(state.record(after));
    state.close();
    QFile file(at("s"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray whole = file.readAll();
    file.close();
    const int lastRecord = whole.size() - StateFile::kRecordBytes;
    for (int cut = 0; cut < StateFile::kRecordBytes - 1; ++cut) { // the line's end says nothing
        QByteArray torn = whole.left(lastRecord + cut);
        torn += QByteArray(whole.size() - torn.size(), 0);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(torn);
        file.close();
        const PartialState read = state.read();
        QVERIFY(read.valid);
        QVERIFY2(read.onDisk.spans() == before.spans(), qPrintable(QString::number(cut)));
    }
}

void tst_PartialBody::leavesOutRunsThatFindNoRoom()
{
    StateFile state(at("s"));
    Coverage onDisk;
    for (qint64 i = 0; i < 200; ++i) {
        onDisk.add({i * 1000, i * 1000 + 500});
    }
    QVERIFY(state.create({url(), url(), {}, -1}, onDisk));
    const Spans read = state.read().onDisk.spans();
    QVERIFY(read.size() > 10 && read.size() < 200);
    QVERIFY(std::equal(read.cbegin(), read.cend(), onDisk.spans().cbegin()));
}

void tst_PartialBody::refusesRunsOutsideTheFile()
{
    StateFile state(at("s"));
    Coverage onDisk;
    onDisk.add({0, 1001});
    QVERIFY(state.create(version(), onDisk));
    QVERIFY(!state.read().valid);
}

/// The files are copied as they are after each step: what they say must be there, and of the right version.
void tst_PartialBody::survivesAnEndAtAnyMoment()
{
    const QByteArray bytes(100, 'v');
    PartialBody body(at("f"));
    QVERIFY(body.begin(version(), true));
    for (qint64 from : {0, 500, 100, 200, 900}) {
        QVERIFY(body.write(from, bytes.constData(), bytes.size()));
        PartialBody later(at("f"));
        later.load(url(), 1000, false);
        QVERIFY(later.onDisk().total() <= body.onDisk().total());
        QFile file(later.path());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray content = file.readAll();
        for (const Span& span : later.onDisk().spans()) {
            QCOMPARE(content.mid(int(span.from), int(span.length())), QByteArray(int(span.length()), 'v'));
        }
    }
    QVERIFY(body.close());
    PartialBody later(at("f"));
    later.load(url(), -1, false);
    QVERIFY(later.onDisk().spans() == body.onDisk().spans());
    QCOMPARE(later.version().validator, QByteArray("\"v\""));
    later.load(url(), 1001, false);
    QCOMPARE(later.onDisk().total(), 0);
    later.load(QStringLiteral("http://other/f"), 1000, false);
    QCOMPARE(later.onDisk().total(), 0);
}

void tst_PartialBody::removesTheNoteBeforeBytesOfAnotherVersion()
{
    PartialBody body(at("f"));
    QVERIFY(body.begin(version(), true));
    QVERIFY(body.write(0, "old bytes", 9));
    QVERIFY(body.close());
    QVERIFY(QFile::exists(at("f_tmp_state")));
    FileVersion next = version();
    next.validator = "\"w\"";
    QVERIFY(body.begin(next, true));
    QVERIFY(!QFile::exists(at("f_tmp_state")));
    QCOMPARE(QFileInfo(body.path()).size(), 0);
    QVERIFY(body.write(0, "new", 3));
    QVERIFY(body.close());
    PartialBody later(at("f"));
    later.load(url(), 1000, false);
    QCOMPARE(later.version().validator, QByteArray("\"w\""));
    QCOMPARE(later.onDisk().total(), 3);
}

/// What was handed to the system may not have reached the disk when its power failed.
void tst_PartialBody::trustsADigestAloneAfterARestartOfTheSystem()
{
    QVERIFY(isPresentSystemStart(systemStart()));
    QVERIFY(!isPresentSystemStart({}));
    PartialBody body(at("f"));
    QVERIFY(body.begin(version(), true));
    QVERIFY(body.write(0, "bytes", 5));
    QVERIFY(body.close());
    QVERIFY(StateFile(at("f_tmp_state")).read().handedToThisSystem);

    // The same file as it would be after the start of another day: only the head and its digest differ.
    QFile file(at("f_tmp_state"));
    QVERIFY(file.open(QIODevice::ReadWrite));
    const QByteArray content = file.readAll();
    const int headEnd = content.indexOf('\n') + 1;
    const int headBytes = content.left(headEnd).split(' ').at(1).toInt();
    QByteArray json = content.mid(headEnd, headBytes);
    QJsonObject members = QJsonDocument::fromJson(json).object();
    members.insert(QStringLiteral("system_start"), QStringLiteral("86400000"));
    json = QJsonDocument(members).toJson(QJsonDocument::Compact);
    const QByteArray digest = QCryptographicHash::hash(json, QCryptographicHash::Md5).toHex();
    file.resize(0);
    file.seek(0);
    file.write("vantor-state-1 " + QByteArray::number(json.size()) + ' ' + digest + '\n' + json +
               content.mid(headEnd + headBytes));
    file.close();
    QVERIFY(StateFile(at("f_tmp_state")).read().valid);
    QVERIFY(!StateFile(at("f_tmp_state")).read().handedToThisSystem);

    PartialBody later(at("f"));
    later.load(url(), 1000, false);
    QCOMPARE(later.onDisk().total(), 0);
    later.load(url(), 1000, true);
    QCOMPARE(later.onDisk().total(), 5);
}

void tst_PartialBody::notesNothingThatMayNotBeGoneOnFrom()
{
    PartialBody body(at("f"));
    QVERIFY(body.begin(version(), false));
    QVERIFY(body.write(0, "bytes", 5));
    QVERIFY(body.close());
    QVERIFY(!QFile::exists(at("f_tmp_state")));
}

void tst_PartialBody::needsNoNoteForASmallFile()
{
    PartialBody body(at("f"));
    FileVersion small = version();
    small.size = 5;
    QVERIFY(body.begin(small, true));
    QVERIFY(body.write(0, "bytes", 5));
    QVERIFY(body.close());
    QVERIFY(!QFile::exists(at("f_tmp_state")));

    const QByteArray much(int(PartialBody::kStateAfterBytes), 'm');
    small.size = much.size() + 1;
    QVERIFY(body.begin(small, true));
    QVERIFY(body.write(0, "bytes", 5));
    QVERIFY(!QFile::exists(at("f_tmp_state")));
    body.noteNow(); // a slow one, after a moment
    QVERIFY(QFile::exists(at("f_tmp_state")));
    PartialBody later(at("f"));
    later.load(url(), small.size, false);
    QCOMPARE(later.onDisk().total(), 5);
    QVERIFY(body.begin(small, true));
    QVERIFY(body.write(0, much.constData(), much.size()));
    QVERIFY(QFile::exists(at("f_tmp_state"))); // a large one, at once
}

void tst_PartialBody::placesTheFileAndRemovesTheNote()
{
    PartialBody body(at("f"));
    QVERIFY(body.begin(version(), true));
    QVERIFY(body.write(0, "bytes", 5));
    QVERIFY(body.close());
    bool busy = false;
    QVERIFY(body.moveInto(at("f"), busy));
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList(QStringLiteral("f")));
}

QTEST_GUILESS_MAIN(tst_PartialBody)
#include "tst_PartialBody.moc"
