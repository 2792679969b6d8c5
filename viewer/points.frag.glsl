#version 300 es
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
}
