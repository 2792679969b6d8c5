// Reads tiles of an indexed CL3 scan from its two files, beside the page's own work. It stands alone:
// workers do not know the page's modules.
//
//   asked                      answers
//   {open: {scan, index}}      {opened: {columns, rows, tileSize, tilesDown, points}}
//   {tile: k}                  {tile: k, exact, intensities, colours, columns, rows}
// Where something is wrong: {failed: text, tile: k}.

const kScanHeader = 115;
const kIndexHeader = 48;
const kBlockHeader = 5;
const kTileHeader = 12;
const kTogether = 64;  // reads at the same time

let files = null;
let layout = null;

self.onmessage = async ({data}) => {
    try {
        if (data.open) {
            files = data.open;
            layout = await readLayout();
            const {columns, rows, tileSize, tilesDown, points} = layout;
            postMessage({opened: {columns, rows, tileSize, tilesDown, points}});
        } else {
            const tile = await readTile(data.tile);
            postMessage(tile, [tile.exact.buffer, tile.intensities.buffer, tile.columns.buffer]);
        }
    } catch (error) {
        postMessage({failed: error.message, tile: data.tile});
    }
};

async function read(file, from, size) {
    if (from + size > file.size) throw new Error(`${file.name} ends before its last point.`);
    return new DataView(await file.slice(from, from + size).arrayBuffer());
}

async function readLayout() {
    const scan = await read(files.scan, 0, kScanHeader);
    const index = await read(files.index, 0, kIndexHeader);
    const format = scan.getUint8(114);
    const [tiles, columns, rows, tileSize] = [32, 36, 40, 44].map((at) => index.getUint32(at, true));
    if (format > 1) throw new Error(`${files.scan.name} is not a CL3 scan.`);
    const tilesDown = Math.ceil(rows / tileSize);
    const isWhole = tileSize > 0 && tileSize < 4096 && tiles > 0 &&
        tiles === Math.ceil(columns / tileSize) * tilesDown &&
        files.index.size === kIndexHeader + tiles * (kTileHeader + 4 * tileSize * tileSize);
    if (!isWhole) throw new Error(`${files.index.name} is not the index of a scan.`);
    const record = format === 1 ? 31 : 28;
    const points = new Uint32Array(tiles);
    for (let first = 0; first < tiles; first += kTogether) {
        const some = Array.from({length: Math.min(kTogether, tiles - first)}, async (ignored, i) => {
            const header = await read(files.index, offsetOf(first + i, tileSize), kTileHeader);
            points[first + i] = header.getUint32(8, true);
        });
        await Promise.all(some);
    }
    const offsets = new Float64Array(tiles + 1);
    offsets[0] = kScanHeader;
    for (let k = 0; k < tiles; ++k) offsets[k + 1] = offsets[k] + kBlockHeader + points[k] * record;
    if (offsets[tiles] > files.scan.size) {
        throw new Error(`${files.scan.name} and ${files.index.name} do not belong together.`);
    }
    return {columns, rows, tileSize, tilesDown, points, offsets, record};
}

function offsetOf(tile, tileSize) { return kIndexHeader + tile * (kTileHeader + 4 * tileSize * tileSize); }

async function readTile(k) {
    const {tileSize, tilesDown, points, offsets, record} = layout;
    const count = points[k];
    const block = await read(files.scan, offsets[k], kBlockHeader + count * record);
    if (block.getUint32(0, true) !== count) throw new Error('The scan and its index differ.');
    const entries = await read(files.index, offsetOf(k, tileSize) + kTileHeader, 4 * tileSize * tileSize);
    const tile = {
        tile: k,
        exact: new Float64Array(3 * count),
        intensities: new Float32Array(count),
        colours: record === 31 ? new Uint8Array(4 * count) : null,
        columns: new Uint32Array(count),
        rows: new Uint32Array(count),
    };
    for (let i = 0, at = kBlockHeader; i < count; ++i, at += record) {
        for (let c = 0; c < 3; ++c) tile.exact[3 * i + c] = block.getFloat64(at + 8 * c, true);
        tile.intensities[i] = block.getFloat32(at + 24, true);
        if (!tile.colours) continue;
        for (let c = 0; c < 3; ++c) tile.colours[4 * i + c] = block.getUint8(at + 28 + c);
        tile.colours[4 * i + 3] = 255;
    }
    let next = 0;
    for (let cell = 0; cell < tileSize * tileSize; ++cell) {
        const entry = entries.getUint32(4 * cell, true);
        if (entry === 0) continue;
        if (entry !== ++next || entry > count) throw new Error('The index of the scan is damaged.');
        tile.columns[entry - 1] = Math.floor(k / tilesDown) * tileSize + Math.floor(cell / tileSize);
        tile.rows[entry - 1] = k % tilesDown * tileSize + cell % tileSize;
    }
    return tile;
}
