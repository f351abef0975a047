"""The stub of the extension module says what the module has."""

import ast
import pathlib
import re
import types

import numpy as np
import pytest

import qormath
from qormath import _core

STUB = pathlib.Path(qormath.__file__).with_name("_core.pyi")
TREE = ast.parse(STUB.read_text(encoding="utf-8"))
FUNCTIONS = {node.name: node for node in TREE.body if isinstance(node, ast.FunctionDef)}

# What pybind11 calls in the signature of a bound function what the stub says. Texts may be bytes where they are names
# of files.
WORDS = {"_Array": "numpy.ndarray[numpy.float64]", "_System": "tuple", "_Curves": "dict", "_ReduceOptions": "dict",
         "int": "int", "float": "float", "bool": "bool", "str": "str", "bytes": "str"}
ARRAYS = {"_Array", "NDArray[np.complex128]"}


def bound():
    return {name for name in dir(_core) if isinstance(getattr(_core, name), types.BuiltinFunctionType)}


def test_the_stub_names_what_is_bound():
    classes = {node.name for node in TREE.body if isinstance(node, ast.ClassDef) and not node.name.startswith("_")}
    values = {node.target.id for node in TREE.body if isinstance(node, ast.AnnAssign)}
    public = {name for name in dir(_core) if not name.startswith("__")} | {"__version__"}
    assert set(FUNCTIONS) == bound() and len(FUNCTIONS) > 20
    assert set(FUNCTIONS) | classes | values == public


@pytest.mark.parametrize("name", sorted(FUNCTIONS))
def test_a_function_takes_and_gives_what_the_stub_says(name):
    said, result = re.match(rf"{name}\((.*)\) -> (.*)\n", getattr(_core, name).__doc__).groups()
    parameters = [part.split(": ")[1] for part in said.split(", ") if part]
    arguments = FUNCTIONS[name].args
    assert not (arguments.args or arguments.kwonlyargs or arguments.vararg or arguments.kwarg)
    assert [WORDS[ast.unparse(argument.annotation)] for argument in arguments.posonlyargs] == parameters
    returned = ast.unparse(FUNCTIONS[name].returns)
    if returned in ARRAYS:
        assert result == "numpy.ndarray"
    elif "| None" in returned:
        assert result == "object"
    elif returned in ("_Curves", "_Reduced"):
        assert result == "dict"
    elif returned == "bool":
        assert result == "bool"
    else:
        assert result == ("list" if returned.startswith("list") else "tuple")


def fields(name):
    (node,) = [node for node in TREE.body if isinstance(node, ast.ClassDef) and node.name == name]
    return [item.target.id for item in node.body if isinstance(item, ast.AnnAssign)]


def test_dictionaries_have_the_fields_that_the_stub_says(models):
    content = _core.read_model(bytes(models / "wood_berry.fir"))
    assert set(content) == set(fields("_Curves"))
    assert content["curves"].dtype == np.float64 and content["present"].dtype == np.bool_
    assert all(isinstance(text, bytes) for text in content["inputs"])
    options = {"order_choice": "coarse", "order": 0, "curve_tolerance": 1.0, "damping": 0.0, "gain_tolerance": 0.0,
               "clear_null_pairs": True, "progress": None}
    assert set(options) == set(fields("_ReduceOptions"))
    assert set(_core.reduce(content, options)) == set(fields("_Reduced"))
    refused = _core.reduce(content, {**options, "damping": 2.0})
    assert set(refused) == {"refusal", "warnings"} and refused["refusal"]


def test_failures_have_a_code_and_a_step():
    with pytest.raises(_core.Failure) as caught:
        _core.schur(np.full((2, 2), np.nan), 0)
    assert caught.value.args == (-1, "")
