# The comparison as a whole, for a moment only: that everything runs, that its report has every section, and that a wrong
# value is noticed. Its figures mean nothing here.
import os
import pathlib
import subprocess
import unittest

SOURCE = pathlib.Path(os.environ["ZOLSTATS_SOURCE"])
BUILD = pathlib.Path(os.environ["ZOLSTATS_BENCH_BUILD"])
SCRATCH = pathlib.Path(os.environ["SCRATCH"])

SECTIONS = ["Machine", "Query and walk: client and servers on one core",
            "Query and walk: client and servers on a core each", "What a query and a walk need", "From few to many",
            "Opening and closing a connection", "Query and walk with trace", "In memory", "Targets",
            "Done: all have read the same values"]


def run(**environment):
    return subprocess.run([SOURCE / "bench/run.sh", "--smoke"], env={**os.environ, **environment}, timeout=250,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)


def processes_of(folder):
    """Those that were started with a path in it, or work there."""
    found = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            words = (process / "cmdline").read_text() + os.readlink(process / "cwd")
        except OSError:  # it has ended meanwhile
            continue
        if str(folder) in words and int(process.name) != os.getpid():
            found.append(words)
    return found


class Run(unittest.TestCase):
    def assert_nothing_is_left(self):
        self.assertEqual(list(BUILD.glob("run.*")), [])
        self.assertEqual(processes_of(BUILD / "run."), [])

    def test_measures_everything(self):
        finished = run()
        self.assertEqual((finished.returncode, finished.stderr), (0, ""), finished.stdout)
        headings = [line[3:] for line in finished.stdout.splitlines() if line.startswith("== ")]
        for section, heading in zip(SECTIONS, headings, strict=True):
            self.assertTrue(heading.startswith(section), heading)
        for column in ["limit", "ideal", "steps", "zolstats", "hiredis", "libpq"]:
            self.assertRegex(finished.stdout, rf"(?m)^{column} +[0-9]")
        self.assertNotIn("not measured", finished.stdout)
        self.assert_nothing_is_left()

    def test_fails_when_a_value_is_wrong(self):
        gateway = SCRATCH / "wrong-gateway"
        gateway.write_text(f"#!/bin/sh\nexec {BUILD}/bin/bench-gateway --wrong\n")
        gateway.chmod(0o755)
        finished = run(ZOLSTATS_BENCH_GATEWAY=str(gateway))
        self.assertEqual(finished.returncode, 1, finished.stdout)
        self.assertIn("check failed: limit was to bring 10 items and brought others", finished.stderr)
        self.assert_nothing_is_left()


if __name__ == "__main__":
    unittest.main(verbosity=2)
