"""Reads an export back the way other software does, for the host's C++ tests, and prints
what it found as JSON on standard output:
  read_export.py vcard FILE   each card through vobject: its photo (bytes as hex, the
                              image type, the crop parameter), categories and REV
  read_export.py csv FILE     each row of the table through the csv module, as a dict
vobject decodes 3.0's base64 photo itself; a 4.0 data: URI (which vobject's decoding cuts
at its comma) is taken from vobject's content line and split here."""
import base64
import csv
import io
import json
import sys

import vobject


def raw_photos(text):
    """Each card's PHOTO value as the content line has it (None for a card without)."""
    found = []
    for logical, number in vobject.base.getLogicalLines(io.StringIO(text)):
        line = vobject.base.textLineToContentLine(logical, number)
        if line.name == 'BEGIN' and line.value.upper() == 'VCARD':
            found.append(None)
        elif line.name == 'PHOTO':
            found[-1] = line.value
    return found


def photo(card, raw):
    if 'photo' not in card.contents:
        return None
    line = card.photo
    value = line.value
    if raw.startswith('data:'):
        value = raw
        head, data = value[len('data:'):].split(',', 1)
        mime, encoding = head.split(';')
        assert encoding == 'base64', head
        value = base64.b64decode(data, validate=True)
        kind = mime
    else:
        kind = line.params.get('TYPE', [''])[0]
    return {'type': kind, 'hex': value.hex(),
            'crop': line.params.get('X-ABCROP-RECTANGLE', [''])[0]}


def card_model(card, raw):
    categories = card.categories.value if 'categories' in card.contents else []
    return {'fn': card.fn.value, 'photo': photo(card, raw), 'categories': categories,
            'rev': card.rev.value if 'rev' in card.contents else None}


def main(mode, path):
    with open(path, encoding='utf-8', newline='') as source:
        text = source.read()
    if mode == 'vcard':
        raw = iter(raw_photos(text))
        found = [card_model(card, next(raw)) for card in vobject.readComponents(text)]
    else:
        found = list(csv.DictReader(io.StringIO(text, newline='')))
    json.dump(found, sys.stdout)


if __name__ == '__main__':
    main(sys.argv[1], sys.argv[2])
