// What a render traversal asks of its host, answered with OpenGL: window size, begin and end of a
// frame, occlusion queries.
//
// The traversal calls it; the application gives it a camera before each frame and reads the counts
// after it. References only; the renderer must outlive it.
#pragma once

#include "host/gl/GlRenderer.h"
#include "host/gl/OcclusionQueries.h"

#include "scenecull/TqOcContext.h"

#include "geometry/TqLFrustum3f.h"

namespace host
{

/// The context of the host programs.
class GlHostContext : public TqOcContext
{
public:
    /// @param width, height  of the framebuffer in pixels
    GlHostContext(GlRenderer& renderer, int width, int height);

    /// The camera of the next frame, and the cull area in pixels against which occluded nodes are
    /// counted.
    void SetView(TqLFrustum3f const& frustum, double cullArea);

    OcclusionQueries& GetQueries() { return m_queries; }

    /// Redraw requests posted since the last call.
    unsigned TakeRedrawRequests();

    void GetWindowSize(int* width, int* height) override;
    void StartRender() override;
    TqOcOcclusionQuery* BeginOcclusionQuery(TqLBox3f const& box, unsigned int tris) override;
    int CheckOcclusionQueryReady(TqOcOcclusionQuery* query) override;
    unsigned int EndOcclusionQuery(TqOcOcclusionQuery* query) override;
    void AbortOcclusionQuery(TqOcOcclusionQuery* query) override;
    void ShowRender() override;

    /// Waits until the picture is complete and returns 1.0: all the time after the walk was spent
    /// on this frame's drawing.
    double EndRender() override;

    void PostRedrawRequest(RedrawType type) override;

private:
    GlRenderer& m_renderer;
    OcclusionQueries m_queries;
    TqLFrustum3f m_frustum;
    double m_cullArea = 1.0;
    int m_width;
    int m_height;
    unsigned m_redrawRequests = 0;
};

} // namespace host
