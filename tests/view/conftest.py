"""The program as a server, and headless Chromium as its page. Nothing here waits on the clock: each wait is for a condition."""

import os
import shutil
import socket
import subprocess
import threading

import pytest

SKIPPED = 77
KAVELIN = os.environ["KAVELIN"]
RECORDING = os.path.join(os.environ["KAVELIN_SOURCE_DIR"], "examples", "walk.csv")

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.by import By
    from selenium.webdriver.support.wait import WebDriverWait
except ImportError:
    webdriver = None
CHROMIUM, DRIVER = shutil.which("chromium"), shutil.which("chromedriver")


def pytest_sessionstart():
    if webdriver is None:
        pytest.exit("skipped: Selenium is not installed (python3-selenium)", SKIPPED)
    if not CHROMIUM or not DRIVER:
        pytest.exit("skipped: Chromium is not installed (chromium, chromium-driver)", SKIPPED)


class Server:
    """`kavelin view` on a port that was free."""

    def __init__(self):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]
        self.url = f"http://127.0.0.1:{self.port}/"
        self.process = None

    def start(self, *options):
        self.process = subprocess.Popen([KAVELIN, "view", RECORDING, "--port", str(self.port), *options],
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        said = []
        for line in self.process.stdout:
            said.append(line)
            if self.url.rstrip("/") in line:
                break
        else:
            raise AssertionError(f"kavelin view has not started: {''.join(said)}")
        threading.Thread(target=self.process.stdout.read, daemon=True).start()
        return self

    def kill(self):
        if self.process:
            self.process.kill()
            self.process.wait()


class Page:
    """One tab of the browser."""

    def __init__(self, driver, url):
        self.driver = driver
        self.handle = driver.current_window_handle
        driver.get(url)
        self.wait(lambda: self.text("state") in ("playing", "paused"), "the server tells its state")

    def switch(self):
        self.driver.switch_to.window(self.handle)
        return self

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, name):
        return self.js(f"return document.getElementById('{name}').textContent")

    def js(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def wait(self, condition, what):
        return WebDriverWait(self.driver, 60, poll_frequency=0.02).until(lambda _: condition(), f"waited for: {what}")

    def click(self, selector):
        """Also where the element has just been hidden."""
        self.js("document.querySelector(arguments[0]).click()", selector)

    def rows(self):
        return int(self.text("rows"))

    def pause(self):
        if self.text("state") != "paused":
            self.find("#pause").click()
        self.wait(lambda: self.text("state") == "paused", "paused")

    def step(self):
        before = self.rows()
        self.find("#step").click()
        self.wait(lambda: self.rows() != before, "one row")
        assert self.rows() == before + 1

    def choose_filter(self, name):
        self.js("""const select = document.getElementById('filter'); select.value = arguments[0];
                   select.dispatchEvent(new Event('change'))""", name)

    def field(self, name):
        return self.find(f".field[data-property='{name}'] input")

    def refusal(self, name):
        return self.js("return document.querySelector(`.field[data-property='${arguments[0]}'] .refusal`).textContent", name)

    def frames(self, count):
        """Lets the browser draw so many frames."""
        self.driver.execute_async_script("""const done = arguments[1]; let left = arguments[0];
            const next = () => left-- > 0 ? requestAnimationFrame(next) : done(); next()""", count)


@pytest.fixture(scope="session")
def driver():
    options = webdriver.ChromeOptions()
    for option in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--use-angle=swiftshader",
                   "--enable-unsafe-swiftshader", "--window-size=1040,720"):
        options.add_argument(option)
    options.binary_location = CHROMIUM
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    browser = webdriver.Chrome(service=Service(DRIVER), options=options)
    yield browser
    browser.quit()


@pytest.fixture
def server():
    running = Server()
    yield running
    running.kill()


@pytest.fixture
def open_page(driver, server):
    """Opens pages, each in a tab of its own; in the end their consoles must be empty but for what the test expects."""
    first = driver.current_window_handle
    pages = []

    def open_one():
        driver.switch_to.new_window("tab")
        pages.append(Page(driver, server.url))
        return pages[-1]

    open_one.expected = lambda message: False
    yield open_one
    said = []
    for page in pages:
        page.switch()
        said += [entry["message"] for entry in driver.get_log("browser") if not open_one.expected(entry["message"])]
        driver.close()
    driver.switch_to.window(first)
    assert said == []
