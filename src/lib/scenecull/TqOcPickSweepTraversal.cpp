#include "scenecull/TqOcPickSweepTraversal.h"

#include "scenecull/internal/TqOcComponent.h"
#include "scenecull/internal/TqOcPickSweepVisitor.h"

#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcShape.h"

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcPickSweepTraversal");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqOcPickTraversal>(),
                                             DependsOn<TqLPickSweep>()};

/// Whether a node or shape holds what can be swept against.
bool HoldsTriangles(TqOcBaseTraversable const* node)
{
    return (node->GetPrimitives() & TqLPrimitiveTypes::eTRIANGLES) != 0;
}

/// Tests a box against the faces of the sweep that the cull bits name, and narrows these.
bool IsBesideSweep(TqOcPickSweepTraversal& traversal, TqLBox3f const& box)
{
    int faces = traversal.GetCullBits();
    int const isBeside = traversal.GetSweep().CanCull(box, &faces);
    traversal.SetCullBits(faces);
    return isBeside != 0;
}

} // namespace

// --- Nearest first
// ---------------------------------------------------------------------------------

TqOcPickSweepVisitor::TqOcPickSweepVisitor(TqOcPickSweepTraversal* traversal)
    : m_traversal(traversal)
{
    SetInitialCullBits(TqLPickSweep::eALL_PLANES);
}

TqOcPickSweepVisitor::~TqOcPickSweepVisitor() = default;

void TqOcPickSweepVisitor::Sweep(TqOcTraversable* root)
{
    TqLPickSweep const& sweep = m_traversal->GetSweep();
    m_front.SetValue(TqLUnitVec3f(sweep.GetSweep()), sweep.GetCenter());
    Apply(root);
}

TqOcVisitor::Action TqOcPickSweepVisitor::BeginVisit(TqOcTraversable* node)
{
    TqLPickSweep const& sweep = m_traversal->GetSweep();
    return sweep.IsShortened() && sweep.CanCullRepeat(node->GetBoundingBox()) ? ePRUNE : eCONTINUE;
}

void TqOcPickSweepVisitor::VisitShape(TqOcShape* shape)
{
    m_traversal->SetCullBits(GetCurrTravState()->GetCullData().cullBits);
    if (!m_traversal->CanCull(shape)) {
        shape->PickSweep(m_traversal);
    }
}

int TqOcPickSweepVisitor::CalcCullPriority(TqOcRenderTravCull*, TqOcTraversable* node, int cullBits,
                                           TqOcRenderTravCullData* data)
{
    m_traversal->SetCullBits(cullBits);
    if (m_traversal->CanCull(node)) {
        return 0;
    }
    data->cullBits = m_traversal->GetCullBits();
    bool const isMoving = !m_front.GetNormal().IsZero();
    data->priority = isMoving ? m_front.MinDistanceFromPlane(node->GetBoundingBox()) : 0.0;
    return 1;
}

// --- Life
// ------------------------------------------------------------------------------------------

void TqOcPickSweepTraversal::Initialise()
{
    InitialiseComponent(s_component, "TqOcPickSweepTraversal 1", s_dependencies);
}

void TqOcPickSweepTraversal::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcPickSweepTraversal::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcPickSweepTraversal::TqOcPickSweepTraversal(TqOcContext* context, int prioritized)
    : TqOcPickTraversal(context)
    , m_visitor(prioritized ? std::make_unique<TqOcPickSweepVisitor>(this) : nullptr)
{}

TqOcPickSweepTraversal::~TqOcPickSweepTraversal() = default;

// --- A pick
// ----------------------------------------------------------------------------------------

void TqOcPickSweepTraversal::StartPick(TqOcTraversable* root)
{
    if (m_visitor != nullptr) {
        m_visitor->Sweep(root);
        return;
    }
    SetCullBits(TqLPickSweep::eALL_PLANES);
    if (!CanCull(root)) {
        root->PickSweep(this);
    }
}

int TqOcPickSweepTraversal::CanCull(TqOcTraversable* node)
{
    return !HoldsTriangles(node) || IsBesideSweep(*this, node->GetBoundingBox()) ||
           CanRenderCull(node);
}

int TqOcPickSweepTraversal::CanCull(TqOcShape* shape)
{
    if (!HoldsTriangles(shape) || CanRenderCull(shape)) {
        return 1;
    }
    TqLBox3f box;
    box.MakeEmpty();
    shape->GetShapeBox(box);
    return IsBesideSweep(*this, box);
}
