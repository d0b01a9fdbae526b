"""A desktop of its own for one browser: home, session bus, stand-in mail client, native host."""
import json
import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import urllib.parse

ROOT = pathlib.Path(__file__).resolve().parents[2]
HOST_NAME = 'it.drelk.korvane.share'
LONGEST_WAIT = 120  # seconds; for machines with much else to do


def wait_for(what, condition):
    """The first true answer of a condition; AssertionError when there is none in time."""
    end = time.monotonic() + LONGEST_WAIT
    while time.monotonic() < end:
        answer = condition()
        if answer:
            return answer
        time.sleep(0.05)
    raise AssertionError(f'{what} did not come within {LONGEST_WAIT} s')


def message_of(url):
    """The message that a command URL carries, as a dictionary."""
    assert url.startswith('korvane://compose?'), url[:200]
    query = urllib.parse.parse_qsl(url.partition('?')[2], keep_blank_values=True)
    message = {key: value for key, value in query if not key.startswith('attachment_')}
    message['attachments'] = [value for key, value in query if key.startswith('attachment_')]
    return message


class Desktop:
    def __init__(self, build):
        self.build = pathlib.Path(build).resolve()
        self.home = pathlib.Path(tempfile.mkdtemp(prefix='korvane-browsers-'))
        self.received = self.home / 'received'
        self.environment = {key: value for key, value in os.environ.items()
                            if not key.startswith(('XDG_', 'DBUS_', 'KORVANE_'))}
        self.environment.update(
            HOME=str(self.home), LC_ALL='C.UTF-8', XDG_DATA_HOME=str(self.home / 'data'),
            XDG_RUNTIME_DIR=str(self.home / 'run'), XDG_CURRENT_DESKTOP='GNOME')
        self.environment.pop('DISPLAY', None)
        self.environment.pop('WAYLAND_DISPLAY', None)
        (self.home / 'run').mkdir(mode=0o700)
        services = self.home / 'data/dbus-1/services'
        services.mkdir(parents=True)
        applications = self.home / 'data/applications'
        applications.mkdir()
        receiver = f'{self.build}/bin/korvane-receiver --json --output {self.received}'
        (services / 'it.drelk.korvane.service').write_text(
            f'[D-BUS Service]\nName=it.drelk.korvane\nExec={receiver}\n')
        (applications / 'it.drelk.korvane.desktop').write_text(
            f'[Desktop Entry]\nType=Application\nName=Receiver\nExec={receiver} %U\n'
            'DBusActivatable=true\n')
        self.bus = subprocess.Popen(
            ['dbus-daemon', '--session', '--nofork', '--print-address'], env=self.environment,
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.environment['DBUS_SESSION_BUS_ADDRESS'] = self.bus.stdout.readline().strip()
        self.browsers = []
        self.found = []
        self.read_up_to = 0

    def host_manifest(self, browser, program=None):
        """The installed manifest of the native host, with this build's program in it."""
        made = self.build / f'entry/browser/hosts/{browser}/{HOST_NAME}.json'
        manifest = json.loads(made.read_text())
        manifest['path'] = str(program or self.build / 'bin/korvane-browser')
        return json.dumps(manifest)

    def script(self, name, text):
        path = self.home / name
        path.write_text('#!/bin/sh\n' + text)
        path.chmod(0o755)
        return path

    def start(self, command, **options):
        process = subprocess.Popen(command, env=self.environment, start_new_session=True, **options)
        self.browsers.append(process)
        return process

    def start_display(self):
        read, write = os.pipe()
        self.start(['Xvfb', '-displayfd', str(write), '-screen', '0', '1100x850x24', '-nolisten',
                    'tcp'], pass_fds=[write], stderr=subprocess.DEVNULL)
        os.close(write)
        with os.fdopen(read) as pipe:
            number = pipe.readline().strip()
        assert number, 'Xvfb did not start'
        self.environment['DISPLAY'] = ':' + number

    def run(self, program, *arguments):
        """Runs a program of this build to its end."""
        return subprocess.run([self.build / 'bin' / program, *arguments], env=self.environment,
                              capture_output=True, text=True, timeout=LONGEST_WAIT)

    def messages(self):
        """What the mail client was asked to open, each message as a dictionary."""
        if self.received.exists():
            with open(self.received, 'rb') as file:
                file.seek(self.read_up_to)
                for line in file:
                    if not line.endswith(b'\n'):
                        break
                    self.read_up_to += len(line)
                    self.found += map(message_of, json.loads(line)['urls'])
        return self.found

    def next_message(self, action):
        """The message that an action makes come."""
        before = len(self.messages())
        action()
        return wait_for('the message', lambda: self.messages()[before:])[0]

    def close(self):
        for process in self.browsers:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()
        self.bus.kill()
        self.bus.wait()
        shutil.rmtree(self.home, ignore_errors=True)
