#include "scenecull/TqOcHierarchyBuilder.h"

#include "scenecull/internal/TqOcComponent.h"
#include "scenecull/internal/TqOcSHBNodes.h"
#include "scenecull/internal/TqOcSHBPlan.h"
#include "scenecull/internal/TqOcSHBSplitter.h"

#include "scenecull/TqOcShape.h"
#include "scenecull/TqOcStaticTraversable.h"

#include "geometry/TqLBox.h"

#include "util/TqUComponent.h"
#include "util/TqUError.h"
#include "util/TqUPage.h"
#include "util/TqUVector.h"

#include <new>

using namespace TqOcInternal;

namespace
{

TqUComponent s_component("TqOcHierarchyBuilder");
constexpr TqOcDependency s_dependencies[] = {DependsOn<TqUVector>(), DependsOn<TqUPage>(),
                                             DependsOn<TqOcStaticGroup>()};

constexpr std::size_t s_itemAlignment = 8;

/// Whether a shape can be appended; posts when it cannot.
bool CheckShape(TqOcShape const* shape)
{
    if (shape == nullptr) {
        TqUError::Post(TqUSysError::eERROR, &s_component, "Null shape ignored");
        return false;
    }
    return true;
}

/// Copies the items for a build, and posts those that cannot be divided.
void LoadItems(TqUVoidPtrVector const& items, TqOcSHBSplitter& splitter)
{
    splitter.Load(items.Begin(), items.Size());
    int const numOthers = items.Size() - splitter.GetNumFinite();
    if (numOthers != 0) {
        TqUError::Post(
            TqUSysError::eERROR, &s_component,
            "%d of %d shapes have a box that is not finite; they form a leaf of their own",
            numOthers, items.Size());
    }
}

/// A group of single-shape leaves while it is built. Destroyed before Release, it leaves the shapes
/// as they were.
class FlatGroup
{
public:
    FlatGroup() : m_group(new TqOcStaticGroup) {}

    FlatGroup(FlatGroup const&) = delete;
    FlatGroup& operator=(FlatGroup const&) = delete;

    ~FlatGroup()
    {
        if (m_group == nullptr) {
            return;
        }
        for (int i = 0; i < m_numLeaves; ++i) {
            auto* const leaf = static_cast<TqOcSingleLeaf*>(m_group->GetChild(i));
            // A leaf deletes a shape that nobody else owns; this one never had it.
            leaf->GetShape()->RemoveParent(leaf);
            leaf->SetShape(nullptr);
            delete leaf;
        }
        m_group->ResetToEmptyCallerHandlesChildren();
        delete m_group;
    }

    void Fill(TqUPtrVector<TqOcShape> const& shapes)
    {
        m_group->BeginSet(shapes.Size());
        for (; m_numLeaves < shapes.Size(); ++m_numLeaves) {
            m_group->PartSet(m_numLeaves, new TqOcSingleLeaf(shapes[m_numLeaves]));
        }
        m_group->EndSet();
        m_group->Update();
    }

    TqOcStaticGroup* Release()
    {
        TqOcStaticGroup* const group = m_group;
        m_group = nullptr;
        return group;
    }

private:
    TqOcStaticGroup* m_group;
    int m_numLeaves = 0;
};

} // namespace

// ---- Component ----------------------------------------------------------------------------------

void TqOcHierarchyBuilder::Initialise()
{
    InitialiseComponent(s_component, "TqOcHierarchyBuilder.cpp", s_dependencies);
}

void TqOcHierarchyBuilder::Terminate()
{
    TerminateComponent(s_component, s_dependencies);
}

int TqOcHierarchyBuilder::IsInitialised()
{
    return s_component.IsInitialised();
}

// ---- Static builder -----------------------------------------------------------------------------

TqOcStaticHierarchyBuilder::TqOcStaticHierarchyBuilder(int triSplitThreshold)
    : m_triSplitThreshold(triSplitThreshold)
    , m_itemArena(sizeof(TqOcSHBItem), s_itemAlignment)
{}

TqOcStaticHierarchyBuilder::~TqOcStaticHierarchyBuilder() = default;

void TqOcStaticHierarchyBuilder::Begin()
{
    m_items.Clear();
}

void TqOcStaticHierarchyBuilder::Append(TqOcShape* shape)
{
    if (!CheckShape(shape)) {
        return;
    }
    TqUPage::PageOutIfNeeded();
    // The box is asked for before anything is taken: an exception leaves nothing behind.
    TqLBox3f box;
    shape->GetShapeBox(box);
    m_items.PushBack(nullptr);
    void* const block = m_itemArena.Alloc();
    if (block == nullptr) {
        m_items.PopBack();
        throw std::bad_alloc();
    }
    m_items.Back() = new (block) TqOcSHBItem{box, shape};
}

TqOcTraversable* TqOcStaticHierarchyBuilder::End()
{
    if (m_items.Empty()) {
        return nullptr;
    }
    TqOcSHBSplitter splitter(&s_component);
    LoadItems(m_items, splitter);
    TqOcSHBPlan plan(splitter, m_triSplitThreshold, &s_component);
    plan.BuildTree();
    TqOcSHBNodes nodes(plan, splitter.GetRecords());
    nodes.MakeTree();
    TqOcTraversable* const root = nodes.GetNode(0);
    nodes.Release();
    Reset();
    return root;
}

void TqOcStaticHierarchyBuilder::End(TqUPtrVector<TqOcTraversable>* leaves)
{
    if (leaves == nullptr) {
        TqUError::Post(TqUSysError::eERROR, &s_component, "No list for the leaves");
        return;
    }
    if (m_items.Empty()) {
        return;
    }
    TqOcSHBSplitter splitter(&s_component);
    LoadItems(m_items, splitter);
    TqOcSHBPlan plan(splitter, m_triSplitThreshold, &s_component);
    plan.BuildLeaves();
    leaves->Reserve(leaves->Size() + plan.GetNumNodes());
    TqOcSHBNodes nodes(plan, splitter.GetRecords());
    nodes.MakeLeaves();
    for (int i = 0; i < plan.GetNumNodes(); ++i) {
        leaves->PushBack(nodes.GetNode(i));
    }
    nodes.Release();
    Reset();
}

/// Empties the builder after a build.
void TqOcStaticHierarchyBuilder::Reset()
{
    m_itemArena.Release();
    m_items.Clear();
}

// ---- Flat builder -------------------------------------------------------------------------------

TqOcFlatHierarchyBuilder::TqOcFlatHierarchyBuilder() = default;
TqOcFlatHierarchyBuilder::~TqOcFlatHierarchyBuilder() = default;

void TqOcFlatHierarchyBuilder::Begin()
{
    m_shapes.Clear();
}

void TqOcFlatHierarchyBuilder::Append(TqOcShape* shape)
{
    if (CheckShape(shape)) {
        m_shapes.PushBack(shape);
    }
}

TqOcTraversable* TqOcFlatHierarchyBuilder::End()
{
    FlatGroup group;
    group.Fill(m_shapes);
    return group.Release();
}
