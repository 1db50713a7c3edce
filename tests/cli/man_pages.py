# SPDX-License-Identifier: Apache-2.0
"""The man pages render without a warning and have what the program's own help has.

man_pages.py KESTRO MANPATH SOURCES: the last to find the environment variables that the library reads.
"""
import os
import re
import shutil
import subprocess
import sys
import unittest


def page(name):
    """The lines of a page by the heading above them, one line a paragraph."""
    command = ["man", "-M", MANPATH, "--warnings", "-E", "ascii", "--nj", "--nh", name]
    run = subprocess.run(command, capture_output=True, text=True,
                         env=dict(os.environ, MANWIDTH="2000", MAN_KEEP_FORMATTING="", LC_ALL="C"))
    if run.returncode or run.stderr:
        raise AssertionError(f"man {name}: {run.stderr or run.returncode}")
    found, heading = {}, ""
    for line in run.stdout.splitlines()[1:-1]:
        if re.match(r"\S", line):
            heading = line
        elif line:
            found.setdefault(heading, []).append(" ".join(line.split()))
    return found


def help_of(*command):
    run = subprocess.run([KESTRO, *command, "--help"], capture_output=True, text=True, check=True)
    return run.stdout


def commands():
    return re.findall(r"^  ([a-z-]+) ", re.search(r"Subcommands:\n(.*?)\n\n", help_of(), re.S)[1], re.M)


def options_in(text):
    """From a help: option -> what its man page must name (its default, its range, its choices)."""
    found = {}
    for line in re.findall(r"^  (-.*)", text, re.M):
        option, _, value = line.split("  ")[0].partition(" ")
        value = value.partition(" Excludes: ")[0]
        if "--help" not in option:
            limits = re.search(r"(?<=[\[{]).*(?=[\]}])", value)
            found[option] = re.split(" - |,", limits[0]) if limits else []
            found[option] += re.findall(r"=([^= ]+)$", value)
    return found


def paragraphs(section):
    """Of a section with options: option -> text."""
    found = {}
    for line in section:
        if line.startswith("-"):
            option, _, text = line.partition(" ")
            found[option.rstrip(",")] = text
        else:
            found[list(found)[-1]] += " " + line
    return found


def synopsis_of(command, sections):
    """(options, arguments) in the line of a command."""
    line, = (line for line in sections["SYNOPSIS"] if re.match(f"kestro {command}( |$)", line))
    option = r"\[(-[^] ]+)[^]]*\]"
    arguments = re.sub(option, "", line).split()[2:]
    return set(re.findall(option, line)), {word.strip("[].") for word in arguments}


class ManPages(unittest.TestCase):
    def test_each_command_has_a_page_that_names_its_options_and_arguments(self):
        for command in commands():
            with self.subTest(command):
                sections = page("kestro-" + command)
                self.assertIn(f"kestro-{command}", re.findall(r"[\w-]+", sections["NAME"][0].split(" - ")[0]))
                text = help_of(command)
                wanted = options_in(text)
                options, arguments = synopsis_of(command, sections)
                self.assertEqual(options, set(wanted))
                usage = re.search(r"^Usage: kestro \S+ \[OPTIONS\](.*)", text, re.M)[1]
                self.assertEqual(arguments, {word.strip("[].") for word in usage.split()})
                described = paragraphs(sections.get("OPTIONS", []))
                for option, words in wanted.items():
                    for word in words:
                        self.assertIn(word, re.findall(r"[\w.-]*\w", described[option]), option)

    def test_pages_describe_nothing_that_is_gone(self):
        names = {os.path.basename(name)[:-2] for name in os.listdir(os.path.join(MANPATH, "man1"))}
        self.assertEqual(names, {"kestro"} | {f"kestro-{command}" for command in commands()})
        for name in names - {"kestro"}:
            sections = page(name)
            family = [line.split()[1] for line in sections["SYNOPSIS"]]
            known = {option for command in family for option in options_in(help_of(command))}
            self.assertEqual(set(paragraphs(sections.get("OPTIONS", []))), known, name)

    def test_the_first_page_has_every_command_option_exit_status_and_variable(self):
        sections = page("kestro")
        self.assertEqual(set(re.findall(r"kestro-([\w-]+)\(1\)", " ".join(sections["COMMANDS"]))), set(commands()))
        self.assertEqual(set(paragraphs(sections["OPTIONS"])) - {"-h"}, set(options_in(help_of())))
        self.assertEqual([line.split()[0] for line in sections["EXIT STATUS"]],
                         re.findall(r"^  (\d)  ", help_of(), re.M))
        described = {line.split()[0] for line in sections["ENVIRONMENT"] if line.startswith("KESTRO_")}
        self.assertEqual(described, variables())


def variables():
    read = set()
    for folder, _, names in os.walk(SOURCES):
        for name in names:
            if name.endswith((".cpp", ".h")):
                with open(os.path.join(folder, name)) as file:
                    read.update(re.findall(r'"(KESTRO_[A-Z_]+)"', file.read()))
    return read


if __name__ == "__main__":
    KESTRO, MANPATH, SOURCES = sys.argv[1:]
    if not shutil.which("man"):
        in_ci = os.environ.get("CI") == "true"
        print("man is not installed (scripts/bootstrap --all)")
        sys.exit(1 if in_ci else 77)
    unittest.main(argv=sys.argv[:1], verbosity=2)
