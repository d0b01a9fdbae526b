"""Drives one file manager by hand, as it were: chooses everything in its window, opens the menu and
runs the entry. Runs inside the manager's own session; see drive."""
import faulthandler
import json
import os
import shutil
import subprocess
import sys
import time
import warnings

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

ENTRY = "Send by Mail"
SUBMENU = os.environ.get("KORVANE_TEST_SUBMENU", "")  # where the entry is looked for; else in the menu
ACTION = os.environ.get("KORVANE_TEST_ACTION", "")  # an action of the window, instead of an entry
GO = os.environ.get("KORVANE_TEST_GO", "")  # where the window is sent to first
PATIENCE = int(os.environ.get("KORVANE_TEST_PATIENCE", "120"))  # seconds, for a busy machine


class Failure(Exception):
    """What was waited for did not come, or something else did."""


def pump():
    context = GLib.MainContext.default()
    while context.pending():
        context.iteration(False)


def until(what, condition, seconds=PATIENCE):
    """Waits until the condition gives something true, and gives that."""
    end = time.monotonic() + seconds
    while True:
        pump()
        try:
            found = condition()
        except (GLib.Error, TypeError, AttributeError):  # the tree changes while it is read
            found = None
        if found:
            return found
        if time.monotonic() > end:
            raise Failure(f"{what}: not seen within {seconds} seconds")
        time.sleep(0.05)


def run(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=False, timeout=5).stdout
    except subprocess.TimeoutExpired:  # a window that takes no focus yet
        return ""


def children(node):
    for i in range(min(node.get_child_count(), 500)):
        child = node.get_child_at_index(i)
        if child:
            yield child


def walk(node):
    yield node
    for child in children(node):
        try:
            yield from walk(child)
        except GLib.Error:
            pass


def has(node, state):
    return node.get_state_set().contains(state)


def showing(node):
    return has(node, Atspi.StateType.SHOWING)


def actions(node):
    return [Atspi.Action.get_action_name(node, i) for i in range(node.get_n_actions())]


def do(node, action=None):
    Atspi.Action.do_action(node, actions(node).index(action) if action else 0)


def find(root, test):
    return next((node for node in walk(root) if test(node)), None)


