#!/usr/bin/env python3
"""Runs tarnwick-admin.exe as a person would: tables of command lines with what must come back.

usage: admin_tool_tests.py SOURCE_DIR BINARY_DIR GROUP

The rows of a group run in their order in a mail store of their own; the Wine prefix, whose registry
names that store, belongs to these tests alone (one group at a time).
"""
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import threading

SOURCE, BINARY, GROUP = sys.argv[1:4]
PREFIX = pathlib.Path(SOURCE) / "build" / "wine-tools"
WORK = pathlib.Path(BINARY) / "tools-tests" / GROUP
ROOT = WORK / "postoffices"
FOLDER = ROOT / "sales" / "MAILROOT" / "anna" / "Calendar"
PRODUCT_KEY = r"HKLM\SOFTWARE\Wow6432Node\Tarnwick\Tarnwick"
PROVIDERS_KEY = r"HKLM\SOFTWARE\Tarnwick\Tarnwick\Providers"
# Wine reads arguments in the character set of the locale.
ENVIRONMENT = dict(os.environ, TARNWICK_PREFIX=str(PREFIX), LC_ALL="C.UTF-8")
DAY = "1740787200\t1740873599\t"  # 2025-03-01
failures = []


def wine(*arguments, stdin=b""):
    command = ["bash", f"{SOURCE}/script/wine", *map(str, arguments)]
    return subprocess.run(command, input=stdin, capture_output=True, env=ENVIRONMENT)


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def set_value(key, name, value, kind="REG_SZ"):
    wine("reg", "add", key, "/v", name, "/t", kind, "/d", value, "/f")


def delete_values(key, *names):
    for name in names:
        wine("reg", "delete", key, "/v", name, "/f")


def check(row, what, got, wanted):
    if got != wanted:
        failures.append(row)
        print(f"FAILED {row}: {what}\n  wanted {repr(wanted):.600}\n  got    {repr(got):.600}")


def run(arguments, status=0, out=None, error="", stdin=b""):
    """One row. `out` is the whole of standard output, `error` a part of standard error; without a
    text there, there must be nothing at all."""
    row = "tarnwick-admin " + " ".join(repr(a) if " " in a or not a else a for a in arguments)
    done = wine(f"{BINARY}/bin/tarnwick-admin.exe", *arguments, stdin=stdin)
    check(row, "exit status", done.returncode, status)
    got_error = done.stderr.decode("latin-1")
    if not error or error not in got_error:
        check(row, "standard error", got_error, error)
    if out is not None:
        check(row, "standard output", done.stdout, out if isinstance(out, bytes) else out.encode())
    return done.stdout


def run_json(arguments, status=0, error="", stdin=b""):
    """One row with --json: the objects behind the header, which names the command."""
    text = run([*arguments, "--json"], status, None, error, stdin).decode()
    header, *objects = map(json.loads, text.splitlines())
    words = [word for word in arguments if not word.startswith("-")]
    check(" ".join(arguments), "header", (header["formatVersion"], words[:len(header["command"].split())]),
          (1, header["command"].split()))
    return objects


def check_file(name, wanted):
    path = FOLDER / name
    check(name, "content", path.read_bytes() if path.exists() else None, wanted)


def check_names(pattern, wanted):
    check(pattern, "files", sorted(path.name for path in FOLDER.glob(pattern)), wanted)


def table(*rows):
    width = max(8, *(len(row[0]) for row in rows)) + 2
    lines = [("CALENDAR", "START", "END", "ID"), *rows]
    return "".join(f"{a:<{width}}{b:<22}{c:<22}{d}\n" for a, b, c, d in lines)


