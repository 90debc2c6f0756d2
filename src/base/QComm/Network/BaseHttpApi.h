// SPDX-License-Identifier: MIT
#pragma once

#include "Network/BaseHttpApiInterface.h"
#include "QCommGlobal.h"

#include <QMetaObject>
#include <QPointer>

class QNetworkRequest;
class QUrl;

/// \brief One call of a web API at a time: request, time-out, retries, result.
///
/// The launcher creates it, gives it a network manager and an address, connects to its signals and calls Send();
/// it may be used for any number of calls, one after the other. Derive from it and override parseReceiveData()
/// for a typed API, or use it as it is and take the body from apiSucceed().
///
/// \code
///          ┌─────────────────DoRetry: a retry is left────────────────┐
///          v                                                         │
///   idle ──Send──> running ──reply finished, or time-out──> Stop ────┤
///    ^ ^              │                                              │no retry left, or success
///    │ └─────Stop─────┘                                              v
///    └──────────────────────────────────────────────────── signals, ResetRetryTimes
/// \endcode
///
/// Signals of one call, in order, with what they carry:
///
/// | end | signals |
/// |---|---|
/// | status 200 | parseReceiveData(), whose default emits apiSucceed(body); apiFinished() |
/// | another status | apiFailed(3002, status, 0, error text); apiFinished() |
/// | network error | apiFailed(3002, status or 0, network error, error text + body as UTF-8); apiFinished() |
/// | time-out | apiFailed(3001, status or 0, network error, text), and no apiFinished() |
/// | time-out without a reply | apiFailed(3001, 638, -1, text), and no apiFinished() |
///
/// The text of a time-out is "CommonErrorCode::HTTP_REQUEST_TIMEOUT". Statuses of 400 and above are network
/// errors to Qt and have its numbers; a body that ends before the announced length is the network error 2, a closed
/// connection. Redirections are followed, except from https to http; one that was not
/// followed, like 201 and 204, is a failure. Only the outcome of the last attempt is signalled. Stop() ends a
/// call without a signal. A missing network manager, an empty URL and a Send() while running are no call:
/// they write a line to the log and nothing else.
///
/// Two things that callers rely on and that may surprise:
/// - Whichever reply of this object is destroyed, the object forgets the one that it holds. When a failed attempt
///   is retried, the end of its reply, a moment later, so takes the new attempt's reply along: its answer is
///   dropped, and the attempt lasts until its time-out (with 638 and -1 after the last one). The attempt after a
///   time-out without a reply does report its answer. The same befalls a Send() inside a handler of a call that
///   was answered.
/// - After a time-out apiFailed() is emitted while the object is still running: a Send() inside that handler is
///   refused.
///
/// So start the next call of the same object from the event loop, for instance by `QTimer::singleShot(0, ...)`.
///
/// The object may be deleted in handlers of its own signals and in parseReceiveData(). Its network manager may be
/// deleted at any time: a running attempt ends by its time-out then, and whatever would be sent after that is refused
/// as without one. That goes for a retry too: a call that has one left ends without a signal, and the next call has
/// that retry less.
///
/// Everything happens on the thread that owns the object and its network manager; there are no locks. Deleting
/// the object drops a running request.
class QCOMM_EXPORT BaseHttpApi : public BaseHttpApiInterface
{
    Q_OBJECT

public:
    explicit BaseHttpApi(QObject* parent = nullptr);
    ~BaseHttpApi() override;

