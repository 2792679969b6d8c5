// All points of indexed scans: whole tiles are read from files that the user opens, where the view
// comes so close that the page's own points lie apart.

import {cellOf} from 'viewer/data.js';
import {fileText} from 'viewer/gl.js';
import {length, multiply, project} from 'viewer/linear.js';
import {normalsOf} from 'viewer/normals.js';

const kMostPoints = 4000000;  // of tiles in memory
const kSamples = 200000;      // of the page's points that show which tiles are seen
const kApart = 1.5;           // pixels between the page's points, from which on tiles are wanted

export class FullScan {
    /** Opens the two files. onChange: when tiles came; onFailure: with a text. */
    constructor(scan, scanFile, indexFile, onChange, onFailure) {
        Object.assign(this, {scan, onChange, onFailure});
        this.tiles = new Map();  // number: what is drawn, in the order of their last use
        this.waiting = new Set();
        const text = new Blob([fileText('tiles_worker.js')], {type: 'text/javascript'});
        this.worker = new Worker(URL.createObjectURL(text));
        this.worker.onmessage = ({data}) => this.take(data);
        this.worker.postMessage({open: {scan: scanFile, index: indexFile}});
    }

    take(answer) {
        this.waiting.delete(answer.tile);
        if (answer.failed) return this.onFailure(answer.failed);
        if (answer.opened) this.layout = answer.opened;
        else this.tiles.set(answer.tile, this.setOf(answer));
        return this.onChange();
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

    /** How far the page's points lie apart in the picture, pixels, in each tile that is seen. */
    tilesSeen(frame, height) {
        const {layout, scan} = this;
        const camera = multiply(frame.projection, multiply(frame.view, scan.model));
        const focal = frame.projection[5] * height / 2;
        const seen = new Map();
        for (let i = 0; i < Math.min(scan.count, kSamples); ++i) {
            const place = scan.positions.subarray(3 * i, 3 * i + 3);
            const [x, y, w] = project(camera, place);
            if (w < 0.3 || Math.abs(x) > w || Math.abs(y) > w) continue;
            const {column, row} = cellOf(scan, i);
            const k = Math.floor(column / layout.tileSize) * layout.tilesDown + Math.floor(row / layout.tileSize);
            seen.set(k, Math.max(seen.get(k) ?? 0, focal * scan.angularStep * length(place) / w));
        }
        return seen;
    }

    /** Asks for the tiles that the view shows too coarsely, and lets go of what it has no room for. */
    want(frame, height) {
        if (!this.layout || !this.scan.isShown) return;
        const wanted = [...this.tilesSeen(frame, height)].filter(([, apart]) => apart > kApart);
        wanted.sort((a, b) => b[1] - a[1]);
        let room = kMostPoints;
        for (const [k] of wanted) {
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
