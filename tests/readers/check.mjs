// Reads with programs of others what this project's tool writes, and compares each point with the tool's own text.
//   node check.mjs BRISKO FOLDER
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import path from "node:path";

import { parseSync } from "@loaders.gl/core";
import { LASLoader } from "@loaders.gl/las";
import { Las } from "copc";

const [brisko, folder] = process.argv.slice(2);
const at = (name) => path.join(folder, name);
const run = (...words) => execFileSync(brisko, words, { stdio: "pipe" });

// The package is made for pages, which load WebAssembly by themselves.
const package57 = new URL("./node_modules/web-e57/", import.meta.url);
const e57 = await import(new URL("e57_bg.js", package57));
async function startE57() {
    const program = fs.readFileSync(new URL("e57_bg.wasm", package57));
    const { instance } = await WebAssembly.instantiate(program, { "./e57_bg.js": e57 });
    e57.__wbg_set_wasm(instance.exports);
    instance.exports.__wbindgen_start?.();
}

// Points as [x, y, z, ...]; what follows depends on the file.
const fromText = (text) => text.trim().split("\n").map((line) => line.trim().split(/\s+/).map(Number));
const fromE57 = (file) => fromText(Buffer.from(e57.convertE57(new Uint8Array(fs.readFileSync(file)), "XYZ")).toString());

// All dimensions of a LAS file by name, extra bytes among them.
async function lasView(file) {
    const bytes = new Uint8Array(fs.readFileSync(file));
    const header = Las.Header.parse(bytes);
    const get = async (begin, end) => bytes.subarray(begin, end);
    const records = await Las.Vlr.walk(get, header);
    const extra = Las.Vlr.find(records, "LASF_Spec", 4);
    const dimensions = extra ? Las.ExtraBytes.parse(await Las.Vlr.fetch(get, extra)) : [];
    const size = header.pointCount * header.pointDataRecordLength;
    const points = bytes.slice(header.pointDataOffset, header.pointDataOffset + size);
    return Las.View.create(points, header, dimensions);
}

function compare(what, found, wanted, tolerance) {
    assert.equal(found.length, wanted.length, `${what}: number of points`);
    for (const [i, point] of wanted.entries()) {
        for (const axis of [0, 1, 2]) {
            const off = Math.abs(found[i][axis] - point[axis]);
            assert.ok(off <= tolerance, `${what}: point ${i}: ${found[i]} instead of ${point}`);
        }
    }
    console.log(`${what}: ${found.length} points, within ${tolerance} m`);
}

// readsVersion: the second reader reads the file's version.
async function checkLas(name, wanted, readsVersion) {
    const view = await lasView(at(name));
    const value = Object.fromEntries(Object.keys(view.dimensions).map((key) => [key, view.getter(key)]));
    const found = wanted.map((_, i) => [value.X(i), value.Y(i), value.Z(i)]);
    assert.equal(view.pointCount, wanted.length);
    compare(`${name}, first reader`, found, wanted, 0.00005001);
    // The text has no columns and rows; the grid file that the scan came from is in column order.
    let before = -1;
    for (let i = 0; i < wanted.length; ++i) {
        const cell = value.column(i) * 100000 + value.row(i);
        assert.ok(cell > before, `${name}: point ${i} is not after the one before`);
        before = cell;
        const [, , , , red, green, blue] = wanted[i];
        assert.deepEqual([value.Red(i), value.Green(i), value.Blue(i)], [red, green, blue].map((c) => c * 257));
    }
    if (!readsVersion) return;
    const loaded = parseSync(fs.readFileSync(at(name)).buffer, LASLoader, { worker: false, las: { fp64: true } });
    const { value: flat } = loaded.attributes.POSITION;
    const second = wanted.map((_, i) => [flat[3 * i], flat[3 * i + 1], flat[3 * i + 2]]);
    compare(`${name}, second reader`, second, wanted, 0.00005001);
}

await startE57();
const grid = ["--columns", "300", "--rows", "200"];
const form = ["--format", "cl3-indexed", "--colour", "--alignment"];
run("simulate", folder, "--scene", "room", ...grid, ...form, "--overwrite");
const scan = at("scan.cl3");
const convert = (name, ...options) => run("convert", scan, at(name), "--overwrite", ...options);
convert("points.xyz");
const wanted = fromText(fs.readFileSync(at("points.xyz"), "utf8"));
convert("exact.e57");
compare("exact.e57", fromE57(at("exact.e57")), wanted, 1e-9);
convert("rounded.e57", "--precision", "0.0001");
compare("rounded.e57", fromE57(at("rounded.e57")), wanted, 0.0001);
for (const version of ["1.2", "1.4"]) {
    convert(`${version}.las`, "--las-version", version);
    await checkLas(`${version}.las`, wanted, version === "1.2");
}
