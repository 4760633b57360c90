#!/usr/bin/env python3
"""The ABI checks must fail on the faults they guard against: each runs on the
built library with an input spoilt in one known way and must report exactly
that fault (a checker that passes everything guards nothing)."""
import argparse
import os
import re
import subprocess
import sys

ap = argparse.ArgumentParser()
for opt in ("map", "slots", "header", "readelf", "objdump", "castxml", "cc", "work", "library"):
    ap.add_argument("--" + opt, required=True)
ap.add_argument("--no-frameless", action="store_true")
a = ap.parse_args()
os.makedirs(a.work, exist_ok=True)


def spoilt(path, pattern, replace):
    """A copy of path in the work folder with the first match of pattern replaced; the match."""
    text = open(path, encoding="utf-8").read()
    m = re.search(pattern, text, re.M)
    out = os.path.join(a.work, os.path.basename(path))
    open(out, "w", encoding="utf-8").write(text[:m.start()] + replace(m) + text[m.end():])
    return out, m


maps, listed = spoilt(a.map, r"^(\s*)(\w+);", lambda m: m.group(1) + "qrx_listed_only;")
header, _ = spoilt(a.header, r"^#endif /\*", lambda m: "int qrx_declared_only(void);\n" + m.group(0))
slots, row = spoilt(a.slots, r"QRX_SLOT\(Plain, (\d+), [^,]+, (\w+),",
                    lambda m: m.group(0).replace(m.group(1), str(int(m.group(1)) + 1), 1))
cases = [
    (["exports", "--map", maps], ["^exported but not in the version script: %s$" % listed.group(2),
                                  "^in the version script but not exported: qrx_listed_only$", r"\n\d+ listed, \d+ exported, 2 mismatches\Z"]),
    (["header", "--header", header, "--castxml", a.castxml, "--cc", a.cc, "--map", a.map, "--work", a.work],
     [r"\Adeclared in the header but not exported: qrx_declared_only \(function\)\n[^\n]*, 1 mismatches\Z"]),
]
if not a.no_frameless:
    cases.append((["frameless", "--slots", slots, "--objdump", a.objdump],
                  [r"\A%s \(slot %d\): jumps through " % (row.group(2), int(row.group(1)) + 1), r"\n(\d+) of (?!\1\b)\d+ plain"]))
failures = 0
for args, patterns in cases:
    proc = subprocess.run([sys.executable, "-B", os.path.join(os.path.dirname(os.path.abspath(__file__)), "abi_check.py")]
                          + args + ["--readelf", a.readelf, a.library], capture_output=True, text=True)
    bad = proc.returncode != 1 or any(not re.search(p, proc.stdout.rstrip("\n"), re.M) for p in patterns)
    print(("FAIL %s\n%s%s" % (args[0], proc.stdout, proc.stderr)) if bad else "ok   " + args[0])
    failures += bad
sys.exit(1 if failures else 0)
