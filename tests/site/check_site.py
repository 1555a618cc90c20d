#!/usr/bin/python3 -B
# SPDX-License-Identifier: MIT
"""usage: check_site.py SITE LAYOUT SCREENSHOTS

Opens the site as a reader would, in Chromium: the start page, every page of the navigation and one of the reference, in
light, in dark and on a narrow screen. Says what is wrong, a line each, and leaves a screenshot of each look of each page.
Before, it shows on planted pages that it sees what is too wide and what can hardly be read.
"""

import os
import pathlib
import sys
import tempfile
import xml.etree.ElementTree

from selenium import webdriver
from selenium.common.exceptions import TimeoutException
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support import expected_conditions
from selenium.webdriver.support.ui import WebDriverWait

import site_links

WIDE = (1280, 900)
NARROW = (390, 844)

# One page of the reference stands for all, which Doxygen makes alike.
REFERENCE = "classMlox__Manager.html"

# Which page Doxygen makes of a tab of the layout that isn't a document's.
MADE_BY_DOXYGEN = {
    "mainpage": "index.html",
    "classlist": "annotated.html",
    "classindex": "classes.html",
    "hierarchy": "hierarchy.html",
    "filelist": "files.html",
}

# What a page shows, as the browser has laid it out. Contrast is that of WCAG 2: 4.5 and more is readable.
LOOK = """
// Red, green, blue, each up to 255, and how much of it hides what is behind, up to 1.
function channels(color) {
  const [red, green, blue, alpha = 1] = color.match(/[0-9.]+/g).map(Number);
  return [red, green, blue, alpha];
}
function over(behind, front) { return [0, 1, 2].map(i => front[i] * front[3] + behind[i] * (1 - front[3])); }
function luminance(color) {
  const part = color.map(c => (c /= 255) <= 0.03928 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4);
  return 0.2126 * part[0] + 0.7152 * part[1] + 0.0722 * part[2];
}
// The colours behind the element's text, one over the other; behind all is the browser's white.
function background(element) {
  const colors = [];
  for (; element; element = element.parentElement) colors.push(channels(getComputedStyle(element).backgroundColor));
  return colors.reduceRight(over, [255, 255, 255]);
}
function contrast(element) {
  const ground = background(element);
  const one = luminance(over(ground, channels(getComputedStyle(element).color))), other = luminance(ground);
  return (Math.max(one, other) + 0.05) / (Math.min(one, other) + 0.05);
}
const shown = selector => [...document.querySelectorAll(selector)].filter(e => e.offsetWidth > 0);
const readable = shown(".contents p, .contents li, .contents td, .contents th, .contents a[href], .contents code, " +
    ".contents div, .contents dt, .contents dd, " +
    ".contents span, .contents b, .contents em, #nav-tree .label a, .headertitle, #projectname");
// Doxygen's pages scroll inside #doc-content, so that the document never gets wider than the screen.
const room = document.querySelector("#doc-content") || document.scrollingElement;
const roomBegin = room.getBoundingClientRect().left + room.clientLeft, roomEnd = roomBegin + room.clientWidth;
// Code and tables may scroll in themselves.
function scrollsWithin(element) {
  for (let e = element.parentElement; e && e !== room; e = e.parentElement) {
    if (/auto|scroll/.test(getComputedStyle(e).overflowX)) return true;
  }
  return false;
}
// An element, or a word in it that can't be broken. What sticks out to the left can't even be scrolled to.
function sticksOut(e) {
  const box = e.getBoundingClientRect();
  const inside = getComputedStyle(e).overflowX === "visible" ? e.scrollWidth : 0;
  const isOut = box.left < roomBegin - 1 || Math.max(box.right, box.left + inside) > roomEnd + 1;
  return box.width > 0 && isOut && !scrollsWithin(e);
}
const wide = [...room.querySelectorAll("*")].filter(sticksOut);
const hasText = e => [...e.childNodes].some(n => n.nodeType === Node.TEXT_NODE && n.data.trim());
const faint = readable.filter(e => hasText(e) && contrast(e) < 4.5);
return {
  title: document.title,
  heading: (document.querySelector(".headertitle .title") || {}).innerText || "",
  text: (document.querySelector(".contents") || {}).innerText || "",
  blocks: shown(".contents .fragment").length,
  tables: shown(".contents table.markdownTable").length,
  entries: [...document.querySelectorAll("#nav-tree-contents .label")].map(e => e.innerText.trim()),
  chosen: [...document.querySelectorAll("#nav-tree-contents .selected .label")].map(e => e.innerText.trim()),
  accent: getComputedStyle(document.documentElement).getPropertyValue("--primary-color").trim(),
  lightness: luminance(background(document.querySelector(".contents"))),
  family: getComputedStyle(document.body).fontFamily,
  faint: faint.slice(0, 5).map(e => `${e.textContent.trim().slice(0, 40)} (${contrast(e).toFixed(1)})`),
  width: Math.max(document.scrollingElement.scrollWidth,
      document.scrollingElement.clientWidth + room.scrollWidth - room.clientWidth),
  wide: wide.filter(e => !wide.some(other => other !== e && e.contains(other))).slice(0, 3)
      .map(e => `${e.tagName} ${e.className} "${e.textContent.trim().slice(0, 40)}"`),
  broken: [...document.images].filter(i => !i.complete || i.naturalWidth === 0).map(i => i.src),
};
"""


