"""What a reader written elsewhere sees in calendar files, against what this project's reader sees,
and whether it reads what this project writes.

usage: foreign_reader.py CONVERT_TOOL OWN_TEXTS CALENDAR_OR_FOLDER...   (a folder may be missing)
"""
import datetime
import pathlib
import re
import subprocess
import sys

import icalendar

tool, own = sys.argv[1], pathlib.Path(sys.argv[2])
places = [pathlib.Path(name) for name in sys.argv[3:]]
paths = [path for place in places
         for path in (sorted(place.glob("*.ics")) if not place.suffix else [place])]
failures = []

# What files hold that this reader leaves out, or takes as the other one does.
KNOWN_NOTES = ("is passed over", "stands twice", "not behind the start", "times without a zone are taken as UTC")
ESCAPED = re.compile(r"\\(n|x..|.)")
PROPERTY = re.compile(r"(\w+)=('(?:[^'\\]|\\.)*'|\S+)")


def run(command, path):
    return subprocess.run([tool, command, str(path)], capture_output=True, check=True).stdout


def plain(value):
    if not value.startswith("'"):
        return value
    return ESCAPED.sub(lambda found: "\n" if found[1] == "n" else found[1] if len(found[1]) == 1
                       else chr(int(found[1][1:], 16)), value[1:-1])


def our_items(path):
    items = []
    for line in run("items", path).decode("utf-8").splitlines():
        if line.startswith(("event at", "task at")):
            items.append({"kind": line.split()[0], "recurs": False})
        elif line.startswith("  | "):
            items[-1]["recurs"] |= line.startswith("  | RRULE")
        elif line[0].isdigit() and not any(known in line for known in KNOWN_NOTES):
            failures.append(f"{path.name}: {line}")
        elif not line.startswith("  > "):
            items[-1].update((name, plain(value)) for name, value in PROPERTY.findall(line))
    return items


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
        "kind": "event" if is_event else "task",
        "AppointmentUID" if is_event else "ID": text(component.get("UID")),
        "SUBJECT": text(component.get("SUMMARY")),
        "BODY": text(component.get("DESCRIPTION")),
        "LOCATION": text(component.get("LOCATION")) if is_event else None,
        "START_DATE" if is_event else "StartDate": date_text(component.get("DTSTART")),
        "END_DATE" if is_event else "DueDate": date_text(component.get("DTEND" if is_event else "DUE")),
        "recurs": "RRULE" in component,
    }


def their_components(data):
    calendars = icalendar.Calendar.from_ical(data, multiple=True)
    return [part for calendar in calendars for part in calendar.walk()
            if part.name in ("VEVENT", "VTODO")]


def compare(label, ours, components):
    if len(ours) != len(components):
        failures.append(f"{label}: {len(ours)} items here, {len(components)} there")
    for our, component in zip(ours, components):
        for name, value in their_item(component).items():
            # An event without an end gets one from its start; the other reader leaves that to its user.
            if our.get(name) != value and (name != "END_DATE" or value):
                failures.append(f"{label}: {name} is {our.get(name)!r} here, {value!r} there")


def check_export(path):
    exported = run("export", path)
    ours = our_items(path)
    if not ours:
        failures.append(f"{path.name}: no items")
    compare(path.name + ", exported", ours, their_components(exported))
    for line in exported.split(b"\r\n"):
        if len(line) > 75:
            failures.append(f"{path.name}, exported: a line of {len(line)} bytes")
    return exported


event, task = their_components(check_export(own))
rule = event["RRULE"].to_ical().decode()
if rule != "FREQ=MONTHLY;COUNT=4;BYDAY=FR;BYSETPOS=-1;WKST=SU":
    failures.append(f"own texts: the rule reads {rule}")
for key, value in (("CLASS", "PRIVATE"), ("STATUS", "IN-PROCESS"), ("PRIORITY", 9), ("PERCENT-COMPLETE", 13)):
    if task.get(key) != value:
        failures.append(f"own texts: {key} reads {task.get(key)!r}")

count = refused = 0
for path in paths:
    try:
        components = their_components(path.read_bytes())
        check_export(path)
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
