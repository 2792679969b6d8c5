// Draws the points. While the view moves, as many as the machine has time for; at rest all of them,
// part by part into a picture that is shown when it is complete.

import {kRamp} from 'viewer/colours.js';
import {kAway} from 'viewer/photos.js';
import * as shaders from 'viewer/shaders.js';

const kModeNumbers = {
    colour: 0,
    intensity: 1,
    height: 2,
    range: 3,
    normals: 4
};
const kMovingTime = 40;  // milliseconds a frame
const kFewest = 60000;   // points of a frame
const kReach = 6;        // pixels around a click

export class Renderer {
    constructor(canvas) {
        const gl = this.gl = canvas.getContext('webgl2', {antialias: false, alpha: false});
        if (!gl) throw new Error('This browser does not offer WebGL 2.');
        this.canvas = canvas;
        this.points = new Program(gl, shaders.kPointVertex, shaders.kPointFragment);
        this.photos = new Program(gl, shaders.kPhotoVertex, shaders.kPhotoFragment);
        this.depths = new Program(gl, shaders.kScreenVertex, shaders.kDepthFragment);
        this.screen = new Program(gl, shaders.kScreenVertex, shaders.kScreenFragment);
        this.empty = gl.createVertexArray();
        this.quick = new Target(gl);
        this.fine = new Target(gl);
        this.probe = new Target(gl);
        this.shown = this.quick;  // the one on the screen
        this.ramp = gl.createTexture();
        gl.bindTexture(gl.TEXTURE_2D, this.ramp);
        gl.texImage2D(gl.TEXTURE_2D, 0, gl.RGBA, 256, 1, 0, gl.RGBA, gl.UNSIGNED_BYTE, kRamp);
        for (const [name, value] of [
                 [gl.TEXTURE_MIN_FILTER, gl.LINEAR], [gl.TEXTURE_MAG_FILTER, gl.LINEAR],
                 [gl.TEXTURE_WRAP_S, gl.CLAMP_TO_EDGE]]) {
            gl.texParameteri(gl.TEXTURE_2D, name, value);
        }
        this.budget = 400000;  // points of a frame while the view moves
        this.drawn = 0;        // points in the picture that is shown
        this.work = null;      // what is left to draw at rest
    }

    /** Takes points to the graphics processor: a scan, or a tile of one. */
    upload(points) {
        const gl = this.gl;
        const array = gl.createVertexArray();
        gl.bindVertexArray(array);
        const buffers = [];
        const attribute = (place, data, size, type, normalized) => {
            if (!data) return;
            const buffer = gl.createBuffer();
            buffers.push(buffer);
            gl.bindBuffer(gl.ARRAY_BUFFER, buffer);
            gl.bufferData(gl.ARRAY_BUFFER, data, gl.STATIC_DRAW);
            gl.enableVertexAttribArray(place);
            gl.vertexAttribPointer(place, size, type, normalized, 0, 0);
        };
        attribute(0, points.positions, 3, gl.FLOAT, false);
        attribute(1, points.colours, 4, gl.UNSIGNED_BYTE, true);
        const isExact = points.intensities instanceof Float32Array;
        attribute(2, points.intensities, 1, isExact ? gl.FLOAT : gl.UNSIGNED_SHORT, false);
        attribute(3, points.normals, 4, gl.BYTE, true);
        gl.bindVertexArray(null);
        points.drawing = {array, buffers};
    }

