"""The tutorial's code runs, prints what it says, and its pictures are those that the build makes."""

import importlib.util
import pathlib
import re
import subprocess
import sys

import matplotlib.pyplot
import numpy as np
import pytest

import qormath

ROOT = pathlib.Path(__file__).resolve().parents[2]
TEXT = (ROOT / "docs" / "python.md").read_text(encoding="utf-8")
PICTURES = sorted(re.findall(r"\(pictures/([a-z_]+\.png)\)", TEXT))
LARGEST_PICTURE = 150_000  # bytes

# Other versions of fonts and of Matplotlib draw edges otherwise, which is a few of a picture's points; another curve is
# many more.
LARGEST_DIFFERENCE = 0.02  # root of the mean square, of 1


def test_the_code_runs_and_prints_what_it_says(tmp_path, monkeypatch, capsys):
    (tmp_path / "examples").symlink_to(ROOT / "examples")
    monkeypatch.chdir(tmp_path)
    blocks = re.findall(r"^```python\n(.*?)^```", TEXT, flags=re.MULTILINE | re.DOTALL)
    assert len(blocks) > 8
    variables = {}
    for block in blocks:
        if importlib.util.find_spec("control") is None:
            block = "\n".join(line for line in block.splitlines() if "to_control" not in line)
        refusal = re.search(r"^# (\w+Error): (.*)$", block, flags=re.MULTILINE)
        if refusal:
            with pytest.raises(getattr(qormath, refusal[1]), match=re.escape(refusal[2])):
                exec(block, variables)
            continue
        exec(block, variables)
        printed = capsys.readouterr().out
        for said in re.findall(r"# (<.*>)$", block, flags=re.MULTILINE):
            assert said in printed
    matplotlib.pyplot.close("all")
    assert variables["small"].states == variables["result"].order_reached


def test_what_it_claims_of_the_model_is_so(models):
    plant = qormath.FIRModel.from_file(models / "heavy_oil_fractionator.fir")
    poles = qormath.reduce(plant).model.poles()
    assert np.abs(poles).max() < 1.0
    logs = np.log(poles[poles != 0.0])
    assert (-logs.real / np.abs(logs)).min() > 0.1
    _, values = qormath.model_reduction(qormath.minimal_realization(qormath.realise(plant).model)[0], 0)
    assert values[38] > 100.0 * values[39] and (values[:38] < 3.0 * values[1:39]).all()
    errors = {order: qormath.reduce(plant, order=order).curve_error_percent.value for order in (8, 40)}
    assert errors[8] > 40.0 and errors[40] < 1.0


@pytest.fixture(scope="module")
def made(tmp_path_factory):
    folder = tmp_path_factory.mktemp("pictures")
    subprocess.run([sys.executable, ROOT / "docs" / "make_pictures", folder], check=True)
    return folder


def test_every_picture_that_is_made_is_shown(made):
    assert sorted(path.name for path in made.iterdir()) == PICTURES and len(PICTURES) == 5


@pytest.mark.parametrize("name", PICTURES)
def test_a_picture_is_the_one_that_the_build_makes(made, name):
    kept = ROOT / "docs" / "pictures" / name
    assert kept.stat().st_size < LARGEST_PICTURE
    first, second = (matplotlib.pyplot.imread(path) for path in (kept, made / name))
    assert first.shape == second.shape
    assert np.sqrt(np.mean((first - second) ** 2)) <= LARGEST_DIFFERENCE
    assert first.std() > 0.02  # something is drawn


def test_pictures_are_the_same_bytes_each_time(made, tmp_path):
    subprocess.run([sys.executable, ROOT / "docs" / "make_pictures", tmp_path], check=True)
    for name in PICTURES:
        assert (tmp_path / name).read_bytes() == (made / name).read_bytes()
