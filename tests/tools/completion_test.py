"""Presses the tabulator key in real shells, against a stand-in Gateway, and looks at the command line that comes of it.

Run with the project's root, the tool and the stand-in Gateway as the only arguments. Nothing of the shells' own
completion is tested.
"""
import contextlib
import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

SIM = pathlib.Path(sys.argv.pop()).resolve()
ZOLSTAT = pathlib.Path(sys.argv.pop()).resolve()
COMPLETIONS = pathlib.Path(sys.argv.pop()).resolve() / "tools/zolstat/completions"

DEADLINE_S = 40
TAB, DUMP, CLEAR = "\t", "\x07", "\x15"  # Ctrl-G is bound by the tests, Ctrl-U empties the line


class Shell:
    """An interactive shell on a terminal of its own."""

    def __init__(self, command, folder, setup):
        self.folder = pathlib.Path(folder)
        self.dump = self.folder / "line"
        environment = {**os.environ, "PATH": f"{ZOLSTAT.parent}:{os.environ['PATH']}", "HOME": str(folder),
                       "TERM": "dumb", "HISTFILE": str(self.folder / ".history"), "XDG_CONFIG_HOME": str(folder)}
        environment.pop("LS_COLORS", None)
        main, terminal = pty.openpty()
        self.main = main
        self.process = subprocess.Popen(command, stdin=terminal, stdout=terminal, stderr=terminal, env=environment,
                                        cwd=folder, start_new_session=True)
        os.close(terminal)
        self.type(f"{setup}; touch ready\n")
        self.wait_for(self.folder / "ready")

    def type(self, text):
        os.write(self.main, text.encode())

    def wait_for(self, file):
        end = time.monotonic() + DEADLINE_S
        seen = b""
        while not file.exists():
            if time.monotonic() > end:
                raise AssertionError(f"the shell did not write {file.name}; its screen: {seen.decode(errors='replace')}")
            if select.select([self.main], [], [], 0.02)[0]:
                seen += os.read(self.main, 65536)

    def complete(self, line):
        """What the line is after the tabulator key."""
        self.dump.unlink(missing_ok=True)
        self.type(line + TAB + DUMP)
        self.wait_for(self.dump)
        result = self.dump.read_text().rstrip("\n")
        self.type(CLEAR)
        return result

    def close(self):
        os.close(self.main)
        self.process.kill()
        self.process.wait()


# The line is written under another name and then moved, so that it is there as a whole or not at all.
BASH_SETUP = (f"PS1=; source {COMPLETIONS}/zolstat.bash; bind 'set enable-bracketed-paste off'; "
              "bind 'set completion-query-items 0'; bind 'set page-completions off'; "
              "dump() { printf '%s\\n' \"$READLINE_LINE\" >new && mv new line; }; bind -x '\"\\C-g\": dump'")
ZSH_SETUP = (f"PS1=; fpath=({COMPLETIONS} $fpath); autoload -Uz compinit; compinit -u -d compdump; "
             "LISTMAX=100000; dump() { print -r -- $BUFFER >new && command mv new line }; zle -N dump; bindkey '^G' dump; "
             "bindkey '^U' kill-whole-line")
SHELLS = {"bash": (["bash", "--norc", "--noprofile", "-i"], BASH_SETUP), "zsh": (["zsh", "-f", "-i"], ZSH_SETUP)}


@contextlib.contextmanager
def running_gateway(*options):
    with subprocess.Popen([SIM, "--port", "0", *options], stdout=subprocess.PIPE, text=True) as daemon:
        try:
            yield daemon.stdout.readline().strip().rpartition(":")[2]
        finally:
            daemon.terminate()


def names_of(help_text):
    """The commands and the long and short options that a help text names."""
    options = set(re.findall(r"^  (?:-\w,)?(--[\w-]+)", help_text, re.M))
    options |= set(re.findall(r"^  (-\w),--", help_text, re.M))
    commands = help_text.partition("\nSubcommands:\n")[2].partition("\n\n")[0]
    return re.findall(r"^  (\w+)", commands, re.M), options


def help_of(*command):
    return subprocess.run([ZOLSTAT, *command, "--help"], capture_output=True, text=True, check=True).stdout


def ask_bash(tool, line, folder=None):
    """What bash's function offers at the end of the line, which is broken into words as bash does it."""
    words = re.findall(r"[^\s:=@]+|[:=@]+", line) + ([""] if not line or line.endswith(" ") else [])
    script = ('source "$0"; COMP_LINE=$1; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _zolstat; '
              'printf "%s\\n" "${COMPREPLY[@]}"')
    done = subprocess.run(["bash", "--norc", "-c", script, COMPLETIONS / "zolstat.bash", f"{tool} {line}", tool, *words],
                          capture_output=True, text=True, timeout=DEADLINE_S, cwd=folder)
    if done.stderr:
        raise AssertionError(done.stderr)
    return done.stdout.split()


def replies(line):
    return ask_bash(ZOLSTAT, line)


