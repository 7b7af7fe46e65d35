"""The host's section catalogue: SectionInfo, SectionInfoMap and SPECInfo."""

import pytest

from kelvara import eclipse

FRT_NAMES = [
    "INTEHEAD", "LOGIHEAD", "DOUBHEAD", "HIDDEN", "LGRHEADD", "LGRHEADI", "LGRHEADQ", "LGR",
    "ENDLGR", "LGWEL", "LGRNAMES", "SEQNUM", "FIPFAMNA", "IGRP", "SGRP", "XGRP", "ZGRP",
    "IWEL", "SWEL", "XWEL", "ZWEL", "XGRT", "IGRT", "XWET", "IWET", "XCOT", "ICON", "ICOT",
    "SCON", "XCON", "ISEG", "RSEG", "ILBR", "STARTSOL", "ENDSOL", "LGRJOIN", "DLYTIM"]


def info(name, address=0, count=1):
    return eclipse.SectionInfo(name, "CASE.UNRST", "INTE", address, count)


def test_exposed_in_the_eclipse_scope_after_section():
    names = list(vars(eclipse))
    order = [names.index(n) for n in ("SectionData", "Section", "SectionInfo",
                                      "SectionInfoMap", "SPECInfo")]
    assert order == sorted(order)


def test_record_fields():
    record = eclipse.SectionInfo("PRESSURE", "CASE.X0001", "REAL", -2147483648, 2147483647)
    assert (record.name, record.filename, record.type) == ("PRESSURE", "CASE.X0001", "REAL")
    assert (record.address, record.items_count) == (-2147483648, 2147483647)
    record.name, record.filename, record.type = "SWAT", "B", "DOUB"
    record.address, record.items_count = 17, 4
    assert (record.name, record.filename, record.type, record.address,
            record.items_count) == ("SWAT", "B", "DOUB", 17, 4)
    record.name = "ÿé"  # Latin-1 text passes byte for byte
    assert record.name == "ÿé"


@pytest.mark.parametrize("address", [2 ** 31, -2 ** 31 - 1, 2 ** 40])
def test_address_out_of_32_bits_is_refused_like_a_wrong_type(address):
    with pytest.raises(TypeError):
        eclipse.SectionInfo("A", "f", "INTE", address, 1)
    record = info("A")
    with pytest.raises(TypeError):
        record.address = address
    assert record.address == 0
    with pytest.raises(TypeError):
        eclipse.SectionInfo("A", "f", "INTE", "12", 1)


def test_num_limits_is_none_and_stays_none():
    record = info("A")
    assert record.num_limits is None
    record.num_limits = (0.0, 10.0)
    assert record.num_limits is None
    record.num_limits = "anything at all"
    assert record.num_limits is None


def test_add_section_info_sorts_by_the_name_set():
    store = eclipse.SPECInfo()
    store.AddSectionInfo(info("INTEHEAD"))
    assert (len(store.frt_sections), len(store.map_sections), len(store.tab_sections)) == (1, 0, 0)
    store.AddSectionInfo(info("PRESSURE"))
    assert (len(store.frt_sections), len(store.map_sections), len(store.tab_sections)) == (1, 1, 0)
    assert store.frt_sections.get("INTEHEAD").name == "INTEHEAD"
    assert store.map_sections["PRESSURE"].name == "PRESSURE"


@pytest.mark.parametrize("name", FRT_NAMES)
def test_every_name_of_the_set_goes_to_frt(name):
    store = eclipse.SPECInfo()
    store.AddSectionInfo(info(name))
    assert store.frt_sections.get(name) is not None
    assert len(store.map_sections) == 0


@pytest.mark.parametrize("name", ["intehead", "INTEHEA", "INTEHEADX", " SEQNUM", "PRESSURE"])
def test_other_names_go_to_map(name):
    store = eclipse.SPECInfo()
    store.AddSectionInfo(info(name))
    assert len(store.frt_sections) == 0
    assert store.map_sections[name] is not None


def test_name_is_compared_up_to_its_first_nul():
    store = eclipse.SPECInfo()
    store.AddSectionInfo(info("SEQNUM\x00XY"))
    assert len(store.frt_sections) == 1
    # The key is the whole name.
    assert store.frt_sections.get("SEQNUM\x00XY") is not None
    assert store.frt_sections.get("SEQNUM") is None


def test_a_second_record_of_one_name_replaces_the_first():
    store = eclipse.SPECInfo()
    first, second = info("PRESSURE", 1), info("PRESSURE", 2)
    store.AddSectionInfo(first)
    store.AddSectionInfo(second)
    assert len(store.map_sections) == 1
    assert store.map_sections.get("PRESSURE").address == 2


def test_missing_key_gives_none():
    records = eclipse.SectionInfoMap()
    assert records.get("NOPE") is None
    assert records["NOPE"] is None
    assert len(records) == 0


def test_map_set_get_and_none():
    records = eclipse.SectionInfoMap()
    record = info("A", 5)
    records["A"] = record
    records["B"] = None
    assert len(records) == 2
    assert records.get("A") is record
    assert records["B"] is None
    # Renaming a record does not move it.
    record.name = "Z"
    assert records["A"].name == "Z" and records["Z"] is None


def test_map_offers_no_iteration_nor_deletion():
    records = eclipse.SectionInfoMap()
    records["A"] = info("A")
    with pytest.raises(TypeError):
        iter(records)
    with pytest.raises((TypeError, AttributeError)):
        del records["A"]
    assert not hasattr(records, "keys")


def test_maps_of_the_store_are_views():
    store = eclipse.SPECInfo()
    store.map_sections["X"] = info("X")
    assert store.map_sections.get("X").name == "X"
    store.tab_sections["T"] = info("T")
    assert len(store.tab_sections) == 1
    view = store.frt_sections
    del store
    view["K"] = info("K")  # the view keeps the store alive
    assert len(view) == 1
    with pytest.raises(AttributeError):
        eclipse.SPECInfo().map_sections = eclipse.SectionInfoMap()


def test_two_stores_share_the_name_set_and_nothing_else():
    a, b = eclipse.SPECInfo(), eclipse.SPECInfo()
    a.AddSectionInfo(info("SEQNUM"))
    b.AddSectionInfo(info("ZWEL"))
    b.AddSectionInfo(info("SWAT"))
    assert len(a.frt_sections) == 1 and len(a.map_sections) == 0
    assert len(b.frt_sections) == 1 and len(b.map_sections) == 1
    assert a.frt_sections.get("ZWEL") is None


def test_records_are_shared_with_the_host():
    store = eclipse.SPECInfo()
    record = info("PRESSURE")
    store.AddSectionInfo(record)
    record.items_count = 77
    assert store.map_sections["PRESSURE"].items_count == 77


def test_add_needs_a_record():
    with pytest.raises(TypeError):
        eclipse.SPECInfo().AddSectionInfo(None)
    with pytest.raises(TypeError):
        eclipse.SPECInfo().AddSectionInfo("INTEHEAD")


def test_section_info_cannot_be_made_without_its_fields():
    with pytest.raises(TypeError):
        eclipse.SectionInfo()
