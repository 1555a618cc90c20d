# SPDX-License-Identifier: MIT
"""Which local links of a site lead nowhere, told from its files alone."""

import html.parser
import pathlib
import urllib.parse


class _Page(html.parser.HTMLParser):
    """The links of a page and the places in it that others may point to."""

    def __init__(self):
        super().__init__()
        self.links = []
        self.anchors = set()

    def handle_starttag(self, tag, attrs):
        values = dict(attrs)
        if tag == "a" and values.get("name"):
            self.anchors.add(values["name"])
        if values.get("id"):
            self.anchors.add(values["id"])
        for name in ("href", "src", "data"):
            if values.get(name):
                self.links.append(values[name])


def _read(path):
    page = _Page()
    page.feed(path.read_text(encoding="utf-8"))
    return page


def dead_links(folder):
    """Each link of a page in the folder to a file or an anchor that isn't there: "page: link", sorted."""
    folder = pathlib.Path(folder)
    pages = {path.name: _read(path) for path in sorted(folder.glob("*.html"))}
    dead = set()
    for name, page in pages.items():
        for link in page.links:
            parts = urllib.parse.urlsplit(link)
            if parts.scheme or parts.netloc:
                continue
            target = urllib.parse.unquote(parts.path) or name
            anchor = urllib.parse.unquote(parts.fragment)
            if not (folder / target).is_file():
                dead.add(f"{name}: {link}")
            elif anchor and target in pages and anchor not in pages[target].anchors:
                dead.add(f"{name}: {link}")
    return sorted(dead)
