// The page: brings its parts together, and keeps what they share.

import {Camera} from 'viewer/camera.js';
import {kModes} from 'viewer/colours.js';
import {loadScene} from 'viewer/data.js';
import {Renderer} from 'viewer/draw.js';
import {FullScan} from 'viewer/full.js';
import {releasePoints} from 'viewer/gl.js';
import {listenToKeys, listenToPointer} from 'viewer/input.js';
import {add, length, subtract} from 'viewer/linear.js';
import {Measurements} from 'viewer/measure.js';
import {Panorama} from 'viewer/panorama.js';
import {Photos} from 'viewer/photos.js';
import {describePoint, findPoint, rayThrough} from 'viewer/pick.js';
import {boundsOf, samplesOf, scalesOf} from 'viewer/samples.js';
import * as ui from 'viewer/ui.js';

const {byId} = ui;
const canvas = byId('view');
const kNoClip = {
    low: [-1e9, -1e9, -1e9],
    high: [1e9, 1e9, 1e9]
};

class Page {
    constructor(scene) {
        this.scene = scene;
        this.camera = new Camera();
        this.renderer = new Renderer(canvas);
        this.measurements = new Measurements(byId('marks'));
        this.panorama = new Panorama(byId('panorama'), (scan, i) => this.flyToPoint(this.describe(scan, i)));
        this.photos = new Photos(scene, this.renderer.gl, (photo) => this.goToPhoto(photo));
        this.photos.loaded.then(() => this.redraw());
        const samples = samplesOf(scene.scans);
        this.scales = scalesOf(samples);
        this.bounds = boundsOf(samples);
        this.clip = null;        // low and high, of the scene
        this.fulls = new Map();  // of a scan
        this.isMeasuring = false;
        this.shown = -1;  // version of the camera in the picture
        this.isComplete = false;
        for (const scan of scene.scans) scan.scan = scan;  // a set of points that is drawn, as tiles are
        const [hasColours, hasStation] = ['colours', 'station'].map((part) => scene.scans.some((scan) => scan[part]));
        const needs = {colour: hasColours, range: hasStation, normals: hasStation};
        this.modes = kModes.map(({id}) => id).filter((id) => needs[id] ?? true);
        this.mode = this.modes[0];
        this.current = scene.scans.find((scan) => scan.station) ?? null;
        this.restore();
        this.buildPanel();
        this.listen();
        this.setMode(this.mode);
        if (innerWidth <= 760) this.togglePart('panel', 'no-panel');  // a phone shows the scan first
        requestAnimationFrame((now) => this.frame(now));
    }

    // What is drawn.

    get sets() {
        const shown = this.scene.scans.filter((scan) => scan.isShown);
        return shown.flatMap((scan) => [scan, ...(this.fulls.get(scan)?.tiles.values() ?? [])]);
    }

    makeFrame() {
        const {camera, mode, scales, size, edges, sets} = this;
        const reach = length(subtract(this.bounds.high, this.bounds.low));
        const far = reach + length(subtract(middleOf(this.bounds), camera.eye)) + 1;
        const near = Math.max(0.05, Math.min(far / 20000, camera.distance / 50));
        const view = camera.view();
        const projection = camera.projection(canvas.width / canvas.height, near, far);
        const clip = this.clip ?? kNoClip;
        const farther = (scan) => this.fulls.get(scan)?.tiles.size > 0 ? 1.01 : 1;
        const background = styleColour('--scene');
        const photos = {...this.photos.pictures(camera.eye, !this.isMeasuring), opacity: this.opacity};
        return {sets, photos, view, projection, near, far, mode, scales, clip, size, edges, farther, background};
    }

    frame(now) {
        requestAnimationFrame((later) => this.frame(later));
        this.camera.advance(now);
        if (this.fit() || this.camera.version !== this.shown) {
            this.isComplete = false;
            this.shown = this.camera.version;
            this.drawFrame(true);
        } else if (!this.isComplete) {
            this.isComplete = !this.drawFrame(false);
            if (this.isComplete) this.settle();
        }
    }

