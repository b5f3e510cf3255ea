#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks the list of what the build consists of.

Usage: check_sbom.py SBOM BUILD_DIR TYPE...
"""
import json
import os
import subprocess
import sys

sbom, build, *types = sys.argv[1:]
environment = {**os.environ, "SOURCE_DATE_EPOCH": "1700000000"}
text = subprocess.run([sbom, build], check=True, capture_output=True, env=environment).stdout
again = subprocess.run([sbom, build], check=True, capture_output=True, env=environment).stdout
assert text == again, "two runs differ"

document = json.loads(text)
assert document["creationInfo"]["created"] == "2023-11-14T22:13:20Z"
packages = {package["SPDXID"]: package for package in document["packages"]}
assert len(packages) == len(document["packages"]), "an identifier has two meanings"
names = {package["name"] for package in packages.values()}
wanted = {"kwlookup", "kwlookupd", "libkwlookup.so.1", "libkwlog.so.1", "libkwhost.so.1", "libc6",
          "libboost-dev", *(f"libkw_lookup_{type}.so" for type in types)}
assert wanted <= names, wanted - names

references = {info["licenseId"] for info in document["hasExtractedLicensingInfos"]}
for package in packages.values():
    for word in package["licenseDeclared"].split():
        assert not word.startswith("LicenseRef-") or word in references, word
relations = {(r["spdxElementId"], r["relationshipType"], r["relatedSpdxElement"])
             for r in document["relationships"]}
for left, _, right in relations:
    assert left in packages or left == "SPDXRef-DOCUMENT", left
    assert right in packages, right
assert ("SPDXRef-kwlookup", "DEPENDS_ON", "SPDXRef-libkwlookup.so.1") in relations
assert ("SPDXRef-libkwlog.so.1", "DEPENDS_ON", "SPDXRef-libspdlog1.10") in relations
