"""Molecules of gemmi, RDKit and MDAnalysis: what they say comes over, and round trips keep what they should."""

import sys
import warnings

import numpy as np
import pytest

import nxbriochem as nx
from conftest import EXAMPLES

with warnings.catch_warnings():
    warnings.simplefilter("ignore")
    import gemmi
    import MDAnalysis
    from rdkit import Chem
    from rdkit.Chem import AllChem

NAMED = ["elements", "names", "residue_names", "residue_numbers", "insertion_codes", "chains", "formal_charges"]


def bonds_of(m, orders=True):
    return sorted((min(i, j), max(i, j), order if orders else 1) for i, j, order in m.bonds.tolist())


def assert_same(a, b, arrays, orders=True):
    assert len(a) == len(b)
    for key in NAMED + arrays:
        assert np.array_equal(getattr(a, key), getattr(b, key)), key
    assert bonds_of(a, orders) == bonds_of(b, orders)
    assert np.array_equal(a.coordinates, b.coordinates)


@pytest.fixture
def peptide():
    """A charged dipeptide with a ring, insertion codes and two chains."""
    mol = Chem.AddHs(Chem.MolFromSequence("KF"))
    AllChem.EmbedMolecule(mol, randomSeed=1)
    m = nx.from_rdkit(mol)
    m.names = [f"{e}{k}" for k, e in enumerate(m.elements)]
    half = len(m) // 2
    m.residue_names = ["LYS"] * half + ["PHE"] * (len(m) - half)
    m.residue_numbers = [5] * half + [-3] * (len(m) - half)
    m.insertion_codes = ["B"] * half + [""] * (len(m) - half)
    m.chains = ["A"] * half + ["B"] * (len(m) - half)
    m.formal_charges[0] = 1
    m.charges = np.linspace(-1, 1, len(m))
    m.name = "dipeptide"
    return m


def test_rdkit_round_trip(peptide):
    peptide.fields["score"] = "-7"
    peptide.n_conformers = 2
    peptide.active_conformer = 1
    peptide.coordinates += 1
    mol = peptide.to_rdkit()
    assert mol.GetNumConformers() == 2 and mol.HasSubstructMatch(Chem.MolFromSmarts("c1ccccc1"))
    again = nx.from_rdkit(mol, conformer=1)
    assert_same(peptide, again, ["charges", "radii"])
    assert again.name == "dipeptide" and again.fields["score"] == "-7" and peptide.active_conformer == 1
    assert np.allclose(nx.from_rdkit(mol).coordinates, peptide.coordinates - 1, atol=1e-5)


def test_rdkits_molecules_come_over():
    mol = Chem.AddHs(Chem.MolFromSmiles("c1ccccc1[N+](=O)[O-]"))
    AllChem.EmbedMolecule(mol, randomSeed=2)
    m = nx.from_rdkit(mol)
    assert np.array_equal(m.coordinates, mol.GetConformer().GetPositions().astype(np.float32))
    assert m.formal_charges.sum() == 0 and m.charges.max() == 1 and m.radii.min() > 0.9
    assert sorted(m.bonds[:, 2].tolist()).count(2) == 4
    AllChem.ComputeGasteigerCharges(mol)
    charges = [atom.GetDoubleProp("_GasteigerCharge") for atom in mol.GetAtoms()]
    assert np.allclose(nx.from_rdkit(mol).charges, charges, atol=1e-6)
    assert Chem.MolToSmiles(Chem.RemoveHs(m.to_rdkit())) == Chem.MolToSmiles(Chem.RemoveHs(mol))
    assert not nx.from_rdkit(Chem.MolFromSmiles("CC")).coordinates.any() and len(nx.from_rdkit(Chem.Mol())) == 0
    for bad in (3, 99):
        with pytest.raises(ValueError, match="conformer"):
            nx.from_rdkit(mol, conformer=bad)


