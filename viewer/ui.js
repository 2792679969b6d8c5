// The panel and the buttons around the picture. What they do is up to the page; here they are built,
// filled and read.

import {kModes, kStops} from 'viewer/colours.js';

export const byId = (id) => document.getElementById(id);

const kAxes = ['x', 'y', 'z'];
const metres = (value, digits) => `${value.toFixed(digits).replace(/^-(0\.?0*)$/, '$1')} m`;

/** An element with properties, or attributes where a name has a dash, and what is in it. */
export function make(name, properties = {}, ...children) {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(properties)) {
        if (key.includes('-')) made.setAttribute(key, value);
        else made[key] = value;
    }
    made.append(...children);
    return made;
}

/** The list of scans. `actions` has show(scan, isShown) and goTo(scan). */
export function fillScans(scene, actions) {
    byId('scans').replaceChildren(...scene.scans.map((scan) => {
        const onchange = (event) => actions.show(scan, event.target.checked);
        const box = make('input', {type: 'checkbox', checked: scan.isShown, onchange});
        const label = make('label', {}, box, make('span', {title: scan.file}, scan.name));
        const count = make('small', {title: `${scan.count} of ${scan.read} points`}, shortCount(scan.count));
        const onclick = () => actions.goTo(scan);
        const go = make('button', {'aria-label': `Go to ${scan.name}`, onclick, hidden: !scan.station}, 'Go');
        return make('li', {}, label, count, go);
    }));
}

export function shortCount(count) {
    if (count >= 1e6) return `${(count / 1e6).toFixed(1)} M`;
    return count >= 1e4 ? `${Math.round(count / 1e3)} k` : String(count);
}

/** The choice of what colours stand for. */
export function fillModes(possible, onChoice) {
    byId('modes').replaceChildren(...kModes.map(({id, label}) => {
        const disabled = !possible.includes(id);
        const input = make('input', {type: 'radio', name: 'mode', value: id, disabled, onchange: () => onChoice(id)});
        return make('label', {}, input, make('span', {}, label));
    }));
}

export function chooseMode(mode) {
    for (const input of document.querySelectorAll('#modes input')) input.checked = input.value === mode;
}

/** What the colours of height and range stand for. */
export function showLegend(mode, scales, origin) {
    const legend = byId('legend');
    legend.hidden = !['height', 'range', 'intensity'].includes(mode);
    if (legend.hidden) return;
    const {low, high} = scales[mode];
    const text = (value) =>
        mode === 'intensity' ? Math.round(value) : metres(value + (mode === 'height' ? origin[2] : 0), 1);
    const [from, bar, to] = legend.children;
    from.textContent = text(low);
    to.textContent = text(high);
    const stops = mode === 'intensity' ? ['#000', '#fff'] : kStops;
    bar.style.background = `linear-gradient(90deg, ${stops.join(', ')})`;
}

function fillTable(section, rows) {
    section.hidden = rows.length === 0;
    section.querySelector('tbody').replaceChildren(...rows.map(([name, value, mark]) => {
        const sample = make('i', {hidden: !mark?.startsWith('rgb')});
        sample.style.background = mark;
        const row = make('tr', {}, make('th', {scope: 'row'}, name), make('td', {}, sample, value));
        row.classList.toggle('begin', mark === 'begin');
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

export function showPoint(point) { fillTable(byId('point'), pointRows(point)); }

export function showDistances(distances) {
    const parts = ['dx', 'dy', 'dz', 'level'];
    const rowsOf = (distance, i) => {
        const first = [`Distance ${i + 1}`, metres(distance.length, 4), 'begin'];
        return [first, ...parts.map((part) => [part, metres(distance[part], 4)])];
    };
    fillTable(byId('distances'), distances.flatMap(rowsOf));
}

/** The six numbers of the clip box, aligned frame. */
export function fillLimits(low, high, onChange) {
    const inputOf = (axis, end, value) => {
        const label = `${axis} ${end ? 'to' : 'from'}, metres`;
        return make('input', {type: 'number', step: 0.1, value: value.toFixed(2), 'aria-label': label, oninput: read});
    };
    const inputs = kAxes.map((axis, k) => [low, high].map((limit, end) => inputOf(axis, end, limit[k])));
    function read() {
        const [from, to] = [0, 1].map((end) => inputs.map((pair) => Number.parseFloat(pair[end].value)));
        if ([...from, ...to].every(Number.isFinite)) onChange(from, to);
    }
    byId('limits').replaceChildren(...kAxes.flatMap((axis, k) => [make('span', {}, axis), ...inputs[k]]));
}

let hintTimer = 0;

/** A short text over the picture; it goes by itself unless it is to stay. */
export function hint(text, stays = false) {
    clearTimeout(hintTimer);
    byId('hint').textContent = text;
    if (text && !stays) hintTimer = setTimeout(() => byId('hint').textContent = '', 2500);
}

/** Shows whether a button is on. */
export function press(id, isOn) { byId(id).setAttribute('aria-pressed', String(isOn)); }
