# The manual pages of the programs against what the programs say of themselves: commands, options, defaults, exit codes.
# Not how the pages are formatted: see man_pages_test.py.
# The protocol between the library and the Gateway is written down in docs/protocol.md.
import os
import pathlib
import re
import shlex
import shutil
import tempfile
import unittest

import places


def source_of(page):
    """Without the formatter's escapes, as far as commands and options have some."""
    source = (places.ROOT / "docs" / "man" / page).read_text(encoding="utf-8")
    return source.replace("\\-", "-").replace("\\(aq", "'").replace("\\e", "\\")


class Page:
    """A manual page's source, by sections: {"OPTIONS": text, "COMMANDS/watch": text, ...}."""

    def __init__(self, name):
        source = source_of(name)
        self.sections = {}
        title = ""
        for part in re.split(r"(?m)^(?=\.S[HS] )", source):
            kind, heading = re.match(r"\.S([HS]) \"?([^\"\n]*)", part).groups() if part.startswith(".S") else ("H", "")
            title = heading if kind == "H" else f"{title.split('/')[0]}/{heading}"
            self.sections[title] = part

    def below(self, heading):
        """The titles of the subsections of a section."""
        return [title.partition("/")[2] for title in self.sections if title.startswith(f"{heading}/")]

    def examples(self, title):
        return re.findall(r"(?ms)^\.EX\n(.*?)^\.EE$", self.sections[title])

    def options(self, title):
        """{option: what is said of it}"""
        found = {}
        for paragraph in re.split(r"(?m)^\.(?:TP|SS|SH)\b", self.sections[title])[1:]:
            tag, _, text = paragraph.strip().partition("\n")
            found |= {option: text for option in re.findall(r"--[a-z][a-z-]*", tag)}
        return found

    def codes(self, title):
        return {int(code) for code in re.findall(r"(?m)^\.TP\n\.B (\d+)$", self.sections[title])}


class Help:
    """What a program prints when it is asked for help."""

    def __init__(self, *command):
        self.text = places.output_of(*command, "--help")

    def block(self, title):
        """The lines that describe something, below a title."""
        found = re.search(rf"(?m)^{title}:\n((?: +.*\n)+)", self.text)
        return re.findall(r"(?m)^ {2}(\S.*)$", found.group(1)) if found else []

    def options(self):
        """{option: its default, or nothing}"""
        return dict(re.findall(r"(?m)^ {2}(?:-\w,)?(--[a-z-]+)(?: [^\s=]+=(\S+))?", self.text))

    def arguments(self):
        return [line.split()[0] for line in self.block("Positionals")]

    def commands(self):
        return [line.split()[0] for line in self.block("Subcommands")]


class Program(unittest.TestCase):
    def check_options(self, told, helped, **label):
        with self.subTest(**label):
            self.assertEqual(set(told), set(helped))
        for option, default in helped.items():
            with self.subTest(option=option, **label):
                self.assertIn(default, told.get(option, ""))


    def run_script(self, script, **environment):
        """As a user would: by a shell, from a folder and a home that are empty."""
        programs = {str(pathlib.Path(os.environ[name]).parent)
                    for name in ("ZOLSTAT", "ZOL_GATEWAY_SIM", "ZOLSTATS_EXPORTER")}
        environment |= {"PATH": ":".join([*programs, "/usr/bin", "/bin"]), "HOME": str(self.folder)}
        done = places.run("bash", "-euc", script, cwd=self.folder, env=environment)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout

    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir=places.BUILD)
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)


class Gateway(Program):
    page = Page("zol-gateway-sim.1")

    def test_the_page_tells_the_options_and_defaults_of_the_help_and_no_others(self):
        self.check_options(self.page.options("OPTIONS"), Help(os.environ["ZOL_GATEWAY_SIM"]).options())

    def test_the_page_tells_the_exit_codes(self):
        source = (places.ROOT / "gateway" / "main.cpp").read_text(encoding="utf-8")
        usage = int(re.search(r"WRONG_USAGE = (\d+);", source).group(1))
        self.assertEqual(self.page.codes("EXIT STATUS"), {0, 1, usage})

    def test_the_examples_of_its_options_listen(self):
        lines = re.findall(r"(?m)^\$ zol-gateway-sim(.*?)(?: &)?$", "".join(self.page.examples("EXAMPLES")))
        self.assertEqual(len(lines), 3)
        for options in lines:
            with self.subTest(options), places.running_gateway(*shlex.split(options)) as port:
                self.assertGreater(int(port), 0)

    def test_the_script_that_it_shows_runs(self):
        [script] = [example for example in self.page.examples("EXAMPLES") if "coproc" in example]
        self.assertIn("CPU", self.run_script(script).split())


