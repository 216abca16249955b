"""tarnwick-service as a process: what it says when it cannot start, and that Ctrl-C ends it.

Usage: service_program_test.py SCRIPT_WINE PROGRAM SCRATCH_FOLDER
"""
import os
import re
import signal
import socket
import subprocess
import sys

WINE, PROGRAM, FOLDER = sys.argv[1:4]
failures = 0


def check(condition, what):
    global failures
    if not condition:
        failures += 1
        print("FAILED:", what)


def secret(name, text):
    path = os.path.join(FOLDER, name)
    with open(path, "w", encoding="ascii") as file:
        file.write(text)
    return "Z:" + path.replace("/", "\\")


def command(*arguments):
    return ["bash", WINE, PROGRAM, *arguments]


os.makedirs(FOLDER, exist_ok=True)
GOOD = secret("good.txt", "ann:secret\r\n")
taken = socket.socket()
taken.bind(("127.0.0.1", 0))
taken.listen()

for arguments, status, text in [
    (["--credentials-file", "Z:\\no\\such"], 1, "cannot read Z:\\no\\such"),
    (["--credentials-file", secret("empty.txt", "\n")], 1, "no usable credentials"),
    (["--credentials-file", GOOD, "--address", "no.such.invalid"], 1, "no address no.such.invalid"),
    (["--credentials-file", GOOD, "--port", str(taken.getsockname()[1])], 1,
     "in use by another program"),
    (["--port", "70000"], 2, "70000"),
    (["--idle-seconds", "0"], 2, "--idle-seconds"),
    (["--help"], 0, "(default: the environment variable TARNWICK_SERVICE_CREDENTIALS)"),
]:
    done = subprocess.run(command(*arguments), capture_output=True, timeout=60, check=False)
    output = (done.stdout + done.stderr).decode()
    check(text in output, f"{arguments}: {output}")
    check(done.returncode == status, f"{arguments}: status {done.returncode}")

service = subprocess.Popen(command("--port", "0", "--credentials-file", GOOD),
                           stdout=subprocess.PIPE)
line = service.stdout.readline().decode()
match = re.fullmatch(
    r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ listening on 127\.0\.0\.1:(\d+)\r?\n", line)
check(match, "first line: " + line)
service.send_signal(signal.SIGINT)
rest = service.communicate(timeout=60)[0].decode().split()
check(rest[-1:] == ["stopped"], f"the log: {rest}")
check(service.returncode == 0, f"status {service.returncode}")
sys.exit(1 if failures else 0)
