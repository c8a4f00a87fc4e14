"""Screens on this machine: the numbers, what is read and written, and going on."""

import gzip
import json
import os
import random
import sqlite3
import subprocess

import pytest
from screens import ACET, HCA, numbers, poses, rows, run

import nxbriochem as nx
from nxbriochem.screening import CannotStore, Protocol
from nxbriochem.screening.records import Record, records_of
from nxbriochem.screening.store import Store
from nxbriochem.screening.work import DONE, Outcome, TargetText


def program(*arguments):
    """What nxbrio says, as JSON."""
    done = subprocess.run([os.environ["NXBRIO_PROGRAM"], *map(str, arguments), "--json"], capture_output=True, text=True,
                          timeout=60)
    assert done.returncode == 0, done.stderr
    return json.loads(done.stdout)


@pytest.fixture
def ligands(tmp_path):
    """Acetazolamide in three formats, one of them gzipped."""
    paths = [tmp_path / name for name in ("a.pqr", "b.sdf.gz", "c.mol2")]
    for path in paths:
        nx.write(path, nx.read(ACET))
    return paths


def test_numbers_are_those_of_the_program(tmp_path, ligands):
    plain, refined, salt = (tmp_path / name for name in ("plain.sqlite", "refined.sqlite", "salt.sqlite"))
    run(HCA, *ligands, "--out", plain, "--dielectric", 3.7, "--workers", 1)
    run(HCA, *ligands, "--out", refined, "--refine", "--top", 3, tmp_path / "top.sdf", "--workers", 2, "--batch", 1)
    found = {row["path"]: row for row in rows(plain)}
    minima = {row["path"]: row for row in rows(refined)}
    places = {}
    for ligand in map(str, ligands):
        told = program("bind", HCA, ligand, "--dielectric", 3.7)["energies"][0]["kcal_per_mol"]
        assert found[ligand]["energy"] == told
        out = tmp_path / "out.sdf"
        after = program("refine", HCA, ligand, out)
        row = minima[ligand]
        assert row["energy"] == after["after"]["total"]["kcal_per_mol"]
        assert row["coulomb"] == after["after"]["coulomb"]["kcal_per_mol"]
        assert row["iterations"] == after["iterations"] and row["ended"] == after["ended"]
        assert row["moved"] == pytest.approx(after["moved"]["rms_A"], abs=1e-12)
        places[row["energy"]] = [tuple(x) for x in nx.read(out).coordinates.tolist()]
    # The best poses come back as an SD file, the lowest energy first.
    best = nx.read_all(tmp_path / "top.sdf")
    energies = [float(molecule.fields["energy_kcal_per_mol"]) for molecule in best]
    assert energies == sorted(row["energy"] for row in minima.values())
    for molecule, energy in zip(best, energies):
        assert [tuple(x) for x in molecule.coordinates.tolist()] == places[energy]
    # Salt screens the charges; the program's energies at both dielectrics are those of the rows.
    for dielectric, medium in ((3.7, ["--ionic-strength", 0.15]), (80, ["--ionic-strength", 0.01])):
        salt.unlink(missing_ok=True)
        run(HCA, ligands[0], "--out", salt, "--dielectric", dielectric, *medium, "--workers", 1)
        told = program("bind", HCA, ligands[0], "--dielectric", dielectric, *medium)["energies"][0]["kcal_per_mol"]
        assert rows(salt)[0]["energy"] == told


def test_workers_and_batches_change_nothing(tmp_path):
    (tmp_path / "p.pqr").write_text(poses(30))
    runs = []
    for name, options in (("one", {"workers": 1, "batch": 30}), ("two", {"workers": 2, "batch": 3})):
        result = nx.screen(HCA, tmp_path / "p.pqr", tmp_path / name, refine=True, iterations=20, **options)
        assert (result.tally.done, result.tally.failed) == (30, 0)
        runs.append(numbers(tmp_path / name))
    assert runs[0] == runs[1]


