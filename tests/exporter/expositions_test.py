# Expositions as others read them: promtool, and the two parsers of Prometheus's client library for Python.
# Not a test of which metrics there are.
# Both formats are described by the Prometheus and OpenMetrics projects.
import os
import re
import subprocess
import tempfile
import unittest

from prometheus_client.openmetrics.parser import text_string_to_metric_families as families_of_openmetrics
from prometheus_client.parser import text_string_to_metric_families as families_of_text

EXPOSITION_OF = os.environ["EXPOSITION_OF"]
EXAMPLE = os.path.join(os.environ["ZOLSTATS_SOURCE"], "tools/zolstats-exporter/examples/mapping.yml")
SCRATCH = os.environ["SCRATCH"]

PARSERS = {"text": families_of_text, "openmetrics": families_of_openmetrics}
LONGEST = 32767
EVERY_BYTE = bytes(range(256))
ODD = [
    b'"', b"\\", b"\\n", b"\n", b"\r\n", b"\0", b"\x1b[31m", b'a"} 1\nzol_up 7\n', b"#", b"# EOF", b" ", b"{,}=", b"\\x41",
    b"\\\xff", b"\xff\xfe", b"\xc0\x80", b"\xed\xa0\x80", b"\xf4\x90\x80\x80", "\u2028\u202e".encode(), "é€😀".encode(),
    EVERY_BYTE, b"x" * LONGEST, b"\x80" * LONGEST, b'"' * LONGEST, b"\\" * LONGEST, EVERY_BYTE * 127,
]
NUMBERS = ["0", "-0", "+5", "007", "0.10", "-12.5e-3", "1E+05", "98765432109876543210.125", "1.7976931348623157e308",
           "1e-999", "0." + "1" * 32765]
TEXTS = [" 5", "5 ", "0x10", "1e999", "1_000", "1,5", ".5", "5.", "1.5f", "--1", "true", "9" * LONGEST]


def field(data):
    return "x" + (data if isinstance(data, bytes) else data.encode()).hex()


def exposition(form, rows, gateways=("db1:4000",), mapping=None):
    text = "".join(" ".join(map(field, row)) + "\n" for row in rows)
    command = [EXPOSITION_OF, form, ",".join(gateways), *([mapping] if mapping else [])]
    return subprocess.run(command, input=text.encode(), capture_output=True, check=True, timeout=60).stdout


def bytes_of(text):
    """What a reader of the labels does to have the Gateway's bytes back."""
    return re.sub(rb"\\(\\|x[0-9A-F]{2})",
                  lambda found: b"\\" if found[1] == b"\\" else bytes([int(found[1][1:], 16)]), text.encode())


