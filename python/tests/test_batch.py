"""Many models on a cluster of processes on this machine."""

import os
import shutil
import signal
import subprocess
import sys

import distributed
import pytest

import qormath
from qormath import batch


PLANTS = ("wood_berry", "surge_drum", "ogunnaike_ray", "null_pairs")


@pytest.fixture
def copies(models, tmp_path):
    folder = tmp_path / "in"
    folder.mkdir()
    return [str(shutil.copy(models / f"{plant}.fir", folder / f"{plant}_{k}.fir")) for k in range(3) for plant in PLANTS]


def run(*arguments):
    return subprocess.run([sys.executable, "-m", "qormath.batch", *map(str, arguments)], capture_output=True, text=True)


def test_a_bad_file_does_not_stop_the_rest(copies, tmp_path):
    bad = tmp_path / "in" / "bad.fir"
    bad.write_text("hello\n")
    out = tmp_path / "out"
    ended = run(*copies[:4], bad, "--out-dir", out, "--jobs", 2)
    assert ended.returncode == 1, ended.stderr
    rows = [line.split() for line in ended.stdout.splitlines()]
    assert rows[5] == ["bad.fir", "-", "-", "failed"] and rows[7] == "4 reduced, 0 skipped, 1 failed".split()
    assert "5/5" in ended.stderr and "is not a model file" in ended.stderr
    for model in copies[:4]:
        wanted = qormath.reduce(qormath.FIRModel.from_file(model))
        name = os.path.basename(model)
        wanted.curves.to_file(tmp_path / name)
        assert (tmp_path / name).read_bytes() == (out / name).read_bytes()
        system = qormath.StateSpace.from_json(out / name.replace(".fir", ".json"))
        assert all((x == y).all() for x, y in zip(system.arrays, wanted.model.arrays))
    assert not (out / "bad.fir").exists()
    again = run(*copies[:4], "--out-dir", out, "--jobs", 1, "--resume")
    assert again.returncode == 0 and again.stdout.endswith("0 reduced, 4 skipped, 0 failed\n")
    assert again.stderr.count("\n") == 4


def test_a_worker_that_dies_loses_nothing(copies, tmp_path):
    out = tmp_path / "out"
    out.mkdir()
    killed = []

    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, host="127.0.0.1",
                                  dashboard_address=None) as cluster, distributed.Client(cluster) as client:
        pids = list(client.run(os.getpid).values())

        def progress(_):
            if not killed:
                killed.append(pids[0])
                os.kill(pids[0], signal.SIGKILL)

        outcomes = batch.reduce_files(copies, str(out), client, {"order": "coarse"}, progress=progress)
    assert killed
    assert [outcome.model for outcome in outcomes] == copies
    assert not [outcome for outcome in outcomes if outcome.failure]
    assert len(list(out.glob("*.fir"))) == len(copies)


@pytest.mark.parametrize("arguments, words", (
    (["a/x.fir", "b/x.fir", "--out-dir", "o"], "both be written as x.fir"),
    (["x.fir", "--out-dir", "."], "would replace a model"),
    (["x.fir", "--out-dir", "o", "--jobs", "0"], "has to be above 0"),
    (["x.fir"], "--out-dir"),
))
def test_wrong_use_is_told_before_anything_is_done(arguments, words):
    ended = run(*arguments)
    assert ended.returncode == 2 and words in ended.stderr
