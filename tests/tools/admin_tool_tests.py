#!/usr/bin/env python3
"""Runs tarnwick-admin.exe as a person would: transcripts of command lines with what must come back.

usage: admin_tool_tests.py SOURCE_DIR BINARY_DIR GROUP

The rows of a group run in their order in a mail store of their own; the Wine prefix, whose
registry names that store, belongs to these tests alone (one group at a time). Every row that writes
runs with --dry-run first, which must say the same and leave all files as they are.
"""
import calendar as grids
import contextlib
import datetime as dt
import email.mime.application
import email.mime.message
import email.mime.multipart
import email.mime.text
import itertools
import json
import os
import pathlib
import pty
import random
import re
import shlex
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time
from email import mime

from tool_runs import (BINARY, ENVIRONMENT, PREFIX, PRODUCT_KEY, PROGRAM, PROVIDERS_KEY, SOURCE,
                       check, delete_values, failures, processes, set_value, windows_path, wine)

GROUP = sys.argv[3]
WORK = pathlib.Path(BINARY) / "tools-tests" / GROUP
ROOT = WORK / "postoffices"
FOLDER = ROOT / "sales" / "MAILROOT" / "anna" / "Calendar"
BEN = ROOT / "sales" / "MAILROOT" / "ben" / "Calendar"
DAY = "1740787200\t1740873599\t"  # 2025-03-01
WRITERS = {"add", "edit", "remove", "import", "put", "delete", "salvage", "rebuild", "compact",
           "purge", "attach", "--set", "--clear", "--add", "--clean", "--uid", "--flags", "--strip"}


def files():
    return {path: path.is_file() and (path.read_bytes(), path.stat().st_mtime_ns)
            for path in WORK.rglob("*")}


def rehearse(row, arguments, stdin):
    before = files()
    done = wine(PROGRAM, *arguments, "--dry-run", stdin=stdin)
    check(row, "files after the dry run", files(), before)
    said = done.stdout.replace(b"dry run: ", b"", 1).replace(b',"dryRun":true', b"", 1)
    check(row, "dry run is marked", len(said) < len(done.stdout), done.stdout != b"")
    return done.returncode, said, done.stderr


def run(arguments, status=0, out="", error="", stdin=b""):
    """One row. `out` is the whole of standard output (None: anything), `error` a part of standard
    error; without a text there, there must be nothing at all."""
    row = "tarnwick-admin " + " ".join(repr(a) if " " in a or not a else a for a in arguments)
    stdin = stdin.encode() if isinstance(stdin, str) else stdin
    is_rehearsed = WRITERS & set(arguments) and status != 2 and GROUP not in (
        "refusals", "with_lock", "descriptions", "examples", "full_disk")
    rehearsed = rehearse(row, arguments, stdin) if is_rehearsed else None
    done = wine(PROGRAM, *arguments, stdin=stdin)
    if rehearsed:
        check(row, "dry run", rehearsed, (done.returncode, done.stdout, done.stderr))
    check(row, "exit status", done.returncode, status)
    got_error = done.stderr.decode("latin-1")
    if not error or error not in got_error:
        check(row, "standard error", got_error, error)
    if out is not None:
        encoding = "utf-8" if "--json" in arguments else "cp1252"
        check(row, "standard output", done.stdout,
              out if isinstance(out, bytes) else out.encode(encoding))
    return done.stdout


def check_file(name, wanted):
    path = FOLDER / name
    check(name, "content", path.read_bytes() if path.exists() else None, wanted)


def check_names(pattern, *wanted):
    check(pattern, "files", sorted(path.name for path in FOLDER.glob(pattern)), sorted(wanted))


def table(*rows):
    width = max(8, *(len(row[0]) for row in rows)) + 2
    lines = [("CALENDAR", "START", "END", "ID"), *rows]
    return "".join(f"{a:<{width}}{b:<22}{c:<22}{d}\n" for a, b, c, d in lines)


def unescaped(text):
    """The bytes of a row's text: escapes stand for letters, "@" for the times of 2025-03-01."""
    for escape, letter in (("\\n", "\n"), ("\\r", "\r"), ("\\t", "\t"), ("@", DAY)):
        text = text.replace(escape, letter)
    return text.encode("cp1252")


def play(rows, **words):
    """Runs a table, a command line a row, an exit status other than 0 in front. Behind it what
    comes back: "|" the output ("|*": any), "||" a row of its table, "|J" the objects behind the
    header of --json, "#" how often texts stand in it, "!" a part of standard error; "<" is standard
    input, "=" a file and its content. `words` are arguments and inputs that stand for others."""
    words = {"anna": "sales/anna", "ben": "sales/ben", **words}
    for row in rows.strip().splitlines():
        command, *rest = re.split(r" (\|[|J*]?|[#!<=])(?= |$)", " " + row.strip())
        said = {kind: [text[1:] for k, text in zip(rest[::2], rest[1::2]) if k == kind]
                for kind in rest[::2]}
        status, *line = [words.get(word, word) if isinstance(words.get(word), str) else word
                         for word in shlex.split(command)]
        if not status.isdigit():
            status, line = "0", [status, *line]
        out = unescaped(said["|"][0] + "\n") if "|" in said else b""
        if "||" in said:
            out = table(*(entry.split(" ", 3) for entry in said["||"])).encode("cp1252")
        if "|J" in said:
            names = [word for word in line if word[:2] != "--"]
            name = " ".join(names[:2 if names[0] in ("item", "hosts", "contacts") else 1])
            objects = said["|J"][0].replace("\\n", "\n") + "\n" if said["|J"][0] else ""
            out = json.dumps({"formatVersion": 1, "command": name},
                             separators=(",", ":")) + "\n" + objects
        stdin = said.get("<", [""])[0]
        got = run(line, int(status), None if {"|*", "#"} & said.keys() else out,
                  said.get("!", [""])[0].replace("\\n", "\n"), words.get(stdin) or unescaped(stdin))
        for number, text in re.findall(r"(\d+)\*(.*?)(?= \d+\*|$)", said.get("#", [""])[0]):
            check(row, text, got.count(unescaped(text)), int(number))
        for file in said.get("=", []):
            name, _, content = file.partition(":")
            check_file(name, unescaped(content).replace(b"\n", b"\r\n") if content else None)


def entries():
    play(r"""
list anna ! no entries
add anna Review --start 2025-03-01T09:30Z --end 1740823200 | added "Review" to Y25M03D01
1 add anna REVIEW --on 2025-03-01 ! already = Y25M03D01.CAL:1740821400\t1740823200\tReview
get anna review || Y25M03D01 2025-03-01T09:30:00Z 2025-03-01T10:00:00Z Review
add anna Fair --start 2025-03-03 --end 2025-03-07 | added "Fair" to Y25M03
add anna Spring --start 2025-03-01 --end 2025-05-31 | added "Spring" to Y25
add anna Winter --start 2005-12-01 --end 2006-02-28 | added "Winter" to Y
add anna Before --start -1 | added "Before" to Y-31M12D31
add anna Own --on 2025-03-01 --calendar 'Own Days' | added "Own" to Own Days
calendars anna # 1*Y\t1 1*Y-31M12D31\t1 1*Y25\t1 1*Y25M03\t1 5*\n ! --calendar reaches: "Own Days"
list anna --month 2025-03 || Y25M03 2025-03-03T00:00:00Z 2025-03-07T00:00:00Z Fair || \
Y25M03D01 2025-03-01T09:30:00Z 2025-03-01T10:00:00Z Review
list anna --year 2024 --json |J ! no entries
1 list anna --calendar None ! no calendar "None"
1 get anna Own ! no entry "Own" in 5 calendars
edit anna review --end 2025-03-01T11:00Z --id 'Review 2' | changed "Review" in Y25M03D01 \
= Y25M03D01.CAL:1740821400\t1740826800\tReview 2
edit anna 'Review 2' --on 2025-03-02 --json |J {"result":"moved","calendar":"Y25M03D02",\
"id":"Review 2","start":1740873600,"end":1740959999,"startTime":"2025-03-02T00:00:00Z",\
"endTime":"2025-03-02T23:59:59Z"} = Y25M03D01.CAL
edit anna Own --calendar 'Own Days' --on 2025-06-01 | changed "Own" in Own Days = Own Days.CAL:\
1748736000\t1748822399\tOwn
1 edit anna Nobody --end 5 ! no entry "Nobody"
2 edit anna Fair --end 5 ! lies before the start
add anna Second --on 2025-03-02 | added "Second" to Y25M03D02
1 edit anna Second --id 'REVIEW 2' ! already
add anna Second --on 2025-03-05 | added "Second" to Y25M03D05
1 remove anna Second ! several calendars have an entry "Second": Y25M03D02 Y25M03D05; choose
1 edit anna Second --day 2025-03-05 --on 2025-03-02 ! already
1 remove anna Second --day 2025-03-05 ! "Second" is the last entry of calendar Y25M03D05, which \
goes with it; --force removes it
remove anna Second --day 2025-03-05 --force | removed "Second" from Y25M03D05 = Y25M03D05.CAL
1 remove anna Second --day 2025-03-05 ! no entry "Second"
remove anna second --json # 1*"result":"removed","calendar":"Y25M03D02","id":"Second"
remove anna --all --year 2024 | removed 0 entries
1 remove anna --all --month 2025-03 ! this would remove 2 entries, and their calendars with them
remove anna --all --month 2025-03 --force | removed 2 entries
remove anna --all --calendar 'Own Days' --force --json |J {"calendar":"Own Days","id":"Own",\
"start":1748736000,"end":1748822399,"startTime":"2025-06-01T00:00:00Z",\
"endTime":"2025-06-01T23:59:59Z"}
""".replace("\\\n", ""))
    check_names("*.CAL", "Y-31M12D31.CAL", "Y.CAL", "Y25.CAL")


def bucket(start, end):
    """The calendar of two times, as documented."""
    start, end = (dt.datetime.fromtimestamp(time, dt.timezone.utc) for time in (start, end))
    if start.year != end.year:
        return "Y"
    if start.month != end.month:
        return f"Y{start.year - 2000}"
    day = f"D{start.day:02}" if start.day == end.day else ""
    return f"Y{start.year - 2000:02}M{start.month:02}{day}"


def random_line(r, number):
    """A line of times in any of their forms, and the entry that it is."""
    times, texts = [], []
    start = r.choice([r.randint(-2**31, 2**31 - 1), r.choice([-2**31, 2**31 - 1, 0, -1])])
    for second in (start,
                   min(start + r.choice([0, 3600, 86400 * r.randint(1, 40), 10**8]), 2**31 - 1)):
        ahead = r.choice([0, 0, r.randint(-14 * 60, 14 * 60)])
        minute = second - second % 60 if second >= -2**31 + 60 else second
        clock = dt.datetime(1970, 1, 1) + dt.timedelta(minutes=ahead, seconds=second)
        sign = "-" if ahead < 0 else "+"
        zone = f"{sign}{abs(ahead) // 60:02}{r.choice(['', ':'])}{abs(ahead) % 60:02}"
        forms = [(second, str(second)), (second, f"+{second}".replace("+-", "-"))]
        forms += [(second, f"{clock:%Y-%m-%d{r.choice('T t')}%H:%M:%S}{zone}")] * 2
        if not ahead:
            forms += [(second, f"{clock:%Y-%m-%dT%H:%M:%S}{r.choice(['', 'Z', 'z'])}")]
            forms += [(minute, f"{clock:%Y-%m-%dT%H:%M}")] if minute != second else []
        time, text = r.choice(forms)
        times.append(time)
        texts.append(text)
    name = "".join(r.choice("ab\u00e9 ;'\"#/:*?\\")
                   for _ in range(r.randint(0, 60 - len(str(number)))))
    return (*times, f"{number}{name}".encode("cp1252")), texts


