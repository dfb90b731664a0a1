"""What the steps left, as one report: all that the page shows, and nothing that has to be looked up elsewhere."""

import json
import re
import subprocess

from report import life, machine, runner

FILE = runner.LAB / "report.json"
HEADER = runner.ROOT / "include/driverSteward.h"
FAILURE = 0xC0000000  # the severity bits of a result code
RESTART_REQUIRED = "201A0002"


def build(versions, steps, results, seconds):
    """The report of one run; a step without a result is a failed cell that says so."""
    meanings = codes()
    columns = []
    for version in versions:
        known = results.get(version, [])
        cells = [cell(version, number, step, known[number - 1] if number <= len(known) else None, meanings)
                 for number, step in enumerate(steps, 1)]
        see_restarts(cells)
        columns.append({"version": version, "cells": cells, "lives": life.lives(cells)})
    return {"schema": 1, "tested": tested(columns), "steps": steps, "columns": columns,
            "left out": runner.versions_left_out(), "counts": counts(columns), "seconds": round(seconds, 1)}


def load():
    """The report of the last run."""
    if not FILE.exists():
        raise runner.UsageError(f"there is no {FILE.relative_to(runner.ROOT)}; run ./dev lab first")
    return json.loads(FILE.read_text())


def codes():
    """The result codes as the public header explains them: code to name and meaning."""
    found = re.findall(r"#define (DS_\w+)[\s\\]+0x([0-9A-F]{8})U\s*/\* (.*?) \*/", HEADER.read_text())
    return {code: {"name": name, "meaning": meaning} for name, code, meaning in found}


def cell(version, number, step, result, meanings):
    """One step on one Windows version."""
    result = result or {"problem": "the step was not run"}
    log, report = runner.files(version, number, step)
    recorded, problem = recording(report, step, result["problem"])
    actions = recorded["actions"]
    code = actions[-1]["code"] if actions else None
    failures = recorded["failures"]
    made = {
        "id": f"{version}-{number}", "version": version, "number": number, "step": step["name"],
        "code": code, "seconds": result.get("seconds"), "actions": actions,
        "milliseconds": sum(action["ms"] for action in actions),
        "reason": reason(problem, failures), "differences": [marked(failure) for failure in failures],
        "output": log.read_text(errors="replace")[-4000:] if problem and not failures and log.exists() else "",
        "repeat": f"./dev lab {version}" + ("" if step["name"] == "restart" else f" {step['name']}"),
        "log": str(log.relative_to(runner.ROOT)),
        "before": recorded["before"], "after": recorded["after"],
    }
    made["outcome"] = outcome(made, recorded["skipped"])
    for action in actions:
        action.update(meanings.get(action["code"], {"name": "", "meaning": "not a code of this plug-in"}))
    made["machine"] = machine.compared(made["before"], made["after"])
    return made


def recording(file, step, problem):
    """What the program recorded, and what is wrong with the step: the program ended without a report, for instance."""
    nothing = {"actions": [], "failures": [], "skipped": False, "before": None, "after": None}
    if step["name"] == "restart":
        return nothing, problem
    try:
        return {**nothing, **json.loads(file.read_text())}, problem
    except FileNotFoundError:
        return nothing, problem or "the program ended without a report"
    except ValueError:
        return nothing, problem or "the program's report is damaged"


def outcome(made, skipped):
    """One of: failed, skipped, restart, expected (it had to fail and did), done."""
    if made["reason"]:
        return "failed"
    if skipped:
        return "skipped"
    if made["code"] == RESTART_REQUIRED:
        return "restart"
    if made["code"] and int(made["code"], 16) & FAILURE and made["actions"][-1]["text"] != "report":
        return "expected"
    return "done"


def reason(problem, failures):
    """In one line why the cell failed; empty for a cell that did not."""
    if not failures:
        return problem
    lines = [line for line in marked(failures[0]) if line["mark"]]
    values = re.findall(r"Which is: (.*)", failures[0])
    if lines:
        return ("missing: " if lines[0]["mark"] == "-" else "not expected: ") + lines[0]["text"][1:].strip()
    if len(values) == 2:
        return f"{values[0]} where {values[1]} was expected"
    return failures[0].split("\n")[0]


def marked(failure):
    """A failure line by line: "-" was expected, "+" was there, "" is the rest."""
    return [{"mark": line[0] if line[:1] in ("-", "+") else "", "text": line.rstrip("\r")}
            for line in failure.split("\n")]


def see_restarts(cells):
    """A restart shows nothing by itself: the machine before it is the last step's, the one after it the next step's."""
    for number, made in enumerate(cells):
        if made["step"] != "restart":
            continue
        made["before"] = next((old["after"] for old in reversed(cells[:number]) if old["after"]), None)
        made["after"] = next((new["before"] for new in cells[number + 1:] if new["before"]), None)
        made["machine"] = machine.compared(made["before"], made["after"])


def counts(columns):
    """How many cells there are of each outcome."""
    outcomes = [made["outcome"] for column in columns for made in column["cells"]]
    return {"cells": len(outcomes), **{name: outcomes.count(name)
                                       for name in ("done", "restart", "expected", "skipped", "failed")}}


def tested(columns):
    """What was tested, and by what."""
    plugin = next((made["after"]["plug-in"] for column in columns for made in column["cells"]
                   if made["after"] and "plug-in" in made["after"]), "unknown")
    changes = said("git", "status", "--porcelain")
    return {"commit": said("git", "rev-parse", "--short=12", "HEAD") + (" with changes" if changes else ""),
            "plug-in": plugin, "wine": said("bash", "-c", ". lab/lab.sh; lab_wine_version"),
            "compiler": compiler()}


def said(*command):
    """What a command prints, "" when it fails."""
    ran = subprocess.run(command, cwd=runner.ROOT, text=True, stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL, check=False)
    return ran.stdout.strip() if ran.returncode == 0 else ""


def compiler():
    """The C++ compiler of the product, as CMake found it."""
    for file in sorted(runner.PRODUCT.glob("CMakeFiles/*/CMakeCXXCompiler.cmake")):
        found = dict(re.findall(r"set\((CMAKE_CXX_COMPILER_(?:ID|VERSION)) \"(.*)\"\)", file.read_text()))
        return " ".join(found.values())
    return "unknown"
