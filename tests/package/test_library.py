# SPDX-License-Identifier: Apache-2.0
"""The built library: its names, what it needs, and that it exports the interface and nothing else."""
import difflib
import os
import re
import subprocess
import tempfile
import unittest

import harness

LIBRARY = os.environ["KESTRO_LIBRARY"]
NEEDED = {"libaravis", "libgio", "libgobject", "libglib", "libxml2", "libz", "liblog4cplus",
          "libstdc++", "libm", "libgcc_s", "libc", "ld-linux-x86-64", "ld-linux-aarch64"}
SANITIZERS = {"libasan", "libubsan", "libtsan"}


def dynamic_section():
    text = subprocess.run(["readelf", "--dynamic", "--wide", LIBRARY], check=True, capture_output=True,
                          text=True).stdout
    return re.findall(r"\((\w+)\)\s+(?:.*: )?\[?(.*?)\]?$", text, re.M)


class Library(unittest.TestCase):
    def test_exports_the_interface_and_nothing_else(self):
        kept = os.path.join(harness.SOURCE, "abi/symbols.txt")
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([os.path.join(harness.SOURCE, "scripts/abi-dump"), "--library", LIBRARY,
                            "--into", folder, "symbols"], check=True)
            built = harness.content(os.path.join(folder, "symbols.txt"))
        difference = list(difflib.unified_diff(harness.content(kept).splitlines(), built.splitlines(),
                                               "abi/symbols.txt", LIBRARY, n=0, lineterm=""))
        self.assertEqual(difference, [], "\n" + "\n".join(difference))

    def test_exports_every_function_of_the_c_header(self):
        header = harness.content(os.path.join(harness.SOURCE, "include/kestro/kestro_c.h"))
        declared = set(re.findall(r"^KESTRO_API [^;]*?\b(kst\w+)\(", header, re.M))
        names = subprocess.run(["nm", "--dynamic", "--defined-only", "--format=just-symbols", LIBRARY],
                               check=True, capture_output=True, text=True).stdout
        self.assertEqual(set(re.findall(r"^(kst\w+)", names, re.M)), declared)
        self.assertEqual(len(declared), 45)

    def test_goes_by_its_major_version_and_stays_loaded(self):
        entries = dynamic_section()
        self.assertIn(("SONAME", "libkestro.so.1"), entries)
        self.assertEqual(os.path.basename(LIBRARY), "libkestro.so.1.1.0")
        self.assertIn("NODELETE", " ".join(value for key, value in entries if key == "FLAGS_1"))

    def test_needs_what_it_is_built_from_and_nothing_else(self):
        names = [value for key, value in dynamic_section() if key == "NEEDED"]
        stems = {re.sub(r"(-[0-9]+\.[0-9]+)?\.so.*", "", name) for name in names}
        self.assertLessEqual({"libaravis", "liblog4cplus", "libstdc++"}, stems)
        allowed = NEEDED | (SANITIZERS if os.environ["KESTRO_SANITIZE"] else set())
        self.assertEqual(stems - allowed, set())


if __name__ == "__main__":
    harness.need("nm", "readelf")
    unittest.main(verbosity=2)
