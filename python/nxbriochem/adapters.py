"""Molecules of other packages, which are imported when they are asked for."""

import warnings

import numpy as np

from . import _core
from .io import read_bytes
from .molecule import Molecule, core_of


def _runs(*arrays):
    """Where runs of equal entries begin, and the run of each entry."""
    changes = np.zeros(len(arrays[0]), bool)
    for array in arrays:
        changes[1:] |= array[1:] != array[:-1]
    changes[:1] = True
    return np.flatnonzero(changes), np.cumsum(changes) - 1


def _residues(m):
    """Arrays of residue names, numbers, insertion codes and chains, where residues begin, and the one of each atom."""
    arrays = [np.asarray(a) for a in (m.residue_names, m.residue_numbers, m.insertion_codes, m.chains)]
    return arrays, *_runs(*arrays)


def _letters(names):
    """Chain letters: names of one character keep theirs, longer ones get free letters in their order."""
    letters = {name: name for name in names if len(name) <= 1}
    free = iter(c for c in "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789" if c not in letters)
    for name in names:
        if name not in letters:
            letters[name] = next(free, "")
    return letters


# ---- gemmi

def from_gemmi(structure):
    """A molecule of a ``gemmi.Structure``, of which the first model is taken, or of a ``gemmi.Model``.

    It is read as a file of it would be: of alternate locations the likeliest is taken, charges are the formal ones and
    those of ionised side chains, chain ends and ions, radii are Bondi's, longer chain names get free letters, and
    `Molecule.notes` says so. Coordinates, atom and residue names, numbers, insertion codes, formal charges, and
    connections that are covalent (all as single bonds; of a model, none) are kept. Cell, symmetry, entities and
    anisotropic temperature factors are lost.

    Parameters
    ----------
    structure : gemmi.Structure or gemmi.Model

    Returns
    -------
    Molecule

    Examples
    --------
    >>> import gemmi, nxbriochem as nx
    >>> structure = gemmi.read_pdb_string("ATOM      1  CA  GLY A   5      1.0   2.0     3.0    1.00  0.00           C")
    >>> m = nx.from_gemmi(structure)
    >>> m.names[0], m.residue_names[0], int(m.residue_numbers[0]), m.chains[0]
    ('CA', 'GLY', 5, 'A')
    """
    import gemmi
    if isinstance(structure, gemmi.Structure):
        single = structure.clone()
        for name in [model.name for model in structure][1:]:
            del single[name]
    elif isinstance(structure, gemmi.Model):
        single = gemmi.Structure()
        single.add_model(structure)
    else:
        raise TypeError(f"structure: expected a gemmi.Structure or gemmi.Model, not {type(structure).__name__}")
    if not len(single) or not single[0].count_atom_sites():
        return Molecule()
    # The file knows which atom is which by its temperature factor.
    places, factors = [], []
    for cra in single[0].all():
        atom = cra.atom
        places.append(atom.pos.tolist())
        factors.append(atom.b_iso)
        atom.b_iso = len(factors) - 1
    single.remove_empty_chains()
    single.setup_entities()
    text = single.make_mmcif_document().as_string()
    molecule = read_bytes(text, format="mmcif", name=structure.name or "structure")
    kept = _core.b_factors(molecule._core).astype(int)
    molecule.coordinates = np.array(places)[kept]
    _core.set_b_factors(molecule._core, np.array(factors)[kept])
    return molecule