class Manager:
    """A file manager that shows one window. What differs between them is overridden below."""

    key_opens_menu = "Menu"

    def __init__(self, name, names, picture):
        self.names = names  # how many things its folder holds
        self.picture = picture
        self.name = name
        self.menus = []
        self.listener = Atspi.EventListener.new(self.on_event)
        for event in ("object:state-changed:showing", "object:state-changed:focused"):
            self.listener.register(event)

    def on_event(self, event):
        try:
            if event.source.get_role_name() == "popup menu" and event.detail1:
                self.menus.append(event.source)
        except GLib.Error:
            pass

    def application(self):
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()  # one that came while this program did would never be seen
        for application in children(desktop):
            if application.get_child_count() > 0 and self.is_application(application.get_name()):
                return application
        return None

    def is_application(self, name):
        return name == self.name

    def window(self):
        found = run("xdotool", "search", "--onlyvisible", "--name", os.environ["KORVANE_TEST_TITLE"])
        return found.split()[-1:]

    def press(self, *keys):
        run("xdotool", "key", "--clearmodifiers", *keys)

    # The steps.

    def wait_until_loaded(self):
        self.app = until("the file manager", self.application, 20)
        self.xid = until("its window", self.window, 20)[0]
        if GO:
            self.go()
        until("what the folder holds", lambda: self.loaded() == self.names, 20)

    def go(self):
        end = time.monotonic() + PATIENCE
        while self.loaded() != self.names:
            run("xdotool", "windowfocus", "--sync", self.xid)
            self.press("ctrl+l")
            run("xdotool", "type", "--clearmodifiers", GO)
            self.press("Return")
            try:
                until(GO, lambda: self.loaded() == self.names, 5)
            except Failure:
                if time.monotonic() > end:
                    raise

    def choose_all(self):
        end = time.monotonic() + PATIENCE
        while True:
            try:
                until("the view", lambda: self.loaded() == self.names)
                self.choose()
                until("the selection", lambda: self.chosen() == self.names, 5)
                return
            except (Failure, GLib.Error, TypeError):
                if time.monotonic() > end:
                    raise

    def choose(self):
        run("xdotool", "windowfocus", "--sync", self.xid)
        self.press("ctrl+a")

    def copy(self):
        """Puts what is chosen on the clipboard."""
        run("xdotool", "windowfocus", "--sync", self.xid)
        self.press("ctrl+c")

    def copy_until_there(self):
        """A key that comes while the window gets the focus may be lost."""
        def has_files():
            return "text/uri-list" in run("xclip", "-selection", "clipboard", "-out", "-target",
                                          "TARGETS")
        end = time.monotonic() + PATIENCE
        while True:
            self.copy()
            try:
                until("the clipboard", has_files, 5)
                return
            except Failure:
                if time.monotonic() > end:
                    raise

    def open_menu(self):
        """Opens the menu and gives it."""
        end = time.monotonic() + PATIENCE
        while True:
            self.ask_for_menu()
            try:
                return until("the menu", self.menu, 5)
            except Failure:
                if time.monotonic() > end:
                    raise

    def ask_for_menu(self):
        run("xdotool", "windowfocus", "--sync", self.xid)
        self.press(self.key_opens_menu)

    def menu(self):
        """The open context menu: a window of its own."""
        for window in children(self.app):
            if window.get_role_name() == "window" and showing(window):
                menu = find(window, lambda node: node.get_role_name() == "menu" and showing(node))
                if menu and menu.get_child_count() > 2:
                    return menu
        return None

    def entries(self, menu):
        return [node for node in walk(menu)
                if node.get_name() == ENTRY and node.get_role_name() == "menu item"]

    def activate(self, entry):
        do(entry)


class GtkIcons(Manager):
    """Caja and Nemo: icons that can be counted and chosen."""

    def pane(self):
        return find(self.app, lambda node: node.get_role_name() == "layered pane")

    def loaded(self):
        pane = self.pane()
        return pane.get_child_count() if pane else 0

    def choose(self):
        Atspi.Selection.select_all(self.pane())

    def chosen(self):
        return Atspi.Selection.get_n_selected_children(self.pane())


class Nautilus(Manager):
    """GTK 4: the window has an action for everything."""

    def is_application(self, name):
        return name == "org.gnome.Nautilus"

    def window(self):
        frame = find(self.app, lambda node: node.get_role_name() == "frame")
        return [frame] if frame and "view.select-all" in actions(frame) else []

    def grid(self):
        return find(self.app, lambda node: node.get_name() == "GtkGridView")

    def loaded(self):
        grid = self.grid()
        return grid.get_child_count() if grid else 0

    def choose(self):
        do(self.xid, "view.select-all")

    def chosen(self):
        return sum(has(cell, Atspi.StateType.SELECTED) for cell in children(self.grid()))

    def copy(self):
        # Offered a moment after something is chosen.
        until("the copying", lambda: "view.copy" in actions(self.xid))
        do(self.xid, "view.copy")

    def ask_for_menu(self):
        do(self.xid, "view.popup-menu")

    def menu(self):
        items = [node for node in walk(self.app) if node.get_role_name() == "menu item"]
        return self.app if any(node.get_name() == "Properties" for node in items) else None


class StatusBar(Manager):
    """Thunar and PCManFM: the status bar alone says what is there and what is chosen."""

    def status(self):
        bar = find(self.app, lambda node: node.get_role_name() == "status bar" and showing(node))
        texts = [node.get_name() or "" for node in walk(bar)] if bar else []
        return " | ".join(texts)

    def loaded(self):
        return self.names if self.says_loaded(self.status()) else 0

    def chosen(self):
        return self.names if "select" in self.status().lower() else 0


