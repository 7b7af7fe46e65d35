"""``kelvara.open_summary``: the time series of a run, read lazily from its summary files.

A case is ``CASE.SMSPEC`` (what each column of the values is) and its values, one ``PARAMS``
record a time step, in ``CASE.UNSMRY`` or in ``CASE.S0001``, ``CASE.S0002``, ... Opening reads the
header and finds the ``PARAMS`` records by their section headers; values are gathered from the
files only when asked for, by the native gatherer, every column asked for in one pass.
"""

from __future__ import annotations

import datetime
import difflib
import errno
import fnmatch
import os
import re
from dataclasses import dataclass
from typing import Any, Dict, Iterable, Iterator, List, Optional, Sequence, Tuple, Union

import numpy as np

from ._api import EclipseFile
from ._errors import FormatError
from ._kelvaraio import _summary as _native
from ._kelvaraio import _typed
from ._source import open_source

PathLike = Union[str, "os.PathLike[str]"]

# Extensions by which users name a case; any of them is taken off to find the case's base.
_CASE_EXTENSION = re.compile(r"\.(SMSPEC|UNSMRY|DATA|FSMSPEC|FUNSMRY|S\d{4}|A\d{4})$",
                             re.IGNORECASE)
_NUMBERED = re.compile(r"\.([SA])(\d{4})$", re.IGNORECASE)

# Well, group and node names that stand for no well, group or node.
_NO_NAMES = {"", ":+:+:+:+"}

# Keywords of the run itself (solver and timing); they are bare keys whatever their first letter.
_BARE_KEYWORDS = frozenset("""
    NEWTON NLINEARS NLINSMIN NLINSMAX NAIMFRAC NBAKFL NBYTOT NCPRLINS NEWTFL NGMAXCOMP NLINEARP
    NLINEART NMESSAGE NNUMFL NNUMST NTS NTSECL NTSMCL NTSPCL ELAPSED MAXDPR MAXDSO MAXDSG MAXDSW
    MAXDPW STEPTYPE WNEWTON SUMTHIN SEPARATE STEPS MLINEARS MSUMLINS MSUMNEWT MEMORYTS MCPU TCPU
    TCPUTS TCPUDAY TCPUSTEP TCPUTSHT TELAPLIN TELAPDAY TIMESTEP TIME YEARS DAY MONTH YEAR
    """.split())

# First letters of the families keyed by a well, group or node name.
_NAMED = frozenset("WGN")

# Region-to-region keywords carry both regions in one number.
_REGION_PAIR_BASE = 32768
_REGION_PAIR_OFFSET = 10

_MS_PER_DAY = 86_400_000


# -- keys ------------------------------------------------------------------------------------


def _cell(num: int, dims: Tuple[int, int, int]) -> Optional[str]:
    """The 1-based i,j,k of a 1-based global cell number, or None outside the grid."""
    nx, ny, nz = dims
    if num < 1 or nx < 1 or ny < 1 or nz < 1 or num > nx * ny * nz:
        return None
    n = num - 1
    return f"{n % nx + 1},{n // nx % ny + 1},{n // (nx * ny) + 1}"


def make_key(keyword: str, name: str, num: int, lgr: str, local: Tuple[int, int, int],
             dims: Tuple[int, int, int]) -> Optional[str]:
    """The key of one column by the usual convention, or None for a column that is left out."""
    first = keyword[:1]
    if first in _NAMED and keyword not in _BARE_KEYWORDS:
        return None if name in _NO_NAMES else f"{keyword}:{name}"
    if keyword in _BARE_KEYWORDS or not keyword:
        return keyword or None
    if first == "R":
        if num < 0:
            return None
        if len(keyword) > 2 and keyword[2] == "F":
            r1 = num % _REGION_PAIR_BASE
            r2 = num // _REGION_PAIR_BASE - _REGION_PAIR_OFFSET
            return None if r2 < 0 else f"{keyword}:{r1}-{r2}"
        return f"{keyword}:{num}"
    if first == "B":
        cell = _cell(num, dims)
        return None if cell is None else f"{keyword}:{cell}"
    if first == "C":
        cell = _cell(num, dims)
        return None if cell is None or name in _NO_NAMES else f"{keyword}:{name}:{cell}"
    if first == "S":
        return None if name in _NO_NAMES or num < 0 else f"{keyword}:{name}:{num}"
    if first == "A":
        return None if num < 0 else f"{keyword}:{num}"
    if first == "L" and len(keyword) > 1 and keyword[1] in "BWC":
        where = ",".join(str(v) for v in local)
        if keyword[1] == "B":
            return f"{keyword}:{lgr}:{where}"
        if name in _NO_NAMES:
            return None
        if keyword[1] == "W":
            return f"{keyword}:{lgr}:{name}"
        return f"{keyword}:{lgr}:{name}:{where}"
    return keyword


