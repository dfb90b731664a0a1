"""What of a run is kept in the repository: docs/matrix.md and the picture that it and the README show."""

from report import page, runner

MATRIX = runner.ROOT / "docs/matrix.md"
PICTURE = runner.ROOT / "docs/lives.svg"
CODELESS = {"skipped": "-", "failed": "FAILED"}


def write(report):
    """Writes both, of a whole run without a failed cell."""
    if report["counts"]["failed"] or len(report["columns"]) != len(runner.versions()):
        raise runner.UsageError("the last run was not whole or a cell of it failed; run ./dev lab first")
    MATRIX.write_text(page.rendered("matrix.md.j2", report, table=table(report)))
    PICTURE.write_text(page.rendered("lives.svg.j2", report, alone=True))
    print(f"{MATRIX.relative_to(runner.ROOT)} and {PICTURE.relative_to(runner.ROOT)} are written")
    return 0


def table(report):
    """The matrix as Markdown."""
    names = [step["name"] for step in report["steps"]]
    columns = [["step", *names]] + [[column["version"], *map(text_of, column["cells"])] for column in report["columns"]]
    widths = [max(map(len, column)) for column in columns]
    rows = [" | ".join(text.ljust(width) for text, width in zip(row, widths)) for row in zip(*columns)]
    rule = "|".join("-" * (width + 2) for width in widths)
    return "\n".join([f"| {rows[0]} |", f"|{rule}|", *(f"| {row} |" for row in rows[1:])])


def text_of(made):
    """A cell in one word."""
    return CODELESS.get(made["outcome"]) or made["code"] or "ok"
