"""Each driver's life on one Windows version: spans of steps in which nothing about it changed."""

from report import machine


def lives(cells):
    """One lane for each driver: spans from a step to the one before `to`, with the driver's state and file version."""
    moments = [made["after"] for made in cells]
    names = next(([driver["name"] for driver in seen["drivers"]] for seen in moments if seen), [])
    return [{"driver": name, "spans": spans(moments, index)} for index, name in enumerate(names)]


def spans(moments, index):
    """A step that showed nothing (it was left out on this version) changed nothing."""
    found = []
    for number, seen in enumerate(moments):
        if seen:
            driver = seen["drivers"][index]
            now = {"state": machine.state(driver, seen),
                   "version": "" if driver["file"] == "absent" else driver["file"]}
        else:
            last = found[-1] if found else {"state": "unknown", "version": ""}
            now = {key: last[key] for key in ("state", "version")}
        if found and all(found[-1][key] == value for key, value in now.items()):
            found[-1]["to"] = number + 1
        else:
            found.append({"from": number, "to": number + 1, **now})
    return found
