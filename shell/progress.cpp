// SPDX-License-Identifier: Apache-2.0
#include "shell/progress.h"

#include "shell/failure.h"
#include "shell/interrupt.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Shell {

namespace {

using namespace std::chrono_literals;
constexpr auto c_silence = 500ms;
constexpr auto c_redraw = 50ms;
constexpr auto c_signStep = 100ms;
constexpr int c_barWidth = 30;
constexpr int c_signWidth = 3;
constexpr int c_usualColumns = 80;

int GetTerminalColumns() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : c_usualColumns;
}

} // namespace

ProgressBar::ProgressBar(std::string description)
    : m_description(std::move(description)),
      m_start(std::chrono::steady_clock::now()),
      m_lastDraw(m_start),
      m_isTerminal(isatty(STDERR_FILENO) == 1) {
    if (m_isTerminal)
        m_signs = std::thread([this] { ShowSigns(); });
}

ProgressBar::~ProgressBar() {
    {
        std::lock_guard const lock(m_mutex);
        m_isOver = true;
    }
    m_overOrKnown.notify_all();
    if (m_signs.joinable())
        m_signs.join();
    if (m_isShown)
        std::fputs("\r\033[K", stderr);
}

void ProgressBar::Progress(DomainCommand const& command, float fraction) {
    // An interrupt may have come between the moment the command was started and the moment it cleared its flag.
    if (bool* const abort = command.GetProgressAbortPointer(); abort != nullptr && Interrupt::WasAsked())
        *abort = true;
    {
        std::lock_guard const lock(m_mutex);
        if (m_description.empty())
            m_description = command.GetProgressDescription().ToString().ToStdString();
    }
    Update(fraction);
}

void ProgressBar::Update(float fraction) {
    if (!m_isTerminal)
        return;
    std::lock_guard const lock(m_mutex);
    m_hasFraction = true;
    m_overOrKnown.notify_all();
    auto const now = std::chrono::steady_clock::now();
    if (now - m_start < c_silence || (m_isShown && now - m_lastDraw < c_redraw))
        return;
    m_lastDraw = now;
    Draw(fraction);
}

void ProgressBar::Draw(float fraction) {
    fraction = std::isfinite(fraction) ? std::clamp(fraction, 0.0F, 1.0F) : 0.0F;
    auto const done = static_cast<std::size_t>(std::lround(fraction * c_barWidth));
    char percent[16];
    std::snprintf(percent, sizeof percent, " %3d%%", static_cast<int>(std::lround(fraction * 100)));
    Print("[" + std::string(done, '#') + std::string(c_barWidth - done, '.') + "]" + percent);
}

// To and fro.
void ProgressBar::DrawSign(int step) {
    constexpr int c_ways = c_barWidth - c_signWidth;
    int const at = step % (2 * c_ways);
    std::string bar(c_barWidth, '.');
    bar.replace(static_cast<std::size_t>(at < c_ways ? at : 2 * c_ways - at), c_signWidth, c_signWidth, '#');
    Print("[" + bar + "]     ");
}

void ProgressBar::Print(std::string const& bar) {
    auto const room = std::max(0, GetTerminalColumns() - c_barWidth - 10);
    auto const text = OneLine(m_description, static_cast<std::size_t>(room));
    std::fprintf(stderr, "\r\033[K%s %s", bar.c_str(), text.c_str());
    std::fflush(stderr);
    m_isShown = true;
}

void ProgressBar::ShowSigns() {
    std::unique_lock lock(m_mutex);
    auto const isNeedless = [this] { return m_isOver || m_hasFraction; };
    int step = 0;
    for (auto until = m_start + c_silence; !m_overOrKnown.wait_until(lock, until, isNeedless); until += c_signStep)
        DrawSign(step++);
}

} // namespace Shell
