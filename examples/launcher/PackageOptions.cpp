// SPDX-License-Identifier: MIT
#include "PackageOptions.h"

#include "OptionValues.h"

#include <QCommandLineParser>

namespace {

const QString kPackage = QStringLiteral("package");
const QString kBranch = QStringLiteral("branch");
const QString kDir = QStringLiteral("dir");
const QString kServer = QStringLiteral("server");
const QString kStaging = QStringLiteral("staging");
const QString kWithFiles = QStringLiteral("with-files");
const QString kLimit = QStringLiteral("limit");
const QString kLog = QStringLiteral("log");
const QString kLang = QStringLiteral("lang");
const QString kPatience = QStringLiteral("patience");

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
    Reader(const QCommandLineParser& parser, PackageOptions* options) : m_parser(parser), m_options(options) {}

    QString read()
    {
        m_options->logPath = m_parser.value(kLog);
        for (const auto step : {&Reader::readAction, &Reader::readPackage, &Reader::readFolders, &Reader::readServer,
                                &Reader::readLimit, &Reader::readLanguage, &Reader::readPatience}) {
            const QString error = (this->*step)();
            if (!error.isEmpty())
                return error;
        }
        return QString();
    }

private:
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
        m_options->package = m_parser.value(kPackage);
        m_options->branch = m_parser.value(kBranch);
        return m_options->package.isEmpty() ? QStringLiteral("--package is missing") : QString();
    }

    QString readFolders()
    {
        m_options->folder = OptionValues::absolutePath(m_parser.value(kDir));
        m_options->stagingFolder = OptionValues::absolutePath(m_parser.value(kStaging));
        m_options->removesFiles = m_parser.isSet(kWithFiles);
        if (m_options->removesFiles && m_options->action != VantorChunkActionDeleteDatabase)
            return QStringLiteral("--with-files goes with \"remove\"");
        if (m_options->folder.isEmpty() && m_options->action != VantorChunkActionFetchVersion)
            return QStringLiteral("--dir is missing");
        return QString();
    }

    QString readServer()
    {
        if (!m_parser.isSet(kServer)) {
            return m_options->action == VantorChunkActionDeleteDatabase ? QString()
                                                                        : QStringLiteral("--server is missing");
        }
        m_options->server = QUrl(m_parser.value(kServer), QUrl::StrictMode);
        const QString scheme = m_options->server.scheme();
        const bool usable = m_options->server.isValid() && !m_options->server.host().isEmpty() &&
                            (scheme == QLatin1String("http") || scheme == QLatin1String("https"));
        return usable ? QString() : QStringLiteral("--server wants an http or https URL");
    }

    QString readLimit() { return OptionValues::readLimit(m_parser, kLimit, &m_options->limitKilobytes); }

    QString readLanguage() { return OptionValues::readLanguage(m_parser, kLang, &m_options->language); }

    QString readPatience() { return OptionValues::readPatience(m_parser, kPatience, &m_options->patienceSeconds); }

    const QCommandLineParser& m_parser;
    PackageOptions* const m_options;
};

} // namespace

QString PackageOptions::help()
{
    return kHelp;
}

void PackageOptions::addTo(QCommandLineParser* parser)
{
    OptionValues::add({kPackage, kDir, kServer, kStaging, kLimit, kLog, kLang, kPatience}, parser);
    parser->addOption(QCommandLineOption(kBranch, QString(), QStringLiteral("value"), QStringLiteral("main")));
    parser->addOption(QCommandLineOption(kWithFiles));
}

QString PackageOptions::read(const QCommandLineParser& parser, PackageOptions* options)
{
    return Reader(parser, options).read();
}
