// The page: brings its parts together, and keeps what they share.

import {Camera} from 'viewer/camera.js';
import {scalesOf} from 'viewer/colours.js';
import {loadScene} from 'viewer/data.js';
import {Renderer} from 'viewer/draw.js';
import {FullScan} from 'viewer/full.js';
import {listenToKeys, listenToPointer} from 'viewer/input.js';
import {add, length, subtract, transform} from 'viewer/linear.js';
import {Measurements} from 'viewer/measure.js';
import {Panorama} from 'viewer/panorama.js';
import {Photos} from 'viewer/photos.js';
import {describePoint, findPoint, rayThrough} from 'viewer/pick.js';
import * as ui from 'viewer/ui.js';

const {byId} = ui;
const canvas = byId('view');
const kFar = [1e9, 1e9, 1e9];
const kNoClip = {
    low: kFar.map((value) => -value),
    high: kFar
};

class Page {
    constructor(scene) {
        this.scene = scene;
        this.camera = new Camera();
        this.renderer = new Renderer(canvas);
        this.measurements = new Measurements(byId('marks'));
        this.panorama = new Panorama(byId('panorama'), (scan, i) => this.flyToPoint(this.describe(scan, i)));
        this.photos = new Photos(scene, this.renderer, (photo) => this.goToPhoto(photo));
        this.photos.loaded.then(() => this.redraw());
        this.scales = scalesOf(scene.scans);
        this.bounds = boundsOf(scene.scans);
        this.clip = null;        // low and high, of the scene
        this.fulls = new Map();  // of a scan
        this.isMeasuring = false;
        this.size = 1.3;
        this.edges = 1;
        this.changed = true;  // something else than the camera
        this.shown = -1;      // version of the camera in the picture
        this.isComplete = false;
        for (const scan of scene.scans) {
            scan.scan = scan;  // a set of points that is drawn, as tiles are
            this.renderer.upload(scan);
        }
        const modes = this.possibleModes();
        this.mode = modes[0];
        this.current = scene.scans.find((scan) => scan.station) ?? null;
        this.buildPanel(modes);
        this.listen();
        this.restore();
        requestAnimationFrame((now) => this.frame(now));
    }

    possibleModes() {
        const {scans} = this.scene;
        const [first, last] = [scans.some((scan) => scan.colours), scans.some((scan) => scan.station)];
        return [...(first ? ['colour'] : []), 'intensity', 'height', ...(last ? ['range', 'normals'] : [])];
    }

    // What is drawn.

    get sets() {
        const shown = this.scene.scans.filter((scan) => scan.isShown);
        return shown.flatMap((scan) => [scan, ...(this.fulls.get(scan)?.tiles.values() ?? [])]);
    }

    makeFrame() {
        const {camera, mode, scales, size, edges, sets} = this;
        const reach = length(subtract(this.bounds.high, this.bounds.low));
        const centre = this.bounds.low.map((value, k) => (value + this.bounds.high[k]) / 2);
        const far = reach + length(subtract(centre, camera.eye)) + 1;
        const near = Math.max(0.05, Math.min(far / 20000, camera.distance / 50));
        const view = camera.view();
        const projection = camera.projection(canvas.width / canvas.height, near, far);
        const clip = this.clip ?? kNoClip;
        const farther = (scan) => this.fulls.get(scan)?.tiles.size > 0 ? 1.01 : 1;
        const background = styleColour('--scene');
        const photos = this.photos.pictures(camera.eye);
        return {sets, photos, view, projection, near, far, mode, scales, clip, size, edges, farther, background};
    }

    frame(now) {
        requestAnimationFrame((later) => this.frame(later));
        this.camera.advance(now);
        const isMoving = this.camera.version !== this.shown || this.changed;
        if (this.fit() || isMoving) {
            this.isComplete = false;
            this.shown = this.camera.version;
            this.changed = false;
            this.drawFrame(true);
        } else if (!this.isComplete) {
            this.isComplete = !this.drawFrame(false);
            if (this.isComplete) this.settle();
        }
    }

