"""A plug-in shows exactly one symbol: exports_test.py LIBRARY."""
import subprocess
import sys

EXPECTED = ["GetAvailablePluginProxiesOfType"]


def exported(library):
    run = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True, text=True, check=True)
    return sorted(line.split()[-1] for line in run.stdout.splitlines() if line.strip())


def main():
    found = exported(sys.argv[1])
    if found != EXPECTED:
        print(f"{sys.argv[1]} exports {len(found)} symbols, expected {EXPECTED}:")
        print("\n".join(found[:40]))
        sys.exit(1)


if __name__ == "__main__":
    main()
