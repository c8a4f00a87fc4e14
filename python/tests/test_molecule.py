"""Molecules: what goes in comes out, assignments reach the molecule or are refused with nothing changed."""

import copy
import pickle

import numpy as np
import pytest

import nxbriochem as nx

ARRAYS = ["coordinates", "charges", "radii", "elements", "names", "residue_names", "residue_numbers", "chains", "bonds",
          "formal_charges", "insertion_codes"]


def state(m):
    return {key: np.array(getattr(m, key)).tolist() for key in ARRAYS} | {"name": m.name}


def test_constructor_gives_back_what_it_took(water):
    assert len(water) == 3 and water.name == "water" and water.handle < 0
    assert state(water) == {
        "coordinates": np.float32([[0, 0, 0], [0.757, 0.586, 0], [-0.757, 0.586, 0]]).tolist(),
        "charges": np.float32([-0.834, 0.417, 0.417]).tolist(), "radii": [1.5, 1, 1], "elements": ["O", "H", "H"],
        "names": ["O", "H1", "H2"], "residue_names": ["HOH"] * 3, "residue_numbers": [7] * 3, "chains": ["A"] * 3,
        "bonds": [[0, 1, 1], [0, 2, 1]], "formal_charges": [0, 0, 0], "insertion_codes": [""] * 3, "name": "water"}
    bare = nx.Molecule(elements=[30, 0, 8], name="\u00c5ngstr\u00f6m")
    assert list(bare.elements) == ["Zn", "X", "O"] and list(bare.names) == ["Zn", "X", "O"]
    assert bare.name == "\u00c5ngstr\u00f6m" and not bare.coordinates.any() and bare.bonds.shape == (0, 3)
    assert len(nx.Molecule()) == 0 and nx.Molecule().coordinates.shape == (0, 3)


def test_views_write_through_and_outlive_the_molecule(water):
    other = nx.Molecule(elements=["Na"], coordinates=[[9, 0, 0]], charges=[1])
    before = nx.coulomb(water, other)
    water.charges[0] = 0.5
    water.coordinates[1][2] = 4
    water.coordinates += 1
    fresh = nx.Molecule(elements=["O", "H", "H"], coordinates=[[1, 1, 1], [1.757, 1.586, 5], [0.243, 1.586, 1]],
                        charges=[0.5, 0.417, 0.417])
    assert nx.coulomb(water, other) == pytest.approx(nx.coulomb(fresh, other), rel=1e-6) != before
    charges, handle = water.charges, water.handle
    water.close()
    others = [nx.Molecule(elements=["C"] * 3, charges=[7, 8, 9]) for _ in range(50)]
    assert charges[0] == 0.5 and handle not in [m.handle for m in others]


@pytest.mark.parametrize("array, index, value", [
    ("names", 1, "HW11"), ("names", slice(0, 2), ["A", "BCDEFGH"]), ("elements", 0, "Zn"), ("chains", 2, ""),
    ("residue_names", [0, 2], "LONGER"), ("residue_numbers", 1, -3), ("bonds", (0, 2), 2), ("formal_charges", 0, -1),
    ("residue_numbers", np.array([True, False, True]), 12), ("insertion_codes", 0, "B")])
def test_elements_of_other_arrays_write_through(water, array, index, value):
    expected = np.array(getattr(water, array)).astype(object)
    expected[index] = value
    getattr(water, array)[index] = value
    assert np.array(getattr(water, array)).tolist() == expected.tolist()


def test_arithmetic_and_comparisons_of_other_arrays(water):
    water.residue_numbers += 2
    assert (water.residue_numbers == 9).all() and (water.names != "O").tolist() == [False, True, True]
    assert "H1" in water.names and water.bonds.shape == (2, 3) and water.names[1:].tolist() == ["H1", "H2"]
    with pytest.raises(ValueError):
        water.names[0:2][0] = "lost"
    with pytest.raises(ValueError):
        water.residue_numbers.fill(3)
    with pytest.raises(ValueError):
        water.atomic_numbers[0] = 7


