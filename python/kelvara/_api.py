"""``kelvara.open``: an ECLIPSE unformatted file as a catalogue of keywords and typed arrays."""

from __future__ import annotations

import operator
import os
import re
from typing import Callable, Dict, Iterator, List, Optional

import numpy as np

from ._errors import FormatError
from ._kelvaraio import _typed
from ._source import PathOrFile, open_source

# Bytes of the file passed per scan step; a progress callback is told after each.
_SCAN_STEP = 64 << 20

# An array of more than this many items has two headers (X231, then its true type): its data
# starts behind the second.
_ONE_HEADER_ITEMS = (1 << 31) - 1

_NUMERIC_DTYPES = {
    "INTE": np.dtype(np.int32),
    "REAL": np.dtype(np.float32),
    "DOUB": np.dtype(np.float64),
    "LOGI": np.dtype(np.bool_),
}

# A non-unified restart file carries its report step in its name: CASE.X0012.
_NON_UNIFIED = re.compile(r"\.X(\d{4})$", re.IGNORECASE)

ProgressCallback = Callable[[int, int], None]


def dtype_of(type_: str) -> np.dtype:
    """The NumPy type of the items of a section type: INTE int32, REAL float32, DOUB float64,
    LOGI bool, CHAR str of 8 characters, C0nn str of nn characters, MESS float64 (no items)."""
    if type_ in _NUMERIC_DTYPES:
        return _NUMERIC_DTYPES[type_]
    if type_ == "CHAR":
        return np.dtype("U8")
    if type_.startswith("C0") and type_[2:].isdigit():
        return np.dtype(f"U{int(type_[2:])}")
    if type_ == "MESS":
        return np.dtype(np.float64)
    raise ValueError(f"unknown section type {type_!r}")


class Keyword:
    """One section of an ECLIPSE file: its ``name``, ``type`` (the four type characters),
    ``count`` (number of items), ``position`` (byte of its header) and ``occurrence`` (its index
    among the sections of its name). ``read()`` gives its items as a NumPy array."""

    __slots__ = ("_file", "_index", "name", "type", "count", "position", "occurrence")

    def __init__(self, file: "EclipseFile", index: int, name: str, type_: str, count: int,
                 position: int, occurrence: int):
        self._file = file
        self._index = index
        self.name = name
        self.type = type_
        self.count = count
        self.position = position
        self.occurrence = occurrence

    @property
    def index(self) -> int:
        """The section's index in the file."""
        return self._index

    def read(self) -> np.ndarray:
        """The section's items as a NumPy array of the type's dtype."""
        return self._file._read_section(self._index)

    def __repr__(self) -> str:
        return (f"Keyword({self.name!r}, type={self.type!r}, count={self.count}, "
                f"position={self.position}, occurrence={self.occurrence})")


