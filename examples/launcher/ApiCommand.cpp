// SPDX-License-Identifier: MIT
#include "ApiCommand.h"

#include "ApiOptions.h"
#include "Network/HttpNetworkManager.h"
#include "Terminal.h"

#include <QCoreApplication>
#include <QEvent>

namespace {

constexpr int kCallFailed = ExitCode::kFilesFailed;
// What apiFailed() carries when there was an answer, or a network error instead of one.
constexpr int kNetworkCode = 3002;

QString headersText(BaseHttpApi& api)
{
    QString text;
    if (!api.GetHeaderContentType().isEmpty())
        text += QStringLiteral("content-type: %1\n").arg(api.GetHeaderContentType());
    if (!api.GetHeaderETag().isEmpty())
        text += QStringLiteral("etag: %1\n").arg(api.GetHeaderETag());
    return text;
}

void printAnswer(BaseHttpApi& api, const QByteArray& data)
{
    // Success is this status and no other.
    QString text = QStringLiteral("status: 200\n") + headersText(api);
    if (!data.isEmpty())
        text += QLatin1Char('\n') + QString::fromUtf8(data.constData(), data.size());
    if (!text.endsWith(QLatin1Char('\n')))
        text += QLatin1Char('\n');
    Terminal::write(Terminal::Stream::Output, text);
}

void printFailure(BaseHttpApi& api, int errorCode, int status, int qtError, const QString& message)
{
    // A time-out reports a number that is no status, and headers of an earlier attempt.
    if (errorCode == kNetworkCode && status > 0)
        Terminal::write(Terminal::Stream::Output, QStringLiteral("status: %1\n").arg(status) + headersText(api));
    Terminal::write(Terminal::Stream::Error,
                    QStringLiteral("error: code %1, status %2, network error %3: %4\n")
                        .arg(QString::number(errorCode), QString::number(status), QString::number(qtError), message));
}

void configure(BaseHttpApi* api, const ApiOptions& options)
{
    api->SetRequestType(options.type);
    api->SetBaseUrl(options.url);
    api->SetRequestHeaders(options.headers);
    api->SetRequestParams(options.params);
    api->SetCookies(options.cookies);
    api->SetParamsString(options.body);
    api->SetRetryTimes(options.retries, options.backoff);
    api->SetTimeout(options.timeoutMs);
}

} // namespace

ApiCommand::ApiCommand()
    : Command(QStringLiteral("api"), QStringLiteral("call a web API and print its answer"), ApiOptions::help())
{
}

void ApiCommand::addOptions(QCommandLineParser* parser) const
{
    ApiOptions::addTo(parser);
}

int ApiCommand::execute(const QCommandLineParser& parser)
{
    ApiOptions options;
    const QString error = ApiOptions::read(parser, &options);
    if (!error.isEmpty())
        return refuse(error);
    const int exitCode = call(options);
    // The network access is left to the event loop, which has ended.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return exitCode;
}

int ApiCommand::call(const ApiOptions& options)
{
    HttpNetworkManager network;
    BaseHttpApi api;
    api.SetNetworkManager(&network);
    configure(&api, options);
    QObject::connect(&api, &BaseHttpApi::apiSucceed, &api, [&api](const QByteArray& data) {
        printAnswer(api, data);
        QCoreApplication::exit(ExitCode::kAllFinished);
    });
    // Not waiting for apiFinished(), which does not follow a time-out.
    QObject::connect(&api, &BaseHttpApi::apiFailed, &api,
                     [&api](int errorCode, int status, int qtError, const QString& message) {
                         printFailure(api, errorCode, status, qtError, message);
                         QCoreApplication::exit(kCallFailed);
                     });
    api.Send();
    return QCoreApplication::exec();
}
