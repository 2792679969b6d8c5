"""What is written, and what is not when something goes wrong."""

import os
import signal
import subprocess
import sys
import time

import numpy as np
import pytest

import brisko
from test_reading import assert_equal


@pytest.mark.parametrize("frame", ["scanner", "aligned"])
def test_a_copy_holds_the_scan(scan_path, tmp_path, frame):
    path = tmp_path / "copy.cl3"
    with brisko.open(scan_path, frame=frame) as scan:
        with brisko.create(path, like=scan) as out:
            for batch in scan.batches(10_000):
                assert not path.exists()
                out.write(batch)
        assert out.points == len(scan)
        with brisko.open(path, frame=frame) as copy:
            a, b = scan.read(), copy.read()
            np.testing.assert_allclose(a.xyz, b.xyz, rtol=0, atol=0 if frame == "scanner" else 1e-9)
            assert_equal(a, b, ("intensity", "colour", "column", "row"))
            assert copy.header == scan.header and (copy.matrix == scan.matrix).all()


def test_an_output_from_arrays_alone(tmp_path):
    matrix = np.diag([1.0, 1, 1, 1])
    matrix[:3, 3] = 100, 200, 300
    column, row = (a.ravel() for a in np.meshgrid(np.arange(40)[::-1], np.arange(30)))
    xyz = np.stack([column + 1.0, row, -column], axis=1)
    with brisko.create(tmp_path / "a.ptx", columns=40, rows=30, matrix=matrix) as out:
        out.write(xyz=xyz, intensity=row, colour=np.stack([column, row, row], axis=1), column=column,
                  row=row)
    with brisko.open(tmp_path / "a.ptx") as scan:
        cells = scan[:, :]
        np.testing.assert_array_equal(cells.xyz[row, column], xyz)
        np.testing.assert_array_equal(cells.colour[row, column, 0], column)
        np.testing.assert_array_equal(scan.matrix, matrix)


def writing(scan, folder, **arrays):
    with brisko.create(folder / "a.cl3", like=scan) as out:
        out.write(scan.read())
        out.write(**({"xyz": [[1, 2, 3]], "column": [299], "row": [269]} | arrays))


def writing_twice_after_failure(scan, folder):
    with brisko.create(folder / "a.cl3", like=scan) as out:
        with pytest.raises(ValueError):
            out.write(xyz=[[np.inf, 0, 0]], column=[0], row=[0])


def failing(scan, folder):
    with brisko.create(folder / "a.e57", like=scan) as out:
        out.write(scan.read())
        1 / 0


@pytest.mark.parametrize("job, error", [
    (lambda s, f: writing(s, f, xyz=[[np.nan, 0, 0]]), ValueError),
    (lambda s, f: writing(s, f, xyz=[[1, 2]]), ValueError),
    (lambda s, f: writing(s, f, row=[270]), ValueError),
    (lambda s, f: writing(s, f, column=[-1]), ValueError),
    (lambda s, f: writing(s, f, column=None), ValueError),
    (lambda s, f: writing(s, f, colour=[[0.5, 0, 0]]), ValueError),
    (lambda s, f: writing(s, f, intensity=[1, 2]), ValueError),
    (lambda s, f: writing(s, f, column=[0]), ValueError),  # its tiles have passed
    (writing_twice_after_failure, ValueError),
    (failing, ZeroDivisionError),
    (lambda s, f: brisko.convert(s.path, f / "a.e57", progress=lambda p: False), brisko.Cancelled),
    (lambda s, f: brisko.convert(s.path, f / "a.e57", progress=lambda p: 1 / 0), ZeroDivisionError),
    (lambda s, f: brisko.convert(s.path, f / "a.e57", every=0), ValueError),
    (lambda s, f: brisko.convert(s.path, f / "a.e57", colour=1), TypeError),
    (lambda s, f: brisko.convert(s.path, f / "no" / "a.e57"), FileNotFoundError),
    (lambda s, f: brisko.view([s, f / "none.cl3"], f / "a.html"), FileNotFoundError),
    (lambda s, f: brisko.view(s, f / "a.html", points=10), ValueError),
    (lambda s, f: brisko.create(s.path, like=s), FileExistsError),
    (lambda s, f: brisko.create(f / "a.jpg", like=s), ValueError),
    (lambda s, f: brisko.create(f / "a.cl3", like=s, header={"modell": ""}), ValueError),
    (lambda s, f: brisko.create(f / "a.cl3", matrix=np.eye(3), like=s), ValueError),
])
def test_what_fails_leaves_nothing(scan, tmp_path, job, error):
    with pytest.raises(error):
        job(scan, tmp_path)
    assert os.listdir(tmp_path) == []


