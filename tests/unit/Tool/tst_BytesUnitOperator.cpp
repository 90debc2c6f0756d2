// SPDX-License-Identifier: MIT
#include "Tool/BytesUnitOperator.h"

#include <QMap>
#include <QTranslator>
#include <QtTest>

#include <limits>

namespace {

constexpr qint64 kKiB = 1024;
constexpr qint64 kMiB = 1024 * kKiB;
constexpr qint64 kGiB = 1024 * kMiB;
constexpr qint64 kTiB = 1024 * kGiB;
constexpr qint64 kLargest = std::numeric_limits<qint64>::max();
constexpr qint64 kLowest = std::numeric_limits<qint64>::min();

/// Translates the labels of the class, and nothing in any other context.
class Labels : public QTranslator
{
public:
    explicit Labels(QMap<QByteArray, QString> texts) : m_texts(std::move(texts)) {}

    QString translate(const char* context, const char* source, const char* /*disambiguation*/, int /*n*/) const override
    {
        return qstrcmp(context, "BytesUnitOperator") == 0 ? m_texts.value(source) : QString();
    }
    bool isEmpty() const override { return false; }

private:
    QMap<QByteArray, QString> m_texts;
};

/// Installs labels while it lives.
class Translated
{
public:
    explicit Translated(const QMap<QByteArray, QString>& texts) : m_labels(texts)
    {
        QCoreApplication::installTranslator(&m_labels);
    }
    ~Translated() { QCoreApplication::removeTranslator(&m_labels); }
    Translated(const Translated&) = delete;
    Translated& operator=(const Translated&) = delete;

private:
    Labels m_labels;
};

QMap<QByteArray, QString> englishLabels()
{
    return {{"label_unit_b", QStringLiteral("B")},
            {"label_unit_kb", QStringLiteral("KB")},
            {"label_unit_mb", QStringLiteral("MB")},
            {"label_unit_gb", QStringLiteral("GB")},
            {"label_speed_second", QStringLiteral("/s")}};
}

} // namespace

class tst_BytesUnitOperator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesSizes_data();
    void writesSizes();
    void showsTheKeysWithoutATranslation_data();
    void showsTheKeysWithoutATranslation();
    void keepsTheLastTwoCharactersOfOtherLabels_data();
    void keepsTheLastTwoCharactersOfOtherLabels();
    void writesSpeedsWithTheCallersLabels_data();
    void writesSpeedsWithTheCallersLabels();
    void fixedTexts();
    void startsEmpty();
    void writesTheLastSpeed_data();
    void writesTheLastSpeed();
    void readsSpeedFromTwoSamples_data();
    void readsSpeedFromTwoSamples();
    void aSingleSampleIsNoSpeed();
    void averagesOverElevenSamples();
    void stopsWhenThereIsNoProgress();
    void currentSpeedTextAddsASample();
    void lastSpeedTextAddsNone();
    void writesTheRemainingTime_data();
    void writesTheRemainingTime();
    void clearForgetsSamplesAndSpeed();
    void belongsToItsParent();
};

