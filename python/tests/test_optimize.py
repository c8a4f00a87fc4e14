"""Minimisation, and formulas."""

import math
import random
import traceback
import warnings

import numpy as np
import pytest
import scipy.optimize
from scipy.optimize import rosen, rosen_der, rosen_hess

import nxbriochem as nx


def both(x):
    return rosen(x), rosen_der(x)


@pytest.mark.parametrize("method", ["auto", "vector", "dense"])
@pytest.mark.parametrize("n", [2, 10, 50])
def test_rosenbrock(method, n):
    x0 = np.full(n, -1.2)
    x0[1::2] = 1
    for arguments in ({"fun": both, "jac": True}, {"fun": rosen, "jac": rosen_der}, {"fun": rosen},
                      {"fun": rosen, "jac": rosen_der, "hess": rosen_hess}):
        found = nx.minimize(x0=x0, method=method, **arguments)
        # There is another minimum near (-1, 1, 1, ...) from 4 variables on.
        assert found.success and found.message == "converged" and found.fun < 4.2
        assert found.fun == rosen(found.x) and np.linalg.norm(rosen_der(found.x)) < 1e-4
        assert np.allclose(found.jac, rosen_der(found.x), atol=1e-4) and found.nit > 5 and found.nfev >= found.nit
    assert x0[0] == -1.2 and found["x"] is found.x


def test_descent_and_limits():
    found = nx.minimize(lambda x: ((x - 3) ** 2).sum(), [0.0, 1.0], method="descent")
    assert found.success and np.allclose(found.x, 3, atol=1e-4)
    short = nx.minimize(both, [-1.2, 1], jac=True, maxiter=3)
    assert not short.success and short.message == "out of iterations" and short.nit == 3
    assert nx.minimize(both, [1.0, 1.0], jac=True).success
    assert not nx.minimize(lambda x: math.nan, [1.0, 2.0]).success


def test_callbacks_follow_the_run():
    seen = []
    found = nx.minimize(both, [-1.2, 1], jac=True, callback=lambda x: seen.append(x))
    assert len(seen) == found.nit and np.array_equal(seen[-1], found.x)
    assert all(rosen(b) < rosen(a) for a, b in zip(seen, seen[1:]))

    def enough(x):
        if rosen(x) < 1:
            raise StopIteration
    stopped = nx.minimize(both, [-1.2, 1], jac=True, callback=enough)
    assert stopped.message == "stopped by a callback" and not stopped.success and 1e-3 < rosen(stopped.x) < 4


class Broken(Exception):
    pass


@pytest.mark.parametrize("error", [Broken, KeyboardInterrupt, SystemExit, MemoryError])
@pytest.mark.parametrize("where", ["fun", "jac", "hess", "callback"])
def test_exceptions_come_out_with_their_traceback(error, where):
    def the_culprit(x):
        raise error("from within")

    x0 = np.array([-1.2, 1.0])
    arguments = {"fun": rosen, "jac": rosen_der, "hess": rosen_hess, "callback": None} | {where: the_culprit}
    with pytest.raises(error, match="from within") as caught:
        nx.minimize(x0=x0, **arguments)
    assert "the_culprit" in "".join(traceback.format_tb(caught.value.__traceback__))
    assert x0.tolist() == [-1.2, 1.0]
    assert nx.minimize(both, x0, jac=True).success


def test_faulty_callbacks_are_told():
    for arguments in [{"fun": lambda x: "text"}, {"fun": lambda x: None}, {"fun": lambda x: 1j},
                      {"fun": rosen, "jac": lambda x: [1, 2, 3]}, {"fun": rosen, "jac": lambda x: "no"},
                      {"fun": rosen, "jac": True}, {"fun": lambda x: (1, 2, 3), "jac": True},
                      {"fun": lambda x: (1.0, [1.0]), "jac": True},
                      {"fun": rosen, "jac": rosen_der, "hess": lambda x: np.zeros(4)}]:
        with pytest.raises((TypeError, ValueError)):
            nx.minimize(x0=[-1.2, 1.0], **arguments)
    for bad in ([], [[1.0, 2.0]], ["a"], [np.nan], [np.inf, 1], 3.0, [1j]):
        with pytest.raises(ValueError, match="x0"):
            nx.minimize(rosen, bad)
    for bad in ({"method": "newton"}, {"tol": -1}, {"tol": np.nan}, {"maxiter": -1}):
        with pytest.raises(ValueError, match=next(iter(bad))):
            nx.minimize(rosen, [1.0, 2.0], **bad)
    for bad in ({"jac": 3}, {"callback": "x"}, {"hess": 1}):
        with pytest.raises(TypeError, match=next(iter(bad))):
            nx.minimize(rosen, [1.0, 2.0], **bad)


