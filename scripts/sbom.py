#!/usr/bin/env python3
"""What a release is made of, as SPDX 2.3 in JSON: the library, and everything that its shared libraries
(the arguments, after VERSION, TIME in seconds and the digest of the tarball) are linked with, in the
version that is installed here. Licences are those of packaging/licences.json; a library that is not
listed there stops the run."""

import datetime
import json
import re
import subprocess
import sys
from pathlib import Path

import tree

LICENCES = json.loads(tree.text("packaging/licences.json"))


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def needed(library):
    return re.findall(r"\(NEEDED\).*\[(.*)\]", output("readelf", "-d", library))


def version_of(soname):
    """The version of the Debian package that the library comes from."""
    paths = re.findall(r"=> (\S+)", "\n".join(
        line for line in output("/sbin/ldconfig", "-p").splitlines() if line.split(" ")[0].strip() == soname))
    for path in paths:
        # A package may know the file by where it was before directories were merged.
        for candidate in [path, str(Path(path).resolve()), path.removeprefix("/usr")]:
            found = subprocess.run(["dpkg-query", "-S", candidate], capture_output=True, text=True)
            if found.returncode == 0:
                package = found.stdout.split(": ")[0]
                return output("dpkg-query", "-W", "-f=${Version}", package)
    sys.exit(f"{soname} comes from no package")


def package(identifier, name, version, licence, home, **more):
    return {"SPDXID": f"SPDXRef-{identifier}", "name": name, "versionInfo": version,
            "downloadLocation": "NOASSERTION", "homepage": home, "licenseConcluded": licence,
            "licenseDeclared": licence, "copyrightText": "NOASSERTION", "filesAnalyzed": False, **more}


def main():
    version, seconds, digest, *libraries = sys.argv[1:]
    made = datetime.datetime.fromtimestamp(int(seconds), datetime.timezone.utc)
    own = package("JNFoundation", "JNFoundation", version, "MIT", "NOASSERTION",
                  checksums=[{"algorithm": "SHA256", "checksumValue": digest}])
    beneath = {}
    for library in libraries:
        for soname in needed(library):
            stem = soname.split(".so")[0]
            if stem.startswith("libJNFoundation"):
                continue
            if stem not in LICENCES:
                sys.exit(f"{library} needs {soname}, which packaging/licences.json does not know")
            entry = LICENCES[stem]
            identifier = re.sub(r"[^A-Za-z0-9]+", "-", entry["name"])
            if identifier not in beneath:
                beneath[identifier] = package(identifier, entry["name"], version_of(soname),
                                              entry["licence"], entry["home"])
    relations = [{"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES",
                  "relatedSpdxElement": "SPDXRef-JNFoundation"}]
    relations += [{"spdxElementId": "SPDXRef-JNFoundation", "relationshipType": "DYNAMIC_LINK",
                   "relatedSpdxElement": f"SPDXRef-{identifier}"} for identifier in sorted(beneath)]
    print(json.dumps({
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"jnfoundation-{version}",
        "documentNamespace": f"urn:jnfoundation:{version}:{digest}",
        "creationInfo": {"created": made.strftime("%Y-%m-%dT%H:%M:%SZ"),
                         "creators": ["Organization: JNFoundation contributors", "Tool: scripts/sbom.py"]},
        "packages": [own, *(beneath[identifier] for identifier in sorted(beneath))],
        "relationships": relations}, indent=2))


if __name__ == "__main__":
    main()
