#include "scenecull/TqOcTraversable.h"

#include "scenecull/internal/TqOcComponent.h"

#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcVisitor.h"

#include "util/TqUError.h"
#include "util/TqUVector.h"

#include <memory>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcTraversable");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqUError>(), DependsOn<TqUVector>()};

static_assert(sizeof(TqLBox3f) == 6 * sizeof(double), "a box is its six coordinates");

} // namespace

// --- TqOcBaseTraversable
// ---------------------------------------------------------------------------

TqOcBaseTraversable::TqOcBaseTraversable() : m_scale(1.0), m_tris(0)
{
    InitCommon(TqLPrimitiveTypes::eNONE);
}

TqOcBaseTraversable::TqOcBaseTraversable(double scale, unsigned int tris,
                                         TqLPrimitiveTypes::Enum primitives)
    : m_scale(scale)
    , m_tris(tris)
{
    InitCommon(primitives);
}

TqOcBaseTraversable::~TqOcBaseTraversable() = default;

/// Puts everything but scale, triangles and the two unused flag bits to its default.
void TqOcBaseTraversable::InitCommon(TqLPrimitiveTypes::Enum primitives)
{
    m_parent = nullptr;
    m_flags &= eFLAG_UNUSED;
    UpdatePrimitives(primitives);
    m_frameId = 0;
}

void TqOcBaseTraversable::SetSingleParent(TqOcTraversable* parent)
{
    m_parent = parent;
    m_flags &= ~eFLAG_MULTIPLE_PARENTS;
}

void TqOcBaseTraversable::SetMultipleParents(TqUPtrVector<TqOcTraversable>* parents)
{
    m_parent = parents;
    m_flags |= eFLAG_MULTIPLE_PARENTS;
}

void TqOcBaseTraversable::AddParent(TqOcTraversable* parent)
{
    if (HasMultipleParents()) {
        GetMultipleParents()->PushBack(parent);
    } else if (m_parent != nullptr) {
        auto parents = std::make_unique<TqUPtrVector<TqOcTraversable>>();
        parents->Reserve(2);
        parents->PushBack(GetSingleParent());
        parents->PushBack(parent);
        SetMultipleParents(parents.release());
    } else {
        m_parent = parent;
    }
}

void TqOcBaseTraversable::RemoveParent(TqOcTraversable* parent)
{
    if (!HasMultipleParents()) {
        m_parent = nullptr;
        return;
    }
    TqUPtrVector<TqOcTraversable>* const parents = GetMultipleParents();
    int const found = parents->Find(parent);
    if (parents->Size() < 3) {
        int const survivor = found == 0 ? 1 : 0;
        DropToSingleParent(parents,
                           survivor < parents->Size() ? parents->ItemAt(survivor) : nullptr);
    } else if (found >= 0) {
        parents->Erase(parents->Begin() + found);
    }
}

void TqOcBaseTraversable::DropToSingleParent(TqUPtrVector<TqOcTraversable>* parents,
                                             TqOcTraversable* survivor)
{
    delete parents;
    SetSingleParent(survivor);
}

void TqOcBaseTraversable::NotifyParents(unsigned int mask)
{
    if (HasMultipleParents()) {
        TqUPtrVector<TqOcTraversable>& parents = *GetMultipleParents();
        for (int i = 0; i < parents.Size(); ++i) {
            parents[i]->Notify(mask);
        }
    } else if (m_parent != nullptr) {
        GetSingleParent()->Notify(mask);
    }
}

void TqOcBaseTraversable::Render(TqOcRenderTraversal*) {}

TqOcBaseTraversable::TraversalStatus TqOcBaseTraversable::Prioritized(TqOcPrioritizedTraversal*,
                                                                      TqOcTravState*)
{
    return eFINISHED;
}

void TqOcBaseTraversable::PickFrustum(TqOcPickFrustumTraversal*) {}

void TqOcBaseTraversable::PickSweep(TqOcPickSweepTraversal*) {}

void TqOcBaseTraversable::Notify(unsigned int mask)
{
    unsigned int const before = GetModified();
    unsigned int const after = (before | mask) & eFLAG_MODIFIED;
    if (after != before) {
        SetModified(after);
        NotifyParents(after);
    }
}

// --- TqOcTraversable
// -------------------------------------------------------------------------------

void TqOcTraversable::Initialise()
{
    InitialiseComponent(s_component, "TqOcTraversable 1", s_dependencies);
}

void TqOcTraversable::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcTraversable::IsInitialised()
{
    return s_component.IsInitialised();
}

TqOcTraversable::TqOcTraversable()
{
    m_box.MakeEmpty();
}

TqOcTraversable::TqOcTraversable(TqLBox3f const& box, double scale, unsigned int tris,
                                 TqLPrimitiveTypes::Enum primitives)
    : TqOcBaseTraversable(scale, tris, primitives)
    , m_box(box)
{}

TqOcTraversable::~TqOcTraversable() = default;

void TqOcTraversable::SetBoundingBox(TqLBox3f const& box)
{
    UpdateBoundingBox(box);
    Notify(eMODIFIED_BOX);
}

void TqOcTraversable::DeleteShape(TqOcShape* shape)
{
    if (shape == nullptr) {
        TqUError::Post(TqUSysError::eERROR, &s_component, "DeleteShape of a null shape");
        return;
    }
    RemoveShape(shape);
    if (!shape->IsOwned()) {
        delete shape;
    }
}

int TqOcTraversable::GetChildren(TqOcBaseTraversable* const**)
{
    return 0;
}

void TqOcTraversable::AddShape(TqOcShape*) {}

void TqOcTraversable::RemoveShape(TqOcShape*) {}

void TqOcTraversable::Visit(TqOcVisitor* visitor)
{
    visitor->BeginVisit(this);
    visitor->EndVisit(this);
}

TqOcBaseTraversable::TraversalStatus
TqOcTraversable::PrioritizedVisit(TqOcPrioritizedVisitor* visitor, TqOcTravState*)
{
    visitor->BeginVisit(this);
    visitor->EndVisit(this);
    return eFINISHED;
}
