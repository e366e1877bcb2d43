#include "scenecull/TqOcShape.h"

#include "scenecull/internal/TqOcComponent.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcVisitor.h"

#include "util/TqUError.h"

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcShape");
constexpr TqOcDependency s_dependencies[] = {
    DependsOn<TqOcTraversable>(), DependsOn<TqOcPrioritizedTraversal>(), DependsOn<TqUError>()};

} // namespace

void TqOcShape::Initialise()
{
    InitialiseComponent(s_component, "TqOcShape 1", s_dependencies);
}

void TqOcShape::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcShape::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcShape::TqOcShape()
{
    MakeShape();
}

TqOcShape::TqOcShape(double scale, unsigned int tris, TqLPrimitiveTypes::Enum primitives)
    : TqOcBaseTraversable(scale, tris, primitives)
{
    MakeShape();
}

TqOcShape::~TqOcShape() = default;

void TqOcShape::Render(TqOcRenderTraversal* traversal)
{
    traversal->IncShapesRendered(1);
    traversal->IncTrisRendered(GetTris());
    RenderShape(traversal);
}

TqOcBaseTraversable::TraversalStatus TqOcShape::Prioritized(TqOcPrioritizedTraversal* traversal,
                                                            TqOcTravState* state)
{
    TqOcRenderTravCullData const& data = state->GetCullData();
    traversal->SetStressWeight(data.priority);
    PrioritizedShape(traversal, data);
    return eFINISHED;
}

void TqOcShape::PickFrustum(TqOcPickFrustumTraversal* traversal)
{
    PickShape(traversal);
}

void TqOcShape::Visit(TqOcVisitor* visitor)
{
    visitor->VisitShape(this);
}

void TqOcShape::PrioritizedShape(TqOcPrioritizedTraversal* traversal, TqOcRenderTravCullData const&)
{
    RenderShape(traversal);
}

void TqOcShape::DoUpdate()
{
    SetModified(0);
}
