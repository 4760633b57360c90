#!/usr/bin/env python3
"""The ABI checkers against fixture libraries whose faults are known: each
checker must report exactly those faults, and pass a library without them.

The fixtures are built for the same target as the library (tests/abi/fixtures).
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
ARGS = None


def checker(script, *args):
    # -B: no byte-code files in the source tree.
    proc = subprocess.run([sys.executable, "-B", os.path.join(HERE, script)] + list(args),
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    return proc.returncode, proc.stdout.splitlines(), proc.stderr


def fixture(variant):
    return ARGS.fixture_lib[variant]


class ExportList(unittest.TestCase):
    def test_matching_version_script_passes(self):
        rc, out, err = checker("check_exports.py", "--map", os.path.join(ARGS.fixtures, "abi_fixture.map"),
                               "--readelf", ARGS.readelf, fixture(1))
        self.assertEqual((rc, out), (0, ["8 listed, 8 exported, 0 mismatches"]), err)

    def test_stale_version_script_reports_each_mismatch(self):
        rc, out, err = checker("check_exports.py", "--map", os.path.join(ARGS.fixtures, "stale.map"),
                               "--readelf", ARGS.readelf, fixture(0))
        self.assertEqual(rc, 1, err)
        self.assertEqual(out, [
            "listed twice in the version script: fx_sum",
            "exported but not in the version script: fx_extra",
            "in the version script but not exported: fx_listed_only",
            "6 listed, 6 exported, 3 mismatches",
        ])

    def test_additions_to_the_library_must_be_listed(self):
        # Version 1 exports fx_added and fx_added_value, which stale.map lacks.
        rc, out, _ = checker("check_exports.py", "--map", os.path.join(ARGS.fixtures, "stale.map"),
                             "--readelf", ARGS.readelf, fixture(1))
        self.assertEqual(rc, 1)
        self.assertIn("exported but not in the version script: fx_added", out)
        self.assertIn("exported but not in the version script: fx_added_value", out)


class HeaderAgreement(unittest.TestCase):
    def test_header_and_library_disagreements(self):
        rc, out, err = checker("check_header.py", "--header", os.path.join(ARGS.fixtures, "abi_fixture.h"),
                               "--castxml", ARGS.castxml, "--cc", ARGS.cc, "--readelf", ARGS.readelf,
                               "--map", os.path.join(ARGS.fixtures, "abi_fixture.map"),
                               "--work", os.path.join(ARGS.work, "header"), fixture(0))
        self.assertEqual(rc, 1, err)
        # fx_twice (static inline) is no export; fx_hook (a function pointer
        # object) and fx_value are declared and exported as objects.
        self.assertEqual(out, [
            "declared as a data object but exported as FUNC: fx_kind",
            "declared in the header but not exported: fx_declared_only (function)",
            "exported but not declared in the header: fx_extra",
            "3 functions and 3 data objects declared, 6 exported, 3 mismatches",
        ])


class Baseline(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.baseline = os.path.join(ARGS.work, "baseline", "abi_fixture.abi")
        shutil.rmtree(os.path.dirname(cls.baseline), ignore_errors=True)
        rc, out, err = checker("check_abi.py", "--abidw", ARGS.abidw, "--baseline-dir", ARGS.work,
                               "--baseline", cls.baseline, "--update", fixture(0))
        assert rc == 0, err

    def compare(self, variant):
        return checker("check_abi.py", "--abidiff", ARGS.abidiff, "--baseline-dir", ARGS.work,
                       "--baseline", self.baseline, fixture(variant))

    def test_baseline_holds_no_build_paths(self):
        with open(self.baseline, encoding="utf-8") as f:
            text = f.read()
        self.assertIn("fx_rec_first", text)
        self.assertNotIn(os.path.dirname(HERE), text)
        self.assertNotIn(ARGS.work, text)

    def test_same_library_is_compatible(self):
        rc, out, err = self.compare(0)
        self.assertEqual(rc, 0, "\n".join(out) + err)
        self.assertEqual(out[-1], "%s: compatible with %s (additions allowed)"
                         % (os.path.basename(fixture(0)), self.baseline))

    def test_added_function_and_object_are_compatible(self):
        rc, out, err = self.compare(1)
        self.assertEqual(rc, 0, "\n".join(out) + err)

    def assert_breaks(self, variant, kind, detail):
        rc, out, _ = self.compare(variant)
        self.assertEqual(rc, 1, "\n".join(out))
        report = "\n".join(out)
        self.assertIn(detail, report)
        self.assertIn("%s: %s change of existing exports against %s"
                      % (fixture(variant), kind, self.baseline), out)
        self.assertEqual(out[-1], "If the change is intended, run scripts/update-abi-baseline and commit abi/.")

    def test_changed_parameter_type_fails(self):
        self.assert_breaks(2, "ABI", "fx_sum")

    def test_grown_record_fails(self):
        self.assert_breaks(3, "ABI", "type size changed from 64 to 96 (in bits)")

    def test_removed_function_fails(self):
        self.assert_breaks(4, "incompatible", "fx_rec_first")

    def test_changed_object_type_fails(self):
        self.assert_breaks(5, "ABI", "fx_value")

    def test_missing_baseline_fails(self):
        rc, out, _ = checker("check_abi.py", "--abidiff", ARGS.abidiff, "--baseline-dir", ARGS.work,
                             "--baseline", self.baseline + ".absent", fixture(0))
        self.assertEqual(rc, 1)
        self.assertEqual(out, ["no ABI baseline %s.absent for this architecture; create it with "
                               "scripts/update-abi-baseline" % self.baseline])


class Frameless(unittest.TestCase):
    def run_check(self, *extra):
        return checker("check_frameless.py", "--slots", os.path.join(ARGS.fixtures, "forwarders.def"),
                       "--objdump", ARGS.objdump, "--readelf", ARGS.readelf, *extra, ARGS.forwarders)

    def test_framed_and_misrouted_forwarders_fail(self):
        rc, out, err = self.run_check()
        self.assertEqual(rc, 1, err)
        self.assertEqual(len(out), 3, out)
        self.assertTrue(out[0].startswith("FixtureFramed (slot 7): "), out)
        self.assertTrue(out[1].startswith("FixtureWrongSlot (slot 9): jumps through "), out)
        self.assertEqual(out[2], "2 of 4 plain forwarders are frameless tail calls")

    def test_framed_forwarder_is_caught_for_its_frame(self):
        _, out, _ = self.run_check()
        # push on ARM; a stack adjustment (or push) before the call on x86-64.
        self.assertRegex(out[0], r"sets up a frame or calls: (push|stmdb|stmfd)|touches the stack: (push|sub)")

    def test_expected_failures_mode(self):
        rc, out, err = self.run_check("--expect-framed", "FixtureFramed", "--expect-framed", "FixtureWrongSlot")
        self.assertEqual(rc, 0, "\n".join(out) + err)
        rc, out, err = self.run_check("--expect-framed", "FixtureFramed")
        self.assertEqual(rc, 1)


class SoftFloat(unittest.TestCase):
    def run_check(self, library):
        return checker("check_softfloat.py", "--objdump", ARGS.objdump, "--readelf", ARGS.readelf, library)

    def test_board_flags_give_soft_float(self):
        rc, out, err = self.run_check(ARGS.softfloat_lib)
        self.assertEqual((rc, out), (0, ["%s: soft-float only" % os.path.basename(ARGS.softfloat_lib)]), err)

    def test_vfp_build_is_refused(self):
        rc, out, err = self.run_check(ARGS.vfp_lib)
        self.assertEqual(rc, 1, err)
        self.assertIn("floating-point attribute Tag_FP_arch: VFPv2", out)
        self.assertTrue(any(re.match(r"floating-point instruction at [0-9a-f]+: vdiv\.f32$", line) for line in out), out)
        self.assertEqual(out[-1], "%s: uses the FPU" % os.path.basename(ARGS.vfp_lib))


class NoCxxRuntime(unittest.TestCase):
    def run_check(self, library):
        return checker("check_no_cxx_runtime.py", "--readelf", ARGS.readelf, library)

    def test_c_library_passes(self):
        rc, out, err = self.run_check(fixture(0))
        self.assertEqual((rc, out), (0, ["0 C++ runtime dependencies"]), err)

    def test_cxx_runtime_is_reported(self):
        rc, out, err = self.run_check(ARGS.cxx_runtime_lib)
        self.assertEqual(rc, 1, err)
        self.assertIn("NEEDED libstdc++.so.6", out)
        for prefix in ("imports __cxa_throw", "imports __gxx_personality_", "imports _ZNSt"):
            self.assertTrue(any(line.startswith(prefix) for line in out), (prefix, out))
        self.assertFalse(any("__cxa_finalize" in line for line in out), out)


def main():
    global ARGS
    ap = argparse.ArgumentParser()
    for opt in ("objdump", "readelf", "abidw", "abidiff", "castxml", "cc", "fixtures", "work", "forwarders"):
        ap.add_argument("--" + opt, required=True)
    ap.add_argument("--fixture-lib", action="append", required=True)
    ap.add_argument("--cxx-runtime-lib", required=True)
    ap.add_argument("--no-frameless", action="store_true")
    ap.add_argument("--softfloat-lib")
    ap.add_argument("--vfp-lib")
    ARGS, rest = ap.parse_known_args()
    os.makedirs(ARGS.work, exist_ok=True)
    if ARGS.no_frameless:
        del globals()["Frameless"]
    if not ARGS.softfloat_lib:
        del globals()["SoftFloat"]
    unittest.main(argv=[sys.argv[0], "-v"] + rest, module="__main__")


if __name__ == "__main__":
    main()
