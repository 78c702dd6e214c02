"""The exporter as its users see it: what each path answers, whom it asks, and what it does when it is told otherwise.

Not a test of the formats (metrics_test.py), of HTTP (http_test.py) or of a running Prometheus (prometheus_test.py).
"""
import concurrent.futures
import http.client
import json
import os
import pathlib
import re
import signal
import socket
import socketserver
import subprocess
import threading
import time
import unittest
import urllib.parse

from programs import ClosedPort, Exporter, Gateway

SCRATCH = pathlib.Path(os.environ["SCRATCH"])
PROGRAM = os.environ["ZOLSTATS_EXPORTER"]


class Answer:
    def __init__(self, response):
        self.status = response.status
        self.headers = response.headers
        self.text = response.read().decode()

    def value(self, series):
        """Of a sample, by its name and labels as they stand in the text."""
        [value] = re.findall(rf"^{re.escape(series)} (\S+)$", self.text, re.MULTILINE)
        return float(value)


def ask(exporter, path, method="GET", **headers):
    connection = http.client.HTTPConnection("127.0.0.1", exporter.port, timeout=30)
    try:
        connection.request(method, path, headers={name.replace("_", "-"): text for name, text in headers.items()})
        return Answer(connection.getresponse())
    finally:
        connection.close()


def probe(exporter, target, more="", **headers):
    return ask(exporter, f"/probe?target={urllib.parse.quote(target)}{more}", **headers)


class Silence:
    """Accepts connections, and never says a word."""

    def __init__(self):
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.socket.settimeout(30)
        self.address = f"127.0.0.1:{self.socket.getsockname()[1]}"

    def end(self):
        self.socket.close()


class Stranger(socketserver.ThreadingTCPServer):
    """Speaks another protocol: whatever comes in is a bad request."""

    class Handler(socketserver.BaseRequestHandler):
        def handle(self):
            self.request.recv(1)
            self.request.sendall(b"HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\n\r\n")

    def __init__(self):
        super().__init__(("127.0.0.1", 0), self.Handler)
        self.address = f"127.0.0.1:{self.server_address[1]}"
        threading.Thread(target=self.serve_forever, daemon=True).start()


class ExporterTest(unittest.TestCase):
    def start(self, *options):
        exporter = Exporter(*options)
        self.addCleanup(exporter.end)
        return exporter

    def gateway(self, *options):
        gateway = Gateway(*options)
        self.addCleanup(gateway.stop)
        return gateway

    def silence(self):
        silence = Silence()
        self.addCleanup(silence.end)
        return silence


# ---- /metrics


class Metrics(ExporterTest):
    def test_tell_of_all_gateways_and_of_the_exporter_itself(self):
        one, other = self.gateway(), self.gateway("--big", "3")
        told = ask(self.start("--gateway", one.address, "--gateway", other.address), "/metrics")
        self.assertEqual(told.status, 200)
        for gateway in one, other:
            self.assertEqual(told.value(f'zol_up{{gateway="{gateway.address}"}}'), 1)
        self.assertEqual(told.value(f'zol_stat{{gateway="{other.address}",group="BIG",id="BIG_2"}}'), 2)
        self.assertGreater(told.value("process_open_fds"), 3)
        self.assertEqual(told.value("zolstats_exporter_gateways"), 2)

    def test_of_a_gateway_that_hangs_cost_only_its_own_series(self):
        good, hanging = self.gateway(), self.silence()
        exporter = self.start("--gateway", good.address, "--gateway", hanging.address, "--timeout-offset", "2")
        start = time.monotonic()
        told = ask(exporter, "/metrics", X_Prometheus_Scrape_Timeout_Seconds="4")
        self.assertLess(time.monotonic() - start, 4)
        self.assertEqual(told.value(f'zol_up{{gateway="{good.address}"}}'), 1)
        self.assertEqual(told.value(f'zol_up{{gateway="{hanging.address}"}}'), 0)
        self.assertEqual(told.value(f'zol_scrape_failure{{gateway="{hanging.address}",reason="timeout"}}'), 1)
        self.assertEqual(told.value(f'zol_scrape_timeout_seconds{{gateway="{good.address}"}}'), 2)

    def test_of_a_gateway_that_goes_and_comes_back_are_in_the_log_once_each(self):
        gateway = self.gateway()
        exporter = self.start("--gateway", gateway.address)
        up = f'zol_up{{gateway="{gateway.address}"}}'
        ask(exporter, "/metrics")
        gateway.stop()
        for _ in range(3):
            self.assertEqual(ask(exporter, "/metrics").value(up), 0)
        gateway.start()
        while ask(exporter, "/metrics").value(up) == 0:
            time.sleep(0.1)
        exporter.wait_for_line(f"{gateway.address} is back")
        told = [line for line in exporter.said if gateway.address in line]
        self.assertEqual(len(told), 2)
        self.assertIn(f"{gateway.address} is down: connect: ", told[0])

    def test_come_in_the_format_that_is_asked_for(self):
        exporter = self.start()
        self.assertEqual(ask(exporter, "/metrics").headers["Content-Type"], "text/plain; version=0.0.4; charset=utf-8")
        told = ask(exporter, "/metrics", Accept="application/openmetrics-text;version=1.0.0,text/plain;q=0.5")
        self.assertEqual(told.headers["Content-Type"], "application/openmetrics-text; version=1.0.0; charset=utf-8")
        self.assertTrue(told.text.endswith("# EOF\n"))


