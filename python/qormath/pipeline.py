"""From curves to a small model: reduce, realise, pairing."""

from __future__ import annotations

import dataclasses
from collections.abc import Callable
from typing import Any, NamedTuple

import numpy as np

from . import _core
from ._arrays import Array, matrix
from ._errors import ConvergenceError, DimensionError, LimitError, SingularError, call
from .fir_model import FIRModel
from .state_space import StateSpace

_WORDS = ("coarse", "middle", "fine")
_FEWEST_COEFFICIENTS = 10
_STABILITY_MARGIN = 2.0**-26


class PairError(NamedTuple):
    """The largest error of all pairs, and which pair has it."""

    value: float
    output: str
    input: str


class Ringer(NamedTuple):
    """A lightly damped mode."""

    damping_ratio: float
    period: float
    """Seconds."""


@dataclasses.dataclass(frozen=True)
class ReduceResult:
    """What reduce has made, and how; the fields are those of the program's report."""

    model: StateSpace
    curves: FIRModel
    warnings: tuple[str, ...]
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
    ringers: tuple[Ringer, ...]
    gain_error: PairError | None
    ramp_rate_error: PairError | None
    curve_error_percent: PairError | None
    is_within_tolerance: bool
    is_judged_without_ringers: bool
    cleared_pairs: tuple[tuple[str, str], ...]
    largest_cleared_percent: float


@dataclasses.dataclass(frozen=True)
class Realisation:
    """A realised model and how close it is."""

    model: StateSpace
    singular_values: Array
    """Of the block Hankel matrix of the curves, the largest first."""
    gain_error: PairError | None
    """Relative, over the outputs that do not ramp; None where there is none, or no steady state."""
    ramp_rate_error: PairError | None
    curve_error_percent: PairError | None
    """In percent of the output's largest coefficient."""


class Selection(NamedTuple):
    """As many outputs as inputs, and how well their gains are conditioned."""

    outputs: tuple[str, ...]
    inputs: tuple[str, ...]
    condition_number: float
    rga: float
    """The largest absolute element of the relative gain array."""


def reduce(model: FIRModel, order: int | str | None = None, curve_tolerance: float = 1.0, damping: float = 0.0,
           gain_tolerance: float = 0.0, clear_null_pairs: bool = True,
           progress: Callable[[str, int, int], None] | None = None) -> ReduceResult:
    """A small discrete state-space model of a plant, its curves, and a report.

    Parameters
    ----------
    model : the plant
    order : a number of states, 'coarse', 'middle' or 'fine'; None for the smallest model within curve_tolerance
    curve_tolerance : percent of each output's largest coefficient, above 0
    damping : modes with a damping ratio of at most this, 0 to 1, are taken out; 0 takes none
    gain_tolerance : percent by which a steady-state gain may be off before it is restored; negative never restores
    clear_null_pairs : a pair without a curve has none in the result
    progress : called with a stage, and how much of how many is done; an exception that it raises ends the work

    Raises
    ------
    LimitError
        An option, or the model, of which nothing can be made; the message says why.
    ConvergenceError
        A numerical step failed at every order tried.
    """
    choice, number = "tolerance", 0
    if isinstance(order, str):
        if order not in _WORDS:
            raise LimitError(f"argument order: has to be a number, or one of {', '.join(map(repr, _WORDS))}, not {order!r}")
        choice = order
    elif order is not None:
        choice, number = "number", int(order)
    options = {"order_choice": choice, "order": number, "curve_tolerance": float(curve_tolerance),
               "damping": float(damping), "gain_tolerance": float(gain_tolerance),
               "clear_null_pairs": bool(clear_null_pairs), "progress": progress}
    found = call(_core.reduce, model._dictionary(), options, failure=ConvergenceError,
                 says="reduce: a numerical step failed at every order that was tried")
    if found["refusal"]:
        raise LimitError(f"reduce: {found['refusal']}")

    def pair_error(error: tuple[float, int, int] | None) -> PairError | None:
        return None if error is None else PairError(error[0], model.outputs[error[1]], model.inputs[error[2]])

    errors = {key: pair_error(found[key]) for key in ("gain_error", "ramp_rate_error", "curve_error_percent")}
    plain = {field.name: found[field.name] for field in dataclasses.fields(ReduceResult)
             if field.name not in ("model", "curves", "warnings", "ringers", "cleared_pairs", *errors)}
    return ReduceResult(
        model=StateSpace(*found["system"], found["sample_time"], model.inputs, model.outputs, 1),
        curves=FIRModel._from_dictionary(found["curves"]),
        warnings=tuple(found["warnings"]),
        ringers=tuple(Ringer(*ringer) for ringer in found["ringers"]),
        cleared_pairs=tuple((model.outputs[j], model.inputs[i]) for j, i in found["cleared_pairs"]),
        **errors, **plain)


def realise(model: FIRModel, order: int = 0, retain_gain: bool = True) -> Realisation:
    """A state-space model of all that the curves say.

    Parameters
    ----------
    order : that many singular values are realised; 0 takes those of at least 1e-5 of the largest
    retain_gain : whether the steady-state gain of the curves is put back

    Raises
    ------
    LimitError
        The model cannot be realised; the message names the output or the count.
    ConvergenceError
        A numerical step failed; another order may do.
    """
    _require_realisable(model)
    if order < 0:
        raise LimitError(f"argument order: has to be 0 or above, not {order}")
    arrays, singular_values = call(_core.realise, model._dictionary(), bool(retain_gain), int(order),
                                   failure=ConvergenceError,
                                   says="realise: a numerical step failed; another order may do")
    system = StateSpace(*arrays, model.sample_time, model.inputs, model.outputs, 1)
    return Realisation(system, singular_values, *_fidelity(system, model))


