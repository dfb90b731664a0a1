"""Writes what a run leaves in build/lab: the page, the same as JSON, and JUnit's XML for other people's CI."""

import json
import re
from xml.etree import ElementTree

import jinja2
import markupsafe

from report import model, picture, runner

HTML = runner.LAB / "report.html"
JUNIT = runner.LAB / "junit.xml"
TEMPLATES = runner.ROOT / "lab/report/templates"

# What an outcome is called, and its sign for those who do not see its colour.
OUTCOMES = {"done": ("done", "✓"), "restart": ("restart required", "↻"), "expected": ("failed as expected", "≠"),
            "skipped": ("does not apply", "–"), "failed": ("failed", "✗")}


def write(report):
    """Writes all three."""
    model.FILE.write_text(json.dumps(report, indent=1))
    HTML.write_text(rendered("report.html.j2", report))
    JUNIT.write_text(junit(report))


def rendered(template, report, **more):
    """A template filled with a report."""
    environment = jinja2.Environment(loader=jinja2.FileSystemLoader(TEMPLATES), trim_blocks=True, lstrip_blocks=True,
                                     undefined=jinja2.StrictUndefined,
                                     autoescape=lambda name: ".md" not in name and ".css" not in name)
    environment.filters.update(duration=duration, breakable=breakable, in_words=in_words)
    return environment.get_template(template).render(
        report=report, outcomes=OUTCOMES, picture=picture.layout(report), **more)


def duration(milliseconds):
    """A time for a person: "340 ms", "3.1 s"."""
    return f"{milliseconds:.0f} ms" if milliseconds < 1000 else f"{milliseconds / 1000:.1f} s"


def breakable(name):
    """A name in camel case that may be broken between its words."""
    return markupsafe.Markup("<wbr>").join(re.split(r"(?<=[a-z])(?=[A-Z])", name))


def in_words(action):
    """What a scenario writes as "update v1 1"."""
    what, *rest = action.split()
    return ", ".join([what, *(f"{name} {value}" for name, value in zip(("package", "compare state"), rest))])


def junit(report):
    """A suite for each Windows version, a test case for each step."""
    counts = report["counts"]
    root = ElementTree.Element("testsuites", name="lifecycle", tests=str(counts["cells"]), errors="0",
                               failures=str(counts["failed"]), skipped=str(counts["skipped"]),
                               time=str(report["seconds"]))
    for column in report["columns"]:
        cells = column["cells"]
        number_of = {name: str(sum(made["outcome"] == name for made in cells)) for name in OUTCOMES}
        suite = ElementTree.SubElement(
            root, "testsuite", name=f"lifecycle.{column['version']}", tests=str(len(cells)), errors="0",
            failures=number_of["failed"], skipped=number_of["skipped"],
            time=f"{sum(made['seconds'] or 0 for made in cells):.2f}")
        for made in cells:
            suite.append(test_case(made))
    ElementTree.indent(root)
    return ElementTree.tostring(root, encoding="unicode", xml_declaration=True) + "\n"


def test_case(made):
    """One cell; a failed one with what was expected."""
    case = ElementTree.Element("testcase", classname=f"lifecycle.{made['version']}",
                               name=f"{made['number']:02} {made['step']}", time=f"{made['seconds'] or 0:.2f}")
    if made["outcome"] == "skipped":
        ElementTree.SubElement(case, "skipped", message="does not apply to this Windows version")
    if made["outcome"] == "failed":
        failure = ElementTree.SubElement(case, "failure", type="failure", message=printable(made["reason"]))
        lines = [line["text"] for difference in made["differences"] for line in difference]
        lines += [made["output"], f"repeat: {made['repeat']}", f"log: {made['log']}"]
        failure.text = printable("\n".join(lines))
    return case


def printable(text):
    """XML has no way to write most control characters."""
    return "".join(c if c in "\n\t" or c >= " " else "\N{REPLACEMENT CHARACTER}" for c in text.replace("\r", ""))
