#!/usr/bin/env python3
"""List, in C++, what late binding needs of a type library: so it stands once, in the IDL.

Of every dual interface, INTERFACE_members.h: the members with their names, ids, kinds, parameters,
types and defaults, as a table of the Member of automation/dispatch.h. The table names the C++
methods, which the compiler then holds to the types.

Of all records, LIBRARY_records.h: their ids, as RecordId of automation/dispatch_slots.h. A record
that shares its name with a member is called NameRecord in C++.

usage: list_members.py LIBRARY.tlb FOLDER
"""

import os
import sys

from typelib import (BASE_TYPE, IMPORTED, PARAMFLAG_FHASDEFAULT, PARAMFLAG_FOPT,
                     PARAMFLAG_FRETVAL, TKIND_DISPATCH, TKIND_ENUM, TKIND_RECORD, TYPEINFO_SEGMENT,
                     VT_BSTR, VT_PTR, VT_SAFEARRAY, VT_USERDEFINED, Library)

TYPEFLAG_FDUAL = 0x40
METHOD, PROPERTYGET, PROPERTYPUT, PROPERTYPUTREF = 1, 2, 4, 8
KINDS = {METHOD: ("DISPATCH_METHOD", ""), PROPERTYGET: ("DISPATCH_PROPERTYGET", "get_"),
         PROPERTYPUT: ("DISPATCH_PROPERTYPUT", "put_"),
         PROPERTYPUTREF: ("DISPATCH_PROPERTYPUTREF", "putref_")}
TYPES = {2: "VT_I2", 3: "VT_I4", 4: "VT_R4", 5: "VT_R8", 6: "VT_CY", 7: "VT_DATE", 8: "VT_BSTR",
         9: "VT_DISPATCH", 11: "VT_BOOL", 12: "VT_VARIANT", 13: "VT_UNKNOWN", 17: "VT_UI1"}
TYPE_MASK = 0xFFF
OBJECT = "VT_UNKNOWN"


class Interface:
    """One dual interface, as C++ text."""

    def __init__(self, library, typeinfo):
        self.library = library
        self.name = library.type_name(typeinfo)
        self.constants = []
        self.members = [
            self.member(record, size, id_, name)
            for (record, size), (id_, name) in zip(library.functions(typeinfo),
                                                   library.ids_and_names(typeinfo))]

    def member(self, record, size, id_, name):
        kind, prefix = KINDS[self.library.word(record + 16) >> 3 & 0xF]
        method = prefix + name
        parameters = self.library.parameters(record, size)
        types = [self.type_of(self.library.word(p)) for p in parameters]
        result = "VT_VOID"
        if parameters and self.library.word(parameters[-1] + 8) & PARAMFLAG_FRETVAL:
            result = types.pop().replace("VT_BYREF | ", "")
            parameters.pop()
        names = [self.library.name(self.library.word(p + 4)) for p in parameters]
        names = [wide(name) for name in names if name]
        defaults = self.defaults(record, size, parameters)
        return (f"member<{', '.join([f'&{self.name}::{method}'] + types + [result])}>(\n"
                f"        {signed(id_)}, {kind}, {wide(name)}, "
                f"{self.array('const wchar_t* const', method, 'Names', names)}, "
                f"{self.array('Default', method, 'Defaults', defaults)})")

    def defaults(self, record, size, parameters):
        """Of the optional parameters, which are the last ones."""
        flags = [self.library.word(p + 8) for p in parameters]
        first = next((i for i, flag in enumerate(flags) if flag & PARAMFLAG_FOPT), len(flags))
        if not all(flag & PARAMFLAG_FOPT for flag in flags[first:]):
            raise SystemExit(f"{self.name}: a required parameter stands behind an optional one")
        return [self.default(record, size, i) if flags[i] & PARAMFLAG_FHASDEFAULT
                else "{VT_ERROR, DISP_E_PARAMNOTFOUND}" for i in range(first, len(flags))]

    def default(self, record, size, index):
        variant_type, value = self.library.default(record, size, index)
        if variant_type == VT_BSTR:
            return f"{{VT_BSTR, 0, {wide(value)}}}"
        if TYPES[variant_type] == "VT_BOOL":
            value = 0xFFFFFFFF if value & 0xFFFF else 0
        return f"{{{TYPES[variant_type]}, {signed(value)}}}"

    def array(self, element, method, what, values):
        if not values:
            return "{}"
        name = f"k{method}{what}"
        self.constants.append(f"inline constexpr {element} {name}[] = {{{', '.join(values)}}};")
        return name

    def type_of(self, word):
        if word & BASE_TYPE:
            return TYPES[word & TYPE_MASK]
        description = self.library.described(word)
        kind, target = self.library.half(description) & TYPE_MASK, self.library.word(description + 4)
        if kind == VT_USERDEFINED:
            return self.user_type(target)
        if kind == VT_SAFEARRAY:
            return "VT_ARRAY | " + self.type_of(target)
        assert kind == VT_PTR
        pointed = self.type_of(target)
        return pointed if pointed == OBJECT else "VT_BYREF | " + pointed

    def user_type(self, reference):
        if reference & IMPORTED:
            return OBJECT
        typeinfo = self.library.within(TYPEINFO_SEGMENT, reference)
        return {TKIND_RECORD: "VT_RECORD", TKIND_ENUM: "VT_I4"}.get(self.library.kind(typeinfo), OBJECT)

    def text(self):
        return "\n".join([
            '#include "ZSupport.h"', '#include "automation/dispatch.h"', "",
            f"namespace zsupport::members_of{self.name} {{", "", *self.constants, "",
            "inline constexpr Member kMembers[] = {",
            *(f"    {member}," for member in self.members), "};", "",
            f"}}  // namespace zsupport::members_of{self.name}", ""])


