#!/usr/bin/env python3
"""Calendar files through import, list and export of tarnwick-admin.exe, looked at by a reader that
was not written here: equal properties, and equal occurrences over two years.

usage: calendar_round_trips.py SOURCE_DIR BINARY_DIR [SEED]
"""
import datetime as dt
import json
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys

SOURCE, BINARY = sys.argv[1:3]
SEED = int(sys.argv[3]) if len(sys.argv) > 3 else 20261122
sys.path.insert(0, f"{SOURCE}/tests/tools")
import foreign_calendar as foreign  # noqa: E402

WORK = pathlib.Path(BINARY) / "tools-tests" / "round-trips"
ROOT = WORK / "postoffices"
ENVIRONMENT = dict(os.environ, TARNWICK_PREFIX=f"{SOURCE}/build/wine-tools", LC_ALL="C.UTF-8")
BEGIN = dt.datetime(2025, 1, 1, tzinfo=foreign.UTC)
END = dt.datetime(2027, 1, 1, tzinfo=foreign.UTC)
failures = []


def wine(*arguments):
    return subprocess.run(["bash", f"{SOURCE}/script/wine", *map(str, arguments)],
                          capture_output=True, env=ENVIRONMENT)


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def admin(*arguments):
    done = wine(f"{BINARY}/bin/tarnwick-admin.exe", *arguments)
    if done.returncode not in (0, 4):  # events without a start are left out
        failures.append(f"{arguments}: {done.returncode}, {done.stderr.decode()}")
    return done


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


DAYS = ["MO", "TU", "WE", "TH", "FR", "SA", "SU"]
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


def rule(r, is_day):
    kind = r.choice(["DAILY", "WEEKLY", "WEEKLY", "MONTHLY", "MONTHLY", "YEARLY"])
    parts = [f"FREQ={kind}"]
    if r.random() < .5:
        parts.append(f"INTERVAL={r.randint(1, 4)}")
    days = lambda most: ",".join(r.sample(DAYS, r.randint(1, most)))
    if kind == "WEEKLY" and r.random() < .8:
        parts.append("BYDAY=" + days(5))
    if kind == "MONTHLY":
        parts += r.choice([[f"BYMONTHDAY={r.choice([1, 5, 15, 29, 31, -1, -3])}"],
                           [f"BYDAY={r.choice([1, 2, 3, 4, 5, -1, -2])}{r.choice(DAYS)}"],
                           ["BYDAY=MO,TU,WE,TH,FR", f"BYSETPOS={r.choice([1, 5, -1])}"], []])
    if kind == "YEARLY":
        parts += r.choice([[f"BYMONTH={r.randint(1, 12)}", f"BYDAY={r.choice([1, 2, -1])}{r.choice(DAYS)}"],
                           [f"BYWEEKNO={r.randint(1, 52)}", "BYDAY=" + days(2)],
                           [f"BYYEARDAY={r.choice([1, 100, 200, -1])}"], []])
    end = r.random()
    if end < .4:
        parts.append(f"COUNT={r.randint(1, 30)}")
    elif end < .8:
        day = f"{r.randint(2025, 2026)}{r.randint(1, 12):02}{r.randint(1, 28):02}"
        parts.append("UNTIL=" + day + ("" if is_day else r.choice(["T235959Z", "T083000Z"])))
    if r.random() < .3:
        parts.append("WKST=" + r.choice(["SU", "MO"]))
    return ";".join(parts)


