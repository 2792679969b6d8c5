#version 300 es
// The depths around a place, as 24 bits in three bytes.
precision highp float;
uniform sampler2D depths;
uniform vec2 corner;  // pixels
out vec4 bytes;
void main() {
    ivec2 pixel = clamp(ivec2(gl_FragCoord.xy + corner), ivec2(0), textureSize(depths, 0) - 1);
    float depth = texelFetch(depths, pixel, 0).r * 16777215.0;
    bytes = vec4(mod(depth, 256.0), mod(floor(depth / 256.0), 256.0), floor(depth / 65536.0), 255) / 255.0;
}