def wide(text):
    escaped = text.replace("\\", "\\\\").replace('"', '\\"')
    return f'L"{escaped}"'


def signed(word):
    return str(word - 2**32 if word & 0x80000000 else word)


def record_ids(library, taken_names):
    lines = ['#include "ZSupport.h"', '#include "automation/dispatch_slots.h"', "",
             "namespace zsupport {", ""]
    for typeinfo in library.typeinfos:
        if library.kind(typeinfo) != TKIND_RECORD or not library.guid(typeinfo):
            continue
        name = library.type_name(typeinfo)
        first, second, third, *rest = library.guid(typeinfo).fields
        node = [rest[0], rest[1], *rest[2].to_bytes(6, "big")]
        lines += ["template <>",
                  f"struct RecordId<{name + 'Record' if name in taken_names else name}> {{",
                  f"  static constexpr GUID kId = {{{first:#x}, {second:#x}, {third:#x}, "
                  f"{{{', '.join(f'{byte:#x}' for byte in node)}}}}};", "};"]
    return "\n".join([*lines, "", "}  // namespace zsupport", ""])


def main(path, folder):
    library = Library(path)

    def write(name, text):
        with open(os.path.join(folder, name), "w", encoding="ascii") as file:
            file.write(f"// Made from {os.path.basename(path)} by tools/list_members.py.\n"
                       f"#pragma once\n\n{text}")

    names = set()
    for typeinfo in library.typeinfos:
        if library.kind(typeinfo) == TKIND_DISPATCH and library.word(typeinfo + 0x30) & TYPEFLAG_FDUAL:
            interface = Interface(library, typeinfo)
            write(f"{interface.name}_members.h", interface.text())
            names.update(name for _, name in library.ids_and_names(typeinfo))
    stem = os.path.splitext(os.path.basename(path))[0]
    write(f"{stem}_records.h", record_ids(library, names))


if __name__ == "__main__":
    if len(sys.argv) != 3:
        raise SystemExit(__doc__)
    main(*sys.argv[1:])
