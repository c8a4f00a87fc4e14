"""Screens on a cluster of Dask, and what is lost when parts of it are killed: nothing."""

import os
import resource
import signal
import subprocess
import time

import pytest
from screens import COMMAND, HCA, children, numbers, poses, rows, run, wait

import nxbriochem as nx


def stored(path):
    """How many rows there are, while a run writes them."""
    try:
        return len(rows(path))
    except Exception:
        return 0


def ended(child, status, seconds=150):
    out, err = child.communicate(timeout=seconds)
    assert child.returncode == status, out + err
    return out, err


@pytest.fixture
def expected(tmp_path):
    """A file of 60 poses, and what its rows must be in the end."""
    (tmp_path / "p.pqr").write_text(poses(60))
    nx.screen(HCA, tmp_path / "p.pqr", tmp_path / "expected", workers=1)
    return tmp_path / "p.pqr", numbers(tmp_path / "expected")


PIPES = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE}


def test_cluster_by_address(tmp_path, start, cluster, slow, expected):
    """A worker is killed, then all of them; then the scheduler, and the same command goes on with another one."""
    address, scheduler, worker = cluster
    ligands, whole = expected
    out = tmp_path / "out"
    command = [*COMMAND, HCA, ligands, "--out", out, "--batch", 2]
    environment = slow(0.1)
    workers = [worker(env=environment), worker(env=environment)]
    screen = start([*command, "--scheduler", address], env=environment, **PIPES)
    wait(lambda: stored(out) >= 4)
    os.killpg(workers[0].pid, signal.SIGKILL)
    # The other one goes on alone.
    before = stored(out)
    wait(lambda: stored(out) >= before + 6)
    os.killpg(workers[1].pid, signal.SIGKILL)
    time.sleep(0.5)
    assert screen.poll() is None
    worker(env=environment)
    before = stored(out)
    wait(lambda: stored(out) >= before + 6)
    scheduler.kill()
    _, stderr = ended(screen, 1)
    assert f"{address}: the scheduler is gone" in stderr and stderr.count("\n") == 1, stderr
    done = stored(out)
    assert 16 <= done < 60
    stdout, _ = run(*command[len(COMMAND):], "--workers", 2)
    assert f"{60 - done} pairs done, {done} were there before" in stdout
    assert numbers(out) == whole


def test_local_cluster_under_fire(tmp_path, start, slow, expected):
    """A worker is killed, then the client with all that it had started; the same command goes on."""
    ligands, whole = expected
    out = tmp_path / "out"
    command = [*COMMAND, HCA, ligands, "--out", out, "--workers", 2, "--batch", 2]
    screen = start(command, env=slow(0.1), **PIPES)
    wait(lambda: stored(out) >= 4)
    processes = children(screen.pid)
    workers = [pid for pid, line in processes.items() if "spawn_main" in line]
    assert len(workers) == 2
    os.kill(workers[0], signal.SIGKILL)
    before = stored(out)
    wait(lambda: stored(out) >= before + 10)
    screen.kill()
    screen.wait()
    # The workers notice, and end.
    wait(lambda: not any(os.path.exists(f"/proc/{pid}") and "Z" not in state(pid) for pid in processes))
    done = stored(out)
    assert 14 <= done < 60
    stdout, _ = run(*command[len(COMMAND):])
    assert f"{60 - done} pairs done, {done} were there before" in stdout
    assert numbers(out) == whole


def state(pid):
    try:
        with open(f"/proc/{pid}/stat") as file:
            return file.read().rsplit(")", 1)[1].split()[0]
    except OSError:
        return "Z"


def test_records_that_kill_or_hang(tmp_path, slow):
    ligands = tmp_path / "p.pqr"
    ligands.write_text(poses(24, {5: "KILL", 15: "HANG"}))
    out = tmp_path / "out"
    stdout, stderr = run(HCA, ligands, "--out", out, "--workers", 2, "--batch", 6, "--time-limit", 0.8, env=slow(0))
    assert "24 pairs done, 2 of them failed" in stdout and not stderr
    found = rows(out)
    marked = {row["record"]: (row["line"], row["error"]) for row in found if row["status"] != "done"}
    assert marked == {
        6: (5 * 21 + 1, f"{ligands}:106: it ended its process by SIGKILL, in each of 3 tries"),
        16: (15 * 21 + 1, f"{ligands}:316: it took longer than 0.8 s, in each of 3 tries"),
    }
    assert [row["status"] for row in found if row["record"] in marked] == ["killed", "killed"]
    # Marked is marked: the same command does not try them again.
    assert "0 pairs done, 24 were there before" in run(HCA, ligands, "--out", out, "--workers", 1, env=slow(0))[0]


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_interrupted(tmp_path, start, slow, expected, number):
    ligands, whole = expected
    out = tmp_path / "out"
    command = [*COMMAND, HCA, ligands, "--out", out, "--workers", 2, "--batch", 2]
    screen = start(command, env=slow(0.1), **PIPES)
    wait(lambda: stored(out) >= 4)
    # Ctrl-C goes to all processes of a terminal, the workers too.
    (os.killpg if number == signal.SIGINT else os.kill)(screen.pid, number)
    stdout, stderr = ended(screen, 128 + number)
    assert stderr == f"nxbrio-screen: interrupted; what is done is in {out}, and the same command goes on from there\n"
    done = len(rows(out))
    assert 4 <= done < 60 and not os.path.exists(f"{out}-wal")
    run(*command[len(COMMAND):])
    assert numbers(out) == whole


def test_full_disk(tmp_path, expected):
    ligands, whole = expected
    out = tmp_path / "out"

    def limit():
        resource.setrlimit(resource.RLIMIT_FSIZE, (150_000, 150_000))

    _, stderr = run(HCA, ligands, "--out", out, "--workers", 1, "--batch", 3, status=1, preexec_fn=limit)
    assert str(out) in stderr and stderr.count("\n") == 1, stderr
    done = len(rows(out))
    assert 0 < done < 60
    run(HCA, ligands, "--out", out, "--workers", 1)
    assert numbers(out) == whole
