"""Runs the fuzz targets (see tools/fuzz for the commands). Each target runs in libFuzzer's fork
mode, so that a crash, hang or allocation beyond the limit is saved and the run goes on; at the
end every saved input is run again alone and its report compared with known-findings.txt. An
input that is no known finding fails the run."""

from __future__ import annotations

import argparse
import os
import re
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FUZZ = ROOT / "fuzz"
BUILD = ROOT / "build" / "fuzz"
LLVM = "/usr/lib/llvm-16/bin"
# Inputs stay small: the readers' loops do not need large files to reach every branch, and
# small inputs keep the executions fast.
MAX_LEN = 65536


def native_targets():
    return sorted(p.stem for p in (FUZZ / "targets").glob("*.cpp"))


def python_targets():
    return sorted(p.stem for p in (FUZZ / "python").glob("*.py") if not p.stem.startswith("_"))


def targets():
    return sorted(native_targets() + python_targets())


def python_with_atheris():
    """The Python that kelvara is installed in (build/kelvara-python), with atheris added when
    it is missing. The Python targets instrument kelvara's Python code; the native readers
    under them are the regular build (the native targets fuzz those under the sanitizers)."""
    saved = ROOT / "build" / "kelvara-python"
    py = saved.read_text().strip() if saved.exists() else sys.executable
    if subprocess.run([py, "-c", "import atheris, kelvara"], capture_output=True).returncode:
        subprocess.run([py, "-m", "pip", "install", "-q", "atheris"], check=True)
    return py


def command_of(folder, target):
    """The command that runs a target, to which libFuzzer's flags and inputs are added."""
    if target in python_targets():
        # An executable of the target, which fork mode can start again for its workers.
        wrapper = BUILD / "bin" / target
        wrapper.parent.mkdir(parents=True, exist_ok=True)
        wrapper.write_text(f'#!/bin/sh\nexec "{python_with_atheris()}" '
                           f'"{FUZZ / "python" / (target + ".py")}" "$@"\n')
        wrapper.chmod(0o755)
        os.environ["KELVARA_FUZZ_ARGV0"] = str(wrapper)
        return [str(wrapper)]
    return [str(folder / target)]


