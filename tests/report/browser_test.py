# SPDX-License-Identifier: BSD-3-Clause
"""The page in a real browser: Debian's Chromium, headless, driven through its own driver."""

import os

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from support import ReportTest, head, write_pair

ORDER = """return [...document.querySelectorAll("#index tbody tr")].filter(row => !row.hidden)
    .map(row => row.cells[1].textContent)"""
IMAGES = "return Promise.all([...document.images].map(image => image.decode())).then(decoded => decoded.length)"


class Browser(ReportTest):
    def test_page_loads_alone_sorts_and_finds(self):
        write_pair(self.folder / "two", head(5), [(108, "f", 16)])
        runs = {"scan-2": ("one", 1), "scan-10": ("one", 0), "w": ("two", 1), "broken": ("none", 1)}
        for name, run in runs.items():
            self.usage1(name, *run)
        self.report(*runs, status=1)
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
        self.assertEqual((browser.title, browser.execute_script(IMAGES)), ("A <cohort>", 27))
        # The errors of scan-2 and w are the same.
        for heading, order in (("State", "scan-2 w scan-10 broken"), ("Error after", "scan-2 w scan-10 broken"),
                               ("Error after", "scan-10 scan-2 w broken"), ("Scan", "broken scan-2 scan-10 w")):
            browser.find_element(By.XPATH, f'//table[@id="index"]//th/button[text()="{heading}"]').click()
            self.assertEqual(browser.execute_script(ORDER), order.split(), heading)
        browser.find_element(By.ID, "find").send_keys("Scan-")
        self.assertEqual(browser.execute_script(ORDER), ["scan-2", "scan-10"])
        self.assertEqual(browser.get_log("browser"), [])