    /** Takes a picture of the page to the graphics processor. */
    uploadImage(image) {
        const {gl} = this;
        const texture = gl.createTexture();
        gl.bindTexture(gl.TEXTURE_2D, texture);
        gl.texImage2D(gl.TEXTURE_2D, 0, gl.RGB8, gl.RGB, gl.UNSIGNED_BYTE, image);
        gl.generateMipmap(gl.TEXTURE_2D);
        gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_WRAP_S, gl.CLAMP_TO_EDGE);
        gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_WRAP_T, gl.CLAMP_TO_EDGE);
        return texture;
    }

    release(points) {
        points.drawing.buffers.forEach((buffer) => this.gl.deleteBuffer(buffer));
        this.gl.deleteVertexArray(points.drawing.array);
        points.drawing = null;
    }

    /**
     * Draws a frame. `frame` has: sets (what was uploaded, each with its scan), camera matrices, mode,
     * scales, clip box, size, edges, background. Returns whether there is more to draw at rest.
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
            this.drawPhotos(frame, frame.photos.placed, kAway, 1);
            this.show(this.quick, frame);
            this.measure(start, all);
            this.drawn = Math.ceil(all * share);
            return true;
        }
        if (!this.work) {
            this.fine.begin(this.canvas);
            this.work = frame.sets.map((set) => [set, 0, set.count]);
        }
        this.drawParts(this.fine, frame, this.nextParts(), 1);
        if (this.work.length > 0) return true;
        this.drawPhotos(frame, frame.photos.placed, kAway, 1);
        this.show(this.fine, frame);
        this.work = null;
        this.drawn = all;
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
        const gl = this.gl;
        this.points.use();
        target.bind();
        this.points.set({view: frame.view, projection: frame.projection, size: frame.size * enlarged});
        this.points.set({clipLow: frame.clip.low, clipHigh: frame.clip.high});
        const {width, height} = this.canvas;
        this.points.set({focal: frame.projection[5] * height / 2, picture: [width, height]});
        gl.activeTexture(gl.TEXTURE0);
        gl.bindTexture(gl.TEXTURE_2D, this.ramp);
        for (const [set, from, to] of parts) {
            if (to <= from) continue;
            const {scan} = set;
            const mode = frame.mode === 'colour' && !scan.colours ? 'intensity' : frame.mode;
            const scale = frame.scales[mode] ?? {low: 0, high: 1};
            // The page's own points are wider than those of a tile, and would hide them.
            const farther = set.exact ? 1 : frame.farther(scan);
            this.points.set({model: scan.model, scale: [scale.low, scale.high, scale.gamma ?? 1], farther});
            this.points.set({angularStep: set.angularStep, spacing: scan.spacing});
            gl.uniform1i(this.points.uniforms.mode, kModeNumbers[mode]);
            gl.bindVertexArray(set.drawing.array);
            gl.drawArrays(gl.POINTS, from, to - from);
        }
        gl.bindVertexArray(null);
    }

    drawPhotos({view, projection}, photos, away, opacity) {
        const {gl} = this;
        this.photos.use();
        gl.activeTexture(gl.TEXTURE0);
        gl.enable(gl.BLEND);
        gl.blendFuncSeparate(gl.SRC_ALPHA, gl.ONE_MINUS_SRC_ALPHA, gl.ONE, gl.ONE);
        gl.bindVertexArray(this.empty);
        for (const {texture, model, sides} of photos) {
            this.photos.set({view, projection, model, sides, away, opacity});
            gl.bindTexture(gl.TEXTURE_2D, texture);
            gl.drawArrays(gl.TRIANGLE_STRIP, 0, 4);
        }
        gl.bindVertexArray(null);
        gl.disable(gl.BLEND);
    }

    /** Brings a picture of points to the screen, with its edges shaded. */
    show(target, frame) {
        const {gl} = this;
        this.shown = target;
        gl.bindFramebuffer(gl.FRAMEBUFFER, null);
        gl.viewport(0, 0, this.canvas.width, this.canvas.height);
        gl.disable(gl.DEPTH_TEST);
        target.bindTextures(this.screen.use().uniforms);
        const reach = Math.max(1, Math.round(this.canvas.height / 500));
        this.screen.set({planes: [frame.near, frame.far], strength: 3 * frame.edges, reach});
        this.screen.set({background: frame.background});
        gl.bindVertexArray(this.empty);
        gl.drawArrays(gl.TRIANGLES, 0, 3);
        gl.bindVertexArray(null);
        this.drawPhotos(frame, frame.photos.cover, 1, frame.photos.opacity);
    }

    /**
     * What is in the picture at a pixel, or nearest to it within a few: the pixel, and how far ahead of the
     * eye it lies, metres. Null where there is nothing.
     */
    lookAt({near, far}, x, y) {
        const {gl, probe, shown} = this;
        const size = 2 * kReach + 1;
        probe.begin({width: size, height: size});
        gl.disable(gl.DEPTH_TEST);
        shown.bindTextures(this.depths.use().uniforms);
        this.depths.set({corner: [Math.floor(x) - kReach, shown.height - 1 - Math.floor(y) - kReach]});
        gl.bindVertexArray(this.empty);
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
        const gl = this.gl;
        gl.readPixels(0, 0, 1, 1, gl.RGBA, gl.UNSIGNED_BYTE, new Uint8Array(4));  // waits for it
        const change = kMovingTime / Math.max(performance.now() - start, 1);
        this.budget *= Math.min(1.5, Math.max(0.5, change));
        this.budget = Math.min(Math.max(this.budget, kFewest), Math.max(all, kFewest));
    }
}

