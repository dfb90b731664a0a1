#!/usr/bin/python3
"""A run that broke is never green: what is missing, damaged or different fails its cell, with the reason everywhere."""

import json
import sys
import tempfile
import unittest
from pathlib import Path
from xml.etree import ElementTree

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "lab"))
from report import model, page, runner

STEPS = [{"name": name, "line": 1, "why": "", "text": []} for name in ("Install", "restart", "Update")]
DRIVER = {"name": "qxcomm", "service": "running", "start": 1, "section": "DefaultInstall", "file": "5.5.0.1256",
          "catalog": False, "marked for deletion": False}


def recorded(code="201A0001", text="update v2", failures=(), **other):
    """What the scenarios program records."""
    seen = {"plug-in": "5.5.0.1256", "drivers": [DRIVER], "registry": {"PermCount": 1}, "pending deletions": [],
            "renamed": []}
    return json.dumps({"skipped": False, "before": seen, "after": seen, "failures": list(failures),
                       "actions": [{"text": text, "code": code, "ms": 3.0, "tree": [], "log": []}], **other})


class Report(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir=runner.ROOT / "build")
        self.addCleanup(folder.cleanup)
        kept = runner.CELLS, model.FILE, page.HTML, page.JUNIT
        self.addCleanup(lambda: self.use(*kept))
        self.use(*(Path(folder.name) / name for name in ("matrix", "report.json", "report.html", "junit.xml")))
        (runner.CELLS / "win10").mkdir(parents=True)

    @staticmethod
    def use(*files):
        runner.CELLS, model.FILE, page.HTML, page.JUNIT = files

    def report(self, update, problem=""):
        """The report of a run whose last step recorded `update`."""
        done = {"seconds": 1.0, "problem": ""}
        for number, text in ((1, recorded()), (3, update)):
            if text is not None:
                runner.files("win10", number, STEPS[number - 1])[1].write_text(text)
        return model.build(["win10"], STEPS, {"win10": [done, done, {**done, "problem": problem}]}, 3)

    def test_outcomes(self):
        difference = "expected (-) and actual (+) lines:\n-5 what\x1b it says\n+5 <what> it said"
        for update, problem, outcome, reason in (
                (recorded(), "", "done", ""),
                (recorded("201A0002"), "", "restart", ""),
                (recorded("E01A000C"), "", "expected", ""),
                (recorded("E01A0004", "report"), "", "done", ""),
                (recorded(skipped=True), "", "skipped", ""),
                (recorded(), "exit code 3: watchdog", "failed", "exit code 3: watchdog"),
                (None, "", "failed", "the program ended without a report"),
                (recorded()[:-9], "", "failed", "the program's report is damaged"),
                (recorded(failures=[difference]), "exit code 1: x", "failed", "missing: 5 what\x1b it says"),
                (recorded(failures=['a\n  Which is: "1"\nb\n  Which is: "2"']), "", "failed",
                 '"1" where "2" was expected')):
            with self.subTest(outcome=outcome, reason=reason):
                report = self.report(update, problem)
                cell = report["columns"][0]["cells"][2]
                self.assertEqual((cell["outcome"], cell["reason"]), (outcome, reason))
                page.write(report)
                suites = ElementTree.parse(page.JUNIT).getroot()
                self.assertEqual(int(suites.get("failures")), len(suites.findall(".//failure")))
                self.assertEqual(bool(suites.findall(".//failure")), outcome == "failed")
                self.assertIn(f'<article class="cell {outcome}" id="win10-3"', page.HTML.read_text())
                self.assertEqual(model.load(), report)
                for name in ("matrix", "win10/03-Update.json"):
                    (runner.CELLS / name).unlink(missing_ok=True)

    def test_a_column_that_did_not_run_fails(self):
        report = model.build(["win10", "win7"], STEPS, {"win10": []}, 1)
        self.assertEqual(report["counts"]["failed"], 6)


if __name__ == "__main__":
    unittest.main()
