"""Sources include only downwards: from main to the core, through the layers below.

PERIMOND_TEST_SOURCES names the folder of the sources, PERIMOND_TEST_STAGE that of the staged headers.
"""

import os
import re
import unittest

from perimond import tap

SOURCES = os.environ["PERIMOND_TEST_SOURCES"]
STAGE = os.environ["PERIMOND_TEST_STAGE"]

MAIN, MANAGER, KINDS, REGISTRY, HELPERS, GUARD, CORE = 6, 5, 4, 3, 2, 1, 0
LAYER_NAMES = {MAIN: "main", MANAGER: "manager", KINDS: "services and peripherals",
              REGISTRY: "registry", HELPERS: "helpers", GUARD: "guard", CORE: "core"}

FOLDERS = {"core": CORE, "guard": GUARD, "helpers": HELPERS, "manager": MANAGER,
           "peripherals": KINDS, "services": KINDS}

# The sources of the top folder that are not of the core. The headers are what services, peripherals
# and plugins know of the manager.
FILES = {"main.cc": MAIN, "zolv-base-manager.h": REGISTRY, "zolv-plugin.h": REGISTRY}


def layer(path):
    folder = path.rpartition("/")[0]
    if folder:
        return FOLDERS[folder.partition("/")[0]]
    return FILES.get(path, CORE)


def kind(path):
    """The kind of a source in a kind's folder; none for what kinds share."""
    match = re.fullmatch(r"(peripherals/\w+)/.*", path)
    return match and match[1]


class IncludeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.includes = []
        for folder, _, names in os.walk(SOURCES):
            for name in names:
                if name.endswith((".cc", ".h")):
                    path = os.path.relpath(os.path.join(folder, name), SOURCES)
                    with open(os.path.join(folder, name), encoding="utf-8") as file:
                        cls.includes += [(path, included) for included in
                                         re.findall(r'^\s*#\s*include\s+"(.*)"', file.read(), re.M)]

    def test_it_sees_the_sources(self):
        self.assertIn(("main.cc", "zolv-base-manager.h"), self.includes)
        self.assertIn(("peripherals/led/zolv-led-gpio.h", "peripherals/led/zolv-led.h"),
                      self.includes)

    def test_the_guarded_connection_is_the_only_one(self):
        unguarded = re.compile(r"g_bus_(get|own_name|watch_name)(_sync|_finish)?\s*\(|"
                               r"g_dbus_\w*_new_for_bus|_new_for_address|_proxy_new_for_bus")
        for folder, _, names in os.walk(SOURCES):
            for name in names:
                with open(os.path.join(folder, name), encoding="utf-8") as file:
                    self.assertIsNone(unguarded.search(file.read()), name)

    def test_every_include_names_the_path_below_the_sources(self):
        generated = {"zolv-version.h"}
        self.assertEqual([(path, included) for path, included in self.includes
                          if included not in generated
                          and not os.path.exists(os.path.join(SOURCES, included))], [])

    def test_no_source_includes_a_higher_layer(self):
        self.assertEqual([f"{path} of the {LAYER_NAMES[layer(path)]} includes {included} of the "
                          f"{LAYER_NAMES[layer(included)]}" for path, included in self.includes
                          if layer(included) > layer(path)], [])

    def test_only_headers_are_included(self):
        self.assertEqual([(path, included) for path, included in self.includes
                          if not included.endswith(".h")], [])

    def test_a_kind_includes_of_another_its_public_headers_alone(self):
        self.assertEqual([(path, included) for path, included in self.includes
                          if kind(path) and kind(included) and kind(path) != kind(included)
                          and not os.path.exists(os.path.join(STAGE, included))], [])

    def test_no_kind_knows_the_services(self):
        self.assertEqual([(path, included) for path, included in self.includes
                          if path.startswith("peripherals/")
                          and included.startswith("services/")], [])


if __name__ == "__main__":
    tap.main()
