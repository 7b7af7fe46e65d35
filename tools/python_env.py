#!/usr/bin/env python3
"""Decides where tools/install puts kelvara for the Python that runs this script.

Prints one line, "current" or "venv", then a tab and the reason:

- current: this Python is a virtual environment already, or one that pip may install into;
- venv:    this Python is externally managed (PEP 668: an EXTERNALLY-MANAGED file in its
           standard library, as on Debian 12 and Ubuntu 24.04) or has no pip, so kelvara goes
           into a virtual environment made from it.

Used by tools/install; tests/test_install.py tests the decision.
"""

from __future__ import annotations

import importlib.util
import os
import sys
import sysconfig
from typing import Tuple


def decide(prefix: str, base_prefix: str, stdlib: str, has_pip: bool) -> Tuple[str, str]:
    """The decision for an interpreter of that prefix, base prefix and standard library."""
    if os.path.realpath(prefix) != os.path.realpath(base_prefix):
        return "current", f"a virtual environment ({prefix})"
    if os.path.isfile(os.path.join(stdlib, "EXTERNALLY-MANAGED")):
        return "venv", f"externally managed ({os.path.join(stdlib, 'EXTERNALLY-MANAGED')})"
    if not has_pip:
        return "venv", "no pip in this Python"
    return "current", f"pip installs into {prefix}"


def main() -> int:
    mode, reason = decide(sys.prefix, getattr(sys, "base_prefix", sys.prefix),
                          sysconfig.get_path("stdlib"),
                          importlib.util.find_spec("pip") is not None)
    print(f"{mode}\t{reason}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
