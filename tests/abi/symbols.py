#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The exported interface of the library against the list kept beside this file.

usage: symbols.py --binary FILE --list FILE [--nm NM] [--objdump OBJDUMP] [--filter CXXFILT] [--update]

A symbol that is not in the list, or is in the list but no longer exported, fails. When the change is intended, run it
again with --update (or scripts/symbols) and say in the changelog what has changed.
"""
import argparse
import re
import subprocess
import sys

# Template instances that any user of Qt and the standard library has; they come and go with the optimiser.
FOREIGN = re.compile(r"^_|^(vtable for |typeinfo (name )?for |void |bool |guard variable for )*(Q[A-Z]\w*<|QtPrivate::|QtMetaTypePrivate::|QtSharedPointer::|std::|__gnu|__cxx|operator (new|delete)|qRegister|int qRegister)")


def run(*command, text=None):
    return subprocess.run(command, check=True, capture_output=True, text=True, input=text).stdout


def exported_by_elf(library, nm):
    for line in run(nm, "-D", "--defined-only", "-C", library).splitlines():
        fields = line.split(" ", 2)
        if len(fields) < 3:
            continue
        kind, name = fields[1], fields[2]
        # Weak ones other than tables of our own classes are instances of templates and inline functions.
        if kind in "TDBR" or (kind in "VW" and name.startswith(("vtable for ", "typeinfo for "))):
            yield name


def exported_by_pe(library, objdump, cxxfilt):
    names = []
    in_table = False
    for line in run(objdump, "-p", library).splitlines():
        if "[Ordinal/Name Pointer] Table" in line:
            in_table = True
        elif in_table:
            found = re.match(r"\s*\[\s*\d+\]\s+(?:\+base\[\s*\d+\]\s+)?(?:[0-9a-f]+\s+)?(\S+)$", line)
            if not found:
                break
            names.append(found.group(1))
    return run(cxxfilt, text="\n".join(names)).splitlines()


def arguments():
    parser = argparse.ArgumentParser()
    parser.add_argument("--binary", required=True)
    parser.add_argument("--list", required=True)
    parser.add_argument("--nm", default="nm")
    parser.add_argument("--objdump", default="objdump")
    parser.add_argument("--filter", default="c++filt")
    parser.add_argument("--update", action="store_true")
    return parser.parse_args()


def main():
    given = arguments()
    if given.binary.endswith(".dll"):
        names = exported_by_pe(given.binary, given.objdump, given.filter)
    else:
        names = exported_by_elf(given.binary, given.nm)
    exported = sorted({name for name in names if not FOREIGN.match(name)})
    if not exported:
        sys.exit(f"no symbol found in {given.binary}")
    if given.update:
        with open(given.list, "w", encoding="utf-8") as file:
            file.write("\n".join(exported) + "\n")
        print(f"{given.list}: {len(exported)} symbols")
        return
    with open(given.list, encoding="utf-8") as file:
        expected = set(file.read().splitlines())
    added = sorted(set(exported) - expected)
    removed = sorted(expected - set(exported))
    for name in removed:
        print(f"- {name}")
    for name in added:
        print(f"+ {name}")
    if added or removed:
        sys.exit(f"{len(removed)} symbols gone, {len(added)} new. Intended? Then run scripts/symbols and say it in CHANGELOG.md.")
    print(f"{len(exported)} symbols, as listed")


if __name__ == "__main__":
    main()
