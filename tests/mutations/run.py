#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Proves that the tests notice when a rule breaks.

Applies each small change of mutations.txt, alone, to a copy of the tree, and expects the unit tests
to fail; for a change in platform/shared, platform/linux or devserver that room's tests; for one in
platform/macos the tests that run those files in memory, or the check that compiles what is not run.
A change takes some five to ten seconds of one core. Needs python3; not part of the test run.

    run.py [--jobs N] [--folder FOLDER] [TEXT]     only the changes of files whose name holds TEXT

With a folder, its copies and outcomes stay there: a run that was interrupted goes on where it was
for as long as neither the tree nor the list changes.

mutations.txt holds blocks of a file line "@@ FILE", lines to find ("- ") and lines to put ("+ ").
The lines to find occur in the file; the first place counts.
"""
import argparse
import hashlib
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
TESTS = {"platform/macos/": "macos_tests", "platform/shared/": "platform_shared_tests",
         "devserver/documents/Pdf": "pdf_tests", "devserver/documents/Xml": "documents_tests",
         "platform/OutOfMemory": "platform_shared_tests", "platform/linux/net/": "linux_network_tests",
         "platform/linux/security/": "linux_security_tests",
         "platform/linux/desktop/": "linux_widget_tests", "platform/linux/": "linux_shell_tests",
         "devserver/": "devserver_tests", "": "unit_tests"}
PATIENCE = 5  # times the time that a room's tests take on the tree as it is, before they count as hanging
SHARDS = 3   # parts of one such run, side by side: many tests only wait


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


def tracked_files():
    listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, check=True,
                            capture_output=True, text=True)
    return [name for name in listed.stdout.split("\n") if name]


def state_of_tree(names):
    digest = hashlib.sha256()
    for name in names:
        digest.update(name.encode() + b"\0" + (ROOT / name).read_bytes())
    return digest.hexdigest()


class Workplace:
    """A copy of the tree and its build, in which one change at a time is tried."""

    def __init__(self, folder, names):
        self.tree, self.build = folder / "tree", folder / "build"
        self.limits = {}  # of a run of each room's tests, in seconds
        self.environment = {**os.environ, "CCACHE_BASEDIR": str(folder), "CCACHE_NOHASHDIR": "1"}
        for name in names:
            target = self.tree / name
            if not target.exists() or target.read_bytes() != (ROOT / name).read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(ROOT / name, target)
                shutil.copymode(ROOT / name, target)
        options = ["-DCMAKE_BUILD_TYPE=None", "-DCMAKE_CXX_FLAGS=-O0 -g0 -w", "-DQUILLET_BENCH=OFF"]
        if shutil.which("ccache"):
            options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
        if shutil.which("ld.lld"):
            options.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld")
        configured = self.run(["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja", *options])
        if configured.returncode != 0:
            sys.exit(configured.stderr)

    def run(self, command):
        return subprocess.run(command, capture_output=True, text=True, errors="replace",
                              env=self.environment)

    def outcome(self, file):
        """What the tests that know `file` say of the tree as it is now."""
        if file.startswith("platform/macos/") and file.endswith(".mm"):
            checked = self.run([self.tree / "tests/macos-build/check.sh", self.tree, file])
            return "survived" if checked.returncode == 0 else "caught"
        tests = next(name for room, name in TESTS.items() if file.startswith(room))
        built = self.run(["ninja", "-C", self.build, tests])
        if built.returncode != 0:
            return "does not compile"
        return "survived" if self.passes(self.build / "bin" / tests) else "caught"

    def passes(self, tests):
        running = []
        for shard in range(SHARDS):
            share = {"GTEST_TOTAL_SHARDS": str(SHARDS), "GTEST_SHARD_INDEX": str(shard)}
            running.append(subprocess.Popen([tests, "--gtest_brief=1", "--gtest_fail_fast"],
                                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                            env={**self.environment, **share}))
        start = time.monotonic()
        failed = False
        while running and not failed:
            time.sleep(0.02)
            ended = [part for part in running if part.poll() is not None]
            running = [part for part in running if part not in ended]
            taken = time.monotonic() - start
            failed = taken > self.limits.get(tests, taken) or any(part.returncode for part in ended)
        for part in running:
            part.kill()
            part.wait()
        self.limits.setdefault(tests, 30 + PATIENCE * taken)
        return not failed

    def tried(self, file, old, new):
        path = self.tree / file
        source = path.read_text()
        if old not in source:
            return "not found"
        path.write_text(source.replace(old, new, 1))
        try:
            return self.outcome(file)
        finally:
            path.write_text(source)


class Run:
    """Gives the changes out, file by file, and keeps what is known of them."""

    def __init__(self, folder, jobs, mutations):
        names = tracked_files()
        self.folder, self.jobs, self.names = folder, jobs, names
        self.outcomes = folder / f"outcomes-{state_of_tree(names)[:16]}.jsonl"
        self.known = {}
        if self.outcomes.exists():
            for line in self.outcomes.read_text().split("\n"):
                if line:
                    *mutation, result = json.loads(line)
                    self.known[tuple(mutation)] = result
        self.mutations = mutations
        self.waiting = [m for m in mutations if m not in self.known]
        self.lock = threading.Lock()

    def next(self, file):
        """A change of `file` if there is one, so that little is compiled anew; else of the file
        with the most left."""
        with self.lock:
            of_file = [m for m in self.waiting if m[0] == file]
            if not of_file and self.waiting:
                files = [m[0] for m in self.waiting]
                most = max(sorted(set(files)), key=files.count)
                of_file = [m for m in self.waiting if m[0] == most]
            if not of_file:
                return None
            self.waiting.remove(of_file[0])
            return of_file[0]

    def note(self, mutation, result):
        with self.lock:
            self.known[mutation] = result
            with self.outcomes.open("a") as file:
                file.write(json.dumps([*mutation, result]) + "\n")
            print(f"{len(self.known):4}/{len(self.mutations)} {result:18}{mutation[0]}: "
                  f"{' '.join(mutation[1].split())[:70]}", flush=True)

    def work(self, workplace):
        file = ""
        while (mutation := self.next(file)) is not None:
            file = mutation[0]
            self.note(mutation, workplace.tried(*mutation))

    def all(self):
        places = [Workplace(self.folder / str(number), self.names) for number in range(self.jobs)]
        for place in places:
            seen = set()
            for file in sorted({m[0] for m in self.waiting}):
                tests = next(name for room, name in TESTS.items() if file.startswith(room))
                key = file if file.endswith(".mm") else tests
                if key not in seen and place.outcome(file) != "survived":
                    sys.exit(f"{key}: the tests fail on the tree as it is")
                seen.add(key)
        workers = [threading.Thread(target=self.work, args=[place]) for place in places]
        for worker in workers:
            worker.start()
        for worker in workers:
            worker.join()


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--jobs", type=int, default=os.cpu_count() or 1)
    arguments.add_argument("--folder", type=pathlib.Path)
    arguments.add_argument("text", nargs="?", default="")
    given = arguments.parse_args()
    mutations = [m for m in read_mutations() if given.text in m[0]]
    with tempfile.TemporaryDirectory() as temporary:
        run = Run(given.folder or pathlib.Path(temporary), given.jobs, mutations)
        run.folder.mkdir(parents=True, exist_ok=True)
        run.all()
    counts = {}
    for mutation in mutations:
        result = run.known[mutation]
        counts[result] = counts.get(result, 0) + 1
        if result != "caught":
            print(f"{result}: {mutation[0]}: {' '.join(mutation[1].split())[:100]}")
    print(", ".join(f"{count} {result}" for result, count in sorted(counts.items())))
    sys.exit(0 if set(counts) == {"caught"} else 1)


if __name__ == "__main__":
    main()
