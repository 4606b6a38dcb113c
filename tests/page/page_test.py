#!/usr/bin/env python3
"""The server's page in a browser, on made-up data: page_test.py [--screenshots DIR] [test...]

With --screenshots it runs no test, but writes the pictures of docs/page.md into DIR.
"""
import argparse
import functools
import http.server
import sys
import tempfile
import threading
import unittest
from pathlib import Path

import browser
import data
from browser import Page, now
from selenium.common.exceptions import JavascriptException
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

HOSTILE = [
    "</script><script>window.ran = 1</script>",
    "<img src=x onerror='window.ran = 1'>",
    "\"><svg onload='window.ran = 1'>",
    "javascript:window.ran = 1",
    "\u2028window.ran = 1//\u202e",
    "{0}{1}$&${window.ran = 1}",
    "constructor",
    "__proto__",
]

#: The worst contrast between a text and what is behind it.
CONTRAST = """
    const light = (colour) => {
        const [r, g, b] = colour.match(/[\\d.]+/g).slice(0, 3).map((part) => part / 255)
            .map((part) => (part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4));
        return 0.2126 * r + 0.7152 * g + 0.0722 * b;
    };
    const behind = (element) => {
        for (; element; element = element.parentElement) {
            const colour = getComputedStyle(element).backgroundColor;
            if (!colour.endsWith(", 0)")) return colour;
        }
        return "rgb(255, 255, 255)";
    };
    let worst = [21, ""], texts = 0;
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (walker.nextNode()) {
        const element = walker.currentNode.parentElement;
        if (!walker.currentNode.data.trim() || !element.checkVisibility()) continue;
        ++texts;
        const two = [light(getComputedStyle(element).color), light(behind(element))].sort((a, b) => b - a);
        const contrast = (two[0] + 0.05) / (two[1] + 0.05);
        if (contrast < worst[0]) worst = [contrast, walker.currentNode.data];
    }
    return [...worst, texts];
"""


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = browser.start()
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.page = Page(self.browser, folder.name)
        self.page.size(1280, 900)
        self.missing = False  # whether data.js may be

    def tearDown(self):
        complaints, refused = self.page.errors(), self.page.run("return window.refused")
        self.browser.get("about:blank")  # before its folder goes
        self.assertEqual([line for line in complaints if not self.is_expected(line)], [])
        self.assertEqual(refused, [])

    def is_expected(self, line):
        """A file that is replaced while Chromium reads it from disk may be cut off, see the test of half a file. A look
        of the test before may be told to have failed when its folder is gone."""
        if line.startswith("file:") and not line.startswith(self.page.folder.as_uri()):
            return True
        return "data.js" in line and ("SyntaxError" in line or self.missing and "ERR_FILE_NOT_FOUND" in line)

    def show(self, said, suffix=""):
        self.page.write(data.script(said))
        self.page.open(suffix)
        self.page.wait("the data are shown", lambda: self.page.run("return data !== null"))
        return self.page

    def bar(self):
        return self.page.run("return document.querySelector('#running progress').position")

    def test_bars_move_when_the_data_change(self):
        page = self.show(data.empty(running=[data.running("a.drq", 10)]))
        page.wait_text("#running", "a.drq")
        self.assertEqual(self.bar(), 0.1)
        self.assertIn("10%", page.text("#running"))
        bar = self.browser.find_element(By.CSS_SELECTOR, "#running progress")
        page.write(data.script(data.empty(running=[data.running("a.drq", 60, comment="half way")])))
        page.wait("the bar moves", lambda: self.bar() == 0.6)
        self.assertIn("half way", page.text("#running"))
        self.assertEqual(bar.get_attribute("value"), "60")  # still the same element
        page.write(data.script(data.empty(running=[data.running("b.drq", -1)])))
        page.wait("how far the next one is, is not known", lambda: self.bar() == -1)
        self.assertNotIn("a.drq", page.text("#running"))

    def test_the_expected_end_is_a_range_or_not_known(self):
        end = {"earliest": now() + 60000, "latest": now() + 120000}
        page = self.show(data.empty(running=[data.running("a.drq", 50, rate_end=end), data.running("b.drq", 1)]))
        page.wait_text("#running tr:nth-child(1) [data-label='Expected end']", "–")
        page.wait_text("#running tr:nth-child(2) [data-label='Expected end']", "not known yet")
        page.wait_text("#running tr:nth-child(1) [data-label='Since']", "(1m ")

    def test_everything_the_server_says_is_there(self):
        page = self.show(data.busy())
        for selector, words in {
                "#waiting": ["(137)", "batch-0000.drq", "6 of 137 are shown", "night"],
                "#paused": ["yearly.drq", "(1h"],
                "#failed": ["broken.drq", "no such table: salse"],
                "#answers": ["✗", "failed", "⊘", "cancelled", "2.3s", "140ms"],
                "#plugins": ["zel_datastore", "✓", "loaded", "zel_script", "✗", "in use"],
                "#clients": ["report", "night"],
                "#tiles": ["3 of 4", "■■■□", "48,211", "137"],
                "#facts": ["atlas", "4711", "2.0.0", "41 GB free of 250 GB", "⚠ 9 GB", "5.1 GB", "1d 1h"],
                "#title": ["atlas"]}.items():
            for word in words:
                page.wait_text(selector, word)
        self.assertEqual(page.text("#banner"), "")
        self.assertEqual(page.text("#held"), "")

    def test_a_held_queue_is_told(self):
        page = self.show(data.empty(held=True))
        page.wait_text("#held", "The queue is held")

    def test_what_a_request_says_is_never_run(self):
        for text in HOSTILE:
            with self.subTest(text):
                said = data.busy(
                    running=[data.running(text, 5, comment=text, type=text, client=text, slot=text)],
                    waiting={"count": 1, "first": [{"name": text, "type": text, "client": text, "priority": text, "since": text}]},
                    paused=[{"name": text, "since": text}],
                    failed=[{"name": text, "type": text, "when": text, "reason": text}],
                    answers=[{"name": text, "type": text, "when": 1, "waited_ms": text, "ran_ms": text, "outcome": text}],
                    clients=[{"name": text, "since": 1e300}])
                said["server"].update(host=text, version=text, requests=text, output=text,
                                      plugins=[{"name": text, "version": text, "state": text}])
                said["totals"]["done"] = text
                page = self.show(said)
                for place in ("running tbody th", "failed tbody td", "answers .said", "plugins .said", "title", "facts"):
                    page.wait("the text itself is shown", lambda place=place: page.run(
                        "return document.querySelector(arguments[0]).textContent.includes(arguments[1])", f"#{place}", text))
                self.assertEqual(page.run("""return [window.ran, document.images.length, document.links.length,
                    document.querySelectorAll('svg:not(.chart):not(.legend svg), iframe, body script ~ script').length]"""),
                    [None, 0, 0, 0])

    def test_no_text_becomes_markup(self):
        page = self.show(data.empty())
        for script in ("document.body.innerHTML = '<p>x'", "document.createElement('script').src = 'data.js'",
                       "document.createElement('script').text = 'window.ran = 1'"):
            with self.assertRaisesRegex(JavascriptException, "Trusted"):
                page.run(script)
        self.page.errors()  # those were made here
        page.run("window.refused = []")

    def test_a_killed_server_is_told_of(self):
        page = self.show(data.empty(written=now() - 3600000, running=[data.running("a.drq", 10, since=now() - 3605000)]))
        page.wait_text("#banner", "Nothing was heard from the server since")
        self.assertIn("(1h)", page.text("#banner"))
        page.wait_text("#running", "(5s)")  # its time stands still
        page.write(data.script(data.empty()))
        page.wait("a server is back", lambda: page.text("#banner") == "")

    def test_a_server_that_falls_silent_is_told_of_after_two_heartbeats(self):
        page = self.show(data.empty())
        page.wait_text("#running", "None")
        page.run("window.shift = 20000; window.before = null; show()")
        self.assertEqual(page.text("#banner"), "")
        page.run("window.shift = 200000")
        page.wait_text("#banner", "Nothing was heard")

    def test_a_server_whose_clock_is_wrong_is_alive_while_its_data_change(self):
        for wrong in (-3600000, 3600000):
            page = self.show(data.empty(written=now() + wrong))
            page.write(data.script(data.empty(written=now() + wrong + 1000, running=[
                data.running("a.drq", 5, since=now() + wrong - 7200000)])))
            page.wait_text("#running", "(2h")
            self.assertEqual(page.text("#banner"), "")

    def test_a_server_that_ended_in_good_order_is_not_called_killed(self):
        page = self.show(data.empty(ended=True, written=now() - 3600000))
        page.wait_text("#banner", "ended in good order at")
        self.assertNotIn("Nothing was heard", page.text("#banner"))

    def test_another_version_of_the_data_is_told(self):
        page = self.show(data.busy(version=2))
        page.wait_text("#banner", "in version 2, which this page does not know")
        self.assertEqual(page.text("main"), "")
        page.write(data.script(data.busy()))
        page.wait_text("#running", "sales-2026-11.drq")

    def test_missing_and_empty_data_are_told_until_there_are_some(self):
        self.missing = True
        self.page.open()
        self.page.wait_text("#banner", "cannot be read yet")
        for script in ("", "zelData(null);", "zelData(5);"):
            self.page.write(script + "window.loaded = true;")
            self.page.run("window.loaded = false")
            self.page.wait("the data are read", lambda: self.page.run("return window.loaded"))
            self.page.wait_text("#banner", "cannot be read yet")
        self.page.write(data.script({"version": 1, "written": now()}))  # nothing else
        self.page.wait_text("#running", "None")
        self.page.write(data.script({"version": 1, "written": now(), "running": None, "waiting": 5, "series": {"t": 1},
                                     "server": "x", "disk": [], "answers": [None, 5, {}], "totals": False}))
        self.page.wait_text("#answers", "(1)")
        self.assertEqual(self.page.text("#banner"), "")

    def test_half_a_file_changes_nothing(self):
        page = self.show(data.empty(running=[data.running("a.drq", 10)]))
        page.wait_text("#running", "10%")
        page.run("window.wrong = 0; window.addEventListener('error', () => ++window.wrong)")
        whole = data.script(data.empty(running=[data.running("a.drq", 60)]))
        page.write(whole[:len(whole) // 2])
        page.wait("half of it is read", lambda: page.run("return window.wrong") > 1)
        self.assertIn("10%", page.text("#running"))
        page.write(whole)
        page.wait_text("#running", "60%")

    def test_the_language_is_the_servers_or_the_chosen_one(self):
        page = self.show(data.busy(language="fr"))
        page.wait_text("#failed", "Échecs")
        self.assertEqual(page.run("return document.documentElement.lang"), "fr")
        self.assertIn("48\u202f211", page.text("#tiles"))
        Select(self.browser.find_element(By.ID, "language")).select_by_value("de")
        page.wait_text("#failed", "Fehlgeschlagen")
        self.assertIn("48.211", page.text("#tiles"))
        self.assertTrue(self.browser.current_url.endswith("#de"))
        self.browser.refresh()
        page.wait_text("#failed", "Fehlgeschlagen")
        page.open("#en")
        page.wait_text("#failed", "Failed")
        page.open("#constructor")
        page.wait_text("#failed", "Échecs")

    def test_every_text_is_there_in_every_language(self):
        english, *others = self.page.open().run("return [words.en, words.de, words.fr]")
        self.missing = True
        for texts in others:
            self.assertEqual(texts.keys(), english.keys())
            for key, text in texts.items():
                self.assertEqual([f"{{{at}}}" in text for at in (0, 1)], [f"{{{at}}}" in english[key] for at in (0, 1)], key)

    def test_a_telephone_shows_it_without_scrolling_sideways(self):
        self.page.size(320, 640)
        long = "x" * 200
        said = data.busy(language="de")
        said["running"].append(data.running(long, 5, comment=long, type=long, client=long))
        said["failed"].append({"name": long, "type": long, "when": now(), "reason": long})
        said["server"].update(requests="/" + long, slots=400)
        page = self.show(said)
        page.wait_text("#running", long)
        self.assertEqual(page.run("return [innerWidth, document.documentElement.scrollWidth]"), [320, 320])
        self.assertEqual(page.run("""return [...document.querySelectorAll('body *')].filter((element) =>
            element.checkVisibility() && element.getBoundingClientRect().right > 320.5).map((element) => element.outerHTML)"""), [])

    def test_charts_of_sixty_intervals_are_drawn(self):
        page = self.show(data.busy())
        page.wait("the charts are drawn", lambda: page.run("return !!document.querySelector('.bars').getAttribute('d')"))
        bars, points, most = page.run("""return [document.querySelector('#chart-rate path').getAttribute('d').split('z').length - 1,
            document.querySelector('#chart-wait .p95').getAttribute('d').split(/[ML]/).length - 1,
            document.querySelector('#chart-rate .axis').innerText]""")
        self.assertGreaterEqual(bars, 59)  # an interval may have ended meanwhile
        self.assertEqual(points, bars)
        self.assertEqual(most, "100")
        self.assertIn("p95", page.text("#chart-run .legend"))
        for chart in ("rate", "errors", "wait", "run"):
            box = page.run("return document.querySelector(arguments[0]).getBBox().height", f"#chart-{chart} path")
            self.assertTrue(0 < box <= 100, f"{chart}: {box}")

    def test_a_gap_in_the_figures_is_a_gap_in_the_charts(self):
        said = data.busy()
        said["series"] = [item for at, item in enumerate(said["series"]) if at not in (20, 22)]
        page = self.show(said)
        page.wait_text("#figures .count", "(58)")
        lines = page.run("return document.querySelector('#chart-wait .p50').getAttribute('d')")
        self.assertEqual(lines.count("M"), 3, lines)

    def test_texts_are_easy_to_read_by_day_and_by_night(self):
        for dark in (False, True):
            for said in (data.busy(held=True), data.busy(written=now() - 3600000), data.busy(ended=True)):
                self.page.size(1280, 900, dark)
                self.show(said).wait_text("#failed", "broken.drq")
                contrast, text, texts = self.page.run(CONTRAST)
                self.assertGreaterEqual(contrast, 4.5, text)
                self.assertGreater(texts, 150)

    def test_a_screen_reader_finds_names_roles_and_numbers(self):
        for width in (1280, 320):
            self.page.size(width, 900)
            self.show(data.busy()).wait_text("#running", "stations.drq")
            nodes = self.browser.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
            found = {}
            for node in nodes:
                if not node["ignored"]:
                    found.setdefault(node["role"]["value"], []).append(node)
            names = {role: [node.get("name", {}).get("value", "") for node in nodes] for role, nodes in found.items()}
            self.assertIn("sales-2026-11.drq", names["progressbar"])
            self.assertIn("Running", names["table"])
            self.assertIn("stations.drq", names["rowheader"])
            self.assertIn("Expected end", names["columnheader"])
            self.assertEqual(sum("Waiting time: p50 newest" in name for name in names["image"]), 1, names["image"])
            self.assertTrue(all(names["image"]) and all(names["table"]) and all(names["combobox"]))

    def test_keys_reach_what_can_be_chosen_and_opened(self):
        page = self.show(data.busy())
        page.wait_text("#running", "stations.drq")
        keys = lambda key: self.browser.switch_to.active_element.send_keys(key)
        focus = lambda: page.run("return document.activeElement.id || document.activeElement.parentElement.id")
        keys(Keys.TAB)
        self.assertEqual(focus(), "language")
        keys(Keys.TAB)
        self.assertEqual(focus(), "running")
        keys(Keys.ENTER)
        page.wait("the section closes", lambda: "stations.drq" not in page.text("#running"))
        page.run("window.loaded = false")
        page.write(data.script(data.busy()) + "window.loaded = true;")
        page.wait("the data are read", lambda: page.run("return window.loaded"))
        self.assertEqual((focus(), page.text("#running")), ("running", "Running (3)"))  # and stays closed

    def test_nothing_moves_by_itself(self):
        page = self.show(data.busy())
        page.wait_text("#running", "stations.drq")
        self.assertEqual(page.run("return document.getAnimations({subtree: true}).length"), 0)

    def test_hundreds_of_looks_leave_nothing_behind(self):
        said = data.script(data.busy()).replace("zelData(", "zelData(Object.assign(").replace(");\n", """, {
            written: Date.now(), held: window.looks % 2 === 0,
            running: [{name: "look " + window.looks, percent: window.looks % 101}]}));""")
        self.page.write("window.looks = (window.looks || 0) + 1;" + said)
        self.page.open()
        self.browser.execute_cdp_cmd("Performance.enable", {})

        def after(looks):
            self.page.wait("so many looks", lambda: self.page.run("return window.looks") >= looks)
            self.browser.execute_cdp_cmd("HeapProfiler.collectGarbage", {})
            metrics = self.browser.execute_cdp_cmd("Performance.getMetrics", {})["metrics"]
            return {metric["name"]: metric["value"] for metric in metrics}

        before, behind = after(100), after(400)
        self.assertLessEqual(behind["Nodes"], before["Nodes"] + 20)
        self.assertLessEqual(behind["JSEventListeners"], before["JSEventListeners"] + 2)
        self.assertLess(behind["JSHeapUsedSize"], before["JSHeapUsedSize"] + 500000)
        self.assertLessEqual(self.page.run("return document.scripts.length"), 2)

    def test_it_works_from_a_web_server_as_well(self):
        class Handler(http.server.SimpleHTTPRequestHandler):
            def log_message(self, *_):
                pass

        server = http.server.ThreadingHTTPServer(
            ("127.0.0.1", 0), functools.partial(Handler, directory=str(self.page.folder)))
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        self.page.address = f"http://127.0.0.1:{server.server_port}/index.html"
        page = self.show(data.empty(running=[data.running("a.drq", 10)]))
        page.wait_text("#running", "10%")
        page.write(data.script(data.empty(running=[data.running("a.drq", 70)])))
        page.wait_text("#running", "70%")


def take_screenshots(folder):
    """Of a busy server, on a desk and on a telephone."""
    with tempfile.TemporaryDirectory() as place:
        chromium = browser.start()
        try:
            page = Page(chromium, place)
            page.write(data.script(data.busy()))
            for name, width, height in (("page-desktop", 1100, 860), ("page-telephone", 360, 720)):
                page.size(width, height)
                page.open("#en").wait_text("#running", "stations.drq")
                Path(folder, f"{name}.png").write_bytes(chromium.get_screenshot_as_png())
        finally:
            chromium.quit()


if __name__ == "__main__":
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--screenshots", metavar="DIR")
    chosen, others = parser.parse_known_args()
    if chosen.screenshots:
        take_screenshots(chosen.screenshots)
    else:
        unittest.main(argv=[sys.argv[0], *others])