void tst_BytesUnitOperator::writesSizes_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("unit");
    QTest::addColumn<int>("decimals");
    QTest::addColumn<QString>("text");
    const auto row = [](const char* name, qint64 bytes, const char* unit, int decimals, const char* text) {
        QTest::newRow(name) << bytes << QString::fromLatin1(unit) << decimals << QString::fromLatin1(text);
    };
    row("GB", kGiB + kGiB / 2, "GB", 2, "1.50GB");
    row("GB, nothing", 0, "GB", 2, "0.00GB");
    row("GB, whole is not trimmed", kGiB, "GB", 2, "1.00GB");
    row("GB, no decimals", 3 * kGiB, "GB", 0, "3GB");
    row("GB, three decimals", kGiB, "GB", 3, "1.000GB");
    row("GB, lower case", kGiB, "gb", 1, "1.0GB");
    row("GB, a single byte", 1, "GB", 10, "0.0000000009GB");
    row("MB", kMiB / 4, "MB", 2, "0.25MB");
    row("MB, lower case", kMiB, "mb", 2, "1.00MB");
    row("MB, mixed case", kMiB, "mB", 2, "1.00MB");
    row("MB, larger than a GB", 2 * kGiB, "MB", 2, "2048.00MB");
    row("KB", 1536, "KB", 2, "1.50KB");
    row("KB, a single byte", 1, "KB", 2, "0.00KB");
    row("KB, lower case", 1024, "kb", 0, "1KB");
    row("KB, negative", -1536, "KB", 2, "-1.50KB");
    row("TB is unknown", kTiB, "TB", 2, "");
    row("B is unknown", 1, "B", 2, "");
    row("no unit", 1, "", 2, "");
    row("unit with a blank", 1, "KB ", 2, "");

    row("adaptive, 0", 0, "Adaptive", 2, "0B");
    row("adaptive, 0 with one decimal", 0, "Adaptive", 1, "0.0B");
    row("adaptive, 0 without decimals", 0, "Adaptive", 0, "0B");
    row("adaptive, 0 with three decimals", 0, "Adaptive", 3, "0.000B");
    row("adaptive, 1", 1, "Adaptive", 2, "1B");
    row("adaptive, 512", 512, "Adaptive", 2, "512B");
    row("adaptive, 1023", 1023, "Adaptive", 2, "1023B");
    row("adaptive, 1024", 1024, "Adaptive", 2, "1KB");
    row("adaptive, 1025 is trimmed", 1025, "Adaptive", 2, "1KB");
    row("adaptive, 1025 with one decimal", 1025, "Adaptive", 1, "1.0KB");
    row("adaptive, 1025 with three decimals", 1025, "Adaptive", 3, "1.001KB");
    row("adaptive, 1025 without decimals", 1025, "Adaptive", 0, "1KB");
    row("adaptive, three zeros are not trimmed", kMiB + 1, "Adaptive", 3, "1.000MB");
    row("adaptive, 1536", 1536, "Adaptive", 2, "1.50KB");
    row("adaptive, 5120", 5120, "Adaptive", 2, "5KB");
    row("adaptive, 1 below 1 MiB", kMiB - 1, "Adaptive", 2, "1024KB");
    row("adaptive, 1 MiB", kMiB, "Adaptive", 2, "1MB");
    row("adaptive, 1 below 1 GiB", kGiB - 1, "Adaptive", 2, "1024MB");
    row("adaptive, 1 GiB", kGiB, "Adaptive", 2, "1GB");
    row("adaptive, 1.5 GiB", kGiB + kGiB / 2, "Adaptive", 2, "1.50GB");
    row("adaptive, 100.5 KiB", 100 * kKiB + 512, "Adaptive", 2, "100.50KB");
    row("adaptive, 2 TiB", 2 * kTiB, "Adaptive", 2, "2048GB");
    row("adaptive, 2.5 TiB in GB", 2 * kTiB + kTiB / 2 + 1, "Adaptive", 2, "2560GB");
    row("adaptive, lower case", 1536, "adaptive", 2, "1.50KB");
    row("adaptive, upper case", 1536, "ADAPTIVE", 2, "1.50KB");
    row("adaptive, largest", kLargest, "Adaptive", 2, "8589934592GB");
    row("adaptive, negative is trimmed to two characters", -100, "Adaptive", 2, "-1000B");
    row("adaptive, negative with one decimal", -2048, "Adaptive", 1, "-2048.0B");
}

void tst_BytesUnitOperator::writesSizes()
{
    QFETCH(const qint64, bytes);
    QFETCH(const QString, unit);
    QFETCH(const int, decimals);
    QFETCH(const QString, text);
    const Translated translated(englishLabels());
    QCOMPARE(BytesUnitOperator::GetBytesString(bytes, unit, decimals), text);
}

void tst_BytesUnitOperator::showsTheKeysWithoutATranslation_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("unit");
    QTest::addColumn<QString>("text");
    QTest::newRow("bytes") << qint64(5) << QStringLiteral("Adaptive") << QStringLiteral("5label_unit_b");
    QTest::newRow("kilobytes") << qint64(1536) << QStringLiteral("KB") << QStringLiteral("1.50label_unit_kb");
    QTest::newRow("megabytes") << kMiB << QStringLiteral("MB") << QStringLiteral("1.00label_unit_mb");
    QTest::newRow("gigabytes") << kGiB << QStringLiteral("GB") << QStringLiteral("1.00label_unit_gb");
}

void tst_BytesUnitOperator::showsTheKeysWithoutATranslation()
{
    QFETCH(const qint64, bytes);
    QFETCH(const QString, unit);
    QFETCH(const QString, text);
    QCOMPARE(BytesUnitOperator::GetBytesString(bytes, unit, 2), text);
    QCOMPARE(BytesUnitOperator::GetZeroSpeedString(), QStringLiteral("0.00label_unit_kblabel_speed_second"));
}

