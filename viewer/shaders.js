// The programs of the graphics processor: points, photos, and the shading of edges.
//
// A point is a disc in its surface, as large as the cell of the grid that the scanner saw there: surfaces
// have no holes from the station, and from elsewhere none where they were seen at a steep enough angle.

export const kPointVertex = `#version 300 es
precision highp float;
layout(location = 0) in vec3 position;   // metres, frame of the scan
layout(location = 1) in vec4 colour;
layout(location = 2) in float intensity;
layout(location = 3) in vec4 normal;     // and whether neighbours on all sides agree
uniform highp mat4 model, view, projection;
uniform int mode;                        // as kModeNumbers
uniform vec3 scale;                      // low and high of the mode, exponent
uniform vec3 clipLow, clipHigh;
uniform float angularStep, spacing;      // radians of a grid, metres of a cloud
uniform float focal, size;               // pixels
uniform float farther;                   // a factor: how far after its place a point is drawn
uniform sampler2D ramp;
out vec3 tint;
flat out vec3 centre, facing, beam;      // frame of the view: of the disc; from the scanner to it
flat out float radius, diameter;         // metres, pixels


vec3 paint(vec3 place) {
    if (mode == 0) return pow(colour.rgb, vec3(scale.z));
    if (mode == 4) return dot(normal.xyz, normal.xyz) > 0.0 ? mat3(model) * normal.xyz * 0.5 + 0.5 : vec3(0.5);
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
    mat3 turn = mat3(view) * mat3(model);
    float range = length(position);
    bool isFlat = angularStep > 0.0 && dot(normal.xyz, normal.xyz) > 0.0;
    centre = seen.xyz;
    beam = angularStep > 0.0 ? turn * position / range : normalize(centre);
    facing = isFlat ? normalize(turn * normal.xyz) : -normalize(centre);
    // At the edge of a surface a disc must not be long: it would reach out of it.
    float flattest = normal.w > 0.0 ? 0.17 : 0.6;
    float slope = abs(dot(facing, beam));
    if (isFlat && slope < flattest) facing = normalize(facing - (flattest - slope) * beam);
    radius = 0.5 * size * (angularStep > 0.0 ? angularStep * range : spacing);
    float longest = isFlat ? 1.0 / max(slope, flattest) : 1.0;
    // Away from the middle of the picture, angles take more pixels.
    float depth = max(-seen.z, 0.01);
    diameter = clamp(2.0 * focal * radius * longest * length(centre) / (depth * depth), 1.0, 128.0);
    gl_PointSize = diameter;
}`;

export const kPointFragment = `#version 300 es
precision highp float;
in vec3 tint;
flat in vec3 centre, facing, beam;
flat in float radius, diameter;
uniform mat4 projection;
uniform vec2 picture;  // pixels
out vec4 colour;
void main() {
    colour = vec4(tint, 1);
    float z = centre.z;
    if (diameter > 3.0) {
        vec2 at = (2.0 * gl_FragCoord.xy / picture - 1.0) / vec2(projection[0][0], projection[1][1]);
        vec3 ray = vec3(at, -1);
        vec3 hit = ray * dot(facing, centre) / dot(facing, ray);
        vec3 off = hit - centre;
        off -= dot(off, beam) * beam;
        float share = dot(off, off) / (radius * radius);
        if (!(share < 1.0)) discard;
        z = hit.z - 0.3 * radius * share;  // of discs that overlap, the one with the nearest middle shows
    }
    gl_FragDepth = 0.5 - 0.5 * (projection[2][2] + projection[3][2] / z);
}`;

// A photo on a plane ahead of its camera; from the other side it is seen dimmed.
export const kPhotoVertex = `#version 300 es
precision highp float;
uniform mat4 model, view, projection;
uniform vec4 sides;   // left, right, bottom, top, one metre ahead of the camera
uniform float away;   // metres ahead of the camera
out vec2 place;
void main() {
    vec2 corner = vec2(gl_VertexID & 1, gl_VertexID >> 1);
    place = vec2(corner.x, 1.0 - corner.y);
    vec3 ahead = vec3(mix(sides.xz, sides.yw, corner), -1) * away;
    gl_Position = projection * view * model * vec4(ahead, 1);
}`;

export const kPhotoFragment = `#version 300 es
precision mediump float;
uniform sampler2D photo;
uniform float opacity;
in vec2 place;
out vec4 colour;
void main() {
    vec2 inside = min(place, 1.0 - place) / fwidth(place);
    vec3 seen = texture(photo, place).rgb;
    if (opacity == 1.0 && min(inside.x, inside.y) < 1.5) seen = vec3(1);
    colour = vec4(gl_FrontFacing ? seen : mix(seen, vec3(0.5), 0.6), opacity);
}`;

export const kScreenVertex = `#version 300 es
void main() {
    gl_Position = vec4(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0, 0, 1);
}`;

// The depths around a place, as 24 bits in three bytes.
export const kDepthFragment = `#version 300 es
precision highp float;
uniform sampler2D depths;
uniform vec2 corner;  // pixels
out vec4 bytes;
void main() {
    ivec2 pixel = clamp(ivec2(gl_FragCoord.xy + corner), ivec2(0), textureSize(depths, 0) - 1);
    float depth = texelFetch(depths, pixel, 0).r * 16777215.0;
    bytes = vec4(mod(depth, 256.0), mod(floor(depth / 256.0), 256.0), floor(depth / 65536.0), 255) / 255.0;
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
