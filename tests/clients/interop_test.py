#!/usr/bin/env python3
"""The C# interfaces list what the IDL lists, in its order: one member off, and calls go astray.

usage: interop_test.py ZSupport.idl ZSupport.cs
"""
import re
import sys

INTERFACES = ("_Zollection", "_GZSupport", "__Zollection")


def body(text, name):
    """The members of an interface, without comments."""
    block = re.search(r"interface " + name + r"(?: : \w+)?\s*\{(.*?)\n\s*\}\n", text, re.DOTALL)
    return re.sub(r"//.*", "", block[1])


def idl_members(text):
    # Help texts and defaults hold brackets and commas.
    text = re.sub(r'"[^"\n]*"', '""', text).replace("SAFEARRAY(", "(")
    member = r"\[(?:(prop\w+), )?id\((-?\w+)\)[^]]*\]\s*(?:HRESULT|void) (\w+)\((.*?)\);"
    for kind, number, name, parameters in re.findall(member, text, re.DOTALL):
        count = len(re.findall(r"\[in", parameters))
        yield int(number, 0), kind.replace("prop", "")[:3], name, count


def cs_members(text):
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
        wanted, found = (list(f(body(text, name)))
                         for f, text in ((idl_members, idl), (cs_members, cs)))
        print(name, len(wanted), "members")
        for pair in zip(wanted, found):
            if pair[0] != pair[1]:
                sys.exit(f"FAILED: the IDL has {pair[0]} where C# has {pair[1]}")
        if not wanted or len(wanted) != len(found):
            sys.exit(f"FAILED: {len(wanted)} members in the IDL, {len(found)} in C#")


main()