def event(r, number):
    uid = f"made-{number}@example.net" if r.random() < .9 else "long-" + "u" * 80 + str(number)
    start = dt.datetime(2025, 1, 1) + dt.timedelta(days=r.randint(0, 500), minutes=15 * r.randint(0, 95))
    is_day = r.random() < .2
    zone = None if is_day else r.choice([None, *ZONES])

    def time(name, value, list_=False):
        values = value if list_ else [value]
        if is_day:
            return f"{name};VALUE=DATE:" + ",".join(v.strftime("%Y%m%d") for v in values)
        if zone:
            quoted = f'"{zone}"' if set(zone) & set(",;:") else zone
            return f"{name};TZID={quoted}:" + ",".join(v.strftime("%Y%m%dT%H%M%S") for v in values)
        return f"{name}:" + ",".join(v.strftime("%Y%m%dT%H%M%SZ") for v in values)
    lines = [f"UID:{uid}", f"DTSTAMP:20250101T000000Z", time("DTSTART", start)]
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
        text = rule(r, is_day)
        lines.append("RRULE:" + text)
        clocks = []
        for clock in foreign.rrulestr(text.split(";UNTIL")[0], dtstart=start.replace(
                hour=0, minute=0) if is_day else start):
            clocks.append(clock)
            if len(clocks) == 6:
                break
        if r.random() < .5:
            lines.append(time("EXDATE", clocks[1:3], True) if clocks[1:3] else "COMMENT:none")
        if r.random() < .3:
            lines.append(time("RDATE", [start + dt.timedelta(days=r.randint(1, 40))], True))
        if r.random() < .4 and len(clocks) > 3:
            moved = clocks[3] + dt.timedelta(days=1, hours=0 if is_day else 2)
            parts.append([f"UID:{uid}", "DTSTAMP:20250101T000000Z", time("RECURRENCE-ID", clocks[3]),
                          time("DTSTART", moved), time("DTEND", moved + dt.timedelta(days=1)),
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


def stamp(time):
    return time.strftime("%Y-%m-%dT%H:%M:%SZ")


def compare(label, what, got, wanted):
    if got == wanted:
        return
    missing, extra = ([x for x in a if x not in b] for a, b in ((wanted, got), (got, wanted)))
    failures.append(f"{label}: {what}: {len(missing)} missing, {len(extra)} too many:\n"
                    f"  missing {repr(missing[:3]):.900}\n  extra   {repr(extra[:3]):.900}")


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
    compare(label, "properties", foreign.properties(exported), foreign.properties(data))
    wanted = foreign.occurrences(data, BEGIN, END)
    compare(label, "occurrences", foreign.occurrences(exported, BEGIN, END), wanted)
    listed = admin("list", f"sales/{mailbox}", "--json").stdout.splitlines()
    listing = [json.loads(line) for line in listed[1:]]
    entered = sorted((e["startTime"], e["endTime"]) for e in listing if e["startTime"] >= "2025")
    in_day = lambda start, end: end if end <= start or end.time() != dt.time() else end - dt.timedelta(seconds=1)
    compare(label, "entries", entered,
            sorted((stamp(start), stamp(in_day(start, end))) for _, start, end, _ in wanted))
    return len(wanted)


def main():
    shutil.rmtree(WORK, ignore_errors=True)
    ROOT.mkdir(parents=True)
    wine("reg", "add", r"HKLM\SOFTWARE\Wow6432Node\Tarnwick\Tarnwick", "/v", "Mail Root", "/d",
         windows_path(ROOT), "/f")
    counts = {f"made-{SEED + number}": round_trip(f"made-{SEED + number}", made(SEED + number))
              for number in range(2)}
    folders = [pathlib.Path(SOURCE, "tests/data/calendars"), pathlib.Path(SOURCE, "../shared/data/calendars")]
    for folder in folders:
        for path in sorted(folder.glob("*.ics")) if folder.is_dir() else []:
            if re.search(b"VERSION:1.0|X-WR-TIMEZONE", path.read_bytes()):
                continue  # which the other reader does not know
            try:
                counts[path.name] = round_trip(path.stem, path.read_bytes())
            except (ValueError, TypeError, KeyError, IndexError) as error:
                print(f"{path.name}: the other reader cannot read it: {error!r}")
    print("\n".join(failures) or f"{len(counts)} files, {sum(counts.values())} occurrences alike")
    return 1 if failures else 0


sys.exit(main())
