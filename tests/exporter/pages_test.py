"""How a browser shows the pages: filter, charts, pause, failures, and texts that would like to be more than texts.

Runs against a canned exporter, and against the program. What the pages are before a browser has them is tested in
pages_test.cpp.
"""
import time
import unittest

import browser_stage
from browser_stage import CannedExporter, requested, until
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

HOSTILE = [
    "<script>window.hit = 1</script>",
    "<img src=x onerror='window.hit = 2'>",
    "\"'><svg onload=window.hit=3>",
    "{{name}} ${window.hit = 4} &lt;",
    "right\u202eto left",
]
driver = None


def setUpModule():
    global driver
    opened = browser_stage.browser()
    driver = opened.__enter__()
    unittest.addModuleCleanup(opened.__exit__, None, None, None)


class InBrowser:
    """A page, opened on an exporter of its own. No test may leave a complaint of the browser or a request elsewhere."""

    make_exporter = CannedExporter
    complaints = ()  # parts of those that belong to the test

    def setUp(self):
        self.exporter = self.make_exporter()
        self.addCleanup(self.exporter.close)

    def tearDown(self):
        loaded = [address for address in requested(driver) if not address.startswith(("data:", "about:", "chrome:"))]
        self.assertTrue(loaded)
        self.assertEqual([one for one in loaded if not one.startswith(self.exporter.url)], [])
        told = [entry["message"] for entry in driver.get_log("browser")]
        self.assertEqual([one for one in told if not any(part in one for part in self.complaints)], [])
        self.assertIsNone(driver.execute_script("return window.hit ?? null"))
        driver.get("about:blank")
        requested(driver)

    def open_live(self, rows):
        self.exporter.tell(rows)
        driver.get(f"{self.exporter.url}live?target={self.exporter.gateway}")
        Select(driver.find_element(By.ID, "interval")).select_by_value("1")
        until(lambda: len(self.shown()) > 0, "statistics are shown")

    def shown(self):
        """Ids and values that can be seen."""
        rows = driver.execute_script(
            "return Array.from(document.querySelectorAll('#statistics tbody tr:not(.heading)'))"
            ".filter((row) => row.checkVisibility()).map((row) => [row.cells[0].textContent, row.cells[1].textContent])"
        )
        return dict(rows)

    def tell(self, rows):
        """Tells rows, and waits until the page shows the first of them."""
        self.exporter.tell(rows)
        _, name, value = rows[0]
        until(lambda: self.shown().get(name) == value, f"{name} is {value}")

    def of_row(self, name, what):
        return driver.execute_script(
            "const row = Array.from(document.querySelectorAll('#statistics tbody tr'))"
            f".find((one) => one.cells[0].textContent === arguments[0]); return row.{what} ?? ''", name)

    def change_with(self, name, value):
        """What is shown as the change when a value is told: at the same look, since the next reading changes nothing."""
        self.exporter.tell([("CPU", name, value)])
        shown, change = "", ""

        def has_come():
            nonlocal shown, change
            shown, _, change = self.of_row(name, "cells[1].textContent + ' ' + row.cells[2].textContent").partition(" ")
            return shown == value

        until(has_come, f"{name} is {value}")
        return change

    def chart(self, name):
        return self.of_row(name, "querySelector('path')?.getAttribute('d')")

    def text(self, name):
        return driver.find_element(By.ID, name).text

    def filter(self, text):
        field = driver.find_element(By.ID, "filter")
        field.clear()
        field.send_keys(text)


