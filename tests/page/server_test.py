#!/usr/bin/env python3
"""The page of a real server: its programs are in ZEL_BUILD_DIR."""
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

import browser
from browser import PATIENCE, Page

BIN = Path(os.environ.get("ZEL_BUILD_DIR") or Path(__file__).resolve().parents[2] / "build/debug") / "bin"
HOSTILE = "<img src=x onerror='window.ran = 1'>.drq"


def has_page():
    try:
        known = subprocess.run([BIN / "zel-server", "--help"], capture_output=True, text=True, check=True)
    except FileNotFoundError:
        return False
    return "--page " in known.stdout


@unittest.skipUnless(has_page(), f"there is no zel-server with a page in {BIN}")
class ServerPageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = browser.start()
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        place = tempfile.TemporaryDirectory()
        self.addCleanup(place.cleanup)
        self.place = Path(place.name)
        environment = {name: value for name, value in os.environ.items() if not name.startswith("ZEL_")}
        with open(self.place / "log", "wb") as log:
            self.server = subprocess.Popen(
                [BIN / "zel-server", "--request-dir", self.place / "requests", "--output-dir", self.place / "output",
                 "--create-dirs", "--components", BIN / "test-plugins", "--slots", "2", "--page", self.place / "page"],
                stdout=subprocess.PIPE, stderr=log, text=True, env={**environment, "LC_ALL": "C"})
        self.addCleanup(self.end)
        self.assertEqual(self.server.stdout.readline(), "zel-server: ready\n", (self.place / "log").read_text())
        self.assertTrue((self.place / "page/index.html").read_bytes() == browser.PAGE.read_bytes(), "another page")
        self.page = Page(self.browser, self.place / "page")
        self.page.size(1280, 900)
        self.page.open()
        self.page.wait_text("#running", "None")

    def end(self):
        self.browser.get("about:blank")
        self.server.kill()
        self.server.wait(PATIENCE)
        self.server.stdout.close()

    def send(self, name, task):
        request = self.place / "request"
        request.write_text(f"<Request><Task {task}/></Request>", encoding="utf-8")
        request.rename(self.place / "requests" / name)

    def bar(self):
        return self.page.run("return document.querySelector('#running progress')?.position ?? -1")

    def test_a_request_runs_fails_and_is_forgotten_by_nobody(self):
        self.send("long.drq", 'Type="Sleep" Milliseconds="120000" Steps="400"')
        self.page.wait_text("#running", "long.drq")
        self.page.wait("the bar has begun", lambda: self.bar() > 0)
        first = self.bar()
        self.page.wait("the bar moves", lambda: self.bar() > first)
        self.assertIn("1 of 2", self.page.text("#tiles"))

        self.send(HOSTILE, 'Type="FailObtain"')
        self.page.wait_text("#failed", HOSTILE)
        self.page.wait_text("#failed", "could not obtain")
        self.page.wait_text("#answers", "failed")
        self.assertIsNone(self.page.run("return window.ran ?? null"))
        self.assertEqual(self.page.run("return window.refused"), [])

        self.server.kill()
        self.server.wait(PATIENCE)
        self.page.run("window.shift = 3600000")
        self.page.wait_text("#banner", "Nothing was heard from the server since")
        self.assertIn("long.drq", self.page.text("#running"))

    def test_a_server_that_is_stopped_says_so(self):
        self.send("short.drq", 'Type="Echo"')
        self.page.wait_text("#answers", "short.drq")
        self.server.terminate()
        self.assertEqual(self.server.wait(PATIENCE), 0)
        self.page.wait_text("#banner", "ended in good order")


if __name__ == "__main__":
    unittest.main()
