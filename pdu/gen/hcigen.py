"""The HCI families of pdugen.py: command, return and event classes, the
dispatch by opcode, and their generated tests.

A command's build walks the parameter array in field order and stops at its end,
so that a short array leaves the later fields at their defaults; a return's
decompose writes its fields to the array after the five standard elements. The
tests pack every class's bytes here on their own (HciImage) and compare.
"""

from tables import HciGroup, TableError

SCALAR_TYPES = {"u8": "uint8_t", "i8": "int8_t", "u16": "uint16_t", "i16": "int16_t", "u24": "uint32_t",
                "u32": "uint32_t"}
SCALAR_GET = {"u8": "get_uint8", "i8": "get_int8", "u16": "get_uint16", "i16": "get_int16",
              "u24": "get_uint24", "u32": "get_uint32"}
SCALAR_SET = {k: v.replace("get_", "set_") for k, v in SCALAR_GET.items()}
BYTE_KINDS = ("u8[]", "name", "eir", "adv", "xadv")
VALUE_TYPES = {"name": "BluetoothName", "eir": "EIRData", "adv": "BluetoothName", "xadv": "BluetoothName"}
CUSTOM_LENGTH = ("ANDROID_ULP_BS", "ANDROID_ULP_APCF", "VSC_GET_VENDOR_CAPA")
BASE_CLASS = {"cmd": "HCICommandPDU", "ret": "HCICommandCompletePDU", "evt": "HCIEventPDU"}


def class_name(row):
    return {"cmd": f"HCI_{row.name}_T_PDU", "ret": f"HCI_{row.name}_RET_T_PDU",
            "evt": f"HCI_EV_{row.name}_T_PDU"}[row.family]


def group_elements(group):
    return sum(f.elements for f in group.fields)


# ---------------------------------------------------------------------------
# Accessors

def offset_expr(f):
    if f.group is None:
        return str(f.offset)
    return f"{f.offset} + {f.group.stride}ul * index"


def accessors(row, setters):
    out = []
    for f in row.fields:
        idx = "unsigned long index" if f.group else ""
        idx_comma = "unsigned long index, " if f.group else ""
        o = offset_expr(f)
        if f.kind in SCALAR_TYPES:
            t = SCALAR_TYPES[f.kind]
            out.append(f"    {t} get_{f.name}({idx}) const {{ return {SCALAR_GET[f.kind]}({o}); }}")
            if setters:
                out.append(f"    void set_{f.name}({idx_comma}{t} value) {{ {SCALAR_SET[f.kind]}({o}, value); }}")
        elif f.kind == "cod":
            out.append(f"    ClassOfDevice get_{f.name}({idx}) const {{ return get_ClassOfDevice({o}); }}")
            if setters:
                out.append(f"    void set_{f.name}({idx_comma}const ClassOfDevice& value) "
                           f"{{ set_ClassOfDevice({o}, value); }}")
        elif f.kind == "bdaddr":
            out.append(f"    BluetoothDeviceAddress get_{f.name}({idx}) const "
                       f"{{ return get_BluetoothDeviceAddress({o}); }}")
            if setters:
                out.append(f"    void set_{f.name}({idx_comma}const BluetoothDeviceAddress& value) {{")
                out.append(f"        set_BluetoothDeviceAddress({o}, value);")
                out.append("    }")
        elif f.kind == "bytes":
            out.append(f"    uint8_t* get_{f.name}() const {{ return get_uint8ArrayPtr({o}); }}")
        elif f.kind in BYTE_KINDS:
            out.append(f"    // {f.width} bytes; returns how many the packet holds.")
            out.append(f"    unsigned long get_{f.name}({idx_comma}uint8_t* dst) const "
                       f"{{ return copy_out({o}, dst, {f.width}); }}")
            if setters:
                grow = "true" if f.kind == "xadv" else "false"
                out.append(f"    void set_{f.name}({idx_comma}const uint8_t* src, unsigned long count) {{")
                out.append(f"        copy_in({o}, src, count < {f.width} ? count : {f.width}, {grow});")
                out.append("    }")
                if f.kind in VALUE_TYPES:
                    vt = VALUE_TYPES[f.kind]
                    data = "get_data()" if vt == "EIRData" else "get_str()"
                    length = "value.get_length()" if f.kind == "xadv" else str(f.width)
                    out.append(f"    void set_{f.name}(const {vt}& value) {{ set_{f.name}(value.{data}, {length}); }}")
        else:
            raise TableError(f"{row.where}: no accessor for kind {f.kind}")
    return out


