"""What the device keeps of a vCard, from the card's lines as vobject parses them: an input
card and its export after the trip through the device reduce to the same model when
nothing was lost. Items compare as sorted lists (the library delivers by key order);
labels and date texts are the export tests' business; items without a value are left out
(veldrake writes none)."""
import io
import re

import vobject

IM_PROPERTIES = {'X-AIM', 'X-JABBER', 'X-ICQ', 'X-MSN', 'X-YAHOO', 'X-SKYPE',
                 'X-SKYPE-USERNAME', 'X-GOOGLE-TALK', 'X-GTALK', 'X-QQ', 'X-GADUGADU'}
DATES = {'X-ABDATE', 'ANNIVERSARY', 'X-ANNIVERSARY', 'X-MS-ANNIVERSARY',
         'X-EVOLUTION-ANNIVERSARY', 'X-WAB-WEDDING_ANNIVERSARY'}
RELATED = {'X-ABRELATEDNAMES', 'RELATED', 'X-SPOUSE', 'X-EVOLUTION-SPOUSE', 'X-MANAGER',
           'X-EVOLUTION-MANAGER', 'X-ASSISTANT', 'X-EVOLUTION-ASSISTANT'}
ESCAPES = {'n': '\n', 'N': '\n', '\\': '\\', ',': ',', ';': ';', ':': ':'}


def text(raw):
    """A raw value (read untransformed) unescaped."""
    return re.sub(r'\\(.)', lambda m: ESCAPES.get(m.group(1), m.group(0)), raw).strip()


def parts(raw, count):
    """The unescaped parts of a structured value (N, ADR, ORG), padded to `count`."""
    return ([text(p) for p in re.split(r'(?<!\\);', raw)] + [''] * count)[:count]


def after_scheme(value, scheme):
    m = re.match(r'^([A-Za-z0-9+.-]+):(?://)?(.*)$', value)
    return m.group(2) if m and (scheme is None or m.group(1).lower() == scheme) else value


def model(card):
    """The device's view of one card, or None for a group card."""
    person = {k: '' for k in ('first', 'last', 'middle', 'suffix', 'nickname', 'company',
                              'department', 'title', 'first_yomi', 'last_yomi')}
    items = {k: [] for k in ('phone', 'email', 'url', 'address', 'im', 'social', 'date',
                             'related')}
    fn, notes, named, single = '', [], False, {}
    for line in card:
        name, value = line.name, line.value
        if name in ('KIND', 'X-ADDRESSBOOKSERVER-KIND') and text(value).lower() == 'group':
            return None
        if name == 'N':
            n = parts(value, 5)
            if named or not any(n[:3]):  # the first N that names someone wins
                continue
            named = True
            person['last'], person['first'], person['middle'], _, person['suffix'] = n
            readings = line.params.get('SORT-AS', [''])[0]
            readings = [r.strip() for r in re.split(';' if ';' in readings else ',', readings)]
            person['last_yomi'] = person['last_yomi'] or readings[0]
            if len(readings) > 1:
                person['first_yomi'] = person['first_yomi'] or readings[1]
        elif name == 'FN':
            fn = fn or text(value)
        elif name in ('NICKNAME', 'TITLE', 'ROLE'):
            single.setdefault(name, text(value) or None)
        elif name == 'ORG':
            org = parts(value, 9)
            if not person['company'] and not person['department']:
                person['company'] = org[0]
                person['department'] = ', '.join(p for p in org[1:] if p)
        elif name == 'NOTE':
            notes.append(re.sub(r'\\(.)', lambda m: ESCAPES.get(m.group(1), m.group(0)), value))
        elif name in ('X-PHONETIC-FIRST-NAME', 'X-PHONETIC-LAST-NAME'):
            person['first_yomi' if 'FIRST' in name else 'last_yomi'] = text(value)
        elif name in ('TEL', 'EMAIL', 'URL'):
            scheme = {'TEL': 'tel', 'EMAIL': 'mailto', 'URL': ''}[name]
            value = text(value)
            items[name.lower().replace('tel', 'phone')].append(
                after_scheme(value, scheme) if scheme else value)
        elif name == 'ADR':
            adr = parts(value, 7)
            street = '\n'.join(p for p in adr[:3] if p)
            if any([street] + adr[3:]):
                items['address'].append((street, *adr[3:]))
        elif name == 'IMPP' or name in IM_PROPERTIES:
            items['im'].append(after_scheme(text(value), None) if name == 'IMPP' else text(value))
        elif name == 'X-SOCIALPROFILE':
            user = line.params.get('X-USER', [''])[0]
            items['social'].append(user or re.split(r'[/:]', text(value).rstrip('/'))[-1])
        elif name in DATES:
            items['date'].append('a date')  # the form of the text is the export tests' business
        elif name in RELATED:
            items['related'].append(text(value))
    person['notes'] = '\n'.join(notes)
    person['nickname'] = single.get('NICKNAME') or ''
    title, role = single.get('TITLE') or '', single.get('ROLE') or ''
    person['title'] = title if role in ('', title) else ', '.join(p for p in (title, role) if p)
    if not named and fn != person['company']:  # FN split as the device does
        last_first = re.match(r'^([^,]+),([^,]+)$', fn)
        first, _, last = fn.rpartition(' ')
        person['first'], person['last'] = ((last_first.group(2).strip(), last_first.group(1).strip())
                                           if last_first else (first.strip() or last, last if first else ''))
    for kind, values in items.items():
        person[kind] = sorted((v for v in values if v != ''), key=repr)
    return person


def cards(data):
    """The content lines of each card: vobject unfolds the lines and parses names, groups
    and parameters; values stay raw, since its value decoding cuts a text at a comma."""
    found = []
    for logical, number in vobject.base.getLogicalLines(io.StringIO(data)):
        line = vobject.base.textLineToContentLine(logical, number)
        if line.name == 'BEGIN' and line.value.upper() == 'VCARD':
            found.append([])
        elif found and line.name not in ('END', 'BEGIN'):
            found[-1].append(line)
    return found


def book(data):
    """The models of every person card of vCard text, sorted."""
    models = [model(card) for card in cards(data)]
    return sorted((m for m in models if m is not None), key=repr)
