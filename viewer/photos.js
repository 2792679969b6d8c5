// The photos of the stations: each is a picture at the place of its camera, and in a list. From the
// camera's own place a photo covers the points that it shows.

import {makeTexture} from 'viewer/gl.js';
import {length, modelMatrix, subtract, transform} from 'viewer/linear.js';
import {byId, make} from 'viewer/ui.js';

export const kAway = 0.5;  // metres from a camera to its picture
const kAtCentre = 0.02;    // metres; so close to a camera its photo shows what the eye sees

export class Photos {
    /** onChoice hears of the photo that was chosen from the list. */
    constructor(scene, gl, onChoice) {
        this.areShown = true;
        this.open = null;  // the photo that is looked through
        const texts = document.querySelectorAll('script.photo');
        this.all = scene.photos.map((photo, number) => this.unpack(photo, number, scene, texts[number], onChoice));
        byId('photos').hidden = this.all.length === 0;
        byId('photo-list').replaceChildren(...this.all.map((photo) => photo.button));
        this.loaded = Promise.all(this.all.map(async (photo) => {
            await photo.image.decode();
            photo.texture = makeTexture(gl, photo);
        }));
    }

    unpack(photo, number, scene, text, onChoice) {
        const model = modelMatrix(photo.pose, [0, 0, 0], scene.origin);
        const image = make('img', {src: `data:image/jpeg;base64,${text.textContent}`, alt: ''});
        text.remove();
        // Cameras are built in lying or upside down; the list shows what they saw upright.
        const quarters = Math.round(Math.atan2(model[2], model[6]) / (Math.PI / 2));
        image.style.transform = `rotate(${90 * quarters}deg)`;
        const onclick = () => onChoice(all);
        const button = make('button', {title: photo.name, 'aria-label': `Photo ${photo.name}`, onclick}, image);
        const scan = scene.scans[photo.scan];
        const all = {...photo, number, scan, model, image, button, centre: transform(model, [0, 0, 0])};
        return all;
    }

    choose(photo) {
        this.open = photo;
        for (const {button} of this.all) button.setAttribute('aria-pressed', String(button === photo?.button));
    }

    /** The view through the camera of a photo, which fills a picture of so many heights of width. */
    viewOf({model, sides, centre}, aspect) {
        const [x, y, z] = [8, 9, 10].map((k) => -model[k]);
        const halves = [0, 2].map((k) => Math.max(Math.abs(sides[k]), Math.abs(sides[k + 1])));
        const [across, up] = Math.abs(model[2]) > Math.abs(model[6]) ? halves.reverse() : halves;
        const fieldOfView = Math.min(1.6, 2 * Math.atan(1.05 * Math.max(up, across / aspect)));
        const [yaw, pitch] = [Math.atan2(y, x), Math.atan2(z, Math.hypot(x, y))];
        return {eye: centre, yaw, pitch, distance: 1, fieldOfView, isAtStation: true};
    }

    /** What is drawn of them from an eye: pictures at their places where these are free, and what covers the points. */
    pictures(eye, areFree = true) {
        const ready = this.all.filter((photo) => photo.texture && photo.scan.isShown);
        const isAt = (photo, reach) => length(subtract(eye, photo.centre)) < reach;
        const placed = this.areShown && areFree ? ready.filter((photo) => !isAt(photo, 2 * kAway)) : [];
        const cover = ready.filter((photo) => photo === this.open && isAt(photo, kAtCentre));
        return {placed, cover};
    }

    /** The photo whose picture lies at a place of the scene; undefined where none does. */
    at(eye, place) {
        return place && this.pictures(eye).placed.find(({model: m, sides, centre}) => {
            const off = subtract(place, centre);
            const [x, y, z] = [0, 4, 8].map((k) => m[k] * off[0] + m[k + 1] * off[1] + m[k + 2] * off[2]);
            const isInside =
                x > sides[0] * kAway && x < sides[1] * kAway && y > sides[2] * kAway && y < sides[3] * kAway;
            return isInside && Math.abs(z + kAway) < 0.01 * kAway;
        });
    }
}
