"""Chromium without a display, driven through the pipe of its DevTools protocol."""
import json
import os
import select
import time

from desktop import LONGEST_WAIT, wait_for


class Chromium:
    name = 'chromium'
    program = '/usr/bin/chromium'
    surface = '--headless'

    def __init__(self, desktop):
        self.desktop = desktop
        self.profile = desktop.home / 'chromium'
        self.set_host(None)
        read_end, self.commands = os.pipe()
        self.answers, write_end = os.pipe()

        def pipes():  # the browser reads commands from 3 and writes answers to 4
            spare = [os.dup(read_end), os.dup(write_end)]
            os.dup2(spare[0], 3)
            os.dup2(spare[1], 4)

        self.log = open(desktop.home / 'chromium.log', 'wb')
        desktop.start(
            [self.program, self.surface, '--no-sandbox', '--disable-gpu', '--disable-quic',
             '--no-first-run', '--disable-background-networking', '--disable-component-update',
             '--disable-sync', '--disable-dev-shm-usage', '--enable-unsafe-extension-debugging',
             '--remote-debugging-pipe', f'--user-data-dir={self.profile}', 'about:blank'],
            preexec_fn=pipes, close_fds=False, stdout=self.log, stderr=self.log)
        os.close(read_end)
        os.close(write_end)
        self.buffer = b''
        self.number = 0
        self.call('Browser.getVersion')
        self.extension = self.call('Extensions.loadUnpacked', path=str(
            desktop.build / 'entry/browser/chromium'))['id']
        self.tab_target = self.only_target('tab')
        self.tab = self.attach(self.only_target('page'))
        self.call('Page.enable', self.tab)
        self.wait_for_menu()

    def set_host(self, program, present=True):
        folder = self.profile / 'NativeMessagingHosts'
        folder.mkdir(parents=True, exist_ok=True)
        manifest = folder / 'it.drelk.korvane.share.json'
        if present:
            manifest.write_text(self.desktop.host_manifest('chromium', program))
        else:
            manifest.unlink(missing_ok=True)

    def receive(self):
        end = time.monotonic() + LONGEST_WAIT
        while b'\0' not in self.buffer:
            if not select.select([self.answers], [], [], max(0, end - time.monotonic()))[0]:
                raise AssertionError('Chromium does not answer')
            piece = os.read(self.answers, 1 << 20)
            if not piece:
                raise AssertionError('Chromium is gone')
            self.buffer += piece
        message, _, self.buffer = self.buffer.partition(b'\0')
        return json.loads(message)

    def call(self, method, session=None, **parameters):
        self.number += 1
        message = {'id': self.number, 'method': method, 'params': parameters}
        if session:
            message['sessionId'] = session
        os.write(self.commands, json.dumps(message).encode() + b'\0')
        while True:
            answer = self.receive()
            if answer.get('id') == self.number:
                if 'error' in answer:
                    raise AssertionError(f"{method}: {answer['error']['message']}")
                return answer['result']

    def attach(self, target):
        return self.call('Target.attachToTarget', targetId=target, flatten=True)['sessionId']

    def only_target(self, kind):
        [target] = self.call('Target.getTargets', filter=[{'type': kind}])['targetInfos']
        return target['targetId']

    def run(self, session, expression):
        answer = self.call('Runtime.evaluate', session, expression=expression, awaitPromise=True,
                           returnByValue=True, userGesture=True)
        if 'exceptionDetails' in answer:
            raise AssertionError(answer['exceptionDetails'])
        return answer['result'].get('value')

    def worker(self):
        """The extension's background script, woken where it sleeps."""
        def running():
            for target in self.call('Target.getTargets')['targetInfos']:
                if target['type'] == 'service_worker' and self.extension in target['url']:
                    return target['targetId']
            return None
        return self.attach(wait_for("the extension's worker", running))

    def wait_for_menu(self):
        """Waits for the extension's menu, which is made when the browser tells the extension that it
        is installed. What is clicked before goes nowhere, since nobody has asked for it yet."""
        worker = self.worker()
        wait_for("the extension's menu", lambda: self.run(
            worker, 'globalThis.chrome?.contextMenus?.update("share", {}).then(() => true, () => false)'))

    def open(self, address):
        self.call('Page.navigate', self.tab, url=address)
        wait_for(address, lambda: self.run(self.tab, 'document.readyState') == 'complete' and
                 self.run(self.tab, 'location.href') != 'about:blank')
        self.call('Page.bringToFront', self.tab)

    def open_tab(self):
        """Goes on in a new tab, until it is closed."""
        self.before = self.tab, self.tab_target
        known = {target['targetId'] for target in self.tab_targets()}
        self.new_page = self.call('Target.createTarget', url='about:blank')['targetId']
        [self.tab_target] = {target['targetId'] for target in self.tab_targets()} - known
        self.tab = self.attach(self.new_page)
        self.call('Page.enable', self.tab)

    def close_tab(self):
        self.call('Target.closeTarget', targetId=self.new_page)
        self.tab, self.tab_target = self.before
        self.call('Page.bringToFront', self.tab)

    def tab_targets(self):
        return self.call('Target.getTargets', filter=[{'type': 'tab'}])['targetInfos']

    def in_page(self, script):
        return self.run(self.tab, script)

    def show(self, document):
        """Shows a document of no address."""
        frame = self.call('Page.getFrameTree', self.tab)['frameTree']['frame']['id']
        self.call('Page.setDocumentContent', self.tab, frameId=frame, html=document)

    def click_three_times(self, x, y):
        for count in 1, 2, 3:
            for kind in 'mousePressed', 'mouseReleased':
                self.call('Input.dispatchMouseEvent', self.tab, type=kind, x=x, y=y, button='left',
                          clickCount=count)

    def press_button(self):
        self.call('Extensions.triggerAction', id=self.extension, targetId=self.tab_target)

    def use_menu(self, kind, frame=None):
        """Has the browser report that the menu's entry was chosen on an element. A real click would
        also give the permission to read the page; here the button must have been pressed before."""
        info = {'menuItemId': 'share', 'editable': False}
        if kind == 'link':
            info['linkUrl'] = self.in_page('document.querySelector("#link").href')
        if kind == 'picture':
            info['mediaType'] = 'image'
            info['srcUrl'] = self.in_page('document.querySelector("#picture").src')
        if kind == 'selection':
            info['selectionText'] = 'selected'
        self.run(self.worker(), '''(async () => {
            const [tab] = await chrome.tabs.query({active: true, lastFocusedWindow: true});
            const frames = await chrome.scripting.executeScript(
                {target: {tabId: tab.id, allFrames: true}, func: () => location.pathname,
                 injectImmediately: true});
            const frameId = frames.find((f) => f.result === %s)?.frameId ?? 0;
            chrome.contextMenus.onClicked.dispatch({...%s, pageUrl: tab.url, frameId}, tab);
        })()''' % (json.dumps(frame), json.dumps(info)))

    def badge(self):
        return self.run(self.worker(), '''(async () => {
            const [tab] = await chrome.tabs.query({active: true, lastFocusedWindow: true});
            return [await chrome.action.getBadgeText({tabId: tab.id}),
                    await chrome.action.getTitle({tabId: tab.id})]; })()''')


class ChromiumOnDisplay(Chromium):
    """With a window, and so with the display's clipboard."""
    name = 'clipboard'
    surface = '--ozone-platform=x11'

    def __init__(self, desktop):
        desktop.start_display()
        super().__init__(desktop)
