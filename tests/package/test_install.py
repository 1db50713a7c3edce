# SPDX-License-Identifier: Apache-2.0
"""An installation in a folder of its own, moved to another one, and programs built on it there."""
import os
import re
import shlex
import shutil
import subprocess
import tempfile
import unittest

import harness

HERE = os.path.dirname(os.path.abspath(__file__))
BUILD = os.environ["KESTRO_BINARY_DIR"]
LIBDIR = os.environ["KESTRO_LIBDIR"]
SANITIZE = os.environ["KESTRO_SANITIZE"]
FLAGS = [f"-fsanitize={SANITIZE}"] if SANITIZE else []
EXPECTED = "1.1.0.307039\nSIM001 127.0.0.2\n"


def run(*command, **environment):
    done = subprocess.run(command, capture_output=True, text=True, timeout=120,
                          env={**os.environ, **environment})
    if done.returncode != 0:
        raise AssertionError(f"{shlex.join(command)}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def install(prefix, *options):
    run("cmake", "--install", BUILD, "--prefix", prefix, *options)


def files(folder):
    return sorted(os.path.relpath(os.path.join(where, name), folder)
                  for where, _, names in os.walk(folder) for name in names)


def is_elf(path):
    with open(path, "rb") as file:
        return file.read(4) == b"\x7fELF"


def needed(program):
    """The libraries that a program names itself, without those of sanitizers."""
    names = re.findall(r"\(NEEDED\).*\[(.*?)\]", run("readelf", "--dynamic", "--wide", program))
    return {name for name in names if not re.match(r"lib[a-z]*san\.", name)}


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory(prefix="kestro-package-")
        cls.addClassCleanup(cls.scratch.cleanup)
        first = os.path.join(cls.scratch.name, "first")
        install(first)
        cls.prefix = os.path.join(cls.scratch.name, "moved", "elsewhere")
        os.renames(first, cls.prefix)

    def folder(self, name):
        return os.path.join(self.scratch.name, name)

    def check_program(self, program):
        """Runs it beside a camera that the installed program simulates."""
        library_path = os.path.join(self.prefix, LIBDIR)
        with harness.Program(os.path.join(self.prefix, "bin/kestro"), "sim") as sim:
            harness.wait_until(lambda: " ready\n" in sim.stdout() or sim.process.poll() is not None,
                               what="the simulator's ready line")
            self.assertIsNone(sim.process.poll(), sim.stderr())
            self.assertEqual(run(program, LD_LIBRARY_PATH=library_path), EXPECTED)
        self.assertLessEqual(needed(program), {"libkestro.so.1", "libc.so.6", "libstdc++.so.6",
                                               "libgcc_s.so.1", "libm.so.6"})

    def build_with_cmake(self, project):
        build = self.folder(project)
        run("cmake", "-G", "Ninja", "-S", os.path.join(HERE, project), "-B", build,
            f"-DCMAKE_PREFIX_PATH={self.prefix}", CFLAGS=shlex.join(FLAGS), CXXFLAGS=shlex.join(FLAGS))
        run("cmake", "--build", build)
        return os.path.join(build, "consumer")

    def test_builds_a_c99_project(self):
        self.check_program(self.build_with_cmake("c"))

    def test_builds_a_cxx14_project(self):
        self.check_program(self.build_with_cmake("cxx"))

    def test_leaves_the_virtual_tables_to_the_library(self):
        # A program's own would take the place of the library's, after -fno-rtti without type information.
        header = harness.content(os.path.join(self.prefix, "include/kestro/Parameter.h"))
        names = re.findall(r"^class KESTRO_API (\w+)", header, re.M)
        self.assertEqual(len(names), 9)
        source = self.folder("features.cpp")
        with open(source, "w") as file:
            file.write("#include <kestro/Parameter.h>\n")
            file.writelines(f"bool use{name}() {{ return kestro::{name}({{}}, 0).isValid(); }}\n" for name in names)
        run(os.environ["CXX"], "-std=c++14", "-c", "-I", os.path.join(self.prefix, "include"), source,
            "-o", source + ".o")
        symbols = run("nm", "--demangle", "--defined-only", source + ".o")
        self.assertIn("useParameterInt()", symbols)
        self.assertEqual(re.findall(r"\w+ for kestro::.*", symbols), [])

    def test_builds_with_pkg_config(self):
        pkg_config = {"PKG_CONFIG_LIBDIR": os.path.join(self.prefix, LIBDIR, "pkgconfig")}
        self.assertEqual(run("pkg-config", "--modversion", "kestro", **pkg_config), "1.1.0\n")
        options = shlex.split(run("pkg-config", "--cflags", "--libs", "kestro", **pkg_config))
        program = self.folder("consumer-pkg-config")
        run(os.environ["CC"], "-std=c99", "-Wall", "-Wextra", "-Wpedantic", "-Werror", *FLAGS, "-o", program,
            os.path.join(HERE, "c/main.c"), *options)
        self.check_program(program)

    def test_builds_the_examples_as_their_readme_says(self):
        installed = next(name for name in files(self.prefix) if name.endswith("/examples/CMakeLists.txt"))
        folder = shutil.copytree(os.path.dirname(os.path.join(self.prefix, installed)), self.folder("examples"))
        readme = harness.content(os.path.join(folder, "README.md"))
        commands = re.findall(r"^    ((?:cmake|c\+\+|cc) .*)$", readme, re.M)
        self.assertEqual(len(commands), 4)
        flags = shlex.join(FLAGS)
        for command in commands:
            command = command.replace("/where/kestro/is", self.prefix)
            run("sh", "-c", f"cd {folder} && {command}" + ("" if command.startswith("cmake") else " " + flags),
                CMAKE_GENERATOR="Ninja", CFLAGS=flags, CXXFLAGS=flags,
                PKG_CONFIG_PATH=os.path.join(self.prefix, LIBDIR, "pkgconfig"))
        programs = {re.sub(r"\.c$", "_c", name).removesuffix(".cpp")
                    for name in os.listdir(folder) if re.search(r"\.(c|cpp)$", name)}
        self.assertLessEqual(programs, set(os.listdir(os.path.join(folder, "build"))))
        self.assertLessEqual({"poll_frames", "poll_frames_c"}, set(os.listdir(folder)))

    def test_comes_in_three_parts(self):
        parts = {}
        for part in ("runtime", "development", "tools"):
            install(self.folder(part), "--component", part)
            parts[part] = files(self.folder(part))
        self.assertEqual(parts["runtime"], [f"{LIBDIR}/libkestro.so.1", f"{LIBDIR}/libkestro.so.1.1.0",
                                            "share/doc/kestro/LICENSE"])
        self.assertEqual([name for name in parts["development"] if name.startswith("include/")],
                         ["include/" + name for name in files(os.path.join(harness.SOURCE, "include"))])
        self.assertLessEqual({"bin/kestro", "share/bash-completion/completions/kestro"}, set(parts["tools"]))
        self.assertEqual(sorted(sum(parts.values(), [])), files(self.prefix))

    def test_names_no_folder_of_the_build(self):
        folders = (harness.SOURCE, BUILD, self.folder("first"))
        for name in files(self.prefix):
            path = os.path.join(self.prefix, name)
            if is_elf(path):
                text = "".join(re.findall(r"\((?:RPATH|RUNPATH|NEEDED)\).*", run("readelf", "-dW", path)))
            else:
                text = harness.content(path)
            for folder in folders:
                self.assertNotIn(folder, text, name)


if __name__ == "__main__":
    harness.need("cmake", "ninja", "nm", "pkg-config", "readelf", os.environ["CC"], os.environ["CXX"])
    harness.main()
