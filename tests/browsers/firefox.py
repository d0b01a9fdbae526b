"""Firefox without a display, driven through Marionette."""
import json
import socket
import time

from desktop import LONGEST_WAIT, wait_for

PREFERENCES = {
    'browser.shell.checkDefaultBrowser': False,
    'browser.aboutwelcome.enabled': False,
    'browser.startup.page': 0,
    'datareporting.policy.dataSubmissionEnabled': False,
    'marionette.port': 0,  # one that is free
}


class Firefox:
    name = 'firefox'
    program = '/usr/bin/firefox-esr'

    def __init__(self, desktop):
        self.desktop = desktop
        self.set_host(None)
        profile = desktop.home / 'firefox'
        profile.mkdir()
        (profile / 'user.js').write_text(''.join(
            f'user_pref({json.dumps(name)}, {json.dumps(value)});\n'
            for name, value in PREFERENCES.items()))
        log = open(desktop.home / 'firefox.log', 'wb')
        desktop.start([self.program, '--headless', '--marionette', '--remote-allow-system-access',
                       '--no-remote', '--profile', str(profile)], stdout=log, stderr=log)
        port_file = profile / 'MarionetteActivePort'
        port = wait_for('Marionette', lambda: port_file.exists() and port_file.read_text().strip())
        self.connection = socket.create_connection(('127.0.0.1', int(port)), LONGEST_WAIT)
        self.stream = self.connection.makefile('rb')
        self.number = 0
        self.receive()
        self.call('WebDriver:NewSession', capabilities={})
        self.extension = self.call('Addon:Install', temporary=True,
                                   path=str(desktop.build / 'entry/browser/firefox'))['value']
        self.policy = (f'const extension = WebExtensionPolicy.getByID("{self.extension}").extension;'
                       'const {ExtensionParent} = ChromeUtils.importESModule('
                       '"resource://gre/modules/ExtensionParent.sys.mjs");'
                       'const button = ExtensionParent.apiManager.global'
                       '.browserActionFor(extension);')

    def set_host(self, program, present=True):
        folder = self.desktop.home / '.mozilla/native-messaging-hosts'
        folder.mkdir(parents=True, exist_ok=True)
        manifest = folder / 'it.drelk.korvane.share.json'
        if present:
            manifest.write_text(self.desktop.host_manifest(self.name, program))
        else:
            manifest.unlink(missing_ok=True)

    def receive(self):
        length = b''
        while (digit := self.stream.read(1)) != b':':
            if not digit:
                raise AssertionError('Firefox is gone')
            length += digit
        return json.loads(self.stream.read(int(length)))

    def call(self, command, **parameters):
        self.number += 1
        message = json.dumps([0, self.number, command, parameters]).encode()
        self.connection.sendall(b'%d:%s' % (len(message), message))
        _, _, error, result = self.receive()
        if error:
            raise AssertionError(f"{command}: {error['error']}: {error['message']}")
        return result

    def in_context(self, context, script, *arguments):
        self.call('Marionette:SetContext', value=context)
        return self.call('WebDriver:ExecuteScript', script=script, args=list(arguments))['value']

    def open(self, address):
        self.call('Marionette:SetContext', value='content')
        self.call('WebDriver:Navigate', url=address)

    def open_tab(self):
        """Goes on in a new tab, until it is closed."""
        self.call('Marionette:SetContext', value='content')
        self.before = self.call('WebDriver:GetWindowHandle')['value']
        new = self.call('WebDriver:NewWindow', type='tab', focus=True)['handle']
        self.call('WebDriver:SwitchToWindow', handle=new, focus=True)

    def close_tab(self):
        self.call('Marionette:SetContext', value='content')
        self.call('WebDriver:CloseWindow')
        self.call('WebDriver:SwitchToWindow', handle=self.before, focus=True)

    def in_page(self, script):
        return self.in_context('content', 'return ' + script)

    def click_three_times(self, x, y):
        self.call('Marionette:SetContext', value='content')
        clicks = [{'type': 'pointerDown', 'button': 0}, {'type': 'pointerUp', 'button': 0}] * 3
        self.call('WebDriver:PerformActions', actions=[{
            'type': 'pointer', 'id': 'mouse', 'parameters': {'pointerType': 'mouse'},
            'actions': [{'type': 'pointerMove', 'x': x, 'y': y}, *clicks]}])

    def press_button(self):
        self.in_context('chrome', self.policy + 'button.triggerAction(window);')

    def use_menu(self, kind, frame=None):
        """Opens the real context menu on an element and chooses the entry."""
        self.call('Marionette:SetContext', value='content')
        if frame:
            element = self.call('WebDriver:FindElement', using='css selector', value='#frame')
            self.call('WebDriver:SwitchToFrame', element=element['value'])
        selector = {'page': 'body', 'selection': '#p'}.get(kind, f'#{kind}')
        element = self.call('WebDriver:FindElement', using='css selector', value=selector)['value']
        click = {'type': 'pointer', 'id': 'mouse', 'parameters': {'pointerType': 'mouse'}, 'actions': [
            {'type': 'pointerMove', 'x': 0, 'y': 0, 'origin': element},
            {'type': 'pointerDown', 'button': 2}, {'type': 'pointerUp', 'button': 2}]}
        self.call('WebDriver:PerformActions', actions=[click])
        entry = ('const menu = document.getElementById("contentAreaContextMenu");'
                 'const entries = [...menu.querySelectorAll("menuitem")].filter('
                 '(item) => item.label === "Send by Mail" && !item.hidden);')
        shown = wait_for('the context menu', lambda: self.in_context(
            'chrome', entry + 'return menu.state === "open" ? [entries.length] : null;'))
        assert shown == [1], f'the entry is shown {shown[0]} times'
        self.in_context('chrome', entry + 'menu.activateItem(entries[0]);')
        self.call('Marionette:SetContext', value='content')
        self.call('WebDriver:SwitchToFrame', id=None)

    def badge(self):
        return self.in_context('chrome', self.policy + '''
            const tab = gBrowser.selectedTab;
            return [button.action.getProperty(tab, "badgeText") ?? "",
                    button.action.getProperty(tab, "title") ?? ""];''')
