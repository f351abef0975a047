# %% [markdown]
# # From a plant's file to a small model
#
# The heavy-oil fractionator (D. M. Prett, C. E. Garcia, "Fundamental Process Control", 1988) has five inputs and seven
# outputs. Identification left a step-response curve for each of the 35 pairs in a model file. Here it becomes a
# state-space model that is small enough to control with, and whose curves stay within 1 % of each output's largest
# coefficient.

# %%
import pathlib

import matplotlib.pyplot as plt
import numpy as np

import qormath
from qormath import plot

# A notebook runs in the folder of this file; a script may run anywhere.
models = pathlib.Path(globals().get("__file__", "notebook")).resolve().parent.parent / "models"

# %% [markdown]
# ## What the file holds

# %%
plant = qormath.FIRModel.from_file(models / "heavy_oil_fractionator.fir")
print(plant)
print("inputs: ", ", ".join(plant.inputs))
print("outputs:", ", ".join(plant.outputs))
print(f"a curve has {plant.coefficient_count} coefficients, one every {plant.sample_time:g} s")

# %% [markdown]
# Steady-state gains, outputs as rows. Where an output is a ramp, this would be its rise in one sample.

# %%
with np.printoptions(precision=2, suppress=True):
    print(plant.gain())

# %% [markdown]
# ## The road
#
# `reduce` realises the curves, takes out what is not needed, restores the steady-state gains, and searches for the
# smallest order whose curves keep the tolerance.

# %%
result = qormath.reduce(plant, curve_tolerance=1.0)
small = result.model
print(small)
print(f"realised with {result.states_realised} states, reduced to {result.order_reached}")
error = result.curve_error_percent
print(f"largest curve error: {error.value:.3g} %, output {error.output} to input {error.input}")
print(f"largest gain error:  {result.gain_error.value:.1e}")
for warning in result.warnings:
    print("warning:", warning)

# %% [markdown]
# The curves of the plant and those of the small model, over each other: inputs across, outputs down.

# %%
axes = plot.step_matrix([plant, result.curves], ["plant", f"{small.states} states"])

# %% [markdown]
# All poles lie inside the unit circle, and none is badly damped.

# %%
plt.figure()
plot.pole_map(small, axes=plt.gca())
print(f"largest magnitude of a pole: {np.abs(small.poles()).max():.3f}")

# %% [markdown]
# ## Something to do with it
#
# The model moves in deviations from where the plant stands. Its element k belongs to sample k + 1 of an ordinary
# simulation; `aligned` takes that sample out. Two moves that come one after the other:

# %%
aligned = small.aligned()
samples = np.arange(150)
moves = np.zeros((samples.size, len(small.inputs)))
moves[10:, 0] = 0.1
moves[60:, 1] = -0.1
answer = aligned.simulate(moves)

figure, (above, below) = plt.subplots(2, 1, sharex=True, layout="constrained")
for k in range(2):
    above.step(samples * small.dt / 60, moves[:, k], where="post", label=small.inputs[k])
    below.plot(samples * small.dt / 60, answer[:, k], label=small.outputs[k])
above.set_ylabel("moves")
below.set_ylabel("outputs")
below.set_xlabel("time, min")
above.legend()
below.legend()

# %% [markdown]
# ## Files
#
# The curves go back into a model file, for whatever read the first one; the matrices go into a system file, whose
# numbers come back bit by bit.

# %%
result.curves.to_file("fractionator_small.fir")
small.to_json("fractionator_small.json")
again = qormath.StateSpace.from_json("fractionator_small.json")
print("the same matrices:", all((x == y).all() for x, y in zip(small.arrays, again.arrays)))
plt.show()
