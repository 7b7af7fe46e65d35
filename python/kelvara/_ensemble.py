"""``kelvara.open_ensemble``: many runs of one model, read side by side by Dask.

An :class:`Ensemble` only names files: each realization's case path. Its ``summary`` and
``read`` build Dask collections whose tasks carry those paths and nothing else (no open file,
no array), so a task pickles and runs on any thread, process or cluster worker, where it opens
its realization's file, reads what was asked and closes it again.

A realization that cannot be read is recorded in ``Ensemble.failed`` when its task runs. The
task records it where the client can see it: in this process's table of ensembles when it runs
in the client's process (dask's threaded and synchronous schedulers), and as an event of the
``dask.distributed`` scheduler when it runs on a cluster's worker, which the client collects.
"""

from __future__ import annotations

import glob as _glob
import operator
import os
import re
import threading
import uuid
import weakref
from typing import Any, Dict, Iterable, List, Optional, Sequence, Tuple, Union

import numpy as np

from . import _api

# The extensions by which a user may name a case; stripped to find the case's other files.
_CASE_EXTENSION = re.compile(
    r"\.(F?SMSPEC|F?UNSMRY|DATA|F?UNRST|F?INIT|F?EGRID|F?GRID|[SAXF]\d{4})$", re.IGNORECASE)
_SOURCES = ("UNRST", "INIT", "EGRID")
_ON_ERROR = ("skip", "raise")

# What a realization that cannot be read raises: missing or unreadable files (OSError), broken
# files (FormatError is a ValueError), a key or keyword it lacks, a step or occurrence it lacks,
# and the numeric core's failed checks (RuntimeError). Anything else is a fault of the caller
# or of kelvara and always propagates.
_READ_FAILURES = (OSError, ValueError, KeyError, IndexError, RuntimeError)

# Ensembles of this process by token, so that a task running in the client's process records a
# failure straight into its ensemble.
_LOCAL: "weakref.WeakValueDictionary[str, Ensemble]" = weakref.WeakValueDictionary()


def _topic(token: str) -> str:
    """The name of the dask.distributed event topic an ensemble's failures are logged under."""
    return f"kelvara-ensemble-{token}"


def _failure_text(error: BaseException) -> str:
    """The class and text of a realization's error, as a traceback's last line shows them."""
    return f"{type(error).__name__}: {error}"


def _record_failure(token: str, realization: int, message: str) -> None:
    """Records a realization's failure where the ensemble's client finds it."""
    # A cluster's worker first: a worker process started by fork holds a stale copy of the
    # table, whose records the client would never see.
    worker = _current_worker()
    if worker is not None:
        worker.log_event(_topic(token), {"realization": realization, "message": message})
        return
    ensemble = _LOCAL.get(token)
    if ensemble is not None:
        ensemble._add_failure(realization, message)


def _current_worker() -> Any:
    """The dask.distributed worker running this task, or None."""
    return _distributed("get_worker")


def _default_client() -> Any:
    """The current dask.distributed client, or None."""
    return _distributed("default_client")


def _distributed(getter: str) -> Any:
    """What dask.distributed's ``getter`` gives, or None when distributed is not in use (not
    imported, or the getter finds nothing)."""
    import sys
    if "distributed" not in sys.modules:
        return None
    try:
        return getattr(sys.modules["distributed"], getter)()
    except ValueError:
        return None


# -- finding cases -------------------------------------------------------------------------------

def case_base(path: str) -> str:
    """The case's path without a known extension: ``run/CASE.SMSPEC`` -> ``run/CASE``."""
    return _CASE_EXTENSION.sub("", path)


def _expand(cases: Union[str, "os.PathLike[str]", Iterable[Any]]) -> List[str]:
    if isinstance(cases, (str, os.PathLike)):
        pattern = os.fspath(cases)
        found = sorted(_glob.glob(pattern))
        if not found:
            # A pattern that names cases without an extension matches their files instead.
            found = sorted({case_base(p) for p in _glob.glob(pattern + ".*")})
        if not found:
            raise FileNotFoundError(2, "no case matches the pattern", pattern)
        return found
    if isinstance(cases, bytes):
        raise TypeError("cases must be a glob pattern (str or os.PathLike) or a list of cases")
    paths = [os.fsdecode(os.fspath(c)) for c in cases]
    if not paths:
        raise ValueError("open_ensemble needs at least one case")
    return sorted(paths)


