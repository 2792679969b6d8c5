// Picked points and the distances between them: what they are, and their marks over the picture.

import {cornersOf, length, multiply, project, subtract} from 'viewer/linear.js';

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
        const [way, level] = [length([dx, dy, dz]), Math.hypot(dx, dy)];
        const distance = {from: this.start, to: point, dx, dy, dz, length: way, level};
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
            const [x, y, w] = place ? project(camera, place) : [0, 0, 0];
            return w > 0 ? [(x / w + 1) * width / 2, (1 - y / w) * height / 2] : null;
        };
        const line = (a, b, kind) =>
            a && b ? `<line x1="${a[0]}" y1="${a[1]}" x2="${b[0]}" y2="${b[1]}" class="${kind}"/>` : '';
        const dot = (at, kind) => at ? `<circle cx="${at[0]}" cy="${at[1]}" r="5" class="${kind}"/>` : '';
        const corners = box ? cornersOf(box).map(toScreen) : [];
        const edges = corners.flatMap(
            (corner, i) => [1, 2, 4].map((bit) => i & bit ? '' : line(corner, corners[i | bit], 'box')));
        const ways = this.distances.map((distance) => {
            const [a, b] = [toScreen(distance.from.placed), toScreen(distance.to.placed)];
            if (!a || !b) return dot(a, 'end') + dot(b, 'end');
            const [x, y] = [(a[0] + b[0]) / 2, (a[1] + b[1]) / 2 - 10];
            const label = `<text x="${x}" y="${y}">${distance.length.toFixed(3)} m</text>`;
            return line(a, b, 'halo') + line(a, b, 'way') + label + dot(a, 'end') + dot(b, 'end');
        });
        const points = [dot(toScreen(this.start?.placed), 'end'), dot(toScreen(this.picked?.placed), 'picked')];
        this.overlay.innerHTML = [...edges, ...ways, ...points].join('');  // numbers only
    }
}
