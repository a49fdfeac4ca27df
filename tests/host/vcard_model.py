"""What the device stores of a vCard, computed from a card parsed by vobject.

This follows the documented mapping of the device emulator (docs/emulator.md: the vCard
table and the label table), so an input card and the card veldrake exported from the
device reduce to the same model when nothing was lost on the way. Documented
normalisations: contacts and each kind of item compare as sorted lists (the library
delivers by key order); items without a value and addresses without any part are left
out (veldrake writes none); messaging accounts carry no label (the device stores the
service instead)."""
import datetime
import io
import re

import vobject

IM_PROPERTIES = {'X-AIM': 'AIM', 'X-JABBER': 'Jabber', 'X-ICQ': 'ICQ', 'X-MSN': 'MSN',
                 'X-YAHOO': 'Yahoo', 'X-SKYPE': 'Skype', 'X-SKYPE-USERNAME': 'Skype',
                 'X-GOOGLE-TALK': 'GoogleTalk', 'X-GTALK': 'GoogleTalk', 'X-QQ': 'QQ',
                 'X-GADUGADU': 'GaduGadu'}
SCHEMES = {'xmpp': 'Jabber', 'aim': 'AIM', 'ymsgr': 'Yahoo', 'msnim': 'MSN', 'icq': 'ICQ',
           'skype': 'Skype', 'gtalk': 'GoogleTalk', 'sip': 'SIP', 'qq': 'QQ',
           'facebook': 'Facebook'}
RELATED = ['mother', 'father', 'parent', 'brother', 'sister', 'child', 'friend', 'spouse',
           'partner', 'assistant', 'manager']
ANNIVERSARIES = {'ANNIVERSARY', 'X-ANNIVERSARY', 'X-MS-ANNIVERSARY',
                 'X-EVOLUTION-ANNIVERSARY', 'X-WAB-WEDDING_ANNIVERSARY'}
RELATED_PROPERTIES = {'X-ABRELATEDNAMES', 'RELATED', 'X-SPOUSE', 'X-EVOLUTION-SPOUSE',
                      'X-MANAGER', 'X-EVOLUTION-MANAGER', 'X-ASSISTANT',
                      'X-EVOLUTION-ASSISTANT'}


def device(name):
    return '_$!<%s>!$_' % name


ESCAPES = {'n': '\n', 'N': '\n', '\\': '\\', ',': ',', ';': ';', ':': ':'}


def text(raw):
    """A raw value (read with transform=False) unescaped: \\n, \\\\, \\, \\; and \\: ."""
    return re.sub(r'\\(.)', lambda m: ESCAPES.get(m.group(1), m.group(0)), raw)


def components(raw):
    """The unescaped parts of a structured value (N, ADR, ORG)."""
    return [text(p) for p in re.split(r'(?<!\\);', raw)]


def types(line):
    out = []
    for value in line.params.get('TYPE', []) + line.singletonparams:
        out += [t.strip().lower() for t in value.split(',') if t.strip()]
    return out


def param(line, name):
    values = line.params.get(name)
    return values[0] if values else ''


def split_uri(value):
    m = re.match(r'^([A-Za-z0-9+.-]+):(.*)$', value)
    if not m:
        return '', value
    rest = m.group(2)
    return m.group(1), rest[2:] if rest.startswith('//') else rest


def parse_date(value):
    """(year or None, month, day) in UTC of a vCard date, or None for no date."""
    value = value.strip()
    m = re.match(r'^(?:(\d{4})-?|--|)(\d\d)-?(\d\d)(?:[Tt](\d\d):?(\d\d)(?::?(\d\d))?(?:\.\d+)?'
                 r'(Z|z|[+-]\d\d:?\d\d)?)?$', value)
    if not m or (m.group(1) is None and not value.startswith('--') and value[2:3] != '-'):
        return None
    year = int(m.group(1)) if m.group(1) else 1604
    try:
        when = datetime.datetime(year, int(m.group(2)), int(m.group(3)), int(m.group(4) or 0),
                                 int(m.group(5) or 0), int(m.group(6) or 0))
    except ValueError:
        return None
    zone = m.group(7)
    if zone and zone not in 'Zz':
        sign = -1 if zone[0] == '-' else 1
        digits = zone[1:].replace(':', '')
        when -= sign * datetime.timedelta(hours=int(digits[:2]), minutes=int(digits[2:]))
    return (None if when.year == 1604 else when.year, when.month, when.day)


def phone_label(t):
    if 'fax' in t:
        return device('HomeFAX' if 'home' in t else 'WorkFAX' if 'work' in t else 'OtherFAX')
    for kind, label in (('cell', 'Mobile'), ('mobile', 'Mobile'), ('iphone', None),
                        ('main', 'Main'), ('pager', 'Pager'), ('home', 'Home'),
                        ('work', 'Work')):
        if kind in t:
            return 'iPhone' if label is None else device(label)
    return device('Other')


def place_label(t):
    return device('Home' if 'home' in t else 'Work' if 'work' in t else 'Other')


def url_label(t):
    for kind in ('home', 'work', 'other'):
        if kind in t:
            return device(kind.capitalize())
    return device('HomePage')


