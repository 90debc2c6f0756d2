// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>
#include <QTimer>
#include <QVector>

#include <functional>

namespace VantorEngine {

/// Somebody who waits for bandwidth.
class BandwidthClient
{
public:
    virtual void bandwidthAvailable() = 0;

protected:
    ~BandwidthClient() = default;
};

/// One token bucket for all transfers: a token is a byte, the limit's worth of them come in each second.
/// Whoever gets none waits and is called again; waiting clients are served in turn, each with an equal share.
class BandwidthLimiter : public QObject
{
    Q_OBJECT
public:
    using Clock = std::function<qint64()>; ///< nanoseconds, monotonic

    BandwidthLimiter();
    explicit BandwidthLimiter(Clock clock);

    /// \param bytesPerSecond 0 or less: no limit.
    void setLimit(qint64 bytesPerSecond);
    qint64 limit() const { return m_limit; }

    /// \return how many of \a wanted bytes may be moved now; 0: wait.
    qint64 take(qint64 wanted);
    /// Calls \a client once when there is bandwidth again.
    void wait(BandwidthClient* client);
    void forget(BandwidthClient* client);
    /// Calls those who wait; run by the limiter's own timer.
    void serve();

    static constexpr int kServeIntervalMs = 20;
    static constexpr double kBurstSeconds = 0.2;          ///< what an idle or late moment may be made up for
    static constexpr double kSmallestGrantSeconds = 0.01; ///< smaller crumbs are not worth a read

private:
    void refill();
    double smallestGrant() const;
    bool canGrant() const;

    Clock m_clock;
    qint64 m_limit = 0;
    double m_tokens = 0;
    qint64 m_refilledNs = 0;
    QVector<BandwidthClient*> m_waiting;
    qint64 m_share = 0; ///< of each waiting client while they are served; 0: not being served
    QTimer m_timer;
};

} // namespace VantorEngine
