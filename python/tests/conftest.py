"""What the tests share: real molecules, Python in a child process, and clusters of Dask."""

import contextlib
import json
import os
import signal
import subprocess
import sys

import pytest
from screens import wait

import nxbriochem as nx

EXAMPLES = "/usr/share/apbs/examples/"


@pytest.fixture
def hca():
    return nx.read(EXAMPLES + "hca-bind/hca.pqr")


@pytest.fixture
def acet():
    return nx.read(EXAMPLES + "hca-bind/acet.pqr")


@pytest.fixture
def water():
    return nx.Molecule(elements=["O", "H", "H"], coordinates=[[0, 0, 0], [0.757, 0.586, 0], [-0.757, 0.586, 0]],
                       names=["O", "H1", "H2"], charges=[-0.834, 0.417, 0.417], radii=[1.5, 1, 1],
                       residue_names=["HOH"] * 3, residue_numbers=[7] * 3, chains=["A"] * 3, bonds=[[0, 1], [0, 2]],
                       name="water")


@pytest.fixture
def child():
    """Runs a program in an interpreter of its own, which must end well; what it printed."""
    def run(program, status=0, timeout=120):
        done = subprocess.run([sys.executable, "-X", "faulthandler", "-c", program], capture_output=True, text=True,
                              timeout=timeout, env=os.environ)
        assert done.returncode == status, done.stdout + done.stderr
        return done.stdout
    return run


# Put before all else on the path of every process of a run: slow ligands, and such as kill or hold up their process.
SLOW = """
import os, sys
if "SLOW" in os.environ:
    import time
    import nxbriochem.screening.work as work
    real = work.score

    def score(scorer, ligands, selection):
        for source, line, format, text in ligands:
            if b"KILL" in text:
                os.kill(os.getpid(), 9)
            while b"HANG" in text:
                time.sleep(1)
            time.sleep(float(os.environ["SLOW"]))
        return real(scorer, ligands, selection)

    work.score = score
"""


@pytest.fixture
def slow(tmp_path):
    """The environment of processes in which a ligand takes so many seconds more."""
    (tmp_path / "slow").mkdir()
    (tmp_path / "slow" / "sitecustomize.py").write_text(SLOW)

    def environment(seconds):
        return {**os.environ, "SLOW": str(seconds), "PYTHONPATH": f"{tmp_path}/slow:{os.environ['PYTHONPATH']}"}

    return environment


@pytest.fixture
def start():
    """Starts processes, in groups of their own, which end with the test."""
    started = []

    def start(arguments, **options):
        child = subprocess.Popen(list(map(str, arguments)), start_new_session=True, text=True, **options)
        started.append(child)
        return child

    yield start
    for child in started:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(child.pid, signal.SIGKILL)
        child.wait()


@pytest.fixture
def cluster(start, tmp_path):
    """A scheduler and two workers on the loopback: address, scheduler, and a function that starts a worker."""
    def dask(name, *arguments, **options):
        log = open(tmp_path / f"{name}.log", "w")
        return start([sys.executable, "-m", f"distributed.cli.dask_{name}", *arguments], stderr=log, stdout=log,
                     cwd=tmp_path, **options)

    file = tmp_path / "scheduler.json"
    scheduler = dask("scheduler", "--host", "127.0.0.1", "--port", 0, "--dashboard-address", "127.0.0.1:0",
                     "--scheduler-file", file)
    wait(lambda: file.exists() and file.stat().st_size)
    address = json.loads(file.read_text())["address"]

    def worker(to=address, **options):
        return dask("worker", to, "--nthreads", 1, "--no-dashboard", "--host", "127.0.0.1", **options)

    return address, scheduler, worker
