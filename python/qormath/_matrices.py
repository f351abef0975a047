"""Schur forms, functions of matrices, equations, structure: functions of arrays."""

from __future__ import annotations

from typing import Any, NamedTuple

import numpy as np

from . import _core
from ._arrays import Array, matrix, one_of, square
from ._errors import ConvergenceError, SingularError, call

_ORDERS = {
    "none": 0,
    "iuc": 1,
    "ouc": 2,
    "lhp": 3,
    "rhp": 4,
    "descending modulus": 5,
    "ascending modulus": 6,
    "descending real": 7,
    "ascending real": 8,
}
_METHODS = {"schur": 2, "schur-newton": 0}


class StructureResult(NamedTuple):
    """What a test of structure has found."""

    count: int
    """Order of the part that cannot be reached, or not be seen."""
    unstable: int
    """Of a detectability test: unobservable eigenvalues with a modulus of at least 1 - tolerance."""

    def __bool__(self) -> bool:
        return self.count == 0


def schur(a: Any, sort: str = "none") -> tuple[Array, Array]:
    """Real Schur form A = Z T Z'.

    Parameters
    ----------
    a : (n, n) array
    sort : which eigenvalues lead, by SciPy's words: 'lhp' real part below 0, 'rhp' the others, 'iuc' modulus below 1,
        'ouc' the others; or 'descending modulus', 'ascending modulus', 'descending real', 'ascending real'.

    Returns
    -------
    T, Z : (n, n) arrays
        T is quasi upper triangular, a complex pair being a 2 by 2 block; Z is orthogonal.

    Raises
    ------
    ConvergenceError
        The iteration fails, or two blocks are too close to be exchanged.
    """
    order = one_of("sort", sort, _ORDERS)
    a = square("a", a)
    if a.shape[0] == 0:
        return np.zeros((0, 0)), np.zeros((0, 0))
    t, z, _, _ = call(_core.schur, a, order, failure=ConvergenceError,
                      says="schur: argument a: the iteration failed, or two blocks are too close to be exchanged")
    return t, z


def expm(a: Any) -> Array:
    """The exponential of a real (n, n) array. An eigenvalue beyond 709 overflows to infinity or NaN."""
    a = square("a", a)
    if a.shape[0] == 0:
        return np.zeros((0, 0))
    return call(_core.expm, a, failure=ConvergenceError, says="expm: argument a: the quotient of the approximant failed")


def logm(a: Any) -> Array:
    """The principal logarithm of a real (n, n) array; real where no eigenvalue is negative, else complex.

    Raises
    ------
    SingularError
        An eigenvalue is zero.
    ConvergenceError
        The Schur form failed.
    """
    a = square("a", a)
    result = call(_core.logm, a, failure=ConvergenceError, says="logm: argument a: its Schur form failed")
    if not np.isfinite(result).all():
        raise SingularError("logm: argument a: has an eigenvalue of zero, which has no logarithm")
    # By one of its two ways the library finds a real logarithm up to rounding.
    rounding = 1000.0 * np.finfo(float).eps * np.abs(result).max(initial=0.0)
    return result.real.copy(order="F") if np.abs(result.imag).max(initial=0.0) <= rounding else result


def sylvester(a: Any, b: Any, q: Any) -> Array:
    """X with A X + X B = Q, the signs of scipy.linalg.solve_sylvester.

    Parameters
    ----------
    a : (m, m) array
    b : (n, n) array
    q : (m, n) array

    Raises
    ------
    SingularError
        a and -b have eigenvalues in common, to working precision.
    """
    a, b = square("a", a), square("b", b)
    q = matrix("q", q, a.shape[0], b.shape[0])
    if q.size == 0:
        return np.zeros(q.shape)
    return call(_core.sylvester, a, b, -q, failure=SingularError,
                says="sylvester: arguments a, b: a and -b have eigenvalues too close to each other")


