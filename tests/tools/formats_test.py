# The formats of zolstat as programs read them: jq, promtool, and the parsers and the schema validator of Python.
# Not a test of what is asked of a Gateway.
# The protocol that the statistics come by is written down in docs/protocol.md.
import copy
import csv
import datetime
import io
import json
import os
import pathlib
import pty
import re
import socket
import subprocess
import unittest

import jsonschema
from odd_gateway import ZOLSTAT, OddGateway, as_bytes, environment, zolstat

SCHEMA = json.load(open(os.environ["SCHEMA"], encoding="utf-8"))
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)

EVERY_BYTE = bytes(range(256))
LONGEST = 32767
NUMBERS = ["0", "-0", "7", "0.10", "-12.5e-3", "1E+05", "98765432109876543210.125", "1e400", "9" * LONGEST]
TEXTS = ["", " 1", "+1", "01", ".5", "5.", "0x10", "NaN", "Infinity", "1,5", "busy", "true", "null", "-", "1 "]
ODD = [
    b"\0", b"\x1b[31m", b'"', b"\\", b"\\x41", b"\\\xff", b"\n\r\t", b"\x7f", b",;|", b"'", b"/", b"\xff\xfe", b"\xc0\x80",
    b"\xed\xa0\x80", b"\xf4\x90\x80\x80", EVERY_BYTE, "\u2028\u2029".encode(), "\u009b31m".encode(), "\u202e".encode(),
    "é€😀".encode(), "\uffff".encode(), EVERY_BYTE * 127, b"x" * LONGEST, b"\x80" * LONGEST, "é".encode() * 16000,
]
# No two alike. A query for a group can carry neither ':' nor NUL.
ODD_IDS = [data[:60] + b"%d" % number for number, data in enumerate(ODD)]
ODD_NAMES = [(b"G" + name.replace(b":", b"").replace(b"\0", b""), b"I" + name) for name in ODD_IDS]


def bytes_of(text, is_escaped):
    """What the formats' reader does to have the Gateway's bytes back."""
    data = text.encode()
    if not is_escaped:
        return data
    return re.sub(rb"\\(\\|x[0-9A-F]{2})",
                  lambda found: b"\\" if found[1] == b"\\" else bytes([int(found[1][1:], 16)]), data)


def numbered(values):
    return [("G", f"ID_{number}", value) for number, value in enumerate(values)]


class Formats(unittest.TestCase):
    def serve(self, rows):
        gateway = OddGateway(rows)
        self.addCleanup(gateway.close)
        return gateway

    def ask(self, gateways, *arguments, code=0):
        gateways = gateways if isinstance(gateways, list) else [gateways]
        named = [f"--gateway={gateway if isinstance(gateway, str) else gateway.name}" for gateway in gateways]
        done = zolstat(*named, *arguments)
        self.assertEqual(done.returncode, code, done.stderr)
        return done.stdout

    def validate(self, document):
        self.assertEqual([error.message[:500] for error in VALIDATOR.iter_errors(document)], [])

    def document(self, gateways, *arguments, code=0):
        """Numbers as the text that they stand as."""
        output = self.ask(gateways, "--format=json", *arguments, code=code)
        self.assertEqual(output.count(b"\n"), 1)
        self.assertTrue(output.isascii())
        self.validate(json.loads(output, parse_int=float))
        return json.loads(output, parse_int=Number, parse_float=Number)

    def lines(self, gateways, *arguments, code=0):
        output = self.ask(gateways, "--format=ndjson", *arguments, code=code)
        self.assertTrue(output.isascii())
        for line in output.splitlines():
            self.validate(json.loads(line, parse_int=float))
        return [json.loads(line, parse_int=Number, parse_float=Number) for line in output.splitlines()]

    def statistics(self, gateway, *arguments, code=0):
        """Of one Gateway, as the document has them; the lines have the same."""
        statistics = self.document(gateway, *arguments, code=code)["samples"][0]["statistics"]
        for statistic, line in zip(statistics, self.lines(gateway, *arguments, code=code), strict=True):
            self.assertEqual({name: line[name] for name in line.keys() - ORIGIN}, statistic)
        return statistics


class Number(str):
    """A number as it stands in the document: not equal to a string that looks the same."""

    def __eq__(self, other):
        return isinstance(other, Number) and str.__eq__(self, other)

    __hash__ = str.__hash__


