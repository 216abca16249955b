#!/usr/bin/env python3
"""Takes snapshots of a mailbox and restores them, with archives that other programs made, and made
wrong.

usage: snapshot_tests.py SOURCE_DIR BINARY_DIR
"""
import io
import json
import os
import pathlib
import random
import shutil
import signal
import struct
import subprocess
import sys
import threading
import time
import zipfile
import zlib

import tool_runs
from tool_runs import BINARY, PRODUCT_KEY, PROGRAM, check, failures, processes, set_value

WORK = pathlib.Path(BINARY) / "tools-tests" / "snapshots"
MAILBOXES = WORK / "postoffices" / "sales" / "MAILROOT"
ANNA = MAILBOXES / "anna" / "Calendar"
ARCHIVE = WORK / "anna.zip"
MANIFEST = "tarnwick-snapshot.json"

DAY = b"1740821400\t1740823200\tReview\r\n1740821400\t1740823200\tLunch"
TAKEN = {
    "Y25M03D01.CAL": DAY, "Own days.CAL": b"1740787200\t1740873599\t\xe9t\xe9", "Größe.CAL": b"",
    "Torn.CAL": b"1740\r\n\0\x1a17408", "anna@b.example.ICS": b"BEGIN:VCALENDAR", "empty.txt": b"",
    "naïve - 5 €.txt": b"text", "large.bin": random.Random(7).randbytes(300_000) * 10,
}
NOT_TAKEN = {name: b"x" for name in (
    "Y25M03D01.BAK", "Y25M03D01.OLD", "Y25M03D01.TMP", "_CHANGE.DTY", "_3.NEW", "_index.xml",
    "_index.xml.bak", "_activity.tab", "Y25M03D01.CAL.kept", "a.txt.kept2", "b.txt.unfinished")}


def start(*arguments):
    return tool_runs.start(PROGRAM, *arguments, stderr=subprocess.PIPE, cwd=WORK)


def tool(*arguments, status=0, says=""):
    """The standard output; `says` is a part of standard error (None: anything), which is empty
    without one."""
    process = start(*arguments)
    out, error = process.communicate()
    check(arguments, "exit status", process.returncode, status)
    error = error.decode("utf-8", "replace")
    check(arguments, "escape codes", "\x1b" in error, False)
    if says is not None and (not says or says not in error):
        check(arguments, "standard error", error, says)
    return out


def contents(folder):
    return {str(path.relative_to(folder)): path.read_bytes()
            for path in folder.rglob("*") if path.is_file()}


def fill(folder, files):
    folder.mkdir(parents=True, exist_ok=True)
    for name, content in files.items():
        (folder / name).write_bytes(content)


def files_of(archive):
    with zipfile.ZipFile(archive) as opened:
        check(archive, "damaged member", opened.testzip(), None)
        return {info.filename: opened.read(info) for info in opened.infolist()}


def packed(members, compression=zipfile.ZIP_DEFLATED):
    """An archive of names (or ZipInfos) and contents, as another program makes it."""
    data = io.BytesIO()
    with zipfile.ZipFile(data, "w", compression) as archive:
        for name, content in members:
            archive.writestr(name, content, compression)
    return data.getvalue()


def unflagged(name, encoding):
    """A member whose name does not say what its letters are."""
    class Unflagged(zipfile.ZipInfo):
        def _encodeFilenameFlags(self):
            return self.filename.encode(encoding), self.flag_bits
    return Unflagged(name)


def manifest_of(files, **more):
    said = {"formatVersion": 1, "mailbox": "sales/anna", "taken": "", "calendars": [], "items": []}
    for name, content in files:
        is_calendar = name.lower().endswith(".cal")
        file = {"file": name, "bytes": len(content)} | ({"lines": 1} if is_calendar else {})
        said["calendars" if is_calendar else "items"].append(file)
    return json.dumps(said | more).encode()


def snapshot_of(*files, **more):
    """An archive that says of itself what it holds."""
    return packed([(MANIFEST, manifest_of(files, **more)), *files])


