"""Formulas in texts, as the library's input files have them."""

import math
import re

from . import _core

_TOKEN = re.compile(r"\s*(?:(?P<number>\d+(?:\.\d*(?:[eE][+-]?\d+)?)?)|(?P<name>[A-Za-z]\w*)|(?P<sign>[-+*/^()])"
                    r"|(?P<other>\S))", re.ASCII)
_LONGEST = 40


def _number(value, name):
    value = float(value)
    if not math.isfinite(value):
        raise ValueError(f"variables: {name} is not finite: {value}")
    # An exponent is read behind a decimal point alone.
    mantissa, mark, exponent = repr(abs(value)).partition("e")
    text = mantissa + ("" if "." in mantissa else ".0") + mark + exponent
    return f"(-{text} )" if math.copysign(1.0, value) < 0 else f"({text} )"


def _checked(text, variables):
    """The formula with values in place of names, for the library. NxError for what is no formula."""
    def fail(what):
        raise _core.NxError(f"{text!r}: {what}")

    parts = []
    depth = 0
    due = True       # whether a value must come next
    signs = "+-"     # which signs may stand before it
    end = len(text.rstrip())
    at = 0
    while at < end:
        found = _TOKEN.match(text, at, end)
        at = found.end()
        token = found.group().strip()
        kind = found.lastgroup
        if kind == "other":
            fail("a digit must stand before the decimal point" if token == "." else f"unexpected character {token!r}")
        if len(token) > _LONGEST:
            fail(f"{token[:_LONGEST]}... has more than {_LONGEST} characters")
        if kind in ("number", "name"):
            if not due:
                fail(f"an operator is missing before {token!r}")
            if kind == "name":
                if token not in variables:
                    fail(f"undefined variable {token}")
                token = _number(variables[token], token)
            elif token.endswith("."):
                token += "0"
            elif math.isinf(float(token)) or ("." not in token and int(token) >= 2**63):
                fail(f"number {token} is out of range")
            due = False
        elif due and token in signs:
            signs = "-" if token == "+" else ""
        elif due and token == "(":
            depth += 1
            signs = "+-"
        elif due or (token == "(" and not due):
            fail(f"a value is missing before {token!r}" if due else f"an operator is missing before {token!r}")
        elif token == ")":
            depth -= 1
            if depth < 0:
                fail("')' without '('")
        else:
            due = True
            signs = "-"
        parts.append(token)
    if due:
        fail("no formula" if not parts else "a value is missing at the end")
    if depth:
        fail("'(' without ')'")
    return "(" + " ".join(parts) + " )"


def evaluate(formula, variables=None):
    """The value of a formula of numbers, names, ``+ - * / ^`` and brackets, in double.

    ``a^b^c`` is ``(a^b)^c``, and a negative base gives NaN: ``a^b`` is ``exp(b log a)``.

    Parameters
    ----------
    formula : str
        The formula.
    variables : mapping of str to float, optional
        What its names stand for.

    Returns
    -------
    float

    Raises
    ------
    NxError
        For what is no formula, and for names that are not known.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> round(nx.evaluate("2*3^2"), 9), nx.evaluate("80/eps", {"eps": 4})
    (18.0, 20.0)
    """
    if not isinstance(formula, str):
        raise TypeError(f"formula: expected a string, not {type(formula).__name__}")
    if "\0" in formula:
        raise ValueError("formula: expected a string without NUL characters")
    return _core.evaluate(_checked(formula, variables or {}))
