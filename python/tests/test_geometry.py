"""Frames, fits and eigenvalues, against numpy."""

import numpy as np
import pytest

import nxbriochem as nx


def random_rotation(rng):
    q, r = np.linalg.qr(rng.normal(size=(3, 3)))
    q *= np.sign(np.diag(r))
    return q if np.linalg.det(q) > 0 else -q


def kabsch(a, b):
    """The least RMS deviation, by singular values."""
    a, b = a - a.mean(axis=0), b - b.mean(axis=0)
    u, s, vt = np.linalg.svd(a.T @ b)
    s[-1] *= np.sign(np.linalg.det(u @ vt))
    return np.sqrt(max((a**2).sum() + (b**2).sum() - 2 * s.sum(), 0) / len(a))


def random_molecule(rng, n=40):
    return nx.Molecule(elements=rng.choice(["C", "N", "O", "H"], n), coordinates=rng.normal(size=(n, 3)) * [8, 5, 3],
                       radii=rng.uniform(1, 2, n))


def test_rmsd_and_superposition_are_kabschs():
    rng = np.random.default_rng(7)
    for _ in range(50):
        a = random_molecule(rng)
        b = a.copy()
        turn, move = random_rotation(rng), rng.normal(size=3) * 9
        b.coordinates = b.coordinates @ turn.T + move + rng.normal(size=(40, 3)) * 0.3
        heavy = np.array(a.elements) != "H"
        for hydrogens, chosen in ((True, slice(None)), (False, heavy)):
            x, y = a.coordinates[chosen].astype(float), b.coordinates[chosen].astype(float)
            assert nx.rmsd(a, b, hydrogens=hydrogens) == pytest.approx(kabsch(x, y), abs=2e-4)
            plain = np.sqrt(((x - y) ** 2).sum(axis=1).mean())
            assert nx.rmsd(a, b, fit=False, hydrogens=hydrogens) == pytest.approx(plain, rel=1e-6)
        before = b.coordinates.copy()
        found = nx.superpose(a, b)
        assert found.count == heavy.sum() and np.allclose(found.rotation @ found.rotation.T, np.eye(3), atol=1e-5)
        assert np.allclose(before @ found.rotation.T + found.translation, b.coordinates, atol=2e-5)
        assert found.rmsd == pytest.approx(nx.rmsd(a, b, fit=False), abs=1e-4)
    points = rng.normal(size=(30, 3)), rng.normal(size=(30, 3))
    assert nx.rmsd(*points) == pytest.approx(kabsch(*points), abs=1e-5)
    assert nx.rmsd(*points, fit=False) == pytest.approx(np.sqrt(((points[0] - points[1]) ** 2).sum(axis=1).mean()))


@pytest.mark.parametrize("hydrogens", [False, True])
@pytest.mark.parametrize("weighted", [False, True])
def test_frames_are_those_of_the_second_moments(hydrogens, weighted):
    rng = np.random.default_rng(11)
    for _ in range(20):
        m = random_molecule(rng)
        chosen = np.full(40, True) if hydrogens else np.array(m.elements) != "H"
        x = m.coordinates[chosen].astype(float)
        w = m.radii[chosen].astype(float) ** 3 if weighted else np.ones(len(x))
        d = x - (w[:, None] * x).sum(axis=0) / w.sum()
        expected = np.sqrt(np.linalg.eigvalsh((w[:, None, None] * d[:, :, None] * d[:, None]).sum(axis=0))[::-1] / len(x))
        before = m.coordinates.copy()
        told = nx.moments(m, hydrogens, weighted)
        assert np.array_equal(m.coordinates, before)
        found = nx.orient(m, hydrogens, weighted)
        assert np.allclose(found.moments, expected, rtol=1e-4) and found.top == told.top == "asymmetric"
        assert np.allclose(found.moments, told.moments, rtol=1e-5) and np.linalg.det(found.rotation) > 0
        assert np.allclose(before @ found.rotation.T + found.translation, m.coordinates, atol=1e-4)


def test_tops():
    square = nx.Molecule(elements=["C"] * 4, coordinates=[[1, 0, 0], [0, 1, 0], [-1, 0, 0], [0, -1, 0]])
    assert nx.moments(square).top == "symmetric, oblate"
    assert nx.moments(nx.Molecule(elements=["C"])).top == "point"
    # With its hydrogens methane is a ball; without them there is one atom.
    methane = nx.Molecule(elements=["C"] + ["H"] * 4,
                          coordinates=[[0, 0, 0], [1, 1, 1], [1, -1, -1], [-1, 1, -1], [-1, -1, 1]])
    assert nx.moments(methane, hydrogens=True).top == "spherical" and nx.moments(methane).top == "point"


def test_bad_input_is_refused(water):
    empty, other = nx.Molecule(), nx.Molecule(elements=["O", "H"])
    for call in [lambda: nx.orient(empty), lambda: nx.moments(empty), lambda: nx.rmsd(empty, empty),
                 lambda: nx.rmsd(water, other), lambda: nx.superpose(water, other), lambda: nx.rmsd([[1, 2]], [[1, 2]]),
                 lambda: nx.rmsd(nx.Molecule(elements=["H"]), nx.Molecule(elements=["H"])), lambda: nx.rmsd([], []),
                 lambda: nx.orient(water, tolerance=0), lambda: nx.moments(water, tolerance=np.nan)]:
        with pytest.raises(ValueError):
            call()
    for call in [lambda: nx.rmsd(water, 3), lambda: nx.rmsd(-1, water), lambda: nx.superpose(water, None),
                 lambda: nx.orient(-1), lambda: nx.orient(np.zeros((3, 3)))]:
        with pytest.raises(TypeError):
            call()
    broken = water.copy()
    broken.coordinates[0, 0] = np.nan
    for call in [lambda: nx.orient(broken), lambda: nx.superpose(water, broken), lambda: nx.rmsd(water, broken)]:
        with pytest.raises(nx.NxError, match="finite"):
            call()
    only_hydrogens = nx.Molecule(elements=["H", "H"], coordinates=[[0, 0, 0], [1, 0, 0]])
    with pytest.warns(nx.NxWarning):
        nx.moments(only_hydrogens)


def test_eigenpairs():
    rng = np.random.default_rng(3)
    for n in (0, 1, 2, 5, 30):
        a = rng.normal(size=(n, n))
        a += a.T
        values, vectors = nx.eigh(a)
        assert np.allclose(values, np.linalg.eigvalsh(a), atol=1e-12) and np.allclose(vectors.T @ vectors, np.eye(n))
        assert np.allclose(a @ vectors, vectors * values, atol=1e-12)
    for bad in ([[1, 2], [3, 4]], [1, 2], [[1, 2, 3]], [[np.nan]], [[1j]], [["a"]]):
        with pytest.raises(ValueError, match="a: expected"):
            nx.eigh(bad)
