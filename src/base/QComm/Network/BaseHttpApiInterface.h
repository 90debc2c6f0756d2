// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QByteArray>
#include <QMap>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariant>

class HttpNetworkManager;
class QNetworkReply;

/// \brief What a call of a web API looks like to its user: settings, Send() and three signals.
///
/// BaseHttpApi is the implementation, and the class to derive from. The bodies here are placeholders, so that a
/// stand-in for tests overrides only what it needs: they keep what the setters are given, claim to be running
/// and to have retries left, send nothing, and pass received data on unparsed.
///
/// Settings are read by each Send(). The object belongs to one thread, like its network manager.
class QCOMM_EXPORT BaseHttpApiInterface : public QObject
{
    Q_OBJECT

public:
    /// \brief How a call is sent.
    enum TYPE : qint32 {
        Get = 0,      ///< GET, parameters in the query
        Post = 1,     ///< POST, the parameter string as JSON body
        Head = 2,     ///< HEAD, parameters in the query
        PostForm = 3, ///< POST, parameters as form body
    };
    Q_ENUM(TYPE)

    explicit BaseHttpApiInterface(QObject* parent = nullptr);
    ~BaseHttpApiInterface() override;

    // The order of the virtual functions is part of the interface.

    /// \brief What requests are sent through. Not owned; null (the initial value) sends nothing.
    virtual void SetNetworkManager(HttpNetworkManager* networkManager);
    /// \brief Starts the call. Here: nothing.
    virtual void Send();
    /// \brief Ends the call without a signal. Here: nothing.
    virtual void Stop();
    /// \brief The host of the base URL, decoded. Here: empty.
    virtual QString GetUrlHost();
    /// \brief Base URL and path. Here: empty.
    virtual QString GetFullUrl();
    /// \brief Whether a reply is outstanding. Here: true.
    virtual bool IsRunning();
    /// \brief Starts the call and blocks for a short while. Here: nothing.
    virtual void WaitSend();
    /// \brief The Content-Type of the last reply; empty when it had none.
    virtual QString GetHeaderContentType();
    /// \brief The ETag of the last reply, with its quotes; empty when it had none.
    virtual QString GetHeaderETag();
    /// \brief How to send. Here: nothing.
    virtual void SetRequestType(TYPE type);
    /// \brief The first part of the URL, such as "https://api.example.com". Percent-encoding is kept.
    virtual void SetBaseUrl(const QString& baseUrl);
    /// \brief The second part of the URL, appended as it is: the slash between them is the caller's.
    virtual void SetRequestPath(const QString& path);
    /// \brief Request headers, value by name. Sent in the order of their names, in UTF-8.
    virtual void SetRequestHeaders(QMap<QString, QString> headers);
    /// \brief Parameters of the query or the form, value by name, in the order of their names.
    virtual void SetRequestParams(QMap<QString, QVariant> params);
    /// \brief The body of a call of type Post: JSON text.
    virtual void SetParamsString(const QString& params);
    /// \brief Cookies, value by name, sent with this object's requests only.
    virtual void SetCookies(QMap<QByteArray, QByteArray> cookies);
    /// \brief How often to try again. Here: nothing.
    virtual void SetRetryTimes(int times, bool backoff);
    /// \brief The longest duration of one attempt, milliseconds; 30000 at first.
    virtual void SetTimeout(int ms);
    /// \brief Whether a failure is followed by another attempt. Here: true.
    virtual bool CanRetry();
    /// \brief Starts another attempt. Here: nothing.
    virtual void DoRetry();

protected:
    /// \brief Makes something of the body of a successful reply. Here: emits apiSucceed().
    virtual void parseReceiveData(const QByteArray& data);
    /// \brief Restores the retries for the next call. Here: nothing.
    virtual void ResetRetryTimes();

Q_SIGNALS:
    /// The call succeeded: the whole body.
    void apiSucceed(const QByteArray& data);
    /// \brief The call failed, after the last retry.
    /// \param errorCode   3001 for a time-out, 3002 for a network error or a status other than 200
    /// \param statusCode  the HTTP status; 0 without an answer, 638 for a time-out without a reply
    /// \param qtErrorCode QNetworkReply::NetworkError; 0 for none, -1 for a time-out without a reply
    /// \param message     for the log; not translated
    void apiFailed(int errorCode, int statusCode, int qtErrorCode, const QString& message);
    /// The call is over, after apiSucceed() or apiFailed(). Not emitted after a time-out.
    void apiFinished();

protected:
    TYPE m_type = Get;                              ///< see SetRequestType()
    QString m_baseUrl;                              ///< see SetBaseUrl()
    QString m_path;                                 ///< see SetRequestPath()
    QTimer m_timer;                                 ///< runs while an attempt does; single-shot, milliseconds
    QNetworkReply* m_reply = nullptr;               ///< the outstanding reply, a child of its network access
    HttpNetworkManager* m_networkManager = nullptr; ///< not owned
    QMap<QString, QString> m_headers;               ///< see SetRequestHeaders()
    QMap<QString, QVariant> m_params;               ///< see SetRequestParams()
    QMap<QByteArray, QByteArray> m_cookies;         ///< see SetCookies()
    QString m_paramsString;                         ///< see SetParamsString()
    QString m_contentType;                          ///< see GetHeaderContentType()
    QString m_eTag;                                 ///< see GetHeaderETag()
    qint32 m_retryLeft = -1;                        ///< retries still allowed in this call
    qint32 m_retryTimes = -1;                       ///< retries allowed in each call
    qint32 m_timeout = 30000;                       ///< milliseconds
    bool m_retryBackoff = false;                    ///< whether retries double the time-out
};