def transfers():
    r = random.Random(20261122)
    lines = [random_line(r, number) for number in range(300)]
    text = b"".join("\t".join(texts).encode() + b"\t" +
                    entry[2] + r.choice([b"\n", b"\r\n", b"\n\n# x\r\n"])
                    for entry, texts in lines)
    wanted = {}
    for start, end, name in (entry for entry, _ in lines):
        wanted.setdefault(bucket(start, end) + ".CAL",
                          []).append(b"%d\t%d\t%s" % (start, end, name))
    done = wine(PROGRAM, "import", "sales/anna", stdin=text)
    check("import", "output", done.stdout, b"added 300, replaced 0, refused 0\n")
    check("import", "progress lines", done.stderr.count(b"import: "), 10)
    copied = lambda folder: {path.name: path.read_bytes() for path in folder.glob("*.CAL")}
    check("import", "calendars", copied(FOLDER),
          {name: b"\r\n".join(of_it) for name, of_it in wanted.items()})
    exported = run(["export", "sales/anna"], out=None)
    check("export", "lines", sorted(exported.splitlines()),
          sorted(line for of_it in wanted.values() for line in of_it))
    run(["import", "sales/ben", "--quiet"], stdin=exported,
        out="added 300, replaced 0, refused 0\n")
    check("export", "again", run(["export", "sales/ben"], out=None), exported)
    check("calendars of the copy", "bytes", copied(BEN), copied(FOLDER))
    iso = lambda time: (dt.datetime(1970, 1, 1) + dt.timedelta(seconds=int(time))).strftime(
        "%Y-%m-%dT%H:%M:%SZ").encode()
    check("export --iso", "lines", run(["export", "sales/ben", "--iso"], out=None), b"".join(
        b"\t".join([*map(iso, line.split(b"\t")[:2]), line.split(b"\t")[2]]) + b"\n"
        for line in exported.splitlines()))
    play(r"""
import anna - --calendar Own < @one\r\n\r\n# note\r\n@two\r\n | added 2, replaced 0, refused 0 \
= Own.CAL:@one\n@two
4 import anna --calendar Own < 1\t2\tTWO\n@three\n9\t9\tTHREE | added 1, replaced 0, refused 2 \
! line 1: calendar Own has an entry "TWO" already; --replace would change it
import anna --calendar Own --replace --json < 1\t2\tTWO\n5\t6\tfour \
|J {"added":1,"replaced":1,"refused":0}
1 import anna --calendar Own < 1\t2\tTWO | added 0, replaced 0, refused 1 ! line 1: calendar
export anna out --calendar Own | exported 4 entries
1 export anna --calendar None ! no calendar "None"
2 export anna --json ! list --json
2 export anna --ics --iso ! --iso is for lines
1 import anna none ! cannot be read
1 export anna nowhere ! cannot be written
""".replace("\\\n", ""), out=windows_path(WORK / "own.tsv"), none=windows_path(WORK / "none.tsv"),
         nowhere=windows_path(WORK / "none" / "x"))
    kept = (DAY + "one\n1\t2\tTWO\n" + DAY + "three\n5\t6\tfour").encode()
    check("own.tsv", "content", (WORK / "own.tsv").read_bytes(), kept + b"\n")
    for lines, problem in (
            ("7\t8\tfive\n7 8\tsix\n", "line 2: there are fewer than two tabs"),
            ("1\n", "line 1: there are fewer than two tabs"),
            ("\n\nx\t2\tid", 'line 3: "x" is no time'),
            ("1\t2147483648\tid\n", '"2147483648" is no time'), ("1\t\tid\n", '"" is no time'),
            ("1\t2\t\n", "the ID is empty"), ("1\t2\ta\tb\n", "the ID holds a tab"),
            ("1\t2\t" + 64 * "i", "the ID is longer than 63 characters")):
        run(["import", "sales/anna", "--calendar", "Own"], 1, "", problem, stdin=lines)
    check_file("Own.CAL", kept.replace(b"\n", b"\r\n"))


def calendar(*events):
    lines = ["BEGIN:VCALENDAR", *("\n".join(["BEGIN:VEVENT", *e, "END:VEVENT"]) for e in events)]
    return "\n".join([*lines, "END:VCALENDAR", ""]).encode()


def calendar_files():
    facts = pathlib.Path(SOURCE, "examples", "facts-2026.ics")
    events = facts.read_bytes().count(b"BEGIN:VEVENT")
    last = ["--until", "2026-12-31"]
    # One takes place three times, and two are of one UID, which has one item.
    run(["import", "sales/anna", windows_path(facts), "--quiet", *last],
        out=f"{events + 2} added\n",
        error="39 events go on without end beyond 2026-12-31 (--until)")
    check_file("Y26M12D10.CAL", b"1796860800\t1796947199\thuman-rights-day@un-days.example")
    check("items", "count", len(list(FOLDER.glob("*.ICS"))), events - 1)
    # An entry that was moved keeps what its item says; without an item it is an event all the same.
    play(rf"""
export anna --ics # {events}*BEGIN:VEVENT
export anna --ics --month 2026-07 # 3*BEGIN:VEVENT
add anna Review --start 2025-03-01T09:30Z --end 1740823200 |*
add anna Review --on 2025-03-01 --calendar Own |*
edit anna june-solstice-2026@facts.example --start 2025-03-01T08:00Z --end 2025-03-01T09:00Z |*
export anna --ics --calendar Own # 11*\n 1*UID:Review\r\nDTSTART;VALUE=DATE:20250301\r\n\
DTEND;VALUE=DATE:20250302\r\nSUMMARY:Review\r\nEND:VEVENT
export anna --ics --day 2025-03-01 # 2*BEGIN:VEVENT 1*UID:Review\r\nDTSTART:20250301T093000Z\r\n\
DTEND:20250301T100000Z\r\nSUMMARY:Review\r\nEND 1*\nDTSTART:20250301T080000Z\r\n\
DTEND:20250301T090000Z\r\nUID:june-solstice 1*SUMMARY:June solstice
""".replace("\\\n", ""))
    series_in_the_store()
    what_the_mailbox_has()


def series_in_the_store():
    series = calendar(["UID:series", "DTSTART:20261201T080000Z", "DTEND:20261201T090000Z",
                       "SUMMARY:Tea", "RRULE:FREQ=DAILY;COUNT=4", "BEGIN:VALARM", "TRIGGER:-PT5M",
                       "DURATION:PT1M", "END:VALARM"])
    change = calendar(["UID:kept-1", "RECURRENCE-ID:20261202T080000Z", "DTSTART:20261202T110000Z"])
    damaged = calendar(["UID:good", "DTSTART:20260501T080000Z", "PRIORITY:HIGH"], ["UID:bad"],
                       ["UID:fine", "DTSTART:20260502T080000Z"])
    item = BEN / "series.ICS"
    inputs = {"series": series, "kept": series.replace(b"UID:series", b"UID:kept-1"),
              "change": change, "alone": change.replace(b"kept-1", b"kept-2"), "damaged": damaged,
              "moved": series.replace(b"20261201", b"20260601")}

    def with_series(rows):
        play(rows.replace("\\\n", "").replace("ics", "import ben --ics --quiet").replace(
            "--last", "--until 2026-12-31").replace("events", "export ben --ics"), **inputs)
    # A second run finds all of it there; with --replace it is written once more.
    with_series(r"""
ics --last < series | 4 added
events --day 2026-12-02 # 1*BEGIN:VEVENT 1*RRULE:FREQ=DAILY;COUNT=4\r
1 ics --last < series | 0 added, 4 refused ! 3 more entries
ics --replace --last < series | 0 added, 4 replaced
remove ben series --day 2026-12-03 --force |*
""")
    # What a run that was cut off lacks is completed. Edited, its entries stand for themselves.
    item.unlink()
    with_series(r"""
4 ics --last < series | 1 added, 3 refused ! 2 more entries
events # 1*BEGIN:VEVENT
edit ben series --day 2026-12-02 --end 2026-12-02T10:00Z |*
events # 4*BEGIN:VEVENT 4*SUMMARY:Tea 4*DURATION 0*RRULE 1*UID:series\r ! "series" was edited since
ics --replace --until 2026-12-01 < series | 0 added, 1 replaced ! 3 entries of an earlier import
item put ben series.ICS < agenda |*
4 events --day 2026-12-01 # 1*SUMMARY:series\r ! the item series.ICS of the entry
2 import ben --from 2026-01-01 ! are for calendar files
2 import ben --until 2026-01-01 ! are for calendar files
2 import ben --strict ! are for calendar files
2 ics --from 2026-01-02 --until 2026-01-01 ! lies behind
ics --last < kept | 4 added
4 ics --last < change | 0 added, 1 left out ! import all of it with --replace
ics --last < alone | 1 added
1 ics --strict < damaged ! standard input: line 5:
list ben --month 2026-05 ! no entries
4 ics < damaged | 2 added, 1 with notes, 1 left out ! standard input: line 5:
4 ics --replace --json < damaged # 1*"added":0,"replaced":2,"refused":0, 1*"line":5,"uid":"good" \
1*"line":7,"uid":"bad" 1*"leftOut":1,"beyond":0,"endless":0 2*"file":"standard ! line 5
1 ics < BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:1\n ! line 2: BEGIN:VEVENT is never ended
ics < BEGIN:VCALENDAR\nBEGIN:VTODO\nUID:1\nEND:VTODO\nEND:VCALENDAR\n | 0 added \
! a task is passed over
""")
    # An item that cannot be written leaves no entry behind, which no dry run foresees.
    item.unlink()
    item.mkdir()
    done = wine(PROGRAM, "import", "sales/ben", "--ics", "--until", "2026-12-31",
                stdin=inputs["moved"])
    check("no item", "told", (done.returncode, b"line 2: the item was not written" in done.stderr),
          (1, True))
    check("no item", "calendars", list(BEN.glob("Y26M06*")), [])
    item.rmdir()


