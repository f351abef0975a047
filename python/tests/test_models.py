"""Models, files, and the way to other programs."""

import pickle
import shutil
import subprocess

import numpy as np
import pytest

import qormath

EPS = np.finfo(float).eps


def lag(dt=1.0):
    return qormath.StateSpace([[0.5]], [[1.0]], [[2.0]], [[0.0]], dt)


def test_connections_are_those_of_transfer_functions():
    two, one = lag(), qormath.StateSpace([[0.25]], [[1.0]], [[1.0]], [[3.0]], 1.0)
    assert np.allclose((two * one).gain(), two.gain() @ one.gain(), rtol=10 * EPS)
    assert np.allclose((two + one).gain(), two.gain() + one.gain(), rtol=10 * EPS)
    assert (two * one).states == 2
    with pytest.raises(qormath.LimitError, match="different sample times"):
        two * lag(2.0)
    wide = qormath.StateSpace(np.zeros((0, 0)), np.zeros((0, 2)), np.zeros((1, 0)), [[1.0, 2.0]], 1.0)
    with pytest.raises(qormath.DimensionError, match="2 inputs, the right one 1 outputs"):
        wide * lag()


def test_step_and_simulation_agree_with_the_recursion_by_hand():
    assert lag().step(4)[0, 0].tolist() == [0.0, 2.0, 3.0, 3.5]
    assert lag().simulate([[0.0], [0.0]], x0=[1.0])[:, 0].tolist() == [2.0, 1.0]


def test_an_integrator_has_no_gain_but_an_exception():
    with pytest.raises(qormath.SingularError, match="limit of stability"):
        qormath.StateSpace([[1.0]], [[1.0]], [[1.0]], [[0.0]], 1.0).gain()


@pytest.mark.parametrize("method", ("zoh", "tustin"))
def test_conversions_undo_each_other(method):
    continuous = qormath.StateSpace([[-1.0, 1.0], [0.0, -2.0]], [[0.0], [1.0]], [[1.0, 0.0]], [[0.0]], 0)
    sampled = qormath.c2d(continuous, 0.1, method)
    back = qormath.d2c(sampled, method)
    assert np.allclose(back.A, continuous.A, rtol=1e-12, atol=1e-12)
    assert np.allclose(qormath.resample(sampled, 0.2).poles(), sampled.poles() ** 2, rtol=1e-12)
    with pytest.raises(qormath.LimitError):
        qormath.d2c(continuous)
    with pytest.raises(qormath.LimitError, match="argument method"):
        qormath.c2d(continuous, 0.1, "euler")


def test_models_are_pickled():
    model = lag()
    again = pickle.loads(pickle.dumps(model))
    assert all((x == y).all() for x, y in zip(model.arrays, again.arrays)) and again.dt == model.dt


def test_a_model_file_comes_back(models, tmp_path):
    plant = qormath.FIRModel.from_file(models / "surge_drum.fir")
    assert plant.ramps.tolist() == [True, False]
    plant.to_file(tmp_path / "again.fir")
    again = qormath.FIRModel.from_file(tmp_path / "again.fir")
    assert (again.curves == plant.curves).all() and (again.present == plant.present).all()
    assert again.inputs == plant.inputs and again.horizon == plant.horizon
    assert pickle.loads(pickle.dumps(plant)).outputs == plant.outputs
    assert [path.name for path in tmp_path.iterdir()] == ["again.fir"]


def test_the_aligned_model_steps_along_the_curve(models):
    plant = qormath.FIRModel.from_file(models / "wood_berry.fir")
    found = qormath.realise(plant)
    curves = qormath.FIRModel.from_system(found.model, plant).curves
    steps = found.model.aligned().step(plant.coefficient_count + 1)
    assert np.abs(steps - curves).max() <= 1e-11 * np.abs(curves).max()
    shifted = qormath.FIRModel.from_system(found.model.aligned(), plant).curves
    assert np.abs(shifted - curves).max() <= 1e-11 * np.abs(curves).max()