def entries():
    review = ("Y25M03D01", "2025-03-01T09:30:00Z", "2025-03-01T10:00:00Z", "Review")
    run(["list", "sales/anna"], error="no entries", out="")
    run(["add", "sales/anna", "Review", "--start", "2025-03-01T09:30Z", "--end", "1740823200"],
        out='added "Review" to Y25M03D01\n')
    check_file("Y25M03D01.CAL", b"1740821400\t1740823200\tReview")
    run(["add", "sales/anna", "REVIEW", "--on", "2025-03-01"], 1, "", "already")
    check_file("Y25M03D01.CAL", b"1740821400\t1740823200\tReview")
    run(["get", "sales/anna", "review"], out=table(review))
    # The buckets of several days, months and years, and a calendar of a name of its own.
    for name, start, end, bucket in (("Fair", "2025-03-03", "2025-03-07", "Y25M03"),
                                     ("Spring", "2025-03-01", "2025-05-31", "Y25"),
                                     ("Winter", "2005-12-01", "2006-02-28", "Y"),
                                     ("Old", "2005-03-01", "2005-04-01", "Y5"),
                                     ("Before", "-1", "-1", "Y-31M12D31")):
        run(["add", "sales/anna", name, "--start", start, "--end", end],
            out=f'added "{name}" to {bucket}\n')
    run(["add", "sales/anna", "Own", "--on", "2025-03-01", "--calendar", "Own Days"],
        out='added "Own" to Own Days\n')
    listed = run_json(["list", "sales/anna"])
    check("list", "calendars", [e["calendar"] for e in listed],
          ["Y", "Y-31M12D31", "Y5", "Y25", "Y25M03", "Y25M03D01"])
    run(["list", "sales/anna", "--day", "2025-03-01"], out=table(review))
    fair = ("Y25M03", "2025-03-03T00:00:00Z", "2025-03-07T00:00:00Z", "Fair")
    run(["list", "sales/anna", "--month", "2025-03"], out=table(fair, review))
    run(["list", "sales/anna", "--year", "2024"], error="no entries", out="")
    run(["list", "sales/anna", "--calendar", "None"], 1, "", 'no calendar "None"')
    run(["get", "sales/anna", "Own"], 1, "", 'no entry "Own" in 6 calendars')
    # A new date moves an entry; a calendar that is named keeps it.
    run(["edit", "sales/anna", "review", "--end", "2025-03-01T11:00Z", "--id", "Review 2"],
        out='changed "Review" in Y25M03D01\n')
    check_file("Y25M03D01.CAL", b"1740821400\t1740826800\tReview 2")
    run(["edit", "sales/anna", "Review 2", "--on", "2025-03-02", "--json"], out=(
        '{"formatVersion":1,"command":"edit"}\n{"result":"moved","calendar":"Y25M03D02","id":"Review 2"'
        ',"start":1740873600,"end":1740959999,"startTime":"2025-03-02T00:00:00Z",'
        '"endTime":"2025-03-02T23:59:59Z"}\n'))
    check_names("Y25M03D0*.CAL", ["Y25M03D02.CAL"])
    run(["edit", "sales/anna", "Own", "--calendar", "Own Days", "--on", "2025-06-01"],
        out='changed "Own" in Own Days\n')
    check_file("Own Days.CAL", b"1748736000\t1748822399\tOwn")
    run(["edit", "sales/anna", "Nobody", "--end", "5"], 1, "", 'no entry "Nobody"')
    run(["add", "sales/anna", "Second", "--on", "2025-03-02"], out='added "Second" to Y25M03D02\n')
    run(["edit", "sales/anna", "Second", "--id", "REVIEW 2"], 1, "", "already")
    run(["add", "sales/anna", "Second", "--on", "2025-03-05"], out='added "Second" to Y25M03D05\n')
    run(["remove", "sales/anna", "Second"], 1, "", "several calendars have an entry")
    run(["edit", "sales/anna", "Second", "--day", "2025-03-05", "--on", "2025-03-02"], 1, "",
        "already")
    run(["remove", "sales/anna", "Second", "--day", "2025-03-05"], 1, "", "--force")
    run(["remove", "sales/anna", "Second", "--day", "2025-03-05", "--force"],
        out='removed "Second" from Y25M03D05\n')
    check_names("Y25M03D05.*", ["Y25M03D05.BAK"])
    run(["remove", "sales/anna", "Second", "--day", "2025-03-05"], 1, "", 'no entry "Second"')
    run(["remove", "sales/anna", "--all", "--month", "2025-03"], 1, "", "--force")
    run(["remove", "sales/anna", "--all", "--month", "2025-03", "--force"], out="removed 3 entries\n")
    check_names("Y25M03*.CAL", [])
    run(["remove", "sales/anna", "--all", "--calendar", "Own Days", "--force"], out="removed 1 entry\n")
    check_names("Own*.CAL", [])


def transfers():
    year = pathlib.Path(SOURCE, "examples", "year-2026.tsv").read_bytes()
    lines = [line for line in year.splitlines(keepends=True) if not line.startswith(b"#")]
    done = wine(f"{BINARY}/bin/tarnwick-admin.exe", "import", "sales/anna",
                f"{SOURCE}/examples/year-2026.tsv")
    check("import", "output", done.stdout, b"added %d, replaced 0, refused 0\n" % len(lines))
    check("import", "progress lines", done.stderr.count(b"import: "), 10)
    exported = run(["export", "sales/anna", "--iso"])
    check("export --iso", "lines", sorted(exported.splitlines(keepends=True)), sorted(lines))
    own_lines = run(["export", "sales/anna"])
    run(["import", "sales/ben", "--quiet"], stdin=own_lines,
        out="added %d, replaced 0, refused 0\n" % len(lines))
    check("export of the copy", "lines", run(["export", "sales/ben"]), own_lines)
    copies = ROOT / "sales" / "MAILROOT" / "ben" / "Calendar"
    check("calendars of the copy", "bytes",
          {path.name: path.read_bytes() for path in copies.glob("*.CAL")},
          {path.name: path.read_bytes() for path in FOLDER.glob("*.CAL")})
    new = (DAY + "one\r\n\r\n# note\r\n" + DAY + "two\r\n").encode()
    run(["import", "sales/anna", "-", "--calendar", "Own"], stdin=new,
        out="added 2, replaced 0, refused 0\n")
    check_file("Own.CAL", (DAY + "one\r\n" + DAY + "two").encode())
    run(["import", "sales/anna", "--calendar", "Own"], 4, stdin=(f"1\t2\tTWO\n{DAY}three").encode(),
        out="added 1, replaced 0, refused 1\n", error='line 1: calendar Own has an entry "TWO"')
    run(["--json", "import", "sales/anna", "--calendar", "Own", "--replace"],
        stdin=b"1\t2\tTWO\n5\t6\tfour", out='{"formatVersion":1,"command":"import"}\n{"added":1,"replaced":1,"refused":0}\n')
    wanted = DAY + "one\n1\t2\tTWO\n" + DAY + "three\n5\t6\tfour"
    check_file("Own.CAL", wanted.replace("\n", "\r\n").encode())
    run(["export", "sales/anna", "--calendar", "Own"], out=wanted + "\n")
    run(["import", "sales/anna", "--calendar", "Own"], 1, "", "line 2: there are fewer than two tabs",
        stdin=b"7\t8\tfive\n7 8 six\n")
    check_file("Own.CAL", wanted.replace("\n", "\r\n").encode())
    run(["export", "sales/anna", windows_path(WORK / "own.tsv"), "--calendar", "Own"],
        out="exported 4 entries\n")
    check("own.tsv", "content", (WORK / "own.tsv").read_bytes(), (wanted + "\n").encode())
    run(["export", "sales/anna", "--calendar", "None"], 1, "", 'no calendar "None"')
    run(["export", "sales/anna", "--json"], 2, "", "list --json")
    run(["import", "sales/anna", windows_path(WORK / "none.tsv")], 1, "", "cannot be read")
    run(["export", "sales/anna", windows_path(WORK / "none" / "x.tsv")], 1, "", "cannot be written")


