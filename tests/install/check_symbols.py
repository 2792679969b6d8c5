#!/usr/bin/env python3
"""check_symbols.py LIBRARY INCLUDE_FOLDER: the library exports what the public headers mark, and
nothing else."""

import pathlib
import re
import subprocess
import sys

library, include = sys.argv[1:]
marked = re.compile(
    r"(?:class|struct|enum)\s+BRISKO_\w+_EXPORT\s+(\w+)"
    r"|BRISKO_\w+_EXPORT\s+[\w:<>\s*&]*?(\w+)\s*\(")
names = set()
for header in set(pathlib.Path(include).rglob("*.h")) - set(pathlib.Path(include).rglob("export.h")):
    text = header.read_text()
    names |= {name for match in marked.findall(text) for name in match if name}

lines = subprocess.run(["nm", "-DC", "--defined-only", library], capture_output=True, text=True,
                       check=True).stdout.splitlines()
exported = set()
strangers = []
for line in lines:
    _, kind, symbol = line.split(None, 2)
    symbol = re.sub(r"^(vtable|VTT|typeinfo name|typeinfo|construction vtable|non-virtual thunk|"
                    r"virtual thunk|guard variable) (for|to) ", "", symbol)
    own = re.match(r"(?:brisko::(?:(?:vexo|scan)::)?)?(\w+)", symbol)
    if own and own.group(1) in names:
        exported.add(own.group(1))
    else:
        strangers.append(line)

missing = sorted(names - exported)
for line in strangers:
    print("exported, but not by a public header:", line)
for name in missing:
    print("marked in a public header, but not exported:", name)
print(f"{len(exported)} names exported")
sys.exit(1 if strangers or missing else 0)
