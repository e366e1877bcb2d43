#include "demo/ProgressLine.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace demo
{

namespace
{

constexpr int eBAR_WIDTH = 24;
constexpr std::size_t eTEXT_WIDTH = 72;
constexpr std::chrono::milliseconds s_pause(60);

} // namespace

ProgressLine::ProgressLine() : m_terminal(isatty(STDOUT_FILENO) != 0) {}

void ProgressLine::Show(double share, std::string const& text)
{
    auto const now = std::chrono::steady_clock::now();
    if (!m_terminal || (m_shown && now - m_last < s_pause)) {
        return;
    }
    m_last = now;
    m_shown = true;
    int const full = static_cast<int>(std::clamp(share, 0.0, 1.0) * eBAR_WIDTH);
    std::string const bar = std::string(static_cast<std::size_t>(full), '#') +
                            std::string(static_cast<std::size_t>(eBAR_WIDTH - full), '.');
    std::printf("\r[%s] %s\x1b[K", bar.c_str(), text.substr(0, eTEXT_WIDTH).c_str());
    std::fflush(stdout);
}

void ProgressLine::Print(std::string const& text)
{
    Clear();
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

void ProgressLine::Clear()
{
    if (m_shown) {
        std::printf("\r\x1b[K");
        std::fflush(stdout);
        m_shown = false;
    }
}

} // namespace demo
