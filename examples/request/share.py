#!/usr/bin/env python3
"""Shares a page and files by mail: a request in JSON on a pipe, an outcome in JSON back.

Usage: share.py TITLE URL [FILE]...
"""

import json
import pathlib
import subprocess
import sys


def share(request):
    """Waits until the mail client has answered. Gives the outcome."""
    done = subprocess.run(
        ["korvane-share", "--json", "--request", "-"],
        input=json.dumps(request).encode(),
        stdout=subprocess.PIPE,
        check=False,
    )
    return json.loads(done.stdout)


def main():
    title, url, *files = sys.argv[1:]
    attachments = [{"url": url}]
    # as_uri() keeps names that are not UTF-8, which "file" could not hold.
    attachments += [{"url": pathlib.Path(file).absolute().as_uri()} for file in files]
    outcome = share({"items": [{"title": title, "attachments": attachments}]})
    print(outcome["status"])
    for thing in outcome["missing"]:
        print(f"{thing['item']}: {thing['reason']}")
    return 0 if outcome["status"] == "opened" else 1


sys.exit(main())
