// SPDX-License-Identifier: MIT
#include "Proxies.h"

#include "Settings.h"

#include <QHostAddress>
#include <QTimer>

#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace VantorEngine {

namespace {

QString keyOf(const QUrl& url)
{
    return url.scheme() + QLatin1Char(' ') + url.host() + QLatin1Char(' ') + QString::number(url.port());
}

bool isThisMachine(const QString& host)
{
    return host == QLatin1String("localhost") || QHostAddress(host).isLoopback();
}

QNetworkProxy configuredProxy(const QString& text)
{
    const QUrl url(text);
    return QNetworkProxy(QNetworkProxy::HttpProxy, url.host(), static_cast<quint16>(url.port()), url.userName(),
                         url.password());
}

} // namespace

/// What the thread that asks and the engine's thread have in common. The thread may outlive the engine.
struct Proxies::Shared
{
    std::mutex mutex; ///< guards what follows
    LookUp lookUp = &QNetworkProxyFactory::systemProxyForQuery;
    std::deque<QUrl> wanted;
    std::vector<std::pair<QString, QList<QNetworkProxy>>> answers;
    bool running = false;
    Waker* waker = nullptr; ///< null: nobody is interested any more
};

Proxies::Proxies(const Settings& settings)
    : m_settings(settings), m_waker([this] { deliver(); }), m_shared(std::make_shared<Shared>())
{
    m_shared->waker = &m_waker;
}

Proxies::~Proxies()
{
    const std::lock_guard<std::mutex> lock(m_shared->mutex);
    m_shared->waker = nullptr;
    m_shared->wanted.clear();
}

void Proxies::setLookUp(LookUp lookUp, int mostWaitMs)
{
    m_mostWaitMs = mostWaitMs;
    const std::lock_guard<std::mutex> lock(m_shared->mutex);
    m_shared->lookUp = std::move(lookUp);
}

bool Proxies::isLookedUp(const QUrl& url) const
{
    return m_settings.proxy == QLatin1String(kSystemProxy) && !isThisMachine(url.host());
}

bool Proxies::isReady(const QUrl& url)
{
    if (!isLookedUp(url)) {
        return true;
    }
    const auto answer = m_answers.constFind(keyOf(url));
    const bool known = answer != m_answers.constEnd();
    if (!known || answer->age.hasExpired(kFreshMs)) {
        order(url);
    }
    return known;
}

QList<QNetworkProxy> Proxies::proxiesFor(const QUrl& url)
{
    if (isLookedUp(url)) {
        return isReady(url) ? m_answers.value(keyOf(url)).proxies : m_last;
    }
    const bool direct = m_settings.proxy == QLatin1String(kSystemProxy) || m_settings.proxy == QLatin1String(kNoProxy);
    return {direct ? QNetworkProxy(QNetworkProxy::NoProxy) : configuredProxy(m_settings.proxy)};
}

void Proxies::order(const QUrl& url)
{
    const QString key = keyOf(url);
    if (m_ordered.contains(key)) {
        return;
    }
    m_ordered.insert(key);
    QTimer::singleShot(m_mostWaitMs, this, [this, key] { goOnWithout(key); });
    const std::lock_guard<std::mutex> lock(m_shared->mutex);
    m_shared->wanted.push_back(url);
    if (!std::exchange(m_shared->running, true)) {
        // Not waited for by anybody: it would hold up the end of the process.
        std::thread([shared = m_shared] { run(shared); }).detach();
    }
}

/// The requests that wait are let go. Where that was wrong they fail, and are tried again with what is known by then.
void Proxies::goOnWithout(const QString& key)
{
    if (m_answers.contains(key)) {
        return;
    }
    Answer answer;
    answer.proxies = m_last;
    answer.age.start();
    m_answers.insert(key, answer);
    emit answered();
}

void Proxies::run(const std::shared_ptr<Shared>& shared)
{
    std::unique_lock<std::mutex> lock(shared->mutex);
    while (!shared->wanted.empty()) {
        const QUrl url = shared->wanted.front();
        shared->wanted.pop_front();
        const LookUp lookUp = shared->lookUp;
        lock.unlock();
        const QList<QNetworkProxy> proxies = lookUp(QNetworkProxyQuery(url));
        lock.lock();
        shared->answers.emplace_back(keyOf(url), proxies);
        if (shared->waker != nullptr) {
            shared->waker->wake();
        }
    }
    shared->running = false;
}

void Proxies::deliver()
{
    std::vector<std::pair<QString, QList<QNetworkProxy>>> answers;
    {
        const std::lock_guard<std::mutex> lock(m_shared->mutex);
        answers.swap(m_shared->answers);
    }
    for (const auto& [key, proxies] : answers) {
        Answer answer;
        answer.proxies = proxies.isEmpty() ? QList<QNetworkProxy>{QNetworkProxy(QNetworkProxy::NoProxy)} : proxies;
        answer.age.start();
        m_last = answer.proxies;
        m_answers.insert(key, answer);
        m_ordered.remove(key);
    }
    emit answered();
}

} // namespace VantorEngine
