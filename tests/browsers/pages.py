"""The pages that the browsers are shown, on two ports of the loopback address: two origins."""
import base64
import http.server
import threading

import roundtrip

# Two by two, red.
PICTURE = base64.b64decode(
    'iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAIAAAD91JpzAAAAEElEQVR4nGP4z8AARAwQCgAf7gP9i18U1AAAAABJRU5E'
    'rkJggg==')

PAGES = {
    '/copied': roundtrip.PAGE,
    '/': '''<!DOCTYPE html><title>Tea &amp; cake</title><h1>Tea</h1>
<p id="p">All about <b>tea</b>, <a id="inside" href="kinds/green?a=1&amp;b=2">green</a> and black.</p>
<p><a id="link" href="/cake">The <i>cake</i></a></p><img id="picture" src="/picture.png" width="80" height="80">''',
    '/rtl': '''<!DOCTYPE html><html lang="ar" dir="rtl"><title>شاي</title>
<p id="p">كل شيء عن <b>الشاي</b> <a href="أخضر">الأخضر</a></p>''',
    '/frames': '''<!DOCTYPE html><title>Frames</title><p>Outside</p>
<iframe id="frame" src="/inner/page" width="400" height="200"></iframe>''',
    '/inner/page': '''<!DOCTYPE html><title>Inner</title><ul><li id="p">Inside, a <a href="more">list</a></li></ul>''',
    '/secret': '''<!DOCTYPE html><title>Secret</title><img id="picture" src="/secret.png" width="80" height="80">''',
    '/elsewhere': '''<!DOCTYPE html><title>Elsewhere</title>
<img id="picture" src="http://127.0.0.1:OTHER/picture.png" width="80" height="80">''',
    '/large': '<!DOCTYPE html><title>Large</title><div id="p">' +
              ''.join(f'<p>{i} tea and cake{" and tea and cake" * 600}</p>' for i in range(2000)) + '</div>',
    '/hostile': '''<!DOCTYPE html><title>"&lt;script&gt;&#10;'$(id)`\u202e</title>
<p id="p" onclick="alert(1)">Mind <a href="javascript:alert(1)">this</a><script>document.title += "\\ud800"</script>
<a href="file:///etc/passwd">and that</a><img src="file:///etc/passwd"></p>
<a id="link" href="file:///etc/passwd">passwords</a>''',
    '/fields': '''<!DOCTYPE html><title>Fields</title><textarea id="area">tea, cake and more</textarea>
<input id="line" value="a line of text"><input id="password" type="password" value="cake">''',
    '/components': '''<!DOCTYPE html><title>Components</title><div id="open"></div><div id="closed"></div><script>
for (const mode of ['open', 'closed']) document.getElementById(mode).attachShadow({mode}).innerHTML =
    `<p style="margin: 10px">An <b>${mode}</b> component</p>`;</script>''',
    '/links': '''<!DOCTYPE html><title>Links</title><p><a href="/cake">The first</a></p>
<p><a id="link" href="/cake">The second</a></p>''',
    '/bytes': '''<!DOCTYPE html><title>Bytes</title><img id="picture" src="/bytes.png" width="80" height="80">''',
    '/guarded': '''<!DOCTYPE html><title>Guarded</title><img id="picture" src="/picture.png" width="80" height="80">''',
    '/loading': '''<!DOCTYPE html><title>Loading</title><p id="p">Half a <b>page</b></p>
<img id="picture" src="/endless.png" width="80" height="80"><iframe src="/endless"></iframe>''',
    '/endless': '<!DOCTYPE html><title>Endless</title><p>The beginning',
    '/busy': '''<!DOCTYPE html><title>Busy</title><p>Round and round</p>
<script>setTimeout(() => { while (performance.now() < 30000); ended = Date.now(); }, 500)</script>''',
}
# What is sent of these is only the beginning; the rest never comes.
ENDLESS = {'/loading', '/endless', '/endless.png'}


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        path = self.path.partition('?')[0]
        if path == '/secret.png' and 'pass=word' not in self.headers.get('Cookie', ''):
            return self.answer(403, 'text/plain', b'not for you')
        if path.endswith('.png'):
            kind = 'application/octet-stream' if path == '/bytes.png' else 'image/png'
            return self.answer(200, kind, PICTURE, endless=path in ENDLESS)
        if path not in PAGES:
            return self.answer(404, 'text/plain', b'not here')
        page = PAGES[path].replace('OTHER', str(self.server.other))
        extra = {'/secret': {'Set-Cookie': 'pass=word; SameSite=Strict; HttpOnly'},
                 '/guarded': {'Content-Security-Policy': "default-src 'none'; img-src 'self'"}}
        self.answer(200, 'text/html; charset=utf-8', page.encode(), extra.get(path), path in ENDLESS)

    def answer(self, status, kind, body, extra=None, endless=False):
        self.send_response(status)
        # A picture of one origin is not another's to read.
        for name, value in {'Content-Type': kind, 'Content-Length': str(len(body) + endless),
                            'Cache-Control': 'no-store', **(extra or {})}.items():
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(body)
        while endless:
            threading.Event().wait()

    def log_message(self, *arguments):
        pass


class Server(http.server.ThreadingHTTPServer):
    other = 0


def serve():
    """Two servers; the first one's address is where the pages are."""
    servers = [Server(('127.0.0.1', 0), Handler) for _ in range(2)]
    servers[0].other, servers[1].other = servers[1].server_port, servers[0].server_port
    for server in servers:
        threading.Thread(target=server.serve_forever, daemon=True).start()
    return f'http://127.0.0.1:{servers[0].server_port}', f'http://127.0.0.1:{servers[1].server_port}'