BAD = [
    ("coordinates", [[0, 0], [1, 1], [2, 2]], r"coordinates: expected shape \(3, 3\), not \(3, 2\)"),
    ("coordinates", np.zeros((2, 3)), r"coordinates: expected shape \(3, 3\), not \(2, 3\)"),
    ("coordinates", np.zeros(9), r"\(9,\)"), ("coordinates", [[0, 0, np.nan]] * 3, "finite"),
    ("coordinates", np.full((3, 3), 1e300), "single precision"), ("coordinates", [[0, 0, 1j]] * 3, "complex"),
    ("coordinates", [["0", "0", "0"]] * 3, "dtype"), ("coordinates", [[0, 0, 0], [1, 1], [2]], "ragged|dtype object"),
    ("charges", [1, 2], r"charges: expected shape \(3,\), not \(2,\)"), ("charges", ["a", "b", "c"], "dtype"),
    ("charges", [1, None, 2], "dtype object"), ("charges", [0, np.inf, 0], "finite"), ("radii", [True] * 3, "bool"),
    ("radii", np.zeros((3, 1)), r"\(3, 1\)"), ("names", ["a", "b"], r"\(2,\)"), ("names", [1, 2, 3], "strings"),
    ("names", ["a", "b", "c\0d"], "NUL"), ("elements", ["O", "H", "Qq"], "'Qq'"), ("elements", [1, 2, 300], "300"),
    ("elements", [1.0, 2.0, 3.0], "strings"), ("chains", ["AB", "A", "A"], "single"),
    ("residue_numbers", [1.5, 2, 3], "float64"), ("residue_numbers", [2**40, 1, 1], "32 bits"),
    ("residue_numbers", np.uint64([2**63 + 5, 1, 1]), "32 bits"), ("bonds", [[0, 3]], "below 3"),
    ("bonds", [[-1, 1, 1]], "below 3"), ("bonds", [[1, 1, 1]], "1 and 1"), ("bonds", [[0, 1, 9]], "orders"),
    ("bonds", [0, 1, 1], r"\(n, 3\)"), ("bonds", [[0.0, 1.0, 1.0]], "float64"), ("formal_charges", [0, 0, 0.5], "float")]


@pytest.mark.parametrize("array, value, message", BAD)
def test_bad_arrays_are_refused_with_nothing_changed(water, array, value, message):
    before = state(water)
    with pytest.raises(ValueError, match=message) as error:
        setattr(water, array, value)
    assert str(error.value).startswith(array)
    assert state(water) == before
    if array not in ("elements", "formal_charges"):
        with pytest.raises(ValueError, match=message):
            nx.Molecule(elements=["O", "H", "H"], **{array: value})


def test_bad_elements_of_arrays_are_refused_with_nothing_changed(water):
    before = state(water)
    for array, index, value in [("names", 0, 5), ("names", 9, "X"), ("chains", 0, "AB"), ("residue_numbers", 0, 1.5),
                                ("residue_numbers", 0, 2**40), ("bonds", (0, 1), 77), ("elements", 0, "Qq"),
                                ("charges", 0, "text"), ("coordinates", (0, 0), 1j)]:
        with pytest.raises((ValueError, IndexError, TypeError)):
            getattr(water, array)[index] = value
        assert state(water) == before, array


def test_what_converts_without_loss_is_taken(water):
    other = water.copy()
    for values in (water.coordinates.astype(float), water.coordinates[::-1], np.asfortranarray(water.coordinates),
                   [[1, 2, 3]] * 3, water.coordinates.astype(">f4"), np.float16([[1, 2, 3]] * 3)):
        other.coordinates = values
        assert np.array_equal(other.coordinates, np.asarray(values, np.float32))
    water.coordinates = water.coordinates[::-1]
    assert np.array_equal(water.coordinates[0], np.float32([-0.757, 0.586, 0]))


def test_copies_are_equal_and_apart(water):
    water.fields["score"] = "1.5"
    water.n_conformers = 3
    water.active_conformer = 1
    water.coordinates[0] = 5
    for twin in (water.copy(), copy.copy(water), copy.deepcopy(water), pickle.loads(pickle.dumps(water))):
        assert state(twin) == state(water) and dict(twin.fields.items()) == {"score": "1.5"}
        assert (twin.n_conformers, twin.active_conformer) == (3, 1)
        twin.active_conformer = 0
        assert not twin.coordinates[0].any()
        twin.charges[0] = 3
        twin.fields["score"] = "2"
        assert water.charges[0] == np.float32(-0.834) and water.fields["score"] == "1.5"


