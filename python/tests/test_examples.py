"""The examples run as they stand, and what they claim is so."""

import importlib.util
import pathlib
import re
import runpy
import shutil
import warnings

import matplotlib.pyplot
import numpy as np
import pytest

import qormath

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "examples" / "python"
EXAMPLES = sorted(path.name for path in FOLDER.glob("*.py"))


@pytest.fixture
def run(tmp_path, monkeypatch):
    """Runs an example in a folder of its own; its variables."""
    monkeypatch.chdir(tmp_path)

    def work(name):
        with warnings.catch_warnings():
            warnings.simplefilter("error")
            # A script that shows its figures has nobody to show them to.
            monkeypatch.setattr(matplotlib.pyplot, "show", lambda: None)
            return runpy.run_path(str(FOLDER / name))

    yield work
    matplotlib.pyplot.close("all")


@pytest.mark.parametrize("name", EXAMPLES)
def test_an_example_is_a_notebook_in_percent_format(name):
    cells = re.split(r"^# %%", (FOLDER / name).read_text(encoding="utf-8"), flags=re.MULTILINE)
    assert cells[0] == "" and len(cells) > 6
    for cell in cells[1:]:
        head, *body = cell.splitlines()
        assert head in ("", " [markdown]")
        if head:
            assert all(line.startswith("#") or not line for line in body)
        else:
            compile(cell[len(head):], name, "exec")
            assert any(line and not line.startswith("#") for line in body)


def test_there_are_three_examples():
    assert EXAMPLES == ["choosing_an_order.py", "from_plant_to_small_model.py", "to_other_programs.py"]


def test_the_plant_becomes_a_small_model(run, models, tmp_path):
    found = run("from_plant_to_small_model.py")
    plant = qormath.FIRModel.from_file(models / "heavy_oil_fractionator.fir")
    again = qormath.FIRModel.from_file(tmp_path / "fractionator_small.fir")
    peaks = np.abs(plant.curves).max(axis=(1, 2), keepdims=True)
    # Seven digits of the file, on top of the tolerance.
    assert (np.abs(again.curves - plant.curves) / peaks).max() <= 0.01 + 1e-6
    poles = found["small"].poles()
    assert np.abs(poles).max() < 1.0
    logs = np.log(poles[np.abs(poles) > 0.0])
    assert (-logs.real / np.abs(logs)).min() > 0.1  # as the text says of the damping
    assert found["small"].states < found["result"].states_realised
    assert found["axes"].shape == plant.present.shape
    system = qormath.StateSpace.from_json(tmp_path / "fractionator_small.json")
    assert all((x == y).all() for x, y in zip(system.arrays, found["small"].arrays))


def test_a_larger_order_is_chosen_for_smaller_errors(run):
    found = run("choosing_an_order.py")
    errors = [found["errors"][order] for order in found["orders"]]
    assert errors[0] > 10.0 * errors[-1]
    choices = found["choices"]
    for tolerance in (10.0, 3.0, 1.0):
        result = choices[f"within {tolerance:g} %"]
        assert result.is_within_tolerance and result.curve_error_percent.value <= tolerance
    assert choices["within 10 %"].order_reached < choices["within 1 %"].order_reached
    assert choices["coarse"].order_reached <= choices["middle"].order_reached <= choices["fine"].order_reached
    assert all(result.gain_error.value <= 1e-9 for result in choices.values())


def test_steps_are_the_same_in_every_program(run, capsys):
    found = run("to_other_programs.py")
    printed = capsys.readouterr().out
    wanted = {"aligned, stepped here", "SciPy", "from the .mat file"}
    for program, is_there in (("Octave", shutil.which("octave-cli")),
                              ("python-control", importlib.util.find_spec("control"))):
        if is_there:
            wanted.add(program)
        assert (f"{program} is not installed: left out" in printed) == (not is_there)
    assert set(found["differences"]) == wanted
    assert all(difference <= found["rounding"] for difference in found["differences"].values())
    assert "False" not in printed


@pytest.mark.skipif(shutil.which("octave-cli") is None, reason="Octave is not installed")
def test_octave_takes_part_where_it_is_installed(run):
    assert "Octave" in run("to_other_programs.py")["differences"]


@pytest.mark.skipif(importlib.util.find_spec("control") is None, reason="python-control is not installed")
def test_python_control_takes_part_where_it_is_installed(run):
    assert "python-control" in run("to_other_programs.py")["differences"]
