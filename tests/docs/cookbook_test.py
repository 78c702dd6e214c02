"""Runs everything that docs/cookbook.md shows, as it stands there, against the stand-in Gateway.

Only names are replaced: of the Gateways and their port, and the intervals, so that nothing waits for a minute. The programs
are built against the installed project. No test of what the commands do; those are in tests/tools.
"""
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import unittest

ROOT = pathlib.Path(os.environ["ZOLSTATS_SOURCE"])
PREFIX = pathlib.Path(os.environ["ZOLSTATS_PREFIX"])
LIBDIR = PREFIX / os.environ["ZOLSTATS_LIBDIR"]
SCRATCH = pathlib.Path(os.environ["ZOLSTATS_SCRATCH"])

TEXT = (ROOT / "docs/cookbook.md").read_text(encoding="utf-8")
BLOCKS = {(language, name): body for language, name, body in re.findall(r"^```(\w+) (\S+)\n(.*?)^```$", TEXT, re.M | re.S)}

ENVIRONMENT = {
    "PATH": f"{PREFIX}/bin:{os.environ['PATH']}",
    "HOME": str(SCRATCH),
    "LC_ALL": "C.UTF-8",
    "LD_LIBRARY_PATH": str(LIBDIR),
    "PKG_CONFIG_PATH": str(LIBDIR / "pkgconfig"),
}
used = set()


def block(language, name):
    used.add((language, name))
    return BLOCKS[language, name]


class Gateway:
    """A stand-in on a port of its own."""

    def __enter__(self):
        self.daemon = subprocess.Popen([PREFIX / "bin/zol-gateway-sim", "--port", "0"], stdout=subprocess.PIPE, text=True)
        self.port = self.daemon.stdout.readline().strip().rpartition(":")[2]
        return self

    def __exit__(self, *failure):
        self.daemon.terminate()
        self.daemon.communicate()


def without_values(line):
    """Thresholds stay."""
    return re.sub(r"= ?\d+(\.\d+)?", "=", line)


class Recipe(unittest.TestCase):
    def setUp(self):
        self.gateways = [self.enterContext(Gateway()) for _ in range(2)]
        self.folder = SCRATCH / self.id().rpartition(".")[2]
        shutil.rmtree(self.folder, ignore_errors=True)
        self.folder.mkdir(parents=True)
        self.environment = ENVIRONMENT | {"ZOLSTAT_PORT": self.gateways[0].port}

    def enterContext(self, manager):  # Python 3.11 has it
        value = manager.__enter__()
        self.addCleanup(manager.__exit__, None, None, None)
        return value

    def here(self, text):
        """The text with its names replaced by those of this test."""
        for number, gateway in enumerate(self.gateways, 1):
            text = text.replace(f"gw{number}.example.org:27400", f"localhost:{gateway.port}")
        text = text.replace('"gw1.example.org", 27400', f'"127.0.0.1", {self.gateways[0].port}')
        return re.sub(r"--interval \d+", "--interval 0.1 --count 3", text)

    def run_shell(self, name, language="sh"):
        script = "set -uo pipefail\n" + self.here(block(language, name))
        return subprocess.run(["bash", "-c", script], cwd=self.folder, env=self.environment, text=True,
                              capture_output=True, timeout=60)

    def output_of(self, name, language="sh"):
        done = self.run_shell(name, language)
        self.assertEqual((done.returncode, done.stderr), (0, ""), name)
        return done.stdout

    def run_program(self, language, name, compiler):
        source = self.folder / f"one.{language}"
        source.write_text(self.here(block(language, name)))
        build = re.search(rf"^    ({re.escape(compiler)} .*)$", TEXT, re.M).group(1)
        subprocess.run(["bash", "-eu", "-c", build], cwd=self.folder, env=self.environment, check=True, timeout=120)
        return subprocess.run([self.folder / "one"], env=self.environment, text=True, capture_output=True, check=True,
                              timeout=30).stdout


