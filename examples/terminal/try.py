#!/usr/bin/env python3
"""Types at the program in a terminal of its own and looks at what the screen shows."""

import subprocess
import sys
import time
from pathlib import Path

TMUX, PROGRAM, FOLDER = sys.argv[1], sys.argv[2], Path(sys.argv[3])
STORE = FOLDER / "tasks.sqlite"
SOCKET = FOLDER / "terminal.socket"


def tmux(*arguments):
    return subprocess.run([TMUX, "-S", SOCKET, "-f", "/dev/null", *arguments], capture_output=True,
                          text=True, timeout=30).stdout


def start():
    tmux("new-session", "-d", "-x", "70", "-y", "16", f"{PROGRAM} {STORE}")


def keys(*names):
    for name in names:
        tmux("send-keys", name)


def expect(*lines):
    """Waits until the screen begins with these lines."""
    deadline = time.monotonic() + 20
    while True:
        shown = [line.rstrip() for line in tmux("capture-pane", "-p").splitlines()]
        if shown[:len(lines)] == list(lines):
            return shown
        if time.monotonic() > deadline:
            sys.exit(f"expected {lines}, the screen shows {shown}")
        time.sleep(0.05)


def main():
    for old in FOLDER.glob("tasks.sqlite*"):
        old.unlink()
    start()
    try:
        expect("")
        keys("a", "water the plants", "Enter", "a", "call Ben", "Enter")
        expect("To do (2)", " [ ] call Ben", " [ ] water the plants", "")
        # Another context saves on another thread, and the list shows it by itself.
        keys("i")
        expect("To do (5)", " [ ] buy bread", " [ ] call Ben", " [ ] read the feed",
               " [ ] reply to Ann", " [ ] water the plants")
        # The selection stays on its object, which moves to the other section and back.
        keys("Down", "Down", "Space")
        expect("To do (4)", " [ ] buy bread", " [ ] read the feed", " [ ] reply to Ann",
               " [ ] water the plants", "Done (1)", " [x] call Ben")
        keys("Space")
        expect("To do (5)", " [ ] buy bread", " [ ] call Ben")
        keys("Space", "d")
        shown = expect("To do (4)", " [ ] buy bread", " [ ] read the feed", " [ ] reply to Ann",
                       " [ ] water the plants", "")
        if "1 out" not in shown[14]:
            sys.exit(f"the delegate was told of another change: {shown[14]}")
        keys("q")
        start()
        expect("To do (4)", " [ ] buy bread")
        keys("q")
    finally:
        tmux("kill-server")
    print("The list followed its store")


main()