# ---------------------------------------------------------------------------
# Commands: build

def build_field(f, lines, indent, cursor_guard=True):
    """The statements that take one field from the array at the cursor."""
    p = " " * indent
    idx = "entry, " if f.group else ""
    if f.kind in SCALAR_TYPES or f.kind == "cod":
        if cursor_guard:
            lines.append(f"{p}if (cursor >= end) return true;")
        value = f"static_cast<{SCALAR_TYPES.get(f.kind, 'unsigned long')}>(*cursor++)"
        if f.kind == "cod":
            value = "ClassOfDevice(*cursor++)"
        lines.append(f"{p}set_{f.name}({idx}{value});")
    elif f.kind == "bdaddr":
        lines.append(f"{p}if (end - cursor >= 3) {{")
        lines.append(f"{p}    set_{f.name}({idx}BluetoothDeviceAddress(static_cast<unsigned short>(cursor[2]), "
                     f"static_cast<unsigned char>(cursor[1]), cursor[0]));")
        lines.append(f"{p}    cursor += 3;")
        lines.append(f"{p}}}")
    elif f.kind == "u8[]":
        if cursor_guard:
            lines.append(f"{p}if (cursor >= end) return true;")
        if f.whole:
            lines.append(f"{p}if (end - cursor < {f.width}) return true;")
        count = f"{f.width}"
        if f.count_field:
            count = f"(get_{f.count_field}() < {f.width} ? get_{f.count_field}() : {f.width}ul)"
        lines.append(f"{p}{{")
        lines.append(f"{p}    uint8_t bytes[{f.width}] = {{}};")
        lines.append(f"{p}    HCIPDUFactory::decodeBytes(bytes, {count}, parameters, &cursor);")
        lines.append(f"{p}    set_{f.name}({idx}bytes, {f.width});")
        lines.append(f"{p}}}")
    elif f.kind in ("name", "eir", "adv", "xadv"):
        lines.append(f"{p}build_{f.name}(*this, parameters, &cursor);")
    elif f.kind == "bytes":
        pass
    else:
        raise TableError(f"no build for kind {f.kind}")


def command_build(row):
    cls = class_name(row)
    lines = [f"bool {cls}::build(const unsigned long* parameters) {{",
             "    const unsigned long* const end = parameters + parameters[0];",
             "    const unsigned long* cursor = parameters + 2;",
             "    (void)end;"]
    for item in row.items:
        if isinstance(item, HciGroup):
            g = item
            first = g.fields[0]
            lines.append("    {")
            lines.append("        uint8_t entry = 0;  // counts in 8 bits, as the chip's own builder does")
            cond = f"end - cursor >= {group_elements(g)}"
            if g.mode == "count":
                lines.append(f"        for (unsigned long n = 0; n < get_{g.count_field}() && {cond}; ++n, ++entry) {{")
            else:
                lines.append(f"        for (; {cond}; ++entry) {{")
            lines.append(f"            const unsigned long needed = {first.offset}ul + {g.stride}ul * (entry + 1ul);")
            lines.append("            if (size() < needed) resize(static_cast<unsigned short>(needed));")
            for f in g.fields:
                build_field(f, lines, 12, cursor_guard=False)
            lines.append("        }")
            lines.append("    }")
        else:
            build_field(item, lines, 4)
    lines.append("    return true;")
    lines.append("}")
    return lines