def to_gemmi(m):
    """The molecule as a ``gemmi.Structure`` of one model, active conformer.

    Coordinates, elements, atom and residue names, numbers, insertion codes, chains, occupancies, temperature factors
    and formal charges are kept; bonds become covalent connections. Orders of bonds, partial charges and radii, which
    gemmi does not know, are lost, and bonds of atoms whose names are not unique in their residue, with a warning.

    Returns
    -------
    gemmi.Structure
    """
    import gemmi
    core_of(m, "m")
    structure = gemmi.Structure()
    structure.name = m.name
    model = gemmi.Model("1")
    (names, numbers, codes, chains), begins, _ = _residues(m)
    labels = []
    hetero, occupancies, factors = (get(m._core) for get in (_core.hetero_flags, _core.occupancies, _core.b_factors))
    bounds = [*begins.tolist(), len(m)]
    columns = list(zip(m.names, m.elements, m.formal_charges, m.coordinates.astype(float), occupancies, factors))
    for begin, end in zip(bounds, bounds[1:]):
        letter = str(chains[begin])
        if not len(model) or model[len(model) - 1].name != letter:
            model.add_chain(gemmi.Chain(letter))
        residue = gemmi.Residue()
        residue.name = str(names[begin])
        residue.seqid = gemmi.SeqId(int(numbers[begin]), str(codes[begin]) or " ")
        residue.het_flag = "H" if hetero[begin] else "A"
        for name, element, charge, place, occupancy, factor in columns[begin:end]:
            atom = gemmi.Atom()
            atom.name = str(name)
            atom.element = gemmi.Element(str(element))
            atom.charge = int(charge)
            atom.pos = gemmi.Position(*place)
            atom.occ = float(occupancy)
            atom.b_iso = float(factor)
            residue.add_atom(atom)
            labels.append((letter, residue.seqid, residue.name, atom.name))
        model[len(model) - 1].add_residue(residue)
    structure.add_model(model)
    structure.merge_chain_parts()
    structure.assign_serial_numbers()
    _connect(structure, labels, m.bonds, gemmi)
    structure.setup_entities()
    return structure


def _connect(structure, labels, bonds, gemmi):
    keys = [(chain, str(seqid), name, atom) for chain, seqid, name, atom in labels]
    seen = {}
    for key in keys:
        seen[key] = seen.get(key, 0) + 1
    lost = 0
    for number, (begin, end, _) in enumerate(bonds, 1):
        if seen[keys[begin]] > 1 or seen[keys[end]] > 1:
            lost += 1
            continue
        connection = gemmi.Connection()
        connection.name = f"covale{number}"
        connection.type = gemmi.ConnectionType.Covale
        for partner, label in ((connection.partner1, labels[begin]), (connection.partner2, labels[end])):
            chain, seqid, name, atom = label
            partner.chain_name = chain
            partner.res_id.seqid = seqid
            partner.res_id.name = name
            partner.atom_name = atom
        structure.connections.append(connection)
    if lost:
        warnings.warn(f"{lost} bonds are lost: their atoms' names are not unique in their residues", _core.NxWarning,
                      stacklevel=3)


# ---- RDKit

_CHARGE_PROPERTIES = ("PartialCharge", "_TriposPartialCharge", "_GasteigerCharge")


def _double_property(atom, names):
    for name in names:
        if atom.HasProp(name):
            try:
                return float(atom.GetProp(name))
            except (ValueError, KeyError):
                return atom.GetDoubleProp(name)
    return None


