"""Each web server with its snippet: what reaches a client, what does not, and what ends when a client does."""
import contextlib
import functools
import http.client
import itertools
import os
import shutil
import socketserver
import subprocess
import threading
import time
import unittest
from pathlib import Path
from urllib.parse import quote

import harness

TREE, FOLDER, PROGRAM = Path(__file__).absolute().parent.parent, '/lumetra/', '/lumetra/transcoder.cgi?'
FILES = {'': 'text/html', 'index.html': 'text/html', 'style.css': 'text/css', 'page.js': 'text/javascript',
         'library.json': 'application/json', 'music.m3u8': 'audio/mpegurl'}
released = threading.Event()


# One second of sound, and no more before the test lets it go on; or sound without an end.
class Station(socketserver.StreamRequestHandler):
    def handle(self):
        endless = b'/endless' in self.request.recv(4096)
        self.wfile.write(b'HTTP/1.0 200 OK\r\nContent-Type: audio/mpeg\r\n\r\n' + SOUND[:16000])
        while endless or released.wait(60):
            self.wfile.write(SOUND)


station = socketserver.ThreadingTCPServer(('127.0.0.1', 0), Station)
station.daemon_threads, station.handle_error = True, lambda *_: None  # the converter may leave
RADIO = 'id=1&format=mp3&radio=' + quote('http://127.0.0.1:%d/' % station.server_address[1], '')


# What the program itself answers; Status apart from the other headers.
@functools.lru_cache
def answer(query, method='GET', asked=None):
    header, body, _ = harness.request(query, method, {'HTTP_RANGE': asked})
    header = dict(header)
    return int(header.pop('Status', '200').split()[0]), header, body


# The servers end with the private tree.
def setUpModule():
    global SOUND
    for file, length in [('a.flac', 3), ('b.wav', 180), ('sound.mp3', 10)]:
        harness.make('/mnt/' + file, f'sine=d={length}', '-b:a', '128k')
    SOUND = Path('/mnt/sound.mp3').read_bytes()
    harness.write_database(music=[(1, '/mnt/a.flac', 1, 44100, 3), (2, '/mnt/b.wav', 1, 44100, 180),
                                  (3, '/mnt/a.flac', 1, None, 3)])
    for name in FILES:
        folder = Path(harness.PACKAGE, 'page' if name in ('library.json', 'music.m3u8') else 'target/page')
        folder.mkdir(exist_ok=True)
        Path(folder, name or 'index.html').write_text(f'This is {name or "index.html"}')
    shutil.chown(harness.PROGRAM, 'root', 'www-data')
    os.chmod(harness.PROGRAM, 0o4750)
    threading.Thread(target=station.serve_forever, daemon=True).start()
    for each in (Lighttpd, Nginx, Apache):
        each.server = subprocess.Popen([TREE / 'tools/web-server', each.__name__.lower(), '127.0.0.1', str(each.PORT)],
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        subprocess.run(f'until (: </dev/tcp/127.0.0.1/{each.PORT}) 2>/dev/null; do sleep 0.1; done',
                       shell=True, executable='/bin/bash', check=True, timeout=20)


class Server:
    LIMIT = 300  # tenths of a second; the converter waits for a station for 10 s

    def ask(self, target, method='GET', body=None, timeout=30, **header):
        harness.logged()  # a log that nobody reads would hold the program up
        connection = http.client.HTTPConnection('127.0.0.1', self.PORT, timeout=timeout)
        connection.request(method, target, body, {name.replace('_', '-'): value for name, value in header.items()})
        return connection.getresponse()

    # Status, headers and bytes are the program's own; the server has no idea of ranges itself, and
    # closes the connection where less comes than was announced.
    def test_program(self):
        for query, asked, method in itertools.product(
                ('id=1&format=mp3', 'id=1', 'id=1&format=pcm', 'id=2', 'id=3&format=pcm'),
                (None, 'bytes=0-99', 'bytes=9000-9999', 'bytes=5-6,8-9', 'bytes=-7', 'bytes=99999999-'),
                ('GET', 'HEAD')):
            with self.subTest(query=query, range=asked, method=method):
                status, header, body = answer(query, method, asked)
                response = self.ask(PROGRAM + query, method, **{'Range': asked} if asked else {})
                self.assertEqual((response.status, response.will_close), (status, True))
                self.assertEqual({name: response.getheader(name) for name in header}, header)
                self.assertTrue(b''.join(iter(response.read1, b'')) == body)

    def test_forms_and_errors(self):
        response = self.ask(PROGRAM + 'id=1', 'POST', 'format=mp3', Content_Type='application/x-www-form-urlencoded')
        self.assertEqual((response.status, response.getheader('Content-Type')), (200, 'audio/mpeg'))
        self.assertIn(self.ask(PROGRAM + 'id=7').status, (500, 502))
        self.assertIn(self.ask(PROGRAM + 'id=1', 'PUT', 'x', Connection='close').status, (403, 405))

    def test_files(self):
        for name, content_type in FILES.items():
            response = self.ask(FOLDER + name, Connection='close')
            self.assertEqual((response.status, response.getheader('Content-Type'), response.read().decode()),
                             (200, content_type, f'This is {name or "index.html"}'))
            self.assertIn(response.getheader('Cache-Control'), ('no-cache', 'max-age=0'))
            response = self.ask(FOLDER + name, If_None_Match=response.getheader('ETag'), Connection='close')
            self.assertEqual(response.status, 304)
        for way in itertools.product(
                ('../', '%2e%2e/', 'library.json/../', 'transcoder.cgi/', ''),
                ('var/lumetra.db', '../var/lumetra.db', 'lib/media.so', 'cgi-bin/transcoder.cgi', 'bin/')):
            self.assertIn(self.ask(FOLDER + ''.join(way), Connection='close').status, (400, 403, 404, 500), way)

    # Of a station's first second, next to everything is heard before it sends more.
    def test_radio(self):
        released.clear()
        with self.ask(PROGRAM + RADIO) as response:
            self.assertEqual(len(response.read(13000)), 13000)
            released.set()
            self.assertNotIn(bytes(1000), response.read(100000))  # the converter has not given up

    # Clients that have all begun before one goes on; none is cut or gets another's bytes.
    def test_many(self):
        for query in ('id=1&format=mp3', 'id=2'):
            responses = [self.ask(PROGRAM + query) for _ in range(32)]
            self.assertEqual([response.read() == answer(query)[2] for response in responses], 32 * [True])

    # A client that leaves ends program and converter: at once or, where nothing more comes by which the
    # server would notice, when the converter gives the station up.
    def test_leaving(self):
        released.clear()
        for query, size in [('id=2', 100), (RADIO + 'endless', 100), (RADIO, 100000)]:
            with self.ask(PROGRAM + query, timeout=3) as response, contextlib.suppress(TimeoutError):
                self.assertEqual(len(harness.processes('transcoder.cgi')), 1)
                response.read(size)
            for name in ('transcoder.cgi', 'ffmpeg', 'cat'):
                self.assertTrue(any(not harness.processes(name) or time.sleep(0.1) for _ in range(self.LIMIT)), name)


class Lighttpd(Server, unittest.TestCase):
    PORT, LIMIT = 18082, 50


class Nginx(Server, unittest.TestCase):
    PORT = 18083


class Apache(Server, unittest.TestCase):
    PORT = 18084
