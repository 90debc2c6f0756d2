// SPDX-License-Identifier: MIT
#pragma once

#include "Waker.h"

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QNetworkProxy>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>

namespace VantorEngine {

struct Settings;

/// Which proxies a request goes through: those of the system, none, or the one that the host has configured.
///
/// The system may take seconds to answer, because it looks for a script in the network and runs it. So it is asked on
/// a thread of its own, once for each scheme and server, and never for this machine itself. Lives on the engine's
/// thread; no call blocks.
class Proxies : public QObject
{
    Q_OBJECT
public:
    using LookUp = std::function<QList<QNetworkProxy>(const QNetworkProxyQuery&)>;

    explicit Proxies(const Settings& settings);
    /// Does not wait for a look-up that runs.
    ~Proxies() override;

    /// Whether proxiesFor knows the answer. Otherwise it is looked up, and answered() comes.
    bool isReady(const QUrl& url);
    /// What is known by now, best first. A server that was never asked for, such as the target of a redirect, gets the
    /// answer that came last.
    QList<QNetworkProxy> proxiesFor(const QUrl& url);

    /// Replaces the system's settings, for tests.
    void setLookUp(LookUp lookUp, int mostWaitMs);

    static constexpr int kMostWaitMs = 5000; ///< after that, requests go on without the answer
    static constexpr int kFreshMs = 60000;   ///< an older answer is used, and asked for again

signals:
    /// There are new answers.
    void answered();

private:
    struct Answer
    {
        QList<QNetworkProxy> proxies;
        QElapsedTimer age;
    };
    struct Shared;

    bool isLookedUp(const QUrl& url) const;
    void order(const QUrl& url);
    void goOnWithout(const QString& key);
    void deliver();
    static void run(const std::shared_ptr<Shared>& shared);

    const Settings& m_settings;
    Waker m_waker;
    std::shared_ptr<Shared> m_shared; ///< with the thread that asks
    QHash<QString, Answer> m_answers; ///< by scheme and server
    QSet<QString> m_ordered;
    QList<QNetworkProxy> m_last{QNetworkProxy(QNetworkProxy::NoProxy)};
    int m_mostWaitMs = kMostWaitMs;
};

} // namespace VantorEngine