@pytest.mark.parametrize("change, error, words", (
    ({"inputs": ("A" * 13, "B", "C")}, qormath.LimitError, "longer than the 12 bytes"),
    ({"inputs": ("A\n", "B", "C")}, qormath.LimitError, "control characters"),
    ({"horizon": 1.5}, qormath.LimitError, "argument horizon"),
    ({"inputs": ("A",)}, qormath.DimensionError, "expected 3 names, got 1"),
    ({"ramps": [True]}, qormath.DimensionError, "argument ramps"),
    ({"curves": np.zeros((2, 3))}, qormath.DimensionError, "argument curves"),
    ({"curves": np.full((2, 3, 31), np.inf)}, qormath.LimitError, "not finite"),
    ({"curves": np.zeros((2, 3, 32))}, qormath.LimitError, "30, 45, 75 or 105"),
))
def test_what_a_file_cannot_hold_is_refused(models, tmp_path, change, error, words):
    import dataclasses

    plant = qormath.FIRModel.from_file(models / "wood_berry.fir")
    with pytest.raises(error, match=words):
        dataclasses.replace(plant, **change).to_file(tmp_path / "no.fir")
    assert not list(tmp_path.iterdir())


def test_files_that_are_none_are_named(tmp_path):
    other = tmp_path / "other.fir"
    other.write_text("hello\n")
    for path in (other, tmp_path / "missing.fir", tmp_path):
        with pytest.raises(qormath.FileError, match=str(path)):
            qormath.FIRModel.from_file(path)
    with pytest.raises(qormath.FileError, match="not a system file"):
        qormath.StateSpace.from_json(other)


def test_system_files_go_to_the_program_and_back(models, program, tmp_path):
    plant = qormath.FIRModel.from_file(models / "wood_berry.fir")
    model = qormath.realise(plant).model
    model.to_json(tmp_path / "a.json")
    again = qormath.StateSpace.from_json(tmp_path / "a.json")
    assert all((x == y).all() for x, y in zip(model.arrays, again.arrays))
    subprocess.run([program, "simulate", tmp_path / "a.json", "--like", models / "wood_berry.fir", "-o",
                    tmp_path / "a.fir"], check=True, stdout=subprocess.DEVNULL)
    qormath.FIRModel.from_system(model, plant).to_file(tmp_path / "b.fir")
    first, second = (qormath.FIRModel.from_file(tmp_path / name) for name in ("a.fir", "b.fir"))
    assert (first.curves == second.curves).all()


def test_scipy_and_mat_files_keep_every_bit(tmp_path):
    model = qormath.StateSpace([[0.1, 0.2], [0.0, 1 / 3]], [[1.0], [2.0]], [[1.0, 1e-300]], [[0.0]], 0.5, ("STEAM",),
                               ("TEMP",))
    back = qormath.StateSpace.from_scipy(model.to_scipy())
    assert all((x == y).all() for x, y in zip(model.arrays, back.arrays)) and back.dt == 0.5
    model.to_mat(tmp_path / "m.mat")
    back = qormath.StateSpace.from_mat(tmp_path / "m.mat")
    assert all((x == y).all() for x, y in zip(model.arrays, back.arrays))
    assert (back.inputs, back.outputs, back.dt) == (("STEAM",), ("TEMP",), 0.5)
    with pytest.raises(qormath.FileError, match="no struct 'other'"):
        qormath.StateSpace.from_mat(tmp_path / "m.mat", "other")


@pytest.mark.skipif(shutil.which("octave-cli") is None, reason="Octave is not installed")
def test_octave_gives_every_bit_back(models, tmp_path):
    model = qormath.realise(qormath.FIRModel.from_file(models / "wood_berry.fir")).model.aligned()
    model.to_mat(tmp_path / "there.mat")
    subprocess.run(["octave-cli", "--norc", "--no-history", "--eval",
                    "load there.mat; A = model.A; B = model.B; C = model.C; D = model.D; dt = model.dt; "
                    "inputs = model.inputs; outputs = model.outputs; curve_offset = model.curve_offset; "
                    "model = struct('A', A, 'B', B, 'C', C, 'D', D, 'dt', dt, 'curve_offset', curve_offset); "
                    "model.inputs = inputs; model.outputs = outputs; save -v7 back.mat model"],
                   check=True, cwd=tmp_path, stdout=subprocess.DEVNULL)
    back = qormath.StateSpace.from_mat(tmp_path / "back.mat")
    assert all((x == y).all() for x, y in zip(model.arrays, back.arrays))
    assert (back.dt, back.inputs, back.outputs) == (model.dt, model.inputs, model.outputs)


def test_python_control_steps_along_the_curve(models):
    control = pytest.importorskip("control")
    plant = qormath.FIRModel.from_file(models / "wood_berry.fir")
    model = qormath.realise(plant).model
    there = model.to_control()
    assert np.abs(control.dcgain(there) - plant.gain()).max() <= 1e-9 * np.abs(plant.gain()).max()
    back = qormath.StateSpace.from_control(there)
    assert all((x == y).all() for x, y in zip(model.aligned().arrays, back.arrays))
