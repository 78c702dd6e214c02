"""The exporter and its descriptors, where some that it needs are missing.

Not a test of what it answers (service_test.py).
"""
import contextlib
import os
import pathlib
import socket
import subprocess
import time
import unittest

from programs import PATIENCE_S, Exporter, Gateway

PROGRAM = os.environ["ZOLSTATS_EXPORTER"]


def descriptors(process):
    """What they lead to, by their numbers, without those that it closes meanwhile."""
    found = {}
    for entry in pathlib.Path(f"/proc/{process.pid}/fd").iterdir():
        with contextlib.suppress(FileNotFoundError):
            found[int(entry.name)] = os.readlink(entry)
    return found


def listens(process):
    """Found among the sockets of the machine, for a program that cannot tell."""
    sockets = [line.split() for line in pathlib.Path("/proc/net/tcp").read_text().splitlines()[1:]]
    listening = {f"socket:[{fields[9]}]" for fields in sockets if fields[3] == "0A"}
    return not listening.isdisjoint(descriptors(process).values())


class StandardStreams(unittest.TestCase):
    def start(self):
        process = subprocess.Popen(["sh", "-c", 'exec setpriv --pdeathsig KILL "$0" --listen 127.0.0.1:0 <&- >&- 2>&-',
                                    PROGRAM])
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def wait_until_it_listens(self, process):
        """It cannot tell anybody, and so it is asked again."""
        deadline = time.monotonic() + PATIENCE_S
        while not listens(process):
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)

    def test_that_are_closed_lead_nowhere_rather_than_to_a_client(self):
        process = self.start()
        self.wait_until_it_listens(process)
        found = descriptors(process)
        self.assertEqual([found.get(descriptor) for descriptor in range(3)], ["/dev/null"] * 3)


class Few(unittest.TestCase):
    """Of 64 descriptors, probes of hosts that never say a word would take as many as they get."""

    def silence(self):
        listening = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(listening.close)
        return f"127.0.0.1:{listening.getsockname()[1]}"

    def begin_probe(self, exporter, timeout_s):
        connection = socket.create_connection(("127.0.0.1", exporter.port))
        self.addCleanup(connection.close)
        connection.sendall(f"GET /probe?target={self.silence()} HTTP/1.0\r\n"
                           f"X-Prometheus-Scrape-Timeout-Seconds: {timeout_s}\r\n\r\n".encode())

    def test_are_left_for_the_gateways_of_the_owner(self):
        gateway = Gateway()
        self.addCleanup(gateway.stop)
        exporter = Exporter("--gateway", gateway.address, "--allow-target", "127.0.0.1:*", descriptors=64)
        self.addCleanup(exporter.end)
        for _ in range(70):
            self.begin_probe(exporter, timeout_s=3)
        self.assertIn(f'zol_up{{gateway="{gateway.address}"}} 1\n', exporter.get("/metrics"))


if __name__ == "__main__":
    unittest.main()