def test_pickles_keep_what_files_said(hca):
    twin = pickle.loads(pickle.dumps(hca))
    assert state(twin) == state(hca) and twin.charge_source == "file" and twin.notes == hca.notes
    assert nx.write_bytes(twin, "pqr") == nx.write_bytes(hca, "pqr")


def test_conformers(water):
    water.n_conformers = 2
    first = water.coordinates
    water.active_conformer = 1
    water.coordinates = [[1, 1, 1]] * 3
    assert water.n_conformers == 2 and not first[0].any() and water.active_conformer == 1
    with pytest.raises(BufferError):
        water.n_conformers = 1
    for bad in (2, -1):
        with pytest.raises(ValueError, match="active_conformer"):
            water.active_conformer = bad
    with pytest.raises(ValueError, match="n_conformers"):
        water.n_conformers = 0
    del first
    water.n_conformers = 1
    assert water.active_conformer == 0 and water.coordinates[1][0] == np.float32(0.757)


def test_transform_moves_every_conformer(water):
    turn = np.array([[0, -1, 0], [1, 0, 0], [0, 0, 1]])
    before = water.coordinates.copy()
    water.n_conformers = 2
    water.transform(turn, [1, 2, 3])
    for k in range(2):
        water.active_conformer = k
        assert np.allclose(water.coordinates, before @ turn.T + [1, 2, 3], atol=1e-6)
    water.transform(translation=[-1, -2, -3])
    assert np.allclose(water.coordinates, before @ turn.T, atol=1e-6)
    for bad in (2 * turn, -turn, turn + 0.1, np.diag([1, 1, -1])):
        with pytest.raises(ValueError, match="rotation"):
            water.transform(bad)


def test_selection(hca, water):
    assert len(hca.select("protein")) == 2481 and list(hca.select("[Zn]").elements) == ["Zn"]
    part = water.select([True, False, True])
    assert list(part.names) == ["O", "H2"] and part.bonds.tolist() == [[0, 1, 1]] and len(water) == 3
    assert len(water.select(np.zeros(3, bool))) == 0
    for bad in ([True], [0, 1, 1], [[True] * 3], np.ones(4, bool)):
        with pytest.raises(ValueError):
            water.select(bad)
    with pytest.raises(nx.NxError, match="selection"):
        water.select("no / such ((")


def test_radii_charges_and_bonds_are_assigned():
    m = nx.Molecule(elements=["Ca", "C", "S"], names=None)
    m.assign_radii()
    assert m.radii.tolist() == pytest.approx([1.9, 1.7, 1.8], abs=0.8) and m.radii[1] == np.float32(1.7)
    lysine = nx.Molecule(elements=["N", "C"], names=["NZ", "CE"], residue_names=["LYS"] * 2)
    lysine.assign_charges()
    assert lysine.charges.tolist() == [1, 0]
    ethene = nx.Molecule(elements="C C H H H H".split(), coordinates=[
        [0.67, 0, 0], [-0.67, 0, 0], [1.24, 0.92, 0], [1.24, -0.92, 0], [-1.24, 0.92, 0], [-1.24, -0.92, 0]])
    ethene.perceive_bonds()
    assert sorted(map(tuple, ethene.bonds.tolist()))[0] == (0, 1, 2) and len(ethene.bonds) == 5


def test_closed_molecules_raise_everywhere(water):
    other = water.copy()
    with water as same:
        assert same is water
    assert water.closed and repr(water) == "<Molecule: closed>"
    water.close()
    calls = [lambda: len(water), lambda: water.handle, lambda: water.copy(), lambda: water.select("all"),
             lambda: water.names, lambda: water.coordinates, lambda: pickle.dumps(water), lambda: water.transform(),
             lambda: nx.coulomb(water, other), lambda: nx.coulomb(other, water), lambda: nx.refine(water, other),
             lambda: nx.write_bytes([other, water], "pdb"), lambda: water.assign_radii(), lambda: water.fields,
             lambda: setattr(water, "charges", [0, 0, 0]), lambda: water.__enter__(), lambda: water.notes]
    for call in calls:
        with pytest.raises(nx.NxError, match="closed"):
            call()
