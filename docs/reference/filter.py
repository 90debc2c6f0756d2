#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Doxygen's input filter: says in words what a header leaves to its reader's eye.

A header explains a value once, above its getter; the setter below it, copies, moves and the usual constructor of a
QObject go without a comment of their own. The reference lists each member by itself, so they get one here. Lines are
neither added nor removed: the numbers in warnings are those of the header.
"""
import re
import sys

SETTER = re.compile(r"^\s*(?:virtual )?void (?:Set|set)(\w+)\(")
GETTER = re.compile(r"\b(?:Get|get)?(\w+)\(\)(?: const)?(?: noexcept)?[;{ ]")
SPECIAL = re.compile(r"^\s*(?:explicit )?(\w+)\((?:const \1& \w+|\1&& \w+)?\)(?: noexcept)?(?: = default)?;")
ASSIGNMENT = re.compile(r"^\s*(\w+)& operator=\((?:const )?\1&&? \w+\)(?: noexcept)?(?: = default)?;")
QOBJECT = re.compile(r"^\s*explicit \w+\(QObject\* parent = nullptr\);")
MUTABLE = re.compile(r"^\s*[\w:<>, ]+& (Get\w+)\(\)(?: \{|;)")
SIGNAL = re.compile(r"^\s*void (\w+)\(")


def brief(line, text):
    indent = line[: len(line) - len(line.lstrip())]
    return f"{indent}/** \\brief {text} */ {line.lstrip()}"


def documented(lines, index):
    """Whether a comment for Doxygen stands directly above the line, or behind it."""
    if "///<" in lines[index]:
        return True
    return index > 0 and lines[index - 1].lstrip().startswith(("///", "*/"))


def explain(path, lines):
    in_signals_of_controller = False
    getter = ""
    for index, line in enumerate(lines):
        stripped = line.strip()
        if stripped.endswith(":") and stripped[:-1] in ("public", "protected", "private", "public Q_SLOTS", "Q_SIGNALS"):
            in_signals_of_controller = stripped == "Q_SIGNALS:" and path.endswith("DownloadController.h")
        if documented(lines, index):
            found = GETTER.search(line)
            if found:
                getter = found.group(1)
            continue
        setter = SETTER.match(line)
        found = GETTER.search(line)
        if setter:
            what = setter.group(1)
            lines[index] = brief(line, f"Sets what Get{what}() returns." if what.lower() == getter.lower() else f"Sets {what}.")
        elif MUTABLE.match(line) and found and found.group(1) == getter:
            lines[index] = brief(line, "The same value, to be changed in place.")
        elif in_signals_of_controller and SIGNAL.match(line):
            name = SIGNAL.match(line).group(1)
            indent = line[: len(line) - len(line.lstrip())]
            lines[index] = f"{indent}/** \\copydoc BaseDownloadManager::{name} */ {line.lstrip()}"
        elif QOBJECT.match(line):
            lines[index] = brief(line, "Creates it; \\p parent, when given, owns it.")
        elif SPECIAL.match(line):
            words = "Moves." if "&&" in line else "Copies." if "&" in line else "Creates it with the values given below."
            lines[index] = brief(line, words)
        elif ASSIGNMENT.match(line):
            lines[index] = brief(line, "Takes over all values." if "&&" in line else "Copies all values.")
        elif found:
            getter = found.group(1)
    return lines


def main():
    path = sys.argv[1]
    with open(path, encoding="utf-8") as header:
        lines = header.read().split("\n")
    sys.stdout.reconfigure(encoding="utf-8")
    sys.stdout.write("\n".join(explain(path, lines)))


if __name__ == "__main__":
    main()