class EveryName(unittest.TestCase):
    def test_bash_offers_every_command_and_option_of_the_help(self):
        commands, options = names_of(help_of())
        self.assertGreaterEqual(len(commands), 7)
        self.assertLessEqual(set(commands), set(replies("")))
        self.assertLessEqual({option for option in options if option.startswith("--")}, set(replies("-")))
        for command in commands:
            own = {option for option in names_of(help_of(command))[1] if option.startswith("--")}
            with self.subTest(command):
                self.assertLessEqual(own | {"--host"}, set(replies(f"{command} -")))

    def test_zsh_knows_every_command_and_option_of_the_help(self):
        text = (COMPLETIONS / "_zolstat").read_text()
        commands, options = names_of(help_of())
        for command in commands:
            self.assertRegex(text, rf"""['"]{command}:""")
            options |= names_of(help_of(command))[1]
        for option in options:
            with self.subTest(option):
                self.assertRegex(text, rf"(?<![\w-]){option}[=+\[,}}]")


class BashFunction(unittest.TestCase):
    def test_offers_the_values_of_an_option_behind_a_blank_and_behind_an_equals_sign(self):
        self.assertEqual(replies("--format "), ["table", "json", "ndjson", "csv", "prometheus", "raw"])
        self.assertEqual(replies("--format=n"), ["ndjson"])
        self.assertEqual(replies("stats --color a"), ["auto", "always"])

    def test_offers_nothing_from_a_gateway_that_is_not_there(self):
        self.assertEqual(replies("stats --port 1 "), [])

    def test_never_lets_a_gateway_put_commands_on_the_line(self):
        with tempfile.TemporaryDirectory() as folder:
            tool = pathlib.Path(folder) / "zolstat"
            tool.write_text("#!/bin/sh\nprintf '%s\\n' '$(touch harm)' '`touch harm`' 'A;touch harm' 'GOOD_1' '~' '*'\n")
            tool.chmod(0o755)
            self.assertEqual(ask_bash(tool, "ids ", folder), ["GOOD_1"])
            self.assertEqual([file.name for file in pathlib.Path(folder).iterdir()], ["zolstat"])


class Keys:
    """What both shells make of the tabulator key."""

    shell_name = ""

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="completion-", dir=os.environ.get("ZOLSTATS_SCRATCH"))
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.port = cls.enterClassContext(running_gateway("--empty-group"))
        (pathlib.Path(cls.folder) / "gateways.txt").write_text(f"127.0.0.1:{cls.port}\n")
        (pathlib.Path(cls.folder) / "config.toml").write_text(f"port = {cls.port}\nformat = \"json\"\n")
        command, setup = SHELLS[cls.shell_name]
        cls.shell = Shell(command, cls.folder, setup)
        cls.addClassCleanup(cls.shell.close)

    def check(self, line, expected):
        with self.subTest(line):
            self.assertEqual(self.shell.complete(f"zolstat {line}").rstrip(), f"zolstat {expected}")

    def test_completes_commands(self):
        self.check("gro", "groups")
        self.check("doc", "doctor")
        self.check("--no-header sta", "--no-header stats")
        self.check("--format json pi", "--format json ping")

    def test_completes_options(self):
        self.check("--trace-l", "--trace-level" + self.assign)
        self.check("ping --cou", "ping --count" + self.assign)
        self.check("stats --no-h", "stats --no-header")
        self.check("check --crit", "check --critical" + self.assign)

    def test_completes_values(self):
        self.check("--format prom", "--format prometheus")
        self.check("--format=prom", "--format=prometheus")
        self.check("stats --color al", "stats --color always")
        self.check("--sort ch", "--sort change")
        self.check("--columns time,gr", "--columns time,group" + self.separator)

    def test_completes_file_names(self):
        self.check("--config conf", "--config config.toml")
        self.check("--trace-file gatew", "--trace-file gateways.txt")
        self.check("--gateway @gatew", "--gateway @gateways.txt")
        self.check("--gateway=@gatew", "--gateway=@gateways.txt")

    def test_completes_what_the_gateway_has(self):
        for connection in [f"--port {self.port}", f"--port={self.port}", f"--gateway 127.0.0.1:{self.port}",
                           f"--gateway=127.0.0.1:{self.port}", "--gateway @gateways.txt", "--config config.toml"]:
            self.check(f"{connection} ids MEM", f"{connection} ids MEMORY")
            self.check(f"stats {connection} LOAD_15", f"stats {connection} LOAD_15_MINUTES")

    def test_completes_lists_of_names(self):
        self.check(f"stats --port {self.port} CPU:EMP", f"stats --port {self.port} CPU:EMPTY")

    def test_completes_the_statistic_of_a_threshold(self):
        self.check(f"--port {self.port} check --warning LOAD_15", f"--port {self.port} check --warning LOAD_15_MINUTES:")

    def test_completes_return_codes(self):
        self.check("codes ZOLSTATS_NO_MO", "codes ZOLSTATS_NO_MORE_ITEMS")

    def test_stays_silent_where_no_gateway_listens(self):
        self.check("--port 1 stats LO", "--port 1 stats LO")


class Bash(Keys, unittest.TestCase):
    shell_name = "bash"
    assign = ""
    separator = ""


class Zsh(Keys, unittest.TestCase):
    shell_name = "zsh"
    assign = "="
    separator = ","


if __name__ == "__main__":
    unittest.main()
