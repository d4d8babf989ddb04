"""Which arrays can be stored, and as what."""

import numpy as np

_INTEGERS = (np.dtype("int32"), np.dtype("int64"))
_FLOATS = (np.dtype("float32"), np.dtype("float64"))


def _narrowed(values, target):
    """The array as numbers of another type, when each of them is the same number there."""
    with np.errstate(all="ignore"):
        there = values.astype(target)
        back = there.astype(values.dtype)
    same = (back == values) | ((back != back) & (values != values))
    signs = (there < 0) == (values < 0)  # an unsigned number that came round is another one
    if not np.all(same & signs):
        raise ValueError(f"expected numbers that fit into {target.name}, found {values.dtype.name}")
    return there


def items(values):
    """The array, where it can be numbers of items: a mask would be the items 0 and 1."""
    array = np.asanyarray(values)
    if array.dtype.kind == "b":
        raise ValueError("expected the numbers of items, found a mask: numpy.flatnonzero(mask) has them")
    return array


def lossless(values, wanted=None):
    """A contiguous array of a stored type that has the same numbers.

    >>> lossless([1, 2, 3]).dtype, lossless([0.5], "float32").dtype
    (dtype('int64'), dtype('float32'))
    >>> lossless([0.1], "float32")
    Traceback (most recent call last):
    ValueError: expected numbers that fit into float32, found float64
    """
    array = np.asarray(values)
    if array.dtype.kind not in "biuf":
        raise ValueError(f"expected an array of numbers, found {array.dtype.name}")
    if isinstance(values, np.ma.MaskedArray) and np.ma.is_masked(values):
        raise ValueError("expected an array of numbers, found a masked one: fill it first")
    native = array.dtype.newbyteorder("=")
    if wanted is not None:
        target = np.dtype(wanted)
    else:
        stored = _FLOATS if native.kind == "f" else _INTEGERS
        target = next((t for t in stored if np.can_cast(native, t, "safe")), stored[-1])
    rounds = native.kind in "iu" and target.kind == "f"  # numpy calls that safe
    safe = native == target or np.can_cast(native, target, "safe") and not rounds
    array = array.astype(target, copy=False) if safe else _narrowed(array, target)
    return np.ascontiguousarray(array)  # also makes one row of a single number