void tst_BytesUnitOperator::keepsTheLastTwoCharactersOfOtherLabels_data()
{
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("trimmed");
    QTest::addColumn<QString>("kept");
    QTest::addColumn<QString>("whole");
    const auto row = [](const char* name, const QString& label, const QString& trimmed) {
        QTest::newRow(name) << label << trimmed << QString(QLatin1String("1.50") + label)
                            << QString(QLatin1String("2") + label);
    };
    row("two characters", QStringLiteral("KB"), QStringLiteral("1KB"));
    row("one character", QStringLiteral("K"), QStringLiteral("10K"));
    row("three characters", QStringLiteral("KiB"), QStringLiteral("1iB"));
    row("a word", QStringLiteral("\u5343\u5B57\u8282"), QStringLiteral("1\u5B57\u8282"));
    row("a blank before", QStringLiteral(" KB"), QStringLiteral("1KB"));
    row("a point in the label", QStringLiteral("K.B"), QStringLiteral("1.B"));
}

void tst_BytesUnitOperator::keepsTheLastTwoCharactersOfOtherLabels()
{
    QFETCH(const QString, label);
    QFETCH(const QString, trimmed);
    QFETCH(const QString, kept);
    QFETCH(const QString, whole);
    QMap<QByteArray, QString> labels = englishLabels();
    labels.insert("label_unit_kb", label);
    const Translated translated(labels);
    const QString unit = QStringLiteral("Adaptive");
    QCOMPARE(BytesUnitOperator::GetBytesString(1025, unit, 2), trimmed);
    QCOMPARE(BytesUnitOperator::GetBytesString(1536, unit, 2), kept);
    QCOMPARE(BytesUnitOperator::GetBytesString(2048, unit, 2), whole);
}

void tst_BytesUnitOperator::writesSpeedsWithTheCallersLabels_data()
{
    QTest::addColumn<qint64>("speed");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << qint64(0) << QStringLiteral("0.00kilo|each");
    QTest::newRow("kilobytes") << qint64(1536) << QStringLiteral("1.50kilo|each");
    QTest::newRow("whole is not trimmed") << qint64(1024) << QStringLiteral("1.00kilo|each");
    QTest::newRow("1 below 0.9 MiB") << qint64(943717) << QStringLiteral("921.60kilo|each");
    QTest::newRow("0.9 MiB") << qint64(943718) << QStringLiteral("0.90mega|each");
    QTest::newRow("1 MiB") << kMiB << QStringLiteral("1.00mega|each");
    QTest::newRow("1 GiB stays in megabytes") << kGiB << QStringLiteral("1024.00mega|each");
    QTest::newRow("negative") << qint64(-1024) << QStringLiteral("-1.00kilo|each");
}

void tst_BytesUnitOperator::writesSpeedsWithTheCallersLabels()
{
    QFETCH(const qint64, speed);
    QFETCH(const QString, text);
    QCOMPARE(BytesUnitOperator::FormatSpeedString(speed, QStringLiteral("mega"), QStringLiteral("kilo"),
                                                  QStringLiteral("|each")),
             text);
}

void tst_BytesUnitOperator::fixedTexts()
{
    const Translated translated(englishLabels());
    QCOMPARE(BytesUnitOperator::GetZeroSpeedString(), QStringLiteral("0.00KB/s"));
    QCOMPARE(BytesUnitOperator::GetZeroNeedTimeString(), QStringLiteral("00:00:00"));
}

void tst_BytesUnitOperator::startsEmpty()
{
    const Translated translated(englishLabels());
    BytesUnitOperator meter;
    QVERIFY(meter.IsEmpty());
    QCOMPARE(meter.GetCurSpeed(), qint64(0));
    QCOMPARE(meter.GetLastSpeedString(), QStringLiteral("0.00KB/s"));
    QCOMPARE(meter.GetNeedTimeString(0, 1000), QStringLiteral("00:00:00"));
}

void tst_BytesUnitOperator::writesTheLastSpeed_data()
{
    QTest::addColumn<qint64>("speed");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << qint64(0) << QStringLiteral("0.00KB/s");
    QTest::newRow("1 KiB") << qint64(1024) << QStringLiteral("1.00KB/s");
    QTest::newRow("1 below 0.9 MiB") << qint64(943717) << QStringLiteral("921.60KB/s");
    QTest::newRow("0.9 MiB") << qint64(943718) << QStringLiteral("0.90MB/s");
    QTest::newRow("1 MiB") << kMiB << QStringLiteral("1.00MB/s");
    QTest::newRow("10 GiB") << 10 * kGiB << QStringLiteral("10240.00MB/s");
    QTest::newRow("largest") << kLargest << QStringLiteral("8796093022208.00MB/s");
    QTest::newRow("negative") << qint64(-512) << QStringLiteral("-0.50KB/s");
}