def _number(paths: List[str], realization: Optional[str]) -> List[int]:
    """Realization numbers from the pattern's group in each path, else the place in the list."""
    if realization is not None:
        pattern = re.compile(realization)
        if pattern.groups < 1:
            raise ValueError(f"the realization pattern {realization!r} has no group")
        matches = [pattern.search(p) for p in paths]
        if all(m is not None for m in matches):
            numbers = [int(m.group(1)) for m in matches]  # type: ignore[union-attr]
            if len(set(numbers)) != len(numbers):
                seen: Dict[int, str] = {}
                for n, p in zip(numbers, paths):
                    if n in seen:
                        raise ValueError(f"realization {n} is both {seen[n]!r} and {p!r}")
                    seen[n] = p
            return numbers
    return list(range(len(paths)))


def _has_files(path: str) -> bool:
    """Whether a case's files exist: the file named, when the case is named by one of its
    files (``CASE.SMSPEC``); for a bare case, any file ``CASE.*``."""
    if case_base(path) != path or os.path.isfile(path):
        return os.path.isfile(path)
    return any(os.path.isfile(p) for p in _glob.iglob(_glob.escape(path) + ".*"))


def source_file(case: str, source: str) -> str:
    """The file of a case that ``source`` names (``UNRST``, ``INIT`` or ``EGRID``): upper or
    lower case extension, else its formatted twin. ``FileNotFoundError`` naming the file when
    there is none."""
    base = case_base(case)
    for ext in (source, "F" + source):
        for candidate in (f"{base}.{ext}", f"{base}.{ext.lower()}"):
            if os.path.isfile(candidate):
                return candidate
    expected = f"{base}.{source}"
    raise FileNotFoundError(2, "No such file or directory", expected)


# -- the tasks -----------------------------------------------------------------------------------

class _Task:
    """What every task of an ensemble carries: the ensemble's token, whether failures are
    recorded or raised, one realization and its case path."""

    __slots__ = ("token", "skip", "realization", "path")

    def __init__(self, token: str, skip: bool, realization: int, path: str):
        self.token = token
        self.skip = skip
        self.realization = realization
        self.path = path

    def __getstate__(self) -> Tuple[str, bool, int, str]:
        return (self.token, self.skip, self.realization, self.path)

    def __setstate__(self, state: Tuple[str, bool, int, str]) -> None:
        self.token, self.skip, self.realization, self.path = state

    def __dask_tokenize__(self) -> Tuple[str, bool, int, str]:
        return self.__getstate__()

    def failed(self, error: BaseException) -> None:
        """Records the failure, or raises it again when the ensemble raises."""
        if not self.skip:
            raise error
        _record_failure(self.token, self.realization, _failure_text(error))


def summary_frame(realization: int, dates: np.ndarray, values: np.ndarray,
                  keys: Sequence[str]) -> Any:
    """One realization's long-form frame: REAL (int64), DATE (datetime64[ms]), then a float32
    column a key. The graph's ``meta`` is this frame with no rows, so both always agree."""
    import pandas as pd
    n = len(dates)
    columns: Dict[str, Any] = {
        "REAL": np.full(n, realization, dtype=np.int64),
        "DATE": pd.Series(np.asarray(dates, dtype="datetime64[ms]")),
    }
    for i, key in enumerate(keys):
        columns[key] = np.asarray(values[:, i], dtype=np.float32)
    return pd.DataFrame(columns, columns=["REAL", "DATE", *keys])


def _empty_frame(realization: int, keys: Sequence[str]) -> Any:
    return summary_frame(realization, np.empty(0, "datetime64[ms]"),
                         np.empty((0, len(keys)), np.float32), keys)


def _summary_part(task: _Task, keys: Tuple[str, ...], report_only: bool) -> Any:
    from ._summary import open_summary
    try:
        with open_summary(task.path) as s:
            frame = s.to_pandas(list(keys), report_only=report_only)
        return summary_frame(task.realization, frame.index.to_numpy(), frame.to_numpy(), keys)
    except _READ_FAILURES as error:
        task.failed(error)
        return _empty_frame(task.realization, keys)


def _read_chunk(task: _Task, source: str, name: str, step: Optional[int], occurrence: int,
                dtype: np.dtype, count: int) -> np.ma.MaskedArray:
    try:
        with _api.open(source_file(task.path, source)) as f:
            keyword = f.find(name, occurrence, step)
            if keyword.count != count or _api.dtype_of(keyword.type) != dtype:
                raise ValueError(
                    f"{f.path}: {name!r} has {keyword.count} items of type {keyword.type}, "
                    f"the ensemble's keyword {count} items of {dtype}")
            values = keyword.read()
        return np.ma.MaskedArray(values.reshape(1, count), mask=np.ma.nomask)
    except _READ_FAILURES as error:
        task.failed(error)
        return _masked_rows(dtype, 1, count)


def _masked_rows(dtype: np.dtype, rows: int, count: int) -> np.ma.MaskedArray:
    """Rows that hold nothing: every item masked, the data beneath NaN for floats and the
    dtype's fill value otherwise, never a value that could pass for one read."""
    fill = np.nan if dtype.kind == "f" else np.ma.default_fill_value(np.empty(0, dtype))
    return np.ma.MaskedArray(np.full((rows, count), fill, dtype=dtype), mask=True,
                             fill_value=fill)