    /** Whether the picture shows all points of the view as it is now. */
    get isSettled() { return this.isComplete && this.camera.version === this.shown && !this.camera.flight; }

    /** Returns whether there is more to draw. */
    drawFrame(isMoving) {
        const frame = this.last = this.makeFrame();
        const isMore = this.renderer.draw(frame, isMoving);
        this.measurements.place(frame, this.clip, canvas.clientWidth, canvas.clientHeight);
        this.panorama.follow(this.camera.target, this.measurements.picked);
        return isMore;
    }

    /** The view is at rest: its address, and the tiles that it asks for. */
    settle() {
        history.replaceState(null, '', '#' + this.address());
        for (const full of this.fulls.values()) {
            full.want(this.last, canvas.height);
            full.trim((tile) => releasePoints(this.renderer.gl, tile));
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
        this.shown = -1;
        this.isComplete = false;
    }

    // Points.

    describe(set, index) { return describePoint(this.scene, {set, index}); }

    /** The point at a place of the picture, in pixels of the page; null where there is none. */
    pointAt(x, y) {
        const place = this.placeAt(x, y);
        const found = place && findPoint(this.last, place);
        return found ? this.describe(found.set, found.index) : null;
    }

    /** The place in the scene of what is there; null where there is nothing. */
    placeAt(x, y) {
        const {width, height, clientWidth} = canvas;
        const seen = this.renderer.lookAt(this.last, x * width / clientWidth, y * width / clientWidth);
        return seen && add(this.camera.eye, rayThrough(this.last, width, height, seen.x, seen.y), seen.ahead);
    }

    click(x, y, isDouble) {
        const box = canvas.getBoundingClientRect();
        [x, y] = [x - box.left, y - box.top];
        const photo = this.isMeasuring ? null : this.photos.at(this.camera.eye, this.placeAt(x, y));
        const point = photo ? null : this.pointAt(x, y);
        if (photo) this.goToPhoto(photo);
        else if (isDouble && point && !this.isMeasuring) this.flyToPoint(point);
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
        if (!scan?.station) return this.goToOverview(isAtOnce);
        this.current = scan;
        this.panorama.show(scan, this.mode, this.scales);
        const eye = [...scan.station];
        return this.go({eye, yaw: this.panorama.middle(), pitch: -0.05, distance: 1, isAtStation: true}, isAtOnce);
    }

    goToOverview(isAtOnce = false) {
        const {low, high} = this.bounds.most;
        const away = 0.9 * length(subtract(high, low)) + 0.5;
        this.go(Camera.seeing(middleOf(this.bounds.most), this.camera.yaw || 0.8, -0.6, away), isAtOnce);
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

    setMode(mode) {
        if (!this.modes.includes(mode)) return;
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
        if (this.modes.includes(values.get('m'))) this.mode = values.get('m');
        this.goToStation(this.current, true);
        this.photos.choose(this.photos.all[values.get('p') ?? -1] ?? null);
        this.camera.fromText(values.get('v') ?? '');
    }

    // The panel.

    buildPanel() {
        const {scene} = this;
        const kept = scene.scans.reduce((sum, scan) => sum + scan.count, 0);
        const all = scene.scans.reduce((sum, scan) => sum + scan.read, 0);
        document.title = scene.title;
        byId('title').textContent = scene.title;
        byId('subtitle').textContent = `${ui.shortCount(kept)} of ${ui.shortCount(all)} points` +
            (scene.scans.length > 1 ? `, ${scene.scans.length} scans` : '');
        ui.fillModes(this.modes, (mode) => this.setMode(mode));
        const show = (scan, isShown) => {
            scan.isShown = isShown;
            this.redraw();
        };
        ui.fillScans(scene, {show, goTo: (scan) => this.goToStation(scan)});
        for (const id of ['go-station', 'strip']) byId(id).disabled = !this.current;
        byId('full').hidden = !scene.full || !scene.scans.some((scan) => scan.files);
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
            ui.fillLimits(add(clip.low, origin), add(clip.high, origin), (from, to) => {
                this.clip = {low: subtract(from, origin), high: subtract(to, origin)};
                this.redraw();
            });
        }
        this.redraw();
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

    toggleTheme() {
        const {dataset} = document.documentElement;
        dataset.theme = dataset.theme === 'dark' ? 'light' : 'dark';
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
        const say = (text) => byId('full-state').textContent = text;
        if (!scanFile || !indexFile) return say('Choose two files: the scan (.cl3) and its index (.ij).');
        const scan = this.scene.scans.find(
            ({files: known}) => known?.bytes === scanFile.size && known.indexBytes === indexFile.size);
        if (!scan) return say(`${scanFile.name} is none of the files that this page was made from.`);
        this.fulls.get(scan)?.worker.terminate();
        const full = new FullScan(scan, scanFile, indexFile, () => {
            say(`${scanFile.name} is open; ${full.tiles.size} of ${full.layout.points.length} tiles are shown.`);
            this.redraw();
        }, say);
        return this.fulls.set(scan, full);
    }

    listen() {
        listenToPointer(canvas, this.camera, (x, y, isDouble) => this.click(x, y, isDouble));
        const toggleWhole = () =>
            document.fullscreenElement ? document.exitFullscreen() : document.documentElement.requestFullscreen();
        const around = ({low, high} = this.bounds.most) => this.setClip({low: [...low], high: [...high]});
        const aroundPoint = () => {
            const at = this.measurements.picked?.placed ?? this.camera.target;
            around({low: add(at, [-1, -1, -1]), high: add(at, [1, 1, 1])});
        };
        // Button, key, what it does.
        const actions = [
            ['go-station', 'Home', () => this.goToStation(this.current)],
            ['go-overview', 'f', () => this.goToOverview()],
            ['measure', 'm', () => this.setMeasuring(!this.isMeasuring)],
            ['clip', 'c', () => this.clip ? this.setClip(null) : around()],
            ['strip', 'p', () => this.togglePart('strip', 'no-strip')],
            ['show-photos', 't', () => this.togglePhotos()],
            ['panel', 'i', () => this.togglePart('panel', 'no-panel')],
            ['save', 'o', () => this.save()],
            ['share', 'l', () => this.share()],
            ['theme', 'k', () => this.toggleTheme()],
            ['whole', 'u', toggleWhole],
            ['help', '?', () => byId('keys').showModal()],
            ['go-point', '', () => this.flyToPoint(this.measurements.picked)],
            ['copy-point', '', () => this.copyPoint()],
            ['clear-distances', '', () => this.clearDistances()],
            ['box-point', '', aroundPoint],
            ['box-reset', '', () => around()],
            ['', 'Escape', () => this.escape()],
        ];
        const keys = {};
        for (const [id, key, action] of actions) {
            if (id) byId(id).addEventListener('click', action);
            if (key) keys[key] = action;
        }
        kModes.forEach(({id}, i) => keys[i + 1] = () => this.setMode(id));
        listenToKeys(this.camera, keys);
        for (const name of ['size', 'edges', 'opacity']) {
            const take = () => {
                this[name] = Number(byId(name).value);
                this.redraw();
            };
            byId(name).addEventListener('input', take);
            take();
        }
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

const middleOf = ({low, high}) => low.map((value, k) => (value + high[k]) / 2);

/** A colour of the page's style, each part from 0 to 1. */
function styleColour(name) {
    const hex = getComputedStyle(document.documentElement).getPropertyValue(name).trim();
    return [1, 3, 5].map((at) => parseInt(hex.slice(at, at + 2), 16) / 255);
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
