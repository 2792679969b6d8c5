// Draws the points. While the view moves, as many as the machine has time for; at rest all of them,
// part by part into a picture that is shown when it is complete.

import {kModes, kRamp} from 'viewer/colours.js';
import {makeTexture, Program, Target, uploadPoints} from 'viewer/gl.js';
import {kAway} from 'viewer/photos.js';

const kMovingTime = 40;  // milliseconds a frame
const kFewest = 60000;   // points of a frame
const kReach = 6;        // pixels around a click

export class Renderer {
    constructor(canvas) {
        const gl = this.gl = canvas.getContext('webgl2', {antialias: false, alpha: false});
        if (!gl) throw new Error('This browser does not offer WebGL 2.');
        this.canvas = canvas;
        this.points = new Program(gl, 'points', 'points');
        this.photos = new Program(gl, 'photo', 'photo');
        this.depths = new Program(gl, 'screen', 'depth');
        this.screen = new Program(gl, 'screen', 'screen');
        [this.quick, this.fine, this.probe] = [0, 1, 2].map(() => new Target(gl));
        this.shown = this.quick;  // the one on the screen
        this.ramp = makeTexture(gl, {image: kRamp});
        this.budget = 400000;  // points of a frame while the view moves
        this.work = null;      // what is left to draw at rest
    }

    /**
     * Draws a frame. `frame` has: sets (points, each with its scan), photos, camera matrices, mode, scales,
     * clip box, size, edges, background. Returns whether there is more to draw at rest.
     */
    draw(frame, isMoving) {
        const all = frame.sets.reduce((sum, set) => sum + set.count, 0);
        if (isMoving) {
            this.work = null;
            const start = performance.now();
            const share = Math.min(1, this.budget / Math.max(all, 1));
            this.quick.begin(this.canvas);
            // Fewer points are larger ones.
            const parts = frame.sets.map((set) => [set, 0, Math.ceil(set.count * share)]);
            this.drawParts(this.quick, frame, parts, 1 / Math.sqrt(share));
            this.show(this.quick, frame);
            this.measure(start, all);
            return true;
        }
        if (!this.work) {
            this.fine.begin(this.canvas);
            this.work = frame.sets.map((set) => [set, 0, set.count]);
        }
        this.drawParts(this.fine, frame, this.nextParts(), 1);
        if (this.work.length > 0) return true;
        this.show(this.fine, frame);
        this.work = null;
        return false;
    }

    /** The next of what is left, about as much as a frame has time for. */
    nextParts() {
        const parts = [];
        let room = Math.max(this.budget, 4 * kFewest);
        while (this.work.length > 0 && room > 0) {
            const [set, from, to] = this.work[0];
            const end = Math.min(to, from + room);
            parts.push([set, from, end]);
            room -= end - from;
            if (end === to) this.work.shift();
            else this.work[0][1] = end;
        }
        return parts;
    }

    drawParts(target, frame, parts, enlarged) {
        const {gl, points} = this;
        const {width, height} = this.canvas;
        const {view, projection, clip} = frame;
        target.bind();
        points.use({ramp: this.ramp});
        points.set({view, projection, clipLow: clip.low, clipHigh: clip.high, size: frame.size * enlarged});
        points.set({focal: projection[5] * height / 2, picture: [width, height]});
        for (const [set, from, to] of parts) {
            if (!set.drawing) uploadPoints(gl, set);
            const {scan, angularStep} = set;
            const {model, spacing} = scan;
            const mode = frame.mode === 'colour' && !scan.colours ? 'intensity' : frame.mode;
            const {low, high, gamma} = frame.scales[mode] ?? {low: 0, high: 1};
            // The page's own points are wider than those of a tile, and would hide them.
            const farther = set.exact ? 1 : frame.farther(scan);
            points.set({model, spacing, angularStep, farther, scale: [low, high, gamma ?? 1]});
            gl.uniform1i(points.uniforms.mode, kModes.findIndex(({id}) => id === mode));
            gl.bindVertexArray(set.drawing.array);
            gl.drawArrays(gl.POINTS, from, to - from);
        }
        gl.bindVertexArray(null);
    }

    drawPhotos({view, projection}, photos, away, opacity) {
        const {gl} = this;
        gl.enable(gl.BLEND);
        gl.blendFuncSeparate(gl.SRC_ALPHA, gl.ONE_MINUS_SRC_ALPHA, gl.ONE, gl.ONE);
        for (const {texture, model, sides} of photos) {
            this.photos.use({photo: texture});
            this.photos.set({view, projection, model, sides, away, opacity});
            gl.drawArrays(gl.TRIANGLE_STRIP, 0, 4);
        }
        gl.disable(gl.BLEND);
    }

    /** Brings a picture of points to the screen, with its edges shaded. */
    show(target, frame) {
        const {gl, screen} = this;
        this.shown = target;
        this.drawPhotos(frame, frame.photos.placed, kAway, 1);
        gl.bindFramebuffer(gl.FRAMEBUFFER, null);
        gl.disable(gl.DEPTH_TEST);
        screen.use({colours: target.colours, depths: target.depths});
        const reach = Math.max(1, Math.round(this.canvas.height / 500));
        screen.set({planes: [frame.near, frame.far], strength: 3 * frame.edges, reach, background: frame.background});
        gl.drawArrays(gl.TRIANGLES, 0, 3);
        this.drawPhotos(frame, frame.photos.cover, 1, frame.photos.opacity);
    }

    /**
     * What is in the picture at a pixel, or nearest to it within a few: the pixel, and how far ahead of the
     * eye it lies, metres. Null where there is nothing.
     */
    lookAt({near, far}, x, y) {
        const {gl, probe, depths, shown} = this;
        const size = 2 * kReach + 1;
        probe.begin({width: size, height: size});
        gl.disable(gl.DEPTH_TEST);
        depths.use({depths: shown.depths});
        depths.set({corner: [Math.floor(x) - kReach, shown.height - 1 - Math.floor(y) - kReach]});
        gl.drawArrays(gl.TRIANGLES, 0, 3);
        const bytes = new Uint8Array(4 * size * size);
        gl.readPixels(0, 0, size, size, gl.RGBA, gl.UNSIGNED_BYTE, bytes);
        let found = null;
        for (let i = 0; i < size * size; ++i) {
            const depth = (bytes[4 * i] + 256 * bytes[4 * i + 1] + 65536 * bytes[4 * i + 2]) / 16777215;
            const [dx, dy] = [i % size - kReach, kReach - Math.floor(i / size)];
            const off = Math.hypot(dx, dy);
            if (depth === 1 || off > kReach || off >= found?.off) continue;
            const ahead = 2 * near * far / (far + near - (2 * depth - 1) * (far - near));
            found = {x: Math.floor(x) + dx + 0.5, y: Math.floor(y) + dy + 0.5, ahead, off};
        }
        return found;
    }

    /** How long a frame took decides how many points the next one has. */
    measure(start, all) {
        const {gl} = this;
        gl.readPixels(0, 0, 1, 1, gl.RGBA, gl.UNSIGNED_BYTE, new Uint8Array(4));  // waits for it
        const change = kMovingTime / Math.max(performance.now() - start, 1);
        this.budget *= Math.min(1.5, Math.max(0.5, change));
        this.budget = Math.min(Math.max(this.budget, kFewest), Math.max(all, kFewest));
    }
}
