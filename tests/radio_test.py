"""Which address a radio station resolves to, how long that takes, and who asks the station."""
import os
import signal
import socket
import socketserver
import threading
import time
import unittest
from pathlib import Path
from urllib.parse import quote, urljoin

import harness


class Station(socketserver.StreamRequestHandler):
    def handle(self):
        path = self.request.recv(4096).split()[1].decode()
        self.wfile.write(b'HTTP/1.0 ' + PAGES[path][0].encode('latin-1') + b'\r\n\r\n')
        while path in ('/endless.m3u', '/slow.m3u'):
            self.wfile.write(b'# and so on\n')
            time.sleep(1 if path == '/slow.m3u' else 0)


server = socketserver.ThreadingTCPServer(('127.0.0.1', 0), Station)
server.handle_error = lambda *_: None  # the client may leave
silent = socket.create_server(('127.0.0.1', 0))
silent.settimeout(3)
HOST, SILENT = ('http://127.0.0.1:%d' % each.getsockname()[1] for each in (server.socket, silent))
RADIO = 'id=1&format=mp3&radio='
STREAM, OK, MOVED = 'http://radio.example:8000/stream?a', '200 \r\n\r\n', '302 \r\nLocation: '
M3U = f'#EXTM3U\n#EXTINF:-1,A station\n{STREAM}\n'
# What the station answers, and the address that is read in the end.
PAGES = {
    '/a.pls': (f'{OK}[playlist]\nFile2=http://no/\nFile1={STREAM}&pls\n', STREAM + '&pls'),
    '/dir/a.M3U?x=.mp3': (OK + M3U, STREAM), '/0.m3u': (OK + M3U + 100000 * '#\n', STREAM),
    '/b/a.m3u': (OK + '/etc/passwd\\\nfile:///etc/passwd\nconcat:a\n\xff\xfe\n../x.mp3\n', HOST + '/x.mp3'),
    '/hls.m3u': (OK + '#EXTM3U\n#EXT-X-VERSION:3\n#EXTINF:9,\na.ts\n', HOST + '/hls.m3u'),
    '/nested.m3u': (f'{OK}nested.m3u\na.pls\n{STREAM}', STREAM), '/404.m3u': ('404 \r\n\r\n' + M3U, ''),
    **{f'/{i}.m3u': (f'{MOVED}/{i - 1}.m3u', STREAM if i <= 3 else '') for i in range(1, 5)},
    '/file.m3u': (MOVED + f'file://{harness.OUTPUT}', ''),
    '/endless.m3u': (OK, ''), '/slow.m3u': (OK, ''), SILENT + '/a.pls': ('', '')}


def setUpModule():
    harness.write_database(music=[(1, '/mnt/a.flac', 2, 44100, 10)])
    harness.install_stand_in(M3U.encode())
    threading.Thread(target=server.serve_forever, daemon=True).start()


class Radio(unittest.TestCase):
    def test_addresses(self):
        os.chmod('/mnt', 0o777)
        hostile = {'http_proxy': SILENT, 'ALL_PROXY': SILENT, 'SSLKEYLOGFILE': '/mnt/keys'}
        for station, (_, expected) in PAGES.items():
            with self.subTest(station):
                start = time.monotonic()
                harness.request(RADIO + quote(urljoin(HOST, station), ''), 'HEAD', hostile)
                limit = 5 if station in ('/slow.m3u', SILENT + '/a.pls') else 0
                self.assertAlmostEqual(time.monotonic() - start, limit, delta=1.5)
                self.assertEqual(harness.recorded()['arguments'][4], expected)
        self.assertFalse(os.path.exists('/mnt/keys'))
        silent.accept()[0].close()

    # It has nothing of root, ends with the program, and cannot hold it up.
    def test_asking_process(self):
        for user, asking in [(harness.WEB_USER, harness.WEB_USER), (0, 65534)]:
            with harness.start(RADIO + SILENT + '/a.pls', 'HEAD', user=user, extra_groups=[user]) as process:
                connection = silent.accept()[0]
                child, = set(harness.processes('transcoder.cgi')) - {process.pid}
                ids, status = 4 * f'\t{asking}', Path(f'/proc/{child}/status').read_text()
                self.assertRegex(status, f'Uid:{ids}\nGid:{ids}\n(?s:.*)Groups:\t{user or ""} \n(?s:.*)'
                                 'CapPrm:\t0+\n(?s:.*)NoNewPrivs:\t1\n')
                self.assertEqual(connection.recv(1), b'G')
                os.kill(*((process.pid, signal.SIGKILL) if user else (child, signal.SIGSTOP)))
                process.wait(6.5)
                connection.makefile().read()  # its end is that of the connection