class Thunar(StatusBar):
    def is_application(self, name):
        return name.lower() == "thunar"

    def says_loaded(self, status):
        return "file" in status or "items" in status


class PCManFM(StatusBar):
    def says_loaded(self, status):
        return f"{self.names} items" in status


class Qt(Manager):
    """Dolphin and PCManFM-Qt: menus are told of when they open, and stand in no tree."""

    def is_application(self, name):
        return name.lower() == self.name

    def loaded(self):
        return len(self.cells())

    def cells(self):
        table = find(self.app, self.is_view)
        return [cell for cell in children(table) if showing(cell)] if table else []

    def is_view(self, node):
        return (node.get_role_name() in ("table", "list") and showing(node)
                and sum(map(showing, children(node))) == self.names)

    def chosen(self):
        return sum(has(cell, Atspi.StateType.SELECTED) for cell in self.cells())

    def ask_for_menu(self):
        self.menus.clear()
        super().ask_for_menu()

    def menu(self):
        return next((menu for menu in self.menus if menu.get_child_count() > 2), None)

    def entries(self, menu):
        # A submenu is there before it is opened.
        submenu = find(menu, lambda node: node.get_name() == "Share")
        inside = super().entries(submenu) if submenu else []
        return inside if SUBMENU else [entry for entry in super().entries(menu) if entry not in inside]


MANAGERS = {"nautilus": Nautilus, "caja": GtkIcons, "nemo": GtkIcons, "thunar": Thunar,
            "pcmanfm": PCManFM, "dolphin": Qt, "pcmanfm-qt": Qt}


def tree(node, depth=0):
    """The tree as text, for whoever has to find out why something was not found."""
    lines = []
    try:
        lines.append("  " * depth + f"{node.get_role_name()} {node.get_name()!r}"
                     + (" showing" if showing(node) else "")
                     + (" selected" if has(node, Atspi.StateType.SELECTED) else ""))
        for child in children(node):
            lines += tree(child, depth + 1)
    except GLib.Error:
        pass
    return lines


def main():
    warnings.simplefilter("ignore")
    faulthandler.dump_traceback_later(4 * PATIENCE, exit=True)  # a call that never returns
    name, names, picture = sys.argv[1], int(sys.argv[2]), sys.argv[3]
    # How many entries the menu is to show, or "copy" where nothing is done but that.
    wanted = sys.argv[4] if sys.argv[4] == "copy" else int(sys.argv[4])
    Atspi.init()
    Atspi.set_timeout(30_000, 60_000)  # milliseconds; what answers too late is never asked again
    manager = MANAGERS[name](name, names, picture)
    try:
        try:
            manager.wait_until_loaded()
        except Failure:
            # Now and then a busy machine makes the registry forget a program; a new client asks anew.
            end = os.environ.setdefault("KORVANE_TEST_END", str(time.monotonic() + PATIENCE))
            if time.monotonic() > float(end):
                raise
            os.execv(sys.executable, [sys.executable, *sys.argv])
        manager.choose_all()
        if wanted == "copy":
            manager.copy_until_there()
            return 0
        if ACTION:
            do(until("the action", lambda: manager.xid if ACTION in actions(manager.xid) else None),
               ACTION)
            return 0
        menu = manager.open_menu()
        found = manager.entries(menu)
        if picture:
            shutil.copy(os.environ["KORVANE_TEST_SCREEN"], picture)
        if len(found) != wanted:
            shown = [node.get_name() for node in walk(menu) if node.get_name()]
            raise Failure(f"the menu shows the entry {len(found)} times: {json.dumps(shown)}")
        if found:
            manager.activate(found[0])
    except Failure as failure:
        print("\n".join(tree(Atspi.get_desktop(0))), file=sys.stderr)
        print(failure)
        return 1
    return 0


sys.exit(main())
