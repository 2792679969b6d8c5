"""Scans in the hands of other libraries, and their photos."""

import io
import sys
import types

import numpy as np
import pytest

import brisko


@pytest.mark.parametrize("frame", ["scanner", "aligned"])
def test_dask_reads_chunks_in_other_processes_when_the_scan_is_closed(scan_path, frame):
    dask = pytest.importorskip("dask")
    with brisko.open(scan_path, frame=frame) as scan:
        names = "xyz", "intensity", "colour", "valid", "range"
        lazy, whole = [scan.to_dask(n, chunks=256) for n in names], [scan.grid(n) for n in names]
    parts = dask.compute(*(a[250:260, ::-50] for a in lazy), scheduler="processes", num_workers=1)
    for array, grid, part, here in zip(lazy, whole, parts, dask.compute(*lazy)):
        assert array.chunks[:2] == ((256, 14), (256, 44)) and array.dtype == grid.dtype
        np.testing.assert_array_equal(part, grid[250:260, ::-50])
        np.testing.assert_array_equal(here, grid)


def test_dask_refuses_parts_of_tiles_and_a_file_that_has_changed(scan_path, tmp_path):
    pytest.importorskip("dask.array")
    path = brisko.simulate(tmp_path / "a.cl3", 40, 30)
    with brisko.open(path) as scan:
        lazy = scan.to_dask()
        with pytest.raises(ValueError, match="256"):
            scan.to_dask(chunks=(256, 100))
    brisko.simulate(path, 30, 40, overwrite=True)
    with pytest.raises(ValueError, match="not the one"):
        lazy.compute()


@pytest.mark.parametrize("chunks", [None, 256])
def test_xarray_knows_the_angles_of_columns_and_rows(scan, chunks):
    pytest.importorskip("dask.array")
    pytest.importorskip("xarray")
    cells = scan.to_xarray(chunks)
    np.testing.assert_array_equal(cells.xyz, scan.grid("xyz"))
    x, y, z = np.moveaxis(cells.xyz.values, 2, 0)
    turn = np.degrees(np.arctan2(y, x)) - cells.azimuth.values
    assert np.nanmax(np.abs((turn + 180) % 360 - 180)) < 1e-4
    np.testing.assert_allclose(np.degrees(np.arccos(z / cells.range)) - cells.zenith.values[:, None],
                               np.where(cells.valid, 0, np.nan), atol=1e-2)
    assert cells.attrs["model"] == scan.header["model"] and cells.xyz.dims == ("row", "column", "axis")


def test_open3d_gets_points_and_colours(scan, monkeypatch):
    with pytest.raises(ImportError, match="open3d"):
        scan.to_open3d()
    parts = {"geometry": types.SimpleNamespace(PointCloud=types.SimpleNamespace),
             "utility": types.SimpleNamespace(Vector3dVector=lambda array: np.asarray(array, float))}
    monkeypatch.setitem(sys.modules, "open3d", types.SimpleNamespace(**parts))
    cloud, batch = scan.to_open3d(), scan.read()
    np.testing.assert_array_equal(cloud.points, batch.xyz)
    np.testing.assert_array_equal(np.round(cloud.colors * 255), batch.colour)


@pytest.mark.parametrize("frame", ["scanner", "aligned"])
def test_a_ply_file_has_the_frame_of_its_scan(scan_path, tmp_path, frame):
    with brisko.open(scan_path, frame=frame) as scan:
        assert scan.to_ply(tmp_path / "a.ply") == len(scan)
        with brisko.open(tmp_path / "a.ply") as cloud:
            np.testing.assert_array_equal(cloud.read().xyz, scan.read().xyz)
        with pytest.raises(ValueError):
            scan.to_ply(tmp_path / "a.las")


def test_a_notebook_shows_a_small_panorama_or_nothing(scan):
    image = pytest.importorskip("PIL.Image")
    assert image.open(io.BytesIO(scan._repr_png_())).width == scan.shape[1]
    scan.close()
    assert scan._repr_png_() is None


def test_a_page_shows_scans_with_their_photos(scan, station, tmp_path):
    page = brisko.view([scan, station], tmp_path / "a.html", points=9_000, title="Yard")
    text = (tmp_path / "a.html").read_text()
    assert 7_000 < page.points <= 9_000 and page.bytes == (tmp_path / "a.html").stat().st_size
    assert page.photos == text.count('class="photo"') == 12 and '"title":"Yard"' in text
    assert brisko.view(station, page.path, photos=False, overwrite=True).photos == 0


def test_photos_give_colours_to_batches_windows_and_outputs(station, tmp_path):
    with brisko.open(station) as scan, brisko.open(station, colours="photos") as coloured:
        colours = np.concatenate(list(scan.colours(999)))
        assert len(scan.photos) == 12 and {photo.state for photo in scan.photos} == {"used"}
        assert all(photo.camera.worst_error < 5 < photo.width for photo in scan.photos)
        assert colours.any(axis=1).mean() > 0.9 and not scan.read().colour.any()
        np.testing.assert_array_equal(coloured.read().colour, colours)
        brisko.convert(station, tmp_path / "a.e57", colours="photos")
        with brisko.open(tmp_path / "a.e57") as output:
            np.testing.assert_array_equal(output.read().colour, colours)
            assert [photo.kind for photo in output.photos] == ["pinhole"] * 12
            with pytest.raises(ValueError, match="photo"):
                output.colours()
        with pytest.raises(ValueError, match="photos"):
            brisko.convert(station, tmp_path / "a.cl3", occlusion=True)
        seen = brisko.convert(station, tmp_path / "a.cl3", colours="photos", occlusion=True)
        assert 0.99 < seen.coloured / colours.any(axis=1).sum() <= 1
        batch = scan.read()
        cells = coloured[:, :]
        np.testing.assert_array_equal(cells.colour[batch.row, batch.column], colours)
