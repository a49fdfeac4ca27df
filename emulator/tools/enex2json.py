#!/usr/bin/env python3
"""Convert Evernote .enex exports into the emulator's notes JSON.

Each note becomes {"subject": title, "content": plain text of the ENML body,
"modified": the note's <updated> time (ISO 8601 UTC)}. Block elements end lines,
checklist boxes become "[ ]"/"[x]", and whitespace is tidied; the result is what
a phone's notes would hold as plain text.

Usage: enex2json.py FILE.enex... > notes.json
"""
import html.parser
import json
import re
import sys
import xml.etree.ElementTree as ET

BLOCKS = {"div", "p", "br", "li", "h1", "h2", "h3", "h4", "h5", "h6", "tr", "ul", "ol",
          "en-note", "pre", "blockquote", "hr"}


class TextOf(html.parser.HTMLParser):
    def __init__(self):
        super().__init__(convert_charrefs=True)
        self.parts = []

    def handle_starttag(self, tag, attrs):
        attrs = dict(attrs)
        if tag == "en-todo":
            self.parts.append("[x] " if attrs.get("checked") == "true" else "[ ] ")
        elif tag == "li" and "--en-checked:true" in (attrs.get("style") or ""):
            self.parts.append("\n[x] ")
        elif tag == "li" and "--en-checked:false" in (attrs.get("style") or ""):
            self.parts.append("\n[ ] ")
        elif tag in BLOCKS:
            self.parts.append("\n")

    def handle_endtag(self, tag):
        if tag in BLOCKS:
            self.parts.append("\n")

    def handle_data(self, data):
        self.parts.append(data)


def plain_text(enml):
    enml = re.sub(r"<!\[CDATA\[|\]\]>", "", enml)  # nested CDATA seen in real exports
    parser = TextOf()
    parser.feed(enml)
    text = "".join(parser.parts).replace("\u00a0", " ")
    lines = [re.sub(r"[ \t]+", " ", line).strip() for line in text.split("\n")]
    text = re.sub(r"\n{2,}", "\n", "\n".join(lines)).strip()
    return re.sub(r"\[( |x)\]\s*\n", r"[\1] ", text)


def iso(stamp):
    stamp = stamp.strip()
    m = re.fullmatch(r"(\d{4})(\d\d)(\d\d)T(\d\d)(\d\d)(\d\d)Z", stamp)
    if not m:
        raise ValueError("unexpected Evernote time: %r" % stamp)
    return "%s-%s-%sT%s:%s:%sZ" % m.groups()


def notes_of(path):
    for note in ET.parse(path).getroot().iter("note"):
        updated = note.findtext("updated") or note.findtext("created")
        yield {
            "subject": (note.findtext("title") or "").strip(),
            "content": plain_text(note.findtext("content") or ""),
            "modified": iso(updated),
        }


def main(paths):
    notes = [n for path in paths for n in notes_of(path)]
    json.dump(notes, sys.stdout, ensure_ascii=False, indent=2)
    sys.stdout.write("\n")


if __name__ == "__main__":
    main(sys.argv[1:])
