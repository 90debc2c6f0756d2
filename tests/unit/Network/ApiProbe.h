// SPDX-License-Identifier: MIT
#pragma once

#include "LogCapture.h"
#include "Network/BaseHttpApi.h"
#include "Network/HttpNetworkManager.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QStringList>
#include <QVector>

#include <initializer_list>

inline QStringList texts(std::initializer_list<const char*> list)
{
    QStringList result;
    for (const char* text : list)
        result << QString::fromUtf8(text);
    return result;
}

/// What was logged, as "level function|text" lines.
inline QStringList logLines(const LogCapture& log)
{
    QStringList lines;
    for (const auto& record : log.records()) {
        lines << QStringLiteral("%1 %2|%3")
                     .arg(QString::number(record.level), QString::fromStdString(record.function),
                          QString::fromStdString(record.text));
    }
    return lines;
}

/// Whether the network layer keeps to its connections. Under Wine it now and then takes a sound one for broken and
/// sends the request again on another, mostly when the machine is busy.
#ifdef Q_OS_WIN
constexpr bool kConnectionsAreSteady = false;
#else
constexpr bool kConnectionsAreSteady = true;
#endif

/// A network manager that shows its network access.
class TestNetworkManager : public HttpNetworkManager
{
public:
    using HttpNetworkManager::GetAccessManager;
    using HttpNetworkManager::HttpNetworkManager;
    using HttpNetworkManager::m_accessManager;
    using HttpNetworkManager::m_extra;
};

/// An API object that shows what subclasses of every one see.
template<typename Api>
class ShownApi : public Api
{
public:
    using Api::Api;
    using Api::m_baseUrl;
    using Api::m_contentType;
    using Api::m_cookies;
    using Api::m_eTag;
    using Api::m_headers;
    using Api::m_networkManager;
    using Api::m_params;
    using Api::m_paramsString;
    using Api::m_path;
    using Api::m_reply;
    using Api::m_retryBackoff;
    using Api::m_retryLeft;
    using Api::m_retryTimes;
    using Api::m_timeout;
    using Api::m_timer;
    using Api::m_type;
    using Api::parseReceiveData;
    using Api::ResetRetryTimes;
};

/// One that makes requests, and notes the timer's interval of every attempt.
class TestApi : public ShownApi<BaseHttpApi>
{
public:
    using BaseHttpApi::GetRequest;
    using BaseHttpApi::HeadRequest;
    using BaseHttpApi::PostFormRequest;
    using BaseHttpApi::PostRequest;
    using ShownApi::ShownApi;

    void Send() override
    {
        const QNetworkReply* const before = m_reply;
        BaseHttpApi::Send();
        if (m_reply && m_reply != before)
            intervals << m_timer.interval();
    }

    QVector<int> intervals; ///< milliseconds, one per attempt
};

inline void setAddress(BaseHttpApi* api)
{
    api->SetBaseUrl(QStringLiteral("http://host"));
    api->SetRequestPath(QStringLiteral("/path"));
}

/// What an API object signals, in order.
class ApiEvents : public QObject
{
public:
    explicit ApiEvents(BaseHttpApiInterface* api)
    {
        connect(api, &BaseHttpApiInterface::apiSucceed, this, [this](const QByteArray& data) {
            body = data;
            log << QStringLiteral("succeed %1").arg(data.size());
        });
        connect(api, &BaseHttpApiInterface::apiFailed, this,
                [this](int code, int status, int qtError, const QString& text) {
                    message = text;
                    log << QStringLiteral("failed %1 %2 %3").arg(code).arg(status).arg(qtError);
                });
        connect(api, &BaseHttpApiInterface::apiFinished, this, [this] { log << QStringLiteral("finished"); });
    }

    bool finished() const { return log.contains(QStringLiteral("finished")); }

    QStringList log;
    QByteArray body;
    QString message;
};

/// A reply that ends when the test says so.
class FakeReply : public QNetworkReply
{
public:
    explicit FakeReply(QObject* parent = nullptr) : QNetworkReply(parent) { open(ReadOnly); }

    void setStatus(int status) { setAttribute(QNetworkRequest::HttpStatusCodeAttribute, status); }
    void setMethod(QNetworkAccessManager::Operation method) { setOperation(method); }
    void fail(NetworkError error, const QString& text) { setError(error, text); }
    void setHeaderText(const char* name, const char* value) { setRawHeader(name, value); }
    void setBody(const QByteArray& data) { m_body = data; }
    void finish()
    {
        setFinished(true);
        Q_EMIT finished();
    }
    void abort() override { ++aborts; }
    qint64 bytesAvailable() const override { return m_body.size() + QNetworkReply::bytesAvailable(); }

    int aborts = 0;

protected:
    qint64 readData(char* data, qint64 size) override
    {
        const int count = static_cast<int>(qMin<qint64>(size, m_body.size()));
        std::copy_n(m_body.constData(), count, data);
        m_body.remove(0, count);
        return count;
    }

private:
    QByteArray m_body;
};

/// An API object whose requests are answered by replies that the test ends; the newest comes last.
class FakeApi : public TestApi
{
public:
    using TestApi::TestApi;
    ~FakeApi() override
    {
        for (const QPointer<FakeReply>& reply : qAsConst(replies))
            delete reply.data();
    }

    QVector<QPointer<FakeReply>> replies;

protected:
    QNetworkReply* GetRequest() override
    {
        replies << new FakeReply;
        return replies.last();
    }
};
