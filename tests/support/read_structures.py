"""Reads structure files with software that is not this project's, for the tests.

usage: read_structures.py list FORMAT FILE
       read_structures.py smiles FILE SMILES...

list prints what a file holds, one line each: "molecule TITLE", "atom SYMBOL X Y Z KEY=VALUE..." and "bond I J ORDER"
with atoms counted from 0. RDKit reads sdf, mol2, xyz and the atoms of pdb; the CONECT records of pdb, of which it leaves
out those of unlikely bonds, are taken at their columns, and pqr, which it does not know, is split at blanks.

smiles prints per record of an SD file its canonical SMILES without hydrogens and, after a blank, that of the SMILES
given for it.
"""

import sys
from collections import Counter

from rdkit import Chem


def blocks(text, start):
    """The parts of a text that begin with a line that starts so."""
    parts = []
    for line in text.splitlines(keepends=True):
        if line.startswith(start):
            parts.append("")
        if parts:
            parts[-1] += line
    return parts


def read_sdf(path):
    return list(Chem.SDMolSupplier(path, sanitize=False, removeHs=False))


def read_mol2(path):
    with open(path) as file:
        parts = blocks(file.read(), "@<TRIPOS>MOLECULE")
    return [Chem.MolFromMol2Block(part, sanitize=False, removeHs=False, cleanupSubstructures=False) for part in parts]


def read_xyz(path):
    molecules = []
    with open(path) as file:
        lines = file.read().splitlines(keepends=True)
    while lines:
        end = int(lines[0]) + 2
        molecules.append(Chem.MolFromXYZBlock("".join(lines[:end])))
        molecules[-1].SetProp("_Name", lines[1].rstrip("\n"))
        lines = lines[end:]
    return molecules


READERS = {"sdf": read_sdf, "mol2": read_mol2, "xyz": read_xyz}


def atom_keys(atom):
    keys = {"formal": atom.GetFormalCharge()}
    if atom.HasProp("_TriposAtomName"):
        keys["name"] = atom.GetProp("_TriposAtomName")
        keys["charge"] = atom.GetProp("_TriposPartialCharge")
    residue = atom.GetPDBResidueInfo()
    if residue is not None:
        keys["name"] = residue.GetName().strip()
        keys["residue"] = residue.GetResidueName().strip()
        keys["number"] = residue.GetResidueNumber()
    return keys


def print_atom(symbol, xyz, keys):
    print("atom", symbol, *xyz, *(f"{key}={value}" for key, value in keys.items()))


def print_head_and_atoms(molecule):
    print("molecule", molecule.GetProp("_Name") if molecule.HasProp("_Name") else "")
    for atom in molecule.GetAtoms():
        place = molecule.GetConformer().GetAtomPosition(atom.GetIdx())
        print_atom(atom.GetSymbol(), (repr(x) for x in place), atom_keys(atom))


def list_rdkit(molecules):
    for molecule in molecules:
        print_head_and_atoms(molecule)
        for bond in molecule.GetBonds():
            print("bond", bond.GetBeginAtomIdx(), bond.GetEndAtomIdx(), bond.GetBondTypeAsDouble())


def list_pdb(path):
    with open(path) as file:
        text = file.read()
    for part in blocks(text, "MODEL ") or [text]:
        print_head_and_atoms(Chem.MolFromPDBBlock(part, sanitize=False, removeHs=False, proximityBonding=False))
        orders = Counter()
        for line in part.splitlines():
            if line.startswith("CONECT"):
                serials = [int(line[at : at + 5]) for at in range(6, len(line), 5)]
                orders.update((serials[0], other) for other in serials[1:])
        for (begin, end), order in orders.items():
            assert orders[end, begin] == order
            if begin < end:
                print("bond", begin - 1, end - 1, order)


def list_pqr(path):
    title = ""
    open_molecule = False
    with open(path) as file:
        for fields in (line.split() for line in file):
            if fields[0] == "REMARK":
                title = " ".join(fields[1:])
                continue
            if fields[0] in ("MODEL", "ENDMDL", "END"):
                continue
            if not open_molecule:
                print("molecule", title)
                open_molecule = True
            if fields[0] == "TER":
                title = ""
                open_molecule = False
                continue
            assert fields[0] in ("ATOM", "HETATM")
            x, y, z, charge, radius = fields[-5:]
            keys = {"name": fields[2], "residue": fields[3], "number": fields[-6], "charge": charge}
            print_atom("-", (x, y, z), keys | {"radius": radius})


def main(arguments):
    if arguments[0] == "smiles":
        for molecule, expected in zip(Chem.SDMolSupplier(arguments[1]), arguments[2:], strict=True):
            print(Chem.MolToSmiles(molecule), Chem.MolToSmiles(Chem.MolFromSmiles(expected)))
    elif arguments[1] == "pqr":
        list_pqr(arguments[2])
    elif arguments[1] in ("pdb", "delphi_pdb"):
        list_pdb(arguments[2])
    else:
        list_rdkit(READERS[arguments[1]](arguments[2]))


main(sys.argv[1:])
