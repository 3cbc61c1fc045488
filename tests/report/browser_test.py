# SPDX-License-Identifier: BSD-3-Clause
"""The page in a real browser: Debian's Chromium, headless, driven through its own driver."""

import os
import pathlib
import unittest

import numpy
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from support import ReportTest, head, write_pair

ORDER = """return [...document.querySelectorAll("#index tbody tr")].filter(row => !row.hidden)
    .map(row => row.cells[1].textContent)"""
IMAGES = "return Promise.all([...document.images].map(image => image.decode())).then(decoded => decoded.length)"

AXE = os.environ.get("TONALIGN_AXE", "")  # the program of axe-core, which `scripts/test --all` fetches
VIOLATIONS = """const done = arguments[0];
axe.run().then(found => done(found.violations.map(v => v.id + ": " + v.nodes[0].html + " " + v.nodes[0].failureSummary)));"""
WIDER = """return [document.documentElement, ...document.querySelectorAll("#index td, .findings li, .failures li, .strips td")]
    .concat(document.getElementById("index").parentElement).filter(box => box.scrollWidth > box.clientWidth + 1).map(box => box.outerHTML.slice(0, 200))"""


class Browser(ReportTest):
    def open_page(self):
        """In a browser of its own."""
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for flag in ("--headless", "--no-sandbox", "--disable-gpu", f"--user-data-dir={self.folder}/data"):
            options.add_argument(flag)
        # The driver is on this machine, and not behind the proxy that a closed network names in its environment.
        options.ignore_local_proxy_environment_variables()
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        home = {"HOME": str(self.folder), "TMPDIR": str(self.folder)}
        browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver", env=os.environ | home), options=options)
        self.addCleanup(browser.quit)
        browser.get(self.page.as_uri())
        return browser

    def test_a_cohort_is_accessible_at_any_width(self):
        for number in range(7):
            values = head(number) if number else numpy.random.default_rng(0).permutation(head(0).ravel()).reshape(10, 12, 14)
            source = f"in-{number}"
            write_pair(self.folder / source, values, [(108, "f", 16)] if number == 1 else ())
            self.usage2(f"scan-{number}", [1] * 32, source) if number % 2 else self.usage1(f"scan-{number}", source)
        self.usage1("a" * 200, source="none")
        self.report(*(f"scan-{number}" for number in range(7)), "a" * 200, status=1)
        self.assertIn("neighbouring voxels", self.rows["scan-0"]["remarks"])
        self.assertEqual(list(self.rows)[:3], ["a" * 200, "scan-0", "scan-1"], "the worst first")
        browser = self.open_page()
        browser.find_element(By.CSS_SELECTOR, '.strip a[aria-label^="scan-0"] circle.out').click()
        self.assertRegex(browser.current_url, "#scan-1$")
        for width in (375, 768, 1280):
            browser.set_window_size(width, 900)
            self.assertEqual(browser.execute_script(WIDER), [], width)
            if AXE:
                browser.execute_script(pathlib.Path(AXE).read_text("utf-8"))
                self.assertEqual(browser.execute_async_script(VIOLATIONS), [], width)
        if not AXE:
            raise unittest.SkipTest("axe-core is not there")

    def test_page_loads_alone_sorts_and_finds(self):
        write_pair(self.folder / "two", head(5), [(108, "f", 16)])
        runs = {"scan-2": ("one", 1), "scan-10": ("one", 0), "w": ("two", 1), "broken": ("none", 1)}
        for name, run in runs.items():
            self.usage1(name, *run)
        self.report(*runs, status=1)
        browser = self.open_page()
        self.assertEqual((browser.title, browser.execute_script(IMAGES)), ("A <cohort>", 27))
        # The errors of scan-2 and w are the same.
        for heading, order in (("State", "scan-2 w scan-10 broken"), ("Error after", "scan-2 w scan-10 broken"),
                               ("Error after", "scan-10 scan-2 w broken"), ("Scan", "broken scan-2 scan-10 w")):
            browser.find_element(By.XPATH, f'//table[@id="index"]//th/button[text()="{heading}"]').click()
            self.assertEqual(browser.execute_script(ORDER), order.split(), heading)
        browser.find_element(By.ID, "find").send_keys("Scan-")
        self.assertEqual(browser.execute_script(ORDER), ["scan-2", "scan-10"])
        self.assertEqual(browser.get_log("browser"), [])
