// Picked points and the distances between them: what they are, and their marks over the picture.

import {cornersOf, length, multiply, project, subtract} from 'viewer/linear.js';

const kSvg = 'http://www.w3.org/2000/svg';

export class Measurements {
    constructor(overlay) {
        this.overlay = overlay;
        this.picked = null;  // the last point that was picked
        this.start = null;   // of a distance whose end is not there yet
        this.distances = [];
    }

    /** Takes a point of a distance; two make one. */
    add(point) {
        if (!this.start) {
            this.start = point;
            return null;
        }
        const [dx, dy, dz] = subtract(point.placed, this.start.placed);
        const distance = {
            from: this.start,
            to: point,
            dx,
            dy,
            dz,
            length: length([dx, dy, dz]),
            level: Math.hypot(dx, dy),
        };
        this.distances.push(distance);
        this.start = null;
        return distance;
    }

    clear() {
        this.distances = [];
        this.start = null;
    }

    /** Puts the marks where the points are in the frame, and the clip box where there is one. */
    place(frame, box, width, height) {
        const camera = multiply(frame.projection, frame.view);
        const toScreen = (place) => {
            const [x, y, w] = project(camera, place);
            return w > 0 ? [(x / w + 1) * width / 2, (1 - y / w) * height / 2] : null;
        };
        const marks = [];
        const line = (a, b, kind) => {
            if (!a || !b) return;
            marks.push(element('line', {x1: a[0], y1: a[1], x2: b[0], y2: b[1], class: kind}));
        };
        if (box) {
            const corners = cornersOf(box).map(toScreen);
            for (let i = 0; i < 8; ++i) {
                for (const bit of [1, 2, 4]) {
                    if (!(i & bit)) line(corners[i], corners[i | bit], 'box');
                }
            }
        }
        const dot = (point, kind) => {
            const at = toScreen(point.placed);
            if (at) marks.push(element('circle', {cx: at[0], cy: at[1], r: 5, class: kind}));
        };
        for (const distance of this.distances) {
            const [a, b] = [toScreen(distance.from.placed), toScreen(distance.to.placed)];
            line(a, b, 'halo');
            line(a, b, 'way');
            if (a && b) {
                const label = element('text', {x: (a[0] + b[0]) / 2, y: (a[1] + b[1]) / 2 - 10});
                label.textContent = `${distance.length.toFixed(3)} m`;
                marks.push(label);
            }
            dot(distance.from, 'end');
            dot(distance.to, 'end');
        }
        if (this.start) dot(this.start, 'end');
        if (this.picked) dot(this.picked, 'picked');
        this.overlay.replaceChildren(...marks);
    }
}

function element(name, attributes) {
    const made = document.createElementNS(kSvg, name);
    for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
    return made;
}
