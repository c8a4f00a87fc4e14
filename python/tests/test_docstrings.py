"""Every example of a docstring runs and prints what it says."""

import doctest
import importlib
import pkgutil

import pytest

import nxbriochem

MODULES = ["nxbriochem"] + ["nxbriochem." + found.name for found in pkgutil.iter_modules(nxbriochem.__path__)
                            if not found.name.startswith("_core")]


@pytest.mark.parametrize("name", MODULES)
def test_examples(name, tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    failed, _ = doctest.testmod(importlib.import_module(name), optionflags=doctest.ELLIPSIS)
    assert failed == 0
