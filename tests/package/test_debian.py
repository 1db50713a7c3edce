# SPDX-License-Identifier: Apache-2.0
"""The Debian packages: what they say of themselves, what is in them, and that it works once unpacked."""
import gzip
import os
import re
import shlex
import subprocess
import tempfile
import unittest

import harness
from test_install import EXPECTED, HERE, LIBDIR, files, is_elf, run

VERSION = "1.1.0"
PACKAGES = ("kestro-tools", "libkestro-dev", "libkestro1")
COMMANDS = "list info read features get set exec trigger save load diff xml reg events force-ip sim demo doctor".split()


def names_in(folder):
    return os.listdir(os.path.join(harness.SOURCE, folder))


def expected_files(package):
    """Below /usr; LIB is the folder of the architecture's libraries."""
    documents = [f"share/doc/{package}/changelog.gz", f"share/doc/{package}/copyright"]
    return documents + {
        "libkestro1": ["LIB/libkestro.so.1", "LIB/libkestro.so.1.1.0"],
        "libkestro-dev": [
            "LIB/libkestro.so",
            "LIB/cmake/kestro/kestro-config.cmake",
            "LIB/cmake/kestro/kestro-config-version.cmake",
            "LIB/cmake/kestro/kestro-targets.cmake",
            "LIB/cmake/kestro/kestro-targets-CONFIGURATION.cmake",
            "LIB/pkgconfig/kestro.pc",
            *(f"include/kestro/{name}" for name in names_in("include/kestro")),
            *(f"share/doc/libkestro-dev/examples/{name}" for name in names_in("examples")
              if name != "SDKLOG_default.properties"),
        ],
        "kestro-tools": [
            "bin/kestro",
            "lib/sysctl.d/30-kestro.conf",
            "share/bash-completion/completions/kestro",
            "share/kestro/SDKLOG_default.properties",
            "share/man/man1/kestro.1.gz",
            *(f"share/man/man1/kestro-{command}.1.gz" for command in COMMANDS),
        ],
    }[package]


def pack(folder):
    """name -> file, as CPack makes them in a folder."""
    with tempfile.TemporaryDirectory(prefix="kestro-pack-") as work:
        config = os.path.join(os.environ["KESTRO_BINARY_DIR"], "CPackConfig.cmake")
        run(os.environ["CPACK"], "--config", config, "-B", work)
        os.mkdir(folder)
        packages = {}
        for name in os.listdir(work):
            if name.endswith(".deb"):
                packages[name.split("_")[0]] = os.path.join(folder, name)
                os.rename(os.path.join(work, name), os.path.join(folder, name))
        return packages


