#!/usr/bin/env python3
"""Checks what docs/errors.md promises about nxbrio when memory runs out or a signal ends it.

usage: guard.py allocations|steps|kills PROGRAM FILES [PRELOAD] [--seed SEED]

allocations  each allocation of each command line fails, alone, or with all later ones: the exit status is 1 and standard
             error says why, or the job is done all the same
steps        each command that writes gets INT, TERM, HUP and KILL before each of its system calls on the way to a file
kills        the same signals at random moments

Whenever a command ends, its files are all old or all new, whole, and nothing else is left. KILL alone may leave the
first of several files new and others old, and temporary files under the name that is documented.
"""
import argparse
import collections
import concurrent.futures
import os
import random
import re
import signal
import subprocess
import sys
import tempfile
import time

# Arguments, in which $F is the directory of structure files, and the files that are written.
WRITING = [
    ("bind $F/water.pqr $F/far_water.pqr -e 2*3 --orient --write a.pdb --write b.mol2", ["a.pdb", "b.mol2"]),
    ("bind $F/water.pqr $F/far_water.pqr $F/plain.pqr --write a.pdb --csv t.csv --residue-csv r.csv",
     ["a.pdb", "r.csv", "t.csv"]),
    ("convert $F/peptide.cif out.sdf --json", ["out.sdf"]),
    ("orient $F/water.pqr out.pqr --with $F/far_water.pqr with.pqr", ["out.pqr", "with.pqr"]),
    ("superpose $F/water.pqr $F/water.pqr out.pdb", ["out.pdb"]),
    ("refine $F/water.pqr $F/far_water.pqr out.pdb -n 4 --trajectory way.pdb --complex both.pqr",
     ["both.pqr", "out.pdb", "way.pdb"]),
]
READING = ["info $F/peptide.pdb", "rms $F/water.pqr $F/water.pqr --json", "moments $F/water.pqr", "--help"]
SIGNALS = [signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL]
TEMPORARY = re.compile(r"\.nxbrio-[0-9a-f]{16}")
OLD = b"old contents\n"
# No command line makes more allocations than this; each of them is made to fail.
MOST_RUNS = 20000
RUN_SECONDS = 60

Result = collections.namedtuple("Result", "status out err files")


