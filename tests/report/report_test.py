#!/usr/bin/python3
"""Looks at reports in headless Chromium:

    report_test.py WRITE_REPORT TARVEK_SDR EXAMPLES CHROMIUM CHROMEDRIVER [PICTURES]

With a directory for PICTURES it also leaves screenshots there for people to look at.
"""
import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

WIDE = (1280, 1600)
NARROW = (360, 1600)
SENSORS = 18  # of the sample server, 13 of them with a range
BARS = 13
MANY = 300  # sensors more; every third has no range


class Browser:
    """A Chromium that takes notes of what pages ask for and complain about."""

    def __init__(self, chromium, chromedriver, profile):
        options = Options()
        options.binary_location = chromium
        for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                         "--disable-dev-shm-usage", f"--user-data-dir={profile}"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service(chromedriver), options=options)
        self.driver.set_page_load_timeout(60)

    def open(self, path, size=WIDE, dark=False):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": size[0], "height": size[1], "deviceScaleFactor": 1,
                                     "mobile": False})
        scheme = {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [scheme]})
        for log in ("browser", "performance"):
            self.driver.get_log(log)
        self.driver.get(path.as_uri())

    def complaints(self):
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def requests(self):
        messages = [json.loads(entry["message"])["message"]
                    for entry in self.driver.get_log("performance")]
        return [message["params"]["request"]["url"] for message in messages
                if message["method"] == "Network.requestWillBeSent"]

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def texts(self, selector):
        return [element.text for element in self.driver.find_elements(By.CSS_SELECTOR, selector)]

    def count(self, selector):
        return len(self.driver.find_elements(By.CSS_SELECTOR, selector))


def contrast(one, other):
    """The contrast of two CSS colours, 1 to 21."""
    def luminance(colour):
        parts = [int(part) / 255 for part in colour[colour.index("(") + 1:-1].split(",")[:3]]
        parts = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4
                 for part in parts]
        return 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2]
    low, high = sorted((luminance(one), luminance(other)))
    return (high + 0.05) / (low + 0.05)


