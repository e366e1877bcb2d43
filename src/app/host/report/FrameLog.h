// What one frame of a flight cost and what became of its triangles, and the log of all frames as
// comma-separated values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace host
{

/// Measurements of one frame. Times in seconds; the triangle counts are those of the traversal's
/// statistics counters, so each culled one is counted at the highest node that was culled.
struct FrameRecord
{
    unsigned m_frame = 0;
    double m_frameTime = 0.0;
    double m_targetTime = 0.0;
    double m_traversalTime = 0.0;
    unsigned m_nodesTested = 0;
    unsigned m_leaves = 0;
    unsigned m_shapes = 0;
    unsigned m_tris = 0;
    unsigned m_trisFrustum = 0;
    unsigned m_trisArea = 0;
    unsigned m_trisVisibility = 0;
    unsigned m_trisTraversed = 0;
    unsigned m_trisOcclusion = 0;
    unsigned m_triangleTarget = 0;
    double m_stress = 1.0;
    double m_load = 0.0;
    double m_traversalFactor = 1.0;
    bool m_clipped = false;
    unsigned m_queriesIssued = 0;
    unsigned m_queriesReady = 0;
    unsigned m_queriesAborted = 0;
    unsigned m_queriesOccluded = 0;
};

/// The heading line of the CSV form, with its line end.
std::string FrameCsvHeading();

/// One record as a CSV line with its line end. Numbers have a decimal point in every locale.
std::string FrameCsvLine(FrameRecord const& record);

/// A whole log as CSV text.
std::string FramesToCsv(std::vector<FrameRecord> const& records);

/// A count with thousands separators, "12 345 678" with thin plain blanks.
std::string FormatCount(std::uint64_t count);

/// A count in few characters: "950", "12.3k", "4.56M".
std::string FormatShort(double count);

/// The value below which the given share (0 to 1) of the values lies, by linear interpolation
/// between neighbours; 0 for no values.
double Percentile(std::vector<double> values, double share);

/// Writes a whole text file. @return false with a one-line reason that names the file.
bool WriteTextFile(std::string const& path, std::string const& text, std::string* problem);

} // namespace host
