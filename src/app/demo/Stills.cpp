#include "demo/Stills.h"

namespace demo
{

namespace
{

/// Whole frames are not in a hurry: every query's result is waited for.
constexpr double ePATIENT_WAIT = 2.0;
constexpr double ePATIENT_FRAME = 60.0;

/// Settings that last as long as an object of this class.
class PatientQueries
{
public:
    explicit PatientQueries(host::OcclusionQueries& queries)
        : m_queries(queries), m_before(queries.GetSettings())
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

Still Draw(DemoWorld* world, host::CameraKey const& key)
{
    Still still;
    still.m_record = world->DrawFrame(key);
    still.m_queries = world->GetContext().GetQueries().GetCounts();
    still.m_picture = world->ReadPicture();
    return still;
}

} // namespace

std::vector<Still> DrawShares(DemoWorld* world,
                              host::CameraKey const& key,
                              bool queries,
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
    result.m_difference =
        host::CompareImages(result.m_without.m_picture, result.m_with.m_picture);
    traversal.SetCullArea(GetDemoCullArea());
    return result;
}

} // namespace demo
