"""A minute of Prometheus, the exporter and three Gateways, of which one is stopped and started, and one hangs for a while.

Prometheus runs with the example configuration and rules, only quicker. What it has recorded is held against what was done.
"""
import dataclasses
import os
import pathlib
import re
import shutil
import tempfile
import time
import unittest

import programs

EXAMPLES = pathlib.Path(os.environ["ZOLSTATS_SOURCE"]) / "tools/zolstats-exporter/examples"
RULES = ["recording_rules.yml", "alert_rules.yml"]
JOBS = ["zolstats", "zolstats-probe"]

SCRAPE_S = 1
TOLERANCE_S = 2 * SCRAPE_S
# After so long an outage the exporter tries again each 8 seconds at the latest: it has paused 0.5, 1, 2 and 4 before.
PAUSE_S = 8
PENDING_S = 3
END_S = 62


@dataclasses.dataclass(frozen=True)
class Outage:
    """In seconds from the start of the timeline."""
    begin: float
    end: float
    reason: str

    def certainly_has(self, at):
        """A scrape of that time lies in it from its start to its end."""
        return self.begin + TOLERANCE_S <= at <= self.end - SCRAPE_S

    def may_have(self, at):
        return self.begin - SCRAPE_S <= at <= self.end + PAUSE_S + TOLERANCE_S


NO_OUTAGE = Outage(float("inf"), float("-inf"), "")
OUTAGES = {
    "untouched": NO_OUTAGE,
    "restarted": Outage(5, 17, "connect"),
    "stalled": Outage(30, 42, "timeout"),
}
# When, which Gateway, and what is done to it.
DEEDS = [
    (OUTAGES["restarted"].begin, "restarted", programs.Gateway.stop),
    (OUTAGES["restarted"].end, "restarted", programs.Gateway.start),
    (OUTAGES["stalled"].begin, "stalled", programs.Gateway.stall),
    (OUTAGES["stalled"].end, "stalled", programs.Gateway.resume),
]


def quicker(text):
    """A configuration with its times in the measure of this test."""
    for slow, quick in {"interval: 15s": f"interval: {SCRAPE_S}s\n  evaluation_interval: {SCRAPE_S}s",
                        "timeout: 10s": f"timeout: {SCRAPE_S}s", "for: 2m": f"for: {PENDING_S}s"}.items():
        text = text.replace(slow, quick)
    return text


def write_configuration(folder, exporter, gateways):
    for name in ["prometheus.yml", *RULES]:
        text = (EXAMPLES / name).read_text(encoding="utf-8").replace("127.0.0.1:9740", exporter.address)
        (folder / name).write_text(quicker(text), encoding="utf-8")
    targets = ", ".join(f'"{gateway.address}"' for gateway in gateways)
    (folder / "gateways.yml").write_text(f"- targets: [{targets}]\n", encoding="utf-8")
    return folder / "prometheus.yml"


def carry_out(deeds, gateways, end):
    started = time.time()
    for at, name, deed in [*deeds, (end, None, None)]:
        time.sleep(max(0, started + at - time.time()))
        if deed:
            deed(gateways[name])
    return started