def command_class(row):
    cls = class_name(row)
    out = [f"class {cls} : public HCICommandPDU {{", "public:",
           f"    static const uint16_t opcode = 0x{row.code:04x};",
           f"    {cls}() : HCICommandPDU(0x{row.code:04x}, {row.size}) {{}}",
           f"    {cls}(const PDU& other) : HCICommandPDU(other) {{}}",
           f"    {cls}(const unsigned char* data, unsigned long size) : HCICommandPDU(data, size) {{}}",
           f"    ~{cls}() override;"]
    if row.fields and any(f.kind != "bytes" for f in row.fields) or "build" in row.flags:
        out.append("    bool build(const unsigned long* parameters) override;")
    out += accessors(row, setters=True)
    out.append("};")
    return out


def has_build(row):
    return "build" not in row.flags and any(f.kind != "bytes" for f in row.fields)


# ---------------------------------------------------------------------------
# Returns: decompose; returns and events: size_expected

def return_decompose(row):
    cls = class_name(row)
    lines = [f"bool {cls}::decompose(unsigned long* parameters, BadPDUReason& reason, unsigned long& index) const {{",
             f"    if (!ReturnLengthHolds(*this, typeid({cls}), size_expected(), reason)) return false;",
             "    HCICommandCompletePDU::decompose(parameters, reason, index);",
             "    ArrayWriter out(parameters, index);"]
    for item in row.items:
        fields = item.fields if isinstance(item, HciGroup) else [item]
        if isinstance(item, HciGroup):
            lines.append(f"    for (unsigned long entry = 0; entry < get_{item.count_field}(); ++entry) {{")
            pad, idx = "        ", "entry"
        else:
            pad, idx = "    ", ""
        for f in fields:
            if f.kind in SCALAR_TYPES:
                lines.append(f"{pad}out.put(static_cast<unsigned long>(get_{f.name}({idx})));")
            elif f.kind == "cod":
                lines.append(f"{pad}out.put(get_{f.name}({idx}).get_class_of_device());")
            elif f.kind == "bdaddr":
                lines.append(f"{pad}out.put_address(get_{f.name}({idx}));")
            elif f.kind in BYTE_KINDS:
                comma = ", " if idx else ""
                lines.append(f"{pad}{{")
                lines.append(f"{pad}    uint8_t bytes[{f.width}] = {{}};")
                lines.append(f"{pad}    get_{f.name}({idx}{comma}bytes);")
                lines.append(f"{pad}    out.put_bytes(bytes, {f.width});")
                lines.append(f"{pad}}}")
        if isinstance(item, HciGroup):
            lines.append("    }")
    lines += ["    return out.ok();", "}"]
    return lines


def size_expected(row):
    cls = class_name(row)
    if "size" in row.flags:
        return []
    return [f"bool {cls}::size_expected() const {{ return size() == {row.size}; }}"]


def view_class(row):
    cls = class_name(row)
    base = BASE_CLASS[row.family]
    code_name = "opcode" if row.family == "ret" else "code"
    ctor_args = f"0x{row.code:04x}, {row.size}" if row.family == "ret" else f"0x{row.code:02x}, {row.size}"
    out = [f"class {cls} : public {base} {{", "public:",
           f"    static const uint16_t {code_name} = 0x{row.code:04x};",
           f"    {cls}() : {base}({ctor_args}) {{}}",
           f"    {cls}(const PDU& other) : {base}(other) {{}}",
           f"    {cls}(const unsigned char* data, unsigned long size) : {base}(data, size) {{}}",
           f"    ~{cls}() override;"]
    if row.family == "ret":
        out.append("    bool decompose(unsigned long* parameters, BadPDUReason& reason, unsigned long& index) "
                   "const override;")
    out.append("    virtual bool size_expected() const;")
    out += accessors(row, setters=False)
    out.append("};")
    return out


# ---------------------------------------------------------------------------
# Files

HEADER_NOTE = {
    "cmd": ["// One view of HCICommandPDU per opcode. build() takes the fields from a parameter",
            "// array (element 0 the count, element 1 the opcode, fields from element 2) and",
            "// stops at the array's end, leaving the later fields at their defaults."],
    "ret": ["// One view of HCICommandCompletePDU per opcode. decompose() checks the length,",
            "// then writes the fields to a parameter array after the five standard elements."],
    "evt": ["// One view of HCIEventPDU per event code, with getters and size_expected()."],
}
FILE_STEM = {"cmd": "hci_commands", "ret": "hci_returns", "evt": "hci_events"}
TABLE = {"cmd": "hci_commands.tbl", "ret": "hci_returns.tbl", "evt": "hci_events.tbl"}


