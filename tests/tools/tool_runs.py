"""What the tests of the built tool share: Windows programs run in a Wine prefix that has a registry of
its own (one test at a time; TARNWICK_PREFIX names it), and rows that are counted when they fail."""
import os
import pathlib
import subprocess
import sys

SOURCE, BINARY = sys.argv[1:3]
PREFIX = pathlib.Path(os.environ.setdefault("TARNWICK_PREFIX", f"{SOURCE}/build/wine-tools1"))
PROGRAM = f"{BINARY}/bin/tarnwick-admin.exe"
PRODUCT_KEY = r"HKLM\SOFTWARE\Wow6432Node\Tarnwick\Tarnwick"
PROVIDERS_KEY = r"HKLM\SOFTWARE\Tarnwick\Tarnwick\Providers"
# Wine reads arguments in the character set of the locale.
ENVIRONMENT = dict(os.environ, LC_ALL="C.UTF-8")
failures = []


def check(row, what, got, wanted):
    if got != wanted:
        failures.append(row)
        print(f"FAILED {row}: {what}\n  wanted {wanted!r:.700}\n  got    {got!r:.700}")


def command(arguments):
    return ["bash", f"{SOURCE}/script/wine", *map(str, arguments)]


def start(*arguments, **options):
    options = {"stdout": subprocess.PIPE, "env": ENVIRONMENT, **options}
    return subprocess.Popen(command(arguments), **options)


def wine(*arguments, stdin=b"", cwd=None):
    return subprocess.run(command(arguments), input=stdin, capture_output=True, env=ENVIRONMENT,
                          cwd=cwd)


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def set_value(key, name, value, kind="REG_SZ"):
    wine("reg", "add", key, "/v", name, "/t", kind, "/d", value, "/f")


def delete_values(key, *names):
    for name in names:
        wine("reg", "delete", key, "/v", name, "/f")


def processes(text):
    """The numbers of the tool's processes with the text in their command lines."""
    numbers = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            words = (process / "cmdline").read_bytes().decode(errors="replace").split("\0")
        except OSError:
            continue
        if words[0].endswith("tarnwick-admin.exe") and text in words:
            numbers.append(int(process.name))
    return numbers