# -- the header ------------------------------------------------------------------------------


@dataclass
class _Spec:
    """What one SMSPEC says: the key of each column, units, grid, start and restart."""

    path: str
    vectors: int
    columns: Dict[str, int]  # key -> column (the later column where two give one key)
    units: Dict[str, str]
    start: datetime.datetime
    restart: str
    restart_step: int
    time_unit: str


def _texts(f: EclipseFile, name: str, count: int, default: str = "") -> List[str]:
    if name not in f:
        return [default] * count
    values = f.read(name).tolist()
    return values if len(values) == count else (values + [default] * count)[:count]


def _ints(f: EclipseFile, name: str, count: int) -> List[int]:
    if name not in f:
        return [0] * count
    values = f.read(name).tolist()
    return values if len(values) == count else (values + [0] * count)[:count]


def _start(f: EclipseFile) -> datetime.datetime:
    keyword = f.find("STARTDAT")
    items = keyword.read().tolist()
    if len(items) < 3:
        raise FormatError(f.path, "a STARTDAT of fewer than 3 items", keyword.position,
                          "STARTDAT", keyword.position)
    day, month, year = items[:3]
    hour, minute, micro = (items[3:6] + [0, 0, 0])[:3]
    try:
        return (datetime.datetime(year, month, day, hour, minute)
                + datetime.timedelta(microseconds=micro))
    except (ValueError, OverflowError) as error:
        raise FormatError(f.path, f"STARTDAT {items} is no date ({error})",
                          keyword.position + 28, "STARTDAT", keyword.position) from None


def _read_spec(path: str) -> _Spec:
    with EclipseFile(path) as f:
        for needed in ("DIMENS", "KEYWORDS", "STARTDAT"):
            if needed not in f:
                raise FormatError(path, f"no {needed} section in the summary header", 0)
        dimens = _ints(f, "DIMENS", 6)
        keywords = f.read("KEYWORDS").tolist()
        n = len(keywords)
        names = _texts(f, "WGNAMES" if "WGNAMES" in f else "NAMES", n)
        nums = _ints(f, "NUMS", n)
        units = _texts(f, "UNITS", n)
        if "LGRS" in f:
            lgrs = _texts(f, "LGRS", n)
            local = list(zip(_ints(f, "NUMLX", n), _ints(f, "NUMLY", n), _ints(f, "NUMLZ", n)))
        else:
            lgrs, local = [""] * n, [(0, 0, 0)] * n
        start = _start(f)
        restart = "".join(_texts(f, "RESTART", 9)).strip() if "RESTART" in f else ""
    dims = (dimens[1], dimens[2], dimens[3])
    # Well, group and node keys (most columns of a large run) are made inline, the rest by
    # make_key, which applies the same rule to them.
    keys = [f"{kw}:{nm}" if kw[:1] in _NAMED and nm not in _NO_NAMES and kw not in _BARE_KEYWORDS
            else make_key(kw, nm, num, lgr, loc, dims)
            for kw, nm, num, lgr, loc in zip(keywords, names, nums, lgrs, local)]
    # Where two columns give one key, the later one counts.
    columns = {key: c for c, key in enumerate(keys) if key is not None}
    key_units = {key: units[c] for key, c in columns.items()}
    return _Spec(path, n, columns, key_units, start, restart, dimens[5],
                 key_units.get("TIME", "DAYS").upper())


