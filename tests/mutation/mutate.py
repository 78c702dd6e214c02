# Tells how many small changes of the library's sources its tests notice: those of units, wire, trace and API.
# The changes themselves are made by mutations.py. The work tree is only read: a copy is built below build/mutate.
# A change costs the compilation of one source, the linking of one library, and test programs up to the first that fails.
import argparse
import concurrent.futures
import json
import os
import pathlib
import queue
import re
import resource
import shlex
import shutil
import signal
import subprocess
import sys
import threading
import time
from dataclasses import dataclass

import mutations

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
EXPLAINED = HERE / "explained.txt"
BUILD = ROOT / "build" / "mutate"
TREE = BUILD / "tree"
OBJECTS = BUILD / "objects"
API_TESTS = TREE / "tests" / "api"
TEST_FOLDERS = [TREE / "tests", TREE / "tests" / "wire", TREE / "tests" / "trace", API_TESTS]
NEEDED_TESTS = {"support", "fixtures", "wire", "trace", "api"}
UNFIT_TESTS = {"api_allocation_test"}  # brings its own allocator, which the sanitizer in the library does not bear
GOAL_PERCENT = 90
FILE_LIMIT_BYTES = 256 << 20
MEMORY_LIMIT_MB = 2000


class Stopped(Exception):
    """The user wants to see the result so far."""


# ---- Running programs

class Commands:
    """Runs commands in process groups of their own, which are ended with all that they have started."""

    def __init__(self):
        self.running = set()
        self.stopped = False
        self.guard = threading.Lock()

    def run(self, command, timeout_s=None, **options):
        """The exit code; None when the time was over."""
        with self.guard:
            if self.stopped:
                raise Stopped
            process = subprocess.Popen(command, start_new_session=True, stdin=subprocess.DEVNULL, **options)
            self.running.add(process.pid)
        try:
            return process.wait(timeout_s)
        except subprocess.TimeoutExpired:
            return None
        finally:
            self.end(process)

    def end(self, process):
        with self.guard:
            self.running.discard(process.pid)
            end_group(process.pid)
        process.wait()
        if self.stopped:
            raise Stopped

    def stop(self):
        with self.guard:
            self.stopped = True
            for group in self.running:
                end_group(group)


def end_group(group):
    try:
        os.killpg(group, signal.SIGKILL)
    except ProcessLookupError:
        pass


COMMANDS = Commands()
QUIET = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}


def succeed(command, **options):
    if COMMANDS.run(command, **options) != 0:
        sys.exit("failed: " + shlex.join(map(str, command)))


# ---- The copy of the tree, and its build

def project_files():
    for folder, folders, files in os.walk(ROOT):
        folders[:] = [name for name in folders if name not in ("build", ".git", "__pycache__")]
        yield from (pathlib.Path(folder, name).relative_to(ROOT) for name in files)


def write_if_changed(path, content):
    if not path.exists() or path.read_bytes() != content:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)


def is_needless_test(path):
    return path.parts[0] == "tests" and len(path.parts) > 2 and path.parts[1] not in NEEDED_TESTS


def copy_tree():
    """All files, but with the library's own build, and without the tests that are not run here."""
    contents = {path: b"" if is_needless_test(path) else (ROOT / path).read_bytes() for path in project_files()}
    contents[pathlib.Path("cmake/library.cmake")] = (HERE / "library.cmake").read_bytes()
    contents[pathlib.Path("cmake/install.cmake")] = b""
    for path, content in contents.items():
        write_if_changed(TREE / path, content)
    for path in [path for path in TREE.rglob("*") if path.is_file() and path.relative_to(TREE) not in contents]:
        path.unlink()


def configure():
    succeed(["cmake", "-S", TREE, "-B", OBJECTS, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=", "-DCMAKE_CXX_COMPILER=g++",
             "-DCMAKE_CXX_FLAGS=-w", "-DZOLSTATS_BUILD_BENCH=OFF", "--log-level=WARNING"], stdout=subprocess.DEVNULL)


def output_at(command):
    return command.index("-o") + 1


@dataclass(frozen=True)
class Module:
    """How one source file of the library is compiled."""
    file: str
    object: pathlib.Path
    command: tuple

    def compile_command(self, source, output):
        changes = {str(TREE / "source" / self.file): str(source), self.command[output_at(self.command)]: str(output)}
        return [changes.get(word, word) for word in self.command] + ["-O0"]


class Program:
    """A test program, and the calls that it replaces for the library."""

    def __init__(self, name, is_api):
        self.name = name
        self.is_api = is_api
        self.path = OBJECTS / "bin" / name
        commands = subprocess.run(["ninja", "-C", OBJECTS, "-t", "commands", name], check=True, capture_output=True,
                                  text=True)
        self.wraps = tuple(re.findall(r"-Wl,--wrap=\w+", commands.stdout.splitlines()[-1]))
        self.seconds = 0.0
        self.noticed = 0

    def order(self, file):
        """Tests of the file's own module come first, those of the API last, and earlier what notices more for its time."""
        module = file.removeprefix("stapi_zol_").split(".")[0]
        return self.is_api, not self.name.startswith(module), self.seconds / (1 + self.noticed)


