import math

import pytest
from conftest import cell
from selenium.webdriver import ActionChains


def project(page, place):
    """Where a place of the aligned frame is in the picture: worked out apart from the page."""
    view = page.do("return {eye: page.camera.eye, yaw: page.camera.yaw, pitch: page.camera.pitch,"
                   " angle: page.camera.fieldOfView, origin: page.scene.origin,"
                   " width: page.renderer.canvas.width, height: page.renderer.canvas.height}")
    x, y, z = (place[axis] - view["origin"][k] - view["eye"][k] for k, axis in enumerate("xyz"))
    yaw, pitch = view["yaw"], view["pitch"]
    ahead, right = x * math.cos(yaw) + y * math.sin(yaw), x * math.sin(yaw) - y * math.cos(yaw)
    depth, up = ahead * math.cos(pitch) + z * math.sin(pitch), z * math.cos(pitch) - ahead * math.sin(pitch)
    scale = view["height"] / 2 / math.tan(view["angle"] / 2)
    return [round(view["width"] / 2 + right / depth * scale - 0.5), round(view["height"] / 2 - up / depth * scale - 0.5)]


def test_the_picture_shows_the_colours_of_the_cells(open_page, folder):
    page = open_page("yard.cl3")
    assert page.do("return page.scene.scans[0].count") == page.result["points"]
    page.do("page.scales.colour.gamma = 1; page.setMode('colour')")
    points = [cell(folder / "yard.cl3", {"column": 640 + 12 * i, "row": 300 + 20 * j})
              for i in range(10) for j in range(5)]
    points = [point for point in points if point]
    shown = page.pixels([project(page, point) for point in points])
    near = [max(abs(a - b) for a, b in zip(point["colour"], pixel)) <= 25 for point, pixel in zip(points, shown)]
    assert len(points) > 30 and sum(near) > 0.85 * len(near)


@pytest.mark.parametrize("x, y", [(200, 300), (350, 420), (500, 250)])
def test_a_click_shows_what_the_cell_holds(open_page, folder, x, y):
    page = open_page("yard.cl3", "--points=100000")
    ActionChains(page.driver).move_by_offset(x, y + 48).click().perform()
    ActionChains(page.driver).move_by_offset(-x, -y - 48).perform()
    picked = page.do("return page.measurements.picked")
    for frame, more in (("aligned", []), ("scanner", ["--scanner-frame"])):
        point = cell(folder / "yard.cl3", picked["cell"], *more)
        assert picked[frame] == pytest.approx([point[axis] for axis in "xyz"], abs=3e-4)
    assert picked["colour"] == point["colour"]
    assert picked["intensity"] == pytest.approx(point["intensity"], abs=0.5)
    assert f"{picked['cell']['column']}, {picked['cell']['row']}" in page.driver.find_element("id", "point").text


def test_a_distance_is_that_of_its_two_points(open_page, folder):
    page = open_page("yard.cl3")
    page.driver.find_element("id", "measure").click()
    distance = page.do("for (const x of [150, 450]) page.take(page.pointAt(x, 350));"
                       "return page.measurements.distances[0]")
    a, b = (cell(folder / "yard.cl3", distance[end]["cell"]) for end in ("from", "to"))
    steps = [b[axis] - a[axis] for axis in "xyz"]
    assert [distance["dx"], distance["dy"], distance["dz"]] == pytest.approx(steps, abs=1e-3)
    assert distance["length"] == pytest.approx(math.hypot(*steps), abs=1e-3)
    assert f"{distance['length']:.4f} m" in page.driver.find_element("id", "distances").text


def test_the_clip_box_hides_what_is_outside(open_page):
    page = open_page("yard.cl3")
    at = page.do("return page.pointAt(300, 350).placed")
    box = ",".join(str(value + side) for side in (-1, 1) for value in at)
    page.do(f"page.setClip({{low: [{box}].slice(0, 3), high: [{box}].slice(3)}})")
    assert page.do("return page.pointAt(300, 350).placed") == at
    assert page.do("return page.pointAt(600, 300)") is None
    background = page.do("return page.last.background.map((part) => Math.round(255 * part))")
    inside, outside = page.pixels([[300, 350], [600, 300]])
    assert outside == background != inside


def test_files_give_every_point_exactly(open_page, folder):
    page = open_page("yard.cl3", "--full", "--points=20000")
    page.driver.find_element("id", "files").send_keys(f"{folder / 'yard.cl3'}\n{folder / 'yard.ij'}")
    tiles = page.do("""const full = () => page.fulls.get(page.scene.scans[0]);
        while (!full()?.layout || full().tiles.size === 0 || full().waiting.size > 0) {
            await settle();
            await new Promise((resolve) => setTimeout(resolve, 50));
        }
        return [...full().tiles.values()].map((tile) => [tile.count, full().layout.points[tile.tile],
            page.describe(tile, 0), page.describe(tile, tile.count - 1)]);""")
    assert tiles
    for count, expected, *ends in tiles:
        assert count == expected
        for end in ends:
            point = cell(folder / "yard.cl3", end["cell"], "--scanner-frame")
            assert end["isExact"] and end["scanner"] == [point[axis] for axis in "xyz"]
            assert (end["colour"], end["intensity"]) == (point["colour"], point["intensity"])
    page.do("document.getElementById('files').value = ''")
    page.driver.find_element("id", "files").send_keys(f"{folder / 'yard.pts'}")
    assert "two files" in page.driver.find_element("id", "full-state").text


