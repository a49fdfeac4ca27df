"""Every sample vCard through the device and back: veldrake-devicesim loads the file,
veldrake exports it as vCard 3.0, and both are read by python3-vobject (cardlines.py) and
reduced to what a person would check card by card. Whatever the device's records have no
place for is listed in LOST with its reason and printed as a table; any other difference,
and any property neither checked nor listed, fails."""
import collections
import datetime
import json
import os
import re
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), '..', 'host'))
import hosttest  # noqa: E402
import cardlines  # noqa: E402

FOLDER = os.path.join(hosttest.SAMPLES, 'vcards')
# Small cards for the rules no sample shows.
CASES = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'cases.vcf')

# What the records cannot hold, by property (a prefix ends in '*'), and why.
LOST = {
    'PHOTO': 'pictures are not part of the synced contact record',
    'LOGO': 'pictures are not part of the synced contact record',
    'SOUND': 'only the reading of SOUND;X-IRMC-N has a field; sounds have none',
    'KEY': 'no field for keys or certificates',
    'GEO': 'no field for a position',
    'TZ': 'no field for a time zone',
    'LABEL': 'a printed address label; the address parts themselves are kept',
    'CATEGORIES': 'groups are separate records, not part of a contact',
    'MEMBER': 'groups are separate records, not part of a contact',
    'KIND': 'the record has no kind; group cards are not people',
    'GENDER': 'no field for gender',
    'X-WAB-GENDER': 'no field for gender',
    'LANG': 'no field for languages',
    'REV': 'sync bookkeeping; the device keeps its own',
    'UID': 'sync bookkeeping; the device numbers its records',
    'PRODID': 'the writing program; the export names its own',
    'CLIENTPIDMAP': 'sync bookkeeping of another server',
    'SOURCE': 'where the card came from; the device keeps no origin',
    'NAME': 'the title of the card\'s source',
    'SORT-STRING': 'no field; readings come from SORT-AS and X-PHONETIC-*',
    'MAILER': 'no field for a mail program',
    'CLASS': 'no field for access classes',
    'AGENT': 'no field for an embedded card',
    'FBURL': 'no field for calendar addresses',
    'CALURI': 'no field for calendar addresses',
    'CALADRURI': 'no field for calendar addresses',
    'BIRTHPLACE': 'no field for a birthplace',
    'ACCOUNT': 'not a vCard property; no field',
    'X-ABUID': 'Apple\'s record id; the device numbers its records',
    'X-ABADR': 'Apple\'s country code of an address; the country text is kept',
    'X-ABSHOWAS': 'the record has no display mode; a company card keeps no name',
    'X-MS-OL-*': 'Outlook\'s form layout and default address',
    'X-EVOLUTION-FILE-AS': 'no field for a filing name',
    'X-EVOLUTION-BLOG-URL': 'no field for a blog feed',
    'X-EVOLUTION-VIDEO-URL': 'no field for a video chat address',
    'X-COUCHDB-*': 'another server\'s bookkeeping',
    'X-MOZILLA-*': 'Thunderbird\'s settings',
    'X-MAIDENNAME': 'no field for a maiden name',
    'X-ATTRIBUTE': 'Android bookkeeping',
    'X-CLASS': 'no field for access classes',
    'X-CUSTOM*': 'Thunderbird\'s free fields have no counterpart',
    'X-FCENCODED-*': 'FullContact\'s hex-encoded property names, which no other program reads',
    'X-ANDROID-CUSTOM': 'rows other than nickname, relation and event have no field',
    'X-GENDER': 'no field for gender',
    'X-ID': 'another server\'s record id',
    'X-ETAG': 'another server\'s version tag',
    'X-FC-*': 'FullContact\'s tags and lists',
    'X-GENERATOR': 'the writing program',
    'X-PHONETIC-ORG': 'no field for a company reading',
    'X-IRMC-LUID': 'sync bookkeeping',
    'X-ADDRESSBOOKSERVER-KIND': 'the record has no kind; group cards are not people',
}
# Losses inside properties that are otherwise kept.
LOST_PARTS = {
    'N prefix': 'no field for a name prefix',
    'FN beside N': 'no field for a display name beside the name parts (FN with other words)',
    'repeated': 'one field: the first value of N, FN, ORG, TITLE, ROLE, NICKNAME and BDAY wins',
    'BDAY text': 'a birthday is a date; a text one (circa 1800) or an impossible one is dropped',
    'PREF past ten items': 'the emulator\'s batch lists a person\'s items by the text of their '
                           'keys ("10" before "2"), so past ten the preferred one may not lead',
    'IM label': 'a messaging account keeps its service, not its label',
}

