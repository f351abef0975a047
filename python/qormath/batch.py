"""Reduces many models on a cluster: python -m qormath.batch MODEL.fir ... --out-dir DIR

For each model, DIR gets the reduced model file and its system file (NAME.fir, NAME.json), each as a whole or not at all.
One bad file does not stop the rest; the exit status is 1 if any failed. A model whose worker dies is given to another
one. Results, rules and summary are those of `qormath reduce --out-dir`, to the last bit. Needs distributed (dask).
"""

from __future__ import annotations

import argparse
import contextlib
import os
import pathlib
import sys
from collections.abc import Iterator, Sequence
from typing import Any, NamedTuple

from ._errors import QorMathError
from .fir_model import FIRModel
from .pipeline import reduce

# A model that has taken down this many workers is given up.
_DEATHS_ALLOWED = 3
# One process a core, each with one thread of BLAS: more would fight for the cores.
_ONE_THREAD = {"OPENBLAS_NUM_THREADS": "1", "OMP_NUM_THREADS": "1"}


class Outcome(NamedTuple):
    """What became of one model."""

    model: str
    states: int | None = None
    curve_error_percent: float | None = None
    failure: str = ""
    is_skipped: bool = False

    @property
    def word(self) -> str:
        """'reduced', 'skipped' or 'failed'."""
        return "failed" if self.failure else "skipped" if self.is_skipped else "reduced"


def reduce_file(model: str, out_dir: str, options: dict[str, Any], aligned: bool = False) -> Outcome:
    """Reduces one model file into a folder. A failure is an outcome, not an exception."""
    try:
        result = reduce(FIRModel.from_file(model), **options)
        target = _target(model, out_dir)
        # The model file comes last: where it stands, the other does too.
        (result.model.aligned() if aligned else result.model).to_json(target.with_suffix(".json"))
        result.curves.to_file(target)
    except QorMathError as error:
        return Outcome(model, failure=str(error))
    return Outcome(model, result.order_reached,
                   None if result.curve_error_percent is None else result.curve_error_percent.value)


def reduce_files(models: Sequence[str], out_dir: str, client: Any, options: dict[str, Any] | None = None,
                 resume: bool = False, progress: Any = None, aligned: bool = False) -> list[Outcome]:
    """Reduces model files on the workers of a distributed.Client, which see the same folders.

    Parameters
    ----------
    options : of qormath.reduce
    resume : whether a model whose result stands in out_dir already is skipped
    progress : called with each outcome as it comes
    aligned : whether the system files have a curve offset of 0

    Returns the outcomes in the order of the models.
    """
    from distributed import as_completed

    outcomes: dict[str, Outcome] = {}
    left = []
    for model in models:
        if resume and _target(model, out_dir).exists():
            outcomes[model] = Outcome(model, is_skipped=True)
        else:
            left.append(model)
    futures = {client.submit(reduce_file, model, out_dir, options or {}, aligned, pure=False): model for model in left}
    for outcome in outcomes.values():
        if progress:
            progress(outcome)
    for future in as_completed(futures) if futures else ():
        model = futures[future]
        error = future.exception()
        outcomes[model] = future.result() if error is None else Outcome(model, failure=f"{type(error).__name__}: {error}")
        if progress:
            progress(outcomes[model])
    return [outcomes[model] for model in models]


def _target(model: str, out_dir: str) -> pathlib.Path:
    return pathlib.Path(out_dir) / f"{pathlib.Path(model).stem}.fir"


@contextlib.contextmanager
def _client(arguments: argparse.Namespace) -> Iterator[Any]:
    """A client of the cluster told, or of one of this machine's processes, which ends with it. Nothing is started if
    nothing is left to do."""
    if arguments.resume and all(_target(model, arguments.out_dir).exists() for model in arguments.models):
        yield None
        return
    import dask
    import distributed

    if arguments.scheduler:
        with distributed.Client(arguments.scheduler) as client:
            yield client
        return
    dask.config.set({"distributed.scheduler.allowed-failures": _DEATHS_ALLOWED,
                     "distributed.nanny.environ": _ONE_THREAD, "distributed.nanny.pre-spawn-environ": _ONE_THREAD})
    with distributed.LocalCluster(n_workers=min(arguments.jobs, len(arguments.models)), threads_per_worker=1,
                                  processes=True, host="127.0.0.1", dashboard_address=None) as cluster:
        with distributed.Client(cluster) as client:
            yield client