def test_what_callbacks_do_with_x_is_their_own():
    def vandal(x):
        value = rosen(x), rosen_der(x)
        x[:] = np.nan
        return value
    assert np.allclose(nx.minimize(vandal, [-1.2, 1], jac=True).x, 1, atol=1e-4)

    def nested(x):
        nx.minimize(rosen, [0.0, 0.0])
    with pytest.raises(nx.NxError, match="own callbacks"):
        nx.minimize(nested, [1.0, 2.0])
    # Everything else may be used by a callback.
    pair = nx.Molecule(elements=["Na"], charges=[1]), nx.Molecule(elements=["Cl"], charges=[-1])

    def energy(x):
        pair[1].coordinates = [[x[0], 0, 0]]
        return nx.coulomb(*pair, unit="kcal/mol") + 1e4 / x[0] ** 9
    assert nx.minimize(energy, [3.0], tol=1e-2).x[0] == pytest.approx((9e4 / 332.0637) ** (1 / 8), rel=1e-2)


def test_scipys_minimize_takes_the_methods():
    for method in ("auto", "vector", "dense"):
        found = scipy.optimize.minimize(both, [-1.2, 1.0], jac=True, method=nx.scipy_method(method))
        assert isinstance(found, scipy.optimize.OptimizeResult) and found.success and np.allclose(found.x, 1, atol=1e-4)
    found = scipy.optimize.minimize(lambda x, a: ((x - a) ** 2).sum(), [0.0], args=(3,), method=nx.scipy_method(),
                                    options={"maxiter": 50})
    assert found.x[0] == pytest.approx(3, abs=1e-4)
    assert not scipy.optimize.minimize(rosen, [-1.2, 1.0], method=nx.scipy_method(), options={"maxiter": 2}).success


def random_formula(rng, depth=0):
    """A formula and its value."""
    if depth > 3 or rng.random() < 0.3:
        value = rng.choice([rng.uniform(0.1, 9), rng.randint(1, 99), rng.uniform(1, 2) * 1e-7])
        return (repr(value) if isinstance(value, int) or "e" not in repr(value) else f"{value:.20f}"), float(value)
    a, x = random_formula(rng, depth + 1)
    b, y = random_formula(rng, depth + 1)
    sign = rng.choice("+-*/")
    blank = rng.choice(["", " "])
    value = {"+": x + y, "-": x - y, "*": x * y, "/": x / y if y else math.nan}[sign]
    return f"({a}{blank}{sign}{blank}({b}))", value


def test_formulas_have_pythons_values():
    rng = random.Random(5)
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        for _ in range(300):
            formula, value = random_formula(rng)
            if math.isfinite(value):
                assert nx.evaluate(formula) == pytest.approx(value, rel=1e-12), formula
    assert nx.evaluate("2*3^2") == pytest.approx(18) and nx.evaluate("2^3^2") == pytest.approx(64)
    assert nx.evaluate(" 1 + 2 ") == 3 and nx.evaluate("-2") == -2 and math.isnan(nx.evaluate("(-2)^2"))
    assert nx.evaluate("a*b_1 - c", {"a": -2, "b_1": 1e-9, "c": 1e300}) == -2e-9 - 1e300
    assert nx.evaluate("eps", {"eps": 4}) == 4 and nx.evaluate("eps", {"eps": 5}) == 5


@pytest.mark.parametrize("formula", ["", " ", "1+", "*2", "(1", "1)", "x", "x=3", "1 2", "2(3)", "1..2", "1.e", ".5", "1e5",
                                     "\"text\"", "1;2", "2**3", "a" * 50, "9" * 41, "99999999999999999999", "1.0e999",
                                     "5 eps", "()", "1,5", "\u00e4", "2 + + + 3"])
def test_what_is_no_formula_is_refused(formula):
    with pytest.raises(nx.NxError):
        nx.evaluate(formula, {"eps": 4})


def test_bad_variables_are_refused():
    with pytest.raises(ValueError, match="eps"):
        nx.evaluate("eps", {"eps": math.inf})
    with pytest.raises(TypeError):
        nx.evaluate(3)
    with pytest.raises(ValueError):
        nx.evaluate("1\0")