IM = {'X-AIM', 'X-JABBER', 'X-ICQ', 'X-MSN', 'X-YAHOO', 'X-SKYPE', 'X-SKYPE-USERNAME',
      'X-GOOGLE-TALK', 'X-GTALK', 'X-QQ', 'X-GADUGADU', 'X-MS-IMADDRESS', 'IMPP'}
DATES = {'X-ABDATE', 'ANNIVERSARY', 'X-ANNIVERSARY', 'X-MS-ANNIVERSARY',
         'X-EVOLUTION-ANNIVERSARY', 'X-WAB-WEDDING-ANNIVERSARY'}
RELATED = {'X-ABRELATEDNAMES', 'RELATED', 'X-SPOUSE', 'X-EVOLUTION-SPOUSE', 'X-MANAGER',
           'X-EVOLUTION-MANAGER', 'X-ASSISTANT', 'X-EVOLUTION-ASSISTANT', 'X-MS-MANAGER',
           'X-MS-ASSISTANT', 'X-WAB-SPOUSE-NAME'}
SINGLE = {'N', 'FN', 'ORG', 'TITLE', 'ROLE', 'NICKNAME', 'BDAY', 'X-PHONETIC-FIRST-NAME',
          'X-PHONETIC-LAST-NAME'}
# Types that are no label; any other type without a device label is a custom one.
STANDARD_TYPES = {'home', 'work', 'cell', 'mobile', 'voice', 'fax', 'pager', 'msg', 'bbs',
                  'modem', 'car', 'isdn', 'video', 'pcs', 'text', 'textphone', 'main',
                  'other', 'iphone', 'pref', 'internet', 'x400', 'dom', 'intl', 'postal',
                  'parcel', 'personal', 'business'}
# Types that give a device label of their own, by kind of item.
LABELLED_TYPES = {'phone': {'home', 'work', 'cell', 'mobile', 'fax', 'pager', 'main', 'iphone'},
                  'email': {'home', 'work'}, 'address': {'home', 'work'},
                  'url': {'home', 'work', 'other'}, 'im': {'home', 'work'}}
ESCAPES = {'n': '\n', 'N': '\n', '\\': '\\', ',': ',', ';': ';', ':': ':', '"': '"'}


def unescape(raw):
    return re.sub(r'\\(.)', lambda m: ESCAPES.get(m.group(1), m.group(0)), raw)


def text(raw):
    return unescape(raw).strip()


def parts(raw, count):
    return ([text(p) for p in re.split(r'(?<!\\);', raw)] + [''] * count)[:count]


def note(raw):
    """A note as the export can write it: line breaks as LF, a tab as a blank."""
    return unescape(raw).replace('\r\n', '\n').replace('\r', '\n').replace('\t', ' ')


def lost_key(name):
    for key in LOST:
        if name == key or (key.endswith('*') and name.startswith(key[:-1])):
            return key
    return None


def date_of(value):
    """(year or None, month, day) of a vCard date or date-time in UTC, None for no date."""
    m = re.match(r'^(?:(\d{4})-?|--|)(\d\d)-?(\d\d)(?:T(\d\d):?(\d\d):?(\d\d)?'
                 r'(?:\.\d+)?(Z|[+-]\d\d:?\d\d)?)?$', value.strip())
    if not m:
        return None
    year = int(m.group(1)) if m.group(1) else None
    try:
        day = datetime.datetime(year or 2000, int(m.group(2)), int(m.group(3)),
                                int(m.group(4) or 0), int(m.group(5) or 0), int(m.group(6) or 0))
    except ValueError:
        return None
    zone = m.group(7)
    if zone and zone != 'Z':
        sign = 1 if zone[0] == '+' else -1
        day -= sign * datetime.timedelta(hours=int(zone[1:3]), minutes=int(zone[-2:]))
    return (year and day.year, day.month, day.day)


def types(line):
    found = list(line.singletonparams)
    for value in line.params.get('TYPE', []):
        found += [t.strip() for t in value.split(',') if t.strip()]
    return found


