#!/usr/bin/env python3
"""The page that `tarnwick-admin report` writes of a damaged store, read by a strict parser and
shown by a browser.

usage: report_tests.py SOURCE_DIR BINARY_DIR page|browser

The store is that of check_damages.py, with mailboxes beside it whose names and IDs are markup. What
the page says is compared with what check, locks and doctor say. Without a browser the status is 77.
"""
import collections
import datetime as dt
import html.parser
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import zlib

import check_damages as damages
from check_damages import BINARY, PROGRAM, check, tool, windows_path, wine

WORK = damages.WORK = pathlib.Path(BINARY) / "tools-tests" / "report"
MAILBOXES = damages.MAILBOXES = WORK / "postoffices" / "sales" / "MAILROOT"
PAGE = WORK / "store.html"
YEAR = 2026
MARKUP = "O'Brien & S\u00f6hne"
REPLACEMENT = "\ufffd"
SHOWN_OF_A_KIND = 5
BROWSERS = ("chromium", "chromium-browser", "google-chrome")


def build():
    damages.build()
    new_year = int(dt.datetime(YEAR, 1, 1, tzinfo=dt.timezone.utc).timestamp())
    day = lambda number, second=0: new_year + 86400 * number + second
    lines = lambda entries: "\r\n".join(map("\t".join, entries)).encode("cp1252")
    entry = lambda d, k: (str(day(d, 900 * k)), str(day(d + 20 * (d % 49 == 0), 900 * k)),
                          f"E{d} {k}")
    for mailbox, files in {
            "anna": {f"Own {n}.CAL": lines(entry(d, k) for d in range(n, 365, 7 * n)
                                           for k in range(d % 11))
                     for n in (1, 2, 3)} | {
                "agenda.txt": b"x" * 1234, "_a.kept plan.txt": b"items",
                "agenda.txt.kept2": b"none", "anna.zip.unfinished": b"none"},
            "ben": {"Y24.CAL": lines([(f"{day(-500)}", f"{day(-300)}", "Fair")])},
            "many": {"Own.CAL": lines((f"x{number}", "5", f"E{number}") for number in range(500))},
            MARKUP: {"b&'.CAL": lines(("5", "4", name) for name in (
                         "<script>alert(1)</script>", '&lt;" onload="x', "\u20ac\xff'", "a\tb")),
                     "<i>\x01\"\xff.CAL": b"", "x\udcff\udcfe.CAL": b"5\t4\t\x81\x8d"}}.items():
        damages.write(MAILBOXES / mailbox,
                      {f"Calendar/{name}": content for name, content in files.items()}, damages.OLD)
    for key in (r"HKLM\SOFTWARE\Wow6432Node\Tarnwick", r"HKLM\SOFTWARE\Tarnwick",
                r"HKCU\SOFTWARE\Wow6432Node\Tarnwick"):
        wine("reg", "delete", key, "/f")
    for name, kind, value in (("Mail Root", "REG_SZ", windows_path(WORK / "postoffices")),
                              ("Backup Index", "REG_DWORD", "1")):
        wine("reg", "add", damages.PRODUCT_KEY, "/v", name, "/t", kind, "/d", value, "/f")


def report(*arguments, status, error=""):
    done = wine(PROGRAM, "report", *arguments)
    check(arguments, "exit status", done.returncode, status)
    check(arguments, "error", error if error in done.stderr.decode() else done.stderr, error)
    check(arguments, "left beside the page", list(WORK.glob("*.unfinished")), [])
    return done.stdout


class Node:
    def __init__(self, tag, attributes):
        self.tag, self.attributes, self.children = tag, attributes, []

    def whole_text(self):
        return "".join(c if isinstance(c, str) else c.whole_text() for c in self.children)

    def text(self):
        return re.sub("[ \n]+", " ", self.whole_text()).strip()

    def all(self, tag, style=None):
        """The elements below, in their order, with the class if there is one."""
        for child in self.children:
            if isinstance(child, str):
                continue
            if child.tag == tag and style in (None, child.attributes.get("class")):
                yield child
            yield from child.all(tag, style)

    def texts(self, tag, style=None):
        return [node.text() for node in self.all(tag, style)]

    def outline(self):
        """All there is, without the blanks that lay it out."""
        yield self.tag, self.attributes
        for child in self.children:
            if not isinstance(child, str):
                yield from child.outline()
            elif child.strip():
                yield child.strip()
        yield "/" + self.tag


