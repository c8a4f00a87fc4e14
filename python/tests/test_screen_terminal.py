"""What a screen tells whoever sits at the terminal."""

import contextlib
import fcntl
import http.server
import importlib.util
import os
import pty
import re
import signal
import struct
import termios
import threading

import pytest
from screens import ACET, COMMAND, HCA, poses, run

COLUMNS = 60
LINE = re.compile(r"([\d,]+)( of 40)? done(, waiting for workers|, [\d.,]+/s(, \d+ s left|, \d+ min \d\d s left)?)?"
                  r"(, [12] failed)?")


def on_a_terminal(arguments, environment=None, key=None, when=None):
    """Runs the command on a terminal of its own; a key is pressed when something is printed. Status and all output."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.execve(COMMAND[0], [*COMMAND, *map(str, arguments)], environment or os.environ)
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", 24, COLUMNS, 0, 0))
    printed = b""
    try:
        with contextlib.suppress(OSError):  # the terminal is gone with its last process
            while piece := os.read(terminal, 4096):
                printed += piece
                if key and re.search(when, printed):
                    os.write(terminal, key)
                    key = None
        return os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]), printed.decode()
    except BaseException:
        os.kill(pid, signal.SIGKILL)
        raise
    finally:
        os.close(terminal)


def screen(printed):
    """The lines that stand on the terminal in the end."""
    lines, column = [""], 0
    for c in printed:
        if c == "\n":
            lines.append("")
        elif c == "\r":
            column = 0
        else:
            lines[-1] = lines[-1][:column] + c + lines[-1][column + 1 :]
            column += 1
    return [line.rstrip() for line in lines]


@pytest.fixture
def ligands(tmp_path):
    """40 records, 2 of which are faulty."""
    models = poses(40).split("ENDMDL\n")
    for k in (3, 5):
        models[k] = re.sub(r"ATOM.*", f"ATOM {k} C", models[k], count=1)
    (tmp_path / "p.pqr").write_text("ENDMDL\n".join(models))
    return tmp_path / "p.pqr"


def test_progress_line(tmp_path, slow, ligands):
    arguments = [HCA, ligands, "--workers", 2, "--batch", 2]
    status, printed = on_a_terminal([*arguments, "--out", tmp_path / "o"], slow(0.2))
    assert status == 0
    *line, rest = printed.split("\r\n")[0].split("\r")
    told = [text.rstrip() for text in line if text.strip()]
    found = [LINE.fullmatch(text) for text in told]
    assert len(told) > 4 and all(found), told
    # What is done grows; rate, time left and failures show.
    counts = [int(match[1]) for match in found]
    assert counts == sorted(counts) and counts[-1] > 20
    assert found[-1][2] and found[-1][4] and found[-1][5]
    # A line that wraps would stay; in the end nothing of it is left.
    assert all(len(text) < COLUMNS for text in line)
    os.unlink(tmp_path / "o")
    stdout, stderr = run(*arguments, "--out", tmp_path / "o")
    # Nor does anything come where standard error is no terminal, or with --quiet.
    assert not stderr and screen(printed) == stdout.split("\n")
    assert on_a_terminal([*arguments, "--out", tmp_path / "q", "--quiet"]) == (0, "")


def test_interrupted_at_the_terminal(tmp_path, slow, ligands):
    out = tmp_path / "o"
    status, printed = on_a_terminal([HCA, ligands, "--out", out, "--workers", 2, "--batch", 2], slow(0.2), b"\x03", rb"/s")
    assert status == 130
    lines = screen(printed.replace("^C", ""))
    assert lines == [f"nxbrio-screen: interrupted; what is done is in {out}, and the same command goes on from there", ""]


class Page(http.server.BaseHTTPRequestHandler):
    """What stands where Dask is told that its dashboard is."""

    answer: tuple[int, bytes] = (200, b"")

    def do_GET(self):
        self.send_response(self.answer[0])
        self.end_headers()
        self.wfile.write(self.answer[1])

    def log_message(self, *_):
        pass


@pytest.fixture
def page(monkeypatch):
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), Page) as server:
        threading.Thread(target=server.serve_forever, daemon=True).start()
        link = f"http://127.0.0.1:{server.server_port}/status"
        monkeypatch.setenv("DASK_DISTRIBUTED__DASHBOARD__LINK", link)
        yield link
        server.shutdown()


def test_dashboard_is_told(tmp_path, cluster, ligands, page, monkeypatch):
    """Once and before all else where its page answers, of a cluster of the command's own and of others."""
    address, _, worker = cluster
    worker()
    clusters = (["--workers", 1], ["--scheduler", address])
    monkeypatch.setattr(Page, "answer", (200, b"<title>Dask: Status</title>"))
    for k, where in enumerate(clusters):
        arguments = [HCA, ligands, "--out", tmp_path / f"{k}", *where]
        assert run(*arguments)[1] == f"dashboard: {page}\n"
        assert run(*arguments, "--quiet") == ("", "")
    status, printed = on_a_terminal([*arguments, "--target", ACET])
    assert status == 0 and screen(printed)[0] == f"dashboard: {page}"
    monkeypatch.setattr(Page, "answer", (404, b""))
    assert run(*arguments)[1] == ""
    # Dask has a page of its own that asks for bokeh where that is missing.
    monkeypatch.delenv("DASK_DISTRIBUTED__DASHBOARD__LINK")
    told = importlib.util.find_spec("bokeh") is not None
    for k, where in enumerate(clusters):
        stderr = run(HCA, ligands, "--out", tmp_path / f"{k}", *where)[1]
        assert stderr.startswith("dashboard: http://127.0.0.1:") == told == bool(stderr)
