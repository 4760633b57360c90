#!/usr/bin/env python3
"""Runs golden scenario files: run_scenario.py TOOL FILE... A block starts with
"$ COMMAND" (run by bash from the source root; quorixctl there, and $QUORIXCTL
in commands other programs start, is TOOL), then what it prints: "TEXT" a line
of standard output, "! TEXT" of standard error, "? CODE" the exit status (else
0); "# TEXT" is a comment. Output lines starting with a marker or a backslash
get a leading backslash. Blocks run in order in one fresh state."""
import difflib
import os
import re
import shlex
import subprocess
import sys

MARKERS = ("$ ", "! ", "? ", "#", "\\")


def trimmed(lines):
    while lines and lines[-1] == "":
        lines = lines[:-1]
    return lines


tool, failed = sys.argv[1], 0
env = dict(os.environ, QUORIXCTL=("%s %s" % (os.environ.get("QUORIX_EMULATOR", ""), shlex.quote(tool))).strip())
for path in sys.argv[2:]:
    for block in re.split(r"^\$ ", open(path).read(), flags=re.M)[1:]:
        command, *lines = [l for l in block.split("\n") if not l.startswith("#")]
        p = subprocess.run(["bash", "-c", 'quorixctl() { $QUORIXCTL "$@"; }\n' + command], capture_output=True,
                           text=True, env=env, timeout=300)
        got = ["\\" + l if l.startswith(MARKERS) else l for l in trimmed(p.stdout.split("\n"))]
        got += ["! " + l for l in p.stderr.splitlines()] + (["? %d" % p.returncode] if p.returncode else [])
        if got != trimmed(lines):
            failed += 1
            print("%s: %s\n  " % (path, command) + "\n  ".join(difflib.unified_diff(trimmed(lines), got, "expected", "printed", lineterm="")))
print("%d command(s) printed something else" % failed if failed else "", end="")
sys.exit(1 if failed else 0)
