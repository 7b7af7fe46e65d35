"""Readers of ECLIPSE, IMEX and MoReS files, in the scopes eclipse, imex and mores."""

from typing import IO, Any, Dict, List, Literal, Optional, SupportsIndex, Union, overload

import numpy as np

from ._ostrel import ArrayFeeder, CharVector, CompleteCornersBuilder

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

    @staticmethod
    def MapFileSections(file: _File) -> Dict[str, "eclipse.SectionData"]: ...
    @staticmethod
    def ReadGridCornersSections(file: _File, count: int, position: int,
                                feeder: ArrayFeeder) -> None: ...
    @staticmethod
    def ReadGridActnumSections(file: _File, count: int, position: int,
                               feeder: ArrayFeeder) -> None: ...
    @staticmethod
    def ReadGridHostnumSections(file: _File, count: int, position: int,
                                feeder: ArrayFeeder) -> None: ...

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

class mores:
    """MoReS base-64 data: raw little-endian items as base-64 text, fed straight into
    feeders. Each call decodes at most count characters (nothing when count < 1); the first
    byte outside the base-64 alphabet ('=', a line end, a blank) or the end of the file ends the
    data. The file object is left at the end of the last chunk of up to 1024 characters read.
    Argument tests, in order: the file (TypeError "First argument must be a file object!"), the
    feeder (RuntimeError "Unknown Array Feeder" / "Unknown Corners Array Feeder"), the type
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
        def problem(self) -> Any: ...
        def table(self) -> Any: ...

    @staticmethod
    def read_into(source: "_typed.Source", data_position: int, swap: bool, type: str,
                  count: int, out: Any) -> Any: ...
    @staticmethod
    def read_records(source: "_typed.Source", positions: Any, counts: Any, swaps: Any,
                     out: Any) -> Any: ...
