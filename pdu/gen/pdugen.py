#!/usr/bin/env python3
"""Generates the packet families of the PDU library from the tables in pdu/tables.

    pdugen.py --vendor vendor.tbl --radiotest radiotest.tbl --out DIR

writes, under DIR:
    pdu/tscmd_pdus.h, pdu/tscmd_pdus.cpp          the vendor command classes
    pdu/radiotest_pdus.h, pdu/radiotest_pdus.cpp  the radio-test classes and
                                                  their parameter-array side
    tests/tscmd_pdus_test.cpp                     the tests generated with them
    tests/radiotest_pdus_test.cpp

The classes are views: a constructor with constants, accessors at fixed byte
offsets, no data of their own. The tests check every class against a byte image
that this script packs on its own (class Image below), so that a wrong offset,
width, byte order or sign in the generated C++ shows as a difference of bytes.

Standard library only. Files are rewritten only when their text changes, so a
table edit rebuilds only what it touches.
"""

import argparse
import os
import re
import sys

import hcigen
from tables import CPP_KEYWORDS, TableError, read_hci, read_rows

HEADER_BYTES = 10
MINIMUM_BYTES = 18
RADIOTEST_VARID = 0x5004


# ---------------------------------------------------------------------------
# Tables

class Field:
    """One field of a row: name, kind and where it lies."""

    def __init__(self, text, where):
        m = re.fullmatch(r"(\w+):(\w+)(?:\[([\w*]*)\])?@(\d+)(?:\+(\d+))?", text)
        if not m:
            raise TableError(f"{where}: cannot read field '{text}'")
        self.name, self.kind, count, offset, second = m.groups()
        self.offset = int(offset)
        self.second = int(second) if second else None
        self.is_array = count is not None
        self.count_field, self.per_count = None, 1
        if self.is_array and count:
            name, _, factor = count.partition("*")
            self.count_field, self.per_count = name, int(factor or 1)
        kinds = ("u8", "u16", "u32") if self.is_array else ("u16", "i16", "u32", "u32split", "bytes", "u16x5")
        if self.kind not in kinds:
            raise TableError(f"{where}: unknown kind '{self.kind}' of field {self.name}")
        if (self.kind == "u32split") != (self.second is not None):
            raise TableError(f"{where}: only u32split takes a second offset ({self.name})")
        if self.name in CPP_KEYWORDS:
            raise TableError(f"{where}: field name {self.name} is a C++ keyword")

    @property
    def end(self):
        """Byte after the field, for fixed fields."""
        return {"u16": 2, "i16": 2, "u32": 4, "u16x5": 10}.get(self.kind, 0) + self.offset

    @property
    def element_bytes(self):
        """Bytes a variable-array element takes on the wire: bytes travel as words."""
        return {"u8": 2, "u16": 2, "u32": 4}[self.kind]


class Row:
    def __init__(self, name, code, size, fields, flags, where):
        self.name, self.code, self.size, self.fields, self.flags, self.where = name, code, size, fields, flags, where

    def field(self, name):
        return next((f for f in self.fields if f.name == name), None)


def check_unique(rows, what):
    seen_names, seen_codes = {}, {}
    for row in rows:
        if row.name in seen_names:
            raise TableError(f"{row.where}: {what} {row.name} also at {seen_names[row.name]}")
        if row.code in seen_codes:
            raise TableError(f"{row.where}: code 0x{row.code:04x} also at {seen_codes[row.code]}")
        seen_names[row.name], seen_codes[row.code] = row.where, row.where
        names = [f.name for f in row.fields]
        if len(set(names)) != len(names):
            raise TableError(f"{row.where}: a field name repeats in {row.name}")


def read_vendor(path):
    rows = []
    for where, words in read_rows(path):
        if len(words) < 3:
            raise TableError(f"{where}: a row needs a name, a varid and a size")
        flags = {w[1:] for w in words[3:] if w.startswith("!")}
        fields = [Field(w, where) for w in words[3:] if not w.startswith("!")]
        row = Row(words[0], int(words[1], 16), int(words[2]), fields, flags, where)
        fixed_end = max([MINIMUM_BYTES] + [f.end if f.kind != "u32split" else max(f.offset, f.second) + 2
                                           for f in fields if not f.is_array])
        if row.size != fixed_end:
            raise TableError(f"{where}: size {row.size} of {row.name}, but the fields end at {fixed_end}")
        for f in fields:
            if f.is_array and f.count_field:
                count = row.field(f.count_field)
                if count is None or count.kind != "u16":
                    raise TableError(f"{where}: {f.name} is counted by {f.count_field}, which is no u16 field")
                if sum(1 for g in fields if g.count_field == f.count_field) > 1:
                    raise TableError(f"{where}: {f.count_field} counts more than one array")
        if flags - {"carrier"}:
            raise TableError(f"{where}: unknown flag(s) {sorted(flags - {'carrier'})}")
        rows.append(row)
    check_unique(rows, "class")
    return rows


def read_radiotest(path):
    rows = []
    for where, words in read_rows(path):
        if len(words) < 2:
            raise TableError(f"{where}: a row needs an id and a name")
        fields = [Field(w, where) for w in words[2:]]
        for f in fields:
            if f.is_array or f.kind in ("u32split", "bytes") or f.end > MINIMUM_BYTES + 4:
                raise TableError(f"{where}: radio-test field {f.name} of a kind or place not carried")
        rows.append(Row(words[1], int(words[0]), MINIMUM_BYTES, fields, set(), where))
    check_unique(rows, "radio test")
    return rows