def what_the_mailbox_has():
    event = lambda uid, day, *more: calendar([f"UID:{uid}", f"DTSTART:202608{day}T080000Z", *more])
    earlier = ("BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\n"
               "BEGIN:VEVENT\r\nDTSTART:20260901T080000Z\r\nDTEND:20260901T090000Z\r\n"
               "UID:earlier\r\nLOCATION:\r\nDESCRIPTION:\r\nSUMMARY:Tea\r\nRRULE:FREQ=DAILY\r\n"
               "LAST-MODIFIED:\r\nEND:VEVENT\r\n"
               "END:VCALENDAR\r\n")
    # One entry of a series moves neither the series nor another component's texts; UIDs that differ
    # in case alone have items of their own, also when they come one by one; a later window makes
    # the item's wider; of a series that an earlier version kept, the entry is the first, and takes
    # all along.
    play(r"""
ics --until 2026-12-31 < yearly | 1 added ! 1 occurrence lies beyond
ics < daily | 1 added
edit ben yearly --start 2026-08-09T08:00Z --end 2026-08-09T09:00Z |*
edit ben daily --start 2026-08-09T08:00Z --end 2026-08-09T09:00Z |*
august # 2*BEGIN:VEVENT 0*RRULE 0*Tea 1*Coffee ! "yearly" was edited since
remove ben --all --month 2026-08 --force |*
ics < small |*
ics < large |*
1 ics < large |* ! already
august # 1*UID:letters\r 1*of letters 1*UID:LETTERS\r 1*of LETTERS
ics --until 2026-08-11 < tea | 2 added ! 7 occurrences
1 ics --strict < tea ! --strict
4 ics --until 2026-08-13 < tea | 2 added, 2 refused ! already
ics --from 2026-08-14 --until 2026-08-14 < tea | 1 added ! 4 occ
item put ben agenda1.ICS < 1. Tea |*
1 ics --strict < agenda1 ! held something else
ics < agenda1 | 1 added ! held something else
august # 1*COUNT=9 1*UID:tea-time
item put ben earlier.ICS < earlier |*
add ben earlier --start 2026-09-01T08:00Z --end 2026-09-01T09:00Z |*
export ben --ics --day 2026-09-01 # 1*DTSTART:20260901T080000Z\r 1*RRULE:FREQ=DAILY
edit ben earlier --start 2026-09-01T08:30Z |*
export ben --ics --day 2026-09-01 # 1*DTSTART:20260901T083000Z\r 1*RRULE:FREQ=DAILY \
! is written as it was
""".replace("ics ", "import ben --ics --quiet ").replace("--import ben --ics --quiet", "--ics")
         .replace("august", "export ben --ics --month 2026-08").replace("\\\n", ""),
         yearly=event("yearly", "01", "RRULE:FREQ=YEARLY;COUNT=2"),
         daily=calendar(["UID:daily", "DTSTART:20260801T080000Z", "SUMMARY:Tea",
                         "RRULE:FREQ=DAILY;COUNT=2", "EXDATE:20260802T080000Z"],
                        ["UID:daily", "RECURRENCE-ID:20260801T080000Z", "DTSTART:20260803T080000Z",
                         "SUMMARY:Coffee"]),
         small=event("letters", "04", "SUMMARY:of letters"), earlier=earlier.encode(),
         large=event("LETTERS", "05", "SUMMARY:of LETTERS"), agenda1=event("agenda1", "20"),
         tea=event("tea-time", "10", "RRULE:FREQ=DAILY;COUNT=9"))


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
    return (f"BEGIN:VTIMEZONE\r\nTZID:{escaped}\r\n" +
            part("DAYLIGHT", on, on_day, winter, summer) +
            part("STANDARD", off, off_day, summer, winter) + "END:VTIMEZONE\r\n")


RULES = ["FREQ=DAILY;INTERVAL=3;COUNT=7", "FREQ=WEEKLY;BYDAY=MO,WE,SU;WKST=SU", "FREQ=WEEKLY",
         "FREQ=MONTHLY;BYMONTHDAY=-3;COUNT=30", "FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1",
         "FREQ=YEARLY;BYMONTH=11;BYDAY=-1TH", "FREQ=YEARLY;BYWEEKNO=20;BYDAY=MO,FR",
         "FREQ=YEARLY;BYYEARDAY=-1"]
