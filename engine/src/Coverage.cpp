// SPDX-License-Identifier: MIT
#include "Coverage.h"

#include <algorithm>
#include <numeric>

namespace VantorEngine {

void Coverage::add(Span span)
{
    if (span.length() <= 0) {
        return;
    }
    // The usual case: what is written goes on where the last run ends.
    if (!m_spans.empty() && m_spans.back().to == span.from) {
        m_spans.back().to = span.to;
        return;
    }
    const auto first =
        std::find_if(m_spans.begin(), m_spans.end(), [&span](const Span& each) { return each.to >= span.from; });
    auto last = first;
    for (; last != m_spans.end() && last->from <= span.to; ++last) {
        span.from = std::min(span.from, last->from);
        span.to = std::max(span.to, last->to);
    }
    m_spans.insert(m_spans.erase(first, last), span);
}

qint64 Coverage::total() const
{
    return std::accumulate(m_spans.cbegin(), m_spans.cend(), qint64(0),
                           [](qint64 sum, const Span& span) { return sum + span.length(); });
}

qint64 Coverage::prefix() const
{
    return m_spans.empty() || m_spans.front().from > 0 ? 0 : m_spans.front().to;
}

Span Coverage::firstHole(qint64 limit) const
{
    Span hole{0, limit};
    for (const Span& span : m_spans) {
        if (span.from > hole.from) {
            hole.to = std::min(hole.to, span.from);
            break;
        }
        hole.from = std::min(span.to, limit);
    }
    return hole;
}

} // namespace VantorEngine
