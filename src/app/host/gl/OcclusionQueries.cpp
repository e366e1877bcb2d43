#include "host/gl/OcclusionQueries.h"

#include "host/Clock.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

/// One query object of the pool. The library sees it as an opaque handle.
class TqOcOcclusionQuery
{
public:
    GLuint m_name = 0;
    bool m_open = false;
};

namespace host
{

namespace
{

constexpr unsigned eLARGEST_EDGE = 65535;
constexpr std::chrono::microseconds s_nap(20);

} // namespace

unsigned SamplesToPixelEdge(std::uint32_t samples, unsigned samplesPerPixel)
{
    double const perPixel = std::max(samplesPerPixel, 1U);
    double const pixels = static_cast<double>(samples) / perPixel;
    double const edge = std::ceil(std::sqrt(pixels));
    return edge < eLARGEST_EDGE ? static_cast<unsigned>(edge) : eLARGEST_EDGE;
}

OcclusionQueries::OcclusionQueries(GlRenderer& renderer)
    : m_renderer(renderer)
    , m_gl(renderer.GetGl())
{}

OcclusionQueries::~OcclusionQueries()
{
    for (auto const& query : m_pool) {
        m_gl.DeleteQueries(1, &query->m_name);
    }
}

void OcclusionQueries::BeginFrame(double cullArea)
{
    EndFrame();
    m_counts = OcclusionQueryCounts();
    m_cullArea = cullArea;
}

TqOcOcclusionQuery* OcclusionQueries::Take()
{
    if (m_free.empty()) {
        m_pool.push_back(std::make_unique<TqOcOcclusionQuery>());
        m_gl.GenQueries(1, &m_pool.back()->m_name);
        m_free.push_back(m_pool.back().get());
    }
    TqOcOcclusionQuery* query = m_free.back();
    m_free.pop_back();
    query->m_open = true;
    return query;
}

void OcclusionQueries::Close(TqOcOcclusionQuery* query)
{
    query->m_open = false;
    m_free.push_back(query);
}

TqOcOcclusionQuery* OcclusionQueries::Begin(TqLBox3f const& box, unsigned tris)
{
    if (tris < m_settings.m_smallestNode || m_counts.m_waited >= m_settings.m_frameWait ||
        !m_renderer.IsBeyondNearPlane(box)) {
        ++m_counts.m_declined;
        return nullptr;
    }
    TqOcOcclusionQuery* query = Take();
    m_gl.BeginQuery(GL_SAMPLES_PASSED, query->m_name);
    m_renderer.DrawQueryBox(box);
    m_gl.EndQuery(GL_SAMPLES_PASSED);
    m_gl.Flush();
    ++m_counts.m_issued;
    return query;
}

bool OcclusionQueries::Poll(TqOcOcclusionQuery const* query) const
{
    GLuint available = 0;
    m_gl.GetQueryObjectuiv(query->m_name, GL_QUERY_RESULT_AVAILABLE, &available);
    return available != 0;
}

bool OcclusionQueries::IsReady(TqOcOcclusionQuery* query)
{
    if (Poll(query)) {
        return true;
    }
    double const start = Now();
    double const end =
        start + std::min(m_settings.m_longestWait, m_settings.m_frameWait - m_counts.m_waited);
    bool ready = false;
    double now = start;
    while (!ready && now < end) {
        // Asleep, because a software rasteriser needs the processor for the very result that is
        // waited for.
        std::this_thread::sleep_for(s_nap);
        ready = Poll(query);
        now = Now();
    }
    m_counts.m_waited += now - start;
    return ready;
}

unsigned OcclusionQueries::End(TqOcOcclusionQuery* query)
{
    GLuint samples = 0;
    m_gl.GetQueryObjectuiv(query->m_name, GL_QUERY_RESULT, &samples);
    Close(query);
    unsigned const edge = SamplesToPixelEdge(samples, m_settings.m_samplesPerPixel);
    ++m_counts.m_ready;
    if (edge == 0 || static_cast<double>(edge) * edge <= m_cullArea) {
        ++m_counts.m_occluded;
    }
    return edge;
}

void OcclusionQueries::Abort(TqOcOcclusionQuery* query)
{
    ++m_counts.m_aborted;
    Close(query);
}

void OcclusionQueries::EndFrame()
{
    if (m_free.size() == m_pool.size()) {
        return;
    }
    for (auto const& query : m_pool) {
        if (query->m_open) {
            Abort(query.get());
        }
    }
}

} // namespace host
