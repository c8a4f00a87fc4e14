"""What the libraries hold."""

from . import _core


def memory_report():
    """What is held at present, to find leaks by: make a report before and after.

    Returns
    -------
    dict of str to int
        ``molecules``: of this package, those that views of arrays keep included. ``lists``: of the library.
        ``tracked_blocks``, ``tracked_bytes``: the library's tracked heap, its own tables included. ``table_bytes``: in
        memory tables. ``errors``, ``warnings``: messages queued so far, which are never removed.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> before = nx.memory_report()["molecules"]
    >>> many = [nx.Molecule(elements=["C"]) for _ in range(100)]
    >>> nx.memory_report()["molecules"] - before
    100
    >>> del many
    >>> nx.memory_report()["molecules"] - before
    0
    """
    return _core.memory_report()
