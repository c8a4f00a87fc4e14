"""What must not end the interpreter, in interpreters of their own; threads, forks, and that nothing is left behind."""

import gc
import multiprocessing
import os
import threading
import time

import numpy as np
import pytest

import nxbriochem as nx
from conftest import EXAMPLES

HCA = EXAMPLES + "hca-bind/hca.pqr"
ACET = EXAMPLES + "hca-bind/acet.pqr"

# Each line is a call that must raise, or at least come back. What it works on is fresh each time.
HOSTILE = """
len(closed); closed.coordinates; closed.names; closed.copy(); closed.select("all"); closed.to_rdkit(); closed.handle
nx.coulomb(closed, m); nx.coulomb(m, closed); nx.refine(m, closed); nx.rmsd(m, closed); nx.superpose(closed, m)
nx.orient(closed); nx.moments(closed); nx.write("x.pdb", closed); nx.write("x.pdb", [m, closed]); closed.perceive_bonds()
nx.coulomb(m, -1); nx.coulomb(m.handle, m); nx.orient(-999); nx.moments(10**9); nx.rmsd(m, m.handle); nx.refine(0, 0)
nx.orient(empty); nx.moments(empty, True, True); nx.moments(empty, weighted=True); nx.rmsd(empty, empty); nx.superpose(empty, empty)
nx.coulomb(empty, empty); nx.refine(empty, m); nx.refine(m, empty); empty.assign_radii(); empty.assign_charges()
empty.perceive_bonds(); empty.select("all"); empty.transform(); empty.copy(); nx.write_bytes(empty, "pdb"); nx.write_bytes(empty, "sdf")
nx.evaluate("nosuch"); nx.evaluate("x = y"); nx.evaluate("1+nosuch*2"); nx.evaluate("("); nx.evaluate(""); nx.evaluate("(" * 100000)
nx.evaluate("-" * 100000 + "1"); nx.evaluate("1+" * 100000 + "1"); nx.evaluate("a", {"a": 10**400}); nx.evaluate("%s%n%d")
nx.Molecule(elements=["C"] * 3, coordinates=np.full((3, 3), 3e38)).perceive_bonds(); nx.orient(huge); nx.rmsd(huge, huge)
nx.refine(huge, m); nx.coulomb(huge, m); nx.superpose(huge, m2); huge.transform(translation=[3e38] * 3); nx.write_bytes(huge, "pdb")
nx.refine(m, m.copy()); nx.Energy(m, maxiter=2**40); nx.refine(m, m, threads=10**9); nx.refine(m, m, dielectric=1e-45)
nx.coulomb(m, m2, dielectric=1e-300); nx.Molecule(elements=range(-5, 5)); nx.Molecule(elements=np.zeros((2, 2)))
nx.Molecule(elements=["C"], name="a\\0b"); nx.Molecule(elements=["C"], name="%s%n" * 1000); nx.Molecule(elements=["\\ud800"])
nx.Molecule(elements=["C"], name="\\ud800"); m.names.__setitem__(0, "%n" * 5000); nx.write_bytes(m, "pdb")
nx.read("/dev/null"); nx.read("/"); nx.read("nosuch\\0file"); nx.read_bytes(b""); nx.read_bytes(b"\\xff" * 1000, "sdf")
nx.read_bytes(b"MODEL" * 1000, "pdb"); nx.read_bytes("ATOM  " + "9" * 5000, "pqr"); nx.read_bytes(b"999999999\\n\\n", "xyz")
list(nx.iter_records(b"x", format="mol2")); list(nx.iter_records(b"", "nosuch")); nx.write("/no/such/dir.pdb", m)
nx.minimize(None, [1]); nx.minimize(lambda x: 1/0, [1.0]); nx.minimize(lambda x: x, [1.0, 2.0]); nx.minimize(lambda x: "", [1.0])
nx.minimize(lambda x: float("nan"), [1.0] * 50); nx.minimize(lambda x: float("-inf"), [1.0]); nx.minimize(lambda x: -x[0]**3, [1.0])
nx.minimize(lambda x: (0, []), [1.0], jac=True); nx.minimize(lambda x: abs(x[0]), [1e308], maxiter=10)
nx.minimize(lambda x: nx.minimize(lambda y: y[0]**2, [1.0]).fun, [1.0]); nx.eigh(np.full((3, 3), 1e308)); nx.eigh(np.zeros((0, 0)))
m.bonds.__setitem__((0, 0), 99); setattr(m, "bonds", [[0, 10**9, 1]]); setattr(m, "n_conformers", 2**31 - 1); setattr(m, "n_conformers", 10**15)
setattr(m, "active_conformer", 10**9); m.select([True] * 10**6); m.select("A" * 100000); m.select("(" * 1000); m.select("%s%n")
m.fields.__setitem__("%n", "%n"); m.fields.__setitem__("", ""); m.transform(np.zeros((3, 3))); m.transform(np.full((3, 3), 1e30))
nx._core.Molecule(-1); nx._core.Molecule(2**62); nx._core.Molecule.__new__(nx._core.Molecule).handle; nx.Molecule.__new__(nx.Molecule).name
nx._core.Molecule._from_state({}); nx._core.Reader.__new__(nx._core.Reader).next(); nx._core.Energy(m._core, -1.0, -1)
"""


