from typing import Any

__version__: str

class Failure(Exception): ...

def __getattr__(name: str) -> Any: ...