def model(card):
    """The device's view of one vobject card, or None for a group card."""
    lines = list(card.getChildren())
    labels = {}
    for line in lines:
        if line.name == 'X-ABLABEL' and line.group:
            labels[line.group.lower()] = text(line.value).strip()
        if line.name in ('KIND', 'X-ADDRESSBOOKSERVER-KIND') and \
                text(line.value).strip().lower() == 'group':
            return None

    def label(line, fallback):
        found = labels.get((line.group or '').lower(), '')
        return found or fallback

    person = {k: '' for k in ('first', 'last', 'middle', 'suffix', 'nickname', 'company',
                              'department', 'title', 'notes', 'first_yomi', 'last_yomi')}
    person['birthday'] = None
    items = {k: [] for k in ('phone', 'email', 'url', 'address', 'im', 'social', 'date',
                             'related')}
    fn = ''
    notes = []
    for line in lines:
        name = line.name
        value = line.value
        if name == 'N':
            parts = [p.strip() for p in components(value)] + [''] * 5
            person['last'], person['first'], person['middle'] = parts[0], parts[1], parts[2]
            person['suffix'] = parts[4]
            sort_as = param(line, 'SORT-AS')
            if sort_as:
                readings = [r.strip() for r in sort_as.split(';' if ';' in sort_as else ',')]
                person['last_yomi'] = person['last_yomi'] or readings[0]
                if len(readings) > 1:
                    person['first_yomi'] = person['first_yomi'] or readings[1]
        elif name == 'FN':
            fn = text(value).strip()
        elif name in ('NICKNAME', 'TITLE'):
            person['nickname' if name == 'NICKNAME' else 'title'] = text(value).strip()
        elif name == 'ORG':
            parts = [p.strip() for p in components(value)]
            person['company'] = parts[0]
            person['department'] = ', '.join(p for p in parts[1:] if p)
        elif name == 'NOTE':
            notes.append(text(value))
        elif name in ('X-PHONETIC-FIRST-NAME', 'X-PHONETIC-LAST-NAME'):
            person['first_yomi' if 'FIRST' in name else 'last_yomi'] = text(value).strip()
        elif name == 'BDAY':
            if param(line, 'VALUE').lower() != 'text' and person['birthday'] is None:
                person['birthday'] = parse_date(text(value))
        elif name == 'TEL':
            scheme, rest = split_uri(text(value).strip())
            number = rest if scheme.lower() == 'tel' else text(value).strip()
            items['phone'].append((label(line, phone_label(types(line))), number))
        elif name == 'EMAIL':
            scheme, rest = split_uri(text(value).strip())
            address = rest if scheme.lower() == 'mailto' else text(value).strip()
            items['email'].append((label(line, place_label(types(line))), address))
        elif name == 'URL':
            items['url'].append((label(line, url_label(types(line))), text(value).strip()))
        elif name == 'ADR':
            parts = ([p.strip() for p in components(value)] + [''] * 7)[:7]
            street = '\n'.join(p for p in parts[:3] if p)
            if any([street] + parts[3:]):
                items['address'].append((label(line, place_label(types(line))), street,
                                         *parts[3:]))
        elif name == 'IMPP' or name in IM_PROPERTIES:
            scheme, rest = split_uri(text(value).strip())
            if name != 'IMPP':
                service, user = IM_PROPERTIES[name], text(value).strip()
            else:
                service = param(line, 'X-SERVICE-TYPE') or SCHEMES.get(scheme.lower(), scheme)
                user = rest
            items['im'].append((service, user))
        elif name == 'X-SOCIALPROFILE':
            service = next((t for t in types(line) if t != 'pref'), 'other')
            path = text(value).strip().rstrip('/')
            user = param(line, 'X-USER') or re.split(r'[/:]', path)[-1]
            items['social'].append((service, user))
        elif name == 'X-ABDATE' or name in ANNIVERSARIES:
            fallback = device('Anniversary' if name in ANNIVERSARIES or
                              'anniversary' in types(line) else 'Other')
            date = parse_date(text(value))
            items['date'].append((label(line, fallback), date or text(value).strip()))
        elif name in RELATED_PROPERTIES:
            kind = next((t for t in types(line) if t != 'pref'), '')
            for forced in ('spouse', 'manager', 'assistant'):
                if forced.upper() in name:
                    kind = forced
            fallback = device(kind.capitalize() if kind in RELATED else 'Other')
            items['related'].append((label(line, fallback), text(value).strip()))
    person['notes'] = '\n'.join(notes)
    if not any(person[k] for k in ('first', 'last', 'middle', 'company')):
        person['first'] = fn
    for kind, values in items.items():
        person[kind] = sorted((v for v in values if v[-1] != '' or kind == 'address'),
                              key=repr)
    return person


class Card:
    """The content lines of one card, as vobject's line parser gives them (raw values)."""

    def __init__(self):
        self.lines = []

    def getChildren(self):
        return self.lines


def cards(data):
    """vobject unfolds the lines and parses names, groups and parameters; values stay raw,
    since vobject's value decoding cuts a text at an unescaped comma."""
    found = []
    for logical, number in vobject.base.getLogicalLines(io.StringIO(data)):
        line = vobject.base.textLineToContentLine(logical, number)
        if line.name == 'BEGIN' and line.value.upper() == 'VCARD':
            found.append(Card())
        elif found and line.name not in ('END', 'BEGIN'):
            found[-1].lines.append(line)
    return found


def book(data):
    """The models of every person card of vCard text, sorted."""
    models = [model(card) for card in cards(data)]
    return sorted((m for m in models if m is not None), key=repr)
