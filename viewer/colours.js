// What a point's colour stands for: the modes, their scales, and one ramp for all that is a number.

export const kModes = [
    {id: 'colour', label: 'Colour'},
    {id: 'intensity', label: 'Intensity'},
    {id: 'height', label: 'Height'},
    {id: 'range', label: 'Range'},
    {id: 'normals', label: 'Normals'},
];

const kStops = ['#31206f', '#3657b8', '#2b93cf', '#30bfa6', '#7fd35c', '#dcd044', '#f29a37', '#cf4130'];

/** 256 colours, from low to high: red, green, blue and 255 of each. */
export const kRamp = makeRamp();

function makeRamp() {
    const stops = kStops.map((hex) => [1, 3, 5].map((i) => parseInt(hex.slice(i, i + 2), 16)));
    const ramp = new Uint8Array(4 * 256);
    for (let i = 0; i < 256; ++i) {
        const place = i / 255 * (stops.length - 1);
        const from = Math.min(Math.floor(place), stops.length - 2);
        for (let c = 0; c < 3; ++c) {
            ramp[4 * i + c] = stops[from][c] + (place - from) * (stops[from + 1][c] - stops[from][c]);
        }
        ramp[4 * i + 3] = 255;
    }
    return ramp;
}

/** Low and high of a mode over all scans: percentiles of some of the points. */
export function scalesOf(scans) {
    const samples = {intensity: [], height: [], range: []};
    for (const scan of scans) {
        const m = scan.model;
        const step = Math.max(1, Math.floor(scan.count / 20000));
        for (let i = 0; i < scan.count; i += step) {
            const [x, y, z] = scan.positions.subarray(3 * i, 3 * i + 3);
            samples.intensity.push(scan.intensities[i]);
            samples.height.push(m[2] * x + m[6] * y + m[10] * z + m[14]);
            samples.range.push(Math.hypot(x, y, z));
        }
    }
    const scales = {};
    for (const [mode, values] of Object.entries(samples)) {
        values.sort((a, b) => a - b);
        const at = (share) => values[Math.floor(share * (values.length - 1))] ?? 0;
        scales[mode] = {low: at(0.01), high: at(0.99)};
    }
    // Streets are dark but for a few signs: a curve brings their middle to where eyes see best.
    const {low, high} = scales.intensity;
    const middle = samples.intensity[Math.floor(samples.intensity.length / 2)] ?? 0;
    const place = Math.min(0.9, Math.max(0.02, (middle - low) / (high - low || 1)));
    scales.intensity.gamma = Math.min(1.2, Math.max(0.3, Math.log(0.45) / Math.log(place)));
    return scales;
}

/** Red, green and blue of a point on a processor, as the shader paints it. */
export function colourOf(scan, i, mode, scales, out) {
    if (mode === 'colour' && scan.colours) {
        for (let c = 0; c < 3; ++c) out[c] = scan.colours[4 * i + c];
    } else if (mode === 'intensity' || mode === 'colour') {
        const {low, high, gamma} = scales.intensity;
        const share = Math.min(1, Math.max(0, (scan.intensities[i] - low) / (high - low || 1)));
        out.fill(255 * Math.pow(share, gamma), 0, 3);
    } else if (mode === 'normals' && scan.normals) {
        for (let c = 0; c < 3; ++c) out[c] = 127.5 + scan.normals[4 * i + c];
    } else {
        const m = scan.model;
        const [x, y, z] = scan.positions.subarray(3 * i, 3 * i + 3);
        const value = mode === 'range' ? Math.hypot(x, y, z) :
                                         m[2] * x + m[6] * y + m[10] * z + m[14];
        const {low, high} = scales[mode === 'range' ? 'range' : 'height'];
        const share = Math.min(1, Math.max(0, (value - low) / (high - low || 1)));
        const at = 4 * Math.round(255 * share);
        for (let c = 0; c < 3; ++c) out[c] = kRamp[at + c];
    }
}