class StrictParser(html.parser.HTMLParser):
    """A tree of elements of which each is closed in its turn, and that asks for nothing outside."""

    def __init__(self, text):
        super().__init__()
        self.root = Node("", {})
        self.open, self.faults, self.ids, self.targets = [self.root], [], [], []
        self.feed(text)
        self.close()
        self.faults += [f"open: {node.tag}" for node in self.open[1:]]
        self.faults += [f"twice: {i}" for i, n in collections.Counter(self.ids).items() if n > 1]
        self.faults += [f"nowhere: {name}" for name in self.targets if name[1:] not in self.ids]

    def handle_starttag(self, tag, attrs):
        node = Node(tag, dict(attrs))
        self.open[-1].children.append(node)
        if len(attrs) != len(node.attributes) or tag in ("script", "link", "img", "iframe"):
            self.faults.append(f"start: {tag} {attrs}")
        for name, value in attrs:
            if name.startswith("on") or name in ("src", "style") or value is None or "://" in value:
                self.faults.append(f"attribute: {name}={value}")
        self.ids += [value for name, value in attrs if name == "id"]
        self.targets += [value for name, value in attrs if name == "href"]
        if tag != "meta":
            self.open.append(node)

    def handle_startendtag(self, tag, attrs):
        self.faults.append(f"start and end: {tag}")

    def handle_endtag(self, tag):
        if self.open[-1].tag == tag:
            self.open.pop()
        else:
            self.faults.append(f"end: {tag} in {self.open[-1].tag}")

    def handle_data(self, data):
        self.open[-1].children.append(data)


def parsed(path):
    text = path.read_bytes().decode("utf-8")
    strict = StrictParser(text)
    check(path.name, "faults", strict.faults, [])
    check(path.name, "characters", set(re.findall(r"[\0-\x09\x0b-\x1f\x7f-\x9f]", text)), set())
    check(path.name, "type", text[:16], "<!DOCTYPE html>\n")
    check(path.name, "outside", re.findall(r"(?i)https?:|url\(|@import", text), [])
    return strict.root


def shown(text):
    """A text as a page has it."""
    text = re.sub(r"[\x7f-\x9f]", REPLACEMENT, text)
    return "".join(chr(0x2400 + ord(c)) if c < " " else c for c in text).strip()


def without_age(text):
    return re.sub(r"for \d+ (min \d+ )?s\b", "for a time", text)


def advice_of(item):
    code, where = item.texts("code")
    return code, where, *map(without_age, item.texts("p")[1:] + item.texts("pre"))


def check_problems(page):
    wanted = {}
    for finding in tool("check", status=3):
        mailbox = finding["file"].removeprefix(windows_path(MAILBOXES) + "\\").split("\\")[0]
        where = "".join(f", {k} {finding[k]}" for k in ("line", "offset") if k in finding)
        texts = (finding["file"] + where, finding["means"], finding["mend"])
        wanted.setdefault((f"sales/{mailbox}", finding["problem"]), []).append(
            (finding["problem"], *(shown(without_age(text)) for text in texts)))
    section, got, mailbox, counts = next(page.all("section")), {}, "", {}
    for node in section.children:
        if isinstance(node, str):
            continue
        if node.tag == "h3":
            mailbox, count = re.fullmatch(r"(.*) ([\d,]+) problems?", node.text()).groups()
            counts[mailbox] = int(count.replace(",", ""))
        for item in node.all("li") if node.tag == "ul" else []:
            if item.text().startswith("and "):
                code = item.texts("code")[0]
                more = int(re.match(r"and ([\d,]+) more", item.text())[1].replace(",", ""))
                check(mailbox, "more", more + SHOWN_OF_A_KIND, len(wanted[mailbox, code]))
                check(mailbox, "shown by", item.texts("pre"), [f"tarnwick-admin check {mailbox}"])
                del wanted[mailbox, code][SHOWN_OF_A_KIND:]
            else:
                got.setdefault((mailbox, item.texts("code")[0]), []).append(advice_of(item))
    kinds = {row[0]: [int(n.replace(",", "")) for n in row[1:]] for row in table(section)}
    check("kinds", "problems", kinds.pop("all"), [sum(counts.values()), len(counts)])
    for code, (count, places) in kinds.items():
        check(code, "places", places, sum(1 for _, kind in wanted if kind == code))
    check("kinds", "sum", sum(count for count, _ in kinds.values()), sum(counts.values()))
    check("kinds", "most first", [n for n, _ in kinds.values()],
          sorted((n for n, _ in kinds.values()), reverse=True))
    check("problems", "findings", got, wanted)
    check("problems", "of many", counts["sales/many"], 500)
    check("problems", "markup", '<script>alert(1)</script>' in section.text(), True)


