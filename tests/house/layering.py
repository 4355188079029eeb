"""Walks the #include lines of the house and tells those that go against its order.

    layering.py [ROOT]

Prints one line for each wrong include, FILE:LINE: "HEADER": RULE, and exits with 1 if there is one.
"""
import os
import re
import sys

# Rooms from the bottom up. A room includes its own headers and those of rooms on a lower floor.
FLOORS = [
    ["plugin", "korvenlog"],
    ["kcommon"],
    ["jsonlib"],
    ["txlib", "batch"],
    ["txbasiclib"],
    ["referencing"],
    ["kprj"],
    ["txgeospatiallib"],
    ["tx_general", "operators", "modules"],
    ["apps"],
]
# Modules of heavy libraries, host/modules/NAME, that serve a room: they see what it sees, and its private headers.
ROOM_OF_MODULE = {"proj": "kprj"}
FLOOR_OF = {room: floor for floor, rooms in enumerate(FLOORS) for room in rooms}
INTERFACE_ROOMS = [room for rooms in FLOORS[:8] for room in rooms]

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^">]+)[">]')
STANDARD_HEADER = re.compile(r"^[a-z_]+$")  # <vector>, <cstdint>
# The macros and types of the language that have no <c...> form, and the system's own.
PLATFORM_HEADER = re.compile(r"^((sys|net|netinet|arpa|linux)/[a-z_]+|[a-z_]+)\.h$")
FOREIGN_HEADER = re.compile(r"^(proj|proj_.*|gdal.*|ogr.*|cpl_.*|zlib|tbb)\.h$")


def room_of(path):
    """Area and room of a source file: ("interfaces", "txlib"), ("tx_general", "tx_general")."""
    parts = path.split("/")
    if parts[:2] == ["host", "modules"] and len(parts) > 3:
        return "host", ROOM_OF_MODULE.get(parts[2], "modules")
    if parts[0] in ("interfaces", "host") and len(parts) > 2:
        return parts[0], parts[1]
    if parts[0] in ("tx_general", "apps"):
        return parts[0], parts[0]
    return parts[0], None


def third_party_fault(area, room, header):
    if header.startswith("boost/") or STANDARD_HEADER.match(header):
        return None
    if area == "interfaces":
        return "an interface shows nothing but the standard library and Boost"
    if area == "tx_general" and (not PLATFORM_HEADER.match(header) or FOREIGN_HEADER.match(header)):
        return "tx_general uses interfaces/, Boost and the system only"
    return None


def fault_of(path, quote, header, own_headers):
    """The rule that an include breaks, or None. own_headers: headers that lie beside the file or in its room."""
    area, room = room_of(path)
    if room is None or room not in FLOOR_OF:
        return f"the room of {path} is not in the list of rooms"
    if ".." in header.split("/"):
        return "a header is named by its room, not by a way up the folders"
    first = header.split("/")[0]
    if first in ("host", "interfaces", "apps", "tests"):
        return f"{first}/ is no include folder"
    if quote == "<":
        return third_party_fault(area, room, header)
    if first in INTERFACE_ROOMS and "/" in header:
        if first == room or FLOOR_OF[first] < FLOOR_OF[room]:
            return None
        return f"{room} stands below or beside {first} and can't use it"
    if header in own_headers:
        return "an interface has no private headers" if area == "interfaces" else None
    return f"no header of {room}, nor of a room below it"


def source_files(root):
    for top in ("interfaces", "host", "tx_general", "apps"):
        for folder, folders, names in os.walk(os.path.join(root, top)):
            folders.sort()
            for name in sorted(names):
                if name.endswith((".h", ".hpp", ".cpp", ".cc", ".c", ".ipp", ".inl")):
                    yield os.path.relpath(os.path.join(folder, name), root).replace(os.sep, "/")


def headers_of_room(root, path):
    """How a file may name the private headers of its room: from its own folder or the room's."""
    area, room = room_of(path)
    top = os.path.join(root, area, room or "") if area == "host" else os.path.join(root, area)
    starts = {top, os.path.dirname(os.path.join(root, path))}
    names = set()
    for start in starts:
        for folder, _, files in os.walk(start):
            names.update(os.path.relpath(os.path.join(folder, name), start).replace(os.sep, "/") for name in files)
    return names


def faults_in(root):
    """All wrong includes: (file, line, header, rule)."""
    faults = []
    for path in source_files(root):
        own = None
        with open(os.path.join(root, path), encoding="utf-8") as file:
            for number, line in enumerate(file, 1):
                match = INCLUDE.match(line)
                if not match:
                    continue
                if own is None:
                    own = headers_of_room(root, path)
                rule = fault_of(path, match[1], match[2], own)
                if rule:
                    faults.append((path, number, match[2], rule))
    return faults


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else "."
    if not any(True for _ in source_files(root)):
        sys.exit(f"error: no sources in {root}")
    faults = faults_in(root)
    for path, number, header, rule in faults:
        print(f'{path}:{number}: "{header}": {rule}')
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