class Site:
    def __init__(self, folder, screenshots):
        self._folder = pathlib.Path(folder).resolve()
        self._screenshots = pathlib.Path(screenshots)
        self._screenshots.mkdir(parents=True, exist_ok=True)
        options = Options()
        options.add_argument("--headless=new")
        options.add_argument("--disable-dev-shm-usage")
        options.add_argument("--hide-scrollbars")
        if os.geteuid() == 0:  # its sandbox wants a user
            options.add_argument("--no-sandbox")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self._browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self._browser.set_page_load_timeout(120)

    def close(self):
        self._browser.quit()

    def set_look(self, is_dark, size):
        self._browser.execute_cdp_cmd(
            "Emulation.setEmulatedMedia",
            {"features": [{"name": "prefers-color-scheme", "value": "dark" if is_dark else "light"}]},
        )
        self._browser.execute_cdp_cmd(
            "Emulation.setDeviceMetricsOverride",
            {"width": size[0], "height": size[1], "deviceScaleFactor": 1, "mobile": size == NARROW},
        )

    def open(self, page, folder=None):
        self._browser.get(f"file://{folder or self._folder}/{page}")

    def _wait_for(self, script):
        """Until it is so, or a minute has passed: what is missing then is told by who looks for it."""
        try:
            WebDriverWait(self._browser, 60).until(lambda browser: browser.execute_script(f"return {script}"))
        except TimeoutException:
            pass

    def look(self):
        # Scripts of the page add pictures when it has been loaded.
        self._wait_for("[...document.images].every(image => image.complete)")
        return self._browser.execute_script(LOOK)

    def unfold_navigation(self, count):
        """Opens each of so many groups by its arrow, once the scripts of the page have made the tree. The events are
        made, since arrows move while the tree unfolds."""
        self._wait_for("document.querySelector('#nav-tree-contents .selected') !== null && "
                       f"document.querySelectorAll('#nav-tree-contents > ul > li > ul > li').length >= {count}")
        for arrow in self._browser.find_elements("css selector", "#nav-tree-contents > ul > li > ul > li > .item > a"):
            if arrow.get_attribute("innerText").strip() == "►":
                self._browser.execute_script("arguments[0].click()", arrow)

    def menu(self):
        """The entries of the menu of narrow screens, once it has been opened by its button."""
        self._browser.find_element("css selector", ".main-menu-btn").click()
        groups = "#main-menu > li > a"
        WebDriverWait(self._browser, 60).until(
            lambda browser: all(entry.is_displayed() for entry in browser.find_elements("css selector", groups))
        )
        return [entry.text.strip() for entry in self._browser.find_elements("css selector", groups)]

    def search(self, words):
        """What the box for searching finds."""
        box = self._browser.find_element("css selector", "#MSearchField")
        box.click()
        box.send_keys(words)
        WebDriverWait(self._browser, 60).until(
            expected_conditions.frame_to_be_available_and_switch_to_it("MSearchResults")
        )
        found = ".SRResult:not([style*='none']) .SRSymbol"
        WebDriverWait(self._browser, 60).until(lambda browser: browser.find_elements("css selector", found))
        names = [entry.get_attribute("innerText") for entry in self._browser.find_elements("css selector", found)]
        self._browser.switch_to.default_content()
        return names

    def complaints(self):
        return [entry["message"] for entry in self._browser.get_log("browser") if entry["level"] == "SEVERE"]

    def shoot(self, name):
        self._browser.save_screenshot(str(self._screenshots / f"{name}.png"))


