"""Holds docs/prometheus.md against the program: metrics, options, keys of the configuration file, reasons, answers.

Not the examples for Prometheus: see examples_test.py.
"""
import http.client
import os
import pathlib
import re
import shutil
import ssl
import subprocess
import tempfile
import unittest
import urllib.error
from base64 import b64encode

import programs

ROOT = pathlib.Path(os.environ["ZOLSTATS_SOURCE"])
EXAMPLES = ROOT / "tools/zolstats-exporter/examples"
PAGE = (ROOT / "docs/prometheus.md").read_text(encoding="utf-8")


# Where the system sets none, there is no metric.
OF_LIMITS = {"process_max_fds", "process_virtual_memory_max_bytes"}


def section(heading):
    return re.search(rf"^##+ {re.escape(heading)}\n(.*?)(?=^##+ |\Z)", PAGE, re.M | re.S)[1]


def first_columns(text):
    """Of all tables: the names in the first cell of each row."""
    return re.findall(r"`([^`]+)`", "".join(re.findall(r"^\| (.*?) \|", text, re.M)))


class Metrics(unittest.TestCase):
    def setUp(self):
        self.gateway = programs.Gateway()
        self.addCleanup(self.gateway.stop)
        self.exporter = programs.Exporter("--gateway", self.gateway.address, "--info", "SYSTEM_*")
        self.addCleanup(self.exporter.end)

    def families(self, path):
        return set(re.findall(r"^# TYPE (\w+) ", self.exporter.get(path), re.M))

    def test_the_page_tells_all_that_there_are_and_no_others(self):
        told = set(first_columns(section("Metrics")))
        self.assertEqual(self.families("/metrics") | OF_LIMITS, told)

    def test_a_probe_has_those_of_the_gateway_only(self):
        told = set(first_columns(section("Metrics").split("Of the exporter itself")[0]))
        self.assertEqual(self.families(f"/probe?target={self.gateway.address}"), told)

    def test_the_page_tells_every_reason(self):
        reasons = set(re.findall(r'zol_scrape_failure\{.*?reason="(\w+)"', self.exporter.get("/metrics")))
        self.assertEqual(set(first_columns(section("When a scrape fails"))), reasons)


class Options(unittest.TestCase):
    def rows(self):
        return re.findall(r"^\| *(?:`(--[\w-]+)[^`]*`)? *\| *(?:`(\w+)`)? *\|", section("Configuration"), re.M)

    def test_the_page_tells_all_that_there_are_and_no_others(self):
        said = subprocess.run([os.environ["ZOLSTATS_EXPORTER"], "--help"], text=True, capture_output=True, check=True).stdout
        offered = set(re.findall(r"(?<![\w-])(--[a-z][\w-]*)", said)) - {"--help", "--version"}
        self.assertEqual({option for option, _ in self.rows() if option}, offered)

    def test_each_key_of_the_page_is_understood(self):
        values = {"gateways": "[127.0.0.1:27400]", "groups": "[CPU]", "allow_targets": "['*.example.org']",
                  "info": "[A*]", "mapping": EXAMPLES / "mapping.yml", "on_failure": "'503'", "timeout": 5,
                  "timeout_offset": 0.25, "listen": "127.0.0.1:0", "idle": 60, "max_requests": 100}
        keys = {key for _, key in self.rows() if key} - {"web_config"}  # whose files must be there
        self.assertEqual(keys, values.keys())
        for key, value in values.items():
            with self.subTest(key):
                code, said = self.check(f"{key}: {value}\n")
                self.assertEqual(code, 0, said)

    def test_another_key_is_told_with_its_line(self):
        code, said = self.check("groups: [CPU]\nintervall: 5\n")
        self.assertNotEqual(code, 0)
        self.assertRegex(said, r"exporter\.yml:2: .*intervall")

    def check(self, text):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder) / "exporter.yml"
            file.write_text(text, encoding="utf-8")
            return self.check_file(file)

    def check_file(self, file):
        done = subprocess.run([os.environ["ZOLSTATS_EXPORTER"], "--config", file, "--check-config"], text=True,
                              capture_output=True, timeout=30)
        return done.returncode, done.stderr

    def test_the_example_is_good(self):
        code, said = self.check_file(EXAMPLES / "exporter.yml")
        self.assertEqual(code, 0, said)


class Answers(unittest.TestCase):
    def setUp(self):
        self.gateway = programs.Gateway()
        self.addCleanup(self.gateway.stop)
        self.dead = programs.ClosedPort()
        self.addCleanup(self.dead.close)

    def exporter(self, *options):
        exporter = programs.Exporter(*options)
        self.addCleanup(exporter.end)
        return exporter

    def status(self, exporter, path):
        with self.assertRaises(urllib.error.HTTPError) as answer:
            exporter.get(path)
        answer.exception.close()
        return answer.exception.code

    def test_who_is_not_allowed_is_not_probed(self):
        exporter = self.exporter("--gateway", self.gateway.address)
        self.assertIn("\nzol_up 1\n", exporter.get(f"/probe?target={self.gateway.address}"))
        self.assertEqual(self.status(exporter, f"/probe?target={self.dead.address}"), 403)

    def test_a_failure_is_a_good_answer_or_503_as_the_owner_wants(self):
        path = f"/probe?target={self.dead.address}"
        self.assertIn("\nzol_up 0\n", self.exporter("--gateway", self.dead.address).get(path))
        self.assertEqual(self.status(self.exporter("--gateway", self.dead.address, "--on-failure", "503"), path), 503)

    def test_a_group_that_the_gateway_does_not_have_spoils_nothing(self):
        exporter = self.exporter("--gateway", self.gateway.address)
        answer = exporter.get(f"/probe?target={self.gateway.address}&collect[]=LOAD&collect[]=NO_SUCH_GROUP")
        for line in ["zol_up 1", 'zol_scrape_failure{reason="rejected"} 1']:
            self.assertIn(f"\n{line}\n", answer)
        self.assertIn('zol_stat{group="LOAD",', answer)

    def test_a_scrape_is_shown_with_its_trace(self):
        exporter = self.exporter("--gateway", self.gateway.address)
        self.assertIn("openRemoteGatewayConnection", exporter.get(f"/probe?target={self.gateway.address}&debug=1"))


class Secured(unittest.TestCase):
    """With the web configuration of the page, and a certificate made for it."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        web = pathlib.Path(shutil.copy(EXAMPLES / "web.yml", folder.name))
        self.certificate = web.parent / "exporter.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=localhost",
                        "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", web.parent / "exporter-key.pem", "-out",
                        self.certificate], check=True, capture_output=True)
        self.exporter = programs.Exporter("--web-config", str(web))
        self.addCleanup(self.exporter.end)

    def status(self, password):
        trusted = ssl.create_default_context(cafile=self.certificate)
        connection = http.client.HTTPSConnection("127.0.0.1", self.exporter.port, context=trusted, timeout=30)
        credentials = b64encode(f"prometheus:{password}".encode()).decode()
        connection.request("GET", "/-/healthy", headers={"Authorization": f"Basic {credentials}"})
        status = connection.getresponse().status
        connection.close()
        return status

    def test_lets_in_who_has_the_password_of_the_page(self):
        password = re.search(r"this password is `(.*?)`", PAGE)[1]
        self.assertEqual(self.status(password), 200)
        self.assertEqual(self.status(password + "?"), 401)


if __name__ == "__main__":
    unittest.main()