class Expositions(unittest.TestCase):
    def run_promtool(self, *arguments, **others):
        done = subprocess.run(["promtool", *arguments], capture_output=True, timeout=60, **others)
        self.assertEqual((done.returncode, done.stderr), (0, b""), done.stdout[-500:])
        return done.stdout

    def check(self, form, told):
        """With Prometheus's own parsers. That of OpenMetrics is reached through what makes blocks of old samples."""
        if form == "text":
            self.assertEqual(self.run_promtool("check", "metrics", input=told), b"")
            return
        with tempfile.TemporaryDirectory(dir=SCRATCH) as folder:
            with open(f"{folder}/openmetrics", "wb") as file:
                file.write(re.sub(rb"^([^#\n].*)$", rb"\1 1700000000", told, flags=re.MULTILINE))
            self.run_promtool("tsdb", "create-blocks-from", "openmetrics", file.name, f"{folder}/blocks")

    def families(self, rows, **others):
        """In both formats. Whatever is told, promtool has nothing to say of it."""
        for form, parser in PARSERS.items():
            with self.subTest(form):
                told = exposition(form, rows, **others)
                self.check(form, told)
                yield list(parser(told.decode()))

    def each(self, rows, **others):
        """In both formats: the families by name, a counter's without its ending."""
        for families in self.families(rows, **others):
            found = {family.name: family for family in families}
            self.assertEqual(len(found), len(families), "a family comes twice")
            yield found

    def write(self, content):
        file = tempfile.NamedTemporaryFile("w", dir=SCRATCH, suffix=".yml")
        self.addCleanup(file.close)
        file.write(content)
        file.flush()
        return file.name

    def test_any_bytes_of_names_and_texts_can_be_had_back(self):
        rows = [(b"G" + data, b"I" + data, b"V" + data) for data in ODD]
        for found in self.each(rows):
            self.assertEqual([tuple(bytes_of(one.labels[name]) for name in ["group", "id", "value"])
                              for one in found["zol_stat_info"].samples], rows)

    def test_numbers_beside_texts(self):
        rows = [("G", f"ID_{number}", value) for number, value in enumerate([*NUMBERS, *TEXTS, ""])]
        for found in self.each(rows):
            self.assertEqual([one.value for one in found["zol_stat"].samples], [float(text) for text in NUMBERS])
            self.assertEqual([one.labels["value"] for one in found["zol_stat_info"].samples], TEXTS)
            self.assertEqual(found["zol_stat"].type, "unknown")
            self.assertEqual(found["zol_stat_info"].type, "gauge")

    def test_numbers_stand_there_with_the_digits_that_the_gateway_sent(self):
        rows = [("G", f"ID_{number}", value) for number, value in enumerate(NUMBERS)]
        for form in PARSERS:
            told = re.findall(rb"^zol_stat\{.*\} (.*)$", exposition(form, rows), re.MULTILINE)
            self.assertEqual([one.decode() for one in told], NUMBERS)

    def test_what_is_not_finite(self):
        rows = [("G", f"ID_{number}", value) for number, value in enumerate(["NaN", "-inf", "Infinity"])]
        for found in self.each(rows):
            self.assertEqual([str(one.value) for one in found["zol_stat"].samples], ["nan", "-inf", "inf"])

    def test_families_of_several_gateways_stand_together(self):
        for found in self.each([("G", "A", "1"), ("G", "B", "b")], gateways=["db1:1", "db2:2", "[::1]:3"]):
            for name in ["zol_up", "zol_stat", "zol_stat_info"]:
                self.assertEqual([one.labels["gateway"] for one in found[name].samples], ["db1:1", "db2:2", "[::1]:3"])

    def test_the_exporter_and_its_process_beside_them(self):
        for found in self.each([]):
            self.assertIn("zolstats_exporter_build_info", found)
            for name in ["process_cpu_seconds", "zolstats_exporter_scrapes"]:
                self.assertEqual(found[name].type, "counter")

    def test_units_are_told_in_openmetrics(self):
        found = list(self.each([]))[1]
        self.assertEqual(found["zol_scrape_duration_seconds"].unit, "seconds")
        self.assertEqual(found["process_cpu_seconds"].unit, "seconds")
        self.assertEqual(found["process_resident_memory_bytes"].unit, "bytes")

    def test_the_example_of_a_mapping(self):
        rows = [("CPU", "CPU_USER_SECONDS", "12.50"), ("CPU", "CPU_IDLE_SECONDS", "7"), ("CPU", "CPU_COUNT", "2"),
                ("MEMORY", "MEMORY_FREE_KB", "3"), ("LOAD", "LOAD_1_MINUTE", "0.5"), ("LOAD", "LOAD_15_MINUTES", "0.25"),
                ("DISK", "DISK_READ_MILLISECONDS", "7"), ("NETWORK", "NETWORK_SENT_BYTES", "9"),
                ("SYSTEM", "SYSTEM_HOST_NAME", "db1"), ("SYSTEM", "SYSTEM_BOOT_TIME", "1")]
        for found in self.each(rows, mapping=EXAMPLE):
            def told(name, label):
                return [(one.name, one.labels[label], one.value) for one in found[name].samples]
            self.assertEqual(told("zol_cpu_seconds", "mode"),
                             [("zol_cpu_seconds_total", "USER", 12.5), ("zol_cpu_seconds_total", "IDLE", 7)])
            self.assertEqual(told("zol_memory_bytes", "kind"), [("zol_memory_bytes", "FREE", 3072)])
            self.assertEqual(told("zol_load_average", "minutes"),
                             [("zol_load_average", "1", 0.5), ("zol_load_average", "15", 0.25)])
            self.assertEqual(told("zol_disk_seconds", "activity"), [("zol_disk_seconds_total", "READ", 0.007)])
            self.assertEqual(told("zol_stat", "id"), [("zol_stat", "SYSTEM_BOOT_TIME", 1)])
            self.assertEqual({found[name].type for name in ["zol_cpu_seconds", "zol_disk_seconds"]}, {"counter"})

    def test_mapped_labels_of_any_bytes(self):
        mapping = self.write("metrics: [{id: '\\C*', name: x, labels: {whole: \\0}}]")
        rows = [("G", b"I" + data, "1") for data in ODD]
        for found in self.each(rows, mapping=mapping):
            self.assertEqual([bytes_of(one.labels["whole"]) for one in found["x"].samples], [row[1] for row in rows])

    def test_metrics_whose_names_would_clash_in_one_format(self):
        mapping = self.write("""metrics:
  - {id: A, name: x_total, type: counter}
  - {id: B, name: x, type: gauge}
  - {id: C, name: y_total, type: counter}
  - {id: D, name: y_created, type: gauge}
  - {id: E, name: z_total_total, type: counter}
  - {id: F, name: z_total, type: counter}
  - {id: G, name: zol_stat_total, type: counter}
  - {id: H, name: i_info, type: gauge}
  - {id: I, name: i, type: untyped}
""")
        rows = [("G", letter, "5") for letter in "ABCDEFGHIJ"]
        for found in self.families(rows, mapping=mapping):
            told = [sample.name for family in found for sample in family.samples if sample.value == 5]
            self.assertEqual(sorted(told), ["i", "i_info", "x", "x_total", "y_created", "y_total", "z_total",
                                            "z_total_total", "zol_stat", "zol_stat_total"])

    def test_counters_that_openmetrics_would_refuse_are_left_out(self):
        mapping = self.write("metrics: [{id: .*, name: x_total, type: counter, labels: {whole: \\0}}]")
        rows = [("G", letter, value) for letter, value in zip("ABCDE", ["-1", "NaN", "-inf", "inf", "5"])]
        for found in self.each(rows, mapping=mapping):
            self.assertEqual([one.labels["whole"] for one in found["x"].samples], ["E"])


if __name__ == "__main__":
    unittest.main()