def from_rdkit(mol, conformer=-1):
    """A molecule of an ``rdkit.Chem.Mol``.

    Elements, formal charges, bonds (aromatic ones with the orders of a Kekule structure), one conformer, the name and
    properties that are texts or numbers, as data fields, are kept; names and residues where atoms have PDB or Tripos
    ones. Partial charges are the atoms' properties ``PartialCharge``, ``_TriposPartialCharge`` or
    ``_GasteigerCharge``, else the formal charges; radii the property ``Radius``, else Bondi's. Implicit hydrogens are
    not made, and stereo marks and query features are lost.

    Parameters
    ----------
    mol : rdkit.Chem.Mol
    conformer : int, optional
        The conformer's id, -1 for the first. A molecule without conformers stands at the origin.

    Returns
    -------
    Molecule

    Examples
    --------
    >>> from rdkit import Chem
    >>> import nxbriochem as nx
    >>> m = nx.from_rdkit(Chem.MolFromSmiles("C=O"))
    >>> list(m.elements), m.bonds.tolist()
    (['C', 'O'], [[0, 1, 2]])
    """
    from rdkit import Chem
    if not isinstance(mol, Chem.Mol):
        raise TypeError(f"mol: expected an rdkit.Chem.Mol, not {type(mol).__name__}")
    atoms = list(mol.GetAtoms())
    places = None
    if mol.GetNumConformers():
        try:
            places = mol.GetConformer(conformer).GetPositions()
        except ValueError:
            raise ValueError(f"conformer: the molecule has none with id {conformer}") from None
    elif conformer != -1:
        raise ValueError(f"conformer: the molecule has none with id {conformer}")
    molecule = Molecule(elements=np.array([atom.GetAtomicNum() for atom in atoms], int), coordinates=places,
                        bonds=_rdkit_bonds(mol, Chem), name=mol.GetProp("_Name") if mol.HasProp("_Name") else "")
    formal = np.array([atom.GetFormalCharge() for atom in atoms], int)
    molecule.formal_charges = formal
    given = [_double_property(atom, _CHARGE_PROPERTIES) for atom in atoms]
    complete = all(charge is not None and np.isfinite(charge) for charge in given)
    molecule.charges = np.array(given, float) if complete else formal
    _take_rdkit_names(molecule, atoms)
    radii = [_double_property(atom, ("Radius",)) for atom in atoms]
    if atoms and all(radius is not None for radius in radii):
        molecule.radii = radii
    else:
        molecule.assign_radii()
    for name in mol.GetPropNames():
        try:
            molecule.fields[name] = mol.GetProp(name)
        except (ValueError, KeyError):
            continue  # what no SD file holds
    return molecule


def _rdkit_bonds(mol, Chem):
    aromatic = [bond for bond in mol.GetBonds() if bond.GetIsAromatic()]
    if any(not bond.HasProp("KekuleOrder") for bond in aromatic):
        mol = Chem.Mol(mol)
        try:
            Chem.Kekulize(mol, clearAromaticFlags=True)
        except Chem.KekulizeException as error:
            raise ValueError(f"mol: no Kekule structure: {error}") from None
    rows = []
    for bond in mol.GetBonds():
        order = bond.GetIntProp("KekuleOrder") if bond.GetIsAromatic() else int(bond.GetBondTypeAsDouble())
        rows.append((bond.GetBeginAtomIdx(), bond.GetEndAtomIdx(), order if 0 <= order <= 4 else 1))
    return np.array(rows, int).reshape(-1, 3)


def _take_rdkit_names(molecule, atoms):
    records = [atom.GetPDBResidueInfo() for atom in atoms]
    if atoms and all(record is not None for record in records):
        molecule.names = [record.GetName().strip() for record in records]
        molecule.residue_names = [record.GetResidueName().strip() for record in records]
        molecule.residue_numbers = [record.GetResidueNumber() for record in records]
        molecule.insertion_codes = [record.GetInsertionCode().strip() for record in records]
        chains = [record.GetChainId().strip() for record in records]
        letters = _letters(dict.fromkeys(chains))
        molecule.chains = [letters[chain] for chain in chains]
    elif atoms and all(atom.HasProp("_TriposAtomName") for atom in atoms):
        molecule.names = [atom.GetProp("_TriposAtomName") for atom in atoms]


