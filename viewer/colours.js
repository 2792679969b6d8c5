// What a point's colour stands for: the modes, and one ramp for all that is a number.

/** In the order of their numbers in the shader. */
export const kModes = [
    {id: 'colour', label: 'Colour'},
    {id: 'intensity', label: 'Intensity'},
    {id: 'height', label: 'Height'},
    {id: 'range', label: 'Range'},
    {id: 'normals', label: 'Normals'},
];

/** The ramp from low to high. */
export const kStops = ['#31206f', '#3657b8', '#2b93cf', '#30bfa6', '#7fd35c', '#dcd044', '#f29a37', '#cf4130'];

/** The same as an image of 256 colours. */
export const kRamp = makeRamp();

function makeRamp() {
    const context = new OffscreenCanvas(256, 1).getContext('2d');
    context.fillStyle = context.createLinearGradient(0.5, 0, 255.5, 0);
    kStops.forEach((stop, i) => context.fillStyle.addColorStop(i / (kStops.length - 1), stop));
    context.fillRect(0, 0, 256, 1);
    return context.getImageData(0, 0, 256, 1);
}

/** Red, green and blue of a point on a processor, as the shader paints it. */
export function colourOf(scan, i, mode, scales, out) {
    const {model: m, colours, normals} = scan;
    if (mode === 'colour' && colours) {
        for (let c = 0; c < 3; ++c) out[c] = 255 * Math.pow(colours[4 * i + c] / 255, scales.colour.gamma);
        return;
    }
    if (mode === 'normals') {
        const [x, y, z] = normals.subarray(4 * i, 4 * i + 3);
        for (let c = 0; c < 3; ++c) out[c] = 127.5 + m[c] * x + m[4 + c] * y + m[8 + c] * z;
        return;
    }
    const [x, y, z] = scan.positions.subarray(3 * i, 3 * i + 3);
    const {low, high, gamma} = scales[mode === 'colour' ? 'intensity' : mode];
    const value = {range: Math.hypot(x, y, z), height: m[2] * x + m[6] * y + m[10] * z + m[14]}[mode];
    const share = Math.min(1, Math.max(0, ((value ?? scan.intensities[i]) - low) / (high - low || 1)));
    if (value === undefined) out.fill(255 * Math.pow(share, gamma));
    else
        for (let c = 0; c < 3; ++c) out[c] = kRamp.data[4 * Math.round(255 * share) + c];
}
