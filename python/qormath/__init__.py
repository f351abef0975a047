"""QorMath: step-response models of industrial processes as small state-space models, and the numerics beneath.

    plant = qormath.FIRModel.from_file("plant.fir")
    result = qormath.reduce(plant)
    result.curves.to_file("small.fir")
    result.model.to_control()

Arrays are NumPy's, times are in seconds, matrices of gains are (outputs, inputs). Every exception is a QorMathError.
"""

from ._core import __version__
from ._errors import ConvergenceError, DimensionError, FileError, LimitError, QorMathError, SingularError
from ._matrices import (StructureResult, care, controllability, dare, detectability, dlyap, expm, logm, lyap,
                        observability, schur, sylvester)
from .conditioning import (MinimalReport, balance, minimal_realization, model_reduction, remove_ramps, remove_ringers,
                           remove_unstable, retain_gain, shrink)
from .fir_model import FIRModel
from .pipeline import PairError, Realisation, ReduceResult, Ringer, Selection, pairing, realise, reduce
from .state_space import StateSpace, c2d, d2c, resample

__all__ = [
    "ConvergenceError", "DimensionError", "FIRModel", "FileError", "LimitError", "MinimalReport", "PairError",
    "QorMathError", "Realisation", "ReduceResult", "Ringer", "Selection", "SingularError", "StateSpace",
    "StructureResult", "__version__", "balance", "c2d", "care", "controllability", "d2c", "dare", "detectability",
    "dlyap", "expm", "logm", "lyap", "minimal_realization", "model_reduction", "observability", "pairing", "realise",
    "reduce", "remove_ramps", "remove_ringers", "remove_unstable", "resample", "retain_gain", "schur", "shrink",
    "sylvester",
]
