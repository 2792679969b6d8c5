// Finds the point at a place of the picture, and says what is known of it.

import {cellOf} from 'viewer/data.js';
import {add, length, transform} from 'viewer/linear.js';

/**
 * The direction through a place of the picture, pixels of a picture so wide and high: one long ahead of
 * the eye.
 */
export function rayThrough({view, projection}, width, height, x, y) {
    const across = (2 * x / width - 1) / projection[0];
    const up = (1 - 2 * y / height) / projection[5];
    return [0, 4, 8].map((k) => across * view[k] + up * view[k + 1] - view[k + 2]);
}

/** The point of a drawn frame that is nearest to a place in the scene: its set and its index. */
export function findPoint({sets, clip}, place) {
    let found = null;
    let least = Infinity;
    for (const set of sets) {
        const {model: m} = set.scan;
        const p = set.positions;
        for (let i = 0, at = 0; i < set.count; ++i, at += 3) {
            const x = m[0] * p[at] + m[4] * p[at + 1] + m[8] * p[at + 2] + m[12];
            const y = m[1] * p[at] + m[5] * p[at + 1] + m[9] * p[at + 2] + m[13];
            const z = m[2] * p[at] + m[6] * p[at + 1] + m[10] * p[at + 2] + m[14];
            const off = (x - place[0]) ** 2 + (y - place[1]) ** 2 + (z - place[2]) ** 2;
            if (off >= least || [x, y, z].some((v, k) => v < clip.low[k] || v > clip.high[k])) continue;
            least = off;
            found = {set, index: i};
        }
    }
    return found;
}

/** What is known of a point: its cell, places in both frames, range, intensity, colour, scan. */
export function describePoint(scene, {set, index}) {
    const {scan} = set;
    const isGrid = scan.kind === 'grid';
    const local = Array.from((set.exact ?? set.positions).subarray(3 * index, 3 * index + 3));
    const range = isGrid ? length(local) : null;
    const placed = transform(scan.model, local);
    return {
        scan: scan.name,
        number: scan.number,
        cell: set.exact ? {column: set.columns[index], row: set.rows[index]} : cellOf(scan, index),
        scanner: add(local, scan.corner ?? [0, 0, 0]),
        aligned: add(placed, scene.origin),
        placed,
        range,
        intensity: set.intensities[index],
        colour: set.colours ? Array.from(set.colours.subarray(4 * index, 4 * index + 3)) : null,
        isExact: Boolean(set.exact),
        precision: set.exact ? 0 : Math.hypot(scene.lengthUnit / 2, range * scene.angleUnit * Math.SQRT1_2),
    };
}
