// SPDX-License-Identifier: MIT
#include "ResponseCheck.h"

#include <QtTest>

using namespace VantorEngine;

using Action = Verdict::Action;
Q_DECLARE_METATYPE(VantorEngine::Verdict::Action)

class tst_ResponseCheck : public QObject
{
    Q_OBJECT
private slots:
    void parsesContentRange_data();
    void parsesContentRange();
    void judges_data();
    void judges();
    void quotesTheRangeAsItIs();
    void prefersTheNamedSizeHeader();
    void continuesOnlyTheSameVersion_data();
    void continuesOnlyTheSameVersion();
    void takesNoMoreThanTheSegment();
    void choosesAStrongValidator_data();
    void choosesAStrongValidator();
    void readsRetryAfter_data();
    void readsRetryAfter();
};

void tst_ResponseCheck::parsesContentRange_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<qint64>("first");
    QTest::addColumn<qint64>("last");
    QTest::addColumn<qint64>("total");
    QTest::newRow("usual") << QByteArray("bytes 5-9/10") << true << qint64(5) << qint64(9) << qint64(10);
    QTest::newRow("case and blanks") << QByteArray(" Bytes  5-9 / 10 ") << true << qint64(5) << qint64(9) << qint64(10);
    QTest::newRow("unknown total") << QByteArray("bytes 0-0/*") << true << qint64(0) << qint64(0) << qint64(-1);
    QTest::newRow("unsatisfied") << QByteArray("bytes */10") << true << qint64(-1) << qint64(-1) << qint64(10);
    for (const char* broken : {"", "bytes", "bytes 5-9", "5-9/10", "items 5-9/10", "bytes 9-5/10", "bytes -9/10",
                               "bytes 5-/10", "bytes a-b/10", "bytes 5-9/x", "bytes */*", "bytes /"}) {
        QTest::newRow(broken) << QByteArray(broken) << false << qint64(0) << qint64(0) << qint64(0);
    }
}

void tst_ResponseCheck::parsesContentRange()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, valid);
    const ContentRange range = parseContentRange(text);
    QCOMPARE(range.valid, valid);
    if (valid) {
        QTEST(range.first, "first");
        QTEST(range.last, "last");
        QTEST(range.total, "total");
    }
}

void tst_ResponseCheck::judges_data()
{
    QTest::addColumn<qint64>("offset");
    QTest::addColumn<qint64>("size");
    QTest::addColumn<int>("status");
    QTest::addColumn<qint64>("contentLength");
    QTest::addColumn<QByteArray>("contentRange");
    QTest::addColumn<Action>("action");
    QTest::addColumn<qint64>("fromOffset"); // or the error code of a failure
    QTest::addColumn<qint64>("knownSize");
    QTest::addColumn<bool>("transient");

    const auto row = [](const char* name, qint64 offset, qint64 size, int status, qint64 length, const char* range,
                        Action action, qint64 from, qint64 known, bool transient = false) {
        QTest::newRow(name) << offset << size << status << length << QByteArray(range) << action << from << known
                            << transient;
    };
    row("whole, size known", 0, 10, 200, 10, "", Action::Take, 0, 10);
    row("whole, size from length", 0, -1, 200, 10, "", Action::Take, 0, 10);
    row("whole, no length", 0, -1, 200, -1, "", Action::Take, 0, -1);
    row("whole, no length, size known", 0, 10, 200, -1, "", Action::Take, 0, 10);
    row("whole, empty", 0, -1, 200, 0, "", Action::Take, 0, 0);
    row("whole to a range", 4, 10, 200, 10, "", Action::Take, 0, 10);
    row("whole of another length", 0, 10, 200, 11, "", Action::Fail, kWrongLength, 0, true);
    row("203", 0, 10, 203, 10, "", Action::Take, 0, 10);
    row("rest", 4, 10, 206, 6, "bytes 4-9/10", Action::Continue, 4, 10);
    row("rest tells the size", 4, -1, 206, 6, "bytes 4-9/10", Action::Continue, 4, 10);
    row("rest without a total", 4, -1, 206, 6, "bytes 4-9/*", Action::Continue, 4, 10);
    row("rest without a total, size known", 4, 20, 206, 6, "bytes 4-9/*", Action::Fail, kWrongLength, 0, true);
    row("rest of another file", 4, 10, 206, 6, "bytes 4-10/11", Action::Fail, kWrongLength, 0, true);
    row("rest from before", 4, 10, 206, 7, "bytes 3-9/10", Action::Fail, kWrongRange, 0, true);
    row("rest from behind", 4, 10, 206, 5, "bytes 5-9/10", Action::Fail, kWrongRange, 0, true);
    row("rest from nowhere", 4, 10, 206, 6, "", Action::Fail, kWrongRange, 0, true);
    row("rest not asked for", 0, 10, 206, 10, "bytes 0-9/10", Action::Fail, kWrongRange, 0, true);
    row("416, all there", 10, -1, 416, 0, "bytes */10", Action::Complete, 10, 10);
    row("416, too much there", 11, -1, 416, 0, "bytes */10", Action::StartOver, 0, -1);
    row("416, no total", 10, -1, 416, 0, "", Action::StartOver, 0, -1);
    row("416, size known", 5, 10, 416, 0, "bytes */5", Action::StartOver, 0, 10);
    row("416 without a range", 0, 10, 416, 0, "bytes */10", Action::Fail, 416, 0);
    row("204", 0, 10, 204, -1, "", Action::Fail, kUnusableStatus, 0);
    row("304", 0, 10, 304, -1, "", Action::Fail, kUnusableStatus, 0);
    for (const int status : {400, 401, 403, 404, 410, 451, 501, 505}) {
        row(qPrintable(QString::number(status)), 0, 10, status, 10, "", Action::Fail, status, 0);
    }
    for (const int status : {408, 425, 429, 500, 502, 503, 504, 599}) {
        row(qPrintable(QString::number(status)), 0, 10, status, 10, "", Action::Fail, status, 0, true);
    }
}

