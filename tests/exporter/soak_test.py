"""Ten thousand scrapes of one exporter over connections that are kept: its memory and its descriptors stay as they are.

Not a measurement of speed: see scripts/measure-exporter.sh.
"""
import http.client
import os
import pathlib
import threading
import unittest

import programs

CLIENTS = 4
FIRST, ALL = 1000, 10000
KIB_OF_GROWTH = 2048


class Client(threading.Thread):
    """Asks for all of some paths in turn, over one connection; notes each answer that is not as expected."""

    def __init__(self, exporter, expected, scrapes):
        super().__init__(daemon=True)
        self.connection = http.client.HTTPConnection("127.0.0.1", exporter.port, timeout=programs.PATIENCE_S)
        self.expected = expected
        self.scrapes = scrapes
        self.wrong = []

    def run(self):
        paths = list(self.expected)
        for number in range(self.scrapes):
            path = paths[number % len(paths)]
            try:
                self.connection.request("GET", path)
                answer = self.connection.getresponse()
                body = answer.read().decode()
            except OSError as failure:
                self.wrong.append((path, failure))
                return
            if answer.status != 200 or self.expected[path] not in body:
                self.wrong.append((path, answer.status, body[:500]))


class Soak(unittest.TestCase):
    def setUp(self):
        self.gateway = programs.Gateway()
        self.addCleanup(self.gateway.stop)
        nobody = programs.ClosedPort()
        self.addCleanup(nobody.close)
        self.exporter = programs.Exporter("--gateway", self.gateway.address, "--allow-target", "127.0.0.1:*")
        self.addCleanup(self.exporter.end)
        self.expected = {
            "/metrics": f'zol_up{{gateway="{self.gateway.address}"}} 1\n',
            f"/probe?target={self.gateway.address}&collect[]=CPU": "zol_up 1\n",
            f"/probe?target={nobody.address}": "zol_up 0\n",
        }

    def scrape(self, times):
        clients = [Client(self.exporter, self.expected, times // CLIENTS) for _ in range(CLIENTS)]
        for client in clients:
            client.start()
        for client in clients:
            client.join()
        self.assertEqual([wrong for client in clients for wrong in client.wrong][:3], [])
        # Kept until the size is taken, so that it is taken of the same state each time.
        size = self.size()
        for client in clients:
            client.connection.close()
        return size

    def size(self):
        """KiB of resident memory, and number of descriptors."""
        process = pathlib.Path("/proc") / str(self.exporter.process.pid)
        status = dict(line.split(":", 1) for line in (process / "status").read_text(encoding="ascii").splitlines())
        return int(status["VmRSS"].split()[0]), len(os.listdir(process / "fd"))

    def test_neither_memory_nor_descriptors_grow(self):
        memory_first, descriptors_first = self.scrape(FIRST)
        memory, descriptors = self.scrape(ALL - FIRST)
        print(f"after {FIRST}: {memory_first} KiB, {descriptors_first} descriptors; after {ALL}: {memory} KiB, {descriptors}")
        self.assertLess(memory, memory_first + KIB_OF_GROWTH)
        self.assertLessEqual(descriptors, descriptors_first)


if __name__ == "__main__":
    unittest.main()
