// An offscreen picture: colour and depth, readable back as an Image. Owns its OpenGL objects.
#pragma once

#include "host/gl/GlFunctions.h"
#include "host/report/Image.h"

#include <string>

namespace host
{

/// Formats of a framebuffer's two buffers.
struct GlBufferFormats
{
    GLenum m_colour = GL_RGBA8;
    GLenum m_depth = GL_DEPTH_COMPONENT24;
};

/// A framebuffer object with a colour and a depth buffer. Not copyable.
class GlFramebuffer
{
public:
    explicit GlFramebuffer(GlFunctions const& gl) : m_gl(gl) {}

    ~GlFramebuffer();
    GlFramebuffer(GlFramebuffer const&) = delete;
    GlFramebuffer& operator=(GlFramebuffer const&) = delete;

    /// Makes the buffers, in pixels, and binds them for drawing with a viewport over the whole.
    /// @return false with a line in @p problem when the driver refuses the size or format.
    bool Create(int width, int height, std::string* problem,
                GlBufferFormats const& formats = GlBufferFormats());

    /// Draws and reads go here from now on.
    void Bind() const { m_gl.BindFramebuffer(GL_FRAMEBUFFER, m_framebuffer); }

    int GetWidth() const { return m_width; }

    int GetHeight() const { return m_height; }

    /// Copies the colour buffer, top row first; RGBA8 only. Waits for all drawing.
    Image ReadImage() const;

    /// Share of the pixels, 0 to 1, on which something was drawn with depth since the depth buffer
    /// was cleared to 1. Waits for all drawing.
    double MeasureFill() const;

private:
    GlFunctions const& m_gl;
    GLuint m_framebuffer = 0;
    GLuint m_renderbuffers[2] = {0, 0};
    int m_width = 0;
    int m_height = 0;
};

} // namespace host
