"""Where the compiled part can be loaded."""

from __future__ import annotations

import importlib


def require_main() -> None:
    """It belongs to the main interpreter: in another one, loading it would wait for good."""
    for name in ("_interpreters", "_xxsubinterpreters"):
        try:
            interpreters = importlib.import_module(name)
        except ImportError:
            continue
        if interpreters.get_current() != interpreters.get_main():
            raise ImportError("kavelin works in the main interpreter only; this is a subinterpreter")
        return


require_main()