def table(node):
    """The cells of the rows of its first table."""
    body = next(node.all("tbody"))
    return [[cell.text() for cell in row.children if not isinstance(cell, str)]
            for row in body.all("tr")]


def entries_of(mailbox):
    for path in (MAILBOXES / mailbox / "Calendar").glob("*.CAL"):
        for line in path.read_bytes().split(b"\r\n"):
            start, end, _ = line.split(b"\t", 2)
            yield int(start), int(end)


def check_mailboxes(page):
    rows = {row[0]: [int(cell.replace(",", "")) for cell in row[1:]]
            for row in table(list(page.all("section"))[1])}
    check("mailboxes", "names", sorted(rows), sorted(
        ["all", *(f"sales/{path.name}" for path in MAILBOXES.iterdir())]))
    calendars = list((MAILBOXES / "anna" / "Calendar").glob("*.CAL"))
    check("anna", "sizes", rows["sales/anna"],
          [0, 3, sum(path.stat().st_size for path in calendars), len(list(entries_of("anna"))),
           2, 1239, 0])
    indexes = ("Inbox/_index.xml", "Tasks/_index.xml", "Groups/_groups.xml")
    check("torn", "index bytes", rows["sales/torn"][6],
          sum((MAILBOXES / "torn" / name).stat().st_size for name in indexes))
    listed = tool("list", "sales/torn", status=0)
    check("torn", "entries", rows["sales/torn"][3],
          len(listed + tool("list", "sales/torn", "--calendar", "Own days", status=0)))
    check("all", "sum", rows.pop("all"), [sum(column) for column in zip(*rows.values())])


def check_year(page):
    days = [dt.date(YEAR, 1, 1) + dt.timedelta(number) for number in range(365)]
    counts = collections.Counter()
    for start, end in entries_of("anna"):
        first, last = (dt.datetime.fromtimestamp(t, dt.timezone.utc).date() for t in (start, end))
        counts.update(day for day in days if first <= day <= last)
    words = lambda n: "no entries" if n == 0 else "1 entry" if n == 1 else f"{n} entries"
    section = list(page.all("section"))[2]
    figure, = section.all("figure")
    check("anna", "days", figure.texts("title"),
          [f"{d.day} {d:%b} {d.year}: {words(counts[d])}" for d in days])
    shades = [sum(counts[d] >= least for least in (1, 2, 4, 8)) for d in days]
    check("anna", "shades", [square.attributes["class"] for square in figure.all("rect")],
          [f"d{shade}" for shade in shades])
    check("anna", "every shade", set(shades), set(range(5)))
    check("anna", "months", figure.texts("span"),
          [f"{dt.date(YEAR, month, 1):%b}" for month in range(1, 13)])
    months = [[d for d in days if d.month == m] for m in range(1, 13)]
    check("anna", "table", [row[1:] for row in table(figure)],
          [[str(sum(counts[d] > 0 for d in m)), str(max(counts[d] for d in m))] for m in months])
    picture = next(figure.all("div", "months")).attributes
    label = picture["aria-label"]
    check("anna", "in words", (picture["role"], label.startswith(f"sales/anna in {YEAR}: "),
                               f"on {sum(counts[d] > 0 for d in days)} days" in label),
          ("img", True, True))
    check("legend", "shades", len(next(section.all("ul", "legend")).texts("li")), 5)


