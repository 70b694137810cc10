"""The wizard's windows under a real window manager, by keyboard alone.

    window_manager_test.py FOLDER_WITH_THE_PROGRAMS

The pages stand in one place, stay above the host's window, are within the work area, have the told titles and the
icon, and keep the keyboard after a question. Once on a common screen, once on one of Full HD at twice the size, once
on a small one. Ends with 77 where this machine lacks what is needed.
"""

import os
import re
import signal
import subprocess
import sys
import time

import private_desktop

SKIPPED = 77
LONGEST = 240  # seconds
PATIENCE = 20  # seconds
SCREENS = [("1280x900", "1"), ("1920x1080", "2"), ("1024x768", "1")]


def check(condition, what):
    if not condition:
        raise AssertionError(what)


def eventually(answer, what):
    """What `answer` gives as soon as that is true."""
    end = time.monotonic() + PATIENCE
    while True:
        given = answer()
        if given:
            return given
        check(time.monotonic() < end, f"waited in vain for {what}")
        time.sleep(0.05)


class Windows:
    def __init__(self, environment):
        self.environment = environment

    def run(self, *command):
        done = subprocess.run(command, env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              text=True, check=False)
        return done.stdout

    def shown(self, title):
        """The windows of exactly that title that are on the screen."""
        return set(self.run("xdotool", "search", "--onlyvisible", "--name", f"^{title}$").split())

    def next(self, title, before):
        """The window of that title that was not there before."""
        return eventually(lambda: self.shown(title) - before, f"a new window '{title}'").pop()

    def is_active(self, window):
        return self.run("xdotool", "getactivewindow").strip() == window

    def expect_active(self, window, what):
        eventually(lambda: self.is_active(window), f"the keyboard in {what}")

    def press(self, *keys):
        self.run("xdotool", "key", "--delay", "30", *keys)

    def type(self, text):
        self.run("xdotool", "type", "--delay", "5", text)

    def property(self, window, name):
        return self.run("xprop", "-id", window, name).split("=", 1)[-1].strip()

    def outline(self, window):
        """Left, top, width and height, frame included."""
        info = self.run("xwininfo", "-id", window)
        left, top, width, height = (int(re.search(rf"{word}:\s+(-?\d+)", info).group(1)) for word in (
            "Absolute upper-left X", "Absolute upper-left Y", "Width", "Height"))
        frame = [int(number) for number in re.findall(r"\d+", self.property(window, "_NET_FRAME_EXTENTS"))]
        check(len(frame) == 4, f"no frame around {window}: {frame}")
        return (left - frame[0], top - frame[2], width + frame[0] + frame[1], height + frame[2] + frame[3])

    def is_within(self, window, screen):
        left, top, width, height = self.outline(window)
        return left >= 0 and top >= 0 and left + width <= screen[0] and top + height <= screen[1]


def look_at(windows, window, host, screen):
    """What holds for every page."""
    windows.expect_active(window, "the page")
    above = re.search(r"0x[0-9a-f]+", windows.property(window, "WM_TRANSIENT_FOR"))
    check(above and int(above.group(), 16) == int(host), f"the page stands above {above}")
    check(windows.property(window, "_NET_WM_NAME") == '"KESTREL Import"', "the title is not the told one")
    check("Icon" in windows.property(window, "_NET_WM_ICON") or
          "not found" not in windows.run("xprop", "-id", window, "-len", "16", "_NET_WM_ICON"), "no icon")
    eventually(lambda: windows.is_within(window, screen), f"{windows.outline(window)} within {screen}")


def tell(windows, screen):
    host = windows.next("KESTREL Adressen", set())
    windows.expect_active(host, "the host's window")
    eventually(lambda: windows.is_within(host, screen), f"the host's {windows.outline(host)} within {screen}")
    windows.press("alt+i")
    step1 = windows.next("KESTREL Import", set())
    look_at(windows, step1, host, screen)
    windows.run("xdotool", "windowmove", "--sync", step1, "33", "21")
    place = windows.outline(step1)
    windows.run("xdotool", "windowactivate", "--sync", step1)
    # One key after another, as fast as they come.
    windows.press("alt+n", "Tab", "Down", "Return")
    step2 = windows.next("KESTREL Import", {step1})
    eventually(lambda: step1 not in windows.shown("KESTREL Import"), "the end of step 1")
    look_at(windows, step2, host, screen)
    # A point may be more than one dot of the screen.
    eventually(lambda: all(abs(now - then) < 2 for now, then in zip(windows.outline(step2), place)),
               f"{windows.outline(step2)} at {place}")
    # A file that is missing is told; then the keyboard is in the page again.
    windows.press("Tab")
    windows.type("/gibt/es/nicht.txt")
    windows.press("alt+w")
    box = windows.next("KESTREL Import", {step2})
    windows.expect_active(box, "the message")
    check("not found" not in windows.run("xprop", "-id", box, "-len", "16", "_NET_WM_ICON"), "no icon on the box")
    windows.press("Return")
    windows.expect_active(step2, "the page behind its message")
    # Nobody wants the work of the page under the host's window.
    windows.run("xdotool", "windowactivate", host)
    stack = re.findall(r"0x[0-9a-f]+", windows.run("xprop", "-root", "_NET_CLIENT_LIST_STACKING"))
    order = [int(window, 16) for window in stack]
    check(order.index(int(step2)) > order.index(int(host)), "the host's window covers the page")
    windows.run("xdotool", "windowactivate", step2)
    windows.expect_active(step2, "the page once more")
    windows.press("alt+a")
    eventually(lambda: not windows.shown("KESTREL Import"), "the end of the wizard")
    windows.press("ctrl+q")


def stop(number, _):
    raise TimeoutError(f"stopped by signal {number}")


def main():
    for number in (signal.SIGALRM, signal.SIGTERM, signal.SIGINT):
        signal.signal(number, stop)
    signal.alarm(LONGEST)
    lacking = private_desktop.missing()
    if lacking:
        print(f"Skipped: {lacking} is not installed.")
        return SKIPPED
    programs = sys.argv[1]
    for size, scale in SCREENS:
        with private_desktop.PrivateDesktop(size) as desktop:
            desktop.environment["QT_SCALE_FACTOR"] = scale
            folder = os.path.join(desktop.folder, "host")
            subprocess.run([os.path.join(programs, "kestrel-import"), "init", folder], check=True,
                           stdout=subprocess.DEVNULL)
            windows = Windows(desktop.environment)
            desktop.start_window_manager()
            host = desktop.start([os.path.join(programs, "kestrel-host"), folder], "host.log")
            try:
                tell(windows, tuple(int(number) for number in size.split("x")))
                eventually(lambda: host.poll() is not None, "the end of the host")
            except Exception as error:
                print(f"{type(error).__name__} on {size} at {scale}: {error}")
                print(desktop.log("host.log"))
                if len(sys.argv) > 2:
                    windows.run("import", "-window", "root", sys.argv[2])
                raise
            print(f"{size} at {scale}: the pages keep their frame.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
