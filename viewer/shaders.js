// The programs of the graphics processor: points, and the shading of edges.

export const kPointVertex = `#version 300 es
precision highp float;
layout(location = 0) in vec3 position;   // metres, frame of the scan
layout(location = 1) in vec4 colour;
layout(location = 2) in float intensity;
layout(location = 3) in vec4 normal;
uniform mat4 model, view, projection;
uniform int mode;                        // as kModeNumbers
uniform vec3 scale;                      // low and high of the mode, exponent
uniform vec3 clipLow, clipHigh;
uniform float angularStep, spacing;      // radians of a grid, metres of a cloud
uniform float focal, size;               // pixels
uniform float farther;                   // a factor: how far after its place a point is drawn
uniform sampler2D ramp;
out vec3 tint;
flat out float diameter;

vec3 paint(vec3 place) {
    if (mode == 0) return pow(colour.rgb, vec3(scale.z));
    if (mode == 4) return dot(normal, normal) > 0.0 ? mat3(model) * normal.xyz * 0.5 + 0.5 : vec3(0.5);
    float value = mode == 1 ? intensity : mode == 2 ? place.z : length(position);
    float share = clamp((value - scale.x) / max(scale.y - scale.x, 1e-6), 0.0, 1.0);
    return mode == 1 ? vec3(pow(share, scale.z)) : texture(ramp, vec2(share, 0.5)).rgb;
}

void main() {
    vec4 place = model * vec4(position, 1);
    vec4 seen = view * place;
    seen.xyz *= farther;
    gl_Position = projection * seen;
    if (any(lessThan(place.xyz, clipLow)) || any(greaterThan(place.xyz, clipHigh))) {
        gl_Position = vec4(2, 2, 2, 1);
    }
    tint = paint(place.xyz);
    // As wide as the grid is at the point's place: without holes from the station.
    float width = angularStep > 0.0 ? angularStep * length(position) : spacing;
    // Away from the middle of the picture, angles take more pixels.
    float depth = max(-seen.z, 0.01);
    diameter = clamp(size * focal * width * length(seen.xyz) / (depth * depth), 1.0, 96.0);
    gl_PointSize = diameter;
}`;

export const kPointFragment = `#version 300 es
precision mediump float;
in vec3 tint;
flat in float diameter;
out vec4 colour;
void main() {
    vec2 place = 2.0 * gl_PointCoord - 1.0;
    if (diameter > 5.0 && dot(place, place) > 1.0) discard;
    colour = vec4(tint, 1);
}`;

export const kScreenVertex = `#version 300 es
void main() {
    gl_Position = vec4(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0, 0, 1);
}`;

// Eye-dome lighting: a pixel is darker the farther it lies after what is around it, on a scale of
// ratios, so that edges show alike near and far. Opposite neighbours are taken together: an even
// surface lies between them, however steep it is seen, and stays as it is.
export const kScreenFragment = `#version 300 es
precision highp float;
uniform sampler2D colours, depths;
uniform vec2 planes;  // near and far, metres
uniform float strength, reach;
uniform vec3 background;
out vec4 colour;

float logDistance(float depth) {
    float distance = 2.0 * planes.x * planes.y /
        (planes.y + planes.x - (2.0 * depth - 1.0) * (planes.y - planes.x));
    return log2(distance);
}

void main() {
    ivec2 pixel = ivec2(gl_FragCoord.xy);
    float depth = texelFetch(depths, pixel, 0).r;
    if (depth == 1.0) {
        colour = vec4(background, 1);
        return;
    }
    float here = logDistance(depth);
    ivec2 last = textureSize(depths, 0) - 1;
    float hidden = 0.0;
    const ivec2 sides[4] = ivec2[](ivec2(1, 0), ivec2(0, 1), ivec2(1, 1), ivec2(-1, 1));
    for (int i = 0; i < 4; ++i) {
        float around = 0.0;
        for (int side = -1; side <= 1; side += 2) {
            ivec2 at = clamp(pixel + side * sides[i] * int(reach), ivec2(0), last);
            float other = texelFetch(depths, at, 0).r;
            around += other < 1.0 ? logDistance(other) : here;
        }
        hidden += max(0.0, here - 0.5 * around - 0.012);
    }
    float shade = exp(-strength * min(hidden, 0.6));
    colour = vec4(texelFetch(colours, pixel, 0).rgb * shade, 1);
}`;
