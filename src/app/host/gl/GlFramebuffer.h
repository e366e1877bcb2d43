// An offscreen picture: colour and depth, readable back as an Image. Owns its OpenGL objects.
#pragma once

#include "host/gl/GlFunctions.h"
#include "host/report/Image.h"

#include <string>

namespace host
{

/// A framebuffer object with an RGBA8 colour and a 24-bit depth buffer. Not copyable.
class GlFramebuffer
{
public:
    explicit GlFramebuffer(GlFunctions const& gl) : m_gl(gl) {}

    ~GlFramebuffer();
    GlFramebuffer(GlFramebuffer const&) = delete;
    GlFramebuffer& operator=(GlFramebuffer const&) = delete;

    /// Makes the buffers, in pixels, and binds them for drawing with a viewport over the whole.
    /// @return false with a line in @p problem when the driver refuses the size or format.
    bool Create(int width, int height, std::string* problem);

    int GetWidth() const { return m_width; }

    int GetHeight() const { return m_height; }

    /// Copies the colour buffer, top row first. Waits for all drawing.
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
