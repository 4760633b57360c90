#!/usr/bin/env python3
"""make_corpus.py TARGET NAME [HEX...]: adds the seed fuzz/corpus/TARGET/NAME, of requests framed by their length."""
import os, struct, sys  # *_set targets: each request after its u16 little-endian length; others: stdin as is

data = b"".join(struct.pack("<H", len(r)) + r for r in map(bytes.fromhex, sys.argv[3:])) or sys.stdin.buffer.read()
folder = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus", sys.argv[1])
os.makedirs(folder, exist_ok=True)
open(os.path.join(folder, sys.argv[2]), "wb").write(data)
