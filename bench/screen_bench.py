#!/usr/bin/python3
"""Screens beside bare loops: ratios within one run.

Processor time of the command with all its processes, less what a screen of no ligand costs, is held against that of a
loop that does nothing but score. Wall time counts only where two workers are held against one.

usage: screen_bench.py LOOP PROGRAM [TABLE.md] [POSES]    (with PYTHONPATH on the built package; LOOP is screen_loop,
                                                           PROGRAM nxbrio; writes the table, and prints it)
"""

import json
import os
import resource
import subprocess
import sys
import tempfile
import time

HCA = "/usr/share/apbs/examples/hca-bind/hca.pqr"
ACET = "/usr/share/apbs/examples/hca-bind/acet.pqr"
REPEATS = 3
# Poses that are refined, some 15 s of work.
REFINED = 4800


def write_poses(path, count, step):
    """A PQR file of so many models of acetazolamide, along a line through its pocket."""
    with open(ACET) as file:
        atoms = [line.split() for line in file if line.startswith("ATOM")]
    with open(path, "w") as out:
        for k in range(count):
            out.write(f"MODEL {k + 1}\n")
            for a in atoms:
                out.write(f"{' '.join(a[:5])} {float(a[5]) + step * k:.4f} {' '.join(a[6:])}\n")
            out.write("ENDMDL\n")


def run(command, **options):
    """Processor and wall time of a command with its children, and what it printed."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    begun = time.monotonic()
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, check=True, **options)
    wall = time.monotonic() - begun
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime, wall, done.stdout


def screen(out, ligands, *options):
    if os.path.exists(out):
        os.unlink(out)
    return run([sys.executable, "-m", "nxbriochem.screening", HCA, ligands, "--out", out, "--quiet", *options])


def refining_loop(ligands):
    """Processor time of refining each record in one process, without anything around it."""
    program = """
import sys, time
import nxbriochem as nx
energy = nx.Energy(nx.read(sys.argv[1]))
begun = time.process_time()
for record in nx.iter_records(sys.argv[2]):
    energy.refine(record.molecule)
print(time.process_time() - begun)
"""
    return float(run([sys.executable, "-c", program, HCA, ligands])[2])


def least(call):
    return min(call() for _ in range(REPEATS))


def main():
    loop, program = sys.argv[1:3]
    table = sys.argv[3] if len(sys.argv) > 3 else None
    poses = int(sys.argv[4]) if len(sys.argv) > 4 else 100_000
    lines = []
    with tempfile.TemporaryDirectory() as place:
        out, one, many, some = (os.path.join(place, name) for name in ("out.sqlite", "1.pqr", "many.pqr", "some.pqr"))
        write_poses(one, 1, 0.0)
        write_poses(many, poses, 0.0005)
        write_poses(some, REFINED, 0.00025)

        idle = least(lambda: screen(out, one, "--workers", 1)[0])
        ours, theirs, energies = [], [], []
        for _ in range(REPEATS):
            ours.append(screen(out, many, "--workers", 1)[0] - idle)
            bare = json.loads(run([loop, HCA, many])[2])
            theirs.append(bare["seconds"])
            energies.append(bare["energies"])
        lines.append((f"{poses:,} poses scored, client and worker together, to a loop in C that reads and scores them",
                      f"{1e6 * min(ours) / poses:.0f} us", f"{1e6 * min(theirs) / poses:.0f} us",
                      min(ours) / min(theirs), "1.3"))
        lines.append(("the same, to the energies of that loop without its reading", f"{1e6 * min(ours) / poses:.0f} us",
                      f"{1e6 * min(energies) / poses:.0f} us", min(ours) / min(energies), ""))

        ours = least(lambda: screen(out, some, "--workers", 1, "--refine")[0] - idle)
        theirs = least(lambda: refining_loop(some))
        each = theirs / REFINED
        lines.append((f"{REFINED:,} poses refined, to a loop over nx.Energy.refine in one process", f"{1e3 * ours / REFINED:.2f} ms",
                      f"{1e3 * each:.2f} ms", ours / theirs, ""))
        beside = (ours - theirs) / REFINED
        lines.append(("what scheduling, shipping and storing take beside a ligand of 5 ms", f"{1e3 * beside:.2f} ms",
                      "5 ms", beside / 5e-3, "0.1"))

        pose = min(run([program, "refine", HCA, ACET, os.path.join(place, "o.pqr")])[0] for _ in range(REPEATS))
        lines.append(("a pose refined, to a call of nxbrio refine", f"{1e3 * ours / REFINED:.2f} ms", f"{1e3 * pose:.1f} ms",
                      ours / REFINED / pose, ""))

        walls = {1: [], 2: []}
        started = {count: least(lambda: screen(out, one, "--workers", count)[1]) for count in walls}
        for _ in range(REPEATS):
            for count in walls:
                walls[count].append(screen(out, some, "--workers", count, "--refine")[1] - started[count])
        lines.append(("two workers: how many times as fast as one (wall time)", f"{min(walls[2]):.2f} s",
                      f"{min(walls[1]):.2f} s", min(walls[1]) / min(walls[2]), "at least 1.8"))

    text = ("# Screens beside bare loops\n\nWritten by `make bench` (`bench/screen_bench.py`): processor time, least of "
            f"{REPEATS}, less what a screen of one ligand costs; {os.cpu_count()} cores, load {os.getloadavg()[0]:.1f}.\n\n"
            "| | ours | theirs | ratio | goal |\n|---|---|---|---|---|\n")
    text += "".join(f"| {what} | {a} | {b} | {ratio:.2f} | {goal} |\n" for what, a, b, ratio, goal in lines)
    print(text)
    if table:
        with open(table, "w") as file:
            file.write(text)


if __name__ == "__main__":
    main()