class Live(InBrowser):
    ROWS = [("CPU", "LOAD", "0.25"), ("CPU", "MODEL", "fast"), ("MEMORY", "FREE_KB", "18446744073709551615")]

    def test_shows_each_statistic_with_its_value(self):
        self.open_live(self.ROWS)
        self.assertEqual(self.shown(), {"LOAD": "0.25", "MODEL": "fast", "FREE_KB": "18446744073709551615"})
        self.assertEqual(self.text("state"), "up")

    def test_filters_at_once_by_part_of_an_id_or_a_group(self):
        self.open_live(self.ROWS)
        for text, ids in {"oad": {"LOAD"}, "memo": {"FREE_KB"}, "cpu": {"LOAD", "MODEL"}, "none": set()}.items():
            with self.subTest(text):
                self.filter(text)
                self.assertEqual(set(self.shown()), ids)
                self.assertEqual(self.text("shown"), f"{len(ids)} of 3")
        self.filter(Keys.ESCAPE)
        self.assertEqual(len(self.shown()), 3)

    def test_says_why_the_table_is_empty(self):
        self.open_live(self.ROWS)
        self.filter("none")
        self.assertEqual(self.text("nothing"), "No statistic fits the filter.")
        self.exporter.tell([])
        until(lambda: self.text("nothing") == "The Gateway has no statistics.", "the Gateway is called empty")

    def test_keeps_filter_and_interval_over_a_reload(self):
        self.open_live(self.ROWS)
        self.filter("#&load=")
        driver.refresh()
        until(lambda: self.text("shown") == "0 of 3", "the filter holds")
        self.assertEqual(driver.find_element(By.ID, "filter").get_attribute("value"), "#&load=")
        self.assertEqual(driver.find_element(By.ID, "interval").get_attribute("value"), "1")

    def test_folds_groups_by_keyboard_and_finds_what_is_in_them(self):
        self.open_live(self.ROWS)
        heading = driver.find_element(By.CSS_SELECTOR, ".heading button")
        heading.send_keys(Keys.ENTER)
        self.assertEqual(heading.get_attribute("aria-expanded"), "false")
        self.assertEqual(set(self.shown()), {"FREE_KB"})
        self.filter("load")
        self.assertEqual(set(self.shown()), {"LOAD"})

    def test_draws_on_while_values_come_in(self):
        self.open_live([("CPU", "LOAD", "1")])
        lengths = []
        for value in ("2", "1.5", "3"):
            self.tell([("CPU", "LOAD", value)])
            lengths.append(len(self.chart("LOAD")))
        self.assertEqual(lengths, sorted(set(lengths)))

    def test_draws_no_chart_of_a_text(self):
        self.open_live(self.ROWS)
        self.assertEqual(self.chart("MODEL"), "")

    def test_tells_the_change_per_second(self):
        self.open_live([("CPU", "COUNT", "9007199254740993")])
        self.assertRegex(self.change_with("COUNT", "9007199254741993"), r"^\+\d+(\.\d+)?$")
        self.assertRegex(self.change_with("COUNT", "9007199254741992"), "^\u2212\\d+(\\.\\d+)?$")

    def test_tells_a_restart_instead_of_a_negative_change(self):
        self.open_live([("CPU", "COUNT", "1000")])
        for value in ("1100", "1200", "1300"):
            self.tell([("CPU", "COUNT", value)])
        self.assertEqual(self.change_with("COUNT", "5"), "restart")

    def test_pauses_and_goes_on(self):
        self.open_live([("CPU", "LOAD", "1")])
        driver.find_element(By.ID, "pause").click()
        requested(driver)
        self.exporter.tell([("CPU", "LOAD", "2")])
        time.sleep(2.5)  # at least two intervals, in which nothing may happen
        self.assertEqual([one for one in requested(driver) if "api/" in one], [])
        self.assertEqual(self.shown(), {"LOAD": "1"})
        driver.find_element(By.ID, "pause").click()
        until(lambda: self.shown() == {"LOAD": "2"}, "the new value is shown")

    def test_obeys_keys(self):
        self.open_live(self.ROWS)
        body = driver.find_element(By.TAG_NAME, "body")
        body.send_keys("p")
        self.assertEqual(driver.find_element(By.ID, "pause").get_attribute("aria-pressed"), "true")
        body.send_keys("p")
        body.send_keys("/")
        self.assertEqual(driver.switch_to.active_element.get_attribute("id"), "filter")
        driver.switch_to.active_element.send_keys("p/")
        self.assertEqual(driver.find_element(By.ID, "filter").get_attribute("value"), "p/")
        self.assertEqual(driver.find_element(By.ID, "pause").get_attribute("aria-pressed"), "false")

    def test_says_that_a_gateway_is_down_and_keeps_its_last_values(self):
        self.open_live(self.ROWS)
        self.exporter.fail()
        until(lambda: self.text("state") == "down", "the Gateway is called down")
        self.assertRegex(self.text("details"), "^(connect|lost): ")
        self.assertIn("tried again every 1 s", self.text("taken"))
        self.assertTrue(driver.title.startswith("down: "))
        self.assertEqual(len(self.shown()), 3)

    def test_takes_up_new_statistics_and_drops_those_that_are_gone(self):
        self.open_live([*self.ROWS, ("MEMORY", "USED_KB", "1")])
        self.tell([("NEW", "FIRST", "1"), self.ROWS[2], ("DISK", "READS", "7")])
        self.assertEqual(list(self.shown()), ["FIRST", "FREE_KB", "READS"])

    def test_shows_hostile_texts_as_texts(self):
        self.open_live([(text, text, text) for text in HOSTILE])
        seen = [text.replace("\u202e", "\\xE2\\x80\\xAE") for text in HOSTILE]
        self.assertEqual(list(self.shown()), seen)
        self.assertEqual(list(self.shown().values()), seen)
        groups = driver.find_elements(By.CSS_SELECTOR, ".heading .name")
        self.assertEqual([group.get_attribute("textContent") for group in groups], seen)
        self.assertEqual(len(driver.find_elements(By.TAG_NAME, "script")), 1)

    def test_stays_quick_with_two_thousand_statistics(self):
        self.open_live([(f"GROUP_{i // 50}", f"ID_{i}", str(i)) for i in range(2000)])
        until(lambda: self.text("shown") == "2000 of 2000", "all statistics are there")
        took_ms = driver.execute_script("""
            const field = document.getElementById('filter');
            const start = performance.now();
            field.value = 'ID_1999';
            field.dispatchEvent(new Event('input'));
            document.body.offsetHeight;
            return performance.now() - start;""")
        self.assertEqual(self.text("shown"), "1 of 2000")
        self.assertLess(took_ms, 500)
        drawn = driver.execute_script("return document.querySelectorAll('#statistics path').length")
        self.assertLess(drawn, 200)
        until(lambda: self.shown() == {"ID_1999": "1999"}, "a row that comes into sight has its value")


