"""The 12-6 energy between the atoms of two PQR files, by NumPy, with RDKit's UFF parameters, for the tests.

usage: uff_energy.py TARGET LIGAND

Prints the sum over all pairs of D ((x/r)^12 - 2 (x/r)^6) in kcal/mol. The element is the first letter of an atom's name
after digits, or the name itself where it is the residue's too.
"""

import sys

import numpy as np
from rdkit import Chem, RDLogger
from rdkit.Chem.rdForceFieldHelpers import GetUFFVdWParams

RDLogger.DisableLog("rdApp.*")


def parameters(symbol):
    """x and D of an element: RDKit knows them by atom types, of which metals have one for a charge and a geometry."""
    for charge in range(4):
        for geometry in (Chem.HybridizationType.S, Chem.HybridizationType.SP3, Chem.HybridizationType.SP3D2):
            molecule = Chem.RWMol()
            for _ in range(2):
                atom = Chem.Atom(symbol)
                atom.SetNoImplicit(True)
                atom.SetFormalCharge(charge)
                atom.SetHybridization(geometry)
                molecule.AddAtom(atom)
            molecule.UpdatePropertyCache(False)
            Chem.FastFindRings(molecule)
            if found := GetUFFVdWParams(molecule.GetMol(), 0, 1):
                return found
    raise ValueError(symbol)


def read(path):
    places, kinds = [], []
    with open(path) as file:
        for line in file:
            fields = line.split()
            if fields[0] == "ATOM":
                name = fields[2].lstrip("0123456789")
                kinds.append(name.capitalize() if name == fields[3] else name[0])
                places.append([float(field) for field in fields[-5:-2]])
    table = {kind: parameters(kind) for kind in set(kinds)}
    return np.array(places), *np.array([table[kind] for kind in kinds]).T


target, x_target, d_target = read(sys.argv[1])
ligand, x_ligand, d_ligand = read(sys.argv[2])
squares = ((target[:, None] - ligand[None]) ** 2).sum(axis=2)
cubes = (np.outer(x_target, x_ligand) / squares) ** 3
print(repr(float((np.sqrt(np.outer(d_target, d_ligand)) * (cubes * cubes - 2 * cubes)).sum())))
