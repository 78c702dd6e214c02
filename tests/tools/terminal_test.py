"""What zolstat shows on a terminal, and nowhere else; and how it goes through the addresses of a name.

Run with the tool, the stand-in Gateway and the resolver of "two.test" as the only arguments.
"""
import contextlib
import os
import pty
import re
import select
import socket
import subprocess
import sys
import termios
import time
import unittest

TWO_ADDRESSES = sys.argv.pop()
SIM = sys.argv.pop()
ZOLSTAT = sys.argv.pop()

DEADLINE_S = 40
WIPE = "\r\x1b[K"


@contextlib.contextmanager
def running_gateway(*options, port="0"):
    with subprocess.Popen([SIM, "--port", port, *options], stdout=subprocess.PIPE, text=True) as daemon:
        try:
            yield daemon.stdout.readline().strip().rpartition(":")[2]
        finally:
            daemon.terminate()


@contextlib.contextmanager
def port_that_accepts_nothing():
    """Its queue is full: a further connect is never answered."""
    with contextlib.ExitStack() as sockets:
        listener = sockets.enter_context(socket.socket())
        listener.bind(("127.0.0.1", 0))
        listener.listen(0)
        writable = True
        while writable:
            waiting = sockets.enter_context(socket.socket())
            waiting.setblocking(False)
            waiting.connect_ex(listener.getsockname())
            writable = select.select([], [waiting], [], 0.1)[1]
        yield str(listener.getsockname()[1])


def environment(**variables):
    kept = {name: value for name, value in os.environ.items() if name != "NO_COLOR"}
    return {**kept, "TERM": "xterm", **variables}


def run(*arguments, **variables):
    return subprocess.run([ZOLSTAT, *arguments], capture_output=True, text=True, timeout=DEADLINE_S,
                          env=environment(**variables))


def run_on_terminal(*arguments, columns=80, **variables):
    """The exit code, and all that came to the terminal that both outputs are."""
    main, terminal = pty.openpty()
    termios.tcsetwinsize(terminal, (24, columns))
    with subprocess.Popen([ZOLSTAT, *arguments], stdin=terminal, stdout=terminal, stderr=terminal,
                          env=environment(**variables)) as tool:
        os.close(terminal)
        shown = b""
        with contextlib.suppress(OSError):  # that is how a terminal ends
            while part := os.read(main, 65536):
                shown += part
        os.close(main)
        return tool.wait(DEADLINE_S), shown.decode().replace("\r\n", "\n")


class Patience(unittest.TestCase):
    # A busy machine may leave out a second or be late with it.
    def check_counted(self, shown, port):
        line = re.escape(f"{WIPE}zolstat: connecting to 127.0.0.1:{port} ... ")
        seconds = [int(second) for second in re.findall(rf"{line}(\d+) s", shown)]
        self.assertTrue(seconds, shown)
        self.assertEqual(seconds, sorted(set(seconds)))
        self.assertGreaterEqual(seconds[0], 1)
        return seconds

    def test_a_connection_that_is_long_in_coming_is_told_on_a_terminal_second_by_second(self):
        with port_that_accepts_nothing() as port:
            code, shown = run_on_terminal("groups", "--port", port, "--timeout", "5")
        self.assertEqual(code, 3)
        self.assertGreater(len(self.check_counted(shown, port)), 1)
        self.assertRegex(shown, rf"s{re.escape(WIPE)}(?:{re.escape(WIPE)})*zolstat: 127.0.0.1:{port}: connecting took ")

    def test_the_line_is_gone_when_the_answer_comes(self):
        with running_gateway("--delay", "500") as port:
            code, shown = run_on_terminal("groups", "--port", port, NO_COLOR="1")
        self.assertEqual(code, 0)
        self.check_counted(shown, port)
        self.assertRegex(shown, re.escape(WIPE) + "CPU\n")

    def test_nothing_is_told_where_the_connection_opens_within_a_second(self):
        with running_gateway() as port:
            for _ in range(20):
                start = time.monotonic()
                code, shown = run_on_terminal("groups", "--port", port, NO_COLOR="1")
                if time.monotonic() - start < 1:
                    self.assertEqual(code, 0)
                    self.assertTrue(shown.startswith("CPU\n"), shown)
                    return
        self.fail("this machine is too busy to open a connection within a second")

    def test_a_watch_as_text_tells_it_too_and_leaves_the_line_to_its_values(self):
        with running_gateway("--delay", "500") as port:
            code, shown = run_on_terminal("watch", "--count", "1", "--format", "csv", "--port", port)
        self.assertEqual(code, 0)
        self.check_counted(shown, port)
        self.assertRegex(shown, re.escape(WIPE) + "time,host,")

    def test_a_narrow_terminal_gets_a_line_that_fits(self):
        with port_that_accepts_nothing() as port:
            shown = run_on_terminal("groups", "--port", port, "--timeout", "2.5", columns=30)[1]
        self.assertIn(f"{WIPE}{'zolstat: connecting to 1 Gateway'[:29]}{WIPE}", shown)

    def test_nothing_is_told_in_a_pipe(self):
        with running_gateway("--delay", "500") as port:
            done = run("groups", "--port", port)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertTrue(done.stdout.startswith("CPU\n"), done.stdout)