def round_trip():
    fill(ANNA, TAKEN | NOT_TAKEN)
    before = contents(WORK)
    rehearsed = tool("snapshot", "sales/anna", "anna.zip", "--dry-run")
    check("snapshot", "files after the dry run", contents(WORK), before)
    said = tool("snapshot", "sales/anna", "anna.zip")
    check("snapshot", "answer", said, b"took 4 calendars of 5 lines and 4 items of sales/anna\n")
    check("snapshot", "dry run", rehearsed, b"dry run: " + said)
    check("snapshot", "mailbox", contents(ANNA), TAKEN | NOT_TAKEN)
    archived = files_of(ARCHIVE)
    told = json.loads(archived.pop(MANIFEST))
    check("archive", "files", archived, {"Calendar/" + name: data for name, data in TAKEN.items()})
    files = sorted((file["file"][9:], file["bytes"]) for file in told["calendars"] + told["items"])
    check("manifest", "files", files, sorted((name, len(data)) for name, data in TAKEN.items()))
    lines = {file["file"][9:]: file["lines"] for file in told["calendars"]}
    check("manifest", "lines", lines,
          {"Y25M03D01.CAL": 2, "Own days.CAL": 1, "Größe.CAL": 0, "Torn.CAL": 2})
    check("manifest", "rest", (told["formatVersion"], told["mailbox"]), (1, "sales/anna"))
    with zipfile.ZipFile(ARCHIVE) as opened:
        date = opened.getinfo("Calendar/large.bin").date_time
    written = time.localtime((ANNA / "large.bin").stat().st_mtime)
    check("archive", "time", date, (*written[:5], written[5] // 2 * 2))
    old = ARCHIVE.read_bytes()
    tool("snapshot", "sales/anna", "anna.zip", status=1, says="--force replaces it")
    ARCHIVE.chmod(0o444)
    tool("snapshot", "sales/anna", "anna.zip", "--force", status=6, says="is read-only")
    ARCHIVE.chmod(0o644)
    check("snapshot", "archive", ARCHIVE.read_bytes(), old)
    said = tool("snapshot", "sales/anna", "anna.zip", "--force", "--json").splitlines()
    check("snapshot", "answer in JSON", json.loads(said[1]),
          {"result": "taken", "calendars": 4, "lines": 5, "items": 4, "leftOut": 0})
    # A mailbox with a folder, and one without; then all is there.
    for mailbox in ("ben", "new"):
        folder = MAILBOXES / mailbox
        rehearsed = tool("restore", "anna.zip", f"sales/{mailbox}", "--dry-run")
        check("restore", "files after the dry run", contents(MAILBOXES / mailbox), {})
        said = tool("restore", "anna.zip", f"sales/{mailbox}")
        check("restore", "dry run", rehearsed, b"dry run: " + said)
        flag = {"_CHANGE.DTY": (folder / "Calendar/_CHANGE.DTY").read_bytes()}
        check(mailbox, "files", contents(folder / "Calendar"), TAKEN | flag)
        said = tool("restore", "anna.zip", f"sales/{mailbox}")
        check("restore", "again", said,
              f"0 files restored, 0 replaced, 8 unchanged in sales/{mailbox}\n".encode())
        check(mailbox, "files", contents(folder / "Calendar"), TAKEN | flag)
    block = ANNA / "Y25M03D01.BLK"
    block.touch()
    tool("snapshot", "sales/anna", "anna.zip", "--force", "--dry-run", status=5, says="is blocked")
    block.unlink()
    tool("snapshot", "sales/anna", ANNA.relative_to(WORK) / "Own days.CAL", "--force", status=2,
         says="would be an item")
    check("snapshot", "files after wrong places", contents(ANNA), TAKEN | NOT_TAKEN)
    tool("restore", "none.zip", "sales/anna", status=1, says="there is no file none.zip")
    tool("restore", "anna.zip", "none/anna", status=1, says="create it, or correct the name")
    tool("snapshot", "sales/none", "none.zip", status=1, says="does not exist")


def repacked():
    """The same files as other programs pack them."""
    members = sorted(files_of(ARCHIVE).items(), reverse=True)
    few = {"Größe.CAL": DAY, "été.txt": b""}
    placed = [("Calendar/" + name, data) for name, data in few.items()]
    for row, data, wanted in (
            ("stored", packed(members, zipfile.ZIP_STORED), TAKEN),
            ("folder", packed([("Calendar/", b""), *members]), TAKEN),
            *((encoding, packed([(MANIFEST, manifest_of(placed)), *(
                (unflagged(name, encoding), data) for name, data in placed)]), few)
              for encoding in ("utf-8", "cp437"))):
        (WORK / "repacked.zip").write_bytes(data)
        shutil.rmtree(MAILBOXES / "ben")
        tool("restore", "repacked.zip", "sales/ben")
        (MAILBOXES / "ben/Calendar/_CHANGE.DTY").unlink()
        check(row, "files", contents(MAILBOXES / "ben/Calendar"), wanted)
    tool("restore", "anna.zip", "sales/ben", status=1, says="e.CAL differs")


def conflicts():
    """What differs is named as a whole, and kept when it is replaced."""
    ben = MAILBOXES / "ben" / "Calendar"
    shutil.rmtree(ben)
    fill(ben, TAKEN)
    changed = {"Y25M03D01.CAL": DAY + b"\r\n1\t2\tNew", "anna@b.example.ICS": b"BEGIN:VCALENDAX"}
    fill(ben, changed | {"Other.CAL": DAY})
    (ben / "empty.txt").unlink()
    before = contents(ben)
    for name in changed:
        tool("restore", "anna.zip", "sales/ben", status=1, says=f"{name} differs")
    check("restore", "files after it was refused", contents(ben), before)
    (ben / "Y25M03D01.CAL").chmod(0o444)
    tool("restore", "anna.zip", "sales/ben", "--force", status=6, says="is read-only")
    (ben / "Y25M03D01.CAL").chmod(0o644)
    check("restore", "files after a read-only one", contents(ben), before)
    said = tool("restore", "anna.zip", "sales/ben", "--force", "--json")
    answers = map(json.loads, said.splitlines()[1:])
    results = {answer["file"]: answer["result"] for answer in answers}
    check("restore", "results", results, dict.fromkeys(TAKEN, "unchanged") |
          dict.fromkeys(changed, "replaced") | {"empty.txt": "restored"})
    kept = {name + ".kept": data for name, data in changed.items()}
    (ben / "_CHANGE.DTY").unlink()
    check("restore", "files", contents(ben), TAKEN | kept | {"Other.CAL": DAY})


def patched(data, offset, values):
    return data[:offset] + values + data[offset + len(values):]


def damaged_archives():
    """Each is refused, with this part of its reason, before anything is written."""
    name, text = "Calendar/x.txt", b"words of text " * 9
    good = snapshot_of((name, text))
    directory = good.rindex(b"PK\1\2")
    member = good.rindex(b"PK\3\4")
    body = member + 30 + len(name)
    end = good.rindex(b"PK\5\6")
    bomb = zlib.compress(b"\0" * 50_000_000)[2:-4]
    liar = packed([(MANIFEST, manifest_of([(name, text)])), (name, bomb)], zipfile.ZIP_STORED)
    at = liar.rindex(b"PK\1\2")
    sizes = struct.pack("<III", zlib.crc32(text), len(bomb), len(text))
    for header, crc in ((liar.rindex(b"PK\3\4"), 14), (at, 16)):
        liar = patched(patched(liar, header + crc, sizes), header + crc - 6, b"\x08\0")
    over = good[:end] + good[directory:end] + patched(
        good[end:], 8, struct.pack("<HHI", 3, 3, end + end - directory - good.index(b"PK\1\2")))
    rows = [
        ("no zip", b"PK", "no zip archive"), ("empty", b"", "no zip archive"),
        ("no manifest", packed([(name, text)]), "no snapshot"),
        ("odd manifest", packed([(MANIFEST, b"[" * 30_000_000)]), "no snapshot"),
        ("later", snapshot_of(formatVersion=2), "later version"),
        ("missing", packed([(MANIFEST, manifest_of([(name, text)]))]), "is missing"),
        ("more", packed([(MANIFEST, manifest_of([])), (name, text)]), "not named by its manifest"),
        ("other size", packed([(MANIFEST, manifest_of([(name, text)])), (name, text[1:])]),
         "another size"),
        ("cut", good[:-30], "no zip archive"),
        ("cut inside", good[:body + 5] + good[body + 9:], "does not end where it says"),
        ("checksum", patched(patched(good, directory + 16, b"abcd"), member + 14, b"abcd"),
         "x.txt\" does not have its checksum"),
        ("bytes", patched(good, body + 6, b"\xff\xff\xff"), "x.txt\""),
        ("size lies", patched(patched(good, directory + 24, b"\x05"), member + 22, b"\x05"),
         "another size"),
        ("bomb", liar, "x.txt\" holds more bytes"),
        ("two headers", patched(good, member + 30, b"B"), "another file than the directory"),
        ("beyond", patched(patched(good, directory + 20, b"\xff\xff"), member + 18, b"\xff\xff"),
         "goes beyond"),
        ("over another", over, "lies over another"),
        ("encrypted", patched(good, directory + 8, b"\1"), "encrypted"),
        ("method", patched(good, directory + 10, b"\x0c"), "other than deflation"),
        ("count", patched(good, end + 8, b"\3\0\3\0"), "is torn"),
        ("zip64", patched(good, end + 16, b"\xff" * 4), "zip64"),
        ("volumes", patched(good, end + 4, b"\1"), "volumes"),
        ("calendar", snapshot_of(("Calendar/Largest.CAL", DAY), ("Calendar/LARGEST.cal", DAY)),
         "twice"),
        ("letters", snapshot_of(("Calendar/é.txt", b""), ("Calendar/É.txt", b"")), "twice"),
        ("lines", packed([(MANIFEST, manifest_of([(name, DAY)]).replace(b"txt", b"cal")),
                          ("Calendar/x.cal", DAY)]), "no file of a snapshot"),
    ]
    rows += [(odd, snapshot_of((odd, DAY)), part) for odd, part in (
        ("..\\x.txt", "its manifest names"), ("Calendar/..\\x.txt", "holds one of"),
        ("Calendar/../x.txt", "holds one of"), ("C:/x.txt", "its manifest names"),
        ("Calendar/C:x.txt", "holds one of"), ("/x.txt", "its manifest names"),
        ("Calendar/NUL.txt", "device"), ("Calendar/com1", "device"),
        ("Calendar/NUL .txt", "device"), ("Calendar/", "is empty"),
        ("Calendar/x.txt.", "ends in a dot"), ("Calendar/x.txt ", "ends in a dot"),
        ("Calendar/a\x1b[1m", "control"), ("Calendar/" + "n" * 70 + ".txt", "longer than"),
        ("Calendar/Y25.BLK", "no file of a snapshot"), ("Calendar/.CAL", "no file of a snapshot"),
        ("Calendar/_index.xml", "no file of a snapshot"), ("Calendar/日.txt", "code page"))]
    # Two members of one name, which the manifest names once.
    two = [(name, text), ("Calendar/y.txt", text)]
    twice = packed([(MANIFEST, manifest_of(two[:1])), *two])
    rows.append(("twice", twice.replace(b"y.txt", b"x.txt"), "twice"))
    before = contents(WORK / "postoffices")
    for row, data, reason in rows:
        (WORK / "odd.zip").write_bytes(data)
        said = tool("restore", "odd.zip", "sales/fresh", "--force", status=1, says=reason)
        check(row, "output", said, b"")
        check(row, "mailbox made", (MAILBOXES / "fresh").exists(), False)
    check("damaged archives", "tree", contents(WORK / "postoffices"), before)


def add_entries(calendar, lines, stop):
    """Adds line by line under the block file, so that half of each is there for a moment, in which
    the calendar is away first."""
    block = calendar.with_suffix(".BLK")
    for count in range(len(lines)):
        while True:
            try:
                block.touch(exist_ok=False)
                break
            except FileExistsError:
                time.sleep(.001)
        calendar.unlink(missing_ok=True)
        time.sleep(.002)
        calendar.write_bytes(b"\r\n".join(lines[:count + 1])[:-3])
        time.sleep(.002)
        calendar.write_bytes(b"\r\n".join(lines[:count + 1]))
        block.unlink()
        time.sleep(.008)
        if stop.is_set():
            return


def while_entries_are_added():
    """What a snapshot sees of a calendar that is being written is whole, and never nothing."""
    busy = MAILBOXES / "busy" / "Calendar"
    lines = [b"%d\t%d\tEntry %d" % (n, n, n) for n in range(100000)]
    fill(busy, {"Busy.CAL": lines[0]})
    stop = threading.Event()
    adding = threading.Thread(target=add_entries, args=[busy / "Busy.CAL", lines, stop])
    adding.start()
    seen = []
    for _ in range(4):
        tool("snapshot", "sales/busy", "busy.zip", "--force", says=None)
        calendar = files_of(WORK / "busy.zip").get("Calendar/Busy.CAL", b"")
        seen.append(calendar.count(b"\n") + 1)
        check("while entries are added", "whole", calendar, b"\r\n".join(lines[:seen[-1]]))
    stop.set()
    adding.join()
    check("while entries are added", "moments", (sorted(seen), len(set(seen))), (seen, 4))


def written(archive):
    """How much there is of an archive that is not finished."""
    try:
        return (WORK / f"{archive}.unfinished").stat().st_size
    except FileNotFoundError:
        return 0


def killed(when, *arguments):
    """Runs the tool and kills it at a moment; true when it was at work then."""
    process = start(*arguments)
    numbers = []
    while process.poll() is None and not (numbers and when()):
        numbers = numbers or processes(arguments[1])
    try:
        for number in numbers:
            os.kill(number, signal.SIGKILL)
    except ProcessLookupError:
        numbers = []
    process.communicate()
    return numbers != []


def ended_on_the_way():
    """The names have the old or the new content at every moment, and the next run completes."""
    folder = MAILBOXES / "long" / "Calendar"
    files = {f"C{n}.CAL": DAY * n for n in range(50)}
    files |= {f"i{n}.bin": random.Random(n).randbytes(70_000) for n in range(30)}
    fill(folder, files)
    archive = WORK / "long.zip"
    for size in (1, 1_000_000):
        killed(lambda: size <= written("long.zip"), "snapshot", "sales/long", "long.zip", "--force")
        whole = not archive.exists() or len(files_of(archive)) == len(files) + 1
        check("killed snapshot", "archive is whole", whole, True)
    tool("snapshot", "sales/long", "long.zip", "--json", "--force")
    before = {name: b"old" for name in files}
    at_work = 0
    for count in (1, 29, 31, 70):
        shutil.rmtree(folder)
        fill(folder, before)
        at_work += killed(lambda: len(list(folder.glob("*.kept"))) >= count,
                          "restore", "long.zip", "sales/long", "--force")
        torn = [name for name in files
                if (folder / name).read_bytes() not in (b"old", files[name])]
        check("killed restore", f"torn at {count}", torn, [])
        check("killed restore", "block file", list(folder.glob("*.BLK")), [])
        tool("restore", "long.zip", "sales/long", "--force", "--json")
        now = contents(folder)
        check("restore again", "files", {name: now.get(name) for name in files}, files)
        check("restore again", "left", [name for name in now if name.endswith(".unfinished")], [])
    check("killed restore", "was at work", at_work >= 2, True)


def changed_meanwhile():
    """What is not of one moment, or was left without its file, is named; the rest is taken."""
    folder = MAILBOXES / "changing" / "Calendar"
    fill(folder, {"large.bin": random.Random(7).randbytes(40_000_000), "Lost.TMP": DAY,
                  "a.txt": b"a", "ā.txt": b"shown as a.txt", "Huge.CAL": b""})
    os.truncate(folder / "Huge.CAL", (256 << 20) + 1)
    taking = start("snapshot", "sales/changing", "changing.zip")
    while taking.poll() is None and written("changing.zip") < 1_000_000:
        pass
    with open(folder / "large.bin", "ab") as item:
        item.write(b"more")
    error = taking.communicate()[1].decode()
    check("changed meanwhile", "exit status", taking.returncode, 4)
    for note in ("large.bin: it was changed", "Lost.CAL: a crash has left it",
                 "a.txt: the system reads", "Huge.CAL: it is larger", "4 files could not"):
        check("changed meanwhile", note, note in error, True)
    check("changed meanwhile", "taken", sorted(files_of(WORK / "changing.zip")),
          ["Calendar/a.txt", "Calendar/large.bin", MANIFEST])


def main():
    shutil.rmtree(WORK, ignore_errors=True)
    for mailbox in ("anna", "ben"):
        (MAILBOXES / mailbox).mkdir(parents=True)
    root = "Z:" + str(WORK / "postoffices").replace("/", "\\")
    set_value(PRODUCT_KEY, "Mail Root", root)
    for test in (round_trip, repacked, conflicts, damaged_archives, while_entries_are_added,
                 changed_meanwhile, ended_on_the_way):
        if not sys.argv[3:] or test.__name__ in sys.argv[3:]:
            begin = time.time()
            test()
            print(f"{test.__name__}: {time.time() - begin:.1f} s")
    return 1 if failures else 0


sys.exit(main())
