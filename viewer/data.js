// Unpacks the points that the page holds. They end up in an order from coarse to fine, so that the
// first n of them are an even part of the scan for any n.

import {modelMatrix, transform} from 'viewer/linear.js';
import {normalsOf} from 'viewer/normals.js';

/** The scene with its scans unpacked; `onScan` hears how many are ready. */
export async function loadScene(onScan) {
    const scene = JSON.parse(document.getElementById('scene').textContent);
    const texts = [...document.querySelectorAll('script.points')];
    const first = scene.scans[0];
    scene.origin =
        transform(modelMatrix(first.matrix, first.corner ?? [0, 0, 0], [0, 0, 0]), [0, 0, 0]).map(Math.floor);
    for (const [number, scan] of scene.scans.entries()) {
        const bytes = await inflate(texts[number].textContent);
        texts[number].remove();
        scan.number = number;
        scan.isShown = true;
        scan.model = modelMatrix(scan.matrix, scan.corner ?? [0, 0, 0], scene.origin);
        (scan.kind === 'grid' ? unpackGrid : unpackCloud)(scan, new PackedBytes(bytes), scene);
        await onScan(number + 1);
    }
    return scene;
}

async function inflate(base64) {
    const text = atob(base64);
    const packed = new Uint8Array(text.length);
    for (let i = 0; i < text.length; ++i) packed[i] = text.charCodeAt(i);
    const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream('deflate'));
    return new Uint8Array(await new Response(stream).arrayBuffer());
}

/** Takes numbers from the bytes, one kind after the other. */
class PackedBytes {
    constructor(bytes) {
        this.bytes = bytes;
        this.at = 0;
    }

    take(size) {
        if (this.at + size > this.bytes.length) throw new Error('The points are incomplete.');
        this.at += size;
        return this.bytes.subarray(this.at - size, this.at);
    }

    numbers(count) { return new Int32Array(this.take(4 * count).slice().buffer); }

    /** Numbers that lie byte by byte, and had their sign in the lowest bit. */
    signed(count, planes) {
        const out = new Int32Array(count);
        for (let plane = 0; plane < planes; ++plane) {
            const bytes = this.take(count);
            for (let i = 0; i < count; ++i) out[i] |= bytes[i] << 8 * plane;
        }
        for (let i = 0; i < count; ++i) out[i] = (out[i] >>> 1) ^ -(out[i] & 1);
        return out;
    }
}

/** Intensities and colours; `place` is where each point goes. */
function unpackValues(scan, bytes, place) {
    const count = place.length;
    scan.intensities = new Uint16Array(count);
    bytes.signed(count, 2).reduce((last, off, i) => scan.intensities[place[i]] = last + off, 0);
    scan.colours = null;
    if (!scan.hasColour) return;
    scan.colours = new Uint8Array(4 * count);
    const [red, green, blue] = [bytes.take(count), bytes.take(count), bytes.take(count)];
    let [r, g, b] = [0, 0, 0];
    for (let i = 0; i < count; ++i) {
        r += red[i];
        g += red[i] + green[i];
        b += red[i] + green[i] + blue[i];
        scan.colours.set([r, g, b, 255], 4 * place[i]);
    }
}

// A grid.

/** The column or row of the scan that a kept one is. */
function lineOf(kept, keptLines, lines) { return Math.floor((2 * kept + 1) * lines / (2 * keptLines)); }

/** The cell of the scan that a point lies in; null in a cloud. */
export function cellOf(scan, point) {
    if (!scan.cells) return null;
    const {cells, keptColumns, keptRows, columns, rows} = scan;
    const column = lineOf(Math.floor(cells[point] / keptRows), keptColumns, columns);
    return {column, row: lineOf(cells[point] % keptRows, keptRows, rows)};
}

function unpackGrid(scan, bytes, scene) {
    const {keptColumns: columns, keptRows: rows} = scan;
    scan.azimuths = bytes.numbers(columns);
    scan.zeniths = bytes.numbers(rows);
    const present = bytes.take(Math.ceil(columns * rows / 8));
    const ordered = coarseToFine(columns, rows, (cell) => present[cell >> 3] >> (cell & 7) & 1);
    const count = scan.count = ordered.cells.length;
    scan.cells = ordered.cells;            // of each point
    scan.pointAt = ordered.pointAt;        // of each cell; -1 where there is none
    const place = new Uint32Array(count);  // of each point in the order of the cells
    for (let cell = 0, i = 0; cell < columns * rows; ++cell) {
        if (scan.pointAt[cell] >= 0) place[i++] = scan.pointAt[cell];
    }
    const ranges = unpackRanges(scan, bytes.signed(count, 4), place);
    const azimuthsOff = bytes.signed(count, 3);
    const zenithsOff = bytes.signed(count, 3);
    scan.positions = new Float32Array(3 * count);
    for (let i = 0; i < count; ++i) {
        const cell = scan.cells[place[i]];
        const azimuth = (scan.azimuths[Math.floor(cell / rows)] + azimuthsOff[i]) * scene.angleUnit;
        const zenith = (scan.zeniths[cell % rows] + zenithsOff[i]) * scene.angleUnit;
        const range = ranges[place[i]] * scene.lengthUnit;
        const flat = range * Math.sin(zenith);
        const at = 3 * place[i];
        scan.positions[at] = flat * Math.cos(azimuth);
        scan.positions[at + 1] = flat * Math.sin(azimuth);
        scan.positions[at + 2] = range * Math.cos(zenith);
    }
    unpackValues(scan, bytes, place);
    const [across, down] = [scan.azimuths, scan.zeniths].map((all) => stepsOf(all, scene.angleUnit));
    Object.assign(scan, {azimuthStep: across.average, zenithStep: down.average});
    scan.angularStep = Math.max(across.widest, down.widest) || 0.01;
    scan.spacing = 0;
    scan.station = transform(scan.model, [0, 0, 0]);
    scan.normals = normalsOf(scan, columns, rows);
}

