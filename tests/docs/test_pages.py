# SPDX-License-Identifier: Apache-2.0
"""What the pages say of the repository is so."""
import glob
import os
import re
import textwrap
import unittest

import harness
import page

PAGES = sorted(["README.md", "CONTRIBUTING.md", "CHANGELOG.md"]
               + glob.glob("docs/**/*.md", root_dir=harness.SOURCE, recursive=True))
CODE = re.compile(r"^ *(```|~~~).*?^ *\1$|`[^`\n]*`", re.M | re.S)


def content(path):
    return harness.content(os.path.join(harness.SOURCE, path))


def source(name):
    """The path of the one file of this name below src/, wherever its folder is."""
    [path] = glob.glob(f"src/**/{name}", root_dir=harness.SOURCE, recursive=True)
    return path


def headings(path):
    """The names of a page's headings, in links."""
    titles = re.findall(r"^#{1,6} +(.*)$", re.sub(r"^```.*?^```$", "", content(path), flags=re.M | re.S), re.M)
    return {page.anchor(title) for title in titles}


def blocks(mark):
    """(page, what follows the mark, code) of every block of code below a comment with this mark."""
    form = re.compile(rf"^<!-- {mark}: (.*?) -->\n```\w*\n(.*?)^```$", re.M | re.S)
    return [(path, *found) for path in PAGES for found in form.findall(content(path))]


def table(name):
    """The rows of the tables below a comment `checked: NAME`, as lists of cells."""
    form = re.compile(rf"^<!-- checked: {name} -->\n\|.*\n\|.*\n((?:\|.*\n)+)", re.M)
    rows = [row for path in PAGES for body in form.findall(content(path)) for row in body.splitlines()]
    return [[cell.strip() for cell in row.strip("|").split("|")] for row in rows]


def enumerators(path, name):
    """{name: number} of an enumeration in a header."""
    body = re.search(rf"enum (?:class )?{name}\b[^{{]*{{(.*?)}};", content(path), re.S)[1]
    body = re.sub(r"/\*.*?\*/|//.*?$", "", body, flags=re.M | re.S)
    return {word: int(number) for word, number in re.findall(r"(\w+) = (-?\d+)", body)}


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
        self.assertGreater(len(found), 100)


class Programs(unittest.TestCase):
    def test_steps_are_those_of_the_example(self):
        steps = blocks("from")
        for path, example, code in steps:
            with self.subTest(f"{path}: {code[:40]}"):
                self.assertIn(textwrap.dedent(code), textwrap.dedent(self.body(example, code)))
        self.assertGreater(len(steps), 5)

    @staticmethod
    def body(example, code):
        """As many of the example's lines as the code has, from its first line on."""
        lines, first = content(example).splitlines(True), code.splitlines()[0].strip()
        begin = next((i for i, line in enumerate(lines) if line.strip() == first), 0)
        return "".join(lines[begin:begin + len(code.splitlines())])

    def test_output_is_what_the_example_announces(self):
        outputs = blocks("output of")
        for path, example, text in outputs:
            comment = re.match(r"(?://.*\n)+", content(example))[0]
            announced = "".join(line + "\n" for line in re.findall(r"^//     (.*)$", comment, re.M))
            self.assertEqual(text, announced, path)
        self.assertEqual(len(outputs), 2)


