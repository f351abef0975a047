"""Reduction, realisation, pairing and the steps of conditioning."""

import json
import subprocess

import numpy as np
import pytest

import qormath

PLANTS = ("wood_berry", "surge_drum", "heavy_oil_fractionator", "ogunnaike_ray", "null_pairs")


@pytest.mark.parametrize("name", PLANTS)
@pytest.mark.parametrize("arguments, options", (((), {}), (("--order", "coarse"), {"order": "coarse"})))
def test_reduction_is_that_of_the_program_to_the_bit(models, program, tmp_path, name, arguments, options):
    path = models / f"{name}.fir"
    said = json.loads(subprocess.run(
        [program, "reduce", path, "-o", tmp_path / "p.fir", "--state-space", tmp_path / "p.json", "--json", *arguments],
        check=True, capture_output=True).stdout)
    result = qormath.reduce(qormath.FIRModel.from_file(path), **options)
    theirs = qormath.StateSpace.from_json(tmp_path / "p.json")
    assert all((x == y).all() for x, y in zip(result.model.arrays, theirs.arrays))
    assert (theirs.dt, theirs.inputs, theirs.outputs, theirs.curve_offset) == (
        result.model.dt, result.model.inputs, result.model.outputs, result.model.curve_offset)
    result.curves.to_file(tmp_path / "q.fir")
    assert (tmp_path / "q.fir").read_bytes() == (tmp_path / "p.fir").read_bytes()
    assert result.curve_error_percent.value in [value for value in _numbers(said)]


def _numbers(value):
    if isinstance(value, dict):
        for item in value.values():
            yield from _numbers(item)
    elif isinstance(value, list):
        for item in value:
            yield from _numbers(item)
    elif isinstance(value, (int, float)):
        yield value


@pytest.mark.parametrize("name", PLANTS[:4])
def test_realisation_keeps_gains_and_curves(models, name):
    plant = qormath.FIRModel.from_file(models / f"{name}.fir")
    found = qormath.realise(plant)
    assert found.gain_error.value <= 1e-12
    assert (found.ramp_rate_error is None) == (not plant.ramps.any())
    assert found.ramp_rate_error is None or found.ramp_rate_error.value <= 1e-12
    assert found.curve_error_percent.value < 1.0
    assert (np.diff(found.singular_values) <= 0).all()


def test_progress_is_told_and_may_end_the_work(models):
    plant = qormath.FIRModel.from_file(models / "wood_berry.fir")
    told = []
    qormath.reduce(plant, progress=lambda *step: told.append(step))
    assert told and all(isinstance(stage, str) and done <= total for stage, done, total in told)

    class Enough(Exception):
        pass

    def stop(*_):
        raise Enough

    with pytest.raises(Enough):
        qormath.reduce(plant, progress=stop)


def test_what_cannot_be_reduced_is_refused_in_words(models):
    plant = qormath.FIRModel.from_file(models / "wood_berry.fir")
    with pytest.raises(qormath.LimitError, match="argument order"):
        qormath.reduce(plant, order="tiny")
    with pytest.raises(qormath.LimitError, match="reduce: "):
        qormath.reduce(plant, curve_tolerance=-1.0)
    empty = qormath.FIRModel(np.zeros((1, 1, 31)), 30, present=[[False]])
    with pytest.raises(qormath.LimitError, match="output Y1 has no curve"):
        qormath.realise(empty)


def test_pairing_ranks_as_the_program_does(models, program):
    path = models / "heavy_oil_fractionator.fir"
    said = json.loads(subprocess.run([program, "pairing", path, "--size", "2", "--json"], check=True,
                                     capture_output=True).stdout)
    found = qormath.pairing(qormath.FIRModel.from_file(path), size=2)
    assert [(list(s.outputs), list(s.inputs)) for s in found] == [(s["outputs"], s["inputs"]) for s in said["selections"]]
    assert np.allclose([s.condition_number for s in found], [s["conditionNumber"] for s in said["selections"]],
                       rtol=1e-10)
    with pytest.raises(qormath.LimitError, match="argument size: has to be from 1 to"):
        qormath.pairing([[1.0]], size=2)


def test_pairing_of_a_matrix_known_by_hand():
    best, *_ = qormath.pairing([[1.0, 0.0, 0.9], [0.0, 1.0, 0.1]], scaled=False)
    assert (best.inputs, best.condition_number) == (("U1", "U2"), 1.0)


def test_conditioning_steps():
    model = qormath.StateSpace(np.diag([1.0, 0.5, 0.2]), np.ones((3, 1)), np.ones((1, 3)), [[0.0]], 1.0)
    rest, ramps = qormath.remove_ramps(model)
    assert (rest.states, ramps.states) == (2, 1)
    assert np.allclose(rest.gain(), [[2.0 + 1.25]], rtol=1e-12)
    reduced, hankel = qormath.model_reduction(rest, 1)
    assert reduced.states == 1 and hankel.shape == (2,)
    assert np.abs((reduced.gain() - rest.gain())).max() <= 2 * hankel[1] * (1 + 1e-12)
    kept = qormath.retain_gain(reduced, rest.gain())
    assert np.allclose(kept.gain(), rest.gain(), rtol=1e-12)
    stable, unstable = qormath.remove_unstable(qormath.StateSpace(np.diag([2.0, 0.5]), np.ones((2, 1)), np.ones((1, 2)),
                                                                  [[0.0]], 1.0))
    assert np.allclose([stable.poles()[0], unstable.poles()[0]], [0.5, 2.0])
    ringing = qormath.StateSpace([[0.0, -0.98], [0.98, 0.0]], [[1.0], [0.0]], [[1.0, 0.0]], [[0.0]], 1.0)
    with_lag = ringing + qormath.StateSpace([[0.5]], [[1.0]], [[1.0]], [[0.0]], 1.0)
    assert qormath.remove_ringers(with_lag, 0.1).states == 1
    _, report = qormath.minimal_realization(model)
    assert (report.integrators, report.stable) == (1, 2)
    scaled, scale = qormath.balance(qormath.StateSpace([[0.5, 1e6], [0.0, 0.2]], [[1.0], [1.0]], [[1.0, 1.0]], [[0.0]],
                                                       1.0))
    assert (np.log2(scale) == np.round(np.log2(scale))).all() and np.allclose(np.sort(scaled.poles()), [0.2, 0.5])
    assert qormath.shrink(rest, 1, gain_tolerance=-1.0).states == 1


@pytest.mark.parametrize("name", ("wood_berry", "ogunnaike_ray", "surge_drum", "null_pairs", "heavy_oil_fractionator"))
def test_pairing_ranks_as_the_program_does_to_the_last_bit(models, program, name):
    model = models / f"{name}.fir"
    for scaled in (True, False):
        words = [program, "pairing", model, "--size", "2", "--top", "0", "--json", *([] if scaled else ["--unscaled"])]
        told = json.loads(subprocess.run(words, check=True, capture_output=True, text=True).stdout)["selections"]
        found = qormath.pairing(qormath.FIRModel.from_file(model), size=2, top=0, scaled=scaled)
        assert [(list(row.outputs), list(row.inputs), row.condition_number, row.rga) for row in found] == \
            [(row["outputs"], row["inputs"], row["conditionNumber"], row["rga"]) for row in told]


def test_pairing_refuses_gains_that_are_not_finite():
    for scaled in (True, False):
        with pytest.raises(qormath.LimitError):
            qormath.pairing([[1.0, np.nan], [0.0, 1.0]], scaled=scaled)