def preference(line):
    pref = line.params.get('PREF', [''])[0]
    if pref.isdigit():
        return int(pref)
    return 1 if any(t.lower() == 'pref' for t in types(line)) else None


def custom_label(line, labels, kind):
    """The label a person gave the value, None when it has a standard one."""
    if line.group and labels.get(line.group):
        label = labels[line.group]
        return None if re.match(r'^_\$!<.*>!\$_$', label) else label
    written = [t.strip() for v in line.params.get('TYPE', []) for t in v.split(',')]
    written += [t for t in line.singletonparams if t.upper().startswith('X-')]
    if any(t.lower() in LABELLED_TYPES[kind] for t in types(line)):
        return None
    custom = [t for t in written if t and t.lower() not in STANDARD_TYPES]
    return custom[0] if custom else None


class Card:
    """What a person would compare between one card and its export."""

    def __init__(self):
        self.fields = collections.defaultdict(str)
        self.items = collections.defaultdict(list)  # kind -> [(value, label or None)]
        self.preferred = {}  # kind -> the value the card prefers
        self.lost = collections.Counter()


def item_value(name, line):
    value = text(line.value)
    if name == 'TEL':
        return re.sub(r'^tel:', '', value, flags=re.I)
    if name == 'EMAIL':
        return re.sub(r'^mailto:', '', value, flags=re.I)
    if name == 'ADR':
        adr = parts(line.value, 7)
        return ('\n'.join(p for p in adr[:3] if p),) + tuple(adr[3:])
    if name in IM:
        m = re.match(r'^[A-Za-z0-9+.-]+:(?://)?(.*)$', value) if name == 'IMPP' else None
        return m.group(1) if m else value
    if name in DATES:
        return date_of(value) or value
    if name == 'X-SOCIALPROFILE':
        user = line.params.get('X-USER', [''])[0]
        return user or re.split(r'[/:]', value.rstrip('/'))[-1]
    return value


def item_kind(name):
    for kind, names in (('phone', {'TEL'}), ('email', {'EMAIL'}), ('url', {'URL'}),
                        ('address', {'ADR'}), ('im', IM), ('date', DATES),
                        ('social', {'X-SOCIALPROFILE'}),
                        ('related', RELATED)):
        if name in names:
            return kind
    return None


def take_single(card, name, line, taken):
    """The first value of a single-valued property; later ones are counted as lost."""
    value = text(line.value)
    if name == 'N':
        n = parts(line.value, 5)
        if not any(n[:3]):
            return
        if 'N' in taken:
            card.lost['repeated'] += 1
            return
        taken['N'] = n
        if n[3]:
            card.lost['N prefix'] += 1
    elif name == 'BDAY':
        day = None if line.params.get('VALUE', [''])[0].lower() == 'text' else date_of(value)
        if day is None:
            card.lost['BDAY text'] += 1
        elif 'BDAY' in taken:
            card.lost['repeated'] += 1
        else:
            omitted = line.params.get('X-APPLE-OMIT-YEAR', [''])[0]
            taken['BDAY'] = (None,) + day[1:] if omitted and int(omitted) == day[0] else day
    elif name == 'ORG':
        org = parts(line.value, 9)
        if any(org) and 'ORG' in taken:
            card.lost['repeated'] += 1
        elif any(org):
            taken['ORG'] = (org[0], ', '.join(p for p in org[1:] if p))
    elif value and name in taken:
        card.lost['repeated'] += 1
    elif value:
        taken[name] = value


# Android's relation type numbers and the labels the device shows for them.
ANDROID_RELATIONS = {'1': '_$!<Assistant>!$_', '2': '_$!<Brother>!$_', '3': '_$!<Child>!$_',
                     '4': '_$!<Partner>!$_', '5': '_$!<Father>!$_', '6': '_$!<Friend>!$_',
                     '7': '_$!<Manager>!$_', '8': '_$!<Mother>!$_', '9': '_$!<Parent>!$_',
                     '10': '_$!<Partner>!$_', '11': 'Referred by', '12': 'Relative',
                     '13': '_$!<Sister>!$_', '14': '_$!<Spouse>!$_'}