def test_scans_and_clouds_lie_where_they_belong(open_page):
    page = open_page("yard.cl3", "yard.pts", "--points=40000")
    grid, cloud = page.result["scans"]
    assert 15000 < grid["points"] <= 20000 and 19990 < cloud["points"] <= 20000 and cloud["grid"] is None
    seen = [page.do(f"""page.scene.scans.forEach((scan, i) => scan.isShown = i === {shown});
        page.redraw(); await settle(); return page.pointAt(350, 450)""") for shown in (0, 1)]
    assert seen[0]["aligned"] == pytest.approx(seen[1]["aligned"], abs=0.2)
    assert seen[0]["cell"] and not seen[1]["cell"]


def test_the_panorama_leads_to_its_places(open_page, folder):
    page = open_page("yard.cl3", "--title=</script>\"\\u0041<b>")
    assert page.driver.title == "</script>\"\\u0041<b>"
    strip = page.driver.find_element("css selector", "#panorama canvas")
    ActionChains(page.driver).move_to_element_with_offset(strip, 120, 40).click().perform()
    page.do("while (page.camera.flight) await new Promise(requestAnimationFrame); await settle()")
    picked, target = page.do("return [page.measurements.picked, page.camera.target]")
    assert target == pytest.approx(picked["placed"], abs=1e-6)
    across = (page.do("return page.panorama.canvas.clientWidth") / 2 + 120) / page.do(
        "return page.panorama.canvas.clientWidth")
    assert picked["cell"]["column"] == pytest.approx(1400 * across, abs=3)  # clockwise, as the scan runs


@pytest.mark.parametrize("scan", ["station/photos.cl3", "station.e57"])
def test_photos_lie_where_the_points_have_their_colours(open_page, scan):
    page = open_page(scan)
    assert page.result["photos"] == 12
    page.do("""const [x, y, z] = page.scene.scans[0].station;
        page.camera.set({eye: [x - 2, y, z], yaw: 0, pitch: 0, distance: 2, isAtStation: false});
        page.scales.colour.gamma = 1;""")
    box, background = page.do("return [page.renderer.canvas.getBoundingClientRect(), page.last.background]")
    page.do(f"page.click({box['x'] + box['width'] / 2}, {box['y'] + box['height'] / 2}, false)")
    assert page.do("return page.photos.open.number") in range(12)  # the pictures stand around the station
    places = [[x, y] for x in range(150, 550, 20) for y in range(150, 500, 20)]
    for number in (2, 7):
        page.do(f"page.goToPhoto(page.photos.all[{number}])")
        photo, points = (page.do(f"page.opacity = {opacity}") or page.pixels(places) for opacity in (1, 0))
        pairs = [(a, b) for a, b in zip(photo, points) if b != [round(255 * part) for part in background]]
        near = [max(abs(x - y) for x, y in zip(a, b)) <= 40 for a, b in pairs]
        assert len(near) > 100 and sum(near) > 0.8 * len(near)


def test_fingers_turn_slide_zoom_and_pick(open_page):
    page = open_page("yard.cl3", "--points=100000")

    def touch(*steps):
        """Each step: where the fingers are; a tap, or a way that ends with all of them lifted."""
        kinds = ["touchStart", *["touchMove"] * (len(steps) - 1), "touchEnd"]
        for kind, fingers in zip(kinds, [*steps, []]):
            points = [{"x": x, "y": y, "id": i} for i, (x, y) in enumerate(fingers)]
            page.driver.execute_cdp_cmd("Input.dispatchTouchEvent", {"type": kind, "touchPoints": points})
        return page.do("const {yaw, pitch, eye, fieldOfView} = page.camera;"
                       "return [yaw, pitch, eye, fieldOfView, page.measurements.picked?.cell]")

    yaw, pitch, eye, angle, picked = touch([(300, 400)])
    assert picked  # a tap; what follows picks nothing else
    turned = touch([(300, 400)], [(340, 400)], [(380, 420)])
    assert turned[0] > yaw + 0.05 and turned[1] > pitch + 0.01 and turned[2:] == [eye, angle, picked]
    zoomed = touch([(250, 400), (350, 400)], [(200, 400), (400, 400)])
    assert zoomed[3] == pytest.approx(angle / 2, rel=0.05) and zoomed[4] == picked
    slid = touch([(250, 400), (350, 400)], [(250, 460), (350, 460)])
    assert slid[2] != eye and slid[:2] == turned[:2] and slid[4] == picked


def test_an_address_leads_to_its_view(open_page):
    page = open_page("yard.cl3", view="#v=1,2,3,0.5,-0.25,4,0.9,0&m=height&h=0")
    state = page.do("const {eye, yaw, pitch} = page.camera; return [eye, yaw, pitch, page.mode, page.sets.length]")
    assert state == [[1, 2, 3], 0.5, -0.25, "height", 0]
    page.do("page.camera.set({yaw: 0.75}); page.setMode('range'); await settle()")
    assert page.driver.current_url.endswith("#v=1,2,3,0.75,-0.25,4,0.9,0&m=range&h=0")
