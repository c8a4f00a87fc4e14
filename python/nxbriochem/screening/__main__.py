"""The command ``nxbrio-screen``."""

from __future__ import annotations

import argparse
import contextlib
import gc
import logging
import os
import shlex
import signal
import sys

from .progress import Progress
from .protocol import Protocol
from .version import VERSION

DONE, FAILED, WRONG_USAGE = 0, 1, 2

DESCRIPTION = "Ranks ligands by their energy with a target, or with an ensemble, on many processes and machines."
EPILOG = """\
Ligands are the records of SD, mol2, PDB, PQR and XYZ files, gzipped or not; they are read one by one. A faulty record
gets a row with its error and place. PQR and mol2 files have partial charges; of others formal charges are known.

Without --refine the energy is Coulomb's where the ligand stands, as nxbrio bind has it; with it each ligand goes to the
nearest minimum of Coulomb's and the 12-6 energy, as nxbrio refine does it.

Results go into an SQLite file as they come. The same command again does what is missing there, and nothing twice; its
view "best" ranks them: sqlite3 OUT 'select * from best limit 10'.

Exit status: 0 done, 1 failed, 2 wrong usage, 130 and 143 interrupted; what is done is kept in any case.
"""


def parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="nxbrio-screen",
        description=DESCRIPTION,
        epilog=EPILOG,
        formatter_class=argparse.RawDescriptionHelpFormatter,
        allow_abbrev=False,
    )
    parser.add_argument("target", metavar="TARGET", help="structure file of the target")
    parser.add_argument("ligands", metavar="LIGANDS", nargs="+", help="structure files of the ligands")
    parser.add_argument(
        "--out", "-o", metavar="FILE", required=True, help="SQLite file of the results, made or gone on with"
    )
    parser.add_argument(
        "--target",
        "-t",
        metavar="FILE",
        dest="more_targets",
        action="append",
        default=[],
        help="a further target; may be given several times",
    )
    parser.add_argument("--ensemble", action="store_true", help="take all models of the targets' files, not the first")
    _add_protocol(parser.add_argument_group("what is computed"))
    _add_cluster(parser.add_argument_group("who computes"))
    _add_outputs(parser.add_argument_group("what is written beside the results"))
    parser.add_argument("--quiet", "-q", action="store_true", help="print no dashboard's address, progress line and table")
    parser.add_argument("--version", action="version", version=f"nxbrio-screen {VERSION}")
    return parser


def _add_protocol(what) -> None:
    what.add_argument("--refine", action="store_true", help="move each ligand to the nearest minimum first")
    what.add_argument("--dielectric", "-e", metavar="E", type=float, default=4.0, help="dielectric constant [4]")
    what.add_argument(
        "--ionic-strength", metavar="M", type=float, default=0.0, help="of the salt that screens charges, mol/l [0]"
    )
    what.add_argument("--temperature", metavar="K", type=float, default=298.0, help="for the salt, kelvin [298]")
    what.add_argument(
        "--iterations", "-n", metavar="N", type=int, default=500, help="the most iterations of a refinement [500]"
    )
    what.add_argument(
        "--select",
        "--target-select",
        metavar="SELECTION",
        dest="target_select",
        default="",
        help="atoms of the targets that take part, such as 'protein or hetero and not water'",
    )
    what.add_argument("--ligand-select", metavar="SELECTION", default="", help="atoms of the ligands that take part")


def _add_cluster(where) -> None:
    who = where.add_mutually_exclusive_group()
    who.add_argument("--workers", "-w", metavar="N", type=_positive, help="processes on this machine [one for a core]")
    who.add_argument(
        "--scheduler",
        metavar="ADDRESS",
        help="scheduler of a Dask cluster, such as tcp://host:8786, or the file that it writes (--scheduler-file)",
    )
    where.add_argument("--batch", metavar="N", type=_positive, default=0, help="ligands in a task [found by itself]")
    where.add_argument(
        "--time-limit", metavar="S", type=float, default=300.0, help="the longest that a ligand may take, seconds [300]"
    )


def _add_outputs(what) -> None:
    what.add_argument(
        "--top",
        metavar=("N", "FILE"),
        nargs=2,
        action=_Top,
        help="the N best poses as an SD file, with their energies as data fields",
    )
    what.add_argument("--csv", metavar="FILE", help="all rows, the best first")
    what.add_argument("--report", metavar="FILE", help="one HTML file: table, distribution, contributions, poses in 3D")


def _positive(text: str) -> int:
    value = int(text)
    if value < 1:
        raise argparse.ArgumentTypeError(f"{value} is not above 0")
    return value


class _Top(argparse.Action):
    def __call__(self, parser, namespace, values, option_string=None):
        try:
            most = _positive(values[0])
        except (ValueError, argparse.ArgumentTypeError):
            raise argparse.ArgumentError(self, f"{values[0]!r} is no number above 0") from None
        setattr(namespace, self.dest, (most, values[1]))