# ---- /probe


class Probe(ExporterTest):
    def test_asks_only_whom_the_owner_allows(self):
        gateway, other = self.gateway(), self.gateway()
        exporter = self.start("--allow-target", gateway.address)
        self.assertEqual(probe(exporter, gateway.address).value("zol_up"), 1)
        refused = probe(exporter, other.address)
        self.assertEqual(refused.status, 403)
        self.assertIn("--allow-target", refused.text)

    def test_of_nobody_is_allowed_at_first(self):
        self.assertEqual(probe(self.start(), self.gateway().address).status, 403)

    def test_asks_for_the_groups_that_are_named(self):
        gateway = self.gateway("--big", "2")
        exporter = self.start("--gateway", gateway.address)
        told = probe(exporter, gateway.address, "&collect[]=BIG&collect[]=NO_SUCH_GROUP")
        self.assertEqual(set(re.findall(r'^zol_stat\{group="(\w+)"', told.text, re.MULTILINE)), {"BIG"})
        self.assertEqual(told.value("zol_up"), 1)
        self.assertEqual(told.value('zol_scrape_failure{reason="rejected"}'), 1)

    def test_names_a_hundred_groups_at_most(self):
        gateway = self.gateway()
        exporter = self.start("--gateway", gateway.address)
        names = "".join(f"&collect[]=G{i}" for i in range(100))
        self.assertEqual(probe(exporter, gateway.address, names).status, 200)
        self.assertEqual(probe(exporter, gateway.address, names + "&collect[]=G100").status, 400)

    def test_refuses_what_is_no_target(self):
        exporter = self.start("--allow-target", "**:*")
        for target in ["", "gw1:port", "gw1:0", "[::1", "gw1\n:1", "gw 1", "gw1/../x", "gw1\0:27400", "<b>:1"]:
            with self.subTest(target):
                self.assertEqual(probe(exporter, target).status, 400)
        self.assertEqual(ask(exporter, "/probe").status, 400)

    def test_of_what_is_no_gateway_says_so(self):
        with Stranger() as stranger:
            told = probe(self.start("--allow-target", "**:*"), stranger.address)
            stranger.shutdown()
        self.assertEqual(told.value("zol_up"), 0)
        self.assertEqual(told.value('zol_scrape_failure{reason="not_a_gateway"}'), 1)

    def test_of_a_gateway_that_is_down_is_up0_or_503_as_the_owner_wants(self):
        down = ClosedPort()
        self.addCleanup(down.close)
        self.assertEqual(probe(self.start("--allow-target", "**:*"), down.address).value("zol_up"), 0)
        refused = probe(self.start("--allow-target", "**:*", "--on-failure", "503"), down.address)
        self.assertEqual(refused.status, 503)
        self.assertNotIn("zol_up", refused.text)

    def test_ends_in_time_without_a_header_too(self):
        exporter = self.start("--allow-target", "**:*", "--timeout", "0.3")
        start = time.monotonic()
        told = probe(exporter, self.silence().address)
        self.assertLess(time.monotonic() - start, 2)
        self.assertEqual(told.value("zol_scrape_timeout_seconds"), 0.3)

    def test_shows_the_trace_of_one_scrape_without_what_authorises(self):
        gateway = self.gateway("--big", "1")
        told = probe(self.start("--gateway", gateway.address), gateway.address, "&collect[]=BIG&debug=1")
        self.assertEqual(told.status, 200)
        self.assertIn("getStatsByStatGroupId", told.text)
        self.assertIn("1 statistics of 1 groups", told.text)
        self.assertIn("(what stood here belongs to the authorisation)", told.text)

    def test_with_a_trace_of_a_gateway_that_hangs_ends_as_well(self):
        exporter = self.start("--allow-target", "**:*")
        told = probe(exporter, self.silence().address, "&debug=1", X_Prometheus_Scrape_Timeout_Seconds="1")
        self.assertIn("0 statistics", told.text)

    def test_under_way_is_not_waited_for_at_the_end(self):
        exporter, silence = self.start("--allow-target", "**:*"), self.silence()
        with concurrent.futures.ThreadPoolExecutor() as threads:
            waiting = threads.submit(probe, exporter, silence.address, X_Prometheus_Scrape_Timeout_Seconds="3600")
            connection, _ = silence.socket.accept()
            start = time.monotonic()
            self.assertEqual(exporter.end(), 0)
            self.assertLess(time.monotonic() - start, 5)
            self.assertEqual(waiting.result().value("zol_up"), 0)
            connection.close()

    def test_beyond_what_may_be_in_flight_is_refused_at_once(self):
        exporter, silence = self.start("--allow-target", "**:*", "--max-requests", "1", "--timeout", "5"), self.silence()
        with concurrent.futures.ThreadPoolExecutor() as threads:
            first = threads.submit(probe, exporter, silence.address)
            connection, _ = silence.socket.accept()
            refused = ask(exporter, "/metrics")
            self.assertEqual((refused.status, refused.headers["Retry-After"]), (503, "1"))
            self.assertEqual(ask(exporter, "/-/healthy").status, 200)
            self.assertFalse(first.done())
            connection.close()
        self.assertEqual(ask(exporter, "/metrics").value("zolstats_exporter_requests_refused_total"), 1)


