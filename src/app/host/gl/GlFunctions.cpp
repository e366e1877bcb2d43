#include "host/gl/GlFunctions.h"

namespace host
{

namespace
{

std::string Text(GLubyte const* text)
{
    return text != nullptr ? reinterpret_cast<char const*>(text) : "unknown";
}

} // namespace

bool GlFunctions::Load(void* (*getProcAddress)(char const*), std::string* missing)
{
#define HOST_GL_LOAD(type, name)                                                                   \
    name = reinterpret_cast<type>(getProcAddress("gl" #name));                                     \
    if (name == nullptr) {                                                                         \
        *missing = "gl" #name;                                                                     \
        return false;                                                                              \
    }
    HOST_GL_FUNCTIONS(HOST_GL_LOAD)
#undef HOST_GL_LOAD
    return true;
}

std::string GlFunctions::DescribeRenderer() const
{
    return Text(GetString(GL_RENDERER)) + ", OpenGL " + Text(GetString(GL_VERSION));
}

bool GlFunctions::IsSoftware() const
{
    std::string const renderer = Text(GetString(GL_RENDERER));
    for (char const* name : {"llvmpipe", "softpipe", "swrast", "SWR", "Software"}) {
        if (renderer.find(name) != std::string::npos) {
            return true;
        }
    }
    return false;
}

} // namespace host
