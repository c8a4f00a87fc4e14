#!/usr/bin/python3
"""Small molecules at the zinc of carbonic anhydrase, a known drug among them: which of them does the energy prefer?

The molecules are the first of about the drug's size from a set of the National Cancer Institute that RDKit ships, 16
of them neutral, 12 anions and 8 cations at neutral pH; and acetazolamide, once as the anion that binds and once neutral.
All are prepared alike: RDKit's conformer, hydrogens and Gasteiger charges; carboxylic acids and primary sulfonamides
have lost a proton, aliphatic amines have one more. Each is put where acetazolamide sits in the crystal, in several
orientations, and refined.

usage: screening.py DIRECTORY     (where poses, results and report go)
"""

import os
import sys

import numpy as np
from rdkit import Chem, RDLogger
from rdkit.Chem import AllChem

import nxbriochem as nx

EXAMPLES = "/usr/share/apbs/examples/hca-bind/"
SET = "/usr/share/RDKit/Data/NCI/first_5K.smi"
DRUG = ("CC(=O)Nc1nnc(s1)S(N)(=O)=O", "acetazolamide")
NEUTRAL = ("CC(=O)Nc1nnc(s1)S(N)(=O)=O", "the drug, neutral")
# How many molecules of each charge.
WANTED = {0: 16, -1: 12, 1: 8}
ORIENTATIONS = 12

# What is ionised at neutral pH: a pattern whose first atom loses or gets a proton.
IONISED = (
    ("[OX2H1]C(=O)[#6]", -1),
    ("[NX3H2]S(=O)(=O)[#6]", -1),
    ("[NX3;!$(N[!#6;!#1]);!$(N-[#6]=,:[*]);!$(NC#*)]([#6X4,#1])([#6X4,#1])[#6X4]", +1),
)


def candidates():
    """Molecules with their names: the drug, and the first of each charge in the set that are about its size."""
    yield ionised(Chem.MolFromSmiles(DRUG[0])), DRUG[1]
    yield Chem.MolFromSmiles(NEUTRAL[0]), NEUTRAL[1]
    left = dict(WANTED)
    with open(SET) as file:
        for line in file:
            smiles, name = line.split()
            molecule = Chem.MolFromSmiles(smiles)
            if molecule is None or "." in smiles or not 9 <= molecule.GetNumHeavyAtoms() <= 18:
                continue
            if any(atom.GetSymbol() not in ("C", "N", "O", "S", "F", "Cl", "Br") for atom in molecule.GetAtoms()):
                continue
            charge = Chem.GetFormalCharge(ionised(molecule))
            if left.get(charge, 0) > 0:
                left[charge] -= 1
                yield molecule, f"NCI {name}"
            if not any(left.values()):
                return


def ionised(molecule):
    for pattern, charge in IONISED:
        for match in molecule.GetSubstructMatches(Chem.MolFromSmarts(pattern)):
            atom = molecule.GetAtomWithIdx(match[0])
            if atom.GetFormalCharge() == 0:
                atom.SetNumExplicitHs(atom.GetTotalNumHs() + charge)
                atom.SetNoImplicit(True)
                atom.SetFormalCharge(charge)
    Chem.SanitizeMol(molecule)
    return molecule


def prepared(molecule, name):
    """The molecule with hydrogens, a conformer and charges; None where RDKit finds no conformer or charges."""
    molecule = Chem.AddHs(molecule)
    if AllChem.EmbedMolecule(molecule, randomSeed=7) != 0 or AllChem.MMFFOptimizeMolecule(molecule, maxIters=2000) < 0:
        return None
    AllChem.ComputeGasteigerCharges(molecule)
    charges = [atom.GetDoubleProp("_GasteigerCharge") for atom in molecule.GetAtoms()]
    if not np.isfinite(charges).all():
        return None
    Chem.Kekulize(molecule, clearAromaticFlags=True)
    return nx.Molecule(
        elements=[atom.GetSymbol() for atom in molecule.GetAtoms()],
        coordinates=molecule.GetConformer().GetPositions().astype(np.float32),
        charges=np.array(charges, np.float32),
        bonds=[[bond.GetBeginAtomIdx(), bond.GetEndAtomIdx(), int(bond.GetBondTypeAsDouble())]
               for bond in molecule.GetBonds()],
        name=name,
    )


def orientations(molecule, centre, random):
    """Copies about a place, turned at random."""
    for _ in range(ORIENTATIONS):
        rotation, upper = np.linalg.qr(random.normal(size=(3, 3)))
        rotation = rotation * np.sign(np.diag(upper))
        rotation[:, 0] *= np.linalg.det(rotation)
        pose = molecule.copy()
        places = molecule.coordinates - molecule.coordinates.mean(axis=0)
        pose.coordinates[:] = places @ rotation.T + centre + random.normal(scale=0.5, size=3)
        yield pose


def main():
    directory = sys.argv[1]
    RDLogger.DisableLog("rdApp.*")
    random = np.random.default_rng(11)
    crystal = nx.read(EXAMPLES + "acet.pqr")
    centre = crystal.coordinates.mean(axis=0)
    poses = []
    for candidate, name in candidates():
        molecule = prepared(candidate, name)
        if molecule is not None:
            poses += orientations(molecule, centre, random)
    file = os.path.join(directory, "screen-poses.mol2")
    nx.write(file, poses)
    print(f"{len(poses)} poses of {len(poses) // ORIENTATIONS} molecules are in {file}\n")

    out = os.path.join(directory, "screen.sqlite")
    results = nx.screen(EXAMPLES + "hca.pqr", file, out, refine=True, keep=ORIENTATIONS)
    results.report(os.path.join(directory, "screen.html"))

    best = {}
    for row in results.best(len(poses)):
        if not row["overlaps"]:
            best.setdefault(row["name"], row)
    print("rank  molecule            energy   Coulomb      12-6  kcal/mol  charge")
    charges = {pose.name: round(float(pose.charges.sum())) for pose in poses}
    for rank, (name, row) in enumerate(best.items(), 1):
        if rank <= 10 or name in (DRUG[1], NEUTRAL[1]):
            print(f"{rank:4}  {name:<18} {row['energy']:7.1f}   {row['coulomb']:7.1f}   {row['twelve_six']:7.1f}"
                  f"            {charges[name]:+d}")
    rank = list(best).index(DRUG[1]) + 1 if DRUG[1] in best else None
    alike = [name for name in best if charges[name] == charges[DRUG[1]]]
    print(f"\nThe drug is number {rank} of {len(best)}" +
          (f", and number {alike.index(DRUG[1]) + 1} of the {len(alike)} molecules of its charge.\n" if rank else ".\n"))
    print("The energy is Coulomb's at a dielectric of 4 and a 12-6 term, of rigid molecules. It knows no water, which holds\n"
          "on to charged molecules most, no strain and no entropy, and no bond between nitrogen and zinc: it ranks by charge\n"
          "first, and says where a molecule would fit, not how well it binds.")


if __name__ == "__main__":
    main()