class Debian(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory(prefix="kestro-debian-")
        cls.addClassCleanup(cls.scratch.cleanup)
        cls.packages = pack(os.path.join(cls.scratch.name, "packages"))
        cls.root = os.path.join(cls.scratch.name, "root")
        for path in cls.packages.values():
            run("dpkg-deb", "-x", path, cls.root)
        cls.library_path = {"LD_LIBRARY_PATH": os.path.join(cls.root, "usr", LIBDIR)}
        cls.kestro = os.path.join(cls.root, "usr/bin/kestro")

    def field(self, package, name):
        return run("dpkg-deb", "-f", self.packages[package], name).strip()

    def depends(self, package):
        return set(self.field(package, "Depends").split(", "))

    def test_they_are_three_of_one_version(self):
        architecture = run("dpkg", "--print-architecture").strip()
        self.assertEqual(sorted(map(os.path.basename, self.packages.values())),
                         [f"{name}_{VERSION}_{architecture}.deb" for name in PACKAGES])
        for package, section in zip(PACKAGES, ("utils", "libdevel", "libs")):
            self.assertEqual([self.field(package, name) for name in ("Version", "Section", "Source")],
                             [VERSION, section, "kestro"])
            summary, *text = self.field(package, "Description").splitlines()
            self.assertRegex(summary, "^.{10,79}$")
            self.assertGreater(len(text), 2)

    def test_they_depend_on_what_they_need(self):
        library = f"libkestro1 (= {VERSION})"
        self.assertEqual(self.depends("libkestro-dev"), {library})
        self.assertIn(library, self.depends("kestro-tools"))
        for package, needed in (("libkestro1", {"libaravis-0.8-0", "liblog4cplus-2.0.5", "libxml2", "libc6"}),
                                ("kestro-tools", {"libpng16-16", "libzxing2", "libc6"})):
            self.assertLessEqual(needed, {entry.split()[0] for entry in self.depends(package)})

    def test_the_library_is_made_known_by_a_trigger(self):
        control = os.path.join(self.scratch.name, "control")
        run("dpkg-deb", "-e", self.packages["libkestro1"], control)
        self.assertEqual(files(control), ["control", "md5sums", "shlibs", "triggers"])
        self.assertEqual(harness.content(os.path.join(control, "triggers")), "activate-noawait ldconfig\n")
        self.assertEqual(harness.content(os.path.join(control, "shlibs")),
                         f"libkestro 1 libkestro1 (>= {VERSION})\n")

    def test_each_has_its_files_and_no_other(self):
        for package, path in self.packages.items():
            lines = [line.split(None, 5) for line in run("dpkg-deb", "-c", path).splitlines()]
            packed = [name.split(" -> ")[0] for mode, *_, name in lines if mode[0] != "d"]
            packed = [re.sub(r"(?<=kestro-targets-)\w+(?=\.cmake)", "CONFIGURATION", name) for name in packed]
            self.assertEqual(sorted(packed), sorted(
                "./usr/" + name.replace("LIB/", LIBDIR + "/") for name in expected_files(package)))
            for mode, owner, *_, name in lines:
                right = {"d": "drwxr-xr-x", "l": "lrwxrwxrwx"}.get(mode[0], "-rw-r--r--")
                right = "-rwxr-xr-x" if name.startswith("./usr/bin/") and mode[0] == "-" else right
                self.assertEqual((mode, owner), (right, "root/root"), name)

    def test_programs_are_stripped_and_nothing_names_a_folder_of_the_build(self):
        for name in files(self.root):
            path = os.path.join(self.root, name)
            with (gzip.open if name.endswith(".gz") else open)(path, "rb") as file:
                data = file.read()
            for folder in (harness.SOURCE, os.environ["KESTRO_BINARY_DIR"], "_CPack_Packages"):
                self.assertFalse(folder.encode() in data, f"{name} has {folder}")
            if is_elf(path):
                self.assertNotRegex(run("readelf", "-dW", path), r"\((RPATH|RUNPATH)\)", name)
                self.assertNotRegex(run("readelf", "-SW", path), r"\.(symtab|debug_)", name)

    def test_made_again_they_are_the_same(self):
        again = pack(os.path.join(self.scratch.name, "again"))
        for package, path in self.packages.items():
            with open(path, "rb") as first, open(again[package], "rb") as second:
                self.assertTrue(first.read() == second.read(), package)

    def test_the_changelog_is_in_debians_format(self):
        for package in PACKAGES:
            with gzip.open(os.path.join(self.root, f"usr/share/doc/{package}/changelog.gz"), "rt") as file:
                parsed = subprocess.run(["dpkg-parsechangelog", "-l-"], input=file.read(), text=True,
                                        capture_output=True, check=True)
            self.assertEqual(parsed.stderr, "")
            self.assertIn(f"Source: kestro\nVersion: {VERSION}\n", parsed.stdout)

    def test_the_program_and_one_built_with_the_headers_find_a_camera(self):
        self.assertIn(VERSION, run(self.kestro, "--version", **self.library_path))
        pkg_config = {"PKG_CONFIG_LIBDIR": os.path.join(self.root, "usr", LIBDIR, "pkgconfig")}
        options = shlex.split(run("pkg-config", "--cflags", "--libs", "kestro", **pkg_config))
        program = os.path.join(self.scratch.name, "program")
        run(os.environ["CC"], "-std=c99", "-Wall", "-Werror", "-o", program,
            os.path.join(HERE, "c/main.c"), *options)
        with harness.Program(self.kestro, "sim", env={**os.environ, **self.library_path}) as sim:
            harness.wait_until(lambda: " ready\n" in sim.stdout() or sim.process.poll() is not None,
                               what="the simulator's ready line")
            self.assertIsNone(sim.process.poll(), sim.stderr())
            self.assertIn("SIM001", run(self.kestro, "list", **self.library_path))
            self.assertEqual(run(program, **self.library_path), EXPECTED)


if __name__ == "__main__":
    harness.need("dpkg-deb", "dpkg-shlibdeps", "file", "gzip", "pkg-config", "readelf", os.environ["CC"])
    harness.main()
