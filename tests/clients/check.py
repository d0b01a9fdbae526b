#!/usr/bin/python3
"""Shares files, a folder, a text and a link to each mail program that people have, and waits for its
compose window with the subject, the text and every attachment's name in it.

Usage: check.py BINARIES PICTURES [PROGRAM]...

Runs as an ordinary user. The closing line names the programs that are not installed; with CI=true
in the environment they are a failure. In PICTURES there is a screenshot of each window."""
import os
import pathlib
import shutil
import sys
import tempfile
import time

import clients
from desktop import Desktop, NotSeen, wait_for

TOOLS = ["Xvfb", "openbox", "dbus-daemon", "xdotool", "import", "xterm", "script"]
SUBJECT = "Tea & biscuits, grüß dich"
LINK = "https://www.example.org/tea?kind=green&cups=2"
TEXT = "At five, 100% sure."
FILES = {"menu, new & 'final'.txt": "Scones\n", "grüße 100%25.pdf": "%PDF-1.4\n",
         "list.csv": "a,b\n"}
FOLDER = "pictures"
EXPECTED = [SUBJECT, LINK, TEXT, *FILES, FOLDER + ".zip"]


def share(desktop):
    things = desktop.home / "things"
    (things / FOLDER).mkdir(parents=True)
    (things / FOLDER / "a.txt").write_text("a")
    for name, content in FILES.items():
        (things / name).write_text(content)
    result = desktop.run([str(desktop.binaries / "korvane-share"), "--title", SUBJECT, "--text",
                          TEXT, *[str(things / name) for name in FILES], str(things / FOLDER), LINK])
    if result.returncode != 0:
        raise NotSeen(f"a share that is handed over: {result.stderr.strip()}")


def plain(text):
    """Without what only says how text is laid out."""
    return " ".join(text.replace("\u00a0", " ").split())


def check(client, binaries, pictures):
    folder = tempfile.mkdtemp(prefix="korvane-clients-")
    started = time.monotonic()
    try:
        with Desktop(folder, binaries) as desktop:
            client.prepare(desktop)
            desktop.install_compose()
            desktop.choose(client.desktop_id)
            share(desktop)
            shown = ""

            def all_there():
                nonlocal shown
                shown = plain(client.shown(desktop))
                return all(plain(text) in shown for text in EXPECTED)

            try:
                wait_for("the compose window", all_there)
            except NotSeen:
                missing = [text for text in EXPECTED if plain(text) not in shown]
                print(f"{client.name}: FAILED, not seen: {missing}")
                (pictures / f"{client.program}.txt").write_text(shown)
                print((desktop.home / "log").read_text(errors="replace")[-3000:])
                return False
            finally:
                desktop.screenshot(pictures / f"{client.program}.png")
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    print(f"{client.name}: subject, text and {len(FILES) + 1} attachments in the compose window "
          f"after {time.monotonic() - started:.0f} s", flush=True)
    return True


def main():
    binaries, pictures = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
    wanted = sys.argv[3:]
    chosen = [c for c in clients.ALL if not wanted or c.program in wanted]
    missing = [tool for tool in TOOLS if not shutil.which(tool)]
    tools = not missing
    missing += [c.name for c in chosen if not shutil.which(c.program)]
    failed = [c.name for c in chosen
              if tools and c.name not in missing and not check(c, binaries, pictures)]
    if failed:
        print("clients: FAILED with " + ", ".join(failed))
    elif missing:
        seen = [c.name for c in chosen if tools and c.name not in missing]
        print(f"clients: well: {', '.join(seen) or 'none'}; not installed: {', '.join(missing)}")
    else:
        print("clients: all well")
    return 1 if failed or (missing and os.environ.get("CI") == "true") else 0


if __name__ == "__main__":
    sys.exit(main())
