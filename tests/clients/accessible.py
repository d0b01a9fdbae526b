"""Prints every name and text of the accessible tree, one to a line."""
import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

LIMIT = 20000


def walk(node, depth, left):
    if node is None or depth > 60 or left[0] <= 0:
        return
    left[0] -= 1
    try:
        name = node.get_name()
        if name:
            print(name)
        description = node.get_description()
        if description:
            print(description)
        if "Text" in node.get_interfaces():
            count = Atspi.Text.get_character_count(node)
            if count > 0:
                print(Atspi.Text.get_text(node, 0, min(count, 5000)))
        children = node.get_child_count()
        for i in range(min(children, 500)):
            walk(node.get_child_at_index(i), depth + 1, left)
    except GLib.Error:
        pass


Atspi.init()
Atspi.set_timeout(3000, 10000)
desktop = Atspi.get_desktop(0)
for i in range(desktop.get_child_count()):
    try:
        walk(desktop.get_child_at_index(i), 0, [LIMIT])
    except GLib.Error:
        pass  # it has just ended