    /** Whether the picture shows all points of the view as it is now. */
    get isSettled() {
        return this.isComplete && !this.changed && this.camera.version === this.shown && !this.camera.flight;
    }

    /** Returns whether there is more to draw. */
    drawFrame(isMoving) {
        const frame = this.last = this.makeFrame();
        for (const set of frame.sets) {
            if (!set.drawing) this.renderer.upload(set);
        }
        const isMore = this.renderer.draw(frame, isMoving);
        const ratio = canvas.width / canvas.clientWidth;
        this.measurements.place(frame, this.clip, canvas.width / ratio, canvas.height / ratio);
        this.panorama.follow(this.camera.target, this.measurements.picked);
        return isMore;
    }

    /** The view is at rest: its address, and the tiles that it asks for. */
    settle() {
        history.replaceState(null, '', '#' + this.address());
        for (const full of this.fulls.values()) {
            full.want(this.last, canvas.height);
            full.trim((tile) => tile.drawing && this.renderer.release(tile));
        }
    }

    /** Gives the picture the size of its place. Returns whether that changed. */
    fit() {
        const ratio = Math.min(devicePixelRatio || 1, 2);
        const [width, height] =
            [canvas.clientWidth, canvas.clientHeight].map((pixels) => Math.max(1, Math.round(pixels * ratio)));
        if (canvas.width === width && canvas.height === height) return false;
        Object.assign(canvas, {width, height});
        return true;
    }

    redraw() {
        this.changed = true;
        this.isComplete = false;
    }

    // Points.

    describe(set, index) { return describePoint(this.scene, {set, index}); }

    /** The point at a place of the picture, in pixels of the page; null where there is none. */
    pointAt(x, y) {
        const seen = this.lookAt(x, y);
        const found = seen && findPoint(this.last, add(this.camera.eye, seen.ray, seen.ahead));
        return found && this.describe(found.set, found.index);
    }

    /** What is at a place of the picture: a ray to it, one long ahead of the eye, and how far ahead it ends. */
    lookAt(x, y) {
        const {width, height, clientWidth} = canvas;
        const seen = this.renderer.lookAt(this.last, x * width / clientWidth, y * width / clientWidth);
        return seen && {...seen, ray: rayThrough(this.last, width, height, seen.x, seen.y)};
    }

    click(x, y, isDouble) {
        const box = canvas.getBoundingClientRect();
        [x, y] = [x - box.left, y - box.top];
        const seen = this.lookAt(x, y);
        const photo = seen && this.photos.hit(this.camera.eye, seen.ray, seen.ahead);
        if (photo) {
            this.goToPhoto(photo);
            return;
        }
        const point = this.pointAt(x, y);
        if (isDouble && point && !this.isMeasuring) this.flyToPoint(point);
        else this.take(point);
    }

    take(point) {
        this.measurements.picked = point;
        ui.showPoint(point);
        if (this.isMeasuring && point) {
            const distance = this.measurements.add(point);
            ui.hint(distance ? `${distance.length.toFixed(4)} m` : 'Click the other end', !distance);
            ui.showDistances(this.measurements.distances);
        }
        this.redraw();
    }

    flyToPoint(point) {
        this.take(point);
        const from = this.scene.scans[point.number].station ?? this.camera.eye;
        const way = subtract(point.placed, from);
        const away = Math.min(4, Math.max(0.6, 0.35 * length(way)));
        const yaw = Math.atan2(way[1], way[0]);
        const pitch = Math.atan2(way[2], Math.hypot(way[0], way[1]));
        this.camera.flyTo(Camera.seeing(point.placed, yaw, pitch, away));
    }

    // Views.

