"""Arguments as arrays, checked: the library takes shapes on trust."""

from __future__ import annotations

from typing import Any

import numpy as np

from ._errors import DimensionError, LimitError

Array = np.ndarray


def matrix(name: str, value: Any, rows: int | None = None, cols: int | None = None) -> Array:
    """A two-dimensional array of finite doubles, of the counts that are given."""
    array = np.asarray(value)
    if np.iscomplexobj(array):
        raise LimitError(f"argument {name}: has to be real")
    try:
        array = np.asarray(array, dtype=np.float64)
    except (TypeError, ValueError):
        raise LimitError(f"argument {name}: has to be an array of numbers") from None
    if array.ndim != 2:
        raise DimensionError(f"argument {name}: expected a matrix, got shape {array.shape}")
    wanted = (array.shape[0] if rows is None else rows, array.shape[1] if cols is None else cols)
    if array.shape != wanted:
        raise DimensionError(f"argument {name}: expected shape {wanted}, got {array.shape}")
    if array.size > np.iinfo(np.int32).max:
        raise LimitError(f"argument {name}: has {array.size} elements, more than {np.iinfo(np.int32).max}")
    if not np.isfinite(array).all():
        raise LimitError(f"argument {name}: has elements that are not finite")
    return array


def square(name: str, value: Any, order: int | None = None) -> Array:
    """A square matrix of finite doubles."""
    array = matrix(name, value)
    if array.shape[0] != array.shape[1] or (order is not None and array.shape[0] != order):
        wanted = "a square matrix" if order is None else f"shape {(order, order)}"
        raise DimensionError(f"argument {name}: expected {wanted}, got shape {array.shape}")
    return array


def positive(name: str, value: float) -> float:
    """A finite number above 0."""
    number = float(value)
    if not (np.isfinite(number) and number > 0.0):
        raise LimitError(f"argument {name}: has to be a finite number above 0, not {value}")
    return number


def one_of(name: str, value: str, choices: dict[str, int]) -> int:
    """The number that a word stands for."""
    if value not in choices:
        raise LimitError(f"argument {name}: has to be one of {', '.join(map(repr, choices))}, not {value!r}")
    return choices[value]
