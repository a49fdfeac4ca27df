"""An independent reader of the Notes app's store as the public write-ups describe it
(docs/notes-store.md): body runs with every attribute, table merge documents, folders,
attachments and locked notes, with python3-cryptography for the locked-note scheme."""
import struct
import zlib

from cryptography.hazmat.primitives import hashes
from cryptography.hazmat.primitives.ciphers.aead import AESGCM
from cryptography.hazmat.primitives.kdf.pbkdf2 import PBKDF2HMAC
from cryptography.hazmat.primitives.keywrap import aes_key_unwrap

from backup_oracle import field, proto_fields


def first(fields, number, default=None):
    values = field(fields, number)
    return values[0] if values else default


def signed(value):
    return value - (1 << 64) if value >= 1 << 63 else value


def run_attributes(run):
    """The look of one attribute run as a dict; absent attributes are left out."""
    attrs = {}
    style = first(run, 2)
    if style is not None:
        p = proto_fields(style)
        for name, number in (("style", 1), ("indent", 4), ("quote", 8)):
            if first(p, number) is not None:
                attrs[name] = first(p, number)
        if first(p, 5) is not None:
            checklist = proto_fields(first(p, 5))
            attrs["done"] = first(checklist, 2)
            assert len(first(checklist, 1)) == 16
    for name, number in (("weight", 5), ("underline", 6), ("strike", 7)):
        if first(run, number) is not None:
            attrs[name] = first(run, number)
    if first(run, 8) is not None:
        attrs["script"] = signed(first(run, 8))
    if first(run, 9) is not None:
        attrs["link"] = first(run, 9).decode()
    if first(run, 10) is not None:
        color = proto_fields(first(run, 10))
        attrs["color"] = tuple(round(struct.unpack("<f", first(color, k))[0] * 255) for k in (1, 2, 3))
    if first(run, 12) is not None:
        info = proto_fields(first(run, 12))
        attrs["object"] = (first(info, 1).decode(), first(info, 2).decode())
    return attrs


def note_runs(note_bytes):
    """[(text, attributes)] of a Note message; the lengths must cover the text exactly."""
    note = proto_fields(note_bytes)
    units = first(note, 2, b"").decode().encode("utf-16-le")
    runs, pos = [], 0
    for run in map(proto_fields, field(note, 5)):
        length = first(run, 1)
        assert length > 0 and pos + length <= len(units) // 2, "a run past the text"
        runs.append((units[2 * pos:2 * (pos + length)].decode("utf-16-le"), run_attributes(run)))
        pos += length
    assert pos == len(units) // 2, "runs stop short of the text"
    return runs


def body_runs(plain_body):
    document = proto_fields(first(proto_fields(zlib.decompress(plain_body, 31)), 2))
    return note_runs(first(document, 3))


def paragraphs(runs):
    """[(line text, paragraph attributes, [(text, attributes)])], split at line breaks."""
    lines, text, pieces, para = [], "", [], None
    for piece, attrs in runs:
        para = {k: v for k, v in attrs.items() if k in ("style", "indent", "quote", "done")}
        for i, part in enumerate(piece.split("\n")):
            if i:
                lines.append((text, para, pieces))
                text, pieces = "", []
            if part:
                text += part
                pieces.append((part, attrs))
    lines.append((text, para or {}, pieces))
    return lines


class MergeDocument:
    """A table's merge document, read the way docs/notes-store.md tells."""

    def __init__(self, plain):
        data = proto_fields(first(proto_fields(first(proto_fields(zlib.decompress(plain, 31)), 2)), 3))
        self.entries = [proto_fields(e) for e in field(data, 3)]
        self.keys = [k.decode() for k in field(data, 4)]
        self.types = [t.decode() for t in field(data, 5)]
        self.uuids = field(data, 6)

    def custom(self, index):
        body = first(self.entries[index], 13)
        return proto_fields(body) if body is not None else None

    def type_of(self, index):
        custom = self.custom(index)
        return self.types[first(custom, 1)] if custom is not None else None

    def uuid(self, index):
        assert self.type_of(index) == "com.apple.CRDT.NSUUID"
        entry = proto_fields(first(self.custom(index), 3))
        assert self.keys[first(entry, 1)] == "UUIDIndex"
        return self.uuids[first(proto_fields(first(entry, 2)), 2)]

    def dictionary(self, body):
        return [(first(proto_fields(first(e, 1)), 6), first(proto_fields(first(e, 2)), 6))
                for e in map(proto_fields, field(proto_fields(body), 1))]

    def ordered(self, index):
        ordered_set = proto_fields(first(self.entries[index], 16))
        ordering = proto_fields(first(ordered_set, 1))
        contents = {self.uuid(k): self.uuid(v) for k, v in self.dictionary(first(ordering, 2))}
        live = {self.uuid(k) for k, _ in self.dictionary(first(ordered_set, 2))}
        slots = [first(proto_fields(a), 2) for a in field(proto_fields(first(ordering, 1)), 2)]
        return [contents[slot] for slot in slots if slot in live]

    def table(self):
        """(direction, rows of cells, each cell its [(text, attributes)])."""
        root = next(i for i in range(len(self.entries)) if self.type_of(i) == "com.apple.notes.ICTable")
        refs = {self.keys[first(e, 1)]: first(proto_fields(first(e, 2)), 6)
                for e in map(proto_fields, field(self.custom(root), 3))}
        rows, columns = self.ordered(refs["crRows"]), self.ordered(refs["crColumns"])
        cells = {}
        for column, per_column in self.dictionary(first(self.entries[refs["cellColumns"]], 6)):
            for row, cell in self.dictionary(first(self.entries[per_column], 6)):
                cells[(self.uuid(row), self.uuid(column))] = note_runs(first(self.entries[cell], 10))
        direction = first(proto_fields(first(self.entries[refs["crTableColumnDirection"]], 1)), 2)
        return (first(proto_fields(direction), 4).decode(),
                [[cells.get((r, c), []) for c in columns] for r in rows])


def unseal(password, salt, iterations, wrapped, iv, tag, data):
    """A locked note's object; InvalidUnwrap or InvalidTag on a wrong password."""
    kek = PBKDF2HMAC(hashes.SHA256(), 16, salt, iterations).derive(password.encode())
    return AESGCM(aes_key_unwrap(kek, wrapped)).decrypt(iv, data + tag, None)
