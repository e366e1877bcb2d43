#include "host/gl/EglDisplay.h"

// Keeps the window system's headers, and their macros, out of this file.
#define EGL_NO_X11
#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstring>
#include <utility>
#include <vector>

namespace host
{

struct EglDisplay::Handles
{
    EGLDisplay m_display = EGL_NO_DISPLAY;
    EGLContext m_context = EGL_NO_CONTEXT;
    EGLSurface m_surface = EGL_NO_SURFACE;

    Handles() = default;
    Handles(Handles const&) = delete;
    Handles& operator=(Handles const&) = delete;
    ~Handles();
    bool MakeCurrent(EGLDisplay display, std::string* problem);
};

namespace
{

constexpr int eMAX_DEVICES = 32;

struct Candidate
{
    EGLDisplay m_display;
    char const* m_name;
};

bool HasWord(char const* words, char const* word)
{
    if (words == nullptr) {
        return false;
    }
    std::size_t const length = std::strlen(word);
    for (char const* at = std::strstr(words, word); at != nullptr;
         at = std::strstr(at + length, word)) {
        bool const starts = at == words || at[-1] == ' ';
        bool const ends = at[length] == ' ' || at[length] == '\0';
        if (starts && ends) {
            return true;
        }
    }
    return false;
}

template <class Function>
Function Find(char const* name)
{
    return reinterpret_cast<Function>(eglGetProcAddress(name));
}

/// The enumerable devices, graphics cards first.
std::vector<EGLDeviceEXT> ListDevices(char const* clientExtensions)
{
    std::vector<EGLDeviceEXT> devices;
    if (!HasWord(clientExtensions, "EGL_EXT_device_enumeration") &&
        !HasWord(clientExtensions, "EGL_EXT_device_base")) {
        return devices;
    }
    auto const queryDevices = Find<PFNEGLQUERYDEVICESEXTPROC>("eglQueryDevicesEXT");
    auto const queryString = Find<PFNEGLQUERYDEVICESTRINGEXTPROC>("eglQueryDeviceStringEXT");
    EGLDeviceEXT found[eMAX_DEVICES];
    EGLint count = 0;
    if (queryDevices == nullptr || queryDevices(eMAX_DEVICES, found, &count) != EGL_TRUE) {
        return devices;
    }
    for (int pass = 0; pass < 2; ++pass) {
        for (EGLint i = 0; i < count; ++i) {
            bool const software =
                queryString != nullptr &&
                HasWord(queryString(found[i], EGL_EXTENSIONS), "EGL_MESA_device_software");
            if (software == (pass == 1)) {
                devices.push_back(found[i]);
            }
        }
    }
    return devices;
}

std::vector<Candidate> ListCandidates()
{
    std::vector<Candidate> candidates;
    char const* extensions = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    auto const getPlatformDisplay =
        Find<PFNEGLGETPLATFORMDISPLAYEXTPROC>("eglGetPlatformDisplayEXT");
    if (getPlatformDisplay != nullptr) {
        if (HasWord(extensions, "EGL_EXT_platform_device")) {
            for (EGLDeviceEXT device : ListDevices(extensions)) {
                candidates.push_back(
                    {getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, device, nullptr), "device"});
            }
        }
        if (HasWord(extensions, "EGL_MESA_platform_surfaceless")) {
            candidates.push_back(
                {getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr),
                 "surfaceless"});
        }
    }
    candidates.push_back({eglGetDisplay(EGL_DEFAULT_DISPLAY), "default"});
    return candidates;
}

EGLConfig ChooseConfig(EGLDisplay display, bool withPbuffer)
{
    EGLint const attributes[] = {EGL_SURFACE_TYPE, withPbuffer ? EGL_PBUFFER_BIT : 0,
                                 EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_NONE};
    EGLConfig config = nullptr;
    EGLint count = 0;
    if (eglChooseConfig(display, attributes, &config, 1, &count) != EGL_TRUE || count < 1) {
        return nullptr;
    }
    return config;
}

} // namespace

EglDisplay::Handles::~Handles()
{
    if (m_display == EGL_NO_DISPLAY) {
        return;
    }
    eglMakeCurrent(m_display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    if (m_surface != EGL_NO_SURFACE) {
        eglDestroySurface(m_display, m_surface);
    }
    if (m_context != EGL_NO_CONTEXT) {
        eglDestroyContext(m_display, m_context);
    }
    eglTerminate(m_display);
}

bool EglDisplay::Handles::MakeCurrent(EGLDisplay display, std::string* problem)
{
    if (display == EGL_NO_DISPLAY || eglInitialize(display, nullptr, nullptr) != EGL_TRUE) {
        *problem = "cannot be initialised";
        return false;
    }
    m_display = display;
    if (eglBindAPI(EGL_OPENGL_API) != EGL_TRUE) {
        *problem = "has no OpenGL";
        return false;
    }
    bool const surfaceless =
        HasWord(eglQueryString(display, EGL_EXTENSIONS), "EGL_KHR_surfaceless_context");
    EGLConfig const config = ChooseConfig(display, !surfaceless);
    if (config == nullptr) {
        *problem = "has no suitable configuration";
        return false;
    }
    EGLint const contextAttributes[] = {EGL_CONTEXT_MAJOR_VERSION,
                                        3,
                                        EGL_CONTEXT_MINOR_VERSION,
                                        3,
                                        EGL_CONTEXT_OPENGL_PROFILE_MASK,
                                        EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT,
                                        EGL_NONE};
    m_context = eglCreateContext(display, config, EGL_NO_CONTEXT, contextAttributes);
    if (m_context == EGL_NO_CONTEXT) {
        *problem = "gives no OpenGL 3.3 core context";
        return false;
    }
    if (!surfaceless) {
        EGLint const surfaceAttributes[] = {EGL_WIDTH, 16, EGL_HEIGHT, 16, EGL_NONE};
        m_surface = eglCreatePbufferSurface(display, config, surfaceAttributes);
    }
    if (eglMakeCurrent(display, m_surface, m_surface, m_context) != EGL_TRUE) {
        *problem = "cannot make its context current";
        return false;
    }
    return true;
}

EglDisplay::EglDisplay(std::unique_ptr<Handles> handles, std::string platformName)
    : m_handles(std::move(handles))
    , m_platformName(std::move(platformName))
{}

EglDisplay::~EglDisplay() = default;

std::unique_ptr<EglDisplay> EglDisplay::Open(std::string* problem)
{
    problem->clear();
    for (Candidate const& candidate : ListCandidates()) {
        auto handles = std::make_unique<Handles>();
        std::string reason;
        if (handles->MakeCurrent(candidate.m_display, &reason)) {
            problem->clear();
            return std::unique_ptr<EglDisplay>(
                new EglDisplay(std::move(handles), candidate.m_name));
        }
        if (!problem->empty()) {
            *problem += "; ";
        }
        *problem += std::string("the ") + candidate.m_name + " display " + reason;
    }
    return nullptr;
}

void* EglDisplay::GetProcAddress(char const* name)
{
    return reinterpret_cast<void*>(eglGetProcAddress(name));
}

} // namespace host
