"""Recurrence rules, and events that recur in time zones, against python-dateutil and the system's
zones: thousands of random ones, occurrence by occurrence.

usage: occurrences_against_dateutil.py OCCURRENCES_TOOL [SEED]
"""
import datetime
import random
import subprocess
import sys
import zoneinfo

import dateutil.rrule

tool = sys.argv[1]
seed = int(sys.argv[2]) if len(sys.argv) > 2 else random.SystemRandom().randrange(10**9)
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


# --- Patterns alone ---------------------------------------------------------------------------

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


def rule_text(parts):
    items = [f"{name}={value}" for name, value in parts.items()]
    rng.shuffle(items)
    return ";".join(items)


def times_there(parts, start, count, last_year):
    """The first times of a rule by dateutil, which is kept from searching to the year 9999."""
    parts = dict(parts)
    if len(str(parts.get("UNTIL", ""))) == 8:
        parts["UNTIL"] += "T235959"
    dateutil.rrule.datetime.MAXYEAR = last_year
    times = []
    try:
        for time in dateutil.rrule.rrulestr(rule_text(parts), dtstart=start):
            if len(times) == count or time.year > last_year:
                break
            times.append(stamp(time))
    except ValueError as error:
        # Hours, minutes or seconds that the interval never meets.
        assert "empty" in str(error), error
    return times


def pattern_case():
    start = random_start()
    parts = random_pattern(start)
    span = (24, 12, 6, 4, 2, 1, 1)[FREQUENCIES.index(parts["FREQ"])]
    last_year = start.year + span
    there = times_there(parts, start, 8, last_year)
    line = f"P {stamp(start)}|8|{last_year}1231|{rule_text(parts)}"

    def check(answer):
        return answer == " ".join(there), there
    return [line], check


def week_case(week):
    """All days of a week by its number, of those that random_pattern leaves out."""
    start = datetime.date(1990, 1, 1)
    there = []
    for day in (start + n * DAY for n in range(365 * 40)):
        year, number, _ = day.isocalendar()
        weeks = datetime.date(year, 12, 28).isocalendar().week
        if week in (number, number - weeks - 1):
            there.append(stamp(day))
    line = f"P {start:%Y%m%d}|5000|{start + (365 * 40 - 1) * DAY:%Y%m%d}|FREQ=DAILY;BYWEEKNO={week}"
    return [line], lambda answer: (answer == " ".join(there), there)


# --- Events in zones --------------------------------------------------------------------------

ZONES = {
    "Europe/Berlin": ("19700329T020000|+0100|+0200|FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU",
                      "19701025T030000|+0200|+0100|FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU"),
    "America/New_York": ("20070311T020000|-0500|-0400|FREQ=YEARLY;BYMONTH=3;BYDAY=2SU",
                         "20071104T020000|-0400|-0500|FREQ=YEARLY;BYMONTH=11;BYDAY=1SU"),
    "Australia/Lord_Howe": ("20081005T020000|+1030|+1100|FREQ=YEARLY;BYMONTH=10;BYDAY=1SU",
                            "20080406T020000|+1100|+1030|FREQ=YEARLY;BYMONTH=4;BYDAY=1SU"),
    "Asia/Kolkata": ("19700101T000000|+0530|+0530|",),
}


class Clock:
    """Times of an event: local ones are naive, those in UTC too."""

    def __init__(self):
        self.name = rng.choice((None, *ZONES))
        self.zone = zoneinfo.ZoneInfo(self.name) if self.name else UTC

    def utc(self, local):
        return local.replace(tzinfo=self.zone).astimezone(UTC).replace(tzinfo=None)

    def local(self, utc):
        return utc.replace(tzinfo=UTC).astimezone(self.zone).replace(tzinfo=None)


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
    text = rule_text(parts)
    rule = dateutil.rrule.rrulestr(text, dtstart=start)
    if "COUNT" in parts and counts_start and next(iter(rule)) != start:
        rule = rule.replace(count=parts["COUNT"] - 1)
    times = []
    for time in rule:
        if time > horizon or (until and time > until + 2 * DAY):
            break
        if not until or (clock.utc(time) if until_is_utc else time) <= until:
            times.append(time)
    return times


