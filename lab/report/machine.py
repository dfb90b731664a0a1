"""The machine as a list of named values, so that two moments can be compared."""

START_TYPES = {0: "0 (boot)", 1: "1 (system)", 2: "2 (automatic)", 3: "3 (on demand)", 4: "4 (disabled)"}
NOTHING = "-"


def compared(before, after):
    """Name, value before, value after and whether it changed, for all that either moment shows."""
    old, new = values(before), values(after)
    return [{"name": name, "before": old.get(name, NOTHING), "after": new.get(name, NOTHING),
             "changed": bool(before and after) and old.get(name, NOTHING) != new.get(name, NOTHING)}
            for name in list(old) + [name for name in new if name not in old]]


def values(seen):
    """All of one moment; none when it was not seen."""
    if not seen:
        return {}
    named = {}
    for driver in seen["drivers"]:
        named.update({f"{driver['name']}, {name}": value for name, value in of_driver(driver, seen).items()})
    for name, number in seen["registry"].items():
        named[f"registry value {name}"] = NOTHING if number is None else str(number)
    named["files renamed away"] = "\n".join(
        f"{file['path']} (was {file['was']} {file['version']})" for file in seen["renamed"]) or NOTHING
    named["deleted at the restart"] = "\n".join(seen["pending deletions"]) or NOTHING
    return named


def of_driver(driver, seen):
    """What is to be said of one driver."""
    old = old_image(driver, seen)
    running = driver["service"] == "running"
    return {"service": driver["service"] + (", marked for deletion" if driver["marked for deletion"] else ""),
            "start type": START_TYPES.get(driver["start"], NOTHING),
            "INF section": driver["section"] or NOTHING,
            "file": driver["file"],
            "loaded image": (old["version"] + " (renamed away)" if old else driver["file"]) if running else NOTHING,
            "catalog": "present" if driver["catalog"] else "absent"}


def old_image(driver, seen):
    """The renamed file that a running driver still runs: the first one since the restart that deletes them all."""
    if driver["service"] != "running":
        return None
    renamed = {file["path"]: file for file in seen["renamed"]}
    return next((renamed[path] for path in seen["pending deletions"]
                 if path in renamed and renamed[path]["was"].lower() == driver["name"] + ".sys"), None)


def state(driver, seen):
    """One of: absent, stopped, running, old (runs a renamed image), removed (gone after the restart), unknown."""
    if driver["service"] == "absent":
        return "absent"
    own_file = "\\drivers\\" + driver["name"] + ".sys"
    if driver["marked for deletion"] or any(path.lower().endswith(own_file) for path in seen["pending deletions"]):
        return "removed"
    if old_image(driver, seen):
        return "old"
    return driver["service"] if driver["service"] in ("running", "stopped") else "unknown"