def compilations():
    for entry in json.loads((OBJECTS / "compile_commands.json").read_text()):
        yield pathlib.Path(entry["file"]), pathlib.Path(entry["directory"]), shlex.split(entry["command"])


def modules():
    found = []
    for path, folder, command in compilations():
        if path.parent == TREE / "source":
            found.append(Module(path.name, folder / command[output_at(command)], tuple(command)))
    return found


def programs():
    """The test programs: what is compiled from a file of the program's name."""
    found = set()
    for path, _, command in compilations():
        target = re.search(r"CMakeFiles/([^/]+)\.dir/", command[output_at(command)])[1]
        if path.parent in TEST_FOLDERS and path.suffix == ".cpp" and path.stem == target:
            found.add((target, path.parent == API_TESTS))
    return [Program(*each) for each in sorted(found) if each[0] not in UNFIT_TESTS]


def build(names, jobs):
    succeed(["cmake", "--build", OBJECTS, f"-j{jobs}", "--target", *names], stdout=subprocess.DEVNULL)


def includers(file, sources):
    """The modules to be compiled when a file has changed."""
    needed = {file}
    while True:
        more = {name for name, text in sources.items() if any(f'#include "{each}"' in text for each in needed)} - needed
        if not more:
            return {name for name in needed if name.endswith(".cpp")}
        needed |= more


# ---- One change

@dataclass(frozen=True)
class Verdict:
    mutant: mutations.Mutant
    outcome: str  # noticed, survived, or uncompiled
    program: Program | None = None
    in_time: bool = True


class Workshop:
    """A folder with a copy of the sources, in which one change at a time is built and tested."""

    def __init__(self, number, all_modules, all_programs):
        self.folder = BUILD / f"worker-{number}"
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)
        self.source = self.folder / "source"
        shutil.copytree(TREE / "source", self.source)
        self.sources = {path.name: path.read_text() for path in self.source.iterdir()}
        self.modules = all_modules
        self.programs = all_programs

    def compile(self, module):
        output = self.folder / "changed" / module.object.name
        command = module.compile_command(self.source / module.file, output)
        return output if COMMANDS.run(command, cwd=OBJECTS, **QUIET) == 0 else None

    def compile_changed(self, file):
        """The objects of the library with those anew that the file is part of; None when one does not compile."""
        shutil.rmtree(self.folder / "changed", ignore_errors=True)
        shutil.rmtree(self.folder / "libraries", ignore_errors=True)
        (self.folder / "changed").mkdir()
        affected = includers(file, self.sources)
        objects = [self.compile(module) if module.file in affected else module.object for module in self.modules]
        return objects if all(objects) else None

    def library_folder(self, objects, wraps):
        """Where the library is that has these calls replaced. It is linked when it is first asked for.

        It binds its inline functions to itself: those of the tests are unchanged. Data belongs to the program."""
        folder = self.folder / "libraries" / str(abs(hash(wraps)))
        if not folder.exists():
            folder.mkdir(parents=True)
            succeed(["g++", "-shared", "-fsanitize=address", "-Wl,-Bsymbolic-functions", "-Wl,-soname,libzolstats.so",
                     *wraps, *objects, "-o", folder / "libzolstats.so"], **QUIET)
        return folder

    def run(self, program, objects, timeout_s):
        scratch = self.folder / "scratch"
        shutil.rmtree(scratch, ignore_errors=True)
        scratch.mkdir()
        environment = {**os.environ, "LD_LIBRARY_PATH": str(self.library_folder(objects, program.wraps)),
                       "TMPDIR": str(scratch), "ASAN_OPTIONS": f"hard_rss_limit_mb={MEMORY_LIMIT_MB}"}
        return COMMANDS.run([program.path, "--gtest_fail_fast", "--gtest_brief=1"], timeout_s, cwd=scratch,
                            env=environment, **QUIET)

    def guard(self):
        """Without a change all programs must pass; how long they take is remembered."""
        objects = [module.object for module in self.modules]
        shutil.rmtree(self.folder / "libraries", ignore_errors=True)
        for program in self.programs:
            begin = time.monotonic()
            if self.run(program, objects, 120) != 0:
                sys.exit(f"{program.name} fails without any change")
            program.seconds = time.monotonic() - begin

    def judge(self, mutant):
        path = self.source / pathlib.Path(mutant.file).name
        path.write_text(mutant.content)
        try:
            objects = self.compile_changed(path.name)
            return self.test(mutant, objects) if objects else Verdict(mutant, "uncompiled")
        finally:
            path.write_text(self.sources[path.name])

    def test(self, mutant, objects):
        for program in sorted(self.programs, key=lambda each: each.order(pathlib.Path(mutant.file).name)):
            code = self.run(program, objects, 5 + 5 * program.seconds)
            if code != 0:
                program.noticed += 1
                return Verdict(mutant, "noticed", program, code is not None)
        return Verdict(mutant, "survived")