    goToStation(scan, isAtOnce = false) {
        if (!scan?.station) {
            this.goToOverview(isAtOnce);
            return;
        }
        this.choosePanorama(scan);
        const view = {eye: [...scan.station], yaw: this.panorama.middle(), pitch: -0.05, distance: 1};
        this.go({...view, isAtStation: true}, isAtOnce);
    }

    goToOverview(isAtOnce = false) {
        const {low, high} = this.bounds.most;
        const centre = low.map((value, k) => (value + high[k]) / 2);
        const away = 0.9 * length(subtract(high, low)) + 0.5;
        this.go({...Camera.seeing(centre, this.camera.yaw || 0.8, -0.6, away), isAtStation: false}, isAtOnce);
    }

    go(view, isAtOnce) {
        if (isAtOnce) this.camera.set(view);
        else this.camera.flyTo(view);
    }

    /** Looks at the points through the camera of a photo. */
    goToPhoto(photo) {
        this.photos.choose(photo);
        this.go(this.photos.viewOf(photo, canvas.width / canvas.height));
    }

    choosePanorama(scan) {
        if (scan === this.panorama.scan) return;
        this.current = scan;
        this.panorama.show(scan, this.mode, this.scales);
    }

    setMode(mode) {
        if (!this.possibleModes().includes(mode)) return;
        this.mode = mode;
        ui.chooseMode(mode);
        ui.showLegend(mode, this.scales, this.scene.origin);
        this.panorama.show(this.current, mode, this.scales);
        this.redraw();
    }

    // The address of the view.

    address() {
        const values = {v: this.camera.toText(), m: this.mode};
        const hidden = this.scene.scans.filter((scan) => !scan.isShown).map((scan) => scan.number);
        if (hidden.length > 0) values.h = hidden.join(',');
        if (this.photos.open) values.p = this.photos.open.number;
        if (this.clip) {
            values.b = [...this.clip.low, ...this.clip.high].map((value) => +value.toFixed(3)).join(',');
        }
        return Object.entries(values).map(([name, value]) => `${name}=${value}`).join('&');
    }

    restore() {
        const values = new URLSearchParams(location.hash.slice(1));
        const hidden = (values.get('h') ?? '').split(',').filter(Boolean).map(Number);
        for (const scan of this.scene.scans) scan.isShown = !hidden.includes(scan.number);
        const limits = (values.get('b') ?? '').split(',').map(Number);
        if (limits.length === 6 && limits.every(Number.isFinite)) {
            this.setClip({low: limits.slice(0, 3), high: limits.slice(3)});
        }
        this.setMode(this.possibleModes().includes(values.get('m')) ? values.get('m') : this.mode);
        this.goToStation(this.current, true);
        this.photos.choose(this.photos.all[values.get('p') ?? -1] ?? null);
        this.camera.fromText(values.get('v') ?? '');
        this.fillScans();
    }

    // The panel.

    buildPanel(modes) {
        const {scene} = this;
        const kept = scene.scans.reduce((sum, scan) => sum + scan.count, 0);
        const all = scene.scans.reduce((sum, scan) => sum + scan.read, 0);
        document.title = scene.title;
        byId('title').textContent = scene.title;
        byId('subtitle').textContent = `${ui.shortCount(kept)} of ${ui.shortCount(all)} points` +
            (scene.scans.length > 1 ? `, ${scene.scans.length} scans` : '');
        ui.fillModes(modes, this.mode, (mode) => this.setMode(mode));
        for (const id of ['go-station', 'strip']) byId(id).disabled = !this.current;
        byId('full').hidden = !scene.full || !scene.scans.some((scan) => scan.files);
    }

    fillScans() {
        const show = (scan, isShown) => {
            scan.isShown = isShown;
            this.redraw();
        };
        ui.fillScans(this.scene, {show, goTo: (scan) => this.goToStation(scan)});
    }

