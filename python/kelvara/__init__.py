"""kelvara: fast readers of reservoir-simulator grid and result files.

The readers live in :mod:`kelvara._kelvaraio`, in the scopes ``eclipse``, ``imex`` and
``mores``; the sinks they pour values into (feeders and builders) live in
:mod:`kelvara._ostrel`. ``_ostrel`` is imported first so that the reader module finds the
feeder types registered. The numeric core's arrays are :class:`Array`; its failed checks raise
:class:`PreconditionError`, :class:`PostconditionError` and :class:`AvailabilityError`, all
subclasses of ``RuntimeError``.
"""

from . import _ostrel
from ._ostrel import (
    Array,
    Array1DBuilderDouble,
    Array1DBuilderFloat,
    Array1DBuilderInt,
    Array3DBuilderDouble,
    Array3DBuilderFloat,
    Array3DBuilderUChar,
    ArrayFeeder,
    CharVector,
    AvailabilityError,
    CompleteCornersBuilder,
    GridFunction,
    HandleMapper,
    PostconditionError,
    PreconditionError,
    ReservoirSelectionTopology,
    ReservoirTopology,
    SConnectionArrayFeeder,
    SConnectionGridInfo,
    SExternalNNCInfo,
    SGridInfo,
    SGridInfoAssembly,
    TConnectionRef,
)
from . import _kelvaraio
from ._kelvaraio import eclipse, imex, mores
from ._errors import FormatError
from ._api import EclipseFile, Keyword, open
from ._grid import Grid, open_grid
from ._summary import Summary, open_summary
from ._ensemble import Ensemble, open_ensemble
from ._write import MESS, write
from ._example import example

__version__ = "0.1.0"

__all__ = [
    "Array",
    "Array1DBuilderDouble",
    "Array1DBuilderFloat",
    "Array1DBuilderInt",
    "Array3DBuilderDouble",
    "Array3DBuilderFloat",
    "Array3DBuilderUChar",
    "ArrayFeeder",
    "CharVector",
    "AvailabilityError",
    "CompleteCornersBuilder",
    "GridFunction",
    "HandleMapper",
    "PostconditionError",
    "PreconditionError",
    "ReservoirSelectionTopology",
    "ReservoirTopology",
    "SConnectionArrayFeeder",
    "SConnectionGridInfo",
    "SExternalNNCInfo",
    "SGridInfo",
    "SGridInfoAssembly",
    "TConnectionRef",
    "EclipseFile",
    "Ensemble",
    "FormatError",
    "Grid",
    "Keyword",
    "MESS",
    "eclipse",
    "example",
    "imex",
    "mores",
    "open",
    "open_grid",
    "open_ensemble",
    "Summary",
    "open_summary",
    "write",
]
