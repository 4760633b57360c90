#!/usr/bin/env python3
"""ABI guard of a built library; each check prints its problems and a summary and exits 1 on any.
exports: exactly the version script's names; header: it declares exactly the exports, each of its kind;
frameless: Plain slot rows are table loads and a jump; baseline: existing exports unchanged (--update
writes it); no_cxx_runtime: no libstdc++, no C++ runtime import; softfloat (32-bit ARM): no FPU attribute,
no VFP/NEON instruction."""

import argparse
import os
import re
import subprocess
import sys
import xml.etree.ElementTree as ET


def run(cmd):
    proc = subprocess.run(cmd, capture_output=True, text=True)
    return proc.stdout if proc.returncode == 0 else sys.exit("command failed: %s\n%s" % (" ".join(cmd), proc.stderr))


def without_comments(path):
    text = re.sub(r"/\*.*?\*/", " ", open(path, encoding="utf-8").read(), flags=re.S)
    return re.sub(r"(//|#)[^\n]*", "", text)


def slot_rows(path):
    """(kind, slot, name) of every QRX_SLOT row; parameter lists may span lines."""
    text = without_comments(path)
    rows = [(m.group(1), int(m.group(2)), m.group(3))
            for m in re.finditer(r"\bQRX_SLOT\s*\(\s*(\w+)\s*,\s*(\d+)\s*,[^,]+,\s*(\w+)\s*,", text)]
    return rows if len(rows) == len(re.findall(r"\bQRX_SLOT\s*\(", text)) else sys.exit("%s: malformed row" % path)


def version_script(path):
    """(global names, version node names, names listed twice)."""
    names, nodes, dups = [], [], []
    for node in re.finditer(r"([A-Za-z_][\w.]*)?\s*\{(.*?)\}\s*[\w.]*\s*;", without_comments(path), flags=re.S):
        nodes += [node.group(1)] if node.group(1) else []
        scope = "global"
        for tok in re.findall(r"[^\s;]+:|[^\s;]+(?=\s*;)", node.group(2)):
            if tok.endswith(":"):
                scope = tok[:-1]
            elif scope == "global":
                if any(c in tok for c in "*?[]"):
                    sys.exit("%s: wildcard %r in the export list; list every name" % (path, tok))
                (dups if tok in names else names).append(tok)
    return names, nodes, dups


def dynamic_symbols(readelf, library):
    """Defined dynamic symbols: name -> (address, size, type, section index)."""
    rows = (line.split() for line in run([readelf, "--dyn-syms", "-W", library]).splitlines())
    return {p[7].split("@")[0]: (int(p[1], 16), int(p[2], 0), p[3], p[6]) for p in rows
            if len(p) >= 8 and p[0][:-1].isdigit() and p[6] != "UND" and p[4] in ("GLOBAL", "WEAK")}


def exports(args, nodes):
    """Exported names; the version nodes' own ABS entries are not exports."""
    return {n: s[2] for n, s in dynamic_symbols(args.readelf, args.library).items()
            if not (s[3] == "ABS" and n in nodes)}


def elf_machine(library):
    head = open(library, "rb").read(20)
    return {(62, 2): "x86_64", (40, 1): "armel", (183, 2): "aarch64"}.get((int.from_bytes(head[18:20], "little"), head[4]))


def report(problems, summary):
    print("\n".join(problems + [summary]))
    return 1 if problems else 0


def check_exports(args):
    listed, nodes, dups = version_script(args.map)
    exported = exports(args, nodes)
    problems = (["listed twice in the version script: %s" % n for n in dups]
                + ["exported but not in the version script: %s" % n for n in sorted(set(exported) - set(listed))]
                + ["in the version script but not exported: %s" % n for n in sorted(set(listed) - set(exported))])
    return report(problems, "%d listed, %d exported, %d mismatches" % (len(listed), len(exported), len(problems)))


def check_header(args):
    os.makedirs(args.work, exist_ok=True)
    xml = os.path.join(args.work, os.path.basename(args.header) + ".xml")
    run([args.castxml, "--castxml-output=1", "-x", "c", "-std=c99", "--castxml-cc-gnu-c", args.cc,
         "-I", os.path.dirname(args.header), "-o", xml, args.header])
    root = ET.parse(xml).getroot()
    files = {f.get("id") for f in root.iter("File") if os.path.realpath(f.get("name")) == os.path.realpath(args.header)}
    kinds = {"Function": "FUNC", "Variable": "OBJECT"}
    # Static and inline helpers of the header are not the library's.
    declared = {el.get("name"): kinds[el.tag] for el in root if el.tag in kinds and el.get("file") in files
                and el.get("static") != "1" and el.get("inline") != "1"}
    exported = exports(args, version_script(args.map)[1])
    kind = {"FUNC": "function", "OBJECT": "data object"}
    problems = (["declared as a %s but exported as %s: %s" % (kind[t], exported[n], n)
                 for n, t in sorted(declared.items()) if n in exported and exported[n] != t]
                + ["declared in the header but not exported: %s (%s)" % (n, kind[t])
                   for n, t in sorted(declared.items()) if n not in exported]
                + ["exported but not declared in the header: %s" % n for n in sorted(set(exported) - set(declared))])
    functions = sum(t == "FUNC" for t in declared.values())
    return report(problems, "%d functions and %d data objects declared, %d exported, %d mismatches"
                  % (functions, len(declared) - functions, len(exported), len(problems)))