def family_files(family, rows):
    stem = FILE_STEM[family]
    gen_note = f"// Generated by pdu/gen/pdugen.py from pdu/tables/{TABLE[family]}. Do not edit."
    header = [gen_note, "//"] + HEADER_NOTE[family] + [
        "#pragma once", "", "#include <cstdint>", "", "#include \"pdu/hcipdu.h\"", "#include \"pdu/values/names.h\"",
        ""]
    source = [gen_note, f"#include \"pdu/{stem}.h\"", "", "#include <typeinfo>", "",
              "#include \"pdu/hci_factory.h\"", ""]
    for row in rows:
        header += (command_class(row) if family == "cmd" else view_class(row)) + [""]
        cls = class_name(row)
        source.append(f"{cls}::~{cls}() = default;")
    for row in rows:
        if family == "cmd":
            if has_build(row):
                source += [""] + command_build(row)
        else:
            source += size_expected(row)
            if family == "ret":
                source += [""] + return_decompose(row)
    return header, source


def dispatch_source(commands, returns, events, vendor_rows, vendor_class_name):
    """gen_cmd_pa.cpp: the searches by opcode, and the registry of every class."""
    out = ["// Generated by pdu/gen/pdugen.py from pdu/tables. Do not edit.",
           "//",
           "// The dispatch of the command factory by opcode, and the list of every packet",
           "// class with its family, code and default size.",
           "#include \"pdu/hci_factory.h\"", "",
           "#include \"pdu/hci_commands.h\"", "#include \"pdu/hci_events.h\"", "#include \"pdu/hci_returns.h\"",
           "#include \"pdu/radiotest_pdus.h\"", "", "#include <vector>", "",
           "HCICommandPDU* createHCIComandPDU(uint16_t opcode) {",
           "    switch (opcode) {"]
    for row in commands:
        out.append(f"    case 0x{row.code:04x}: return new {class_name(row)};")
    out += ["    default: return nullptr;", "    }", "}", "",
            "bool isValidHCICommand(unsigned long opcode) {", "    switch (opcode) {"]
    for row in commands:
        out.append(f"    case 0x{row.code:04x}:")
    out += ["        return true;", "    default:", "        return false;", "    }", "}", "",
            "HCICommandCompletePDU* CreateReturnView(uint16_t opcode, const PDU& pdu) {",
            "    switch (opcode) {"]
    seen = set()
    for row in returns:
        if row.code in seen:
            continue  # two classes share an opcode: the first is the one a reply is read as
        seen.add(row.code)
        out.append(f"    case 0x{row.code:04x}: return new {class_name(row)}(pdu);")
    out += ["    default: return nullptr;", "    }", "}", "",
            "const PacketClassInfo kPacketClasses[] = {"]
    for fam, rows in (("cmd", commands), ("ret", returns), ("evt", events)):
        for row in rows:
            out.append(f"    {{\"{fam}\", \"{row.name}\", \"{class_name(row)}\", 0x{row.code:04x}, {row.size}}},")
    for row in vendor_rows:
        out.append(f"    {{\"vendor\", \"{row.name}\", \"{vendor_class_name(row)}\", 0x{row.code:04x}, {row.size}}},")
    out += ["};", "", "const unsigned long kPacketClassCount = sizeof kPacketClasses / sizeof kPacketClasses[0];"]
    return out


def check_codes(hci):
    """Codes are unique in each family, but for the one pair of returns that
    shares an opcode; the names are unique already."""
    for family, rows in hci.items():
        seen = {}
        for row in rows:
            if row.code in seen and not (family == "ret" and row.code == 0x2062):
                raise TableError(f"{row.where}: code 0x{row.code:04x} also at {seen[row.code]}")
            seen[row.code] = row.where


