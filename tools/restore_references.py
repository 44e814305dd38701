#!/usr/bin/env python3
"""Turn by-value [in, out] parameters of a type library into the references they stand for.

widl stores the default value of a parameter correctly only when the parameter is a value. So
ZSupport.idl declares reference parameters with defaults by value but [in, out], which no real
by-value parameter is, and this step changes their type word to "pointer to that type". The file
is edited in place and no segment changes its size: the pointer type must already be described in
the library, because some other parameter uses it without a default.

usage: restore_references.py LIBRARY.tlb
"""

import struct
import sys

HEADER_SIZE = 0x54
TYPEINFO_COUNT_OFFSET = 0x20
VARFLAGS_OFFSET = 0x14
HELP_DLL_FLAG = 0x100
SEGMENT_SIZE = 16
TYPEINFO_SEGMENT, TYPEDESC_SEGMENT = 0, 9
TYPEINFO_SIZE = 100
TYPEDESC_SIZE = 8  # of a TYPEDESC as 32-bit clients see it, too
PARAMETER_SIZE = 12
VT_PTR = 26
PARAMFLAG_FOUT = 2


class Library:
    def __init__(self, data):
        self.data = data
        if data[:4] != b"MSFT":
            raise SystemExit("not a type library in MSFT format")
        count = self.word(TYPEINFO_COUNT_OFFSET)
        directory = HEADER_SIZE + 4 * count
        if self.word(VARFLAGS_OFFSET) & HELP_DLL_FLAG:
            directory += 4
        self.segments = [
            (self.word(directory + SEGMENT_SIZE * i), self.word(directory + SEGMENT_SIZE * i + 4))
            for i in range(15)
        ]
        self.typeinfos = [self.segments[TYPEINFO_SEGMENT][0] + TYPEINFO_SIZE * i for i in range(count)]

    def word(self, offset):
        return struct.unpack_from("<I", self.data, offset)[0]

    def half(self, offset):
        return struct.unpack_from("<H", self.data, offset)[0]

    def functions(self):
        """Offsets of all function records, each with the size of its record."""
        for typeinfo in self.typeinfos:
            member = self.word(typeinfo + 4) + 4  # the first word is the block's size
            for _ in range(self.half(typeinfo + 0x18)):
                size = self.half(member)
                yield member, size
                member += size

    def pointer_to(self, type_word):
        """Offset, in the type description segment, of "pointer to type_word"."""
        start, length = self.segments[TYPEDESC_SEGMENT]
        for offset in range(start, start + length, TYPEDESC_SIZE):
            if self.half(offset) == VT_PTR and self.word(offset + 4) == type_word:
                return offset - start
        raise SystemExit(f"no parameter without a default is a reference to type {type_word:#x}")

    def restore(self):
        restored = 0
        for member, size in self.functions():
            count = self.half(member + 20)
            for i in range(count):
                parameter = member + size - PARAMETER_SIZE * (count - i)
                type_word = self.word(parameter)
                if not self.word(parameter + 8) & PARAMFLAG_FOUT or not self.is_value(type_word):
                    continue
                struct.pack_into("<I", self.data, parameter, self.pointer_to(type_word))
                described_size = self.half(member + 14) + TYPEDESC_SIZE
                struct.pack_into("<H", self.data, member + 14, described_size)
                restored += 1
        return restored

    def is_value(self, type_word):
        if type_word & 0x80000000:
            return True
        return self.half(self.segments[TYPEDESC_SEGMENT][0] + type_word) != VT_PTR


def main(path):
    with open(path, "rb") as file:
        library = Library(bytearray(file.read()))
    restored = library.restore()
    with open(path, "wb") as file:
        file.write(library.data)
    print(f"{path}: {restored} reference parameters restored")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    main(sys.argv[1])
