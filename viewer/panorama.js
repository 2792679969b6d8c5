// The strip below the picture: a scan as it is seen from its station, left to right clockwise.

import {colourOf} from 'viewer/colours.js';
import {add, direction, subtract} from 'viewer/linear.js';

const kMostColumns = 2400;              // pixels
const kUnit = 2 * Math.PI / (1 << 19);  // radians: of the angles of columns and rows

export class Panorama {
    /** onPick hears of the point that was clicked. */
    constructor(root, onPick) {
        this.root = root;
        this.canvas = root.querySelector('canvas');
        this.heading = root.querySelector('.heading');
        this.mark = root.querySelector('.mark');
        this.scan = null;
        this.canvas.addEventListener('click', (event) => {
            const box = this.canvas.getBoundingClientRect();
            const point =
                this.pointNear((event.clientX - box.left) / box.width, (event.clientY - box.top) / box.height);
            if (point >= 0) onPick(this.scan, point);
        });
    }

    show(scan, mode, scales) {
        const isNew = scan !== this.scan;
        this.scan = scan;
        this.root.classList.toggle('empty', !scan);
        if (!scan) return;
        const {canvas} = this;
        const every = Math.max(1, Math.ceil(scan.keptColumns / kMostColumns));
        canvas.width = Math.ceil(scan.keptColumns / every);
        const aspect = Math.abs(scan.zenithStep * scan.keptRows / (scan.azimuthStep * scan.keptColumns));
        canvas.height = Math.round(canvas.width * Math.min(1.2, Math.max(0.06, aspect || 0.4)));
        // A narrow scan is not blown up to the width of the page.
        const span = Math.abs(scan.azimuthStep * scan.keptColumns) / Math.PI;
        canvas.parentElement.style.width = `${100 * Math.min(1, Math.max(0.25, span))}%`;
        const image = canvas.getContext('2d').createImageData(canvas.width, canvas.height);
        const colour = [0, 0, 0];
        for (let y = 0, at = 0; y < canvas.height; ++y) {
            for (let x = 0; x < canvas.width; ++x, at += 4) {
                const point = this.pointAt((x + 0.5) / canvas.width, (y + 0.5) / canvas.height);
                if (point < 0) continue;
                colourOf(scan, point, mode, scales, colour);
                image.data.set(colour, at);
                image.data[at + 3] = 255;
            }
        }
        canvas.getContext('2d').putImageData(image, 0, 0);
        if (isNew) this.scrollToHorizon();
    }

    /** The point of a place of the panorama, from 0 to 1 across and down; -1 where there is none. */
    pointAt(across, down) {
        const {scan} = this;
        const column = Math.floor((scan.azimuthStep > 0 ? 1 - across : across) * scan.keptColumns);
        const row = Math.floor((scan.zenithStep < 0 ? 1 - down : down) * scan.keptRows);
        if (column < 0 || row < 0 || column >= scan.keptColumns || row >= scan.keptRows) return -1;
        return scan.pointAt[column * scan.keptRows + row];
    }

    /** The same, or the nearest one within a few cells. */
    pointNear(across, down) {
        for (let reach = 0; reach < 5; ++reach) {
            for (let i = -reach; i <= reach; ++i) {
                for (let j = -reach; j <= reach; ++j) {
                    const point = this.pointAt(across + i / this.scan.keptColumns, down + j / this.scan.keptRows);
                    if (point >= 0) return point;
                }
            }
        }
        return -1;
    }

    /** Where a place of the scene is in the panorama, from 0 to 1. */
    placeOf(place) {
        const {scan} = this;
        const m = scan.model;
        const off = subtract(place, scan.station);
        const [x, y, z] = [0, 4, 8].map((k) => m[k] * off[0] + m[k + 1] * off[1] + m[k + 2] * off[2]);
        const step = scan.azimuthStep;
        const along = (Math.atan2(y, x) - scan.azimuths[0] * kUnit) / (2 * Math.PI) * Math.sign(step);
        const column = (along - Math.floor(along + 1e-6)) * 2 * Math.PI / Math.abs(step) / scan.keptColumns;
        const zenith = Math.atan2(Math.hypot(x, y), z) - scan.zeniths[0] * kUnit;
        const row = zenith / scan.zenithStep / scan.keptRows;
        return [step > 0 ? 1 - column : column, scan.zenithStep < 0 ? 1 - row : row];
    }

    /** The direction of the panorama's middle as a yaw of the scene. */
    middle() {
        const {azimuths, azimuthStep, keptColumns, model: m} = this.scan;
        const azimuth = azimuths[0] * kUnit + azimuthStep * keptColumns / 2;
        const [x, y] = [Math.cos(azimuth), Math.sin(azimuth)];
        return Math.atan2(m[1] * x + m[5] * y, m[0] * x + m[4] * y);
    }

    /** Shows where the view goes, and the point that was picked. */
    follow(ahead, picked) {
        const put = (element, place) => {
            const [across, down] = place && this.scan ? this.placeOf(place) : [-1, 0];
            element.hidden = !(across >= 0 && across <= 1);
            element.style.left = `${100 * across}%`;
            element.style.top = `${100 * down}%`;
        };
        put(this.heading, ahead);
        put(this.mark, picked?.placed);
    }

    scrollToHorizon() {
        const [, down] = this.placeOf(add(this.scan.station, direction(this.middle(), 0)));
        this.root.scrollTop = down * this.canvas.clientHeight - this.root.clientHeight / 2;
    }
}
