"""Events that recur, alone and in time zones, against python-dateutil and the system's zones:
a thousand random ones a run, occurrence by occurrence.

usage: occurrences_against_dateutil.py CONVERT_TOOL [SEED]
       occurrences_against_dateutil.py --record FOLDER COUNT SEED   occurrences.ics and .txt there
"""
import datetime
import itertools
import pathlib
import random
import subprocess
import sys
import tempfile
import zoneinfo

import dateutil.rrule

recording = sys.argv[1] == "--record"
seed = int(sys.argv[-1]) if len(sys.argv) > 2 else random.SystemRandom().randrange(10**9)
rng = random.Random(seed)
UTC = datetime.timezone.utc
DAY = datetime.timedelta(days=1)
DAYS = ("MO", "TU", "WE", "TH", "FR", "SA", "SU")
FREQUENCIES = ("YEARLY", "MONTHLY", "WEEKLY", "DAILY", "HOURLY", "MINUTELY", "SECONDLY")


def stamp(moment):
    return moment.strftime("%Y%m%dT%H%M%S")


def some(numbers, most):
    return sorted(rng.sample(list(numbers), rng.randint(1, most)))


def listed(values):
    return ",".join(map(str, values))


def rule_text(parts):
    items = [f"{name}={value}" for name, value in parts.items()]
    rng.shuffle(items)
    return ";".join(items)


# Each case is the lines of its events, a list for each, and the words of the answer; the answer's
# last word tells of what is beyond the window, "?" of what is not compared.

# --- Rules alone ------------------------------------------------------------------------------

def random_start():
    return datetime.datetime(rng.randint(1990, 2035), 1, 1) + datetime.timedelta(
        days=rng.randrange(366), seconds=rng.choice((0, 32400, rng.randrange(86400))))


def signed(most):
    return list(range(-most, 0)) + list(range(1, most + 1))


def random_pattern(start):
    """The parts of a rule, each with the chance that keeps most rules alive."""
    frequency = rng.choice(FREQUENCIES)
    level = FREQUENCIES.index(frequency)
    parts = {"FREQ": frequency}

    def add(name, chance, make):
        if rng.random() < chance:
            parts[name] = make()

    add("INTERVAL", 0.4, lambda: rng.choice((1, 2, 3, 5, 7, 24, 60, rng.randint(1, 100))))
    add("BYMONTH", 0.25, lambda: listed(some(range(1, 13), 4)))
    # dateutil takes the last week of a year for its 53rd in the January behind it when the lengths
    # of the two years differ, and the first for no -52nd or -53rd in the December before it.
    add("BYWEEKNO", 0.25 if level == 0 else 0.03,
        lambda: listed(some([*range(1, 52), *range(-51, 0)], 6)))
    add("BYYEARDAY", 0.15, lambda: listed(some(signed(366), 20)))
    add("BYMONTHDAY", 0.25, lambda: listed(some(signed(31), 6)))
    # Some weekdays with an ordinal beside others without one: dateutil takes what is both.
    ordinals = rng.random() < 0.5 and level < 2
    most = 53 if level == 0 and "BYMONTH" not in parts else 5
    add("BYDAY", 0.4, lambda: listed(
        f"{rng.choice(signed(most)) if ordinals else ''}{day}" for day in some(DAYS, 4)))
    add("BYHOUR", 0.25, lambda: listed(some(range(24), 4)))
    add("BYMINUTE", 0.2, lambda: listed(some(range(60), 4)))
    add("BYSECOND", 0.2, lambda: listed(some(range(60), 4)))
    if level == 6 and "BYHOUR" in parts:
        # Else dateutil steps through each second of the other hours.
        parts["INTERVAL"] = rng.choice((60, 420, 1800, 3600))
    add("WKST", 0.4, lambda: rng.choice(DAYS))
    # In the week of the start dateutil counts positions from the start, not from the week's first
    # day. In the short periods it would step through years of seconds for a position they lack.
    aligned = level != 2 or DAYS[start.weekday()] == parts.get("WKST", "MO")
    if aligned and level < 4:
        add("BYSETPOS", 0.2, lambda: listed(some(signed(4 if level else 40), 3)))
    elif level >= 4:
        add("BYSETPOS", 0.1, lambda: rng.choice((1, -1)))
    add("COUNT", 0.2, lambda: rng.randint(1, 9))
    add("UNTIL", 0.15, lambda: stamp(start + rng.choice((0, 1, 30, 500, 4000)) * DAY)
        [:rng.choice((8, 15))])
    return parts


def counted(rule, start):
    """The rule less the start, which counts whether the rule gives it or not."""
    if rule._count and next(iter(rule), None) != start:
        return rule.replace(count=rule._count - 1) if rule._count > 1 else []
    return rule


