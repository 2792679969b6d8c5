"""What is read: batches, windows, whole clouds."""

import os
import pickle
import resource
import subprocess
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import brisko

FIELDS = "xyz", "intensity", "colour", "column", "row"


def joined(batches):
    return brisko.Batch(*(np.concatenate([getattr(b, name) for b in batches]) for name in FIELDS))


def assert_equal(a, b, names=FIELDS):
    for name in names:
        np.testing.assert_array_equal(getattr(a, name), getattr(b, name), err_msg=name)


@pytest.mark.parametrize("name", ["a.cl3", "a.clr", "a.ptx", "a.e57", "a.las", "a.ply", "a.pcd", "a.pts"])
def test_arrays_hold_what_the_tool_writes_as_text(scan_path, tmp_path, name):
    path, text = tmp_path / name, tmp_path / "a.xyz"
    for output, source in ((path, scan_path), (text, path)):
        subprocess.run([os.environ["BRISKO_TOOL"], "convert", source, output], check=True)
    with brisko.open(path, frame="aligned") as scan:
        batch = scan.read()
        expected = np.loadtxt(text)
        assert len(scan) == len(batch) == len(expected) > 40_000
        np.testing.assert_allclose(batch.xyz, expected[:, :3], rtol=0, atol=1e-6)
        np.testing.assert_allclose(batch.intensity, expected[:, 3], rtol=1e-5, atol=1e-3)
        if scan.has_colour:
            np.testing.assert_array_equal(batch.colour, expected[:, 4:7])
        if scan.shape:
            cells = scan[:, :]
            np.testing.assert_array_equal(cells.xyz[batch.row, batch.column], batch.xyz)
            assert cells.valid.sum() == len(batch)


@pytest.mark.parametrize("size", [1_000, 10**12])
def test_batches_keep_their_points_when_the_next_ones_come(scan, size):
    assert_equal(joined(list(scan.batches(size))), scan.read())


def test_passes_and_windows_go_on_side_by_side(scan):
    whole, first = scan.read(), scan.batches(500)
    start = [next(first)]
    window = scan[:3]
    assert len(list(scan.batches(700))) > 1
    assert_equal(joined([*start, *first]), whole)
    assert_equal(window, scan[:3], ("xyz", "valid"))


@pytest.mark.parametrize("extension", ["cl3", "ptx"])
@pytest.mark.parametrize("cells", [
    np.s_[0:1, 0:1], np.s_[255:257, 255:257], np.s_[269:, 299:], np.s_[256:, :256], np.s_[:, 7:7],
    np.s_[10:20], np.s_[-1], np.s_[100, 120], np.s_[::7, ::-5], np.s_[200:50:-3, -4:], np.s_[:1000, 5]])
def test_windows_are_parts_of_the_whole_grid(scan_path, tmp_path, extension, cells):
    path = scan_path
    if extension != "cl3":
        path = tmp_path / ("a." + extension)
        brisko.convert(scan_path, path)
    with brisko.open(path) as scan:
        window, whole = scan[cells], scan[:, :]
        for name in ("xyz", "intensity", "colour", "valid"):
            np.testing.assert_array_equal(getattr(window, name), getattr(whole, name)[cells])
        assert np.isnan(whole.xyz[~whole.valid]).all()


def test_frames_differ_by_the_matrix(scan, scan_path):
    with brisko.open(scan_path, frame="aligned") as aligned:
        raw, moved, m = scan.read(), aligned.read(), scan.matrix
        np.testing.assert_allclose(raw.xyz @ m[:3, :3].T + m[:3, 3], moved.xyz, atol=1e-9)
        np.testing.assert_array_equal(aligned.grid("range"), scan.grid("range"))
        lengths = np.linalg.norm(scan.grid("xyz"), axis=2)
        np.testing.assert_allclose(scan.grid("range"), lengths, rtol=1e-6)


def test_batches_are_chosen_from_and_become_structured_arrays(scan):
    batch = scan.read()
    near = np.linalg.norm(batch.xyz, axis=1) < 5
    assert 0 < len(batch[near]) < len(batch)
    assert_equal(batch[near], batch[np.flatnonzero(near)])
    assert_equal(np.asarray(batch[5:9]).view(np.recarray), batch[5:9])


@pytest.mark.parametrize("share", [True, False])
def test_threads_read_one_scan_or_their_own(scan, share):
    def read(_):
        own = scan if share else pickle.loads(pickle.dumps(scan))
        return sum(b.xyz.sum() for b in own.batches(5_000)), np.nansum(own[20:260].xyz)

    with ThreadPoolExecutor(8) as pool:
        assert len(set(pool.map(read, range(24)))) == 1


def test_opening_a_thousand_times_takes_no_memory(scan_path):
    def visit():
        with brisko.open(scan_path) as scan:
            return next(scan.batches(1_000)), scan[:2, :2]

    def peak():
        return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss

    for _ in range(50):
        visit()
    before = peak()
    for _ in range(1_000):
        visit()
    assert peak() - before < 4_000  # KiB


def test_a_panorama_shows_where_the_points_are(scan, scan_path):
    picture = brisko.panorama(scan_path, "range", width=scan.shape[1], height=scan.shape[0])
    holes = (picture == picture[0, 0]).all(axis=2)  # the sky
    # A pixel at the edge of two cells may show either.
    assert picture.shape == (*scan.shape, 3) and (holes == scan.grid("valid")).mean() < 1e-3