def calendar_files():
    facts = pathlib.Path(SOURCE, "examples", "facts-2026.ics")
    count = facts.read_bytes().count(b"BEGIN:VEVENT")
    into = lambda mailbox, *more: ["import", f"sales/{mailbox}", "--ics", "--quiet", *more]
    last = ["--until", "2026-12-31"]
    beyond = "on without end beyond 2026-12-31 (--until)"
    # One takes place three times, and two are of one UID, which has one item.
    run(["import", "sales/anna", windows_path(facts), "--quiet", *last], out=f"{count + 2} added\n",
        error=beyond)
    check_file("Y26M12D10.CAL", b"1796860800\t1796947199\thuman-rights-day@un-days.example")
    check_file("human-rights-day@un-days.example.ICS",
               b"BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Calendar Item//EN\r\n"
               b"X-TARNWICK-ENTERED:/20270101T000000Z\r\n"
               b"BEGIN:VEVENT\r\nUID:human-rights-day@un-days.example\r\n"
               b"DTSTAMP:20251201T000000Z\r\nDTSTART;VALUE=DATE:20261210\r\n"
               b"SUMMARY:Human Rights Day\r\n"
               b"DESCRIPTION:Observed by the United Nations each year on this day.\r\n"
               b"RRULE:FREQ=YEARLY\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n")
    check("items", "count", len(list(FOLDER.glob("*.ICS"))), count - 1)
    exported = run(["export", "sales/anna", "--ics"])
    check("export --ics", "events", exported.count(b"BEGIN:VEVENT"), count)
    july = run(["export", "sales/anna", "--ics", "--month", "2026-07"])
    check("export of a month", "events", july.count(b"BEGIN:VEVENT"), 3)
    # An entry that was moved keeps what its item says; one without an item is an event all the same.
    run(["add", "sales/anna", "Review", "--start", "2025-03-01T09:30Z", "--end", "1740823200"])
    run(["add", "sales/anna", "Review", "--on", "2025-03-01", "--calendar", "Own"])
    run(["edit", "sales/anna", "june-solstice-2026@facts.example", "--start", "2025-03-01T08:00Z",
         "--end", "2025-03-01T09:00Z"])
    unstamped = lambda text: [l for l in text.split(b"\r\n") if not l.startswith(b"DTSTAMP:")][3:-2]
    day = run(["export", "sales/anna", "--ics", "--day", "2025-03-01"])
    check("export of a day", "lines", unstamped(day), [
        b"BEGIN:VEVENT", b"UID:Review", b"DTSTART:20250301T093000Z", b"DTEND:20250301T100000Z",
        b"SUMMARY:Review", b"END:VEVENT", b"BEGIN:VEVENT", b"DTSTART:20250301T080000Z",
        b"DTEND:20250301T090000Z", b"UID:june-solstice-2026@facts.example",
        b"SUMMARY:June solstice", b"END:VEVENT"])
    own = run(["export", "sales/anna", "--ics", "--calendar", "Own"])
    check("export of whole days", "lines", unstamped(own), [
        b"BEGIN:VEVENT", b"UID:Review", b"DTSTART;VALUE=DATE:20250301",
        b"DTEND;VALUE=DATE:20250302", b"SUMMARY:Review", b"END:VEVENT"])
    series_in_the_store(into, last)
    what_the_mailbox_has(into)
    damaged_files(into)


def calendar(*events):
    lines = ["BEGIN:VCALENDAR", *("\n".join(["BEGIN:VEVENT", *e, "END:VEVENT"]) for e in events)]
    return "\n".join([*lines, "END:VCALENDAR", ""]).encode()