class Colours(unittest.TestCase):
    def test_they_are_there_on_a_terminal_and_where_the_user_asks_for_them(self):
        with running_gateway() as port:
            self.assertIn("\x1b[1mCPU", run_on_terminal("groups", "--port", port)[1])
            self.assertIn("\x1b[1mCPU", run("groups", "--port", port, "--color", "always", NO_COLOR="1").stdout)

    def test_there_are_none_in_a_pipe_nor_against_the_users_wish(self):
        with running_gateway() as port:
            self.assertNotIn("\x1b", run("--port", port).stdout)
            self.assertNotIn("\x1b", run_on_terminal("--port", port, NO_COLOR="1")[1])
            self.assertNotIn("\x1b", run_on_terminal("--port", port, "--color", "never")[1])


class Addresses(unittest.TestCase):
    """Of the two addresses of two.test the second has a Gateway."""

    def run_with_two_addresses(self, *arguments):
        return run("--host", "two.test", *arguments, LD_PRELOAD=TWO_ADDRESSES)

    def test_a_name_is_followed_to_the_address_that_has_a_gateway(self):
        with running_gateway() as port:
            done = self.run_with_two_addresses("--port", port, "groups")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertTrue(done.stdout.startswith("CPU\n"))

    def test_a_name_is_followed_beyond_an_address_where_something_else_listens(self):
        with running_gateway() as port, socket.socket() as other:
            other.bind(("127.0.0.2", int(port)))
            other.listen(8)
            done = self.run_with_two_addresses("--port", port, "groups", "--timeout", "3")
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_ping_times_the_address_that_has_a_gateway(self):
        with running_gateway() as port:
            done = self.run_with_two_addresses("--port", port, "ping")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn(" at 127.0.0.1: 1 round", done.stdout)

    def test_ping_leaves_the_other_addresses_alone_once_it_has_found_a_gateway(self):
        with running_gateway() as port, running_gateway("--host", "127.0.0.2", port=port):
            done = self.run_with_two_addresses("--port", port, "ping", "-c", "5")
            other = run("--port", port, "stats", "GATEWAY_CONNECTIONS_TOTAL")
        self.assertIn(" at 127.0.0.2: 5 rounds", done.stdout)
        self.assertEqual(other.stdout.split()[-1], "1")

    def test_doctor_reports_every_address(self):
        with running_gateway() as port:
            done = self.run_with_two_addresses("--port", port, "doctor")
        self.assertEqual(done.returncode, 0)
        self.assertIn("\n  resolve     127.0.0.2, 127.0.0.1 in ", done.stdout)
        self.assertIn(f"\n  connect     127.0.0.2:{port}: Connection refused after ", done.stdout)
        self.assertIn(f"\n  connect     127.0.0.1:{port}: connected after ", done.stdout)

    def test_without_any_gateway_there_is_one_complaint(self):
        with socket.socket() as closed:
            closed.bind(("127.0.0.1", 0))
            port = str(closed.getsockname()[1])
            done = self.run_with_two_addresses("--port", port, "groups")
        self.assertEqual(done.returncode, 3)
        self.assertEqual(done.stderr, f"zolstat: two.test:{port}: the connection was refused: "
                                      "nothing listens on that port (-135)\n")


if __name__ == "__main__":
    unittest.main()
