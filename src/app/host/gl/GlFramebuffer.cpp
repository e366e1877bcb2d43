#include "host/gl/GlFramebuffer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace host
{

GlFramebuffer::~GlFramebuffer()
{
    if (m_framebuffer != 0) {
        m_gl.DeleteFramebuffers(1, &m_framebuffer);
        m_gl.DeleteRenderbuffers(2, m_renderbuffers);
    }
}

bool GlFramebuffer::Create(int width, int height, std::string* problem,
                           GlBufferFormats const& formats)
{
    GLint largest = 0;
    m_gl.GetIntegerv(GL_MAX_RENDERBUFFER_SIZE, &largest);
    if (width < 1 || height < 1 || width > largest || height > largest) {
        *problem = "a picture of " + std::to_string(width) + "x" + std::to_string(height) +
                   " is outside 1 to " + std::to_string(largest) + " pixels a side";
        return false;
    }
    m_gl.GenFramebuffers(1, &m_framebuffer);
    m_gl.GenRenderbuffers(2, m_renderbuffers);
    Bind();
    GLenum const kinds[2] = {formats.m_colour, formats.m_depth};
    GLenum const attachments[2] = {GL_COLOR_ATTACHMENT0, GL_DEPTH_ATTACHMENT};
    for (int i = 0; i < 2; ++i) {
        m_gl.BindRenderbuffer(GL_RENDERBUFFER, m_renderbuffers[i]);
        m_gl.RenderbufferStorage(GL_RENDERBUFFER, kinds[i], width, height);
        m_gl.FramebufferRenderbuffer(GL_FRAMEBUFFER, attachments[i], GL_RENDERBUFFER,
                                     m_renderbuffers[i]);
    }
    if (m_gl.CheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        *problem = "the driver refuses an offscreen picture of " + std::to_string(width) + "x" +
                   std::to_string(height) + " pixels";
        return false;
    }
    m_width = width;
    m_height = height;
    m_gl.Viewport(0, 0, width, height);
    return true;
}

Image GlFramebuffer::ReadImage() const
{
    Image image(m_width, m_height);
    std::size_t const rowPixels = static_cast<std::size_t>(m_width);
    std::vector<std::uint8_t> rgba(rowPixels * static_cast<std::size_t>(m_height) * 4);
    m_gl.PixelStorei(GL_PACK_ALIGNMENT, 4);
    m_gl.ReadPixels(0, 0, m_width, m_height, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    for (int y = 0; y < m_height; ++y) {
        std::uint8_t const* from =
            rgba.data() + static_cast<std::size_t>(m_height - 1 - y) * rowPixels * 4;
        std::uint8_t* to = image.GetPixel(0, y);
        for (std::size_t x = 0; x < rowPixels; ++x) {
            std::copy_n(from + x * 4, 3, to + x * 3);
        }
    }
    return image;
}

double GlFramebuffer::MeasureFill() const
{
    std::vector<float> depths(static_cast<std::size_t>(m_width) *
                              static_cast<std::size_t>(m_height));
    m_gl.PixelStorei(GL_PACK_ALIGNMENT, 4);
    m_gl.ReadPixels(0, 0, m_width, m_height, GL_DEPTH_COMPONENT, GL_FLOAT, depths.data());
    auto const drawn =
        std::count_if(depths.begin(), depths.end(), [](float depth) { return depth < 1.0f; });
    return depths.empty() ? 0.0 : static_cast<double>(drawn) / static_cast<double>(depths.size());
}

} // namespace host
