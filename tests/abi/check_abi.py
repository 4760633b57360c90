#!/usr/bin/env python3
"""Compares a built library with the ABI baseline kept under abi/ (libabigail).

Added functions and data objects are allowed; a removed one, or a changed
type of an existing one (a parameter, a result, a record layout, an object's
type), fails.

  check_abi.py --abidiff ABIDIFF --baseline-dir abi LIBRARY
  check_abi.py --abidw ABIDW --baseline-dir abi --update LIBRARY

The baseline of each architecture is abi/<arch>/<library>.abi; --update
rewrites it from LIBRARY (scripts/update-abi-baseline does so for every
build on purpose).
"""

import argparse
import os
import subprocess
import sys

# abidiff's exit status bits.
ABIDIFF_ERROR = 1
ABIDIFF_USAGE_ERROR = 2
ABIDIFF_ABI_CHANGE = 4
ABIDIFF_ABI_INCOMPATIBLE_CHANGE = 8

ARCH_NAMES = {(62, 2): "x86_64", (40, 1): "armel", (183, 2): "aarch64"}


def arch_of(library):
    with open(library, "rb") as f:
        head = f.read(20)
    key = (int.from_bytes(head[18:20], "little"), head[4])
    if head[:4] != b"\x7fELF" or key not in ARCH_NAMES:
        sys.exit("check_abi: %s: not an ELF file of a known architecture" % library)
    return ARCH_NAMES[key]


def baseline_path(baseline_dir, library):
    name = os.path.basename(library).split(".so")[0] + ".abi"
    return os.path.join(baseline_dir, arch_of(library), name)


def update(abidw, library, baseline):
    os.makedirs(os.path.dirname(baseline), exist_ok=True)
    # No build paths in the baseline (it must compare equal from any clone),
    # and no line numbers, which would churn it at every edit.
    subprocess.run([abidw, "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs", "--short-locs",
                    "--type-id-style", "hash", "--no-elf-needed",
                    "--out-file", baseline, library], check=True)
    print("wrote %s" % baseline)
    return 0


def compare(abidiff, library, baseline):
    if not os.path.exists(baseline):
        print("no ABI baseline %s for this architecture; create it with scripts/update-abi-baseline" % baseline)
        return 1
    # Additions are not changes to guard: --no-added-syms leaves them out of
    # the report and out of the exit status. libabigail marks only removals as
    # "incompatible"; any remaining change to an existing function or object
    # (ABI_CHANGE) breaks callers built against the baseline as well.
    proc = subprocess.run([abidiff, "--no-added-syms", baseline, library],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    status = proc.returncode
    if status & (ABIDIFF_ERROR | ABIDIFF_USAGE_ERROR):
        print(proc.stdout)
        print("abidiff could not compare %s with %s (status %d)" % (library, baseline, status))
        return 1
    if status & (ABIDIFF_ABI_CHANGE | ABIDIFF_ABI_INCOMPATIBLE_CHANGE):
        print(proc.stdout)
        print("%s: %s change of existing exports against %s"
              % (library, "incompatible" if status & ABIDIFF_ABI_INCOMPATIBLE_CHANGE else "ABI",
                 baseline))
        print("If the change is intended, run scripts/update-abi-baseline and commit abi/.")
        return 1
    print("%s: compatible with %s (additions allowed)" % (os.path.basename(library), baseline))
    return 0


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--abidw", default="abidw")
    ap.add_argument("--abidiff", default="abidiff")
    ap.add_argument("--baseline-dir", required=True)
    ap.add_argument("--baseline", help="compare with this file instead of the architecture's")
    ap.add_argument("--update", action="store_true")
    ap.add_argument("library")
    args = ap.parse_args()
    baseline = args.baseline or baseline_path(args.baseline_dir, args.library)
    if args.update:
        return update(args.abidw, args.library, baseline)
    return compare(args.abidiff, args.library, baseline)


if __name__ == "__main__":
    sys.exit(main())
