// SPDX-License-Identifier: MIT
#include "ProgressText.h"

#include "TextWidth.h"
#include "Tool/BytesUnitOperator.h"

#include <QStringList>

#include <algorithm>

namespace {

constexpr int kDecimals = 2;
constexpr int kPercentDigits = 3;

QString unitLabel(const char* key)
{
    return QCoreApplication::translate("BytesUnitOperator", key);
}

qint64 percentOf(const ProgressState& state)
{
    if (state.totalBytes <= 0)
        return 0;
    const double share = static_cast<double>(state.doneBytes) / static_cast<double>(state.totalBytes);
    // Rounded down: 100 means done.
    return std::clamp(static_cast<qint64>(share * 100.0), qint64(0), qint64(100));
}

// What the line consists of, the most important first.
QStringList partsOf(const ProgressState& state)
{
    QStringList parts;
    const QString percent = QStringLiteral("%1%").arg(percentOf(state), kPercentDigits);
    switch (state.phase) {
    case ProgressState::Phase::Waiting:
        parts << ProgressText::tr("connecting ...");
        return parts;
    case ProgressState::Phase::Downloading:
    case ProgressState::Phase::Working:
        parts << percent;
        break;
    case ProgressState::Phase::Verifying:
        parts << ProgressText::tr("verifying %1").arg(percent);
        break;
    }
    if (!state.amountText.isEmpty())
        parts << state.amountText;
    if (state.isInBytes && state.totalBytes > 0)
        parts << QStringLiteral("%1 / %2").arg(ProgressText::size(state.doneBytes),
                                               ProgressText::size(state.totalBytes));
    if (!state.speedText.isEmpty())
        parts << state.speedText;
    if (!state.timeText.isEmpty())
        parts << ProgressText::tr("%1 left").arg(state.timeText);
    return parts;
}

QString joined(const QStringList& parts)
{
    return parts.join(QLatin1String("  "));
}

} // namespace

QString ProgressText::full(const ProgressState& state)
{
    return joined(partsOf(state));
}

QString ProgressText::fitted(const ProgressState& state, int columns)
{
    QStringList parts = partsOf(state);
    while (parts.size() > 1 && TextWidth::columnsOf(joined(parts)) > columns)
        parts.removeLast();
    return TextWidth::cutTo(joined(parts), columns);
}

QString ProgressText::speed(qint64 bytesPerSecond)
{
    return BytesUnitOperator::FormatSpeedString(bytesPerSecond, unitLabel("label_unit_mb"), unitLabel("label_unit_kb"),
                                                unitLabel("label_speed_second"));
}

QString ProgressText::size(qint64 bytes)
{
    return BytesUnitOperator::GetBytesString(bytes, QStringLiteral("Adaptive"), kDecimals);
}

QString ProgressText::files(int count)
{
    return count == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(count);
}