WORDS = ["Tea", "Review, final; really", "END:VEVENT", "SUMMARY:no", "Caf\u00e9 \u4e2d\u6587",
         "a\\b",
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
    start = dt.datetime(2025, 1, 1) + dt.timedelta(days=r.randint(0, 150),
                                                   minutes=15 * r.randint(0, 95))
    is_day = r.random() < .2
    zone = None if is_day else r.choice([None, *ZONES])

    def time(name, *values):
        form = "%Y%m%d" if is_day else "%Y%m%dT%H%M%S" + "Z" * (not zone)
        quoted = f'"{zone}"' if zone and set(zone) & set(",;:") else zone
        kind = ";VALUE=DATE" if is_day else f";TZID={quoted}" if zone else ""
        return f"{name}{kind}:" + ",".join(value.strftime(form) for value in values)
    lines = ["BEGIN:VEVENT", f"UID:{uid}", "DTSTAMP:20250101T000000Z", time("DTSTART", start)]
    if is_day:
        lines.append(time("DTEND", start + dt.timedelta(r.randint(1, 3))))
    else:
        lines.append(r.choice([time("DTEND", start + dt.timedelta(minutes=15 * r.randint(0, 40))),
                               f"DURATION:PT{r.randint(1, 300)}M", "DURATION:P1DT2H"]))
    for name in ("SUMMARY", "DESCRIPTION", "LOCATION", "X-UNKNOWN", "COMMENT"):
        if r.random() < .7:
            lines.append(f"{name}:" + escape(" ".join(r.choices(WORDS, k=r.randint(1, 3)))))
    if r.random() < .3:
        lines += ["BEGIN:VALARM", "ACTION:DISPLAY", "TRIGGER:-PT15M", "DESCRIPTION:soon",
                  "END:VALARM"]
    if r.random() < .3:
        lines.append("ATTENDEE;CN=\"Lee, Ann\";ROLE=REQ-PARTICIPANT:mailto:ann@example.net")
    parts = [lines]
    if r.random() < .7:
        days = [start + dt.timedelta(days=r.randint(1, 40)) for _ in range(4)]
        lines += ["RRULE:" + r.choice(RULES), time("EXDATE", *days[:2]), time("RDATE", days[2])]
        if r.random() < .4:
            parts.append(["BEGIN:VEVENT", f"UID:{uid}", "DTSTAMP:20250101T000000Z",
                          time("RECURRENCE-ID", days[3]), time("DTSTART", days[3]),
                          time("DTEND", days[3] + dt.timedelta(days=1)), "SUMMARY:moved"])
    return zone, [[*part, "END:VEVENT"] for part in parts]


def round_trips():
    """Events and the zones that they name come back line by line, however they were folded."""
    for seed in (20261122, 20261123):
        r = random.Random(seed)
        events = [event(r, number) for number in range(40)]
        zones = {zone_text(zone) for zone, _ in events if zone}
        wanted = [lines for _, parts in events for lines in parts]
        text = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Example//Made//EN\r\n"
        text = "".join([text, *sorted(zones)]).encode()
        text += b"".join(fold(line, r) for lines in wanted for line in lines)
        run(["import", "sales/anna", "--ics", "--quiet", "--until", "2025-06-30"], out=None,
            error="beyond", stdin=text + b"END:VCALENDAR\r\n")
        exported = run(["export", "sales/anna", "--ics"], out=None)
        check("export --ics", "long lines",
              [line for line in exported.split(b"\r\n") if len(line) > 75], [])
        unfolded = exported.replace(b"\r\n ", b"").decode()
        for kind, all_of_it in (("VTIMEZONE", zones),
                                ("VEVENT", {"\r\n".join([*e, ""]) for e in wanted})):
            got = {part[0]
                   for part in re.finditer(rf"BEGIN:{kind}\r\n.*?\r\nEND:{kind}\r\n", unfolded,
                                           re.S)}
            check(f"export --ics of {seed}", kind, got ^ all_of_it, set())
        shutil.rmtree(FOLDER)


def items():
    text = b"".join(b"line %03d of the agenda of the review of last year\n" % n for n in range(500))
    for size in (0, 1, 8191, 8192, 8193, 8194, 16384, 16385, 20000, 24576, 24577):
        run(["item", "put", "sales/anna", "review.txt"], stdin=text[:size],
            out=f"written review.txt, {size} byte{'s' * (size != 1)}\n")
        chunks = [text[at:min(at + 8192, size)] for at in range(0, size, 8192)]
        check_file("review.txt", b"\x16".join(chunks))
        run(["item", "get", "sales/anna", "review.txt"], out=text[:size])
    # Without fillers the file is as given, and the reader loses the bytes between its chunks.
    for size, status in ((8192, 0), (8193, 4), (20000, 4)):
        run(["item", "put", "sales/anna", "raw.txt", "--raw"], out=None, stdin=text[:size])
        check_file("raw.txt", text[:size])
        kept = b"".join(text[at:min(at + 8192, size)] for at in range(0, size, 8193))
        run(["item", "get", "sales/anna", "raw.txt"], status, kept,
            "its byte at offset 8192" if status else "")
    (FOLDER / "half.txt").write_bytes(text[:8192] + b"\x16" + text[:8192] + b"x")
    run(["item", "get", "sales/anna", "half.txt"], 4, None, "its byte at offset 16385")
    run(["item", "put", "sales/anna", "binary.txt"], 1, "", "offset 3 is NUL", stdin=b"abc\0def")
    (WORK / "kept.txt").write_bytes(text)
    play(r"""
item put anna again.txt kept | written again.txt, 25000 bytes
item get anna again.txt copy
item size anna raw.txt | 19998
item size anna again.txt --json |J {"result":"found","item":"again.txt","size":25000}
2 item get anna again.txt --json ! leave --json away
item delete anna review.txt | deleted review.txt, 24577 bytes = review.txt = binary.txt
1 item get anna review.txt ! no item review.txt
1 item size anna review.txt ! no item review.txt
1 item delete anna review.txt ! no item review.txt
""", kept=windows_path(WORK / "kept.txt"), copy=windows_path(WORK / "copy.txt"))
    check("copy.txt", "content", (WORK / "copy.txt").read_bytes(), text)


def grid(year, month, busy):
    """The page of a month, from the weeks of Python's calendar."""
    page = (f"{dt.date(year, month, 1):%B %Y}  sales/anna\n\n"
            "week |  Mo   Tu   We   Th   Fr   Sa   Su\n-----+-----------------------------------\n")
    for week in grids.Calendar().monthdatescalendar(year, month):
        cells = "".join((f" [{day.day:2}]" if day.day in busy else f"  {day.day:2} ")
                        if day.month == month else 5 * " " for day in week)
        page += f"  {week[0].isocalendar()[1]:2} |{cells}".rstrip() + "\n"
    return page + f"\n[ ] busy: {len(busy)} of {grids.monthrange(year, month)[1]} days\n"


def strips(months, busy):
    """The page of several mailboxes, and its JSON: `busy` has the days of a month by mailbox."""
    width, objects = max(13, *map(len, busy)) + 2, []
    page = f"{'# busy':<{width}}" + " ".join(6 * ["MTWTFSS"]) + "\n"
    for year, month in months:
        def line(label, cell):
            weeks = grids.Calendar().monthdayscalendar(year, month)
            cells = " ".join("".join(cell(day) if day else " " for day in week) for week in weeks)
            return f"{label:<{width}}{cells}".rstrip() + "\n"
        page += "\n" + line(f"{dt.date(year, month, 1):%B %Y}", lambda day: str(day % 10))
        free = set(range(1, grids.monthrange(year, month)[1] + 1))
        for mailbox, days in busy.items():
            page += line(mailbox, lambda day: "#" if day in days[month] else ".")
            free -= days[month]
            objects.append({"mailbox": mailbox, "month": f"{year}-{month:02}",
                            "busyDays": sorted(days[month])})
        runs = [[day for _, day in of_it] for _, of_it in
                itertools.groupby(enumerate(sorted(free)), lambda pair: pair[1] - pair[0])]
        spans = (f"{days[0]}-{days[-1]}" if len(days) > 1 else str(days[0]) for days in runs)
        page += f"{'free for all:':<{width}}" + (", ".join(spans) or "no day") + "\n"
        objects.append({"month": f"{year}-{month:02}", "freeForAll": sorted(free)})
    header = {"formatVersion": 1, "command": "freebusy"}
    return page, "".join(json.dumps(o, separators=(",", ":")) + "\n" for o in [header, *objects])


def several_mailboxes():
    r = random.Random(2)
    long = ROOT / "sales" / "MAILROOT" / "long-name" / "Calendar"
    long.mkdir(parents=True)
    chances = [r.choice([0, .05, .3, .7, 1]) for _ in range(12)]
    busy = {f"sales/{folder.parent.name}": {month: {
        day for day in range(1, grids.monthrange(2023, month)[1] + 1) if r.random() < chance}
        for month, chance in enumerate(chances, 1)} for folder in (FOLDER, BEN, long)}
    for folder in (FOLDER, BEN, long):
        folder.mkdir(exist_ok=True)
        for month, days in busy[f"sales/{folder.parent.name}"].items():
            for day in days:
                (folder / f"Y23M{month:02}D{day:02}.CAL").write_bytes(b"0\t0\tx")
    page, objects = strips([(2023, month) for month in range(1, 13)], busy)
    run(["freebusy", "sales/*", "--year", "2023"], out=page)
    run(["freebusy", "sales/*", "--year", "2023", "--json"], out=objects)
    one = {name: days for name, days in busy.items() if "long" not in name}
    page, objects = strips([(2023, 2)], one)
    run(["freebusy", "sales/anna", "sales/BEN", "sales/Anna", "2023-02"],
        out=page.replace("sales/ben", "sales/BEN"))
    # What cannot be read is told and left out: no folder, and one that cannot be listed.
    shutil.rmtree(long)
    long.write_bytes(b"")
    run(["freebusy", "sales/*", "2023-02", "--json"], 4, objects,
        "sales/long-name is left out: the folder")
    play("""
1 freebusy sales/x sales/y 2023-02 ! sales/x is left out: the mailbox folder
1 freebusy shop/* 2023-02 ! no mailbox has a folder
""")
    shutil.rmtree(long.parent)
    for folder in (FOLDER, BEN):
        shutil.rmtree(folder)
    FOLDER.mkdir()


def overviews():
    several_mailboxes()
    r = random.Random(1)
    for year, month in [(2020, 12), (2021, 1), (2024, 12), (2025, 1),
                        *((r.randint(1902, 2037), r.randint(1, 12)) for _ in range(6))]:
        busy = r.sample(range(1, grids.monthrange(year, month)[1] + 1), 7)
        for day in [*(f"{day:02}" for day in busy), "00", "32", "3", "1x", "-1", "015", "",
                    "03-more"]:
            (FOLDER / f"Y{year - 2000}M{month:02}D{day}.CAL").write_bytes(b"0\t0\tx")
        run(["freebusy", "sales/anna", f"{year}-{month:02}"], out=grid(year, month, busy))
        shutil.rmtree(FOLDER)
        FOLDER.mkdir()
    play(r"""
import anna < @one\n@two\n2025-03-14\t2025-03-14\tthree\n2025-03-03\t2025-03-05\tseveral days |*
freebusy anna 2025-03 --json |J {"month":"2025-03","busyDays":[1,14]}
calendars anna --month 2025-03 | Y25M03\t1\nY25M03D01\t2\nY25M03D14\t1
calendars anna --day 2025-03-14 --json |J {"calendar":"Y25M03D14","entries":1}
""")
    listed = run(["list", "sales/anna", "--month", "2025-03"], out=None).decode()
    run(["freebusy", "sales/anna", "2025-03", "--entries"], out=grid(2025, 3, (1, 14)) + "\n" +
        listed)
    # The first and the last month have one bucket with their years.
    for month, second in (("2038-01", 2**31 - 1), ("1901-12", -2**31)):
        run(["add", "sales/anna", "x", "--start", str(second)], out=None)
        for period in (["--year", month[:4]], ["--month", month]):
            run(["calendars", "sales/anna", *period], out=bucket(second, second) + "\t1\n")


def store_card(names, nickname="", email=""):
    return (f"BEGIN:VCARD\r\nVERSION:2.1\r\nN:{names}\r\nNICKNAME:{nickname}\r\n"
            f"EMAIL;PREF;INTERNET:{email}\r\nEND:VCARD\r\n").encode("cp1252")


def contacts():
    book, store = WORK / "book.vcf", WORK / "store.vcf"
    anna = "BEGIN:VCARD\nVERSION:3.0\nN:Smith;Anna\nEMAIL:anna@example.net\nEND:VCARD\n"
    ben = ("BEGIN:VCARD\nVERSION:4.0\nFN:B\u00fcro\\n\u4e2d\nTEL:1\nthis line\nNOTE:a\\nb\n"
           "END:VCARD\n")
    old = "BEGIN:VCARD\nVERSION:2.1\nN;QUOTED-PRINTABLE:=3B;C=\n=3D\nNICKNAME:n\xfc\nEND:VCARD\n"
    wide = f"BEGIN:VCARD\nN:{41 * 'w'}\nNICKNAME:n\nEND:VCARD\n"
    book.write_bytes((anna + ben).encode() + (old + wide).encode("cp1252"))
    cards = store_card("Smith;Anna;;;", email="anna@example.net") + store_card(";;;;") + store_card(
        "\\;;C=;;;", "n\xfc") + store_card(41 * "w" + ";;;;", "n")
    stray = f"{windows_path(book)}: line 10: the line is not a property: this line"
    left = (f"{windows_path(book)}: line 6: B\xfcro ?: left out: FN, NOTE, TEL\n"
            f"tarnwick-admin: {stray}")
    blanks = lambda count: count * " "
    run(["contacts", "show", windows_path(book)], error=stray, out=(
        f"NAME{blanks(38)}E-MAIL            NICKNAME\n"
        f"Anna Smith{blanks(32)}anna@example.net\nB\u00fcro ?\n"
        f"C= ;{blanks(56)}n\u00fc\n{41 * 'w'}{blanks(20)}n\n").encode("cp1252"))
    run(["contacts", "show", windows_path(book), "--json"], error=stray, out=(
        '{"formatVersion":1,"command":"contacts show"}\n'
        '{"surname":"Smith","givenName":"Anna","email":"anna@example.net"}\n'
        '{"displayName":"B\u00fcro\\r\\n\u4e2d","note":"a\\r\\nb"}\n'
        '{"surname":";","givenName":"C=","nickname":"n\u00fc"}\n'
        f'{{"surname":"{41 * "w"}","nickname":"n"}}\n'))
    # What the store writes comes back as it is, without a note; also from UTF-16. A file that
    # cannot be read as a whole replaces nothing.
    play(r"""
contacts convert book out | converted 4 contacts ! LEFT
contacts convert book - # 4*BEGIN:VCARD ! LEFT
contacts convert - out --json < cards |J {"converted":4}
contacts convert < wide16 # 1*BEGIN:VCARD 1*;;;;\r
contacts convert - out < one | converted 1 contact
1 contacts convert - out < N:a\n ! standard input: line 1: BEGIN:VCARD expected
1 contacts show ! standard input: line 1: BEGIN:VCARD expected
1 contacts show < ended ! standard input: line 6: BEGIN:VCARD is never
1 contacts show < nul ! line 6: not a text
""".replace("LEFT", left.replace("\n", "\\n")), book=windows_path(book),
         out=windows_path(store), cards=cards, wide16=wide.encode("utf-16"), one=anna.encode(),
         ended=(anna + "BEGIN:VCARD\nN:a\n" + anna).encode(), nul=(anna + "\0").encode())
    check("store.vcf", "content", store.read_bytes(), cards[:cards.index(b"BEGIN", 1)])
    check("convert", "cards", run(["contacts", "convert"], out=None, stdin=cards), cards)


def usage():
    for command, part in (
            ("", "--help"), ("sing", '"sing" is not known here; see tarnwick-admin --help'),
            ("list", "mailbox is required"), ("list anna more", "more"),
            ("list anna --day '1 March'", "is no day"), ("list anna --day 2025-02-29", "is no day"),
            ("list anna --day 2038-01-20", "is no day"), ("list anna --year 25", "is no year"),
            ("list anna --year 2039", "is no year"), ("list anna --month 1901-11", "is no month"),
            ("list anna --month 2025-13", "is no month"), ("freebusy anna March", "is no month"),
            ("freebusy 2025-03", "no mailbox is named"), ("freebusy anna", "one month is needed"),
            ("freebusy anna 2025-03 --year 2025", "one month"),
            ("freebusy anna 2025-03 2025-04", "one month"),
            ("freebusy anna --year 2025 --entries", "--entries is for"),
            ("freebusy ../* 2025-03", '"..'),
            ("--host x freebusy sales/* 2025-03", "leave --host away"),
            ("list anna --day 2025-03-01 --year 2025", "at most 1"),
            ("add anna x", "needs --start"),
            ("add anna x --start 5 --end 4", "lies before the start"),
            ("add anna x --on 2025-03-01 --start 5", "excludes"),
            ("edit anna x", "nothing to change"),
            ("add anna \u65e5 --start 5", "code page lacks"),
            ("edit anna x --id 'a\tb'", "holds a tab"),
            ("remove anna", "either the ID"), ("remove anna x --all", "either"),
            ("remove anna --all", "--all needs"), ("get anna ''", "is empty"),
            ("item", "item --help"),
            ("--root '' list anna", "--root: is empty"),
            ("--root . --host x list anna", "excludes"),
            ("contacts", "contacts --help"), ("contacts show a b", "b"),
            ("contacts sing", '"sing"'),
            ("contacts convert a b c", "c"), ("contacts convert --json", "leave --json away")):
        play(f"2 {command} ! {part}")
    long = lambda size: size * "m"
    for name in ("anna", "/anna", "sales/", "a/b/c", "../anna", "sales/..", "sales/a..b",
                 "sales\\x/anna",
                 "C:/anna", "sales/an*na", "sales/anna ", "sales/anna.", "sales/a\tb", "nul/anna",
                 "sales/" + long(256)):
        run(["list", name], 2, "", " name " if "/" in name else "is not a mailbox")
    for name in ("x.cal", "x.Tmp", "x.bak", "x.OLD", "x.blk", "_change.dty", "a\\b", "x:stream",
                 "con", "NUL.txt", "lpt1.doc", "x?.txt", "", long(64)):
        run(["item", "put", "sales/anna", name], 2, "", "the item name")
    for time in ("noon", "2147483648", "2038-01-19T03:14:08Z", "1901-12-13T20:45:51Z", "2025-02-29",
                 "2025-13-01", "2025-01-32", "2025-01-01T24:00", "2025-01-01T10:60", "2025-1-1",
                 "+-1", "2025-01-01T10:00:00X", "2025-01-01T10:00:00+2", "20250101T000000", "10 "):
        run(["add", "sales/anna", "x", "--start", "5", "--end=" + time], 2, "", "is no time")
    check_names("*")
    run(["--version"], out="1.0.0\n")
    check("--help", "statuses",
          b"5 busy, another program holds the lock" in run(["--help"], out=None), True)


def helps(path=()):
    """Each command's path and help."""
    text = run([*path, "--help"], out=None).decode()
    yield list(path), text
    for name in re.findall(r"^  ([a-z-]+) ",
                           text.partition("\nSubcommands:\n")[2].partition("\n\n")[0], re.M):
        yield from helps((*path, name))


def left_open(script):
    """The brackets and quotes of a PowerShell script that nothing closes, or that close nothing."""
    script = re.sub(r"#.*|'[^'\n]*'|\"[^\"\n]*\"", "", script)
    script = re.sub(r"[^][(){}'\"]", "", script)
    while (inner := re.sub(r"\(\)|\[\]|\{\}", "", script)) != script:
        script = inner
    return script


def descriptions():
    """Manual and completions have every command and option that --help shows."""
    texts = list(helps())
    described = {kind: run([*kind.split()], out=None).decode()
                 for kind in ("manual", "completion bash", "completion powershell")}
    bash = WORK / "completion.bash"
    bash.write_text(described["completion bash"])
    asks = "".join(f"COMP_WORDS=(x {' '.join(path)} {word}); COMP_CWORD={len(path) + 1}; "
                   "_tarnwick_admin; echo ${COMPREPLY[@]}\n" for path, _ in texts
                   for word in ("''", "--"))
    told = subprocess.run(["bash", "-c", f". {bash}\n{asks}"], capture_output=True,
                          check=True).stdout.decode()
    answers = dict(zip([" ".join(path) for path, _ in texts], zip(*[iter(told.split("\n"))] * 2)))
    manual = described["manual"].replace("\\-", "-")
    check("completion powershell", "left open", left_open(described["completion powershell"]), "")
    of_all = set()
    for path, text in texts:
        name = " ".join(path)
        options = set(re.findall(r"--[a-z-]+", "\n".join(re.findall(r"^ +-.*", text, re.M))))
        of_all = of_all or options - {"--help", "--version"}
        check(name, "options of all commands", {o for o in of_all if o not in text}, set())
        check(name, "completed options", options - set(answers[name][1].split()), set())
        below = {" ".join(p[len(path):]) for p, _ in texts if len(p) == len(path) + 1
                 and p[:-1] == path}
        check(name, "completed commands", set(answers[name][0].split()), below)
        check(name, "manual", f".SS {name}" in manual or not path, True)
        check(name, "manual's options", {o for o in options if o not in manual}, set())
        entry, = re.findall(f"^ +'{name}' = (.*)", described["completion powershell"], re.M)
        check(name, "PowerShell", (options | below) - set(entry.replace("'", "").split(", ")),
              set())


def frame():
    """What all commands have in common: another mail root, and text for consoles of UTF-8."""
    play("add anna B\u00fcro --start 5 |*")
    copy = WORK / "copy"
    shutil.copytree(ROOT, copy)
    set_value(PRODUCT_KEY, "Mail Root", windows_path(WORK / "nowhere"))
    play(r"""
--root copy add anna More --start 6 | added "More" to Y-30M01D01
1 list anna ! nowhere
1 --root nowhere list anna ! there is no folder
""", copy=windows_path(copy) + "\\", nowhere=windows_path(copy / "x"))
    check_file("Y-30M01D01.CAL", b"5\t5\tB\xfcro")
    lent = wine("reg", "query", r"HKCU\SOFTWARE").stdout
    check("--root", "registry", (b"Wine" in lent, b"Lent" in lent), (True, False))
    script = "@chcp 65001 >nul\r\n" + "".join(
        f"@{windows_path(PROGRAM)} --root {windows_path(copy)} {command} sales/anna {rest}\r\n"
        for command, rest in (("list", "--calendar Y-30M01D01 >>out"), ("export", ">>out"),
                              ("list", "--json >>out"), ("import", "--dry-run lines 2>>out")))
    (WORK / "lines").write_bytes(b"7\t8\tB\xfcro\n")
    for name in ("out", "lines"):
        script = script.replace(name, windows_path(WORK / name))
    (WORK / "console.bat").write_text(script)
    console, screen = pty.openpty()
    subprocess.run(["bash", f"{SOURCE}/script/wine", "cmd", "/c",
                    windows_path(WORK / "console.bat")],
                   stdin=screen, stdout=screen, stderr=screen, env=ENVIRONMENT, check=False)
    os.close(screen)
    os.close(console)
    said = (WORK / "out").read_bytes()
    for text, count in ((b"B\xc3\xbcro\n", 1), (b"B\xfcro\n", 1), (b'"B\xc3\xbcro"', 2)):
        check("console", text, said.count(text), count)


def refusals():
    FOLDER.mkdir()
    blocked, held = FOLDER / "Y25M03D01.BLK", FOLDER / "Y25M03D01.CAL"
    timeouts = ("Write Wait Timeout", "UnBlock Timeout", "Read Wait Timeout", "Apply Timeout")
    for name in timeouts:
        set_value(PROVIDERS_KEY, name, "0", "REG_DWORD")
    for age, text in ((-600, "0 s"), (20, ""), (90, "1 min "), (5400, "1 h 30 min"),
                      (171000, "47 h 30 min"), (172860, "2 days"), (200, "3 min ")):
        blocked.write_bytes(b"")
        os.utime(blocked, (blocked.stat().st_mtime - age,) * 2)
        play("5 remove anna x --day 2025-03-01 --dry-run "
             f"! is blocked: {windows_path(blocked)} has been there for {text}")
    # A writer waits, here as short as it can, and gives up.
    play(r"""
1 list sales/carl ! sales\MAILROOT\carl does not exist. Create it
1 list shop/anna ! shop\MAILROOT\anna does not exist. Create it
5 add anna x --on 2025-03-01 ! delete the file and try again
5 import anna --quiet < @x ! 0 entries were imported before it
4 import anna --quiet < 2025-03-02\t2025-03-02\ty\n@x ! try again. 1 entry was imported before it
""")
    check("the block file", "is there", blocked.exists(), True)
    held.write_bytes((DAY + "x").encode())
    # A reader waits and takes the block file away.
    play("list anna --day 2025-03-01 "
         "|| Y25M03D01 2025-03-01T00:00:00Z 2025-03-01T23:59:59Z x ! ; waiting")
    check("the block file", "is there", blocked.exists(), False)
    # A calendar that cannot be deleted keeps its old content, whatever the library says of it. What
    # was done before it stays done, and is told.
    held.chmod(0o444)
    play("""
6 add anna z --on 2025-03-01 ! can be written
6 edit anna x --id z ! can be written
6 remove anna x --force ! can be written = Y25M03D01.CAL:@x
4 edit anna x --on 2025-02-28 ! is in Y25M02D28 now, and still in Y25M03D01
4 remove anna --all --year 2025 --force ! The calendars up to Y25M02D28 are removed
""")
    held.chmod(0o644)
    # Nothing can be written where the calendar's replacement or an item should go.
    (FOLDER / "Y25M03D01.TMP").mkdir()
    (FOLDER / "folder.txt").mkdir()
    play("""
1 add anna z --on 2025-03-01 ! can be written
1 item put anna folder.txt < x ! not written as it should be
""")
    # The settings: the data directory stands in for the mail root; without both there is no store.
    delete_values(PROVIDERS_KEY, *timeouts)
    delete_values(PRODUCT_KEY, "Mail Root")
    play(r"1 list anna ! the mail root is not set. Set it with\n  reg add")
    set_value(PRODUCT_KEY, "Data Directory", windows_path(WORK))
    play("list anna --day 2025-03-02 || Y25M03D02 2025-03-02T00:00:00Z 2025-03-02T00:00:00Z y")
    delete_values(PRODUCT_KEY, "Data Directory")


def full_disk():
    """Nothing that was there is lost where nothing more fits, and the tool says so at once."""
    disk = WORK / "disk"
    folder = disk / "sales" / "MAILROOT" / "anna" / "Calendar"
    disk.mkdir()
    if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", disk],
                      capture_output=True).returncode:
        print("skipped: a small disk needs the right to mount one")
        sys.exit(77)
    try:
        folder.mkdir(parents=True)
        day = b"\r\n".join(b"1740787200\t1740873599\tEntry %d" % number for number in range(900))
        torn = {"Y25M03D01.CAL": day, "Y25M03D02.CAL": b"1740873600\t1740959999\tx\r\n17408",
                "_index.xml": index_file(), "_index.xml.bak": b"<BASEELEMENT",
                "../Inbox/_index.xml.bak": index_file()}
        (folder.parent / "Inbox").mkdir()
        set_value(PRODUCT_KEY, "Backup Index", 1, "REG_DWORD")
        for name, content in torn.items():
            (folder / name).write_bytes(content)
        with contextlib.suppress(OSError), open(disk / "filler", "wb", buffering=0) as filler:
            while filler.write(bytes(512)):
                pass
        play(r"""
1 --root disk add anna New --on 2025-03-01 ! . Its disk is all but full: 0 bytes are free
1 --root disk edit anna 'Entry 7' --day 2025-03-01 --end 2025-03-01T10:00Z ! all but full
1 --root disk item put anna a.txt < text ! not written as it should be
1 --root disk import anna < 2025-03-02\t2025-03-02\tNew\n |* ! 0 entries were imported before it
3 --root disk recover # 2*left: no copy of it could be kept ! 3 problems left
--root disk snapshot anna archive |*
--root disk restore archive anna # 1*0 files restored, 0 replaced
1 --root disk restore archive ben ! has room for
""", disk=windows_path(disk), archive=windows_path(WORK / "full.zip"))
        # Nor where nothing may be written: no lock is waited for that cannot be made.
        subprocess.run(["mount", "-o", "remount,ro", disk], check=True)
        began = time.monotonic()
        play(r"""
6 --root disk add anna New --on 2025-03-01 ! this account cannot make files in
6 --root disk with-lock anna Y25M03D01 -- cmd ! this account cannot make files in
6 --root disk snapshot anna read-only.zip ! this account cannot make files in
6 --root disk notify markers anna --add x ! _1.NEW cannot be written: this account cannot
6 --root disk notify flag sales/anna/Calendar --set ! no flag was written in
3 --root disk recover # 3*left: this account cannot make files ! 3 problems left
--root disk list anna --day 2025-03-01 # 901*\n
""", disk=windows_path(disk))
        check("read-only disk", "waited", time.monotonic() - began > 60, False)
        for name, content in torn.items():
            check("full disk", name, (folder / name).read_bytes(), content)
        check("full disk", "indexes", sorted(path.name for path in disk.rglob("_index*")),
              ["_index.xml", "_index.xml.bak", "_index.xml.bak"])
    finally:
        delete_values(PRODUCT_KEY, "Backup Index")
        subprocess.run(["umount", disk], check=True)


