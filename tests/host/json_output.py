#!/usr/bin/python3
"""Every kind of stewardHost's --json against docs/stewardHost.schema.json, from real actions in the lab.

Usage: json_output.py <stewardHost.exe> <folder of the sample packages>, started by `lab/lab.sh python`
or with WINEPREFIX set to a booted lab. Faults: output that is no JSON, more than JSON, not ASCII, or another
than documented; an exit code in it that is not the program's; a failure without its reason.
"""
import json
import os
import pathlib
import shutil
import subprocess
import sys

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCHEMA = json.loads((ROOT / "docs/stewardHost.schema.json").read_text())
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)
HOST, PACKAGES = sys.argv[1], pathlib.Path(sys.argv[2]).resolve()
WINE = shutil.which("wine64") or "/usr/lib/wine/wine64"
WORK = pathlib.Path(os.environ["WINEPREFIX"]) / "drive_c/json_output"


def windows(path):
    return "Z:" + str(path).replace("/", "\\")


def call(expected, kind, *arguments, plain_file=None):
    """Runs the host, checks what every answer must hold, and returns it."""
    run = subprocess.run([WINE, HOST, *arguments, "--json"], stdin=subprocess.DEVNULL,
                         capture_output=True, timeout=300, check=False)
    text = plain_file.read_bytes() if plain_file else run.stdout
    shown = f"{' '.join(arguments)}: {text[:2000].decode(errors='replace')} {run.stderr.decode(errors='replace')}"
    answer = json.loads(text.decode("ascii"))
    errors = [f"{'/'.join(map(str, error.absolute_path))}: {error.message}" for error in VALIDATOR.iter_errors(answer)]
    assert not errors, "\n".join(errors) + "\n" + shown
    assert answer["kind"] == kind, shown
    assert answer["exitCode"] == expected, shown
    assert run.returncode == expected & 255, f"{run.returncode}, {shown}"
    return answer


def main():
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    shutil.copytree(PACKAGES / "v1", WORK / "broken")
    (WORK / "broken/qxevtmgr.sys").unlink()
    v1, v2, broken = (windows(path) for path in (PACKAGES / "v1", PACKAGES / "v2", WORK / "broken"))
    log = WORK / "trace.log"

    call(0, "status", "status")
    assert call(0, "check", "check", "install", v1)["preflight"]["refused"] is False
    installed = call(0, "actions", "install", v1, "--log", windows(log))
    assert [driver["service"]["state"] for driver in installed["drivers"]] == ["running"] * 3
    assert installed["records"][0]["trace"][0]["call"] == "DoActionFromDrvInfo"

    refused = call(1, "actions", "update", broken)
    assert refused["ending"] == "refused" and refused["records"][0]["result"] is None
    call(1, "check", "check", "update", broken)
    failed = call(1, "actions", "batch", "update=0:" + v2, "update:" + broken, "install:" + v1, "--force")
    assert [record["result"]["id"] for record in failed["records"]] == ["unsupported-request", "failed-batch-aborted"]
    assert [record["reasons"][0]["id"] for record in failed["records"]] == ["compare-state-rejected", "copy-failed"]
    assert [request["action"] for request in failed["notProcessed"]] == ["install"]

    call(0, "actions", "uninstall", v1)
    again = call(1, "actions", "uninstall", v1, "--force")
    assert again["records"][0]["reasons"][0]["id"] == "driver-missing"

    assert call(0, "trace", "trace", windows(log))["trace"] == installed["records"][0]["trace"]
    call(0, "diag", "diag", "--package", v1)
    call(0, "diag", "diag", windows(WORK / "case.json"), plain_file=WORK / "case.json")
    call(0, "version", "--version")
    assert "problem" in call(0, "version", "--version", "--plugin", "C:\\no.dll")["plugIn"]
    for arguments in (["instal", v1], ["update", v1, "--compare-state", ""], []):
        assert call(2, "error", *arguments)["error"]["id"] == "usage"
    assert call(1, "error", "status", "--plugin", "C:\\no.dll")["error"]["id"] == "failure"
    shutil.rmtree(WORK)
    print("all answers are as documented")


main()
