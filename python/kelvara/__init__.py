"""kelvara: fast readers of reservoir-simulator grid and result files.

The readers live in :mod:`kelvara._kelvaraio`, in the scopes ``eclipse``, ``imex`` and
``mores``; the sinks they pour values into (feeders and builders) live in
:mod:`kelvara._ostrel`. ``_ostrel`` is imported first so that the reader module finds the
feeder types registered.
"""

from . import _ostrel
from ._ostrel import (
    Array1DBuilderDouble,
    Array1DBuilderFloat,
    Array1DBuilderInt,
    Array3DBuilderDouble,
    Array3DBuilderFloat,
    Array3DBuilderUChar,
    ArrayFeeder,
    CharVector,
    CompleteCornersBuilder,
)
from . import _kelvaraio
from ._kelvaraio import eclipse, imex, mores
from ._errors import FormatError
from ._api import EclipseFile, Keyword, open
from ._grid import Grid, open_grid

__version__ = "0.1.0"

__all__ = [
    "Array1DBuilderDouble",
    "Array1DBuilderFloat",
    "Array1DBuilderInt",
    "Array3DBuilderDouble",
    "Array3DBuilderFloat",
    "Array3DBuilderUChar",
    "ArrayFeeder",
    "CharVector",
    "CompleteCornersBuilder",
    "EclipseFile",
    "FormatError",
    "Grid",
    "Keyword",
    "eclipse",
    "imex",
    "mores",
    "open",
    "open_grid",
]
