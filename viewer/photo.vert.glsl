#version 300 es
// A photo on a plane ahead of its camera; from the other side it is seen dimmed.
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
}