def test_no_input_ends_the_interpreter(child):
    calls = [call.strip() for call in HOSTILE.replace("\n", ";").split(";") if call.strip()]
    printed = child(f"""
import warnings; warnings.simplefilter("ignore")
import os, tempfile; os.chdir(tempfile.mkdtemp())
import numpy as np, nxbriochem as nx
done = 0
for call in {calls!r}:
    m = nx.Molecule(elements=["O", "H", "H"], coordinates=[[0, 0, 0], [0.8, 0.6, 0], [-0.8, 0.6, 0]], charges=[-0.8, 0.4, 0.4])
    m2, empty, closed = m.copy(), nx.Molecule(), m.copy()
    huge = m.copy(); huge.coordinates[:] *= 1e38
    closed.close()
    try:
        eval(call)
    except Exception as error:
        assert "rror" not in type(error).__name__ or str(error) is not None
    done += 1
    assert round(nx.coulomb(m.copy(), nx.Molecule(elements=["Na"], coordinates=[[9, 9, 9]], charges=[1])), 3) is not None
print(done)
""")
    assert printed == f"{len(calls)}\n"


def test_exhausted_memory_is_an_exception(child):
    printed = child("""
import resource, numpy as np, nxbriochem as nx
m = nx.Molecule(elements=["C"] * 1000)
limit = 900 << 20
resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
for call in (lambda: nx.minimize(lambda x: ((x**2).sum(), 2 * x), np.ones(20000), jac=True, method="dense"),
             lambda: setattr(m, "n_conformers", 10**8), lambda: nx.Molecule(elements=np.ones(10**9, np.int8)),
             lambda: nx._core.Molecule(5 * 10**8)):
    try:
        call()
        print("no exception")
    except (MemoryError, nx.NxError) as error:
        print("refused")
print(nx.minimize(lambda x: ((x**2).sum(), 2 * x), np.ones(2000), jac=True).success)
""")
    assert printed.split() == ["refused"] * 4 + ["True"]


def test_ten_thousand_objects_leave_nothing():
    acet = nx.read(ACET)

    def step():
        m = nx.Molecule(elements=["O", "H", "H"], charges=[-0.8, 0.4, 0.4])
        c = m.copy()
        c.coordinates += 5
        part = m.select(np.array([True, False, True]))
        nx.Energy(part).at(c)
        nx.coulomb(m, acet)
        nx.minimize(lambda x: x[0] ** 2, [1.0])
        view = part.coordinates
        del part
        return view

    step()
    gc.collect()
    before = nx.memory_report()
    handles = set()
    for _ in range(3400):
        handles.add(nx.Molecule(elements=["C"]).handle)
        step()
    gc.collect()
    assert nx.memory_report() == before and len(handles) < 10


def test_reading_leaves_nothing_behind():
    frames = b"".join(b"1\nframe %d\nAr 0 0 %d\n" % (k, k) for k in range(2000)) + b"1\nfaulty\nAr x\n"
    list(nx.iter_records(frames, format="xyz"))
    before = nx.memory_report()
    for k, record in enumerate(nx.iter_records(frames, format="xyz")):
        if k == 1500:
            break
    del record
    assert sum(r.molecule is not None for r in nx.iter_records(frames, format="xyz")) == 2000
    report = nx.memory_report()
    assert report["molecules"] == before["molecules"] and report["tracked_blocks"] <= before["tracked_blocks"] + 1


# ---- Threads

