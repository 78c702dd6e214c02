# Tests that programs which were built with an earlier version go on running: the binary interface, and the constants
# that such programs have taken in. Each folder beside this file that has a version's number holds what that had.
# Not tests of what the calls do. The protocol is written down in docs/protocol.md.
import os
import pathlib
import re
import subprocess
import unittest

import public_abi
from commands import emptied, finding_libraries_in, run, running_gateway

SOURCE = pathlib.Path(os.environ["ZOLSTATS_SOURCE"])
LIBRARY = pathlib.Path(os.environ["ZOLSTATS_LIBRARY"])
GATEWAY = pathlib.Path(os.environ["ZOL_GATEWAY_SIM"])
SCRATCH = pathlib.Path(os.environ["ZOLSTATS_SCRATCH"])

HERE = SOURCE / "tests" / "abi"
RECORDED = HERE / "libzolstats.abi"
VERSIONS = sorted(folder for folder in HERE.iterdir() if re.fullmatch(r"[\d.]+", folder.name))
TODAY = SOURCE / "include"

HOW_TO_GO_ON = "\nIf this is wanted: CONTRIBUTING.md, \"Changing the interface\"."


def calls_of(version):
    """The names in a version script's public node."""
    names = re.search(r"global:([^}:]*)", (version / "zolstats.map").read_text()).group(1)
    return re.findall(r"\w+(?=;)", names)


def constants_in(include):
    text = (include / "zolstats" / "zolstats.h").read_text()
    return dict(re.findall(r"CODE\((ZOLSTATS_\w+), (-?\d+),", text) + re.findall(r"#define (ZOLSTATS_\w+) (\d+)", text))


def compiled(program, include, folder):
    run("cc", "-std=c99", "-pedantic", "-Wall", "-Wextra", "-Werror", "-I", include, "-c", program, "-o",
        folder / "program.o")
    return folder / "program.o"


def link_library(version, folder):
    """A library with the names that the version had and nothing behind them, for programs to be linked with."""
    stubs = "".join(f"int {name}(void) {{ return 0; }}\n" for name in calls_of(version))
    run("cc", "-shared", "-fPIC", "-xc", "-", "-o", folder / "libzolstats.so", "-Wl,-soname,libzolstats.so.1",
        f"-Wl,--version-script={version / 'zolstats.map'}", input=stubs)
    return folder / "libzolstats.so"


def program_of(version):
    folder = emptied(SCRATCH / version.name)
    run("cc", compiled(version / "program.c", version, folder), link_library(version, folder), "-o", folder / "program")
    return folder / "program"


class BinaryInterface(unittest.TestCase):
    def test_it_is_what_was_recorded(self):
        today = emptied(SCRATCH / "today") / RECORDED.name
        today.write_text(public_abi.public_abi(LIBRARY))
        compared = subprocess.run(["abidiff", RECORDED, today], text=True, capture_output=True)
        self.assertEqual(compared.returncode, 0, compared.stdout + compared.stderr + HOW_TO_GO_ON)

    def test_the_record_has_every_public_call_and_nothing_private(self):
        recorded = RECORDED.read_text()
        self.assertEqual(sorted(re.findall(r'elf-symbol-id="(\w+)@@ZOLSTATS_1', recorded)),
                         sorted(re.findall(r"^int (\w+)\(", (TODAY / "zolstats/zolstats.h").read_text(), re.M)))
        self.assertNotIn("PRIVATE", recorded)


class EarlierVersions(unittest.TestCase):
    def setUp(self):
        self.assertTrue(VERSIONS)

    def test_their_programs_run_with_todays_library(self):
        for version in VERSIONS:
            with self.subTest(version.name):
                program = program_of(version)
                at_once = {**finding_libraries_in(LIBRARY.parent), "LD_BIND_NOW": "1"}
                with running_gateway(GATEWAY) as port:
                    self.assertEqual(run(program, port, program.parent / "trace", env=at_once), "as before\n")

    def test_their_programs_compile_with_todays_header(self):
        for version in VERSIONS:
            with self.subTest(version.name):
                compiled(version / "program.c", TODAY, emptied(SCRATCH / f"{version.name}-anew"))

    def test_their_constants_have_kept_their_values(self):
        for version in VERSIONS:
            with self.subTest(version.name):
                today, earlier = constants_in(TODAY), constants_in(version)
                self.assertGreater(len(earlier), 40)
                self.assertEqual({name: today.get(name) for name in earlier}, earlier, HOW_TO_GO_ON)

    def test_their_programs_make_every_call_that_there_was(self):
        for version in VERSIONS:
            with self.subTest(version.name):
                declared = re.findall(r"^int (\w+)\(", (version / "zolstats/zolstats.h").read_text(), re.M)
                self.assertEqual(sorted(calls_of(version)), sorted(declared))
                called = set(re.findall(r"(\w+)\(", (version / "program.c").read_text()))
                self.assertLessEqual(set(declared), called)


if __name__ == "__main__":
    unittest.main(verbosity=2)
