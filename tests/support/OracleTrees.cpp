#include "support/OracleTrees.h"

#include "scenecull/TqOcDynamicGroup.h"
#include "scenecull/TqOcHierarchyBuilder.h"
#include "scenecull/TqOcPrioritizedTraversal.h"
#include "scenecull/TqOcVisitor.h"

#include <algorithm>
#include <set>

namespace
{

constexpr int eMAX_HAND_DEPTH = 12;

std::vector<SceneBox> MakeItems(std::size_t count, bool finiteOnly, std::uint64_t seed,
                                SceneRandom& random)
{
    switch (random.Below(finiteOnly ? 4 : 5)) {
    case 0:
        return MakePlant(count, seed);
    case 1:
        return MakeBuilding(count, seed);
    case 2:
        return MakeUniform(count, seed);
    case 3: {
        DegenerateKind const kinds[] = {DegenerateKind::eIDENTICAL, DegenerateKind::eNESTED,
                                        DegenerateKind::eHUGE_AMONG_TINY};
        return MakeDegenerate(kinds[random.Below(3)], count, seed);
    }
    default: {
        DegenerateKind const kinds[] = {DegenerateKind::eFLAT, DegenerateKind::eLINES,
                                        DegenerateKind::ePOINTS};
        return MakeDegenerate(kinds[random.Below(3)], count, seed);
    }
    }
}

TqLPrimitiveTypes::Enum MakeRandomPrimitives(SceneRandom& random)
{
    return static_cast<TqLPrimitiveTypes::Enum>(random.Below(32));
}

TqLVec3f MakeRandomDirection(SceneRandom& random)
{
    for (;;) {
        double const x = random.Range(-1.0, 1.0);
        double const y = random.Range(-1.0, 1.0);
        double const z = random.Range(-1.0, 1.0);
        double const squared = x * x + y * y + z * z;
        if (squared > 0.01 && squared < 1.0) {
            return TqLVec3f(x, y, z);
        }
    }
}

TqLPos3f MakeRandomPoint(TqLBox3f const& bounds, double reach, SceneRandom& random)
{
    TqLPos3f const middle = bounds.GetCenter();
    TqLVec3f const size = bounds.GetSize();
    double const x = middle[0] + reach * size[0] * random.Range(-1.0, 1.0);
    double const y = middle[1] + reach * size[1] * random.Range(-1.0, 1.0);
    double const z = middle[2] + reach * size[2] * random.Range(-1.0, 1.0);
    return TqLPos3f(x, y, z);
}

} // namespace

// ---- Shape --------------------------------------------------------------------------------------

OracleShape::OracleShape(SceneBox const* item, int number, std::vector<int>* draws)
    : BoxShape(item)
    , m_number(number)
    , m_draws(draws)
{}

void OracleShape::RenderShape(TqOcRenderTraversal* traversal)
{
    m_draws->push_back(m_number);
    BoxShape::RenderShape(traversal);
}

void OracleShape::PickShape(TqOcPickFrustumTraversal* traversal)
{
    if (m_pickTurn != nullptr && *m_pickTurn) {
        (*m_pickTurn)(*this, traversal);
    }
}

void OracleShape::PickSweep(TqOcPickSweepTraversal* traversal)
{
    if (m_sweepTurn != nullptr && *m_sweepTurn) {
        (*m_sweepTurn)(*this, traversal);
    }
}

// ---- Place group --------------------------------------------------------------------------------

OraclePlaceGroup::OraclePlaceGroup(TqLPos3f const& middle, double moved, SceneRandom& random)
    : m_transforming(random.Chance(moved))
{
    if (m_transforming) {
        TqLUnitVec3f const axis(MakeRandomDirection(random));
        TqLVec3f offset = MakeRandomDirection(random);
        offset *= 2.0;
        m_affine = TqLAffine3f::Rotation(middle, axis, random.Range(-0.3, 0.3)) *
                   TqLAffine3f::Translation(offset);
        return;
    }
    for (int axis = 0; axis < 2; ++axis) {
        m_window[2 * axis] = random.Range(0.0, 0.4);
        m_window[2 * axis + 1] = random.Range(0.6, 1.0);
    }
}

OraclePlace OraclePlaceGroup::GetPlaceBelow(OraclePlace const& place) const
{
    return m_transforming ? place.Transformed(m_affine) : place.Narrowed(m_window);
}

template <class Walker>
void OraclePlaceGroup::AppendChildren(Walker* walker, TqOcTravState* state)
{
    TqOcRenderTravCull* const cull =
        m_transforming
            ? state->TransformedCull(walker, m_affine)
            : state->NarrowedCull(walker, m_window[0], m_window[1], m_window[2], m_window[3]);
    for (int i = 0; i < GetNumChildren(); ++i) {
        state->Append(walker, GetChild(i), cull);
    }
}

