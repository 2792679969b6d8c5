// Directions of surfaces from the neighbours in the grid.

/**
 * Four signed bytes a point: the direction in the frame of the scan, towards the scanner, and above 0
 * where neighbours on all sides lie in the surface. `points` has positions and
 * pointAt, the point of each cell, column by column, or -1.
 */
export function normalsOf(points, columns, rows) {
    const {positions: p, pointAt} = points;
    const normals = new Int8Array(4 * p.length / 3);
    for (let column = 0; column < columns; ++column) {
        for (let row = 0; row < rows; ++row) {
            const cell = column * rows + row;
            const point = pointAt[cell];
            if (point < 0) continue;
            const at = 3 * point;
            const across =
                neighbour(p, pointAt, at, column > 0 ? cell - rows : -1, column + 1 < columns ? cell + rows : -1);
            const ax = difference[0], ay = difference[1], az = difference[2];
            const along = neighbour(p, pointAt, at, row > 0 ? cell - 1 : -1, row + 1 < rows ? cell + 1 : -1);
            if (!across || !along) continue;
            const x = ay * difference[2] - az * difference[1];
            const y = az * difference[0] - ax * difference[2];
            const z = ax * difference[1] - ay * difference[0];
            const size = Math.sqrt(x * x + y * y + z * z);
            if (!(size > 0)) continue;
            const towards = x * p[at] + y * p[at + 1] + z * p[at + 2] > 0 ? -127 : 127;
            normals[4 * point] = x / size * towards;
            normals[4 * point + 1] = y / size * towards;
            normals[4 * point + 2] = z / size * towards;
            normals[4 * point + 3] = across + along === 4 ? 127 : 0;
        }
    }
    return normals;
}

const difference = new Float64Array(3);

/**
 * The step from the cell before to the one after, or to the nearer surface where one lies apart. Answers
 * how many of the two it took.
 */
function neighbour(p, pointAt, at, before, after) {
    const a = before >= 0 ? pointAt[before] : -1;
    const b = after >= 0 ? pointAt[after] : -1;
    const distanceTo = (point) => point < 0 ? Infinity :
                                              Math.abs(p[3 * point] - p[at]) + Math.abs(p[3 * point + 1] - p[at + 1]) +
            Math.abs(p[3 * point + 2] - p[at + 2]);
    const [toA, toB] = [distanceTo(a), distanceTo(b)];
    if (toA === Infinity && toB === Infinity) return 0;
    const [takesA, takesB] = [toA < 3 * toB, toB < 3 * toA];
    const from = takesA ? 3 * a : at;
    const to = takesB ? 3 * b : at;
    for (let k = 0; k < 3; ++k) difference[k] = p[to + k] - p[from + k];
    return takesA + takesB;
}
