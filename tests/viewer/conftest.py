import json
import os
import shutil
import subprocess

import pytest
from selenium import webdriver
from selenium.webdriver.chrome.service import Service

FLAGS = ["--headless=new", "--no-sandbox", "--disable-quic", "--no-first-run", "--disable-sync",
         "--disable-background-networking", "--disable-component-update", "--use-gl=angle",
         "--use-angle=swiftshader", "--enable-unsafe-swiftshader", "--window-size=1000,800"]


def brisko(*arguments):
    """What the tool prints; as JSON where it was asked for."""
    line = [os.environ["BRISKO_TOOL"], "--progress=none", *map(str, arguments)]
    out = subprocess.run(line, check=True, capture_output=True, text=True).stdout
    return json.loads(out) if "--json" in arguments else out


def cell(scan, place, *more):
    return brisko("cell", scan, place["column"], place["row"], "--json", *more)["point"]


@pytest.fixture(scope="session")
def folder(tmp_path_factory):
    """yard.cl3, indexed, with colours and a matrix, of 6 x 3 tiles; yard.pts, its aligned cloud; station.e57 and
    station/photos.cl3, with colours of photos."""
    folder = tmp_path_factory.mktemp("viewer")
    brisko("simulate", folder, "--name", "yard", "--format", "cl3-indexed", "--colour",
           "--columns", 1400, "--rows", 600, "--alignment")
    brisko("convert", folder / "yard.cl3", folder / "yard.pts")
    brisko("simulate", folder, "--name", "station", "--columns", 800, "--rows", 360, "--alignment", "--photos", "W60",
           "--photo-scale", 4)
    brisko("index", folder / "station/station.clr")
    brisko("colour", folder / "station/station_index.cl3", folder / "station/photos.cl3")
    brisko("convert", folder / "station/photos.cl3", folder / "station.e57")
    return folder


@pytest.fixture(scope="session")
def browser(tmp_path_factory):
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for flag in [*FLAGS, f"--user-data-dir={tmp_path_factory.mktemp('profile')}"]:
        options.add_argument(flag)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    driver = webdriver.Chrome(service=Service(shutil.which("chromedriver")), options=options)
    driver.set_script_timeout(120)
    yield driver
    driver.quit()


class Page:
    """A page that shows scans, in the browser; its object is `page` in scripts."""

    def __init__(self, driver, path, view=""):
        self.driver = driver
        driver.get("about:blank")
        driver.get(path.as_uri() + view)
        self.settle()

    def do(self, script):
        """Runs a script, with a picture of all points before it."""
        return self.driver.execute_async_script(
            "const done = arguments[0]; window.brisko.ready.then(async (page) => {"
            "const settle = async () => { while (!page.isSettled) await new Promise(requestAnimationFrame); };"
            "await page.photos.loaded;"
            f"await settle(); {script} }}).then(done, (error) => done('failed: ' + error.stack));")

    def settle(self):
        assert self.do("") is None

    def errors(self):
        return [entry["message"] for entry in self.driver.get_log("browser") if entry["level"] == "SEVERE"]

    def pixels(self, places):
        """Red, green and blue of places of the picture, without shaded edges."""
        return self.do(f"""page.edges = 0; page.drawFrame(true); while (page.drawFrame(false));
            const gl = page.renderer.gl, pixel = new Uint8Array(4);
            return {json.dumps(places)}.map(([x, y]) => {{
                gl.readPixels(x, gl.drawingBufferHeight - 1 - y, 1, 1, gl.RGBA, gl.UNSIGNED_BYTE, pixel);
                return [...pixel.subarray(0, 3)];
            }});""")


@pytest.fixture
def open_page(browser, folder):
    """Makes a page of files in the folder and opens it: open_page("yard.cl3", "--full")."""
    def open_it(*arguments, view=""):
        files = [folder / name for name in arguments if not name.startswith("-")]
        options = [name for name in arguments if name.startswith("-")]
        output = folder / "page.html"
        result = brisko("view", *files, "-o", output, "--overwrite", "--json", *options)
        page = Page(browser, output, view)
        page.result = result
        assert page.errors() == []
        return page
    return open_it
