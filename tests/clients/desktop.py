"""A desktop of a test's own: a display, a window manager, a session bus with the accessibility
service, a home folder. Nothing of the user's desktop is seen or touched."""
import os
import pathlib
import signal
import subprocess
import time

# How long anything is waited for, in seconds. It is a bound for broken machines, not a pace.
PATIENCE = 150


class NotSeen(Exception):
    """What was waited for did not come."""


def wait_for(what, condition, patience=PATIENCE):
    """Asks until the condition gives something; gives that."""
    end = time.monotonic() + patience
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > end:
            raise NotSeen(what)
        time.sleep(0.1)


class Desktop:
    def __init__(self, folder, binaries):
        self.home = pathlib.Path(folder)
        self.binaries = pathlib.Path(binaries)
        self.processes = []
        for part in ("data/applications", "data/dbus-1/services", "config", "cache", "run", "bin",
                     "tmp"):
            (self.home / part).mkdir(parents=True, exist_ok=True)
        (self.home / "run").chmod(0o700)
        self.environment = {
            "HOME": str(self.home),
            "PATH": f"{self.home}/bin:/usr/bin:/bin",
            "LANG": "C.UTF-8",
            "LC_ALL": "C.UTF-8",
            "TMPDIR": str(self.home / "tmp"),
            "XDG_RUNTIME_DIR": str(self.home / "run"),
            "XDG_DATA_HOME": str(self.home / "data"),
            "XDG_CONFIG_HOME": str(self.home / "config"),
            "XDG_CACHE_HOME": str(self.home / "cache"),
            "XDG_DATA_DIRS": "/usr/local/share:/usr/share",
            "XDG_CURRENT_DESKTOP": "test",
            "GSETTINGS_BACKEND": "keyfile",
            "GNOME_ACCESSIBILITY": "1",
            "GTK_MODULES": "gail:atk-bridge",
            "QT_ACCESSIBILITY": "1",
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
            "LIBGL_ALWAYS_SOFTWARE": "1",
            "WEBKIT_DISABLE_COMPOSITING_MODE": "1",
            "WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS": "1",
        }

    def __enter__(self):
        try:
            self._start_display()
            self._start_bus()
            self.start(["openbox", "--sm-disable"])
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_):
        self.stop()

    def start(self, command, **options):
        log = open(self.home / "log", "ab")
        process = subprocess.Popen(command, env=self.environment, cwd=self.home,
                                   stdin=subprocess.DEVNULL, stdout=options.pop("stdout", log),
                                   stderr=log, start_new_session=True, **options)
        self.processes.append(process)
        return process

    def run(self, command, patience=PATIENCE, **options):
        return subprocess.run(command, env=self.environment, cwd=self.home, timeout=patience,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, **options)

    def _start_display(self):
        read, write = os.pipe()
        self.start(["Xvfb", "-displayfd", str(write), "-screen", "0", "1100x850x24", "-nolisten",
                    "tcp"], pass_fds=[write])
        os.close(write)
        with os.fdopen(read) as pipe:
            number = pipe.readline().strip()
        if not number:
            raise NotSeen("a display: Xvfb did not start")
        self.environment["DISPLAY"] = ":" + number

    def _start_bus(self):
        bus = self.start(["dbus-daemon", "--session", "--nofork", "--nopidfile",
                          "--print-address=1"], stdout=subprocess.PIPE)
        address = bus.stdout.readline().decode().strip()
        if not address:
            raise NotSeen("a session bus: dbus-daemon did not start")
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        self.start(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately", "--a11y=1"])

    def stop(self):
        # Programs that the bus or a client started are in sessions of their own: what runs with
        # this home is ours.
        marker = f"HOME={self.home}".encode()
        for _ in range(50):
            mine = [pid for pid in self._processes() if self._has(pid, marker)]
            if not mine:
                break
            for pid in mine:
                try:
                    os.kill(pid, signal.SIGKILL)
                except OSError:
                    pass
            for process in self.processes:
                process.poll()
            time.sleep(0.05)
        for process in self.processes:
            process.wait()

    @staticmethod
    def _processes():
        return [int(name) for name in os.listdir("/proc") if name.isdigit()
                and int(name) != os.getpid()]

    @staticmethod
    def _has(pid, marker):
        try:
            with open(f"/proc/{pid}/environ", "rb") as file:
                return marker in file.read().split(b"\0")
        except OSError:
            return False

    # What is on the display.

    def titles(self):
        found = self.run(["xdotool", "search", "--onlyvisible", "--name", "."])
        names = [self.run(["xdotool", "getwindowname", window]).stdout.rstrip("\n")
                 for window in found.stdout.split()]
        return [name for name in names if name]

    def texts(self):
        """Everything that the accessible tree of all applications says."""
        here = pathlib.Path(__file__).parent
        return self.run(["/usr/bin/python3", str(here / "accessible.py")]).stdout

    def screenshot(self, path):
        self.run(["import", "-window", "root", str(path)])

    def window(self, title):
        """The visible window whose title holds the text; nothing while there is none."""
        for window in self.run(["xdotool", "search", "--onlyvisible", "--name", "."]).stdout.split():
            if title in self.run(["xdotool", "getwindowname", window]).stdout:
                return window
        return None

    def choose(self, client):
        (self.home / "config/mimeapps.list").write_text(
            f"[Default Applications]\nx-scheme-handler/mailto={client}.desktop\n")

    def install_compose(self):
        (self.home / "data/dbus-1/services/it.drelk.korvane.service").write_text(
            "[D-BUS Service]\nName=it.drelk.korvane\n"
            f"Exec={self.binaries}/korvane-compose --service\n")
