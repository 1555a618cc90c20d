#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""usage: own_abi.py <ALL.abi >OWN.abi

Of a description by abidw keeps our classes, enumerations and symbols, and what these refer to. Of the standard library's
and the C library's only the names are left that ours mention: how those are made is theirs to keep. Sorted, so that one
change of the source is one change of the text.
"""
import sys
import xml.etree.ElementTree as ET

FOREIGN_SPACES = {"std", "__gnu_cxx", "__cxxabiv1", "__pstl", "__gnu_debug"}
DEFINITIONS = {"class-decl", "union-decl", "enum-decl"}
SCOPES = {"abi-instr", "namespace-decl"}


def own_definitions(scope):
    """Classes and enumerations outside foreign name spaces. Names with two underscores in front are the C library's."""
    for element in scope:
        if element.tag == "namespace-decl":
            if element.get("name") not in FOREIGN_SPACES:
                yield from own_definitions(element)
        elif element.tag in DEFINITIONS and not element.get("name", "").startswith("__"):
            if element.get("is-declaration-only") != "yes":
                yield element


def members(scope):
    """What stands directly in a scope or in the scopes within."""
    for element in scope:
        if element.tag in SCOPES:
            yield from members(element)
        else:
            yield element


def with_what_they_need(roots, member_of):
    """The roots and all members that they lead to, each as a whole."""
    needed = set()
    waiting = list(roots)
    while waiting:
        member = waiting.pop()
        if member in needed:
            continue
        needed.add(member)
        for element in member.iter():
            for attribute in ("type-id", "naming-typedef-id"):
                other = member_of.get(element.get(attribute))
                if other is not None:
                    waiting.append(other)
    return needed


def sweep(scope, needed):
    """Leaves in a scope what is needed. True if anything is."""
    for element in list(scope):
        if not (sweep(element, needed) if element.tag in SCOPES else element in needed):
            scope.remove(element)
    scope[:] = sorted(scope, key=lambda e: (e.tag, e.get("name", ""), e.get("id", "")))
    return len(scope) > 0


def main():
    corpus = ET.parse(sys.stdin).getroot()
    units = corpus.findall("abi-instr")
    member_of = {e.get("id"): member for unit in units for member in members(unit) for e in member.iter() if e.get("id")}
    roots = [definition for unit in units for definition in own_definitions(unit)]
    needed = with_what_they_need(roots, member_of)
    for unit in units:
        sweep(unit, needed)
    corpus.append(ET.Comment(" SPDX-License-Identifier: MIT "))  # libabigail knows a file by its first line
    ET.indent(corpus)
    ET.ElementTree(corpus).write(sys.stdout, encoding="unicode")
    print()


main()
