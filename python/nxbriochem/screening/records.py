"""Ligands and targets as texts, record by record, with their places."""

from __future__ import annotations

import hashlib
import os
import pickle
from collections.abc import Iterable, Iterator
from typing import NamedTuple

from .. import _core
from ..molecule import Molecule, core_of

# The format word of a molecule that was given as an object: its text is the pickled object.
PICKLED = "molecule"
# So many records, or bytes, are read at once.
CHUNK = (64, 1 << 18)


class Record(NamedTuple):
    """One molecule as text."""

    source: str
    number: int
    line: int
    format: str
    text: bytes
    # What is wrong with it, when that shows already in reading.
    error: str = ""

    def key(self, prefix: bytes = b"") -> bytes:
        """The digest of a prefix and the record's content, 16 bytes. A faulty record's place is part of its content."""
        place = f"\0{self.source} {self.number} {self.error}" if self.error else ""
        content = b"%b%b\n%b%b" % (prefix, self.format.encode(), self.text, place.encode())
        return hashlib.sha256(content).digest()[:16]


def file_records(path: str | os.PathLike) -> Iterator[Record]:
    """The records of one structure file, one at a time; `NxError` when it cannot be read at all."""
    source = os.fspath(path)
    reader = _core.Reader(os.fsencode(path), None)
    word = reader.format
    try:
        while texts := reader.texts(*CHUNK):
            for number, line, text, error in texts:
                if word == "mmcif" and number > 1:
                    error = f"{source}: model {number} of an mmCIF file has no text of its own; convert the file to PDB"
                yield Record(source, number, line, word, text, error)
    finally:
        reader.close()


def records_of(molecules) -> Iterator[Record]:
    """The records of structure files and molecules, in order.

    Parameters
    ----------
    molecules : path, Molecule, or iterable of them
    """
    for number, item in enumerate(each(molecules), 1):
        if isinstance(item, Molecule):
            yield Record(item.name or "molecule", number, 0, PICKLED, pickle.dumps(item, protocol=4))
            continue
        try:
            yield from file_records(item)
        except _core.NxError as error:
            # The first is most likely a mistake of the command; behind it a bad file is as a bad record.
            if number == 1:
                raise
            yield Record(os.fspath(item), 0, 0, "", b"", str(error))


def each(molecules) -> Iterable:
    """Paths and molecules, one by one."""
    return [molecules] if isinstance(molecules, (str, os.PathLike, Molecule)) else molecules


def core_molecule(source: str, format: str, text: bytes, selection: str):
    """The molecule of a record's text, as the extension knows it, or the atoms of it that are selected."""
    if format == PICKLED:
        molecule = core_of(pickle.loads(text), "text")
    else:
        molecule = _core.read_bytes(text, source, format)
    if not selection:
        return molecule
    mask = _core.select(molecule, selection)
    if not mask.any():
        raise _core.NxError(f"{source}: the selection '{selection}' means no atom")
    return molecule._part(mask)


def count_records(paths: Iterable[str], stopped) -> int | None:
    """How many records the files have; None when ``stopped()`` says so before they are counted."""
    total = 0
    for path in paths:
        try:
            reader = _core.Reader(os.fsencode(path), None)
        except _core.NxError:
            continue
        try:
            while not stopped():
                reader.skip()
                total += 1
            return None
        except StopIteration:
            pass
        finally:
            reader.close()
    return total
