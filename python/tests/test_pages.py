"""The pages of docs/python and README's first lines run as they stand, and print what they show.

Numbers may differ in their last digits, as printed by other versions of what the pages use.
"""

import contextlib
import io
import pathlib
import re

import pytest

SOURCE = pathlib.Path(__file__).parents[2]
PAGES = sorted((SOURCE / "docs/python").glob("*.md"))
NUMBER = re.compile(r"-?\d+\.\d+")


def cells_of(page):
    """Pairs of a cell and what the page says that it prints."""
    blocks = re.findall(r"^```(python|text)\n(.*?)^```$", page, re.M | re.S)
    for k, (kind, text) in enumerate(blocks):
        if kind == "python":
            yield text, blocks[k + 1][1] if k + 1 < len(blocks) and blocks[k + 1][0] == "text" else ""


def assert_printed(printed, shown):
    assert NUMBER.sub("#", printed).split() == NUMBER.sub("#", shown).split(), printed
    for one, other in zip(NUMBER.findall(printed), NUMBER.findall(shown)):
        assert float(one) == pytest.approx(float(other), rel=0.01, abs=0.02), printed


@pytest.mark.parametrize("path", [*PAGES, SOURCE / "README.md"], ids=lambda path: path.stem)
def test_page(path, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    names = {"__name__": "__main__"}
    cells = list(cells_of(path.read_text(encoding="utf-8")))
    assert cells
    for cell, shown in cells:
        out = io.StringIO()
        with contextlib.redirect_stdout(out):
            exec(compile(cell, str(path), "exec"), names)
        assert_printed(out.getvalue(), shown)
    for name in re.findall(r'savefig\("(.*?)"\)', "".join(cell for cell, _ in cells)):
        assert (tmp_path / name).stat().st_size > 5000


def test_there_are_three_stories():
    assert [page.stem for page in PAGES] == ["notebook", "poses", "trajectory"]
