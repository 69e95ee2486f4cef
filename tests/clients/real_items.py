"""Takes files of other programs apart into one item a file, as a folder of items has them, by looking at the lines
that begin and end a component: shares nothing with the reader that is under test."""

import pathlib
import re

BEGIN = re.compile(rb"^\s*BEGIN\s*:\s*([A-Za-z-]+)\s*$", re.I)
END = re.compile(rb"^\s*END\s*:\s*([A-Za-z-]+)\s*$", re.I)
UID = re.compile(rb"^UID[^:]*:(.*)$", re.I | re.M)


def lines_of(data):
    return re.findall(rb"[^\r\n]*(?:\r\r\n|\r\n|\n|\r)|[^\r\n]+", data.removeprefix(b"\xef\xbb\xbf"))


def cards(data):
    depth, card = 0, []
    for line in lines_of(data):
        begins, ends = BEGIN.match(line.strip()), END.match(line.strip())
        depth += bool(begins and begins[1].upper() == b"VCARD")
        if depth:
            card.append(line)
        if ends and ends[1].upper() == b"VCARD" and depth:
            depth -= 1
            if depth == 0:
                yield b"".join(card)
                card = []


def calendar_items(data):
    """Each event or task with its changed occurrences and the time zones of its calendar."""
    path, head, zones, items, component = [], [], [], {}, []
    for line in lines_of(data):
        begins, ends = BEGIN.match(line.strip()), END.match(line.strip())
        if begins:
            path.append(begins[1].upper())
        if path == [b"VCALENDAR"] and not begins and not ends:
            head.append(line)
        elif len(path) >= 2 and path[0] == b"VCALENDAR":
            component.append(line)
        if ends and path and path[-1] == ends[1].upper():
            kind = path.pop()
            if path == [b"VCALENDAR"]:
                text = b"".join(component)
                component = []
                if kind == b"VTIMEZONE":
                    zones.append(text)
                elif kind in (b"VEVENT", b"VTODO"):
                    uid = UID.search(text)
                    items.setdefault((kind, uid[1].strip() if uid else len(items)), []).append(text)
            elif not path:
                for texts in items.values():
                    text = b"".join(texts)
                    used = [z for z in zones if any(i in text for i in re.findall(rb"(?m)^TZID[^:]*:([^\r\n]*)", z))]
                    yield b"BEGIN:VCALENDAR\r\n" + b"".join(head) + b"".join(used) + text + b"END:VCALENDAR\r\n"
                head, zones, items = [], [], {}


def fill(folder, sources):
    """Writes the items of all files under `sources` into `folder`, each under a name that tells where it is from, and
    returns how many. An item whose UID another one has gets a UID of its own; what is there already is left out."""
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    texts, uids, count = set(), set(), 0
    for source in sources:
        for path in sorted(pathlib.Path(source).rglob("*")):
            split = {".vcf": cards, ".ics": calendar_items}.get(path.suffix.lower())
            if not split or not path.is_file():
                continue
            for number, text in enumerate(split(path.read_bytes())):
                if text in texts:
                    continue
                texts.add(text)
                uid = UID.search(text)
                key = (path.suffix.lower(), uid[1].strip() if uid else None)
                if uid and key in uids:
                    text = re.sub(rb"(?im)^(UID[^:]*:.*?)([\r\n])", rb"\1-%d\2" % count, text)
                uids.add(key)
                name = re.sub(r"[^A-Za-z0-9.]+", "-", str(path.relative_to(source).with_suffix("")))
                (folder / f"{name}-{number}{path.suffix.lower()}").write_bytes(text)
                count += 1
    return count
