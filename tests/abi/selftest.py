#!/usr/bin/env python3
"""The ABI checks against fixture libraries whose faults are known: each check
reports exactly those faults and passes a library without them. The fixtures
are built for the same target as the library (fixtures/)."""

import argparse
import os
import re
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))


def main():
    ap = argparse.ArgumentParser()
    for opt in ("objdump", "readelf", "abidw", "abidiff", "castxml", "cc", "fixtures", "work", "forwarders"):
        ap.add_argument("--" + opt, required=True)
    ap.add_argument("--fixture-lib", action="append", required=True)
    ap.add_argument("--cxx-runtime-lib", required=True)
    ap.add_argument("--no-frameless", action="store_true")
    ap.add_argument("--softfloat-lib")
    ap.add_argument("--vfp-lib")
    a = ap.parse_args()
    os.makedirs(a.work, exist_ok=True)
    fx = a.fixture_lib
    fixture = lambda name: os.path.join(a.fixtures, name)
    baseline = os.path.join(a.work, "abi_fixture.abi")
    maps = lambda m, lib: ["exports", "--map", fixture(m), "--readelf", a.readelf, lib]
    diff = lambda lib, base=baseline: ["baseline", "--abidiff", a.abidiff, "--baseline-dir", a.work, "--baseline", base, lib]
    broken = lambda v, kind: "%s: %s change of existing exports against %s" % (fx[v], kind, baseline)
    advice = "If the change is intended, run scripts/update-abi-baseline and commit abi/."

    # (what, arguments, exit status, exact output lines or None, patterns the output holds)
    cases = [
        ("matching version script", maps("abi_fixture.map", fx[1]), 0, ["8 listed, 8 exported, 0 mismatches"], []),
        ("stale version script", maps("stale.map", fx[0]), 1, [
            "listed twice in the version script: fx_sum",
            "exported but not in the version script: fx_extra",
            "in the version script but not exported: fx_listed_only",
            "6 listed, 6 exported, 3 mismatches"], []),
        ("unlisted additions", maps("stale.map", fx[1]), 1, None,
         ["^exported but not in the version script: fx_added$", "^exported but not in the version script: fx_added_value$"]),
        # fx_twice (static inline) is no export; fx_hook (a function pointer) is an object.
        ("header disagreements", ["header", "--header", fixture("abi_fixture.h"), "--castxml", a.castxml, "--cc", a.cc,
                                  "--readelf", a.readelf, "--map", fixture("abi_fixture.map"),
                                  "--work", os.path.join(a.work, "header"), fx[0]], 1, [
            "declared as a data object but exported as FUNC: fx_kind",
            "declared in the header but not exported: fx_declared_only (function)",
            "exported but not declared in the header: fx_extra",
            "3 functions and 3 data objects declared, 6 exported, 3 mismatches"], []),
        ("same library", diff(fx[0]), 0,
         ["%s: compatible with %s (additions allowed)" % (os.path.basename(fx[0]), baseline)], []),
        ("added function and object", diff(fx[1]), 0, None, ["compatible with"]),
        ("changed parameter", diff(fx[2]), 1, None, ["fx_sum", re.escape(broken(2, "ABI")), re.escape(advice) + r"\Z"]),
        ("grown record", diff(fx[3]), 1, None, [r"type size changed from 64 to 96 \(in bits\)", re.escape(broken(3, "ABI"))]),
        ("removed function", diff(fx[4]), 1, None, ["fx_rec_first", re.escape(broken(4, "incompatible"))]),
        ("changed object type", diff(fx[5]), 1, None, ["fx_value", re.escape(broken(5, "ABI"))]),
        ("C library", ["no_cxx_runtime", "--readelf", a.readelf, fx[0]], 0, ["0 C++ runtime dependencies"], []),
        # __cxa_finalize belongs to the C library and is not reported.
        ("C++ runtime", ["no_cxx_runtime", "--readelf", a.readelf, a.cxx_runtime_lib], 1, None,
         ["^NEEDED libstdc\\+\\+\\.so\\.6$", "^imports __cxa_throw$", "^imports __gxx_personality_", "^imports _ZNSt",
          r"\A(?![\s\S]*__cxa_finalize)"]),
        ("missing baseline", diff(fx[0], baseline + ".absent"), 1, [
            "no ABI baseline %s.absent for this architecture; create it with scripts/update-abi-baseline" % baseline], []),
    ]
    if not a.no_frameless:
        cases.append(("framed and misrouted forwarders",
                       ["frameless", "--slots", fixture("forwarders.def"), "--objdump", a.objdump, "--readelf", a.readelf,
                        a.forwarders], 1, None,
                       [r"\AFixtureFramed \(slot 7\): (sets up a frame or calls: (push|stmdb|stmfd)|touches the stack: "
                        r"(push|sub))[^\n]*\nFixtureWrongSlot \(slot 9\): jumps through [^\n]*\n"
                        r"2 of 4 plain forwarders are frameless tail calls\Z"]))
    if a.softfloat_lib:
        soft = ["softfloat", "--objdump", a.objdump, "--readelf", a.readelf]
        cases += [("board float flags", soft + [a.softfloat_lib], 0,
                   ["%s: soft-float only" % os.path.basename(a.softfloat_lib)], []),
                  ("VFP build", soft + [a.vfp_lib], 1, None,
                   ["^floating-point attribute Tag_FP_arch: VFPv2$", r"^floating-point instruction at [0-9a-f]+: vdiv\.f32$",
                    re.escape("%s: uses the FPU" % os.path.basename(a.vfp_lib)) + r"\Z"])]

    def check(args):
        proc = subprocess.run([sys.executable, "-B", os.path.join(HERE, "abi_check.py")] + args,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        return proc.returncode, proc.stdout.rstrip("\n"), proc.stderr

    failures = 0
    rc, _, err = check(["baseline", "--abidw", a.abidw, "--update", "--baseline", baseline, fx[0]])
    text = open(baseline, encoding="utf-8").read() if rc == 0 else ""
    if "fx_rec_first" not in text or os.path.dirname(HERE) in text or a.work in text:
        print("FAIL baseline written: status %d, fx_rec_first present, no build paths\n%s" % (rc, err))
        failures += 1
    for what, args, want_rc, lines, patterns in cases:
        rc, out, err = check(args)
        bad = rc != want_rc or (lines is not None and out.split("\n") != lines) or \
            any(not re.search(p, out, re.M) for p in patterns)
        print("%s %s" % ("FAIL" if bad else "ok  ", what))
        if bad:
            print("  status %d (want %d)\n%s\n%s" % (rc, want_rc, out, err))
        failures += bad
    print("%d of %d checker cases failed" % (failures, len(cases) + 1))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
