// SPDX-License-Identifier: MIT
#pragma once

#include "EngineServices.h"
#include "RetryPolicy.h"
#include "Transfer.h"

#include <QObject>
#include <QUrl>

#include <functional>
#include <memory>

namespace VantorEngine {

/// Gets the whole of a small file from a server into memory, trying again as the settings say.
class BodyFetch : public QObject, private TransferSink
{
    Q_OBJECT
public:
    /// The body, or why there is none.
    using Done = std::function<void(const QByteArray& body, const FileError& error)>;

    /// \param mostBytes a longer body is refused.
    /// \param exactBytes what the body must have; -1: anything up to \a mostBytes.
    BodyFetch(EngineServices& services, QUrl url, qint64 mostBytes, qint64 exactBytes = -1);

    /// \a done is called once, from the event loop. The object may be left to deleteLater() by it.
    void start(Done done);
    /// Bytes received by the present attempt.
    qint64 received() const { return m_body.size(); }
    /// Told of each piece that arrives, in bytes.
    void setMeter(std::function<void(qint64)> meter) { m_meter = std::move(meter); }

private:
    void transferResponse(Transfer& transfer, const ResponseHead& head, const QUrl& finalUrl) override;
    void transferData(Transfer& transfer, const char* data, qint64 length) override;
    void transferEnded(Transfer& transfer, const FileError& error) override;

    void attempt();
    void failAttempt(const FileError& error);
    void finish(const FileError& error);
    void dropTransfer();

    EngineServices& m_services;
    const QUrl m_url;
    const qint64 m_mostBytes;
    const qint64 m_exactBytes;
    RetryPolicy m_retries;
    Done m_done;
    std::function<void(qint64)> m_meter;
    std::unique_ptr<Transfer> m_transfer;
    QByteArray m_body;
};

} // namespace VantorEngine
