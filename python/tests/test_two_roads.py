"""Many models through the program and through the cluster: the same results to the last bit, and the same summary."""

import os
import subprocess
import sys

import numpy as np

import qormath

PLANTS = 200


def plant(random):
    """A plant of a few pairs: lags, some of second order and some with delays, ramps, pairs without a curve."""
    outputs, inputs = random.integers(1, 4, 2)
    count = int(random.choice((30, 45, 60)))
    sample = np.arange(count + 1)
    ramps = random.random(outputs) < 0.15
    curves = np.zeros((outputs, inputs, count + 1))
    present = random.random((outputs, inputs)) < 0.85
    present[np.arange(outputs), random.integers(0, inputs, outputs)] = True
    for j, i in zip(*np.nonzero(present)):
        gain = random.choice((-1, 1)) * 10.0 ** random.uniform(-2, 3)
        time = np.maximum(sample - random.integers(0, 6), 0)
        slow, fast = random.uniform(1.5, 6.0), random.uniform(0.3, 1.4)
        if ramps[j]:
            curves[j, i] = gain * (time - slow * -np.expm1(-time / slow))
        else:
            curves[j, i] = gain * (1.0 - (slow * np.exp(-time / slow) - fast * np.exp(-time / fast)) / (slow - fast))
    return qormath.FIRModel(curves, int(count * random.choice((1, 10, 60))), ramps=ramps, present=present)


def run(command, *arguments):
    return subprocess.run([*command, *map(str, arguments)], capture_output=True, text=True)


def test_a_batch_of_plants_gives_the_same_bits_by_both_roads(program, tmp_path):
    random = np.random.default_rng(8)
    folder = tmp_path / "plants"
    folder.mkdir()
    models = [folder / f"plant_{k:03}.fir" for k in range(PLANTS)]
    for model in models:
        plant(random).to_file(model)
    damaged = folder / "damaged.fir"
    damaged.write_bytes(models[0].read_bytes()[:300])
    models.insert(70, damaged)

    one, two = tmp_path / "program", tmp_path / "cluster"
    first = run([program, "reduce"], *models, "--out-dir", one, "--jobs", 2)
    second = run([sys.executable, "-m", "qormath.batch"], *models, "--out-dir", two, "--jobs", 2)
    assert first.returncode == second.returncode == 1
    assert first.stdout.splitlines()[-1] == f"{PLANTS} reduced, 0 skipped, 1 failed"
    assert first.stdout == second.stdout

    assert sorted(os.listdir(one)) == sorted(os.listdir(two))
    assert len(os.listdir(one)) == 2 * PLANTS
    states = set()
    for model in models:
        if model == damaged:
            continue
        assert (one / model.name).read_bytes() == (two / model.name).read_bytes(), model
        pair = [qormath.StateSpace.from_json(out / f"{model.stem}.json") for out in (one, two)]
        for x, y in zip(pair[0].arrays, pair[1].arrays):
            assert x.shape == y.shape and (x.view(np.uint64) == y.view(np.uint64)).all(), model
        assert all(getattr(pair[0], key) == getattr(pair[1], key) for key in ("dt", "inputs", "outputs", "curve_offset"))
        states.add(pair[0].states)
    assert len(states) > 10  # plants of many kinds


def test_each_road_goes_on_where_the_other_has_stopped(models, program, tmp_path):
    plants = [models / f"{name}.fir" for name in ("wood_berry", "surge_drum", "null_pairs")]
    out = tmp_path / "out"
    cluster = [sys.executable, "-m", "qormath.batch"]
    assert run(cluster, plants[0], "--out-dir", out, "--jobs", 1).returncode == 0
    first = run([program, "reduce"], *plants[:2], "--out-dir", out, "--resume")
    assert first.returncode == 0 and first.stdout.splitlines()[-1] == "1 reduced, 1 skipped, 0 failed"
    second = run(cluster, *plants, "--out-dir", out, "--jobs", 1, "--resume")
    assert second.returncode == 0 and second.stdout.splitlines()[-1] == "1 reduced, 2 skipped, 0 failed"


def test_options_mean_the_same_on_both_roads(models, program, tmp_path):
    plants = [models / f"{name}.fir" for name in ("wood_berry", "null_pairs")]
    options = ["--order", "middle", "--damping", "0.4", "--gain-tolerance", "-1", "--keep-null-pairs", "--aligned"]
    one, two = tmp_path / "program", tmp_path / "cluster"
    first = run([program, "reduce"], *plants, "--out-dir", one, *options)
    second = run([sys.executable, "-m", "qormath.batch"], *plants, "--out-dir", two, "--jobs", 1, *options)
    assert first.returncode == second.returncode == 0, first.stderr + second.stderr
    assert first.stdout == second.stdout
    for model in plants:
        assert (one / model.name).read_bytes() == (two / model.name).read_bytes()
        pair = [qormath.StateSpace.from_json(out / f"{model.stem}.json") for out in (one, two)]
        assert pair[0].curve_offset == pair[1].curve_offset == 0
        assert all((x == y).all() for x, y in zip(pair[0].arrays, pair[1].arrays))


def test_what_one_road_refuses_the_other_refuses(program, tmp_path):
    folder = tmp_path / "in"
    folder.mkdir()
    for name in ("x.fir", "y.json"):
        (folder / name).write_text("a model")
    for arguments in (["a/x.fir", "b/x.fir", "--out-dir", tmp_path / "o"], ["x", "x.fir", "--out-dir", tmp_path / "o"],
                      [folder / "x.fir", "--out-dir", folder], [folder / "y.json", "--out-dir", folder],
                      ["x.fir", "--out-dir", tmp_path / "o", "--jobs", "0"]):
        for command in ([program, "reduce"], [sys.executable, "-m", "qormath.batch"]):
            assert run(command, *arguments).returncode == 2, command
    assert sorted(os.listdir(folder)) == ["x.fir", "y.json"] and not (tmp_path / "o").exists()