void tst_ResponseCheck::judges()
{
    QFETCH(qint64, offset);
    QFETCH(qint64, size);
    QFETCH(Action, action);
    QFETCH(qint64, fromOffset);
    ResponseHead head;
    head.status = *static_cast<int*>(QTest::qData("status", QMetaType::Int));
    head.contentLength = *static_cast<qint64*>(QTest::qData("contentLength", QMetaType::LongLong));
    head.contentRange = *static_cast<QByteArray*>(QTest::qData("contentRange", QMetaType::QByteArray));
    const Verdict verdict = judgeResponse({offset > 0, offset, -1, size, {}}, head);
    QVERIFY(verdict.action == action);
    if (action == Action::Fail) {
        QVERIFY(verdict.error.kind == FileError::Kind::Net);
        QCOMPARE(qint64(verdict.error.code), fromOffset);
        QVERIFY(!verdict.error.message.isEmpty());
        QTEST(verdict.error.transient, "transient");
        return;
    }
    QCOMPARE(verdict.offset, fromOffset);
    QTEST(verdict.size, "knownSize");
}

void tst_ResponseCheck::quotesTheRangeAsItIs()
{
    ResponseHead head;
    head.status = 206;
    head.contentRange = "bytes %2-9/10";
    QCOMPARE(judgeResponse({true, 4, -1, 10, {}}, head).error.message,
             QStringLiteral("partial content \"bytes %2-9/10\" does not start at byte 4"));
}

void tst_ResponseCheck::prefersTheNamedSizeHeader()
{
    ResponseHead head;
    head.status = 200;
    head.contentLength = -1;
    head.sizeHeader = "77";
    QCOMPARE(judgeResponse({}, head).size, 77);
    head.contentLength = 10;
    head.sizeHeader = "no number";
    QCOMPARE(judgeResponse({}, head).size, 10);
}