# -- the values: a section source --------------------------------------------------------------


class _Unformatted:
    """The sections of an unformatted values file: the table of the native section scan, and
    the native gather of PARAMS columns."""

    def __init__(self, path: str):
        self.path = path

    def table(self) -> Tuple[Any, ...]:
        """(problem, positions, counts, name ids, type ids, big-endian flags, names, types)."""
        source, _ = open_source(self.path)
        try:
            scanner = _typed.Scanner(source)
            while not scanner.step(1 << 30):
                pass
            return (scanner.problem,) + tuple(scanner.table())
        finally:
            source.close()

    def gather(self, indices: np.ndarray, positions: np.ndarray, swaps: np.ndarray, items: int,
               columns: np.ndarray, out: np.ndarray) -> None:
        with open(self.path, "rb") as f:
            problem = _native.gather(f, positions, swaps, items, columns, out)
        if problem is not None:
            reason, at, record = problem
            raise FormatError(self.path, reason, at, "PARAMS", int(positions[record]))


class _Formatted:
    """The sections of a formatted values file (FUNSMRY, .Annnn), by the catalogue and reads of
    kelvara.open: each PARAMS is parsed whole and its columns taken from it."""

    def __init__(self, path: str):
        self.path = path

    def table(self) -> Tuple[Any, ...]:
        with EclipseFile(self.path) as f:
            return (None, f._positions, f._counts, f._name_ids, f._type_ids, f._big_endian,
                    f._name_list, f._type_list)

    def gather(self, indices: np.ndarray, positions: np.ndarray, swaps: np.ndarray, items: int,
               columns: np.ndarray, out: np.ndarray) -> None:
        present = columns >= 0
        with EclipseFile(self.path) as f:
            for i, index in enumerate(indices.tolist()):
                record = f._read_section(index)
                out[i] = np.where(present, record[np.where(present, columns, 0)], np.nan)


def _section_source(path: str) -> Union[_Unformatted, _Formatted]:
    """The section source of a file: formatted files are known by their first character that is
    not blank, a quote."""
    with open(path, "rb") as f:
        head = f.read(256).lstrip()
    return _Formatted(path) if head[:1] == b"'" else _Unformatted(path)


class _ValuesFile:
    """One values file as a catalogue of its PARAMS records (found by their section headers),
    with the report step of each and the gather of columns from them. A file whose end is cut
    short, as of a run still being written, gives the records before the cut and says so in
    ``complete``."""

    _CUT = ("an item count that the rest of the file cannot hold",
            "the file ends inside a section header")

    def __init__(self, path: str, vectors: int, report: Optional[int]):
        self.path = path
        self.vectors = vectors
        self.source = _section_source(path)
        problem, positions, counts, name_ids, type_ids, big, names, types = self.source.table()
        self.complete = True
        if problem is not None:
            reason, at, section, section_at = problem
            if reason not in self._CUT or section not in ("", "PARAMS", "MINISTEP", "SEQHDR"):
                if section_at < 0:
                    raise FormatError(path, reason, at)
                raise FormatError(path, reason, at, section, section_at)
            self.complete = False
        ids = {name: i for i, name in enumerate(names)}
        is_params = name_ids == ids.get("PARAMS", -1)
        self.indices = np.flatnonzero(is_params)
        self.positions = positions[is_params]
        self.swaps = np.ascontiguousarray(big[is_params] != (np.little_endian is False))
        real = types.index("REAL") if "REAL" in types else -1
        bad = np.flatnonzero((counts[is_params] != vectors) | (type_ids[is_params] != real))
        if len(bad):
            i = int(bad[0])
            raise FormatError(path, f"a PARAMS record of {int(counts[is_params][i])} items "
                              f"where the summary header has {vectors} vectors",
                              int(self.positions[i]), "PARAMS", int(self.positions[i]))
        if report is None:
            seqhdr = np.cumsum(name_ids == ids.get("SEQHDR", -1))
            self.reports = seqhdr[is_params].astype(np.int32)
        else:
            self.reports = np.full(len(self.positions), report, dtype=np.int32)
        ministeps = np.flatnonzero(name_ids == ids.get("MINISTEP", -1))
        if len(ministeps) and (not len(self.indices) or ministeps[-1] > self.indices[-1]):
            self.complete = False

    def gather(self, rows: np.ndarray, columns: np.ndarray, out: np.ndarray) -> None:
        """Fills out (len(rows), len(columns)) with the items ``columns`` of the PARAMS records
        ``rows``; -1 columns read NaN."""
        if out.size == 0:
            return
        self.source.gather(self.indices[rows], np.ascontiguousarray(self.positions[rows]),
                           np.ascontiguousarray(self.swaps[rows]), self.vectors, columns, out)


