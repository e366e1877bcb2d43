// Hardware occlusion queries: a pool of OpenGL query objects, the bounded wait for a result, and
// the arithmetic that turns samples into what the walk compares.
//
// A query counts the samples of a node's box that pass the depth test at the time of asking. The
// walk asks one step ahead and reads in the same frame, so a query is flushed at once, and a result
// that is late is waited for a short time and then given up. Waiting has a budget for the whole
// frame too; when it is spent, no further query is asked. Query objects are reused; they are
// deleted with the pool.
#pragma once

#include "host/gl/GlRenderer.h"

#include <cstdint>
#include <memory>
#include <vector>

class TqOcOcclusionQuery;

namespace host
{

/// Edge, in pixels, of the smallest square of whole pixels that is not smaller than the given
/// samples: ceil(sqrt(samples / samplesPerPixel)), at most 65,535 so that its square fits into 32
/// bits. 0 only for 0 samples. samplesPerPixel below 1 counts as 1.
unsigned SamplesToPixelEdge(std::uint32_t samples, unsigned samplesPerPixel);

/// What became of the queries of one frame.
struct OcclusionQueryCounts
{
    unsigned m_issued = 0;   ///< drawn and flushed
    unsigned m_ready = 0;    ///< read
    unsigned m_aborted = 0;  ///< given up: late, or still open when the frame ended
    unsigned m_occluded = 0; ///< read, with an answer at or below the cull area
    unsigned m_declined = 0; ///< not asked: too small, at the eye, or no time left to wait
    double m_waited = 0.0;   ///< seconds spent waiting for results
};

/// Settings of the queries.
struct OcclusionQuerySettings
{
    /// A node with fewer triangles is drawn unasked: it costs less than its query.
    unsigned m_smallestNode = 1000;
    /// Longest wait for one result, in seconds, before it is given up.
    double m_longestWait = 0.004;
    /// Longest wait in one frame, in seconds.
    double m_frameWait = 0.050;
    /// Samples that one pixel of the framebuffer has.
    unsigned m_samplesPerPixel = 1;
};

/// The queries of one context. Not copyable.
class OcclusionQueries
{
public:
    explicit OcclusionQueries(GlRenderer& renderer);
    ~OcclusionQueries();
    OcclusionQueries(OcclusionQueries const&) = delete;
    OcclusionQueries& operator=(OcclusionQueries const&) = delete;

    void SetSettings(OcclusionQuerySettings const& settings) { m_settings = settings; }

    OcclusionQuerySettings const& GetSettings() const { return m_settings; }

    /// Counts start again. @param cullArea  the traversal's, in pixels, for counting what is
    /// occluded.
    void BeginFrame(double cullArea);

    /// Draws a node's box as a query. @return the handle, owned by the pool and open until End or
    /// Abort, or null when it is not worth asking or could give a wrong answer.
    TqOcOcclusionQuery* Begin(TqLBox3f const& box, unsigned tris);

    /// Whether the result is there, after waiting for it for a bounded time.
    bool IsReady(TqOcOcclusionQuery* query);

    /// Reads the result as an edge in pixels and closes the handle.
    unsigned End(TqOcOcclusionQuery* query);

    /// Closes the handle unread.
    void Abort(TqOcOcclusionQuery* query);

    /// Aborts whatever is still open.
    void EndFrame();

    OcclusionQueryCounts const& GetCounts() const { return m_counts; }

    /// Query objects made so far, open or not.
    std::size_t GetPoolSize() const { return m_pool.size(); }

private:
    TqOcOcclusionQuery* Take();
    void Close(TqOcOcclusionQuery* query);
    bool Poll(TqOcOcclusionQuery const* query) const;

    GlRenderer& m_renderer;
    GlFunctions const& m_gl;
    OcclusionQuerySettings m_settings;
    OcclusionQueryCounts m_counts;
    double m_cullArea = 1.0;
    std::vector<std::unique_ptr<TqOcOcclusionQuery>> m_pool;
    std::vector<TqOcOcclusionQuery*> m_free;
};

} // namespace host