def until(condition):
    """Waits for what another process is to bring about."""
    for _ in range(300):
        if condition():
            return True
        time.sleep(.1)
    return False


def with_lock():
    held = FOLDER / "Y25M03D01.BLK"
    for name in ("Write Wait Timeout", "Read Wait Timeout", "UnBlock Timeout"):
        set_value(PROVIDERS_KEY, name, "0", "REG_DWORD")
    play(r"""
with-lock anna Y25M03D01 --dry-run -- cmd /c 'exit 7' | dry run: held Y25M03D01 and ran cmd
2 with-lock anna Y25M03D01 cmd ! write --
2 with-lock anna Y25M03D01 -- ! write --
2 with-lock anna Y25M03D01 --json -- cmd ! leave --json away
2 --host x with-lock anna Y25M03D01 -- cmd ! leave --host away
2 with-lock anna a:b -- cmd ! the calendar name
""")
    check_names("*")
    play(r"""
7 with-lock anna Y25M03D01 -- cmd /c 'dir /b FOLDER\*.BLK& exit 7' | Y25M03D01.BLK\r
with-lock anna Y25M03D01 -- PROGRAM add anna '-- [x] "y\"' --on 2025-03-02 \
| added "-- [x] "y\"" to Y25M03D02
1 with-lock anna Y25M03D01 -- no-such-program ! (the program was not run)
""".replace("FOLDER", windows_path(FOLDER)).replace("\\\n", "")
         .replace("PROGRAM", windows_path(PROGRAM).replace("\\", "\\\\")))
    held.write_bytes(b"")
    play("5 with-lock anna Y25M03D01 -- cmd ! (the program was not run)")
    held.unlink()

    def start(*arguments):
        return subprocess.Popen(["bash", f"{SOURCE}/script/wine", PROGRAM, *arguments],
                                env=ENVIRONMENT,
                                stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE)
    # A program that reads its input to the end; Ctrl-C of the tool leaves it to the program. No
    # reader takes the block file away.
    command = ["with-lock", "sales/anna", "Y25M03D01", "--", windows_path(PROGRAM), "contacts",
               "show", "-"]
    for fatal in (signal.SIGINT, signal.SIGKILL):
        tool = start(*command)
        check("with-lock", "holds",
              until(lambda: held.exists() and len(processes("contacts")) == 2), True)
        reader = start("list", "sales/anna", "--day", "2025-03-01")
        play("5 add anna z --on 2025-03-01 ! delete the file")
        time.sleep(2)
        number, = processes("with-lock")
        os.kill(number, fatal)
        if fatal == signal.SIGINT:
            time.sleep(1)
            check("with-lock", "holds for a reader and after Ctrl-C",
                  (held.exists(), reader.poll()), (True, None))
            card = tool.communicate(b"BEGIN:VCARD\nN:Smith\nEND:VCARD\n")[0]
            check("with-lock", "program", (tool.returncode, b"Smith" in card), (0, True))
        check("with-lock", "ends", until(lambda: not held.exists() and not processes("contacts")),
              True)
        reader.communicate(timeout=60)
        check("list", "exit status", reader.returncode, 0)
    delete_values(PROVIDERS_KEY, "Write Wait Timeout", "Read Wait Timeout", "UnBlock Timeout")