def _order(text: str) -> int | str:
    return text if text in ("coarse", "middle", "fine") else int(text)


def _parse(arguments: Sequence[str] | None) -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="python -m qormath.batch", description="Reduces many models on a cluster.")
    parser.add_argument("models", nargs="+", metavar="MODEL.fir")
    parser.add_argument("--out-dir", required=True, metavar="DIR")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, metavar="N", help="processes of a local cluster")
    parser.add_argument("--scheduler", metavar="ADDRESS", help="of a running cluster, such as tcp://host:8786")
    parser.add_argument("--resume", action="store_true", help="skip models whose results stand in DIR")
    parser.add_argument("--order", type=_order, metavar="N|coarse|middle|fine")
    parser.add_argument("--curve-tolerance", type=float, default=1.0, metavar="PERCENT")
    parser.add_argument("--keep-null-pairs", action="store_true")
    parser.add_argument("--aligned", action="store_true", help="write systems with a curve offset of 0")
    parser.add_argument("--damping", type=float, default=0.0, metavar="X")
    parser.add_argument("--gain-tolerance", type=float, default=0.0, metavar="PERCENT")
    parsed = parser.parse_args(arguments)
    targets = [_target(model, parsed.out_dir).name for model in parsed.models]
    twice = sorted({name for name in targets if targets.count(name) > 1})
    if twice:
        parser.error(f"two models would both be written as {twice[0]}")
    originals = {os.path.realpath(model) for model in parsed.models}
    for model in parsed.models:
        target = _target(model, parsed.out_dir)
        for result in (target, target.with_suffix(".json")):
            if os.path.realpath(result) in originals:
                parser.error(f"--out-dir: {result} would replace a model")
    if parsed.jobs < 1:
        parser.error("--jobs: has to be above 0")
    return parsed


def _name(outcome: Outcome) -> str:
    """What a terminal can take of the name of the model's file."""
    name = os.fsencode(pathlib.Path(outcome.model).name).decode("utf-8", "replace")
    return "".join("?" if ord(character) < 32 or 127 <= ord(character) < 160 else character for character in name)


def _line(outcome: Outcome) -> str:
    return f"{_name(outcome)}: {outcome.failure or outcome.word}"


def _summary(outcomes: Sequence[Outcome]) -> str:
    """The table that `qormath reduce --out-dir` prints, too."""
    rows = [("model", "states", "curve error, %", "outcome")]
    for outcome in outcomes:
        states = "-" if outcome.states is None else str(outcome.states)
        error = "-" if outcome.curve_error_percent is None else f"{outcome.curve_error_percent:.3g}"
        rows.append((_name(outcome), states, error, outcome.word))
    widths = [max(map(len, column)) for column in zip(*rows)]
    lines = [f"{row[0]:<{widths[0]}}  " + "  ".join(f"{cell:>{width}}" for cell, width in zip(row[1:], widths[1:]))
             for row in rows]
    words = [outcome.word for outcome in outcomes]
    counts = ", ".join(f"{words.count(word)} {word}" for word in ("reduced", "skipped", "failed"))
    return "\n".join([*lines, "", counts])


def main(arguments: Sequence[str] | None = None) -> int:
    """The command."""
    parsed = _parse(arguments)
    try:
        os.makedirs(parsed.out_dir, exist_ok=True)
    except OSError as error:
        print(f"{parsed.out_dir}: cannot be made: {error.strerror}", file=sys.stderr)
        return 1
    options = {"order": parsed.order, "curve_tolerance": parsed.curve_tolerance, "damping": parsed.damping,
               "gain_tolerance": parsed.gain_tolerance, "clear_null_pairs": not parsed.keep_null_pairs}
    done = 0

    def progress(outcome: Outcome) -> None:
        nonlocal done
        done += 1
        print(f"{done}/{len(parsed.models)}  {_line(outcome)}", file=sys.stderr, flush=True)

    with _client(parsed) as client:
        outcomes = reduce_files(parsed.models, parsed.out_dir, client, options, parsed.resume, progress,
                                parsed.aligned)
    print(_summary(outcomes))
    return 1 if any(outcome.failure for outcome in outcomes) else 0


if __name__ == "__main__":
    # The functions of __main__ mean nothing to the workers; those of the module by its name do.
    from qormath.batch import main as run

    sys.exit(run())
