"""Minimisation of functions of many variables, in scipy's conventions."""

import numpy as np

from . import _core

_METHODS = {"auto": -1, "vector": 0, "descent": 1, "dense": 2}


class OptimizeResult(dict):
    """What `minimize` gives: a dict whose items are attributes too, as scipy's.

    Attributes
    ----------
    x : (n,) ndarray of float
        The best point found.
    fun : float
        The value there.
    jac : (n,) ndarray of float or None
        The gradient there; None when it is not known.
    nit, nfev : int
        How many iterations were made, and how often `fun` was called.
    success : bool
        Whether the run has converged.
    message : str
        How it ended.
    """

    def __getattr__(self, name):
        try:
            return self[name]
        except KeyError:
            raise AttributeError(name) from None

    __setattr__ = dict.__setitem__
    __delattr__ = dict.__delitem__

    def __repr__(self):
        width = max(map(len, self), default=0)
        return "\n".join(f"{key.rjust(width)}: {value!r}" for key, value in self.items())


def _vector(x0):
    x = np.asarray(x0)
    if x.ndim != 1 or x.size == 0:
        raise ValueError(f"x0: expected shape (n,) with n above 0, not {x.shape}")
    if x.dtype.kind not in "fiu":
        raise ValueError(f"x0: expected real numbers, not dtype {x.dtype}")
    x = np.array(x, float)
    if not np.isfinite(x).all():
        raise ValueError("x0: expected finite numbers, not NaN or infinity")
    return x


def minimize(fun, x0, jac=None, hess=None, method="auto", tol=None, maxiter=None, callback=None):
    """Minimises a function of many variables.

    Quasi-Newton methods with a line search for the strong Wolfe conditions, and steepest descent.

    Parameters
    ----------
    fun : callable
        ``fun(x) -> float``, or with ``jac=True`` ``fun(x) -> (float, gradient)``; x is an (n,) array of its own.
    x0 : (n,) array_like of float
        Where to begin. It is not changed.
    jac : callable or True, optional
        ``jac(x) -> (n,)`` array_like. Without it, gradients are central differences, which take 2n calls of `fun`.
    hess : callable, optional
        ``hess(x) -> (n, n)`` array_like. It is asked for at the start, for the dense method.
    method : {"auto", "vector", "dense", "descent"}, optional
        "vector" is L-BFGS, "dense" BFGS with a whole matrix, "descent" steepest descent. "auto" is "dense" up to 40
        variables and with `hess`, else "vector".
    tol : float, optional
        The length of the gradient below which the run has converged, 1e-5 without it.
    maxiter : int, optional
        The most iterations, the larger of 1000 and 200 n without it.
    callback : callable, optional
        ``callback(x)`` after each iteration. A StopIteration from it or from `fun` ends the run.

    Returns
    -------
    OptimizeResult

    Raises
    ------
    Exception
        Whatever a callback raises, KeyboardInterrupt too.

    Examples
    --------
    >>> import nxbriochem as nx
    >>> found = nx.minimize(lambda x: (x[0] - 1)**2 + 10 * (x[1] - x[0]**2)**2, [-1, 2])
    >>> found.x.round(3).tolist(), found.success, found.message
    ([1.0, 1.0], True, 'converged')
    """
    if method not in _METHODS:
        raise ValueError(f"method: expected one of {', '.join(map(repr, _METHODS))}, not {method!r}")
    for name, function, needed in (("fun", fun, True), ("jac", jac, False), ("hess", hess, False),
                                   ("callback", callback, False)):
        if not callable(function) and (needed or not (function is None or name == "jac" and isinstance(function, bool))):
            raise TypeError(f"{name}: expected a function, not {type(function).__name__}")
    x = _vector(x0)
    tol = 1e-5 if tol is None else float(tol)
    if not 0.0 <= tol < float("inf"):
        raise ValueError(f"tol: expected a finite number, 0 or above, not {tol}")
    maxiter = max(1000, 200 * x.size) if maxiter is None else int(maxiter)
    if not 0 <= maxiter < 2**31:
        raise ValueError(f"maxiter: expected 0 or more, not {maxiter}")
    return OptimizeResult(_core.minimize(fun, x, jac, hess, _METHODS[method], tol, maxiter, callback))


def scipy_method(method="auto"):
    """A method of this package for ``scipy.optimize.minimize``.

    Parameters
    ----------
    method : str, optional
        As `minimize` has it.

    Returns
    -------
    callable
        To be given as scipy's ``method``; its options are ``maxiter``, and ``gtol`` or scipy's ``tol``.

    Examples
    --------
    >>> import nxbriochem as nx, scipy.optimize
    >>> found = scipy.optimize.minimize(lambda x: (x**2).sum(), [1.0, 2.0], method=nx.scipy_method("vector"))
    >>> found.success, abs(found.x).max() < 1e-6
    (True, True)
    """
    if method not in _METHODS:
        raise ValueError(f"method: expected one of {', '.join(map(repr, _METHODS))}, not {method!r}")

    def run(fun, x0, args=(), jac=None, hess=None, callback=None, tol=None, gtol=None, maxiter=None, **ignored):
        from scipy.optimize import OptimizeResult as ScipyResult

        def bound(function):
            return (lambda x: function(x, *args)) if callable(function) else function

        unknown = {name for name, value in ignored.items() if value is not None} - {
            "hessp", "bounds", "constraints", "disp"}
        if unknown:
            raise TypeError(f"unknown options: {', '.join(sorted(unknown))}")
        if ignored.get("bounds") is not None or ignored.get("constraints"):
            raise ValueError("bounds and constraints are not known to this method")
        found = minimize(bound(fun), x0, jac=bound(jac), hess=bound(hess), method=method,
                         tol=tol if gtol is None else gtol, maxiter=maxiter, callback=callback)
        return ScipyResult(found, status=0 if found.success else 1, njev=found.nfev)

    return run