X86_STACK = re.compile(r"%[re]?(sp|bp)\b|%[sb]pl\b")
ARM_STACK = re.compile(r"\b(sp|fp|lr|r11|r13|r14)\b")


def x86_slot(operand, offset):
    m = re.fullmatch(r"(0x[0-9a-f]+|\d+)?\(%(r\w+)\)", operand)
    return bool(m) and m.group(2) != "rip" and int(m.group(1) or "0", 0) == offset


def frameless_x86(code, slot):
    """Problem of one x86-64 forwarder; None when it is loads and a jump through its slot."""
    for i, insn in enumerate(code):
        op, _, operands = insn.partition(" ")
        if op in ("endbr64", "nop"):
            continue
        if op in ("jmp", "notrack") and "*" in operands:
            target = operands.replace("jmp", "").strip().lstrip("*")
            src, _, dst = code[i - 1].partition(" ")[2].rpartition(",") if i else ("", "", "")
            ok = x86_slot(target, slot * 8) or (code[i - 1].split(" ")[0] in ("mov", "movq") and dst == target
                                                 and re.fullmatch(r"%\w+", target) and x86_slot(src, slot * 8))
            return None if ok else "jumps through %s, not slot %d (offset %#x)" % (target, slot, slot * 8)
        if X86_STACK.search(operands):
            return "touches the stack: %s" % insn
        # Table loads, and a byte or short argument narrowed in its register.
        if not ((op in ("mov", "movq", "movl", "lea") and "(" in operands.split(",")[0])
                or (re.fullmatch(r"mov[sz][bw][lwq]", op) and re.fullmatch(r"%\w+,%\w+", operands))):
            return "not a table load: %s" % insn
    return "no indirect jump"


def arm_slot_load(insn, reg, offset):
    m = re.fullmatch(r"ldr (\w+), \[(r\d+|ip)(?:, #(-?\d+))?\]", insn)
    return bool(m) and m.group(1) == reg and int(m.group(3) or "0") == offset


def frameless_arm(code, slot):
    for i, insn in enumerate(code):
        op, _, operands = insn.partition(" ")
        if op == "bx" and re.fullmatch(r"r\d+|ip", operands):
            load = code[i - 1] if i else ""
            return None if arm_slot_load(load, operands, slot * 4) else \
                "jumps through %s, not loaded from slot %d (offset %d): %s" % (operands, slot, slot * 4, load)
        if op == "ldr" and operands.startswith("pc,"):
            return None if arm_slot_load(insn, "pc", slot * 4) else "jumps through %s, not slot %d" % (insn, slot)
        if op in ("push", "stmdb", "stmfd", "bl", "blx", "b", "pop", "ldm", "ldmia", "ldmfd") or op.startswith("str"):
            return "sets up a frame or calls: %s" % insn
        if ARM_STACK.search(operands):
            return "touches the stack: %s" % insn
        if not ((op == "ldr" and operands.count("[") == 1)  # literal, GOT entry, table pointer
                or (op == "add" and re.fullmatch(r"(r\d+|ip), pc, (r\d+|ip)", operands))):  # GOT address
            return "not a table load: %s" % insn
    return "no indirect jump"


def check_frameless(args):
    check = {"x86_64": frameless_x86, "armel": frameless_arm}.get(elf_machine(args.library)) or sys.exit("no frameless rule")
    plain = [(name, slot) for kind, slot, name in slot_rows(args.slots) if kind == "Plain"] or sys.exit("no Plain rows")
    symbols = dynamic_symbols(args.readelf, args.library)
    lines = run([args.objdump, "-d", "-w", "--no-show-raw-insn", "-j", ".text", args.library]).splitlines()
    insns = {int(m.group(1), 16): re.sub(r"\s+", " ", re.split(r"\s[@#;]\s|\s<", m.group(2), maxsplit=1)[0].strip())
             for m in (re.match(r"^\s*([0-9a-f]+):\s+(.*)$", line) for line in lines) if m}
    problems = []
    for name, slot in plain:
        start, size = (symbols[name][0] & ~1, symbols[name][1]) if name in symbols else (0, 0)
        problem = check([insns[a] for a in sorted(insns) if start <= a < start + size], slot) if name in symbols else "not exported"
        problems += ["%s (slot %d): %s" % (name, slot, problem)] if problem else []
    return report(problems, "%d of %d plain forwarders are frameless tail calls" % (len(plain) - len(problems), len(plain)))


