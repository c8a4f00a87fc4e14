"""Structure files to molecules and back."""

import os

from . import _core
from .molecule import Molecule, core_of

_TYPE = "expected a path or bytes"


def _path(path):
    return os.fsencode(path)


def _reader(source, format, name):
    if isinstance(source, (bytes, bytearray, memoryview)):
        return _core.Reader(bytes(source), name, format)
    return _core.Reader(_path(source), format)


def read(path, format=None, select=None):
    """Reads the first molecule of a structure file.

    PQR, PDB, mmCIF, SDF, mol2 and XYZ, gzipped or not. Charges and radii come from the file where it has them; else
    charges are formal ones and radii Bondi's, and `Molecule.notes` says what was decided.

    Parameters
    ----------
    path : str or os.PathLike
        The file.
    format : str, optional
        "pqr", "pdb", "mmcif", "sdf", "mol2" or "xyz"; without it, by the file's ending or content.
    select : str, optional
        Which atoms, as `Molecule.select` takes it.

    Returns
    -------
    Molecule

    Raises
    ------
    NxError
        With the file, the line and what is wrong.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> nx.write("water.xyz", nx.Molecule(elements=["O", "H", "H"], coordinates=[[0, 0, 0], [.76, .59, 0], [-.76, .59, 0]]))
    >>> len(nx.read("water.xyz"))
    3
    """
    molecule = Molecule._of(_core.read(_path(path), format))
    return molecule if select is None else molecule.select(select)


def read_bytes(data, format=None, name="memory"):
    """Reads the first molecule of the bytes, or text, of a structure file.

    `name` takes the place of the path: it appears in messages, and its ending tells the format where `format` does not.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> nx.read_bytes("1\\nargon\\nAr 0 0 0\\n", format="xyz").name
    'argon'
    """
    data = data.encode() if isinstance(data, str) else bytes(data)
    return Molecule._of(_core.read_bytes(data, os.fsencode(name), format))


def read_all(path, select=None, format=None):
    """Reads all molecules of a structure file: models, entries or frames.

    Parameters
    ----------
    path : str, os.PathLike or bytes
        The file, or its content.
    select : str, optional
        Which atoms of each, as `Molecule.select` takes it.
    format : str, optional
        As `read` has it.

    Returns
    -------
    list of Molecule

    Raises
    ------
    NxError
        Also for a file with one faulty record; `iter_records` goes on behind such ones.
    """
    molecules = []
    for record in iter_records(path, format=format):
        if record.error is not None:
            raise _core.NxError(record.error)
        molecules.append(record.molecule if select is None else record.molecule.select(select))
    return molecules


class Record:
    """A record of a structure file: a model, an entry or a frame.

    Attributes
    ----------
    number : int
        Counted from 1.
    line : int
        The line on which it begins, counted from 1.
    text : bytes
        The record, a file by itself. Of mmCIF the whole file.
    format : str
        The format word of `text`.
    molecule : Molecule or None
        None for a faulty record, and when molecules were not asked for.
    error : str or None
        What is wrong with the record.
    """

    __slots__ = ("number", "line", "text", "format", "molecule", "error")

    def __init__(self, number, line, text, format, molecule, error):
        self.number = number
        self.line = line
        self.text = text
        self.format = format
        self.molecule = molecule
        self.error = error

    def __repr__(self):
        what = self.error or self.molecule or f"{len(self.text)} bytes"
        return f"<Record {self.number}, line {self.line}: {what}>"


def iter_records(source, format=None, *, molecules=True, text=False, name="memory"):
    """Goes through a structure file record by record; one record is held at a time.

    Parameters
    ----------
    source : str, os.PathLike or bytes
        The file, or its content.
    format : str, optional
        As `read` has it.
    molecules : bool, optional
        Whether records become molecules. If not, records are only cut out, which is fast.
    text : bool, optional
        Whether to keep each record's text; always so without molecules.
    name : str, optional
        What content is called in messages.

    Yields
    ------
    Record

    Examples
    --------
    >>> import nxbriochem as nx
    >>> frames = b"1\\none\\nAr 0 0 0\\n1\\ntwo\\nAr 0 0 x\\n1\\nthree\\nAr 0 0 2\\n"
    >>> [record.molecule and record.molecule.name for record in nx.iter_records(frames, format="xyz")]
    ['one', None, 'three']
    """
    reader = _reader(source, format, os.fsencode(name))
    try:
        while True:
            molecule = error = None
            try:
                if molecules:
                    found = reader.next()
                    if isinstance(found, str):
                        error = found
                    else:
                        molecule = Molecule._of(found)
                else:
                    error = reader.skip()
            except StopIteration:
                return
            yield Record(reader.number, reader.line, reader.text if text or not molecules else b"", reader.format,
                         molecule, error)
    finally:
        reader.close()


def _molecules(molecules):
    if isinstance(molecules, Molecule):
        return [core_of(molecules, "molecule")], True
    return [core_of(molecule, "molecules") for molecule in molecules], False


def write(path, molecule, format=None):
    """Writes a molecule, or several as models or records of one file. The file appears whole or not at all.

    Parameters
    ----------
    path : str or os.PathLike
        The file; an ending ".gz" compresses it.
    molecule : Molecule or iterable of Molecule
        Their active conformers are written.
    format : str, optional
        As `read` has it, and "delphi_pdb"; without it, by the file's ending.
    """
    cores, single = _molecules(molecule)
    _core.write(_path(path), format, cores, single)


def write_bytes(molecule, format):
    """The bytes of the file that `write` would write.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> print(nx.write_bytes(nx.Molecule(elements=["Ar"], name="argon"), "xyz").decode().splitlines()[1])
    argon
    """
    cores, single = _molecules(molecule)
    return _core.text_of(format, cores, single)
