// One line on the terminal that is rewritten while work goes on. Where the output is not a terminal
// nothing is rewritten: only finished steps are printed, each on a line of its own.
#pragma once

#include <chrono>
#include <string>

namespace demo
{

/// The live line on stdout.
class ProgressLine
{
public:
    ProgressLine();

    ~ProgressLine() { Clear(); }

    ProgressLine(ProgressLine const&) = delete;
    ProgressLine& operator=(ProgressLine const&) = delete;

    /// Shows a bar and a text, at most a few times a second. @param share  0 to 1
    void Show(double share, std::string const& text);

    /// Removes the live line and prints a line that stays.
    void Print(std::string const& text);

    /// Removes the live line.
    void Clear();

private:
    bool m_terminal;
    bool m_shown = false;
    std::chrono::steady_clock::time_point m_last;
};

} // namespace demo
