# SPDX-License-Identifier: Apache-2.0
"""What the pages say of the repository is so."""
import glob
import os
import re
import unittest

import harness
import page

PAGES = sorted(["README.md", "CONTRIBUTING.md", "CHANGELOG.md"]
               + glob.glob("docs/**/*.md", root_dir=harness.SOURCE, recursive=True))
CODE = re.compile(r"^(```|~~~).*?^\1$|^    .*?$|`[^`\n]*`", re.M | re.S)


def content(path):
    return harness.content(os.path.join(harness.SOURCE, path))


def headings(path):
    """The names of a page's headings, in links."""
    titles = re.findall(r"^#{1,6} +(.*)$", re.sub(r"^```.*?^```$", "", content(path), flags=re.M | re.S), re.M)
    return {page.anchor(title) for title in titles}


class Links(unittest.TestCase):
    def missing(self, link, path):
        if re.match(r"https?:", link):
            return False
        file, _, heading = link.partition("#")
        target = os.path.normpath(os.path.join(os.path.dirname(path), file)) if file else path
        if not os.path.exists(os.path.join(harness.SOURCE, target)):
            return True
        return bool(heading) and heading not in headings(target)

    def test_lead_to_files_and_headings(self):
        found = [(path, link) for path in PAGES
                 for link in re.findall(r"\]\(([^)\s]+)\)", CODE.sub("", content(path)))]
        self.assertEqual([(path, link) for path, link in found if self.missing(link, path)], [])
        self.assertGreater(len(found), 30)


if __name__ == "__main__":
    unittest.main(verbosity=2)
