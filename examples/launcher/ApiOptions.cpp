// SPDX-License-Identifier: MIT
#include "ApiOptions.h"

#include "OptionValues.h"

#include <QCommandLineParser>
#include <QJsonDocument>
#include <QUrl>

namespace {

constexpr int kTimeoutMs = 30000;
constexpr int kMostTimeoutMs = 24 * 60 * 60 * 1000;
constexpr int kMostRetries = 1000;

const QString kHeader = QStringLiteral("H");
const QString kParam = QStringLiteral("p");
const QString kCookie = QStringLiteral("c");
const QString kData = QStringLiteral("d");
const QString kRetry = QStringLiteral("retry");
const QString kBackoff = QStringLiteral("backoff");
const QString kTimeout = QStringLiteral("timeout");

const QLatin1String kHelp(
    R"(Usage: launcher api get|post|head|form URL [OPTIONS]

Calls a web API and prints the answer: status, Content-Type and ETag, an empty
line and the body. Only status 200 is a success.

  get   the parameters go into the query; one that is given several times is
        sent as NAME[]=VALUE for each
  head  the same, for the headers only
  post  the JSON text of -d is the body
  form  the parameters are the body

Options:
  -H NAME:VALUE      a request header
  -p NAME=VALUE      a parameter, for get, head and form
  -c NAME=VALUE      a cookie
  -d JSON            the body, for post
  --retry N          try again up to N times (default: 0)
  --backoff          double the time-out with each retry
  --timeout MS       longest duration of an attempt (default: 30000)
  -h, --help         this text

Exit codes:
  0  the call succeeded
  1  it failed; an "error:" line says how
  2  wrong arguments
)");

struct Method
{
    const char* name;
    BaseHttpApi::TYPE type;
};

constexpr Method kMethods[] = {{"get", BaseHttpApi::Get},
                               {"post", BaseHttpApi::Post},
                               {"head", BaseHttpApi::Head},
                               {"form", BaseHttpApi::PostForm}};

struct Pair
{
    QString name;
    QString value;
};

// False when there is no separator, or no name before it.
bool split(const QString& text, QLatin1Char separator, Pair* pair)
{
    const int at = text.indexOf(separator);
    if (at < 1)
        return false;
    pair->name = text.left(at).trimmed();
    pair->value = text.mid(at + 1);
    return !pair->name.isEmpty();
}

/// \brief The options as the user typed them, and what they mean.
class Reader
{
public:
    Reader(const QCommandLineParser& parser, ApiOptions* options) : m_parser(parser), m_options(options) {}

    QString read()
    {
        m_options->backoff = m_parser.isSet(kBackoff);
        for (const auto step : {&Reader::readMethod, &Reader::readUrl, &Reader::readHeaders, &Reader::readParams,
                                &Reader::readCookies, &Reader::readBody, &Reader::readRetries, &Reader::readTimeout}) {
            const QString error = (this->*step)();
            if (!error.isEmpty())
                return error;
        }
        return QString();
    }

private:
    QString readMethod()
    {
        const QString name = m_parser.positionalArguments().value(0);
        if (name.isEmpty())
            return QStringLiteral("no method given: get, post, head or form");
        for (const Method& method : kMethods) {
            if (name == QLatin1String(method.name)) {
                m_options->type = method.type;
                return QString();
            }
        }
        return QStringLiteral("unknown method \"%1\": get, post, head or form").arg(name);
    }

    QString readUrl()
    {
        const QStringList urls = m_parser.positionalArguments().mid(1);
        if (urls.isEmpty())
            return QStringLiteral("no URL given");
        if (urls.size() > 1)
            return QStringLiteral("one URL at a time, not also \"%1\"").arg(urls.at(1));
        const QUrl url(urls.constFirst());
        const bool isWeb = url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
        if (!url.isValid() || !isWeb || url.host().isEmpty())
            return QStringLiteral("not an http or https URL: %1").arg(urls.constFirst());
        m_options->url = urls.constFirst();
        return QString();
    }

    QString readHeaders()
    {
        const QStringList values = m_parser.values(kHeader);
        for (const QString& text : values) {
            Pair pair;
            if (!split(text, QLatin1Char(':'), &pair))
                return QStringLiteral("-H wants NAME:VALUE, not \"%1\"").arg(text);
            m_options->headers.insert(pair.name, pair.value.trimmed());
        }
        return QString();
    }

    QString readParams()
    {
        const QStringList values = m_parser.values(kParam);
        if (!values.isEmpty() && m_options->type == BaseHttpApi::Post)
            return QStringLiteral("-p goes with get, head and form; the body of post is -d");
        QMap<QString, QStringList> found;
        for (const QString& text : values) {
            Pair pair;
            if (!split(text, QLatin1Char('='), &pair))
                return QStringLiteral("-p wants NAME=VALUE, not \"%1\"").arg(text);
            found[pair.name] << pair.value;
        }
        for (auto param = found.cbegin(); param != found.cend(); ++param) {
            const bool isList = param.value().size() > 1;
            if (isList && m_options->type != BaseHttpApi::Get)
                return QStringLiteral("-p %1: only get takes several values of one name").arg(param.key());
            m_options->params.insert(param.key(),
                                     isList ? QVariant(param.value()) : QVariant(param.value().constFirst()));
        }
        return QString();
    }

    QString readCookies()
    {
        const QStringList values = m_parser.values(kCookie);
        for (const QString& text : values) {
            Pair pair;
            if (!split(text, QLatin1Char('='), &pair))
                return QStringLiteral("-c wants NAME=VALUE, not \"%1\"").arg(text);
            m_options->cookies.insert(pair.name.toUtf8(), pair.value.toUtf8());
        }
        return QString();
    }

    QString readBody()
    {
        if (!m_parser.isSet(kData))
            return QString();
        if (m_options->type != BaseHttpApi::Post)
            return QStringLiteral("-d goes with post");
        m_options->body = m_parser.value(kData);
        QJsonParseError error{};
        QJsonDocument::fromJson(m_options->body.toUtf8(), &error);
        if (error.error == QJsonParseError::NoError)
            return QString();
        return QStringLiteral("-d wants JSON: %1 at character %2")
            .arg(error.errorString(), QString::number(error.offset));
    }

    QString readRetries() { return readNumber(kRetry, 0, kMostRetries, &m_options->retries); }

    QString readTimeout()
    {
        m_options->timeoutMs = kTimeoutMs;
        return readNumber(kTimeout, 1, kMostTimeoutMs, &m_options->timeoutMs);
    }

    QString readNumber(const QString& option, int least, int most, int* number)
    {
        if (!m_parser.isSet(option))
            return QString();
        bool isNumber = false;
        *number = m_parser.value(option).toInt(&isNumber);
        if (isNumber && *number >= least && *number <= most)
            return QString();
        return QStringLiteral("--%1 wants a number from %2 to %3")
            .arg(option, QString::number(least), QString::number(most));
    }

    const QCommandLineParser& m_parser;
    ApiOptions* const m_options;
};

} // namespace

QString ApiOptions::help()
{
    return kHelp;
}

void ApiOptions::addTo(QCommandLineParser* parser)
{
    OptionValues::add({kHeader, kParam, kCookie, kData, kRetry, kTimeout}, parser);
    parser->addOption(QCommandLineOption(kBackoff));
}

QString ApiOptions::read(const QCommandLineParser& parser, ApiOptions* options)
{
    return Reader(parser, options).read();
}
