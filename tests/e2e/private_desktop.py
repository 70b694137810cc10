"""A display and a session bus of one's own, for programs that are driven from outside.

Everything started here ends with the desktop, also when the test fails: each program leads a process group of
its own, and the groups are ended.
"""

import os
import shutil
import signal
import subprocess
import tempfile
import time

NEEDED_PROGRAMS = ("Xvfb", "dbus-daemon", "openbox", "xdotool", "xprop", "setxkbmap")
SCREEN = "1280x900"
PATIENCE = 10  # seconds
SKIPPED = 77
# Before ctest would kill a test, which could not end then what it has started.
LONGEST = 240  # seconds


def missing():
    """What this machine lacks, as a text; empty where everything is there."""
    for program in NEEDED_PROGRAMS:
        if shutil.which(program) is None:
            return program
    if not os.path.exists("/usr/share/dbus-1/services/org.a11y.Bus.service"):
        return "at-spi2-core"
    try:
        import pyatspi  # noqa: F401  (tells whether it is installed, without a bus)
    except ImportError:
        return "python3-pyatspi"
    return ""


def _stop(number, _):
    raise TimeoutError(f"stopped by signal {number}")


def run_test(tell):
    """Calls `tell(desktop)` on a desktop with a window manager; gives what the program ends with."""
    for number in (signal.SIGALRM, signal.SIGTERM, signal.SIGINT):
        signal.signal(number, _stop)
    signal.alarm(LONGEST)
    lacking = missing()
    if lacking:
        print(f"Skipped: {lacking} is not installed.")
        return SKIPPED
    with PrivateDesktop() as desktop:
        os.environ.update(desktop.environment)
        desktop.start_window_manager()
        tell(desktop)
    return 0


class PrivateDesktop:
    """`with PrivateDesktop() as desktop:` starts it; desktop.environment is for the programs on it."""

    def __init__(self, screen=SCREEN):
        self.screen = screen
        self.environment = dict(os.environ)
        self.folder = tempfile.mkdtemp(prefix="kestrel-e2e-")
        self._groups = []

    def __enter__(self):
        try:
            self._start_display()
            self._start_bus()
        except BaseException:
            self._stop()
            raise
        return self

    def __exit__(self, *_):
        self._stop()

    def start(self, command, log_name):
        """Starts a program on the desktop; what it prints goes to a file of the desktop's folder."""
        with open(os.path.join(self.folder, log_name), "wb") as log:
            process = subprocess.Popen(command, env=self.environment, stdin=subprocess.DEVNULL, stdout=log,
                                       stderr=subprocess.STDOUT, start_new_session=True)
        self._groups.append(process)
        return process

    def start_window_manager(self):
        """Starts openbox, with a German keyboard, and waits until it manages windows."""
        self.start(["openbox", "--sm-disable"], "openbox.log")
        subprocess.run(["setxkbmap", "de"], env=self.environment, check=True)
        end = time.monotonic() + PATIENCE
        while b"window id" not in subprocess.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"], env=self.environment,
                                                 stdout=subprocess.PIPE, check=False).stdout:
            if time.monotonic() > end:
                raise RuntimeError("openbox did not start")
            time.sleep(0.05)

    def log(self, log_name):
        with open(os.path.join(self.folder, log_name), encoding="utf-8", errors="replace") as log:
            return log.read()

    def _start_display(self):
        # The server chooses a number that is free and tells it when it is ready.
        read_end, write_end = os.pipe()
        with os.fdopen(read_end, encoding="ascii") as answer:
            try:
                # Without -noreset the server starts anew when a first client has come and gone, and refuses
                # whoever connects meanwhile.
                process = subprocess.Popen(
                    ["Xvfb", "-displayfd", str(write_end), "-noreset", "-screen", "0", self.screen + "x24",
                     "-nolisten", "tcp"],
                    pass_fds=[write_end], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                    stderr=subprocess.DEVNULL, start_new_session=True)
            finally:
                os.close(write_end)
            self._groups.append(process)
            number = answer.readline().strip()
        if not number:
            raise RuntimeError("Xvfb did not start")
        self.environment.update(DISPLAY=":" + number, QT_QPA_PLATFORM="xcb", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
                                QT_ACCESSIBILITY="1", XDG_CONFIG_HOME=os.path.join(self.folder, "config"),
                                XDG_RUNTIME_DIR=self.folder, LC_ALL="C.UTF-8")
        self.environment.pop("WAYLAND_DISPLAY", None)
        self.environment.pop("AT_SPI_BUS_ADDRESS", None)

    def _start_bus(self):
        process = subprocess.Popen(
            ["dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address=1"], env=self.environment,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, start_new_session=True,
            text=True)
        self._groups.append(process)
        address = process.stdout.readline().strip()
        if not address:
            raise RuntimeError("dbus-daemon did not start")
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address

    def _stop(self):
        for process in reversed(self._groups):
            self._end_group(process)
        shutil.rmtree(self.folder, ignore_errors=True)

    @staticmethod
    def _end_group(process):
        # The group is asked as a whole: what the bus has started stands in it too.
        for number in (signal.SIGTERM, signal.SIGKILL):
            try:
                os.killpg(process.pid, number)
            except ProcessLookupError:
                pass
            try:
                process.wait(PATIENCE)
                if number == signal.SIGKILL:
                    break
            except subprocess.TimeoutExpired:
                continue
        if process.stdout is not None:
            process.stdout.close()
