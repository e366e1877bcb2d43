// What is where in a picture: for each pixel the shape and the triangle that are seen at its
// centre, and how deep they lie. Drawn with the same geometry and the same depth test as the
// picture itself. Owns its OpenGL objects.
#pragma once

#include "host/gl/GlFramebuffer.h"
#include "host/gl/GlFunctions.h"
#include "host/gl/GlMeshStore.h"
#include "host/gl/GlProgram.h"

#include "geometry/TqLMatrix.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace host
{

/// The contents of an id buffer. Row 0 is the lowest.
struct IdPicture
{
    /// Of the background.
    static constexpr std::uint32_t s_nothing = 0;

    int m_width = 0;
    int m_height = 0;
    std::vector<std::uint32_t> m_ids;       ///< as given to Draw; s_nothing in the background
    std::vector<std::uint32_t> m_triangles; ///< number within the mesh
    std::vector<float> m_depths;            ///< of the depth buffer: 0 near plane, 1 far plane

    std::size_t GetIndex(int x, int y) const
    {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(m_width) +
               static_cast<std::size_t>(x);
    }
};

/// Draws meshes by number. Not copyable.
///
/// Begin, any number of Draw, End. In between no one else may draw. All calls need the context to
/// be current.
class GlIdBuffer
{
public:
    GlIdBuffer(GlFunctions const& gl, GlMeshStore const& meshes);
    GlIdBuffer(GlIdBuffer const&) = delete;
    GlIdBuffer& operator=(GlIdBuffer const&) = delete;

    /// Makes the buffers, in pixels, and the shader; what was bound before is bound again.
    /// @return false with a line in @p problem
    bool Create(int width, int height, std::string* problem);

    /// Clears everything and takes the camera. @param worldToClip  as GlRenderer::BeginFrame
    void Begin(TqLMatrix4f const& worldToClip);

    /// Draws a mesh. @param id  not 0
    void Draw(std::size_t mesh, TqLAffine3f const& toWorld, std::uint32_t id);

    /// Waits for the drawing, reads it back, and binds what was bound before Begin.
    IdPicture End();

private:
    GlFunctions const& m_gl;
    GlMeshStore const& m_meshes;
    GlProgram m_program;
    GLint m_drawUniform = -1;
    GLint m_idUniform = -1;
    GlFramebuffer m_target;
    GLint m_boundBefore = 0;
    TqLMatrix4f m_worldToClip;
};

} // namespace host