# -- the ensemble --------------------------------------------------------------------------------

class Ensemble:
    """Many realizations of one model, read in parallel by Dask; made by
    :func:`kelvara.open_ensemble`.

    ``realizations`` are the realization numbers, sorted; ``paths`` the case path of each, in
    the same order; ``failed`` maps each realization that could not be read to its message.
    """

    def __init__(self, paths: List[str], realizations: List[int], on_error: str):
        order = sorted(range(len(paths)), key=lambda i: realizations[i])
        self._paths = [paths[i] for i in order]
        self._realizations = [realizations[i] for i in order]
        self._on_error = on_error
        self._token = uuid.uuid4().hex
        self._failed: Dict[int, str] = {}
        self._lock = threading.Lock()
        self._subscribed: "weakref.WeakSet[Any]" = weakref.WeakSet()
        _LOCAL[self._token] = self

    @property
    def realizations(self) -> List[int]:
        """The realization numbers, sorted."""
        return list(self._realizations)

    @property
    def paths(self) -> List[str]:
        """The case path of each realization, in the order of ``realizations``."""
        return list(self._paths)

    @property
    def on_error(self) -> str:
        """``"skip"``: a realization that cannot be read is recorded in ``failed``;
        ``"raise"``: its error propagates."""
        return self._on_error

    @property
    def failed(self) -> Dict[int, str]:
        """Realization -> message (the exception's class and text) of every realization that
        failed to read so far, in realization order. Tasks that ran on a ``dask.distributed``
        cluster report through its scheduler: they are collected here while a client is
        connected to it."""
        client = _default_client()
        if client is not None:
            self._collect(client)
        with self._lock:
            return dict(sorted(self._failed.items()))

    def _add_failure(self, realization: int, message: str) -> None:
        with self._lock:
            self._failed[realization] = message

    def _collect(self, client: Any) -> None:
        try:
            events = client.get_events(_topic(self._token))
        except Exception:  # a client shutting down or asynchronous: nothing to collect now
            return
        for _, event in events:
            self._add_failure(int(event["realization"]), str(event["message"]))

    def _watch_cluster(self) -> None:
        """Subscribes to this ensemble's failures on the current dask.distributed client, so
        that they arrive here while its tasks run, even when the client closes before
        ``failed`` is read."""
        client = _default_client()
        if client is None or client in self._subscribed:
            return
        ref = weakref.ref(self)

        def arrived(event: Tuple[float, Dict[str, Any]]) -> None:
            ensemble = ref()
            if ensemble is not None:
                ensemble._add_failure(int(event[1]["realization"]), str(event[1]["message"]))

        client.subscribe_topic(_topic(self._token), arrived)
        self._subscribed.add(client)

    def _tasks(self) -> List[_Task]:
        skip = self._on_error == "skip"
        return [_Task(self._token, skip, r, p) for r, p in zip(self._realizations, self._paths)]

    def _first(self, probe: Any) -> Any:
        """``probe(path)`` for the first realization it succeeds on: the graph is shaped from
        it. Realizations before it that fail are recorded (or raise when the ensemble raises);
        when none succeeds, the first realization's error is raised."""
        first_error: Optional[BaseException] = None
        for task in self._tasks():
            try:
                return probe(task.path)
            except _READ_FAILURES as error:
                if not task.skip:
                    raise
                task.failed(error)
                first_error = first_error or error
        assert first_error is not None
        raise first_error

    # -- summary ---------------------------------------------------------------------------------

    def summary(self, keys: Union[str, Sequence[str]], report_only: bool = True) -> Any:
        """The vectors ``keys`` of every realization as a ``dask.dataframe.DataFrame`` in long
        form: columns ``REAL`` (int64), ``DATE`` (datetime64[ms]), then one float32 column a
        key; one partition a realization, in the order of ``realizations``.

        ``report_only`` (the default) gives one row a report step (its last time step), else
        one a time step. The keys are checked against the first realization that opens (its
        ``SMSPEC`` only); nothing else is read until the frame is computed. A realization that
        cannot be read gives an empty partition and is recorded in ``failed`` (with
        ``on_error="raise"``, its error propagates).
        """
        import dask.dataframe as dd
        from ._summary import open_summary

        keys = _key_list(keys)

        def probe(path: str) -> None:
            with open_summary(path) as s:
                for key in keys:
                    s.unit(key)  # the summary's KeyError, naming close keys, for a key it lacks

        self._first(probe)
        self._watch_cluster()
        meta = _empty_frame(0, keys)
        return dd.from_map(_summary_part, self._tasks(), args=(tuple(keys), bool(report_only)),
                           meta=meta, label="kelvara-summary")

    # -- keywords --------------------------------------------------------------------------------

    def read(self, name: str, step: Optional[int] = None, occurrence: int = 0,
             source: str = "UNRST") -> Any:
        """One keyword of every realization as a ``dask.array.Array`` of shape (realizations,
        items), one chunk a realization, in the order of ``realizations``.

        ``source`` names the file of each case: ``"UNRST"``, ``"INIT"`` or ``"EGRID"``;
        ``step`` and ``occurrence`` pick the section as :meth:`kelvara.EclipseFile.read` does.
        The dtype and the item count come from the first realization that opens, whose
        headers only are read to build the graph.

        The chunks are NumPy masked arrays (``numpy.ma.MaskedArray``), so the computed result
        is one: the row of a realization that cannot be read (missing or broken file, no such
        keyword, step or occurrence, another item count or type) has every item masked and is
        recorded in ``failed``; its data beneath the mask is NaN for floats and the dtype's
        fill value otherwise. With ``on_error="raise"`` the error propagates instead.
        """
        import dask.array as da
        from dask.highlevelgraph import HighLevelGraph

        if not isinstance(name, str):
            raise TypeError(f"name must be a str, not {type(name).__name__}")
        if step is not None:
            step = operator.index(step)
        occurrence = operator.index(occurrence)
        if not isinstance(source, str) or source.upper() not in _SOURCES:
            raise ValueError(f"source must be one of {', '.join(_SOURCES)}, not {source!r}")
        source = source.upper()

        def probe(path: str) -> Tuple[np.dtype, int]:
            with _api.open(source_file(path, source)) as f:
                keyword = f.find(name, occurrence, step)
                return _api.dtype_of(keyword.type), keyword.count

        dtype, count = self._first(probe)
        self._watch_cluster()
        key = f"kelvara-read-{name.lower()}-" + uuid.uuid4().hex
        graph = {(key, i, 0): (_read_chunk, task, source, name, step, occurrence, dtype, count)
                 for i, task in enumerate(self._tasks())}
        layer = HighLevelGraph.from_collections(key, graph, dependencies=())
        meta = np.ma.MaskedArray(np.empty((0, 0), dtype=dtype))
        chunks = ((1,) * len(self._realizations), (count,))
        return da.Array(layer, key, chunks, meta=meta)

    def __len__(self) -> int:
        return len(self._realizations)

    def __repr__(self) -> str:
        return f"<Ensemble of {len(self)} realizations, on_error={self._on_error!r}>"


