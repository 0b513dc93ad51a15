"""What a converter that has been taken over, or a crafted file, can reach; and the program itself in
surroundings that a hostile local user has prepared."""
import http.server
import os
import resource
import shutil
import signal
import struct
import subprocess
import threading
import unittest

import harness
from harness import request

HERE = os.path.dirname(os.path.abspath(__file__))
NOISE = os.urandom(100000)
WAV = b'RIFF' + struct.pack('<I', 100036) + b'WAVEfmt ' + struct.pack('<IHHIIHH', 16, 1, 2, 44100, 176400, 4, 16) \
    + b'data' + struct.pack('<I', 100000) + NOISE
HLS = '#EXTM3U\n#EXT-X-TARGETDURATION:9\n#EXT-X-MEDIA-SEQUENCE:0\n#EXTINF:9,\n%s\n#EXT-X-ENDLIST\n'
CRAFTED = {'hls.mkv': HLS % '/mnt/fifo.ts', 'hls.mp3': HLS % '/mnt/secret.ts', 'hls2.mp3': HLS % 'file:///mnt/secret.ts',
           'concat.mp3': 'ffconcat version 1.0\nfile secret.wav\n',
           'sdp.mp3': 'v=0\nc=IN IP4 127.0.0.1\nm=audio 18081 RTP/AVP 0\n', 'image%d.jpg': 'x'}
CONFINED = """ids={0} {0} {0} {1} {1} {1} groups=0
capabilities={2} {2} no_new_privs=1
core=0 descriptors=3 environment=PATH=/usr/bin:/bin
"""
FILE = 'input=yes\noverwrite=EPERM\ntruncate=EPERM\nchmod=EPERM\nchmodat=EPERM\nunlink=EPERM\n'
REST = 'other=EACCES\ncreate=EPERM\nlist=EACCES\nhandle=EPERM\nconnect={}\nlocal=EPERM\nnamespace=EPERM\n' \
    'signal=EPERM\nlimit=EPERM\nroot=EPERM\nshell=EACCES\n'


