// SPDX-License-Identifier: MIT
#include "DownloadOptions.h"

#include "FileList.h"
#include "OptionValues.h"

#include <QCommandLineParser>
#include <QFile>

namespace {

const QString kEngine = QStringLiteral("engine");
const QString kHttp = QStringLiteral("http");

const QString kDir = QStringLiteral("dir");
const QString kMd5 = QStringLiteral("md5");
const QString kList = QStringLiteral("list");
const QString kBackend = QStringLiteral("backend");
const QString kLimit = QStringLiteral("limit");
const QString kPcdn = QStringLiteral("pcdn");
const QString kLog = QStringLiteral("log");
const QString kLang = QStringLiteral("lang");
const QString kPatience = QStringLiteral("patience");

const QLatin1String kHelp(
    R"(Usage: launcher download --dir DIR [OPTIONS] URL...
       launcher download --dir DIR [OPTIONS] --list FILE

Downloads files over http or https into a folder, verifies them and puts them in
place. Partial files stay when it is stopped: the same command goes on with them.

Options:
  --dir DIR           the folder; made when it does not exist
  --md5 HEX           expected MD5 of the file, with a single URL
  --list FILE         the files, one a line: URL, size in bytes and MD5, separated
                      by blanks. Size and MD5 may be left out or "-"; size 0 is
                      unknown. Lines that begin with # are skipped.
  --backend NAME      engine (default), or http for the library's own downloader
  --limit KIBPS       at most so many KiB per second, 0 for no limit
  --pcdn              allow peer-assisted delivery (engine only)
  --log FILE          append the library's log to a file
  --lang LANGUAGE     of the progress display: en-us or zh-cn (default: the
                      system's)
  --patience SECONDS  give up when the engine reports nothing for so long
                      (default: 60; engine only)
  -h, --help          this text

Exit codes:
  0    every file is finished
  1    at least one file failed; "error:" lines say which, with code and message
  2    wrong arguments or list, or a folder or log file that cannot be used
  3    no usable engine was found
  4    the engine ended or fell silent without a result
  130  stopped with Ctrl-C
)");

QString readList(const QString& path, QVector<FileRequest>* files)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("cannot read the list %1: %2").arg(path, file.errorString());
    const QString error = FileList::parseList(file.readAll(), files);
    if (!error.isEmpty())
        return QStringLiteral("%1, %2").arg(path, error);
    return files->isEmpty() ? QStringLiteral("%1 lists no file").arg(path) : QString();
}

/// \brief The options as the user typed them, and what they mean.
class Reader
{
public:
    Reader(const QCommandLineParser& parser, DownloadOptions* options) : m_parser(parser), m_options(options) {}

    QString read()
    {
        m_options->usePcdn = m_parser.isSet(kPcdn);
        m_options->logPath = m_parser.value(kLog);
        for (const auto step : {&Reader::readFolder, &Reader::readFiles, &Reader::readMd5, &Reader::readBackend,
                                &Reader::readLimit, &Reader::readLanguage, &Reader::readPatience}) {
            const QString error = (this->*step)();
            if (!error.isEmpty())
                return error;
        }
        return FileList::findClash(m_options->files);
    }

private:
    QString readFolder()
    {
        m_options->folder = OptionValues::absolutePath(m_parser.value(kDir));
        return m_options->folder.isEmpty() ? QStringLiteral("--dir is missing") : QString();
    }

    QString readFiles()
    {
        const QStringList urls = m_parser.positionalArguments();
        if (m_parser.isSet(kList)) {
            if (!urls.isEmpty())
                return QStringLiteral("give URLs or --list, not both");
            return readList(m_parser.value(kList), &m_options->files);
        }
        for (const QString& url : urls) {
            FileRequest request;
            const QString error = FileList::parseUrl(url, &request);
            if (!error.isEmpty())
                return error;
            m_options->files.append(request);
        }
        return urls.isEmpty() ? QStringLiteral("no URL given") : QString();
    }

    QString readMd5()
    {
        if (!m_parser.isSet(kMd5))
            return QString();
        if (m_parser.isSet(kList) || m_options->files.size() != 1)
            return QStringLiteral("--md5 goes with a single URL; use --list for several files");
        return FileList::parseMd5(m_parser.value(kMd5), &m_options->files.first());
    }

    QString readBackend()
    {
        const QString name = m_parser.isSet(kBackend) ? m_parser.value(kBackend) : kEngine;
        if (name == kEngine)
            return QString();
        if (name != kHttp)
            return QStringLiteral("--backend wants %1 or %2").arg(kEngine, kHttp);
        m_options->backend = DownloadOptions::Backend::Http;
        if (m_options->usePcdn || m_parser.isSet(kPatience))
            return QStringLiteral("--pcdn and --patience go with the engine");
        return QString();
    }

    QString readLimit() { return OptionValues::readLimit(m_parser, kLimit, &m_options->limitKilobytes); }

    QString readLanguage() { return OptionValues::readLanguage(m_parser, kLang, &m_options->language); }

    QString readPatience() { return OptionValues::readPatience(m_parser, kPatience, &m_options->patienceSeconds); }

    const QCommandLineParser& m_parser;
    DownloadOptions* const m_options;
};

} // namespace

QString DownloadOptions::help()
{
    return kHelp;
}

void DownloadOptions::addTo(QCommandLineParser* parser)
{
    OptionValues::add({kDir, kMd5, kList, kBackend, kLimit, kLog, kLang, kPatience}, parser);
    parser->addOption(QCommandLineOption(kPcdn));
}

QString DownloadOptions::read(const QCommandLineParser& parser, DownloadOptions* options)
{
    return Reader(parser, options).read();
}
