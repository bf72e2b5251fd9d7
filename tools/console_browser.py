#!/usr/bin/env python3
"""console_browser.py - headless chromium driven through chromedriver, for the
console's browser tests and the demo's screenshot. As a program: signs in to
a running console and saves a screenshot of one page.

Usage: console_browser.py URL USER PASSWORD_FILE PNG [PAGE]
(the password is read from a file so it never shows on a command line)."""
import os
import shutil
import sys
import tempfile

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.common.exceptions import NoSuchElementException, StaleElementReferenceException
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import WebDriverWait

CHROMIUM_FLAGS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    # The console's certificate is the one "tarn init" made for this root alone.
    "--ignore-certificate-errors",
]


def chromium_paths():
    """(browser, driver) or None when either is missing."""
    browser = shutil.which("chromium")
    driver = shutil.which("chromedriver")
    return (browser, driver) if browser and driver else None


class Browser:
    """One headless chromium with a fresh profile, removed on close."""

    def __init__(self, width=1280, height=800):
        browser, driver = chromium_paths()
        self.profile = tempfile.mkdtemp(prefix="tarn-chromium-")
        options = webdriver.ChromeOptions()
        options.binary_location = browser
        for flag in CHROMIUM_FLAGS:
            options.add_argument(flag)
        options.add_argument("--user-data-dir=" + self.profile)
        options.add_argument("--window-size=%d,%d" % (width, height))
        self.driver = webdriver.Chrome(service=Service(driver), options=options)

    def close(self):
        try:
            self.driver.quit()
        finally:
            shutil.rmtree(self.profile, ignore_errors=True)

    def wait(self, until, seconds=20):
        # A page being drawn again replaces the elements a check holds.
        return WebDriverWait(self.driver, seconds, ignored_exceptions=(
            NoSuchElementException, StaleElementReferenceException)).until(lambda d: until())

    def find(self, css):
        return self.driver.find_element(By.CSS_SELECTOR, css)

    def finds(self, css):
        return self.driver.find_elements(By.CSS_SELECTOR, css)

    def text(self, css):
        found = self.finds(css)
        return found[0].text if found else ""

    def content(self, css):
        """The text of the first match, shown or not (a closed branch of the tree)."""
        found = self.finds(css)
        return found[0].get_attribute("textContent") if found else ""

    def sign_in(self, base, user, password):
        self.driver.get(base + "/")
        self.wait(lambda: self.find("#signin-user").is_displayed())
        self.find("#signin-user").send_keys(user)
        self.find("#signin-password").send_keys(password)
        self.find("#signin-submit").click()

    def wait_tree(self):
        self.wait(lambda: self.finds("#tree li.ou, #tree li.peer") or
                  "no node" in self.text("#tree"))

    def open(self, base, page):
        self.driver.get(base + "/#" + page)


def main(argv):
    if len(argv) not in (5, 6):
        print(__doc__.split("\n\n")[1], file=sys.stderr)
        return 2
    if not chromium_paths():
        print("no chromium and chromedriver: no screenshot", file=sys.stderr)
        return 1
    base, user, password_file, png = argv[1:5]
    with open(password_file) as f:
        password = f.read().strip()
    b = Browser()
    try:
        b.sign_in(base, user, password)
        b.wait_tree()
        if len(argv) == 6:
            b.open(base, argv[5])
            b.wait(lambda: b.finds("#tab-body .card"))
        os.makedirs(os.path.dirname(os.path.abspath(png)), exist_ok=True)
        b.driver.save_screenshot(png)
    finally:
        b.close()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