class EclipseFile:
    """An ECLIPSE unformatted file (INIT, UNRST, Xnnnn, EGRID, GRID, ...) opened by
    :func:`kelvara.open`: the catalogue of every section, in file order, and typed reads.

    Opening reads the headers only: each section's end comes from the arithmetic of the
    standard blocks, checked by the first and last block lengths and the next header, and a
    section's block frames are walked only where that guess fails. A file which is not what it
    claims raises :class:`kelvara.FormatError` at once where its headers or a walk show it;
    a broken frame inside a section whose guess holds raises it when that section is read.
    Reads go straight from the file into the NumPy array they return; they release the
    interpreter's lock, so several threads may read one file side by side.
    """

    def __init__(self, source: PathOrFile, *, progress: Optional[ProgressCallback] = None):
        self._source, self.path = open_source(source)
        try:
            self._scan(progress)
        except BaseException:
            self._source.close()
            raise
        self._keywords: Optional[List[Keyword]] = None
        self._steps: Optional[List[int]] = None
        self._step_starts: Optional[np.ndarray] = None

    # -- opening -------------------------------------------------------------------------------

    def _scan(self, progress: Optional[ProgressCallback]) -> None:
        scanner = _typed.Scanner(self._source)
        total = scanner.file_size
        while not scanner.step(_SCAN_STEP):
            if progress is not None:
                progress(scanner.position, total)
        if progress is not None:
            progress(total, total)
        problem = scanner.problem
        if problem is not None:
            reason, position, section, section_position = problem
            if section_position < 0:
                raise FormatError(self.path, reason, position)
            raise FormatError(self.path, reason, position, section, section_position)
        (self._positions, self._counts, name_ids, type_ids, self._big_endian, self._name_list,
         self._type_list) = scanner.table()
        self._name_ids = name_ids
        self._type_ids = type_ids
        # Sections grouped by name, each group in file order; the occurrence of a section is its
        # place in its group.
        order = np.argsort(name_ids, kind="stable")
        bounds = np.searchsorted(name_ids[order], np.arange(len(self._name_list) + 1))
        self._groups: Dict[str, np.ndarray] = {
            name: order[bounds[i]:bounds[i + 1]] for i, name in enumerate(self._name_list)}
        occurrences = np.empty(len(name_ids), dtype=np.int64)
        occurrences[order] = np.arange(len(order)) - np.repeat(bounds[:-1], np.diff(bounds))
        self._occurrences = occurrences

    # -- the catalogue -------------------------------------------------------------------------

    @property
    def keywords(self) -> List[Keyword]:
        """Every section of the file as a :class:`Keyword`, in file order."""
        if self._keywords is None:
            names = [self._name_list[i] for i in self._name_ids.tolist()]
            types = [self._type_list[i] for i in self._type_ids.tolist()]
            self._keywords = [
                Keyword(self, i, name, type_, count, position, occurrence)
                for i, (name, type_, count, position, occurrence) in enumerate(zip(
                    names, types, self._counts.tolist(), self._positions.tolist(),
                    self._occurrences.tolist()))]
        return self._keywords

    @property
    def names(self) -> List[str]:
        """The distinct section names, in the order they first occur."""
        return list(self._name_list)

    def count(self, name: str) -> int:
        """How many sections of this name the file holds (0 when none)."""
        group = self._groups.get(name)
        return 0 if group is None else len(group)

    def __len__(self) -> int:
        return len(self._positions)

    def __iter__(self) -> Iterator[Keyword]:
        return iter(self.keywords)

    def __contains__(self, name: object) -> bool:
        return name in self._groups

    def __getitem__(self, name: str) -> List[Keyword]:
        """Every occurrence of the name, in file order; ``KeyError`` when there is none."""
        keywords = self.keywords
        return [keywords[i] for i in self._group(name).tolist()]

    def _group(self, name: str) -> np.ndarray:
        group = self._groups.get(name)
        if group is None:
            raise KeyError(name)
        return group

    # -- report steps --------------------------------------------------------------------------

    @property
    def report_steps(self) -> List[int]:
        """The report steps of a restart file: the ``SEQNUM`` values in file order for a
        unified restart file; for a non-unified one (``CASE.Xnnnn``, no ``SEQNUM``) the step
        of its name. Empty for other files."""
        self._find_steps()
        assert self._steps is not None
        return list(self._steps)

    def _find_steps(self) -> None:
        if self._steps is not None:
            return
        group = self._groups.get("SEQNUM")
        if group is not None:
            steps = []
            for i in group.tolist():
                values = self._read_section(i)
                if len(values) == 0 or values.dtype.kind not in "iu":
                    raise FormatError(self.path, "a SEQNUM section without an integer step",
                                      int(self._positions[i]), "SEQNUM", int(self._positions[i]))
                steps.append(int(values[0]))
            self._steps, self._step_starts = steps, group
            return
        match = _NON_UNIFIED.search(self.path)
        if match is not None and len(self) > 0:
            self._steps, self._step_starts = [int(match.group(1))], np.array([0])
        else:
            self._steps, self._step_starts = [], np.array([], dtype=np.int64)

    def _step_range(self, step: int) -> range:
        """The indices of the sections of a report step: from its SEQNUM to the next."""
        self._find_steps()
        assert self._steps is not None and self._step_starts is not None
        try:
            k = self._steps.index(step)
        except ValueError:
            raise IndexError(f"{self.path}: no report step {step} "
                             f"(report steps: {_short_list(self._steps)})") from None
        end = int(self._step_starts[k + 1]) if k + 1 < len(self._steps) else len(self)
        return range(int(self._step_starts[k]), end)

    # -- reading -------------------------------------------------------------------------------

    def find(self, name: str, occurrence: int = 0, step: Optional[int] = None) -> Keyword:
        """The :class:`Keyword` that :meth:`read` reads with the same arguments."""
        group = self._group(name)
        occurrence = operator.index(occurrence)
        if step is not None:
            within = self._step_range(operator.index(step))
            lo, hi = np.searchsorted(group, [within.start, within.stop])
            group = group[lo:hi]
            where = f" in report step {step}"
        else:
            where = ""
        if not -len(group) <= occurrence < len(group):
            raise IndexError(f"{self.path}: {name!r} has {len(group)} occurrence(s){where}, "
                             f"no occurrence {occurrence}")
        return self.keywords[int(group[occurrence])]

    def read(self, name: str, occurrence: int = 0, step: Optional[int] = None) -> np.ndarray:
        """The items of a section as a NumPy array.

        ``occurrence`` picks among the sections of that name (negative counts from the end);
        with ``step`` it counts within that report step, which runs from its ``SEQNUM`` to the
        next. dtypes: INTE int32, REAL float32, DOUB float64, LOGI bool, CHAR and C0nn str
        (trimmed of blanks), MESS an empty array. ``KeyError`` for a name the file lacks,
        ``IndexError`` for an occurrence or step that does not exist.
        """
        return self.find(name, occurrence, step).read()

    def _read_section(self, index: int) -> np.ndarray:
        type_ = self._type_list[int(self._type_ids[index])]
        count = int(self._counts[index])
        position = int(self._positions[index])
        dtype = dtype_of(type_)
        out = np.empty(0 if type_ == "MESS" else count, dtype=dtype)
        data = position + (48 if count > _ONE_HEADER_ITEMS else 24)
        problem = _typed.read_into(self._source, data, bool(self._big_endian[index]), type_,
                                   count, out)
        if problem is not None:
            reason, at = problem
            raise FormatError(self.path, reason, at, self._name_list[int(self._name_ids[index])],
                              position)
        return out

    # -- life ----------------------------------------------------------------------------------

    @property
    def closed(self) -> bool:
        return self._source.closed

    def close(self) -> None:
        """Closes the file (a file object given to :func:`kelvara.open` stays the caller's and
        is not closed). Reading afterwards raises ``ValueError``."""
        self._source.close()

    def __enter__(self) -> "EclipseFile":
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    def __repr__(self) -> str:
        state = "closed " if self.closed else ""
        return (f"<{state}EclipseFile {self.path!r}: {len(self)} sections, "
                f"{len(self._name_list)} names>")


def _short_list(values: List[int], limit: int = 10) -> str:
    shown = ", ".join(str(v) for v in values[:limit])
    return shown + (", ..." if len(values) > limit else "") if values else "none"


def open(source: PathOrFile, *, progress: Optional[ProgressCallback] = None) -> EclipseFile:
    """Opens an ECLIPSE unformatted file by path (``str``, ``bytes`` or ``os.PathLike``) or as
    a binary file object, and catalogues every section.

    ``progress``, when given, is called as ``progress(bytes_done, bytes_total)`` while the
    headers are read. Raises :class:`kelvara.FormatError` for a file that is not an ECLIPSE
    unformatted file or is broken, and what Python raises for paths that do not exist,
    directories and closed files.
    """
    return EclipseFile(source, progress=progress)
