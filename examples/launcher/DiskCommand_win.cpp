// SPDX-License-Identifier: MIT
#include "DiskCommand.h"

#include "Tool/DiskTypeEnumerator.h"

#include <QEventLoop>
#include <QRegularExpression>
#include <QThread>

namespace {

QString kindText(int mediaType)
{
    switch (mediaType) {
    case 3:
        return QStringLiteral("HDD");
    case 4:
        return QStringLiteral("SSD");
    case 5:
        return QStringLiteral("SCM");
    default:
        return QString();
    }
}

// On a thread of its own, as a launcher with windows does it: the query blocks.
int mediaTypeOf(const QString& letter)
{
    int result = 0;
    QThread thread;
    DiskTypeEnumerator disk;
    disk.SetDiskDrive(letter);
    disk.moveToThread(&thread);
    QEventLoop loop;
    QObject::connect(&thread, &QThread::started, &disk, &DiskTypeEnumerator::onStart);
    QObject::connect(&disk, &DiskTypeEnumerator::mediaType, &loop, [&](int type) {
        result = type;
        loop.quit();
    });
    thread.start();
    loop.exec();
    thread.quit();
    thread.wait();
    return result;
}

} // namespace

QString DiskCommand::placeOf(const QString& argument)
{
    static const QRegularExpression kDrive(QStringLiteral("^[A-Za-z]:?[\\\\/]?$"));
    return kDrive.match(argument).hasMatch() ? argument.left(1).toUpper() + QLatin1Char(':') : QString();
}

ToolCommand::Rows DiskCommand::kindOf(const QString& place)
{
    return {{QStringLiteral("Kind"), kindText(mediaTypeOf(place.left(1)))}};
}