def android_row(card, line, taken):
    row = parts(line.value, 4)
    if row[0] == 'vnd.android.cursor.item/nickname' and 'NICKNAME' not in taken:
        taken['NICKNAME'] = row[1]
    elif row[0] == 'vnd.android.cursor.item/relation':
        card.items['related'].append((row[1], ANDROID_RELATIONS.get(row[2], row[3] or None)))
    elif row[0] == 'vnd.android.cursor.item/contact_event' and row[2] == '3':
        taken.setdefault('BDAY', date_of(row[1]))
    elif row[0] == 'vnd.android.cursor.item/contact_event':
        label = '_$!<Anniversary>!$_' if row[2] == '1' else row[3] if row[2] == '0' else None
        card.items['date'].append((date_of(row[1]) or row[1], label))
    else:
        card.lost['X-ANDROID-CUSTOM'] += 1


def name_of(card, taken, lines):
    """The name parts: N's, or else FN split as the device does; a company card none."""
    n, fn = taken.get('N'), taken.get('FN', '')
    company = taken.get('ORG', ('', ''))[0]
    if any(line.name in ('KIND', 'X-ABSHOWAS') and text(line.value).lower() in ('org', 'company')
           for line in lines):
        company = fn
    if n:
        card.fields.update(last=n[0], first=n[1], middle=n[2], suffix=n[4])
        # An FN that only arranges N's parts in another order loses nothing.
        words = set(re.split(r'[\s,]+', ' '.join(n)))
        if fn and not set(re.split(r'[\s,]+', fn)) <= words:
            card.lost['FN beside N'] += 1
    elif fn and fn != company:
        m = re.match(r'^([^,]+),([^,]+)$', fn)
        if m:
            card.fields.update(last=m.group(1).strip(), first=m.group(2).strip())
        else:
            first, _, last = fn.rpartition(' ')
            card.fields.update(first=first.strip() or last, last=last if first else '')


def expected(lines):
    """The card as the device should keep it, or None for a group card."""
    card, taken, notes = Card(), {}, []
    labels = {line.group: text(line.value) for line in lines if line.name == 'X-ABLABEL'}
    for line in lines:
        name = line.name  # vobject writes the underscores of names as hyphens
        if name in ('KIND', 'X-ADDRESSBOOKSERVER-KIND') and text(line.value).lower() == 'group':
            return None
        kind = item_kind(name)
        if name in SINGLE:
            take_single(card, name, line, taken)
        elif name == 'NOTE':
            notes.append(note(line.value))
        elif name == 'X-ANDROID-CUSTOM':
            android_row(card, line, taken)
        elif name == 'X-ABLABEL':
            continue  # compared with the value of its group
        elif name == 'SOUND' and 'X-IRMC-N' in [p.upper() for p in line.singletonparams]:
            continue  # readings: the loader tests' business (Shift_JIS half-width kana)
        elif kind:
            value = item_value(name, line)
            label = custom_label(line, labels, kind) if kind in LABELLED_TYPES else None
            if kind == 'im' and label is not None:
                label = None
                card.lost['IM label'] += 1
            if value:
                card.items[kind].append((value, label))
                if preference(line) and (kind not in card.preferred or
                                         preference(line) < card.preferred[kind][0]):
                    card.preferred[kind] = (preference(line), value)
        elif lost_key(name):
            card.lost[lost_key(name)] += 1
        else:
            raise AssertionError('%s is neither kept nor listed in LOST' % name)
    name_of(card, taken, lines)
    company, department = taken.get('ORG', ('', ''))
    title = ', '.join(v for v in (taken.get('TITLE'), taken.get('ROLE')) if v)
    if taken.get('TITLE') and taken.get('TITLE') == taken.get('ROLE'):
        title = taken['TITLE']
    card.fields.update(company=company, department=department, title=title,
                       nickname=taken.get('NICKNAME', ''), birthday=taken.get('BDAY') or '',
                       notes='\n'.join(notes).strip())
    return card


def exported(lines):
    """The same view of a card veldrake wrote."""
    card, notes = Card(), []
    labels = {line.group: text(line.value) for line in lines if line.name == 'X-ABLABEL'}
    for line in lines:
        name, kind = line.name, item_kind(line.name)
        if name == 'N':
            n = parts(line.value, 5)
            card.fields.update(last=n[0], first=n[1], middle=n[2], suffix=n[4])
        elif name == 'ORG':
            card.fields['company'], card.fields['department'] = parts(line.value, 2)
        elif name in ('TITLE', 'NICKNAME'):
            card.fields[name.lower()] = text(line.value)
        elif name == 'NOTE':
            notes.append(note(line.value))
        elif name == 'BDAY':
            day = date_of(text(line.value))
            omitted = line.params.get('X-APPLE-OMIT-YEAR')
            card.fields['birthday'] = (None,) + day[1:] if omitted else day
        elif kind:
            card.items[kind].append((item_value(name, line), labels.get(line.group)))
    card.fields['notes'] = '\n'.join(notes).strip()
    return card


