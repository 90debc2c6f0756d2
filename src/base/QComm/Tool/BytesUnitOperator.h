// SPDX-License-Identifier: MIT
#pragma once

#include "QCommGlobal.h"

#include <QList>
#include <QObject>
#include <QPair>
#include <QString>

/// \brief Turns byte counts into display texts, and samples of a transfer into its speed and remaining time.
///
/// Every download manager keeps one. On each progress report with `bytes` done so far:
///
/// \code
/// if (meter.IsEmpty())
///     meter.UpdateCurSpeed(bytes, interval.GetLastTimeStamp());
/// if (interval.IsTimeout()) {
///     const QString speed = meter.GetCurSpeedString(bytes, interval.GetLastTimeStamp());
///     const QString left = meter.GetNeedTimeString(bytes, totalBytes);
/// }
/// \endcode
///
/// Unit labels are translated in the context "BytesUnitOperator", under the keys "label_unit_b",
/// "label_unit_kb", "label_unit_mb", "label_unit_gb" and "label_speed_second"; without a translation the keys
/// themselves appear. A label follows its number without a blank. Units are binary: 1 KB is 1024 bytes. Not
/// thread-safe.
class QCOMM_EXPORT BytesUnitOperator : public QObject
{
    Q_OBJECT

public:
    explicit BytesUnitOperator(QObject* parent = nullptr);
    ~BytesUnitOperator() override;

    /// \brief A size as text.
    /// \param bytes    size
    /// \param unit     "GB", "MB", "KB" or "Adaptive", in either case; anything else gives an empty text
    /// \param decimals digits after the point
    ///
    /// "Adaptive" takes the largest unit up to GB that gives at least 1, writes whole multiples without a
    /// point, and cuts ".00" off when `decimals` is 2.
    static QString GetBytesString(qint64 bytes, const QString& unit, int decimals);
    /// \brief A speed as text with two decimals and the caller's own labels: below 943718 bytes per second
    /// (0.9 MiB/s) in KB, else in MB.
    static QString FormatSpeedString(qint64 bytesPerSecond, const QString& mbLabel, const QString& kbLabel,
                                     const QString& suffix);
    /// \brief The text of no speed: "0.00" with the KB and per-second labels.
    static QString GetZeroSpeedString();
    /// \brief The text of no remaining time: "00:00:00".
    static QString GetZeroNeedTimeString();

    /// \brief Adds a sample and computes the speed over the last samples, at most 11.
    /// \param bytes       bytes done so far
    /// \param timeStampMs milliseconds since the epoch
    void UpdateCurSpeed(qint64 bytes, qint64 timeStampMs);
    /// \brief UpdateCurSpeed(), then GetLastSpeedString().
    QString GetCurSpeedString(qint64 bytes, qint64 timeStampMs);
    /// \brief The current speed as text, in KB below 943718 bytes per second (0.9 MiB/s), else in MB.
    QString GetLastSpeedString();
    /// \brief The remaining time at the current speed as "hh:mm:ss"; "00:00:00" without speed, "99:59:59"
    /// from 100 hours on.
    QString GetNeedTimeString(qint64 doneBytes, qint64 totalBytes);

    /// \brief The current speed in bytes per second; 0 without progress.
    qint64 GetCurSpeed() const { return m_curSpeed; }
    void SetCurSpeed(qint64 bytesPerSecond) { m_curSpeed = bytesPerSecond; }
    /// \brief Whether there is no sample yet.
    bool IsEmpty() const { return m_speedSamples.isEmpty(); }
    /// \brief Forgets the samples and the speed; for a download that starts again.
    void Clear();

private:
    QList<QPair<qint64, qint64>> m_speedSamples; // bytes done, milliseconds since the epoch; oldest first
    qint64 m_curSpeed = 0;
};