def event_case():
    dateutil.rrule.datetime.MAXYEAR = 9999
    clock = Clock()
    all_day = rng.random() < 0.15
    if all_day:
        clock.name, clock.zone = None, UTC
    start = datetime.datetime(2020, 1, 1) + datetime.timedelta(
        days=rng.randrange(2000), hours=0 if all_day else rng.choice((0, 1, 2, 3, 9, 23)),
        minutes=0 if all_day else rng.choice((0, 30)))
    until = clock.utc(start) + datetime.timedelta(days=rng.choice((3, 40, 400)))
    from_ = rng.choice((None, min(until, clock.utc(start) + rng.randrange(30) * DAY)))
    finite = rng.random() < 0.6
    horizon = until + (50000 if finite else 5 * 366) * DAY
    mark = "Z" if clock.name is None else ""

    def zoned(moment):
        return moment.strftime("%Y%m%d") if all_day else stamp(moment) + mark

    lines = ["Z"] + ["O " + observance for observance in ZONES[clock.name]] if clock.name else []
    lines += ["E", "S " + zoned(start)]

    # The length: exact, nominal, or none.
    kind = rng.choice("DL-")
    end = start + (rng.randint(1, 3) * DAY if all_day else datetime.timedelta(minutes=rng.choice((30, 90, 1500))))
    nominal, exact = 0, datetime.timedelta(0)
    if kind == "D":
        lines.append("D " + zoned(end))
        exact = clock.utc(end) - clock.utc(start)
    elif kind == "L":
        nominal, exact = rng.randrange(3), datetime.timedelta(hours=0 if all_day else rng.randrange(30))
        lines.append(f"L P{nominal}DT{exact // datetime.timedelta(hours=1)}H")
    elif all_day:
        nominal = 1

    def end_of(local):
        return max(clock.utc(local), clock.utc(local + nominal * DAY) + exact)

    # What takes place: instant to (local time, whether a rule without end gives it).
    places = {clock.utc(start): (start, False)}
    ends = {}

    def rule(letter, finite):
        parts = simple_rule(start, finite, finite and not all_day)
        until_is_utc = clock.name is not None and rng.random() < 0.5
        text = dict(parts)
        if "UNTIL" in parts:
            text["UNTIL"] = stamp(parts["UNTIL"]) + ("Z" if until_is_utc else mark)
        lines.append(f"{letter} {rule_text(text)}")
        return occurrences_of_rule(parts, start, clock, until_is_utc, horizon, letter == "R")

    for _ in range(rng.choice((0, 1, 1, 1, 2))):
        for local in rule("R", finite):
            places.setdefault(clock.utc(local), (local, not finite))
    if rng.random() < 0.1:
        for local in rule("X", True):
            if clock.utc(local) in places and places[clock.utc(local)][0] == local:
                del places[clock.utc(local)]
    for _ in range(rng.choice((0, 0, 0, 1, 2))):
        local = start + datetime.timedelta(days=rng.randrange(60), hours=0 if all_day else rng.randrange(24))
        if any(line.startswith("X") for line in lines) or clock.utc(local) in places:
            continue
        if all_day or rng.random() < 0.5:
            lines.append("A " + zoned(local))
        elif rng.random() < 0.5:
            lines.append(f"A {zoned(local)}/PT45M")
            ends[clock.utc(local)] = clock.utc(local) + datetime.timedelta(minutes=45)
        else:
            lines.append(f"A {zoned(local)}/{zoned(local + datetime.timedelta(hours=2))}")
            ends[clock.utc(local)] = max(clock.utc(local), clock.utc(local + datetime.timedelta(hours=2)))
        places[clock.utc(local)] = (local, False)

    def name_one():
        """Some occurrence, or none: its text, and the instants that it names."""
        pool = sorted(places)[:20]
        utc = rng.choice(pool) if pool and rng.random() < 0.9 else clock.utc(start) + DAY
        local = places[utc][0] if utc in places else clock.local(utc)
        if all_day or rng.random() < 0.2:
            return (local.strftime("%Y%m%d"),
                    [one for one, (when, _) in places.items() if when.date() == local.date()], local)
        text = stamp(utc) + "Z" if rng.random() < 0.5 or clock.utc(local) != utc else zoned(local)
        return text, [utc] if utc in places else [], local

    for _ in range(rng.choice((0, 0, 1, 3))):
        text, gone, _ = name_one()
        lines.append("N " + text)
        for utc in gone:
            del places[utc]

    replacements, following, number, named = [], None, 0, set()
    for _ in range(rng.choice((0, 0, 1, 2))):
        text, gone, local = name_one()
        if local.date() in named:
            continue
        named.add(local.date())
        number += 1
        cancelled = rng.random() < 0.2
        by_day = len(text) == 8
        moved = local + datetime.timedelta(days=rng.randint(-2, 9), hours=0 if all_day else rng.choice((0, 1, 13)))
        length = DAY if all_day else datetime.timedelta(minutes=rng.choice((0, 20)))
        moved_end = clock.utc(moved) + length
        lines += ["E", "S " + zoned(moved), "I " + text,
                  "D " + (moved_end.strftime("%Y%m%d") if all_day else stamp(moved_end) + "Z")]
        if cancelled:
            lines.append("C")
        # Behind a day without an occurrence the shift has nothing to start from.
        if following is None and gone and local in [places[utc][0] for utc in gone] and rng.random() < 0.4 \
                and (not by_day or local.time() == start.time()):
            lines.append("F")
            named_utc = clock.utc(local)
            last = clock.utc(datetime.datetime.combine(local.date(), datetime.time(23, 59, 59))) if by_day else named_utc
            following = (last, moved - local, length, number, cancelled)
        for utc in gone:
            del places[utc]
        if not cancelled:
            replacements.append((clock.utc(moved), moved_end, number))

    found = []
    for utc, (local, endless) in places.items():
        one = (utc, ends.get(utc) or end_of(local), 0)
        if following and utc > following[0]:
            if following[4]:
                continue
            shifted = local + following[1]
            one = (clock.utc(shifted), clock.utc(shifted) + following[2], following[3])
        found.append((one, endless))
    found += [(one, False) for one in replacements]
    within = sorted(one for one, _ in found if one[0] < until and (not from_ or one[0] >= from_))
    beyond = [endless for one, endless in found if one[0] >= until]
    tail = "0 endless" if any(beyond) else str(len(beyond))
    there = " ".join([f"{stamp(a)}/{stamp(b)}/{n}" for a, b, n in within] + [tail])
    lines.append(f"W {stamp(from_) if from_ else ''}|{stamp(until)}")
    return lines, lambda answer: (answer == there, there)


cases = [pattern_case() for _ in range(5000)] + [event_case() for _ in range(1000)]
cases += [week_case(week) for week in (52, 53, -52, -53)]
text = "\n".join(line for lines, _ in cases for line in lines) + "\n"
answers = subprocess.run([tool], input=text, capture_output=True, text=True, check=True).stdout.splitlines()
failures = []
alive = 0
for (lines, check), answer in zip(cases, answers, strict=True):
    same, there = check(answer.strip())
    alive += bool(there)
    if not same:
        here, there = answer.split(), there if isinstance(there, list) else there.split()
        failures.append("\n".join([
            *lines, f"  only here   {' '.join(word for word in here if word not in there)}"[:300],
            f"  only there  {' '.join(word for word in there if word not in here)}"[:300]]))
print(f"seed {seed}: {len(cases)} cases, {alive} of them with occurrences, {len(failures)} failures")
if failures:
    print(min(failures, key=len))
sys.exit(1 if failures or alive < len(cases) // 2 else 0)
