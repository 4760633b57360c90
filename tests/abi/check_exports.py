#!/usr/bin/env python3
"""The version script is the export list: the library must export exactly the
names listed under global:, no more and no fewer.

usage: check_exports.py --map quorix_common_interface.map --readelf READELF LIBRARY
"""

import argparse
import sys

from abi_common import exported_names, read_version_script


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--map", required=True)
    ap.add_argument("--readelf", required=True)
    ap.add_argument("library")
    args = ap.parse_args()

    listed, nodes, dups = read_version_script(args.map)
    exported = exported_names(args.readelf, args.library, nodes)
    unlisted = sorted(exported - set(listed))
    missing = sorted(set(listed) - exported)

    for name in dups:
        print("listed twice in the version script: %s" % name)
    for name in unlisted:
        print("exported but not in the version script: %s" % name)
    for name in missing:
        print("in the version script but not exported: %s" % name)
    bad = len(dups) + len(unlisted) + len(missing)
    print("%d listed, %d exported, %d mismatches" % (len(listed), len(exported), bad))
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
