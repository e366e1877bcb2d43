// Everything that a frame of the demo needs, made in order: drawing context, picture, uploaded
// meshes, shapes with their hierarchy, traversal. One frame is DrawFrame.
#pragma once

#include "demo/DemoOptions.h"
#include "demo/DemoView.h"
#include "host/gl/EglDisplay.h"
#include "host/gl/GlFramebuffer.h"
#include "host/gl/GlFunctions.h"
#include "host/gl/GlHostContext.h"
#include "host/gl/GlMeshStore.h"
#include "host/gl/GlRenderer.h"
#include "host/gl/GlScene.h"
#include "host/model/SceneModel.h"
#include "host/report/FrameLog.h"
#include "host/report/Image.h"

#include "scenecull/TqOcPrioritizedTraversal.h"

#include <memory>
#include <string>

namespace demo
{

/// The demo's machine for frames. Not copyable.
class DemoWorld
{
public:
    DemoWorld();
    ~DemoWorld();
    DemoWorld(DemoWorld const&) = delete;
    DemoWorld& operator=(DemoWorld const&) = delete;

    /// Opens the drawing context and the picture. @return false with one line in @p problem.
    bool OpenDrawing(DemoOptions const& options, std::string* problem);

    /// Takes a model over, uploads it and builds the hierarchy. Call once, after OpenDrawing.
    void TakeModel(host::SceneModel&& model);

    /// The same without a hierarchy: there is none, and no GetScene, until SetRoot names one.
    void TakeModelOnly(host::SceneModel&& model);

    /// What frames draw from now on: a hierarchy of the caller's, which must outlive the frames.
    void SetRoot(TqOcTraversable* root) { m_root = root; }

    /// Draws one frame from a camera stop under the traversal's present settings and reports on it.
    host::FrameRecord DrawFrame(host::CameraKey const& key);

    /// Walks a complete frame without drawing it. @return what it would have cost, in triangles.
    double CountFrame(host::CameraKey const& key);

    /// Draws something, so that the driver's first-time work does not fall into a measured frame,
    /// and leaves frame-time control without a history.
    void WarmUp(host::CameraKey const& key);

    /// Share of the last frame's picture that shows model rather than sky, 0 to 1.
    double MeasureFill() const { return m_framebuffer->MeasureFill(); }

    /// The picture of the last frame.
    host::Image ReadPicture() const { return m_framebuffer->ReadImage(); }

    TqOcPrioritizedTraversal& GetTraversal() { return *m_traversal; }

    host::GlHostContext& GetContext() { return *m_context; }

    host::SceneModel const& GetModel() const { return m_model; }

    /// The model, for moving its placements; meshes and materials are uploaded and stay.
    host::SceneModel& GetModel() { return m_model; }

    host::GlRenderer& GetRenderer() { return *m_renderer; }

    host::GlScene const& GetScene() const { return *m_scene; }

    host::GlScene& GetScene() { return *m_scene; }

    host::GlFunctions const& GetGl() const { return m_gl; }

    host::GlMeshStore const& GetMeshes() const { return *m_meshes; }

    std::string DescribeRenderer() const;

    bool IsSoftware() const { return m_gl.IsSoftware(); }

    double GetUploadSeconds() const { return m_uploadSeconds; }

    double GetBuildSeconds() const { return m_buildSeconds; }

private:
    host::SceneModel m_model;
    host::GlFunctions m_gl;
    // Made in this order and destroyed in the other: what draws goes before what it draws on.
    std::unique_ptr<host::EglDisplay> m_display;
    std::unique_ptr<host::GlFramebuffer> m_framebuffer;
    std::unique_ptr<host::GlMeshStore> m_meshes;
    std::unique_ptr<host::GlRenderer> m_renderer;
    std::unique_ptr<host::GlHostContext> m_context;
    std::unique_ptr<host::GlScene> m_scene;
    TqOcTraversable* m_root = nullptr; ///< of m_scene, or the caller's
    std::unique_ptr<TqOcPrioritizedTraversal> m_traversal;
    std::unique_ptr<DemoView> m_view;
    int m_width = 0;
    int m_height = 0;
    unsigned m_frame = 0;
    double m_uploadSeconds = 0.0;
    double m_buildSeconds = 0.0;
};

} // namespace demo
