"""Readers of ECLIPSE, IMEX and MoReS files, in the scopes eclipse, imex and mores."""

from typing import IO, Any, Dict, List, Literal, Optional, SupportsIndex, Tuple, Union, overload

import numpy as np

from ._ostrel import (Array, Array1DBuilderDouble, Array1DBuilderFloat, Array1DBuilderInt,
                      Array3DBuilderDouble, Array3DBuilderFloat, Array3DBuilderUChar,
                      ArrayFeeder, CharVector, CompleteCornersBuilder,
                      SConnectionArrayFeeder, SGridInfo, SGridInfoAssembly)

_File = IO[Any]
# An item type code: a str of one character below U+0100, or a bytes of one byte.
_TypeCode = Union[str, bytes]

class eclipse:
    """ECLIPSE unformatted files: section cursor, item feeding, section maps, grid sections."""

    class SectionData:
        @property
        def position(self) -> int: ...
        @property
        def name(self) -> str: ...
        @property
        def type(self) -> str: ...
        @property
        def size(self) -> int: ...

    class Section:
        @overload
        def __init__(self, file: _File) -> None: ...
        @overload
        def __init__(self, file: _File, position: int) -> None: ...
        def Name(self) -> str: ...
        @property
        def name(self) -> str: ...
        def Data(self) -> "eclipse.SectionData": ...
        def Size(self) -> int: ...
        def SizeInBytes(self) -> int: ...
        def Type(self) -> str: ...
        def GoTo(self, position: int) -> bool: ...
        def Advance(self) -> bool: ...
        def Position(self) -> int: ...
        @overload
        def LoadItems(self) -> List[Union[int, float, str, None]]: ...
        @overload
        def LoadItems(self, start: int, count: int) -> List[Union[int, float, str, None]]: ...
        @overload
        def LoadToFeeder(self, feeder: ArrayFeeder) -> None: ...
        @overload
        def LoadToFeeder(self, feeder: ArrayFeeder, start: int, count: int, skip: int) -> None: ...
        @overload
        def LoadToFeeder(self, mask: CharVector, value: int, feeder: ArrayFeeder) -> None: ...

    class SectionInfo:
        """What the host knows of one section: name, file, type, address, item count."""
        def __init__(self, name: str, filename: str, type: str, address: int,
                     items_count: int) -> None: ...
        name: str
        filename: str
        type: str
        address: int  # signed 32-bit
        items_count: int  # signed 32-bit
        @property
        def num_limits(self) -> Union[tuple[float, float], None]: ...
        @num_limits.setter
        def num_limits(self, value: Any) -> None: ...  # accepted and ignored

    class SectionInfoMap:
        """SectionInfo records by name; a missing name gives None."""
        def __init__(self) -> None: ...
        def get(self, key: str) -> Union["eclipse.SectionInfo", None]: ...
        def __getitem__(self, key: str) -> Union["eclipse.SectionInfo", None]: ...
        def __setitem__(self, key: str, info: Union["eclipse.SectionInfo", None]) -> None: ...
        def __len__(self) -> int: ...

    class SPECInfo:
        """A store of SectionInfo records, sorted by name into three maps."""
        def __init__(self) -> None: ...
        def AddSectionInfo(self, info: "eclipse.SectionInfo") -> None: ...
        @property
        def frt_sections(self) -> "eclipse.SectionInfoMap": ...
        @property
        def tab_sections(self) -> "eclipse.SectionInfoMap": ...
        @property
        def map_sections(self) -> "eclipse.SectionInfoMap": ...

    @staticmethod
    def MapFileSections(file: _File) -> Dict[str, "eclipse.SectionData"]: ...
    @staticmethod
    def MapExtGridFileSections(file: _File) -> Dict[str, Any]:
        """Catalogue of an EGRID file: "__grids__" (name -> dict of SectionData by section
        name plus the NNC counters FaultNNCSize, MatrixFaultNNCSize, FractureFaultNNCSize,
        DpDkNNCSize, DpDkFrac2Matr, MatrixExternalNNCSize, FractureExternalNNCSize and, after a
        dual-permeability NNCL, DpDkExternalNNCMask), "__unknowns__", "__grid_names__", and the
        file-level sections at the top level."""
    @staticmethod
    def MapGridFileSections(file: _File, dualMode: int) -> Dict[str, Any]:
        """Catalogue of a plain GRID file, in the form of MapExtGridFileSections with the
        counters FaultNNCSize, DpDkNNCSize and DpDkFrac2Matr."""
    # Defined after ReadGridHostnumSections at run time.
    @staticmethod
    def DpDkExtGridActiveCellsCount(file: _File, position: int) -> tuple[int, int]: ...
    @staticmethod
    def ReadGridDpDkActnumSections(file: _File, count: int, position: int, matrix: bool,
                                   feeder: ArrayFeeder) -> None: ...
    @staticmethod
    def ReadExtGridDpDkActnumSections(file: _File, count: int, position: int, matrix: bool,
                                      feeder: ArrayFeeder) -> None: ...
    @staticmethod
    def ReadGridCornersSections(file: _File, count: int, position: int,
                                feeder: ArrayFeeder) -> None: ...
    @staticmethod
    def ReadGridActnumSections(file: _File, count: int, position: int,
                               feeder: ArrayFeeder) -> None: ...
    @staticmethod
    def ReadGridHostnumSections(file: _File, count: int, position: int,
                                feeder: ArrayFeeder) -> None: ...
    @staticmethod
    def ConvertHandles(nx: int, ny: int, nz: int, array: Union[Array, Any]) -> bool: ...

