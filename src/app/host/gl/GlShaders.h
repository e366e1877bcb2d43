// Sources of the three shader programs of GlRenderer.
//
// Colours are linear until they leave the vertex shader. There are no shadows and no textures: the
// shape of things is told by a hemisphere light (brighter from above), one directional light and a
// lamp at the eye, so that the inside of a building reads as well as its outside. Surfaces are lit
// from whichever side is seen. All of it is computed per vertex: a walk by size draws much that is
// covered later, and on a software rasteriser a lit pixel costs six times a plain one.
#pragma once

namespace host
{

/// draw[0..3]: mesh to clip space, one vector a row; draw[4..6]: mesh to world axes around the eye,
/// one vector an axis; draw[7]: colour and opacity. haze: one over the distance at which haze makes
/// up half of a colour.
inline constexpr char const* s_meshVertexShader = R"(#version 330 core
in vec3 position;
in vec3 normal;
uniform vec4 draw[8];
uniform float haze;
out vec3 colour;
const vec3 skyLight = vec3(0.46, 0.49, 0.56);
const vec3 groundLight = vec3(0.25, 0.23, 0.21);
const vec3 sunLight = vec3(0.56, 0.51, 0.42);
const vec3 sunDirection = vec3(0.424, 0.636, 0.645);
const vec3 lampLight = vec3(0.27, 0.26, 0.25);
const vec3 hazeColour = vec3(0.60, 0.70, 0.82);
void main()
{
    vec4 p = vec4(position, 1.0);
    gl_Position = draw[0] * p.x + draw[1] * p.y + draw[2] * p.z + draw[3];
    vec3 fromEye = vec3(dot(draw[4], p), dot(draw[5], p), dot(draw[6], p));
    vec3 n = vec3(dot(draw[4].xyz, normal), dot(draw[5].xyz, normal), dot(draw[6].xyz, normal));
    n *= inversesqrt(max(dot(n, n), 1e-12));
    float range = max(length(fromEye), 1e-6);
    float facing = dot(n, fromEye) / -range;
    n = facing < 0.0 ? -n : n;
    vec3 light = mix(groundLight, skyLight, 0.5 + 0.5 * n.y);
    light += sunLight * max(dot(n, sunDirection), 0.0);
    light += lampLight * (0.3 + 0.7 * abs(facing));
    vec3 lit = mix(draw[7].rgb * light, hazeColour, haze * range / (1.0 + haze * range));
    colour = sqrt(lit);
}
)";

inline constexpr char const* s_meshFragmentShader = R"(#version 330 core
in vec3 colour;
uniform vec4 draw[8];
out vec4 result;
void main()
{
    result = vec4(colour, draw[7].a);
}
)";

inline constexpr char const* s_boxVertexShader = R"(#version 330 core
in vec3 position;
uniform mat4 toClip;
void main()
{
    gl_Position = toClip * vec4(position, 1.0);
}
)";

inline constexpr char const* s_boxFragmentShader = R"(#version 330 core
void main()
{
}
)";

/// corners: directions from the eye through the four corners of the picture.
inline constexpr char const* s_skyVertexShader = R"(#version 330 core
uniform vec3 corners[4];
out vec3 direction;
void main()
{
    vec2 place = vec2(float(gl_VertexID & 1), float(gl_VertexID >> 1)) * 2.0 - 1.0;
    direction = corners[gl_VertexID];
    gl_Position = vec4(place, 0.0, 1.0);
}
)";

inline constexpr char const* s_skyFragmentShader = R"(#version 330 core
in vec3 direction;
out vec4 result;
void main()
{
    float height = normalize(direction).y;
    vec3 horizon = vec3(0.80, 0.86, 0.92);
    vec3 zenith = vec3(0.33, 0.53, 0.80);
    vec3 plain = vec3(0.70, 0.76, 0.70);
    vec3 colour = mix(horizon, zenith, smoothstep(0.0, 0.7, height));
    colour = mix(colour, plain, smoothstep(0.0, 0.25, -height));
    result = vec4(colour, 1.0);
}
)";

} // namespace host