def check_outputs(options: argparse.Namespace) -> None:
    """Refuses outputs that are inputs or one another, or cannot be written, before any work is done."""
    taken = {os.path.realpath(path): path for path in (options.target, *options.more_targets, *options.ligands)}
    outputs = [("--out", options.out), ("--csv", options.csv), ("--top", options.top and options.top[1]),
               ("--report", options.report)]
    for option, path in outputs:
        if path is None:
            continue
        real = os.path.realpath(path)
        if real in taken:
            raise SystemExit(_complain(WRONG_USAGE, f"{option}: {path} is another file of this command, too"))
        taken[real] = path
        if os.path.isdir(real):
            raise SystemExit(_complain(FAILED, f"{option}: {path} is a directory"))
        directory = os.path.dirname(real)
        if not os.path.isdir(directory):
            raise SystemExit(_complain(FAILED, f"{option}: there is no directory {directory}"))
        if not os.access(real if os.path.exists(real) else directory, os.W_OK):
            raise SystemExit(_complain(FAILED, f"{option}: {path} cannot be written"))


def _complain(status: int, message: str) -> int:
    print(f"nxbrio-screen: {message}", file=sys.stderr, flush=True)
    return status


class _Interrupted(BaseException):
    def __init__(self, number: int):
        self.number = number


def _interrupt(number, frame):
    # A second one comes while the first is seen to; it ends the process as usual.
    signal.signal(number, signal.SIG_DFL)
    # It may come while Dask makes a future; what a half-made one says at its end is no news.
    sys.unraisablehook = lambda unraisable: None
    raise _Interrupted(number)


def main(arguments: list[str] | None = None) -> int:
    arguments = sys.argv[1:] if arguments is None else arguments
    options = parser().parse_intermixed_args(arguments)
    check_outputs(options)
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, _interrupt)
    try:
        return run(options, "nxbrio-screen " + shlex.join(arguments))
    except _Interrupted as interrupted:
        return _complain(128 + interrupted.number, f"interrupted; what is done is in {options.out}, and the same "
                         "command goes on from there")
    except ModuleNotFoundError as error:
        return _complain(FAILED, f"{error.name} is not installed; Debian has it in python3-distributed")
    except (ValueError, RuntimeError, OSError) as error:
        return _complain(FAILED, _told(error))


def _told(error: BaseException) -> str:
    if isinstance(error, OSError) and error.filename:
        return f"{os.fsdecode(error.filename)}: {error.strerror}"
    return " ".join((str(error) or type(error).__name__).split())


def run(options: argparse.Namespace, command: str) -> int:
    # Not before the arguments are known to be right: Dask takes half a second.
    from . import screen

    # Dask tells at length what is seen to, some of it in threads that outlive the screen.
    logging.disable(logging.CRITICAL)
    # Records come and go by thousands and make no cycles: Python's collector, left as it is, takes a fifth of this
    # process's time to find none.
    gc.freeze()
    gc.set_threshold(100_000)
    top = options.top[0] if options.top else 0
    told = contextlib.nullcontext() if options.quiet else Progress(options.ligands, len(options.more_targets) + 1)
    with told as tell:
        results = screen(
            [options.target, *options.more_targets],
            options.ligands,
            options.out,
            **{name: getattr(options, name) for name in Protocol.__dataclass_fields__},
            ensemble=options.ensemble,
            workers=options.workers,
            scheduler=options.scheduler,
            batch=options.batch,
            time_limit=options.time_limit,
            keep=max(top, 100),
            tell=tell,
            command=command,
        )
    if options.csv:
        results.to_csv(options.csv)
    if options.top:
        results.write_poses(*options.top)
    if options.report:
        results.report(options.report)
    if not options.quiet:
        print(summary(results, options.out), flush=True)
    return DONE


def summary(results, out: str) -> str:
    """The best rows, and what was done."""
    tally = results.tally
    lines = []
    best = results.best(10)
    if best:
        lines.append(f"{'kcal/mol':>12}  {'ligand':<24}  {'target':<16}  place")
    for row in best:
        note = "  overlaps" if row["overlaps"] else ""
        lines.append(
            f"{row['energy']:12.3f}  {row['name'][:24]:<24}  {row['target_name'][:16]:<16}  "
            f"{row['path']}:{row['line']}{note}"
        )
    if best:
        lines.append("")
    said = [f"{tally.done:,} pairs done"]
    if tally.failed:
        said.append(f"{tally.failed:,} of them failed")
    if tally.there:
        said.append(f"{tally.there:,} were there before")
    if tally.repeated:
        said.append(f"{tally.repeated:,} repeat others")
    lines.append(", ".join(said) + f"; the results are in {out}")
    return "\n".join(lines)


if __name__ == "__main__":
    sys.exit(main())
