"""Step-response models as frames of pandas, where it is installed."""

import numpy as np
import pytest

import qormath

try:
    import pandas
except ImportError:
    pandas = None

# Test by test: pytest counts a file that is skipped whole as one in which it has found no test, which is a failure.
pytestmark = pytest.mark.skipif(pandas is None, reason="pandas is not installed")


@pytest.mark.parametrize("name", ("wood_berry", "surge_drum", "null_pairs", "heavy_oil_fractionator"))
def test_a_frame_has_a_column_for_each_pair_and_a_row_for_each_sample(models, name):
    plant = qormath.FIRModel.from_file(models / f"{name}.fir")
    frame = plant.to_frame()
    assert frame.shape == (plant.coefficient_count + 1, len(plant.outputs) * len(plant.inputs))
    assert frame.index.name == "time" and frame.columns.names == ["output", "input"]
    assert (frame.index == np.arange(plant.coefficient_count + 1) * plant.sample_time).all()
    for output in plant.outputs:
        for input in plant.inputs:
            assert (frame[output, input].to_numpy() == plant.curve(output, input)).all()
    assert frame[plant.outputs[-1]].shape == (plant.coefficient_count + 1, len(plant.inputs))


def test_a_frame_is_no_window_into_the_model(models):
    plant = qormath.FIRModel.from_file(models / "wood_berry.fir")
    before = plant.curves.copy()
    frame = plant.to_frame()
    frame.iloc[:, :] = 7.0
    assert (plant.curves == before).all()
