// SPDX-License-Identifier: MIT
// One run of FileOperator, to be timed from outside.
//   bench_copy SOURCE TARGET
#include "Tool/FileOperator.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        std::fprintf(stderr, "usage: bench_copy SOURCE TARGET\n");
        return 2;
    }
    FileOperator fileOperator;
    fileOperator.SetCopyDirParam(arguments.at(1), arguments.at(2), false, QString());
    bool isFinished = false;
    QObject::connect(&fileOperator, &FileOperator::copyFinish, &app, [&isFinished] { isFinished = true; });
    fileOperator.onCopyDirFiles();
    return isFinished ? 0 : 1;
}
