"""Principal extents and least RMS deviations of the molecules of a PQR file, by NumPy in double, for the tests.

usage: rigid_fit.py FILE

Prints one JSON object. "moments": of the first molecule, for hydrogens left out and kept, each unweighted and weighted
by radius cubed. "rms": the matrices of all pairs, hydrogens left out and kept. Hydrogens are the atoms whose name
starts with H or h; atoms of radius 0 have no part in the moments.
"""

import json
import sys

import numpy as np


def read(path):
    molecules = [[]]
    with open(path) as file:
        for line in file:
            fields = line.split()
            if fields[0] == "ATOM":
                molecules[-1].append((fields[2], [float(field) for field in fields[-5:]]))
            elif molecules[-1]:
                molecules.append([])
    return [molecule for molecule in molecules if molecule]


def moments(molecule, hydrogens, weighted):
    part = [v for name, v in molecule if (hydrogens or name[0] not in "Hh") and v[4] > 0]
    places = np.array([v[:3] for v in part])
    weights = np.array([v[4] ** 3 if weighted else 1.0 for v in part])
    centred = places - np.average(places, axis=0, weights=weights)
    second = (centred * weights[:, None]).T @ centred
    return sorted(np.sqrt(np.maximum(np.linalg.eigvalsh(second), 0) / len(part)), reverse=True)


def rms(first, second, hydrogens):
    part = [i for i, (name, _) in enumerate(first) if hydrogens or name[0] not in "Hh"]
    a, b = (np.array([molecule[i][1][:3] for i in part]) for molecule in (first, second))
    a, b = a - a.mean(axis=0), b - b.mean(axis=0)
    u, _, v = np.linalg.svd(b.T @ a)
    rotation = u @ np.diag([1, 1, np.sign(np.linalg.det(u @ v))]) @ v
    return np.sqrt(((b @ rotation - a) ** 2).sum() / len(part))


molecules = read(sys.argv[1])
choices = [(hydrogens, weighted) for hydrogens in (False, True) for weighted in (False, True)]
moments_of_first = [moments(molecules[0], *choice) for choice in choices]
pairs = [[[rms(a, b, hydrogens) for b in molecules] for a in molecules] for hydrogens in (False, True)]
print(json.dumps({"moments": moments_of_first, "rms": pairs}))