def _values_files(base: str, spec: _Spec) -> List[_ValuesFile]:
    """The values files of a case: its unified file when it exists, else its numbered ones;
    unformatted before formatted."""
    folder, stem = os.path.split(base)
    listing = os.listdir(folder or ".")
    upper = {name.upper(): name for name in listing}
    for unified_ext, numbered_letter in ((".UNSMRY", "S"), (".FUNSMRY", "A")):
        unified = upper.get((stem + unified_ext).upper())
        if unified is not None:
            return [_ValuesFile(os.path.join(folder, unified), spec.vectors, None)]
        numbered = []
        for name in listing:
            rest = name[len(stem):]
            if name[:len(stem)] == stem and rest[1:2].upper() == numbered_letter:
                match = _NUMBERED.fullmatch(rest)
                if match is not None:
                    numbered.append((int(match.group(2)), name))
        if numbered:
            numbered.sort()
            files = [_ValuesFile(os.path.join(folder, name), spec.vectors, number)
                     for number, name in numbered]
            for f in files[:-1]:
                if not f.complete:
                    raise FormatError(f.path, "a numbered values file cut short before the "
                                      "last", int(os.path.getsize(f.path)))
            return files
    raise FileNotFoundError(errno.ENOENT, "no values file (UNSMRY or S0001...) of the case",
                            os.path.join(folder, stem + ".UNSMRY"))


def _find(folder: str, name: str) -> Optional[str]:
    """The file of that name in folder, its extension matched in any case."""
    path = os.path.join(folder, name)
    if os.path.isfile(path):
        return path
    stem, ext = os.path.splitext(name)
    try:
        listing = os.listdir(folder or ".")
    except OSError:
        return None
    for candidate in listing:
        c_stem, c_ext = os.path.splitext(candidate)
        if c_stem == stem and c_ext.upper() == ext.upper():
            return os.path.join(folder, candidate)
    return None


def _case_base(source: PathLike) -> str:
    """The base of a case (folder and name, no extension) from what a user names it by."""
    path = os.fsdecode(os.fspath(source))
    return _CASE_EXTENSION.sub("", path)


def _smspec_of(base: str) -> Optional[str]:
    """The summary header of a case: SMSPEC, else the formatted FSMSPEC."""
    folder, stem = os.path.split(base)
    return _find(folder, stem + ".SMSPEC") or _find(folder, stem + ".FSMSPEC")


# -- one case of a chain -------------------------------------------------------------------------


class _Case:
    """One case of a restart chain: its header, values files and the rows of it that are kept."""

    def __init__(self, base: str):
        smspec = _smspec_of(base)
        if smspec is None:
            raise FileNotFoundError(errno.ENOENT, "no summary header of the case",
                                    base + ".SMSPEC")
        self.base = base
        self.spec = _read_spec(smspec)
        self.files = _values_files(base, self.spec)
        self.reports = np.concatenate([f.reports for f in self.files]).astype(np.int32)
        self.complete = self.files[-1].complete
        self.keep = len(self.reports)  # rows of this case in the chain (the first ones)

    def gather(self, rows: np.ndarray, keys: Sequence[str], out: np.ndarray) -> None:
        """Fills out with the values of keys at the rows (of this case) given, NaN for keys
        this case lacks."""
        columns = np.array([self.spec.columns.get(k, -1) for k in keys], dtype=np.int32)
        start = 0
        for f in self.files:
            n = len(f.positions)
            lo, hi = np.searchsorted(rows, [start, start + n])
            if hi > lo:
                f.gather(rows[lo:hi] - start, columns, out[lo:hi])
            start += n


