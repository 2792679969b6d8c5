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
    const samples = {colour: [], intensity: [], height: [], range: []};
    for (const scan of scans) {
        const m = scan.model;
        const step = Math.max(1, Math.floor(scan.count / 20000));
        for (let i = 0; i < scan.count; i += step) {
            const [x, y, z] = scan.positions.subarray(3 * i, 3 * i + 3);
            samples.intensity.push(scan.intensities[i]);
            samples.height.push(m[2] * x + m[6] * y + m[10] * z + m[14]);
            samples.range.push(Math.hypot(x, y, z));
            if (scan.colours) samples.colour.push(scan.colours[4 * i + 1]);
        }
    }
    const scales = {};
    for (const [mode, values] of Object.entries(samples)) {
        values.sort((a, b) => a - b);
        const at = (share) => values[Math.floor(share * (values.length - 1))] ?? 0;
        scales[mode] = {low: at(0.01), high: at(0.99)};
    }
    // Streets are dark but for a few signs, and so are photos of plants: a curve brings their middle to
    // where eyes see best. Colours are only made brighter, and keep their ends.
    scales.colour = {low: 0, high: 255};
    const curve = (mode, wanted, least, most) => {
        const {low, high} = scales[mode];
        const middle = samples[mode][samples[mode].length >> 1] ?? high;
        const place = Math.min(0.95, Math.max(0.02, (middle - low) / (high - low || 1)));
        scales[mode].gamma = Math.min(most, Math.max(least, Math.log(wanted) / Math.log(place)));
    };
    curve('intensity', 0.45, 0.3, 1.2);
    curve('colour', 0.3, 0.45, 1);
    return scales;
}

/** Red, green and blue of a point on a processor, as the shader paints it. */
export function colourOf(scan, i, mode, scales, out) {
    if (mode === 'colour' && scan.colours) {
        for (let c = 0; c < 3; ++c) {
            out[c] = 255 * Math.pow(scan.colours[4 * i + c] / 255, scales.colour.gamma);
        }
    } else if (mode === 'intensity' || mode === 'colour') {
        const {low, high, gamma} = scales.intensity;
        const share = Math.min(1, Math.max(0, (scan.intensities[i] - low) / (high - low || 1)));
        out.fill(255 * Math.pow(share, gamma), 0, 3);
    } else if (mode === 'normals' && scan.normals) {
        const m = scan.model;
        const [x, y, z] = scan.normals.subarray(4 * i, 4 * i + 3);
        for (let c = 0; c < 3; ++c) out[c] = 127.5 + m[c] * x + m[4 + c] * y + m[8 + c] * z;
    } else {
        const m = scan.model;
        const [x, y, z] = scan.positions.subarray(3 * i, 3 * i + 3);
        const value = mode === 'range' ? Math.hypot(x, y, z) : m[2] * x + m[6] * y + m[10] * z + m[14];
        const {low, high} = scales[mode === 'range' ? 'range' : 'height'];
        const share = Math.min(1, Math.max(0, (value - low) / (high - low || 1)));
        const at = 4 * Math.round(255 * share);
        for (let c = 0; c < 3; ++c) out[c] = kRamp[at + c];
    }
}
