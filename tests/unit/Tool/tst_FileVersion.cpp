// SPDX-License-Identifier: MIT
#include "Tool/FileVersion.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

class tst_FileVersion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void readsTheFixedNumber_data();
    void readsTheFixedNumber();
    void takesBothSeparators();
    void takesForeignAndLongNames();
    void isEmptyWithoutAVersion_data();
    void isEmptyWithoutAVersion();

private:
    QTemporaryDir m_folder;
};

void tst_FileVersion::readsTheFixedNumber_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("version");
    QTest::newRow("plain") << QStringLiteral(VERSION_PLAIN) << QStringLiteral("1.2.30.4");
    QTest::newRow("large") << QStringLiteral(VERSION_LARGE) << QStringLiteral("65535.0.32768.65534");
}

void tst_FileVersion::readsTheFixedNumber()
{
    QFETCH(QString, file);
    QFETCH(QString, version);
    QVERIFY(QFile::exists(file));
    QCOMPARE(FileVersion::GetFileVersion(file), version);
}

void tst_FileVersion::takesBothSeparators()
{
    const QString native = QDir::toNativeSeparators(QStringLiteral(VERSION_PLAIN));
    QCOMPARE(FileVersion::GetFileVersion(native), QStringLiteral("1.2.30.4"));
    QCOMPARE(FileVersion::GetFileVersion(QDir::fromNativeSeparators(native)), QStringLiteral("1.2.30.4"));
}

void tst_FileVersion::takesForeignAndLongNames()
{
    const QString copy =
        m_folder.filePath(QStringLiteral("\u4e2d\u6587 \u00e9%1.dll").arg(QString(100, QLatin1Char('x'))));
    QVERIFY(QFile::copy(QStringLiteral(VERSION_PLAIN), copy));
    QCOMPARE(FileVersion::GetFileVersion(copy), QStringLiteral("1.2.30.4"));
}

void tst_FileVersion::isEmptyWithoutAVersion_data()
{
    QTest::addColumn<QString>("file");
    const QString text = m_folder.filePath(QStringLiteral("text.txt"));
    QFile file(text);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("no program");
    QTest::newRow("no path") << QString();
    QTest::newRow("missing") << m_folder.filePath(QStringLiteral("missing.dll"));
    QTest::newRow("no program") << text;
    QTest::newRow("a folder") << m_folder.path();
    QTest::newRow("a library without the resource") << QStringLiteral(VERSION_NONE);
    QTest::newRow("a damaged resource") << QStringLiteral(VERSION_DAMAGED);
}

void tst_FileVersion::isEmptyWithoutAVersion()
{
    QFETCH(QString, file);
    QCOMPARE(FileVersion::GetFileVersion(file), QString());
}

QTEST_GUILESS_MAIN(tst_FileVersion)

#include "tst_FileVersion.moc"