# -- the summary ---------------------------------------------------------------------------------


class Summary:
    """The time series of a run (a case and, with ``include_restart``, the cases it restarts
    from), opened by :func:`kelvara.open_summary`. Opening reads the summary headers and finds
    the values records; values are read from the files when asked for."""

    def __init__(self, source: PathLike, *, include_restart: bool = True):
        if not isinstance(source, (str, os.PathLike)):
            raise TypeError(f"open_summary needs a path, not {type(source).__name__}")
        base = _case_base(source)
        chain = [_Case(base)]
        seen = {os.path.abspath(base).upper()}
        while include_restart and chain[0].spec.restart and chain[0].spec.restart_step > 0:
            folder = os.path.dirname(chain[0].base)
            earlier = os.path.join(folder, _case_base(chain[0].spec.restart))
            if os.path.abspath(earlier).upper() in seen or _smspec_of(earlier) is None:
                break
            try:
                case = _Case(earlier)
            except FileNotFoundError:
                break
            # The earlier case's rows up to the end of the report step the later one starts
            # from.
            case.keep = int(np.searchsorted(case.reports, chain[0].spec.restart_step,
                                            side="right"))
            seen.add(os.path.abspath(earlier).upper())
            chain.insert(0, case)
        self._chain = chain
        last = chain[-1].spec
        self._start = last.start
        keys: Dict[str, None] = dict.fromkeys(last.columns)
        for case in reversed(chain[:-1]):
            keys.update(dict.fromkeys(case.spec.columns))
        self._keys = list(keys)
        self._units: Dict[str, str] = {}
        for case in chain:
            self._units.update(case.spec.units)
        offset = 0
        reports = []
        for k, case in enumerate(chain):
            r = case.reports[:case.keep]
            if k > 0 and case.spec.restart_step > 0 and len(case.files) == 1 \
                    and _NUMBERED.search(case.files[0].path) is None:
                r = r + case.spec.restart_step  # a unified restart counts on from its start
            reports.append(r)
            offset += case.keep
        self._reports = np.concatenate(reports).astype(np.int32)
        self._rows = offset
        self._times: Optional[np.ndarray] = None
        self._closed = False

    # -- keys --------------------------------------------------------------------------------

    def keys(self, pattern: Optional[str] = None) -> List[str]:
        """The keys, in the order of the summary header; with ``pattern`` (shell style, as
        ``"W*:OP_*"``) those that match it."""
        if pattern is None:
            return list(self._keys)
        return [k for k in self._keys if fnmatch.fnmatchcase(k, pattern)]

    def __contains__(self, key: object) -> bool:
        return key in self._units

    def __len__(self) -> int:
        return len(self._keys)

    def __iter__(self) -> Iterator[str]:
        return iter(self._keys)

    def _check(self, key: str) -> None:
        if not isinstance(key, str):
            raise TypeError(f"a summary key is a str, not {type(key).__name__}")
        if key not in self._units:
            close = difflib.get_close_matches(key, self._keys, n=5, cutoff=0.6)
            hint = f"; close keys: {', '.join(close)}" if close else ""
            raise KeyError(f"{key!r}: no such key in {self._chain[-1].spec.path}{hint}")

    def unit(self, key: str) -> str:
        """The unit of a key, as the summary header gives it."""
        self._check(key)
        return self._units[key]

    # -- time --------------------------------------------------------------------------------

    @property
    def start(self) -> datetime.datetime:
        """The start of the run, with time of day where the header gives it."""
        return self._start

    @property
    def times(self) -> np.ndarray:
        """Days since :attr:`start`, one a time step (float64)."""
        if self._times is None:
            parts = []
            for case in self._chain:
                rows = np.arange(case.keep)
                raw = np.empty((case.keep, 1), dtype=np.float32)
                if "TIME" not in case.spec.columns:
                    raise FormatError(case.spec.path, "no TIME vector in the summary header", 0)
                case.gather(rows, ["TIME"], raw)
                days = raw[:, 0].astype(np.float64)
                if case.spec.time_unit == "HOURS":
                    days /= 24.0
                shift = (case.spec.start - self._start) / datetime.timedelta(days=1)
                parts.append(days + shift)
            self._times = np.concatenate(parts) if parts else np.empty(0)
        return self._times.copy()

    @property
    def dates(self) -> np.ndarray:
        """The date of each time step, ``numpy.datetime64[ms]``."""
        start = np.datetime64(self._start, "ms")
        return start + np.round(self.times * _MS_PER_DAY).astype("timedelta64[ms]")

    @property
    def report_steps(self) -> np.ndarray:
        """The report step of each time step (int32)."""
        return self._reports.copy()

    def _report_rows(self) -> np.ndarray:
        """The last time step of each report step."""
        r = self._reports
        return np.flatnonzero(np.append(r[1:] != r[:-1], True)) if len(r) else np.empty(0, int)

    # -- values ------------------------------------------------------------------------------

    def values(self, keys: Optional[Iterable[str]] = None, report_only: bool = False
               ) -> np.ndarray:
        """The vectors of keys (all keys when None) as float32 (time steps, keys), in the order
        asked; ``report_only`` keeps the last time step of each report step."""
        self._alive()
        wanted = self._keys if keys is None else ([keys] if isinstance(keys, str) else list(keys))
        for key in wanted:
            self._check(key)
        rows = self._report_rows() if report_only else np.arange(self._rows)
        out = np.empty((len(rows), len(wanted)), dtype=np.float32)
        start = 0
        for case in self._chain:
            lo, hi = np.searchsorted(rows, [start, start + case.keep])
            if hi > lo:
                case.gather(rows[lo:hi] - start, wanted, out[lo:hi])
            start += case.keep
        return out

    def vector(self, key: str, report_only: bool = False) -> np.ndarray:
        """One vector (float32), a value a time step or, with ``report_only``, a report step."""
        return self.values([key], report_only)[:, 0]

    def __getitem__(self, key: str) -> np.ndarray:
        return self.vector(key)

    def to_pandas(self, keys: Optional[Iterable[str]] = None, report_only: bool = False) -> Any:
        """A ``pandas.DataFrame`` of the vectors, indexed by date (``DATE``)."""
        import pandas as pd

        wanted = self._keys if keys is None else ([keys] if isinstance(keys, str) else list(keys))
        data = self.values(wanted, report_only)
        dates = self.dates
        if report_only:
            dates = dates[self._report_rows()]
        index = pd.DatetimeIndex(dates, name="DATE")
        return pd.DataFrame(data, index=index, columns=list(wanted))

    # -- the run -----------------------------------------------------------------------------

    @property
    def cases(self) -> List[str]:
        """The summary headers of the restart chain, oldest first."""
        return [case.spec.path for case in self._chain]

    @property
    def complete(self) -> bool:
        """False when the last time step of the run was cut short (a run still being written):
        the steps before it are read."""
        return self._chain[-1].complete

    def _alive(self) -> None:
        if self._closed:
            raise ValueError("I/O operation on a closed summary.")

    def close(self) -> None:
        """Closes the summary: reading values afterwards raises ``ValueError``."""
        self._closed = True

    def __enter__(self) -> "Summary":
        return self

    def __exit__(self, *exc_info: object) -> None:
        self.close()

    def __repr__(self) -> str:
        return (f"<Summary {self._chain[-1].spec.path!r}: {len(self._keys)} keys, "
                f"{self._rows} time steps>")


def open_summary(source: PathLike, *, include_restart: bool = True) -> Summary:
    """Opens a summary case named as users name it (``CASE``, ``CASE.SMSPEC``, ``CASE.UNSMRY``,
    ``CASE.DATA``, any case of extension, a ``pathlib.Path``): the unified values file when it
    exists, else the numbered ones. With ``include_restart`` the cases it restarts from are
    followed while their files exist.

    Raises ``FileNotFoundError`` naming a missing file, :class:`kelvara.FormatError` for broken
    files, a ``PARAMS`` of the wrong length or a start date that does not exist.
    """
    return Summary(source, include_restart=include_restart)
