// Bullet's btDbvt as a dynamic tree, without the margins that it can put around boxes: a move takes
// the leaf out and inserts it again.

#include "BenchModel.h"
#include "BulletParts.h"
#include "DynamicScene.h"

namespace
{

class BulletDynamicTree : public DynamicTree
{
public:
    explicit BulletDynamicTree(DynamicScene const& scene)
        : m_boxes(scene.GetBoxes())
        , m_leaves(m_boxes.size())
    {}

    void Insert(BoxNumbers const& numbers) override
    {
        for (std::uint32_t const number : numbers) {
            m_leaves[number] = m_tree.insert(MakeBulletVolume(m_boxes[number]),
                                             reinterpret_cast<void*>(std::uintptr_t{number}));
        }
    }

    void Remove(BoxNumbers const& numbers) override
    {
        for (std::uint32_t const number : numbers) {
            m_tree.remove(m_leaves[number]);
        }
    }

    void Move(BoxNumbers const& numbers) override
    {
        for (std::uint32_t const number : numbers) {
            btDbvtVolume volume = MakeBulletVolume(m_boxes[number]);
            m_tree.update(m_leaves[number], volume);
        }
    }

    void Cull(TqLFrustum3f const& frustum, DrawSink& sink) override
    {
        BulletPlanes const planes(frustum);
        BulletSinkPolicy policy(sink);
        btDbvt::collideKDOP(m_tree.m_root, planes.normals, planes.offsets, BulletPlanes::eCOUNT,
                            policy);
    }

private:
    std::vector<TqLBox3f> const& m_boxes;
    std::vector<btDbvtNode*> m_leaves;
    btDbvt m_tree;
};

} // namespace

std::unique_ptr<DynamicTree> MakeBulletTree(DynamicScene const& scene)
{
    return std::make_unique<BulletDynamicTree>(scene);
}