def navigation(layout):
    """The titles of the pages of the navigation and where they lie, from the layout: the start page first."""
    pages = []
    for tab in xml.etree.ElementTree.parse(layout).iter("tab"):
        kind = tab.get("type")
        if kind == "user":
            pages.append((tab.get("title"), tab.get("url").split()[-1] + ".html"))
        elif kind != "usergroup":
            pages.append(("mlox" if kind == "mainpage" else tab.get("title"), MADE_BY_DOXYGEN[kind]))
    return pages


def groups(layout):
    """The groups of the navigation."""
    return [tab.get("title") for tab in xml.etree.ElementTree.parse(layout).iter("tab") if tab.get("type") == "usergroup"]


def documents(root):
    """Which document a page was made of, by the page's name."""
    start = root / "docs" / "start.md"
    made = {"index.html": start}
    for path in [root / "CONTRIBUTING.md", root / "CHANGELOG.md", *(root / "docs").glob("*.md")]:
        name = "md_" + str(path.relative_to(root).with_suffix("")).replace("/", "_").replace("-", "_") + ".html"
        if path != start:
            made[name] = path
    return made


class Checker:
    def __init__(self):
        self.faults = []

    def expect(self, condition, where, words):
        if not condition:
            self.faults.append(f"{where}: {words}")

    def content(self, page, look, document):
        lines = document.read_text(encoding="utf-8").splitlines()
        heading = next(line[2:] for line in lines if line.startswith("# "))
        self.expect(heading in look["title"], page, f"the window's title is {look['title']!r}, not {heading!r}")
        self.expect(len(look["text"]) > 500, page, "there is hardly any text")
        blocks = sum(line.startswith("```") for line in lines) // 2
        self.expect(look["blocks"] == blocks, page, f"{look['blocks']} blocks of code in place of {blocks}")
        tables = sum(line.startswith("|--") for line in lines)
        self.expect(look["tables"] == tables, page, f"{look['tables']} tables in place of {tables}")

    def place(self, page, title, look, titles):
        for wanted in titles:
            self.expect(wanted in look["entries"], page, f"the navigation has no entry {wanted!r}")
        self.expect(title in look["chosen"], page, f"the navigation shows {look['chosen']}, not {title!r}")

    def style(self, page, look, is_dark, width):
        self.expect(look["accent"] == ("#4fb6cd" if is_dark else "#0f6e84"), page, f"the accent is {look['accent']!r}")
        self.expect((look["lightness"] < 0.1) if is_dark else (look["lightness"] > 0.9), page,
                    f"the page's ground is {'too light' if is_dark else 'too dark'}: {look['lightness']:.2f}")
        self.expect("Segoe UI" in look["family"], page, f"the typeface is {look['family']!r}")
        self.colors(page, look)
        self.width(page, look, width)
        self.expect(not look["broken"], page, f"pictures that don't show: {look['broken']}")

    def colors(self, page, look):
        self.expect(not look["faint"], page, f"hardly readable: {look['faint']}")

    def width(self, page, look, width):
        self.expect(look["width"] <= width, page, f"it is {look['width']} wide on a screen of {width}: {look['wide']}")
        self.expect(not look["wide"], page, f"wider than its column on a screen of {width}: {look['wide']}")


LOOKS = (("light", False, WIDE), ("dark", True, WIDE), ("narrow", False, NARROW), ("narrow-dark", True, NARROW))

# What is planted in a page, and whether it makes the page too wide: it may scroll in itself.
WIDE_PLANTS = (
    ('<div style="min-width: 3000px">planted</div>', True),
    ('<div style="min-width: 3000px; margin-left: -3000px">planted and out on the left</div>', True),
    ('<div style="overflow: hidden"><div style="min-width: 3000px">planted and cut off</div></div>', True),
    ('<div style="overflow-x: auto"><div style="min-width: 3000px">planted and scrolling</div></div>', False),
)

