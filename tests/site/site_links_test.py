# SPDX-License-Identifier: MIT
import pathlib
import tempfile
import unittest

import site_links


class DeadLinksTest(unittest.TestCase):
    def dead(self, **pages):
        with tempfile.TemporaryDirectory() as folder:
            for name, text in pages.items():
                (pathlib.Path(folder) / f"{name}.html").write_text(text, encoding="utf-8")
            return site_links.dead_links(folder)

    def test_a_page_and_an_anchor_that_are_there_are_fine(self):
        self.assertEqual(
            self.dead(
                a='<a href="b.html">b</a><a href="b.html#x">x</a><a href="#y">y</a><p id="y">',
                b='<a name="x"></a><a href="https://example.org/nowhere">far</a><a href="mailto:a@b">',
            ),
            [],
        )

    def test_a_page_that_is_not_there_is_seen(self):
        self.assertEqual(self.dead(a='<a href="b.html">b</a>'), ["a.html: b.html"])

    def test_an_anchor_that_is_not_there_is_seen_in_this_page_and_in_another(self):
        self.assertEqual(
            self.dead(a='<a href="#x">x</a><a href="b.html#y">y</a>', b="<p>"), ["a.html: #x", "a.html: b.html#y"]
        )

    def test_a_picture_and_a_style_sheet_that_are_not_there_are_seen(self):
        self.assertEqual(
            self.dead(a='<img src="p.svg"><link href="s.css"><object data="o.svg">'),
            ["a.html: o.svg", "a.html: p.svg", "a.html: s.css"],
        )


if __name__ == "__main__":
    unittest.main()
