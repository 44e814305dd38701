#!/usr/bin/env python3
"""The C# interfaces list what the IDL lists, in its order: one member off, and calls go astray.

usage: interop_test.py ZSupport.idl ZSupport.cs
"""
import re
import sys
from pathlib import Path

sys.path.append(str(Path(__file__).resolve().parent.parent))
sys.dont_write_bytecode = True
import interfaces

INTERFACES = ("_Zollection", "_GZSupport", "__Zollection")


def idl_members(text, interface):
    for kind, number, name, parameters in interfaces.members(text, interface):
        yield number, kind, name, sum(attributes.startswith("in") for attributes, _, _ in parameters)


def cs_members(text, interface):
    text = re.search(r"interface " + interface + r"\s*\{(.*?)\n\s*\}\n", text, re.DOTALL)[1]
    text = re.sub(r"//.*", "", text)
    member = r"\[DispId\((-?\w+)\)\]\s*(?:\[return:[^]]*\]\s*)?[\w.\[\]]+ (\w+)\s*([({].*?[;}]\n)"
    for number, name, rest in re.findall(member, text + "\n", re.DOTALL):
        number = int(number, 0)
        if rest.startswith("{"):
            yield from ((number, kind, name, int(kind == "put"))
                        for word, kind in (("get;", "get"), ("set;", "put")) if word in rest)
            continue
        kind, name = re.fullmatch(r"(?:(get|put)_)?(\w+)", name).groups(default="")
        rest = re.sub(r"\[[^]]+\]", "", rest)
        yield number, kind, name, 0 if rest.startswith("()") else rest.count(",") + 1


def main():
    idl, cs = (open(path, encoding="utf-8").read() for path in sys.argv[1:])
    for name in INTERFACES:
        wanted, found = (list(idl_members(idl, name)), list(cs_members(cs, name)))
        print(name, len(wanted), "members")
        for pair in zip(wanted, found):
            if pair[0] != pair[1]:
                sys.exit(f"FAILED: the IDL has {pair[0]} where C# has {pair[1]}")
        if not wanted or len(wanted) != len(found):
            sys.exit(f"FAILED: {len(wanted)} members in the IDL, {len(found)} in C#")


main()