    setMeasuring(isMeasuring) {
        this.isMeasuring = isMeasuring;
        this.measurements.start = null;
        ui.press('measure', isMeasuring);
        document.body.classList.toggle('measuring', isMeasuring);
        ui.hint(isMeasuring ? 'Click two points' : '', true);
        this.redraw();
    }

    /** Low and high corner in the frame of the scene; null: no box. */
    setClip(clip) {
        this.clip = clip;
        ui.press('clip', clip !== null);
        byId('box').hidden = clip === null;
        if (clip) {
            const {origin} = this.scene;
            const [low, high] = [clip.low, clip.high].map((side) => side.map((v, k) => v + origin[k]));
            ui.fillLimits(low, high, (from, to) => {
                this.clip = {low: subtract(from, origin), high: subtract(to, origin)};
                this.redraw();
            });
        }
        this.redraw();
    }

    clipAroundPoint() {
        const at = this.measurements.picked?.placed ?? this.camera.target;
        this.setClip({low: at.map((value) => value - 1), high: at.map((value) => value + 1)});
    }

    togglePart(id, name) {
        const isOff = document.body.classList.toggle(name);
        ui.press(id, !isOff);
        if (id === 'strip' && !isOff && this.current) this.panorama.scrollToHorizon();
    }

    togglePhotos() {
        this.photos.areShown = byId('show-photos').checked = !this.photos.areShown;
        this.redraw();
    }

    setTheme(theme) {
        document.documentElement.dataset.theme = theme;
        this.redraw();
    }

    save() {
        this.drawFrame(true);
        for (let isMore = true; isMore;) isMore = this.drawFrame(false);  // at once: it is read right after
        const link = document.createElement('a');
        link.download = `${this.scene.title}.png`;
        link.href = canvas.toDataURL('image/png');
        link.click();
    }

    async share() {
        history.replaceState(null, '', '#' + this.address());
        try {
            await navigator.clipboard.writeText(location.href);
            ui.hint('The link to this view is copied');
        } catch {
            ui.hint('The address of the page leads to this view');
        }
    }

    /** Opens the files of a scan, two at once; which scan they are shows in their sizes. */
    openFiles(files) {
        const find = (extension) => files.find((file) => file.name.toLowerCase().endsWith(extension));
        const [scanFile, indexFile] = [find('.cl3'), find('.ij')];
        const state = (text) => byId('full-state').textContent = text;
        if (!scanFile || !indexFile) {
            state('Choose two files: the scan (.cl3) and its index (.ij).');
            return;
        }
        const scan = this.scene.scans.find(
            ({files: known}) => known?.bytes === scanFile.size && known.indexBytes === indexFile.size);
        if (!scan) {
            state(`${scanFile.name} is none of the files that this page was made from.`);
            return;
        }
        this.fulls.get(scan)?.worker.terminate();
        const full = new FullScan(scan, () => {
            state(`${scanFile.name} is open; ${full.tiles.size} of ${full.layout.points.length} tiles are shown.`);
            this.redraw();
        }, state);
        this.fulls.set(scan, full);
        full.open(scanFile, indexFile);
    }

