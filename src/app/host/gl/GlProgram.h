// A linked OpenGL program from two sources. Owns its OpenGL object.
#pragma once

#include "host/gl/GlFunctions.h"

#include <string>

namespace host
{

/// A vertex and a fragment shader, linked. Not copyable.
class GlProgram
{
public:
    explicit GlProgram(GlFunctions const& gl) : m_gl(gl) {}

    ~GlProgram();
    GlProgram(GlProgram const&) = delete;
    GlProgram& operator=(GlProgram const&) = delete;

    /// Compiles and links. Attribute 0 is "position", attribute 1 "normal".
    /// @return false with the driver's first message in @p problem when either step fails.
    bool Build(char const* vertexSource, char const* fragmentSource, std::string* problem);

    void Use() const { m_gl.UseProgram(m_program); }

    /// Location of a uniform; -1 when the program does not use it.
    GLint FindUniform(char const* name) const { return m_gl.GetUniformLocation(m_program, name); }

private:
    GLuint Compile(GLenum kind, char const* source, std::string* problem) const;

    GlFunctions const& m_gl;
    GLuint m_program = 0;
};

} // namespace host
