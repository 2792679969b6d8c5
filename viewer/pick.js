// Finds the point under a place of the picture, and says what is known of it.

import {lineOf} from 'viewer/data.js';
import {length, multiply, transform} from 'viewer/linear.js';

const kReach = 6;  // pixels

/**
 * The point nearest to the eye of those that cover the place; of points of one surface the one nearest
 * to the place. `frame` is the one that was drawn, x and y are pixels of it. Null where there is none.
 */
export function findPoint(frame, width, height, x, y) {
    let best = null;
    const camera = multiply(frame.projection, frame.view);
    const focal = frame.projection[5] * height / 2;
    const across = 2 * x / width - 1;
    const up = 1 - 2 * y / height;
    for (const set of frame.sets) {
        const m = multiply(camera, set.scan.model);
        const p = set.positions;
        const isInside = clipTest(frame.clip, set.scan.model);
        for (let i = 0, at = 0; i < set.count; ++i, at += 3) {
            const px = p[at], py = p[at + 1], pz = p[at + 2];
            const w = m[3] * px + m[7] * py + m[11] * pz + m[15];
            if (w <= 0) continue;
            const dx = ((m[0] * px + m[4] * py + m[8] * pz + m[12]) / w - across) * width / 2;
            if (dx > 48 || dx < -48) continue;
            const dy = ((m[1] * px + m[5] * py + m[9] * pz + m[13]) / w - up) * height / 2;
            if (dy > 48 || dy < -48) continue;
            const spread = set.angularStep > 0 ? set.angularStep * Math.hypot(px, py, pz) : set.scan.spacing;
            const reach = Math.min(48, Math.max(kReach, frame.size * focal * spread / w / 2));
            const off = Math.hypot(dx, dy);
            if (off > reach || !isInside(px, py, pz)) continue;
            const isNearer = !best || w < best.w * 0.98;
            const isSameSurface = best && w < best.w * 1.02;
            if (isNearer || (isSameSurface && off < best.off)) best = {set, i, w, off};
        }
    }
    return best && {set: best.set, index: best.i};
}

function clipTest({low, high}, m) {
    if (low[0] === -Infinity || low[0] < -1e8) return () => true;
    return (x, y, z) => [0, 1, 2].every((k) => {
        const value = m[k] * x + m[4 + k] * y + m[8 + k] * z + m[12 + k];
        return value >= low[k] && value <= high[k];
    });
}

/** What is known of a point: its cell, places in both frames, range, intensity, colour, scan. */
export function describePoint(scene, {set, index}) {
    const {scan} = set;
    const place = set.exact ?? set.positions;
    const local = Array.from(place.subarray(3 * index, 3 * index + 3));
    const range = scan.kind === 'grid' ? length(local) : null;
    const scanner = local.map((value, k) => value + (scan.corner ?? [0, 0, 0])[k]);
    const placed = transform(scan.model, local);
    const colour = set.colours ? Array.from(set.colours.subarray(4 * index, 4 * index + 3)) : null;
    const across = scan.kind === 'grid' ? range * scene.angleUnit * Math.SQRT1_2 : 0;
    return {
        scan: scan.name,
        number: scan.number,
        cell: cellOf(set, index),
        scanner,
        aligned: placed.map((value, k) => value + scene.origin[k]),
        placed,
        range,
        intensity: set.intensities[index],
        colour,
        isExact: Boolean(set.exact),
        precision: set.exact ? 0 : Math.hypot(scene.lengthUnit / 2, across),
    };
}

function cellOf(set, index) {
    const {scan} = set;
    if (set.exact) return {column: set.columns[index], row: set.rows[index]};
    if (!scan.cells) return null;
    const column = Math.floor(scan.cells[index] / scan.keptRows);
    const row = scan.cells[index] % scan.keptRows;
    return {
        column: lineOf(column, scan.keptColumns, scan.columns),
        row: lineOf(row, scan.keptRows, scan.rows),
    };
}