TqOcBaseTraversable::TraversalStatus
OraclePlaceGroup::Prioritized(TqOcPrioritizedTraversal* traversal, TqOcTravState* state)
{
    AppendChildren(traversal, state);
    return eAPPENDED;
}

TqOcBaseTraversable::TraversalStatus
OraclePlaceGroup::PrioritizedVisit(TqOcPrioritizedVisitor* visitor, TqOcTravState* state)
{
    if (visitor->BeginVisit(this) == TqOcVisitor::ePRUNE) {
        return eFINISHED;
    }
    AppendChildren(visitor, state);
    visitor->EndVisit(this);
    return eAPPENDED;
}

// The children's boxes are in the coordinates below, the group's own in those above.
void OraclePlaceGroup::DoUpdate()
{
    bool const rebuilds = (GetModified() & eMODIFIED_BOX) != 0;
    TqOcStaticGroup::DoUpdate();
    if (rebuilds && m_transforming) {
        UpdateBoundingBox(m_affine.TransformedBox(GetBoundingBox()));
    }
}

// ---- Tree ---------------------------------------------------------------------------------------

OracleTree::OracleTree(OracleTreeOptions const& options, std::uint64_t seed)
{
    SceneRandom random(seed);
    m_placed = options.placed;
    m_moved = options.moved;
    MakeShapes(options, random);
    std::vector<int> numbers(m_shapes.size());
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        numbers[i] = static_cast<int>(i);
    }
    m_root = MakeContainers(options.kind, numbers, random);
    ShareContainers(options.shared, random);
    m_root->Update();
    m_bounds = m_root->GetBoundingBox();
    if (options.switches) {
        SwitchContainers(random);
    }
}

OracleTree::~OracleTree()
{
    delete m_root;
}

void OracleTree::MakeShapes(OracleTreeOptions const& options, SceneRandom& random)
{
    m_items = MakeItems(options.count, options.oneKind, random.Next(), random);
    m_shapes.reserve(m_items.size());
    for (std::size_t i = 0; i < m_items.size(); ++i) {
        if (options.oneKind) {
            m_items[i].primitives = TqLPrimitiveTypes::eTRIANGLES;
            m_items[i].scale = 1.0;
        } else {
            if (random.Chance(0.1)) {
                m_items[i].primitives = MakeRandomPrimitives(random);
            }
            if (random.Chance(0.1)) {
                m_items[i].scale = random.Range(0.1, 4.0);
            }
        }
        m_shapes.push_back(
            std::make_unique<OracleShape>(&m_items[i], static_cast<int>(i), &m_draws));
        OracleShape& shape = *m_shapes.back();
        shape.SetUserOwned(1);
        if (options.switches) {
            shape.SetHideRender(random.Chance(0.1));
            shape.SetForceRender(random.Chance(0.02));
            shape.SetIgnoreClip(random.Chance(0.05));
        }
    }
}

TqOcTraversable* OracleTree::MakeContainers(OracleTreeKind kind, std::vector<int> const& numbers,
                                            SceneRandom& random)
{
    switch (kind) {
    case OracleTreeKind::eBY_HAND:
        return GroupByHand(numbers, 0, random);
    case OracleTreeKind::eSTATIC_BUILDER: {
        TqOcStaticHierarchyBuilder builder(1 << random.Below(16));
        builder.Begin();
        for (int number : numbers) {
            builder.Append(m_shapes[static_cast<std::size_t>(number)].get());
        }
        return builder.End();
    }
    case OracleTreeKind::eFLAT_BUILDER: {
        TqOcFlatHierarchyBuilder builder;
        builder.Begin();
        for (int number : numbers) {
            builder.Append(m_shapes[static_cast<std::size_t>(number)].get());
        }
        return builder.End();
    }
    case OracleTreeKind::eDYNAMIC_BUILDER:
        return MakeDynamicTree(numbers, random);
    case OracleTreeKind::eMIXED:
        break;
    }
    auto* group = new TqOcStaticGroup;
    std::size_t const third = numbers.size() / 3;
    auto const at = [&](std::size_t i) { return numbers.begin() + static_cast<std::ptrdiff_t>(i); };
    std::vector<int> const parts[3] = {
        {at(0), at(third)}, {at(third), at(2 * third)}, {at(2 * third), numbers.end()}};
    for (int part = 0; part < 3; ++part) {
        group->AddChild(MakeContainers(static_cast<OracleTreeKind>(part), parts[part], random));
    }
    return group;
}