def served(*answers):
    """The port of a service that gives each answer to one request and closes the connection."""
    listener = socket.create_server(("127.0.0.1", 0))

    def serve():
        connection = listener.accept()[0]
        for answer in answers:
            connection.recv(4096)
            connection.sendall(answer)
        connection.recv(4096)
        connection.close()

    threading.Thread(target=serve, daemon=True).start()
    return listener.getsockname()[1]


def host_tests():
    """hosts test names the step that fails."""
    success = b"<DATA><STATUS>SUCCESS</STATUS></DATA>"
    with socket.create_server(("127.0.0.1", 0)) as listener:
        unused = listener.getsockname()[1]
    said = ""
    for step, address, port in (
            ("address", "no.such.invalid", 1), ("connect", "127.0.0.1", unused),
            ("AUTH", "127.0.0.1", served(b"<DATA></DATA>")),
            ("LOAD", "127.0.0.1", served(success, b"no")),
            ("PING", "127.0.0.1", served(success, success))):
        play(f"hosts add odd --address {address} --port {port} --credentials-file key |*",
             key=windows_path(WORK / "key.txt"))
        run(["hosts", "test", "odd"], 7, f"{said}{step}\tfailed\n", f"tarnwick-admin: {step}: ")
        said += f"{step}\tok\n"
    play(r"""
hosts add odd --address x --json |J {"result":"replaced","host":"odd"}
hosts remove odd | removed host odd
""")


def hosts():
    (WORK / "key.txt").write_text("ann:secret\nnever sent\n", encoding="ascii")
    (WORK / "wrong.txt").write_text("ann:wrong\n", encoding="ascii")
    content = WORK / "content.txt"
    content.write_text("agenda\n" * 3000, encoding="ascii")
    FOLDER.mkdir()  # which the server would make to read
    for name in ("north", "odd", "shut"):  # a run that was cut short may have left them
        wine(PROGRAM, "hosts", "remove", name)
    play(r"""
hosts list
1 hosts test north ! no host "north"
2 hosts add 'a\b' --address x ! no host name
1 hosts add odd --address x --credentials-file - < \nsecret\n ! is empty; credentials go there
1 --host south list anna ! no host "south"
""")
    service = subprocess.Popen(
        ["bash", f"{SOURCE}/script/wine", f"{BINARY}/bin/tarnwick-service.exe", "--port", "0",
         "--credentials-file", windows_path(WORK / "key.txt")],
        stdout=subprocess.PIPE, env=ENVIRONMENT)
    try:
        port = int(service.stdout.readline().decode().rsplit(":", 1)[1])
        host_tests()
        # A call that no service takes is refused: its finding nothing would look like no entries.
        # What the commands change on a host lies in the service's store.
        play(r"""
hosts add north --address 127.0.0.1 --port PORT --credentials-file key | added host north
hosts add shut --address 127.0.0.1 --port PORT --credentials-file wrong | added host shut
7 --host shut list anna --day 2025-03-01 ! nothing was called on host shut: AUTH:
hosts remove shut --json |J {"result":"removed","host":"shut"}
hosts list --json |J {"host":"north","address":"127.0.0.1","port":PORT,"credentials":true}
hosts list | north\t127.0.0.1:PORT
hosts test north --json |J {"host":"north","failed":null}
--host north add anna Review --on 2025-03-01 | added "Review" to Y25M03D01 = Y25M03D01.CAL:@Review
1 --host north add anna review --on 2025-03-01 ! already
--host north list anna --day 2025-03-01 || Y25M03D01 2025-03-01T00:00:00Z 2025-03-01T23:59:59Z \
Review
--host north remove anna Review --day 2025-03-01 --force |* = Y25M03D01.CAL
2 --host north list anna ! leave --host away
--host north item put anna a.txt content | written a.txt, 21000 bytes
--host north item get anna a.txt copy
1 --host north item put anna a.txt content ! no server replaces one
2 --host north item delete anna a.txt ! leave --host away
""".replace("PORT", str(port)).replace("\\\n", ""), content=windows_path(content),
             copy=windows_path(WORK / "copy.txt"),
             key=windows_path(WORK / "key.txt"), wrong=windows_path(WORK / "wrong.txt"))
        check("item get", "content", (WORK / "copy.txt").read_bytes(), content.read_bytes())
    finally:
        service.send_signal(signal.SIGINT)
        check("the service", "exit status", service.wait(60), 0)
    play(r"""
7 --host north add anna x --on 2025-03-01 ! hosts test north
hosts remove north | removed host north
""")


def transcript(text, **words):
    """Runs rows whose answers have lines and backslashes: "$STATUS" and a command line, then "|" a
    line of the output and "!" a part of standard error."""
    words = {"anna": "sales/anna", **words}
    for row in text.strip("\n").split("\n$"):
        command, *lines = row.lstrip("$").split("\n")
        status, _, command = command.partition(" ")
        said = {kind: [line[2:] for line in lines if line[0] == kind] for kind in "|!"}
        run([words.get(word, word) for word in shlex.split(command)], int(status or 0),
            "".join(line + "\n" for line in said["|"]), "".join(said["!"]))


def run_json(arguments, error=""):
    return [json.loads(line)
            for line in run([*arguments, "--json"], 0, None, error).splitlines()[1:]]


def leave(path):
    """A lock that somebody left behind long ago."""
    path.touch()
    os.utime(path, (0, 0))


def index_file(*entries, last=9):
    text = "".join(f'<ELEMENT ID="{name}" UID="{uid}"><READ>1</READ><RECEIVED>1775727000</RECEIVED>'
                   f"<SUBJECT>{subject}</SUBJECT></ELEMENT>" for name, uid, subject in entries)
    return f'<BASEELEMENT LASTUID="x{last:08x}">{text}</BASEELEMENT>\r\n'.encode("latin-1")


def folders():
    """Indexes, activity, flags and markers, by name and, in a copied folder, by path."""
    anna = ROOT / "sales" / "MAILROOT" / "anna"
    inbox = anna / "In Büro"
    inbox.mkdir()
    index = inbox / "_index.xml"
    index.write_bytes(index_file(("1.MAI", 1, "Gr&#xfc;n"), ("-----", "-", "x"),
                                 ("3.MAI", 3, "R&amp;D")))
    for name in "135":
        (inbox / f"{name}.MAI").write_bytes(b"From: me@x\nSubject: new %b\n\nhi\n" % name.encode())
    words = {"inbox": "sales/anna/In Büro", "copy": windows_path(inbox),
             "file": windows_path(index), "message": "sales/anna/In Büro/1.MAI",
             "wire": windows_path(WORK / "wire")}
    (WORK / "wire").write_bytes(b"<DATA><PARAMETER0 SIZE=4>AQAAAAEB</PARAMETER0>\0\x1b[1m")
    transcript("""
$1 index list anna
! index rebuild makes one
$2 index list inbox --type books
! --type
$2 index list sales/../anna
! holds ".."
$2 --root C:/ index list copy
! leave --root away
$1 index show inbox 2.MAI
! no entry of the index
$ index show copy 3
| ID\t3.MAI
| UID\t3
| extent\t247 + 109 bytes
| file\tthere
| READ\t1
| RECEIVED\t2026-04-09T09:30:00Z
| SUBJECT\tR&D
$ index compact inbox
| compacted: 2 entries, 1 blanked one dropped, 372 bytes before, 269 now
$ index salvage inbox
| the index is sound; nothing is to be salvaged
$ dump file --json
| {"formatVersion":1,"command":"dump"}
| {"offset":0,"length":33,"meaning":"header, LASTUID 9"}
| {"offset":33,"length":111,"meaning":"entry 1.MAI, UID 1"}
| {"offset":144,"length":109,"meaning":"entry 3.MAI, UID 3"}
| {"offset":253,"length":16,"meaning":"trailer"}
$ dump message
| 00000000  46 72 6f 6d 3a 20 6d 65 40 78 0a                 From: me@x.       11: field: "From: me@x"
| 0000000b  53 75 62 6a 65 63 74 3a 20 6e 65 77 20 31 0a     Subject: new 1.   15: field: "Subject: new 1"
| 0000001a  0a                                               .                 1: empty line: the header ends
| 0000001b  68 69 0a                                         hi.               3: body: text/plain
$ dump wire --json
| {"formatVersion":1,"command":"dump"}
| {"offset":0,"length":6,"meaning":"DATA"}
| {"offset":6,"length":19,"meaning":"parameter 0, SIZE=4"}
| {"offset":25,"length":8,"meaning":"value of parameter 0, 3 codes for 4 bytes"}
| {"offset":0,"length":4,"meaning":"parameter 0, the result: number 1","decoded":true}
| {"offset":33,"length":13,"meaning":"end of parameter 0"}
| {"offset":46,"length":5,"meaning":"behind the NUL that ends the text"}
$ dump wire --as lzw
| 00000000  3c 44                                            <D                2: damaged: code 17468: no entry of that number is there yet
| 00000002  41 54 41 3e 3c 50 41 52 41 4d 45 54 45 52 30 20  ATA><PARAMETER0   49: behind the fault: not expanded
| 00000012  53 49 5a 45 3d 34 3e 41 51 41 41 41 41 45 42 3c  SIZE=4>AQAAAAEB<
$2 dump wire --as book
! --as: book not in {calendar,index,activity,envelope,lzw,message}
""", **words)
    check("index", "compacted", index.read_bytes(),
          index_file(("1.MAI", 1, "Gr&#xfc;n"), ("3.MAI", 3, "R&amp;D")))
    torn = index_file(("1.MAI", 1, "a"), ("2.MAI", 2, "b"), ("4.MAI", 4, "c"))
    torn = torn.replace(b'UID="2"', b'UID="2" X')
    index.write_bytes(torn)
    transcript("""
$3 index compact inbox
! index salvage keeps the 2 entries that are whole
$4 index salvage inbox
| salvaged 2 entries, LASTUID 9; the damaged file is kept as copy\\_index.xml.damaged
| lost: 105 bytes at offset 136, entry 2.MAI, UID 2: the library cannot read it
! 1 piece is lost
$ index rebuild inbox
| rebuilt: 3 entries, 2 added, 1 changed, 1 dropped
| changed 1.MAI, UID 1, FROM, SIZE, SUBJECT
| dropped 4.MAI, UID 4
| added 3.MAI, UID 10
| added 5.MAI, UID 11
""".replace("copy", windows_path(inbox)), **words)
    check("index", "kept aside", (inbox / "_index.xml.damaged").read_bytes(), torn)
    leave(inbox / "_index.blk")
    transcript("""
$5 index compact inbox
! the folder is busy
""", **words)
    (inbox / "_index.blk").unlink()
    index.chmod(0o444)
    transcript("""
$6 index compact inbox
! is read-only
""", **words)
    index.chmod(0o644)
    activity(anna)
    transcript("""
$ notify flag anna
! no folder is flagged
$ notify flag inbox --set
| flagged inbox
$ notify flag inbox --clear
| cleared inbox
$1 notify flag inbox --clear
! is not flagged
$2 notify markers inbox
! postoffice/mailbox
$ notify markers anna --add "From: ben"
| added marker 1
$ notify markers anna --add two
| added marker 2
$ notify markers anna --json
| {"formatVersion":1,"command":"notify markers"}
| {"number":1,"bytes":9,"counts":false,"text":"From: ben"}
| {"number":2,"bytes":3,"counts":true,"text":"two"}
$ notify markers anna --clean
| deleted 1 marker; the number is 2
""".replace("flagged inbox", "flagged sales/anna/In Büro")
               .replace("cleared inbox", "cleared sales/anna/In Büro"), **words)


