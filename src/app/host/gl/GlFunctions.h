// The OpenGL 3.3 functions that the host programs call, as a table of pointers.
//
// The table is filled once, after a context has become current, and is then passed by reference.
// Nothing links against a system OpenGL library, so that one binary starts on machines with and
// without a graphics driver.
#pragma once

#include <GL/glcorearb.h>

#include <string>

/// X(type, name): one entry a function; the OpenGL name is "gl" followed by the second argument.
#define HOST_GL_FUNCTIONS(X)                                                                       \
    X(PFNGLATTACHSHADERPROC, AttachShader)                                                         \
    X(PFNGLBEGINQUERYPROC, BeginQuery)                                                             \
    X(PFNGLBINDATTRIBLOCATIONPROC, BindAttribLocation)                                             \
    X(PFNGLBINDBUFFERPROC, BindBuffer)                                                             \
    X(PFNGLBINDFRAMEBUFFERPROC, BindFramebuffer)                                                   \
    X(PFNGLBINDRENDERBUFFERPROC, BindRenderbuffer)                                                 \
    X(PFNGLBINDVERTEXARRAYPROC, BindVertexArray)                                                   \
    X(PFNGLBLENDFUNCPROC, BlendFunc)                                                               \
    X(PFNGLBUFFERDATAPROC, BufferData)                                                             \
    X(PFNGLBUFFERSUBDATAPROC, BufferSubData)                                                       \
    X(PFNGLCHECKFRAMEBUFFERSTATUSPROC, CheckFramebufferStatus)                                     \
    X(PFNGLCLEARBUFFERUIVPROC, ClearBufferuiv)                                                     \
    X(PFNGLCLEARPROC, Clear)                                                                       \
    X(PFNGLCLEARCOLORPROC, ClearColor)                                                             \
    X(PFNGLCOLORMASKPROC, ColorMask)                                                               \
    X(PFNGLCOMPILESHADERPROC, CompileShader)                                                       \
    X(PFNGLCREATEPROGRAMPROC, CreateProgram)                                                       \
    X(PFNGLCREATESHADERPROC, CreateShader)                                                         \
    X(PFNGLDELETEBUFFERSPROC, DeleteBuffers)                                                       \
    X(PFNGLDELETEFRAMEBUFFERSPROC, DeleteFramebuffers)                                             \
    X(PFNGLDELETEPROGRAMPROC, DeleteProgram)                                                       \
    X(PFNGLDELETEQUERIESPROC, DeleteQueries)                                                       \
    X(PFNGLDELETERENDERBUFFERSPROC, DeleteRenderbuffers)                                           \
    X(PFNGLDELETESHADERPROC, DeleteShader)                                                         \
    X(PFNGLDELETEVERTEXARRAYSPROC, DeleteVertexArrays)                                             \
    X(PFNGLDEPTHFUNCPROC, DepthFunc)                                                               \
    X(PFNGLDEPTHMASKPROC, DepthMask)                                                               \
    X(PFNGLDISABLEPROC, Disable)                                                                   \
    X(PFNGLDRAWARRAYSPROC, DrawArrays)                                                             \
    X(PFNGLDRAWELEMENTSBASEVERTEXPROC, DrawElementsBaseVertex)                                     \
    X(PFNGLENABLEPROC, Enable)                                                                     \
    X(PFNGLENABLEVERTEXATTRIBARRAYPROC, EnableVertexAttribArray)                                   \
    X(PFNGLENDQUERYPROC, EndQuery)                                                                 \
    X(PFNGLFINISHPROC, Finish)                                                                     \
    X(PFNGLFLUSHPROC, Flush)                                                                       \
    X(PFNGLFRAMEBUFFERRENDERBUFFERPROC, FramebufferRenderbuffer)                                   \
    X(PFNGLGENBUFFERSPROC, GenBuffers)                                                             \
    X(PFNGLGENFRAMEBUFFERSPROC, GenFramebuffers)                                                   \
    X(PFNGLGENQUERIESPROC, GenQueries)                                                             \
    X(PFNGLGENRENDERBUFFERSPROC, GenRenderbuffers)                                                 \
    X(PFNGLGENVERTEXARRAYSPROC, GenVertexArrays)                                                   \
    X(PFNGLGETERRORPROC, GetError)                                                                 \
    X(PFNGLGETINTEGERVPROC, GetIntegerv)                                                           \
    X(PFNGLGETPROGRAMINFOLOGPROC, GetProgramInfoLog)                                               \
    X(PFNGLGETPROGRAMIVPROC, GetProgramiv)                                                         \
    X(PFNGLGETQUERYOBJECTUIVPROC, GetQueryObjectuiv)                                               \
    X(PFNGLGETSHADERINFOLOGPROC, GetShaderInfoLog)                                                 \
    X(PFNGLGETSHADERIVPROC, GetShaderiv)                                                           \
    X(PFNGLGETSTRINGPROC, GetString)                                                               \
    X(PFNGLGETUNIFORMLOCATIONPROC, GetUniformLocation)                                             \
    X(PFNGLLINKPROGRAMPROC, LinkProgram)                                                           \
    X(PFNGLPIXELSTOREIPROC, PixelStorei)                                                           \
    X(PFNGLPOLYGONOFFSETPROC, PolygonOffset)                                                       \
    X(PFNGLREADPIXELSPROC, ReadPixels)                                                             \
    X(PFNGLRENDERBUFFERSTORAGEPROC, RenderbufferStorage)                                           \
    X(PFNGLSHADERSOURCEPROC, ShaderSource)                                                         \
    X(PFNGLUNIFORM1FPROC, Uniform1f)                                                               \
    X(PFNGLUNIFORM1UIPROC, Uniform1ui)                                                             \
    X(PFNGLUNIFORM3FVPROC, Uniform3fv)                                                             \
    X(PFNGLUNIFORM4FVPROC, Uniform4fv)                                                             \
    X(PFNGLUNIFORMMATRIX4FVPROC, UniformMatrix4fv)                                                 \
    X(PFNGLUSEPROGRAMPROC, UseProgram)                                                             \
    X(PFNGLVERTEXATTRIBPOINTERPROC, VertexAttribPointer)                                           \
    X(PFNGLVIEWPORTPROC, Viewport)

namespace host
{

/// Pointers to the OpenGL functions of one context; all null until Load.
struct GlFunctions
{
#define HOST_GL_MEMBER(type, name) type name = nullptr;
    HOST_GL_FUNCTIONS(HOST_GL_MEMBER)
#undef HOST_GL_MEMBER

    /// Fills the table from the current context.
    /// @return false, with the first missing function's name in @p missing, when one is not there.
    bool Load(void* (*getProcAddress)(char const*), std::string* missing);

    /// "renderer, version" of the current context, for reports.
    std::string DescribeRenderer() const;

    /// True when the current context draws on the processor rather than on a graphics card.
    bool IsSoftware() const;
};

} // namespace host
