# What the tests of the installed, packaged and earlier library share: running commands, looking into files, a Gateway.
# Not tests, and not for programs of this project that tests start in C++; those have tests/tools/program.h.
# The protocol between the library and the Gateway is written down in docs/protocol.md.
import contextlib
import os
import re
import shutil
import subprocess


def run(*command, **extra):
    done = subprocess.run([str(word) for word in command], text=True, capture_output=True, **extra)
    if done.returncode != 0:
        raise AssertionError(f"{command} gave {done.returncode}:\n{done.stdout}{done.stderr}")
    return done.stdout


def needed_libraries(file):
    return set(re.findall(r"\(NEEDED\).*\[(.*)\]", run("readelf", "-d", file)))


def files_below(folder):
    return [file.relative_to(folder) for file in folder.glob("**/*") if not file.is_dir()]


def emptied(folder):
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    return folder


def finding_libraries_in(folder):
    return {**os.environ, "LD_LIBRARY_PATH": str(folder)}


@contextlib.contextmanager
def running_gateway(program, *options, **extra):
    """Gives the port of a Gateway that runs until the end of the block."""
    daemon = subprocess.Popen([program, "--port", "0", *options], stdout=subprocess.PIPE, text=True, **extra)
    with daemon:
        try:
            yield daemon.stdout.readline().strip().rpartition(":")[2]
        finally:
            daemon.terminate()