# And whether it can hardly be read: it may stand on a shade, and on what the shade lets through.
FAINT_PLANTS = (
    ('<p style="background: white; color: #999">planted</p>', True),
    ('<p style="background: white; color: black">planted and black</p>', False),
    ('<p style="background: white; color: rgba(0, 0, 0, 0.3)">planted and nearly clear</p>', True),
    ('<div style="background: white"><p style="background: rgba(0, 0, 0, 0.03); color: white">planted in a shade</p></div>', True),
    ('<div style="background: white"><p style="background: rgba(0, 0, 0, 0.03); color: black">black in a shade</p></div>', False),
)


def prove(folder, browser, checker, plants, judge):
    """Whether a check can fail: pages with what is planted, made of one that has no fault, in a folder of their own beside
    all that they need. The check tells a Checker what it sees of a page on a screen of a width."""
    page = (pathlib.Path(folder) / "index.html").read_text(encoding="utf-8")
    front = '<div class="textblock">'
    with tempfile.TemporaryDirectory() as planted:
        for path in pathlib.Path(folder).resolve().iterdir():
            (pathlib.Path(planted) / path.name).symlink_to(path)
        for number, (plant, is_fault) in enumerate(plants):
            name = f"planted{number}.html"
            (pathlib.Path(planted) / name).write_text(page.replace(front, front + plant, 1), encoding="utf-8")
            for look_name, is_dark, size in LOOKS:
                browser.set_look(is_dark, size)
                browser.open(name, planted)
                probe = Checker()
                judge(probe, name, browser.look(), size[0])
                told = bool(probe.faults)
                checker.expect(told == is_fault, f"{plant} ({look_name})",
                               f"the check {'tells' if told else 'does not tell'} of it: {probe.faults}")


def check(folder, layout, screenshots):
    root = pathlib.Path(layout).resolve().parents[2]
    pages = navigation(layout)
    made = documents(root)
    checker = Checker()
    for missing in set(made) - {page for _, page in pages}:
        checker.expect(False, made[missing], f"is not in the navigation ({layout})")
    for link in site_links.dead_links(folder):
        # Doxygen 1.9.4 heads a page with a link to nested classes that are private and therefore not on it.
        checker.expect(link.endswith(": #nested-classes"), "dead link", link)
    site = Site(folder, screenshots)
    try:
        prove(folder, site, checker, WIDE_PLANTS, Checker.width)
        prove(folder, site, checker, FAINT_PLANTS, lambda probe, name, look, _: probe.colors(name, look))
        site.complaints()  # of the planted pages
        for look_name, is_dark, size in LOOKS:
            site.set_look(is_dark, size)
            for title, page in [*pages, ("Mlox_Manager", REFERENCE)]:
                where = f"{page} ({look_name})"
                if not (pathlib.Path(folder) / page).is_file():
                    checker.expect(False, where, "there is no such page")
                    continue
                site.open(page)
                if look_name == "light":
                    site.unfold_navigation(len(groups(layout)))
                look = site.look()
                if look_name == "light" and page in made:
                    checker.content(where, look, made[page])
                if look_name == "light" and page != REFERENCE:
                    checker.place(where, title, look, [entry for entry, _ in pages])
                checker.style(where, look, is_dark, size[0])
                for complaint in site.complaints():
                    checker.expect(False, where, complaint)
                site.shoot(f"{pathlib.Path(page).stem}-{look_name}")
                if size == NARROW:
                    menu = site.menu()
                    for group in groups(layout):
                        checker.expect(group in menu, where, f"the menu has no entry {group!r}: {menu}")
                    if page == "index.html":
                        site.shoot(f"menu-{look_name}")
        site.set_look(False, WIDE)
        site.open("index.html")
        found = site.search("mlox_persistento")
        checker.expect("Mlox_PersistentOutput" in found, "search", f"finds {found}")
        site.shoot("search")
    finally:
        site.close()
    return len(pages), checker.faults


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    count, faults = check(*sys.argv[1:])
    for fault in faults:
        print(fault, file=sys.stderr)
    if faults:
        sys.exit(1)
    print(f"site: {count + 1} pages opened in Chromium, light, dark and narrow; screenshots in {sys.argv[3]}")


if __name__ == "__main__":
    main()
