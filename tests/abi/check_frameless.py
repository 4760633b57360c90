#!/usr/bin/env python3
"""Checks that every Plain forwarder of the slot table compiled to a frameless
tail call: the table load(s), the load of its own slot and an indirect jump,
and nothing else before the jump (no push, no stack adjustment, no call).

usage: check_frameless.py --slots slots.def --objdump OBJDUMP --readelf READELF
                          [--expect-framed NAME]... LIBRARY

Prints one line per forwarder that breaks the rule and exits 1 if any does.
With --expect-framed (the checker's own test), exits 0 only when exactly the
named forwarders break it.
"""

import argparse
import re
import sys

from abi_common import dynamic_symbols, fail, read_slot_rows, run

# x86-64: registers never touched by a frameless forwarder.
X86_STACK = re.compile(r"%[re]?(sp|bp)\b|%[sb]pl\b")
ARM_STACK = re.compile(r"\b(sp|fp|lr|r11|r13|r14)\b")


def elf_machine(library):
    with open(library, "rb") as f:
        head = f.read(20)
    if head[:4] != b"\x7fELF":
        fail("%s is not an ELF file" % library)
    return int.from_bytes(head[18:20], "little"), head[4]


def disassemble(objdump, library):
    """Address -> instruction text (mnemonic and operands, comments dropped)."""
    out = run([objdump, "-d", "-w", "--no-show-raw-insn", "-j", ".text", library])
    insns = {}
    for line in out.splitlines():
        m = re.match(r"^\s*([0-9a-f]+):\s+(.*)$", line)
        if not m:
            continue
        text = re.split(r"\s[@#;]\s|\s<", m.group(2), maxsplit=1)[0].strip()
        insns[int(m.group(1), 16)] = re.sub(r"\s+", " ", text)
    return insns


def function_code(insns, address, size):
    return [insns[a] for a in sorted(insns) if address <= a < address + size]


def check_x86(code, slot):
    """Problems of one x86-64 forwarder; [] when frameless."""
    offset = slot * 8
    for i, insn in enumerate(code):
        op, _, operands = insn.partition(" ")
        if op in ("endbr64", "nop"):
            continue
        if op in ("jmp", "notrack") and "*" in operands:
            target = operands.replace("jmp", "").strip().lstrip("*")
            slot_ok = slot_operand_x86(target, offset)
            if not slot_ok and re.fullmatch(r"%\w+", target) and i > 0:
                # mov disp(%table),%reg ; jmp *%reg
                prev = code[i - 1].partition(" ")
                src, _, dst = prev[2].rpartition(",")
                slot_ok = prev[0] in ("mov", "movq") and dst == target and slot_operand_x86(src, offset)
            return [] if slot_ok else ["jumps through %s, not slot %d (offset %#x)" % (target, slot, offset)]
        if X86_STACK.search(operands):
            return ["touches the stack: %s" % insn]
        if op in ("mov", "movq", "movl", "lea") and "(" in operands.split(",")[0]:
            continue  # table loads (GOT entry, table pointer)
        if re.fullmatch(r"mov[sz][bw][lwq]", op) and re.fullmatch(r"%\w+,%\w+", operands):
            continue  # a byte or short argument passed on narrowed, in its register
        return ["not a table load: %s" % insn]
    return ["no indirect jump"]


def slot_operand_x86(operand, offset):
    m = re.fullmatch(r"(0x[0-9a-f]+|\d+)?\(%(r\w+)\)", operand)
    return bool(m) and m.group(2) != "rip" and int(m.group(1) or "0", 0) == offset


def check_arm(code, slot):
    """Problems of one 32-bit ARM forwarder; [] when frameless."""
    offset = slot * 4
    jump_reg = None
    for i, insn in enumerate(code):
        op, _, operands = insn.partition(" ")
        ops = [o.strip() for o in operands.split(",", 1)]
        if op == "bx" and re.fullmatch(r"r\d+|ip", operands) and operands != "lr":
            jump_reg = operands
            load = code[i - 1] if i > 0 else ""
            if arm_slot_load(load, jump_reg, offset):
                return []
            return ["jumps through %s, not loaded from slot %d (offset %d): %s" % (jump_reg, slot, offset, load)]
        if op == "ldr" and ops[0] == "pc":
            return [] if arm_slot_load(insn, "pc", offset) else ["jumps through %s, not slot %d" % (insn, slot)]
        if op in ("push", "stmdb", "stmfd", "bl", "blx", "b", "pop", "ldm", "ldmia", "ldmfd") or op.startswith("str"):
            return ["sets up a frame or calls: %s" % insn]
        if ARM_STACK.search(operands):
            return ["touches the stack: %s" % insn]
        if op == "ldr" and operands.count("[") == 1:
            continue  # literal, GOT entry, table pointer
        if op == "add" and re.fullmatch(r"(r\d+|ip), pc, (r\d+|ip)", operands):
            continue  # PC-relative address of the GOT
        return ["not a table load: %s" % insn]
    return ["no indirect jump"]


def arm_slot_load(insn, reg, offset):
    m = re.fullmatch(r"ldr (\w+), \[(r\d+|ip)(?:, #(-?\d+))?\]", insn)
    return bool(m) and m.group(1) == reg and int(m.group(3) or "0") == offset


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--slots", required=True)
    ap.add_argument("--objdump", required=True)
    ap.add_argument("--readelf", required=True)
    ap.add_argument("--expect-framed", action="append", metavar="NAME")
    ap.add_argument("library")
    args = ap.parse_args()

    machine, elf_class = elf_machine(args.library)
    if machine == 62 and elf_class == 2:
        check = check_x86
    elif machine == 40 and elf_class == 1:
        check = check_arm
    else:
        fail("no rule for ELF machine %d (class %d)" % (machine, elf_class))

    plain = [(name, slot) for kind, slot, _, name, _ in read_slot_rows(args.slots) if kind == "Plain"]
    if not plain:
        fail("%s has no Plain rows" % args.slots)
    symbols = dynamic_symbols(args.readelf, args.library)
    insns = disassemble(args.objdump, args.library)

    framed = []
    for name, slot in plain:
        if name not in symbols:
            print("%s: not exported" % name)
            framed.append(name)
            continue
        address, size, _, _ = symbols[name]
        problems = check(function_code(insns, address & ~1, size), slot)
        if problems:
            print("%s (slot %d): %s" % (name, slot, "; ".join(problems)))
            framed.append(name)

    if args.expect_framed is not None:
        if sorted(framed) != sorted(args.expect_framed):
            print("expected exactly %s to break the rule, got %s" % (sorted(args.expect_framed), sorted(framed)))
            return 1
        print("checker found exactly the framed forwarders %s among %d" % (sorted(framed), len(plain)))
        return 0
    print("%d of %d plain forwarders are frameless tail calls" % (len(plain) - len(framed), len(plain)))
    return 1 if framed else 0


if __name__ == "__main__":
    sys.exit(main())
