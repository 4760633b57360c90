#!/usr/bin/env python3
"""Runs golden scenario files: console commands with their exact expected output.

A block starts with "$ COMMAND" (run by bash from the source root; quorixctl
there, and $QUORIXCTL in commands other programs start, is the tool under
test), then what it prints: "TEXT" a line of standard output, "! TEXT" of
standard error, "? CODE" the exit status (else 0); "# TEXT" is a comment.
Output lines starting with one of these markers or a backslash get a leading
backslash. Blocks run in order in one fresh state. --print shows a file as it
would read with what was printed (review, then keep it).
"""
import argparse
import difflib
import os
import shlex
import subprocess
import sys

MARKERS = ("$ ", "! ", "? ", "#", "\\")


def blocks(path):
    """[command, lines, comments before it] per block."""
    found, notes = [], []
    for line in open(path).read().splitlines():
        if line.startswith("$ "):
            found.append([line[2:], [], notes])
            notes = []
        elif line.startswith("#") or not found:
            notes.append(line)
        else:
            found[-1][1].append(line)
    return found


def render(command, out, err, code):
    while out and out[-1] == "":
        out = out[:-1]
    return ["$ " + command] + ["\\" + l if l.startswith(MARKERS) else l for l in out] + ["! " + l for l in err] + \
        (["? %d" % code] if code else [])


def expected(command, lines):
    pick = lambda mark: [l[2:] for l in lines if l.startswith(mark)]
    out = [l[1:] if l.startswith("\\") else l for l in lines if not l.startswith(("! ", "? "))]
    return render(command, out, pick("! "), int((pick("? ") or ["0"])[0]))


def printed(command, tool):
    env = dict(os.environ, QUORIXCTL=("%s %s" % (os.environ.get("QUORIX_EMULATOR", ""), shlex.quote(tool))).strip())
    p = subprocess.run(["bash", "-c", 'quorixctl() { $QUORIXCTL "$@"; }\n' + command], capture_output=True, text=True,
                       env=env, timeout=300)
    return render(command, p.stdout.splitlines(), p.stderr.splitlines(), p.returncode)


ap = argparse.ArgumentParser()
ap.add_argument("--tool", required=True)
ap.add_argument("--print", action="store_true")
ap.add_argument("files", nargs="+")
a = ap.parse_args()
failed = 0
for path in a.files:
    for command, lines, notes in blocks(path):
        got = printed(command, a.tool)
        if a.print:
            print("\n".join(notes + got + [""]))
        elif got != expected(command, lines):
            failed += 1
            print("%s: %s\n  " % (path, command) + "\n  ".join(difflib.unified_diff(expected(command, lines), got, "expected", "printed", lineterm="")))
print("%d command(s) printed something else" % failed if failed else "", end="")
sys.exit(1 if failed else 0)
