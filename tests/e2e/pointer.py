"""Uses the pointer of the display: drags a file from one program into another."""

import subprocess

import pyatspi
from screen_reader import eventually

NEAR = 6  # pixels that begin a drag, and between its steps


def xdotool(*arguments):
    return subprocess.run(["xdotool", *(str(argument) for argument in arguments)], check=False,
                          stdout=subprocess.PIPE, text=True).stdout.strip()


def _place_below_all(desktop, window):
    """Into the lower left corner of the screen, where no window of the wizard stands."""
    height = int(desktop.screen.split("x")[1])
    outline = dict(line.split("=") for line in xdotool("getwindowgeometry", "--shell", window).splitlines())
    xdotool("windowmove", "--sync", window, 0, height - int(outline["HEIGHT"]))


def drag(desktop, program, file, target):
    """Drags the file out of `program` and drops it onto a control, which has to take it.

    The program goes on: the other one asks it for the file behind the drop.
    """
    log = "drag.log"
    desktop.start([program, file], log)
    window = eventually(lambda: xdotool("search", "--onlyvisible", "--name", "^drag_source$"), "the source of the drag")
    _place_below_all(desktop, window)
    there = target.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
    xdotool("mousemove", "--window", window, NEAR, NEAR, "mousedown", 1)
    for step in (2, 4):
        xdotool("mousemove", "--window", window, step * NEAR, step * NEAR)
    for step in range(4):
        xdotool("mousemove", there.x + there.width // 2 + step * NEAR, there.y + there.height // 2)
    eventually(lambda: "accepted" in desktop.log(log), "a window that takes the file")
    xdotool("mouseup", 1)
    eventually(lambda: "dropped" in desktop.log(log), "the drop")
