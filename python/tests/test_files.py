"""Reading and writing of structure files."""

import gzip

import numpy as np
import pytest

import nxbriochem as nx
from conftest import EXAMPLES

FRAMES = b"".join(b"2\nframe %d\nO 0 0 %d\nH 0 1 0\n" % (k, k) for k in range(5))


def test_formats_go_round(tmp_path, water):
    for ending in ("pqr", "pdb", "cif", "sdf", "mol2", "xyz", "sdf.gz"):
        path = tmp_path / f"water.{ending}"
        nx.write(path, water)
        again = nx.read(str(path))
        assert np.allclose(again.coordinates, water.coordinates, atol=1e-3) and list(again.elements) == list("OHH")
        if ending in ("pqr", "mol2"):
            assert np.allclose(again.charges, water.charges, atol=1e-3)
        if ending in ("pdb", "cif", "pqr"):
            assert list(again.residue_numbers) == [7] * 3 and list(again.chains) == ["A"] * 3
    nx.write(tmp_path / "two.sdf", [water, water])
    assert [m.name for m in nx.read_all(tmp_path / "two.sdf")] == ["water", "water"]
    nx.write(tmp_path / "other", water, format="xyz.gz")
    assert gzip.open(tmp_path / "other").readline() == b"3\n"


def test_read_all_and_selection():
    models = nx.read_all(FRAMES, select="[O]", format="xyz")
    assert [m.coordinates[0, 2] for m in models] == [0, 1, 2, 3, 4] and {len(m) for m in models} == {1}
    assert len(nx.read(EXAMPLES + "hca-bind/hca.pqr", select="[Zn]")) == 1


def test_records_tell_their_places_and_survive_faults():
    faulty = FRAMES.replace(b"O 0 0 2", b"O 0 0 x")
    records = list(nx.iter_records(faulty, format="xyz", text=True, name="frames.xyz"))
    assert [r.number for r in records] == [1, 2, 3, 4, 5] and [r.line for r in records] == [1, 5, 9, 13, 17]
    assert records[2].molecule is None and records[2].error.startswith("frames.xyz:11")
    assert records[3].molecule.name == "frame 3"
    assert nx.read_bytes(records[4].text, format=records[4].format).coordinates[0, 2] == 4
    cut = list(nx.iter_records(FRAMES, format="xyz", molecules=False))
    assert b"".join(r.text for r in cut) == FRAMES and cut[0].molecule is None
    with pytest.raises(nx.NxError, match=":11"):
        nx.read_all(faulty, format="xyz")


def test_failures_have_the_words_of_the_library(tmp_path, water):
    with pytest.raises(nx.NxError, match="missing.pdb"):
        nx.read(tmp_path / "missing.pdb")
    with pytest.raises(nx.NxError):
        list(nx.iter_records(tmp_path / "missing.pdb"))
    with pytest.raises(nx.NxError, match="memory"):
        nx.read_bytes(b"nothing\0at all", format="sdf")
    with pytest.raises(nx.NxError, match="no such format|nosuch"):
        nx.write(tmp_path / "out.pdb", water, format="nosuch")
    with pytest.raises(nx.NxError):
        nx.write(tmp_path / "no" / "place.pdb", water)
    assert not list(tmp_path.iterdir())
    for bad in (3, None, 1.5):
        with pytest.raises(TypeError):
            nx.read(bad)
    for bad in (3, None, [water, 3], ["text"]):
        with pytest.raises(TypeError):
            nx.write(tmp_path / "out.pdb", bad)


def test_data_fields_are_a_mapping(tmp_path, water):
    water.fields["score"] = -7.25
    water.fields["lines"] = "a\nb"
    nx.write(tmp_path / "m.sdf", water)
    again = nx.read(tmp_path / "m.sdf")
    assert dict(again.fields.items()) == {"score": "-7.25", "lines": "a\nb"} and "score" in again.fields
    del again.fields["score"]
    assert list(again.fields) == ["lines"] and again.fields.get("score") is None and len(again.fields) == 1
    with pytest.raises(KeyError):
        again.fields["score"]
    with pytest.raises(ValueError):
        again.fields["a>b"] = "x"
