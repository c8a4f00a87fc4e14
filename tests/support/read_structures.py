"""Lists what a structure file holds as RDKit reads it, for the tests.

usage: read_structures.py sdf|mol2|xyz FILE

One line each: "molecule TITLE", "atom SYMBOL X Y Z" with what else the format shows of atoms (mol2: name and charge,
sdf: formal charge), and "bond I J ORDER" with atoms counted from 0. Numbers have the format's decimals.
"""

import sys

from rdkit import Chem


def blocks(text, start):
    """The parts of a text that begin with a line that starts so."""
    parts = []
    for line in text.splitlines(keepends=True):
        if line.startswith(start):
            parts.append("")
        parts[-1] += line
    return parts


def read_sdf(text):
    supplier = Chem.SDMolSupplier()
    supplier.SetData(text, sanitize=False, removeHs=False)
    return supplier


def read_mol2(text):
    parts = blocks(text, "@<TRIPOS>MOLECULE")
    return [Chem.MolFromMol2Block(part, sanitize=False, removeHs=False, cleanupSubstructures=False) for part in parts]


def read_xyz(text):
    molecules = []
    lines = text.splitlines(keepends=True)
    while lines:
        end = int(lines[0]) + 2
        molecules.append(Chem.MolFromXYZBlock("".join(lines[:end])))
        molecules[-1].SetProp("_Name", lines[1].rstrip("\n"))
        lines = lines[end:]
    return molecules


# What RDKit keeps of a mol2 atom; a file need not have charges.
MOL2_PROPERTIES = ("_TriposAtomName", "_TriposPartialCharge")

# The reader, the decimals of coordinates, and what is listed of an atom besides its place.
FORMATS = {
    "sdf": (read_sdf, 4, lambda atom: [str(atom.GetFormalCharge())]),
    "mol2": (read_mol2, 4, lambda atom: [atom.GetProp(p) for p in MOL2_PROPERTIES if atom.HasProp(p)]),
    "xyz": (read_xyz, 6, lambda atom: []),
}


def main(word, path):
    read, decimals, more = FORMATS[word]
    with open(path) as file:
        text = file.read()
    for molecule in read(text):
        print("molecule", molecule.GetProp("_Name"))
        for atom, xyz in zip(molecule.GetAtoms(), molecule.GetConformer().GetPositions(), strict=True):
            print("atom", atom.GetSymbol(), *(f"{x:.{decimals}f}" for x in xyz), *more(atom))
        for bond in molecule.GetBonds():
            print("bond", bond.GetBeginAtomIdx(), bond.GetEndAtomIdx(), f"{bond.GetBondTypeAsDouble():g}")


main(*sys.argv[1:])
