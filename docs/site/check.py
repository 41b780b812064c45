#!/usr/bin/env python3
"""Looks at the site in a browser: check.py FOLDER [PICTURES]

Every page: links lead somewhere, anchors included; nothing is loaded from elsewhere; no message in
the console; no letters too small to be read; no wider than a phone or a desktop. Search finds a
class and a guide on both. PICTURES is a folder for pictures of the guides, at both widths, light and
dark.
"""

import functools
import http.server
import pathlib
import sys
import threading
import urllib.parse

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.common.by import By
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import WebDriverWait

GUIDES = pathlib.Path(__file__).resolve().parents[1] / "guides"
WIDTHS = {"phone": 375, "desktop": 1440}
SEARCHES = {"tempfilew": "TempFileWrapper", "writing a w": "Writing a wrapper"}
SMALLEST_LETTERS = 11  # pixels

# What the browser has of a page.
LOOK = """
const targets = [...document.querySelectorAll('a[href], area[href]')].map(a => a.href);
return {
    links: targets.filter(href => !href.startsWith('javascript:')),
    anchors: [...document.querySelectorAll('[id], a[name]')].map(e => e.id || e.name),
    loaded: performance.getEntriesByType('resource').map(entry => entry.name),
    broken: [...document.images].filter(i => !i.naturalWidth).map(i => i.src),
    text: document.body.innerText.trim().length,
    letters: Math.min(99, ...[...document.querySelectorAll('.contents *')]
        .filter(e => e.innerText && e.innerText.trim())
        .map(e => parseFloat(getComputedStyle(e).fontSize)))
}"""


def start_browser():
    options = webdriver.ChromeOptions()
    # Root has no sandbox there, nor need of one: only pages of ours are shown.
    for argument in ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage"]:
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)


class Quiet(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


def serve(site):
    """Serves the site, and answers its address. Ends with the program."""
    server = http.server.ThreadingHTTPServer(
        ("127.0.0.1", 0), functools.partial(Quiet, directory=site))
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return f"http://127.0.0.1:{server.server_port}/"


class Check:
    def __init__(self, browser, site):
        self.browser = browser
        self.site = site
        self.address = serve(site)
        self.faults = []

    def fault(self, page, text):
        self.faults.append(f"{page}: {text}")

    def resize(self, width, height=900):
        self.browser.execute_cdp_cmd(
            "Emulation.setDeviceMetricsOverride",
            {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 600})

    def open(self, page):
        self.browser.get(self.address + urllib.parse.quote(page))

    def complaints(self, page):
        for entry in self.browser.get_log("browser"):
            self.fault(page, f"console: {entry['message']}")

    def look(self, page):
        self.open(page)
        seen = self.browser.execute_script(LOOK)
        if seen["text"] < 100:
            self.fault(page, "shows nothing")
        if seen["letters"] < SMALLEST_LETTERS:
            self.fault(page, f"has letters of {seen['letters']} pixels")
        for picture in seen["broken"]:
            self.fault(page, f"a picture is missing: {picture}")
        for address in seen["loaded"]:
            if not address.startswith(self.address):
                self.fault(page, f"loads {address}")
        for width in WIDTHS.values():
            self.resize(width)
            needed = self.browser.execute_script("return document.scrollingElement.scrollWidth")
            if needed > width:
                self.fault(page, f"is {needed} pixels wide on {width}")
        self.complaints(page)
        return seen

    def all_pages(self):
        """What each page is, by its name."""
        pages = sorted(path.name for path in self.site.glob("*.html"))
        return {page: self.look(page) for page in pages}

    def links(self, pages):
        count = 0
        for page, seen in pages.items():
            for link in set(seen["links"]):
                count += 1
                self.link(pages, page, link)
        return count

    def link(self, pages, page, link):
        if not link.startswith(self.address):
            self.fault(page, f"leads out of the site: {link}")
            return
        name, _, anchor = urllib.parse.unquote(link[len(self.address):]).partition("#")
        if not (self.site / name).is_file():
            self.fault(page, f"dead link: {link}")
        elif anchor and anchor not in pages[name]["anchors"]:
            self.fault(page, f"no such anchor: {link}")

    def search(self, text, wanted, width):
        """Types into the search box, and follows what is found."""
        self.resize(width)
        self.open("index.html")
        self.browser.find_element(By.ID, "MSearchField").send_keys(text)
        wait = WebDriverWait(self.browser, 20, ignored_exceptions=[StaleElementReferenceException])
        wait.until(lambda browser: browser.find_element(By.ID, "MSearchResultsWindow").is_displayed())
        self.browser.switch_to.frame("MSearchResults")
        entry = wait.until(lambda _: self.shown("a.SRSymbol", wanted))[0]
        is_group = entry.get_attribute("href").startswith("javascript:")
        entry.click()
        if is_group:  # of several of this name, which unfolds
            self.shown("a.SRScope", wanted)[0].click()
        self.browser.switch_to.default_content()
        wait.until(lambda browser: wanted in browser.title)
        self.complaints(f"search for {text}")

    def shown(self, selector, text):
        """The elements that are shown and hold the text."""
        return [element for element in self.browser.find_elements(By.CSS_SELECTOR, selector)
                if element.is_displayed() and text in element.text]

    def searches(self):
        for width in WIDTHS.values():
            for text, wanted in SEARCHES.items():
                try:
                    self.search(text, wanted, width)
                except Exception as error:  # of whatever kind: it is not found
                    self.fault(f"search for {text} at {width}", type(error).__name__)

    def picture(self, page, folder, kind, scheme):
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]})
        self.resize(WIDTHS[kind])
        self.open(page)
        height = self.browser.execute_script("return document.documentElement.scrollHeight")
        self.resize(WIDTHS[kind], height)
        self.browser.save_screenshot(str(folder / f"{pathlib.Path(page).stem}-{kind}-{scheme}.png"))

    def pictures(self, folder):
        folder.mkdir(parents=True, exist_ok=True)
        for page in ["index.html", "classKorvel_1_1PDF_1_1Converter_1_1TempFileWrapper.html",
                     *(f"{guide.stem}.html" for guide in GUIDES.glob("*.md"))]:
            for kind in WIDTHS:
                for scheme in ["light", "dark"]:
                    self.picture(page, folder, kind, scheme)


def check_site(site, pictures):
    """Prints what is wrong with the site; whether that is nothing."""
    browser = start_browser()
    try:
        check = Check(browser, site)
        if pictures:
            check.pictures(pictures)
        pages = check.all_pages()
        links = check.links(pages)
        for guide in GUIDES.glob("*.md"):
            if f"{guide.stem}.html" not in pages:
                check.fault(guide.name, "is not in the site")
        check.searches()
    finally:
        browser.quit()
    print(f"{len(pages)} pages, {links} links, {len(SEARCHES) * len(WIDTHS)} searches: "
          f"{len(check.faults)} faults")
    print("\n".join(check.faults), end="")
    return not check.faults


folders = [pathlib.Path(argument) for argument in sys.argv[1:]]
sys.exit(not check_site(folders[0], folders[1] if len(folders) > 1 else None))