# ---------------------------------------------------------------------------
# The independent packer: how the bytes of a view must look.

class Image:
    """A packet's bytes as the views must leave them, built the plain way."""

    def __init__(self, size, minimum=MINIMUM_BYTES):
        self.b = bytearray(size)
        self.minimum = minimum

    def set8(self, offset, value):
        if offset < len(self.b):
            self.b[offset] = value & 0xFF

    def get8(self, offset):
        return self.b[offset] if offset < len(self.b) else 0

    def set16(self, offset, value):
        self.set8(offset, value)
        self.set8(offset + 1, value >> 8)

    def get16(self, offset):
        return self.get8(offset) | self.get8(offset + 1) << 8

    def set32(self, offset, value):
        self.set16(offset, value >> 16)
        self.set16(offset + 2, value)

    def get32(self, offset):
        return self.get16(offset) << 16 | self.get16(offset + 2)

    def grow(self, size):
        if size > len(self.b):
            self.b.extend(bytes(size - len(self.b)))

    def resize(self, size):
        size = max(size, self.minimum)
        del self.b[size:]
        self.grow(size)

    def set_length(self):
        self.set16(2, len(self.b) // 2)

    def hex(self):
        return self.b.hex(" ")


def v16(k):
    """A word with two different bytes, different for every field index."""
    return (0x11 + k) & 0xFF | ((0x81 + k) & 0xFF) << 8


def vi16(k):
    return -(0x0102 + k)


def v32(k):
    return ((0x21 + k) & 0xFF) << 24 | ((0x31 + k) & 0xFF) << 16 | ((0x41 + k) & 0xFF) << 8 | (0x51 + k) & 0xFF


def element_value(kind, k, i):
    return {"u8": (0xC1 + 8 * k + i) & 0xFF, "u16": v16(40 + 4 * k + i), "u32": v32(40 + 4 * k + i)}[kind]


ARRAY_ELEMENTS = 3
COUNT_FIRST = 2  # a count field is first set to this, then the array setter makes it 3


def c_type(kind):
    return {"u8": "uint8_t", "u16": "uint16_t", "i16": "int16_t", "u32": "uint32_t", "u32split": "uint32_t"}[kind]


def c_literal(kind, value):
    if kind == "i16":
        return f"int16_t({value})"
    if kind in ("u32", "u32split"):
        return f"0x{value:08X}u"
    return f"0x{value:04X}u"


# ---------------------------------------------------------------------------
# Vendor classes

def vendor_class_name(row):
    return f"TSCMD_{row.name}_PDU"


def vendor_members(row):
    """The accessor lines of one vendor class."""
    lines = []
    counted = {f.count_field: f for f in row.fields if f.is_array and f.count_field}
    for f in row.fields:
        o = f.offset
        if f.is_array:
            lines += array_members(f)
        elif f.kind in ("u16", "i16") and f.name in counted:
            arr = counted[f.name]
            per = arr.element_bytes * arr.per_count
            lines += [
                f"    uint16_t get_{f.name}() const {{ return get_uint16({o}); }}",
                f"    // Counts {arr.name}; sets the size to fit it, and the length word.",
                f"    void set_{f.name}(uint16_t count) {{",
                f"        set_uint16({o}, count);",
                f"        TSCMD_PDU::resize({arr.offset}ul + {per}ul * count);",
                "        TSCMD_PDU::set_length();",
                "    }",
            ]
        elif f.kind == "u16":
            lines += [f"    uint16_t get_{f.name}() const {{ return get_uint16({o}); }}",
                      f"    void set_{f.name}(uint16_t value) {{ set_uint16({o}, value); }}"]
        elif f.kind == "i16":
            lines += [f"    int16_t get_{f.name}() const {{ return get_int16({o}); }}",
                      f"    void set_{f.name}(int16_t value) {{ set_int16({o}, value); }}"]
        elif f.kind == "u32":
            lines += [f"    uint32_t get_{f.name}() const {{ return get_uint32({o}); }}",
                      f"    void set_{f.name}(uint32_t value) {{ set_uint32({o}, value); }}"]
        elif f.kind == "u32split":
            lines += [
                f"    uint32_t get_{f.name}() const {{",
                f"        return get_uint16({o}) | static_cast<uint32_t>(get_uint16({f.second})) << 16;",
                "    }",
                f"    void set_{f.name}(uint32_t value) {{",
                f"        set_uint16({o}, static_cast<uint16_t>(value));",
                f"        set_uint16({f.second}, static_cast<uint16_t>(value >> 16));",
                "    }",
            ]
        elif f.kind == "bytes":
            lines.append(f"    uint8_t* get_{f.name}() const {{ return get_uint8ArrayPtr({o}); }}")
    return lines


def array_members(f):
    """Accessors of a variable array."""
    lines = []
    o = f.offset
    t = c_type(f.kind)
    op = {"u8": "uint8Array", "u16": "uint16Array", "u32": "uint32Array"}[f.kind]
    if f.count_field and f.per_count > 1:
        k = f.per_count
        lines += [
            f"    // In blocks of {k} words, as {f.count_field} counts them.",
            f"    unsigned long get_{f.name}({t}* dst, unsigned long blocks) const {{",
            f"        return get_{op}(dst, {o}, {k}ul * blocks) / {k}ul;",
            "    }",
            f"    void set_{f.name}(const {t}* src, unsigned long blocks) {{",
            f"        set_{op}(src, {o}, {k}ul * blocks);",
            f"        set_{f.count_field}(static_cast<uint16_t>(blocks));",
            "    }",
        ]
    else:
        lines += [f"    unsigned long get_{f.name}({t}* dst, unsigned long count) const {{",
                  f"        return get_{op}(dst, {o}, count);",
                  "    }"]
        if f.count_field:
            lines += [f"    void set_{f.name}(const {t}* src, unsigned long count) {{",
                      f"        set_{op}(src, {o}, count);",
                      f"        set_{f.count_field}(static_cast<uint16_t>(count));",
                      "    }"]
        else:
            lines += [f"    // Nothing counts {f.name}: the packet grows to hold it.",
                      f"    void set_{f.name}(const {t}* src, unsigned long count) {{",
                      f"        set_{op}(src, {o}, count);",
                      "        TSCMD_PDU::set_length();",
                      "    }"]
    return lines


def vendor_class(row):
    cls = vendor_class_name(row)
    out = [f"class {cls} : public TSCMD_PDU {{", "public:"]
    per = [f for f in row.fields if f.is_array and f.per_count > 1]
    for f in per:
        out += [f"    static const unsigned long words_per_block = {f.per_count};",
                f"    static const unsigned long bytes_per_block = {2 * f.per_count};"]
    out.append(f"    {cls}() : TSCMD_PDU(0x{row.code:04x}, {row.size}) {{}}")
    if "carrier" in row.flags:
        out.append(f"    explicit {cls}(uint16_t varid) : TSCMD_PDU(varid, {row.size}) {{}}")
    out += [f"    {cls}(const PDU& other) : TSCMD_PDU(other) {{}}",
            f"    {cls}(const unsigned char* data, unsigned long size) : TSCMD_PDU(data, size) {{}}",
            f"    ~{cls}() override;"]
    out += vendor_members(row)
    out.append("};")
    return out


def array_step(img, row, f, k, set_count):
    """Sets a variable array of three elements (or blocks) on the image; returns the step."""
    values = [element_value(f.kind, k, i) for i in range(ARRAY_ELEMENTS * f.per_count)]
    init = ", ".join(c_literal("u32" if f.kind == "u32" else "u16", v) for v in values)
    width = f.element_bytes
    img.grow(f.offset + width * len(values))
    for i, v in enumerate(values):
        (img.set32 if f.kind == "u32" else img.set16)(f.offset + width * i, v)
    if f.count_field:
        set_count(row.field(f.count_field), ARRAY_ELEMENTS)
    else:
        img.set_length()
    statement = f"{{ const {c_type(f.kind)} v[] = {{{init}}}; p.set_{f.name}(v, {ARRAY_ELEMENTS}); }}"
    return statement, len(img.b), f"set_{f.name}"


def vendor_model(row):
    """Runs the generated test's steps on an Image: returns (steps, image).

    A step is (C++ statement, expected size after it or None)."""
    img = Image(row.size)
    img.set16(6, row.code)
    img.set_length()
    default_hex = img.hex()
    steps = []
    counted = {f.count_field: f for f in row.fields if f.is_array and f.count_field}

    def set_count(f, n):
        arr = counted[f.name]
        img.set16(f.offset, n)
        img.resize(arr.offset + arr.element_bytes * arr.per_count * n)
        img.set_length()

    for k, f in enumerate(row.fields):
        if f.kind == "bytes":
            continue
        if f.is_array:
            steps.append(array_step(img, row, f, k, set_count))
        elif f.name in counted:
            set_count(f, COUNT_FIRST)
            steps.append((f"p.set_{f.name}({COUNT_FIRST});", len(img.b), f"set_{f.name}"))
        elif f.kind == "u16":
            img.set16(f.offset, v16(k))
            steps.append((f"p.set_{f.name}({c_literal('u16', v16(k))});", None, None))
        elif f.kind == "i16":
            img.set16(f.offset, vi16(k) & 0xFFFF)
            steps.append((f"p.set_{f.name}({c_literal('i16', vi16(k))});", None, None))
        elif f.kind == "u32":
            img.set32(f.offset, v32(k))
            steps.append((f"p.set_{f.name}({c_literal('u32', v32(k))});", None, None))
        elif f.kind == "u32split":
            img.set16(f.offset, v32(k))
            img.set16(f.second, v32(k) >> 16)
            steps.append((f"p.set_{f.name}({c_literal('u32', v32(k))});", None, None))
    return default_hex, steps, img


def array_readback(f, img):
    """Reads three elements (or blocks) back; the count is cut to what the packet holds."""
    o, width = f.offset, f.element_bytes
    wanted = ARRAY_ELEMENTS * f.per_count
    held = (len(img.b) - o) // width if o < len(img.b) else 0
    got = min(wanted, held)
    mask = 0xFF if f.kind == "u8" else 0xFFFF
    values = [img.get32(o + width * i) if f.kind == "u32" else img.get16(o + width * i) & mask for i in range(got)]
    want = ", ".join(f"{v}u" for v in values)
    return [f"    {{ {c_type(f.kind)} got[{wanted}] = {{}};",
            f"      EXPECT_EQ(p.get_{f.name}(got, {ARRAY_ELEMENTS}), {got // f.per_count}u);",
            f"      ExpectElements(got, {got}, {{{want}}}); }}"]


def vendor_readbacks(row, img):
    """Expectations of every getter against the final image."""
    lines = []
    for f in row.fields:
        o = f.offset
        if f.is_array:
            lines += array_readback(f, img)
        elif f.kind == "u16":
            lines.append(f"    EXPECT_EQ(p.get_{f.name}(), {c_literal('u16', img.get16(o))});")
        elif f.kind == "i16":
            raw = img.get16(o)
            lines.append(f"    EXPECT_EQ(p.get_{f.name}(), {c_literal('i16', raw - 0x10000 if raw & 0x8000 else raw)});")
        elif f.kind == "u32":
            lines.append(f"    EXPECT_EQ(p.get_{f.name}(), {c_literal('u32', img.get32(o))});")
        elif f.kind == "u32split":
            lines.append(f"    EXPECT_EQ(p.get_{f.name}(), {c_literal('u32', img.get16(o) | img.get16(f.second) << 16)});")
        elif f.kind == "bytes":
            lines.append(f"    EXPECT_EQ(p.get_{f.name}(), p.data() + {o});")
    return lines



def vendor_round_trip(row):
    """The parameter array of a class with every field set, for create and then
    decompose; None where fields overlap one another or the header, or where an
    array that nothing counts is not the last field, since those cannot come back
    the same."""
    spans, array = [], []
    counted = {f.count_field: f for f in row.fields if f.is_array and f.count_field}
    for i, f in enumerate(row.fields):
        if f.kind == "bytes":
            return None
        if f.is_array and not f.count_field and i != len(row.fields) - 1:
            return None
        width = {"u16": 2, "i16": 2, "u32": 4}.get(f.kind, 0)
        parts = [(f.offset, f.offset + 2), (f.second, f.second + 2)] if f.kind == "u32split" else \
            [(f.offset, f.offset + (width or 10_000))]
        for lo, hi in parts:
            if lo < HEADER_BYTES or any(lo < b and a < hi for a, b in spans):
                return None
            spans.append((lo, hi))
    for k, f in enumerate(row.fields):
        if f.name in counted:
            array.append(2)
        elif f.is_array:
            n = 2 * f.per_count
            if not f.count_field:
                # An array that runs to the end must reach past the minimum size to
                # come back whole.
                n = max(n, -(-(MINIMUM_BYTES - f.offset) // f.element_bytes))
            array += [element_value(f.kind, k, i) for i in range(n)]
        elif f.kind == "i16":
            array.append(vi16(k))
        elif f.kind in ("u32", "u32split"):
            array.append(v32(k))
        else:
            array.append(v16(k))
    return array


def vendor_round_trip_test(rows):
    out = ["struct RoundTrip {", "    const char* name;", "    std::vector<unsigned long> array;", "};", "",
           "const RoundTrip kRoundTrips[] = {"]
    for row in rows:
        if "carrier" in row.flags:
            continue
        fields = vendor_round_trip(row)
        if fields is None:
            continue
        full = [4 + len(fields), 2, 0x77, row.code] + fields
        values = ", ".join(f"static_cast<unsigned long>({v}l)" if v < 0 else f"0x{v:X}ul" for v in full)
        out.append(f"    {{\"{vendor_class_name(row)}\", {{{values}}}}},")
    table = out + ["};", ""]
    out = ["TEST(GeneratedVendorPdus, EveryFieldComesBackThroughTheFactory) {",
            "    for (const RoundTrip& r : kRoundTrips) {",
            "        SCOPED_TRACE(r.name);",
            "        TSCMD_PDU reply = HCIPDUFactory::createTSCMD_PDU(r.array.data());",
            "        ASSERT_GT(reply.size(), 0u);",
            "        EXPECT_EQ(reply.get_length() * 2ul, reply.size());",
            "        reply.set_req_type(1);",
            "        std::vector<unsigned long> back(r.array.size() + 8, 0xEEEEul);",
            "        back[0] = back.size();",
            "        BadPDUReason reason = bad_return_length;",
            "        ASSERT_EQ(HCIPDUFactory::decomposeTSCMD_PDU(reply, back.data(), reason), r.array.size());",
            "        EXPECT_EQ(back[1], r.array[3]);",
            "        EXPECT_EQ(back[2], r.array[2]);",
            "        EXPECT_EQ(std::vector<unsigned long>(back.begin() + 4, back.begin() + r.array.size()),",
            "                  std::vector<unsigned long>(r.array.begin() + 4, r.array.end()));",
            "    }",
            f"    EXPECT_GT(sizeof kRoundTrips / sizeof kRoundTrips[0], {len(rows) - 20}u);",
            "}", ""]
    return table, out

def vendor_test(rows):
    out = [
        "// Generated by pdu/gen/pdugen.py from pdu/tables/vendor.tbl. Do not edit.",
        "#include <gtest/gtest.h>",
        "",
        "#include <set>",
        "#include <string>",
        "",
        "#include \"pdu/hci_factory.h\"",
        "#include \"pdu/tscmd_pdus.h\"",
        "#include \"tests/pdu/generated_checks.h\"",
        "",
        "namespace {",
        "",
    ]
    for row in rows:
        cls = vendor_class_name(row)
        default_hex, steps, img = vendor_model(row)
        out += [f"void Check_{row.name}() {{",
                f"    {cls} p;",
                f"    ExpectVendorDefault(p, {row.size}, \"{default_hex}\");"]
        for statement, size, label in steps:
            out.append(f"    {statement}")
            if size is not None:
                out.append(f"    EXPECT_EQ(p.size(), {size}u) << \"after {label}\";")
        out.append(f"    ExpectImage(p, \"{img.hex()}\");")
        out += vendor_readbacks(row, img)
        out += ["}", ""]
    out += ["struct VendorClass {", "    const char* name;", "    void (*check)();", "    uint16_t (*varid)();",
            "};", "", "const VendorClass kClasses[] = {"]
    for row in rows:
        out.append(f"    {{\"{vendor_class_name(row)}\", Check_{row.name}, "
                   f"[] {{ return {vendor_class_name(row)}().get_varid(); }}}},")
    round_trip_table, round_trip_test = vendor_round_trip_test(rows)
    out += ["};", ""] + round_trip_table
    out += ["}  // namespace", ""] + round_trip_test + [
            "TEST(GeneratedVendorPdus, EveryClassLaysItsFieldsAtTheirOffsets) {",
            "    for (const VendorClass& c : kClasses) {",
            "        SCOPED_TRACE(c.name);",
            "        c.check();",
            "    }",
            "}",
            "",
            "TEST(GeneratedVendorPdus, NoTwoClassesShareAVarid) {",
            "    std::set<uint16_t> varids;",
            "    std::set<std::string> names;",
            "    for (const VendorClass& c : kClasses) {",
            "        EXPECT_TRUE(varids.insert(c.varid()).second) << c.name;",
            "        EXPECT_TRUE(names.insert(c.name).second) << c.name;",
            "    }",
            f"    EXPECT_EQ(varids.size(), {len(rows)}u);",
            "}", ""]
    return out


# ---------------------------------------------------------------------------
# Radio-test classes

def radiotest_class_name(row):
    return f"RADIOTEST_{row.name}_PDU"


def radiotest_class(row):
    cls = radiotest_class_name(row)
    out = [f"class {cls} : public TSCMD_RADIOTEST_PDU {{", "public:",
           f"    static const uint16_t test_id = {row.code};",
           f"    {cls}() {{ set_radiotest(test_id); }}",
           f"    {cls}(const PDU& other) : TSCMD_RADIOTEST_PDU(other) {{}}",
           f"    {cls}(const unsigned char* data, unsigned long size) : TSCMD_RADIOTEST_PDU(data, size) {{}}",
           f"    ~{cls}() override;"]
    for f in row.fields:
        o = f.offset
        if f.kind == "u16x5":
            out += ["    // Grows the packet to 22 bytes (and its length word) when shorter, then",
                    "    // writes up to five words from byte 12.",
                    "    void set_channels(const unsigned short* channels, unsigned long count);",
                    "    // Five words; a word past the end reads 0.",
                    "    void get_channels(unsigned short* channels) const;"]
        elif f.kind == "u32":
            out += [f"    uint32_t get_{f.name}() const {{ return get_uint32({o}); }}",
                    f"    void set_{f.name}(uint32_t value) {{ set_uint32({o}, value); }}"]
        else:
            t = c_type(f.kind)
            g = "get_int16" if f.kind == "i16" else "get_uint16"
            s = "set_int16" if f.kind == "i16" else "set_uint16"
            out += [f"    {t} get_{f.name}() const {{ return {g}({o}); }}",
                    f"    void set_{f.name}({t} value) {{ {s}({o}, value); }}"]
    out.append("};")
    return out


def radiotest_update(rows):
    out = ["void updateRADIOTEST_PDU(TSCMD_RADIOTEST_PDU& pdu, const unsigned long* parameters) {",
           "    if (parameters == nullptr || parameters[0] < 5) {",
           "        return;",
           "    }",
           "    const unsigned long count = parameters[0];",
           "    switch (parameters[4]) {"]
    for row in rows:
        out.append(f"    case {row.code}: {{")
        if row.fields:
            out.append(f"        {radiotest_class_name(row)} view(pdu);")
        element = 5
        for f in row.fields:
            if f.kind == "u16x5":
                out += [f"        if (count > {element + 4}) {{",
                        "            unsigned short words[5];",
                        "            for (int i = 0; i < 5; ++i) {",
                        f"                words[i] = static_cast<unsigned short>(parameters[{element} + i]);",
                        "            }",
                        "            view.set_channels(words, 5);",
                        "        }"]
                element += 5
            elif f.kind == "u32":
                # Filled from two elements, high half first; taken apart as one.
                out += [f"        if (count > {element + 1}) {{",
                        f"            view.set_{f.name}(static_cast<uint32_t>((parameters[{element}] & 0xFFFF) << 16 |",
                        f"                                                    (parameters[{element + 1}] & 0xFFFF)));",
                        "        }"]
                element += 2
            else:
                t = c_type(f.kind)
                out += [f"        if (count > {element}) {{",
                        f"            view.set_{f.name}(static_cast<{t}>(parameters[{element}]));",
                        "        }"]
                element += 1
        out += ["        return;", "    }"]
    out += ["    default: {",
            "        // No class: the elements from the id on are the payload words.",
            "        std::vector<uint16_t> words(count - 4);",
            "        for (unsigned long i = 0; i < words.size(); ++i) {",
            "            words[i] = static_cast<uint16_t>(parameters[4 + i]);",
            "        }",
            "        pdu.set_payload(words.data(), words.size());",
            "        return;",
            "    }",
            "    }",
            "}"]
    return out


def radiotest_decompose(rows):
    out = ["unsigned long decomposeRADIOTEST_PDU(const TSCMD_RADIOTEST_PDU& pdu, unsigned long* parameters) {",
           "    const uint16_t id = pdu.get_radiotest();",
           "    if (parameters != nullptr) {",
           "        parameters[4] = id;",
           "    }",
           "    switch (id) {"]
    for row in rows:
        if not row.fields:
            continue
        out += [f"    case {row.code}: {{", f"        const {radiotest_class_name(row)} view(pdu);",
                "        if (parameters != nullptr) {"]
        element = 5
        for f in row.fields:
            if f.kind == "u16x5":
                out += ["            unsigned short words[5];",
                        "            view.get_channels(words);",
                        "            for (int i = 0; i < 5; ++i) {",
                        f"                parameters[{element} + i] = words[i];",
                        "            }"]
                element += 5
            elif f.kind == "i16":
                out.append(f"            parameters[{element}] = static_cast<unsigned long>(static_cast<long>("
                           f"view.get_{f.name}()));")
                element += 1
            else:
                out.append(f"            parameters[{element}] = view.get_{f.name}();")
                element += 1
        out += ["        }", f"        return {element - 4};", "    }"]
    out += ["    default:", "        return 1;", "    }", "}"]
    return out


def radiotest_model(row):
    """The field image, the update array that must give it, and decompose's answer."""
    img = Image(MINIMUM_BYTES)
    img.set16(6, RADIOTEST_VARID)
    img.set_length()
    img.set16(10, row.code)
    default_hex = img.hex()
    steps, array, decomposed = [], [row.code], [row.code]
    for k, f in enumerate(row.fields):
        if f.kind == "u16x5":
            words = [v16(10 + i) for i in range(5)]
            img.grow(22)
            img.set_length()
            for i, w in enumerate(words):
                img.set16(f.offset + 2 * i, w)
            steps.append(f"{{ const unsigned short v[] = {{{', '.join(hex(w) for w in words)}}}; "
                         f"p.set_channels(v, 5); }}")
            array += words
            decomposed += words
        elif f.kind == "u32":
            img.set32(f.offset, v32(k))
            steps.append(f"p.set_{f.name}({c_literal('u32', v32(k))});")
            array += [v32(k) >> 16, v32(k) & 0xFFFF]
            decomposed.append(v32(k))
        elif f.kind == "i16":
            img.set16(f.offset, vi16(k) & 0xFFFF)
            steps.append(f"p.set_{f.name}({c_literal('i16', vi16(k))});")
            array.append(vi16(k) & 0xFFFF)
            decomposed.append(vi16(k))
        else:
            img.set16(f.offset, v16(k))
            steps.append(f"p.set_{f.name}({c_literal('u16', v16(k))});")
            array.append(v16(k))
            decomposed.append(v16(k))
    return default_hex, steps, img, array, decomposed


def radiotest_test(rows):
    out = [
        "// Generated by pdu/gen/pdugen.py from pdu/tables/radiotest.tbl. Do not edit.",
        "#include <gtest/gtest.h>",
        "",
        "#include <vector>",
        "",
        "#include \"pdu/radiotest_pdus.h\"",
        "#include \"tests/pdu/generated_checks.h\"",
        "",
        "namespace {",
        "",
    ]
    for row in rows:
        cls = radiotest_class_name(row)
        default_hex, steps, img, array, decomposed = radiotest_model(row)
        full = [4 + len(array), 2, 0x1234, RADIOTEST_VARID] + array
        # Decompose writes an i16 sign-extended into its element.
        want = ", ".join(f"static_cast<unsigned long>({v}l)" if v < 0 else f"{v}ul" for v in decomposed)
        out += [f"void Check_{row.name}() {{",
                f"    {cls} p;",
                f"    ExpectVendorDefault(p, {MINIMUM_BYTES}, \"{default_hex}\");"]
        out += [f"    {s}" for s in steps]
        out += [f"    ExpectImage(p, \"{img.hex()}\");",
                "    // The parameter array fills a packet that holds only the id the same way.",
                f"    const unsigned long array[] = {{{', '.join(f'{v}ul' for v in full)}}};",
                f"    {cls} filled;",
                "    updateRADIOTEST_PDU(filled, array);",
                f"    ExpectImage(filled, \"{img.hex()}\");",
                "    std::vector<unsigned long> out(16, 0xEEEEu);",
                f"    EXPECT_EQ(decomposeRADIOTEST_PDU(filled, out.data()), {len(decomposed)}u);",
                f"    EXPECT_EQ(decomposeRADIOTEST_PDU(filled, nullptr), {len(decomposed)}u);",
                f"    ExpectArray(out, 4, {{{want}}});",
                "}", ""]
    out += ["struct RadioTestClass {", "    const char* name;", "    void (*check)();", "};", "",
            "const RadioTestClass kClasses[] = {"]
    out += [f"    {{\"{radiotest_class_name(r)}\", Check_{r.name}}}," for r in rows]
    out += ["};", "", "}  // namespace", "",
            "TEST(GeneratedRadioTestPdus, EveryTestLaysItsParametersAndTakesThemFromTheArray) {",
            "    for (const RadioTestClass& c : kClasses) {",
            "        SCOPED_TRACE(c.name);",
            "        c.check();",
            "    }",
            "}", ""]
    return out




# ---------------------------------------------------------------------------
# Vendor classes in the command factory: fields from and to a parameter array

def vendor_factory(rows):
    """CreateVendorFields and DecomposeVendorFields, one case per varid."""
    create = ["bool CreateVendorFields(uint16_t varid, const unsigned long* parameters, TSCMD_PDU& result) {",
              "    const unsigned long count = parameters[0];",
              "    unsigned long e = 4;  // the element of the next field",
              "    (void)count;",
              "    switch (varid) {"]
    decompose = ["bool DecomposeVendorFields(const TSCMD_PDU& pdu, unsigned long* parameters, unsigned long& index) {",
                 "    ArrayWriter out(parameters, index);",
                 "    switch (pdu.get_varid()) {"]
    for row in rows:
        if "carrier" in row.flags:
            continue  # the radio tests have their own array side
        cls = vendor_class_name(row)
        create += [f"    case 0x{row.code:04x}: {{", f"        {cls} v;"]
        decompose += [f"    case 0x{row.code:04x}: {{", f"        const {cls} v(pdu);"]
        for f in row.fields:
            if f.kind == "bytes":
                continue
            if not f.is_array:
                t = c_type(f.kind)
                create.append(f"        if (count > e) v.set_{f.name}(static_cast<{t}>(parameters[e]));")
                create.append("        ++e;")
                get = f"v.get_{f.name}()"
                if f.kind == "i16":
                    get = f"static_cast<unsigned long>(static_cast<long>({get}))"
                decompose.append(f"        out.put({get});")
                continue
            t = c_type(f.kind)
            width = f.element_bytes
            getter = {"u8": "get_uint16", "u16": "get_uint16", "u32": "get_uint32"}[f.kind]
            mask = " & 0xFF" if f.kind == "u8" else ""
            if f.count_field:
                n = f"{f.per_count}ul * v.get_{f.count_field}()" if f.per_count > 1 else f"v.get_{f.count_field}()"
                create += ["        {",
                           f"            const unsigned long n = {n};",
                           f"            std::vector<{t}> values(n);",
                           "            for (unsigned long i = 0; i < n && e + i < count; ++i) {",
                           f"                values[i] = static_cast<{t}>(parameters[e + i]);",
                           "            }",
                           f"            v.set_{f.name}(values.data(), v.get_{f.count_field}());",
                           "            e += n;",
                           "        }"]
                decompose += ["        {",
                              f"            const unsigned long n = {n};"]
            else:
                create += ["        {",
                           "            const unsigned long n = count > e ? count - e : 0;",
                           f"            std::vector<{t}> values(n);",
                           "            for (unsigned long i = 0; i < n; ++i) {",
                           f"                values[i] = static_cast<{t}>(parameters[e + i]);",
                           "            }",
                           f"            v.set_{f.name}(values.data(), n);",
                           "            e += n;",
                           "        }"]
                decompose += ["        {",
                              f"            const unsigned long n = v.size() > {f.offset} ? "
                              f"(v.size() - {f.offset}) / {width} : 0;"]
            decompose += ["            for (unsigned long i = 0; i < n; ++i) {",
                          f"                out.put(v.{getter}({f.offset} + {width} * i){mask});",
                          "            }",
                          "        }"]
        create += ["        result = v;", "        return true;", "    }"]
        decompose += ["        return out.ok();", "    }"]
    create += ["    default:", "        return false;", "    }", "}"]
    decompose += ["    default:", "        return false;", "    }", "}"]
    return create + [""] + decompose

# ---------------------------------------------------------------------------
# Files

def vendor_files(rows):
    header = [
        "// Generated by pdu/gen/pdugen.py from pdu/tables/vendor.tbl. Do not edit.",
        "//",
        "// One view of TSCMD_PDU per variable id of the vendor channel. A view holds no",
        "// data: any received PDU may be looked at through any of them. Fixed fields never",
        "// change the size; a field that counts a variable array sets the size to fit",
        "// the array and keeps the length word right.",
        "#pragma once",
        "",
        "#include <cstdint>",
        "",
        "#include \"pdu/pcpdu.h\"",
        "",
    ]
    for row in rows:
        header += vendor_class(row) + [""]
    source = ["// Generated by pdu/gen/pdugen.py from pdu/tables/vendor.tbl. Do not edit.",
              "#include \"pdu/tscmd_pdus.h\"", ""]
    source += [f"{vendor_class_name(r)}::~{vendor_class_name(r)}() = default;" for r in rows]
    return header, source


def radiotest_files(rows):
    header = [
        "// Generated by pdu/gen/pdugen.py from pdu/tables/radiotest.tbl. Do not edit.",
        "//",
        "// The radio tests, all carried by TSCMD_RADIOTEST_PDU: the test id in the word",
        "// at byte 10, its parameters in fixed words behind it.",
        "#pragma once",
        "",
        "#include <cstdint>",
        "",
        "#include \"pdu/tscmd_pdus.h\"",
        "",
    ]
    for row in rows:
        header += radiotest_class(row) + [""]
    header += [
        "// Fills a radio-test packet that already holds its id from a parameter array:",
        "// element 0 the count, element 4 the id, parameters from element 5 in table order.",
        "// A 32-bit parameter takes two elements, high half first. An id without a class",
        "// takes the elements from the id on as payload words, growing the packet.",
        "void updateRADIOTEST_PDU(TSCMD_RADIOTEST_PDU& pdu, const unsigned long* parameters);",
        "// Element 4 the id, the parameters from element 5, a 32-bit one in one element.",
        "// Returns the elements used from element 4 on; parameters may be null.",
        "unsigned long decomposeRADIOTEST_PDU(const TSCMD_RADIOTEST_PDU& pdu, unsigned long* parameters);",
        "",
    ]
    source = ["// Generated by pdu/gen/pdugen.py from pdu/tables/radiotest.tbl. Do not edit.",
              "#include \"pdu/radiotest_pdus.h\"", "", "#include <vector>", ""]
    source += [f"{radiotest_class_name(r)}::~{radiotest_class_name(r)}() = default;" for r in rows]
    hopping = [r for r in rows if any(f.kind == "u16x5" for f in r.fields)]
    for r in hopping:
        cls = radiotest_class_name(r)
        f = next(f for f in r.fields if f.kind == "u16x5")
        source += ["",
                   f"void {cls}::set_channels(const unsigned short* channels, unsigned long count) {{",
                   f"    if (size() < {f.end}) {{",
                   f"        resize({f.end});",
                   "        set_length();",
                   "    }",
                   "    for (unsigned long i = 0; channels != nullptr && i < count && i < 5; ++i) {",
                   f"        set_uint16({f.offset} + 2 * i, channels[i]);",
                   "    }",
                   "}",
                   "",
                   f"void {cls}::get_channels(unsigned short* channels) const {{",
                   "    for (unsigned long i = 0; channels != nullptr && i < 5; ++i) {",
                   f"        channels[i] = get_uint16({f.offset} + 2 * i);",
                   "    }",
                   "}"]
    source += [""] + radiotest_update(rows) + [""] + radiotest_decompose(rows)
    return header, source


def write_if_changed(path, lines):
    text = "\n".join(lines).rstrip("\n") + "\n"
    if os.path.exists(path):
        with open(path, encoding="utf-8") as old:
            if old.read() == text:
                return
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as new:
        new.write(text)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--vendor")
    parser.add_argument("--radiotest")
    parser.add_argument("--commands")
    parser.add_argument("--returns")
    parser.add_argument("--events")
    parser.add_argument("--out")
    parser.add_argument("--check", nargs=2, metavar=("FAMILY", "TABLE"),
                        help="only read and check an HCI table: FAMILY is cmd, ret or evt")
    args = parser.parse_args()
    if args.check:
        try:
            rows = read_hci(args.check[1], args.check[0])
        except (TableError, ValueError, KeyError) as error:
            print(f"pdugen: {error}", file=sys.stderr)
            return 1
        print(f"{len(rows)} rows, {sum(len(r.fields) for r in rows)} fields: fine")
        return 0
    if not all((args.vendor, args.radiotest, args.commands, args.returns, args.events, args.out)):
        parser.error("every table and --out are needed to generate")
    try:
        vendor = read_vendor(args.vendor)
        radiotest = read_radiotest(args.radiotest)
        hci = {family: read_hci(path, family)
               for family, path in (("cmd", args.commands), ("ret", args.returns), ("evt", args.events))}
        hcigen.check_codes(hci)
    except (TableError, ValueError, KeyError) as error:
        print(f"pdugen: {error}", file=sys.stderr)
        return 1
    carriers = [r for r in vendor if "carrier" in r.flags]
    if [r.code for r in carriers] != [RADIOTEST_VARID]:
        print("pdugen: the vendor table must mark exactly the radio-test carrier 0x5004", file=sys.stderr)
        return 1
    header, source = vendor_files(vendor)
    write_if_changed(os.path.join(args.out, "pdu", "tscmd_pdus.h"), header)
    write_if_changed(os.path.join(args.out, "pdu", "tscmd_pdus.cpp"), source)
    header, source = radiotest_files(radiotest)
    write_if_changed(os.path.join(args.out, "pdu", "radiotest_pdus.h"), header)
    write_if_changed(os.path.join(args.out, "pdu", "radiotest_pdus.cpp"), source)
    write_if_changed(os.path.join(args.out, "tests", "tscmd_pdus_test.cpp"), vendor_test(vendor))
    write_if_changed(os.path.join(args.out, "tests", "radiotest_pdus_test.cpp"), radiotest_test(radiotest))
    for family, rows in hci.items():
        header, source = hcigen.family_files(family, rows)
        stem = hcigen.FILE_STEM[family]
        write_if_changed(os.path.join(args.out, "pdu", f"{stem}.h"), header)
        write_if_changed(os.path.join(args.out, "pdu", f"{stem}.cpp"), source)
        write_if_changed(os.path.join(args.out, "tests", f"{stem}_test.cpp"), hcigen.family_test(family, rows))
    dispatch = hcigen.dispatch_source(hci["cmd"], hci["ret"], hci["evt"], vendor, vendor_class_name)
    dispatch += [""] + vendor_factory(vendor)
    write_if_changed(os.path.join(args.out, "pdu", "gen_cmd_pa.cpp"), dispatch)
    return 0


if __name__ == "__main__":
    sys.exit(main())
