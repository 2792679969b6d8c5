#version 300 es
// A point is a disc in its surface, as large as the cell of the grid that the scanner saw there: surfaces
// have no holes from the station, and from elsewhere none where they were seen at a steep enough angle.
precision highp float;
layout(location = 0) in vec3 position;   // metres, frame of the scan
layout(location = 1) in vec4 colour;
layout(location = 2) in float intensity;
layout(location = 3) in vec4 normal;     // and whether neighbours on all sides agree
uniform highp mat4 model, view, projection;
uniform int mode;                        // as kModes are in order
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
    if (mode == 1) return vec3(pow(share, scale.z));
    // A light from above and one side shows the form of what is alike high or far.
    vec3 facing = mat3(model) * normal.xyz;
    float light = dot(facing, facing) > 0.0 ? abs(dot(normalize(facing), vec3(0.36, 0.48, 0.8))) : 1.0;
    return texture(ramp, vec2(share, 0.5)).rgb * (0.72 + 0.28 * light);
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
}
