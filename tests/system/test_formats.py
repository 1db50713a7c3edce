# SPDX-License-Identifier: Apache-2.0
"""Whatever a camera packs its results in, applications get the same."""
import unittest

import harness

# Measured anew by each camera.
MEASURED = ("timestamp", "host_time", "detect_time")


class Formats(unittest.TestCase):
    def records(self, result_format):
        with harness.simulator("--format", result_format, "--width", 640, "--height", 480):
            read = harness.kestro("read", "127.0.0.2", "-n", 12, "--json")
        self.assertEqual(read.returncode, 0, read.stderr)
        records = harness.json_lines(read.stdout)
        self.assertEqual(harness.schema_errors(records), [])
        for record in records:
            for name in MEASURED:
                del record[name]
            # Containers and chunks list the codes of each reader on their own.
            record["codes"].sort(key=lambda code: (code["type"], code["points"]))
        return records

    def test_chunks_tell_what_containers_tell(self):
        container = self.records("container")
        self.assertEqual(self.records("chunk"), container)
        self.assertEqual({100, 4}, {code["type"] for record in container for code in record["codes"]})


if __name__ == "__main__":
    harness.main()
