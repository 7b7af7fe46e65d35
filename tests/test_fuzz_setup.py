"""The fuzzing setup: every reader has a target with seeds in the repository, the corpus stays
small, and the list of known findings is well formed."""

import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FUZZ = ROOT / "fuzz"

READER_TARGETS = {"eclipse_section", "map_file_sections", "grid_scan", "ext_grid_scan",
                  "imex_section", "imex_loader", "mores_feeds", "open", "open_grid"}


def listed():
    run = subprocess.run([str(ROOT / "tools" / "fuzz"), "--list"], capture_output=True,
                         text=True, check=True)
    return run.stdout.split()


def test_list_names_a_target_for_every_reader():
    assert READER_TARGETS <= set(listed())


def test_every_target_has_seeds():
    for target in listed():
        seeds = list((FUZZ / "corpus" / target).glob("*"))
        assert seeds, target


def test_corpus_stays_small():
    files = [p for p in (FUZZ / "corpus").rglob("*") if p.is_file()]
    assert max(p.stat().st_size for p in files) <= 64 * 1024
    assert sum(p.stat().st_size for p in files) <= 4 * 1024 * 1024


def test_known_findings_are_well_formed():
    targets = set(listed()) | {"*"}
    for line in (FUZZ / "known-findings.txt").read_text().splitlines():
        if not line.strip() or line.startswith("#"):
            continue
        target, pattern, note = line.split("\t")
        assert target in targets, line
        re.compile(pattern)
        assert note.strip()


def test_contract_end_is_recognised_only_without_a_sanitizer_report():
    sys.path.insert(0, str(FUZZ))
    try:
        import run
    finally:
        sys.path.pop(0)
    rules = [r for r in run.known_findings() if r[0] == "*"]
    clean = "Running: x\nContract violation: IGNTJD as long as IGNTID (src/imex/Checked.h:15)\n"
    report = "==1==ERROR: AddressSanitizer: heap-buffer-overflow\n" + clean
    assert any(p.search(clean) for _, p, _ in rules)
    assert not any(p.search(report) for _, p, _ in rules)


def test_unknown_target_is_refused():
    run = subprocess.run([str(ROOT / "tools" / "fuzz"), "no_such_target", "1"],
                         capture_output=True, text=True)
    assert run.returncode != 0
    assert "name a target" in run.stderr