# ---- Configuration


class Reload(ExporterTest):
    def setUp(self):
        self.file = SCRATCH / f"{self.id()}.yml"
        self.one, self.other = self.gateway(), self.gateway()
        self.write(f"gateways: ['{self.one.address}']\n")
        self.exporter = self.start("--config", str(self.file))

    def write(self, text):
        self.file.write_text(text)

    def gateways(self):
        return set(re.findall(r'^zol_up\{gateway="(.*)"\}', ask(self.exporter, "/metrics").text, re.MULTILINE))

    def test_takes_the_new_configuration(self):
        self.write(f"gateways: ['{self.other.address}']\n")
        self.assertEqual(ask(self.exporter, "/-/reload", "POST").status, 200)
        self.assertEqual(self.gateways(), {self.other.address})

    def test_keeps_the_old_one_where_the_new_one_has_a_mistake(self):
        self.write(f"gateways: ['{self.other.address}']\ngatways: []\n")
        answer = ask(self.exporter, "/-/reload", "POST")
        self.assertEqual(answer.status, 500)
        self.assertIn(f"{self.file}:2: ", answer.text)
        self.assertEqual(self.gateways(), {self.one.address})
        told = ask(self.exporter, "/metrics")
        self.assertEqual(told.value("zolstats_exporter_config_last_reload_successful"), 0)

    def test_comes_by_a_signal_too(self):
        self.write(f"gateways: ['{self.other.address}']\n")
        self.exporter.process.send_signal(signal.SIGHUP)
        self.exporter.wait_for_line("reloaded")
        self.assertEqual(self.gateways(), {self.other.address})

    def test_tells_what_it_cannot_change(self):
        self.assertEqual(ask(self.exporter, "/-/reload", "POST").text.strip(), "reloaded")
        self.write(f"gateways: ['{self.other.address}']\nidle: 7\nmax_requests: 9\n")
        told = "reloaded, but for what takes a restart to change: idle, max_requests"
        for _ in range(2):
            self.assertEqual(ask(self.exporter, "/-/reload", "POST").text.strip(), told)
        self.exporter.process.send_signal(signal.SIGHUP)
        self.exporter.wait_for_line(told)
        self.assertEqual(self.gateways(), {self.other.address})

    def test_is_not_done_by_looking(self):
        answer = ask(self.exporter, "/-/reload")
        self.assertEqual((answer.status, answer.headers["Allow"]), (405, "POST"))

    def test_disturbs_nobody_who_is_being_served(self):
        stop = threading.Event()

        def reloads():
            while not stop.is_set():
                ask(self.exporter, "/-/reload", "POST")

        with concurrent.futures.ThreadPoolExecutor() as threads:
            reloading = threads.submit(reloads)
            for _ in range(50):
                self.assertEqual(self.gateways(), {self.one.address})
            stop.set()
            reloading.result()