def check_rest(page):
    locks, machine = list(page.all("section"))[3:]
    check("locks", "shown",
          [(item.texts("code")[0], item.texts("p")[2]) for item in locks.all("li")],
          [(lock["file"], "broken " + lock["broken"]) for lock in tool("locks", status=0)])
    said = tool("doctor", status=0)
    check("doctor", "risks", [advice_of(item) for item in machine.all("li")],
          [(o["risk"], o.get("setting", o.get("file")), o["means"], o["mend"])
           for o in said if "risk" in o])
    settings = [row for node in machine.all("div", "scroll") for row in table(node)]
    for wanted in (o for o in said if "from" in o):
        found = [row for row in settings if row[0] == wanted["setting"]]
        check(wanted["setting"], "value",
              [(row[1].startswith(wanted["value"]), row[2]) for row in found],
              [(True, wanted["from"])])


def state():
    return {path: (path.read_bytes(), path.stat().st_mtime_ns)
            for path in MAILBOXES.rglob("*") if path.is_file()}


def make():
    build()
    before = state()
    said = report("store.html", "--year", str(YEAR), status=3,
                  error="problems found; store.html shows them")
    check("report", "said", re.sub(rb"\d+", b"n", said),
          b"wrote store.html: n mailboxes, n problems\n")
    check("report", "store", state(), before)


def page():
    make()
    root = parsed(PAGE)
    valid = subprocess.run(["tidy", "-quiet", "-errors", str(PAGE)], capture_output=True)
    check("tidy", "errors and warnings", valid.stderr, b"")
    check_problems(root)
    check_mailboxes(root)
    check_year(root)
    check_rest(root)
    whole = PAGE.read_bytes()
    report("store.html", "sales/nobody", status=1, error='there is no "sales/nobody"')
    report("store.html", "--year", "26", status=2, error="is no year")
    report("Y26.CAL", status=2, error="let it end in .html")
    report("store.html", "--host", "north", status=2, error="leave --host away")
    report(r"none\store.html", status=1, error="cannot be written")
    report("store.html", "--root", windows_path(WORK / "none"), status=1, error="or --root")
    PAGE.chmod(0o444)
    report("store.html", "sales/anna", status=6, error="is read-only")
    check("store.html", "kept", PAGE.read_bytes(), whole)
    PAGE.chmod(0o644)
    answer, = tool("report", "store.html", "sales/anna", status=0)
    check("json", "answer", answer, {"file": windows_path(PAGE), "findings": 0, "mailboxes": 1,
                                     "locks": 0, "machineProblems": 0, "risks": 3})
    check("anna alone", "verdict", parsed(PAGE).text().count("No problem found."), 1)
    report("copy.html", "sales/torn", "--root", windows_path(WORK / "postoffices"), status=3,
           error="1 problem found; copy.html shows it")
    mends = next(parsed(WORK / "copy.html").all("section")).texts("pre")
    check("copy.html", "mends", mends,
          [f"tarnwick-admin --root {windows_path(WORK / 'postoffices')} recover sales/torn"])


