"""Helpers of the loader tests: a model written in a frame form and a loader over it."""

import numpy as np

from kelvara import imex

from imexmodel import Model, Rec
from imexwriter import block

FORMS = ["bare", "record", "marked"]


def open_loader(tmp_path, model, form="record", results=(), skip=(), name="model.bin",
                table_edit=None):
    """(loader, file object, table, positions of the result blocks)."""
    path = tmp_path / name
    table, positions = model.write(path, form=form, results=results, skip=skip)
    if table_edit:
        table_edit(table)
    f = open(path, "rb")
    section = imex.Section(f, 0, form == "bare")
    return imex.Loader(section, table), f, table, positions


def write_blocks(path, blocks):
    """Record blocks [(name, type, values)] behind 16 bytes; the host's table of them."""
    data = bytearray(b"\0" * 16)
    table = {}
    for name, type_, values in blocks:
        table[name] = Rec(len(data))
        data += block("record", type_, np.asarray(values))
    path.write_bytes(bytes(data))
    return table


def small_model(blocksize=True):
    """A main grid of 4 x 3 x 2 with grid 2 (2 x 2 x 1) in its cell 5 and grid 3 (1 x 1 x 2)
    in cell 2 of grid 2; a few inactive cells (one of them -1) and packed orders that differ
    from cell order."""
    dims = [(4, 3, 2), (2, 2, 1), (1, 1, 2)]
    icstps = np.ones(24 + 4 + 2, np.int32)
    icstps[[0, 7, 13]] = 0
    icstps[20] = -1
    icstps[24 + 1] = 0
    ipstcs = []
    begins = [0, 24, 28, 30]
    for g in range(3):
        cells = np.nonzero(icstps[begins[g]:begins[g + 1]] > 0)[0] + begins[g] + 1
        ipstcs.append(cells[::-1])
    icstcg = np.zeros(30, np.int32)
    icstcg[5] = 2
    icstcg[24 + 2] = 3
    sizes = None
    if blocksize:
        sizes = np.column_stack([np.arange(30) + 1.0, np.arange(30) * 0.5 + 2.0,
                                 np.full(30, 9.0)])
    return Model(dims, icstps, np.concatenate(ipstcs).astype(np.int32), icstcg, sizes)


class RecordingTable(dict):
    """A dict table that records the names it is asked for: ("get", name) for an item,
    ("has", name) for a membership test."""

    def __init__(self, *args):
        super().__init__(*args)
        self.asked = []

    def __getitem__(self, name):
        self.asked.append(("get", name))
        return dict.__getitem__(self, name)

    def __contains__(self, name):
        self.asked.append(("has", name))
        return dict.__contains__(self, name)


def open_recording(path, model):
    """(loader, file, table) over a model written to path, with a RecordingTable cleared after
    the loader was built."""
    table, _ = model.write(path)
    recording = RecordingTable(table)
    f = open(path, "rb")
    loader = imex.Loader(imex.Section(f, 0, False), recording)
    recording.asked.clear()
    return loader, f, recording
