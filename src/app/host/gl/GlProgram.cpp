#include "host/gl/GlProgram.h"

namespace host
{

namespace
{

constexpr GLsizei eLOG_SIZE = 512;

} // namespace

GlProgram::~GlProgram()
{
    if (m_program != 0) {
        m_gl.DeleteProgram(m_program);
    }
}

GLuint GlProgram::Compile(GLenum kind, char const* source, std::string* problem) const
{
    GLuint const shader = m_gl.CreateShader(kind);
    m_gl.ShaderSource(shader, 1, &source, nullptr);
    m_gl.CompileShader(shader);
    GLint compiled = 0;
    m_gl.GetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
    if (compiled == 0) {
        char log[eLOG_SIZE] = "";
        m_gl.GetShaderInfoLog(shader, eLOG_SIZE, nullptr, log);
        *problem = std::string("a shader does not compile: ") + log;
        m_gl.DeleteShader(shader);
        return 0;
    }
    return shader;
}

bool GlProgram::Build(char const* vertexSource, char const* fragmentSource, std::string* problem)
{
    GLuint const vertex = Compile(GL_VERTEX_SHADER, vertexSource, problem);
    GLuint const fragment = vertex != 0 ? Compile(GL_FRAGMENT_SHADER, fragmentSource, problem) : 0;
    if (fragment == 0) {
        m_gl.DeleteShader(vertex);
        return false;
    }
    m_program = m_gl.CreateProgram();
    m_gl.AttachShader(m_program, vertex);
    m_gl.AttachShader(m_program, fragment);
    m_gl.BindAttribLocation(m_program, 0, "position");
    m_gl.BindAttribLocation(m_program, 1, "normal");
    m_gl.LinkProgram(m_program);
    m_gl.DeleteShader(vertex);
    m_gl.DeleteShader(fragment);
    GLint linked = 0;
    m_gl.GetProgramiv(m_program, GL_LINK_STATUS, &linked);
    if (linked == 0) {
        char log[eLOG_SIZE] = "";
        m_gl.GetProgramInfoLog(m_program, eLOG_SIZE, nullptr, log);
        *problem = std::string("a program does not link: ") + log;
        return false;
    }
    return true;
}

} // namespace host