def to_rdkit(m):
    """The molecule as an ``rdkit.Chem.Mol``, sanitized as far as that goes.

    Elements, formal charges, bonds and their orders, all conformers, names, residues, the name and data fields are
    kept; partial charges and radii become the atoms' properties ``PartialCharge`` and ``Radius``, orders of bonds that
    RDKit takes for aromatic their property ``KekuleOrder``. Nothing is added: a molecule without bonds or hydrogens
    stays so (`Molecule.perceive_bonds` makes bonds).

    Returns
    -------
    rdkit.Chem.Mol
    """
    from rdkit import Chem
    core_of(m, "m")
    kinds = Chem.BondType
    types = [kinds.ZERO, kinds.SINGLE, kinds.DOUBLE, kinds.TRIPLE, kinds.QUADRUPLE]
    editable = Chem.RWMol()
    (names, numbers, codes, chains), _, _ = _residues(m)
    columns = zip(m.atomic_numbers, m.formal_charges, m.names, names, numbers, codes, chains, m.charges, m.radii)
    for element, formal, name, residue, number, code, chain, charge, radius in columns:
        atom = Chem.Atom(int(element))
        atom.SetNoImplicit(True)
        atom.SetFormalCharge(int(formal))
        atom.SetDoubleProp("PartialCharge", float(charge))
        atom.SetDoubleProp("Radius", float(radius))
        record = Chem.AtomPDBResidueInfo(str(name), residueName=str(residue), residueNumber=int(number),
                                         chainId=str(chain), insertionCode=str(code))
        atom.SetMonomerInfo(record)
        editable.AddAtom(atom)
    for begin, end, order in m.bonds.tolist():
        editable.AddBond(begin, end, types[order])
    mol = editable.GetMol()
    active = m.active_conformer
    try:
        for k in range(m.n_conformers):
            m.active_conformer = k
            conformer = Chem.Conformer(len(m))
            for i, place in enumerate(m.coordinates.astype(float).tolist()):
                conformer.SetAtomPosition(i, place)
            mol.AddConformer(conformer, assignId=True)
    finally:
        m.active_conformer = active
    orders = [order for _, _, order in m.bonds.tolist()]
    Chem.SanitizeMol(mol, catchErrors=True)
    for bond, order in zip(mol.GetBonds(), orders):
        if bond.GetIsAromatic():
            bond.SetIntProp("KekuleOrder", order)
    if m.name:
        mol.SetProp("_Name", m.name)
    for name, text in m.fields.items():
        mol.SetProp(name, text)
    return mol


# ---- MDAnalysis

def from_mdanalysis(atomgroup):
    """A molecule of an ``MDAnalysis`` AtomGroup or Universe, at the present frame.

    Coordinates, names, residues, chains (segments where atoms have no chain), charges, formal charges, radii and the
    bonds between the group's atoms are kept, as far as they are there. Elements that are not are guessed from names;
    bonds without order are single; missing radii are Bondi's, missing charges the formal ones or zero. Chain names of
    several characters get free letters. The cell, masses, types and the other frames are lost.

    Parameters
    ----------
    atomgroup : MDAnalysis.AtomGroup or MDAnalysis.Universe

    Returns
    -------
    Molecule

    Examples
    --------
    >>> import MDAnalysis, nxbriochem as nx
    >>> universe = nx.Molecule(elements=["O", "H"], coordinates=[[0, 0, 0], [0, 0, 1]], bonds=[[0, 1]]).to_mdanalysis()
    >>> nx.from_mdanalysis(universe.select_atoms("element H"))
    <Molecule: 1 atom, 0 bonds>
    """
    group = getattr(atomgroup, "atoms", None)
    if group is None or not hasattr(group, "positions") and not hasattr(group, "universe"):
        raise TypeError(f"atomgroup: expected an MDAnalysis AtomGroup or Universe, not {type(atomgroup).__name__}")
    names = _attribute(group, "names")
    n = len(group)
    molecule = Molecule(elements=_group_elements(group, names), coordinates=_attribute(group, "positions"),
                        names=None if names is None else [str(name) for name in names],
                        bonds=_group_bonds(group),
                        residue_names=[str(name) for name in _attribute(group, "resnames", ["UNK"] * n)],
                        residue_numbers=np.asarray(_attribute(group, "resids", np.ones(n, int))).astype(int),
                        chains=_group_chains(group))
    codes = _attribute(group, "icodes")
    if codes is not None and any(codes):
        molecule.insertion_codes = [str(code).strip() for code in codes]
    formal = _attribute(group, "formalcharges")
    if formal is not None:
        molecule.formal_charges = np.asarray(formal).astype(int)
    charges = _attribute(group, "charges", formal)
    if charges is not None:
        molecule.charges = np.asarray(charges, float)
    radii = _attribute(group, "radii")
    if radii is not None:
        molecule.radii = np.asarray(radii, float)
    else:
        molecule.assign_radii()
    return molecule


