# SPDX-License-Identifier: Apache-2.0
"""Prints layout.xml for Doxygen: the navigation is what docs/index.md lists."""
import glob
import os
import re
import sys
from xml.sax.saxutils import quoteattr

import page

SECTION = re.compile(r"## +(.*)")
ENTRY = re.compile(r"[-*] +\[([^\]]+)\]\(([^)]+)\)")


def plain(text):
    return text.replace("`", "")


def tab(title, url):
    return f'    <tab type="user" url={quoteattr(url)} title={quoteattr(plain(title))}/>'


def listed_tabs(index):
    """A tab for each section and each entry; and the names of the entries' pages."""
    tabs, names = [], {"mainpage"}
    for line in index.splitlines():
        section, entry = SECTION.fullmatch(line), ENTRY.match(line)
        if section:
            tabs.append(tab(section[1], "index.html#" + page.anchor(section[1])))
        elif entry:
            url = page.target(entry[2], "docs")
            names.add(url.removeprefix("@ref "))
            tabs.append(tab(entry[1], url))
    return tabs, names


def other_pages(listed):
    """Pages that nobody has listed; decisions have a list of their own."""
    for path in sorted(glob.glob("docs/**/*.md", recursive=True)):
        name = page.page_name(path)
        if name not in listed and not name.startswith("adr-"):
            yield name


def main():
    os.chdir(page.ROOT)
    with open("docs/index.md", encoding="utf-8") as file:
        tabs, listed = listed_tabs(file.read())
    others = [tab(name.capitalize(), "@ref " + name) for name in other_pages(listed)]
    if others:
        tabs += [tab("More", "index.html#more"), *others]
    with open("docs/site/layout.xml", encoding="utf-8") as file:
        print(file.read().replace("@NAVIGATION@", "\n".join(tabs)), end="")


if __name__ == "__main__":
    sys.stdout.reconfigure(encoding="utf-8")
    main()
