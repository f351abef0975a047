"""Taking out of a model what a controller cannot use, step by step."""

from __future__ import annotations

from typing import Any, NamedTuple

import numpy as np

from . import _core
from ._arrays import Array, matrix
from ._errors import ConvergenceError, LimitError, SingularError, call
from .state_space import StateSpace

_ORDERS = {"middle": -1, "coarse": -2, "fine": -3}


class MinimalReport(NamedTuple):
    """Counts of minimal_realization."""

    removed: int
    leading: int
    integrators: int
    stable: int
    delays: int
    coarse_order: int
    fine_order: int



def minimal_realization(model: StateSpace, stability_tolerance: float = -1.0, delay_tolerance: float = -1.0,
                        ramp_tolerance: float = -1.0) -> tuple[StateSpace, MinimalReport]:
    """The minimal form of a model, marginal and unstable modes leading, and counts. A negative tolerance asks for its
    default, about 1.5e-8."""
    arrays, report = call(_core.minimal_realization, model._record(), stability_tolerance, delay_tolerance,
                          ramp_tolerance, failure=ConvergenceError,
                          says="minimal_realization: the reduction or the Schur form failed")
    return model.with_arrays(arrays), MinimalReport(*map(int, report))


def model_reduction(model: StateSpace, order: int = 0, alpha: float = -1.0,
                    tolerance: float = 0.0) -> tuple[StateSpace, Array]:
    """Balanced truncation of the stable part to an order of the whole, 0 going by the tolerance; and the Hankel
    singular values. Eigenvalues on or beyond alpha stay; below -0.9 it stands for the limit of stability."""
    arrays, hankel = call(_core.model_reduction, model._record(), int(order), float(alpha), float(tolerance),
                          failure=ConvergenceError, says="model_reduction: the reduction failed")
    return model.with_arrays(arrays), hankel


def balance(model: StateSpace, max_reduction: float = 100.0) -> tuple[StateSpace, Array]:
    """States scaled by powers of two so that the norm of the model falls; and the scales."""
    arrays, scale = call(_core.balance, model._record(), float(max_reduction), failure=ConvergenceError,
                         says="balance: argument max_reduction: the routine failed")
    return model.with_arrays(arrays), scale


def remove_unstable(model: StateSpace, tolerance: float = 0.0) -> tuple[StateSpace, StateSpace]:
    """The stable and the unstable part, whose sum is the minimal realisation of the model."""
    stable, unstable = call(_core.remove_unstable, model._record(), float(tolerance), failure=ConvergenceError,
                            says="remove_unstable: the reduction failed")
    return model.with_arrays(stable), _shaped_like(model, unstable)


def remove_ramps(model: StateSpace) -> tuple[StateSpace, StateSpace]:
    """The model without its integrators, and these."""
    rest, ramps = call(_core.remove_ramps, model._record(), failure=ConvergenceError,
                       says="remove_ramps: the reduction failed")
    return model.with_arrays(rest), _shaped_like(model, ramps)


def retain_gain(model: StateSpace, target: Any, realization_tolerance: float = -1.0,
                gain_tolerance: float = 0.0) -> StateSpace:
    """The model with a fast parallel part where its gain differs from target, (outputs, inputs), by more than
    gain_tolerance percent."""
    target = matrix("target", target, *model.D.shape)
    arrays = call(_core.retain_gain, model._record(), target, float(realization_tolerance), float(gain_tolerance),
                  failure=SingularError, says="retain_gain: the model has a pole at the limit of stability")
    return model.with_arrays(arrays)


def remove_ringers(model: StateSpace, damping_limit: float, gain_tolerance: float = -1.0) -> StateSpace:
    """The model without its modes of a damping ratio of at most damping_limit. With a gain_tolerance of at least 0,
    in percent, the gain is restored. Take ramps out beforehand."""
    arrays = call(_core.remove_ringers, model._record(), float(damping_limit), float(gain_tolerance),
                  failure=ConvergenceError, says="remove_ringers: a reduction failed, or a gain could not be restored")
    return model.with_arrays(arrays)


def shrink(model: StateSpace, order: int | str = "middle", stability_tolerance: float = 2.0**-26,
           delay_tolerance: float = -1.0, gain_tolerance: float = 0.0, damping_limit: float = 0.0) -> StateSpace:
    """A smaller model of the same process: minimal, reduced to an order or to the 'coarse', 'middle' or 'fine' of its
    suggestions, rid of ringers, its gain restored."""
    number = _ORDERS.get(order, 0) if isinstance(order, str) else int(order)
    if isinstance(order, str) and order not in _ORDERS:
        raise LimitError(f"argument order: has to be a number, or one of {', '.join(map(repr, _ORDERS))}")
    arrays, _ = call(_core.shrink, model._record(), number, float(stability_tolerance), float(delay_tolerance),
                     float(gain_tolerance), float(damping_limit), failure=ConvergenceError,
                     says="shrink: a reduction failed, or the gain of the stable part could not be restored")
    return model.with_arrays(arrays)


def _shaped_like(model: StateSpace, arrays: tuple[Array, ...]) -> StateSpace:
    """A part of a model; one that is empty has no states and no gain."""
    if arrays[3].shape == model.D.shape:
        return model.with_arrays(arrays)
    p, m = model.D.shape
    return model.with_arrays((np.zeros((0, 0)), np.zeros((0, m)), np.zeros((p, 0)), np.zeros((p, m))))
