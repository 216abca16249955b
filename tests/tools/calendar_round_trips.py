#!/usr/bin/env python3
"""Calendar files through import and export of tarnwick-admin.exe, looked at by a reader that was not
written here (python3-icalendar): every property of every event and zone comes back.

usage: calendar_round_trips.py SOURCE_DIR BINARY_DIR [SEED]
"""
import datetime as dt
import pathlib
import random
import re
import shutil
import sys

import icalendar

sys.path.insert(0, f"{sys.argv[1]}/tests/tools")
from admin_tool_tests import (BINARY, PRODUCT_KEY, PROGRAM, ROOT, SOURCE, WORK, failures,  # noqa: E402
                              set_value, wine, windows_path)

SEED = int(sys.argv[3]) if len(sys.argv) > 3 else 20261122


def admin(*arguments):
    done = wine(PROGRAM, *arguments)
    if done.returncode not in (0, 4):  # events without a start are left out
        failures.append(f"{arguments}: {done.returncode}, {done.stderr.decode()}")


ZONES = {
    "Pacific Time (made)": ("-0800", "-0700", 3, "2SU", 11, "1SU", "020000"),
    "Middle, Europe": ("+0100", "+0200", 3, "-1SU", 10, "-1SU", "020000"),
    "Down Under": ("+1000", "+1100", 10, "1SU", 4, "1SU", "020000"),
    "Half": ("+0530", "+0530", 1, "1SU", 7, "1SU", "000000"),
}


def zone_text(name):
    winter, summer, on, on_day, off, off_day, clock = ZONES[name]
    escaped = name.replace(",", "\\,")
    def part(kind, month, day, before, after):
        return (f"BEGIN:{kind}\r\nDTSTART:2000{month:02}01T{clock}\r\nTZOFFSETFROM:{before}\r\n"
                f"TZOFFSETTO:{after}\r\nRRULE:FREQ=YEARLY;BYMONTH={month};BYDAY={day}\r\n"
                f"END:{kind}\r\n")
    return (f"BEGIN:VTIMEZONE\r\nTZID:{escaped}\r\n" + part("DAYLIGHT", on, on_day, winter, summer) +
            part("STANDARD", off, off_day, summer, winter) + "END:VTIMEZONE\r\n")


RULES = ["FREQ=DAILY;INTERVAL=3;COUNT=7", "FREQ=WEEKLY;BYDAY=MO,WE,SU;WKST=SU", "FREQ=WEEKLY",
         "FREQ=MONTHLY;BYMONTHDAY=-3;COUNT=30", "FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1",
         "FREQ=YEARLY;BYMONTH=11;BYDAY=-1TH", "FREQ=YEARLY;BYWEEKNO=20;BYDAY=MO,FR", "FREQ=YEARLY;BYYEARDAY=-1"]
WORDS = ["Tea", "Review, final; really", "END:VEVENT", "SUMMARY:no", "Caf\u00e9 \u4e2d\u6587", "a\\b",
         "\"quoted\"", "x" * 90, "RRULE:FREQ=DAILY", "BEGIN:VCALENDAR", "tab\tin it", "one\ntwo"]


def escape(text):
    return text.replace("\\", "\\\\").replace(",", "\\,").replace(";", "\\;").replace("\n", "\\n")


def fold(line, random_):
    """Folds anywhere, in the middle of a character too."""
    data, out = line.encode(), []
    while len(data) > 70:
        cut = random_.randint(20, 70)
        out.append(data[:cut])
        data = data[cut:]
    return b"\r\n ".join([*out, data]) + b"\r\n"


def event(r, number):
    uid = f"made-{number}@example.net" if r.random() < .9 else "long-" + "u" * 80 + str(number)
    start = dt.datetime(2025, 1, 1) + dt.timedelta(days=r.randint(0, 500), minutes=15 * r.randint(0, 95))
    is_day = r.random() < .2
    zone = None if is_day else r.choice([None, *ZONES])

    def time(name, *values):
        form = "%Y%m%d" if is_day else "%Y%m%dT%H%M%S" + "Z" * (not zone)
        quoted = f'"{zone}"' if zone and set(zone) & set(",;:") else zone
        kind = ";VALUE=DATE" if is_day else f";TZID={quoted}" if zone else ""
        return f"{name}{kind}:" + ",".join(value.strftime(form) for value in values)
    lines = [f"UID:{uid}", "DTSTAMP:20250101T000000Z", time("DTSTART", start)]
    if is_day:
        lines.append(time("DTEND", start + dt.timedelta(r.randint(1, 3))))
    else:
        lines.append(r.choice([time("DTEND", start + dt.timedelta(minutes=15 * r.randint(0, 40))),
                               f"DURATION:PT{r.randint(1, 300)}M", "DURATION:P1DT2H"]))
    for name in ("SUMMARY", "DESCRIPTION", "LOCATION", "X-UNKNOWN", "COMMENT"):
        if r.random() < .7:
            lines.append(f"{name}:" + escape(" ".join(r.choices(WORDS, k=r.randint(1, 3)))))
    if r.random() < .3:
        lines += ["BEGIN:VALARM", "ACTION:DISPLAY", "TRIGGER:-PT15M", "DESCRIPTION:soon", "END:VALARM"]
    if r.random() < .3:
        lines.append("ATTENDEE;CN=\"Lee, Ann\";ROLE=REQ-PARTICIPANT:mailto:ann@example.net")
    parts = [lines]
    if r.random() < .7:
        days = [start + dt.timedelta(days=r.randint(1, 40)) for _ in range(4)]
        lines += ["RRULE:" + r.choice(RULES), time("EXDATE", *days[:2]), time("RDATE", days[2])]
        if r.random() < .4:
            parts.append([f"UID:{uid}", "DTSTAMP:20250101T000000Z", time("RECURRENCE-ID", days[3]),
                          time("DTSTART", days[3]), time("DTEND", days[3] + dt.timedelta(days=1)),
                          "SUMMARY:moved"])
    return zone, parts


