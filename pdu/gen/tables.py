"""Reading the tables of pdu/tables: rows, continuation lines, and the HCI
field grammar with its checks. Shared by the generators of every family."""

import re

CPP_KEYWORDS = {
    "and", "auto", "bool", "break", "case", "char", "class", "const", "default", "delete", "do", "double",
    "else", "enum", "explicit", "float", "for", "friend", "goto", "if", "int", "long", "namespace", "new",
    "not", "operator", "or", "private", "protected", "public", "register", "return", "short", "signed",
    "sizeof", "static", "struct", "switch", "template", "this", "throw", "try", "typedef", "union",
    "unsigned", "virtual", "void", "volatile", "while", "xor",
}

class TableError(Exception):
    pass



def read_rows(path):
    """Reads a table into logical rows of words; an indented line continues a row."""
    rows = []
    with open(path, encoding="utf-8") as table:
        for number, line in enumerate(table, 1):
            text = line.split("#", 1)[0].rstrip()
            if not text:
                continue
            if line[0].isspace():
                if not rows:
                    raise TableError(f"{path}:{number}: continuation before any row")
                rows[-1][1].extend(text.split())
            else:
                rows.append((f"{path}:{number}", text.split()))
    return rows


# HCI tables: commands, returns and events

HCI_WIDTHS = {"u8": 1, "i8": 1, "u16": 2, "i16": 2, "u24": 3, "u32": 4, "cod": 3, "bdaddr": 6,
              "name": 248, "eir": 240, "adv": 31, "bytes": 0}
HCI_BASE = {"cmd": 3, "ret": 6, "evt": 2}


class HciField:
    """One field of an HCI row; group is the repeat it belongs to, if any."""

    def __init__(self, text, where, group):
        m = re.fullmatch(r"(\w+):(u8|i8|u16|i16|u24|u32|cod|bdaddr|name|eir|adv|bytes|u8\[\d+(?:!|:\w+)?\]|"
                         r"xadv\[\d+:\w+\])@(\d+)", text)
        if not m:
            raise TableError(f"{where}: cannot read field '{text}'")
        self.name, kind, offset = m.groups()
        self.offset = int(offset)
        self.group = group
        self.count_field = None
        self.whole = False
        if self.name in CPP_KEYWORDS:
            raise TableError(f"{where}: field name {self.name} is a C++ keyword")
        a = re.fullmatch(r"(u8|xadv)\[(\d+)(!|:\w+)?\]", kind)
        if a:
            self.kind = "u8[]" if a.group(1) == "u8" else "xadv"
            self.width = int(a.group(2))
            extra = a.group(3) or ""
            self.whole = extra == "!"
            self.count_field = extra[1:] if extra.startswith(":") else None
        else:
            self.kind, self.width = kind, HCI_WIDTHS[kind]

    @property
    def elements(self):
        """Array elements the field takes (fixed part)."""
        if self.kind == "bdaddr":
            return 3
        if self.kind in ("u8[]", "xadv", "name", "eir", "adv"):
            return self.width
        return 0 if self.kind == "bytes" else 1


class HciGroup:
    def __init__(self, mode, count_field):
        self.mode, self.count_field, self.fields = mode, count_field, []

    @property
    def stride(self):
        return sum(f.width for f in self.fields)


class HciRow:
    def __init__(self, family, name, code, size, items, flags, where):
        self.family, self.name, self.code, self.size = family, name, code, size
        self.items, self.flags, self.where = items, flags, where

    @property
    def fields(self):
        """Every field, group members included, in array order."""
        out = []
        for item in self.items:
            out += item.fields if isinstance(item, HciGroup) else [item]
        return out

    def field(self, name):
        return next((f for f in self.fields if f.name == name), None)


def read_hci(path, family):
    """Reads a command, return or event table and checks each row against its size."""
    rows = []
    for where, words in read_rows(path):
        if len(words) < 3:
            raise TableError(f"{where}: a row needs a name, a code and a size")
        flags = {w[1:] for w in words[3:] if w.startswith("!")}
        if flags - {"build", "size", "layout"}:
            raise TableError(f"{where}: unknown flag(s) {sorted(flags - {'build', 'size', 'layout'})}")
        items, group = [], None
        for word in (w for w in words[3:] if not w.startswith("!")):
            m = re.fullmatch(r"repeat:(left|count):(\w+)\(", word)
            if m:
                if group:
                    raise TableError(f"{where}: groups do not nest")
                group = HciGroup(m.group(1), m.group(2))
                items.append(group)
            elif word == ")":
                if not group or not group.fields:
                    raise TableError(f"{where}: ')' without an open group, or an empty group")
                group = None
            else:
                f = HciField(word, where, group)
                (group.fields if group else items).append(f)
        if group:
            raise TableError(f"{where}: a group is not closed")
        row = HciRow(family, words[0], int(words[1], 16), int(words[2]), items, flags, where)
        check_hci_row(row)
        rows.append(row)
    names = {}
    for row in rows:
        if row.name in names:
            raise TableError(f"{row.where}: {row.name} also at {names[row.name]}")
        names[row.name] = row.where
    return rows


def check_hci_row(row):
    """Offsets run on without gaps from the header, and the fixed fields end at the size."""
    where = row.where
    names = [f.name for f in row.fields]
    if len(set(names)) != len(names):
        raise TableError(f"{where}: a field name repeats in {row.name}")
    for f in row.fields:
        counter = f.count_field or (f.group.count_field if f.group else None)
        if counter:
            c = row.field(counter)
            if c is None or c.kind not in ("u8", "u16") or row.fields.index(c) > row.fields.index(f):
                raise TableError(f"{where}: {f.name} is counted by {counter}, no earlier u8/u16 field")
    if "layout" in row.flags:
        return
    offset = HCI_BASE[row.family]
    for item in row.items:
        for f in (item.fields if isinstance(item, HciGroup) else [item]):
            if f.offset != offset:
                raise TableError(f"{where}: {row.name}.{f.name} at {f.offset}, expected {offset}")
            offset += f.width
        if isinstance(item, HciGroup):
            offset -= item.stride  # a default packet holds no entry
    if offset != row.size:
        raise TableError(f"{where}: {row.name} has size {row.size}, but its fields end at {offset}")
