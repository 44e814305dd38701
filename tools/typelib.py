"""Reading a type library in the format that widl writes ("MSFT")."""

import struct
import uuid

HEADER_SIZE = 0x54
TYPEINFO_COUNT_OFFSET = 0x20
VARFLAGS_OFFSET = 0x14
HELP_DLL_FLAG = 0x100
SEGMENT_SIZE, SEGMENT_COUNT = 16, 15
TYPEINFO_SEGMENT, GUID_SEGMENT, NAME_SEGMENT, TYPEDESC_SEGMENT, DATA_SEGMENT, DATA_GUID_SEGMENT = (
    0, 5, 7, 9, 11, 12)
TYPEINFO_SIZE = 100
TYPEDESC_SIZE = 8  # of a TYPEDESC as 32-bit clients see it, too
PARAMETER_SIZE, DEFAULT_SIZE = 12, 4
HAS_DEFAULTS = 0x1000  # in a function record's word of kinds
BASE_TYPE = 0x80000000  # in a type word; others are offsets of type descriptions
IMPORTED = 1  # in a reference to a type
NOTHING = 0xFFFFFFFF  # as an offset or a length
DATA_GUID_SIZE, VARTYPE_SIZE = 12, 2
INLINE_VALUE, INLINE_TYPE_SHIFT, INLINE_MASK = 0x80000000, 26, 0x3FFFFFF

VT_BSTR, VT_PTR, VT_SAFEARRAY, VT_USERDEFINED = 8, 26, 27, 29
TKIND_ENUM, TKIND_RECORD, TKIND_DISPATCH = 0, 1, 4
PARAMFLAG_FOUT, PARAMFLAG_FRETVAL, PARAMFLAG_FOPT, PARAMFLAG_FHASDEFAULT = 2, 8, 0x10, 0x20


class Library:
    def __init__(self, path):
        with open(path, "rb") as file:
            self.data = bytearray(file.read())
        if self.data[:4] != b"MSFT":
            raise SystemExit(f"{path}: not a type library in MSFT format")
        count = self.word(TYPEINFO_COUNT_OFFSET)
        self.directory = HEADER_SIZE + 4 * count
        if self.word(VARFLAGS_OFFSET) & HELP_DLL_FLAG:
            self.directory += 4
        self.typeinfos = [self.segment(TYPEINFO_SEGMENT)[0] + TYPEINFO_SIZE * i for i in range(count)]

    def segment(self, index):
        """Offset and length."""
        return struct.unpack_from("<iI", self.data, self.directory + SEGMENT_SIZE * index)

    def within(self, segment, offset):
        return self.segment(segment)[0] + offset

    def word(self, offset):
        return struct.unpack_from("<I", self.data, offset)[0]

    def half(self, offset):
        return struct.unpack_from("<H", self.data, offset)[0]

    def name(self, offset):
        """None for the value that a property gets, which has no name."""
        if offset == NOTHING:
            return None
        start = self.within(NAME_SEGMENT, offset)
        length = self.data[start + 8]
        return self.data[start + 12:start + 12 + length].decode("ascii")

    # Of a typeinfo.

    def kind(self, typeinfo):
        return self.word(typeinfo) & 0xF

    def type_name(self, typeinfo):
        return self.name(self.word(typeinfo + 0x34))

    def guid(self, typeinfo):
        offset = self.word(typeinfo + 0x2C)
        if offset == NOTHING:
            return None
        start = self.within(GUID_SEGMENT, offset)
        return uuid.UUID(bytes_le=bytes(self.data[start:start + 16]))

    def function_count(self, typeinfo):
        return self.half(typeinfo + 0x18)

    def functions(self, typeinfo):
        """Offsets of its function records, each with the size of its record."""
        member = self.word(typeinfo + 4) + 4  # the first word is the block's size
        for _ in range(self.function_count(typeinfo)):
            size = self.half(member)
            yield member, size
            member += size

    def ids_and_names(self, typeinfo):
        """Of its functions. Behind the records stand the ids of all members, then their names."""
        block = self.word(typeinfo + 4)
        tail = block + 4 + self.word(block)
        members = self.function_count(typeinfo) + self.half(typeinfo + 0x1A)
        for i in range(self.function_count(typeinfo)):
            yield self.word(tail + 4 * i), self.name(self.word(tail + 4 * (members + i)))

    # Of a function record: offsets of its parameters.

    def parameters(self, member, size):
        count = self.half(member + 20)
        return [member + size - PARAMETER_SIZE * (count - i) for i in range(count)]

    def default(self, member, size, index):
        """Type and value of a parameter's default."""
        count = self.half(member + 20)
        assert self.word(member + 16) & HAS_DEFAULTS
        word = self.word(member + size - PARAMETER_SIZE * count - DEFAULT_SIZE * (count - index))
        if word & INLINE_VALUE:
            return (word & ~INLINE_VALUE) >> INLINE_TYPE_SHIFT, word & INLINE_MASK
        start = self.within(DATA_SEGMENT, word)
        variant_type, value = self.half(start), self.word(start + VARTYPE_SIZE)
        if variant_type == VT_BSTR:
            text = start + VARTYPE_SIZE + 4
            value = "" if value == NOTHING else self.data[text:text + value].decode("ascii")
        return variant_type, value

    # Of a type word.

    def described(self, type_word):
        """Offset of the type's description, None for a base type."""
        return None if type_word & BASE_TYPE else self.within(TYPEDESC_SEGMENT, type_word)
