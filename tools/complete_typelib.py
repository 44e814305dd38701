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

import typelib
from typelib import (BASE_TYPE, DATA_GUID_SEGMENT, DATA_GUID_SIZE, DATA_SEGMENT, GUID_SEGMENT,
                     PARAMFLAG_FOUT, SEGMENT_COUNT, SEGMENT_SIZE, TYPEDESC_SEGMENT, TYPEDESC_SIZE,
                     VARTYPE_SIZE, VT_PTR)

POINTER_TO_BASE_TYPE, POINTER_TO_OTHER = 0x4000, 0x7FFF  # what stands behind VT_PTR
TIME_GUID = bytes.fromhex("63ba77de7c51d111a2da0000f8773ce9")


class Library(typelib.Library):
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
        for typeinfo in self.typeinfos:
            for member, size in self.functions(typeinfo):
                for parameter in self.parameters(member, size):
                    is_out = self.word(parameter + 8) & PARAMFLAG_FOUT
                    if is_out and self.is_value(self.word(parameter)):
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
        description = self.described(type_word)
        return description is None or self.half(description) != VT_PTR


def main(path):
    library = Library(path)
    restored = library.restore()
    library.forget_time()
    with open(path, "wb") as file:
        file.write(library.data)
    print(f"{path}: {restored} reference parameters restored")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    main(sys.argv[1])
