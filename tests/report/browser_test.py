"""The page in a real browser: Debian's Chromium, headless, driven through its own driver."""

import json
import os
import re
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from support import ReportTest, head, write_pair

FLAGS = ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--disable-dev-shm-usage", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--window-size=1300,1000")
READABLE = 4.5  # contrast of text, as WCAG 2 asks
ORDER = (
    'return [...document.querySelectorAll("#index tbody tr")].filter(row => !row.hidden)'
    ".map(row => row.cells[1].textContent)"
)
SORTED_BY = (
    'return [...document.querySelectorAll("#index th")].map(h => [h.textContent, h.getAttribute("aria-sort")])'
    '.filter(([, sort]) => sort !== "none").map(pair => pair.join(" "))'
)
# Every text's colour and the nearest background behind it.
COLOURS = """return [...document.querySelectorAll("h1, h2, p, td, th, li, small, figcaption, .badge, pre, a, svg text")]
    .map(element => {
        let behind = element;
        while (getComputedStyle(behind).backgroundColor === "rgba(0, 0, 0, 0)") behind = behind.parentElement;
        const style = getComputedStyle(element);
        return [element.outerHTML.slice(0, 60), element instanceof SVGElement ? style.fill : style.color,
                getComputedStyle(behind).backgroundColor];
    })"""


def luminance(colour):
    parts = [int(part) / 255 for part in re.findall(r"\d+", colour)[:3]]
    red, green, blue = (p / 12.92 if p <= 0.04045 else ((p + 0.055) / 1.055) ** 2.4 for p in parts)
    return 0.2126 * red + 0.7152 * green + 0.0722 * blue


def contrast(first, second):
    dark, light = sorted((luminance(first), luminance(second)))
    return (light + 0.05) / (dark + 0.05)


