#pragma once

// A readable list of what happened during a test, in order.
//
// Every recorder (context, shape, visitor, node) writes one line per call into a log that the test
// owns; the test takes the lines and compares them with the expected list. Nodes are written by the
// name that was given for their address. The log must outlive the recorders that write to it.

#include <map>
#include <sstream>
#include <string>
#include <vector>

/// Lines of an `EventLog`, as a test compares them.
using Lines = std::vector<std::string>;

class EventLog
{
public:
    /// Appends one line.
    void Add(std::string line) { m_lines.push_back(std::move(line)); }

    /// Everything since construction, `Take` or `Clear`.
    [[nodiscard]] Lines const& Get() const { return m_lines; }

    /// Returns all lines and empties the log.
    Lines Take()
    {
        Lines lines;
        lines.swap(m_lines);
        return lines;
    }

    /// Returns the lines that begin with `prefix` and empties the whole log.
    Lines Take(std::string const& prefix)
    {
        Lines lines = Filtered(prefix);
        m_lines.clear();
        return lines;
    }

    /// The lines that begin with `prefix`; the log stays as it is.
    [[nodiscard]] Lines Filtered(std::string const& prefix) const
    {
        Lines lines;
        for (std::string const& line : m_lines) {
            if (line.compare(0, prefix.size(), prefix) == 0) {
                lines.push_back(line);
            }
        }
        return lines;
    }

    /// Number of lines that begin with `prefix`.
    [[nodiscard]] int Count(std::string const& prefix) const
    {
        return static_cast<int>(Filtered(prefix).size());
    }

    void Clear() { m_lines.clear(); }

    /// Gives the object at `address` the name under which recorders write it.
    void SetName(void const* address, std::string name) { m_names[address] = std::move(name); }

    /// The name given for `address`, "null" for a null pointer, "?" for a stranger.
    [[nodiscard]] std::string GetName(void const* address) const
    {
        if (address == nullptr) {
            return "null";
        }
        auto const found = m_names.find(address);
        return found == m_names.end() ? "?" : found->second;
    }

private:
    Lines m_lines;
    std::map<void const*, std::string> m_names;
};

/// `value` as "0x2a", the form in which masks stand in a log.
inline std::string Hex(unsigned int value)
{
    std::ostringstream text;
    text << "0x" << std::hex << value;
    return text.str();
}
