#version 300 es
// Eye-dome lighting: a pixel is darker the farther it lies after what is around it, on a scale of
// ratios, so that edges show alike near and far. Opposite neighbours are taken together: an even
// surface lies between them, however steep it is seen, and stays as it is.
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

/// Without jags: each pixel takes from its neighbours, as a lens would.
vec3 smoothed(ivec2 pixel, ivec2 last) {
    vec3 sum = vec3(0);
    for (int x = -1; x <= 1; ++x) {
        for (int y = -1; y <= 1; ++y) {
            ivec2 at = clamp(pixel + ivec2(x, y), ivec2(0), last);
            vec3 seen = texelFetch(depths, at, 0).r < 1.0 ? texelFetch(colours, at, 0).rgb : background;
            sum += seen * float((2 - abs(x)) * (2 - abs(y)));
        }
    }
    return sum / 16.0;
}

void main() {
    ivec2 pixel = ivec2(gl_FragCoord.xy);
    float depth = texelFetch(depths, pixel, 0).r;
    ivec2 last = textureSize(depths, 0) - 1;
    colour = vec4(smoothed(pixel, last), 1);
    if (depth == 1.0) return;
    float here = logDistance(depth);
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
    float shade = exp(-strength * min(hidden, 0.35));
    colour.rgb *= shade;
}