class Cookbook(Recipe):
    def test_a_statistic_is_logged_in_every_interval(self):
        self.output_of("log")
        header, *rows = (self.folder / "load.csv").read_text().splitlines()
        self.assertEqual(header, "time,id,value")
        self.assertEqual(len(rows), 3)
        for row in rows:
            self.assertRegex(row, r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z,LOAD_1_MINUTE,\d+\.\d+$")

    def test_a_statistic_is_logged_as_json(self):
        lines = self.output_of("log-json").splitlines()
        self.assertEqual(len(lines), 3)
        for line in lines:
            time, value = json.loads(line)
            self.assertRegex(time, r"Z$")
            self.assertIsInstance(value, float)

    def test_an_alert_is_the_line_that_is_shown_but_for_the_values(self):
        [shown] = re.findall(r"^    (ZOLSTAT .*\n)", TEXT, re.M)
        self.assertEqual(without_values(self.output_of("alert")), without_values(shown))

    def test_the_doctor_reports_a_sample_query(self):
        self.assertRegex(self.output_of("doctor"), r"\n  statistics  \d+, \d+ bytes in ")

    def test_a_drop_leaves_its_cause_in_the_trace(self):
        self.gateways[0].daemon.send_signal(signal.SIGKILL)
        self.gateways[0].daemon.wait()
        done = self.run_shell("drops")
        self.assertEqual(done.returncode, 0)
        self.assertIn("Connection refused", done.stdout)

    def test_an_answer_is_kept(self):
        self.assertIn("CPU_COUNT: ", self.run_program("cpp", "keep", "c++"))

    def test_a_statistic_is_read_in_c(self):
        self.assertRegex(self.run_program("c", "one", "cc"), r"^\d+\.\d+\n$")

    def test_a_statistic_is_read_in_cpp(self):
        self.assertRegex(self.run_program("cpp", "one", "c++"), r"^\d+\.\d+\n$")

    def test_several_gateways_are_asked(self):
        answer = self.output_of("several")
        for gateway in self.gateways:
            self.assertIn(f"localhost:{gateway.port}", answer)
        self.assertEqual(answer.count("LOAD_1_MINUTE"), 2)

    def test_several_gateways_stand_in_a_file(self):
        header, *rows = self.output_of("several-file").splitlines()
        self.assertEqual(header, "host,id,value")
        self.assertEqual(len([row for row in rows if row.startswith("localhost,LOAD_1_MINUTE,")]), 2)

    def test_the_unit_is_one_that_systemd_takes(self):
        unit = self.folder / "zolstat-log.service"
        text = self.here(block("ini", unit.name)).replace("/usr/bin/zolstat", f"{PREFIX}/bin/zolstat")
        unit.write_text(text)
        done = subprocess.run(["systemd-analyze", "verify", "--man=no", unit], text=True, capture_output=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_the_service_logs(self):
        text = self.here(block("ini", "zolstat-log.service"))
        command = re.search(r"^ExecStart=/usr/bin/(.*)$", text, re.M).group(1)
        variable, value = re.search(r"^Environment=(\w+)=(.*)$", text, re.M).groups()
        done = subprocess.run(command.split(), env=ENVIRONMENT | {variable: value}, text=True, capture_output=True,
                              check=True, timeout=60)
        self.assertIn("LOAD_1_MINUTE", {json.loads(line)["id"] for line in done.stdout.splitlines()})

    def test_a_trace_tells_calls_and_requests(self):
        answer = self.output_of("trace")
        self.assertRegex(answer, r"EXIT +API\.openRemoteGatewayConnection\(port=\d+\) rc=0")
        self.assertRegex(answer, r"\[3226\] DATA +stapi_zol_socketcomms\.flow data=")

    def test_a_test_runs_against_the_stand_in(self):
        self.output_of("standin", "bash")

    @classmethod
    def tearDownClass(cls):
        left = set(BLOCKS) - used
        assert not left, f"shown, but run by no test: {left}"


if __name__ == "__main__":
    unittest.main()
