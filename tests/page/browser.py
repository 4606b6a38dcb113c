"""A Chromium without a window, and the server's page in it."""
import os
import shutil
import time
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import WebDriverWait

PAGE = Path(__file__).resolve().parents[2] / "apps/zel-server/page/index.html"
PATIENCE = 60  # s, on a busy machine

#: Runs before the page's own script: its second may be short, its clock be set, and what its policy refused is kept.
BEFORE = """
    window.shift = 0;
    window.refused = [];
    {
        const now = Date.now, wait = window.setTimeout;
        Date.now = () => now() + window.shift;
        window.setTimeout = (call, time) => wait(call, time === 1000 ? 20 : time);
        document.addEventListener("securitypolicyviolation",
            (event) => window.refused.push(`${event.effectiveDirective} ${event.blockedURI}`));
    }
"""


def start():
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which("chromium")
    for argument in ("--headless=new", "--disable-dev-shm-usage", "--hide-scrollbars", "--lang=en-GB", "--no-first-run",
                     "--disable-background-networking", "--disable-component-update"):
        options.add_argument(argument)
    if hasattr(os, "geteuid") and os.geteuid() == 0:
        options.add_argument("--no-sandbox")  # the superuser has none
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    browser = webdriver.Chrome(options=options, service=Service(shutil.which("chromedriver")))
    browser.set_script_timeout(PATIENCE)
    browser.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": BEFORE})
    return browser


class Page:
    """The page, opened from a folder with its data beside it."""

    def __init__(self, browser, folder, address=None):
        self.browser = browser
        self.folder = Path(folder)
        self.address = address or (self.folder / "index.html").as_uri()
        if not (self.folder / "index.html").exists():
            shutil.copy(PAGE, self.folder)

    def write(self, script):
        """As the server does: nobody sees half a file."""
        new = self.folder / "data.js.new"
        new.write_text(script, encoding="utf-8")
        new.replace(self.folder / "data.js")

    def open(self, suffix=""):
        self.browser.get("about:blank")  # a mere change of what follows the # loads nothing
        self.browser.get(self.address + suffix)
        return self

    def run(self, script, *arguments):
        return self.browser.execute_script(script, *arguments)

    def text(self, selector):
        """What is to be seen there, "" when there is nothing."""
        return self.run("""const found = document.querySelector(arguments[0]);
            return found && found.checkVisibility() ? found.innerText.trim() : "";""", selector)

    def wait(self, what, true):
        WebDriverWait(self.browser, PATIENCE, 0.05).until(lambda _: true(), what)

    def wait_text(self, selector, expected):
        try:
            self.wait("", lambda: expected in self.text(selector))
        except Exception as error:
            raise AssertionError(f"{selector}: no {expected!r} in {self.text(selector)!r}") from error

    def size(self, width, height, dark=False):
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 600})
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})

    def errors(self):
        """What the browser complained of since it was asked last."""
        return [entry["message"] for entry in self.browser.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")]


def now():
    return int(time.time() * 1000)
