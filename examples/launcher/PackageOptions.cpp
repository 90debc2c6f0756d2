// SPDX-License-Identifier: MIT
#include "PackageOptions.h"

#include "OptionValues.h"

#include <QCommandLineParser>
#include <QDir>

namespace {

const QLatin1String kHelp(
    R"(Usage: launcher package ACTION --package ID --dir DIR [--server URL] [OPTIONS]

Installs a package from a server, keeps it up to date, repairs it. What is on
disk already is not fetched again; a run that was stopped goes on with the same
command.

Actions:
  version  the versions on the server and in the folder
  size     how much there is to download
  install  install the server's version, or update to it
  repair   read every file of the installed version and fetch what is broken
  remove   forget the installation; the files stay, unless --with-files is given

Options:
  --package ID        the package
  --branch NAME       its branch (default: main)
  --dir DIR           folder of the installation; "version" works without it
  --server URL        where packages are published; "remove" works without it
  --staging DIR       where files are assembled (default: within the folder)
  --with-files        with "remove": delete the folder and everything in it
  --limit KIBPS       at most so many KiB per second, 0 for no limit
  --log FILE          append the library's log to a file
  --lang LANGUAGE     of the progress display: en-us or zh-cn (default: the
                      system's)
  --patience SECONDS  give up when the engine reports nothing for so long
                      (default: 60)
  -h, --help          this text

Exit codes:
  0    done
  1    failed; the "error:" line says why, with code and message
  2    wrong arguments, or a folder or log file that cannot be used
  3    no usable engine was found
  4    the engine ended or fell silent without a result
  130  stopped with Ctrl-C
)");

struct NamedAction
{
    const char* name;
    VantorChunkActionType type;
};

constexpr NamedAction kActions[] = {
    {"version", VantorChunkActionFetchVersion},   {"size", VantorChunkActionFetchSize},
    {"install", VantorChunkActionNormalDownload}, {"repair", VantorChunkActionRepairDownload},
    {"remove", VantorChunkActionDeleteDatabase},
};

/// \brief The options as the user typed them, and what they mean.
class Reader
{
public:
    explicit Reader(PackageOptions* options) : m_options(options)
    {
        m_parser.addOptions({m_help, m_package, m_branch, m_folder, m_server, m_staging, m_withFiles, m_limit, m_log,
                             m_lang, m_patience});
    }

    QString read(const QStringList& arguments)
    {
        // The parser takes the first argument for the program's name.
        if (!m_parser.parse(QStringList(QString()) + arguments))
            return m_parser.errorText();
        m_options->wantsHelp = m_parser.isSet(m_help);
        if (m_options->wantsHelp)
            return QString();
        m_options->logPath = m_parser.value(m_log);
        for (const auto step : {&Reader::readAction, &Reader::readPackage, &Reader::readFolders, &Reader::readServer,
                                &Reader::readLimit, &Reader::readLanguage, &Reader::readPatience}) {
            const QString error = (this->*step)();
            if (!error.isEmpty())
                return error;
        }
        return QString();
    }

private:
    static QCommandLineOption withValue(const QString& name, const QString& fallback = QString())
    {
        return QCommandLineOption(name, QString(), QStringLiteral("value"), fallback);
    }

    static QString absolute(const QString& path)
    {
        return path.isEmpty() ? path : QDir::cleanPath(QDir(path).absolutePath());
    }

    QString readAction()
    {
        const QStringList words = m_parser.positionalArguments();
        if (words.size() != 1)
            return words.isEmpty() ? QStringLiteral("no action given") : QStringLiteral("more than one action given");
        for (const NamedAction& each : kActions) {
            if (words.constFirst() == QLatin1String(each.name))
                m_options->action = each.type;
        }
        return m_options->action == VantorChunkActionUnknown
                   ? QStringLiteral("unknown action \"%1\"").arg(words.constFirst())
                   : QString();
    }

    QString readPackage()
    {
        m_options->package = m_parser.value(m_package);
        m_options->branch = m_parser.value(m_branch);
        return m_options->package.isEmpty() ? QStringLiteral("--package is missing") : QString();
    }

    QString readFolders()
    {
        m_options->folder = absolute(m_parser.value(m_folder));
        m_options->stagingFolder = absolute(m_parser.value(m_staging));
        m_options->removesFiles = m_parser.isSet(m_withFiles);
        if (m_options->removesFiles && m_options->action != VantorChunkActionDeleteDatabase)
            return QStringLiteral("--with-files goes with \"remove\"");
        if (m_options->folder.isEmpty() && m_options->action != VantorChunkActionFetchVersion)
            return QStringLiteral("--dir is missing");
        return QString();
    }

    QString readServer()
    {
        if (!m_parser.isSet(m_server)) {
            return m_options->action == VantorChunkActionDeleteDatabase ? QString()
                                                                        : QStringLiteral("--server is missing");
        }
        m_options->server = QUrl(m_parser.value(m_server), QUrl::StrictMode);
        const QString scheme = m_options->server.scheme();
        const bool usable = m_options->server.isValid() && !m_options->server.host().isEmpty() &&
                            (scheme == QLatin1String("http") || scheme == QLatin1String("https"));
        return usable ? QString() : QStringLiteral("--server wants an http or https URL");
    }

    QString readLimit() { return OptionValues::readLimit(m_parser, m_limit, &m_options->limitKilobytes); }

    QString readLanguage() { return OptionValues::readLanguage(m_parser, m_lang, &m_options->language); }

    QString readPatience() { return OptionValues::readPatience(m_parser, m_patience, &m_options->patienceSeconds); }

    PackageOptions* const m_options;
    QCommandLineParser m_parser;
    const QCommandLineOption m_help{{QStringLiteral("h"), QStringLiteral("help")}};
    const QCommandLineOption m_package = withValue(QStringLiteral("package"));
    const QCommandLineOption m_branch = withValue(QStringLiteral("branch"), QStringLiteral("main"));
    const QCommandLineOption m_folder = withValue(QStringLiteral("dir"));
    const QCommandLineOption m_server = withValue(QStringLiteral("server"));
    const QCommandLineOption m_staging = withValue(QStringLiteral("staging"));
    const QCommandLineOption m_withFiles{QStringLiteral("with-files")};
    const QCommandLineOption m_limit = withValue(QStringLiteral("limit"));
    const QCommandLineOption m_log = withValue(QStringLiteral("log"));
    const QCommandLineOption m_lang = withValue(QStringLiteral("lang"));
    const QCommandLineOption m_patience = withValue(QStringLiteral("patience"));
};

} // namespace

QString PackageOptions::help()
{
    return kHelp;
}

QString PackageOptions::parse(const QStringList& arguments, PackageOptions* options)
{
    return Reader(options).read(arguments);
}
