// SPDX-License-Identifier: MIT
#include "LauncherProcess.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcessEnvironment>
#include <QTest>

namespace {

constexpr int kReadLimitMs = 1000;

const QString kProgramPath = QStringLiteral("PATH");
#ifdef Q_OS_WIN
const QString kEnginePath = kProgramPath;
#else
const QString kEnginePath = QStringLiteral("LD_LIBRARY_PATH");
#endif

QStringList linesOf(const QString& text)
{
    return text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QString textOf(const QByteArray& output)
{
    return QString::fromUtf8(output).remove(QLatin1Char('\r'));
}

} // namespace

QStringList LauncherResult::outLines() const
{
    return linesOf(out);
}

QStringList LauncherResult::errLines() const
{
    return linesOf(err);
}

LauncherProcess::LauncherProcess()
{
    setProcessEnvironment(QProcessEnvironment::systemEnvironment());
    // Absolute with a drive, where there are drives.
    setProgram(QDir(QStringLiteral(LAUNCHER_PROGRAM)).absolutePath());
}

void LauncherProcess::setVariable(const QString& name, const QString& value)
{
    QProcessEnvironment environment = processEnvironment();
    environment.insert(name, value);
    setProcessEnvironment(environment);
}

void LauncherProcess::prepend(const QString& variable, const QString& folder)
{
    const QString path = QDir::toNativeSeparators(QDir(folder).absolutePath());
    const QString before = processEnvironment().value(variable);
    setVariable(variable, before.isEmpty() ? path : path + QDir::listSeparator() + before);
}

void LauncherProcess::addProgramFolder(const QString& folder)
{
    prepend(kProgramPath, folder);
}

void LauncherProcess::addEngineFolder(const QString& folder)
{
    prepend(kEnginePath, folder);
}

void LauncherProcess::launch(const QStringList& arguments)
{
    setArguments(arguments);
    start();
    QVERIFY(waitForStarted());
    closeWriteChannel();
}

bool LauncherProcess::waitForOutput(const QByteArray& text)
{
    QElapsedTimer clock;
    clock.start();
    while (!m_out.contains(text) && clock.elapsed() < kRunLimitMs) {
        if (bytesAvailable() == 0 && !waitForReadyRead(kReadLimitMs) && state() == NotRunning)
            break;
        m_out += readAllStandardOutput();
    }
    return m_out.contains(text);
}

LauncherResult LauncherProcess::result()
{
    LauncherResult result;
    if (!waitForFinished(kRunLimitMs) || exitStatus() != NormalExit)
        return result;
    result.code = exitCode();
    m_out += readAllStandardOutput();
    result.out = textOf(m_out);
    result.err = textOf(readAllStandardError());
    return result;
}

LauncherResult LauncherProcess::run(const QStringList& arguments)
{
    LauncherProcess launcher;
    launcher.launch(arguments);
    return launcher.result();
}
