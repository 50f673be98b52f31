"""The page of `kavelin view`, in a real browser, over the program itself."""

import csv
import subprocess

import pytest
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

from conftest import KAVELIN, RECORDING

SLOW = ("--pace", "0.1")


def fused(*options):
    return subprocess.run([KAVELIN, "fuse", RECORDING, *options], capture_output=True, text=True, check=False)


def matrix_of(row):
    return [float(value) for name, value in row.items() if name.startswith("attitude.")]


def test_the_unit_is_drawn_as_the_attitude_pin_says(server, open_page):
    server.start(*SLOW)
    page = open_page()
    page.pause()
    page.js("document.querySelector('#shown').open = true")
    page.find("#shown input[value='estimator:attitude']").click()
    for _ in range(5):
        page.step()
    drawn = {}

    def both_drawn():
        for pin in ("estimator:attitude", "estimator:attitudeQ"):
            sample = page.js("return kavelinView.sample(arguments[0])", pin)
            drawn[pin] = (sample and sample["t"], page.js("return kavelinView.unitMatrix(arguments[0])", pin))
        (t, matrix), (t_q, matrix_q) = drawn.values()
        return matrix and matrix_q and t == t_q and round(t * 100) == page.rows() - 1

    page.wait(both_drawn, "the attitude of the last row")
    time = drawn["estimator:attitude"][0]
    rows = {float(row["t"]): row for row in csv.DictReader(fused("--as", "matrix", "--quiet").stdout.splitlines())}
    expected = matrix_of(rows[time])
    for pin, (_, matrix) in drawn.items():
        assert matrix == pytest.approx(expected, abs=1e-12), pin

    euler = next(row for row in csv.DictReader(fused("--as", "euler", "--quiet").stdout.splitlines()) if float(row["t"]) == time)
    shown = page.js("return [...document.querySelectorAll('#angles tr.unit')].map(row => [...row.cells].slice(1).map(cell => cell.textContent))")
    for angles in shown:
        assert [float(text.replace("−", "-").rstrip("°")) for text in angles] == pytest.approx(
            [float(value) for name, value in euler.items() if "_zyx" in name], abs=0.051)

    plot = ".plot[data-pin='estimator:attitudeQ'] "
    legend = f"return [...document.querySelectorAll(\"{plot}.legend .value\")].map(value => value.textContent + '°')"
    page.wait(lambda: page.js(legend) == shown[0], "the same angles in the plot's legend")
    assert page.find(plot + ".what").text == "orientation · turns about z, y, x · deg · sensor to earth (east, north, up)"

    page.frames(2)
    draws = page.js("return kavelinView.draws()")
    page.frames(20)
    assert page.js("return kavelinView.draws()") == draws, "nothing has changed, nothing is drawn"


def test_frames_and_histories(server, open_page):
    """What has no place in a run of a few rows: other earth frames, short flags, gaps, hours of samples."""
    server.start(*SLOW)
    page = open_page()
    result = page.driver.execute_async_script("""const done = arguments[0];
        Promise.all([import('/app/frames.js'), import('/app/history.js')]).then(([{earthFrame}, {History}]) => {
            const history = new History();
            for (let i = 0; i <= 100; ++i) history.add({t: i, rows: 1, cols: 1, v: [0], low: 0, high: i === 50 ? 1 : 0}, true);
            const bands = history.bands.map(({from, to, isWhole}) => [from, to, isWhole]);
            history.gap();
            const hasGap = history.samples.at(-1).v === null;
            const long = new History();
            for (let i = 0; i < 100000; ++i) long.add({t: i * 0.003, rows: 1, cols: 1, v: [i % 2], low: 0, high: 1}, true);
            const kept = [long.samples.length <= 8300, long.samples[0].t < 181, long.samples.at(-1).t === 299.997, long.bands.length <= 8000];
            history.add({t: 3, rows: 1, cols: 1, v: [0], low: 0, high: 0}, true);
            done({bands, hasGap, kept, back: history.samples.length,
                  ned: earthFrame('sensor to earth (north, east, down)').toWorld,
                  nwu: earthFrame('sensor to earth (north, west, up)').toWorld, own: earthFrame('sensor to its pose at the start')});
        })""")
    assert result["bands"] == [[49, 50, False]], "a flag raised between two messages is a band"
    assert result["hasGap"] and result["kept"] == [True] * 4
    assert result["back"] == 1, "a pin that goes back in time starts over"
    assert result["ned"] == [0, 1, 0, 1, 0, 0, 0, 0, -1]
    assert result["nwu"] == [0, -1, 0, 1, 0, 0, 0, 0, 1]
    assert result["own"] is None


def test_a_write_takes_effect_on_every_page_and_a_refusal_tells_why(server, open_page):
    server.start(*SLOW)
    one, other = open_page(), open_page()
    for page in (one, other):
        page.switch().choose_filter("estimator")
    one.wait(lambda: one.text("pages") == "2", "two pages")
    value = "return document.querySelector(\".field[data-property='Rest time'] input\").value"
    one.switch().field("Rest time").send_keys(Keys.CONTROL, "a", Keys.NULL, "2.5", Keys.ENTER)
    other.switch().wait(lambda: other.js(value) == "2.5", "the other page shows the value")
    assert one.switch().refusal("Rest time") == ""

    one.field("Rest time").send_keys(Keys.CONTROL, "a", Keys.NULL, "99", Keys.ENTER)
    one.wait(lambda: one.refusal("Rest time"), "a refusal")
    assert one.refusal("Rest time") in fused("--set", "Rest time=99").stderr
    assert one.js(value) == "2.5"

    # What is being edited is left alone, and the field says so.
    one.field("Rest time").send_keys(Keys.CONTROL, "a", Keys.NULL, "7")
    other.switch().find(".field[data-property='Rest time'] .reset").click()
    note = "return document.querySelector(\".field[data-property='Rest time'] .note\").textContent"
    one.switch().wait(lambda: "Changed elsewhere to 1" in one.js(note), "a note beside the field")
    assert one.js(value) == "7"
    one.field("Rest time").send_keys(Keys.ESCAPE)
    assert one.js(value) == "1"


