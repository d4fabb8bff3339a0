#!/usr/bin/python3
"""Fill the bus policy with the methods of the interface descriptions.

usage: make-policy.py TEMPLATE DESCRIPTION... > POLICY
"""

import re
import sys
import xml.etree.ElementTree as ET

TIER = "com.tarvel.Perimond.Tier"
TIERS = ("read", "operate", "admin")
RULE = '    <allow send_destination="com.tarvel.Perimond" send_interface="{}" send_member="{}"/>'


def methods(description):
    """Yield the interface, name and tier of each method; the tier is None where none is stated."""
    for interface in ET.parse(description).getroot().iter("interface"):
        for method in interface.iter("method"):
            annotation = method.find(f"annotation[@name='{TIER}']")
            tier = None if annotation is None else annotation.get("value")
            yield interface.get("name"), method.get("name"), tier


def main(template, *descriptions):
    rules = {tier: [] for tier in TIERS}
    for description in descriptions:
        for interface, method, tier in methods(description):
            if tier not in rules:
                sys.exit(f"{description}: {interface}.{method} has no tier: {TIER} must be one of "
                         + ", ".join(TIERS))
            rules[tier].append(RULE.format(interface, method))

    with open(template, encoding="utf-8") as file:
        text = file.read()
    for tier in TIERS:
        text = re.sub(f"^@{tier}@$", "\n".join(rules[tier]), text, flags=re.MULTILINE)
    print(text, end="")


if __name__ == "__main__":
    main(*sys.argv[1:])