def build(coverage=False):
    folder = BUILD.with_name("fuzz-coverage") if coverage else BUILD
    env = dict(os.environ)
    configure = ["cmake", "-S", str(FUZZ), "-B", str(folder), "-G", "Ninja",
                 f"-DCMAKE_CXX_COMPILER={LLVM}/clang++",
                 f"-DKELVARA_FUZZ_COVERAGE={'ON' if coverage else 'OFF'}"]
    if not (folder / "build.ninja").exists():
        subprocess.run(configure, check=True, env=env, stdout=subprocess.DEVNULL)
    subprocess.run(["nice", "-n", "19", "cmake", "--build", str(folder), "--", "-j",
                    os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", "2")], check=True, env=env)
    return folder


def sanitizer_env():
    env = dict(os.environ)
    env.setdefault("ASAN_OPTIONS", "allocator_may_return_null=0:detect_leaks=1")
    env.setdefault("UBSAN_OPTIONS", "print_stacktrace=1:halt_on_error=1")
    env["KELVARA_FUZZ_QUIET"] = "1"
    return env


def known_findings():
    rules = []
    for line in (FUZZ / "known-findings.txt").read_text().splitlines():
        if not line.strip() or line.startswith("#"):
            continue
        target, pattern, note = line.split("\t")
        rules.append((target, re.compile(pattern), note))
    return rules


def classify(command, target, artifact, rules):
    """(known note or None, the report) of one saved input, run again alone."""
    try:
        run = subprocess.run([*command, "-rss_limit_mb=2048", "-malloc_limit_mb=256",
                              "-timeout=30", str(artifact)], env=sanitizer_env(),
                             capture_output=True, text=True, errors="replace", timeout=120,
                             cwd=artifact.parent)
        report = run.stdout + run.stderr
    except subprocess.TimeoutExpired:
        report = "timeout: the input ran for more than 120 seconds"
    for rule_target, pattern, note in rules:
        if rule_target in (target, "*") and pattern.search(report):
            return note, report
    if artifact.name.startswith("timeout-") and re.search(r"Executed .* in \d+ ms", report):
        # A timeout of the fuzzing run that ends in time alone was slow on a loaded machine.
        return "slow input that did not hang when run again", report
    return None, report


def run_target(folder, target, seconds):
    """Fuzzes one target for the given seconds; the number of findings that are not known."""
    command = command_of(folder, target)
    work = BUILD / "corpus" / target
    findings = BUILD / "findings" / target
    work.mkdir(parents=True, exist_ok=True)
    shutil.rmtree(findings, ignore_errors=True)
    findings.mkdir(parents=True)
    log = BUILD / "logs" / f"{target}.log"
    log.parent.mkdir(parents=True, exist_ok=True)
    command_line = ["nice", "-n", "19", *command, "-fork=1", "-ignore_crashes=1",
               "-ignore_ooms=1", "-ignore_timeouts=1", f"-max_total_time={seconds}",
               f"-max_len={MAX_LEN}", "-timeout=10", "-rss_limit_mb=2048",
               "-malloc_limit_mb=256", f"-artifact_prefix={findings}/",
               str(work), str(FUZZ / "corpus" / target)]
    started = time.time()
    with open(log, "w") as out:
        subprocess.run(command_line, env=sanitizer_env(), stdout=out, stderr=subprocess.STDOUT,
                       cwd=findings)
    elapsed = time.time() - started
    text = log.read_text(errors="replace")
    stats = re.findall(r"#(\d+): cov: (\d+) ft: (\d+) corp: (\d+)", text)
    execs, cov, ft, corp = stats[-1] if stats else ("?", "?", "?", "?")
    rules = known_findings()
    unknown = 0
    artifacts = sorted(p for p in findings.iterdir() if p.is_file())
    known = {}
    for artifact in artifacts:
        note, report = classify(command, target, artifact, rules)
        if note:
            known[note] = known.get(note, 0) + 1
            continue
        unknown += 1
        (artifact.parent / (artifact.name + ".report")).write_text(report)
        head = next((line for line in report.splitlines() if "ERROR" in line or "runtime error"
                     in line or "SUMMARY" in line), report.strip().splitlines()[-1:] or [""])
        print(f"  FINDING {artifact}: {head if isinstance(head, str) else head[0]}")
    print(f"{target}: {elapsed:.0f} s, {execs} executions, coverage {cov} edges, {ft} features, "
          f"corpus {corp}; {len(artifacts)} saved inputs, {unknown} new finding(s)"
          + "".join(f"; known: {n} x {note}" for note, n in known.items()))
    return unknown


def coverage(folder):
    """Line coverage of the reader sources over each target's corpus."""
    profiles = []
    binaries = []
    for target in native_targets():
        raw = BUILD.with_name("fuzz-coverage") / f"{target}.profraw"
        env = sanitizer_env()
        env["LLVM_PROFILE_FILE"] = str(raw)
        corpora = [str(p) for p in (BUILD / "corpus" / target, FUZZ / "corpus" / target)
                   if p.is_dir()]
        subprocess.run([str(folder / target), "-runs=0", *corpora], env=env,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        profiles.append(str(raw))
        binaries.append(str(folder / target))
    data = folder / "all.profdata"
    subprocess.run([f"{LLVM}/llvm-profdata", "merge", "-sparse", "-o", str(data), *profiles],
                   check=True)
    objects = [binaries[0]] + [arg for b in binaries[1:] for arg in ("-object", b)]
    subprocess.run([f"{LLVM}/llvm-cov", "report", f"-instr-profile={data}", *objects,
                    "-ignore-filename-regex=(fuzz/|src/core/|src/varnok/|src/singleton/)"],
                   check=True)


def main():
    parser = argparse.ArgumentParser(prog="tools/fuzz")
    parser.add_argument("target", nargs="?")
    parser.add_argument("seconds", nargs="?", type=int, default=60)
    parser.add_argument("--list", action="store_true")
    parser.add_argument("--all", type=int, metavar="SECONDS")
    parser.add_argument("--coverage", action="store_true")
    args = parser.parse_args()
    if args.list:
        print("\n".join(targets()))
        return 0
    if args.coverage:
        coverage(build(coverage=True))
        return 0
    chosen = targets() if args.all is not None else [args.target]
    seconds = args.all if args.all is not None else args.seconds
    unknown = [t for t in chosen if t not in targets()]
    if not chosen[0] or unknown:
        parser.error(f"name a target ({', '.join(targets())}), or --all SECONDS, or --list")
    folder = build() if set(chosen) & set(native_targets()) else None
    failed = sum(run_target(folder, target, seconds) for target in chosen)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