def differences(want, got):
    found = []
    for key in ('first', 'last', 'middle', 'suffix', 'company', 'department', 'title',
                'nickname', 'birthday', 'notes'):
        if want.fields[key] != got.fields[key]:
            found.append('%s: %r became %r' % (key, want.fields[key], got.fields[key]))
    for kind in set(want.items) | set(got.items):
        have = sorted(map(repr, (v for v, _ in got.items[kind])))
        if sorted(map(repr, (v for v, _ in want.items[kind]))) != have:
            found.append('%s: %r became %r' % (kind, want.items[kind], got.items[kind]))
        labels = dict(got.items[kind])
        for value, label in want.items[kind]:
            if label is not None and labels.get(value) != label:
                found.append('%s %r: label %r became %r' % (kind, value, label,
                                                             labels.get(value)))
    crowded = sum(len(values) for values in want.items.values()) > 10
    for kind, (_, value) in want.preferred.items():
        first = next((v for v, _ in got.items[kind]), None)
        if first != value and crowded:
            want.lost['PREF past ten items'] += 1
        elif first != value:
            found.append('%s: preferred %r is not first (%r is)' % (kind, value, first))
    return found


def order(card):
    return repr([card.fields[k] for k in ('last', 'first', 'company', 'notes')] +
                sorted(map(repr, card.items['phone'] + card.items['email'])))


class RoundTrip(unittest.TestCase):
    maxDiff = None

    def test_every_sample_keeps_what_the_records_can_hold(self):
        seen = collections.Counter()
        paths = sorted(os.path.join(FOLDER, f) for f in os.listdir(FOLDER) if f.endswith('.vcf'))
        self.assertGreaterEqual(len(paths), 38)
        for path in paths + [CASES]:
            name = os.path.basename(path)
            with self.subTest(file=name), open(path, 'rb') as f:
                wanted = [c for c in map(expected, cardlines.cards(f.read())) if c]
                out = hosttest.export('contacts', ['--contacts', path], '--format', 'vcf')
                got = [exported(c) for c in cardlines.cards(out.encode('utf-8'))]
                self.assertEqual(len(got), len(wanted))
                # The export lists people in the order of the device's record keys.
                wanted.sort(key=order)
                got.sort(key=order)
                for i, (want, have) in enumerate(zip(wanted, got)):
                    self.assertEqual(differences(want, have), [], '%s card %d' % (name, i + 1))
                    seen.update(want.lost)
        print('\nWhat the device cannot keep, over every sample:')
        for what, count in sorted(seen.items()):
            print('  %-32s %5d  %s' % (what, count, LOST.get(what) or LOST_PARTS[what]))

    def test_notes_json_goes_back_into_the_device_unchanged(self):
        with tempfile.TemporaryDirectory(prefix='veldrake-roundtrip-') as folder:
            path = os.path.join(folder, 'notes.json')
            with open(path, 'w', encoding='utf-8') as f:
                json.dump([{'subject': None, 'content': 'no date', 'modified': None},
                           {'subject': 'no text', 'content': None, 'modified': 86400}], f)
            first = hosttest.export('notes', ['--notes', path], '--format', 'json')
            self.assertEqual([(n['subject'], n['content']) for n in json.loads(first)],
                             [('', 'no date'), ('no text', '')])
            for source in (path, os.path.join(hosttest.SAMPLES, 'notes.json')):
                once = hosttest.export('notes', ['--notes', source], '--format', 'json')
                with open(path, 'w', encoding='utf-8') as f:
                    f.write(once)
                again = hosttest.export('notes', ['--notes', path], '--format', 'json')
                # The batch lists notes by the text of their keys, as it does items.
                self.assertEqual(sorted(map(repr, json.loads(again))),
                                 sorted(map(repr, json.loads(once))), source)


if __name__ == '__main__':
    unittest.main(verbosity=2)