class Landing(InBrowser):
    def open_landing(self):
        driver.get(self.exporter.url)
        until(lambda: self.rows().keys() == {self.exporter.gateway}, "the exporter's own Gateways are shown")

    def rows(self):
        """Names and states."""
        return dict(driver.execute_script(
            "return Array.from(document.querySelectorAll('#gateways tbody tr'), (row) =>"
            "    [row.querySelector('th').textContent, row.querySelector('.state').textContent])"))

    def test_leads_to_the_live_view_of_another_gateway(self):
        self.exporter.tell(Live.ROWS)
        self.open_landing()
        driver.find_element(By.ID, "target").send_keys(self.exporter.gateway, Keys.ENTER)
        until(lambda: self.shown() != {}, "the live view is shown")
        self.assertIn(self.exporter.gateway, driver.title)


class LandingOfCanned(Landing, unittest.TestCase):
    def test_follows_the_states_of_gateways(self):
        self.exporter.tell(Live.ROWS)
        self.open_landing()
        self.assertEqual(self.rows(), {self.exporter.gateway: "up"})
        self.exporter.fail()
        until(lambda: self.rows() == {self.exporter.gateway: "down"}, "the Gateway is called down")
        self.assertEqual(self.text("summary"), "1 Gateway: 0 up, 1 down, 0 not asked yet")

    def test_says_that_the_exporter_is_gone(self):
        self.complaints = ("ERR_CONNECTION_REFUSED",)
        self.open_landing()
        self.exporter.close()
        until(lambda: "the exporter does not answer" in self.text("problem"), "the exporter is called gone")


