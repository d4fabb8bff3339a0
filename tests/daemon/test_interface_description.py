#!/usr/bin/python3
"""The installed interface description holds what the table of the published contract holds.

The environment names the source folder of the descriptions in PERIMOND_TEST_DATA.
"""

import os
import re
import unittest

from interface_table import ADMIN, INTERFACES, OPERATE, READ
from introspection import interfaces
from perimond import tap

DATA = os.environ["PERIMOND_TEST_DATA"]
DESCRIPTIONS = ("com.tarvel.Perimond.xml", "com.tarvel.Perimond.Obj.xml")
ERRORS = {
    "OperationFailure",
    "OperationNotSupported",
    "OperationNotPermitted",
    "PermissionDenied",
    "InvalidCommand",
    "InvalidArgument",
    "ExternalLibraryFailure",
    "DeviceIOFailure",
    "InvalidFileName",
    "InvalidFileType",
    "InvalidFileAttribute",
    "SystemLevelFailure",
    "PeripheralNotAvailable",
    "PeripheralNotReady",
    "PeripheralNotSupported",
    "PeripheralNotFound",
    "PeripheralUnknownValue",
}


def text(name):
    with open(os.path.join(DATA, name), encoding="utf-8") as file:
        return file.read()


class DescriptionTest(unittest.TestCase):
    maxDiff = None

    def test_the_manager_has_a_description_of_its_own(self):
        self.assertEqual(list(interfaces(text(DESCRIPTIONS[0]))), ["com.tarvel.Perimond"])

    def test_every_member_argument_signature_access_and_tier_is_as_published(self):
        found = {}
        for name in DESCRIPTIONS:
            found.update(interfaces(text(name)))
        self.assertEqual(list(found), list(INTERFACES))
        for name, interface in INTERFACES.items():
            with self.subTest(name):
                self.assertEqual(found[name], interface)

    def test_the_tiers_hold_18_19_and_12_methods(self):
        tiers = [tier for i in INTERFACES.values() for tier, _, _ in i.methods.values()]
        self.assertEqual([tiers.count(tier) for tier in (READ, OPERATE, ADMIN)], [18, 19, 12])

    def test_every_member_is_described_and_every_argument_of_it(self):
        """A comment "Name:" stands straight before each member and speaks of each argument."""
        member = r'<(interface|method|signal|property) name="([^"]+)"'
        for name in DESCRIPTIONS:
            document = text(name)
            described = set()
            for match in re.finditer(r"<!--\s*([\w.]+):((?:(?!-->).)*)-->\s*" + member, document,
                                     re.DOTALL):
                title, comment, kind, member_name = match.groups()
                described.add(match.start(4))
                with self.subTest(f"{name}: {member_name}"):
                    self.assertEqual(title, member_name)
                    if kind in ("method", "signal"):
                        body = document[match.end():].partition(f"</{kind}>")[0]
                        self.assertEqual(
                            re.findall(r"^\s*@(\w+): \S", comment, re.MULTILINE),
                            re.findall(r'<arg name="(\w+)"', body),
                        )
            self.assertEqual(described, {m.start(2) for m in re.finditer(member, document)})

    def test_every_error_that_a_comment_names_exists(self):
        for name in DESCRIPTIONS:
            named = set(re.findall(r"^\s+- (\w+): ", text(name), re.MULTILINE))
            self.assertLessEqual(named, ERRORS)


if __name__ == "__main__":
    tap.main()