# ---------------------------------------------------------------------------
# Tests: every class against bytes packed here on their own

class HciImage:
    """An HCI packet's bytes, little-endian, reads past the end giving 0."""

    def __init__(self, size):
        self.b = bytearray(size)

    def put(self, offset, value, width):
        for i in range(width):
            if offset + i < len(self.b):
                self.b[offset + i] = (value >> (8 * i)) & 0xFF

    def get(self, offset, width):
        return sum((self.b[offset + i] if offset + i < len(self.b) else 0) << (8 * i) for i in range(width))

    def resize(self, size):
        del self.b[size:]
        self.b.extend(bytes(size - len(self.b)))

    def hex(self):
        return self.b.hex(" ")


SCALAR_WIDTH = {"u8": 1, "i8": 1, "u16": 2, "i16": 2, "u24": 3, "u32": 4, "cod": 3}


def element_for(kind, k):
    """An array element for field k: the value in its low bits, more bits above
    where the element is wider than the field, so that a missing cut shows."""
    return {"u8": 0x100 | (0x21 + k) & 0xFF, "i8": 0x100 | (0x80 + k) & 0xFF,
            "u16": 0x10000 | (0x8111 + 0x0101 * k) & 0xFFFF, "i16": 0x10000 | (0x8111 + 0x0101 * k) & 0xFFFF,
            "u24": 0x1000000 | (0x8A0000 + 0x010203 * k) & 0xFFFFFF, "u32": (0x81828384 + 0x01010101 * k) & 0xFFFFFFFF,
            "cod": 0x1000000 | (0x5A0200 + k) & 0xFFFFFF}[kind]


def read_value(kind, img, offset):
    """What a getter answers, as the array element a decompose writes."""
    raw = img.get(offset, SCALAR_WIDTH[kind])
    if kind == "i8" and raw & 0x80:
        return raw - 0x100
    if kind == "i16" and raw & 0x8000:
        return raw - 0x10000
    return raw


def ul(value):
    return f"static_cast<unsigned long>({value}l)" if value < 0 else f"0x{value:X}ul"


def counters(row):
    """Small values for the fields that count something, so that a test stays short."""
    values = {}
    for f in row.fields:
        if f.count_field:
            values[f.count_field] = 5 if f.kind == "xadv" else 3
    for item in row.items:
        if isinstance(item, HciGroup):
            values[item.count_field] = 2
    return values


def ad_structure(n):
    """n bytes of advertising or inquiry response data that a decoder accepts:
    one complete-local-name structure of letters."""
    return [n - 1, 0x09] + [0x61 + i % 26 for i in range(n - 2)]


def command_model(row):
    """The array a test feeds build(), and the bytes build() must leave."""
    img = HciImage(row.size)
    img.put(0, row.code, 2)
    img.put(2, (row.size - 3) & 0xFF, 1)
    default = img.hex()
    array, counts, set_counts = [0, row.code], counters(row), {}

    def resize(size):
        img.resize(size)
        img.put(2, (size - 3) & 0xFF, 1)

    def take(f, k, entry=0):
        o = f.offset + (f.group.stride * entry if f.group else 0)
        if f.kind in SCALAR_WIDTH:
            v = counts[f.name] if f.name in counts else element_for(f.kind, k)
            array.append(v)
            img.put(o, v, SCALAR_WIDTH[f.kind])
            set_counts[f.name] = v & ((1 << (8 * SCALAR_WIDTH[f.kind])) - 1)
        elif f.kind == "bdaddr":
            lap, uap, nap = 0x1000000 | (0x9E8B00 + k), 0x100 | (0x30 + k), 0x10000 | (0x1A00 + k)
            array.extend([lap, uap, nap])
            img.put(o, lap & 0xFFFFFF, 3)
            img.put(o + 3, uap & 0xFF, 1)
            img.put(o + 4, nap & 0xFFFF, 2)
        elif f.kind in ("u8[]", "name", "eir", "adv"):
            n = min(set_counts[f.count_field], f.width) if f.count_field else f.width
            data = [0x100 | b for b in (ad_structure(n) if f.kind in ("eir", "adv") else
                                        [0x41 + (k + i) % 0x3E for i in range(n)])]
            array.extend(data)
            for i, v in enumerate(data):
                img.put(o + i, v & 0xFF, 1)
        elif f.kind == "xadv":
            n = set_counts[f.count_field]
            resize(3 + (n + 4) % 256)
            data = [0x100 | b for b in ad_structure(n)]
            array.extend(data)
            if o + n > len(img.b):
                resize(o + n)
            for i, v in enumerate(data):
                img.put(o + i, v & 0xFF, 1)

    k = 0
    for item in row.items:
        if isinstance(item, HciGroup):
            for entry in range(counts[item.count_field]):
                need = item.fields[0].offset + item.stride * (entry + 1)
                if len(img.b) < need:
                    resize(need)
                for f in item.fields:
                    take(f, k, entry)
                    k += 1
        else:
            take(item, k)
            k += 1
    array[0] = len(array)
    return default, array, img