class Station(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.send_response(200)
        self.end_headers()
        self.wfile.write((HLS % 'file:///mnt/secret.ts').encode())

    def log_message(self, *_):
        pass


class Confinement(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        subprocess.run(['useradd', '--badname', '--system', 'Lumetra'], check=True, stderr=subprocess.DEVNULL)
        for name, content in [('secret.wav', WAV), *CRAFTED.items()]:
            with open('/mnt/' + name, 'wb') as file:
                file.write(content if isinstance(content, bytes) else content.encode())
        os.chmod('/mnt/secret.wav', 0o600)
        subprocess.run(['ffmpeg', '-nostdin', '-v', 'error', '-i', '/mnt/secret.wav', '-c:a', 'mp2',
                        '/mnt/secret.ts'], check=True)
        os.symlink('secret.wav', '/mnt/link.wav')
        shutil.copy(harness.FFMPEG, '/mnt/launcher')
        os.mkdir('/mnt/open')
        os.chmod('/mnt/open', 0o777)
        harness.write_database(music=[(1, '/mnt/link.wav', 2, 44100, 0)] + [
            (number, '/mnt/' + name, 2, 44100, 0) for number, name in enumerate(CRAFTED, 2)],
            video=[(1, '/mnt/hls.mkv', None, None, 1)])
        os.mkfifo('/mnt/fifo.ts')
        cls.server = http.server.ThreadingHTTPServer(('127.0.0.1', 18081), Station)
        threading.Thread(target=cls.server.serve_forever, daemon=True).start()

    @classmethod
    def tearDownClass(cls):
        cls.server.shutdown()
        cls.server.server_close()

    def setUp(self):
        shutil.copy('/mnt/launcher', harness.FFMPEG)

    def tearDown(self):
        harness.configure(None)

    def test_taken_over(self):
        shutil.copy(os.environ['HOSTILE_CONVERTER'], '/mnt/hostile')
        harness.configure('ffmpeg=/mnt/hostile\n')
        user = subprocess.run(['id', '-u', 'Lumetra'], capture_output=True, text=True).stdout.strip()
        group = subprocess.run(['id', '-g', 'Lumetra'], capture_output=True, text=True).stdout.strip()
        hostile = {'FFREPORT': 'file=/mnt/open/report', 'LD_PRELOAD': '/mnt/x.so', 'PATH': '/mnt'}
        for query, capabilities, file, connect in [
                ('id=1&format=mp3', 4, FILE, 'EPERM'), ('id=1&format=mp3&radio=http://x/', 0, '', 'yes')]:
            with self.subTest(query):
                response = request(query, environment={**hostile, 'HTTP_RANGE': 'bytes=0-999'})
                self.assertEqual(response.body.rstrip(b'\0').decode(), CONFINED.format(user, group, capabilities)
                                 + file + REST.format(connect))
                self.assertEqual(response.log, [])
        self.assertEqual(harness.read('/mnt/secret.wav'), WAV)
        self.assertEqual(os.listdir('/mnt/open'), [])

    def test_crafted_media(self):
        """A playlist in disguise plays nothing; the file it names is played when it is the item."""
        body = request('id=1&format=pcm&downsample=true', environment={'HTTP_RANGE': 'bytes=0-99'}).body
        self.assertNotEqual(body.strip(b'\0'), b'')
        station = '&radio=http://127.0.0.1:18081/'
        # The probe of a video follows none either: it would wait for the pipe.
        self.assertEqual(request('id=1&type=video').log[0][1], 'utils:159 Failed to open file [/mnt/hls.mkv]')
        for query in [f'id={number}' for number in range(3, 2 + len(CRAFTED))] + [
                'id=1' + station, f'id=1{station}x.m3u8', 'id=1&radio=link.wav', 'id=1&radio=mnt/link.wav']:
            with self.subTest(query):
                response = request(query + '&format=pcm', environment={'HTTP_RANGE': 'bytes=0-99999'})
                self.assertTrue(response.body == bytes(100000))
                self.assertEqual(response.log, [])

    def test_surroundings(self):
        """The set-user-ID program answers right, or not at all, and leaves nothing."""
        def limit(kind, value):
            return lambda: resource.setrlimit(kind, (value, value))

        def disturb():
            for number in set(signal.Signals) - {signal.SIGKILL, signal.SIGSTOP}:
                signal.signal(number, signal.SIG_IGN)
            signal.pthread_sigmask(signal.SIG_BLOCK, set(signal.Signals))
            os.chdir('/mnt/open')
            os.umask(0)
            for _ in range(50):
                os.dup2(os.open('/etc/passwd', os.O_RDONLY), 400)
        hostile = {name: '/mnt/open/x' for name in (
            'LD_PRELOAD', 'LD_LIBRARY_PATH', 'LD_AUDIT', 'LD_DEBUG_OUTPUT', 'GCONV_PATH', 'LOCPATH', 'NLSPATH',
            'MALLOC_TRACE', 'TZ', 'TZDIR', 'TMPDIR', 'SQLITE_TMPDIR', 'HOME', 'HOSTALIASES', 'RES_OPTIONS',
            'LOCALDOMAIN', 'PGHOST', 'PGSERVICEFILE', 'OPENSSL_CONF', 'SSLKEYLOGFILE', 'CURL_HOME', 'http_proxy',
            'FFREPORT', 'AV_LOG_FORCE_COLOR', 'GLIBC_TUNABLES', 'NSS_WRAPPER_PASSWD', 'BASH_ENV', 'IFS')}
        harness.install_stand_in(b'output')
        expected = request('id=1&format=mp3')
        self.assertEqual(request('id=1&format=mp3', environment=hostile, preexec_fn=disturb,
                                 restore_signals=False), expected)
        self.assertEqual(harness.recorded()['descriptors'], [0, 1, 2])
        for kind, value in [(resource.RLIMIT_NOFILE, 3), (resource.RLIMIT_NOFILE, 4), (resource.RLIMIT_NPROC, 0),
                            (resource.RLIMIT_NOFILE, 5), (resource.RLIMIT_DATA, 1)]:
            with self.subTest(kind=kind, value=value):
                process = harness.start('id=1&format=mp3', preexec_fn=limit(kind, value))
                output = process.communicate(timeout=20)[0]
                self.assertTrue(output.partition(b'\r\n\r\n')[2] in (b'', expected.body))
        self.assertEqual(os.listdir('/mnt/open'), [])


if __name__ == '__main__':
    unittest.main()
