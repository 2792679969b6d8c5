// What the points of all scans are like, from some of them: between which values they lie, and where.

import {length, transform} from 'viewer/linear.js';

/** Sorted values of some points of each scan. */
export function samplesOf(scans) {
    const samples = {x: [], y: [], height: [], range: [], intensity: [], colour: []};
    for (const {count, model, positions, intensities, colours} of scans) {
        const step = Math.max(1, Math.floor(count / 30000));
        for (let i = 0; i < count; i += step) {
            const local = positions.subarray(3 * i, 3 * i + 3);
            const [x, y, height] = transform(model, local);
            const point = {x, y, height, range: length(local), intensity: intensities[i]};
            if (colours) point.colour = colours[4 * i + 1];
            for (const [name, value] of Object.entries(point)) samples[name].push(value);
        }
    }
    for (const values of Object.values(samples)) values.sort((a, b) => a - b);
    return samples;
}

/** The value that so large a share of the samples lies below. */
const at = (values, share) => values[Math.round(share * (values.length - 1))] ?? 0;

/** Low and high of each mode, and the exponent of its curve. */
export function scalesOf(samples) {
    const scales = {colour: {low: 0, high: 255}};
    for (const mode of ['intensity', 'height', 'range']) {
        scales[mode] = {low: at(samples[mode], 0.01), high: at(samples[mode], 0.99)};
    }
    // Streets are dark but for a few signs, and so are photos of plants: a curve brings their middle to
    // where eyes see best. Colours are only made brighter, and keep their ends.
    const curve = (mode, wanted, least, most) => {
        const {low, high} = scales[mode];
        const place = Math.min(0.95, Math.max(0.02, (at(samples[mode], 0.5) - low) / (high - low || 1)));
        scales[mode].gamma = Math.min(most, Math.max(least, Math.log(wanted) / Math.log(place)));
    };
    curve('intensity', 0.45, 0.3, 1.2);
    curve('colour', 0.3, 0.45, 1);
    return scales;
}

/** The box of the points, and one of most of them: a few stray far ones are not what one looks at. */
export function boundsOf({x, y, height}) {
    const box = (share) => ({
        low: [x, y, height].map((axis) => at(axis, share)),
        high: [x, y, height].map((axis) => at(axis, 1 - share)),
    });
    return {...box(0), most: box(0.01)};
}
