"""What the tests share: real molecules, and Python in a child process."""

import os
import subprocess
import sys

import pytest

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
