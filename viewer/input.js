// Mouse, pen, fingers and keys, as movements of the camera and clicks.

const kClick = 5;  // pixels; a longer way is no click

/** onClick(x, y, isDouble) hears of clicks, in pixels of the page. */
export function listenToPointer(canvas, camera, onClick) {
    const fingers = new Map();
    let way = 0;
    let spread = 0;
    let lastClick = 0;

    // At a station the picture follows the hand; elsewhere the scene turns as if held by it.
    const turn = (dx, dy) => {
        const angle = camera.isAtStation ? camera.fieldOfView / canvas.clientHeight : -0.006;
        camera.turn(angle * dx, angle * dy);
    };
    const slide = (dx, dy) => {
        const metres = camera.distance * camera.fieldOfView / canvas.clientHeight;
        camera.move(-dx * metres, dy * metres, 0);
    };

    canvas.addEventListener('pointerdown', (event) => {
        canvas.setPointerCapture(event.pointerId);
        fingers.set(event.pointerId, event);
        way = fingers.size > 1 ? Infinity : 0;  // what two fingers do is no click
        spread = spreadOf(fingers);
    });
    canvas.addEventListener('pointermove', (event) => {
        const before = fingers.get(event.pointerId);
        if (!before) return;
        const [dx, dy] = [event.clientX - before.clientX, event.clientY - before.clientY];
        fingers.set(event.pointerId, event);
        way += Math.abs(dx) + Math.abs(dy);
        if (fingers.size > 1) {
            const now = spreadOf(fingers);
            if (now > 0 && spread > 0) camera.zoom(spread / now);
            spread = now;
            slide(dx / 2, dy / 2);
        } else if (event.buttons & 6 || event.shiftKey) {
            slide(dx, dy);
        } else {
            turn(dx, dy);
        }
    });
    const end = (event) => {
        const wasSingle = fingers.size === 1;
        if (!fingers.delete(event.pointerId) || event.type === 'pointercancel') return;
        if (!wasSingle || way > kClick || event.button !== 0) return;
        const isDouble = event.timeStamp - lastClick < 350;
        lastClick = isDouble ? 0 : event.timeStamp;
        onClick(event.clientX, event.clientY, isDouble);
    };
    canvas.addEventListener('pointerup', end);
    canvas.addEventListener('pointercancel', end);
    canvas.addEventListener('contextmenu', (event) => event.preventDefault());
    canvas.addEventListener('wheel', (event) => {
        event.preventDefault();
        camera.zoom(Math.exp(Math.sign(event.deltaY) * Math.min(Math.abs(event.deltaY), 100) / 600));
    }, {passive: false});
}

function spreadOf(fingers) {
    const [a, b] = fingers.values();
    return b ? Math.hypot(a.clientX - b.clientX, a.clientY - b.clientY) : 0;
}

/** `actions` has a function for each key; keys that move go on as long as they are down. */
export function listenToKeys(camera, actions) {
    const steps = {};
    // To the right, up, ahead.
    const ways = ['d ArrowRight', 'a ArrowLeft', 'e', 'q', 'w ArrowUp', 's ArrowDown'];
    ways.forEach((keys, i) => {
        for (const key of keys.split(' ')) steps[key] = [0, 1, 2].map((k) => k === i >> 1 ? 1 - 2 * (i & 1) : 0);
    });
    window.addEventListener('keydown', (event) => {
        const key = event.key.length === 1 ? event.key.toLowerCase() : event.key;
        // Fields take letters, sliders and choices take arrows.
        const {type} = event.target;
        const isTaken =
            key !== 'Escape' && (type === 'number' || (['range', 'radio'].includes(type) && key.startsWith('Arrow')));
        const isElsewhere = document.querySelector('dialog[open]') !== null;
        if (isTaken || isElsewhere || event.ctrlKey || event.metaKey || event.altKey) return;
        const metres = Math.min(2, Math.max(0.05, camera.distance * 0.05));
        if (steps[key]) camera.move(...steps[key].map((part) => part * metres));
        else if (actions[key]) actions[key]();
        else return;
        event.preventDefault();
    });
}
