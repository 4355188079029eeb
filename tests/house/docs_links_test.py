"""Relative links of the project's documentation lead somewhere: docs_links_test.py [ROOT]."""
import os
import re
import sys
import unicodedata

LINK = re.compile(r"!?\[(?:[^\]\\]|\\.)*\]\(([^()\s]+)(?:\s+\"[^\"]*\")?\)")
HEADING = re.compile(r"^#{1,6}\s+(.*?)\s*#*$")
FENCE = re.compile(r"^\s*(```|~~~)")
SKIPPED = {".git", "build", ".cache"}


def lines_outside_code(path):
    fenced = False
    with open(path, encoding="utf-8") as file:
        for number, line in enumerate(file, 1):
            if FENCE.match(line):
                fenced = not fenced
            elif not fenced:
                yield number, line.rstrip("\n")


def anchors_of(path):
    """Anchors as the usual viewers make them from headings."""
    anchors = set()
    for _, line in lines_outside_code(path):
        match = HEADING.match(line)
        if match:
            text = re.sub(r"[`*]", "", match[1]).lower()
            kept = "".join(c for c in text if c in " -_" or unicodedata.category(c)[0] in "LN")
            anchors.add(kept.replace(" ", "-"))
    return anchors


def documents(root):
    for folder, folders, names in os.walk(root):
        folders[:] = sorted(f for f in folders if f not in SKIPPED and not f.startswith("build-"))
        yield from (os.path.join(folder, name) for name in sorted(names) if name.endswith(".md"))


def fault_of(document, target):
    if re.match(r"^[a-z][a-z0-9+.-]*:", target):
        return None
    path, _, anchor = target.partition("#")
    full = os.path.normpath(os.path.join(os.path.dirname(document), path)) if path else document
    if not os.path.exists(full):
        return "no such file"
    if anchor and full.endswith(".md") and anchor not in anchors_of(full):
        return "no such heading"
    return None


def faults_in(root):
    faults = []
    for document in documents(root):
        for number, line in lines_outside_code(document):
            for target in LINK.findall(re.sub(r"`[^`]*`", "", line)):
                fault = fault_of(document, target)
                if fault:
                    faults.append(f"{os.path.relpath(document, root)}:{number}: {target}: {fault}")
    return faults


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else "."
    if not any(True for _ in documents(root)):
        sys.exit(f"error: no documents in {root}")
    faults = faults_in(root)
    print("\n".join(faults))
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