def times_there(parts, start, count, last_year):
    """The start and the first times of a rule by dateutil, which is kept from searching to the year
    9999."""
    parts = dict(parts)
    if len(str(parts.get("UNTIL", ""))) == 8:
        parts["UNTIL"] += "T235959"
    dateutil.rrule.datetime.MAXYEAR = last_year
    times = {start}
    try:
        rule = counted(dateutil.rrule.rrulestr(rule_text(parts), dtstart=start), start)
        for time in itertools.takewhile(lambda time: time.year <= last_year, rule):
            times.add(time)
            if len(times) == count:
                break
    except ValueError as error:
        # Hours, minutes or seconds that the interval never meets.
        assert "empty" in str(error), error
    return sorted(times)


def pattern_case():
    start = random_start()
    parts = random_pattern(start)
    last_year = start.year + (24, 12, 6, 4, 2, 1, 1)[FREQUENCIES.index(parts["FREQ"])]
    there = times_there(parts, start, 8, last_year)
    until = there[7] if len(there) == 8 else datetime.datetime(last_year + 1, 1, 1)
    from_ = rng.choice(there) if rng.random() < 0.3 else start
    lines = [f"X-WINDOW:{stamp(from_)}/{stamp(until)}", f"DTSTART:{stamp(start)}Z",
             "RRULE:" + rule_text(parts)]
    return [lines], [f"{stamp(time)}/{stamp(time)}/0" for time in there if from_ <= time < until] + ["?"]


def week_case(week):
    """All days of a week by its number, of those that random_pattern leaves out."""
    days = [datetime.date(1990, 1, 1) + n * DAY for n in range(365 * 40)]
    there = {days[0]}
    for day in days:
        year, number, _ = day.isocalendar()
        weeks = datetime.date(year, 12, 28).isocalendar().week
        if week in (number, number - weeks - 1):
            there.add(day)
    lines = [f"X-WINDOW:/{days[-1]:%Y%m%d}", "DTSTART:19900101", f"RRULE:FREQ=DAILY;BYWEEKNO={week}"]
    return [lines], [f"{stamp(day)}/{stamp(day + DAY)}/0" for day in sorted(there - {days[-1]})] + ["?"]


# --- Events in zones --------------------------------------------------------------------------

ZONES = {
    "Europe/Berlin": ("19700329T020000|+0100|+0200|FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU",
                      "19701025T030000|+0200|+0100|FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU"),
    "America/New_York": ("20070311T020000|-0500|-0400|FREQ=YEARLY;BYMONTH=3;BYDAY=2SU",
                         "20071104T020000|-0400|-0500|FREQ=YEARLY;BYMONTH=11;BYDAY=1SU"),
    "Australia/Lord_Howe": ("20081005T020000|+1030|+1100|FREQ=YEARLY;BYMONTH=10;BYDAY=1SU",
                            "20080406T020000|+1100|+1030|FREQ=YEARLY;BYMONTH=4;BYDAY=1SU"),
    "Asia/Kolkata": ("19700101T000000|+0530|+0530|FREQ=YEARLY",),
}


def zone_lines(name):
    for observance in ZONES[name]:
        start, before, after, rule = observance.split("|")
        yield from ("BEGIN:STANDARD", "DTSTART:" + start, "TZOFFSETFROM:" + before,
                    "TZOFFSETTO:" + after, "RRULE:" + rule, "END:STANDARD")


class Clock:
    """Times of an event: local ones are naive, those in UTC too."""

    def __init__(self, all_day):
        self.all_day = all_day
        self.name = None if all_day else rng.choice((None, *ZONES))
        self.zone = zoneinfo.ZoneInfo(self.name) if self.name else UTC

    def utc(self, local):
        return local.replace(tzinfo=self.zone).astimezone(UTC).replace(tzinfo=None)

    def local(self, utc):
        return utc.replace(tzinfo=UTC).astimezone(self.zone).replace(tzinfo=None)

    def text(self, moment):
        if self.all_day:
            return moment.strftime("%Y%m%d")
        return stamp(moment) + ("" if self.name else "Z")

    def line(self, name, value):
        zone = f";TZID={self.name}" if self.name else ""
        return f"{name}{zone}:{value if isinstance(value, str) else self.text(value)}"


def simple_rule(start, finite, often):
    parts = {"FREQ": rng.choice(("MONTHLY", "WEEKLY", "DAILY") + ("YEARLY",) * finite + ("HOURLY",) * often),
             "INTERVAL": rng.randint(1, 3 if finite else 1)}
    if parts["FREQ"] == "WEEKLY":
        parts["BYDAY"] = listed(some(DAYS, 3))
    if parts["FREQ"] == "MONTHLY" and rng.random() < 0.5:
        parts["BYDAY"] = rng.choice(("1MO", "-1FR", "2SU,-1SU"))
    if parts["FREQ"] == "DAILY" and often and rng.random() < 0.2:
        parts["BYHOUR"] = listed(some(range(5), 3))
    if finite and rng.random() < 0.6:
        parts["COUNT"] = rng.randint(1, 40)
    elif finite:
        parts["UNTIL"] = start + datetime.timedelta(days=rng.randrange(60), hours=rng.randrange(3))
    return parts


