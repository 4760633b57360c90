#!/usr/bin/env python3
"""The library needs no C++ runtime: no libstdc++ among its NEEDED entries and
no imported C++ symbol (mangled _Z* names, __cxa_*, __gxx_personality_*).
The C library's own __cxa_finalize and __cxa_atexit, which every shared object
GCC links may import, are not C++ runtime.

usage: check_no_cxx_runtime.py --readelf READELF LIBRARY

Prints one line per offending entry and exits 1 if there is any.
"""

import argparse
import re
import sys

from abi_common import run

CXX_RUNTIME_LIBRARY = re.compile(r"^libstdc\+\+\.so")
CXX_RUNTIME_SYMBOL = re.compile(r"^(_Z|__cxa_|__gxx_personality_)")
C_LIBRARY_SYMBOLS = {"__cxa_finalize", "__cxa_atexit", "__cxa_thread_atexit_impl"}


def needed_libraries(readelf, library):
    out = run([readelf, "-d", "-W", library])
    return re.findall(r"\(NEEDED\)\s+Shared library: \[([^\]]+)\]", out)


def imported_symbols(readelf, library):
    """Undefined dynamic symbols, version suffix dropped."""
    out = run([readelf, "--dyn-syms", "-W", library])
    names = set()
    for line in out.splitlines():
        parts = line.split()
        # Num: Value Size Type Bind Vis Ndx Name
        if len(parts) < 8 or not parts[0].endswith(":") or parts[6] != "UND":
            continue
        names.add(parts[7].split("@")[0])
    return names


def problems(readelf, library):
    found = ["NEEDED %s" % lib for lib in needed_libraries(readelf, library) if CXX_RUNTIME_LIBRARY.match(lib)]
    found += ["imports %s" % name for name in sorted(imported_symbols(readelf, library))
              if CXX_RUNTIME_SYMBOL.match(name) and name not in C_LIBRARY_SYMBOLS]
    return found


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--readelf", required=True)
    ap.add_argument("library")
    args = ap.parse_args()
    found = problems(args.readelf, args.library)
    for line in found:
        print(line)
    print("%d C++ runtime dependencies" % len(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