def test_gemmi_round_trip(peptide):
    structure = peptide.to_gemmi()
    assert [chain.name for chain in structure[0]] == ["A", "B"] and structure[0].count_atom_sites() == len(peptide)
    again = nx.from_gemmi(structure)
    assert_same(peptide, again, [], orders=False)
    with pytest.warns(nx.NxWarning, match="bonds are lost"):
        assert len(nx.from_gemmi(nx.Molecule(elements=["C", "C"], bonds=[[0, 1]]).to_gemmi())) == 2


def test_gemmis_structures_are_read_as_files_of_them_are(tmp_path):
    path = tmp_path / "m.pdb"
    lines = [
        "ATOM      1  N   LYS A   1      11.104   6.134  -6.504  1.00  0.00           N",
        "ATOM      2  CA ALYS A   1      11.639   6.071  -5.147  0.40  0.00           C",
        "ATOM      3  CA BLYS A   1      11.739   6.171  -5.247  0.60  0.00           C",
        "ATOM      4  NZ  LYS A   1      12.000   7.000  -4.000  1.00  0.00           N",
        "HETATM    5 ZN    ZN B 201A      1.000   2.000   3.000  1.00 10.00          ZN",
        "END"]
    path.write_text("\n".join(lines) + "\n")
    file, m = nx.read(path), nx.from_gemmi(gemmi.read_structure(str(path)))
    assert_same(file, m, ["charges", "radii"])
    assert m.charges.tolist() == file.charges.tolist() and file.charges.max() == 2
    assert m.coordinates[1].tolist() == np.float32([11.739, 6.171, -5.247]).tolist()
    assert_same(nx.from_gemmi(gemmi.read_structure(str(path))[0]), m, ["charges"])
    assert len(nx.from_gemmi(gemmi.Structure())) == 0


def test_mdanalysis_round_trip(peptide):
    peptide.n_conformers = 3
    peptide.active_conformer = 2
    peptide.coordinates += 2
    universe = peptide.to_mdanalysis()
    assert universe.trajectory.n_frames == 3 and universe.segments.segids.tolist() == ["A", "B"]
    assert_same(peptide, nx.from_mdanalysis(universe), ["charges", "radii"])
    assert peptide.active_conformer == 2
    universe.trajectory[0]
    part = nx.from_mdanalysis(universe.select_atoms("resname PHE and not element H"))
    expected = peptide.select("B and not [H]")
    assert list(part.names) == list(expected.names) and np.allclose(part.coordinates, expected.coordinates - 2, atol=1e-5)
    assert bonds_of(part) == bonds_of(expected)
    assert len(nx.from_mdanalysis(nx.Molecule().to_mdanalysis())) == 0


def test_mdanalysis_files_come_over(hca):
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        universe = MDAnalysis.Universe(EXAMPLES + "hca-bind/hca.pqr")
    m = nx.from_mdanalysis(universe)
    assert np.array_equal(m.coordinates, hca.coordinates) and np.allclose(m.charges, hca.charges, atol=1e-6)
    assert list(m.names) == list(hca.names) and list(m.residue_names) == list(hca.residue_names)
    assert np.allclose(m.radii, hca.radii) and (np.array(m.elements) == np.array(hca.elements)).mean() > 0.99
    bare = MDAnalysis.Universe.empty(2, trajectory=True)
    assert list(nx.from_mdanalysis(bare).elements) == ["X", "X"]


def test_wrong_types_are_refused():
    for adapter in (nx.from_gemmi, nx.from_rdkit, nx.from_mdanalysis):
        for bad in (None, 3, "text", nx.Molecule(elements=["C"])):
            with pytest.raises(TypeError, match="expected"):
                adapter(bad)


def test_packages_are_imported_when_asked_for(child):
    printed = child("import sys, nxbriochem; print([p for p in "
                    "('gemmi', 'rdkit', 'MDAnalysis', 'scipy', 'matplotlib', 'tqdm') if p in sys.modules])")
    assert printed == "[]\n"
