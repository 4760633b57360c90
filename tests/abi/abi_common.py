"""Shared helpers of the ABI checks: the slot table, the version script and
the dynamic symbol table of a built library."""

import re
import subprocess
import sys


def fail(message):
    print(message, file=sys.stderr)
    sys.exit(2)


def run(cmd):
    proc = subprocess.run(cmd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if proc.returncode != 0:
        fail("command failed (%d): %s\n%s" % (proc.returncode, " ".join(cmd), proc.stderr))
    return proc.stdout


def strip_c_comments(text):
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    return re.sub(r"//[^\n]*", "", text)


def split_top_level(text, sep=","):
    """Splits at SEP outside parentheses."""
    parts, depth, cur = [], 0, []
    for ch in text:
        if ch == "(":
            depth += 1
        elif ch == ")":
            depth -= 1
        if ch == sep and depth == 0:
            parts.append("".join(cur).strip())
            cur = []
        else:
            cur.append(ch)
    parts.append("".join(cur).strip())
    return parts


def read_slot_rows(path):
    """Rows of the slot table as (kind, slot, result, name, params)."""
    text = strip_c_comments(open(path, encoding="utf-8").read())
    rows = []
    pos = 0
    while True:
        m = re.compile(r"\bQRX_SLOT\s*\(").search(text, pos)
        if not m:
            break
        depth, i = 1, m.end()
        while depth and i < len(text):
            depth += {"(": 1, ")": -1}.get(text[i], 0)
            i += 1
        if depth:
            fail("%s: unterminated QRX_SLOT row at offset %d" % (path, m.start()))
        fields = split_top_level(text[m.end():i - 1])
        if len(fields) != 6 or not fields[1].isdigit():
            fail("%s: malformed QRX_SLOT row: %s" % (path, text[m.start():i]))
        rows.append((fields[0], int(fields[1]), fields[2], fields[3], fields[4]))
        pos = i
    return rows


def read_version_script(path):
    """(names under global:, version node names, duplicated names)."""
    text = strip_c_comments(open(path, encoding="utf-8").read())
    text = re.sub(r"#[^\n]*", "", text)
    names, nodes, dups = [], [], []
    for node in re.finditer(r"([A-Za-z_][\w.]*)?\s*\{(.*?)\}\s*[\w.]*\s*;", text, flags=re.S):
        if node.group(1):
            nodes.append(node.group(1))
        scope = "global"
        for tok in re.findall(r"[^\s;]+:|[^\s;]+\s*;", node.group(2)):
            tok = tok.rstrip(";").strip()
            if tok.endswith(":"):
                scope = tok[:-1]
                continue
            if scope != "global":
                continue
            if any(c in tok for c in "*?[]"):
                fail("%s: wildcard %r in the export list; list every name" % (path, tok))
            if tok in names:
                dups.append(tok)
            else:
                names.append(tok)
    return names, nodes, dups


def dynamic_symbols(readelf, library):
    """Defined dynamic symbols: name -> (address, size, type)."""
    out = run([readelf, "--dyn-syms", "-W", library])
    symbols = {}
    for line in out.splitlines():
        parts = line.split()
        # Num: Value Size Type Bind Vis Ndx Name
        if len(parts) < 8 or not parts[0].endswith(":") or not parts[0][:-1].isdigit():
            continue
        value, size, typ, bind, ndx, name = parts[1], parts[2], parts[3], parts[4], parts[6], parts[7]
        if ndx == "UND" or bind not in ("GLOBAL", "WEAK"):
            continue
        name = name.split("@")[0]
        size = int(size, 16) if size.startswith("0x") else int(size)
        symbols[name] = (int(value, 16), size, typ, ndx)
    return symbols


def exported_names(readelf, library, version_nodes):
    """Exported functions and objects; the version nodes' own ABS entries are not exports."""
    return {name for name, (_, _, typ, ndx) in dynamic_symbols(readelf, library).items()
            if not (ndx == "ABS" and name in version_nodes)}
