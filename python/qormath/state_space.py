"""Models in state space."""

from __future__ import annotations

import dataclasses
import json
import os
from collections.abc import Sequence
from typing import Any

import numpy as np

from . import _core
from ._arrays import Array, matrix, one_of, positive
from ._errors import ConvergenceError, DimensionError, FileError, LimitError, SingularError, call

_METHODS = {"zoh": 0, "tustin": 1, "bilinear": 1}


def _names(name: str, given: Sequence[str] | None, prefix: str, count: int) -> tuple[str, ...]:
    names = tuple(f"{prefix}{k + 1}" for k in range(count)) if given is None else tuple(map(str, given))
    if len(names) != count:
        raise DimensionError(f"argument {name}: expected {count} names, got {len(names)}")
    return names


@dataclasses.dataclass(frozen=True, eq=False)
class StateSpace:
    """A linear model, x(k+1) = A x(k) + B u(k), or x' = A x + B u, and y = C x + D u.

    Parameters
    ----------
    A, B, C, D : arrays of shapes (n, n), (n, m), (p, n), (p, m)
    dt : sample time in seconds; 0 for a continuous model
    inputs, outputs : names
    curve_offset : 0 or 1. Element k of a step-response curve that belongs to the model is its step response at sample
        k + curve_offset. Realisations have 1; see aligned().
    """

    A: Array
    B: Array
    C: Array
    D: Array
    dt: float
    inputs: tuple[str, ...] | None = None
    outputs: tuple[str, ...] | None = None
    curve_offset: int = 0

    def __post_init__(self) -> None:
        d = matrix("D", self.D)
        p, m = d.shape
        a = matrix("A", self.A)
        n = a.shape[0]
        values = {
            "A": matrix("A", a, n, n),
            "B": matrix("B", self.B, n, m),
            "C": matrix("C", self.C, p, n),
            "D": d,
            "dt": 0.0 if self.dt == 0 else positive("dt", self.dt),
            "inputs": _names("inputs", self.inputs, "u", m),
            "outputs": _names("outputs", self.outputs, "y", p),
        }
        if self.curve_offset not in (0, 1):
            raise LimitError(f"argument curve_offset: has to be 0 or 1, not {self.curve_offset!r}")
        for name, value in values.items():
            object.__setattr__(self, name, value)

    # ------------------------------------------------------------ facts

    @property
    def states(self) -> int:
        """Number of states."""
        return self.A.shape[0]

    @property
    def is_discrete(self) -> bool:
        """Whether the model is sampled."""
        return self.dt != 0.0

    @property
    def arrays(self) -> tuple[Array, Array, Array, Array]:
        """A, B, C, D."""
        return self.A, self.B, self.C, self.D

    def _record(self) -> tuple[Any, ...]:
        return (*self.arrays, self.is_discrete, self.dt)

    def with_arrays(self, arrays: Sequence[Array], **changes: Any) -> StateSpace:
        """The same names and sample time with other matrices."""
        a, b, c, d = arrays
        return dataclasses.replace(self, A=a, B=b, C=c, D=d, **changes)

    def poles(self) -> Array:
        """Eigenvalues of A, complex."""
        return np.linalg.eigvals(self.A).astype(complex)

    def gain(self) -> Array:
        """Steady-state gain, (p, m).

        Raises
        ------
        SingularError
            The model has an integrator, and so no steady state.
        """
        return call(_core.gain, self._record(), failure=SingularError,
                    says="gain: the model has a pole at the limit of stability, and so no steady state")

    # ------------------------------------------------------------ connections

    def _require_same_time(self, other: StateSpace) -> None:
        if self.dt != other.dt:
            raise LimitError(f"the models have different sample times, {self.dt} and {other.dt}")
        if self.curve_offset or other.curve_offset:
            raise LimitError("a model with a curve offset is not connected; take aligned() first")

    def series(self, other: StateSpace) -> StateSpace:
        """Other first, then this model: y = self(other(u)), as self * other."""
        self._require_same_time(other)
        if self.D.shape[1] != other.D.shape[0]:
            raise DimensionError(f"series: the left model has {self.D.shape[1]} inputs, "
                                 f"the right one {other.D.shape[0]} outputs")
        arrays = call(_core.connect, self._record(), other._record(), True, failure=DimensionError,
                      says="series: the models do not fit")
        return self.with_arrays(arrays, inputs=other.inputs)

    def parallel(self, other: StateSpace) -> StateSpace:
        """The sum of both outputs, as self + other."""
        self._require_same_time(other)
        if self.D.shape != other.D.shape:
            raise DimensionError(f"parallel: gains of shapes {self.D.shape} and {other.D.shape}")
        arrays = call(_core.connect, self._record(), other._record(), False, failure=DimensionError,
                      says="parallel: the models do not fit")
        return self.with_arrays(arrays)

    __mul__ = series
    __add__ = parallel

    # ------------------------------------------------------------ time

    def simulate(self, u: Any, x0: Any = None) -> Array:
        """Outputs (samples, p) for the inputs u (samples, m) of a discrete model, from the state x0 or from rest."""
        if not self.is_discrete:
            raise LimitError("simulate: the model is continuous; take c2d first")
        u = matrix("u", u, cols=self.D.shape[1])
        x = np.zeros(self.states) if x0 is None else np.asarray(x0, dtype=float)
        if x.shape != (self.states,):
            raise DimensionError(f"argument x0: expected shape {(self.states,)}, got {x.shape}")
        y = u @ self.D.T
        moves = u @ self.B.T
        for k in range(u.shape[0]):
            y[k] += self.C @ x
            x = self.A @ x + moves[k]
        return y

    def step(self, samples: int) -> Array:
        """Step responses (p, m, samples) of a discrete model, from sample 0 on."""
        responses = np.empty((*self.D.shape, samples))
        for j in range(self.D.shape[1]):
            u = np.zeros((samples, self.D.shape[1]))
            u[:, j] = 1.0
            responses[:, j, :] = self.simulate(u).T
        return responses

    def aligned(self) -> StateSpace:
        """The model whose ordinary step response is the curve: advanced by a sample where curve_offset is 1."""
        if self.curve_offset == 0:
            return self
        arrays = call(_core.advanced, self._record(), failure=DimensionError, says="aligned: operands do not fit")
        return self.with_arrays(arrays, curve_offset=0)

    # ------------------------------------------------------------ other programs

    def to_control(self, aligned: bool = True) -> Any:
        """A python-control StateSpace. It is advanced to a curve offset of 0 unless aligned is False, so that a step
        there gives the curve of the file."""
        import control

        model = self.aligned() if aligned else self
        return control.StateSpace(*model.arrays, model.dt, inputs=list(model.inputs), outputs=list(model.outputs))

    @classmethod
    def from_control(cls, system: Any) -> StateSpace:
        """The model of a python-control StateSpace. A dt of True, or None, says no time: it is refused."""
        if system.dt is None or system.dt is True:
            raise LimitError("argument system: says no sample time; set dt to seconds, or to 0 for a continuous model")
        return cls(system.A, system.B, system.C, system.D, float(system.dt),
                   getattr(system, "input_labels", None), getattr(system, "output_labels", None))

    def to_scipy(self, aligned: bool = True) -> Any:
        """A scipy.signal.StateSpace, continuous or discrete; aligned as in to_control."""
        import scipy.signal

        model = self.aligned() if aligned else self
        return scipy.signal.StateSpace(*model.arrays, **({"dt": model.dt} if model.is_discrete else {}))

    @classmethod
    def from_scipy(cls, system: Any) -> StateSpace:
        """The model of a scipy.signal.StateSpace."""
        if system.dt is True:
            raise LimitError("argument system: says no sample time; set dt to seconds")
        return cls(system.A, system.B, system.C, system.D, float(system.dt or 0.0))

    def to_mat(self, path: str | os.PathLike[str], name: str = "model", aligned: bool = True) -> None:
        """A .mat file with a plain struct of A, B, C, D, dt, inputs, outputs and curve_offset, for MATLAB and Octave."""
        import scipy.io

        model = self.aligned() if aligned else self
        fields = {"A": model.A, "B": model.B, "C": model.C, "D": model.D, "dt": model.dt,
                  "inputs": np.array(model.inputs, dtype=object), "outputs": np.array(model.outputs, dtype=object),
                  "curve_offset": float(model.curve_offset)}
        try:
            scipy.io.savemat(path, {name: fields})
        except OSError as error:
            raise FileError(f"{path}: cannot be written: {error.strerror or error}") from None

    @classmethod
    def from_mat(cls, path: str | os.PathLike[str], name: str = "model") -> StateSpace:
        """The model of such a struct."""
        import scipy.io

        try:
            content = scipy.io.loadmat(path, squeeze_me=False)
        except (OSError, ValueError, NotImplementedError) as error:
            raise FileError(f"{path}: cannot be read as a .mat file: {error}") from None
        if name not in content or content[name].dtype.names is None:
            raise FileError(f"{path}: has no struct {name!r}")
        struct = content[name][0, 0]
        missing = [field for field in ("A", "B", "C", "D", "dt") if field not in struct.dtype.names]
        if missing:
            raise FileError(f"{path}: the struct {name!r} has no field {missing[0]!r}")

        def texts(field: str) -> list[str] | None:
            if field not in struct.dtype.names:
                return None
            return [str(cell.item()) if cell.size else "" for cell in struct[field].ravel()]

        offset = int(struct["curve_offset"].item()) if "curve_offset" in struct.dtype.names else 0
        return cls(struct["A"], struct["B"], struct["C"], struct["D"], float(struct["dt"].item()), texts("inputs"),
                   texts("outputs"), offset)

    def to_json(self, path: str | os.PathLike[str]) -> None:
        """A system file, as the program qormath reads and writes them. Numbers come back bit by bit."""
        content: dict[str, Any] = {"format": "qormath-system", "formatVersion": 1}
        content.update({key: getattr(self, key).tolist() for key in "ABCD"})
        content.update(states=self.states, inputCount=self.D.shape[1], outputCount=self.D.shape[0], sampleTime=self.dt,
                       type="discrete" if self.is_discrete else "continuous", inputs=list(self.inputs),
                       outputs=list(self.outputs), curveOffset=self.curve_offset)
        partial = f"{os.fspath(path)}.part"
        try:
            with open(partial, "w", encoding="utf-8") as file:
                json.dump(content, file, ensure_ascii=False)
                file.write("\n")
            os.replace(partial, path)
        except OSError as error:
            raise FileError(f"{path}: cannot be written: {error.strerror}") from None

    @classmethod
    def from_json(cls, path: str | os.PathLike[str]) -> StateSpace:
        """The model of a system file."""
        try:
            with open(path, encoding="utf-8") as file:
                content = json.load(file)
        except OSError as error:
            raise FileError(f"{path}: cannot be read: {error.strerror}") from None
        except ValueError as error:
            raise FileError(f"{path}: is not a system file: {error}") from None
        if not isinstance(content, dict) or content.get("format") != "qormath-system":
            raise FileError(f"{path}: is not a system file: it has no format \"qormath-system\"")
        try:
            n, m, p = content["states"], content["inputCount"], content["outputCount"]
            shapes = {"A": (n, n), "B": (n, m), "C": (p, n), "D": (p, m)}
            arrays = [np.array(content[key], dtype=float).reshape(shape) for key, shape in shapes.items()]
            dt = content["sampleTime"] if content["type"] == "discrete" else 0.0
            return cls(*arrays, dt, content["inputs"], content["outputs"], content["curveOffset"])
        except (KeyError, TypeError, ValueError) as error:
            raise FileError(f"{path}: is not a system file: {error}") from None

    def __repr__(self) -> str:
        time = f"dt={self.dt:g} s" if self.is_discrete else "continuous"
        return f"<StateSpace: {self.states} states, {self.D.shape[1]} inputs, {self.D.shape[0]} outputs, {time}>"


