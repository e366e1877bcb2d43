#include "DynamicScene.h"

#include "BenchModel.h"

#include "scenes/SceneBoxes.h"
#include "scenes/SceneRandom.h"

#include "scenecull/TqOcDynamicGroup.h"

#include "geometry/TqLPlane3f.h"

#include <numeric>
#include <utility>

// ---- The scene ----------------------------------------------------------------------------------

DynamicScene::DynamicScene(DynamicSceneKind kind, std::size_t count)
{
    std::vector<SceneBox> const items = kind == DynamicSceneKind::ePLANT
                                            ? MakePlant(count, eBENCH_SEED)
                                            : MakeUniform(count, eBENCH_SEED);
    m_homes.reserve(items.size());
    for (SceneBox const& item : items) {
        m_homes.push_back(item.box);
        m_bounds.ExtendBy(item.box);
    }
    m_boxes = m_homes;
}

BoxNumbers DynamicScene::Choose(std::size_t count, std::uint64_t seed) const
{
    BoxNumbers numbers(m_boxes.size());
    std::iota(numbers.begin(), numbers.end(), 0u);
    SceneRandom random(seed);
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t const left = static_cast<std::uint32_t>(numbers.size() - i);
        std::swap(numbers[i], numbers[i + random.Below(left)]);
    }
    numbers.resize(count);
    return numbers;
}

void DynamicScene::MoveAway(BoxNumbers const& numbers, double step, std::uint64_t seed)
{
    SceneRandom random(seed);
    for (std::uint32_t const number : numbers) {
        double const x = random.Range(-step, step);
        double const y = random.Range(-step, step);
        double const z = random.Range(-step, step);
        TqLVec3f const offset(x, y, z);
        TqLBox3f const& home = m_homes[number];
        m_boxes[number] = TqLBox3f(home.GetMin() + offset, home.GetMax() + offset);
    }
}

void DynamicScene::MoveHome(BoxNumbers const& numbers)
{
    for (std::uint32_t const number : numbers) {
        m_boxes[number] = m_homes[number];
    }
}

// ---- The dynamic group --------------------------------------------------------------------------

DynamicTree::~DynamicTree() = default;

namespace
{

/// A shape that holds its box, as the peers' values do.
class MovingShape : public BenchShape
{
public:
    MovingShape(TqLBox3f const& box, std::uint32_t number)
        : BenchShape(&m_place, number)
        , m_place(box)
    {}

    MovingShape(MovingShape const& other) : MovingShape(other.m_place, other.GetNumber()) {}

    MovingShape& operator=(MovingShape const&) = delete;

    void MoveTo(TqLBox3f const& box)
    {
        m_place = box;
        Notify(eMODIFIED_BOX);
    }

private:
    TqLBox3f m_place;
};

class DynamicGroupTree : public DynamicTree
{
public:
    explicit DynamicGroupTree(DynamicScene const& scene) : m_boxes(scene.GetBoxes())
    {
        m_shapes.reserve(m_boxes.size());
        for (TqLBox3f const& box : m_boxes) {
            m_shapes.emplace_back(box, static_cast<std::uint32_t>(m_shapes.size()));
        }
    }

    void Insert(BoxNumbers const& numbers) override
    {
        for (std::uint32_t const number : numbers) {
            m_root.AddShape(&m_shapes[number]);
        }
        m_root.Update();
    }

    void Remove(BoxNumbers const& numbers) override
    {
        for (std::uint32_t const number : numbers) {
            m_root.RemoveShape(&m_shapes[number]);
        }
        m_root.Update();
    }

    void Move(BoxNumbers const& numbers) override
    {
        for (std::uint32_t const number : numbers) {
            m_shapes[number].MoveTo(m_boxes[number]);
        }
        m_root.Update();
    }

    void Cull(TqLFrustum3f const& frustum, DrawSink& sink) override
    {
        TqLPlane3f planes[ePLANES];
        frustum.GetPlanes(planes);
        CullNode(&m_root, planes, (1u << ePLANES) - 1, sink);
    }

    TqOcTraversable* GetRoot() override { return &m_root; }

private:
    static constexpr int ePLANES = 6;

    // Narrows the mask to the planes that cut the box.
    static bool IsOutside(TqLBox3f const& box, TqLPlane3f const* planes, unsigned* mask)
    {
        for (unsigned i = 0, bit = 1; i < ePLANES; ++i, bit <<= 1) {
            if ((*mask & bit) == 0) {
                continue;
            }
            if (planes[i].MaxDistanceFromPlane(box) < 0.0) {
                return true;
            }
            if (planes[i].MinDistanceFromPlane(box) >= 0.0) {
                *mask &= ~bit;
            }
        }
        return false;
    }

    static void CullNode(TqOcTraversable* node, TqLPlane3f const* planes, unsigned mask,
                         DrawSink& sink)
    {
        if (mask != 0 && IsOutside(node->GetBoundingBox(), planes, &mask)) {
            return;
        }
        TqOcBaseTraversable* const* children = nullptr;
        int const count = node->GetChildren(&children);
        for (int i = 0; i < count; ++i) {
            if (children[i]->IsShape() != 0) { // the only one of a single leaf
                sink.Add(static_cast<BenchShape*>(children[i])->GetNumber());
            } else {
                CullNode(static_cast<TqOcTraversable*>(children[i]), planes, mask, sink);
            }
        }
    }

    std::vector<TqLBox3f> const& m_boxes;
    std::vector<MovingShape> m_shapes;
    TqOcDynamicGroup m_root; // goes first, and lets the shapes go
};

} // namespace

std::unique_ptr<DynamicTree> MakeDynamicGroupTree(DynamicScene const& scene)
{
    return std::make_unique<DynamicGroupTree>(scene);
}