def scalar_readbacks(row, img, target="p"):
    lines = []
    for f in row.fields:
        if f.kind in SCALAR_WIDTH and f.kind != "cod" and not f.group:
            lines.append(f"    EXPECT_EQ(static_cast<long>({target}.get_{f.name}()), "
                         f"{read_value(f.kind, img, f.offset)}l);")
        elif f.kind == "bdaddr" and not f.group:
            a = f"{target}.get_{f.name}()"
            lines.append(f"    EXPECT_EQ({a}.get_lap(), 0x{img.get(f.offset, 3):X}ul);")
            lines.append(f"    EXPECT_EQ({a}.get_nap(), 0x{img.get(f.offset + 4, 2):X}u);")
    return lines


def view_model(row):
    """Bytes of a default-sized reply or event with every field distinct, and the
    elements a return's decompose makes of it."""
    img = HciImage(row.size)
    if row.family == "ret":
        img.put(0, 14, 1)
        img.put(1, (row.size - 2) & 0xFF, 1)
        img.put(2, 1, 1)
        img.put(3, row.code, 2)
        elements = [14, 1, row.code, 0]
    else:
        img.put(0, row.code, 1)
        img.put(1, (row.size - 2) & 0xFF, 1)
        elements = []
    for k, item in enumerate(row.items):
        fields = item.fields if isinstance(item, HciGroup) else [item]
        for f in fields:
            if f.kind in SCALAR_WIDTH:
                img.put(f.offset, element_for(f.kind, k), SCALAR_WIDTH[f.kind])
            elif f.kind == "bdaddr":
                img.put(f.offset, 0x9E8B00 + k, 3)
                img.put(f.offset + 3, 0x30 + k, 1)
                img.put(f.offset + 4, 0x1A00 + k, 2)
            elif f.kind in BYTE_KINDS:
                for i in range(f.width):
                    img.put(f.offset + i, 0x41 + (k + i) % 0x3E, 1)
    for item in row.items:
        if isinstance(item, HciGroup):
            for entry in range(img.get(row.field(item.count_field).offset, 1)):
                for f in item.fields:
                    elements += field_elements(f, img, f.offset + item.stride * entry)
        else:
            elements += field_elements(item, img, item.offset)
    return img, elements


def field_elements(f, img, offset):
    if f.kind in SCALAR_WIDTH:
        return [read_value(f.kind, img, offset)]
    if f.kind == "bdaddr":
        return [img.get(offset, 3), img.get(offset + 3, 1), img.get(offset + 4, 2)]
    if f.kind in BYTE_KINDS:
        return [img.get(offset + i, 1) for i in range(f.width)]
    return []


def bdaddr_text(row, img):
    """The first address of a built command as a decoder prints it, or None."""
    f = next((f for f in row.fields if f.kind == "bdaddr" and not f.group), None)
    if f is None:
        return None
    return ":".join(f"{img.get(f.offset + i, 1):02x}" for i in reversed(range(6)))


