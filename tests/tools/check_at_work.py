#!/usr/bin/env python3
"""Checks a mail store again and again while eight processes write in it: nothing is wrong with it.

usage: check_at_work.py SOURCE_DIR BINARY_DIR [SECONDS]

The processes change calendars, indexes, messages, connections, flags and markers of four mailboxes,
two processes to each; whatever check names is false. Tells how much was done.
"""
import json
import pathlib
import shutil
import sys
import time

from tool_runs import BINARY, PROGRAM, start, windows_path

SECONDS = int(sys.argv[3]) if len(sys.argv) > 3 else 5
WORK = pathlib.Path(BINARY) / "tools-tests" / "at-work"
MAILBOXES = [WORK / "postoffices" / "sales" / "MAILROOT" / name for name in "abcd"]


def check():
    """What check finds; a store that cannot be checked is a finding too."""
    process = start(PROGRAM, "check", "--json", "--root",
                    windows_path(WORK / "postoffices"))
    found = [json.loads(line) for line in process.communicate()[0].splitlines()[1:]]
    return found or [f"exit status {process.returncode}"] * (process.returncode != 0)


def main():
    shutil.rmtree(WORK, ignore_errors=True)
    entries = b"\r\n".join(b"1740821400\t1740823200\tEntry %d" % number for number in range(500))
    for mailbox in MAILBOXES:
        for folder in ("Inbox", "Calendar"):
            (mailbox / folder).mkdir(parents=True)
        (mailbox / "Calendar" / "Own days.CAL").write_bytes(entries)
    end = time.monotonic() + SECONDS
    writers = [start(f"{BINARY}/bin/store_writer.exe", "work", windows_path(mailbox), f"{mailbox.name}{number}",
                     str(SECONDS)) for mailbox in MAILBOXES for number in (1, 2)]
    checks, found = 0, []
    while time.monotonic() < end:
        found += check()
        checks += 1
    changes = [int(writer.communicate()[0] or 0) for writer in writers]
    found += check()
    print(f"{sum(changes)} changes by {len(changes)} processes, {checks} checks meanwhile, "
          f"{len(found)} findings", *found, sep="\n")
    return 1 if found or min(changes) == 0 else 0


sys.exit(main())
