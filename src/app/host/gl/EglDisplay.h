// An OpenGL context without a window, made through EGL.
//
// Tries, in this order: each device that EGL can enumerate (graphics cards before software
// rasterisers), Mesa's surfaceless platform, and the default display. The first that gives an
// OpenGL 3.3 core context wins, so the same program runs on a graphics card and on a machine that
// has none. Everything is drawn into framebuffer objects; there is no default framebuffer to
// rely on. The context is current on the thread that opened it until the object is destroyed.
#pragma once

#include <memory>
#include <string>

namespace host
{

/// One EGL display with one current OpenGL 3.3 core context. Not copyable.
class EglDisplay
{
public:
    /// Opens a display and makes its context current on the calling thread.
    /// @param problem  receives one line that says why every way failed; may not be null.
    /// @return the display, owned by the caller, or null.
    static std::unique_ptr<EglDisplay> Open(std::string* problem);

    ~EglDisplay();
    EglDisplay(EglDisplay const&) = delete;
    EglDisplay& operator=(EglDisplay const&) = delete;

    /// Which of the ways led to the context: "device", "surfaceless" or "default".
    std::string const& GetPlatformName() const { return m_platformName; }

    /// Address of an OpenGL function in the current context, or null.
    static void* GetProcAddress(char const* name);

private:
    struct Handles;

    EglDisplay(std::unique_ptr<Handles> handles, std::string platformName);

    std::unique_ptr<Handles> m_handles;
    std::string m_platformName;
};

} // namespace host
