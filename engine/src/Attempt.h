// SPDX-License-Identifier: MIT
#pragma once

#include "EngineServices.h"
#include "PartialBody.h"
#include "Transfer.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>

#include <memory>
#include <vector>

namespace VantorEngine {

/// What is to be fetched.
struct AttemptOrder
{
    QString url;
    qint64 size = -1;      ///< as the list has it, -1: unknown
    QByteArray sizeHeader; ///< the response header that tells an unknown size
    bool resume = true;    ///< may ask for parts
    bool verified = false; ///< the list has a digest: bytes of two versions would be found out
    bool segments = true;  ///< may ask for a large file in segments
};

/// What a file is told about the attempt at its body.
class AttemptListener
{
public:
    /// A response's head came, whatever it means.
    virtual void attemptResponse(const ResponseHead& head, const QUrl& finalUrl) = 0;
    /// The first bytes may come: what is on disk and the size are those of one version now.
    virtual void attemptBegun() = 0;
    /// More of the body is on disk.
    virtual void attemptGrew(qint64 bytes) = 0;
    /// A connection beside the last one is not needed any more.
    virtual void attemptNarrowed() = 0;
    /// All of the body is on disk.
    virtual void attemptComplete() = 0;
    /// What is on disk is of no use: nothing of it may be kept.
    virtual void attemptRefused(const FileError& error) = 0;
    virtual void attemptFailed(const FileError& error) = 0;

protected:
    ~AttemptListener() = default;
};

/// Fetches what is missing of one file: over one connection, or, of a large file, over several at once. Then it asks
/// for segments, in the order of the file, so that what is on disk has no more holes than there are connections, and
/// the digest can follow closely.
///
/// Bytes are only ever added to those of the same version: the server is asked for parts on the condition that its file
/// is still that version (If-Range), and its answer is checked. A server that names no version is asked for parts only
/// when the list has a digest.
class Attempt : public QObject, private TransferSink
{
    Q_OBJECT
public:
    Attempt(const AttemptOrder& order, PartialBody& body, EngineServices& services, AttemptListener& listener);
    ~Attempt() override;

    /// Asks for the first missing bytes, over one connection.
    void start();
    /// Whether another connection could fetch something.
    bool canWiden() const;
    void widen();
    /// Ends all connections. The partial file stays open.
    void stop();

    /// Files from here on are fetched in segments.
    static constexpr qint64 kSegmentedFromBytes = qint64(64) * 1024 * 1024;
    static constexpr qint64 kSegmentBytes = qint64(16) * 1024 * 1024;
    static constexpr std::size_t kMostConnections = 6; ///< for one file
    static constexpr int kNoteMs = 20;                 ///< until what was written is noted at the latest

private:
    /// One connection and what it is to bring.
    struct Part
    {
        std::unique_ptr<Transfer> transfer;
        bool ranged = false;
        qint64 at = 0;        ///< where the next byte belongs
        qint64 end = -1;      ///< behind the last byte, -1: unknown
        qint64 askedEnd = -1; ///< as in the request, -1: to the file's end
    };

    void transferResponse(Transfer& transfer, const ResponseHead& head, const QUrl& finalUrl) override;
    void transferData(Transfer& transfer, const char* data, qint64 length) override;
    void transferEnded(Transfer& transfer, const FileError& error) override;

    Part& partOf(const Transfer& transfer);
    void addPart();
    void ask(Part& part);
    qint64 knownSize() const;
    bool provable(const QByteArray& validator) const;
    Span nextSpan() const;
    void takeWhole(Part& part, const Verdict& verdict, const FileVersion& version);
    void takePart(Part& part, const Verdict& verdict, const FileVersion& version);
    void announceBegin();
    bool isComplete() const;
    void failPart(Part& part, const FileError& error);
    void drop(Part& part);

    const AttemptOrder m_order;
    PartialBody& m_body;
    EngineServices& m_services;
    AttemptListener& m_listener;
    std::vector<Part> m_parts;
    QTimer m_noteTimer;
    bool m_segmented = false;
    bool m_begun = false;
    bool m_mayWiden = true; ///< no further connection failed
};

} // namespace VantorEngine
