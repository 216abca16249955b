"""What a reader written elsewhere sees in calendar files, against what this project's reader sees,
and whether it reads what this project writes.

usage: foreign_reader.py CONVERT_TOOL CALENDAR_OR_FOLDER...   (a folder may be missing)
"""
import datetime
import json
import pathlib
import subprocess
import sys
import tempfile

import icalendar

tool, places = sys.argv[1], [pathlib.Path(name) for name in sys.argv[2:]]
paths = [path for place in places
         for path in (sorted(place.glob("*.ics")) if not place.suffix else [place])]
failures = []

# What files hold that this reader leaves out, or takes as the other one does.
KNOWN_NOTES = ("is passed over", "stands twice", "not behind the start", "times without a zone are taken as UTC")


def run(command, path):
    done = subprocess.run([tool, command, str(path)], capture_output=True, check=True)
    for note in done.stderr.decode().splitlines():
        if not any(known in note for known in KNOWN_NOTES):
            failures.append(f"{path.name}: {note}")
    return done.stdout


def our_items(path):
    return [json.loads(line) for line in run("items", path).decode("utf-8").splitlines()]


def date_text(value):
    if value is None:
        return None
    # Of lines that should stand once, the first holds.
    moment = (value[0] if isinstance(value, list) else value).dt
    if not isinstance(moment, datetime.datetime):
        return moment.strftime("%Y%m%dT000000")
    if moment.tzinfo is not None:
        moment = moment.astimezone(datetime.timezone.utc)
    return moment.strftime("%Y%m%dT%H%M%S")


def text(value):
    return None if value is None or str(value) == "" else str(value)


def their_item(component):
    is_event = component.name == "VEVENT"
    return {
        "kind": 0 if is_event else 1,
        "uid": text(component.get("UID")),
        "subject": text(component.get("SUMMARY")),
        "body": text(component.get("DESCRIPTION")),
        "location": text(component.get("LOCATION")) if is_event else None,
        "start": date_text(component.get("DTSTART")),
        "end": date_text(component.get("DTEND" if is_event else "DUE")),
        "recurs": "RRULE" in component,
    }


def our_item(item, their):
    is_event = item["kind"] == 0
    unify = lambda value: value and value.replace("\r\n", "\n")
    end = item.get("PR_END_DATE" if is_event else "PR_BNP_DueDate")
    return {
        "kind": item["kind"],
        "uid": item.get("PR_BNP_AppointmentUID" if is_event else "TW_ITEM_ID"),
        "subject": unify(item.get("PR_SUBJECT")),
        "body": unify(item.get("PR_BODY")),
        "location": unify(item.get("PR_LOCATION")),
        "start": item.get("PR_START_DATE" if is_event else "PR_BNP_StartDate"),
        # An event without an end gets one from its start; the other reader leaves that to its user.
        "end": end if their["end"] else None,
        "recurs": item["rules"] > 0,
    }


def their_components(data):
    calendars = icalendar.Calendar.from_ical(data, multiple=True)
    return [part for calendar in calendars for part in calendar.walk()
            if part.name in ("VEVENT", "VTODO")]


def compare(label, ours, components):
    if len(ours) != len(components):
        failures.append(f"{label}: {len(ours)} items here, {len(components)} there")
    for item, component in zip(ours, components):
        their = their_item(component)
        our = our_item(item, their)
        for key, value in their.items():
            if our[key] != value:
                failures.append(f"{label}: {key} is {our[key]!r} here, {value!r} there")


OWN = (
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\nBEGIN:VEVENT\r\n"
    "DTSTART:20240305T060708Z\r\nDTEND:20240305T070000Z\r\nUID:own-1\r\nLOCATION:Caf\u00e9, first; floor\r\n"
    "DESCRIPTION:first line\r\nsecond \\ line, with: all; of it\r\n" + "long " * 60 + "\u00e9\u00e8" * 50 +
    "\r\nSUMMARY:Tea \"for\" two\r\nRRULE:FREQ=MONTHLY;COUNT=4;UNTIL=20250305T060708;BYDAY=FR;"
    "BYSETPOS=-1;WKST=SU\r\nLAST-MODIFIED:20231114T221320\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n"
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tarnwick//Tarnwick//EN\r\nBEGIN:VTODO\r\nUID:own-2\r\n"
    "DUE:20240305T070000\r\nCLASS:PRIVATE\r\nLAST-MODIFIED:\r\nPERCENT-COMPLETE:12.5\r\n"
    "STATUS:IN-PROCESS\r\nPRIORITY:9\r\nDESCRIPTION:a\r\n\r\nb\r\nSUMMARY:Write\r\nEND:VTODO\r\n"
    "END:VCALENDAR\r\n")


def check_export(label, path):
    exported = run("export", path)
    ours = our_items(path)
    if not ours:
        failures.append(f"{label}: no items")
    compare(label + ", exported", ours, their_components(exported))
    for line in exported.split(b"\r\n"):
        if len(line) > 75:
            failures.append(f"{label}, exported: a line of {len(line)} bytes")
    return exported


with tempfile.TemporaryDirectory() as scratch:
    own = pathlib.Path(scratch) / "own.ics"
    own.write_bytes(OWN.encode("utf-8"))
    exported = check_export("own texts", own)
    event, task = their_components(exported)
    rule = event["RRULE"].to_ical().decode()
    if rule != "FREQ=MONTHLY;COUNT=4;BYDAY=FR;BYSETPOS=-1;WKST=SU":
        failures.append(f"own texts: the rule reads {rule}")
    for key, value in (("CLASS", "PRIVATE"), ("STATUS", "IN-PROCESS"), ("PRIORITY", 9),
                       ("PERCENT-COMPLETE", 13)):
        if task.get(key) != value:
            failures.append(f"own texts: {key} reads {task.get(key)!r}")

count = refused = 0
for path in paths:
    try:
        components = their_components(path.read_bytes())
        check_export(path.name, path)
    except (ValueError, TypeError) as error:
        print(f"{path.name}: the other reader cannot read it: {error}")
        refused += 1
        continue
    compare(path.name, our_items(path), components)
    count += 1
if refused > count // 3 or not paths:
    failures.append(f"the other reader refuses {refused} files and reads {count}")

print("\n".join(failures) or f"own texts and {count} files read alike")
sys.exit(1 if failures else 0)
