// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

#include <vector>

namespace VantorEngine {

/// A run of bytes: from the first to the one behind the last.
struct Span
{
    qint64 from = 0;
    qint64 to = 0;

    qint64 length() const { return to - from; }
    bool operator==(const Span& other) const { return from == other.from && to == other.to; }
};

/// Which bytes of a file are there: runs in ascending order that neither overlap nor touch.
class Coverage
{
public:
    void add(Span span);
    void clear() { m_spans.clear(); }

    /// Bytes there.
    qint64 total() const;
    /// Bytes there from the file's start to the first hole.
    qint64 prefix() const;
    /// Behind the last byte that is there.
    qint64 end() const { return m_spans.empty() ? 0 : m_spans.back().to; }
    /// The first hole before \a limit; empty (from == to) when there is none.
    Span firstHole(qint64 limit) const;
    const std::vector<Span>& spans() const { return m_spans; }

private:
    std::vector<Span> m_spans;
};

} // namespace VantorEngine
