// SPDX-License-Identifier: MIT
#include "ProgressDisplay.h"

#include "Terminal.h"
#include "TextWidth.h"

#include <algorithm>

namespace {

constexpr int kInPlacePauseMs = 100;
constexpr int kPlainPauseMs = 1000;

} // namespace

ProgressDisplay::ProgressDisplay(QObject* parent)
    : QObject(parent), m_inPlace(Terminal::isTerminal(Terminal::Stream::Output)), m_pause(this)
{
    m_pause.setSingleShot(true);
    m_pause.setTimerType(Qt::PreciseTimer); // coarse ones may fire early, and once per second means that
    m_pause.setInterval(m_inPlace ? kInPlacePauseMs : kPlainPauseMs);
    connect(&m_pause, &QTimer::timeout, this, &ProgressDisplay::onDue);
}

ProgressDisplay::~ProgressDisplay()
{
    clear();
}

void ProgressDisplay::show(const ProgressState& state)
{
    m_state = state;
    m_pending = true;
    m_visible = true;
    if (!m_pause.isActive())
        onDue();
}

void ProgressDisplay::clear()
{
    erase();
    m_visible = false;
    m_pending = false;
}

void ProgressDisplay::note(const QString& text)
{
    erase();
    Terminal::write(Terminal::Stream::Output, text + QLatin1Char('\n'));
    if (m_visible && m_inPlace)
        draw();
}

void ProgressDisplay::error(const QString& text)
{
    erase();
    Terminal::write(Terminal::Stream::Error, text + QLatin1Char('\n'));
    if (m_visible && m_inPlace)
        draw();
}

void ProgressDisplay::onDue()
{
    if (!m_pending)
        return;
    draw();
    m_pause.start();
}

void ProgressDisplay::draw()
{
    m_pending = false;
    if (!m_inPlace) {
        const QString line = ProgressText::full(m_state);
        if (line != m_lastPlainLine)
            Terminal::write(Terminal::Stream::Output, line + QLatin1Char('\n'));
        m_lastPlainLine = line;
        return;
    }
    // One column stays free: some terminals go to the next line when the last one is written.
    const int room = std::max(Terminal::columns() - 1, 1);
    const QString line = ProgressText::fitted(m_state, room);
    const int columns = TextWidth::columnsOf(line);
    const int leftover = std::clamp(m_drawnColumns - columns, 0, room - columns);
    Terminal::write(Terminal::Stream::Output, QLatin1Char('\r') + line + QString(leftover, QLatin1Char(' ')));
    m_drawnColumns = columns;
}

void ProgressDisplay::erase()
{
    if (m_drawnColumns == 0)
        return;
    // The whole row: behind the line may stand what the terminal echoed, such as "^C".
    const QString blanks(std::max(Terminal::columns() - 1, 1), QLatin1Char(' '));
    Terminal::write(Terminal::Stream::Output, QLatin1Char('\r') + blanks + QLatin1Char('\r'));
    m_drawnColumns = 0;
}