    listen() {
        listenToPointer(canvas, this.camera, (x, y, isDouble) => this.click(x, y, isDouble));
        const toggleTheme = () => this.setTheme(document.documentElement.dataset.theme === 'dark' ? 'light' : 'dark');
        const toggleWhole = () =>
            document.fullscreenElement ? document.exitFullscreen() : document.documentElement.requestFullscreen();
        const toggleClip = () => this.setClip(this.clip ? null : structuredClone(this.bounds.most));
        // Button, key, what it does.
        const actions = [
            ['go-station', 'Home', () => this.goToStation(this.current)],
            ['go-overview', 'f', () => this.goToOverview()],
            ['measure', 'm', () => this.setMeasuring(!this.isMeasuring)],
            ['clip', 'c', toggleClip],
            ['strip', 'p', () => this.togglePart('strip', 'no-strip')],
            ['show-photos', 't', () => this.togglePhotos()],
            ['panel', 'i', () => this.togglePart('panel', 'no-panel')],
            ['save', 'o', () => this.save()],
            ['share', 'l', () => this.share()],
            ['theme', 'k', toggleTheme],
            ['whole', 'u', toggleWhole],
            ['help', '?', () => byId('keys').showModal()],
            ['go-point', '', () => this.flyToPoint(this.measurements.picked)],
            ['copy-point', '', () => this.copyPoint()],
            ['clear-distances', '', () => this.clearDistances()],
            ['box-point', '', () => this.clipAroundPoint()],
            ['box-reset', '', () => this.setClip(structuredClone(this.bounds.most))],
            ['', 'Escape', () => this.escape()],
        ];
        const keys = {};
        for (const [id, key, action] of actions) {
            if (id) byId(id).addEventListener('click', action);
            if (key) keys[key] = action;
        }
        ['colour', 'intensity', 'height', 'range', 'normals'].forEach(
            (mode, i) => keys[i + 1] = () => this.setMode(mode));
        listenToKeys(this.camera, keys);
        for (const name of ['size', 'edges']) {
            byId(name).addEventListener('input', (event) => {
                this[name] = Number(event.target.value);
                this.redraw();
            });
        }
        byId('opacity').addEventListener('input', (event) => {
            this.photos.opacity = Number(event.target.value);
            this.redraw();
        });
        byId('files').addEventListener('change', (event) => this.openFiles([...event.target.files]));
    }

    async copyPoint() {
        const text = ui.pointRows(this.measurements.picked).map((row) => row.slice(0, 2).join('\t'));
        await navigator.clipboard.writeText(text.join('\n'));
        ui.hint('Copied');
    }

    clearDistances() {
        this.measurements.clear();
        ui.showDistances([]);
        this.redraw();
    }

    escape() {
        if (this.isMeasuring) this.setMeasuring(false);
        else if (this.photos.open) this.photos.choose(null);
        else this.take(null);
    }
}

/** A colour of the page's style, each part from 0 to 1. */
function styleColour(name) {
    const hex = getComputedStyle(document.documentElement).getPropertyValue(name).trim();
    return [1, 3, 5].map((at) => parseInt(hex.slice(at, at + 2), 16) / 255);
}

/** The box of all points, and one of most of them: a few stray far ones are not what one looks at. */
function boundsOf(scans) {
    const values = [[], [], []];
    const bounds = {low: [1e9, 1e9, 1e9], high: [-1e9, -1e9, -1e9]};
    for (const scan of scans) {
        const every = Math.max(1, Math.floor(scan.count / 50000));
        for (let i = 0; i < scan.count; i += every) {
            const place = transform(scan.model, scan.positions.subarray(3 * i, 3 * i + 3));
            place.forEach((value, k) => {
                values[k].push(value);
                bounds.low[k] = Math.min(bounds.low[k], value);
                bounds.high[k] = Math.max(bounds.high[k], value);
            });
        }
    }
    if (values[0].length === 0) values.forEach((axis) => axis.push(0));
    values.forEach((axis) => axis.sort((a, b) => a - b));
    const at = (share) => values.map((axis) => axis[Math.round(share * (axis.length - 1))]);
    bounds.most = {low: at(0.01), high: at(0.99)};
    return bounds;
}

/** Makes the page; answers it when it can be seen. */
export async function start() {
    const isDark = matchMedia('(prefers-color-scheme: dark)').matches;
    document.documentElement.dataset.theme = isDark ? 'dark' : 'light';
    const bar = document.querySelector('#loading progress');
    const total = document.querySelectorAll('script.points').length;
    const scene = await loadScene(async (done) => {
        bar.value = done / total;
        await new Promise((resolve) => setTimeout(resolve));
    });
    const page = new Page(scene);
    byId('loading').remove();
    return page;
}
