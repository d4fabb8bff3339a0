#!/usr/bin/python3
"""Rewrite the reference in bus-api.md from the interface descriptions.

usage: make-bus-api.py [--check]

The text above the marker line is written by hand and stays. With --check nothing is written; the
exit status tells whether the file is current.
"""

import re
import sys
import xml.etree.ElementTree as ET
from pathlib import Path

DOCUMENT = Path(__file__).resolve().parent / "bus-api.md"
DATA = DOCUMENT.parent.parent / "data"
DESCRIPTIONS = ("com.tarvel.Perimond.xml", "com.tarvel.Perimond.Obj.xml")
MARKER = "<!-- docs/make-bus-api.py writes what follows from data/*.xml -->\n"
TIER = "com.tarvel.Perimond.Tier"


class Comment:
    """What stands before a member: "Name: text", or lines "@argument: text" and paragraphs."""

    def __init__(self, text):
        title, _, rest = text.strip().partition(":")
        self.title = title
        self.arguments, self.errors, prose = {}, [], []
        for line in rest.strip().splitlines():
            line = self.markup(line.strip())
            if argument := re.match(r"@(\w+): (.*)", line):
                self.arguments[argument[1]] = argument[2]
            elif error := re.match(r"- (\w+): (.*)", line):
                self.errors.append((error[1], re.sub(r"@(\w+)", r"`\1`", error[2])))
            elif line != "Errors:":
                prose.append(re.sub(r"@(\w+)", r"`\1`", line))
        self.prose = "\n".join(prose).strip()

    @staticmethod
    def markup(line):
        """Turn a reference to a member, #interface:Property or #interface.Method(), into code."""
        return re.sub(r"#[\w.]+(?::(\w+)|\.(\w+\(\)))", r"`\1\2`", line)


def sentence(text):
    return text[:1].upper() + text[1:]


def members(interface, kind):
    """Yield each member of a kind with the comment that stands before it."""
    comment = None
    for node in interface:
        if node.tag is ET.Comment:
            comment = Comment(node.text)
        elif node.tag == kind:
            yield node, comment


def arguments(member, direction=None):
    return ", ".join(
        f"{arg.get('name')} {arg.get('type')}"
        for arg in member.findall("arg")
        if direction in (None, arg.get("direction"))
    )


def method_lines(method, comment):
    tier = method.find(f"annotation[@name='{TIER}']").get("value")
    result = f" → {results}" if (results := arguments(method, "out")) else ""
    yield f"#### {method.get('name')}({arguments(method, 'in')}){result}"
    yield ""
    yield f"Tier: {tier}."
    yield ""
    yield comment.prose
    yield ""
    yield from argument_lines(comment)
    if comment.errors:
        yield "| error | when |"
        yield "|---|---|"
        for name, text in comment.errors:
            yield f"| `{name}` | {text} |"
        yield ""


def argument_lines(comment):
    for name, text in comment.arguments.items():
        yield f"- `{name}`: {text}"
    if comment.arguments:
        yield ""


def interface_lines(interface, comment):
    yield f"## {interface.get('name')}"
    yield ""
    yield f"{comment.arguments['short_description']}."
    yield ""
    if comment.prose:
        yield comment.prose
        yield ""
    if interface.find("method") is not None:
        yield "### Methods"
        yield ""
        for method, text in members(interface, "method"):
            yield from method_lines(method, text)
    if interface.find("signal") is not None:
        yield "### Signals"
        yield ""
        for signal, text in members(interface, "signal"):
            yield f"#### {signal.get('name')}({arguments(signal)})"
            yield ""
            yield text.prose
            yield ""
            yield from argument_lines(text)
    yield "### Properties"
    yield ""
    yield "| property | type | meaning |"
    yield "|---|---|---|"
    for prop, text in members(interface, "property"):
        yield f"| `{prop.get('name')}` | `{prop.get('type')}` | {sentence(text.prose)} |"
    yield ""


def reference():
    for name in DESCRIPTIONS:
        parser = ET.XMLParser(target=ET.TreeBuilder(insert_comments=True))
        root = ET.parse(DATA / name, parser).getroot()
        for interface, comment in members(root, "interface"):
            yield from interface_lines(interface, comment)


def main(arguments_given):
    current = DOCUMENT.read_text(encoding="utf-8")
    head = current.partition(MARKER)[0]
    wanted = head + MARKER + "\n" + "\n".join(reference())
    if arguments_given == ["--check"]:
        if wanted != current:
            sys.exit(f"{DOCUMENT} is not current: run {sys.argv[0]}")
    elif arguments_given:
        sys.exit(__doc__)
    else:
        DOCUMENT.write_text(wanted, encoding="utf-8")


if __name__ == "__main__":
    main(sys.argv[1:])
