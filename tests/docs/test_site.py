# SPDX-License-Identifier: Apache-2.0
"""scripts/docs makes the site without a warning, and every link in it leads somewhere."""
import html.parser
import json
import os
import re
import shutil
import subprocess
import unittest
import urllib.parse

import harness

SITE = os.path.join(os.environ["KESTRO_BINARY_DIR"], "docs")


class Page(html.parser.HTMLParser):
    """The places in a page that links can lead to, and its links."""

    def __init__(self, path):
        super().__init__()
        self.anchors, self.links = set(), []
        self.feed(harness.content(path))

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.anchors.update(values[key] for key in ("id", "name") if values.get(key))
        link = values.get("href") if tag in ("a", "link") else values.get("src")
        if link:
            self.links.append(link)


def navigation():
    """Each entry's title and link."""
    data = harness.content(os.path.join(SITE, "navtreedata.js"))
    tree = json.loads(re.search(r"var NAVTREE =\s*(\[.*?\n\]);", data, re.S)[1])
    return [(title, link) for title, link, _ in tree[0][2]]


class Site(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(SITE, ignore_errors=True)  # a page of an earlier run would still be there
        cls.run_of_doxygen = subprocess.run(
            [os.path.join(harness.SOURCE, "scripts/docs"), SITE], capture_output=True, text=True, timeout=120)
        names = [name for name in os.listdir(SITE) if name.endswith(".html")]
        cls.pages = {name: Page(os.path.join(SITE, name)) for name in names}

    def test_is_made_without_a_warning(self):
        run = self.run_of_doxygen
        self.assertEqual((run.returncode, run.stdout + run.stderr), (0, ""))

    def missing(self, link, page):
        """What a link in `page` leads to and is not there; empty when all is well."""
        url = urllib.parse.urlparse(link)
        if url.scheme:
            return "" if url.scheme in ("https", "javascript") else link
        name = urllib.parse.unquote(url.path) or page
        if name not in self.pages:
            return "" if os.path.isfile(os.path.join(SITE, name)) else link
        return "" if not url.fragment or url.fragment in self.pages[name].anchors else link

    def test_every_link_leads_somewhere(self):
        wrong = [(name, link) for name, page in sorted(self.pages.items())
                 for link in page.links if self.missing(link, name)]
        wrong += [("navigation", link) for _, link in navigation() if self.missing(link, "index.html")]
        self.assertEqual(wrong, [])
        self.assertGreater(sum(len(page.links) for page in self.pages.values()), 1000)

    def test_fetches_nothing_from_a_network(self):
        for name, page in self.pages.items():
            text = harness.content(os.path.join(SITE, name))
            self.assertEqual(re.findall(r"<(?:script|link|img|iframe)[^>]*(?:src|href)=\"(https?:[^\"]*)", text), [])

    def test_lists_what_the_overview_lists(self):
        titles = [title for title, _ in navigation()]
        self.assertNotIn("More", titles, "a page is not in docs/index.md")
        self.assertIn("C interface", titles)

    def test_tells_the_version(self):
        version = re.search(r"project\(kestro VERSION (\S+)", harness.content(os.path.join(harness.SOURCE, "CMakeLists.txt")))
        self.assertIn(version[1], harness.content(os.path.join(SITE, "index.html")))


if __name__ == "__main__":
    harness.need("doxygen")
    unittest.main(verbosity=2)
