// All points of indexed scans: whole tiles are read from files that the user opens, where the view
// comes so close that the page's own points lie apart.

import {lineOf} from 'viewer/data.js';
import {cornersOf, length, multiply, project, subtract} from 'viewer/linear.js';
import {normalsOf} from 'viewer/normals.js';

const kMostPoints = 4000000;  // of tiles in memory
const kApart = 1.5;           // pixels between the page's points, from which on tiles are wanted

export class FullScan {
    /** onChange: when tiles came; onFailure: with a text. */
    constructor(scan, onChange, onFailure) {
        Object.assign(this, {scan, onChange, onFailure});
        this.tiles = new Map();  // number: what is drawn, in the order of their last use
        this.waiting = new Set();
        const text = document.querySelector('[data-module="viewer/tiles_worker.js"]').textContent;
        this.worker = new Worker(URL.createObjectURL(new Blob([text], {type: 'text/javascript'})));
        this.worker.onmessage = ({data}) => this.take(data);
    }

    /** Opens the two files. */
    open(scanFile, indexFile) {
        const {bytes, indexBytes} = this.scan.files;
        if (scanFile.size !== bytes || indexFile.size !== indexBytes) {
            this.onFailure(`${scanFile.name} is not the file that this page was made from.`);
            return;
        }
        this.worker.postMessage({open: {scan: scanFile, index: indexFile}});
    }

    take(answer) {
        if (answer.failed) {
            this.waiting.delete(answer.tile);
            this.onFailure(answer.failed);
        } else if (answer.opened) {
            this.layout = answer.opened;
            this.boxes = this.findBoxes();
            this.onChange();
        } else {
            this.waiting.delete(answer.tile);
            this.tiles.set(answer.tile, this.setOf(answer));
            this.onChange();
        }
    }

    /** What is drawn of a tile. */
    setOf(tile) {
        const {scan} = this;
        const {tileSize, columns} = this.layout;
        const count = tile.intensities.length;
        const set = {
            ...tile,
            scan,
            count,
            positions: Float32Array.from(tile.exact),
            angularStep: scan.angularStep * scan.keptColumns / columns,
            drawing: null,
        };
        const pointAt = new Int32Array(tileSize * tileSize).fill(-1);
        for (let i = 0; i < count; ++i) {
            pointAt[tile.columns[i] % tileSize * tileSize + tile.rows[i] % tileSize] = i;
        }
        set.normals = normalsOf({positions: set.positions, pointAt}, tileSize, tileSize);
        return set;
    }

    /** The boxes around the page's points of each tile, frame of the scan. */
    findBoxes() {
        const {tileSize, tilesDown, points} = this.layout;
        const {scan} = this;
        const boxes = Array.from(points, () => null);
        for (let i = 0; i < scan.count; ++i) {
            const column = lineOf(Math.floor(scan.cells[i] / scan.keptRows), scan.keptColumns, scan.columns);
            const row = lineOf(scan.cells[i] % scan.keptRows, scan.keptRows, scan.rows);
            const k = Math.floor(column / tileSize) * tilesDown + Math.floor(row / tileSize);
            const box = boxes[k] ??= {low: [1e9, 1e9, 1e9], high: [-1e9, -1e9, -1e9]};
            for (let c = 0; c < 3; ++c) {
                const value = scan.positions[3 * i + c];
                box.low[c] = Math.min(box.low[c], value);
                box.high[c] = Math.max(box.high[c], value);
            }
        }
        return boxes;
    }

    /** Asks for the tiles that the view shows too coarsely, and lets go of what it has no room for. */
    want(frame, height) {
        if (!this.layout || !this.scan.isShown) return;
        const camera = multiply(frame.projection, multiply(frame.view, this.scan.model));
        const view = multiply(frame.view, this.scan.model);
        const focal = frame.projection[5] * height / 2;
        const wanted = [];
        this.boxes.forEach((box, k) => {
            if (!box || !isSeen(box, camera)) return;
            const centre = box.low.map((value, c) => (value + box.high[c]) / 2);
            const depth = -(view[2] * centre[0] + view[6] * centre[1] + view[10] * centre[2] + view[14]);
            const near = Math.max(0.3, depth - length(subtract(box.high, box.low)) / 2);
            const apart = focal * this.scan.angularStep * length(centre) / near;
            if (apart > kApart) wanted.push({k, apart});
        });
        wanted.sort((a, b) => b.apart - a.apart);
        let room = kMostPoints;
        for (const {k} of wanted) {
            room -= this.layout.points[k];
            if (room < 0) break;
            const tile = this.tiles.get(k);
            if (tile) {
                this.tiles.delete(k);
                this.tiles.set(k, tile);  // used last
            } else if (!this.waiting.has(k)) {
                this.waiting.add(k);
                this.worker.postMessage({tile: k});
            }
        }
    }

    /** Tiles that were not used for longest go first. Calls release with each. */
    trim(release) {
        let held = 0;
        for (const tile of this.tiles.values()) held += tile.count;
        for (const [k, tile] of this.tiles) {
            if (held <= kMostPoints) break;
            held -= tile.count;
            this.tiles.delete(k);
            release(tile);
        }
    }
}

/** Whether a part of a box can lie in the picture. */
function isSeen(box, m) {
    const outside = [0, 0, 0, 0, 0];
    for (const corner of cornersOf(box)) {
        const [x, y, w] = project(m, corner);
        [x<-w, x>w, y<-w, y>w, w <= 0].forEach((is, side) => outside[side] += is);
    }
    return !outside.includes(8);
}