def in_threads(work, n=8):
    """Runs work(k) in n threads at once; what they gave."""
    results, errors = [None] * n, []
    start = threading.Barrier(n)

    def run(k):
        try:
            start.wait()
            results[k] = work(k)
        except BaseException as error:
            errors.append(error)

    threads = [threading.Thread(target=run, args=(k,)) for k in range(n)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(120)
    assert not errors and not any(thread.is_alive() for thread in threads), errors
    return results


def test_threads_get_the_results_of_one():
    hca, acet = nx.read(HCA), nx.read(ACET)
    energy = nx.Energy(hca)

    def work(k):
        found = []
        for i in range(12):
            m = acet.copy()
            m.coordinates += np.float32(k + i)
            found.append(nx.coulomb(hca, m))
            found.append(len(nx.read(ACET)) + len(m.select("[N]")))
            if i < 3:
                found.append(energy.refine(m).energy)
            found.append(nx.minimize(lambda x: ((x - k) ** 2).sum(), [0.0, 1.0]).x.round(4).tolist())
            with pytest.raises(nx.NxError, match=f"nosuch{k}_"):
                nx.read(f"/nosuch{k}_")
        return found

    expected = [work(k) for k in range(8)]
    before = nx.memory_report()["molecules"]
    assert in_threads(work) == expected
    gc.collect()
    assert nx.memory_report()["molecules"] == before


def test_long_calls_let_other_threads_run():
    hca = nx.read(HCA)
    ticks = []
    done = threading.Event()

    def tick():
        while not done.is_set():
            ticks.append(time.perf_counter())
            time.sleep(0.001)

    other = threading.Thread(target=tick)
    other.start()
    began = time.perf_counter()
    target, ligand = hca.copy(), hca.copy()
    ligand.coordinates += [60, 0, 0]
    found = nx.refine(target, ligand, maxiter=15)
    ended = time.perf_counter()
    done.set()
    other.join()
    inside = sum(began < t < ended for t in ticks)
    assert found.iterations > 0 and inside >= 10


def test_an_interrupt_ends_a_refinement(child):
    printed = child(f"""
import os, signal, threading, time, nxbriochem as nx
hca = nx.read({HCA!r}); other = hca.copy(); other.coordinates += [60, 0, 0]
threading.Timer(0.5, lambda: os.kill(os.getpid(), signal.SIGINT)).start()
began = time.perf_counter()
try:
    while time.perf_counter() - began < 60:
        nx.refine(hca, other, maxiter=10**6)
except KeyboardInterrupt:
    print("interrupted")
print(len(hca.copy()))
""")
    assert printed == "interrupted\n2482\n"


def test_an_interrupt_ends_a_minimisation(child):
    printed = child("""
import os, signal, nxbriochem as nx
calls = 0
def fun(x):
    global calls
    calls += 1
    if calls == 20:
        os.kill(os.getpid(), signal.SIGINT)
    return float((x[1] - x[0]**2)**2 * 100 + (1 - x[0])**2)
try:
    nx.minimize(fun, [-1.2, 1.0])
except KeyboardInterrupt:
    print("interrupted", calls < 25)
""")
    assert printed == "interrupted True\n"


# ---- Forks

def test_forked_children_go_on_with_what_there_is():
    """While other threads are in the libraries."""
    hca, acet = nx.read(HCA), nx.read(ACET)
    expected = nx.coulomb(hca, acet)
    prepared = nx.Energy(hca)
    done = threading.Event()

    def busy():
        while not done.is_set():
            nx.coulomb(hca, acet)
            prepared.at(acet)
            nx.minimize(lambda x: x[0] ** 2, [1.0])

    others = [threading.Thread(target=busy) for _ in range(2)]
    for other in others:
        other.start()
    try:
        for _ in range(20):
            pid = os.fork()
            if pid == 0:
                good = nx.coulomb(hca, acet) == expected and nx.minimize(lambda x: x[0] ** 2, [1.0]).success
                good = good and prepared.at(acet) == nx.Energy(hca).at(acet)
                os._exit(0 if good else 3)
            for _ in range(3000):
                finished, status = os.waitpid(pid, os.WNOHANG)
                if finished:
                    break
                time.sleep(0.01)
            assert finished and status == 0
    finally:
        done.set()
        for other in others:
            other.join()


def energy_of(m, shift):
    m.coordinates += shift
    return nx.coulomb(nx.read(HCA), m)


@pytest.mark.parametrize("method", ["fork", "spawn"])
def test_multiprocessing(method):
    acet = nx.read(ACET)
    work = [(acet, shift) for shift in (0.0, 1.0, 2.0)]
    with multiprocessing.get_context(method).Pool(2) as pool:
        found = pool.starmap(energy_of, work)
    assert found == [energy_of(acet.copy(), shift) for _, shift in work]


def test_the_interpreter_ends_well_with_objects_alive(child):
    assert child(f"""
import threading, time, nxbriochem as nx
keep = [nx.read({ACET!r}) for _ in range(10)]
views = [m.coordinates for m in keep]
energy = nx.Energy(keep[0]); records = nx.iter_records({ACET!r}); next(records)
threading.Thread(target=lambda: [nx.coulomb(*keep[:2]) for _ in range(10**5)], daemon=True).start()
class Cycle: pass
Cycle.me = Cycle(); Cycle.me.m = keep[0]
print("done")
""") == "done\n"