/** A picture with depths that points are drawn into. */
class Target {
    constructor(gl) {
        this.gl = gl;
        this.width = this.height = 0;
        this.frame = gl.createFramebuffer();
        this.colours = gl.createTexture();
        this.depths = gl.createTexture();
    }

    begin({width, height}) {
        const gl = this.gl;
        if (width !== this.width || height !== this.height) this.resize(width, height);
        this.bind();
        gl.clearColor(0, 0, 0, 0);
        gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
    }

    bind() {
        const gl = this.gl;
        gl.bindFramebuffer(gl.FRAMEBUFFER, this.frame);
        gl.viewport(0, 0, this.width, this.height);
        gl.enable(gl.DEPTH_TEST);
    }

    resize(width, height) {
        const gl = this.gl;
        Object.assign(this, {width, height});
        gl.bindFramebuffer(gl.FRAMEBUFFER, this.frame);
        const attach = (texture, place, inner, outer, type) => {
            gl.bindTexture(gl.TEXTURE_2D, texture);
            gl.texImage2D(gl.TEXTURE_2D, 0, inner, width, height, 0, outer, type, null);
            gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MIN_FILTER, gl.NEAREST);
            gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MAG_FILTER, gl.NEAREST);
            gl.framebufferTexture2D(gl.FRAMEBUFFER, place, gl.TEXTURE_2D, texture, 0);
        };
        attach(this.colours, gl.COLOR_ATTACHMENT0, gl.RGBA8, gl.RGBA, gl.UNSIGNED_BYTE);
        attach(this.depths, gl.DEPTH_ATTACHMENT, gl.DEPTH_COMPONENT24, gl.DEPTH_COMPONENT, gl.UNSIGNED_INT);
    }

    bindTextures(uniforms) {
        const gl = this.gl;
        [[this.colours, uniforms.colours], [this.depths, uniforms.depths]].forEach(([texture, uniform], unit) => {
            gl.activeTexture(gl.TEXTURE0 + unit);
            gl.bindTexture(gl.TEXTURE_2D, texture);
            gl.uniform1i(uniform, unit);
        });
    }
}

class Program {
    constructor(gl, vertex, fragment) {
        this.gl = gl;
        this.program = gl.createProgram();
        for (const [type, text] of [[gl.VERTEX_SHADER, vertex], [gl.FRAGMENT_SHADER, fragment]]) {
            const shader = gl.createShader(type);
            gl.shaderSource(shader, text);
            gl.compileShader(shader);
            if (!gl.getShaderParameter(shader, gl.COMPILE_STATUS)) {
                throw new Error(gl.getShaderInfoLog(shader));
            }
            gl.attachShader(this.program, shader);
        }
        gl.linkProgram(this.program);
        this.uniforms = {};
        const count = gl.getProgramParameter(this.program, gl.ACTIVE_UNIFORMS);
        for (let i = 0; i < count; ++i) {
            const {name} = gl.getActiveUniform(this.program, i);
            this.uniforms[name] = gl.getUniformLocation(this.program, name);
        }
    }

    use() {
        this.gl.useProgram(this.program);
        return this;
    }

    /** Numbers, vectors and matrices by their names, as long as they are. */
    set(values) {
        const {gl} = this;
        for (const [name, value] of Object.entries(values)) {
            const place = this.uniforms[name];
            if (value.length === 16) gl.uniformMatrix4fv(place, false, Float32Array.from(value));
            else if (value.length) gl[`uniform${value.length}fv`](place, Float32Array.from(value));
            else gl.uniform1f(place, value);
        }
    }
}
