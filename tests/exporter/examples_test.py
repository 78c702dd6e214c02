"""Holds the example files for Prometheus against its own tool, and the pages that show them against the files.

Not a test of a running Prometheus: see prometheus_test.py.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(os.environ["ZOLSTATS_SOURCE"])
EXAMPLES = ROOT / "tools/zolstats-exporter/examples"
PAGES = "".join((ROOT / "docs" / name).read_text(encoding="utf-8") for name in ["prometheus.md", "scaling.md"])


def promtool(*arguments, folder=EXAMPLES):
    return subprocess.run(["promtool", *arguments], cwd=folder, text=True, capture_output=True, timeout=60)


class Files(unittest.TestCase):
    def assertPasses(self, *arguments):
        done = promtool(*arguments)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def test_prometheus_takes_the_scrape_configuration_and_what_it_refers_to(self):
        self.assertPasses("check", "config", "--lint=all", "--lint-fatal", "prometheus.yml")

    def test_prometheus_takes_the_other_configurations_though_the_files_they_refer_to_are_elsewhere(self):
        for file in EXAMPLES.glob("prometheus_*.yml"):
            with self.subTest(file.name):
                self.assertPasses("check", "config", "--lint=all", "--lint-fatal", "--syntax-only", file.name)

    def test_prometheus_takes_the_rules(self):
        self.assertPasses("check", "rules", "--lint=all", "--lint-fatal", "recording_rules.yml", "alert_rules.yml")

    def test_the_rules_do_what_their_tests_say(self):
        self.assertPasses("test", "rules", "rule_tests.yml")


# Each is one mistake in a rule: file, what stands there, what would stand there by mistake.
MISTAKES = [
    ("alert_rules.yml", "zol_up == 0", "zol_up == 1"),
    ("alert_rules.yml", "for: 2m", "for: 3m"),
    ("alert_rules.yml", "for: 2m", "for: 105s"),
    ("alert_rules.yml", "for: 10m", "for: 9m"),
    ("alert_rules.yml", "for: 10m", "for: 30m"),
    ("alert_rules.yml", 'reason!="rejected"} == 1', 'reason!="rejected"} == 0'),
    ("alert_rules.yml", "ratio5m > 0.1", "ratio5m > 0.5"),
    ("alert_rules.yml", "ratio5m > 0.1", "ratio5m >= 0"),
    ("alert_rules.yml", "> 0.8", "> 0.9"),
    ("alert_rules.yml", "> 0.8", ">= 0.8"),
    ("alert_rules.yml", "max_over_time(zol_up[5m]) == 0", "max_over_time(zol_up[5m]) == 2"),
    ("alert_rules.yml", 'up{job="zolstats"} == 0', 'up{job="zolstats"} == 1'),
    ("alert_rules.yml", "absent(up{", "absent(vanished{"),
    ("alert_rules.yml", "reload_successful == 0", "reload_successful == 1"),
    ("recording_rules.yml", "without (phase)", "without (gateway)"),
    ("recording_rules.yml", "sum without", "max without"),
    ("recording_rules.yml", "/ zol_scrape_timeout_seconds", "* zol_scrape_timeout_seconds"),
    ("recording_rules.yml", "zol_scrape_failure[5m]", "zol_scrape_failure[30m]"),
    ("recording_rules.yml", "zol_up[1h]", "zol_up[1m]"),
]


class RuleTests(unittest.TestCase):
    def test_notice_every_mistake(self):
        for file, right, wrong in MISTAKES:
            with self.subTest(right=right, wrong=wrong), tempfile.TemporaryDirectory() as scratch:
                folder = shutil.copytree(EXAMPLES, pathlib.Path(scratch) / "examples")
                rules = (folder / file).read_text(encoding="utf-8")
                self.assertIn(right, rules)
                (folder / file).write_text(rules.replace(right, wrong, 1), encoding="utf-8")
                self.assertEqual(promtool("check", "rules", file, folder=folder).returncode, 0)
                self.assertNotEqual(promtool("test", "rules", "rule_tests.yml", folder=folder).returncode, 0)


GATEWAYS = {f"gw{number}.example.org:27400" for number in range(20)}


class Relabelling(unittest.TestCase):
    """Which requests Prometheus makes of a list of Gateways."""

    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = shutil.copytree(EXAMPLES, pathlib.Path(scratch.name) / "examples")
        listed = json.dumps([{"targets": sorted(GATEWAYS)}])  # which is YAML as well
        (self.folder / "gateways.yml").write_text(listed, encoding="utf-8")

    def targets(self, file):
        """Of each Gateway that is scraped: the exporter that is asked for it."""
        done = promtool("check", "service-discovery", "--timeout=1s", file, "zolstats-probe", folder=self.folder)
        labels = [target["labels"] for target in json.loads(done.stdout) if target.get("labels")]
        for target in labels:
            self.assertEqual({target["__param_target"]}, {target["instance"], target["gateway"]})
            self.assertEqual(target["__metrics_path__"], "/probe")
        return {target["gateway"]: target["__address__"] for target in labels}

    def test_asks_one_exporter_for_every_gateway(self):
        self.assertEqual(self.targets("prometheus.yml"), {gateway: "127.0.0.1:9740" for gateway in GATEWAYS})

    def test_spreads_the_gateways_over_two_exporters(self):
        targets = self.targets("prometheus_two_exporters.yml")
        self.assertEqual(targets.keys(), GATEWAYS)
        self.assertEqual(set(targets.values()), {f"exporter{number}.example.org:9740" for number in range(2)})

    def test_gives_each_shard_the_gateways_that_the_other_leaves_out(self):
        first = self.targets("prometheus_shard.yml").keys()
        shard = self.folder / "prometheus_shard.yml"
        shard.write_text(shard.read_text(encoding="utf-8").replace('regex: "0"', 'regex: "1"'), encoding="utf-8")
        self.assertTrue(first)
        self.assertEqual(self.targets(shard.name).keys(), GATEWAYS - first)
        self.assertNotEqual(first, GATEWAYS)


class Pages(unittest.TestCase):
    def test_show_the_files_as_they_are(self):
        shown = dict(re.findall(r"^```yaml (\S+)\n(.*?)^```$", PAGES, re.M | re.S))
        files = {file.name: file.read_text(encoding="utf-8") for file in EXAMPLES.glob("*.yml")}
        self.assertEqual(shown.keys(), files.keys())
        for name, text in files.items():
            with self.subTest(name):
                self.assertEqual(shown[name], text)

    def test_have_no_block_of_yaml_that_is_no_file(self):
        self.assertEqual(PAGES.count("```yaml\n"), 0)


if __name__ == "__main__":
    unittest.main()