def activity(anna):
    tab = anna / "_activity.tab"
    line = "MAIL\t{}\tanna\t10.0.0.{}\t143\t{}\tInbox\t2\t{}"
    lines = [line.format("IMAP-4", 5, 100, "A"), line.format("imap", 6, 200, "B"),
             line.format("POP", 7, 100, "A"), "short"]
    tab.write_bytes("\r\n".join(lines).encode())
    listed = run_json(["activity", "list", "sales/anna"], error="1 line is no entry")
    check("activity list", "stale", [bool(entry["stale"]) for entry in listed],
          [True, False, False])
    leave(anna / "_activity.blk")
    run(["activity", "purge", "sales/anna"], 5, "", "the activity file is locked")
    (anna / "_activity.blk").unlink()
    purged = run_json(["activity", "purge", "sales/anna"])
    check("activity purge", "purged", [entry["address"] for entry in purged], ["10.0.0.5"])
    check("activity purge", "left", tab.read_bytes(), "\r\n".join(lines[1:3]).encode())
    run(["activity", "purge", "sales/anna", "--server", "mail"], out=None)
    check("activity purge", "file", tab.exists(), False)


def nested(depth, chance):
    """A random message of parts within parts, made by Python's own library."""
    if depth == 0 or chance.random() < 0.4:
        body = chance.randbytes(chance.randrange(200))
        if len(body) % 2:
            # Quoted-printable, in lines that go on.
            return mime.text.MIMEText("ä = b" * len(body), _charset="latin-1")
        return mime.application.MIMEApplication(body, name=f"Ä {len(body)}.bin")
    if chance.random() < 0.3:
        return mime.message.MIMEMessage(nested(depth - 1, chance))
    part = mime.multipart.MIMEMultipart(chance.choice(["mixed", "alternative"]))
    for _ in range(chance.randrange(1, 4)):
        part.attach(nested(depth - 1, chance))
    return part


def messages():
    """The outline against Python's own library; edits read back."""
    inbox = ROOT / "sales" / "MAILROOT" / "anna" / "Inbox"
    inbox.mkdir()
    file = inbox / "1.MAI"
    mixed = mime.multipart.MIMEMultipart("mixed")
    chance = random.Random(5)
    for _ in range(4):
        mixed.attach(nested(4, chance))
    mixed["Subject"] = "Agenda"
    file.write_bytes(mixed.as_bytes().replace(b'mixed; boundary', b'mixed;\n boundary', 1))
    message = "sales/anna/Inbox/1.MAI"
    wanted = [(part.get_content_type(), part.get_filename(),
               None if part.is_multipart() else len(part.get_payload(decode=True)))
              for part in mixed.walk()]

    def outline():
        parts = run_json(["message", "show", message])
        whole = ("multipart/", "message/")
        return [(part["type"], part["name"],
                 None if part["type"].startswith(whole) else part["decodedLength"])
                for part in parts]

    check("message show", "parts", outline(), wanted)
    content = WORK / "plan ä.pdf"
    content.write_bytes(bytes(range(256)))
    delete_values(PRODUCT_KEY, "UID Branding Enabled")
    transcript("""
$ message attach one content --type application/pdf
| attached plan ä.pdf, 256 bytes
$1 message flags one --uid 17
! UID Branding Enabled
$2 message headers one --set Subject
! sets no header field
$2 message headers one --set "a b=c"
! sets no header field
$ message headers one --set Subject=New --set "X-UID=3.4"
| set Subject, X-UID of 1.MAI
""", one=message, content=windows_path(content))
    check("message attach", "parts", outline(), [*wanted, ("application/pdf", "plan ä.pdf", 256)])
    set_value(PRODUCT_KEY, "UID Branding Enabled", "1", "REG_DWORD")
    (inbox / "2.MAI").write_bytes(b"Subject: plain\r\n\r\nhi\r\n")
    transcript("""
$ message flags one --uid 17 --flags Seen
| edited 1.MAI
$ message flags one
| uid\t17
| flags\tSeen
$ message flags one --strip
| edited 1.MAI
$ message flags one --json
| {"formatVersion":1,"command":"message flags"}
| {"uid":null,"flags":null}
$1 message attach plain content
! --force attaches all the same
$ message headers plain
| OFFSET  INDEX    FIELD    VALUE
| 0       SUBJECT  Subject  plain
$1 message show sales/anna/Inbox/3.MAI
! 3.MAI" is a place, a path has backslashes
""", one=message, content=windows_path(content), plain="sales/anna/Inbox/2.MAI")
    leave(inbox / "_2.MAI")
    run(["message", "headers", "sales/anna/Inbox/2.MAI", "--set", "A=b"], 5, "", "is being edited")
    delete_values(PRODUCT_KEY, "UID Branding Enabled")
def product_reads():
    """The registry values that the product's sources name where they read, each with its default
    when the line has one; and the files that read by a name from elsewhere."""
    reader = r"(?:ReadRegistryString|ReadRegistryDword|RegistryDwordOr|\bSetting)\("
    named = rf'(?:{reader}|TimeoutSetting k\w+\{{|\bk\w+Value =)[^;"]*?"([^"]+)"(?:,\s*(\w+))?'
    values, others = {}, set()
    for room in ("common", "remote", "provider", "Library"):
        for file in [*pathlib.Path(SOURCE, room).rglob("*.cpp"),
                     *pathlib.Path(SOURCE, room).rglob("*.h")]:
            text = file.read_text(encoding="utf-8")
            for name, default in re.findall(named, text):
                default = (re.findall(rf"\b{default} = (\d+);", text)
                           if default else []) or [default]
                values[name] = default[0].replace("INFINITE", str(2**32 - 1))
            if re.search(rf'RegQueryValue|RegGetValue|{reader}[^;"]*;', text):
                others.add(file.relative_to(SOURCE).as_posix())
    return values, others


def listed_settings():
    objects = [json.loads(line)
               for line in run(["doctor", "--settings", "--json"], out=None).splitlines()]
    listed = [(o["key"], o["setting"], o["type"], o["default"], o["unit"], o["read"], o["means"])
              for o in objects[1:]]
    documented, key = [], ""
    for line in pathlib.Path(SOURCE, "docs",
                             "settings.md").read_text(encoding="utf-8").splitlines():
        key = line.strip("`") if line.startswith("`HK") else key
        if line.startswith("| `"):
            name, *rest = (cell.strip() for cell in line.strip("|").split("|"))
            documented.append((key, name.strip("`"), *rest))
    check("docs/settings.md", "rows", documented, listed)
    values, others = product_reads()
    check("settings", "names", sorted(values), sorted(row[1] for row in listed))
    for _, name, _, default, *_ in listed:
        if values.get(name, "").isdigit():
            check(name, "default", default, values[name])
    # By names that stand in their tables, which are looked through above.
    check("settings", "reads by other names", others, {
        "common/Registry.cpp", "common/Registry.h", "provider/CalendarLock.cpp",
        "remote/AdminHost.cpp", "Library/LIBStoreIndexSerialisation/IndexSettings.cpp"})


def settle(values):
    """Has the product's keys hold these lines of a registry file and nothing else."""
    keys = {"P": PRODUCT_KEY, "W": PRODUCT_KEY + r"\Providers", "S": PRODUCT_KEY +
            r"\Providers\Store",
            "T": PROVIDERS_KEY, "A": PRODUCT_KEY.replace("HKLM", "HKCU") + r"\Administration"}
    text = "Windows Registry Editor Version 5.00\r\n"
    for key in (r"HKLM\SOFTWARE\Wow6432Node\Tarnwick", r"HKLM\SOFTWARE\Tarnwick",
                r"HKCU\SOFTWARE\Wow6432Node\Tarnwick"):
        wine("reg", "delete", key, "/f")
    for row in values.strip().splitlines():
        key, name, value = re.match(r'(\w) "(.*?)"=(.*)', row.strip()).groups()
        path = keys[key].replace("HKLM", "HKEY_LOCAL_MACHINE").replace("HKCU", "HKEY_CURRENT_USER")
        text += f'[{path}]\r\n"{name}"={value}\r\n'
    (WORK / "settings.reg").write_bytes(b"\xff\xfe" + text.encode("utf-16-le"))
    wine("reg", "import", windows_path(WORK / "settings.reg"))


def doctored(values, problems="", risks="", *options):
    """What the doctor says of a machine with these settings, as objects."""
    settle(values)
    before, count = files(), len(problems.split())
    said = run(["doctor", "--json", *options], 3 if count else 0, None,
               f"{count} problem" if count else "")
    objects = [json.loads(line) for line in said.splitlines()]
    for kind, wanted in (("problem", problems), ("risk", risks)):
        check(values, kind, sorted(o[kind] for o in objects if kind in o), sorted(wanted.split()))
    check("doctor", "files", files(), before)
    return objects


