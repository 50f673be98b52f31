"""What the plugins bring."""

from __future__ import annotations

import os
from importlib import resources
from typing import Sequence

from . import _kavelin
from ._names import names


def filters(plugins: str | os.PathLike[str] | Sequence[str | os.PathLike[str]] = ()) -> dict[str, str]:
    """The filter types that there are, and when to use each; empty where a plugin of yours brings the type.

    plugins: names or paths of plugins to load, in addition to those that come with kavelin and those in the folders of
        KAVELIN_PLUGIN_PATH.
    """
    lines = resources.files(__package__).joinpath("filters.txt").read_text(encoding="utf-8").splitlines()
    uses = dict(line.split(": ", 1) for line in lines)
    return {type: uses.get(type, "") for type in _kavelin.types(names(plugins))}