class imex:
    """IMEX framed binary blocks."""

    class Section:
        """A cursor over one framed block of an IMEX file: bare (big-endian size, payload),
        record (length, marker, size, payload, trailing word; either byte order) or marked
        (marker, size in host order, payload). It reads at positions of its own and never moves
        the file object; it goes on reading the same file after the file object is closed."""

        def __new__(cls, file: _File, position: SupportsIndex,
                    bare_records: bool) -> Optional["imex.Section"]:
            """Reads the frame at position (negative: 0). Gives None when position converts
            to a 64-bit integer neither of two times. A failed header read still makes the
            cursor; its fields then keep their earlier values."""
        def ItemsCount(self, type: _TypeCode) -> int:
            """Items of 'i' (4 bytes) or 'd' (8 bytes) in the payload, a partial last item not
            counted. Any other code prints "Unknown section type:" and the code on standard
            error and gives data_size // 0xFFFFFFFF (0 for any smaller size)."""
        def SwapBytes(self) -> bool: ...
        def Advance(self) -> bool:
            """Moves to the block at end_pos; False when its header can't be read (start_pos
            then names that position, the other fields the block before)."""
        def GoTo(self, position: int) -> bool: ...
        def Size(self) -> int:
            """Header, payload and trailer in bytes, in 32-bit arithmetic."""
        @overload
        def GetItems(self, type: Literal["i", b"i"]) -> "np.ndarray[Any, np.dtype[np.int32]]":
            """The whole payload as a new NumPy array: int32 for 'i', float64 for 'd', native
            byte order. A block that claims more items than the rest of the file can hold
            raises RuntimeError "IMEX block at P claims N items, more than the rest of the file
            can hold" before anything is allocated. Any other code raises RuntimeError
            "Invalid data type"."""
        @overload
        def GetItems(self, type: Literal["d", b"d"]) -> "np.ndarray[Any, np.dtype[np.float64]]": ...
        @overload
        def GetItems(self, type: _TypeCode) -> "np.ndarray[Any, Any]": ...
        def FeedItems(self, type: _TypeCode, feeder: object) -> bool:
            """Feeds the whole payload to an ArrayFeeder as float64, in chunks of 1024 items.
            False when feeder is no ArrayFeeder (the code is then not looked at) or when the
            file ends early (the whole chunks that arrived stay fed). Any other code than 'i'
            or 'd' raises RuntimeError "Invalid data type"."""
        @property
        def start_pos(self) -> int: ...
        @property
        def data_pos(self) -> int: ...
        @property
        def end_pos(self) -> int: ...
        @property
        def data_size(self) -> int: ...

    class Loader:
        """The grid hierarchy of an IMEX file, built from a Section and a table of named
        blocks: any mapping of block name to records with mrf_pos. A missing name raises the
        mapping's own error (KeyError for a dict). The loader reads through its own copy of the
        section; the file must stay open for its whole life. A grid index outside the list ends
        the process (the checked-container failure path)."""

        def __init__(self, section: "imex.Section", table: Any) -> None: ...
        def GridCount(self) -> int: ...
        def GridInfo(self, grid: int) -> SGridInfo: ...
        def GetGeometryArrayNames(self) -> List[str]:
            """"CORNERS" if present, else "BLOCKSIZE" and "BLOCKDEPTH" where present; then
            "BLOCKPVOL" if present."""
        def HasGeometryArray(self, name: str) -> bool: ...
        def FeedCorners(self, grid: int, feeder: CompleteCornersBuilder) -> bool:
            """Any other feeder raises the cast error."""
        def FeedPayDepth(self, grid: int,
                         feeder: Union[Array3DBuilderFloat, Array3DBuilderDouble, Any]) -> bool: ...
        def FeedDeltas(self, grid: int, dx: Union[Array1DBuilderFloat, Array1DBuilderDouble],
                       dy: Union[Array1DBuilderFloat, Array1DBuilderDouble],
                       dz: Union[Array3DBuilderFloat, Array3DBuilderDouble]) -> bool:
            """All three of one precision, else False."""
        def FeedActnum(self, grid: int,
                       feeder: Union[Array3DBuilderDouble, Array3DBuilderUChar, Any]) -> bool: ...
        def FeedGridArray(self, name: str, grid: int,
                          feeder: Union[Array3DBuilderFloat, Array3DBuilderDouble, Any]) -> bool: ...
        def FeedPackedGridFunction(
                self, grid: int, position: int, type: _TypeCode,
                feeder: Union[Array1DBuilderFloat, Array1DBuilderDouble, Array1DBuilderInt,
                              ArrayFeeder, Any]) -> bool:
            """RuntimeError "Invalid Feeder type!" for no ArrayFeeder; False for another
            ArrayFeeder or a grid without active cells; RuntimeError "Invalid section type must
            be 'i' or 'd'!" for another type."""
        def FeedConnectionGridFunctions(self, position: int, type: _TypeCode,
                                        feeder: SConnectionArrayFeeder) -> bool: ...
        def HostCellIJK(self, grid: int) -> Optional[Tuple[int, int, int]]: ...
        def SetupConnections(self) -> None: ...
        def GetGridAssembly(self) -> SGridInfoAssembly: ...

