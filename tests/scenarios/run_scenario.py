#!/usr/bin/env python3
"""Runs golden scenario files: console commands with their exact expected output.

A scenario is a text file of blocks. Each block starts with a line "$ COMMAND"
(run by bash; quorixctl there is the console tool under test, and so is
$QUORIXCTL in commands that other programs start), followed by what the
command must print, line by line:

    TEXT        a line of standard output
    ! TEXT      a line of standard error
    ? CODE      the exit status (a block without one expects 0)
    # TEXT      a comment (also allowed before the first block)

Output lines that themselves begin with "$ ", "! ", "? ", "#" or a backslash
are written with a leading backslash. Blank lines at the end of a block are
ignored. Commands run in order in one fresh state (the runner is started in the
sandbox with --fresh), with the source root as working directory.

    run_scenario.py --tool PATH FILE...       run; a diff for each mismatch
    run_scenario.py --tool PATH --print FILE  FILE as it would read with what
                                              was printed (review, then keep it)
"""
import argparse
import difflib
import os
import shlex
import subprocess
import sys

MARKERS = ("$ ", "! ", "? ", "#", "\\")


def parse(path):
    """The blocks of a file, and the comment lines that come before each (kept by --print)."""
    blocks, current, notes = [], None, []
    with open(path) as f:
        for line in f.read().splitlines():
            if line.startswith("$ "):
                current = {"command": line[2:], "lines": [], "notes": notes}
                blocks.append(current)
                notes = []
            elif line.startswith("#"):
                notes.append(line)
            elif current is None:
                if line.strip():
                    sys.exit(f"{path}: text before the first command: {line}")
                notes.append(line)
            else:
                current["lines"].append(line)
    return blocks


def expected(block):
    out, err, code = [], [], 0
    for line in block["lines"]:
        if line.startswith("! "):
            err.append(line[2:])
        elif line.startswith("? "):
            code = int(line[2:])
        else:
            out.append(line[1:] if line.startswith("\\") else line)
    while out and out[-1] == "":
        out.pop()
    return out, err, code


def escape(line):
    return "\\" + line if line.startswith(MARKERS) else line


def run(block, tool):
    env = dict(os.environ)
    emulator = env.get("QUORIX_EMULATOR", "")
    # quorixctl as a shell function, so that pipes, redirections and "&" work as typed.
    # $QUORIXCTL for commands started by other programs (script, timeout, ...).
    env["QUORIXCTL"] = f"{emulator} {shlex.quote(tool)}".strip()
    prelude = 'quorixctl() { $QUORIXCTL "$@"; }\n'
    p = subprocess.run(["bash", "-c", prelude + block["command"]], capture_output=True, text=True, env=env,
                       timeout=300)
    out = p.stdout.splitlines()
    while out and out[-1] == "":
        out.pop()
    return out, p.stderr.splitlines(), p.returncode


def render(block, out, err, code):
    lines = [f"$ {block['command']}"] + [escape(l) for l in out] + [f"! {l}" for l in err]
    if code != 0:
        lines.append(f"? {code}")
    return lines


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--tool", required=True)
    ap.add_argument("--print", action="store_true")
    ap.add_argument("files", nargs="+")
    a = ap.parse_args()
    failed = 0
    for path in a.files:
        blocks = parse(path)
        if a.print:
            body = []
            for block in blocks:
                body += block["notes"] + render(block, *run(block, a.tool)) + [""]
            sys.stdout.write("\n".join(body).rstrip("\n") + "\n")
            continue
        for block in blocks:
            want = render(block, *expected(block))
            got = render(block, *run(block, a.tool))
            if want != got:
                failed += 1
                print(f"{path}: {block['command']}")
                for line in difflib.unified_diff(want, got, "expected", "printed", lineterm="", n=2):
                    print("  " + line)
    if failed:
        print(f"{failed} command(s) printed something else")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
