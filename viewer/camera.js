// Where the view is from: an eye, a direction, and how far ahead the point lies that it turns about.

import {add, direction, lookAlong, perspective, subtract} from 'viewer/linear.js';

const kSteepest = Math.PI / 2 - 0.001;
const kFlight = 700;  // milliseconds

const within = (least, value, most) => Math.min(most, Math.max(least, value));

export class Camera {
    constructor() {
        this.eye = [0, 0, 0];
        this.yaw = 0;    // radians, from +x to +y
        this.pitch = 0;  // radians, up
        this.distance = 5;
        this.fieldOfView = 1.1;    // radians, from top to bottom
        this.isAtStation = false;  // then it turns about the eye
        this.flight = null;
        this.version = 0;  // counts changes
    }

    get target() { return add(this.eye, direction(this.yaw, this.pitch), this.distance); }

    set(values) {
        Object.assign(this, values);
        this.pitch = within(-kSteepest, this.pitch, kSteepest);
        this.distance = Math.max(0.05, this.distance);
        this.fieldOfView = within(0.05, this.fieldOfView, 1.6);
        ++this.version;
    }

    /** The place of an eye that sees `target` from `distance`. */
    static seeing(target, yaw, pitch, distance) {
        return {eye: add(target, direction(yaw, pitch), -distance), yaw, pitch, distance};
    }

    turn(byYaw, byPitch) {
        this.flight = null;
        const {target, distance} = this;
        const pitch = within(-kSteepest, this.pitch + byPitch, kSteepest);
        const yaw = this.yaw + byYaw;
        this.set(this.isAtStation ? {yaw, pitch} : Camera.seeing(target, yaw, pitch, distance));
    }

    /** Metres to the right, up the picture, and ahead. */
    move(right, up, ahead) {
        this.flight = null;
        const forward = direction(this.yaw, this.pitch);
        const upward = direction(this.yaw, this.pitch + Math.PI / 2);
        const eye = add(this.eye, [Math.sin(this.yaw), -Math.cos(this.yaw), 0], right);
        this.set({eye: add(add(eye, upward, up), forward, ahead)});
    }

    zoom(factor) {
        this.flight = null;
        if (this.isAtStation) this.set({fieldOfView: this.fieldOfView * factor});
        else this.set(Camera.seeing(this.target, this.yaw, this.pitch, this.distance * factor));
    }

    /** Goes there within a moment; at once where motion is not wanted. */
    flyTo(values) {
        const to = {fieldOfView: 1.1, isAtStation: false, ...values};
        if (matchMedia('(prefers-reduced-motion: reduce)').matches) return this.set(to);
        const turn = to.yaw - this.yaw;
        to.yaw = this.yaw + turn - 2 * Math.PI * Math.round(turn / (2 * Math.PI));
        this.flight = {start: performance.now(), to, from: {...this, eye: [...this.eye]}};
        return ++this.version;
    }

    /** Goes on with a flight. */
    advance(now) {
        if (!this.flight) return;
        const {start, from, to} = this.flight;
        const share = Math.min(1, Math.max(0, (now - start) / kFlight));
        const eased = share * share * (3 - 2 * share);
        const between = (name) => from[name] + (to[name] - from[name]) * eased;
        this.set({
            eye: add(from.eye, subtract(to.eye, from.eye), eased),
            yaw: between('yaw'),
            pitch: between('pitch'),
            distance: between('distance'),
            fieldOfView: between('fieldOfView'),
            isAtStation: to.isAtStation,
        });
        if (share === 1) this.flight = null;
    }

    view() { return lookAlong(this.eye, this.yaw, this.pitch); }

    projection(aspect, near, far) { return perspective(this.fieldOfView, aspect, near, far); }

    /** As a text for the address, and back. */
    toText() {
        const values = [...this.eye, this.yaw, this.pitch, this.distance, this.fieldOfView];
        return [...values.map((value) => +value.toFixed(4)), this.isAtStation ? 1 : 0].join(',');
    }

    fromText(text) {
        const values = text.split(',').map(Number);
        if (values.length !== 8 || !values.every(Number.isFinite)) return;
        const [x, y, z, yaw, pitch, distance, fieldOfView, atStation] = values;
        this.set({eye: [x, y, z], yaw, pitch, distance, fieldOfView, isAtStation: atStation === 1});
    }
}
