#include "scenecull/TqOcContext.h"

#include "util/TqUComponent.h"

namespace
{

TqUComponent s_component("TqOcContext");
constexpr int s_defaultWindowSize = 1000; // pixels

} // namespace

void TqOcContext::Initialise()
{
    s_component.Initialise(s_component.GetName(), "TqOcContext 1");
}

void TqOcContext::Terminate()
{
    s_component.Terminate();
}

int TqOcContext::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcContext::~TqOcContext() = default;

void TqOcContext::GetWindowSize(int* width, int* height)
{
    *width = s_defaultWindowSize;
    *height = s_defaultWindowSize;
}

void TqOcContext::StartRender() {}

TqOcOcclusionQuery* TqOcContext::BeginOcclusionQuery(TqLBox3f const&, unsigned int)
{
    return nullptr;
}

int TqOcContext::CheckOcclusionQueryReady(TqOcOcclusionQuery*)
{
    return 1;
}

unsigned int TqOcContext::EndOcclusionQuery(TqOcOcclusionQuery*)
{
    return 0;
}

void TqOcContext::AbortOcclusionQuery(TqOcOcclusionQuery*) {}

void TqOcContext::ShowRender() {}

void TqOcContext::CompletedRenderTraversal() {}

double TqOcContext::EndRender()
{
    return 1.0;
}

int TqOcContext::IsAutoInteractive()
{
    return 0;
}

int TqOcContext::IsInteractionPending()
{
    return 0;
}

void TqOcContext::PostRedrawRequest(RedrawType) {}