class CommandLine(unittest.TestCase):
    def run_program(self, *arguments):
        return subprocess.run([PROGRAM, *arguments], text=True, capture_output=True, timeout=60)

    def test_check_tells_whether_a_configuration_is_good(self):
        file = SCRATCH / "checked.yml"
        file.write_text("gateways: [gw1]\n")
        self.assertEqual(self.run_program("--config", file, "--check-config").returncode, 0)
        file.write_text("gateways: [gw1]\ntimeout: never\n")
        done = self.run_program("--config", file, "--check-config")
        self.assertEqual(done.returncode, 2)
        self.assertIn(f"{file}:2: ", done.stderr)

    def test_more_than_256_gateways_are_refused_with_a_word(self):
        done = self.run_program("--check-config", *(f"--gateway=gw{i}" for i in range(257)))
        self.assertEqual(done.returncode, 2)
        self.assertIn("256", done.stderr)

    def test_a_port_that_is_taken_is_told(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            done = self.run_program("--listen", f"127.0.0.1:{taken.getsockname()[1]}")
        self.assertEqual(done.returncode, 1)
        self.assertIn("in use", done.stderr)

    def test_wrong_words_are_wrong_usage(self):
        for words in ["--gatway", "gw1"], ["gw1"], ["--timeout", "-1"], ["--listen", "nowhere:port"]:
            with self.subTest(words):
                self.assertEqual(self.run_program(*words).returncode, 2)

    def test_a_missing_value_is_wrong_usage_of_any_option(self):
        options = set(re.findall(r"--[a-z-]+(?= [A-Z:]+)", self.run_program("--help").stdout))
        self.assertGreaterEqual(options, {"--config", "--gateway", "--mapping", "--web-config", "--timeout"})
        for option in options:
            with self.subTest(option):
                done = self.run_program("--check-config", option, "")
                self.assertEqual(done.returncode, 2)
                self.assertIn(f"{option}: the value is missing", done.stderr)
                self.assertEqual(self.run_program(f"{option}=", "--check-config").returncode, 2)

    def test_it_ends_in_order_when_it_is_asked_to(self):
        exporter = Exporter()
        self.assertEqual(exporter.end(), 0)


# ---- Pages


class Pages(ExporterTest):
    def test_find_the_statistics_as_json_with_exact_values(self):
        gateway = self.gateway("--big", "1")
        exporter = self.start("--gateway", gateway.address)
        told = json.loads(ask(exporter, f"/api/statistics?target={gateway.address}&collect[]=BIG").text)
        self.assertEqual(told["statistics"], [{"group": "BIG", "id": "BIG_1", "value": "1"}])
        self.assertIsNone(told["failure"])

    def test_tell_mistakes_to_programs_as_json(self):
        answer = ask(self.start(), "/api/statistics?target=gw1")
        self.assertEqual(answer.status, 403)
        self.assertIn("--allow-target", json.loads(answer.text)["error"])

    def test_are_there_and_nothing_else_is(self):
        gateway = self.gateway()
        exporter = self.start("--gateway", gateway.address)
        self.assertIn(gateway.address, ask(exporter, "/").text)
        self.assertEqual(ask(exporter, f"/live?target={gateway.address}").status, 200)
        self.assertEqual(ask(exporter, "/-/ready").status, 200)
        for path in "/pages/", "/pages/../metrics", "/etc/passwd", "/METRICS", "//metrics":
            self.assertEqual(ask(exporter, path).status, 404, path)


if __name__ == "__main__":
    unittest.main(verbosity=2)
