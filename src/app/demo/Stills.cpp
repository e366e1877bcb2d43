#include "demo/Stills.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace demo
{

namespace
{

/// Whole frames are not in a hurry: every query's result is waited for.
constexpr double ePATIENT_WAIT = 2.0;
constexpr double ePATIENT_FRAME = 60.0;

/// Cost of a frame without queries, in triangles.
struct CostRange
{
    double m_least;
    double m_most;
};

constexpr CostRange s_queriesRange{2e6, 12e6};
constexpr std::size_t eMAX_CANDIDATES = 100;
constexpr double eFULL_PICTURE = 0.8; ///< share of the pixels that show model

/// Settings that last as long as an object of this class.
class PatientQueries
{
public:
    explicit PatientQueries(host::OcclusionQueries& queries)
        : m_queries(queries)
        , m_before(queries.GetSettings())
    {
        host::OcclusionQuerySettings patient = m_before;
        patient.m_longestWait = ePATIENT_WAIT;
        patient.m_frameWait = ePATIENT_FRAME;
        queries.SetSettings(patient);
    }

    ~PatientQueries() { m_queries.SetSettings(m_before); }

    PatientQueries(PatientQueries const&) = delete;
    PatientQueries& operator=(PatientQueries const&) = delete;

private:
    host::OcclusionQueries& m_queries;
    host::OcclusionQuerySettings m_before;
};

/// How well a frame suits a close look.
class Suitability
{
public:
    Suitability() = default;

    Suitability(double cost, CostRange const& range, double drawn)
        : m_distance(std::max({std::log(std::max(cost, 1.0) / range.m_most),
                               std::log(range.m_least / std::max(cost, 1.0)), 0.0}))
        , m_drawn(drawn)
    {}

    bool operator<(Suitability const& other) const
    {
        return m_distance != other.m_distance ? m_distance > other.m_distance
                                              : m_drawn < other.m_drawn;
    }

private:
    double m_distance = 0.0; ///< from the suitable range, as a ratio's logarithm; 0 inside
    double m_drawn = 0.0;
};

Still Draw(DemoWorld* world, host::CameraKey const& key)
{
    Still still;
    still.m_record = world->DrawFrame(key);
    still.m_queries = world->GetContext().GetQueries().GetCounts();
    still.m_picture = world->ReadPicture();
    return still;
}

} // namespace

std::size_t ChooseFullFrame(FlightResult const& flight)
{
    auto const rank = [&flight](std::size_t frame) {
        host::FrameRecord const& record = flight.m_log[frame];
        return std::make_tuple(!record.m_clipped, std::min(flight.m_fills[frame], eFULL_PICTURE),
                               flight.m_details[frame]);
    };
    std::size_t best = 0;
    for (std::size_t frame = 1; frame < flight.m_log.size(); ++frame) {
        if (rank(best) < rank(frame)) {
            best = frame;
        }
    }
    return best;
}

ChosenFrames ChooseFrames(DemoWorld* world, host::CameraPath const& path,
                          FlightResult const& flight)
{
    std::size_t const frames = flight.m_log.size();
    std::size_t const step =
        std::max<std::size_t>((frames + eMAX_CANDIDATES - 1) / eMAX_CANDIDATES, 1);
    ChosenFrames chosen;
    chosen.m_shares = ChooseFullFrame(flight);
    Suitability best;
    for (std::size_t frame = 0; frame < frames; frame += step) {
        double const cost = world->CountFrame(GetFlightKey(path, frame, frames));
        Suitability const suitability(cost, s_queriesRange, flight.m_log[frame].m_tris);
        if (frame == 0 || best < suitability) {
            best = suitability;
            chosen.m_queries = frame;
        }
    }
    return chosen;
}

std::vector<Still> DrawShares(DemoWorld* world, host::CameraKey const& key, bool queries,
                              std::vector<double> const& shares)
{
    PatientQueries const patient(world->GetContext().GetQueries());
    TqOcPrioritizedTraversal& traversal = world->GetTraversal();
    traversal.SetCullArea(GetDemoCullArea());
    traversal.SetOcclusionCulling(queries ? 1 : 0);
    SetUpForWholeFrames(&traversal);
    std::vector<Still> stills;
    stills.push_back(Draw(world, key));
    double const whole = stills[0].m_record.m_tris;
    for (double const share : shares) {
        unsigned const budget = static_cast<unsigned>(whole * share);
        SetUpForBudget(&traversal, budget);
        stills.push_back(Draw(world, key));
        stills.back().m_share = share;
        stills.back().m_budget = budget;
    }
    return stills;
}

QueryComparison CompareQueries(DemoWorld* world, host::CameraKey const& key, double cullArea)
{
    PatientQueries const patient(world->GetContext().GetQueries());
    TqOcPrioritizedTraversal& traversal = world->GetTraversal();
    SetUpForWholeFrames(&traversal);
    traversal.SetCullArea(cullArea);
    QueryComparison result;
    result.m_cullArea = cullArea;
    traversal.SetOcclusionCulling(1);
    result.m_with = Draw(world, key);
    traversal.SetOcclusionCulling(0);
    result.m_without = Draw(world, key);
    result.m_difference = host::CompareImages(result.m_without.m_picture, result.m_with.m_picture);
    traversal.SetCullArea(GetDemoCullArea());
    return result;
}

} // namespace demo