class Prometheus(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(dir=os.environ["SCRATCH"]))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.gateways = {name: programs.Gateway() for name in OUTAGES}
        for gateway in cls.gateways.values():
            cls.addClassCleanup(gateway.stop)
        own = [option for gateway in cls.gateways.values() for option in ("--gateway", gateway.address)]
        cls.exporter = programs.Exporter(*own)
        cls.addClassCleanup(cls.exporter.end)
        configuration = write_configuration(cls.folder, cls.exporter, cls.gateways.values())
        cls.prometheus = programs.Prometheus(configuration, cls.folder / "storage")
        cls.addClassCleanup(cls.prometheus.end)
        cls.prometheus.wait_for(f"count(zol_up == 1) == {len(JOBS) * len(OUTAGES)}")
        cls.started = carry_out(DEEDS, cls.gateways, END_S)

    def samples(self, selector):
        """Each series of the timeline, its times counted from the start."""
        series = [(labels, [(at - self.started, value) for at, value in samples if at >= self.started])
                  for labels, samples in self.prometheus.query(f"{selector}[{END_S + 10}s]")]
        return [(labels, samples) for labels, samples in series if samples]

    def name_of(self, labels):
        return next(name for name, gateway in self.gateways.items() if gateway.address == labels["gateway"])

    def of_gateways(self, selector):
        """Name of the Gateway, job, other labels, samples."""
        series = [(self.name_of(labels), labels["job"], labels, samples) for labels, samples in self.samples(selector)]
        self.assertEqual({(name, job) for name, job, _, _ in series}, {(name, job) for name in OUTAGES for job in JOBS})
        return series

    def test_each_gateway_is_scraped_each_second_in_both_ways(self):
        for name, job, _, samples in self.of_gateways("zol_up"):
            with self.subTest(gateway=name, job=job):
                times = [at for at, _ in samples]
                self.assertLess(max(after - before for before, after in zip(times, times[1:])), TOLERANCE_S)
                self.assertLess(times[0], TOLERANCE_S)
                self.assertGreater(times[-1], END_S - TOLERANCE_S)

    def test_zol_up_is_0_for_the_gateway_that_is_down_while_it_is_down(self):
        for name, job, _, samples in self.of_gateways("zol_up"):
            for at, value in samples:
                with self.subTest(gateway=name, job=job, at=at):
                    if OUTAGES[name].certainly_has(at):
                        self.assertEqual(value, 0)
                    elif not OUTAGES[name].may_have(at):
                        self.assertEqual(value, 1)

    def test_statistics_have_a_gap_where_their_gateway_is_down_and_nowhere_else(self):
        for name, job, _, samples in self.of_gateways('zol_stat{group="CPU",id="CPU_COUNT"}'):
            with self.subTest(gateway=name, job=job):
                self.assertFalse([at for at, _ in samples if OUTAGES[name].certainly_has(at)])
                times = [0, *(at for at, _ in samples), END_S]
                gaps = [(before, after) for before, after in zip(times, times[1:]) if after - before > TOLERANCE_S]
                for before, after in gaps:
                    self.assertTrue(OUTAGES[name].may_have(before + SCRAPE_S), before)
                    self.assertTrue(OUTAGES[name].may_have(after - SCRAPE_S), after)
                self.assertEqual(len(gaps), OUTAGES[name] != NO_OUTAGE)

    def test_the_reason_series_tell_why(self):
        told = {(name, job): set() for name in OUTAGES for job in JOBS}
        for name, job, labels, samples in self.of_gateways("zol_scrape_failure"):
            for at, value in samples:
                if value and not (OUTAGES[name].may_have(at) and not OUTAGES[name].certainly_has(at)):
                    told[name, job].add(labels["reason"])
        for (name, job), reasons in told.items():
            with self.subTest(gateway=name, job=job):
                self.assertEqual(reasons, {OUTAGES[name].reason} - {""})

    def test_the_exporter_itself_is_up_throughout(self):
        series = self.samples("up")
        self.assertEqual(len(series), 1 + len(OUTAGES))
        for labels, samples in series:
            with self.subTest(labels):
                self.assertEqual({value for _, value in samples}, {1})

    def test_no_scrape_takes_as_long_as_it_may(self):
        for labels, samples in self.samples("scrape_duration_seconds"):
            with self.subTest(labels):
                self.assertLess(max(value for _, value in samples), SCRAPE_S)

    def test_a_gateway_that_is_down_alerts_pending_then_firing_and_is_resolved(self):
        states = {(name, job): [] for name in OUTAGES for job in JOBS}
        for labels, samples in self.samples('ALERTS{alertname="ZolGatewayDown"}'):
            states[self.name_of(labels), labels["job"]] += [(at, labels["alertstate"]) for at, _ in samples]
        for (name, job), told in states.items():
            outage = OUTAGES[name]
            with self.subTest(gateway=name, job=job):
                if outage == NO_OUTAGE:
                    self.assertEqual(told, [])
                    continue
                told.sort()
                firing = [at for at, state in told if state == "firing"]
                self.assertEqual([state for _, state in told], ["pending"] * (len(told) - len(firing)) + ["firing"] * len(firing))
                self.assertAlmostEqual(told[0][0], outage.begin, delta=TOLERANCE_S + SCRAPE_S)
                self.assertAlmostEqual(firing[0], told[0][0] + PENDING_S, delta=TOLERANCE_S)
                self.assertGreaterEqual(firing[-1], outage.end - SCRAPE_S)
                self.assertLess(firing[-1], outage.end + PAUSE_S + TOLERANCE_S + SCRAPE_S)

    def test_the_exporter_gives_no_cause_for_an_alert(self):
        self.assertEqual(self.samples('ALERTS{alertname!="ZolGatewayDown",alertstate="firing"}'), [])

    def test_the_metrics_that_the_rules_read_are_there(self):
        rules = "".join((EXAMPLES / name).read_text(encoding="utf-8") for name in RULES)
        names = set(re.findall(r"\bzol(?:stats)?_\w+", rules))
        self.assertIn("zol_up", names)
        for name in names:
            with self.subTest(name):
                self.assertTrue(self.prometheus.query(name))


class End(unittest.TestCase):
    def test_leaves_nothing_behind_whatever_is_under_way(self):
        gateway, hanging = programs.Gateway(), programs.Gateway()
        exporter = programs.Exporter("--gateway", gateway.address, "--gateway", hanging.address)
        exporter.get("/metrics")
        hanging.stall()
        self.assertIn("zol_up", exporter.get("/metrics", {"X-Prometheus-Scrape-Timeout-Seconds": "1"}))
        self.assertEqual(exporter.end(), 0)
        hanging.resume()
        self.assertEqual([gateway.stop(), hanging.stop()], [0, 0])
        children = pathlib.Path(f"/proc/self/task/{os.getpid()}/children").read_text(encoding="ascii").split()
        self.assertEqual(children, [])


if __name__ == "__main__":
    unittest.main()