class Browser(ReportTest):
    def setUp(self):
        super().setUp()
        write_pair(self.folder / "two", head(5), vox_offset=16)
        self.usage1("scan-2")
        self.usage1("scan-10", endpoints=1, sigma=1)
        self.usage1("warned", source="two")
        self.usage2("by-file", "scan-2-target.hist")
        self.usage1("broken", bins=0)
        self.errors = {
            name: float(re.findall(r"histograms=\t(.*)", (self.folder / f"{name}.log").read_text())[2])
            for name in ("scan-2", "scan-10", "warned", "by-file")
        }
        self.report("scan-2", "scan-10", "warned", "by-file", "broken", status=1)
        self.browser = self.start_browser()
        self.browser.get((self.folder / "page.html").as_uri())

    def start_browser(self):
        home = tempfile.TemporaryDirectory(prefix="tonalign-browser-", ignore_cleanup_errors=True)
        self.addCleanup(home.cleanup)
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for flag in (*FLAGS, f"--user-data-dir={home.name}/data"):
            options.add_argument(flag)
        # The driver is on this machine, and not behind the proxy that a closed network names in its environment.
        options.ignore_local_proxy_environment_variables()
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        service = Service("/usr/bin/chromedriver", env=os.environ | {"HOME": home.name, "TMPDIR": home.name})
        browser = webdriver.Chrome(service=service, options=options)
        self.addCleanup(browser.quit)
        return browser

    def order(self):
        return self.browser.execute_script(ORDER)

    def head_button(self, name):
        return self.browser.find_element(By.XPATH, f'//table[@id="index"]//th/button[text()="{name}"]')

    def test_loads_alone_and_shows_every_picture(self):
        sizes = self.browser.execute_script(
            "return Promise.all([...document.images].map(async image => { await image.decode();"
            "return [image.naturalWidth, image.naturalHeight, image.alt.length] }))"
        )
        self.assertEqual(len(sizes), 3 * 9 + 6)
        for size in sizes:
            self.assertGreater(min(size), 0)
        # Drawn by the size of voxels: 12 voxels of 1 mm across, 10 of 2 mm upward.
        self.browser.execute_script('document.querySelector("#scan-1").scrollIntoView()')
        box = self.browser.find_element(By.CSS_SELECTOR, 'img[alt^="scan-2, input: y-z"]').rect
        self.assertAlmostEqual(box["width"] / box["height"], 12 / 20, delta=0.02)
        charts = self.browser.find_elements(By.CSS_SELECTOR, 'svg[role="img"][aria-label]')
        self.assertEqual(len(charts), 8)
        self.assertEqual(self.browser.find_element(By.TAG_NAME, "html").get_attribute("lang"), "en")
        self.assertEqual(self.browser.title, "A <cohort>")
        messages = (json.loads(entry["message"])["message"] for entry in self.browser.get_log("performance"))
        requests = [m["params"] for m in messages if m["method"] == "Network.requestWillBeSent"]
        page = (self.folder / "page.html").as_uri()
        # The browser loads pages of its own too, at its start.
        asked = {r["request"]["url"] for r in requests if r["documentURL"] == page}
        self.assertEqual({url for url in asked if not url.startswith("data:")}, {page})
        self.assertEqual(self.browser.get_log("browser"), [])

    def test_index_sorts_by_click_and_by_key(self):
        self.assertEqual(self.order()[:2], ["broken", "warned"])
        self.assertEqual(self.browser.execute_script(SORTED_BY), ["State ascending"])
        self.errors["by-file"] = 5e-07  # as good as real volumes get
        self.browser.execute_script(
            '[...document.querySelectorAll("#index tbody tr")].find(row => row.textContent.includes("by-file"))'
            '.cells[5].dataset.value = "5e-07"'
        )
        self.head_button("Error after").click()
        self.assertEqual([self.errors[name] for name in self.order()[:4]], sorted(self.errors.values()))
        self.assertEqual(self.order()[4], "broken")
        self.assertEqual(self.browser.execute_script(SORTED_BY), ["Error after ascending"])
        self.head_button("Error after").send_keys(Keys.ENTER)
        self.assertEqual([self.errors[name] for name in self.order()[:4]], sorted(self.errors.values(), reverse=True))
        self.assertEqual(self.order()[4], "broken")
        self.assertEqual(self.browser.execute_script(SORTED_BY), ["Error after descending"])
        self.head_button("Scan").send_keys(Keys.SPACE)
        self.assertEqual(self.order(), ["broken", "by-file", "scan-2", "scan-10", "warned"])
        self.head_button("State").click()
        self.assertEqual(self.order()[:2], ["broken", "warned"])

    def test_finding_leaves_the_scans_that_match(self):
        self.browser.find_element(By.ID, "find").send_keys("Scan-")
        self.assertEqual(set(self.order()), {"scan-2", "scan-10"})
        self.assertEqual(self.browser.find_element(By.ID, "shown").text, "2 of 5 shown")
        visible = self.browser.execute_script(
            'return [...document.querySelectorAll("section")].filter(s => !s.hidden).length'
        )
        self.assertEqual(visible, 2)

    def test_readable_in_light_and_dark_and_when_printed(self):
        paper = {}
        for scheme, media in (("light", "screen"), ("dark", "screen"), ("dark", "print")):
            features = [{"name": "prefers-color-scheme", "value": scheme}]
            self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": media, "features": features})
            for element, ink, behind in self.browser.execute_script(COLOURS):
                self.assertGreaterEqual(contrast(ink, behind), READABLE, (scheme, media, element, ink, behind))
            body = self.browser.find_element(By.TAG_NAME, "body")
            paper[scheme, media] = luminance(body.value_of_css_property("background-color"))
        self.assertLess(paper["dark", "screen"], 0.05)
        self.assertGreater(paper["light", "screen"], 0.9)
        self.assertGreater(paper["dark", "print"], 0.9)
        self.assertFalse(self.browser.find_element(By.ID, "find").is_displayed())


if __name__ == "__main__":
    unittest.main()
