#!/usr/bin/env python3
"""The board has no FPU: a 32-bit ARM library must carry no floating-point
hardware attribute and no VFP/NEON instruction; floating point goes through
the run-time library's __aeabi_* routines.

usage: check_softfloat.py --objdump OBJDUMP --readelf READELF LIBRARY
"""

import argparse
import re
import sys

from abi_common import run

# Build attributes that a VFP or NEON object carries.
FP_ATTRIBUTES = ("Tag_FP_arch", "Tag_ABI_VFP_args", "Tag_Advanced_SIMD_arch", "Tag_ABI_HardFP_use")
# In unified syntax every VFP/NEON mnemonic starts with "v"; no core ARM one does.
FP_INSN = re.compile(r"^\s*([0-9a-f]+):\s+(v[a-z0-9]+(?:\.[a-z0-9.]+)?)\s")


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--objdump", required=True)
    ap.add_argument("--readelf", required=True)
    ap.add_argument("library")
    args = ap.parse_args()

    problems = []
    attributes = run([args.readelf, "-A", args.library])
    for line in attributes.splitlines():
        if line.strip().split(":")[0] in FP_ATTRIBUTES:
            problems.append("floating-point attribute %s" % line.strip())
    code = run([args.objdump, "-d", "-w", "--no-show-raw-insn", args.library])
    insns = [m for m in (FP_INSN.match(line) for line in code.splitlines()) if m]
    for m in insns[:10]:
        problems.append("floating-point instruction at %s: %s" % (m.group(1), m.group(2)))
    if len(insns) > 10:
        problems.append("... %d floating-point instructions in all" % len(insns))

    for p in problems:
        print(p)
    print("%s: %s" % (args.library.rsplit("/", 1)[-1], "soft-float only" if not problems else "uses the FPU"))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
