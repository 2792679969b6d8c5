// The panel and the buttons around the picture. What they do is up to the page; here they are built,
// filled and read.

import {kModes, kRamp} from 'viewer/colours.js';

export const byId = (id) => document.getElementById(id);

const kAxes = ['x', 'y', 'z'];
const metres = (value, digits) => `${value.toFixed(digits).replace(/^-(0\.?0*)$/, '$1')} m`;

/** The list of scans. `actions` has show(scan, isShown) and goTo(scan). */
export function fillScans(scene, actions) {
    byId('scans').replaceChildren(...scene.scans.map((scan) => {
        const item = document.createElement('li');
        const label = document.createElement('label');
        const box = Object.assign(document.createElement('input'), {type: 'checkbox', checked: scan.isShown});
        box.addEventListener('change', () => actions.show(scan, box.checked));
        const name = document.createElement('span');
        name.textContent = scan.name;
        name.title = scan.file;
        const count = document.createElement('small');
        count.textContent = shortCount(scan.count);
        count.title = `${scan.count} of ${scan.read} points`;
        label.append(box, name);
        item.append(label, count);
        if (scan.station) {
            const go = document.createElement('button');
            go.textContent = 'Go';
            go.setAttribute('aria-label', `Go to ${scan.name}`);
            go.addEventListener('click', () => actions.goTo(scan));
            item.append(go);
        }
        return item;
    }));
}

export function shortCount(count) {
    if (count >= 1e6) return `${(count / 1e6).toFixed(1)} M`;
    return count >= 1e4 ? `${Math.round(count / 1e3)} k` : String(count);
}

/** The choice of what colours stand for. */
export function fillModes(possible, chosen, onChoice) {
    byId('modes').replaceChildren(...kModes.map(({id, label}) => {
        const choice = document.createElement('label');
        const input = Object.assign(document.createElement('input'), {
            type: 'radio',
            name: 'mode',
            value: id,
            checked: id === chosen,
            disabled: !possible.includes(id),
        });
        input.addEventListener('change', () => onChoice(id));
        const text = document.createElement('span');
        text.textContent = label;
        choice.append(input, text);
        return choice;
    }));
}

export function chooseMode(mode) {
    for (const input of document.querySelectorAll('#modes input')) input.checked = input.value === mode;
}

/** What the colours of height and range stand for. */
export function showLegend(mode, scales, origin) {
    const legend = byId('legend');
    const isShown = mode === 'height' || mode === 'range' || mode === 'intensity';
    legend.hidden = !isShown;
    if (!isShown) return;
    const {low, high} = scales[mode];
    const text = (value) => mode === 'intensity' ? Math.round(value) :
                                                   metres(value + (mode === 'height' ? origin[2] : 0), 1);
    const [from, bar, to] = legend.children;
    from.textContent = text(low);
    to.textContent = text(high);
    const stops = mode === 'intensity' ? ['#000', '#fff'] :
                                         [0, 32, 64, 96, 128, 160, 192, 224, 255].map(
                                             (i) => `rgb(${kRamp.subarray(4 * i, 4 * i + 3).join(' ')})`);
    bar.style.background = `linear-gradient(90deg, ${stops.join(', ')})`;
}

function fillTable(section, rows) {
    section.hidden = rows.length === 0;
    section.querySelector('tbody').replaceChildren(...rows.map(([name, value, mark]) => {
        const row = document.createElement('tr');
        const head = document.createElement('th');
        const cell = document.createElement('td');
        head.scope = 'row';
        head.textContent = name;
        cell.textContent = value;
        if (mark === 'begin') row.className = 'begin';
        if (mark?.startsWith('rgb')) {
            const sample = document.createElement('i');
            sample.style.background = mark;
            cell.prepend(sample);
        }
        row.append(head, cell);
        return row;
    }));
}

/** Everything that is known of a picked point, as rows of a name and a value. */
export function pointRows(point) {
    if (!point) return [];
    const digits = point.isExact ? 5 : 4;
    const rows = [['Scan', point.scan]];
    if (point.cell) rows.push(['Column, row', `${point.cell.column}, ${point.cell.row}`]);
    kAxes.forEach((axis, k) => rows.push([`Aligned ${axis}`, metres(point.aligned[k], digits)]));
    if (point.range !== null) {
        kAxes.forEach((axis, k) => rows.push([`Scanner ${axis}`, metres(point.scanner[k], digits)]));
        rows.push(['Range', metres(point.range, digits)]);
    }
    rows.push(['Intensity', String(+point.intensity.toFixed(3))]);
    if (point.colour) {
        rows.push(['Colour', point.colour.join(', '), `rgb(${point.colour.join(' ')})`]);
    }
    rows.push(['Precision', point.isExact ? 'as in the file' : `\u00b1 ${(1000 * point.precision).toFixed(2)} mm`]);
    return rows;
}

export function showPoint(point) {
    fillTable(byId('point'), pointRows(point));
}

export function showDistances(distances) {
    fillTable(byId('distances'), distances.flatMap((distance, i) => [
        [`Distance ${i + 1}`, metres(distance.length, 4), 'begin'],
        ['dx', metres(distance.dx, 4)],
        ['dy', metres(distance.dy, 4)],
        ['dz', metres(distance.dz, 4)],
        ['Level', metres(distance.level, 4)],
    ]));
}

/** The six numbers of the clip box, aligned frame. */
export function fillLimits(low, high, onChange) {
    const fields = [];
    const inputs = kAxes.flatMap((axis, k) => {
        const name = document.createElement('span');
        name.textContent = axis;
        const pair = [low, high].map((limit, end) => {
            const input = Object.assign(document.createElement('input'), {type: 'number', step: 0.1});
            input.value = limit[k].toFixed(2);
            input.setAttribute('aria-label', `${axis} ${end ? 'to' : 'from'}, metres`);
            input.addEventListener('input', read);
            (fields[end] ??= []).push(input);
            return input;
        });
        return [name, ...pair];
    });
    function read() {
        const values = fields.map((side) => side.map((input) => Number.parseFloat(input.value)));
        if (values.flat().every(Number.isFinite)) onChange(values[0], values[1]);
    }
    byId('limits').replaceChildren(...inputs);
}

let hintTimer = 0;

/** A short text over the picture; it goes by itself unless it is to stay. */
export function hint(text, stays = false) {
    clearTimeout(hintTimer);
    byId('hint').textContent = text;
    if (text && !stays) hintTimer = setTimeout(() => byId('hint').textContent = '', 2500);
}

/** Shows whether a button is on. */
export function press(id, isOn) {
    byId(id).setAttribute('aria-pressed', String(isOn));
}
