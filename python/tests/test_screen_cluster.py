"""Screens on a cluster of Dask, and what is lost when parts of it are killed: nothing."""

import contextlib
import os
import random
import resource
import signal
import socket
import subprocess
import threading
import time

import distributed
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


# A disk of 200 kB of which nobody else sees anything: a screen that fills it; again, with room; and a table for which
# there is none.
SMALL_DISK = """
mount -t tmpfs -o size=200k none disk || exit 99
"$@" --out disk/out >first 2>&1; echo $? >>first
cp -r disk then
mount -o remount,size=4m disk
"$@" --out disk/out >second 2>&1; echo $? >>second
cp -r disk later
cat /dev/zero >disk/filler 2>/dev/null
"$@" --out later/out --csv disk/all.csv >third 2>&1; echo $? >>third
ls -A disk >>third
"""


def test_small_disk(tmp_path, expected):
    ligands, whole = expected
    (tmp_path / "disk").mkdir()
    namespace = ["unshare", "-m"] if os.geteuid() == 0 else ["unshare", "-rm"]
    command = [*COMMAND, HCA, ligands, "--workers", 1, "--batch", 2]
    done = subprocess.run([*namespace, "sh", "-c", SMALL_DISK, "sh", *map(str, command)], cwd=tmp_path,
                          capture_output=True, text=True, timeout=250)
    if not (tmp_path / "first").exists():
        pytest.skip(f"no file system of its own: {done.stderr.strip()}")
    assert (tmp_path / "first").read_text() == "nxbrio-screen: disk/out: database or disk is full\n1\n"
    # The rows stand in the log beside the file, for which there was no room, and are whole.
    assert sorted(os.listdir(tmp_path / "then")) == ["out", "out-shm", "out-wal"]
    there = len(rows(tmp_path / "then" / "out"))
    assert 0 < there < 60
    assert f"{60 - there} pairs done, {there} were there before" in (tmp_path / "second").read_text()
    assert os.listdir(tmp_path / "later") == ["out"] and numbers(tmp_path / "later" / "out") == whole
    assert (tmp_path / "third").read_text() == "nxbrio-screen: disk/all.csv: No space left on device\n1\nfiller\nout\n"


class Relay:
    """Passes on what goes to an address, and counts it: bytes there and back."""

    def __init__(self, address):
        self.there = self.back = 0
        self._goal = address.removeprefix("tcp://").split(":")
        self._server = socket.create_server(("127.0.0.1", 0))
        self.address = "tcp://127.0.0.1:%d" % self._server.getsockname()[1]
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        with contextlib.suppress(OSError):
            while True:
                near, far = self._server.accept()[0], socket.create_connection(self._goal)
                threading.Thread(target=self._pass, args=(near, far, "there"), daemon=True).start()
                threading.Thread(target=self._pass, args=(far, near, "back"), daemon=True).start()

    def _pass(self, source, goal, name):
        with contextlib.suppress(OSError):
            while piece := source.recv(1 << 16):
                setattr(self, name, getattr(self, name) + len(piece))
                goal.sendall(piece)
            goal.shutdown(socket.SHUT_WR)

    def close(self):
        self._server.close()


def test_target_travels_once(tmp_path, start, cluster, slow, expected):
    """Once from the client and once to each worker, to one that joins late too, however many tasks there are."""
    address, _, worker = cluster
    ligands, whole = expected
    # A target of some size: a message of its text cannot hide among the others.
    random.seed(3)
    large = tmp_path / "large.pqr"
    large.write_text("".join(f"ATOM {k} N ALA {k} {random.uniform(-99, 99):.3f} {random.uniform(-99, 99):.3f} "
                             f"{random.uniform(300, 400):.3f} {random.uniform(-1, 1):.6f} 1.5\n" for k in range(30_000)))
    size = large.stat().st_size
    environment = slow(0.1)
    out = tmp_path / "out"
    with contextlib.closing(Relay(address)) as client, contextlib.closing(Relay(address)) as late:
        first = worker(env=environment)
        screen = start([*COMMAND, large, ligands, "--out", out, "--batch", 1, "--scheduler", client.address],
                       env=environment, **PIPES)
        wait(lambda: stored(out) >= 5)
        # So that the run does not end before the other worker has joined.
        screen.send_signal(signal.SIGSTOP)
        worker(late.address, env=environment)
        wait(lambda: late.back > size / 3)
        os.killpg(first.pid, signal.SIGKILL)
        screen.send_signal(signal.SIGCONT)
        stdout, _ = ended(screen, 0)
        assert "60 pairs done" in stdout
        # Dask may compress what it sends.
        assert size / 3 < client.there < 1.5 * size and size / 3 < late.back < 1.5 * size
        # 60 tasks, and the talk about them.
        assert client.back < size / 2


def test_two_commands_share_a_cluster(tmp_path, start, cluster, slow, expected):
    """Each with ligands of its own at one target: the end of one takes nothing from the other, and leaves nothing."""
    address, _, worker = cluster
    ligands, whole = expected
    few = tmp_path / "few.pqr"
    few.write_text(poses(6, step=0.01))
    environment = slow(0.1)
    worker(env=environment)
    out = tmp_path / "out"
    long = start([*COMMAND, HCA, ligands, "--out", out, "--batch", 2, "--scheduler", address], env=environment, **PIPES)
    wait(lambda: stored(out) >= 4)
    long.send_signal(signal.SIGSTOP)
    assert stored(out) < 60
    assert "6 pairs done" in run(HCA, few, "--out", tmp_path / "other", "--scheduler", address)[0]
    long.send_signal(signal.SIGCONT)
    command = [*COMMAND, HCA, ligands, "--out", tmp_path / "third", "--batch", 2, "--scheduler", address]
    third = start(command, env=environment, **PIPES)
    wait(lambda: stored(tmp_path / "third") >= 2)
    third.send_signal(signal.SIGINT)
    ended(third, 130)
    ended(long, 0)
    assert numbers(out) == whole
    with distributed.Client(address, set_as_default=False) as client:
        assert client.run_on_scheduler(lambda dask_scheduler: list(dask_scheduler.worker_plugins)) == []