def doctor():
    listed_settings()
    usual = "program-folder-unset backup-off dom-chosen"
    home = WORK / "B\u00fcro Post"
    (home / "sales" / "MAILROOT").mkdir(parents=True)
    (WORK / "app64").mkdir()
    quoted = lambda path: '"' + windows_path(path).replace("\\", "\\\\") + '"'
    fine = f"""
P "Mail Root"={quoted(home)}
P "Application Directory"={quoted(WORK / "app")}
P "Backup Index"=dword:1
P "Use XML Stream Index Serialisation"=dword:1
P "Use XML Stream Index Deserialisation"=dword:1"""
    doctored("", "mail-root-unset", usual)
    objects = doctored(fine)
    for what, part in (("value",
                        {"setting": "Mail Root", "value": windows_path(home), "from": "registry"}),
                       ("default", {"setting": "Apply Timeout", "value": "20", "from": "default"}),
                       ("wait", {"wait": "writer-lingers", "seconds": 81}),
                       ("folder", {"folder": "mail root", "writable": True, "exists": True}),
                       ("library", {"version": "1.0.0", "toolVersion": "1.0.0"})):
        check("doctor", what, any(part.items() <= o.items() for o in objects), True)
    text = run(["doctor"], out=None)
    for line in ("  Mail Root +registry +" + re.escape(windows_path(home)),
                 "  101 +a waiter for the act",
                 "  mail root +is there, writable", "  library, of version +1.0.0 +Z:",
                 "  clock of the library.* 20..-"):
        check("doctor", line, len(re.findall(line.encode("cp1252"), text)), 1)
    # Each of these has a command that mends it: run as printed, it leaves nothing to be found.
    objects = doctored(fine.replace("=dword:1", "=dword:2", 1) + r"""
T "Read Wait Timeout"="90"
T "Write Wait Timeout"=hex(b):46,00,00,00,00,00,00,00
T "UnBlock Timeout"=dword:ffffffff
W "Apply Timeout"=dword:5
W "Index Unblock Mode"=hex:01,00
P "Data Directory"=hex(2):25,00,53,00,79,00,73,00,74,00,65,00,6d,00,44,00,72,00,69,00,76,00,65,00,25,00,00,00
""", "switch-odd timeout-negative value-misplaced value-not-expanded" + 3 * " value-wrong-type",
                       "backup-off")
    batch = "".join("@" + o["mend"] + "\r\n" for o in objects if "problem" in o)
    (WORK / "mend.bat").write_bytes(batch.encode("cp1252"))
    wine("cmd", "/c", windows_path(WORK / "mend.bat"))
    mended = [json.loads(line) for line in run(["doctor", "--json"], out=None).splitlines()]
    for name, value in (("Read Wait Timeout", "90"), ("Write Wait Timeout", "70"),
                        ("Apply Timeout", "5"),
                        ("UnBlock Timeout", "86400"), ("Backup Index", "1"),
                        ("Data Directory", "C:")):
        check("mended", name, [o["value"] for o in mended if o.get("setting") == name], [value])
    # One setting each beside those that are fine.
    for values, problems, risks in (
            (r'P "Mail Root"="mail"', "mail-root-missing mail-root-relative", ""),
            (r'P "Mail Root"=""', "mail-root-unset", ""),
            (r'P "Mail Root"="\\\\nowhere.invalid\\mail"', "mail-root-missing",
             "mail-root-on-share"),
            (r'P "Mail Root"="Z:\\proc"', "mail-root-not-writable", "no-postoffice"),
            ('P "Mail Root"="Z:\\\\\u4e2d"', "mail-root-missing value-characters", ""),
            ('P "Mail Root"=dword:41', "mail-root-missing mail-root-relative value-wrong-type", ""),
            ('P "Data Directory"="' + 1024 * "x" + '"', "value-too-long", ""),
            ('P "Application Directory"="C:\\\\none"', "program-folder-missing", ""),
            ('P "Use XML Stream Index Deserialisation"=dword:0\nS "XML Version"="6.0"',
             "dom-version", "backup-idle dom-chosen"),
            ('T "Read Wait Timeout"=dword:29', "", "reader-outruns-writer"),
            ('W "Store Notification Wait Timeout"=dword:ffffffff', "", "wait-endless"),
            ('W "Index Unblock Mode"=dword:1\nP "Calendar ReIndex Mode"=dword:1', "",
             "index-unblocked calendars-rescanned"),
            ('A "ForceDefaultHost"=dword:1', "default-host-missing", "")):
        doctored(fine + "\n" + values, problems, risks)
    doctored("", "", usual, "--root", windows_path(ROOT))
    play("2 --host north doctor ! leave --host away")
    doctor_of_hosts()
    doctor_of_libraries()


def doctor_of_hosts():
    success = b"<DATA><STATUS>SUCCESS</STATUS></DATA>"
    with socket.create_server(("127.0.0.1", 0)) as listener:
        for name, port in (("Default", served(success, success, success)),
                           ("mute", listener.getsockname()[1]), ("shut", 1)):
            run(["hosts", "add", name, "--address", "127.0.0.1", "--port", str(port)], out=None)
        wine("reg", "add", PRODUCT_KEY.replace("HKLM", "HKCU") + r"\Administration", "/v",
             "ForceDefaultHost", "/t", "REG_DWORD", "/d", "1", "/f")
        said = run(["doctor", "--json", "--root", windows_path(ROOT)], 3, None, "2 problems")
    objects = [json.loads(line) for line in said.splitlines()]
    check("hosts", "steps", [o["failed"] for o in objects if "failed" in o],
          [None, "AUTH", "connect"])
    check("hosts", "codes", [o["problem"] for o in objects if "problem" in o],
          2 * ["host-unreachable"])
    check("hosts", "forced", "default-host-forced" in said.decode(), True)
    check("hosts", "credentials", said.count(b'"(not shown)"'), 3)


def doctor_of_libraries():
    """Tools beside another library, or none."""
    settle("")
    library = pathlib.Path(BINARY, "bin", "TWAICP.DLL").read_bytes()
    newer = library.replace(b"\xbd\x04\xef\xfe\0\0\1\0\0\0\1\0",
                            b"\xbd\x04\xef\xfe\0\0\1\0\2\0\1\0")
    for content, code in ((None, "library-unusable"), (b"no library", "library-unusable"),
                          (newer, "library-version")):
        folder = WORK / f"tool {len(content or '')}"
        folder.mkdir()
        shutil.copy(PROGRAM, folder)
        if content:
            (folder / "TWAICP.DLL").write_bytes(content)
        done = wine(folder / "tarnwick-admin.exe", "doctor", "--json", "--root", windows_path(ROOT))
        found = [json.loads(line) for line in done.stdout.splitlines() if b'"problem"' in line]
        place = windows_path(folder / "TWAICP.DLL") if content else "TWAICP.DLL"
        check("library", "problems", (done.returncode, [(o["problem"], o["file"]) for o in found]),
              (3, [(code, place)]))


# What the examples of the helps name: files below D:, whose folder Mail is the mail root. Texts are
# written with CR LF.
REVIEWS = "1740821400\t1740823200\tReview\n1740830400\t1740832200\tLunch"
ANNA, BEN_TOO = "Mail/sales/MAILROOT/anna/", "Mail/sales/MAILROOT/ben/"
CARD = "BEGIN:VCARD\nVERSION:3.0\nN:Smith;Anna\nEND:VCARD\n"
MESSAGE = ('Subject: Agenda\nContent-Type: multipart/mixed;\n boundary="x"\n\n--x\n\nhello\n'
           "--x--\n")
EXAMPLE_FILES = {
    ANNA + "Calendar/Y25M03D01.CAL": REVIEWS, ANNA + "Calendar/review.txt": "the agenda",
    ANNA + "Calendar/Y26M04D09.CAL": "1775727000\t1775728800\tReview of April",
    ANNA + "Calendar/Holidays.CAL": "1746057600\t1746143999\tHoliday", BEN_TOO + "x.txt": "",
    ANNA + "Inbox/_index.xml": index_file(("0A1B2C3D.MAI", 17, "Agenda"), last=17),
    ANNA + "Inbox/0A1B2C3D.MAI": MESSAGE, ANNA + "Contacts/1.CTC": CARD,
    ANNA + "_activity.tab": "OLDSERVER\tIMAP\tanna\t10.0.0.5\t143\t100\tInbox\t2\tA",
    "Mail/sales/PUBROOT/News/_activity.tab": "MAIL\tIMAP\tanna\t10.0.0.5\t143\t100\tNews\t2\tA",
    "year.tsv": "2025-06-01\t2025-06-02\tFair of the year\n", "book.vcf": CARD, "mail.mai": MESSAGE,
    "holidays.ics": "BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:1\nDTSTART;VALUE=DATE:20250501\n"
                    "RRULE:FREQ=YEARLY\nEND:VEVENT\nEND:VCALENDAR\n",
    ANNA + "Inbox/1.MAI": MESSAGE,
    "request.txt": "<DATA><PARAMETER0 SIZE=4>AQAAAAEB</PARAMETER0></DATA>\0",
    "agenda.txt": "the agenda", "key.txt": "ann:secret\n", "plan.pdf": "%PDF",
    "copies/copy-calendars.cmd":
        "@copy Mail\\sales\\MAILROOT\\anna\\Calendar\\*.CAL D:\\copies >nul",
    "Copy/sales/MAILROOT/anna/Calendar/Y25M03D01.CAL": REVIEWS,
    "C:/Copy of Inbox/_index.xml": index_file(("0A1B2C3D.MAI", 17, "Agenda"), last=17),
}
# What was typed before examples in which these words stand.
TYPED_BEFORE = {"restore anna.zip": "snapshot sales/anna anna.zip",
                "anna.zip --force": "snapshot sales/anna anna.zip"}
# Others for the commands whose names begin so, written long ago; None: no such file.
EXAMPLE_FILES_OF = {
    "add": {ANNA + "Calendar/Y25M03D01.CAL": None, ANNA + "Calendar/Holidays.CAL": None},
    "locks break": {ANNA + "Calendar/Y25M03D01.BLK": ""},
}
# What stands for a word of an example: no test opens windows.
EXAMPLE_WORDS = {"notepad.exe": "hostname.exe"}


def lay_out(drives, files_of_it, is_old=False):
    for name, content in files_of_it.items():
        drive, _, rest = name.rpartition(":/")
        path = drives[drive or "D"] / rest
        path.parent.mkdir(parents=True, exist_ok=True)
        if content is None:
            path.unlink()
            continue
        path.write_bytes(content if isinstance(content, bytes)
                         else content.replace("\n", "\r\n").encode("cp1252"))
        if is_old:
            os.utime(path, (0, 0))


def run_example(drives, path, example, port):
    """One example, typed at D: in a store and a list of hosts of its own."""
    name = " ".join(path)
    for folder in (drives["D"], drives["C"] / "Copy of Inbox"):
        shutil.rmtree(folder, ignore_errors=True)
    lay_out(drives, EXAMPLE_FILES)
    for start, more in EXAMPLE_FILES_OF.items():
        if name.startswith(start):
            lay_out(drives, more, is_old=True)
    has_hosts = name.startswith("hosts") or "--host" in example
    if has_hosts:
        wine(PROGRAM, "hosts", "add", "north", "--address", "127.0.0.1", "--port", port,
             "--credentials-file", "D:\\key.txt")
    before = next((line for words, line in TYPED_BEFORE.items() if words in example), "--version")
    typed = example.replace("%", "%%")
    for word, other in EXAMPLE_WORDS.items():
        typed = typed.replace(word, other)
    batch = (f"@cd /d D:\\\n@set PATH={windows_path(BINARY)}\\bin;%PATH%\n"
             f"@tarnwick-admin {before} >nul\n@{typed}\n"
             "@exit %errorlevel%\n")
    lay_out(drives, {"example.cmd": batch})
    done = wine("cmd", "/c", "D:\\example.cmd")
    refusal = done.stderr if done.returncode else b""
    check(example, "status and refusal", (done.returncode, refusal), (0, b""))
    for host in ("north", "Default") * has_hosts:
        wine(PROGRAM, "hosts", "remove", host)


def examples():
    """Every example of every command's help does what it says."""
    drives = {"C": PREFIX / "drive_c", "D": WORK / "d"}
    letter = PREFIX / "dosdevices" / "d:"
    letter.unlink(missing_ok=True)
    letter.symlink_to(drives["D"])
    (WORK / "key.txt").write_text("ann:secret\n", encoding="ascii")
    set_value(PRODUCT_KEY, "Mail Root", "D:\\Mail")
    set_value(PRODUCT_KEY, "UID Branding Enabled", "1", "REG_DWORD")
    service = subprocess.Popen(
        ["bash", f"{SOURCE}/script/wine", f"{BINARY}/bin/tarnwick-service.exe", "--port", "0",
         "--credentials-file", windows_path(WORK / "key.txt")],
        stdout=subprocess.PIPE, env=ENVIRONMENT)
    try:
        port = service.stdout.readline().decode().rsplit(":", 1)[1].strip()
        for path, text in helps():
            said = re.findall("^  (tarnwick-admin .*)", text.partition("\nExamples:\n")[2], re.M)
            check(" ".join(path), "has examples", bool(said), bool(path))
            for example in said:
                run_example(drives, path, example, port)
    finally:
        service.send_signal(signal.SIGINT)
        service.wait(60)
        shutil.rmtree(drives["C"] / "Copy of Inbox", ignore_errors=True)
        letter.unlink()
        delete_values(PRODUCT_KEY, "UID Branding Enabled")


def main():
    shutil.rmtree(WORK, ignore_errors=True)
    for mailbox in ("anna", "ben"):
        (ROOT / "sales" / "MAILROOT" / mailbox).mkdir(parents=True)
    set_value(PRODUCT_KEY, "Mail Root", windows_path(ROOT))
    globals()[GROUP]()
    return 1 if failures else 0


sys.exit(main())
