#include "host/gl/GlHostContext.h"

#include <utility>

namespace host
{

GlHostContext::GlHostContext(GlRenderer& renderer, int width, int height)
    : m_renderer(renderer)
    , m_queries(renderer)
    , m_width(width)
    , m_height(height)
{}

void GlHostContext::SetView(TqLFrustum3f const& frustum, double cullArea)
{
    m_frustum = frustum;
    m_cullArea = cullArea;
}

unsigned GlHostContext::TakeRedrawRequests()
{
    return std::exchange(m_redrawRequests, 0U);
}

void GlHostContext::GetWindowSize(int* width, int* height)
{
    *width = m_width;
    *height = m_height;
}

void GlHostContext::StartRender()
{
    m_queries.BeginFrame(m_cullArea);
    m_renderer.BeginFrame(m_frustum.GetMatrix(), m_frustum.GetViewpoint());
}

TqOcOcclusionQuery* GlHostContext::BeginOcclusionQuery(TqLBox3f const& box, unsigned int tris)
{
    return m_queries.Begin(box, tris);
}

int GlHostContext::CheckOcclusionQueryReady(TqOcOcclusionQuery* query)
{
    return m_queries.IsReady(query) ? 1 : 0;
}

unsigned int GlHostContext::EndOcclusionQuery(TqOcOcclusionQuery* query)
{
    return m_queries.End(query);
}

void GlHostContext::AbortOcclusionQuery(TqOcOcclusionQuery* query)
{
    m_queries.Abort(query);
}

void GlHostContext::ShowRender()
{
    m_renderer.DrawKept();
    m_renderer.GetGl().Flush();
}

double GlHostContext::EndRender()
{
    m_queries.EndFrame();
    m_renderer.EndFrame();
    return 1.0;
}

void GlHostContext::PostRedrawRequest(RedrawType /*type*/)
{
    ++m_redrawRequests;
}

} // namespace host
