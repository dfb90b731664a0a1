#!/usr/bin/python3
"""Holds a release's bill of materials against its schema and against the files: bill_of_materials.py <folder>.

Faults: fields that SPDX 2.3 does not know or misses; two elements of one name, a relation to none; a file that is not
listed or differs; a part without its origin.
"""
import hashlib
import json
import pathlib
import sys

import jsonschema

FOLDER = pathlib.Path(sys.argv[1])
SCHEMA = json.loads((pathlib.Path(__file__).parents[2] / "cmake/release/spdx.schema.json").read_text())
DOCUMENT = json.loads((FOLDER / "driverSteward.spdx.json").read_text(encoding="utf-8"))
OWN = "SPDXRef-File-driverSteward-"

jsonschema.Draft202012Validator.check_schema(SCHEMA)
errors = [f"{'/'.join(map(str, error.absolute_path))}: {error.message}"
          for error in jsonschema.Draft202012Validator(SCHEMA).iter_errors(DOCUMENT)]
assert not errors, "\n".join(errors)

names = [DOCUMENT["SPDXID"]] + [element["SPDXID"] for kind in ("packages", "files") for element in DOCUMENT[kind]]
assert len(names) == len(set(names)), "two elements have one name"
for relation in DOCUMENT["relationships"]:
    assert {relation["spdxElementId"], relation["relatedSpdxElement"]} <= set(names), relation

listed = {file["fileName"][2:]: file["checksums"][1]["checksumValue"] for file in DOCUMENT["files"]
          if file["SPDXID"].startswith(OWN)}
found = {path.relative_to(FOLDER).as_posix(): hashlib.sha256(path.read_bytes()).hexdigest()
         for path in FOLDER.rglob("*") if path.is_file() and path.name not in ("driverSteward.spdx.json", "SHA256SUMS")}
assert listed == found, sorted(set(listed.items()) ^ set(found.items()))

main, *parts = DOCUMENT["packages"]
licences = {licence["licenseId"] for licence in DOCUMENT["hasExtractedLicensingInfos"]}
for part in parts:
    assert part["externalRefs"], part
    assert not part["licenseDeclared"].startswith("LicenseRef-") or part["licenseDeclared"] in licences, part
    for kind in "CONTAINS", "STATIC_LINK":
        assert any(kind == relation["relationshipType"] and part["SPDXID"] in relation.values()
                   for relation in DOCUMENT["relationships"]), (kind, part["name"])
print(f"{len(found)} files, {len(parts)} parts of others: "
      + ", ".join(f"{part['name']} {part['versionInfo']}" for part in parts))
