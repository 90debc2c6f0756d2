// SPDX-License-Identifier: MIT
#include "LogFile.h"

#include "OrvelCommon/Testing.h"

#include <QDateTime>
#include <QFile>
#include <QLoggingCategory>
#include <QMutex>
#include <QMutexLocker>

#include <algorithm>
#include <array>
#include <string>

namespace {

// Every callback of the engine as text, several a second for each group: too much even for the log.
constexpr char kFilterRules[] = "orvel.qcomm.engine.debug=false";

constexpr std::array<const char*, 5> kLevelNames{"trace", "detail", "info", "warning", "error"};
constexpr int kDetail = 1;
constexpr int kInfo = 2;
constexpr int kWarning = 3;
constexpr int kError = 4;

struct Target
{
    QMutex mutex;
    QFile file;
};

// Never destroyed: threads of the engine may log until the very end of the process.
Target& target()
{
    static auto* const instance = new Target;
    return *instance;
}

void writeLine(int level, const QByteArray& origin, const QByteArray& text)
{
    const auto index = static_cast<std::size_t>(std::clamp(level, 0, kError));
    const QByteArray time = QDateTime::currentDateTime().toString(Qt::ISODateWithMs).toLatin1();
    const QByteArray line = time + ' ' + kLevelNames.at(index) + ' ' + origin + ": " + text + '\n';

    const QMutexLocker locker(&target().mutex);
    if (!target().file.isOpen())
        return;
    target().file.write(line);
    target().file.flush();
}

void takeLibraryLine(const Orvel::Common::LogRecord& record)
{
    writeLine(record.level, QByteArray::fromStdString(record.function), QByteArray::fromStdString(record.text));
}

int levelOf(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return kDetail;
    case QtInfoMsg:
        return kInfo;
    case QtWarningMsg:
        return kWarning;
    default:
        return kError;
    }
}

// Among Qt's messages are two or three failed connections at the engine's start, which are intended.
void takeQtMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    writeLine(levelOf(type), context.category, text.toUtf8());
}

} // namespace

LogFile::LogFile(const QString& path)
{
    if (!path.isEmpty()) {
        const QMutexLocker locker(&target().mutex);
        target().file.setFileName(path);
        target().file.open(QIODevice::WriteOnly | QIODevice::Append);
    }
    Orvel::Common::SetLogSink(takeLibraryLine);
    qInstallMessageHandler(takeQtMessage);
    QLoggingCategory::setFilterRules(QLatin1String(kFilterRules));
}

LogFile::~LogFile()
{
    const QMutexLocker locker(&target().mutex);
    target().file.close();
}

bool LogFile::isUsable() const
{
    const QMutexLocker locker(&target().mutex);
    return target().file.fileName().isEmpty() || target().file.isOpen();
}

QString LogFile::errorText() const
{
    const QMutexLocker locker(&target().mutex);
    return target().file.errorString();
}