# What a browser makes of the page in a frame: its width, what hangs over, and the least contrasts.
PROBE = """<!DOCTYPE html><meta charset="utf-8">
<iframe src="store.html" style="width:WIDTHpx;height:900px;border:0"></iframe><script>
const numbers = color => color.match(/[\\d.]+/g).map(Number);
const light = color => numbers(color).slice(0, 3).map(n => n / 255).map(
    n => n <= 0.04045 ? n / 12.92 : ((n + 0.055) / 1.055) ** 2.4
).reduce((sum, n, at) => sum + n * [0.2126, 0.7152, 0.0722][at], 0);
const contrast = (a, b) =>
    (Math.max(light(a), light(b)) + 0.05) / (Math.min(light(a), light(b)) + 0.05);
onload = () => {
    const page = frames[0].document, style = node => frames[0].getComputedStyle(node);
    const back = node => numbers(style(node).backgroundColor)[3] === 0
        ? back(node.parentNode) : style(node).backgroundColor;
    const walk = page.createTreeWalker(page.body, NodeFilter.SHOW_TEXT), texts = [], shades = [];
    while (walk.nextNode()) {
        const node = walk.currentNode.parentNode;
        if (walk.currentNode.data.trim() && !node.closest('svg'))
            texts.push(contrast(style(node).color, back(node)));
    }
    for (const square of page.querySelectorAll('.d1, .d2, .d3, .d4'))
        shades.push(contrast(style(square).fill, back(square.closest('section'))));
    const all = page.documentElement;
    document.title = JSON.stringify([all.clientWidth, all.scrollWidth, Math.min(...texts) >= 4.5,
                                     Math.min(...shades) >= 3, texts.length > 500]);
};
</script>"""


def browse(name, *arguments):
    """What the browser prints when it has loaded the page."""
    program = next(filter(None, map(shutil.which, BROWSERS)))
    quiet = ("--headless --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-sync "
             "--disable-background-networking --disable-component-update --hide-scrollbars "
             "--allow-file-access-from-files")
    with tempfile.TemporaryDirectory() as profile:
        done = subprocess.run([program, *quiet.split(), f"--user-data-dir={profile}", *arguments,
                               (WORK / name).as_uri()], capture_output=True, timeout=100)
    return done.stdout.decode()


def picture(path):
    """The colour of the upper left corner, and the number of rows that differ."""
    data = path.read_bytes()
    width, kind = int.from_bytes(data[16:20], "big"), data[25]
    blocks, at = b"", 8
    while at < len(data):
        size = int.from_bytes(data[at:at + 4], "big")
        blocks += data[at + 8:at + 8 + size] if data[at + 4:at + 8] == b"IDAT" else b""
        at += size + 12
    rows, stride = zlib.decompress(blocks), 1 + width * {2: 3, 6: 4}[kind]
    return rows[1:4].hex(), len({rows[at:at + stride] for at in range(0, len(rows), stride)})


def browser():
    make()
    root = parsed(PAGE)
    seen = StrictParser(browse("store.html", "--dump-dom")).root
    check("browser", "document", list(seen.outline()), list(root.outline()))
    for scheme, number, corner in (("light", 1, "f6f7f8"), ("dark", 0, "11151a")):
        chosen = f"--blink-settings=preferredColorScheme={number}"
        file = WORK / f"{scheme}.png"
        browse("store.html", chosen, "--window-size=1100,3000", f"--screenshot={file}")
        colour, rows = picture(file)
        check(scheme, "picture", (colour, rows > 300), (corner, True))
        for width in (400, 1100):
            (WORK / "probe.html").write_text(PROBE.replace("WIDTH", str(width)))
            title, = StrictParser(browse("probe.html", chosen, "--dump-dom")).root.texts("title")
            check(f"{scheme}, {width} pixels", "width, contrasts", json.loads(title),
                  [width, width, True, True, True])
    browse("store.html", f"--print-to-pdf={WORK / 'store.pdf'}", "--no-pdf-header-footer")
    printed = (WORK / "store.pdf").read_bytes()
    check("paper", "pages", len(re.findall(rb"/Type /Page\b", printed)) > 5, True)
    streams = re.findall(rb"stream\r?\n(.*?)\r?\nendstream", printed, re.S)
    texts = [zlib.decompressobj().decompress(s) for s in streams if s[:1] == b"\x78"]
    check("paper", "texts", sum(len(re.findall(rb"\bT[jJ]\b", t)) for t in texts) > 500, True)


def main():
    if sys.argv[3] == "browser" and not any(map(shutil.which, BROWSERS)):
        print("there is no browser here, none of", *BROWSERS)
        return 77
    WORK.mkdir(parents=True, exist_ok=True)
    {"page": page, "browser": browser}[sys.argv[3]]()
    wine("reg", "delete", damages.PRODUCT_KEY, "/v", "Backup Index", "/f")
    return 1 if damages.failures else 0


sys.exit(main())