def _require_realisable(model: FIRModel) -> None:
    if not model.inputs or not model.outputs:
        raise LimitError("realise: the model has no inputs or no outputs")
    if model.coefficient_count < _FEWEST_COEFFICIENTS:
        raise LimitError(f"realise: the curves have {model.coefficient_count} coefficients, and at least "
                         f"{_FEWEST_COEFFICIENTS} are needed")
    for j, output in enumerate(model.outputs):
        if not model.present[j].any():
            raise LimitError(f"realise: output {output} has no curve; take it out of the model")
        for i, name in enumerate(model.inputs):
            if not np.isfinite(model.curves[j, i]).all():
                raise LimitError(f"realise: the curve of output {output} to input {name} has a value that is not finite")


def _gains(system: StateSpace) -> tuple[Array | None, Array | None]:
    """Steady-state gains and the rates of the integrating part."""
    if system.states and np.abs(system.poles()).max() >= 1.0 + _STABILITY_MARGIN:
        return None, None
    try:
        return system.gain(), None
    except SingularError:
        pass
    try:
        stable, ramps = call(_core.remove_ramps, system._record(), failure=SingularError, says="")
        _, _, c, _ = ramps
        if c.shape[1] == 0:
            return None, None
        a, b, c2, d = stable
        steady = call(_core.gain, (a, b, c2, d, True, system.dt), failure=SingularError, says="")
        return steady, c @ ramps[1]
    except (SingularError, DimensionError):
        return None, None


def _fidelity(system: StateSpace, model: FIRModel) -> tuple[PairError | None, PairError | None, PairError | None]:
    def largest(errors: Array, outputs: Array) -> PairError | None:
        if errors.size == 0:
            return None
        j, i = np.unravel_index(np.argmax(errors), errors.shape)
        return PairError(float(errors[j, i]), model.outputs[outputs[j]], model.inputs[i])

    def relative(found: Array | None, of_ramps: bool) -> PairError | None:
        rows = np.flatnonzero(model.ramps == of_ramps)
        if found is None or rows.size == 0:
            return None
        wanted = model.gain()
        peaks = np.abs(wanted).max(axis=1, keepdims=True)
        scale = np.where(wanted != 0.0, np.abs(wanted), np.where(peaks == 0.0, 1.0, peaks))
        return largest((np.abs(found - wanted) / scale)[rows], rows)

    steady, rates = _gains(system)
    simulated = FIRModel.from_system(system, model)
    peaks = np.abs(model.curves).max(axis=(1, 2), keepdims=True)
    curve_errors = 100.0 * np.abs(simulated.curves - model.curves) / np.where(peaks == 0.0, 1.0, peaks)
    return (relative(steady, False), relative(rates, True),
            largest(curve_errors.max(axis=2), np.arange(len(model.outputs))))


def pairing(plant: FIRModel | Any, size: int | None = None, top: int = 10, condition_limit: float | None = None,
            scaled: bool = True) -> list[Selection]:
    """The best conditioned selections of as many outputs as inputs, the best first.

    Parameters
    ----------
    plant : a model, or a gain matrix (outputs, inputs)
    size : of a selection; None for the smaller of the counts
    top : how many selections; 0 for all
    condition_limit : selections up to this condition number alone
    scaled : whether inputs and outputs are scaled, so that units do not count

    Raises
    ------
    LimitError
        There is no selection of that size, or there are too many to rank.
    """
    if isinstance(plant, FIRModel):
        gain, outputs, inputs = plant.gain(), plant.outputs, plant.inputs
    else:
        gain = matrix("plant", plant)
        outputs = tuple(f"Y{j + 1}" for j in range(gain.shape[0]))
        inputs = tuple(f"U{i + 1}" for i in range(gain.shape[1]))
    gain = matrix("plant", gain)
    most = min(gain.shape)
    size = most if size is None else int(size)
    if not 1 <= size <= most:
        raise LimitError(f"argument size: has to be from 1 to {most}, not {size}")
    if top < 0:
        raise LimitError(f"argument top: has to be 0 or above, not {top}")
    limit = 0.0 if condition_limit is None else float(condition_limit)
    if condition_limit is not None and not 0.0 < limit < np.inf:
        raise LimitError(f"argument condition_limit: has to be a finite number above 0, not {condition_limit}")
    factors = np.ones(gain.shape[1])
    if scaled:
        factors = call(_core.unit_factors, gain, failure=LimitError, says="pairing: a gain is not finite")
    found = call(_core.pairing, gain, factors, size, int(top), bool(scaled), limit, failure=LimitError,
                 says=f"pairing: there are too many selections of size {size} to rank; a smaller top, a condition_limit, "
                      "or another size may do")
    return [Selection(tuple(outputs[j] for j in rows), tuple(inputs[i] for i in cols), condition, rga)
            for rows, cols, condition, rga in found]
