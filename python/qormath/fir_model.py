"""Step-response models and their files."""

from __future__ import annotations

import dataclasses
import os
import tempfile
from collections.abc import Sequence
from typing import Any

import numpy as np

from . import _core
from ._arrays import Array
from ._errors import DimensionError, FileError, LimitError, call
from .state_space import StateSpace, _names

_COUNT_UNITS = (30, 45, 75, 105)
_LONGEST_TEXT = 12
_LARGEST_SINGLE = float(np.finfo(np.float32).max)
_SMALLEST_SINGLE = float(np.finfo(np.float32).tiny)


def _decoded(text: bytes) -> str:
    try:
        return text.decode("utf-8")
    except UnicodeDecodeError:
        return text.decode("latin-1")


@dataclasses.dataclass(frozen=True, eq=False)
class FIRModel:
    """A plant as a table of step-response curves.

    Parameters
    ----------
    curves : (outputs, inputs, N + 1) array; element 0 of a curve is its start, N coefficients follow, the last of
        which is the steady-state gain. On a ramp output the last step is what counts as the gain.
    horizon : time span of a curve in whole seconds; the sample time is horizon / N
    inputs, outputs : names
    ramps : (outputs,) booleans, true for an output that keeps rising
    present : (outputs, inputs) booleans, false where there is no curve; the values there are zeros
    input_descriptors, output_descriptors : texts that say what they are
    """

    curves: Array
    horizon: int
    inputs: tuple[str, ...] | None = None
    outputs: tuple[str, ...] | None = None
    ramps: Array | None = None
    present: Array | None = None
    input_descriptors: tuple[str, ...] | None = None
    output_descriptors: tuple[str, ...] | None = None

    def __post_init__(self) -> None:
        curves = np.ascontiguousarray(self.curves, dtype=float)
        if curves.ndim != 3 or curves.shape[2] < 2:
            raise DimensionError("argument curves: expected shape (outputs, inputs, coefficients + 1), "
                                 f"got {curves.shape}")
        p, m, _ = curves.shape
        ramps = np.zeros(p, bool) if self.ramps is None else np.array(self.ramps, bool)
        present = np.ones((p, m), bool) if self.present is None else np.array(self.present, bool)
        if ramps.shape != (p,):
            raise DimensionError(f"argument ramps: expected shape {(p,)}, got {ramps.shape}")
        if present.shape != (p, m):
            raise DimensionError(f"argument present: expected shape {(p, m)}, got {present.shape}")
        if int(self.horizon) != self.horizon or not 0 < self.horizon <= np.iinfo(np.int32).max:
            raise LimitError(f"argument horizon: has to be a whole number of seconds above 0, not {self.horizon}")
        if present.all() is False or not present.all():
            curves = np.where(present[:, :, None], curves, 0.0)
        inputs = _names("inputs", self.inputs, "U", m)
        outputs = _names("outputs", self.outputs, "Y", p)
        values = {
            "curves": curves, "ramps": ramps, "present": present, "horizon": int(self.horizon), "inputs": inputs,
            "outputs": outputs,
            "input_descriptors": _names("input_descriptors", self.input_descriptors or inputs, "", m),
            "output_descriptors": _names("output_descriptors", self.output_descriptors or outputs, "", p),
        }
        for name, value in values.items():
            object.__setattr__(self, name, value)

    # ------------------------------------------------------------ facts

    @property
    def coefficient_count(self) -> int:
        """Coefficients of a curve."""
        return self.curves.shape[2] - 1

    @property
    def sample_time(self) -> float:
        """Seconds between two elements of a curve."""
        return self.horizon / self.coefficient_count

    def gain(self) -> Array:
        """Steady-state gains (outputs, inputs); on a ramp output the rise in a sample."""
        last = self.curves[:, :, -1]
        return np.where(self.ramps[:, None], last - self.curves[:, :, -2], last)

    def curve(self, output: int | str, input: int | str) -> Array:
        """The curve of an output and an input, by index or name."""
        def index(names: Sequence[str], key: int | str) -> int:
            if isinstance(key, str):
                if key not in names:
                    raise LimitError(f"there is no {key!r} among {', '.join(names)}")
                return names.index(key)
            return key

        return self.curves[index(self.outputs, output), index(self.inputs, input)]

    def to_frame(self) -> Any:
        """A pandas frame: a row for each sample, indexed by time in seconds, a column for each (output, input)."""
        import pandas

        columns = pandas.MultiIndex.from_product([self.outputs, self.inputs], names=["output", "input"])
        time = pandas.Index(np.arange(self.curves.shape[2]) * self.sample_time, name="time")
        # A copy: what is written into the frame is no business of the model.
        values = self.curves.reshape(-1, self.curves.shape[2]).T.copy()
        return pandas.DataFrame(values, index=time, columns=columns)

    def __repr__(self) -> str:
        return (f"<FIRModel: {len(self.inputs)} inputs, {len(self.outputs)} outputs, "
                f"{self.coefficient_count} coefficients, {self.horizon} s>")

    # ------------------------------------------------------------ the library's form

    def _dictionary(self) -> dict[str, Any]:
        texts = ("inputs", "outputs", "input_descriptors", "output_descriptors")
        return {"curves": self.curves, "present": self.present, "ramps": self.ramps, "horizon": self.horizon,
                **{key: [text.encode("utf-8") for text in getattr(self, key)] for key in texts}}

    @classmethod
    def _from_dictionary(cls, content: dict[str, Any]) -> FIRModel:
        texts = ("inputs", "outputs", "input_descriptors", "output_descriptors")
        return cls(content["curves"], content["horizon"], ramps=content["ramps"], present=content["present"],
                   **{key: tuple(map(_decoded, content[key])) for key in texts})

    # ------------------------------------------------------------ files

    @classmethod
    def from_file(cls, path: str | os.PathLike[str]) -> FIRModel:
        """The model of a model file.

        Raises
        ------
        FileError
            The file cannot be read, or is no model file; `qormath info` names the line.
        """
        name = os.fspath(path)
        try:
            with open(name, "rb"):
                pass
        except OSError as error:
            raise FileError(f"{name}: cannot be read: {error.strerror}") from None
        content = call(_core.read_model, os.fsencode(name), failure=FileError, says=f"{name}: cannot be read")
        if content is None:
            raise FileError(f"{name}: is not a model file, or is damaged")
        if content["curves"].shape[2] < 2 or content["horizon"] <= 0:
            raise FileError(f"{name}: has curves without coefficients, or a horizon that is not above 0")
        return cls._from_dictionary(content)

    def to_file(self, path: str | os.PathLike[str]) -> None:
        """A model file, as a whole or not at all. Coefficients are held to seven significant digits, gains to all;
        names come back in upper case.

        Raises
        ------
        LimitError
            The file cannot hold the model: a count of coefficients that is not a multiple of 30, 45, 75 or 105, a
            text of more than 12 bytes or with control characters, a value beyond single precision.
        FileError
            The file cannot be written.
        """
        self._require_storable()
        dictionary = self._dictionary()
        # What single precision cannot tell from zero is no curve.
        dictionary["present"] = self.present & (np.abs(self.curves).max(axis=2, initial=0.0) >= _SMALLEST_SINGLE)
        name = os.fspath(path)
        try:
            with tempfile.TemporaryDirectory(prefix=".qormath-", dir=os.path.dirname(name) or ".") as folder:
                partial = os.path.join(folder, "model.fir")
                if not call(_core.write_model, dictionary, os.fsencode(partial), failure=LimitError,
                            says=f"{name}: cannot be written"):
                    raise FileError(f"{name}: cannot be written")
                os.replace(partial, name)
        except FileError:
            raise
        except OSError as error:
            raise FileError(f"{name}: cannot be written: {error.strerror}") from None

    def _require_storable(self) -> None:
        count = self.coefficient_count
        if count < _COUNT_UNITS[0] or all(count % unit for unit in _COUNT_UNITS):
            raise LimitError(f"a model file has curves of a multiple of 30, 45, 75 or 105 coefficients, not {count}")
        for key in ("inputs", "outputs", "input_descriptors", "output_descriptors"):
            for text in getattr(self, key):
                if len(text.encode("utf-8")) > _LONGEST_TEXT:
                    raise LimitError(f"{key}: {text!r} is longer than the {_LONGEST_TEXT} bytes that a model file holds")
                if any(ord(character) < 32 for character in text):
                    raise LimitError(f"{key}: {text!r} has control characters")
        if not (np.abs(self.curves) <= _LARGEST_SINGLE).all():
            raise LimitError("curves: a value is not finite, or beyond single precision")

    # ------------------------------------------------------------ simulation

    @classmethod
    def from_system(cls, system: StateSpace, like: FIRModel) -> FIRModel:
        """The step-response curves of a discrete model, on the samples, with the names and flags, of another model."""
        if not system.is_discrete:
            raise LimitError("from_system: the system is continuous; take c2d first")
        if system.D.shape != like.curves.shape[:2]:
            raise DimensionError(f"from_system: the system has a gain of shape {system.D.shape}, "
                                 f"the model {like.curves.shape[:2]}")
        if not abs(system.dt - like.sample_time) <= 1e-9 * like.sample_time:
            raise LimitError(f"from_system: the system has a sample time of {system.dt} s, the model {like.sample_time} s")
        content = call(_core.simulate, system._record(), like._dictionary(), failure=DimensionError,
                       says="from_system: the system does not fit")
        if system.curve_offset == 0:
            content["curves"][:, :, 1:] = content["curves"][:, :, :-1].copy()
            content["curves"][:, :, 0] = system.D
        return cls._from_dictionary(content)
