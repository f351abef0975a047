"""Pictures for engineers: step-response matrices, poles, Hankel singular values, error against order.

Every function returns its axes and shows nothing. Lines differ in colour, from a palette that colour-blind readers tell
apart (M. Okabe, K. Ito, "Color universal design", 2008), and in style. Needs Matplotlib.
"""

from __future__ import annotations

from collections.abc import Iterable, Sequence
from typing import Any

import numpy as np

from ._arrays import Array
from ._errors import DimensionError, LimitError
from .conditioning import model_reduction
from .fir_model import FIRModel
from .pipeline import ReduceResult, reduce
from .state_space import StateSpace

_COLOURS = ("#0072B2", "#D55E00", "#009E73", "#CC79A7", "#E69F00", "#56B4E9", "#000000")
_STYLES = ("-", "--", "-.", ":")
# The numbers of Hankel singular values, relative to the largest, at which the suggestions of order cut.
_COARSE_CUT, _FINE_CUT = 5e-3, 1e-5


def _line(index: int) -> dict[str, Any]:
    return {"color": _COLOURS[index % len(_COLOURS)], "linestyle": _STYLES[index % len(_STYLES)]}


def _layer(index: int, count: int) -> dict[str, Any]:
    """A line among others that may hide it: the first is a pale band, on which the others lie."""
    return {**_line(index), **({"linewidth": 4.0, "alpha": 0.4} if index == 0 and count > 1 else {})}


def _axes(axes: Any) -> Any:
    if axes is not None:
        return axes
    import matplotlib.pyplot

    return matplotlib.pyplot.subplots(layout="constrained")[1]


def step_matrix(models: FIRModel | Sequence[FIRModel], labels: Sequence[str] | None = None,
                figure: Any = None) -> Array:
    """The step responses of one model, or of several over each other: inputs across, outputs down, a row sharing its
    scale. Ramps are marked in the outputs' names; a pair that no model has a curve for stays empty.

    Returns an array of axes, (outputs, inputs).
    """
    models = [models] if isinstance(models, FIRModel) else list(models)
    if not models:
        raise LimitError("argument models: there is none")
    first = models[0]
    p, m = first.present.shape
    for model in models[1:]:
        if model.present.shape != (p, m):
            raise DimensionError(f"argument models: pairs of shapes {(p, m)} and {model.present.shape}")
    if labels is not None and len(labels) != len(models):
        raise DimensionError(f"argument labels: expected {len(models)}, got {len(labels)}")
    if figure is None:
        import matplotlib.pyplot

        figure = matplotlib.pyplot.figure(figsize=(2.2 * m + 1.0, 1.6 * p + 0.8), layout="constrained")
    axes = figure.subplots(p, m, sharex=True, sharey="row", squeeze=False)
    for j in range(p):
        for i in range(m):
            _draw_pair(axes[j, i], models, j, i)
        mark = " (ramp)" if first.ramps[j] else ""
        axes[j, 0].set_ylabel(f"{first.outputs[j]}{mark}")
    for i in range(m):
        axes[0, i].set_title(first.inputs[i])
        axes[-1, i].set_xlabel("time, s")
    if labels is not None:
        handles = [axes[0, 0].plot([], [], **_layer(k, len(labels)), label=label)[0] for k, label in enumerate(labels)]
        axes[0, 0].legend(handles=handles, fontsize="small")
    return axes


def _draw_pair(axes: Any, models: Sequence[FIRModel], output: int, input: int) -> None:
    axes.axhline(0.0, color="0.8", linewidth=0.8)
    for k, model in enumerate(models):
        if model.present[output, input]:
            time = np.arange(model.curves.shape[2]) * model.sample_time
            axes.plot(time, model.curves[output, input], **_layer(k, len(models)))


def pole_map(systems: StateSpace | Sequence[StateSpace], damping: Iterable[float] = (0.1, 0.3, 0.5, 0.7, 0.9),
             axes: Any = None) -> Any:
    """The poles of one system or several of one time base, with lines of equal damping ratio."""
    systems = [systems] if isinstance(systems, StateSpace) else list(systems)
    if not systems:
        raise LimitError("argument systems: there is none")
    is_discrete = systems[0].is_discrete
    if any(system.is_discrete != is_discrete for system in systems):
        raise LimitError("argument systems: some are discrete, others continuous")
    axes = _axes(axes)
    poles = [system.poles() for system in systems]
    reach = max([np.abs(values).max() for values in poles if values.size] + [1.0])
    if is_discrete:
        angle = np.linspace(0.0, 2.0 * np.pi, 361)
        axes.plot(np.cos(angle), np.sin(angle), color="0.4", linewidth=1.0)
    else:
        axes.axvline(0.0, color="0.4", linewidth=1.0)
    for ratio in damping:
        if not 0.0 <= ratio < 1.0:
            raise LimitError(f"argument damping: has to be from 0 to below 1, not {ratio}")
        # s = -w (ratio +- i sqrt(1 - ratio^2)); sampled, w dt runs to the half-way line of the unit circle.
        direction = -ratio + 1j * np.sqrt(1.0 - ratio**2)
        frequency = np.linspace(0.0, np.pi / np.sqrt(1.0 - ratio**2) if is_discrete else reach, 200)
        line = np.exp(direction * frequency) if is_discrete else direction * frequency
        for side in (line, line.conj()):
            axes.plot(side.real, side.imag, color="0.75", linewidth=0.7)
        axes.annotate(f"{ratio:g}", (line[60].real, line[60].imag), color="0.4", fontsize="small")
    for k, values in enumerate(poles):
        axes.plot(values.real, values.imag, linestyle="", marker="x+12"[k % 4], color=_COLOURS[k % len(_COLOURS)],
                  gid="poles")
    axes.set_aspect("equal")
    axes.set_xlabel("real part")
    axes.set_ylabel("imaginary part")
    return axes


def hankel(system: StateSpace, axes: Any = None) -> Any:
    """The Hankel singular values of the stable part of a system, with the cuts of the coarse and the fine order."""
    axes = _axes(axes)
    _, values = model_reduction(system, system.states)
    if values.size == 0 or values[0] <= 0.0:
        raise LimitError("argument system: has no stable part that inputs reach and outputs show")
    axes.semilogy(np.arange(1, values.size + 1), values, marker="o", gid="values", **_line(0))
    for cut, name, line in ((_COARSE_CUT, "coarse", 1), (_FINE_CUT, "fine", 2)):
        axes.axhline(cut * values[0], label=name, gid=name, **_line(line))
    axes.set_xlabel("number")
    axes.set_ylabel("Hankel singular value")
    axes.legend()
    return axes


def error_against_order(model: FIRModel, orders: Iterable[int], axes: Any = None, **options: Any) -> Any:
    """The largest curve error of reductions of a model to the orders, in percent of the output's largest coefficient,
    with the suggested orders marked. An order is the number of states before those that retain the gain. Options go to
    reduce."""
    axes = _axes(axes)
    orders = sorted(int(order) for order in orders)
    if not orders:
        raise LimitError("argument orders: there is none")
    results: list[ReduceResult] = [reduce(model, order=order, **options) for order in orders]
    axes.semilogy(orders, [result.curve_error_percent.value for result in results], marker="o", gid="errors", **_line(0))
    for name, line in (("coarse", 1), ("fine", 2)):
        axes.axvline(getattr(results[0], f"{name}_order"), label=name, gid=name, **_line(line))
    axes.set_xlabel("order")
    axes.set_ylabel("largest curve error, %")
    axes.legend()
    return axes