def test_transport(server, open_page):
    server.start(*SLOW)
    page, other = open_page(), open_page()
    page.switch().pause()
    for _ in range(3):
        page.step()
    other.switch().wait(lambda: other.rows() == int(page.switch().text("rows")), "both pages show the same row")

    page.switch().js("""const pace = document.getElementById('pace'); pace.value = 'max'; pace.dispatchEvent(new Event('change'))""")
    other.switch().wait(lambda: other.js("return document.getElementById('pace').value") == "max", "the pace on the other page")
    page.switch().find("#pause").click()
    page.wait(lambda: page.text("state") == "ended", "the end of the recording")
    assert page.rows() == 4000 and page.js("return document.getElementById('progress').value") == 1

    page.js("""const pace = document.getElementById('pace'); pace.value = '0.1'; pace.dispatchEvent(new Event('change'))""")
    for _ in range(4):
        page.click("#restart")
        page.frames(3)
    page.wait(lambda: page.text("state") != "ended" and 0 < page.rows() < 1000, "the recording from its start")
    page.pause()
    page.wait(lambda: page.js("return kavelinView.unitMatrix('estimator:attitudeQ')"), "the unit is drawn again")
    assert page.js("return kavelinView.sample('estimator:attitudeQ').t") < 10, "nothing is left from before the restart"


def test_the_page_recovers_when_the_server_is_back(server, open_page):
    server.start(*SLOW)
    page = open_page()
    page.js("const add = document.getElementById('add-plot'); add.value = 'recording:3m'; add.dispatchEvent(new Event('change'))")
    sample = "return kavelinView.sample('recording:3m')?.t"
    page.wait(lambda: page.js(sample) is not None, "the pin is watched")
    server.kill()
    page.wait(lambda: page.find("#banner").is_displayed(), "the banner")
    assert "connection to kavelin is lost" in page.text("banner-text")
    open_page.expected = lambda message: "/live" in message and "ERR_CONNECTION_REFUSED" in message

    page.js("document.getElementById('rows').textContent = '-1'")
    server.start(*SLOW)
    page.click("#retry")
    page.wait(lambda: not page.find("#banner").is_displayed() and page.rows() > 0, "the new server")
    page.wait(lambda: page.js(sample) is not None, "the pin is watched again")
    page.wait(lambda: page.js("return kavelinView.unitMatrix('estimator:attitudeQ')"), "the unit is drawn again")
    assert len(page.driver.find_elements("css selector", ".plot[data-pin='recording:3m']")) == 1


def test_a_phone_needs_no_sideways_scrolling(server, open_page):
    server.start(*SLOW)
    page = open_page()
    page.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {"width": 360, "height": 740, "deviceScaleFactor": 2, "mobile": True})
    page.wait(lambda: page.js("return document.querySelectorAll('#graph-view svg [role=button]').length > 0"), "the graph")
    page.choose_filter("recording")
    page.find("#help-open").click()
    page.frames(2)
    assert page.js("return [innerWidth, document.documentElement.scrollWidth]") == [360, 360]


def test_the_keyboard_does_it_all(server, open_page):
    server.start(*SLOW)
    page = open_page()

    def press(*keys):
        ActionChains(page.driver).send_keys(*keys).perform()

    press(Keys.SPACE)
    page.wait(lambda: page.text("state") == "paused", "paused by the space bar")
    before = page.rows()
    press(".")
    page.wait(lambda: page.rows() == before + 1, "one row by the dot")

    page.wait(lambda: page.js("return document.querySelectorAll('#graph-view svg [role=button]').length > 0"), "the graph")
    press("g")
    focused = "return document.activeElement.getAttribute('aria-label') ?? document.activeElement.id"
    for _ in range(100):
        if page.js(focused).startswith("recording:3g, output"):
            break
        press(Keys.ARROW_RIGHT)
    press(Keys.ENTER)
    page.wait(lambda: page.js("return document.querySelector(\".plot[data-pin='recording:3g']\") !== null"), "its plot")
    page.wait(lambda: page.js("return document.querySelector(\".plot[data-pin='recording:3g'] canvas\") !== null"), "its chart")
    assert page.js(focused) == "Close the plot of recording:3g"
    press(Keys.ENTER)
    assert page.js("return document.querySelector(\".plot[data-pin='recording:3g']\") === null")

    press("f")
    assert page.js("return document.activeElement.id") == "filter"
    while page.js("return document.activeElement.closest('.field')?.dataset.property") != "Rest time":
        press(Keys.TAB)
    ActionChains(page.driver).key_down(Keys.CONTROL).send_keys("a").key_up(Keys.CONTROL).send_keys("3", Keys.ENTER).perform()
    page.wait(lambda: not page.find(".field[data-property='Rest time'] .reset").get_property("disabled"), "the value is written")

    press(Keys.ESCAPE)
    page.js("document.activeElement.blur()")
    press("?")
    assert page.js("return document.getElementById('help').open")
    press(Keys.ENTER)  # the dialog's only button
    assert not page.js("return document.getElementById('help').open")
