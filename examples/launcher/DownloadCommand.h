// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

struct DownloadOptions;

/// \brief "launcher download": files through DownloadController or DownloadManager, until their end.
class DownloadCommand : public Command
{
public:
    QString name() const override;
    QString summary() const override;
    int run(const QStringList& arguments) override;

private:
    int download(const DownloadOptions& options);
    int runSession(const DownloadOptions& options);
};
