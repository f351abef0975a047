# %% [markdown]
# # Moving a model to other programs
#
# A model that has been reduced here goes on in SciPy, in python-control, in Octave or MATLAB. In each the steps have to
# be the same curves, and here that is measured.

# %%
import pathlib
import shutil
import subprocess

import numpy as np
import scipy.io
import scipy.signal

import qormath

# A notebook runs in the folder of this file; a script may run anywhere.
models = pathlib.Path(globals().get("__file__", "notebook")).resolve().parent.parent / "models"
plant = qormath.FIRModel.from_file(models / "wood_berry.fir")
result = qormath.reduce(plant)
model = result.model
curves = result.curves.curves
samples = curves.shape[2]
largest = np.abs(curves).max(axis=(1, 2), keepdims=True)

# The curves of the library, and steps of another program that rounds otherwise: equal up to this, of the output's peak.
rounding = 1e-10
differences = {}


def compare(program, steps):
    """How far the steps of another program, (outputs, inputs, samples), are from the curves."""
    differences[program] = float((np.abs(steps - curves) / largest).max())
    print(f"{program}: {differences[program]:.1e} of the output's peak")


# %% [markdown]
# ## The sample that is easily lost
#
# Curves begin with their first value after the move: element k of a curve is the step response at sample
# k + `curve_offset`, and realised models have an offset of 1. Other programs know nothing of it. On its way out a model
# is therefore advanced by one sample, unless asked otherwise, and an ordinary step is the curve.

# %%
print(f"curve_offset here: {model.curve_offset}, on the way out: {model.aligned().curve_offset}")
unaligned = model.step(samples + 1)
print("shifted by one sample:", np.allclose(unaligned[:, :, 1:], curves, rtol=0, atol=rounding * largest.max()))
compare("aligned, stepped here", model.aligned().step(samples))

# %% [markdown]
# ## SciPy

# %%
there = model.to_scipy()
steps = np.zeros_like(curves)
for i in range(curves.shape[1]):
    move = np.zeros((samples, curves.shape[1]))
    move[:, i] = 1.0
    _, answer, _ = scipy.signal.dlsim(there, move)
    steps[:, i] = answer.T
compare("SciPy", steps)
back = qormath.StateSpace.from_scipy(there)
print("matrices as they left:", all((x == y).all() for x, y in zip(back.arrays, model.aligned().arrays)))

# %% [markdown]
# ## Octave and MATLAB
#
# A `.mat` file holds a plain struct of matrices, names and sample time. Nothing has to be installed there to use it;
# `ss(model.A, model.B, model.C, model.D, model.dt)` makes an object of it where a control package is.

# %%
model.to_mat("wood_berry.mat")

script = """
load wood_berry.mat
samples = %d;
steps = zeros(rows(model.C), columns(model.B), samples);
for i = 1:columns(model.B)
  x = zeros(rows(model.A), 1);
  for k = 1:samples
    steps(:, i, k) = model.C * x + model.D(:, i);
    x = model.A * x + model.B(:, i);
  end
end
save -v7 wood_berry_steps.mat steps
save -v7 wood_berry_back.mat model
"""
if shutil.which("octave-cli"):
    subprocess.run(["octave-cli", "--norc", "--no-history", "--eval", script % samples], check=True)
    compare("Octave", scipy.io.loadmat("wood_berry_steps.mat")["steps"])
    back = qormath.StateSpace.from_mat("wood_berry_back.mat")
    print("matrices as they left:", all((x == y).all() for x, y in zip(back.arrays, model.aligned().arrays)))
else:
    print("Octave is not installed: left out")

# %% [markdown]
# ## python-control

# %%
try:
    import control
except ImportError:
    print("python-control is not installed: left out")
else:
    there = model.to_control()
    _, steps = control.step_response(there, T=np.arange(samples) * model.dt, squeeze=False)
    compare("python-control", steps)
    back = qormath.StateSpace.from_control(there)
    print("matrices as they left:", all((x == y).all() for x, y in zip(back.arrays, model.aligned().arrays)))

# %% [markdown]
# ## And home again
#
# A model that was made elsewhere, and is aligned, becomes curves like any other: here those of the model that has just
# come back.

# %%
home = qormath.FIRModel.from_system(qormath.StateSpace.from_mat("wood_berry.mat"), like=plant)
compare("from the .mat file", home.curves)
home.to_file("wood_berry_home.fir")
