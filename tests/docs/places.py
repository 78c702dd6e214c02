# Where the tests of the documents find things, and how they run programs.
# Not a test. Imported first, since it leads to the modules of docs/reference/.
# The protocol between the library and the Gateway is written down in docs/protocol.md.
import contextlib
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(os.environ["ZOLSTATS_SOURCE"])
BUILD = pathlib.Path(os.environ["ZOLSTATS_BUILD"])
VERSION = os.environ["ZOLSTATS_VERSION"]
HEADER = ROOT / "include" / "zolstats" / "zolstats.h"
PROGRAM_PAGES = sorted((ROOT / "docs" / "man").glob("*.[18]"))

sys.path.insert(0, str(ROOT / "docs" / "reference"))


def run(*command, **extra):
    """The result of a command, whatever its exit code; nothing that waits for ever."""
    words = [str(word) for word in command]
    return subprocess.run(words, text=True, capture_output=True, timeout=60, check=False, **extra)


def output_of(*command, **extra):
    done = run(*command, **extra)
    if done.returncode != 0:
        raise AssertionError(f"{command} gave {done.returncode}:\n{done.stdout}{done.stderr}")
    return done.stdout


@contextlib.contextmanager
def running_gateway(*options):
    """A stand-in Gateway on a port of its own; gives the port."""
    command = [os.environ["ZOL_GATEWAY_SIM"], *options, "--port", "0"]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as daemon:
        try:
            yield re.fullmatch(r"zol-gateway-sim: listening on \S+:(\d+)\n", daemon.stdout.readline()).group(1)
        finally:
            daemon.terminate()
