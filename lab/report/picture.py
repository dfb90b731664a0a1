"""Where each part of the picture of the drivers' lives stands; templates/lives.svg.j2 draws it."""

LEFT = 152  # of the first step
SLOT = 38  # the width of a step
TOP = 172  # of the first lane, below the steps' names
LANE = 15
BAR = 11
GAP = 14  # between two Windows versions
LEGEND = 44

LETTER = 6.4  # about the width of one in the legend

STATES = {"running": "running", "stopped": "stopped", "old": "running its old, renamed image",
          "removed": "running, gone after the restart", "absent": "absent", "unknown": "not seen"}


def layout(report):
    """Everything with its place, in pixels."""
    steps = [step["name"] for step in report["steps"]]
    groups = []
    top = TOP
    for column in report["columns"]:
        lanes = [lane(each, top + LANE * index, steps) for index, each in enumerate(column["lives"])]
        groups.append({"version": column["version"], "top": top, "bottom": top + LANE * max(len(lanes), 1),
                       "lanes": lanes})
        top = groups[-1]["bottom"] + GAP
    marks = legend()
    width = max(LEFT + SLOT * len(steps) + 70, marks[-1]["x"] + 30 + LETTER * len(marks[-1]["words"]))
    return {"width": width, "height": top + LEGEND, "top": TOP, "bottom": top - GAP,
            "left": LEFT, "right": LEFT + SLOT * len(steps), "groups": groups, "legend_top": top + 6,
            "steps": [{"name": name, "x": LEFT + SLOT * number, "middle": LEFT + SLOT * number + SLOT / 2,
                       "restart": name == "restart"} for number, name in enumerate(steps)],
            "slot": SLOT, "bar": BAR, "legend": marks}


def legend():
    """The states with their places."""
    places = []
    x = LEFT
    for state, meaning in STATES.items():
        if state != "unknown":
            places.append({"state": state, "x": x, "words": meaning})
            x += 30 + LETTER * len(meaning) + 18
    return places


def lane(life, top, steps):
    """One driver's bars."""
    return {"driver": life["driver"], "top": top, "middle": top + BAR / 2, "bars": [
        {"x": LEFT + SLOT * span["from"], "width": SLOT * (span["to"] - span["from"]), "state": span["state"],
         "label": short(span["version"]), "words": words(span, steps)} for span in life["spans"]]}


def short(version):
    """As much of a version as fits into a bar."""
    return ".".join(version.split(".")[:2]) if version[:1].isdigit() else ""


def words(span, steps):
    """A span as a sentence."""
    state = STATES[span["state"]]
    version = f", file {span['version']}" if span["version"] else ""
    first, last = steps[span["from"]], steps[span["to"] - 1]
    return f"{state}{version}: " + (first if span["to"] - span["from"] == 1 else f"{first} to {last}")
