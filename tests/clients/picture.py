#!/usr/bin/python3
"""Makes the picture of the README: what a share looks like in Thunderbird.

Usage: picture.py BINARIES PICTURES

Leaves it in PICTURES as thunderbird.png."""
import pathlib
import shutil
import sys
import tempfile

import clients
from desktop import Desktop, NotSeen, wait_for

SUBJECT = "Scones in seven minutes"
FILES = {"shopping list.txt": b"flour, butter, milk\n" * 20, "menu.pdf": b"%PDF-1.4\n" * 5000}


def main():
    binaries, picture = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    folder = tempfile.mkdtemp(prefix="korvane-picture-")
    client = clients.Thunderbird()
    try:
        with Desktop(folder, binaries) as desktop:
            client.prepare(desktop)
            desktop.install_compose()
            desktop.choose(client.desktop_id)
            things = []
            for name, content in FILES.items():
                (desktop.home / name).write_bytes(content)
                things.append(str(desktop.home / name))
            styled = desktop.home / "styled.html"
            styled.write_text("<p>Have a look at <b>this recipe</b> before Sunday:</p>")
            shared = desktop.run([str(binaries / "korvane-share"), "--title", SUBJECT, "--html",
                                  str(styled), *things, "https://www.example.org/scones"])
            if shared.returncode != 0:
                raise NotSeen(shared.stderr)
            wait_for("the attachments", lambda: all(
                name in client.shown(desktop) for name in FILES))
            window = wait_for("the window", lambda: desktop.window(SUBJECT))
            desktop.run(["xdotool", "windowsize", "--sync", window, "800", "520"])
            desktop.run(["xdotool", "windowraise", window])
            desktop.run(["xdotool", "mousemove", "1090", "840"])
            wait_for("the list of attachments", lambda: "shopping list" in client.shown(desktop))
            desktop.run(["import", "-frame", "-window", window, "-strip", "+dither", "-colors", "96",
                         f"PNG8:{picture}/thunderbird.png"])
    finally:
        shutil.rmtree(folder, ignore_errors=True)


main()
