"""vCard files of any version as vobject content lines. vobject reads 3.0 and 4.0 text but
not 2.1's quoted-printable values that run over several lines, values that run on over raw
line breaks, or charsets other than the file's own; this turns every logical line into
the 3.0 form first (bytes unfolded, quoted-printable and charset decoded, line breaks
escaped), then lets vobject parse the name, group, parameters and value."""
import codecs
import quopri
import re

import vobject

PROPERTY = re.compile(rb'^[A-Za-z0-9_.-]+[;:]')
QP_PARAM = re.compile(rb';(?:ENCODING=)?QUOTED-PRINTABLE', re.I)
CHARSET = re.compile(rb';CHARSET=([A-Za-z0-9_.:-]+)', re.I)


def colon(line):
    """Where the head of a property line ends (the first colon outside quotes)."""
    quoted = False
    for i, c in enumerate(line):
        if c == 0x22:
            quoted = not quoted
        elif c == 0x3A and not quoted:
            return i
    return -1


def is_qp(line):
    return QP_PARAM.search(line[:max(colon(line), 0)]) is not None


def logical_lines(data):
    """Folds, soft breaks and run-on values joined, as bytes."""
    out = []
    for raw in data.split(b'\n'):
        line = raw.rstrip(b'\r')
        if line[:1] in (b' ', b'\t') and out:
            out[-1] += line[1:]
        elif not line.strip():
            if out and is_qp(out[-1]) and out[-1].endswith(b'='):
                out[-1] = out[-1][:-1]  # a blank line ends a soft-broken value
        elif out and is_qp(out[-1]) and out[-1].endswith(b'=') and \
                not line.upper().startswith(b'END:VCARD'):
            out[-1] = out[-1][:-1] + line
        elif PROPERTY.match(line) or not out:
            out.append(line)
        else:
            out[-1] = out[-1].rstrip(b'\\') + b'\n' + line
    return out


def decode(value, charset):
    try:
        return value.decode(charset or 'utf-8')
    except (UnicodeDecodeError, LookupError):
        return value.decode('cp1252', errors='replace')


def as_text_line(line):
    """One logical line as 3.0 text: no transfer encoding, UTF-8, breaks escaped."""
    at = colon(line)
    if at < 0:
        return decode(line, None)
    head, value = line[:at], line[at + 1:]
    if is_qp(line):
        value = quopri.decodestring(value)
        head = QP_PARAM.sub(b'', head)
    found = CHARSET.search(head)
    charset = found.group(1).decode('ascii') if found else None
    if charset:
        try:
            codecs.lookup(charset)
        except LookupError:
            charset = None
    text = decode(value, charset).replace('\r\n', '\\n').replace('\r', '\\n')
    return decode(CHARSET.sub(b'', head), None) + ':' + text.replace('\n', '\\n')


def cards(data):
    """The content lines of each card of vCard bytes, group cards included."""
    found = []
    for number, line in enumerate(logical_lines(data), 1):
        if colon(line) < 0:
            continue
        content = vobject.base.textLineToContentLine(as_text_line(line), number)
        if content.name == 'BEGIN' and content.value.upper() == 'VCARD':
            found.append([])
        elif found and content.name not in ('END', 'BEGIN', 'VERSION'):
            found[-1].append(content)
    return found