/** The angle from one line to the next, radians: its average, and the widest; gaps are left out. */
function stepsOf(angles, unit) {
    const turn = Math.round(2 * Math.PI / unit);
    const steps = [];
    for (let i = 1; i < angles.length; ++i) {
        const step = angles[i] - angles[i - 1];
        if (step !== 0) steps.push(step - turn * Math.round(step / turn));
    }
    steps.sort((a, b) => Math.abs(a) - Math.abs(b));
    const middle = Math.abs(steps[steps.length >> 1] ?? 0);
    const usual = steps.filter((step) => Math.abs(step) <= 2.5 * middle);
    const widest = Math.abs(usual[Math.floor(0.97 * usual.length)] ?? 0);
    const sum = usual.reduce((total, step) => total + step, 0);
    return {average: sum / (usual.length || 1) * unit, widest: widest * unit};
}

/** Undoes the prediction of ranges from their neighbours, cell by cell. */
function unpackRanges(scan, offs, place) {
    const {keptRows: rows, pointAt} = scan;
    const ranges = new Float64Array(scan.count);
    const rangeAt = (cell) => pointAt[cell] >= 0 ? ranges[pointAt[cell]] : 0;
    let last = 0;
    for (let i = 0; i < offs.length; ++i) {
        const cell = scan.cells[place[i]];
        const above = cell % rows > 0 ? rangeAt(cell - 1) : 0;
        const left = cell >= rows ? rangeAt(cell - rows) : 0;
        const corner = cell % rows > 0 && cell >= rows ? rangeAt(cell - rows - 1) : 0;
        let expected = last;
        if (above && left && corner) {
            const low = Math.min(above, left);
            expected = Math.min(Math.max(above + left - corner, low), above + left - low);
        } else if (above || left) {
            expected = above || left;
        }
        last = ranges[place[i]] = (expected + offs[i]) >>> 0;
    }
    return ranges;
}

/**
 * All cells with a point: every 2^k-th column and row first, then the cells between these, level by
 * level; the columns of a level come spread over the whole scan.
 */
function coarseToFine(columns, rows, isPresent) {
    const cells = new Uint32Array(columns * rows);
    const pointAt = new Int32Array(columns * rows).fill(-1);
    let count = 0;
    const top = 1 << Math.ceil(Math.log2(Math.max(columns, rows, 2)));
    for (let stride = top; stride >= 1; stride >>= 1) {
        const coarser = stride < top ? 2 * stride : 0;
        for (const step of spreadOrder(Math.ceil(columns / stride))) {
            const column = step * stride;
            const isOld = coarser > 0 && column % coarser === 0;
            for (let row = isOld ? stride : 0; row < rows; row += isOld ? coarser : stride) {
                const cell = column * rows + row;
                if (!isPresent(cell)) continue;
                pointAt[cell] = count;
                cells[count++] = cell;
            }
        }
    }
    return {cells: cells.slice(0, count), pointAt};
}

/** 0 to count - 1 in the order of their bits read backwards. */
function spreadOrder(count) {
    const bits = Math.ceil(Math.log2(Math.max(count, 1)));
    const order = [];
    for (let i = 0; i < 1 << bits; ++i) {
        let reversed = 0;
        for (let bit = 0; bit < bits; ++bit) reversed |= (i >> bit & 1) << (bits - 1 - bit);
        if (reversed < count) order.push(reversed);
    }
    return order;
}

// A cloud.

function unpackCloud(scan, bytes, scene) {
    const count = scan.count = scan.points;
    const place = new Uint32Array(count);
    spreadOrder(count).forEach((from, to) => place[from] = to);
    scan.positions = new Float32Array(3 * count);
    for (let axis = 0; axis < 3; ++axis) {
        bytes.signed(count, 4).reduce((last, off, i) => {
            scan.positions[3 * place[i] + axis] = (last + off) * scene.lengthUnit;
            return last + off;
        }, 0);
    }
    unpackValues(scan, bytes, place);
    scan.spacing = spacingOf(scan, place);
    scan.angularStep = 0;
    scan.cells = scan.pointAt = scan.normals = scan.station = null;
}

/** How far neighbours lie apart, metres: the median of the steps from each point to the next. */
function spacingOf(scan, place) {
    const steps = [];
    const every = Math.max(1, Math.floor(scan.count / 20000));
    for (let i = 1; i < scan.count; i += every) {
        const [a, b] = [3 * place[i - 1], 3 * place[i]];
        steps.push(Math.hypot(...[0, 1, 2].map((k) => scan.positions[b + k] - scan.positions[a + k])));
    }
    steps.sort((a, b) => a - b);
    return steps[steps.length >> 1] || 0.01;
}