# ---- All changes

def explanations(path=EXPLAINED):
    """The survivors that have been looked at: the reason by the key of the mutant."""
    found = {}
    text = "\n".join(line for line in path.read_text().splitlines() if not line.startswith("#"))
    for entry in filter(None, re.split(r"\n\s*\n", text.strip())):
        head, *lines = entry.split("\n")
        file, reason = head.split(": ", 1)
        old = tuple(line[2:] for line in lines if line.startswith("-"))
        new = tuple(line[2:] for line in lines if line.startswith("+"))
        found[file, old, new] = reason
    return found


def all_mutants(module):
    """Those of the library in the copied tree, or of one module. The tables of trace lines are texts, not code."""
    pattern = f"stapi_zol_{module or '*'}.*"
    files = [path for path in sorted((TREE / "source").glob(pattern)) if not path.name.endswith("_trace.h")]
    return [mutant for path in files for mutant in mutations.mutants_of(f"source/{path.name}", path.read_text())]


def describe(verdict):
    where = f"{verdict.mutant.file}:{verdict.mutant.line}: {verdict.mutant.kind}: "
    if verdict.outcome == "noticed":
        return f"{where}noticed by {verdict.program.name}{'' if verdict.in_time else ' (hangs)'}"
    return where + {"uncompiled": "does not compile", "survived": "SURVIVED"}[verdict.outcome]


def judge_all(workshops, sample, verdicts):
    free = queue.Queue()
    for workshop in workshops:
        free.put(workshop)

    def judge(mutant):
        workshop = free.get()
        try:
            return workshop.judge(mutant)
        finally:
            free.put(workshop)

    with concurrent.futures.ThreadPoolExecutor(len(workshops)) as pool:
        jobs = [pool.submit(judge, mutant) for mutant in sample]
        try:
            for job in concurrent.futures.as_completed(jobs):
                verdicts.append(job.result())
                print(f"[{len(verdicts)}/{len(sample)}] {describe(verdicts[-1])}", flush=True)
        finally:
            COMMANDS.stop()
            pool.shutdown(cancel_futures=True)


def report(verdicts):
    """Whether the goal is reached."""
    reasons = explanations()
    uncompiled = [each for each in verdicts if each.outcome == "uncompiled"]
    noticed = [each for each in verdicts if each.outcome == "noticed"]
    explained = [each for each in verdicts if each.outcome == "survived" and each.mutant.key() in reasons]
    survived = [each for each in verdicts if each.outcome == "survived" and each.mutant.key() not in reasons]
    for verdict in sorted(survived, key=lambda each: (each.mutant.file, each.mutant.line)):
        print(f"\n{verdict.mutant}")
    judged = len(noticed) + len(survived)
    percent = 100 * len(noticed) / max(judged, 1)
    print(f"\nNot counted: {len(uncompiled)} that do not compile, {len(explained)} that no test can notice (explained.txt)")
    print(f"Noticed: {len(noticed)} of {judged} ({percent:.1f} %); {sum(each.program.is_api for each in noticed)} of them by "
          f"tests of the API alone, {sum(not each.in_time for each in noticed)} since they hang\nSurvived: {len(survived)}")
    return percent >= GOAL_PERCENT


def warn_of_needless_explanations():
    keys = {mutant.key() for mutant in all_mutants(None)}
    for file, old, _ in (key for key in explanations() if key not in keys):
        print(f"explained, but no change of today's sources: {file}: {' / '.join(old)}")


def arguments():
    parser = argparse.ArgumentParser(prog="mutate.sh", description=f"Goal: {GOAL_PERCENT} % are noticed.")
    parser.add_argument("--sample", type=int, default=300, metavar="N", help="how many changes to try (300)")
    parser.add_argument("--seed", type=int, default=1, metavar="S", help="the same seed gives the same sample (1)")
    parser.add_argument("--jobs", type=int, default=2, metavar="J", help="how many at a time (2)")
    parser.add_argument("--module", metavar="M", help="only stapi_zol_M")
    return parser.parse_args()


def main():
    options = arguments()
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_LIMIT_BYTES, FILE_LIMIT_BYTES))
    copy_tree()
    configure()
    tests = programs()
    build([program.name for program in tests], options.jobs)
    workshops = [Workshop(number, modules(), tests) for number in range(options.jobs)]
    workshops[0].guard()
    warn_of_needless_explanations()
    mutants = all_mutants(options.module)
    sample = mutations.chosen(mutants, options.sample, options.seed)
    print(f"{len(sample)} of {len(mutants)} changes, seed {options.seed}, {len(tests)} test programs", flush=True)
    verdicts = []
    try:
        judge_all(workshops, sample, verdicts)
    except KeyboardInterrupt:
        report(verdicts)
        sys.exit(130)
    sys.exit(0 if report(verdicts) else 1)


if __name__ == "__main__":
    main()