def test_going_on(tmp_path):
    first, second = tmp_path / "first.pqr", tmp_path / "second.pqr"
    first.write_text(poses(4))
    second.write_text(poses(6))
    out = tmp_path / "out.sqlite"
    run(HCA, first, "--out", out)
    before = numbers(out)
    with sqlite3.connect(out) as db:
        best = db.execute("SELECT * FROM best").fetchall()
        assert [row[2] for row in best] == sorted(row["energy"] for row in rows(out))
    stdout, _ = run(HCA, first, "--out", out, second, "--workers", 1)
    assert "2 pairs done, 4 were there before, 4 repeat others" in stdout
    assert len(rows(out)) == 6 and numbers(out)[:4] == before
    # A target more: its rows come beside the others.
    stdout, _ = run(HCA, first, "--target", ACET, "--out", out, "--workers", 1, "--csv", tmp_path / "all.csv")
    assert "4 pairs done, 4 were there before" in stdout
    assert len((tmp_path / "all.csv").read_text().splitlines()) == 11
    assert len({row["key"] for row in rows(out)}) == 10


def test_faulty_records(tmp_path):
    good = nx.write_bytes(nx.read(ACET), "sdf").decode()
    bad = good.replace("\n 18  0 ", "\n 18 99 ")
    assert bad != good
    (tmp_path / "mixed.sdf").write_text(good + bad + good.replace("acet", "other", 1))
    zipped = gzip.compress(poses(2000, step=0.001).encode())
    (tmp_path / "cut.pqr.gz").write_bytes(zipped[: len(zipped) // 2])
    (tmp_path / "notes.txt").write_text("neither of them\n" * 3)
    out = tmp_path / "out.sqlite"
    (tmp_path / "none.sdf").write_text("")
    stdout, _ = run(HCA, *(tmp_path / name for name in ("mixed.sdf", "none.sdf", "notes.txt", "cut.pqr.gz")), "--out", out,
                    "--csv", tmp_path / "all.csv")
    assert "3 of them failed" in stdout
    found = rows(out)
    notes = [row for row in found if row["path"].endswith(".txt")]
    assert len(notes) == 1 and "not a PQR, PDB, mmCIF, SDF, mol2 or XYZ file" in notes[0]["error"]
    mixed = [row for row in found if row["path"].endswith(".sdf")]
    assert [row["status"] for row in mixed] == ["done", "error", "done"]
    line = good.count("\n") + 1
    assert mixed[1]["line"] == line and mixed[1]["energy"] is None
    assert mixed[1]["error"].startswith(f"{tmp_path}/mixed.sdf:")
    assert line <= int(mixed[1]["error"].split(":")[1]) < 2 * line
    # What a file holds before it is cut is done; the cut is told.
    cut = [row for row in found if row["path"].endswith(".gz")]
    assert len(cut) > 100 and cut[-1]["status"] == "error" and "cut.pqr.gz" in cut[-1]["error"]
    assert all(row["status"] == "done" for row in cut[:-1])
    last = (tmp_path / "all.csv").read_text().splitlines()[-1]
    assert ",error," in last


def test_molecules_and_iterators(tmp_path):
    acet = nx.read(ACET)
    moved = acet.copy()
    moved.coordinates[:] += [1, 0, 0]
    result = nx.screen(nx.read(HCA), (molecule for molecule in [acet, moved]), tmp_path / "o", workers=1)
    best = result.best()
    expected = [nx.coulomb(nx.read(HCA), m, dielectric=4, unit="kcal/mol") for m in (acet, moved)]
    assert sorted(row["energy"] for row in best) == pytest.approx(sorted(expected), rel=1e-7)
    assert result.write_poses(1, tmp_path / "best.sdf") == 1
    place = nx.read(tmp_path / "best.sdf").coordinates
    assert abs(place - (acet, moved)[expected.index(min(expected))].coordinates).max() < 1e-4


@pytest.mark.parametrize("arguments, message", [
    (["nowhere.sdf"], "nowhere.sdf: No such file or directory"),
    ([ACET, "--select", "((("], "((("),
    ([ACET, "--select", "water"], "the selection 'water' means no atom"),
    ([ACET, "--dielectric", "-1"], "dielectric: -1.0 is not above 0"),
    ([ACET, "--csv", "no/such/directory"], "--csv: there is no directory"),
    ([ACET, "--scheduler", "tcp://127.0.0.1:9"], "tcp://127.0.0.1:9: there is no scheduler"),
])
def test_refused(tmp_path, arguments, message):
    stdout, stderr = run(HCA, *arguments, "--out", tmp_path / "o", status=1, cwd=tmp_path)
    assert message in stderr and stderr.count("\n") == 1 and not stdout


def test_dask_is_missing(tmp_path):
    (tmp_path / "distributed.py").write_text("raise ModuleNotFoundError(name='distributed')")
    path = f"{tmp_path}:{os.environ['PYTHONPATH']}"
    _, stderr = run(HCA, ACET, "--out", tmp_path / "o", status=1, env={**os.environ, "PYTHONPATH": path})
    assert stderr == "nxbrio-screen: distributed is not installed; Debian has it in python3-distributed\n"


def test_databases_that_are_refused(tmp_path):
    out = tmp_path / "out.sqlite"
    nx.screen(HCA, ACET, out, workers=1)
    before = out.read_bytes()
    _, stderr = run(HCA, ACET, "--out", out, "--refine", "--dielectric", 2, status=1)
    assert out.read_bytes() == before
    assert "other settings: refine is false there and true here; dielectric is 4.0 there and 2.0 here" in stderr
    other = tmp_path / "other.sqlite"
    sqlite3.connect(other).execute("CREATE TABLE t (x)").connection.close()
    text = tmp_path / "text"
    text.write_text("These are my notes, which no screen may write over. " * 20)
    for path, message in ((other, "a database of another program"), (text, "file is not a database")):
        content = path.read_bytes()
        assert message in run(HCA, ACET, "--out", path, status=1)[1]
        assert path.read_bytes() == content
    with Store(out, Protocol(), nx.screening.version.VERSION):
        with pytest.raises(CannotStore, match="another run is writing it"):
            nx.screen(HCA, ACET, out)


def test_store_keeps_the_records_of_the_best(tmp_path):
    """Against a plain list, with rows in any order, some of them offered again, and a store that is opened again."""
    random.seed(7)
    energies = {}
    for _ in range(6):
        with Store(tmp_path / "s", Protocol(), "1", keep=20) as store:
            target = store.add_target(TargetText(b"t" * 16, "t", "pqr", b""), "t", 1, "file", [])
            for _ in range(10):
                items = []
                for k in random.sample(range(400), 15):
                    record = Record("f", k, k, "pqr", str(k).encode())
                    items.append((record.key(), record))
                new, there, again = store.missing(target, items)
                assert len(new) + there + again == 15 and {r.number for _, r in new}.isdisjoint(energies)
                outcomes = []
                for key, record in new:
                    energy = random.choice([None, float(random.randrange(40)), random.uniform(-50, 50)])
                    energies[record.number] = energy
                    outcomes.append(Outcome(DONE, energy=energy))
                assert store.add(target, new, outcomes) == len(new)
            best = sorted(e for e in energies.values() if e is not None)[:20]
            found = store.best(20)
            assert [row["energy"] for row in found] == best
            assert all(store.text(row["key"]) == ("pqr", str(row["record"]).encode()) for row in found
                       if row["energy"] < best[-1])
            kept = store._db.execute("SELECT count(*) FROM texts").fetchone()[0]
            assert kept <= 20


def test_records_are_read_one_by_one(tmp_path):
    """A file of which only a part is there yet gives what it has: nothing is read ahead but a chunk."""
    (tmp_path / "p.pqr").write_text(poses(50))
    records = records_of([tmp_path / "p.pqr", tmp_path / "p.pqr"])
    assert [next(records).number for _ in range(3)] == [1, 2, 3]
    rest = list(records)
    assert len(rest) == 97 and len({record.key() for record in rest}) == 50
    assert [r.line for r in rest[-2:]] == [48 * 21 + 1, 49 * 21 + 1]