TqOcTraversable* OracleTree::MakeDynamicTree(std::vector<int> const& numbers, SceneRandom& random)
{
    TqUPtrVector<TqOcTraversable> leaves;
    for (std::size_t first = 0; first < numbers.size();) {
        std::size_t const last = std::min<std::size_t>(first + 1 + random.Below(3), numbers.size());
        leaves.PushBack(MakeLeaf({numbers.begin() + static_cast<std::ptrdiff_t>(first),
                                  numbers.begin() + static_cast<std::ptrdiff_t>(last)},
                                 random));
        first = last;
    }
    TqOcDynamicHierarchyBuilder builder;
    return builder.Build(&leaves, 2 + static_cast<int>(random.Below(6)));
}

// Cuts the list into random runs; a run is a leaf, a chain of only children, or grouped further.
TqOcTraversable* OracleTree::GroupByHand(std::vector<int> const& numbers, int depth,
                                         SceneRandom& random)
{
    bool const small = numbers.size() <= 1 + random.Below(12);
    if (small || depth >= eMAX_HAND_DEPTH) {
        return MakeLeaf(numbers, random);
    }
    TqOcStaticGroup* group;
    if (random.Chance(m_placed)) {
        TqLBox3f const& some = m_items[static_cast<std::size_t>(numbers[0])].box;
        group = new OraclePlaceGroup(some.GetCenter(), m_moved, random);
    } else {
        group = new TqOcStaticGroup;
    }
    if (random.Chance(0.08)) {
        group->AddChild(GroupByHand(numbers, depth + 1, random));
        return group;
    }
    std::vector<int> order = numbers;
    if (random.Chance(0.7)) {
        // Mostly neighbours together, so that whole branches can be culled.
        int const axis = static_cast<int>(random.Below(3));
        std::stable_sort(order.begin(), order.end(), [this, axis](int a, int b) {
            return m_items[static_cast<std::size_t>(a)].box.GetMin()[axis] <
                   m_items[static_cast<std::size_t>(b)].box.GetMin()[axis];
        });
    }
    std::size_t const wanted = 2 + random.Below(7);
    std::size_t first = 0;
    for (std::size_t child = 1; child <= wanted && first < order.size(); ++child) {
        std::size_t last = child * order.size() / wanted;
        last = child == wanted ? order.size() : std::max(last, first + 1);
        group->AddChild(GroupByHand({order.begin() + static_cast<std::ptrdiff_t>(first),
                                     order.begin() + static_cast<std::ptrdiff_t>(last)},
                                    depth + 1, random));
        first = last;
    }
    return group;
}

TqOcTraversable* OracleTree::MakeLeaf(std::vector<int> const& numbers, SceneRandom& random)
{
    if (numbers.size() == 1 && random.Chance(0.5)) {
        return new TqOcSingleLeaf(m_shapes[static_cast<std::size_t>(numbers[0])].get());
    }
    if (random.Chance(0.1)) {
        auto* marked = new TqOcStaticGroup;
        marked->SetLeaf(1);
        for (int number : numbers) {
            marked->AddShape(m_shapes[static_cast<std::size_t>(number)].get());
        }
        return marked;
    }
    auto* leaf = new TqOcStaticLeaf;
    for (int number : numbers) {
        leaf->AddChild(m_shapes[static_cast<std::size_t>(number)].get());
    }
    return leaf;
}

// Hangs some containers under a second group that comes earlier in the order, so never under
// themselves.
void OracleTree::ShareContainers(double share, SceneRandom& random)
{
    if (share <= 0.0) {
        return;
    }
    std::vector<TqOcTraversable*> const containers = GetContainers();
    for (std::size_t i = 1; i < containers.size(); ++i) {
        if (!random.Chance(share)) {
            continue;
        }
        TqOcTraversable* above = containers[random.Below(static_cast<std::uint32_t>(i))];
        auto* const group = dynamic_cast<TqOcStaticGroup*>(above);
        if (group != nullptr && group->IsLeaf() == 0) {
            group->AddChild(containers[i]);
        }
    }
}

// Silently, after the update: a notifying setter would have the next update overwrite it.
void OracleTree::SwitchContainers(SceneRandom& random)
{
    for (TqOcTraversable* node : GetContainers()) {
        if (random.Chance(0.03)) {
            node->UpdateHideRender(1);
        }
        if (random.Chance(0.03)) {
            node->UpdateForceRender(1);
        }
        if (random.Chance(0.03)) {
            node->UpdateIgnoreClip(1);
        }
    }
}

std::vector<TqOcTraversable*> OracleTree::GetContainers() const
{
    // Depth-first postorder, reversed: a parent then comes before all its children, also where
    // they have other parents.
    std::vector<TqOcTraversable*> containers;
    std::set<TqOcTraversable*> seen;
    auto const visit = [&](auto const& self, TqOcTraversable* node) -> void {
        if (!seen.insert(node).second) {
            return;
        }
        TqOcBaseTraversable* const* children = nullptr;
        int const count = node->GetChildren(&children);
        for (int i = 0; i < count; ++i) {
            if (children[i]->IsShape() == 0) {
                self(self, static_cast<TqOcTraversable*>(children[i]));
            }
        }
        containers.push_back(node);
    };
    visit(visit, m_root);
    std::reverse(containers.begin(), containers.end());
    return containers;
}