def series_in_the_store(into, last):
    series = calendar(["UID:series", "DTSTART:20261201T080000Z", "DTEND:20261201T090000Z",
                       "SUMMARY:Tea", "RRULE:FREQ=DAILY;COUNT=4"])
    run(into("ben", *last), out="4 added\n", stdin=series)
    whole = run(["export", "sales/ben", "--ics", "--day", "2026-12-02"])
    check("a series", "lines", whole.count(b"BEGIN:VEVENT"), 1)
    check("a series", "rule", b"RRULE:FREQ=DAILY;COUNT=4\r\n" in whole, True)
    # A second run finds all of it there; with --replace it is written once more.
    run(into("ben", *last), 1, "0 added, 4 refused\n", "3 more entries", stdin=series)
    run(into("ben", "--replace", *last), 0, "0 added, 4 replaced\n", stdin=series)
    # What a run that was cut off lacks is completed: an item, and entries.
    folder = FOLDER.parent.parent / "ben" / "Calendar"
    (folder / "series.ICS").unlink()
    run(["remove", "sales/ben", "series", "--day", "2026-12-03", "--force"])
    run(into("ben", *last), 4, "1 added, 3 refused\n", "2 more entries", stdin=series)
    check("the item", "is back", run(["export", "sales/ben", "--ics"]).count(b"BEGIN:VEVENT"), 1)
    # Edited, its entries stand for themselves.
    run(["edit", "sales/ben", "series", "--day", "2026-12-02", "--end", "2026-12-02T10:00Z"])
    edited = run(["export", "sales/ben", "--ics"], error='"series" was edited since')
    check("edited", "events", (edited.count(b"BEGIN:VEVENT"), edited.count(b"SUMMARY:Tea"),
                               edited.count(b"RRULE"), edited.count(b"UID:series\r\n")), (4, 4, 0, 1))
    run(into("ben", "--replace", "--until", "2026-12-01"), 0, "0 added, 1 replaced\n",
        "3 entries of an earlier import", stdin=series)
    # An item that cannot be written leaves no entry behind; one that cannot be read is named.
    (folder / "series.ICS").unlink()
    (folder / "series.ICS").mkdir()
    moved = series.replace(b"20261201", b"20260601")
    run(into("ben", *last), 1, "", "line 2: the item was not written", stdin=moved)
    check("no entry", "calendars", sorted(path.name for path in folder.glob("Y26M06*")), [])
    (folder / "series.ICS").rmdir()
    run(["item", "put", "sales/ben", "series.ICS"], stdin=b"some agenda")
    unread = run(["export", "sales/ben", "--ics", "--day", "2026-12-01"], 4,
                 error="the item series.ICS of the entry")
    check("unread", "subject", unread.count(b"SUMMARY:series\r\n"), 1)
    for options in (["--from", "2026-01-01"], ["--until", "2026-01-01"], ["--strict"]):
        run(["import", "sales/ben", *options], 2, "", "are for calendar files", stdin=b"")
    run(into("ben", "--from", "2026-01-02", "--until", "2026-01-01"), 2, "", "lies behind", stdin=b"")
    # A change that comes without its event takes nothing of the event's place.
    run(into("ben", "--until", "2026-12-31"), out="4 added\n", stdin=series.replace(b"UID:series", b"UID:kept-1"))
    change = calendar(["UID:kept-1", "RECURRENCE-ID:20261202T080000Z", "DTSTART:20261202T110000Z"])
    run(into("ben", "--until", "2026-12-31"), 4, "0 added, 1 left out\n", "import all of it with --replace", stdin=change)
    run(into("ben", "--until", "2026-12-31"), out="1 added\n", stdin=change.replace(b"kept-1", b"kept-2"))


def what_the_mailbox_has(into):
    event = lambda uid, day, *more: calendar([f"UID:{uid}", f"DTSTART:202608{day}T080000Z", *more])
    parts = lambda text, *names: tuple(text.count(name) for name in names)
    august = ["export", "sales/ben", "--ics", "--month", "2026-08"]
    # One entry of a series moves neither the series nor another component's texts.
    run(into("ben", "--until", "2026-12-31"), out="1 added\n", error="1 occurrence lies beyond",
        stdin=event("yearly", "01", "RRULE:FREQ=YEARLY;COUNT=2"))
    master = ["UID:daily", "DTSTART:20260801T080000Z", "SUMMARY:Tea", "RRULE:FREQ=DAILY;COUNT=2",
              "EXDATE:20260802T080000Z"]
    run(into("ben"), out="1 added\n", stdin=calendar(
        master, ["UID:daily", "RECURRENCE-ID:20260801T080000Z", "DTSTART:20260803T080000Z",
                 "SUMMARY:Coffee"]))
    for uid in ("yearly", "daily"):
        run(["edit", "sales/ben", uid, "--start", "2026-08-09T08:00Z", "--end", "2026-08-09T09:00Z"])
    moved = run(august, error='"yearly" was edited since')
    check("moved", "lines", parts(moved, b"BEGIN:VEVENT", b"RRULE", b"Tea", b"Coffee"), (2, 0, 0, 1))
    run(["remove", "sales/ben", "--all", "--month", "2026-08", "--force"])
    # UIDs that differ in case alone have items of their own, also when they come one by one.
    for uid, status in (("letters", 0), ("LETTERS", 0), ("LETTERS", 1)):
        run(into("ben"), status, error="already" if status else "",
            stdin=event(uid, "04" if uid == "letters" else "05", f"SUMMARY:of {uid}"))
    check("letters", "texts", parts(run(august), b"UID:letters\r\n", b"of letters", b"UID:LETTERS\r\n",
                                    b"of LETTERS"), (1, 1, 1, 1))
    # A later window makes the item's wider; --strict refuses what the mailbox has.
    tea = event("tea-time", "10", "RRULE:FREQ=DAILY;COUNT=9")
    run(into("ben", "--until", "2026-08-11"), out="2 added\n", error="7 occurrences", stdin=tea)
    run(into("ben", "--strict"), 1, "", "--strict", stdin=tea)
    run(into("ben", "--until", "2026-08-13"), 4, "2 added, 2 refused\n", "already", stdin=tea)
    run(into("ben", "--from", "2026-08-14", "--until", "2026-08-14"), 0, "1 added\n", "4 occ", stdin=tea)
    check("tea", "rule", parts(run(august), b"COUNT=9", b"UID:tea-time"), (1, 1))
    run(["item", "put", "sales/ben", "agenda1.ICS"], stdin=b"1. Tea")
    agenda = event("agenda1", "20")
    run(into("ben", "--strict"), 1, "", "held something else", stdin=agenda)
    run(into("ben"), 0, "1 added\n", "held something else", stdin=agenda)
    # Of a series that an earlier version kept, the entry is the first; moved, it takes all along.
    run(["item", "put", "sales/ben", "earlier.ICS"], stdin=(
        b"BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\nBEGIN:VEVENT\r\n"
        b"DTSTART:20260901T080000Z\r\nDTEND:20260901T090000Z\r\nUID:earlier\r\nLOCATION:\r\n"
        b"DESCRIPTION:\r\nSUMMARY:Tea\r\nRRULE:FREQ=DAILY\r\nLAST-MODIFIED:\r\nEND:VEVENT\r\n"
        b"END:VCALENDAR\r\n"))
    for start, error in (("08:00", ""), ("08:30", "its recurrence is written as it was")):
        run(["add", "sales/ben", "earlier", "--start", f"2026-09-01T{start}Z", "--end",
             "2026-09-01T09:00Z"])
        moved = run(["export", "sales/ben", "--ics", "--day", "2026-09-01"], error=error)
        check("an earlier item", "lines",
              (f"DTSTART:20260901T{start.replace(':', '')}00Z\r\n".encode() in moved,
               b"RRULE:FREQ=DAILY" in moved), (True, True))
        run(["remove", "sales/ben", "earlier", "--force"])


