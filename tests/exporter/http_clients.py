# A server for tests of HTTP, and what its clients do.
# Not a test.
# Nothing here comes from the protocol of the Gateways.
import contextlib
import http.client
import os
import pathlib
import signal
import socket
import subprocess
import time
import unittest

SERVER = os.environ["HTTP_SERVER"]
# Sanitizers need several times the time and memory, and a busy machine needs patience.
AT_ONCE_S = 10
# For an answer that has nobody to wait for; who is slow may take 30 seconds, and whoever had to wait for that would too.
SOON_S = 5


class Server:
    """http_server with limits in milliseconds, and with so many descriptors where that matters."""

    def __init__(self, connections=200, request=30000, silence=30000, web="", descriptors=None):
        limit = ["prlimit", f"--nofile={descriptors}"] if descriptors else []
        self.process = subprocess.Popen(
            [*limit, SERVER, str(connections), str(request), str(silence), str(web)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.port = int(self.read_line() or self.fail())

    def say(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def read_line(self):
        return self.process.stdout.readline().decode().rstrip("\n")

    def close(self):
        """What it has said on standard error."""
        _, error = self.process.communicate(timeout=AT_ONCE_S)
        if self.process.returncode != 0:
            raise AssertionError(f"ended with {self.process.returncode}: {error.decode()}")
        return error

    def fail(self):
        raise AssertionError(self.process.communicate()[1].decode())

    def kill(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
            self.process.communicate()

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))

    def processor_s(self):
        """What it has used so far, which does not depend on who else uses the machine."""
        fields = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def resident_kb(self):
        for line in pathlib.Path(f"/proc/{self.process.pid}/status").read_text().splitlines():
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
        raise AssertionError("no VmRSS")


class HttpTest(unittest.TestCase):
    def serve(self, *limits, **named):
        server = Server(*limits, **named)
        self.addCleanup(server.kill)
        return server

    def connect(self, server):
        connection = http.client.HTTPConnection("127.0.0.1", server.port, timeout=AT_ONCE_S)
        self.addCleanup(connection.close)
        return connection

    def ask(self, server, target, method="GET", body=None, headers={}):
        connection = self.connect(server)
        connection.request(method, target, body, headers)
        response = connection.getresponse()
        content = response.read()
        connection.close()
        return response, content

    def raw(self, server, data=b""):
        connection = socket.create_connection(("127.0.0.1", server.port), timeout=AT_ONCE_S)
        self.addCleanup(connection.close)
        connection.sendall(data)
        return connection

    def until_end(self, connection):
        data = b""
        try:
            while piece := connection.recv(65536):
                data += piece
        except ConnectionResetError:
            pass
        return data

    def status_of(self, server, data):
        """Of the answer to these bytes, of which not all need be taken; None where the connection ends without one."""
        connection = self.raw(server)
        with contextlib.suppress(ConnectionError):
            connection.sendall(data)
        answer = self.until_end(connection)
        return int(answer.split()[1]) if answer else None

    def wait_for_descriptors(self, server, number, limit_s=AT_ONCE_S):
        """Until it has no more than so many: it closes a connection when it gets round to it."""
        start = time.monotonic()
        while server.descriptors() > number:
            self.assertLess(time.monotonic() - start, limit_s)
            time.sleep(0.01)

    def drip(self, connection, pause=0.05):
        """Sends a byte now and then, for as long as anybody takes them; how many seconds that was."""
        start = time.monotonic()
        connection.settimeout(pause)
        try:
            while time.monotonic() - start < AT_ONCE_S:
                connection.send(b"x")
                try:
                    if not connection.recv(65536):
                        break
                except TimeoutError:
                    pass
        except OSError:
            pass
        return time.monotonic() - start
