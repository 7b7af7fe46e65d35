"""``python -m kelvara``: the ``kelvara`` command."""

from ._cli import run

run()
