// Vectors and 4x4 matrices in double precision. Matrices are column-major, as WebGL takes them.

export function add(a, b, scale = 1) { return [a[0] + b[0] * scale, a[1] + b[1] * scale, a[2] + b[2] * scale]; }

export function subtract(a, b) { return [a[0] - b[0], a[1] - b[1], a[2] - b[2]]; }

export function length(a) { return Math.hypot(a[0], a[1], a[2]); }

export function multiply(a, b) {
    const out = new Float64Array(16);
    for (let c = 0; c < 4; ++c) {
        for (let r = 0; r < 4; ++r) {
            let sum = 0;
            for (let k = 0; k < 4; ++k) sum += a[4 * k + r] * b[4 * c + k];
            out[4 * c + r] = sum;
        }
    }
    return out;
}

/** A row-by-row matrix of the scene, with a shift before and another one after it. */
export function modelMatrix(rows, before, after) {
    const m = new Float64Array(16);
    for (let r = 0; r < 4; ++r) {
        for (let c = 0; c < 4; ++c) m[4 * c + r] = rows[4 * r + c];
    }
    const moved = transform(m, before);
    for (let k = 0; k < 3; ++k) m[12 + k] = moved[k] - after[k];
    return m;
}

export function transform(m, p) {
    return [0, 1, 2].map((r) => m[r] * p[0] + m[4 + r] * p[1] + m[8 + r] * p[2] + m[12 + r]);
}

export function perspective(fieldOfView, aspect, near, far) {
    const f = 1 / Math.tan(fieldOfView / 2);
    const m = new Float64Array(16);
    m[0] = f / aspect;
    m[5] = f;
    m[10] = (far + near) / (near - far);
    m[11] = -1;
    m[14] = 2 * far * near / (near - far);
    return m;
}

/** Looks along `yaw` (from +x to +y) and `pitch` (up), with z upright. */
export function lookAlong(eye, yaw, pitch) {
    const [cy, sy, cp, sp] = [Math.cos(yaw), Math.sin(yaw), Math.cos(pitch), Math.sin(pitch)];
    const right = [sy, -cy, 0];
    const up = [-sp * cy, -sp * sy, cp];
    const back = [-cp * cy, -cp * sy, -sp];
    const m = new Float64Array(16);
    [right, up, back].forEach((axis, r) => {
        for (let c = 0; c < 3; ++c) m[4 * c + r] = axis[c];
        m[12 + r] = -(axis[0] * eye[0] + axis[1] * eye[1] + axis[2] * eye[2]);
    });
    m[15] = 1;
    return m;
}

export function direction(yaw, pitch) {
    return [Math.cos(pitch) * Math.cos(yaw), Math.cos(pitch) * Math.sin(yaw), Math.sin(pitch)];
}

/** Where a place comes out in the picture: across and up from -1 to 1, each times w, and w, its depth. */
export function project(m, p) {
    return [0, 1, 3].map((r) => m[r] * p[0] + m[4 + r] * p[1] + m[8 + r] * p[2] + m[12 + r]);
}

/** The eight corners of a box: bit k of their number chooses the high side of axis k. */
export function cornersOf({low, high}) {
    return [0, 1, 2, 3, 4, 5, 6, 7].map((i) => [0, 1, 2].map((k) => (i >> k & 1 ? high : low)[k]));
}
