# %% [markdown]
# # Choosing an order
#
# How many states does a model need? As many as it takes for the curves to be right, to the accuracy that matters; more
# would model what identification left as noise. There are three ways to say it: a tolerance of the curves, one of
# three suggestions, or a number.

# %%
import pathlib

import matplotlib.pyplot as plt
import numpy as np

import qormath
from qormath import plot

# A notebook runs in the folder of this file; a script may run anywhere.
models = pathlib.Path(globals().get("__file__", "notebook")).resolve().parent.parent / "models"
plant = qormath.FIRModel.from_file(models / "heavy_oil_fractionator.fir")

# %% [markdown]
# ## What the singular values say
#
# A Hankel singular value measures how much of the way from the inputs to the outputs goes through a state. Where they
# fall steeply, what follows is of little use. The lines are the cuts of the orders that the library suggests.

# %%
realised = qormath.realise(plant)
minimal, report = qormath.minimal_realization(realised.model)
print(f"{realised.model.states} states realised, {minimal.states} of them minimal")
plt.figure()
plot.hankel(minimal, axes=plt.gca())

# %% [markdown]
# ## What the curves say
#
# The error is what counts in the end. For each order, the largest difference of a curve from that of the plant, in
# percent of the output's largest coefficient:

# %%
orders = [8, 12, 16, 20, 24, 28, 32, 36, 40]
errors = {}
for order in orders:
    result = qormath.reduce(plant, order=order)
    errors[order] = result.curve_error_percent.value
    print(f"order {order:3}: {errors[order]:8.3f} %")

plt.figure()
plot.error_against_order(plant, orders, axes=plt.gca())

# %% [markdown]
# ## The suggestions, and the tolerance
#
# The suggestions look at the singular values alone. A tolerance looks at the curves, and finds the smallest order that
# keeps it.

# %%
choices = {}
for word in ("coarse", "middle", "fine"):
    choices[word] = qormath.reduce(plant, order=word)
for tolerance in (10.0, 3.0, 1.0):
    choices[f"within {tolerance:g} %"] = qormath.reduce(plant, curve_tolerance=tolerance)

for name, result in choices.items():
    print(f"{name:12} {result.order_reached:3} states, curves within {result.curve_error_percent.value:6.3f} %, "
          f"gains within {result.gain_error.value:.0e}")

# %% [markdown]
# Gains are right at every order, because the road restores them after the reduction: what a smaller model loses is
# shape, not steady state.
#
# ## Where the error is
#
# The pair with the largest error, as the plant has it and as three models do:

# %%
worst = choices["coarse"].curve_error_percent
print(f"largest at output {worst.output}, input {worst.input}")
time = np.arange(plant.coefficient_count + 1) * plant.sample_time
figure, axes = plt.subplots(layout="constrained")
axes.plot(time, plant.curve(worst.output, worst.input), color="black", label="plant")
for name, style in (("coarse", "--"), ("middle", "-."), ("within 1 %", ":")):
    axes.plot(time, choices[name].curves.curve(worst.output, worst.input), style, label=name)
axes.set_xlabel("time, s")
axes.set_ylabel(f"{worst.output} to {worst.input}")
axes.legend()
plt.show()