class Command:
    """A command line, and the files that it leaves in a directory where its first output already exists."""

    def __init__(self, options, line, outputs):
        self.options, self.line, self.outputs = options, line, outputs
        self.arguments = [options.program, *line.replace("$F", options.files).split()]
        self.before = {outputs[0]: OLD} if outputs else {}
        started = time.monotonic()
        result = self.run({"GUARD_COUNTS": "2"})
        self.seconds = time.monotonic() - started
        if result.status != 0 or sorted(result.files) != outputs:
            sys.exit(f"{line}: status {result.status}: {result.err}")
        self.after = result.files
        self.allocations, self.steps = 0, ""
        if options.preload:
            allocations, self.steps = result.err.splitlines()[-1].split(" ")
            self.allocations = int(allocations)

    def run(self, environment, act=None):
        """Runs it in a directory of its own; `act` gets the process while it runs."""
        with tempfile.TemporaryDirectory() as directory:
            for name, content in self.before.items():
                with open(os.path.join(directory, name), "wb") as file:
                    file.write(content)
            preload = {"LD_PRELOAD": self.options.preload} if self.options.preload else {}
            with subprocess.Popen(self.arguments, cwd=directory, env={**os.environ, **preload, **environment},
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
                if act:
                    act(process)
                out, err = process.communicate(timeout=RUN_SECONDS)
            files = {}
            for name in os.listdir(directory):
                with open(os.path.join(directory, name), "rb") as file:
                    files[name] = file.read()
            return Result(process.returncode, out.decode(errors="replace"), err.decode(errors="replace"), files)

    def fault_of_failure(self, result):
        """What is wrong with the end of a run that had no memory; empty when nothing is."""
        if result.status == 0:
            return "" if result.files == self.after else "status 0, but other files than usual"
        if result.status != 1:
            return "neither done nor failed"
        if "nxbrio: " not in result.err:
            return "nothing on standard error"
        if "memory" not in result.err and "the library ended the process" not in result.err:
            return "the cause is not told"
        return "" if result.files in (self.before, self.after) else "files neither old nor new"

    def fault_of_signal(self, result, sent):
        """What is wrong with the end of a run that got a signal, maybe after its normal end."""
        if result.status not in (0, -sent):
            return "ended otherwise"
        if result.status == 0 and result.files != self.after:
            return "status 0, but other files than usual"
        if sent != signal.SIGKILL:
            return "" if result.files in (self.before, self.after) else "files neither old nor new, or something left"
        for name, content in result.files.items():
            if name not in self.outputs and not TEMPORARY.fullmatch(name):
                return f"{name} is left"
            if name in self.outputs and content not in (self.before.get(name), self.after[name]):
                return f"{name} is neither old nor new"
        return "" if self.before.keys() <= result.files.keys() else "an old file is gone"


def allocation_runs(commands):
    # Each command line begins as the help does: setting up the arguments.
    shared = commands[-1].allocations - 150
    for command in commands:
        for n in range(1 if command is commands[-1] else shared, command.allocations + 1):
            for later in ("", "1") if n % 7 == 0 else ("",):
                def one(command=command, n=n, later=later):
                    result = command.run({"GUARD_ALLOCATION": str(n), "GUARD_LATER": later})
                    return command, f"allocation {n}{' and later' if later else ''}", result, \
                        command.fault_of_failure(result)
                yield one


def on_disk_in_time(command):
    """Whether each file is synchronised (s) before the first is renamed (r) or exchanged (x), the directory after."""
    before, after = re.fullmatch("([^rx]*)[rx]+([^rx]*)", command.steps).groups()
    return before.count("s") == len(command.outputs) and "w" not in before[before.rindex("s"):] and "s" in after


def step_runs(commands):
    for command in commands:
        if not on_disk_in_time(command):
            sys.exit(f"{command.line}: not all files are on disk before the first appears: {command.steps}")
        for n in range(1, len(command.steps) + 1):
            for sent in SIGNALS:
                def one(command=command, n=n, sent=sent):
                    result = command.run({"GUARD_STEP": str(n), "GUARD_SIGNAL": str(int(sent))})
                    return command, f"{sent.name} before step {n}", result, command.fault_of_signal(result, sent)
                yield one


def kill_runs(commands, seed):
    chance = random.Random(seed)
    for command in commands:
        for _ in range(40):
            sent, wait = chance.choice(SIGNALS), chance.uniform(0, 1.2 * command.seconds)

            def one(command=command, sent=sent, wait=wait):
                def act(process):
                    time.sleep(wait)
                    process.send_signal(sent)
                result = command.run({}, act)
                return command, f"{sent.name} after {wait:.4f} s (seed {seed})", result, \
                    command.fault_of_signal(result, sent)
            yield one


def main():
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("what", choices=["allocations", "steps", "kills"])
    parser.add_argument("program")
    parser.add_argument("files")
    parser.add_argument("preload", nargs="?")
    parser.add_argument("--seed", type=int, default=random.randrange(10**6))
    options = parser.parse_args()
    reading = [(line, []) for line in READING] if options.what == "allocations" else []
    commands = [Command(options, line, outputs) for line, outputs in WRITING + reading]
    runs = list({"allocations": allocation_runs, "steps": step_runs,
                 "kills": lambda those: kill_runs(those, options.seed)}[options.what](commands))
    if not len(commands) < len(runs) < MOST_RUNS:
        sys.exit(f"{len(runs)} runs: the program was not understood")
    ends = collections.Counter()
    faults = []
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        for command, what, result, fault in pool.map(lambda one: one(), runs):
            ends[result.status] += 1
            if fault:
                faults.append(f"{command.line}: {what}: {fault}: status {result.status}, files "
                              f"{sorted(result.files)}, standard error: {result.err[-300:]}")
    print(f"{len(runs)} runs; ends by exit status: {dict(sorted(ends.items()))}")
    if not any(status != 0 for status in ends):
        sys.exit("no run was disturbed")
    if faults:
        sys.exit("\n".join([f"{len(faults)} of {len(runs)} runs end otherwise than promised:", *faults[:20]]))


main()
