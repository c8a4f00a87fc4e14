"""The page on screening runs as it stands, and the manual page has what --help has.

Of clusters the scheduler and the workers run on the loopback, and a job for Slurm runs by a stand-in for srun, which runs
the step's command twice. What asks for SSH or Kubernetes is read for its syntax.
"""

import os
import pathlib
import re
import subprocess
import sys

import pytest
from screens import wait
from test_pages import assert_printed

from nxbriochem.screening.__main__ import parser

SOURCE = pathlib.Path(__file__).parents[2]
PAGE = (SOURCE / "docs/screening.md").read_text(encoding="utf-8")
BLOCKS = re.findall(r"^```(\w+)\n(.*?)^```$", PAGE, re.M | re.S)
HOST = "10.0.0.1"
SRUN = """#!/bin/sh
shift
"$@" & "$@"
"""


def steps():
    """Each command, program and job of the page in order, with what is shown below it."""
    for k, (kind, text) in enumerate(BLOCKS):
        if kind == "console":
            for command, shown in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", text, re.M):
                yield "command", command, shown
        elif kind in ("python", "sh"):
            yield kind, text, BLOCKS[k + 1][1] if BLOCKS[k + 1][0] == "text" else ""


@pytest.fixture
def environment(tmp_path):
    """Programs of the build and the stand-in come first; all that listens does so on the loopback."""
    (tmp_path / "bin").mkdir()
    srun = tmp_path / "bin" / "srun"
    srun.write_text(SRUN)
    srun.chmod(0o755)
    programs = pathlib.Path(os.environ["NXBRIO_PROGRAM"]).parent
    return {**os.environ, "PATH": f"{srun.parent}:{programs}:{os.environ['PATH']}",
            "DASK_DISTRIBUTED__SCHEDULER__DEFAULT_HOST": "127.0.0.1"}


def test_page(tmp_path, start, environment):
    def begin(command, out=subprocess.DEVNULL, err=subprocess.STDOUT):
        return start(command, cwd=tmp_path, env=environment, stdout=out, stderr=err)

    address = None
    finished = 0
    for kind, text, shown in steps():
        if kind == "python":
            command = [sys.executable, "-c", text]
        elif text.startswith(("dask-ssh", "kubectl")) or "kubernetes" in text:
            command = ["sh", "-n", "-c", text]
        elif text.startswith("dask-scheduler"):
            file = tmp_path / "by-hand.json"
            begin(["sh", "-c", f"{text.replace(HOST, '127.0.0.1')} --port 0 --scheduler-file {file}"])
            address = wait(lambda: file.exists() and re.search(r"tcp://[\d.:]+", file.read_text()))[0]
            continue
        elif text.startswith("dask-worker"):
            begin(["sh", "-c", text.replace(f"tcp://{HOST}:8786", address)])
            continue
        elif kind == "sh":
            # The nodes of a job find one another by their own addresses; here there is the loopback alone.
            command = ["sh", "-c", re.sub(r"(dask-(scheduler|worker)) ", r"\1 --host 127.0.0.1 ", text)]
        else:
            command = ["sh", "-c", text.replace(f"tcp://{HOST}:8786", str(address))]
        with open(tmp_path / "printed", "w+") as printed:
            # Dask may say farewell on standard error when Python ends.
            status = begin(command, printed, *[None] * (kind == "python")).wait(200)
            printed.seek(0)
            told = printed.read()
        assert status == (1 if "other settings" in shown else 0), f"{text}\n{told}"
        if shown:
            assert_printed(told, shown)
        finished += 1
    assert finished == 13


def test_manual_page():
    """Options with what they take, against the parser's."""
    page = {}
    for line in (SOURCE / "python/nxbrio-screen.1").read_text().splitlines():
        if line.startswith(".It Fl"):
            names, _, values = line.removeprefix(".It ").partition(" Ar ")
            for name in names.split(" , "):
                page[name.replace("Fl Fl ", "--").replace("Fl ", "-")] = values.split()
    options = {}
    for action in parser()._actions:
        taken = [] if action.nargs == 0 else [action.metavar] if isinstance(action.metavar, str) else list(action.metavar)
        options.update({name: taken for name in action.option_strings})
    assert page == options
