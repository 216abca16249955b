"""Calendar files as a reader that was not written here sees them: python3-icalendar for the lines,
dateutil for the rules."""
import datetime as dt
import re

import icalendar
from dateutil.rrule import rrulestr

UTC = dt.timezone.utc


def one(component, name):
    """The value of a line that should stand once: of several, the first holds."""
    value = component.get(name)
    return getattr(value[0] if isinstance(value, list) else value, "dt", None)


def components(data, names=("VEVENT",)):
    # It decodes before it unfolds, and loses characters that a fold divides.
    data = re.sub(rb"\r?\n[ \t](?=[\x80-\xbf])", b"", data)
    calendars = icalendar.Calendar.from_ical(data, multiple=True)
    return [part for calendar in calendars for part in calendar.walk() if part.name in names]


def to_utc(value):
    """A point in time; days and times without a zone count as UTC."""
    if not isinstance(value, dt.datetime):
        value = dt.datetime(value.year, value.month, value.day)
    return value.replace(tzinfo=UTC) if value.tzinfo is None else value.astimezone(UTC)


def at(clock, like):
    """The local time `clock` in the zone of `like`: the first of two, with the offset before a gap."""
    zone = getattr(like, "tzinfo", None)
    if zone is None:
        return clock.replace(tzinfo=UTC)
    if not hasattr(zone, "localize"):
        return clock.replace(tzinfo=zone).astimezone(UTC)
    offsets = sorted({zone.localize(clock, is_dst=flag).astimezone(UTC) for flag in (True, False)})
    exists = [t for t in offsets if t.astimezone(zone).replace(tzinfo=None) == clock]
    if exists:
        return exists[0]
    before = zone.normalize(zone.localize(clock - dt.timedelta(hours=6)))
    return clock.replace(tzinfo=UTC) - before.utcoffset()


def naive(value):
    if not isinstance(value, dt.datetime):
        return dt.datetime(value.year, value.month, value.day)
    return value.replace(tzinfo=None)


def listed(component, name):
    """The dates of all lines of that name."""
    lines = component.get(name, [])
    lines = lines if isinstance(lines, list) else [lines]
    return [date.dt for line in lines for date in line.dts]


def rules(component, name):
    lines = component.get(name, [])
    return [line.to_ical().decode() for line in (lines if isinstance(lines, list) else [lines])]


def rule_times(rule, start, window_end):
    """The instants of one rule, on the clocks of its start."""
    parts = dict(part.split("=", 1) for part in rule.split(";"))
    until = parts.pop("UNTIL", None)
    text = ";".join(f"{name}={value}" for name, value in parts.items())
    last = None
    if until:
        last = dt.datetime.strptime(until[:15] if "T" in until else until + "T235959",
                                    "%Y%m%dT%H%M%S")
    # The start counts as the first, also where the rule does not give it (RFC 5545, 3.3.10).
    clocks = rrulestr(text, dtstart=naive(start))
    first = next(iter(clocks), None)
    if "COUNT" in parts and first != naive(start):
        clocks = list(clocks)[:int(parts["COUNT"]) - 1]
    for clock in clocks:
        moment = at(clock, start)
        if moment >= window_end:
            return
        if last and (moment.replace(tzinfo=None) if until.endswith("Z") else clock) > last:
            return
        yield moment, clock


def length_of(component):
    """From a start to its end: what an occurrence adds."""
    start = one(component, "DTSTART")
    if "DTEND" in component:
        end = one(component, "DTEND")
        exact = to_utc(end) - to_utc(start)
        return lambda moment, clock: moment + exact
    length = one(component, "DURATION") if "DURATION" in component else None
    if length is None:
        length = dt.timedelta(0 if isinstance(start, dt.datetime) else 1)
    days, rest = dt.timedelta(length.days), dt.timedelta(seconds=length.seconds)

    def end_of(moment, clock):
        like = one(component, "DTSTART")
        if getattr(like, "tzinfo", None) is None or not days:
            return moment + days + rest
        return at(clock + days, like) + rest
    return end_of


def occurrences(data, begin, end):
    """(UID, start, end, summary) of all that starts within; times are UTC."""
    events = {}
    for number, component in enumerate(components(data)):
        if one(component, "DTSTART") and component.get("STATUS") != "CANCELLED":
            events.setdefault(str(component.get("UID", number)), []).append(component)
        elif "RECURRENCE-ID" in component:
            events.setdefault(str(component["UID"]), []).append(component)
    found = []
    for uid, parts in events.items():
        replaced = {to_utc(one(part, "RECURRENCE-ID")) for part in parts if "RECURRENCE-ID" in part}
        for part in parts:
            if part.get("STATUS") == "CANCELLED" or one(part, "DTSTART") is None:
                continue
            start = one(part, "DTSTART")
            moments = {to_utc(start): naive(start)}
            if "RECURRENCE-ID" not in part:
                for rule in rules(part, "RRULE"):
                    moments.update(rule_times(rule, start, end))
                moments.update((to_utc(date), naive(date)) for date in listed(part, "RDATE"))
                for excluded in {to_utc(date) for date in listed(part, "EXDATE")} | replaced:
                    moments.pop(excluded, None)
            end_of = length_of(part)
            found += [(uid, moment, end_of(moment, clock), str(part.get("SUMMARY", "")))
                      for moment, clock in moments.items() if begin <= moment < end]
    return sorted(found)


def properties(data):
    """The properties of each event that has a start, components within it included, by UID. Of lines
    that should stand once, the first."""
    by_uid = {}
    for number, component in enumerate(components(data)):
        if one(component, "DTSTART") is None or component.get("STATUS") == "CANCELLED":
            continue
        once = {}
        for name, value in component.property_items():
            if name not in once or name != "DTSTART":
                once.setdefault(name, []).append(f"{name}{parameters(value)}:{text(value)}")
        lines = sorted(line for name in once if name != "DTSTAMP" for line in once[name])
        by_uid.setdefault(str(component.get("UID", number)), []).append(lines)
    return sorted((uid, sorted(parts)) for uid, parts in by_uid.items())


def parameters(value):
    return sorted(p for p in getattr(value, "params", {}).items() if p != ("VALUE", "DATE"))


def text(value):
    value = value.to_ical() if hasattr(value, "to_ical") else value
    return value.decode("utf-8", "replace") if isinstance(value, bytes) else str(value)