def damaged_files(into):
    damaged = calendar(["UID:good", "DTSTART:20260501T080000Z", "PRIORITY:HIGH"], ["UID:bad"],
                       ["UID:fine", "DTSTART:20260502T080000Z"])
    note = "standard input: line 5: "
    run(into("ben", "--strict"), 1, "", note, stdin=damaged)
    run(["list", "sales/ben", "--month", "2026-05"], error="no entries", out="")
    run(into("ben"), 4, "2 added, 1 with notes, 1 left out\n", note, stdin=damaged)
    counted = run_json(into("ben", "--replace"), 4, error=note, stdin=damaged)[0]
    notes = counted.pop("notes")
    check("--json", "counts", counted, {"added": 0, "replaced": 2, "refused": 0, "leftOut": 1,
                                        "beyond": 0, "endless": 0})
    check("--json", "notes", [(n["file"], n["line"], n["uid"]) for n in notes],
          [("standard input", 5, "good"), ("standard input", 7, "bad")])
    run(into("ben"), 1, "", "line 2: BEGIN:VEVENT is never ended",
        stdin=b"BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:1\n")
    task = b"BEGIN:VCALENDAR\nBEGIN:VTODO\nUID:1\nEND:VTODO\nEND:VCALENDAR\n"
    run(into("ben"), out="0 added\n", error="line 2: a task is passed over", stdin=task)
    run(["export", "sales/anna", "--ics", "--iso"], 2, "", "--iso is for lines")


def items():
    text = b"".join(b"line %03d of the agenda of the review of last year\n" % n for n in range(400))
    check("the text", "size", len(text), 20000)
    run(["item", "put", "sales/anna", "review.txt"], stdin=text,
        out="written review.txt, 20000 bytes\n")
    filler = b"\x16"
    check_file("review.txt", text[:8192] + filler + text[8192:16384] + filler + text[16384:])
    run(["item", "get", "sales/anna", "review.txt"], out=text)
    run(["item", "size", "sales/anna", "review.txt", "--json"],
        out='{"formatVersion":1,"command":"item size"}\n{"result":"found","item":"review.txt","size":20000}\n')
    # Without fillers the file is as given, and the reader loses the bytes between its chunks.
    run(["item", "put", "sales/anna", "raw.txt", "--raw"], stdin=text,
        out="written raw.txt, 20000 bytes\n")
    check_file("raw.txt", text)
    lost = text[:8192] + text[8193:16385] + text[16386:]
    run(["item", "get", "sales/anna", "raw.txt"], 4, lost, "its byte at offset 8192")
    run(["item", "size", "sales/anna", "raw.txt"], out="19998\n")
    run(["item", "put", "sales/anna", "binary.txt"], 1, "", "offset 3 is NUL", stdin=b"abc\0def")
    check_names("binary.txt", [])
    kept = windows_path(WORK / "kept.txt")
    run(["item", "get", "sales/anna", "review.txt", kept], out="")
    check("kept.txt", "content", (WORK / "kept.txt").read_bytes(), text)
    run(["item", "put", "sales/anna", "again.txt", kept], out="written again.txt, 20000 bytes\n")
    (FOLDER / "folder.txt").mkdir()
    run(["item", "put", "sales/anna", "folder.txt"], 1, "", "not written as it should be",
        stdin=b"x")
    run(["item", "delete", "sales/anna", "review.txt"], out="deleted review.txt, 20000 bytes\n")
    check_names("review*", [])
    for command in ("get", "size", "delete"):
        run(["item", command, "sales/anna", "review.txt"], 1, "", "no item review.txt")
    run(["item", "put", "sales/anna", "Y25.CAL"], 2, "", "the item name", stdin=b"x")