def interop_cases(rows):
    """Every command built from a full array, for the check against a real decoder."""
    out = ["const InteropCase kInteropCases[] = {"]
    for row in rows:
        default, array, img = command_model(row)
        if not has_build(row):
            array = [2, row.code]
        address = bdaddr_text(row, img) if has_build(row) else None
        values = ", ".join(ul(v) for v in array)
        out.append(f"    {{0x{row.code:04x}, \"{row.name}\", {{{values}}}, "
                   f"{chr(34) + address + chr(34) if address else 'nullptr'}}},")
    out.append("};")
    return out


def family_test(family, rows):
    out = [f"// Generated by pdu/gen/pdugen.py from pdu/tables/{TABLE[family]}. Do not edit.",
           "#include <gtest/gtest.h>", "", "#include <vector>", "",
           "#include \"pdu/hci_factory.h\"", f"#include \"pdu/{FILE_STEM[family]}.h\"",
           "#include \"tests/pdu/generated_checks.h\"", "", "namespace {", ""]
    if family == "cmd":
        out += interop_cases(rows) + [""]
    for row in rows:
        cls = class_name(row)
        out.append(f"void Check_{row.name}() {{")
        if family == "cmd":
            default, array, img = command_model(row)
            out += [f"    {cls} p;", f"    ExpectImage(p, \"{default}\");",
                    f"    EXPECT_EQ(p.get_op_code(), 0x{row.code:04x}u);"]
            if has_build(row):
                out += [f"    const unsigned long array[] = {{{', '.join(ul(v) for v in array)}}};",
                        "    ASSERT_TRUE(p.build(array));",
                        f"    ExpectImage(p, \"{img.hex()}\");"]
                out += scalar_readbacks(row, img)
        else:
            img, elements = view_model(row)
            out += [f"    const testwire::Bytes bytes = testwire::FromHex(\"{img.hex()}\");",
                    f"    const {cls} p(bytes.data(), bytes.size());"]
            if "size" not in row.flags:
                out += ["    EXPECT_TRUE(p.size_expected());",
                        "    testwire::Bytes longer = bytes;",
                        "    longer.push_back(0);",
                        f"    EXPECT_FALSE({cls}(longer.data(), longer.size()).size_expected());"]
            out += scalar_readbacks(row, img)
            # Replies whose length rule reads their sub-command are checked by hand.
            if family == "ret" and "size" not in row.flags and row.name not in CUSTOM_LENGTH:
                n = 1 + len(elements)
                out += ["    std::vector<unsigned long> array(400, 0xEEEEul);",
                        "    array[0] = array.size();",
                        "    BadPDUReason reason = vendor_not_a_response;",
                        f"    EXPECT_EQ(HCIPDUFactory::decomposeCommandCompletePDU(p, array.data(), reason), {n}u);",
                        f"    EXPECT_EQ(HCIPDUFactory::decomposeCommandCompletePDU(p, nullptr, reason), {n}u);",
                        f"    ExpectArray(array, 1, {{{', '.join(ul(v) for v in elements)}}});"]
        out += ["}", ""]
    out += ["struct Case {", "    const char* name;", "    void (*check)();", "};", "",
            "const Case kCases[] = {"]
    out += [f"    {{\"{class_name(r)}\", Check_{r.name}}}," for r in rows]
    title = {"cmd": "GeneratedHciCommands.EveryClassBuildsItsFieldsFromTheArray",
             "ret": "GeneratedHciReturns.EveryClassDecomposesItsFieldsIntoTheArray",
             "evt": "GeneratedHciEvents.EveryClassReadsItsFieldsAndKnowsItsSize"}[family]
    suite, test = title.split(".")
    out += ["};", "", "}  // namespace", "", f"TEST({suite}, {test}) {{",
            "    for (const Case& c : kCases) {", "        SCOPED_TRACE(c.name);", "        c.check();", "    }", "}",
            ""]
    if family == "cmd":
        out += ["TEST(HciInterop, ARealDecoderReadsEveryCommandAsBuilt) {",
                "    CheckCommandsWithDecoder(kInteropCases, sizeof kInteropCases / sizeof kInteropCases[0]);",
                "}", ""]
    return out