def lyap(a: Any, q: Any) -> Array:
    """X with A X + X A' = Q, the signs of scipy.linalg.solve_continuous_lyapunov (python-control has A X + X A' + Q = 0).

    Raises
    ------
    SingularError
        Two eigenvalues of a have a sum of 0, to working precision.
    """
    a = square("a", a)
    q = square("q", q, a.shape[0])
    if q.size == 0:
        return np.zeros(q.shape)
    return call(_core.lyapunov, a, -q, False, failure=SingularError,
                says="lyap: argument a: two eigenvalues have a sum of 0, to working precision")


def dlyap(a: Any, q: Any) -> Array:
    """X with A X A' - X + Q = 0, the signs of scipy.linalg.solve_discrete_lyapunov.

    Raises
    ------
    SingularError
        Two eigenvalues of a have a product of 1, to working precision.
    """
    a = square("a", a)
    q = square("q", q, a.shape[0])
    if q.size == 0:
        return np.zeros(q.shape)
    x = call(_core.lyapunov, a, q, True, failure=SingularError,
             says="dlyap: argument a: two eigenvalues have a product of 1, to working precision")
    return x


def _riccati(name: str, is_discrete: bool, a: Any, b: Any, q: Any, r: Any, s: Any, method: str) -> Array:
    way = one_of("method", method, _METHODS)
    a = square("a", a)
    n = a.shape[0]
    b = matrix("b", b, n)
    m = b.shape[1]
    q, r = square("q", q, n), square("r", r, m)
    s = np.zeros((n, m)) if s is None else matrix("s", s, n, m)
    if n == 0:
        return np.zeros((0, 0))
    return call(_core.riccati, a, b, q, r, s, is_discrete, way, failure=SingularError,
                says=f"{name}: arguments a, b, q, r: no stabilising solution was found; (a, b) has to be stabilisable, "
                     "and no closed-loop eigenvalue may lie on the limit of stability")


def care(a: Any, b: Any, q: Any, r: Any, s: Any = None, method: str = "schur") -> Array:
    """The stabilising X of A'X + X A - (X B + S) R^-1 (B'X + S') + Q = 0, as scipy.linalg.solve_continuous_are.

    Parameters
    ----------
    a, q : (n, n) arrays, q symmetric
    b, s : (n, m) arrays, s zero where it is left out
    r : (m, m) array, symmetric
    method : 'schur', the direct solution, or 'schur-newton', which refines it further and where there is none tries
        Newton's iteration from a start of its own, whose result the caller has to check

    Raises
    ------
    SingularError
        There is no stabilising solution.
    """
    return _riccati("care", False, a, b, q, r, s, method)


def dare(a: Any, b: Any, q: Any, r: Any, s: Any = None, method: str = "schur") -> Array:
    """The stabilising X of A'X A - X - (A'X B + S) (R + B'X B)^-1 (B'X A + S') + Q = 0, as
    scipy.linalg.solve_discrete_are. Arguments and exceptions as those of care."""
    return _riccati("dare", True, a, b, q, r, s, method)


def _structure(kind: str, a: Any, other: Array, tolerance: float) -> StructureResult:
    _, count, unstable = call(_core.structure, kind, a, other, float(tolerance), failure=ConvergenceError,
                              says=f"{kind}: argument a: the reduction failed")
    return StructureResult(count, unstable)


def controllability(a: Any, b: Any, tolerance: float = 0.0) -> StructureResult:
    """How many states of (A, B), (n, n) and (n, m) arrays, the inputs do not reach. The tolerance of the rank decisions is
    relative to the norm of the pair; 0 means n eps. The result is true if all are reached."""
    a = square("a", a)
    return _structure("controllability", a, matrix("b", b, rows=a.shape[0]), tolerance)


def observability(a: Any, c: Any, tolerance: float = 0.0) -> StructureResult:
    """How many states of (A, C), (n, n) and (p, n) arrays, the outputs do not show; as controllability."""
    a = square("a", a)
    return _structure("observability", a, matrix("c", c, cols=a.shape[0]), tolerance)


def detectability(a: Any, c: Any, tolerance: float = 0.0) -> StructureResult:
    """As observability; unstable counts the eigenvalues of the unobservable part that a discrete model cannot afford."""
    a = square("a", a)
    return _structure("detectability", a, matrix("c", c, cols=a.shape[0]), tolerance)
