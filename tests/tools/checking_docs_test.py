"""Runs every command that docs/checking.md shows, and holds its JSON against what the commands write.

Run with the project's root, the tool and the stand-in Gateway as the only arguments.
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

SIM = sys.argv.pop()
ZOLSTAT = pathlib.Path(sys.argv.pop()).resolve()
DOCUMENT = (pathlib.Path(sys.argv.pop()) / "docs/checking.md").read_text()


def shape_of(value):
    """The keys of a document, at every depth; a list is like its first item."""
    if isinstance(value, dict):
        return {key: shape_of(item) for key, item in value.items()}
    return [shape_of(item) for item in value[:1]] if isinstance(value, list) else type(value).__name__


class Commands(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        daemon = subprocess.Popen([SIM, "--port", "0"], stdout=subprocess.PIPE, text=True)
        cls.addClassCleanup(daemon.wait)
        cls.addClassCleanup(daemon.terminate)
        cls.addClassCleanup(daemon.stdout.close)
        cls.port = daemon.stdout.readline().strip().rpartition(":")[2]

    def run_line(self, line):
        environment = {**os.environ, "ZOLSTAT_PORT": self.port, "PATH": f"{ZOLSTAT.parent}:{os.environ['PATH']}"}
        return subprocess.run(["sh", "-c", line], capture_output=True, text=True, timeout=60, env=environment)

    def test_every_command_works_as_it_stands(self):
        lines = re.findall(r"^    (zolstat .*)$", DOCUMENT, re.M)
        self.assertGreater(len(lines), 7)
        for line in lines:
            with self.subTest(line):
                done = self.run_line(line.replace("> report.txt", ""))
                self.assertEqual((done.returncode, done.stderr), (0, ""), done.stdout)

    def test_the_documents_shown_have_the_keys_of_those_that_are_written(self):
        shown = {document["kind"]: document
                 for document in map(json.loads, re.findall(r"```json\n(.*?)```", DOCUMENT, re.S))}
        self.assertEqual(set(shown), {"ping", "codes"})
        fine = json.loads(self.run_line("zolstat ping --format json").stdout)
        failed = json.loads(self.run_line("zolstat ping --format json --port 1").stdout)
        fine["gateways"][0]["error"] = failed["gateways"][0]["error"]
        self.assertEqual(shape_of(shown["ping"]), shape_of(fine))
        self.assertEqual(shown["codes"], json.loads(self.run_line("zolstat codes 115 --format json").stdout))


if __name__ == "__main__":
    unittest.main()
