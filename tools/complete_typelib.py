#!/usr/bin/env python3
"""Complete a type library that widl wrote.

References: widl stores the default value of a parameter correctly only when the parameter is a
value. So ZSupport.idl declares reference parameters with defaults by value but [in, out], which no
real by-value parameter is, and this step changes their type word to "pointer to that type". A
pointer type that nothing else in the library describes is appended to the segment of type
descriptions.

Time: widl notes when it ran, in words and as a number. Both are set to the beginning of time, so
that the same source gives the same bytes.

usage: complete_typelib.py LIBRARY.tlb
"""

import re
import struct
import sys

HEADER_SIZE = 0x54
TYPEINFO_COUNT_OFFSET = 0x20
VARFLAGS_OFFSET = 0x14
HELP_DLL_FLAG = 0x100
SEGMENT_SIZE, SEGMENT_COUNT = 16, 15
TYPEINFO_SEGMENT, GUID_SEGMENT, TYPEDESC_SEGMENT, DATA_SEGMENT, DATA_GUID_SEGMENT = 0, 5, 9, 11, 12
TYPEINFO_SIZE = 100
TYPEDESC_SIZE = 8  # of a TYPEDESC as 32-bit clients see it, too
PARAMETER_SIZE = 12
BASE_TYPE = 0x80000000  # in a type word; others are offsets of type descriptions
VT_PTR = 26
POINTER_TO_BASE_TYPE, POINTER_TO_OTHER = 0x4000, 0x7FFF  # what stands behind VT_PTR
PARAMFLAG_FOUT = 2
DATA_GUID_SIZE, VARTYPE_SIZE = 12, 2
TIME_GUID = bytes.fromhex("63ba77de7c51d111a2da0000f8773ce9")


class Library:
    def __init__(self, data):
        self.data = data
        if data[:4] != b"MSFT":
            raise SystemExit("not a type library in MSFT format")
        count = self.word(TYPEINFO_COUNT_OFFSET)
        self.directory = HEADER_SIZE + 4 * count
        if self.word(VARFLAGS_OFFSET) & HELP_DLL_FLAG:
            self.directory += 4
        self.typeinfos = [self.segment(TYPEINFO_SEGMENT)[0] + TYPEINFO_SIZE * i for i in range(count)]

    def segment(self, index):
        """Offset and length."""
        return struct.unpack_from("<iI", self.data, self.directory + SEGMENT_SIZE * index)

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
        start, length = self.segment(TYPEDESC_SEGMENT)
        for offset in range(start, start + length, TYPEDESC_SIZE):
            if self.half(offset) == VT_PTR and self.word(offset + 4) == type_word:
                return offset - start
        kind = POINTER_TO_BASE_TYPE | type_word & 0xFFF if type_word & BASE_TYPE else POINTER_TO_OTHER
        self.append_type_description(struct.pack("<HHI", VT_PTR, kind, type_word))
        return length

    def append_type_description(self, description):
        start, length = self.segment(TYPEDESC_SEGMENT)
        end = start + length
        struct.pack_into("<I", self.data, self.directory + SEGMENT_SIZE * TYPEDESC_SEGMENT + 4,
                         length + len(description))
        for index in range(SEGMENT_COUNT):
            if self.segment(index)[0] >= end:
                self.move(self.directory + SEGMENT_SIZE * index, len(description))
        for typeinfo in self.typeinfos:
            if self.word(typeinfo + 4) >= end:
                self.move(typeinfo + 4, len(description))
        self.data[end:end] = description

    def move(self, place, distance):
        struct.pack_into("<I", self.data, place, self.word(place) + distance)

    def restore(self):
        # Pointer types first: describing one may move the functions.
        for type_word in sorted({self.word(place) for _, place in self.values_to_restore()}):
            self.pointer_to(type_word)
        values = list(self.values_to_restore())
        for member, parameter in values:
            struct.pack_into("<I", self.data, parameter, self.pointer_to(self.word(parameter)))
            described_size = self.half(member + 14) + TYPEDESC_SIZE
            struct.pack_into("<H", self.data, member + 14, described_size)
        return len(values)

    def values_to_restore(self):
        """Offsets of by-value [in, out] parameters, each behind that of its function record."""
        for member, size in self.functions():
            count = self.half(member + 20)
            for i in range(count):
                parameter = member + size - PARAMETER_SIZE * (count - i)
                if self.word(parameter + 8) & PARAMFLAG_FOUT and self.is_value(self.word(parameter)):
                    yield member, parameter

    def forget_time(self):
        start, length = self.segment(DATA_GUID_SEGMENT)
        for entry in range(start, start + length, DATA_GUID_SIZE):
            guid = self.segment(GUID_SEGMENT)[0] + self.word(entry)
            if self.data[guid:guid + len(TIME_GUID)] == TIME_GUID:
                value = self.segment(DATA_SEGMENT)[0] + self.word(entry + 4) + VARTYPE_SIZE
                struct.pack_into("<I", self.data, value, 0)
        self.data = re.sub(rb"(Created by WIDL version [^ ]+ at ).{24}", rb"\1Thu Jan  1 00:00:00 1970",
                           self.data)

    def is_value(self, type_word):
        if type_word & BASE_TYPE:
            return True
        return self.half(self.segment(TYPEDESC_SEGMENT)[0] + type_word) != VT_PTR


def main(path):
    with open(path, "rb") as file:
        library = Library(bytearray(file.read()))
    restored = library.restore()
    library.forget_time()
    with open(path, "wb") as file:
        file.write(library.data)
    print(f"{path}: {restored} reference parameters restored")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    main(sys.argv[1])