class Zolstat(Program):
    page = Page("zolstat.1")
    program = os.environ["ZOLSTAT"]

    def shared_options(self):
        return {option: text for title in self.page.below("OPTIONS")
                for option, text in self.page.options(f"OPTIONS/{title}").items()}

    def test_the_page_tells_the_commands_of_the_help_and_no_others(self):
        self.assertEqual(self.page.below("COMMANDS"), Help(self.program).commands())

    def test_the_page_tells_the_shared_options_and_defaults_of_the_help_and_no_others(self):
        self.check_options(self.shared_options(), Help(self.program).options())

    def test_the_page_tells_the_options_and_arguments_of_each_command_and_no_others(self):
        for command in Help(self.program).commands():
            helped = Help(self.program, command)
            own = {option: default for option, default in helped.options().items() if option != "--help"}
            title = f"COMMANDS/{command}"
            self.check_options(self.page.options(title), own, command=command)
            for argument in helped.arguments():
                with self.subTest(command=command, argument=argument):
                    self.assertIn(argument, self.page.sections[title])

    def test_the_page_tells_the_exit_codes_and_no_others(self):
        source = (places.ROOT / "tools" / "zolstat" / "exit_code.h").read_text(encoding="utf-8")
        codes = {int(code) for code in re.findall(r"(?m)^    \w+ = (\d+),", source)}
        self.assertTrue(codes)
        self.assertEqual(self.page.codes("EXIT STATUS"), codes)

    def local(self, text, port):
        """The same with the Gateway of the test for those in the example."""
        text = re.sub(r"(--gateway |\")gw\d*\.example\.org(:\d+)?", rf"\g<1>127.0.0.1:{port}", text)
        return re.sub(r"gw\d*\.example\.org", "127.0.0.1", text).replace("/var/tmp/", f"{self.folder}/")

    def test_the_commands_that_it_shows_run(self):
        commands = re.findall(r"(?m)^\$ ((?:.*\\\n)*.*)$", "".join(self.page.examples("EXAMPLES")))
        self.assertGreater(len(commands), 3)
        with places.running_gateway() as port:
            for command in commands:
                with self.subTest(command):
                    self.assertNotEqual(self.run_script(self.local(command, port), ZOLSTAT_PORT=port), "")

    def test_the_configuration_that_it_shows_is_understood(self):
        [example] = self.page.examples("FILES")
        with places.running_gateway() as port:
            (self.folder / "zolstat.toml").write_text(self.local(example, port), encoding="utf-8")
            shown = self.run_script("zolstat groups", XDG_CONFIG_HOME=str(self.folder))
        self.assertEqual(shown.split().count("CPU"), 2)


class Exporter(Program):
    page = Page("zolstats-exporter.8")
    program = os.environ["ZOLSTATS_EXPORTER"]
    examples = places.ROOT / "tools" / "zolstats-exporter" / "examples"
    settings = places.ROOT / "tools" / "zolstats-exporter" / "service" / "zolstats-exporter.default"

    def setUp(self):
        super().setUp()
        secured = (self.examples / "web.yml").read_text(encoding="utf-8")
        (self.folder / "web.yml").write_text(secured[secured.index("basic_auth_users:"):], encoding="utf-8")
        shutil.copy(self.examples / "exporter.yml", self.folder)

    def check_configuration(self, arguments):
        """Files that are named are those of the examples, but for the keys, which are nobody's."""
        here = re.sub(r"/[\w./-]*/(?:zolstats-)?(exporter|web)\.yml", r"\1.yml", arguments)
        self.run_script(f"zolstats-exporter {here} --check-config 2>&1")

    def told_options(self):
        titles = [title for title in self.page.sections if title.startswith("OPTIONS")]
        return {option: text for title in titles for option, text in self.page.options(title).items()}

    def test_the_page_tells_the_options_of_the_help_and_no_others(self):
        self.check_options(self.told_options(), Help(self.program).options())

    def test_the_page_tells_the_defaults_of_the_help(self):
        defaults = re.findall(r"(--[a-z-]+) [A-Z:]+ [^(\n]*\(([\d.:]+)\)", Help(self.program).text)
        self.assertTrue(defaults)
        for option, default in defaults:
            with self.subTest(option):
                self.assertIn(f"default is {default}", self.told_options()[option])

    def test_the_page_tells_the_exit_codes_of_the_help(self):
        [line] = re.findall(r"(?m)^Exit codes: (.*)$", Help(self.program).text)
        self.assertEqual(self.page.codes("EXIT STATUS"), {int(code) for code in re.findall(r"\b\d\b", line)})

    def test_the_commands_that_it_shows_are_understood(self):
        shown = re.findall(r"(?m)^\$ zolstats-exporter ((?:.*\\\n)*.*)$", "".join(self.page.examples("EXAMPLES")))
        self.assertGreater(len(shown), 2)
        for arguments in shown:
            with self.subTest(arguments):
                self.check_configuration(arguments.replace("--check-config", ""))

    def test_the_settings_that_are_shown_are_understood(self):
        shown = "".join(self.page.examples("FILES")) + self.settings.read_text(encoding="utf-8")
        found = re.findall(r'ARGS="(.*)"', shown)
        self.assertGreater(len(found), 3)
        for arguments in found:
            with self.subTest(arguments):
                self.check_configuration(arguments)


if __name__ == "__main__":
    unittest.main(verbosity=2)
