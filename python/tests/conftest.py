import os
import pathlib

import pytest


@pytest.fixture
def models() -> pathlib.Path:
    return pathlib.Path(os.environ["QORMATH_EXAMPLE_MODELS"])


@pytest.fixture
def program() -> str:
    return os.environ["QORMATH_PROGRAM"]
