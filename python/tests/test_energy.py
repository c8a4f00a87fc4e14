"""Energies, against the plain sum and the command-line program."""

import json
import os
import subprocess
import warnings

import numpy as np
import pytest

import nxbriochem as nx
from conftest import EXAMPLES

FILES = [EXAMPLES + "hca-bind/hca.pqr", EXAMPLES + "hca-bind/acet.pqr"]


def program(*arguments):
    done = subprocess.run([os.environ["NXBRIO_PROGRAM"], *arguments, "--json"], capture_output=True, check=True)
    return json.loads(done.stdout)


def find(tree, key):
    """The first value under a key, anywhere."""
    if isinstance(tree, dict):
        if key in tree:
            return tree[key]
        tree = list(tree.values())
    if isinstance(tree, list):
        for branch in tree:
            found = find(branch, key)
            if found is not None:
                return found
    return None


def test_coulomb_is_the_plain_sum(hca, acet):
    distances = np.linalg.norm(hca.coordinates[:, None].astype(float) - acet.coordinates[None].astype(float), axis=2)
    plain = 332.063713 * (hca.charges[:, None].astype(float) * acet.charges[None] / distances).sum()
    assert nx.coulomb(hca, acet, unit="kcal/mol") == pytest.approx(plain, rel=1e-5)
    assert nx.coulomb(hca, acet, 4.0, "kJ/mol") == pytest.approx(plain * 4.184 / 4, rel=1e-5)
    assert nx.coulomb(hca, acet) == pytest.approx(plain / 0.592191, rel=1e-5)
    residues = nx.coulomb(hca, acet, unit="kcal/mol", per_residue=True)
    assert len(residues) == 257 and residues["energy"].sum() == pytest.approx(plain, rel=1e-5)
    at = np.flatnonzero(hca.residue_numbers == 94)
    one = 332.063713 * (hca.charges[at, None].astype(float) * acet.charges[None] / distances[at]).sum()
    row = residues[residues["number"] == 94][0]
    assert row["name"] == hca.residue_names[at[0]] and row["energy"] == pytest.approx(one, rel=1e-4)


def test_coulomb_has_the_bits_of_the_program(hca, acet):
    told = program("bind", *FILES, "--dielectric", "4")
    assert np.float32(nx.coulomb(hca, acet, 4.0)) == np.float32(find(told["energies"], "energy"))


def test_refine_has_the_bits_of_the_program(tmp_path, hca, acet):
    told = program("refine", *FILES, str(tmp_path / "out.pqr"))
    found = nx.refine(hca, acet)
    assert found.energy == told["after"]["total"]["kcal_per_mol"]
    assert found.start_energy == told["before"]["total"]["kcal_per_mol"]
    assert found.reason == "converged" and found.success and found.iterations > 0
    moved = nx.read(tmp_path / "out.pqr")
    assert np.abs(moved.coordinates - found.molecule.coordinates).max() < 6e-4
    assert np.allclose(acet.coordinates @ found.rotation.T + found.translation, found.molecule.coordinates, atol=1e-5)
    in_place = np.sqrt(((found.molecule.coordinates - acet.coordinates) ** 2).sum(axis=1).mean())
    assert found.rmsd == pytest.approx(in_place, abs=1e-4)
    two = nx.refine(hca, acet, threads=2)
    assert two.energy == found.energy and np.array_equal(two.pose, found.pose)
    prepared = nx.Energy(hca)
    assert prepared.refine(acet).energy == found.energy and prepared.at(acet) == found.start_energy
    assert nx.refine(hca, acet, maxiter=0).reason == "out of iterations"


def test_bad_arguments_are_refused(water, acet):
    for call in [lambda: nx.coulomb(water, acet, dielectric=0), lambda: nx.coulomb(water, acet, dielectric=np.nan),
                 lambda: nx.coulomb(water, acet, unit="eV"), lambda: nx.refine(water, acet, dielectric=-1),
                 lambda: nx.refine(water, acet, maxiter=-1), lambda: nx.refine(water, acet, threads=-1)]:
        with pytest.raises(ValueError):
            call()
    for call in [lambda: nx.coulomb(water, -1), lambda: nx.coulomb(-1, water), lambda: nx.refine(None, water)]:
        with pytest.raises(TypeError, match="expected a Molecule"):
            call()
    unknown = nx.Molecule(elements=["X"])
    with pytest.raises(nx.NxError, match="12-6 parameters"):
        nx.refine(unknown, water)
    with pytest.raises(nx.NxError, match="12-6 parameters"):
        nx.refine(water, unknown)
    with pytest.raises(nx.NxError):
        nx.refine(nx.Molecule(), water)
    assert nx.coulomb(nx.Molecule(), water) == 0 and len(nx.coulomb(nx.Molecule(), water, per_residue=True)) == 0


def test_coincident_charges_are_warned_of(water):
    with pytest.warns(nx.NxWarning, match="3 pairs"):
        nx.coulomb(water, water)
    with pytest.warns(nx.NxWarning, match="3 pairs"):
        nx.coulomb(water, water, per_residue=True)
    # Against all pairs, at random on a coarse grid; atoms without charge and places that are no numbers do not count.
    rng = np.random.default_rng(4)
    for n in (1, 3, 17, 60):
        a, b = (nx.Molecule(elements=["C"] * k, coordinates=rng.integers(-2, 3, (k, 3)), charges=rng.integers(-1, 2, k))
                for k in (n, 50))
        a.coordinates[0] = np.nan
        same = (a.coordinates[:, None] == b.coordinates[None]).all(axis=2) & (np.outer(a.charges, b.charges) != 0)
        with warnings.catch_warnings(record=True) as caught:
            warnings.simplefilter("always")
            nx.coulomb(a, b)
        assert [str(w.message).split()[0] for w in caught] == ([str(same.sum())] if same.any() else [])