class mores:
    """MoReS base-64 data: raw little-endian items as base-64 text, fed straight into
    feeders. Each call decodes at most count characters (nothing when count < 1); the first
    byte outside the base-64 alphabet ('=', a line end, a blank) or the end of the file ends the
    data. The file object is left at the end of the last chunk of up to 1024 characters read.
    Argument tests, in order: the file (TypeError "First argument must be a file object!"), the
    feeder (RuntimeError "Unknown Array Feeder" / "Unknown Connection Array Feeder" /
    "Unknown Corners Array Feeder"), the type
    (RuntimeError "Invalid data type")."""

    @staticmethod
    def B64FeedArray(file: _File, type: _TypeCode, count: int, feeder: ArrayFeeder) -> bool:
        """Every item, from where the file object stands. Always True."""
    @staticmethod
    def B64SliceFeedArray(file: _File, type: _TypeCode, count: int, first: int, last: int,
                          feeder: ArrayFeeder) -> bool:
        """The items whose index lies in [first, last); the whole stretch is read. Always
        True."""
    @staticmethod
    def B64FeedConnectionArray(file: _File, type: _TypeCode, count: int,
                               feeder: SConnectionArrayFeeder) -> bool:
        """Every item, from where the file object stands, into an SConnectionArrayFeeder
        (RuntimeError "Unknown Connection Array Feeder" for any other feeder). Always True."""
    @staticmethod
    def B64FeedCornersArray(file: _File, begin: int, end: int, first: int, last: int,
                            stride: int, feeder: CompleteCornersBuilder) -> bool:
        """Doubles from byte begin on (a negative begin: where the file object stands), end -
        begin characters, into a CompleteCornersBuilder in bands: items in [first, last), the
        band moving on by stride at the first item at or behind last. Always True."""

class _typed:
    """The checked section catalogue and the typed read behind kelvara.open (private)."""

    class Source:
        def __init__(self, file: _File) -> None: ...
        @property
        def size(self) -> int: ...
        @property
        def closed(self) -> bool: ...
        def close(self) -> None: ...

    class Scanner:
        def __init__(self, source: "_typed.Source") -> None: ...
        def step(self, nbytes: int) -> bool: ...
        @property
        def position(self) -> int: ...
        @property
        def file_size(self) -> int: ...
        @property
        def guessed(self) -> int: ...
        @property
        def walked(self) -> int: ...
        @property
        def problem(self) -> Any: ...
        def table(self) -> Any: ...

    @staticmethod
    def read_into(source: "_typed.Source", data_position: int, swap: bool, type: str,
                  count: int, out: Any) -> Any: ...
    @staticmethod
    def read_records(source: "_typed.Source", positions: Any, counts: Any, swaps: Any,
                     out: Any) -> Any: ...