FP_ATTRIBUTES = ("Tag_FP_arch", "Tag_ABI_VFP_args", "Tag_Advanced_SIMD_arch", "Tag_ABI_HardFP_use")
# In unified syntax every VFP/NEON mnemonic starts with "v"; no core ARM one does.
FP_INSN = re.compile(r"^\s*([0-9a-f]+):\s+(v[a-z0-9]+(?:\.[a-z0-9.]+)?)\s")


def check_softfloat(args):
    problems = ["floating-point attribute %s" % line.strip() for line in run([args.readelf, "-A", args.library]).splitlines()
                if line.strip().split(":")[0] in FP_ATTRIBUTES]
    insns = [m for m in map(FP_INSN.match, run([args.objdump, "-d", "-w", "--no-show-raw-insn", args.library]).splitlines()) if m]
    problems += ["floating-point instruction at %s: %s" % m.groups() for m in insns[:10]]
    return report(problems, "%s: %s" % (os.path.basename(args.library), "uses the FPU" if problems else "soft-float only"))


CXX_RUNTIME_LIBRARY = re.compile(r"^libstdc\+\+\.so")
CXX_RUNTIME_SYMBOL = re.compile(r"^(_Z|__cxa_|__gxx_personality_)")
# The C library's own: every shared object GCC links may import them.
C_LIBRARY_SYMBOLS = {"__cxa_finalize", "__cxa_atexit", "__cxa_thread_atexit_impl"}


def check_no_cxx_runtime(args):
    needed = re.findall(r"\(NEEDED\)\s+Shared library: \[([^\]]+)\]", run([args.readelf, "-d", "-W", args.library]))
    imported = {parts[7].split("@")[0] for parts in
                (line.split() for line in run([args.readelf, "--dyn-syms", "-W", args.library]).splitlines())
                if len(parts) >= 8 and parts[0][:-1].isdigit() and parts[6] == "UND"}
    problems = (["NEEDED %s" % lib for lib in needed if CXX_RUNTIME_LIBRARY.match(lib)]
                + ["imports %s" % n for n in sorted(imported) if CXX_RUNTIME_SYMBOL.match(n) and n not in C_LIBRARY_SYMBOLS])
    return report(problems, "%d C++ runtime dependencies" % len(problems))


ABIDIFF_ERROR, ABIDIFF_USAGE, ABIDIFF_CHANGE, ABIDIFF_INCOMPATIBLE = 1, 2, 4, 8


def check_baseline(args):
    baseline = args.baseline or os.path.join(args.baseline_dir, elf_machine(args.library) or "unknown",
                                             os.path.basename(args.library).split(".so")[0] + ".abi")
    if args.update:
        os.makedirs(os.path.dirname(baseline), exist_ok=True)
        # No build paths (it must compare equal from any clone), no line numbers (churn).
        run([args.abidw, "--no-corpus-path", "--no-comp-dir-path", "--no-show-locs", "--short-locs",
             "--type-id-style", "hash", "--no-elf-needed", "--out-file", baseline, args.library])
        print("wrote %s" % baseline)
        return 0
    if not os.path.exists(baseline):
        print("no ABI baseline %s for this architecture; create it with scripts/update-abi-baseline" % baseline)
        return 1
    # --no-added-syms: additions are neither reported nor counted. libabigail
    # calls only removals incompatible; any other change to an existing
    # export breaks callers built against the baseline as well.
    proc = subprocess.run([args.abidiff, "--no-added-syms", baseline, args.library],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    status = proc.returncode
    if status & (ABIDIFF_ERROR | ABIDIFF_USAGE):
        print("%s\nabidiff could not compare %s with %s (status %d)" % (proc.stdout, args.library, baseline, status))
        return 1
    if status & (ABIDIFF_CHANGE | ABIDIFF_INCOMPATIBLE):
        print(proc.stdout)
        print("%s: %s change of existing exports against %s"
              % (args.library, "incompatible" if status & ABIDIFF_INCOMPATIBLE else "ABI", baseline))
        print("If the change is intended, run scripts/update-abi-baseline and commit abi/.")
        return 1
    print("%s: compatible with %s (additions allowed)" % (os.path.basename(args.library), baseline))
    return 0


def main(argv):
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("check", choices=("exports", "header", "frameless", "softfloat", "baseline", "no_cxx_runtime"))
    for opt in ("map", "readelf", "objdump", "header", "castxml", "cc", "work", "slots", "baseline-dir", "baseline"):
        ap.add_argument("--" + opt)
    ap.add_argument("--abidiff", default="abidiff")
    ap.add_argument("--abidw", default="abidw")
    ap.add_argument("--update", action="store_true")
    ap.add_argument("library")
    args = ap.parse_args(argv)
    return globals()["check_" + args.check](args)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