def _key_list(keys: Union[str, Sequence[str]]) -> List[str]:
    if isinstance(keys, str):
        keys = [keys]
    keys = list(keys)
    if not keys or not all(isinstance(k, str) for k in keys):
        raise TypeError("keys must be a key or a non-empty list of keys (str)")
    for reserved in ("REAL", "DATE"):
        if reserved in keys:
            raise ValueError(f"{reserved!r} is a column of the ensemble frame, not a key")
    if len(set(keys)) != len(keys):
        raise ValueError("keys must not repeat")
    return keys


def open_ensemble(cases: Union[str, "os.PathLike[str]", Iterable[Any]], *,
                  realization: Optional[str] = r"realization-(\d+)",
                  on_error: str = "skip") -> Ensemble:
    """The realizations of one model, to be read in parallel by Dask.

    ``cases`` is a glob pattern (``"runs/realization-*/CASE"``, ``"runs/*/CASE.SMSPEC"``) or
    a list of cases, each named as for :func:`kelvara.open_summary` (``CASE``,
    ``CASE.SMSPEC``, ``CASE.DATA``, ...). A pattern that matches no file is tried again with
    an extension added, so that bare case names match. Each realization's number is the
    ``realization`` pattern's first group in its path when every path matches, else its place
    in the sorted list (also when ``realization`` is None).

    Opening checks only that each case has files; nothing is read. With ``on_error="skip"``
    (the default) a case without files is recorded in ``failed`` and reads as empty; with
    ``on_error="raise"`` it raises ``FileNotFoundError`` here, and any realization that fails
    to read raises when the graph runs.
    """
    if on_error not in _ON_ERROR:
        raise ValueError(f"on_error must be 'skip' or 'raise', not {on_error!r}")
    if realization is not None and not isinstance(realization, str):
        raise TypeError("realization must be a regular expression (str) or None")
    paths = _expand(cases)
    ensemble = Ensemble(paths, _number(paths, realization), on_error)
    for r, path in zip(ensemble._realizations, ensemble._paths):
        if not _has_files(path):
            error = FileNotFoundError(2, "No such file or directory", path)
            if on_error == "raise":
                raise error
            ensemble._add_failure(r, _failure_text(error))
    return ensemble