class Tables(unittest.TestCase):
    HEADER = "include/kestro/kestro_c.h"

    def check_enumeration(self, name):
        told = {cells[1].strip("`"): int(cells[0]) for cells in table(name)}
        self.assertEqual(told, enumerators(self.HEADER, name))

    def test_result_codes(self):
        self.check_enumeration("kstCode")
        numbers = [int(cells[0]) for cells in table("kstCode")]
        self.assertEqual([int(n) for n in re.findall(r"^ \* \| (\d+) +\|", content("include/kestro/Result.h"), re.M)], numbers)

    def test_device_errors(self):
        numbers = sorted(enumerators(source("LastError.h"), "Error").values())
        self.assertEqual([int(cells[0].strip("`"), 16) for cells in table("Error")], numbers[1:])

    def names(self, of_table):
        """{name: number} as src/decode reads them."""
        text = re.search(rf"{of_table} = .*?\(\{{(.*?)\}}\);", content(source("Names.cpp")), re.S)[1]
        return {name: int(number) for name, number in re.findall(r'{"(\w+)", (\d+)}', text)}

    def test_kinds_of_code_and_status(self):
        for name, decoded in (("kstCodeType", "kCodeTypes"), ("kstFrameStatus", "kStatuses")):
            self.check_enumeration(name)
            told = {}
            for number, _, cell in table(name):
                for each in re.findall(r"`(\w+)`(?! to)(?<!DD`)", cell):
                    told[each] = int(number)
                if "`CODABARAA` to `CODABARDD`" in cell:
                    told |= {f"CODABAR{a}{b}": int(number) for a in "ABCD" for b in "ABCD"}
            self.assertEqual(told, self.names(decoded))

    def test_stream_counters(self):
        features = re.findall(r'{"(Stream\w+)"', content(source("StreamFeatures.cpp")))
        self.assertEqual(sorted(cells[0].strip("`") for cells in table("StreamFeatures")), sorted(features))

    def test_environment(self):
        sources = glob.glob("src/**/*.cpp", root_dir=harness.SOURCE, recursive=True)
        read = {name for path in sources for name in re.findall(r'"(KESTRO_[A-Z_]+)"', content(path))}
        told = set(re.findall(r"^\| `(KESTRO_\w+)` \|", content("docs/configuration.md"), re.M))
        self.assertEqual(told, read)


    def test_operations_that_must_not_overlap(self):
        told = re.findall(r"kst\w+", " ".join(cells[1] for cells in table("exclusive")))
        contract = re.search(r"On one camera,(.*?)must not run at the same time", content(self.HEADER), re.S)[1]
        self.assertEqual(sorted(told), sorted(re.findall(r"kst\w+", contract)))


class Names(unittest.TestCase):
    """Names in code that a page speaks of are those of the interfaces."""

    def spoken(self, form):
        return {(path, *found) if isinstance(found, tuple) else (path, found) for path in PAGES
                for code in re.findall(r"`[^`\n]+`|^    .*$|^```.*?^```$", content(path), re.M | re.S)
                for found in re.findall(form, code)}

    def test_of_the_c_interface(self):
        header = content("include/kestro/kestro_c.h")
        spoken = self.spoken(r"\b(?:kst[A-Z]\w+|KST_\w+)")
        self.assertEqual([each for each in spoken if not re.search(rf"\b{each[1]}\b", header)], [])
        self.assertGreater(len(spoken), 60)

    def test_of_the_classes(self):
        classes = {os.path.basename(path)[:-2]: content(path) for path in
                   glob.glob("include/kestro/*.h", root_dir=harness.SOURCE)}
        spoken = [each for each in self.spoken(r"\b([A-Z]\w+)::(\w+)") if each[1] in classes]
        self.assertEqual([each for each in spoken if not re.search(rf"\b{each[2]}\b", classes[each[1]])], [])
        self.assertGreater(len(spoken), 10)


class Messages(unittest.TestCase):
    """Texts that a page quotes for people to look for are those that the programs print."""

    def test_are_those_of_the_sources(self):
        paths = glob.glob("src/**/*.[ch]*", root_dir=harness.SOURCE, recursive=True)
        paths += glob.glob("apps/cli/*.cpp", root_dir=harness.SOURCE)
        literals = re.sub(r'"\s*\n\s*"', "", "".join(content(path) for path in paths)).replace('\\"', '"')
        quoted = [text for cells in table("messages") for text in re.findall("`([^`]*)`", cells[0])]
        for text in quoted:
            pieces = re.split(r'^kestro: |"X"; |\[code: .*', text)
            self.assertTrue(all(piece.strip() in literals for piece in pieces), text)
        self.assertGreater(len(quoted), 8)


if __name__ == "__main__":
    unittest.main(verbosity=2)