def _attribute(group, name, default=None):
    """The attribute of a group's atoms, or the default where the topology has none."""
    try:
        return getattr(group, name)
    except Exception as error:  # MDAnalysis has its own NoDataError, which is an AttributeError and a ValueError
        if isinstance(error, (AttributeError, ValueError)):
            return default
        raise


def _group_elements(group, names):
    """The atoms' elements, guessed from names, or else from types, where there are none."""
    elements = _attribute(group, "elements")
    if elements is None or not all(elements):
        from MDAnalysis.topology import guessers
        sources = names if names is not None else _attribute(group, "types", np.array(["X"] * len(group)))
        guessed = guessers.guess_types(sources)
        elements = guessed if elements is None else np.where(elements == "", guessed, elements)
    return [str(e).capitalize() if _is_element(e) else "X" for e in elements]


def _group_chains(group):
    """The atoms' chain letters, those of their segments where atoms have no chain."""
    chains = _attribute(group, "chainIDs")
    if chains is None or not any(chains):
        chains = _attribute(group, "segids", np.array([""] * len(group)))
        chains = np.where(chains == "SYSTEM", "", chains)
    letters = _letters(dict.fromkeys(map(str, chains)))
    return [letters[str(chain)] for chain in chains]


def _is_element(symbol):
    try:
        return Molecule(elements=[str(symbol).capitalize()]).atomic_numbers[0] > 0
    except ValueError:
        return False


def _group_bonds(group):
    bonds = _attribute(group, "bonds")
    if bonds is None or not len(bonds):
        return np.empty((0, 3), int)
    place = {index: k for k, index in enumerate(group.indices.tolist())}
    rows = []
    for bond in bonds:
        begin, end = (place.get(index) for index in bond.indices)
        if begin is not None and end is not None:
            known = isinstance(bond.order, (int, float, np.number)) and 0 <= bond.order <= 4
            rows.append((begin, end, int(bond.order) if known else 1))
    return np.array(rows, int).reshape(-1, 3)


def to_mdanalysis(m):
    """The molecule as an ``MDAnalysis.Universe`` whose frames are the conformers.

    Coordinates, elements, names, residues, insertion codes, chains (as chain IDs and segments), charges, formal
    charges, radii, bonds and their orders are kept. The name and data fields are lost.

    Returns
    -------
    MDAnalysis.Universe
    """
    import MDAnalysis
    core_of(m, "m")
    (names, numbers, codes, chains), begins, residue_of = _residues(m)
    segments, segment_of = _runs(chains[begins]) if len(m) else (np.array([], int), np.array([], int))
    universe = MDAnalysis.Universe.empty(len(m), n_residues=len(begins), n_segments=len(segments),
                                         atom_resindex=residue_of, residue_segindex=segment_of, trajectory=True)

    def strings(values):
        return np.array([str(value) for value in values], object)

    add = universe.add_TopologyAttr
    add("names", strings(m.names))
    add("elements", strings(m.elements))
    add("types", strings(m.elements))
    add("charges", m.charges.astype(float))
    add("radii", m.radii.astype(float))
    add("formalcharges", np.array(m.formal_charges))
    add("chainIDs", strings(chains))
    add("resnames", strings(names[begins]))
    add("resids", numbers[begins])
    add("resnums", numbers[begins])
    add("icodes", strings(codes[begins]))
    add("segids", strings(chains[begins][segments]))
    bonds = m.bonds[:]
    if len(bonds):
        from MDAnalysis.core.topologyattrs import Bonds
        add(Bonds([tuple(bond[:2]) for bond in bonds.tolist()], order=bonds[:, 2].tolist()))
    active = m.active_conformer
    frames = []
    try:
        for k in range(m.n_conformers):
            m.active_conformer = k
            frames.append(m.coordinates.copy())
    finally:
        m.active_conformer = active
    if len(m):
        universe.load_new(np.array(frames), order="fac")
        universe.trajectory[active]
    return universe