// ---- Switches for picks -------------------------------------------------------------------------

void SwitchPicks(OracleTree& tree, SceneRandom& random)
{
    std::vector<TqOcBaseTraversable*> nodes;
    for (TqOcTraversable* const node : tree.GetContainers()) {
        nodes.push_back(node);
    }
    for (auto const& shape : tree.GetShapes()) {
        nodes.push_back(shape.get());
    }
    for (TqOcBaseTraversable* const node : nodes) {
        if (random.Chance(0.02)) {
            node->UpdateIgnorePick(1);
        }
        if (random.Chance(0.02)) {
            node->UpdatePrimitives(TqLPrimitiveTypes::eLINES);
        }
    }
}

// ---- Cameras and settings -----------------------------------------------------------------------

OracleCamera MakeRandomCamera(TqLBox3f const& bounds, SceneRandom& random)
{
    TqLVec3f const size = bounds.GetSize();
    double const extent = 1e-3 + std::max(size[0], std::max(size[1], size[2]));
    OracleCamera camera;
    camera.perspective = random.Chance(0.75);
    camera.eye = MakeRandomPoint(bounds, random.Chance(0.5) ? 0.5 : 2.0, random);
    // Towards the scene mostly, and sometimes away from it.
    TqLPos3f const target = MakeRandomPoint(bounds, 0.5, random);
    camera.direction = random.Chance(0.8) ? target - camera.eye : MakeRandomDirection(random);
    if (camera.direction.Length() < 1e-3 * extent) {
        camera.direction = MakeRandomDirection(random);
    }
    do {
        camera.up = MakeRandomDirection(random);
    } while (camera.direction.Cross(camera.up).Length() <
             0.1 * camera.direction.Length() * camera.up.Length());
    camera.verticalAngle = random.Range(0.05, 2.4);
    camera.aspect = random.Range(0.4, 2.5);
    camera.width = extent * random.Range(0.01, 1.0);
    camera.height = extent * random.Range(0.01, 1.0);
    camera.nearDistance = extent * (0.0001 + 0.1 * random.Skewed());
    camera.farDistance = camera.nearDistance + extent * random.Range(0.1, 10.0);
    return camera;
}

OracleSettings MakeRandomSettings(TqLBox3f const& bounds, SceneRandom& random)
{
    TqLVec3f const size = bounds.GetSize();
    double const extent = 1e-3 + std::max(size[0], std::max(size[1], size[2]));
    OracleSettings settings;
    settings.windowWidth = 100 + static_cast<int>(random.Below(2000));
    settings.windowHeight = 100 + static_cast<int>(random.Below(1200));
    double const areas[] = {0.0, 1.0, 20.0, 400.0};
    settings.cullArea = areas[random.Below(4)];
    settings.cullExtent = areas[random.Below(3)];
    if (random.Chance(0.3)) {
        settings.cullDistance = extent * random.Range(0.05, 1.0);
    }
    settings.primary = random.Chance(0.6) ? 1 : 0;
    settings.secondary = random.Below(16);
    for (double threshold = 0.1; threshold < 0.5; threshold += 0.15) {
        settings.distances.thresholds.push_back(extent * threshold);
        settings.distances.scales.push_back(random.Range(0.25, 2.0));
        settings.areas.thresholds.push_back(1e5 * threshold);
        settings.areas.scales.push_back(random.Range(0.25, 2.0));
    }
    std::uint32_t const hysteresis = random.Below(4);
    for (std::uint32_t i = 0; i < hysteresis; ++i) {
        settings.hysteresis.push_back(random.Range(0.5, 1.0));
    }
    if (random.Chance(0.4)) {
        std::uint32_t const planes = 1 + random.Below(6);
        for (std::uint32_t i = 0; i < planes; ++i) {
            TqLVec3f const normal = MakeRandomDirection(random);
            settings.clipPlanes.emplace_back(TqLUnitVec3f(normal),
                                             MakeRandomPoint(bounds, 0.5, random));
        }
    }
    if (random.Chance(0.3)) {
        settings.primitiveBits = random.Below(256);
    }
    return settings;
}

std::size_t MakeRandomCount(SceneRandom& random)
{
    // 10 doubled up to nine times, and a random share of the last step.
    double count = 10.0;
    for (std::uint32_t doublings = random.Below(9); doublings > 0; --doublings) {
        count *= 2.0;
    }
    count *= 1.0 + random.Unit();
    return std::min<std::size_t>(5000, static_cast<std::size_t>(count));
}
