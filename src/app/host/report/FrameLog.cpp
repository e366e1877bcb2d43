#include "host/report/FrameLog.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <locale>
#include <sstream>

namespace host
{

namespace
{

constexpr int eTIME_DIGITS = 6;

std::string Fixed(double value, int digits)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.setf(std::ios::fixed);
    text.precision(digits);
    text << value;
    return text.str();
}

} // namespace

std::string FrameCsvHeading()
{
    return "frame,frame_s,target_s,traversal_s,nodes_tested,leaves,shapes,triangles,"
           "frustum_culled,area_culled,visibility_culled,traversed_culled,occlusion_culled,"
           "triangle_target,stress,load,traversal_factor,clipped,"
           "queries_issued,queries_ready,queries_aborted,queries_occluded\n";
}

std::string FrameCsvLine(FrameRecord const& record)
{
    std::ostringstream line;
    line.imbue(std::locale::classic());
    line << record.m_frame << ',' << Fixed(record.m_frameTime, eTIME_DIGITS) << ','
         << Fixed(record.m_targetTime, eTIME_DIGITS) << ','
         << Fixed(record.m_traversalTime, eTIME_DIGITS) << ',' << record.m_nodesTested << ','
         << record.m_leaves << ',' << record.m_shapes << ',' << record.m_tris << ','
         << record.m_trisFrustum << ',' << record.m_trisArea << ',' << record.m_trisVisibility
         << ',' << record.m_trisTraversed << ',' << record.m_trisOcclusion << ','
         << record.m_triangleTarget << ',' << Fixed(record.m_stress, 4) << ','
         << Fixed(record.m_load, 4) << ',' << Fixed(record.m_traversalFactor, 4) << ','
         << (record.m_clipped ? 1 : 0) << ',' << record.m_queriesIssued << ','
         << record.m_queriesReady << ',' << record.m_queriesAborted << ','
         << record.m_queriesOccluded << '\n';
    return line.str();
}

std::string FramesToCsv(std::vector<FrameRecord> const& records)
{
    std::string text = FrameCsvHeading();
    for (FrameRecord const& record : records) {
        text += FrameCsvLine(record);
    }
    return text;
}

std::string FormatCount(std::uint64_t count)
{
    std::string text = std::to_string(count);
    for (std::size_t at = text.size(); at > 3;) {
        at -= 3;
        text.insert(at, 1, ' ');
    }
    return text;
}

std::string FormatShort(double count)
{
    struct Unit
    {
        double m_size;
        char const* m_name;
    };

    constexpr Unit s_units[] = {{1e9, "G"}, {1e6, "M"}, {1e3, "k"}};
    for (Unit const& unit : s_units) {
        if (std::fabs(count) >= unit.m_size) {
            double const share = count / unit.m_size;
            double const size = std::fabs(share);
            return Fixed(share, size >= 99.95 ? 0 : size >= 9.995 ? 1 : 2) + unit.m_name;
        }
    }
    return Fixed(count, count == std::floor(count) ? 0 : 2);
}

double Percentile(std::vector<double> values, double share)
{
    if (values.empty()) {
        return 0.0;
    }
    std::sort(values.begin(), values.end());
    double const place = std::clamp(share, 0.0, 1.0) * static_cast<double>(values.size() - 1);
    std::size_t const below = static_cast<std::size_t>(place);
    std::size_t const above = std::min(below + 1, values.size() - 1);
    double const part = place - static_cast<double>(below);
    return values[below] + (values[above] - values[below]) * part;
}

bool WriteTextFile(std::string const& path, std::string const& text, std::string* problem)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        *problem = path + ": " + std::strerror(errno);
        return false;
    }
    errno = 0;
    bool const written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    int const writeError = errno;
    bool const closed = std::fclose(file) == 0;
    if (!written || !closed) {
        *problem = path + ": " + std::strerror(written ? errno : writeError);
        return false;
    }
    return true;
}

} // namespace host