void tst_BytesUnitOperator::writesTheLastSpeed()
{
    QFETCH(const qint64, speed);
    QFETCH(const QString, text);
    const Translated translated(englishLabels());
    BytesUnitOperator meter;
    meter.SetCurSpeed(speed);
    QCOMPARE(meter.GetCurSpeed(), speed);
    QCOMPARE(meter.GetLastSpeedString(), text);
}

void tst_BytesUnitOperator::readsSpeedFromTwoSamples_data()
{
    QTest::addColumn<qint64>("firstBytes");
    QTest::addColumn<qint64>("firstMs");
    QTest::addColumn<qint64>("lastBytes");
    QTest::addColumn<qint64>("lastMs");
    QTest::addColumn<qint64>("speed");
    const auto row = [](const char* name, qint64 bytes0, qint64 ms0, qint64 bytes1, qint64 ms1, qint64 speed) {
        QTest::newRow(name) << bytes0 << ms0 << bytes1 << ms1 << speed;
    };
    row("one second", 0, 0, 1000, 1000, 1000);
    row("half a second", 100, 1700000000000, 1100, 1700000000500, 2000);
    row("one byte in one millisecond, single precision", 0, 0, 1, 1, 999);
    row("truncated", 0, 0, 2, 3000, 0);
    row("truncated, not rounded", 0, 0, 5, 3000, 1);
    row("no progress", 500, 0, 500, 1000, 0);
    row("backwards", 500, 0, 400, 1000, 0);
    row("no time", 0, 1000, 500, 1000, 0);
    row("time set back", 0, 1000, 500, 900, 0);
    row("seeded before the first interval", 0, 0, 1700000000, 1700000000000, 1);
    // 2^24 + 1 has no single-precision form.
    row("single precision", 0, 0, 16777217, 1000, 16777216);
    row("quotient in single precision", 0, 0, 7000000, 2, 3499999744);
    row("largest, one second", 0, 0, kLargest, 1000, kLargest);
    row("largest, one millisecond", 0, 0, kLargest, 1, kLargest);
    row("largest, in the largest time", 0, 0, kLargest, kLargest, 999);
    row("from lowest to largest", kLowest, 0, kLargest, 1000, kLargest);
    row("from largest to lowest", kLargest, 0, kLowest, 1000, 0);
    row("time from lowest to largest", 0, kLowest, kLargest, kLargest, 999);
    row("time from largest to lowest", 0, kLargest, 1000, kLowest, 0);
}

void tst_BytesUnitOperator::readsSpeedFromTwoSamples()
{
    QFETCH(const qint64, firstBytes);
    QFETCH(const qint64, firstMs);
    QFETCH(const qint64, lastBytes);
    QFETCH(const qint64, lastMs);
    QFETCH(const qint64, speed);
    BytesUnitOperator meter;
    meter.UpdateCurSpeed(firstBytes, firstMs);
    QVERIFY(!meter.IsEmpty());
    meter.UpdateCurSpeed(lastBytes, lastMs);
    QCOMPARE(meter.GetCurSpeed(), speed);
}

void tst_BytesUnitOperator::aSingleSampleIsNoSpeed()
{
    BytesUnitOperator meter;
    meter.SetCurSpeed(77);
    meter.UpdateCurSpeed(1000, 1000);
    QVERIFY(!meter.IsEmpty());
    QCOMPARE(meter.GetCurSpeed(), qint64(0));
}

void tst_BytesUnitOperator::averagesOverElevenSamples()
{
    BytesUnitOperator meter;
    // The first step is a large one: it counts as long as the first sample is kept.
    meter.UpdateCurSpeed(0, 0);
    qint64 bytes = 10000;
    for (int second = 1; second <= 10; ++second) {
        meter.UpdateCurSpeed(bytes, second * 1000);
        bytes += 100;
    }
    // Eleven samples: 10900 bytes in 10 seconds.
    QCOMPARE(meter.GetCurSpeed(), qint64(1090));
    meter.UpdateCurSpeed(bytes, 11000);
    // The twelfth drops the first: 1000 bytes in 10 seconds.
    QCOMPARE(meter.GetCurSpeed(), qint64(100));
    meter.UpdateCurSpeed(bytes + 2100, 12000);
    // And the thirteenth the second.
    QCOMPARE(meter.GetCurSpeed(), qint64(300));
}