void tst_ResponseCheck::continuesOnlyTheSameVersion_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("known");
    QTest::addColumn<QByteArray>("told");
    QTest::addColumn<QByteArray>("contentRange");
    QTest::addColumn<Action>("action");
    const auto row = [](const char* name, int status, const char* known, const char* told, const char* range,
                        Action action) {
        QTest::newRow(name) << status << QByteArray(known) << QByteArray(told) << QByteArray(range) << action;
    };
    row("same tag", 206, "\"a\"", "\"a\"", "bytes 4-9/10", Action::Continue);
    row("no tag told", 206, "\"a\"", "", "bytes 4-9/10", Action::Continue);
    row("other tag", 206, "\"a\"", "\"b\"", "bytes 4-9/10", Action::StartOver);
    row("other date", 206, "Mon", "Tue", "bytes 4-9/10", Action::StartOver);
    row("a date for a tag", 206, "\"a\"", "Tue", "bytes 4-9/10", Action::Continue);
    row("other total", 206, "\"a\"", "\"a\"", "bytes 4-9/11", Action::StartOver);
    row("no total", 206, "\"a\"", "\"a\"", "bytes 4-9/*", Action::StartOver);
    row("416 of the same version", 416, "\"a\"", "\"a\"", "bytes */4", Action::Complete);
    row("416 of another version", 416, "\"a\"", "\"b\"", "bytes */4", Action::StartOver);
    row("whole of another version", 200, "\"a\"", "\"b\"", "", Action::Take);
}

void tst_ResponseCheck::continuesOnlyTheSameVersion()
{
    QFETCH(QByteArray, known);
    ResponseHead head;
    head.status = *static_cast<int*>(QTest::qData("status", QMetaType::Int));
    head.validator = *static_cast<QByteArray*>(QTest::qData("told", QMetaType::QByteArray));
    head.contentRange = *static_cast<QByteArray*>(QTest::qData("contentRange", QMetaType::QByteArray));
    AttemptPlan plan{true, 4, -1, -1, {}};
    plan.version.validator = known;
    plan.version.size = 10;
    const Verdict verdict = judgeResponse(plan, head);
    QTEST(verdict.action, "action");
    if (verdict.action == Action::StartOver) {
        QCOMPARE(verdict.error.transient, head.status == 206); // a file that changes again is an ordinary failure
    }
}

void tst_ResponseCheck::takesNoMoreThanTheSegment()
{
    ResponseHead head;
    head.status = 206;
    const AttemptPlan plan{true, 0, 5, 10, {}};
    head.contentRange = "bytes 0-4/10";
    QVERIFY(judgeResponse(plan, head).action == Action::Continue);
    head.contentRange = "bytes 0-5/10";
    QVERIFY(judgeResponse(plan, head).action == Action::Fail);
}

void tst_ResponseCheck::choosesAStrongValidator_data()
{
    QTest::addColumn<QByteArray>("etag");
    QTest::addColumn<QByteArray>("date");
    QTest::addColumn<QByteArray>("validator");
    QTest::newRow("both") << QByteArray("\"x\"") << QByteArray("Mon") << QByteArray("\"x\"");
    QTest::newRow("weak tag") << QByteArray("W/\"x\"") << QByteArray("Mon") << QByteArray("Mon");
    QTest::newRow("weak tag alone") << QByteArray("W/\"x\"") << QByteArray() << QByteArray();
    QTest::newRow("no tag") << QByteArray() << QByteArray(" Mon ") << QByteArray("Mon");
    QTest::newRow("broken tag") << QByteArray("\"") << QByteArray() << QByteArray();
}

void tst_ResponseCheck::choosesAStrongValidator()
{
    QFETCH(QByteArray, etag);
    QFETCH(QByteArray, date);
    QTEST(strongValidator(etag, date), "validator");
}

void tst_ResponseCheck::readsRetryAfter_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<qint64>("ms");
    QTest::newRow("missing") << QByteArray() << qint64(0);
    QTest::newRow("seconds") << QByteArray(" 7 ") << qint64(7000);
    QTest::newRow("date") << QByteArray("Fri, 20 Nov 2026 12:00:30 GMT") << qint64(30000);
    QTest::newRow("past date") << QByteArray("Fri, 20 Nov 2026 11:00:30 GMT") << qint64(0);
    QTest::newRow("negative") << QByteArray("-7") << qint64(0);
    QTest::newRow("text") << QByteArray("soon") << qint64(0);
    QTest::newRow("endless") << QByteArray("99999999999999") << qint64(24 * 3600 * 1000);
}

void tst_ResponseCheck::readsRetryAfter()
{
    QFETCH(QByteArray, text);
    const QDateTime now(QDate(2026, 11, 20), QTime(12, 0), Qt::UTC);
    QTEST(parseRetryAfter(text, now), "ms");
}

QTEST_GUILESS_MAIN(tst_ResponseCheck)
#include "tst_ResponseCheck.moc"
