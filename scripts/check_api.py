#!/usr/bin/env python3
"""Every name on the pages of the API has a comment, and Doxygen understands each comment as it is meant.

`./run site` has Doxygen write down what it finds wanting. The values of enums, which it does not look
at, are looked for in what it writes as XML."""

import xml.etree.ElementTree as ElementTree

import tree

LOG = tree.ROOT / "build" / "logs" / "doxygen.log"
PAGES = tree.ROOT / "build" / "api-xml"


def has_comment(element):
    return any("".join(element.find(name).itertext()).strip()
               for name in ("briefdescription", "detaileddescription"))


def problems():
    """What is wrong, and how many names were looked at."""
    found, count = sorted(set(LOG.read_text().replace(f"{tree.ROOT}/build/api/", "").splitlines())), 0
    for path in sorted(PAGES.glob("*.xml")):
        for member in ElementTree.parse(path).getroot().iter("memberdef"):
            count += 1
            for value in member.findall("enumvalue"):
                count += 1
                if not has_comment(value):
                    place = member.find("location")
                    name = place.get("file").removeprefix("build/api/")
                    found.append(f"{name}:{place.get('line')}: the value {value.findtext('name')} of "
                                 f"{member.findtext('name')} has no comment")
    if count == 0:
        found.append(f"{PAGES} has no names: ./run site makes it")
    return found, count


if __name__ == "__main__":
    wrong, looked_at = problems()
    tree.report("api", wrong, f"{looked_at} names")
