import pytest

import brisko


@pytest.fixture(scope="session")
def scan_path(tmp_path_factory):
    """An indexed scan of 2 x 2 tiles with colours and a matrix; nothing is written beside it."""
    return brisko.simulate(tmp_path_factory.mktemp("scan") / "yard.cl3", 300, 270)


@pytest.fixture(scope="session")
def station(tmp_path_factory):
    """A scan with photos around it, none of whose colours it stores."""
    path = tmp_path_factory.mktemp("station") / "yard.cl3"
    return brisko.simulate(path, 280, 300, photos="W60", photo_scale=8, colour=False)


@pytest.fixture
def scan(scan_path):
    with brisko.open(scan_path) as opened:
        yield opened