@pytest.mark.parametrize("call", [
    "brisko.convert(path, output, overwrite=True)",
    "brisko.convert(path, output, colours='photos', overwrite=True)",
    "brisko.create(output, like=scan, overwrite=True).write(scan.read())",
    "brisko.simulate(folder + '/a.cl3', 1_000_000, 1_000)",
    "brisko.check(path)",
    "brisko.info(path, count=True)",
    "brisko.panorama(path)",
    "brisko.view([path, scan], folder + '/a.html', overwrite=True)",
    "brisko.open(path, colours='photos').close()",
    "scan.read()",
    "for b in scan.batches(10): pass",
    "scan[:, :]",
    "scan.grid('range')",
])
def test_ctrl_c_ends_every_long_call_and_leaves_nothing_half_written(station, tmp_path, call):
    script = f"""import brisko
path, folder, output = {station!r}, {str(tmp_path)!r}, {str(tmp_path / "a.e57")!r}
with brisko.open(path) as scan:
    print("ready", flush=True)
    while True:
        {call}"""
    with subprocess.Popen([sys.executable, "-B", "-c", script], stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL) as job:
        job.stdout.readline()
        time.sleep(0.1)
        job.send_signal(signal.SIGINT)
        try:
            assert job.wait(timeout=30) == -signal.SIGINT
        finally:
            job.kill()
    # Of a conversion that was done before there is all.
    assert os.listdir(tmp_path) in ([], ["a.e57"], ["a.html"])
    assert all(brisko.check(output).ok for output in tmp_path.glob("*.e57"))


@pytest.mark.parametrize("job, error", [
    (lambda s: s.read(), ValueError),
    (lambda s: s.batches(), ValueError),
    (lambda s: s[0], ValueError),
    (lambda s: s.grid("range"), ValueError),
    (lambda s: s.__enter__(), ValueError),
    (lambda s: next(s.unfinished), ValueError),
    (lambda s: brisko.create("a.cl3", like=s), ValueError),
    (lambda s: brisko.open("none.cl3"), FileNotFoundError),
    (lambda s: brisko.open("\udcff.cl3"), ValueError),
    (lambda s: brisko.open(s.path, scan=2), ValueError),
    (lambda s: brisko.open(s.path, frame="world"), ValueError),
    (lambda s: brisko.open(__file__), ValueError),
])
def test_misuse_is_refused(scan_path, job, error):
    scan = brisko.open(scan_path)
    scan.unfinished = scan.batches(100)
    next(scan.unfinished)
    scan.close()
    scan.close()
    with pytest.raises(error):
        job(scan)


def test_damage_is_reported_with_its_place_and_never_on_standard_output(scan_path, tmp_path, capfd):
    whole = open(scan_path, "rb").read()
    (tmp_path / "cut.cl3").write_bytes(whole[:100_000])
    (tmp_path / "posed.cl3").write_bytes(whole)
    (tmp_path / "posed.alg").write_text("ALG 99\n1 2 3\n")
    with pytest.raises(brisko.ScanError, match="cut.cl3: the file ends inside block") as cut:
        brisko.open(tmp_path / "cut.cl3")
    assert cut.value.file == str(tmp_path / "cut.cl3") and "byte 115" in cut.value.reason
    with pytest.raises(brisko.ScanError, match="cannot be read as an alignment"):
        brisko.open(tmp_path / "posed.cl3")
    found = brisko.check(tmp_path / "cut.cl3")
    assert not found.ok and found.findings[0].block == 0
    assert capfd.readouterr().out == ""