class ReportTest(unittest.TestCase):
    arguments = []
    browser = None
    directory = None

    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.directory = pathlib.Path(cls.scratch.name)
        program, companion, examples, chromium, chromedriver = cls.arguments[:5]
        for sample in ("one", "two", "many", "hostile"):
            with open(cls.page(sample), "wb") as file:
                subprocess.run([program, sample], stdout=file, check=True, timeout=60)
        subprocess.run([companion, "report", "-o", cls.page("examples"), "OLDBOARD.SDR",
                        "BOARD.SDR"], cwd=examples, check=True, timeout=60)
        cls.browser = Browser(chromium, chromedriver, cls.directory / "profile")

    @classmethod
    def tearDownClass(cls):
        cls.browser.driver.quit()
        cls.scratch.cleanup()

    @classmethod
    def page(cls, sample):
        return cls.directory / f"{sample}.html"

    def open(self, sample, **how):
        self.browser.open(self.page(sample), **how)

    def test_no_page_complains_or_asks_for_anything(self):
        for sample in ("one", "two", "many", "hostile", "examples"):
            with self.subTest(sample):
                self.open(sample)
                self.assertEqual(self.browser.requests(), [self.page(sample).as_uri()])
                self.assertEqual(self.browser.complaints(), [])

    def test_the_policy_forbids_what_a_page_might_load(self):
        self.open("one")
        self.browser.script("document.body.append(Object.assign(new Image(), {src: 'x.png'}))")
        refused = " ".join(self.browser.complaints())
        self.assertIn("Content Security Policy", refused)

    def test_sensors_have_rows_and_bars(self):
        self.open("one")
        self.assertEqual(self.browser.count("#sensors + p + table tbody tr"), SENSORS)
        self.assertEqual(self.browser.count("#sensors + p + table svg.bar"), BARS)
        self.assertEqual(self.browser.texts("#totals + table tbody tr:first-child"),
                         ["01h Full Sensor Record 13"])

    def test_bars_are_drawn_to_scale(self):
        self.open("one")
        # CPU 1 Temp: -128 to 127 degrees C, upper non-critical 95, nominal 40.
        row = "#r7 .bar "
        box = "return document.querySelector(arguments[0]).getBoundingClientRect().toJSON()"
        track = self.browser.script(box, row + ".tr")
        zones = [self.browser.script(box, row + f"g :nth-child({n})") for n in (2, 3)]
        nominal = self.browser.script(box, row + "circle")
        self.assertGreater(track["width"], 300)
        self.assertGreater(track["height"], 5)

        def value(position):
            return -128 + (position - track["left"]) / track["width"] * 255
        self.assertAlmostEqual(value(zones[0]["right"]), 5, delta=0.5)
        self.assertAlmostEqual(value(zones[1]["left"]), 95, delta=0.5)
        self.assertAlmostEqual(value(zones[1]["right"]), 127, delta=0.5)
        self.assertAlmostEqual(value((nominal["left"] + nominal["right"]) / 2), 40, delta=0.5)

    def test_zones_have_colours_of_their_own(self):
        for dark in (False, True):
            self.open("one", dark=dark)
            fill = "return getComputedStyle(document.querySelector(arguments[0])).fill"
            colours = [self.browser.script(fill, f".bar .{name}")
                       for name in ("tr", "nc", "cr", "nr", "no")]
            self.assertEqual(len(set(colours)), len(colours))
            self.assertNotIn("rgb(0, 0, 0)", colours)

    def test_differences_stand_above_each_other_to_one_scale(self):
        self.open("two")
        self.assertEqual(self.browser.count("article"), 8)
        self.assertEqual(self.browser.count("article svg.bar"), 16)
        left = ("return [...document.querySelectorAll('#c7 .bar')].map("
                "bar => bar.querySelectorAll('.nc')[1].getBoundingClientRect().left)")
        old, new = self.browser.script(left)
        self.assertLess(new, old)
        article = self.browser.texts("#c7")[0]
        for text in ("CPU 1 Temp", "upper_non_critical", "95 degrees C", "90 degrees C"):
            self.assertIn(text, article)
        self.assertEqual(self.browser.texts(".find .tag"), ["error", "warning", "note"])

    def test_the_companion_compares_the_examples(self):
        self.open("examples")
        self.assertEqual(self.browser.texts("h1"), ["OLDBOARD.SDR \u2192 BOARD.SDR"])
        changed = " ".join(self.browser.texts("article"))
        self.assertIn("upper_non_critical", changed)
        self.assertIn("85 degrees C", changed)
        self.assertEqual(self.browser.count("article svg.bar"), 2)

    def test_hostile_texts_stay_texts(self):
        self.open("hostile")
        self.assertEqual(self.browser.count("script, img, iframe, object, link, form"), 0)
        self.assertTrue(self.browser.driver.title.startswith("Sensor data records: <script>"))
        names = self.browser.texts("#sensors + p + table tbody tr bdi")
        self.assertEqual(names[0], "<script>alert(1)</script>")
        self.assertIn("\"><img src=http://x.y onerror=a", names)
        self.assertIn("</title></style><b>&lt;&amp;", names)
        self.assertIn("\\x1B[31mred\\x07\\x0D\\x0A\\x1A\\x7F", names)
        text = self.browser.script("return document.documentElement.textContent")
        self.assertEqual([c for c in text if ord(c) < 32 and c != "\n" or c in "\u202e\x7f\x9b"], [])
        handlers = "return [...document.querySelectorAll('*')].flatMap(e => e.getAttributeNames())"
        known = {"aria-hidden", "aria-label", "charset", "class", "content", "cx", "cy", "height",
                 "href", "http-equiv", "id", "lang", "name", "r", "role", "scope", "width", "x",
                 "y"}
        self.assertEqual(set(self.browser.script(handlers)) - known, set())
        links = "return [...document.links].filter(a => !a.getAttribute('href').startsWith('#')).length"
        self.assertEqual(self.browser.script(links), 0)

    def test_no_page_is_wider_than_its_window(self):
        width = "return document.documentElement.scrollWidth"
        for sample in ("one", "two", "many", "hostile"):
            for size in (WIDE, (800, 1000), NARROW):
                self.open(sample, size=size)
                self.assertLessEqual(self.browser.script(width), size[0], (sample, size))

    def test_many_sensors_are_drawn_quickly(self):
        self.open("many")
        self.assertEqual(self.browser.count("#sensors + p + table tbody tr"), SENSORS + MANY)
        self.assertEqual(self.browser.count("#sensors + p + table svg.bar"), BARS + MANY * 2 // 3)
        self.assertLess(self.page("many").stat().st_size, 400_000)

    def test_text_can_be_read_in_light_and_in_dark(self):
        colours = ("const of = e => getComputedStyle(e);"
                   "return [...document.querySelectorAll(arguments[0])].map(e => of(e).color)"
                   ".concat(of(document.body).backgroundColor)")
        for dark in (False, True):
            self.open("two", dark=dark)
            *texts, ground = self.browser.script(
                colours, "body, a, small, caption, th, dt, .tag, ins, del, .l, .key, code, footer")
            self.assertGreater(len(texts), 100)
            for text in set(texts):
                self.assertGreaterEqual(contrast(text, ground), 4.5, (text, ground, dark))

    def test_those_who_do_not_see_find_their_way(self):
        self.open("two")
        tree = self.browser.driver.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        by_role = {}
        for node in tree:
            if not node.get("ignored"):
                name = node.get("name", {}).get("value", "")
                by_role.setdefault(node["role"]["value"], []).append(name)
        bars = by_role.get("image", []) + by_role.get("img", [])
        self.assertEqual(len(bars), self.browser.count("svg.bar"))
        self.assertTrue(all("from " in bar for bar in bars), bars)
        self.assertIn("Sensors", by_role["heading"])
        self.assertGreaterEqual(len(by_role["columnheader"]), 4)
        self.assertGreaterEqual(len(by_role["rowheader"]), SENSORS)
        levels = self.browser.script("return [...document.querySelectorAll('h1,h2,h3')]"
                                     ".map(h => Number(h.tagName[1]))")
        self.assertEqual(levels[0], 1)
        self.assertTrue(all(b <= a + 1 for a, b in zip(levels, levels[1:])))

    def test_it_prints_on_paper(self):
        self.open("two", dark=True)
        self.browser.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "media": "print", "features": [{"name": "prefers-color-scheme", "value": "dark"}]})
        style = self.browser.script("const of = e => getComputedStyle(document.querySelector(e));"
                                    "return [of('nav').display, of('body').backgroundColor]")
        self.assertEqual(style, ["none", "rgb(255, 255, 255)"])
        paper = self.browser.driver.execute_cdp_cmd("Page.printToPDF", {})["data"]
        self.assertGreater(len(paper), 10_000)

    def test_pictures_for_people(self):
        if len(self.arguments) < 6:
            self.skipTest("no directory for pictures was given")
        pictures = pathlib.Path(self.arguments[5])
        pictures.mkdir(parents=True, exist_ok=True)
        for name, sample, size, dark in (("wide", "two", WIDE, False), ("dark", "two", WIDE, True),
                                         ("narrow", "two", NARROW, False),
                                         ("one", "one", WIDE, False)):
            self.open(sample, size=size, dark=dark)
            self.assertTrue(self.browser.driver.save_screenshot(str(pictures / f"{name}.png")))


if __name__ == "__main__":
    ReportTest.arguments = sys.argv[1:]
    if len(ReportTest.arguments) < 5:
        sys.exit(__doc__)
    unittest.main(argv=sys.argv[:1])
