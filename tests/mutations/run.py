#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Proves that the unit tests notice when a rule breaks.

Applies each small change of mutations.txt, alone, to a copy of the tree, and expects the unit tests
to fail; for a change in platform/shared, platform/linux or devserver that room's tests; for one in
platform/macos the tests that run those files in memory, or the check that compiles what is not run.
Takes about ten seconds a
change on two cores. Needs python3; not part of the test run.

    run.py [TEXT]     only the changes of files whose name holds TEXT

mutations.txt holds blocks of a file line "@@ FILE", lines to find ("- ") and lines to put ("+ ").
The lines to find occur in the file; the first place counts.
"""
import pathlib
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]


def read_mutations():
    mutations, old, new, file = [], [], [], None
    lines = (pathlib.Path(__file__).parent / "mutations.txt").read_text().split("\n")
    for line in lines + ["@@ end"]:
        if line.startswith("@@ "):
            if file and old:
                mutations.append((file, "\n".join(old), "\n".join(new)))
            file, old, new = line[3:], [], []
        elif line.startswith("- "):
            old.append(line[2:])
        elif line.startswith("+ "):
            new.append(line[2:])
        elif line and not line.startswith("#"):
            sys.exit(f"mutations.txt: not understood: {line}")
    return mutations


def run(command, **options):
    return subprocess.run(command, capture_output=True, text=True, errors="replace", **options)


def copy_tree(target):
    for name in run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT).stdout.split("\n"):
        if name:
            (target / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(ROOT / name, target / name)


def outcome(build, tree, file):
    """What the tests that know `file` say of the tree as it is now."""
    if file.startswith("platform/macos/") and file.endswith(".mm"):
        checked = run([tree / "tests/macos-build/check.sh", tree, file])
        return "survived" if checked.returncode == 0 else "caught"
    rooms = {"platform/macos/": "macos_tests", "platform/shared/": "platform_shared_tests",
             "devserver/documents/Pdf": "pdf_tests", "devserver/documents/Xml": "documents_tests",
             "platform/OutOfMemory": "platform_shared_tests", "platform/linux/net/": "linux_network_tests",
             "platform/linux/security/": "linux_security_tests",
             "platform/linux/desktop/": "linux_widget_tests", "platform/linux/": "linux_shell_tests",
             "devserver/": "devserver_tests"}
    tests = next((rooms[room] for room in rooms if file.startswith(room)), "unit_tests")
    built = run(["ninja", "-C", build, tests])
    if built.returncode != 0:
        return "does not compile"
    try:
        tested = run([build / "bin" / tests, "--gtest_brief=1"], timeout=300)
    except subprocess.TimeoutExpired:
        return "caught"
    return "survived" if tested.returncode == 0 else "caught"


def main():
    wanted = sys.argv[1] if len(sys.argv) > 1 else ""
    mutations = [m for m in read_mutations() if wanted in m[0]]
    with tempfile.TemporaryDirectory() as folder:
        tree, build = pathlib.Path(folder) / "tree", pathlib.Path(folder) / "build"
        copy_tree(tree)
        configured = run(["cmake", "-S", tree, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None",
                          "-DCMAKE_CXX_FLAGS=-O0 -g0 -w", "-DQUILLET_BENCH=OFF"])
        if configured.returncode != 0:
            sys.exit(configured.stderr)
        for file in sorted({m[0] for m in mutations}):
            if outcome(build, tree, file) != "survived":
                sys.exit(f"the tests of {file} fail on the tree as it is")
        counts = {}
        for file, old, new in mutations:
            source = (tree / file).read_text()
            result = "not found"
            if old in source:
                (tree / file).write_text(source.replace(old, new, 1))
                result = outcome(build, tree, file)
                (tree / file).write_text(source)
            counts[result] = counts.get(result, 0) + 1
            print(f"{result:18}{file}: {' '.join(old.split())[:70]}", flush=True)
    print(", ".join(f"{count} {result}" for result, count in sorted(counts.items())))
    sys.exit(0 if set(counts) == {"caught"} else 1)


main()