void tst_BytesUnitOperator::stopsWhenThereIsNoProgress()
{
    BytesUnitOperator meter;
    meter.UpdateCurSpeed(0, 0);
    meter.UpdateCurSpeed(1000, 1000);
    QCOMPARE(meter.GetCurSpeed(), qint64(1000));
    meter.UpdateCurSpeed(0, 2000);
    QCOMPARE(meter.GetCurSpeed(), qint64(0));
}

void tst_BytesUnitOperator::currentSpeedTextAddsASample()
{
    const Translated translated(englishLabels());
    BytesUnitOperator meter;
    QCOMPARE(meter.GetCurSpeedString(0, 1000), QStringLiteral("0.00KB/s"));
    QVERIFY(!meter.IsEmpty());
    QCOMPARE(meter.GetCurSpeedString(2 * kMiB, 2000), QStringLiteral("2.00MB/s"));
    QCOMPARE(meter.GetCurSpeed(), 2 * kMiB);
}

void tst_BytesUnitOperator::lastSpeedTextAddsNone()
{
    BytesUnitOperator meter;
    meter.GetLastSpeedString();
    QVERIFY(meter.IsEmpty());
}

void tst_BytesUnitOperator::writesTheRemainingTime_data()
{
    QTest::addColumn<qint64>("speed");
    QTest::addColumn<qint64>("done");
    QTest::addColumn<qint64>("total");
    QTest::addColumn<QString>("text");
    const auto row = [](const char* name, qint64 speed, qint64 done, qint64 total, const char* text) {
        QTest::newRow(name) << speed << done << total << QString::fromLatin1(text);
    };
    row("no speed", 0, 0, 1000, "00:00:00");
    row("negative speed", -1, 0, 1000, "00:00:00");
    row("done", 10, 1000, 1000, "00:00:00");
    row("more than done", 10, 2000, 1000, "00:00:00");
    row("less than a second", 10, 0, 9, "00:00:00");
    row("one second", 10, 0, 10, "00:00:01");
    row("seconds are cut, not rounded", 10, 0, 19, "00:00:01");
    row("59 seconds", 1, 0, 59, "00:00:59");
    row("one minute", 1, 0, 60, "00:01:00");
    row("59:59", 1, 0, 3599, "00:59:59");
    row("one hour", 1, 0, 3600, "01:00:00");
    row("3723 seconds", 1, 1000, 4723, "01:02:03");
    row("359999 seconds", 1, 0, 359999, "99:59:59");
    row("359998 seconds", 1, 0, 359998, "99:59:58");
    row("360000 seconds", 1, 0, 360000, "99:59:59");
    row("2^31 - 1 seconds", 1, 0, 2147483647, "99:59:59");
    row("2^31 seconds, negative when cut", 1, 0, 2147483648, "99:59:59");
    row("2^32 - 1 seconds, -1 when cut", 1, 0, 4294967295, "99:59:59");
    row("2^32 + 5 seconds, 5 when cut", 1, 0, 4294967301, "00:00:05");
    row("largest total, -1 when cut", 1, 0, kLargest, "99:59:59");
    row("largest total from lowest done", kLargest, kLowest, kLargest, "00:00:01");
    row("lowest total from largest done", 1, kLargest, kLowest, "00:00:00");
    row("negative done", 1, -10, 0, "00:00:10");
}

void tst_BytesUnitOperator::writesTheRemainingTime()
{
    QFETCH(const qint64, speed);
    QFETCH(const qint64, done);
    QFETCH(const qint64, total);
    QFETCH(const QString, text);
    BytesUnitOperator meter;
    meter.SetCurSpeed(speed);
    QCOMPARE(meter.GetNeedTimeString(done, total), text);
}

void tst_BytesUnitOperator::clearForgetsSamplesAndSpeed()
{
    BytesUnitOperator meter;
    meter.UpdateCurSpeed(0, 0);
    meter.UpdateCurSpeed(1000, 1000);
    meter.Clear();
    QVERIFY(meter.IsEmpty());
    QCOMPARE(meter.GetCurSpeed(), qint64(0));
    // The next sample is a first one again.
    meter.UpdateCurSpeed(5000, 2000);
    QCOMPARE(meter.GetCurSpeed(), qint64(0));
    meter.UpdateCurSpeed(5200, 3000);
    QCOMPARE(meter.GetCurSpeed(), qint64(200));
}

void tst_BytesUnitOperator::belongsToItsParent()
{
    QObject parent;
    const BytesUnitOperator meter(&parent);
    QCOMPARE(meter.parent(), &parent);
    QCOMPARE(BytesUnitOperator().parent(), nullptr);
}

QTEST_GUILESS_MAIN(tst_BytesUnitOperator)
#include "tst_BytesUnitOperator.moc"
