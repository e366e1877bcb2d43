// Means and counts over some rows of a log: the cells of a table that sums up several frames in a
// line.
#pragma once

#include "host/report/FrameLog.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace demo
{

/// The records first to last - 1 of a log, which must outlive it. Every operation is linear.
template <class Record>
class LogRows
{
public:
    LogRows(std::vector<Record> const& log, std::size_t first, std::size_t last)
        : m_log(log)
        , m_first(first)
        , m_last(last)
    {}

    /// True when there is no such record.
    bool IsEmpty() const { return m_first >= m_last || m_last > m_log.size(); }

    Record const& GetFirst() const { return m_log[m_first]; }

    Record const& GetLast() const { return m_log[m_last - 1]; }

    /// The mean of a number that `get` takes from each record; 0 without records.
    template <class Get>
    double GetMean(Get get) const
    {
        if (IsEmpty()) {
            return 0.0;
        }
        double sum = 0.0;
        for (std::size_t i = m_first; i < m_last; ++i) {
            sum += static_cast<double>(get(m_log[i]));
        }
        return sum / static_cast<double>(m_last - m_first);
    }

    /// The mean of a count of 0 or more, rounded and in few characters.
    template <class Get>
    std::string FormatMeanCount(Get get) const
    {
        return host::FormatShort(
            static_cast<double>(static_cast<unsigned long long>(GetMean(get) + 0.5)));
    }

    /// "4/10": for how many records `is` holds, and of how many.
    template <class Is>
    std::string FormatShare(Is is) const
    {
        if (IsEmpty()) {
            return "0/0";
        }
        auto const begin = m_log.begin();
        auto const count = std::count_if(begin + static_cast<std::ptrdiff_t>(m_first),
                                         begin + static_cast<std::ptrdiff_t>(m_last), is);
        return std::to_string(count) + "/" + std::to_string(m_last - m_first);
    }

private:
    std::vector<Record> const& m_log;
    std::size_t m_first;
    std::size_t m_last;
};

} // namespace demo
