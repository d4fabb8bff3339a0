"""Reads introspection data into the form of interface_table."""

import xml.etree.ElementTree as ET

from interface_table import Interface

TIER = "com.tarvel.Perimond.Tier"


def _arguments(member, direction=None):
    """A method's argument without a direction is an input; a signal's arguments have none."""
    return " ".join(
        f"{arg.get('name')}:{arg.get('type')}"
        for arg in member.findall("arg")
        if direction is None or arg.get("direction", "in") == direction
    )


def _tier(method):
    annotation = method.find(f"annotation[@name='{TIER}']")
    return None if annotation is None else annotation.get("value")


def interfaces(xml):
    """The interfaces of an introspection document by name; a property that can be written, or
    that is not announced when it changes, shows that after its signature."""
    found = {}
    for interface in ET.fromstring(xml).iter("interface"):
        properties = {}
        for prop in interface.findall("property"):
            remarks = [] if prop.get("access") == "read" else [prop.get("access")]
            remarks += [a.get("value") for a in prop.findall("annotation")]
            properties[prop.get("name")] = " ".join([prop.get("type"), *remarks])
        found[interface.get("name")] = Interface(
            methods={
                method.get("name"): (
                    _tier(method),
                    _arguments(method, "in"),
                    _arguments(method, "out"),
                )
                for method in interface.findall("method")
            },
            signals={s.get("name"): _arguments(s) for s in interface.findall("signal")},
            properties=properties,
        )
    return found
