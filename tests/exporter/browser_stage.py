# What tests of the pages play on: a browser without a head, and an exporter for it, which is canned or the real one.
# Not a test.
# The protocol that the statistics come by is written down in docs/protocol.md.
import contextlib
import functools
import http.server
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse

sys.path.insert(0, os.environ["TEST_TOOLS"])
from selenium import webdriver
from selenium.webdriver.chrome.service import Service

PAGE_PRINTER = os.environ["PAGE_PRINTER"]
EXPORTER = os.environ["ZOLSTATS_EXPORTER"]
SCRATCH = os.environ["SCRATCH"]
PATIENCE_S = 20


@functools.cache
def printed(*arguments):
    """The status, headers and body that the exporter gives for a page."""
    answer = subprocess.run([PAGE_PRINTER, *arguments], check=True, capture_output=True, timeout=10).stdout
    head, _, body = answer.partition(b"\n\n")
    headers = dict(line.split(": ", 1) for line in head.decode().splitlines())
    return int(headers.pop("Status")), headers, body


def escaped(text):
    """As the exporter's JSON has it: backslashes doubled, what cannot be seen as its bytes."""
    return "".join(
        "\\\\" if c == "\\" else c if c.isprintable() else "".join(f"\\x{b:02X}" for b in c.encode()) for c in text
    )


class Answering(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    exporter = None

    def handle(self):
        with contextlib.suppress(ConnectionError):  # of a page that was left meanwhile
            super().handle()

    def do_GET(self):
        if self.exporter.is_closed:
            self.close_connection = True
            return
        address = urllib.parse.urlsplit(self.path)
        arguments = urllib.parse.parse_qs(address.query)
        document = self.exporter.document(address.path)
        if document is not None:
            self.send(200, {"Content-Type": "application/json"}, json.dumps(document).encode())
        else:
            self.send(*printed(address.path, *arguments.get("target", [])))

    def send(self, status, headers, body):
        self.send_response(status)
        for name, value in {**headers, "Content-Length": str(len(body))}.items():
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


class CannedExporter:
    """Serves the built pages, and documents as a test wants them."""

    def __init__(self):
        self.gateway = "127.0.0.1:27400"
        self.asked = 0  # for statistics
        self.is_closed = False
        self._rows = []
        self._failure = None
        handler = type("Handler", (Answering,), {"exporter": self})
        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        self.url = f"http://127.0.0.1:{self._server.server_port}/"
        threading.Thread(target=self._server.serve_forever, kwargs={"poll_interval": 0.05}, daemon=True).start()

    def tell(self, rows):
        self._failure = None
        self._rows = rows

    def fail(self):
        self._failure = {"reason": "connect", "text": "the connection was refused: nothing listens there"}

    def document(self, path):
        if path == "/api/statistics":
            self.asked += 1
            return self._statistics()
        if path == "/api/gateways":
            return self._gateways()
        return None

    def _outcome(self):
        return {"gateway": self.gateway, "time": time.time(), "failure": self._failure, "rejected_groups": [],
                "protocol_version": "1.2", "took": {"open": 0, "query": 0.0025, "walk": 0.0001}}

    def _statistics(self):
        rows = [] if self._failure else [tuple(map(escaped, row)) for row in self._rows]
        return {**self._outcome(), "groups": list(dict.fromkeys(row[0] for row in rows)),
                "statistics": [dict(zip(("group", "id", "value"), row)) for row in rows if len(row) == 3]}

    def _gateways(self):
        last = {**self._outcome(), "groups": 1, "statistics": len(self._rows)}
        gateway = {"name": self.gateway, "configured": True, "state": "down" if self._failure else "up", "last": last}
        return {"version": "1.1", "time": time.time() + 1, "gateways": [gateway]}

    def close(self):
        self.is_closed = True  # for connections that are kept
        self._server.shutdown()
        self._server.server_close()


class RealExporter:
    """The program, and a Gateway whose statistics a test chooses."""

    def __init__(self):
        from odd_gateway import OddGateway

        self._make_gateway = OddGateway
        self._gateway = OddGateway([])
        self.gateway = self._gateway.name
        self._process = subprocess.Popen(
            [EXPORTER, "--listen", "127.0.0.1:0", "--gateway", self.gateway], stderr=subprocess.PIPE, text=True
        )
        self.url = f"http://{self._listens_at()}/"
        self._reading = threading.Thread(target=self._process.stderr.read, daemon=True)
        self._reading.start()

    def _listens_at(self):
        for line in self._process.stderr:
            if "listening on " in line:
                return line.partition("listening on ")[2].split()[0].removeprefix("http://").rstrip("/")
        raise AssertionError("the exporter has ended")

    def tell(self, rows):
        self._gateway.tell(rows)

    def fail(self):
        self._gateway.close()
        self._gateway = None

    def close(self):
        self._process.terminate()
        self._process.wait(timeout=PATIENCE_S)
        self._reading.join()
        self._process.stderr.close()
        if self._gateway is not None:
            self._gateway.close()


@contextlib.contextmanager
def browser(*options):
    """Chromium, which reaches nothing but this machine, and whose files are gone afterwards."""
    settings = webdriver.ChromeOptions()
    with tempfile.TemporaryDirectory(dir=SCRATCH) as folder:
        for option in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
                       "--no-first-run", "--disable-background-networking", "--disable-component-update",
                       "--disable-sync", "--host-resolver-rules=MAP * ~NOTFOUND , EXCLUDE 127.0.0.1",
                       f"--user-data-dir={folder}/profile", "--window-size=1280,900", *options):
            settings.add_argument(option)
        settings.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        service = Service("/usr/bin/chromedriver", env={**os.environ, "HOME": folder, "TMPDIR": folder})
        driver = webdriver.Chrome(service=service, options=settings)
        try:
            yield driver
        finally:
            driver.quit()


def requested(driver):
    """Every address that the page has asked for since the last call."""
    messages = (json.loads(entry["message"])["message"] for entry in driver.get_log("performance"))
    return [m["params"]["request"]["url"] for m in messages if m["method"] == "Network.requestWillBeSent"]


def until(condition, what):
    """Waits for what a page does in its own time."""
    end = time.monotonic() + PATIENCE_S
    while time.monotonic() < end:
        if condition():
            return
        time.sleep(0.02)
    raise AssertionError(f"not within {PATIENCE_S} s: {what}")
