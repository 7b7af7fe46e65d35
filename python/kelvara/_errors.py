"""The errors of kelvara's layer for people."""

from __future__ import annotations

from typing import Optional


class FormatError(ValueError):
    """A file that is not what it claims to be: not an ECLIPSE unformatted file, a truncated
    section, a count that the file cannot hold, an unknown type, broken block framing.

    ``path`` is the file, ``section`` the name of the section concerned (``None`` when the
    problem lies before any section header), ``section_position`` that section's header byte,
    and ``position`` the byte where the problem was found.
    """

    def __init__(self, path: str, reason: str, position: int,
                 section: Optional[str] = None, section_position: Optional[int] = None):
        self.path = path
        self.reason = reason
        self.position = position
        self.section = section
        self.section_position = section_position
        where = f"byte {position}"
        if section is not None:
            message = (f"{path}: section {section!r} (header at byte {section_position}): "
                       f"{reason}, at {where}")
        else:
            message = f"{path}: {reason}, at {where}"
        super().__init__(message)

    def __reduce__(self):  # type: ignore[override]
        # Pickled by its fields rather than its text, so that it reaches another process (a
        # Dask worker's failure on its client) whole, attributes and any added state included.
        return (type(self), (self.path, self.reason, self.position, self.section,
                             self.section_position), self.__dict__ or None)
