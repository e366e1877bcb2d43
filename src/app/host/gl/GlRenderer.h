// Draws placed meshes and boxes into the current framebuffer with one lit shader.
//
// A frame is BeginFrame, any number of DrawMesh and DrawQueryBox, and EndFrame. Opaque meshes are
// drawn at once, in the order of the calls, so that whoever calls decides what comes first and
// occlusion queries see it. Transparent ones are kept until EndFrame and drawn from far to near.
// Matrices are composed in double and handed over in float relative to the eye, so that models far
// from the origin do not tremble. Between two opaque draws the only state that changes is one
// block of uniforms.
#pragma once

#include "host/gl/GlMeshStore.h"
#include "host/gl/GlProgram.h"
#include "host/model/SceneModel.h"

#include "geometry/TqLBox.h"
#include "geometry/TqLMatrix.h"
#include "geometry/TqLVec.h"

#include <cstddef>
#include <string>
#include <vector>

namespace host
{

/// The lit renderer of the host programs. Not copyable. All calls need its context to be current.
class GlRenderer
{
public:
    GlRenderer(GlFunctions const& gl, GlMeshStore const& meshes);
    GlRenderer(GlRenderer const&) = delete;
    GlRenderer& operator=(GlRenderer const&) = delete;

    /// Builds the shaders. @return false with the driver's message in @p problem.
    bool Create(std::string* problem);

    /// Distance in world units at which haze makes up half of a colour; 0 for no haze,
    /// which is also what holds after construction.
    void SetHazeDistance(double distance) { m_hazeDistance = distance; }

    /// Clears the picture, paints the sky and takes the camera of the frame.
    /// @param worldToClip  row-vector matrix with -w <= c <= w inside the view
    /// @param eye          the viewpoint, world coordinates
    void BeginFrame(TqLMatrix4f const& worldToClip, TqLPos3f const& eye);

    /// Draws a mesh, or keeps it for EndFrame when its material is transparent.
    /// Both references must stay valid until EndFrame.
    void DrawMesh(std::size_t mesh, TqLAffine3f const& toWorld, Material const& material);

    /// Draws the near sides of a world box into neither colour nor depth, for a query that is open:
    /// each pixel that the box covers passes at most once. The eye must be outside. The box is
    /// drawn a hair larger and nearer than it is, so that its contents never pass where it does
    /// not, even where they touch a surface or just reach into a pixel.
    void DrawQueryBox(TqLBox3f const& box);

    /// True when every corner of the box lies in front of the near plane of the frame's camera.
    /// Only then does a drawn box cover all the pixels that its contents could cover.
    bool IsBeyondNearPlane(TqLBox3f const& box) const;

    /// Draws what was kept; the frame may go on after it.
    void DrawKept();

    /// DrawKept, then waits until the picture is complete.
    void EndFrame();

    /// Whether meshes are drawn without the triangles that are seen from behind: no, surfaces show
    /// from either side.
    static constexpr bool CullsBackFaces() { return false; }

    GlFunctions const& GetGl() const { return m_gl; }

private:
    struct Kept
    {
        double m_distance;
        std::size_t m_mesh;
        TqLAffine3f const* m_toWorld;
        Material const* m_material;
    };

    double FindBoxMargin(TqLBox3f const& box) const;
    void PaintSky(TqLMatrix4f const& worldToClip);
    void Submit(std::size_t mesh, TqLAffine3f const& toWorld, Material const& material);
    void UseMeshProgram();

    GlFunctions const& m_gl;
    GlMeshStore const& m_meshes;
    GlProgram m_meshProgram;
    GlProgram m_boxProgram;
    GlProgram m_skyProgram;
    GLint m_drawUniform = -1;
    GLint m_hazeUniform = -1;
    GLint m_boxUniform = -1;
    GLint m_skyUniform = -1;
    bool m_meshProgramInUse = false;
    double m_hazeDistance = 0.0;
    double m_pixelPerWeight = 0.0; ///< world size of a pixel where the clip-space weight is 1
    TqLMatrix4f m_worldToClip;
    TqLPos3f m_eye;
    std::vector<Kept> m_kept;
};

} // namespace host
