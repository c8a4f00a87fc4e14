"""Arrays of a molecule that lie in no memory of their own."""

import numpy as np
from numpy.lib.mixins import NDArrayOperatorsMixin


class AtomArray(NDArrayOperatorsMixin):
    """An array of a molecule: read like a numpy array, and what is assigned to its elements reaches the molecule.

    Parts of it, and the results of operations, are numpy arrays of their own; parts are read-only, so that an
    assignment to a part of a part is refused instead of being lost. ``numpy.array(m.names)`` is a copy to change.
    """

    __slots__ = ("_get", "_set")

    def __init__(self, get, set):
        self._get = get
        self._set = set

    def _read(self):
        values = self._get()
        values.flags.writeable = False
        return values

    def __array__(self, dtype=None, copy=None):
        values = self._get() if copy else self._read()
        return values if dtype is None else values.astype(dtype)

    def __len__(self):
        return len(self._get())

    def __iter__(self):
        return iter(self._read())

    def __getitem__(self, index):
        return self._read()[index]

    def __setitem__(self, index, value):
        values = self._get()
        if isinstance(value, AtomArray):
            value = value._read()
        given = np.asarray(value)
        if values.dtype.kind == "U":
            # Of a fixed width numpy would cut what is longer; numbers would become texts.
            if given.size and given.dtype.kind not in "UO" and values.dtype != given.dtype:
                raise ValueError(f"expected strings, not dtype {given.dtype}")
            values = values.astype(object)
        elif given.size and given.dtype.kind not in "iu":
            raise ValueError(f"expected whole numbers, not dtype {given.dtype}")
        else:
            values = values.astype(np.int64)
        values[index] = given if given.ndim else given.item()
        if values.dtype == object:
            for item in values.flat:
                if not isinstance(item, str):
                    raise ValueError(f"expected strings, not {type(item).__name__}")
            values = values.astype(str) if values.size else np.empty(values.shape, "U1")
        self._set(values)

    def __array_ufunc__(self, ufunc, method, *inputs, out=None, **kwargs):
        inputs = [np.asarray(item) if isinstance(item, AtomArray) else item for item in inputs]
        if out is None:
            return getattr(ufunc, method)(*inputs, **kwargs)
        # In place, as in m.residue_numbers += 1.
        (target,) = out
        result = getattr(ufunc, method)(*inputs, **kwargs)
        target[...] = result
        return target

    def __getattr__(self, name):
        if name.startswith("__"):
            raise AttributeError(name)
        return getattr(self._read(), name)

    def __contains__(self, value):
        return value in self._read()

    def __repr__(self):
        return repr(self._get()).replace("array(", "AtomArray(", 1)

    def __reduce__(self):
        return np.array, (np.array(self._get()),)
