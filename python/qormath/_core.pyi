"""The library's functions on arrays, as the package around them calls them. They check nothing.

Arrays of numbers are float64; those in Fortran order are read without a copy. Matrices are (rows, columns). What the
library throws is a Failure.
"""

from collections.abc import Callable
from typing import TypedDict

import numpy as np
from numpy.typing import NDArray

__version__: str

_Array = NDArray[np.float64]
_Arrays = tuple[_Array, _Array, _Array, _Array]  # A, B, C, D
_System = tuple[_Array, _Array, _Array, _Array, bool, float]  # these, whether it is discrete, the sample time
_PairError = tuple[float, int, int] | None  # the error, the indices of its output and its input

class Failure(Exception):
    """args: the code of the library, -1 where it has none, and the step that failed, "" where it has no name."""

    args: tuple[int, str]

class _Curves(TypedDict):
    """A step-response model. Texts are bytes, as they stand in files."""

    curves: _Array  # (outputs, inputs, coefficients + 1), zeros where there is no curve
    present: NDArray[np.bool_]  # (outputs, inputs)
    ramps: NDArray[np.bool_]  # (outputs,)
    horizon: int  # seconds
    inputs: list[bytes]
    outputs: list[bytes]
    input_descriptors: list[bytes]
    output_descriptors: list[bytes]

class _ReduceOptions(TypedDict):
    order_choice: str  # "number", "coarse", "middle", "fine"; anything else goes by the tolerance
    order: int
    curve_tolerance: float
    damping: float
    gain_tolerance: float
    clear_null_pairs: bool
    progress: Callable[[str, int, int], object] | None

class _Reduced(TypedDict, total=False):
    """refusal and warnings; the others where refusal is empty."""

    refusal: str
    warnings: list[str]
    system: _Arrays
    sample_time: float
    curves: _Curves
    states_realised: int
    states_removed: int
    ramp_states: int
    stable_states: int
    delay_states: int
    coarse_order: int
    fine_order: int
    order_asked: int
    order_reached: int
    gain_states: int
    ringers: list[tuple[float, float]]  # damping ratio and period
    gain_error: _PairError
    ramp_rate_error: _PairError
    curve_error_percent: _PairError
    is_within_tolerance: bool
    is_judged_without_ringers: bool
    cleared_pairs: list[tuple[int, int]]  # indices of output and input
    largest_cleared_percent: float

# Matrices: python/src/matrix_functions.cpp.
def schur(a: _Array, order: int, /) -> tuple[_Array, _Array, _Array, _Array]: ...  # T, Q, parts of the eigenvalues
def expm(a: _Array, /) -> _Array: ...
def logm(a: _Array, /) -> NDArray[np.complex128]: ...
def sylvester(a: _Array, b: _Array, c: _Array, /) -> _Array: ...
def lyapunov(a: _Array, q: _Array, is_discrete: bool, /) -> _Array: ...
def riccati(a: _Array, b: _Array, q: _Array, r: _Array, s: _Array, is_discrete: bool, method: int, /) -> _Array: ...
def structure(kind: str, a: _Array, other: _Array, tolerance: float, /) -> tuple[NDArray[np.int32], int, int]: ...
def pairing(gain: _Array, scaling: _Array, size: int, top: int, scale_rows: bool, condition_limit: float,
            /) -> list[tuple[NDArray[np.int32], NDArray[np.int32], float, float]]: ...
def unit_factors(gain: _Array, /) -> _Array: ...

# Systems: python/src/systems.cpp.
def connect(left: _System, right: _System, in_series: bool, /) -> _Arrays: ...
def gain(system: _System, /) -> _Array: ...
def convert(way: str, system: _System, time: float, new_time: float, method: int, /) -> _Arrays: ...
def advanced(system: _System, /) -> _Arrays: ...
def minimal_realization(system: _System, stability: float, delay: float, ramp: float,
                        /) -> tuple[_Arrays, NDArray[np.int32]]: ...
def model_reduction(system: _System, order: int, alpha: float, tolerance: float, /) -> tuple[_Arrays, _Array]: ...
def balance(system: _System, max_reduction: float, /) -> tuple[_Arrays, _Array]: ...
def remove_unstable(system: _System, tolerance: float, /) -> tuple[_Arrays, _Arrays]: ...  # stable, unstable
def remove_ramps(system: _System, /) -> tuple[_Arrays, _Arrays]: ...  # the rest, the ramps
def retain_gain(system: _System, target: _Array, realization_tolerance: float, gain_tolerance: float,
                /) -> _Arrays: ...
def remove_ringers(system: _System, damping_limit: float, gain_tolerance: float, /) -> _Arrays: ...
def shrink(system: _System, order: int, stability: float, delay: float, gain_tolerance: float, damping_limit: float,
           /) -> tuple[_Arrays, int]: ...

# Step-response models: python/src/step_responses.cpp.
def read_model(path: bytes, /) -> _Curves | None: ...
def write_model(model: _Curves, path: bytes, /) -> bool: ...
def fir_gain(model: _Curves, /) -> _Array: ...
def realise(model: _Curves, retain_gain: bool, order: int, /) -> tuple[_Arrays, _Array]: ...  # and singular values
def simulate(system: _System, reference: _Curves, /) -> _Curves: ...
def reduce(model: _Curves, options: _ReduceOptions, /) -> _Reduced: ...
