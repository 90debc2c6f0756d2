// SPDX-License-Identifier: MIT
#include "Tool/BytesUnitOperator.h"

#include <algorithm>
#include <limits>

namespace {

constexpr qint64 kKiB = 1024;
constexpr qint64 kMiB = 1024 * kKiB;
constexpr qint64 kGiB = 1024 * kMiB;

// Intended: megabytes begin at 0.9 MiB/s, not at 1 MiB/s, so that the text does not flicker around one.
constexpr qint64 kMegabyteSpeed = 943718;

constexpr int kMostSamples = 11;
constexpr quint32 kLongestSeconds = 359999; // 99:59:59

const QLatin1String kZeroTime("00:00:00");
const QLatin1String kLongestTime("99:59:59");

struct Unit
{
    qint64 bytes;
    const char* label;
};

constexpr Unit kByte{1, QT_TRANSLATE_NOOP("BytesUnitOperator", "label_unit_b")};
constexpr Unit kKilobyte{kKiB, QT_TRANSLATE_NOOP("BytesUnitOperator", "label_unit_kb")};
constexpr Unit kMegabyte{kMiB, QT_TRANSLATE_NOOP("BytesUnitOperator", "label_unit_mb")};
constexpr Unit kGigabyte{kGiB, QT_TRANSLATE_NOOP("BytesUnitOperator", "label_unit_gb")};

QString label(const Unit& unit)
{
    return BytesUnitOperator::tr(unit.label);
}

QString perSecondLabel()
{
    return BytesUnitOperator::tr("label_speed_second");
}

QString number(qint64 bytes, const Unit& unit, int decimals)
{
    return QString::number(static_cast<double>(bytes) / static_cast<double>(unit.bytes), 'f', decimals);
}

QString inUnit(qint64 bytes, const Unit& unit, int decimals)
{
    return number(bytes, unit, decimals) + label(unit);
}

const Unit& adaptiveUnit(qint64 bytes)
{
    if (bytes < kKiB)
        return kByte;
    if (bytes < kMiB)
        return kKilobyte;
    if (bytes < kGiB)
        return kMegabyte;
    return kGigabyte; // and beyond: there is no TB
}

QString adaptiveText(qint64 bytes, const Unit& unit, int decimals)
{
    if (bytes < unit.bytes) { // only for 0 and less
        QString text = number(bytes, unit, decimals);
        if (text == QLatin1String("0.00"))
            text = QStringLiteral("0");
        return text + label(unit);
    }
    if (bytes % unit.bytes == 0)
        return QString::number(bytes / unit.bytes) + label(unit);
    return inUnit(bytes, unit, decimals);
}

QString withoutTrailingZeros(const QString& text, int decimals)
{
    const int dot = text.indexOf(QLatin1Char('.'));
    if (text.mid(dot + 1, decimals) != QLatin1String("00"))
        return text;
    // Intended: the last two characters stand for the label, whatever its length. Translations of deployed
    // launchers are made for that.
    return text.left(dot) + text.right(2);
}

/// \brief `later` - `earlier`, or the nearest value that 64 bits hold.
qint64 difference(qint64 later, qint64 earlier)
{
    using Limits = std::numeric_limits<qint64>;
    if (earlier < 0 && later > Limits::max() + earlier)
        return Limits::max();
    if (earlier > 0 && later < Limits::min() + earlier)
        return Limits::min();
    return later - earlier;
}

/// \brief A quotient that is not negative, cut to an integer; the largest one when it does not fit.
qint64 truncated(float quotient)
{
    constexpr float kEnd = 9223372036854775808.0f; // 2^63, the first value that does not fit
    return quotient < kEnd ? static_cast<qint64>(quotient) : std::numeric_limits<qint64>::max();
}

QString twoDigits(qint32 value)
{
    return QStringLiteral("%1").arg(value, 2, 10, QLatin1Char('0'));
}

} // namespace

BytesUnitOperator::BytesUnitOperator(QObject* parent) : QObject(parent)
{
}

BytesUnitOperator::~BytesUnitOperator() = default;

QString BytesUnitOperator::GetBytesString(qint64 bytes, const QString& unit, int decimals)
{
    const auto is = [&unit](const char* name) { return unit.compare(QLatin1String(name), Qt::CaseInsensitive) == 0; };
    if (is("GB"))
        return inUnit(bytes, kGigabyte, decimals);
    if (is("MB"))
        return inUnit(bytes, kMegabyte, decimals);
    if (is("KB"))
        return inUnit(bytes, kKilobyte, decimals);
    if (is("Adaptive"))
        return withoutTrailingZeros(adaptiveText(bytes, adaptiveUnit(bytes), decimals), decimals);
    return QString();
}

QString BytesUnitOperator::FormatSpeedString(qint64 bytesPerSecond, const QString& mbLabel, const QString& kbLabel,
                                             const QString& suffix)
{
    if (bytesPerSecond < kMegabyteSpeed)
        return number(bytesPerSecond, kKilobyte, 2) + kbLabel + suffix;
    return number(bytesPerSecond, kMegabyte, 2) + mbLabel + suffix;
}

QString BytesUnitOperator::GetZeroSpeedString()
{
    return GetBytesString(0, QStringLiteral("KB"), 2) + perSecondLabel();
}

QString BytesUnitOperator::GetZeroNeedTimeString()
{
    return kZeroTime;
}

void BytesUnitOperator::UpdateCurSpeed(qint64 bytes, qint64 timeStampMs)
{
    if (m_speedSamples.size() >= kMostSamples)
        m_speedSamples.removeFirst();
    m_speedSamples.append({bytes, timeStampMs});

    const qint64 grownBytes = difference(m_speedSamples.last().first, m_speedSamples.first().first);
    const qint64 passedMs = difference(m_speedSamples.last().second, m_speedSamples.first().second);
    if (passedMs < 1 || grownBytes < 1) {
        m_curSpeed = 0;
        return;
    }
    // Intended: single precision, as the figures in deployed launchers are.
    m_curSpeed = truncated(static_cast<float>(grownBytes) / (static_cast<float>(passedMs) / 1000.0f));
}

QString BytesUnitOperator::GetCurSpeedString(qint64 bytes, qint64 timeStampMs)
{
    UpdateCurSpeed(bytes, timeStampMs);
    return GetLastSpeedString();
}

QString BytesUnitOperator::GetLastSpeedString()
{
    const Unit& unit = m_curSpeed < kMegabyteSpeed ? kKilobyte : kMegabyte;
    return inUnit(m_curSpeed, unit, 2) + perSecondLabel();
}

QString BytesUnitOperator::GetNeedTimeString(qint64 doneBytes, qint64 totalBytes)
{
    if (m_curSpeed <= 0)
        return kZeroTime;
    const qint64 leftBytes = std::max<qint64>(difference(totalBytes, doneBytes), 0);
    // Intended: the count is cut to 32 bits, and one that turns negative by that reads as the longest time.
    const auto seconds = static_cast<qint32>(leftBytes / m_curSpeed);
    if (static_cast<quint32>(seconds) > kLongestSeconds)
        return kLongestTime;
    return QStringLiteral("%1:%2:%3")
        .arg(twoDigits(seconds / 3600), twoDigits(seconds / 60 % 60), twoDigits(seconds % 60));
}

void BytesUnitOperator::Clear()
{
    m_speedSamples.clear();
    m_curSpeed = 0;
}