def overviews():
    lines = (DAY + "one\n" + DAY + "two\n2025-03-14\t2025-03-14\tthree\n"
             "2025-03-03\t2025-03-05\tseveral days\n2025-04-01\t2025-04-01\tfour\n")
    run(["import", "sales/anna"], stdin=lines.encode(), out="added 5, replaced 0, refused 0\n")
    grid = ("March 2025  sales/anna\n\n"
            "week |  Mo   Tu   We   Th   Fr   Sa   Su\n"
            "-----+-----------------------------------\n"
            "   9 |                          [ 1]   2\n"
            "  10 |   3    4    5    6    7    8    9\n"
            "  11 |  10   11   12   13  [14]  15   16\n"
            "  12 |  17   18   19   20   21   22   23\n"
            "  13 |  24   25   26   27   28   29   30\n"
            "  14 |  31\n\n"
            "[ ] busy: 2 of 31 days\n")
    day = ("2025-03-01T00:00:00Z", "2025-03-01T23:59:59Z")
    run(["freebusy", "sales/anna", "2025-03", "--entries"], out=grid + "\n" + table(
        ("Y25M03", "2025-03-03T00:00:00Z", "2025-03-05T00:00:00Z", "several days"),
        ("Y25M03D01", *day, "one"), ("Y25M03D01", *day, "two"),
        ("Y25M03D14", "2025-03-14T00:00:00Z", "2025-03-14T00:00:00Z", "three")))
    run(["freebusy", "sales/anna", "2025-03", "--json"],
        out='{"formatVersion":1,"command":"freebusy"}\n{"month":"2025-03","busyDays":[1,14]}\n')
    counted = "Y25M03\t1\nY25M03D01\t2\nY25M03D14\t1\n"
    run(["calendars", "sales/anna"], out=counted + "Y25M04D01\t1\n")
    run(["calendars", "sales/anna", "--month", "2025-03"], out=counted)
    run(["calendars", "sales/anna", "--day", "2025-04-01", "--json"],
        out='{"formatVersion":1,"command":"calendars"}\n{"calendar":"Y25M04D01","entries":1}\n')
    # Text in the code page of the machine (Windows-1252 here) is UTF-8 in JSON.
    (FOLDER / "Own.CAL").write_bytes(b"1\t2\tB\xfcro")
    (FOLDER / "Y25M03D31.CAL").write_bytes(b"")
    run(["calendars", "sales/anna"], out=counted + "Y25M03D31\t0\nY25M04D01\t1\n",
        error='names of their own, which --calendar reaches: "Own"')
    listed = run_json(["list", "sales/anna", "--calendar", "Own"])
    check("list --json", "ID", listed[0]["id"], "B\u00fcro")


def store_card(names, nickname="", email=""):
    return (f"BEGIN:VCARD\r\nVERSION:2.1\r\nN:{names}\r\nNICKNAME:{nickname}\r\n"
            f"EMAIL;PREF;INTERNET:{email}\r\nEND:VCARD\r\n").encode()


def contacts():
    show, convert = ["contacts", "show"], ["contacts", "convert"]
    book = WORK / "book.vcf"
    file, out = windows_path(book), windows_path(WORK / "store.vcf")
    anna = "BEGIN:VCARD\nVERSION:3.0\nN:Smith;Anna\nEMAIL:anna@example.net\nEND:VCARD\n"
    ben = "BEGIN:VCARD\nVERSION:4.0\nFN:B\u00fcro\nTEL:1\nthis line\nNOTE:a\\nb\nEND:VCARD\n"
    old = "BEGIN:VCARD\nVERSION:2.1\nN;QUOTED-PRINTABLE:=3B;C=\n=3D\nNICKNAME:n\nEND:VCARD\n"
    book.write_bytes((anna + ben + old).encode())
    stray = f"tarnwick-admin: {file}: line 10: the line is not a property: this line\n"
    listing = ("NAME        E-MAIL            NICKNAME\nAnna Smith  anna@example.net\n"
               "B\u00fcro\nC= ;                          n\n")
    run([*show, file], out=listing.encode("cp1252"), error=stray)
    shown = run_json([*show, file], error=stray)
    check("show --json", "contacts", shown, [
        {"surname": "Smith", "givenName": "Anna", "email": "anna@example.net"},
        {"displayName": "B\u00fcro", "note": "a\r\nb"},
        {"surname": ";", "givenName": "C=", "nickname": "n"}])
    cards = store_card("Smith;Anna;;;", email="anna@example.net") + store_card(";;;;") + store_card(
        "\\;;C=;;;", "n")
    left = f"tarnwick-admin: {file}: line 6: B\xfcro: left out: FN, NOTE, TEL\n"
    run([*convert, file, out], out="converted 3 contacts\n", error=left + stray)
    check("store.vcf", "content", (WORK / "store.vcf").read_bytes(), cards)
    run([*convert, file, "-"], out=cards, error=left + stray)
    # What the store writes comes back as it is, without a note; also from UTF-16.
    run([*convert, "-", out, "--json"], stdin=cards, out='{"formatVersion":1,"command":"contacts convert"}\n{"converted":3}\n')
    check("store.vcf", "content", (WORK / "store.vcf").read_bytes(), cards)
    run(convert, stdin=anna.encode("utf-16"), out=cards[:cards.index(b"BEGIN", 1)])
    run([*convert, "-", out], stdin=anna.encode(), out="converted 1 contact\n")
    # A file that cannot be read as a whole replaces nothing.
    for text, reason in (("", "line 1: BEGIN:VCARD expected"), ("N:a\n", "line 1: BEGIN:VCARD"),
                         (anna + "BEGIN:VCARD\nN:a\n" + anna, "line 6: BEGIN:VCARD is never"),
                         (anna + "\0", "line 6: not a text")):
        book.write_bytes(text.encode())
        run(show, 1, "", f"standard input: {reason}", stdin=text.encode())
        run([*convert, file, out], 1, "", f"tarnwick-admin: {file}: {reason}")
    check("store.vcf", "cards", (WORK / "store.vcf").read_bytes().count(b"BEGIN"), 1)
    run([*show, windows_path(WORK / "none.vcf")], 1, "", "cannot be read")
    run([*convert, "-", windows_path(WORK / "none" / "x.vcf")], 1, "", "cannot be written",
        stdin=anna.encode())
    for arguments, part in ((["contacts"], "contacts --help"), ([*show, "a", "b"], "b"),
                            ([*convert, "a", "b", "c"], "c"), (["contacts", "sing"], '"sing"'),
                            ([*convert, "--json"], "leave --json away")):
        run(arguments, 2, "", part)


