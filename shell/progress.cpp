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
constexpr int c_barWidth = 30;
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
      m_isTerminal(isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
    if (m_isShown)
        std::fputs("\r\033[K", stderr);
}

void ProgressBar::Progress(DomainCommand const& command, float fraction) {
    // An interrupt may have come between the moment the command was started and the moment it cleared its flag.
    if (bool* const abort = command.GetProgressAbortPointer(); abort != nullptr && Interrupt::WasAsked())
        *abort = true;
    if (m_description.empty())
        m_description = command.GetProgressDescription().ToString().ToStdString();
    Update(fraction);
}

void ProgressBar::Update(float fraction) {
    if (!m_isTerminal)
        return;
    auto const now = std::chrono::steady_clock::now();
    if (now - m_start < c_silence || (m_isShown && now - m_lastDraw < c_redraw))
        return;
    m_lastDraw = now;
    Draw(fraction);
}

void ProgressBar::Draw(float fraction) {
    fraction = std::isfinite(fraction) ? std::clamp(fraction, 0.0F, 1.0F) : 0.0F;
    auto const done = static_cast<int>(std::lround(fraction * c_barWidth));
    auto const percent = static_cast<int>(std::lround(fraction * 100));
    auto const room = std::max(0, GetTerminalColumns() - c_barWidth - 10);
    auto const text = OneLine(m_description, static_cast<std::size_t>(room));
    std::fprintf(stderr, "\r\033[K[%s%s] %3d%% %s", std::string(static_cast<std::size_t>(done), '#').c_str(),
                 std::string(static_cast<std::size_t>(c_barWidth - done), '.').c_str(), percent, text.c_str());
    std::fflush(stderr);
    m_isShown = true;
}

} // namespace Shell