    /// \brief What requests are sent through, shared with other calls. Not owned. Null refuses further calls.
    void SetNetworkManager(HttpNetworkManager* networkManager) override;
    /// \brief Starts a call with the current settings. Refused, with a line in the log and no signal, while
    /// running, without a URL and without a network manager.
    void Send() override;
    /// \brief Ends the call without a signal: the reply is left to the event loop (not aborted), the timer stops.
    void Stop() override;
    /// \brief The host of the base URL, fully decoded; empty when it has none.
    QString GetUrlHost() override;
    /// \brief Base URL and path, with nothing between them.
    QString GetFullUrl() override;
    /// \brief Whether a reply is outstanding.
    bool IsRunning() override;
    /// \brief Send(), then runs a nested event loop until the reply finishes, for half a second at most.
    ///
    /// The result still arrives through the signals, usually before this returns, and never as a return value.
    /// Handlers of all kinds run meanwhile. Without a reply to wait for, it blocks for the half second.
    void WaitSend() override;
    /// \brief The Content-Type of the last reply; empty from Send() until the next reply.
    QString GetHeaderContentType() override;
    /// \brief The ETag of the last reply, quotes included; kept until the next reply.
    QString GetHeaderETag() override;
    /// \brief How to send; Get at first. A Send() with an unknown value does nothing, not even log.
    void SetRequestType(TYPE type) override;
    /// \brief The first part of the URL, scheme and host at least.
    void SetBaseUrl(const QString& baseUrl) override;
    /// \brief The second part of the URL, appended without a separator.
    void SetRequestPath(const QString& path) override;
    /// \brief Request headers by name, sent in UTF-8. With Post a "Content-Type" here replaces the default one;
    /// with PostForm it does not.
    void SetRequestHeaders(QMap<QString, QString> headers) override;
    /// \brief Parameters for Get, Head and PostForm, as text, in the order of their names.
    ///
    /// With Get only, a value that is a list (QVariantList, QStringList or JSON array) of at least one element is
    /// sent as one item "name[]" per element. The query replaces one that the path has.
    void SetRequestParams(QMap<QString, QVariant> params) override;
    /// \brief The body for Post, sent in UTF-8 as "application/json".
    void SetParamsString(const QString& params) override;
    /// \brief The Cookie header of this object's requests, in the order of the names.
    ///
    /// Instead of, not in addition to, cookies that the shared network access received from servers.
    void SetCookies(QMap<QByteArray, QByteArray> cookies) override;
    /// \brief How often a failed attempt is repeated, at once; -1 at first, which like 0 is never.
    /// \param times   retries of each call, so at most `times` + 1 attempts
    /// \param backoff doubles the time-out with each retry
    void SetRetryTimes(int times, bool backoff) override;
    /// \brief The longest duration of an attempt, from Send() to the end of its reply, milliseconds.
    void SetTimeout(int ms) override;
    /// \brief Whether a retry is left in this call.
    bool CanRetry() override;
    /// \brief Uses up one retry: Stop(), then Send().
    void DoRetry() override;

public Q_SLOTS:
    /// \brief The attempt took too long: retries, or fails with 3001.
    void OnTimeout();
    /// \brief The reply has ended: succeeds, retries, or fails with 3002.
    void OnReplyFinished();

protected:
    /// \brief Override it to read the body; emit what suits the API, or apiFailed(). The base implementation
    /// emits apiSucceed(data). apiFinished() follows by itself.
    void parseReceiveData(const QByteArray& data) override;
    void ResetRetryTimes() override;

    // Each builds a request from the settings and sends it. Null without a network manager.

    virtual QNetworkReply* GetRequest();      ///< GET, parameters in the query, lists spelled out
    virtual QNetworkReply* PostRequest();     ///< POST, the parameter string as JSON
    virtual QNetworkReply* HeadRequest();     ///< HEAD, parameters in the query
    virtual QNetworkReply* PostFormRequest(); ///< POST, parameters as a form

private:
    bool StartRequest();
    void WatchReply();
    void StartTimer();
    int AttemptInterval() const;
    QNetworkRequest MakeRequest(const QUrl& url) const;
    void AddHeaders(QNetworkRequest* request) const;
    QUrl Address() const;
    void ForgetReply();
    void DropForgotten();
    void Fail(int status, int qtError, const QString& message);
    void Succeed(const QByteArray& data);
    void Finish();

    QPointer<QNetworkReply> m_sent;        // what m_reply was set to last, while it lives
    QPointer<QNetworkReply> m_forgotten;   // an outstanding reply that m_reply was cleared over
    QMetaObject::Connection m_managerGone; // clears m_networkManager
};