def usage():
    for arguments, part in (
            ([], "--help"), (["sing"], '"sing" is not known here'), (["list"], "mailbox is required"),
            (["list", "anna"], "postoffice/mailbox"), (["list", "sales/anna", "more"], "more"),
            (["list", "sales/anna", "--day", "1 March"], "is no day"),
            (["list", "sales/anna", "--year", "25"], "is no year"),
            (["list", "sales/anna", "--day", "2025-03-01", "--year", "2025"], "at most 1"),
            (["list", "sales/anna", "--calendar", "a\\b"], "holds one of"),
            (["add", "sales/anna", "x"], "needs --start"),
            (["add", "sales/anna", "x", "--start", "noon"], "is no time"),
            (["add", "sales/anna", "x", "--start", "5", "--end", "4"], "lies before the start"),
            (["add", "sales/anna", "x", "--on", "2025-03-01", "--start", "5"], "excludes"),
            (["add", "sales/anna", "\u65e5", "--start", "5"], "code page lacks"),
            (["add", "sales/anna", "a\tb", "--start", "5"], "holds a tab"),
            (["edit", "sales/anna", "x"], "nothing to change"),
            (["edit", "sales/anna", "x", "--id", "a\tb"], "holds a tab"),
            (["remove", "sales/anna"], "either the ID"),
            (["remove", "sales/anna", "x", "--all"], "either"),
            (["remove", "sales/anna", "--all"], "--all needs"),
            (["get", "sales/anna", ""], "is empty"), (["item"], "item --help"),
            (["item", "get", "sales/anna", "x.txt", "--json"], "leave --json away"),
            (["freebusy", "sales/anna", "March"], "is no month")):
        run(arguments, 2, "", part)
    check_names("*", [])
    run(["--version"], out="1.0.0\n")
    for command in (["add"], ["edit"], ["remove"], ["get"], ["list"], ["import"], ["export"],
                    ["item"], ["item", "put"], ["item", "get"], ["item", "size"],
                    ["item", "delete"], ["freebusy"], ["calendars"],
                    ["contacts"], ["contacts", "show"], ["contacts", "convert"]):
        text = run([*command, "--help"]).decode()
        check(" ".join(command), "examples in its help",
              f"\n  tarnwick-admin {' '.join(command)}" in text, True)


def refusals():
    run(["list", "sales/carl"], 1, "", r"sales\MAILROOT\carl does not exist. Create it")
    run(["list", "shop/anna"], 1, "", r"shop\MAILROOT\anna does not exist. Create it")
    # A block file that no writer takes away: a writer waits (here as short as it can) and gives up,
    # a reader waits and takes the block file away.
    for name in ("Write Wait Timeout", "UnBlock Timeout", "Read Wait Timeout"):
        set_value(PROVIDERS_KEY, name, "0", "REG_DWORD")
    FOLDER.mkdir()
    block = FOLDER / "Y25M03D01.BLK"
    block.write_bytes(b"")
    os.utime(block, (os.stat(block).st_mtime - 200, os.stat(block).st_mtime - 200))
    refused = "is blocked: " + windows_path(block) + " has been there for 3 min 2"
    run(["add", "sales/anna", "x", "--on", "2025-03-01"], 5, error=refused)
    run(["import", "sales/anna", "--quiet"], 4, stdin=f"2025-03-02\t2025-03-02\ty\n{DAY}x".encode(),
        error="delete the file and try again. 1 entry was imported before it")
    check("the block file", "is there", block.exists(), True)
    (FOLDER / "Y25M03D01.CAL").write_bytes((DAY + "x").encode())
    run(["list", "sales/anna", "--day", "2025-03-01"], error="; waiting", out=table(
        ("Y25M03D01", "2025-03-01T00:00:00Z", "2025-03-01T23:59:59Z", "x")))
    check("the block file", "is there", block.exists(), False)
    delete_values(PROVIDERS_KEY, "Write Wait Timeout", "UnBlock Timeout", "Read Wait Timeout")
    # A calendar that cannot be deleted keeps its old content, whatever the library says of it.
    set_value(PROVIDERS_KEY, "Apply Timeout", "0", "REG_DWORD")
    calendar = FOLDER / "Y25M03D01.CAL"
    calendar.chmod(0o444)
    for arguments in (["add", "sales/anna", "z", "--on", "2025-03-01"],
                      ["edit", "sales/anna", "x", "--id", "z"], ["remove", "sales/anna", "x", "--force"]):
        run(arguments, 6, "", "can be written")
    check_file("Y25M03D01.CAL", (DAY + "x").encode())
    calendar.chmod(0o644)
    delete_values(PROVIDERS_KEY, "Apply Timeout")
    # Nothing can be written where the calendar's replacement should go.
    (FOLDER / "Y25M03D01.TMP").mkdir()
    run(["add", "sales/anna", "z", "--on", "2025-03-01"], 1, "", "can be written")
    # The settings: the data directory stands in for the mail root; without both there is no store.
    delete_values(PRODUCT_KEY, "Mail Root")
    run(["list", "sales/anna"], 1, "", "the mail root is not set. Set it with\n  reg add")
    set_value(PRODUCT_KEY, "Data Directory", windows_path(WORK))
    run(["list", "sales/anna", "--day", "2025-03-02"],
        out=table(("Y25M03D02", "2025-03-02T00:00:00Z", "2025-03-02T00:00:00Z", "y")))
    delete_values(PRODUCT_KEY, "Data Directory")


def served(port, answers):
    """A service on `port` that gives each answer to one request and then closes the connection."""
    listener = socket.create_server(("127.0.0.1", port))

    def serve():
        connection = listener.accept()[0]
        for answer in answers:
            connection.recv(4096)
            connection.sendall(answer)
        if answers:
            connection.recv(4096)
        connection.close()
        listener.close()

    threading.Thread(target=serve, daemon=True).start()
    return listener.getsockname()[1]


