#!/usr/bin/env python3
"""The public header and the library agree: every function and data object
declared in the header is exported, and every export is declared there.

The header is parsed as C by castxml (a real compiler front end), so macros,
multi-line declarations and function-pointer objects need no guessing.

usage: check_header.py --header H --castxml CASTXML --cc CC --readelf READELF
                       --map MAP --work DIR LIBRARY
"""

import argparse
import os
import sys
import xml.etree.ElementTree as ET

from abi_common import dynamic_symbols, exported_names, read_version_script, run


def header_declarations(castxml, cc, header, work):
    out = os.path.join(work, os.path.basename(header) + ".xml")
    run([castxml, "--castxml-output=1", "-x", "c", "-std=c99", "--castxml-cc-gnu-c", cc,
         "-I", os.path.dirname(header), "-o", out, header])
    root = ET.parse(out).getroot()
    real = os.path.realpath(header)
    files = {f.get("id") for f in root.iter("File") if os.path.realpath(f.get("name")) == real}
    functions, objects, inline = set(), set(), set()
    for el in root:
        if el.get("file") not in files:
            continue
        if el.tag == "Function":
            # static or inline helpers of the header are not the library's.
            (inline if el.get("static") == "1" or el.get("inline") == "1" else functions).add(el.get("name"))
        elif el.tag == "Variable" and el.get("static") != "1":
            objects.add(el.get("name"))
    return functions, objects, inline


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--header", required=True)
    ap.add_argument("--castxml", required=True)
    ap.add_argument("--cc", required=True)
    ap.add_argument("--readelf", required=True)
    ap.add_argument("--map", required=True)
    ap.add_argument("--work", required=True)
    ap.add_argument("library")
    args = ap.parse_args()

    os.makedirs(args.work, exist_ok=True)
    functions, objects, _ = header_declarations(args.castxml, args.cc, args.header, args.work)
    _, nodes, _ = read_version_script(args.map)
    exported = exported_names(args.readelf, args.library, nodes)
    declared = functions | objects

    undeclared = sorted(exported - declared)
    unexported = sorted(declared - exported)
    types = {name: sym[2] for name, sym in dynamic_symbols(args.readelf, args.library).items()}
    wrong_kind = sorted(name for name in declared & exported
                        if types[name] != ("FUNC" if name in functions else "OBJECT"))
    for name in wrong_kind:
        print("declared as a %s but exported as %s: %s"
              % ("function" if name in functions else "data object", types[name], name))
    for name in unexported:
        kind = "function" if name in functions else "data object"
        print("declared in the header but not exported: %s (%s)" % (name, kind))
    for name in undeclared:
        print("exported but not declared in the header: %s" % name)
    print("%d functions and %d data objects declared, %d exported, %d mismatches"
          % (len(functions), len(objects), len(exported), len(undeclared) + len(unexported) + len(wrong_kind)))
    return 1 if undeclared or unexported or wrong_kind else 0


if __name__ == "__main__":
    sys.exit(main())