ORIGIN = {"format_version", "host", "port", "time"}


class ClosedPort:
    """A port that nothing listens on, and that nobody else gets meanwhile."""

    def __init__(self, test):
        holder = socket.socket()
        test.addCleanup(holder.close)
        holder.bind(("127.0.0.1", 0))
        self.port = holder.getsockname()[1]
        self.name = f"127.0.0.1:{self.port}"


class Json(Formats):
    def test_numbers_keep_all_their_digits(self):
        statistics = self.statistics(self.serve(numbered(NUMBERS)))
        self.assertEqual([one["value"] for one in statistics], [Number(text) for text in NUMBERS])

    def test_what_json_takes_for_no_number_is_a_string(self):
        statistics = self.statistics(self.serve(numbered(TEXTS)))
        self.assertEqual([one["value"] for one in statistics], TEXTS)
        self.assertFalse([one for one in statistics if "escaped" in one])

    def test_any_bytes_of_a_value_can_be_had_back(self):
        statistics = self.statistics(self.serve(numbered(ODD)))
        self.assertEqual([bytes_of(one["value"], "escaped" in one) for one in statistics], ODD)

    def test_any_bytes_of_names_can_be_had_back(self):
        gateway = self.serve([(*names, "1") for names in ODD_NAMES])
        told = [(bytes_of(one["group"], "escaped" in one), bytes_of(one["id"], "escaped" in one))
                for one in self.statistics(gateway)]
        self.assertEqual(told, ODD_NAMES)

    def test_text_that_is_utf8_stands_as_it_is(self):
        [one] = self.statistics(self.serve([("Grüße", "\\x41", "a\\b\u2028")]))
        self.assertEqual(one, {"group": "Grüße", "id": "\\x41", "value": "a\\b\u2028", "code": Number("0")})

    def test_what_was_rejected_has_no_value(self):
        [one, other] = self.statistics(self.serve([("G", "A", "1")]), "stats", "NO_SUCH", "A", code=1)
        self.assertEqual(one, {"group": None, "id": "NO_SUCH", "value": None, "code": Number("-1")})
        self.assertEqual(other, {"group": "G", "id": "A", "value": Number("1"), "code": Number("0")})

    def test_a_group_without_statistics_has_no_id(self):
        [one, _] = self.statistics(self.serve([("EMPTY",), ("G", "A", "")]))
        self.assertEqual(one, {"group": "EMPTY", "id": None, "value": None, "code": Number("0")})

    def test_groups_and_ids_are_listed_under_their_kind(self):
        gateway = self.serve([("G", "A", "1"), ("H", "B", "2")])
        groups = self.document(gateway, "groups")
        self.assertEqual(groups["kind"], "groups")
        self.assertEqual(groups["samples"][0]["groups"],
                         [{"group": "G", "code": Number("0")}, {"group": "H", "code": Number("0")}])
        ids = self.document(gateway, "ids", "H", "NO", code=1)
        self.assertEqual(ids["kind"], "ids")
        self.assertEqual(ids["samples"][0]["ids"], [{"group": "H", "id": "B", "code": Number("0")},
                                                    {"group": "NO", "id": None, "code": Number("-1")}])
        self.assertEqual([line["group"] for line in self.lines(gateway, "groups")], ["G", "H"])
        self.assertEqual([line["id"] for line in self.lines(gateway, "ids")], ["A", "B"])

    def test_an_empty_id_is_not_taken_for_a_missing_one(self):
        gateway = self.serve([("G", "", "1")])
        self.assertEqual([one["id"] for one in self.statistics(gateway)], [""])
        self.assertEqual([one["id"] for one in self.document(gateway, "ids")["samples"][0]["ids"]], [""])

    def test_each_sample_tells_its_gateway_and_the_time(self):
        gateways = [self.serve([("G", "A", "1")]), self.serve([("G", "A", "2")])]
        start = datetime.datetime.now(datetime.timezone.utc)
        samples = self.document(gateways)["samples"]
        end = datetime.datetime.now(datetime.timezone.utc)
        self.assertEqual([(one["host"], one["port"]) for one in samples],
                         [("127.0.0.1", Number(gateway.port)) for gateway in gateways])
        for one in samples:
            time = datetime.datetime.fromisoformat(one["time"].replace("Z", "+00:00"))
            self.assertLessEqual(start.replace(microsecond=start.microsecond // 1000 * 1000), time)
            self.assertLessEqual(time, end)

    def test_a_gateway_that_failed_has_an_error_and_the_others_their_answers(self):
        down, up = ClosedPort(self), self.serve([("G", "A", "1")])
        error = {"exit_code": Number("3"), "code": Number("-135"),
                 "message": "the connection was refused: nothing listens on that port (-135)"}
        samples = self.document([down, up], code=3)["samples"]
        self.assertEqual(samples[0]["error"], error)
        self.assertEqual(samples[0]["statistics"], [])
        self.assertEqual(samples[1]["statistics"][0]["value"], Number("1"))
        lines = self.lines([down, up], code=3)
        self.assertEqual(lines[0]["error"], error)
        self.assertEqual(lines[0]["port"], Number(down.port))
        self.assertEqual(lines[1]["value"], Number("1"))

    def test_jq_finds_a_value(self):
        gateway = self.serve([("G", "A", "1.50"), ("G", "B", 'a "b"')])
        for form, path in [("json", ".samples[].statistics[]"), ("ndjson", ".")]:
            output = self.ask(gateway, f"--format={form}")
            found = subprocess.run(["jq", "-r", f'{path} | select(.id == "B").value'], input=output, check=True,
                                   capture_output=True).stdout
            self.assertEqual(found, b'a "b"\n')

    def test_columns_and_header_make_no_difference(self):
        gateway = self.serve([("G", "A", "1")])
        self.assertEqual(self.statistics(gateway, "--columns=id", "--no-header"), self.statistics(gateway))

    def test_is_sorted_when_told(self):
        statistics = self.statistics(self.serve(numbered(["10", "b", "9", "a"])), "--sort=value")
        self.assertEqual([one["value"] for one in statistics], [Number("9"), Number("10"), "a", "b"])


# What follows is right; each change below makes it wrong.
STATISTIC = {"group": "G", "id": "A", "value": 1, "code": 0}
ORIGIN_OF_ONE = {"host": "h", "port": 1, "time": "2024-02-29T23:59:59.007Z"}
DOCUMENT = {"format_version": 1, "kind": "statistics", "samples": [{**ORIGIN_OF_ONE, "statistics": [STATISTIC]}]}
LINE = {"format_version": 1, **ORIGIN_OF_ONE, **STATISTIC}
ERROR = {"exit_code": 3, "code": -135, "message": "m"}


class Schema(unittest.TestCase):
    def check(self, document, valid):
        self.assertEqual(VALIDATOR.is_valid(document), valid, json.dumps(document))

    def test_is_one_itself(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)

    def test_takes_what_is_right(self):
        for statistic in [STATISTIC, {**STATISTIC, "change": 1.5}, {**STATISTIC, "change": "restart"},
                          {**STATISTIC, "escaped": True}, {**STATISTIC, "value": None, "code": -1, "group": None}]:
            self.check({**LINE, **statistic}, True)
            self.check({**DOCUMENT, "samples": [{**ORIGIN_OF_ONE, "statistics": [statistic]}]}, True)
        self.check({**DOCUMENT, "samples": [{**ORIGIN_OF_ONE, "statistics": [], "error": ERROR}]}, True)
        self.check({"format_version": 1, **ORIGIN_OF_ONE, "error": ERROR}, True)

    def test_rejects_a_document_or_line_that_lacks_a_member(self):
        for whole in [DOCUMENT, LINE]:
            for name in whole:
                self.check({key: value for key, value in whole.items() if key not in {name, "code"}}, False)
        for name in DOCUMENT["samples"][0]:
            wrong = copy.deepcopy(DOCUMENT)
            del wrong["samples"][0][name]
            self.check(wrong, False)
        for name in STATISTIC:
            wrong = copy.deepcopy(DOCUMENT)
            del wrong["samples"][0]["statistics"][0][name]
            self.check(wrong, False)

    def test_rejects_an_unknown_member_anywhere(self):
        self.check({**DOCUMENT, "more": 1}, False)
        self.check({**LINE, "more": 1}, False)
        self.check({**DOCUMENT, "samples": [{**DOCUMENT["samples"][0], "more": 1}]}, False)
        self.check({**DOCUMENT, "samples": [{**ORIGIN_OF_ONE, "statistics": [{**STATISTIC, "more": 1}]}]}, False)
        self.check({"format_version": 1, **ORIGIN_OF_ONE, "error": {**ERROR, "more": 1}}, False)

    def test_rejects_members_that_do_not_go_together(self):
        for wrong in [{"format_version": 2}, {"kind": "ids"}, {"kind": "others"}, {"samples": {}}]:
            self.check({**DOCUMENT, **wrong}, False)
        for wrong in [{"port": 0}, {"port": "1"}, {"time": "2024-02-29 23:59:59"}, {"host": None}, {"value": [1]},
                      {"value": True}, {"code": "0"}, {"code": -1}, {"id": None}, {"change": "fast"}, {"escaped": False},
                      {"error": ERROR}, {"value": None, "change": 1}]:
            self.check({**LINE, **wrong}, False)
        self.check({**DOCUMENT, "samples": [{**DOCUMENT["samples"][0], "error": ERROR}]}, False)


STEPS = ["resolve", "connect", "open", "query", "walk"]
PINGED = {"host": "gw", "port": 1, "address": "::1", "rounds": 2, "statistics": 3,
          "steps": {step: {"minimum": 0, "median": 0.5, "maximum": 1} for step in STEPS}}
PING = {"format_version": 1, "kind": "ping", "unit": "ms", "gateways": [PINGED]}
EXPLAINED = {"code": -102, "name": "ZOLSTATS_X", "meaning": "m", "advice": "a"}
CODES = {"format_version": 1, "kind": "codes", "codes": [EXPLAINED]}


class SchemaOfOthers(Formats):
    """The documents of the commands that show no statistics."""

    def check(self, document, valid):
        self.assertEqual(VALIDATOR.is_valid(document), valid, json.dumps(document))

    def test_holds_for_the_times_of_a_ping(self):
        gateways = [self.serve([("G", "A", "1")]), ClosedPort(self), "x" * 64]
        document = json.loads(self.ask(gateways, "ping", "--format=json", "--count=2", code=3))
        self.validate(document)
        self.assertEqual([gateway["rounds"] for gateway in document["gateways"]], [2, 0, 0])

    def test_holds_for_the_codes(self):
        document = json.loads(zolstat("codes", "--format=json").stdout)
        self.validate(document)
        self.assertGreater(len(document["codes"]), 20)

    def test_takes_what_is_right(self):
        failed = {**PINGED, "address": None, "steps": {}, "rounds": 0, "error": {**ERROR, "step": "connect"}}
        for document in [PING, {**PING, "gateways": [PINGED, failed]}, CODES]:
            self.check(document, True)

    def test_rejects_what_lacks_a_member(self):
        for whole in [PING, CODES]:
            for name in whole:
                self.check({key: value for key, value in whole.items() if key != name}, False)
        for name in PINGED:
            self.check({**PING, "gateways": [{key: value for key, value in PINGED.items() if key != name}]}, False)
        for name in EXPLAINED:
            self.check({**CODES, "codes": [{key: value for key, value in EXPLAINED.items() if key != name}]}, False)

    def test_rejects_what_does_not_belong_there(self):
        for wrong in [{"more": 1}, {"kind": "codes"}, {"unit": "s"}, {"format_version": 2}, {"samples": []}]:
            self.check({**PING, **wrong}, False)
        for wrong in [{"more": 1}, {"rounds": -1}, {"address": 1}, {"steps": {"fly": PINGED["steps"]["walk"]}},
                      {"steps": {"walk": {"minimum": 0}}}, {"error": ERROR}, {"error": {**ERROR, "step": "fly"}},
                      {"error": {**ERROR, "step": "open", "more": 1}}]:
            self.check({**PING, "gateways": [{**PINGED, **wrong}]}, False)
        for wrong in [{"more": 1}, {"code": "-102"}, {"name": "X"}, {"meaning": None}]:
            self.check({**CODES, "codes": [{**EXPLAINED, **wrong}]}, False)


class Csv(Formats):
    def table(self, gateways, *arguments, code=0):
        output = self.ask(gateways, "--format=csv", *arguments, code=code)
        self.assertNotIn(b"\r", output)
        return list(csv.reader(io.StringIO(output.decode(), newline=""), strict=True))

    def test_has_a_line_of_names_and_one_for_each_statistic(self):
        gateway = self.serve([("G", "A", "1"), ("G", "B", 'x, "y"'), ("EMPTY",)])
        [names, *rows] = self.table(gateway, "stats", "A", "B", "EMPTY", "NO_SUCH", code=1)
        self.assertEqual(names, ["time", "host", "port", "group", "id", "value", "code"])
        self.assertEqual([row[1:] for row in rows], [["127.0.0.1", str(gateway.port), *rest] for rest in [
            ["G", "A", "1", "0"], ["G", "B", 'x, "y"', "0"], ["EMPTY", "", "", "0"], ["", "NO_SUCH", "", "-1"]]])
        self.assertRegex(rows[0][0], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")

    def test_has_only_the_columns_that_groups_and_ids_fill(self):
        gateway = self.serve([("G", "A", "1")])
        self.assertEqual(self.table(gateway, "groups")[0], ["time", "host", "port", "group", "code"])
        self.assertEqual(self.table(gateway, "ids")[0], ["time", "host", "port", "group", "id", "code"])

    def test_has_the_columns_that_were_chosen(self):
        gateway = self.serve([("G", "A", "1")])
        self.assertEqual(self.table(gateway, "--columns=value,id"), [["value", "id"], ["1", "A"]])
        self.assertEqual(self.table(gateway, "--columns=value,id", "--no-header"), [["1", "A"]])

    def test_any_bytes_can_be_had_back(self):
        rows = [(*names, value) for names, value in zip(ODD_NAMES, ODD)]
        output = self.ask(self.serve(rows), "--format=csv", "--columns=group,id,value", "--no-header")
        self.assertEqual(output.count(b"\n"), len(rows), "a value broke its line")
        told = csv.reader(io.StringIO(output.decode(), newline=""), strict=True)
        csv.field_size_limit(LONGEST * 5)
        self.assertEqual([tuple(bytes_of(cell, True) for cell in row) for row in told], rows)

    def test_numbers_and_visible_text_stand_as_they_are(self):
        values = [*NUMBERS, "é€😀", " blanks ", "=1+1", "it's"]
        self.assertEqual(self.table(self.serve(numbered(values)), "--columns=value", "--no-header"),
                         [[value] for value in values])

    def test_names_each_of_several_gateways_and_leaves_out_one_that_failed(self):
        gateways = [ClosedPort(self), self.serve([("G", "A", "1")]), self.serve([("G", "A", "2")])]
        self.assertEqual(self.table(gateways, "--columns=port,value", "--no-header", code=3),
                         [[str(gateways[1].port), "1"], [str(gateways[2].port), "2"]])


SERIES = re.compile(r'(\w+)\{((?:\w+="(?:[^"\\\n]|\\["\\n])*",?)*)\} (\S+)\Z')
LABEL = re.compile(r'(\w+)="((?:[^"\\\n]|\\["\\n])*)"')
MEANING = {r"\\": "\\", r"\"": '"', r"\n": "\n"}


class Prometheus(Formats):
    def series(self, gateways, *arguments, code=0):
        """Of each series its name, its labels less the Gateway, and its value; all of it is good for promtool."""
        output = self.ask(gateways, "--format=prometheus", *arguments, code=code)
        checked = subprocess.run(["promtool", "check", "metrics"], input=output, capture_output=True, timeout=60)
        self.assertEqual((checked.returncode, checked.stdout, checked.stderr), (0, b"", b""))
        found = []
        for line in output.decode().rstrip("\n").split("\n"):
            if not line.startswith("# "):
                name, labels, value = SERIES.match(line).groups()
                labels = {key: re.sub(r"\\.", lambda one: MEANING[one[0]], text) for key, text in LABEL.findall(labels)}
                self.gateways.append(labels.pop("gateway"))
                found.append((name, labels, value))
        return found

    def setUp(self):
        self.gateways = []

    def test_numbers_are_values_and_texts_are_labels(self):
        gateway = self.serve([("G", "A", "1.50"), ("G", "B", 'a "b"\\'), ("H", "C", "")])
        self.assertEqual(self.series(gateway), [
            ("zol_up", {}, "1"),
            ("zol_stat", {"group": "G", "id": "A"}, "1.50"),
            ("zol_stat_info", {"group": "G", "id": "B", "value": 'a "b"\\\\'}, "1"),
            ("zol_stat_info", {"group": "H", "id": "C", "value": ""}, "1")])
        self.assertEqual(set(self.gateways), {gateway.name})

    def test_each_metric_is_explained(self):
        output = self.ask(self.serve([("G", "A", "1"), ("G", "B", "b")]), "--format=prometheus")
        for name, kind in [(b"zol_up", b"gauge"), (b"zol_stat", b"untyped"), (b"zol_stat_info", b"gauge")]:
            self.assertEqual(output.count(b"# HELP " + name + b" "), 1)
            self.assertEqual(output.count(b"# TYPE " + name + b" " + kind + b"\n"), 1)

    def test_numbers_stay_as_they_are_unless_prometheus_cannot_hold_them(self):
        fitting = [text for text in NUMBERS if text not in {"1e400", "9" * LONGEST}] + ["+1", "01", "1e308", "1e-400"]
        series = self.series(self.serve(numbered([*fitting, "1e309", "1e400", "-1e99999", "1.7976931348623159e308"])))
        self.assertEqual([value for name, _, value in series if name == "zol_stat"], fitting)
        self.assertEqual([labels["value"] for name, labels, _ in series if name == "zol_stat_info"],
                         ["1e309", "1e400", "-1e99999", "1.7976931348623159e308"])

    def test_what_is_no_finite_number_is_a_value_too(self):
        series = self.series(self.serve(numbered(["NaN", "-Infinity", "inf", "nano", "Info"])))
        self.assertEqual([value for name, _, value in series if name == "zol_stat"], ["NaN", "-Inf", "+Inf"])
        self.assertEqual([labels["value"] for name, labels, _ in series if name == "zol_stat_info"], ["nano", "Info"])

    def test_any_bytes_can_be_had_back(self):
        rows = [(*names, b"V" + value[:-1]) for names, value in zip(ODD_NAMES, ODD)]
        series = self.series(self.serve(rows))
        self.assertEqual([tuple(bytes_of(labels[name], True) for name in ["group", "id", "value"])
                          for _, labels, _ in series[1:]], rows)

    def test_what_was_rejected_is_left_out(self):
        series = self.series(self.serve([("G", "A", "1"), ("EMPTY",)]), "stats", "NO_SUCH", "A", "EMPTY", code=1)
        self.assertEqual(series, [("zol_up", {}, "1"), ("zol_stat", {"group": "G", "id": "A"}, "1")])

    def test_what_is_asked_for_twice_is_told_once(self):
        gateway = self.serve([("G", "A", "1"), ("G", "B", "b")])
        self.assertEqual(len(self.series([gateway, gateway], "stats", "G", "A", "B")), 3)

    def test_tells_which_gateways_answered(self):
        down, up = ClosedPort(self), self.serve([("G", "A", "1")])
        series = self.series([down, up], code=3)
        self.assertEqual([value for name, _, value in series if name == "zol_up"], ["0", "1"])
        self.assertEqual(self.gateways, [down.name, up.name, up.name])

    def test_groups_and_ids_are_metrics_of_their_own(self):
        gateway = self.serve([("G", "A", "1")])
        self.assertEqual(self.series(gateway, "groups"), [("zol_up", {}, "1"), ("zol_group_info", {"group": "G"}, "1")])
        self.assertEqual(self.series(gateway, "ids", "G"),
                         [("zol_up", {}, "1"), ("zol_id_info", {"group": "G", "id": "A"}, "1")])


class Raw(Formats):
    def test_is_the_bytes_of_a_value_and_a_line_end(self):
        gateway = self.serve(numbered(ODD))
        self.assertEqual(self.ask(gateway, "--format=raw"), b"".join(value + b"\n" for value in ODD))

    def test_is_the_names_of_groups_and_ids(self):
        gateway = self.serve([("G", "A", "1"), ("EMPTY",)])
        self.assertEqual(self.ask(gateway, "--format=raw", "groups"), b"G\nEMPTY\n")
        self.assertEqual(self.ask(gateway, "--format=raw", "ids"), b"A\n")

    def test_has_no_line_for_what_has_no_value(self):
        gateway = self.serve([("G", "A", ""), ("EMPTY",)])
        self.assertEqual(self.ask(gateway, "--format=raw", "stats", "NO_SUCH", "A", "EMPTY", code=1), b"\n")

    def test_has_tabs_between_the_columns_that_were_chosen(self):
        output = self.ask(self.serve([("G", "A\tB", "1\n2")]), "--format=raw", "--columns=id,value")
        cut = subprocess.run(["cut", "-f2"], input=output, capture_output=True, check=True).stdout
        self.assertEqual((output, cut), (b"A\\x09B\t1\\x0A2\n", b"1\\x0A2\n"))


class Terminal(Formats):
    def on_terminal(self, *arguments):
        reader, writer = pty.openpty()
        with os.fdopen(reader, "rb", buffering=0) as terminal:
            process = subprocess.Popen([ZOLSTAT, *arguments], env=environment(NO_COLOR="1"), stdout=writer,
                                       stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL)
            os.close(writer)
            output = b""
            try:
                while part := terminal.read(65536):
                    output += part
            except OSError:  # all of it was read
                pass
            self.assertEqual(process.wait(timeout=60), 0)
        return output

    def test_gets_nothing_but_ascii_in_any_format(self):
        gateway = self.serve([(*names, value[:300]) for names, value in zip(ODD_NAMES, ODD)])
        for form in ["table", "json", "ndjson", "csv", "prometheus", "raw"]:
            for columns in [[], ["--columns=host,group,id,value"]]:
                output = self.on_terminal(f"--gateway={gateway.name}", f"--format={form}", *columns)
                self.assertIn(b"\\x1B[31m" if form not in {"json", "ndjson"} else b"\\u001b[31m", output, form)
                self.assertEqual(re.findall(rb"[^ -~\r\n\t]", output), [], form)

    def test_is_where_values_are_still_whole(self):
        gateway = self.serve([("G", "A", "1")])
        self.assertEqual(self.on_terminal(f"--gateway={gateway.name}", "--format=raw"), b"1\r\n")


class Table(Formats):
    def test_has_chosen_columns_in_the_order_of_choice(self):
        gateway = self.serve([("G", "A", "10"), ("G", "B", "9")])
        self.assertEqual(self.ask(gateway, "--columns=value,id", "--sort=value"), b"value  id\n    9  B\n   10  A\n")
        self.assertEqual(self.ask(gateway, "--columns=value,id", "--no-header"), b"10  A\n 9  B\n")

    def test_has_a_heading_for_each_of_several_gateways(self):
        one, other = self.serve([("G", "A", "1")]), self.serve([("G", "A", "2")])
        self.assertEqual(self.ask([one, other]).decode(), f"== {one.name}\nG\n  A  1\n== {other.name}\nG\n  A  2\n")

    def test_has_no_change_where_there_is_one_reading_only(self):
        for command in ["stats", "ids", "groups"]:
            for option in ["--columns=id,change", "--sort=change"]:
                done = zolstat(f"--gateway={ClosedPort(self).name}", command, option)
                self.assertEqual((done.returncode, done.stdout), (2, b""))
                self.assertRegex(done.stderr, rb"^zolstat: a change shows only .*\n$")


DOCUMENTED = [("CPU", "CPU_COUNT", "4"), ("CPU", "CPU_USER_SECONDS", "1021.25"), ("LINK", "LINK_STATE", 'up, "1000 MB"'),
              ("LINK", "LINK_BYTES", "98765432109876543210")]


class Document(Formats):
    """The commands in docs/formats.md print what it says."""

    def ports(self):
        """The port of a Gateway and one without, below those that the document has in their place."""
        return {"27400": str(self.serve(DOCUMENTED).port), "27401": str(ClosedPort(self).port)}

    def run_documented(self, command, ports):
        for documented, port in ports.items():
            command = command.replace(documented, port)
        path = f"{pathlib.Path(ZOLSTAT).parent}:{os.environ['PATH']}"
        output = subprocess.run(["bash", "-c", command], env=environment(PATH=path, ZOLSTAT_PORT=ports["27400"]),
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=60, text=True).stdout
        for documented, port in ports.items():
            output = re.sub(rf"\b{port}\b", documented, output)
        return re.sub(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z", "2024-02-29T23:59:59.007Z", output)

    def test_commands_print_what_it_says(self):
        text = pathlib.Path(os.environ["DOCUMENT"]).read_text(encoding="utf-8")
        examples = re.findall(r"^```console\n\$ (.*)\n((?:.*\n)*?)```$", text, re.M)
        self.assertGreater(len(examples), 8)
        ports = self.ports()
        for command, output in examples:
            with self.subTest(command):
                self.assertEqual(self.run_documented(command, ports), output)


if __name__ == "__main__":
    unittest.main()
