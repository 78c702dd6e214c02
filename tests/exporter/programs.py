"""The programs that tests of the running exporter start: Gateways, the exporter, Prometheus. Each on a port of its own.

Not a test. None of them outlives the test: the kernel ends them with the process that started them.
"""
import json
import os
import re
import signal
import socket
import subprocess
import threading
import time
import urllib.parse
import urllib.request

PATIENCE_S = 30


LISTENING = re.compile(r"[Ll]istening on\W+(?:address=)?127\.0\.0\.1:(\d+)")


class Program:
    """Runs until it is ended. Its start is over when it has told where it listens and, if need be, that it is ready."""

    def __init__(self, *command, ready=LISTENING):
        self.said = []
        self.port = None
        self._ready = threading.Event()
        self.process = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *command], text=True,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self._reader = threading.Thread(target=self._read, args=[ready], daemon=True)
        self._reader.start()
        if not self._ready.wait(PATIENCE_S) or not self.port:
            self.end()
            raise RuntimeError(f"{command[0]} does not listen: {''.join(self.said)}")

    def _read(self, ready):
        """To its end, so that it never waits for a reader."""
        for line in self.process.stdout:
            self.said.append(line)
            if told := LISTENING.search(line):
                self.port = int(told[1])
            if re.search(ready, line):
                self._ready.set()
        self._ready.set()

    def wait_for_line(self, text):
        """Until it has said a line with the text, which it does by itself."""
        deadline = time.monotonic() + PATIENCE_S
        while not any(text in line for line in self.said):
            if time.monotonic() > deadline:
                raise RuntimeError(f"never said: {text}")
            time.sleep(0.01)

    @property
    def address(self):
        return f"127.0.0.1:{self.port}"

    def end(self):
        """Asks it to end; its exit code."""
        self.process.terminate()
        try:
            code = self.process.wait(PATIENCE_S)
        except subprocess.TimeoutExpired:
            self.process.kill()
            code = self.process.wait()
        self._reader.join()
        self.process.stdout.close()
        return code


class ClosedPort:
    """Where nobody listens, and nobody else begins to meanwhile."""

    def __init__(self):
        self._holder = socket.socket()
        self._holder.bind(("127.0.0.1", 0))
        self.address = f"127.0.0.1:{self._holder.getsockname()[1]}"

    def close(self):
        self._holder.close()


class Gateway:
    """A stand-in that keeps its port when it is stopped and started again."""

    def __init__(self, *options):
        self._options = options
        self._program = None
        self.address = "127.0.0.1:0"
        self.start()

    def start(self):
        port = self.address.rpartition(":")[2]
        self._program = Program(os.environ["ZOL_GATEWAY_SIM"], "--port", port, *self._options)
        self.address = self._program.address

    def stop(self):
        return self._program.end()

    def stall(self):
        self._program.process.send_signal(signal.SIGSTOP)

    def resume(self):
        self._program.process.send_signal(signal.SIGCONT)


class Exporter(Program):
    def __init__(self, *options, descriptors=None):
        limit = ["prlimit", f"--nofile={descriptors}"] if descriptors else []
        super().__init__(*limit, os.environ["ZOLSTATS_EXPORTER"], "--listen", "127.0.0.1:0", *options)

    def get(self, path, headers=None):
        request = urllib.request.Request(f"http://{self.address}{path}", headers=headers or {})
        with urllib.request.urlopen(request, timeout=PATIENCE_S) as answer:
            return answer.read().decode()


class Prometheus(Program):
    def __init__(self, configuration, storage):
        super().__init__("prometheus", f"--config.file={configuration}", f"--storage.tsdb.path={storage}",
                         "--web.listen-address=127.0.0.1:0", ready="Server is ready")

    def query(self, expression):
        """The series that an expression selects: their labels, with their samples as pairs of time and value."""
        url = f"http://{self.address}/api/v1/query?" + urllib.parse.urlencode({"query": expression})
        with urllib.request.urlopen(url, timeout=PATIENCE_S) as answer:
            result = json.load(answer)["data"]["result"]
        return [(series["metric"], [(at, float(value)) for at, value in series.get("values", [series.get("value")])])
                for series in result]

    def wait_for(self, expression):
        """Until there is a series; its interface has nothing to wait on, so it is asked again."""
        deadline = time.monotonic() + PATIENCE_S
        while not self.query(expression):
            if time.monotonic() > deadline:
                raise RuntimeError(f"never came true: {expression}")
            time.sleep(0.2)
