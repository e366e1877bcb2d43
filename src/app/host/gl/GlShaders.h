// Sources of the three shader programs of GlRenderer.
//
// Colours are linear until the last line of a fragment shader. There are no shadows and no
// textures: the shape of things is told by a hemisphere light (brighter from above), one
// directional light and a lamp at the eye that falls off with distance, so that the inside of a
// building reads as well as its outside. Surfaces are lit from whichever side is seen.
#pragma once

namespace host
{

/// draw[0..3]: mesh to clip space, one vector a row; draw[4..6]: mesh to world axes around the eye,
/// one vector an axis; draw[7]: colour and opacity.
inline constexpr char const* s_meshVertexShader = R"(#version 330 core
in vec3 position;
in vec3 normal;
uniform vec4 draw[8];
out vec3 fromEye;
out vec3 worldNormal;
void main()
{
    vec4 p = vec4(position, 1.0);
    gl_Position = draw[0] * p.x + draw[1] * p.y + draw[2] * p.z + draw[3];
    fromEye = vec3(dot(draw[4], p), dot(draw[5], p), dot(draw[6], p));
    worldNormal = vec3(dot(draw[4].xyz, normal), dot(draw[5].xyz, normal),
                       dot(draw[6].xyz, normal));
}
)";

/// haze: one over the distance at which haze takes about two thirds of a colour.
inline constexpr char const* s_meshFragmentShader = R"(#version 330 core
in vec3 fromEye;
in vec3 worldNormal;
uniform vec4 draw[8];
uniform float haze;
out vec4 result;
const vec3 skyLight = vec3(0.60, 0.64, 0.72);
const vec3 groundLight = vec3(0.26, 0.23, 0.20);
const vec3 sunLight = vec3(0.50, 0.46, 0.38);
const vec3 sunDirection = vec3(0.424, 0.762, 0.489);
const vec3 lampLight = vec3(0.44, 0.41, 0.37);
const vec3 hazeColour = vec3(0.58, 0.68, 0.80);
void main()
{
    float range = max(length(fromEye), 1e-6);
    vec3 toEye = fromEye * (-1.0 / range);
    vec3 n = worldNormal * inversesqrt(max(dot(worldNormal, worldNormal), 1e-12));
    float facing = dot(n, toEye);
    n = facing < 0.0 ? -n : n;
    vec3 light = mix(groundLight, skyLight, 0.5 + 0.5 * n.y);
    light += sunLight * max(dot(n, sunDirection), 0.0);
    light += lampLight * abs(facing);
    vec3 colour = draw[7].rgb * light;
    colour = mix(hazeColour, colour, exp(-range * haze));
    result = vec4(pow(colour, vec3(1.0 / 2.2)), draw[7].a);
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
    vec3 ground = vec3(0.50, 0.51, 0.50);
    vec3 colour = mix(horizon, zenith, smoothstep(0.0, 0.7, height));
    colour = mix(colour, ground, smoothstep(0.0, 0.06, -height));
    result = vec4(colour, 1.0);
}
)";

} // namespace host