def _convert(way: str, model: StateSpace, time: float, new_time: float, method: str, says: str, dt: float) -> StateSpace:
    kind = one_of("method", method, _METHODS)
    model = model.aligned()
    arrays = call(_core.convert, way, model._record(), time, new_time, kind, failure=ConvergenceError,
                  says=f"{way}: {says}")
    return model.with_arrays(arrays, dt=dt)


def c2d(model: StateSpace, dt: float, method: str = "zoh") -> StateSpace:
    """A continuous model, sampled every dt seconds, by zero-order hold ('zoh') or Tustin's rule ('tustin')."""
    if model.is_discrete:
        raise LimitError("c2d: the model is discrete already; resample gives it another sample time")
    dt = positive("dt", dt)
    return _convert("c2d", model, dt, dt, method, "the model has a pole that the conversion cannot carry", dt)


def d2c(model: StateSpace, method: str = "zoh") -> StateSpace:
    """A discrete model in continuous time; undoes c2d. With zero-order hold each negative real pole adds a state."""
    if not model.is_discrete:
        raise LimitError("d2c: the model is continuous already")
    return _convert("d2c", model, model.dt, model.dt, method,
                    "the model has a pole at 0, or at -1 with Tustin's rule, or its Schur form failed", 0.0)


def resample(model: StateSpace, dt: float, method: str = "zoh") -> StateSpace:
    """A discrete model at another sample time."""
    if not model.is_discrete:
        raise LimitError("resample: the model is continuous; c2d samples it")
    dt = positive("dt", dt)
    return _convert("resample", model, model.dt, dt, method, "the model has a pole that the conversion cannot carry", dt)
