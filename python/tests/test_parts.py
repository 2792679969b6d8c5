"""A scan in parts."""

import filecmp
import os
import pickle
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import brisko


def test_bands_become_the_bytes_of_one_run(tmp_path):
    def make(band):
        return brisko.convert(path, band.output, columns=band.columns, overwrite=True).points

    path = brisko.simulate(tmp_path / "raw.clr", 700, 300)
    brisko.convert(path, tmp_path / "whole.cl3")
    bands = brisko.split(path, 9, tmp_path)
    assert [band.columns for band in bands] == [slice(0, 256), slice(256, 512), slice(512, 700)]
    with ThreadPoolExecutor(2) as pool:
        points = list(pool.map(make, bands))
    assert all(band.done for band in brisko.split(path, 3, tmp_path))
    result = brisko.join(bands, tmp_path / "joined.cl3")
    assert (result.points, result.columns, result.rows) == (sum(points), 700, 300)
    for suffix in ".cl3", ".ij", ".alg":
        assert filecmp.cmp(tmp_path / f"whole{suffix}", tmp_path / f"joined{suffix}", shallow=False)
    with pytest.raises(ValueError, match=r"band_3.cl3: does not go on where .*band_1.cl3 ends"):
        brisko.join([bands[0].output, bands[2]], tmp_path / "no.cl3")
    with pytest.raises(FileExistsError):
        brisko.join(bands, tmp_path / "joined.cl3")

    with brisko.open(tmp_path / "joined.cl3") as scan:
        handed_on = pickle.dumps(scan)
        np.testing.assert_array_equal(pickle.loads(handed_on)[9:11].xyz, scan[9:11].xyz)
        assert scan.tiles() in handed_on
    os.utime(tmp_path / "joined.ij")
    with pytest.raises(ValueError, match="joined.ij: the file is not as it was"):
        pickle.loads(handed_on)
