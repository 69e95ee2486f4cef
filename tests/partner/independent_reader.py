#!/usr/bin/env python3
"""Reads vCard files by regular expressions and prints one line a property: the oracle of the content-line tests.

Shares nothing with the C++ reader, neither code nor order of steps: it joins physical lines on the whole text first
and takes each property apart afterwards.

usage: independent_reader.py FILE...
"""
import base64
import quopri
import re
import sys

HEAD = re.compile(rb'(?:\xef\xbb\xbf)?(?:([A-Za-z0-9_-]+)\.)?([A-Za-z0-9_-]+)[ \t]*((?:;(?:"[^"]*"|[^":;])*)*):(.*)\Z', re.S)


def logical_lines(data):
    lines = re.split(rb'\r\r\n|\r\n|\n|\r', data)
    while lines:
        text = lines.pop(0)
        while text.strip() and lines and lines[0][:1] in (b' ', b'\t'):
            text += lines.pop(0)[1:]
        match = HEAD.match(text)
        parameters = match[3].upper() if match else b''
        if b'QUOTED-PRINTABLE' in parameters:
            while text.rstrip(b' \t').endswith(b'=') and lines and lines[0][:4].upper() != b'END:':
                text = text.rstrip(b' \t')[:-1] + re.sub(rb'\A[ \t]', b'', lines.pop(0))
        elif re.search(rb'ENCODING=B(ASE64)?(;|\Z)|;BASE64(;|\Z)', parameters):
            while lines and re.fullmatch(rb'[A-Za-z0-9+/= \t]+', lines[0]) and lines[0].strip():
                text += lines.pop(0)
        yield text


def decode(raw, charset):
    for name in ([charset] if charset else []) + ['utf-8', 'cp1252']:
        try:
            return raw.decode({'shift-jis': 'cp932', 'shift_jis': 'cp932'}.get(name.lower(), name))
        except (UnicodeDecodeError, LookupError):
            pass
    return ''.join(bytes([b]).decode('cp1252') if b not in (0x81, 0x8D, 0x8F, 0x90, 0x9D) else chr(b) for b in raw)


def describe(text):
    match = HEAD.match(text)
    if not match:
        return None
    group, name, parameters, value = match.groups()
    encoding = charset = ''
    types = []
    for part in re.findall(rb';((?:"[^"]*"|[^";])*)', parameters):
        key, equals, what = part.partition(b'=')
        key, what = key.strip().decode('latin-1').upper(), what.decode('latin-1')
        if not equals:
            key, what = ('ENCODING', key) if key in ('QUOTED-PRINTABLE', 'BASE64', 'B', '8BIT', '7BIT') else ('TYPE', key)
        if key == 'ENCODING':
            encoding = encoding or what.strip('" ').upper()
        elif key == 'CHARSET':
            charset = charset or what.strip('" ')
        elif key == 'TYPE':
            types += [t.strip().upper() for t in what.replace('"', '').split(',')]
    if encoding in ('BASE64', 'B'):
        digits = re.sub(rb'[^A-Za-z0-9+/]', b'', value.partition(b'=')[0])
        digits = digits[:len(digits) - (len(digits) % 4 == 1)]
        content = base64.b64decode(digits + b'=' * (-len(digits) % 4))
        shown = 'bytes %d %d' % (len(content), sum(content))
    else:
        if encoding == 'QUOTED-PRINTABLE':
            value = quopri.decodestring(value)
        shown = decode(value, charset).replace('\r\n', '\n').replace('\r', '\n').replace('\0', '')
        shown = shown.replace('\n', '<LF>')
    return '%s|%s|%s|%s' % ((group or b'').decode(), name.decode().upper(), ','.join(types), shown)


def main():
    for path in sys.argv[1:]:
        print('FILE', path)
        with open(path, 'rb') as f:
            for text in logical_lines(f.read()):
                shown = describe(text)
                if shown is not None:
                    sys.stdout.buffer.write(shown.encode('utf-8') + b'\n')
                    sys.stdout.flush()


if __name__ == '__main__':
    sys.stdout.reconfigure(encoding='utf-8')
    main()
