"""Which address a radio station resolves to, how long that takes, and who asks the station."""
import contextlib
import http.server
import os
import signal
import socket
import threading
import time
import unittest
import urllib.parse

import harness

LIMIT, SLACK = 5, 1.5  # seconds; the slack is for a busy machine and the sanitizers
STREAM = 'http://radio.example:8000/stream'
M3U = f'#EXTM3U\n#EXTINF:-1,A station\n{STREAM}?m3u\n'.encode()
# A page is a body, a redirect, or what is repeated without end and how often.
PAGES = {
    '/a.pls': f'[playlist]\nFile2=http://no/\nFile1={STREAM}?pls\n'.encode(),
    '/dir/a.M3U?x=.mp3': M3U,
    '/a.asx': f'<ASX><Entry><Ref href="{STREAM}?a=1&b=2"/></entry></ASX>'.encode(),
    '/a.xspf': f'<playlist><trackList><track><location>{STREAM}?xspf</location></track></trackList>'
               '</playlist>'.encode(),
    '/local.m3u': b'/etc/passwd\\\nfile:///etc/passwd\nconcat:a\n\xff\xfe\n../x/y.mp3\n',
    '/nothing.m3u': b'file:///etc/passwd\nC:\\a.mp3\n',
    '/hls.m3u': b'#EXTM3U\n#EXT-X-VERSION:3\n#EXTINF:9,\nsegment.ts\n',
    '/outer.m3u': b'inner.pls\nhttp://no/\n',
    '/inner.pls': f'[playlist]\nFile1=a.pls\nFile2={STREAM}?inner'.encode(),
    '/long.m3u': b'http://' + 4089 * b'l' + b'\n' + STREAM.encode(),
    '/large.m3u': M3U + 100000 * b'#\n',
    '/1.m3u': '/dir/a.M3U?x=.mp3', '/2.m3u': '/1.m3u', '/3.m3u': '/2.m3u', '/4.m3u': '/3.m3u',
    '/file.m3u': 'file:///mnt/local.m3u',
    '/endless.m3u': (b'# and so on\n' * 1000, 0), '/slow.pls': (b'[playlist]\nFile1=http://a/', 1),
    '/slow.m3u': b'slow.pls',
}


class Station(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        page = PAGES.get(self.path, M3U)
        self.send_response(302 if isinstance(page, str) else 200 if self.path in PAGES else 404)
        if isinstance(page, str):
            self.send_header('Location', page)
        self.end_headers()
        with contextlib.suppress(OSError):
            self.wfile.write(page if isinstance(page, bytes) else b'')
            while isinstance(page, tuple):
                self.wfile.write(page[0])
                time.sleep(page[1])

    def log_message(self, *arguments):
        pass


def radio(station):
    return 'id=1&format=mp3&radio=' + urllib.parse.quote(station, '')


def resolve(station, environment=None):
    """What the converter is told to read, and the seconds until it was started."""
    start = time.monotonic()
    harness.request(radio(station), 'HEAD', environment)
    return harness.recorded()['arguments'][4], time.monotonic() - start


def trap(protocol):
    """An address that waits in vain for a connection, and its socket."""
    listener = socket.create_server(('127.0.0.1', 0))
    listener.settimeout(0)
    return f'{protocol}://127.0.0.1:{listener.getsockname()[1]}', listener


class Radio(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        harness.write_database(music=[(1, '/mnt/a.flac', 2, 44100, 10)])
        harness.install_stand_in()
        server = http.server.ThreadingHTTPServer(('127.0.0.1', 0), Station)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        cls.host = 'http://127.0.0.1:%d' % server.server_port

    def test_addresses(self):
        """The station is quick, and so is the answer."""
        with open('/mnt/local.m3u', 'wb') as file:
            file.write(M3U)
        address, listener = trap('ftp')
        PAGES['/ftp.m3u'] = address + '/a.m3u'
        cases = {
            '/a.pls': STREAM + '?pls', '/dir/a.M3U?x=.mp3': STREAM + '?m3u',
            '/a.asx': STREAM + '?a=1&b=2', '/a.xspf': STREAM + '?xspf',
            '/local.m3u': self.host + '/x/y.mp3', '/nothing.m3u': '', '/outer.m3u': STREAM + '?inner',
            '/hls.m3u': self.host + '/hls.m3u', '/live.m3u8': self.host + '/live.m3u8',
            '/long.m3u': STREAM, '/large.m3u': STREAM + '?m3u', '/endless.m3u': '',
            '/3.m3u': STREAM + '?m3u', '/4.m3u': '', '/file.m3u': '', '/ftp.m3u': '',
            '/missing.m3u': '', '/a b.m3u': '', ':99999/a.m3u': '',
        }
        for station, expected in cases.items():
            with self.subTest(station):
                found, seconds = resolve(self.host + station)
                self.assertEqual(found, expected)
                self.assertLess(seconds, SLACK)
        self.assertRaises(BlockingIOError, listener.accept)

    def test_slow_stations(self):
        dead, _listener = trap('http')
        for station in (dead + '/a.pls', self.host + '/slow.pls', self.host + '/slow.m3u'):
            with self.subTest(station):
                found, seconds = resolve(station)
                self.assertEqual(found, '')
                self.assertTrue(LIMIT - 0.5 < seconds < LIMIT + SLACK, seconds)

    def test_asking_process(self):
        """It has nothing of root or of the program, ends with it, and cannot hold it up."""
        address, silent = trap('http')
        silent.settimeout(LIMIT)
        for user, asking in [(harness.WEB_USER, harness.WEB_USER), (0, 65534)]:
            with self.subTest(user), harness.start(radio(address + '/a.pls'), 'HEAD', user=user,
                                                   extra_groups=[user]) as process:
                connection = silent.accept()[0]
                child, = set(harness.processes('transcoder.cgi')) - {process.pid}
                with open(f'/proc/{child}/status') as file:
                    status = dict(line.split(':', 1) for line in file)
                for name, value in {'Uid': 4 * [str(asking)], 'Gid': 4 * [str(asking)],
                                    'Groups': [str(user)] if user else [], 'CapPrm': ['0' * 16],
                                    'NoNewPrivs': ['1']}.items():
                    self.assertEqual(status[name].split(), value)
                files = [os.readlink(f'/proc/{child}/fd/{fd}') for fd in range(2)]
                self.assertEqual(files[0], '/dev/null')
                self.assertNotEqual(files[1], os.readlink(f'/proc/{process.pid}/fd/1'))
                for owner in (child, process.pid):
                    with open(f'/proc/{owner}/maps') as maps:
                        self.assertEqual('libcurl' in maps.read(), owner == child)
                if user:
                    process.kill()
                    connection.settimeout(LIMIT - 2)
                else:
                    os.kill(child, signal.SIGSTOP)
                    process.wait(LIMIT + SLACK)
                while connection.recv(4096):  # its end is the end of the connection
                    pass

    def test_hostile_environment(self):
        proxy, listener = trap('http')
        os.mkdir('/mnt/keys')
        os.chmod('/mnt/keys', 0o777)
        found, _ = resolve(self.host + '/a.pls', {
            'http_proxy': proxy, 'ALL_PROXY': proxy, 'SSLKEYLOGFILE': '/mnt/keys/log'})
        self.assertEqual(found, STREAM + '?pls')
        self.assertRaises(BlockingIOError, listener.accept)
        self.assertEqual(os.listdir('/mnt/keys'), [])


if __name__ == '__main__':
    unittest.main()