class LiveOfCanned(Live, unittest.TestCase):
    def test_asks_for_nothing_while_nobody_looks(self):
        self.open_live([("CPU", "LOAD", "1")])
        page = driver.current_window_handle
        driver.switch_to.new_window("tab")
        asked = self.exporter.asked
        time.sleep(2.5)  # at least two intervals
        self.assertLessEqual(self.exporter.asked, asked + 1)
        driver.close()
        driver.switch_to.window(page)
        self.tell([("CPU", "LOAD", "2")])

    def test_goes_on_when_the_gateway_is_back(self):
        self.open_live(self.ROWS)
        self.exporter.fail()
        until(lambda: self.text("state") == "down", "the Gateway is called down")
        self.tell([("CPU", "LOAD", "7")])
        self.assertEqual(self.text("state"), "up")
        self.assertEqual(self.text("details"), "")
        self.assertEqual(self.chart("LOAD").count("M"), 1 + 1)  # a line that is interrupted

    def test_says_that_the_exporter_is_gone(self):
        self.complaints = ("ERR_CONNECTION_REFUSED",)
        self.open_live(self.ROWS)
        self.exporter.close()
        until(lambda: self.text("details") == "the exporter does not answer", "the exporter is called gone")


class Reckoning(InBrowser, unittest.TestCase):
    """The scripts' own arithmetic, on values a second apart; None is a loss."""

    def changes(self, *values):
        driver.get(self.exporter.url)
        return driver.execute_async_script("""
            const [values, done] = arguments;
            import('/pages/track.js').then(({Moments, Track}) => {
                const moments = new Moments();
                const track = new Track();
                let change = null;
                values.forEach((value, second) => {
                    if (value === null) {
                        moments.lose();
                        track.skip(moments.slot);
                        return;
                    }
                    const {lost} = moments.begin(second);
                    change = track.take(moments.slot, second, value, lost);
                });
                const points = track.points(moments);
                done([change && (change.restarted ? 'restart' : change.perSecond),
                      points.map(([, number]) => Number.isNaN(number) ? null : number)]);
            });""", values)

    def last_change(self, *values):
        return self.changes(*values)[0]

    def test_change_is_reckoned_without_loss_of_digits(self):
        self.assertEqual(self.last_change("18446744073709551614", "18446744073709551615"), 1)
        self.assertEqual(self.last_change("0.5", "0.25"), -0.25)

    def test_change_is_none_of_what_is_no_number(self):
        for values in (("1",), ("x", "1"), ("1", "x"), ("1", ".5"), ("1", "0x10"), ("1", ""), ("1", "1e999")):
            with self.subTest(values):
                self.assertIsNone(self.last_change(*values))

    def test_a_fall_is_a_restart_only_of_what_always_rose(self):
        for values, change in {
            ("1", "2", "3", "4", "3"): "restart",
            ("10", "20", "1"): "restart",
            ("10", "11", "10"): -1,
            ("10", "9", "0"): -9,
            ("1", "2", "3", "4", "0", "5"): 5,
            ("0", "5", "0", "5", "0"): -5,
        }.items():
            with self.subTest(values):
                self.assertEqual(self.last_change(*values), change)

    def test_a_fall_across_a_loss_is_a_restart_unless_it_fell_before(self):
        self.assertEqual(self.last_change("10", None, "9"), "restart")
        self.assertIsNone(self.last_change("11", "10", None, "9"))
        self.assertEqual(self.last_change("10", None, "14"), 2)

    def test_a_chart_shows_rates_of_what_rises_and_values_of_the_rest(self):
        self.assertEqual(self.changes("1", "3", "7")[1], [None, 2, 4])
        self.assertEqual(self.changes("1", "3", "2")[1], [1, 3, 2])
        self.assertEqual(self.changes("5", "5", "5")[1], [5, 5, 5])

    def test_a_chart_has_a_gap_where_the_gateway_was_lost(self):
        self.assertEqual(self.changes("5", "5", None, None, "5")[1], [5, 5, None, 5])

    def test_a_chart_keeps_five_minutes(self):
        self.assertEqual(len(self.changes(*["5"] * 1000)[1]), 301)


class LiveOfProgram(Live, unittest.TestCase):
    make_exporter = browser_stage.RealExporter


class LandingOfProgram(Landing, unittest.TestCase):
    make_exporter = browser_stage.RealExporter


if __name__ == "__main__":
    unittest.main()