def add_host(name, address, port, credentials="key.txt"):
    run(["hosts", "add", name, "--address", address, "--port", str(port), "--credentials-file",
         windows_path(WORK / credentials)], out=f"added host {name}\n")


def host_tests(port):
    """hosts test names the step that fails."""
    success = b"<DATA><STATUS>SUCCESS</STATUS></DATA>"
    steps = ["address", "connect", "AUTH", "LOAD", "PING"]
    unused = served(0, [])
    socket.create_connection(("127.0.0.1", unused)).close()
    for failing, address, at in (("address", "no.such.invalid", port),
                                 ("connect", "127.0.0.1", unused),
                                 ("AUTH", "127.0.0.1", served(0, [b"<DATA></DATA>"])),
                                 ("LOAD", "127.0.0.1", served(0, [success, b"no"])),
                                 ("PING", "127.0.0.1", served(0, [success, success]))):
        add_host("odd", address, at)
        before = steps[:steps.index(failing)]
        run(["hosts", "test", "odd"], 7, error=f"tarnwick-admin: {failing}: ",
            out="".join(f"{step}\tok\n" for step in before) + f"{failing}\tfailed\n")
        run(["hosts", "remove", "odd"], out="removed host odd\n")


def remote_calls():
    """The commands on a host; what they change lies in the service's store."""
    north = ["--host", "north"]
    row = ("Y25M03D01", "2025-03-01T00:00:00Z", "2025-03-01T23:59:59Z", "Review")
    run([*north, "add", "sales/anna", "Review", "--on", "2025-03-01"],
        out='added "Review" to Y25M03D01\n')
    check_file("Y25M03D01.CAL", (DAY + "Review").encode())
    run([*north, "add", "sales/anna", "review", "--on", "2025-03-01"], 1, "", "already")
    run([*north, "list", "sales/anna", "--day", "2025-03-01"], out=table(row))
    run([*north, "remove", "sales/anna", "Review", "--day", "2025-03-01", "--force"])
    check_names("*.CAL", [])
    run([*north, "list", "sales/anna"], 2, "", "leave --host away")
    content = WORK / "content.txt"
    content.write_text("agenda\n" * 3000, encoding="ascii")
    run([*north, "item", "put", "sales/anna", "a.txt", windows_path(content)],
        out="written a.txt, 21000 bytes\n")
    run([*north, "item", "get", "sales/anna", "a.txt"], out=content.read_bytes())
    run([*north, "item", "put", "sales/anna", "a.txt", windows_path(content)], 1, "",
        "no server replaces one")
    run([*north, "item", "delete", "sales/anna", "a.txt"], 2, "", "leave --host away")
    run(["--host", "south", "list", "sales/anna"], 1, "", 'no host "south"')


def shut_host(port):
    """A call that no service takes is refused: its finding nothing would look like no entries."""
    (WORK / "wrong.txt").write_text("ann:wrong\n", encoding="ascii")
    add_host("shut", "127.0.0.1", port, "wrong.txt")
    run(["--host", "shut", "list", "sales/anna", "--day", "2025-03-01"], 7, "",
        "nothing was called on host shut: AUTH: ")
    run(["hosts", "remove", "shut"], out="removed host shut\n")


def hosts():
    (WORK / "key.txt").write_text("ann:secret\nnever sent\n", encoding="ascii")
    for name in ("north", "odd", "shut"):  # a run that was cut short may have left them
        wine(f"{BINARY}/bin/tarnwick-admin.exe", "hosts", "remove", name)
    run(["hosts", "list"], out="")
    run(["hosts", "test", "north"], 1, "", 'no host "north"')
    run(["hosts", "add", "a\\b", "--address", "x"], 2, "", "no host name")
    run(["hosts", "add", "odd", "--address", "x", "--credentials-file", "-"], 1, "",
        "is empty; credentials go there", stdin=b"\nsecret\n")
    service = subprocess.Popen(
        ["bash", f"{SOURCE}/script/wine", f"{BINARY}/bin/tarnwick-service.exe", "--port", "0",
         "--credentials-file", windows_path(WORK / "key.txt")],
        stdout=subprocess.PIPE, env=ENVIRONMENT)
    try:
        port = int(service.stdout.readline().decode().rsplit(":", 1)[1])
        add_host("north", "127.0.0.1", port)
        run(["hosts", "list"], out=f"north\t127.0.0.1:{port}\n")
        run(["hosts", "test", "north"], out="address\tok\nconnect\tok\nAUTH\tok\nLOAD\tok\nPING\tok\n")
        host_tests(port)
        remote_calls()
        shut_host(port)
    finally:
        service.send_signal(signal.SIGINT)
        check("the service", "exit status", service.wait(60), 0)
    run(["--host", "north", "add", "sales/anna", "x", "--on", "2025-03-01"], 7, "",
        "hosts test north")
    run(["hosts", "remove", "north"], out="removed host north\n")


def main():
    shutil.rmtree(WORK, ignore_errors=True)
    for mailbox in ("anna", "ben"):
        (ROOT / "sales" / "MAILROOT" / mailbox).mkdir(parents=True)
    set_value(PRODUCT_KEY, "Mail Root", windows_path(ROOT))
    {"entries": entries, "transfers": transfers, "calendar_files": calendar_files,
     "items": items, "overviews": overviews, "usage": usage, "refusals": refusals,
     "hosts": hosts, "contacts": contacts}[GROUP]()
    return 1 if failures else 0


sys.exit(main())
