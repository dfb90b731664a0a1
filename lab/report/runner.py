"""Runs the steps of the drivers' life in the lab, each in a process of its own, two Windows versions at a time."""

import os
import queue
import re
import shutil
import subprocess
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
LAB = ROOT / "build/lab"
CELLS = LAB / "matrix"
SCENARIOS = ROOT / "tests/e2e/scenarios/lifecycle.txt"
PRODUCT = ROOT / "build/product"
PROGRAM = ROOT / "build/tests/bin/scenarios.exe"
PASSED = re.compile(r"^\[  (PASSED  |SKIPPED )\] [1-9]", re.MULTILINE)


class UsageError(Exception):
    """What the user asked for cannot be done; one line says why."""


def versions():
    """The Windows versions that the lab can set."""
    listed = subprocess.run(["lab/lab.sh", "versions"], cwd=ROOT, text=True,
                            stdout=subprocess.PIPE, check=True)
    return listed.stdout.split()


def versions_left_out():
    """The Windows versions that only another Wine can set."""
    known = subprocess.run(["bash", "-c", '. lab/lab.sh; printf "%s" "$lab_known_versions"'], cwd=ROOT, text=True,
                           stdout=subprocess.PIPE, check=True).stdout
    offered = versions()
    return [line.split()[0] for line in known.splitlines() if line.strip() and line.split()[0] not in offered]


def steps():
    """The scenarios and restarts in their order, each with its text and where it stands."""
    found = []
    comment = []
    for number, line in enumerate(SCENARIOS.read_text().splitlines(), 1):
        words = line.split()
        if words[:1] == ["scenario"] or words == ["restart"]:
            name = words[1] if len(words) > 1 else "restart"
            found.append({"name": name, "line": number, "why": " ".join(comment), "text": []})
        elif words[:1] == ["block"]:
            found.append(None)  # its lines are nobody's
        elif words and words[0] != "#" and found and found[-1]:
            found[-1]["text"].append(line.strip())
        comment = comment + [line.lstrip("# ")] if line.startswith("#") else []
    return [step for step in found if step]


def files(version, number, step):
    """Where a step's output and its report lie."""
    stem = CELLS / version / f"{number:02}-{step['name']}"
    return stem.with_suffix(".log"), stem.with_suffix(".json")


def logs(version):
    """The outputs of a column's steps in their order."""
    return sorted((CELLS / version).glob("*.log"))


def run(columns, rows):
    """Runs `rows` on each of `columns`; for each version a list of what became of its steps."""
    shutil.rmtree(CELLS, ignore_errors=True)
    waiting = queue.SimpleQueue()
    for version in columns:
        waiting.put(version)
    results = {version: [] for version in columns}
    stopped = threading.Event()
    workers = [threading.Thread(target=work, args=(name, waiting, rows, results, stopped))
               for name in ("matrix-a", "matrix-b")[:len(columns)]]
    for worker in workers:
        worker.start()
    try:
        for worker in workers:
            worker.join()
    except KeyboardInterrupt:
        stopped.set()
        for worker in workers:
            worker.join()
        raise
    return results


def work(name, waiting, rows, results, stopped):
    """Takes one version after the other into one lab."""
    lab = Lab(name)
    try:
        while not stopped.is_set():
            version = waiting.get_nowait()
            run_column(lab, version, rows, results[version], stopped)
            print(f"  {version} done", flush=True)
    except queue.Empty:
        pass
    finally:
        lab.call(os.devnull, "lab_stop")


def run_column(lab, version, rows, done, stopped):
    """All steps on one version; where the lab does not start, none of them ran."""
    (CELLS / version).mkdir(parents=True)
    start = CELLS / version / "start.log"
    if any(lab.call(start, *command) != 0 for command in (
            ["lab_start"], ["lab_version", version], ["lab_expand", SCENARIOS.name, version])):
        done.extend({"problem": f"the lab did not start: {last_line(start)}"} for _ in rows)
        return
    for number, step in enumerate(rows, 1):
        if stopped.is_set():
            return
        done.append(run_step(lab, version, number, step))
    if any(result["problem"] for result in done):
        lab.call(start, "lab_is_spoilt")  # the next version starts with a prefix of its own


def run_step(lab, version, number, step):
    """One step: how long it took, and what kept it from being done, if anything."""
    log, report = files(version, number, step)
    began = time.monotonic()
    if step["name"] == "restart":
        code = lab.call(log, "lab_restart")
        problem = "" if code == 0 else f"the lab did not restart: {last_line(log)}"
    else:
        code = lab.call(log, "lab_in_scratch", str(PROGRAM), f"--gtest_filter=Scenario.{step['name']}",
                        STEWARD_OS=version, STEWARD_SCENARIOS=windows_path(lab.folder / SCENARIOS.name),
                        STEWARD_CELL_REPORT=windows_path(report))
        problem = problem_of(code, log)
    result = {"seconds": round(time.monotonic() - began, 2), "problem": problem}
    if problem:
        print(f"  {version}: {step['name']} failed, see {log.relative_to(ROOT)}", flush=True)
    return result


def problem_of(code, log):
    """An exit code alone does not do: Wine has been seen to answer 0 for a program that crashed."""
    if code != 0:
        return f"exit code {code}: {last_line(log)}"
    if not PASSED.search(log.read_text(errors="replace")):
        return "the program ended without saying that its test passed"
    return ""


def last_line(log):
    """What a program said last."""
    lines = log.read_text(errors="replace").split("\n") if log.exists() else []
    return next((line.strip() for line in reversed(lines) if line.strip()), "no output")


def windows_path(path):
    """A path of this machine as programs in the lab see it."""
    return "Z:" + str(path).replace("/", "\\")


class Lab:
    """One Wine prefix, through the functions of lab.sh."""

    def __init__(self, name):
        self.folder = LAB / name

    def call(self, log, function, *arguments, **environment):
        """Calls a function of lab.sh, its output added to `log`; the exit code is the answer."""
        with open(log, "ab") as output:
            return subprocess.run(["bash", "-c", '. lab/lab.sh && "$@"', "lab", function, *arguments], cwd=ROOT,
                                  env={**os.environ, **environment, "STEWARD_LAB": str(self.folder)},
                                  stdin=subprocess.DEVNULL, stdout=output, stderr=output, check=False).returncode