def made(seed):
    r = random.Random(seed)
    events = [event(r, number) for number in range(40)]
    zones = {zone for zone, _ in events if zone}
    head = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Example//Made//EN\r\n"
    text = (head + "".join(zone_text(zone) for zone in sorted(zones))).encode()
    for _, parts in events:
        for lines in parts:
            for line in ["BEGIN:VEVENT", *lines, "END:VEVENT"]:
                text += fold(line, r)
    return text + b"END:VCALENDAR\r\n"


def value_text(value):
    value = value.to_ical() if hasattr(value, "to_ical") else value
    return value.decode("utf-8", "replace") if isinstance(value, bytes) else str(value)


def properties(data):
    """The properties of each event that has a start and of each zone, components within included. Of
    lines that should stand once, the first."""
    # It decodes before it unfolds, and loses characters that a fold divides.
    data = re.sub(rb"\r?\n[ \t](?=[\x80-\xbf])", b"", data)
    events, zones = [], {}
    for root in icalendar.Calendar.from_ical(data, multiple=True):
        for part in root.walk():
            once = {}
            starts = [value for name, value in part.property_items()
                      if name == "DTSTART" and hasattr(value, "dt")]
            for name, value in part.property_items():
                parameters = getattr(value, "params", {}).items() - {("VALUE", "DATE")}
                if name != "DTSTAMP" and (name != "DTSTART" or name not in once or part.name != "VEVENT"):
                    once.setdefault(name, []).append(f"{name}{sorted(parameters)}:{value_text(value)}")
            lines = sorted(line for name in once for line in once[name])
            if part.name == "VTIMEZONE":
                zones[str(part["TZID"])] = lines
            elif part.name == "VEVENT" and starts and part.get("STATUS") != "CANCELLED":
                events.append((str(part.get("UID")), lines))
    return sorted(events), zones


def round_trip(label, data):
    mailbox = "rt-" + label[:40].replace(".", "-")
    (ROOT / "sales" / "MAILROOT" / mailbox).mkdir(parents=True)
    source, target = WORK / f"{label}-in.ics", WORK / f"{label}-out.ics"
    source.write_bytes(data)
    admin("import", f"sales/{mailbox}", windows_path(source), "--until", "2026-12-31", "--quiet")
    admin("export", f"sales/{mailbox}", windows_path(target), "--ics")
    exported = target.read_bytes() if target.exists() else b""
    for line in exported.split(b"\r\n"):
        if len(line) > 75 or b"\n" in line or b"\r" in line:
            failures.append(f"{label}: not a line of the standard: {line[:90]}")
    exported.decode("utf-8")
    (got, zones), (wanted, all_zones) = properties(exported), properties(data)
    used = {name: all_zones[name] for name in zones if name in all_zones}
    for part in [x for x in [*got, *wanted] if (x in got) != (x in wanted)][:6]:
        failures.append(f"{label}: {'too many' if part in got else 'missing'}: {repr(part):.900}")
    if zones != used or not all(f"TZID={name}" not in text or name in zones
                                for name in all_zones for text in map(str, wanted)):
        failures.append(f"{label}: zones {repr(zones):.900} of {repr(used):.900}")
    return len(wanted)


def main():
    shutil.rmtree(WORK, ignore_errors=True)
    ROOT.mkdir(parents=True)
    set_value(PRODUCT_KEY, "Mail Root", windows_path(ROOT))
    counts = {f"made-{SEED + number}": round_trip(f"made-{SEED + number}", made(SEED + number))
              for number in range(2)}
    for folder in ("tests/data/calendars", "../shared/data/calendars"):
        for path in sorted(pathlib.Path(SOURCE, folder).glob("*.ics")):
            if re.search(b"VERSION:1.0|X-WR-TIMEZONE", path.read_bytes()):
                continue  # which the other reader does not know
            try:
                counts[path.name] = round_trip(path.stem, path.read_bytes())
            except (ValueError, TypeError, KeyError, IndexError) as error:
                print(f"{path.name}: the other reader cannot read it: {error!r}")
    print("\n".join(failures) or f"{len(counts)} files, {sum(counts.values())} events alike")
    return 1 if failures else 0


sys.exit(main())
