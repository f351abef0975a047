"""What goes wrong, as exceptions that say which argument, which shape, which condition."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

from . import _core


class QorMathError(Exception):
    """What all exceptions of this package derive from."""


class DimensionError(QorMathError, ValueError):
    """The shapes of the arguments do not fit."""


class ConvergenceError(QorMathError, ArithmeticError):
    """An iteration, or a decision between eigenvalues, failed."""


class SingularError(QorMathError, ArithmeticError):
    """There is no solution, or not one alone."""


class LimitError(QorMathError, ValueError):
    """An argument is outside what it may be: not finite, too large, a count that a file cannot hold."""


class FileError(QorMathError, OSError):
    """A file cannot be read or written, or holds something else."""


_DIMENSION_MISMATCH = 5
_TRANSPOSED = 9


def call(function: Callable[..., Any], *arguments: Any, failure: type[QorMathError], says: str) -> Any:
    """The result of a function of the library. Its failure becomes an exception of the given class, with a sentence
    on what that means; operands that do not fit stay what they are."""
    try:
        return function(*arguments)
    except _core.Failure as error:
        code, operation = error.args
        step = f' (in "{operation}")' if operation else ""
        if code in (_DIMENSION_MISMATCH, _TRANSPOSED):
            raise DimensionError(f"{says}{step}: operands do not fit") from None
        raise failure(f"{says}{step}") from None
