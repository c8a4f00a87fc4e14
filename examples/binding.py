#!/usr/bin/env python3
"""The library from Python, by ctypes alone: the Coulombic binding energy of two PQR files, held against the plain sum,
and the radii that a molecule gets from its atom names.

usage: binding.py LIBRARY [TARGET.pqr LIGAND.pqr]     LIBRARY is libnxbriochem.so with its path
"""

import ctypes
import math
import sys
from ctypes import POINTER, byref, c_char_p, c_float, c_int

EXAMPLES = "/usr/share/apbs/examples/hca-bind/"

# For undeclared functions, ctypes passes integers as int and takes results for int, which is right for handles and
# statuses. Functions with float arguments must be declared, since ctypes refuses a plain float otherwise. Arrays are
# ctypes arrays.
DECLARED = {
    "nx_set_molecule_coordinates": [POINTER(c_float), c_int],
    "nx_set_molecule_charges": [POINTER(c_float), c_int],
    "nx_set_molecule_atom_names": [c_char_p, c_int],
    "nx_get_molecule_radii": [POINTER(c_float), c_int],
    "nx_calculate_coulombic_binding": [c_int, c_int, POINTER(c_float), c_float],
}


def load(path):
    library = ctypes.CDLL(path)
    for name, arguments in DECLARED.items():
        getattr(library, name).argtypes = arguments
    return library


def read_pqr(path):
    """Names, places and charges; the last five fields of an atom are x, y, z, charge and radius."""
    with open(path, encoding="ascii") as file:
        atoms = [line.split() for line in file if line.startswith(("ATOM", "HETATM"))]
    places = [tuple(float(value) for value in atom[-5:-2]) for atom in atoms]
    return [atom[2] for atom in atoms], places, [float(atom[-2]) for atom in atoms]


def floats(values):
    return (c_float * len(values))(*values)


def need(result, step):
    if result != 1:
        sys.exit(f"failed: {step}")


def make_molecule(library, names, places, charges):
    molecule = library.nx_make_molecule()
    need(library.nx_set_molecule_atom_number(len(names), molecule), "atoms")
    need(library.nx_set_molecule_coordinates(floats([x for place in places for x in place]), molecule), "coordinates")
    need(library.nx_set_molecule_charges(floats(charges), molecule), "charges")
    # Packed, each name ended by a NUL; ctypes adds the last one.
    need(library.nx_set_molecule_atom_names("\0".join(names).encode("ascii"), molecule), "atom names")
    need(library.nx_assign_bondi_radii(molecule), "radii")
    return molecule


def main():
    if len(sys.argv) not in (2, 4):
        print(__doc__, file=sys.stderr)
        return 2
    library = load(sys.argv[1])
    paths = sys.argv[2:] or [EXAMPLES + "hca.pqr", EXAMPLES + "acet.pqr"]
    target, ligand = (read_pqr(path) for path in paths)
    handles = [make_molecule(library, *atoms) for atoms in (target, ligand)]

    energy = c_float(math.nan)
    library.nx_calculate_coulombic_binding(*handles, byref(energy), 1.0)
    # A variable of the library: what makes the unit kT at 298 K.
    factor = c_float.in_dll(library, "DFactor2").value
    plain = factor * sum(
        q * r / math.dist(x, y) for x, q in zip(target[1], target[2]) for y, r in zip(ligand[1], ligand[2])
    )
    print(f"energy {energy.value:.3f} kT, the plain sum {plain:.3f} kT")

    radii = floats([0.0] * library.nx_get_molecule_radii_length(handles[1]))
    need(library.nx_get_molecule_radii(radii, handles[1]), "radii")
    print("radii of the ligand:", *(f"{name} {radius:.2f}" for name, radius in zip(ligand[0], radii)))
    for handle in handles:
        library.nx_delete_molecule(handle)
    return 0 if math.isclose(energy.value, plain, rel_tol=1e-4) else 1


if __name__ == "__main__":
    sys.exit(main())
