"""What the pictures show is what the models say."""

import matplotlib.pyplot
import numpy as np
import pytest

import qormath
from qormath import plot


@pytest.fixture(autouse=True)
def close():
    yield
    matplotlib.pyplot.close("all")


def lines(axes, gid):
    return [line for line in axes.get_lines() if line.get_gid() == gid]


def test_step_matrix_shows_every_curve_of_every_model(models):
    plant = qormath.FIRModel.from_file(models / "surge_drum.fir")
    small = qormath.reduce(plant, order="coarse").curves
    axes = plot.step_matrix([plant, small], ["plant", "reduced"])
    assert axes.shape == plant.present.shape
    for j in range(axes.shape[0]):
        for i in range(axes.shape[1]):
            drawn = [line.get_ydata() for line in axes[j, i].get_lines() if len(line.get_ydata()) > 2]
            wanted = [model.curves[j, i] for model in (plant, small) if model.present[j, i]]
            assert len(drawn) == len(wanted)
            assert all((x == y).all() for x, y in zip(drawn, wanted))
    assert [axes[j, 0].get_ylabel() for j in range(2)] == ["LEVEL (ramp)", "TEMP"]
    assert [axes[0, i].get_title() for i in range(axes.shape[1])] == list(plant.inputs)
    assert [text.get_text() for text in axes[0, 0].get_legend().get_texts()] == ["plant", "reduced"]


def test_a_pair_without_a_curve_stays_empty(models):
    plant = qormath.FIRModel.from_file(models / "null_pairs.fir")
    assert not plant.present.all()
    axes = plot.step_matrix(plant)
    for j, i in np.argwhere(~plant.present):
        assert all(len(line.get_ydata()) == 2 for line in axes[j, i].get_lines())


def test_pole_map_has_the_poles_inside_its_circle():
    system = qormath.StateSpace(np.diag([0.5, -0.25]), np.ones((2, 1)), np.ones((1, 2)), [[0.0]], 1.0)
    axes = plot.pole_map(system)
    (shown,) = lines(axes, "poles")
    assert sorted(shown.get_xdata()) == [-0.25, 0.5] and not shown.get_ydata().any()
    with pytest.raises(qormath.LimitError, match="some are discrete"):
        plot.pole_map([system, qormath.d2c(qormath.StateSpace([[0.5]], [[1.0]], [[1.0]], [[0.0]], 1.0))])


def test_damping_lines_of_a_sampled_system_hold_the_poles_of_that_damping():
    ratio, frequency = 0.5, 0.8
    s = frequency * (-ratio + 1j * np.sqrt(1 - ratio**2))
    z = np.exp(s)
    system = qormath.StateSpace([[z.real, z.imag], [-z.imag, z.real]], [[1.0], [0.0]], [[1.0, 0.0]], [[0.0]], 1.0)
    axes = plot.pole_map(system, damping=[ratio])
    curves = [line.get_xdata() + 1j * line.get_ydata() for line in axes.get_lines() if line.get_gid() != "poles"]
    nearest = min(np.abs(curve - z).min() for curve in curves[1:])
    assert nearest <= 0.01  # two points of a line lie 0.018 apart at most


def test_hankel_singular_values_are_those_of_a_known_model():
    a = 0.5
    system = qormath.StateSpace([[a]], [[1.0]], [[1.0]], [[0.0]], 1.0)
    axes = plot.hankel(system)
    (shown,) = lines(axes, "values")
    assert np.allclose(shown.get_ydata(), [1.0 / (1.0 - a**2)], rtol=1e-12)
    (coarse,) = lines(axes, "coarse")
    assert np.allclose(coarse.get_ydata(), 5e-3 / (1.0 - a**2), rtol=1e-12)


def test_error_against_order_is_that_of_reduce(models):
    plant = qormath.FIRModel.from_file(models / "wood_berry.fir")
    axes = plot.error_against_order(plant, [12, 8])
    (shown,) = lines(axes, "errors")
    wanted = [qormath.reduce(plant, order=order).curve_error_percent.value for order in (8, 12)]
    assert list(shown.get_ydata()) == wanted and list(shown.get_xdata()) == [8, 12]


def test_nothing_to_draw_is_refused(models):
    plant = qormath.FIRModel.from_file(models / "wood_berry.fir")
    with pytest.raises(qormath.LimitError, match="argument models"):
        plot.step_matrix([])
    with pytest.raises(qormath.DimensionError, match="argument labels: expected 1, got 2"):
        plot.step_matrix(plant, ["a", "b"])
    with pytest.raises(qormath.LimitError, match="argument orders"):
        plot.error_against_order(plant, [])
