#!/usr/bin/env python3
"""Adds a seed to fuzz/corpus/TARGET/NAME.

  make_corpus.py TARGET NAME HEX...   the request-sequence targets (*_set, password_rule, power_peak):
                                      each HEX is one request, framed by its u16 little-endian length
  make_corpus.py TARGET NAME < FILE   the others: the input as it stands (a file, a command, ...)
"""
import os
import struct
import sys

target, name, requests = sys.argv[1], sys.argv[2], sys.argv[3:]
data = b"".join(struct.pack("<H", len(r)) + r for r in map(bytes.fromhex, requests)) if requests else sys.stdin.buffer.read()
folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus", target)
os.makedirs(folder, exist_ok=True)
with open(os.path.join(folder, name), "wb") as f:
    f.write(data)
