// The shapes of a model in a dynamic tree, put in, moved and taken out one by one.
//
// Every placement has at most one shape, which belongs to the tree while it hangs there. The scene
// keeps a list of what should be in the tree; Check compares the two.
#pragma once

#include "host/gl/GlRenderer.h"
#include "host/gl/GlShape.h"
#include "host/model/SceneModel.h"

#include "scenecull/TqOcDynamicGroup.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace demo
{

/// What a visit of the whole tree finds against the list.
struct TreeCheck
{
    std::size_t m_listed = 0;     ///< shapes that should be in the tree
    std::size_t m_visited = 0;    ///< shapes that are
    std::size_t m_strays = 0;     ///< visited, but not listed, or visited again
    bool m_trisAgree = false;     ///< the root's triangles are the sum of the listed shapes'
    bool m_boxAgrees = false;     ///< the root's box is the union of the listed shapes'
    std::size_t m_wrongBoxes = 0; ///< groups whose box is not the union of their children's

    bool IsGood() const
    {
        return m_listed == m_visited && m_strays == 0 && m_trisAgree && m_boxAgrees &&
               m_wrongBoxes == 0;
    }
};

/// A tree that changes. Not copyable.
class DynamicScene
{
public:
    /// References only; both must outlive the scene.
    /// @param firstOwn  placements from this one on are the site's own: drawn before the rest
    DynamicScene(host::SceneModel& model, host::GlRenderer& renderer, std::size_t firstOwn);
    DynamicScene(DynamicScene const&) = delete;
    DynamicScene& operator=(DynamicScene const&) = delete;

    TqOcDynamicGroup* GetRoot() { return &m_root; }

    /// Puts a placement's shape into the tree. @return false when it is there, or the tree does not
    /// take it
    bool Add(std::size_t placement);

    /// Takes it out again and deletes the shape. @return false when it was not there
    bool Remove(std::size_t placement);

    /// Changes where a placement is, and tells the tree when its shape is there.
    /// @return whether the shape is there
    bool Move(std::size_t placement, TqLAffine3f const& toWorld);

    std::size_t GetNumShapes() const { return m_numShapes; }

    /// Triangles of the shapes in the tree.
    std::uint64_t GetNumTris() const { return m_numTris; }

    /// Updates the tree and visits all of it. Linear.
    TreeCheck Check();

private:
    double FindScale(std::size_t placement) const;

    host::SceneModel& m_model;
    std::size_t m_firstOwn;
    host::GlShapeScene m_shared;
    TqOcDynamicGroup m_root;
    std::vector<host::GlShape*> m_shapes; ///< by placement; null for those not in the tree
    std::size_t m_numShapes = 0;
    std::uint64_t m_numTris = 0;
};

} // namespace demo
