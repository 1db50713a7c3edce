# SPDX-License-Identifier: Apache-2.0
"""Doxygen's filter for Markdown: makes of a page that reads well on its own a page of the site.

Headings get names, links between the repository's files become references to them, and a link to an example that
stands alone on its line becomes the example.
"""
import itertools
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FENCE = re.compile(r" {0,3}(```|~~~)")
HEADING = re.compile(r"(#{1,6}) +(.*?) *#*$")
LISTING = re.compile(r"\[(examples/\w+\.c(?:pp)?)\]\([^)]*\)")  # alone on its line
LONG_PAGE = 4  # sections; such a page begins with a list of them
CODE_OR_LINK = re.compile(r"(`+[^`].*?`+)|\[([^\[\]]*(?:`[^`]*`[^\[\]]*)*)\]\(([^)\s]+)\)")


def page_name(path):
    """The name of a page in the site, by the path of its file in the repository; None for others."""
    stem, ending = os.path.splitext(path)
    if ending != ".md":
        return None
    if stem in ("docs/index", "README"):
        return "mainpage"
    if stem == "examples/README":
        return "examples-readme"
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
    example = re.fullmatch(r"examples/(\w+)\.c(?:pp)?", path)
    if example:
        return "examples-" + example[1]
    header = re.fullmatch(r"include/kestro/(\w+)\.h", path)
    if header:
        return path.split("/")[-1] if header[1].startswith("kestro") else "kestro::" + header[1]
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


def convert_text(text, own_name, folder):
    def convert(match):
        if match[1]:
            return match[1]
        words, link = re.sub(r"\s+", " ", match[2]), match[3]
        leads_to = f"@ref {own_name}-{link[1:]}" if link.startswith("#") else target(link, folder)
        if leads_to.startswith("@ref "):
            words = words.replace("`", "")  # in references Doxygen 1.9.4 prints them as they are
        return f"[{words}]({leads_to})"

    return CODE_OR_LINK.sub(convert, text)


def listing(path):
    """A program of examples/, which the page only names."""
    language = "cpp" if path.endswith(".cpp") else "c"
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        return f"```{language}\n{file.read()}```\n"


def convert_heading(marks, title, own_name, is_first):
    name = anchor(title)
    # Doxygen 1.9.4 prints marks of code in headings as they are, and makes a dash of two hyphens.
    title = title.replace("`", "").replace("--", r"\--")
    if is_first:
        return f"{marks} {title} {{#{own_name}}}"
    if own_name == "mainpage":  # a named section would be listed in the navigation once more
        return f'<a id="{name}"></a>\n{marks} {title}'
    return f"{marks} {title} {{#{own_name}-{name}}}"


def parts(text):
    """What a page is made of: ("code", lines), ("heading", match), ("program", match), ("prose", lines)."""
    is_fenced, previous = False, ("prose", "")
    for line in text.splitlines():
        is_fence = FENCE.match(line) is not None
        # Indented lines are code behind an empty line; elsewhere they go on with a point of a list.
        is_indented = line.startswith("    ") and (previous[0] == "code" or not previous[1])
        heading, program = HEADING.fullmatch(line), LISTING.fullmatch(line)
        if is_fence or is_fenced or is_indented:
            previous = "code", line
        elif heading or program:
            previous = ("heading", heading) if heading else ("program", program)
        else:
            previous = "prose", line
        is_fenced ^= is_fence
        yield previous


def convert_page(text, path):
    own_name = page_name(path)
    has_title = False
    for kind, group in itertools.groupby(parts(text), lambda part: part[0]):
        content = [each for _, each in group]
        if kind == "code":
            yield from content
        elif kind == "prose":  # as a whole: a link may go over the end of a line
            yield convert_text("\n".join(content), own_name, os.path.dirname(path))
        elif kind == "program":
            yield from (listing(program[1]) for program in content)
        else:
            for marks, title in (heading.groups() for heading in content):
                yield convert_heading(marks, title, own_name, not has_title)
                if not has_title and is_long(text, own_name):
                    yield "\n@tableofcontents{html:2}"
                has_title = True


def is_long(text, name):
    return name != "mainpage" and len(re.findall(r"^## ", text, re.M)) >= LONG_PAGE


def main():
    path = os.path.relpath(os.path.abspath(sys.argv[1]), ROOT)
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        for line in convert_page(file.read(), path):
            print(line)


if __name__ == "__main__":
    sys.stdout.reconfigure(encoding="utf-8")
    main()
