# SPDX-License-Identifier: Apache-2.0
"""Doxygen's filter for Markdown: makes of a page that reads well on its own a page of the site.

Headings get names, and links between the repository's files become references to them.
"""
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FENCE = re.compile(r" {0,3}(```|~~~)")
HEADING = re.compile(r"(#{1,6}) +(.*?) *#*$")
LONG_PAGE = 4  # sections; such a page begins with a list of them
CODE_OR_LINK = re.compile(r"(`+[^`].*?`+)|\[([^\[\]]*(?:`[^`]*`[^\[\]]*)*)\]\(([^)\s]+)\)")


def page_name(path):
    """The name of a page in the site, by the path of its file in the repository; None for others."""
    stem, ending = os.path.splitext(path)
    if ending != ".md":
        return None
    if stem in ("docs/index", "README"):
        return "mainpage"
    if stem.startswith("docs/"):
        return stem[len("docs/"):].removesuffix("/README").replace("/", "-")
    return stem.lower() if "/" not in stem else None


def anchor(heading):
    """The name that a heading has in links, as code hosting sites make it."""
    text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).lower()
    return re.sub(r"[^\w\- ]", "", text).replace(" ", "-")


def reference(path):
    """What Doxygen calls the thing that this file of the repository is about; None for others."""
    if os.path.isdir(os.path.join(ROOT, path)):
        path = os.path.join(path, "README.md")
    header = re.fullmatch(r"include/kestro/(\w+)\.h", path)
    if header:
        return "kestro_c.h" if header[1] == "kestro_c" else "kestro::" + header[1]
    return page_name(path)


def target(link, folder):
    """Where a link of a page in `folder` leads in the site."""
    if re.match(r"[a-z]+:", link):
        return link
    path, _, heading = link.partition("#")
    file = os.path.normpath(os.path.join(folder, path)) if path else None
    name = reference(file)
    if name is None:
        return os.path.basename(file)
    return f"@ref {name}-{heading}" if heading else f"@ref {name}"


def convert_text(line, own_name, folder):
    def convert(match):
        if match[1]:
            return match[1]
        text, link = match[2], match[3]
        if link.startswith("#"):
            return f"[{text}](@ref {own_name}-{link[1:]})"
        leads_to = target(link, folder)
        if leads_to.startswith("@ref "):
            text = text.replace("`", "")  # in references Doxygen 1.9.4 prints them as they are
        return f"[{text}]({leads_to})"

    return CODE_OR_LINK.sub(convert, line)


def convert_heading(marks, title, own_name, is_first):
    title = title.replace("`", "")  # Doxygen 1.9.4 prints them as they are
    if is_first:
        return f"{marks} {title} {{#{own_name}}}"
    if own_name == "mainpage":  # a named section would be listed in the navigation once more
        return f'<a id="{anchor(title)}"></a>\n{marks} {title}'
    return f"{marks} {title} {{#{own_name}-{anchor(title)}}}"


def convert_page(text, path):
    own_name = page_name(path)
    is_code = False
    has_title = False
    has_contents = len(re.findall(r"^## ", text, re.M)) >= LONG_PAGE and own_name != "mainpage"
    for line in text.splitlines():
        if FENCE.match(line):
            is_code = not is_code
        heading = HEADING.fullmatch(line)
        if is_code or line.startswith("    "):
            yield line
        elif heading:
            yield convert_heading(heading[1], heading[2], own_name, not has_title)
            if has_contents and not has_title:
                yield "\n@tableofcontents{html:2}"
            has_title = True
        else:
            yield convert_text(line, own_name, os.path.dirname(path))


def main():
    path = os.path.relpath(os.path.abspath(sys.argv[1]), ROOT)
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        for line in convert_page(file.read(), path):
            print(line)


if __name__ == "__main__":
    sys.stdout.reconfigure(encoding="utf-8")
    main()
