"""What a scrape costs the exporter: time until the answer is there, and processor time of the exporter's process.

Not a test: nothing is expected. scripts/measure-exporter.sh builds what it needs and runs it.
"""
import argparse
import concurrent.futures
import gzip
import http.client
import os
import pathlib
import statistics
import tempfile
import time

import programs

OPEN_METRICS = "application/openmetrics-text; version=1.0.0"
FORMATS = {
    "text": {"Accept": "text/plain"},
    "text, gzip": {"Accept": "text/plain", "Accept-Encoding": "gzip"},
    "OpenMetrics": {"Accept": OPEN_METRICS},
    "OpenMetrics, gzip": {"Accept": OPEN_METRICS, "Accept-Encoding": "gzip"},
}
SIZES = [100, 1000, 10000]
MOST_GATEWAYS = 256
OF_EACH_GATEWAY = 1000
TICKS_PER_S = os.sysconf("SC_CLK_TCK")


class Cost:
    """Of the exporter, between two points of time."""

    def __init__(self, exporter):
        self.process = pathlib.Path("/proc") / str(exporter.process.pid)
        self.cpu_before, self.before = self.cpu_s(), time.monotonic()

    def cpu_s(self):
        fields = (self.process / "stat").read_text(encoding="ascii").rpartition(")")[2].split()
        return sum(map(int, fields[11:13])) / TICKS_PER_S

    def so_far(self):
        """Seconds on the wall and of the processor."""
        return time.monotonic() - self.before, self.cpu_s() - self.cpu_before

    def memory_mib(self):
        """The most that was resident so far."""
        status = (self.process / "status").read_text(encoding="ascii")
        return int(status.split("VmHWM:")[1].split()[0]) / 1024


def scrape(connection, path, headers):
    connection.request("GET", path, headers=headers)
    answer = connection.getresponse()
    body = answer.read()
    plain = gzip.decompress(body) if answer.getheader("Content-Encoding") == "gzip" else body
    if answer.status != 200 or b" 1\n" not in plain[plain.index(b"\nzol_up"):][:80]:
        raise RuntimeError(f"{path}: {answer.status}")
    return body


def connect(exporter):
    return http.client.HTTPConnection("127.0.0.1", exporter.port, timeout=programs.PATIENCE_S)


def measure_scrapes(times):
    """One Gateway, one who asks: scrapes one after another."""
    print("| statistics | format | answer, KiB | median, ms | 99th percentile, ms | processor, ms |\n|---|---|---|---|---|---|")
    for size in SIZES:
        gateway = programs.Gateway("--big", str(size))
        exporter = programs.Exporter("--gateway", gateway.address)
        connection = connect(exporter)
        path = f"/probe?target={gateway.address}&collect[]=BIG"
        for name, headers in FORMATS.items():
            took = []
            scrape(connection, path, headers)
            cost = Cost(exporter)
            for _ in range(times):
                before = time.monotonic()
                body = scrape(connection, path, headers)
                took.append(time.monotonic() - before)
            cpu = cost.so_far()[1] / times
            print(f"| {size} | {name} | {len(body) / 1024:.0f} | {statistics.median(took) * 1000:.2f} | "
                  f"{statistics.quantiles(took, n=100)[-1] * 1000:.2f} | {cpu * 1000:.2f} |", flush=True)
        connection.close()
        exporter.end()
        gateway.stop()


def ask_each(exporter, gateways, rounds):
    """Probes of all Gateways, by eight who ask at the same time."""
    askers = 8

    def ask(number):
        connection = connect(exporter)
        for _ in range(rounds):
            for gateway in gateways[number::askers]:
                scrape(connection, f"/probe?target={gateway.address}&collect[]=BIG", FORMATS["text, gzip"])
        connection.close()

    with concurrent.futures.ThreadPoolExecutor(askers) as pool:
        list(pool.map(ask, range(askers)))


def ask_at_once(exporter, rounds):
    """All Gateways in one answer."""
    connection = connect(exporter)
    for _ in range(rounds):
        scrape(connection, "/metrics", FORMATS["text, gzip"])
    connection.close()


def measure_process(number, rounds):
    """As many Gateways as one process takes, in both ways to ask them."""
    gateways = [programs.Gateway("--big", str(OF_EACH_GATEWAY)) for _ in range(number)]
    own = [option for gateway in gateways for option in ("--gateway", gateway.address)]
    print("| | by `/probe`, eight at a time | by `/metrics`, all at once |\n|---|---|---|")
    columns = []
    with tempfile.NamedTemporaryFile("w", suffix=".yml") as groups:
        groups.write("groups: [BIG]\n")
        groups.flush()
        for ask in [lambda exporter: ask_each(exporter, gateways, rounds), lambda exporter: ask_at_once(exporter, rounds)]:
            exporter = programs.Exporter("--config", groups.name, *own)
            cost = Cost(exporter)
            before = cost.memory_mib()
            ask(exporter)
            columns.append((*cost.so_far(), before, cost.memory_mib()))
            exporter.end()
    scrapes = rounds * number
    for name, figure in {
        "Gateways scraped a second": lambda wall, *_: f"{scrapes / wall:.0f}",
        "statistics a second": lambda wall, *_: f"{scrapes * OF_EACH_GATEWAY / wall:.0f}",
        "all Gateways once": lambda wall, *_: f"{wall / rounds:.2f} s",
        "processor time of a Gateway's scrape": lambda _, cpu, *__: f"{cpu / scrapes * 1000:.2f} ms",
        "resident memory at the start": lambda *sizes: f"{sizes[2]:.0f} MiB",
        "resident memory at most": lambda *sizes: f"{sizes[3]:.0f} MiB",
    }.items():
        print(f"| {name} | " + " | ".join(figure(*column) for column in columns) + " |")
    for gateway in gateways:
        gateway.stop()


if __name__ == "__main__":
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("--scrapes", type=int, default=300, help="of each size and format")
    options.add_argument("--gateways", type=int, default=MOST_GATEWAYS, help="of one process")
    options.add_argument("--rounds", type=int, default=10, help="of all Gateways")
    chosen = options.parse_args()
    measure_scrapes(chosen.scrapes)
    print()
    measure_process(chosen.gateways, chosen.rounds)