def occurrences_of_rule(parts, start, clock, until_is_utc, horizon, counts_start):
    parts = dict(parts)
    until = parts.pop("UNTIL", None)
    rule = dateutil.rrule.rrulestr(rule_text(parts), dtstart=start)
    times = []
    for time in counted(rule, start) if counts_start else rule:
        if time > horizon or (until and time > until + 2 * DAY):
            break
        if not until or (clock.utc(time) if until_is_utc else time) <= until:
            times.append(time)
    return times


def event_case():
    dateutil.rrule.datetime.MAXYEAR = 9999
    all_day = rng.random() < 0.15
    clock = Clock(all_day)
    start = datetime.datetime(2020, 1, 1) + datetime.timedelta(
        days=rng.randrange(2000), hours=0 if all_day else rng.choice((0, 1, 2, 3, 9, 23)),
        minutes=0 if all_day else rng.choice((0, 30)))
    until = clock.utc(start) + datetime.timedelta(days=rng.choice((3, 40, 400)))
    from_ = rng.choice((None, min(until, clock.utc(start) + rng.randrange(30) * DAY)))
    finite = rng.random() < 0.6
    horizon = until + (50000 if finite else 5 * 366) * DAY
    lines = [f"X-WINDOW:{stamp(from_) if from_ else ''}/{stamp(until)}", clock.line("DTSTART", start)]
    events = [lines]

    # The length: exact, nominal, or none.
    kind = rng.choice("DL-")
    end = start + (rng.randint(1, 3) * DAY if all_day else datetime.timedelta(minutes=rng.choice((30, 90, 1500))))
    nominal, exact = 0, datetime.timedelta(0)
    if kind == "D":
        lines.append(clock.line("DTEND", end))
        exact = clock.utc(end) - clock.utc(start)
    elif kind == "L":
        nominal, exact = rng.randrange(3), datetime.timedelta(hours=0 if all_day else rng.randrange(30))
        lines.append(f"DURATION:P{nominal}DT{exact // datetime.timedelta(hours=1)}H")
    elif all_day:
        nominal = 1

    def end_of(local):
        return max(clock.utc(local), clock.utc(local + nominal * DAY) + exact)

    # What takes place: instant to (local time, whether a rule without end gives it).
    places = {clock.utc(start): (start, False)}
    ends = {}

    def rule(name, finite):
        parts = simple_rule(start, finite, finite and not all_day)
        until_is_utc = clock.name is not None and rng.random() < 0.5
        text = dict(parts)
        if "UNTIL" in parts:
            text["UNTIL"] = stamp(parts["UNTIL"]) + ("Z" if until_is_utc or not clock.name else "")
        lines.append(f"{name}:{rule_text(text)}")
        return occurrences_of_rule(parts, start, clock, until_is_utc, horizon, name == "RRULE")

    for _ in range(rng.choice((0, 1, 1, 1, 2))):
        for local in rule("RRULE", finite):
            places.setdefault(clock.utc(local), (local, not finite))
    excludes = rng.random() < 0.1
    if excludes:
        for local in rule("EXRULE", True):
            if clock.utc(local) in places and places[clock.utc(local)][0] == local:
                del places[clock.utc(local)]
    for _ in range(rng.choice((0, 0, 0, 1, 2))):
        local = start + datetime.timedelta(days=rng.randrange(60), hours=0 if all_day else rng.randrange(24))
        if excludes or clock.utc(local) in places:
            continue
        text = clock.text(local)
        if not all_day and rng.random() < 0.5:
            later = local + datetime.timedelta(hours=2)
            short = rng.random() < 0.5
            text += "/PT45M" if short else "/" + clock.text(later)
            ends[clock.utc(local)] = clock.utc(local) + datetime.timedelta(minutes=45) if short \
                else max(clock.utc(local), clock.utc(later))
        lines.append(clock.line("RDATE", text))
        places[clock.utc(local)] = (local, False)

    def name_one():
        """Some occurrence, or none: its text, and the instants that it names."""
        pool = sorted(places)[:20]
        utc = rng.choice(pool) if pool and rng.random() < 0.9 else clock.utc(start) + DAY
        local = places[utc][0] if utc in places else clock.local(utc)
        if all_day or rng.random() < 0.2:
            return (local.strftime("%Y%m%d"),
                    [one for one, (when, _) in places.items() if when.date() == local.date()], local)
        text = stamp(utc) + "Z" if rng.random() < 0.5 or clock.utc(local) != utc else clock.text(local)
        return text, [utc] if utc in places else [], local

    for _ in range(rng.choice((0, 0, 1, 3))):
        text, gone, _ = name_one()
        lines.append(clock.line("EXDATE", text))
        for utc in gone:
            del places[utc]

    replacements, following, named = [], None, set()
    for _ in range(rng.choice((0, 0, 1, 2))):
        text, gone, local = name_one()
        if local.date() in named:
            continue
        named.add(local.date())
        cancelled = rng.random() < 0.2
        by_day = len(text) == 8
        moved = local + datetime.timedelta(days=rng.randint(-2, 9), hours=0 if all_day else rng.choice((0, 1, 13)))
        length = DAY if all_day else datetime.timedelta(minutes=rng.choice((0, 20)))
        moved_end = clock.utc(moved) + length
        # Behind a day without an occurrence the shift has nothing to start from.
        moves_rest = following is None and gone and local in [places[utc][0] for utc in gone] and \
            rng.random() < 0.4 and (not by_day or local.time() == start.time())
        events.append([clock.line("DTSTART", moved),
                       clock.line("RECURRENCE-ID" + ";RANGE=THISANDFUTURE" * bool(moves_rest), text),
                       "DTEND:" + (moved_end.strftime("%Y%m%d") if all_day else stamp(moved_end) + "Z"),
                       *["STATUS:CANCELLED"] * cancelled])
        number = len(events) - 1
        if moves_rest:
            last = clock.utc(datetime.datetime.combine(local.date(), datetime.time(23, 59, 59))) \
                if by_day else clock.utc(local)
            following = (last, moved - local, length, number, cancelled)
        for utc in gone:
            del places[utc]
        if not cancelled:
            replacements.append(((clock.utc(moved), moved_end, number), False))

    found = []
    for utc, (local, endless) in places.items():
        one = (utc, ends.get(utc) or end_of(local), 0)
        if following and utc > following[0]:
            if following[4]:
                continue
            shifted = local + following[1]
            one = (clock.utc(shifted), clock.utc(shifted) + following[2], following[3])
        found.append((one, endless))
    found += replacements
    within = sorted(one for one, _ in found if one[0] < until and (not from_ or one[0] >= from_))
    beyond = [endless for one, endless in found if one[0] >= until]
    return events, [f"{stamp(a)}/{stamp(b)}/{n}" for a, b, n in within] + \
        (["0", "endless"] if any(beyond) else [str(len(beyond))])


