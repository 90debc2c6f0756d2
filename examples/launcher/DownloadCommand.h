// SPDX-License-Identifier: MIT
#pragma once

#include "Command.h"

struct DownloadOptions;

/// \brief "launcher download": files through DownloadController or DownloadManager, until their end.
class DownloadCommand : public Command
{
public:
    DownloadCommand();

protected:
    void addOptions(QCommandLineParser* parser) const override;
    int execute(const QCommandLineParser& parser) override;

private:
    int download(const DownloadOptions& options);
};
