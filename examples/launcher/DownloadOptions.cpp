// SPDX-License-Identifier: MIT
#include "DownloadOptions.h"

#include "FileList.h"
#include "OptionValues.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFile>

namespace {

const QString kEngine = QStringLiteral("engine");
const QString kHttp = QStringLiteral("http");

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
    explicit Reader(DownloadOptions* options) : m_options(options)
    {
        m_parser.addOptions({m_help, m_folder, m_md5, m_list, m_backend, m_limit, m_pcdn, m_log, m_lang, m_patience});
    }

    QString read(const QStringList& arguments)
    {
        // The parser takes the first argument for the program's name.
        if (!m_parser.parse(QStringList(QString()) + arguments))
            return m_parser.errorText();
        m_options->wantsHelp = m_parser.isSet(m_help);
        if (m_options->wantsHelp)
            return QString();

        m_options->usePcdn = m_parser.isSet(m_pcdn);
        m_options->logPath = m_parser.value(m_log);
        for (const auto step : {&Reader::readFolder, &Reader::readFiles, &Reader::readMd5, &Reader::readBackend,
                                &Reader::readLimit, &Reader::readLanguage, &Reader::readPatience}) {
            const QString error = (this->*step)();
            if (!error.isEmpty())
                return error;
        }
        return FileList::findClash(m_options->files);
    }

private:
    static QCommandLineOption withValue(const QString& name)
    {
        return QCommandLineOption(name, QString(), QStringLiteral("value"));
    }

    QString readFolder()
    {
        const QString folder = m_parser.value(m_folder);
        if (folder.isEmpty())
            return QStringLiteral("--dir is missing");
        m_options->folder = QDir::cleanPath(QDir(folder).absolutePath());
        return QString();
    }

    QString readFiles()
    {
        const QStringList urls = m_parser.positionalArguments();
        if (m_parser.isSet(m_list)) {
            if (!urls.isEmpty())
                return QStringLiteral("give URLs or --list, not both");
            return readList(m_parser.value(m_list), &m_options->files);
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
        if (!m_parser.isSet(m_md5))
            return QString();
        if (m_parser.isSet(m_list) || m_options->files.size() != 1)
            return QStringLiteral("--md5 goes with a single URL; use --list for several files");
        return FileList::parseMd5(m_parser.value(m_md5), &m_options->files.first());
    }

    QString readBackend()
    {
        const QString name = m_parser.isSet(m_backend) ? m_parser.value(m_backend) : kEngine;
        if (name == kEngine)
            return QString();
        if (name != kHttp)
            return QStringLiteral("--backend wants %1 or %2").arg(kEngine, kHttp);
        m_options->backend = DownloadOptions::Backend::Http;
        if (m_options->usePcdn || m_parser.isSet(m_patience))
            return QStringLiteral("--pcdn and --patience go with the engine");
        return QString();
    }

    QString readLimit() { return OptionValues::readLimit(m_parser, m_limit, &m_options->limitKilobytes); }

    QString readLanguage() { return OptionValues::readLanguage(m_parser, m_lang, &m_options->language); }

    QString readPatience() { return OptionValues::readPatience(m_parser, m_patience, &m_options->patienceSeconds); }

    DownloadOptions* const m_options;
    QCommandLineParser m_parser;
    const QCommandLineOption m_help{{QStringLiteral("h"), QStringLiteral("help")}};
    const QCommandLineOption m_folder = withValue(QStringLiteral("dir"));
    const QCommandLineOption m_md5 = withValue(QStringLiteral("md5"));
    const QCommandLineOption m_list = withValue(QStringLiteral("list"));
    const QCommandLineOption m_backend = withValue(QStringLiteral("backend"));
    const QCommandLineOption m_limit = withValue(QStringLiteral("limit"));
    const QCommandLineOption m_pcdn{QStringLiteral("pcdn")};
    const QCommandLineOption m_log = withValue(QStringLiteral("log"));
    const QCommandLineOption m_lang = withValue(QStringLiteral("lang"));
    const QCommandLineOption m_patience = withValue(QStringLiteral("patience"));
};

} // namespace

QString DownloadOptions::help()
{
    return kHelp;
}

QString DownloadOptions::parse(const QStringList& arguments, DownloadOptions* options)
{
    return Reader(options).read(arguments);
}