# --- All of them in one calendar ---------------------------------------------------------------

def calendar_of(cases):
    lines = ["BEGIN:VCALENDAR", "VERSION:2.0"]
    for name in ZONES:
        lines += ["BEGIN:VTIMEZONE", "TZID:" + name, *zone_lines(name), "END:VTIMEZONE"]
    for number, (events, _) in enumerate(cases):
        for event in events:
            lines += ["BEGIN:VEVENT", f"UID:{number}", *event, "END:VEVENT"]
    return "\r\n".join([*lines, "END:VCALENDAR", ""]).encode()


if recording:
    folder, count = pathlib.Path(sys.argv[2]), int(sys.argv[3])
    cases = (rng.choice((pattern_case, event_case))() for _ in itertools.count())
    cases = list(itertools.islice((one for one in cases if 1 < len(one[1]) < 20), count))
    (folder / "occurrences.ics").write_bytes(calendar_of(cases))
    (folder / "occurrences.txt").write_text("".join(" ".join(there) + "\n" for _, there in cases))
    sys.exit(0)

cases = [pattern_case() for _ in range(700)] + [event_case() for _ in range(300)]
cases += [week_case(week) for week in (52, 53, -52, -53)]
with tempfile.NamedTemporaryFile(suffix=".ics") as file:
    file.write(calendar_of(cases))
    file.flush()
    text = subprocess.run([sys.argv[1], "items", file.name], capture_output=True, text=True, check=True).stdout
answers = [line[4:].split() for line in text.splitlines() if line.startswith("  > ")]
failures = []
for (events, there), answer in zip(cases, answers, strict=True):
    here = [word for word in answer if "/" in word] + ["?"] if there[-1] == "?" else answer
    if here != there:
        failures.append("\n".join([
            *sum(events, []), f"  only here   {' '.join(word for word in here if word not in there)}"[:300],
            f"  only there  {' '.join(word for word in there if word not in here)}"[:300]]))
alive = sum(len(there) > 2 for _, there in cases)
print(f"seed {seed}: {len(cases)} cases, {alive} of them recur, {len(failures)} failures")
if failures:
    print(min(failures, key=len))
sys.exit(1 if failures or alive < len(cases) // 2 else 0)
