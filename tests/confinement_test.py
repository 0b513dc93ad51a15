"""What a converter that has been taken over, or a crafted file, can reach; and the program itself in
surroundings that a hostile local user has prepared."""
import functools
import http.server
import os
import pwd
import resource
import shutil
import signal
import subprocess
import threading
import unittest
from pathlib import Path

import harness
from harness import request

HLS = '#EXTM3U\n#EXT-X-TARGETDURATION:9\n#EXT-X-MEDIA-SEQUENCE:0\n#EXTINF:9,\n%s\n#EXT-X-ENDLIST\n'
CRAFTED = {'fifo.mkv': HLS % '/mnt/fifo.ts', 'hls.mp3': HLS % '/mnt/secret.ts',
           'file.m3u8': HLS % 'file:///mnt/secret.ts', 'concat.mp3': 'ffconcat version 1.0\nfile secret.wav\n'}
CONFINED = '''ids {0} {0} {0} {1} {1} {1} []
capabilities {2} {2} no_new_privs 1
core 0 descriptors [0, 1, 2]
environment {{'PATH': '/usr/bin:/bin'}}
input={3}\noverwrite=EPERM\ntruncate=EPERM\nchmod=EPERM\nchmodat=EPERM\nunlink=EPERM\nother=EACCES
create=EPERM\nlist=EACCES\nhandle=EPERM\nsocket={4}\nconnect={5}\nlocal=EPERM\nnamespace=EPERM
signal=EPERM\nlimit=EPERM\nroot=EPERM\nshell=EACCES
'''
VARIABLES = '''LD_PRELOAD LD_LIBRARY_PATH LD_AUDIT LD_DEBUG_OUTPUT GCONV_PATH LOCPATH NLSPATH MALLOC_TRACE TZ TZDIR
    TMPDIR SQLITE_TMPDIR HOME HOSTALIASES RES_OPTIONS PGHOST PGSERVICEFILE OPENSSL_CONF SSLKEYLOGFILE CURL_HOME
    http_proxy HTTP_X FFREPORT AV_LOG_FORCE_COLOR GLIBC_TUNABLES BASH_ENV'''.split()
HOSTILE = dict.fromkeys(VARIABLES, 'file=/mnt/open/x')


class Confinement(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        subprocess.run(['useradd', '--badname', '--system', 'Lumetra'], check=True, stderr=subprocess.DEVNULL)
        for name, text in CRAFTED.items():
            Path('/mnt', name).write_text(text)
        for name in ('secret.wav', 'secret.ts'):
            harness.make('/mnt/' + name, 'sine=d=1')
        os.chmod('/mnt/secret.wav', 0o600)
        os.symlink('secret.wav', '/mnt/link.wav')
        os.mkfifo('/mnt/fifo.ts')
        os.mkdir('/mnt/open')
        os.chmod('/mnt/open', 0o777)
        shutil.copy(harness.FFMPEG, '/mnt/launcher')
        files = ['link.wav', *CRAFTED]
        harness.write_database(music=[(i, '/mnt/' + name, 2, 44100, 0) for i, name in enumerate(files, 1)])
        handler = functools.partial(http.server.SimpleHTTPRequestHandler, directory='/mnt')
        server = http.server.ThreadingHTTPServer(('127.0.0.1', 18081), handler)
        threading.Thread(target=server.serve_forever, daemon=True).start()

    def tearDown(self):
        harness.configure(None)
        shutil.copy('/mnt/launcher', harness.FFMPEG)
        self.assertEqual(os.listdir('/mnt/open'), [])

    def test_taken_over(self):
        shutil.copy(Path(__file__).parent / 'hostile_converter', '/mnt/hostile')
        harness.configure('ffmpeg=/mnt/hostile\n')
        user, before = pwd.getpwnam('Lumetra'), Path('/mnt/secret.wav').read_bytes()
        for query, *reached in [('id=1&format=mp3', 4, 'yes', 'EPERM', 'EBADF'),
                                ('id=1&format=mp3&radio=http://x/', 0, 'EACCES', 'yes', 'yes')]:
            response = request(query, environment={**HOSTILE, 'HTTP_RANGE': 'bytes=0-999'})
            expected = CONFINED.format(user.pw_uid, user.pw_gid, *reached)
            self.assertEqual((response.body.rstrip(b'\0').decode(), response.log), (expected, []), query)
        self.assertEqual(Path('/mnt/secret.wav').read_bytes(), before)

    def test_crafted_media(self):
        """A playlist in disguise plays nothing; the file that it names plays when it is the item."""
        part = {'HTTP_RANGE': 'bytes=0-99999'}
        self.assertNotEqual(request('id=1&format=pcm&downsample=true', environment=part).body.strip(b'\0'), b'')
        # The probe of a video follows none either: it would wait for the pipe.
        self.assertEqual(request('id=2').log[0][1], 'utils:159 Failed to open file [/mnt/fifo.mkv]')
        for query in ('id=3', 'id=4', 'id=5', 'id=1&radio=http://127.0.0.1:18081/file.m3u8', 'id=1&radio=mnt/link.wav'):
            response = request(query + '&format=pcm', environment=part)
            self.assertEqual((response.body, response.log), (bytes(100000), []), query)

    def test_surroundings(self):
        """The set-user-ID program answers right, or not at all."""
        def disturb():
            for number in set(signal.Signals) - {signal.SIGKILL, signal.SIGSTOP}:
                signal.signal(number, signal.SIG_IGN)
            signal.pthread_sigmask(signal.SIG_BLOCK, set(signal.Signals))
            os.chdir('/mnt/open')
            os.umask(0)
            os.dup2(os.open('/etc/passwd', os.O_RDONLY), 400)
        harness.install_stand_in(b'output')
        expected = request('id=1&format=mp3')
        self.assertEqual(request('id=1&format=mp3', environment=HOSTILE, preexec_fn=disturb,
                                 restore_signals=False), expected)
        record = harness.recorded()
        self.assertEqual((record['descriptors'], record['ids']), ([0, 1, 2], [33, 0, 0, 33, 0, 0]))
        self.assertEqual(set(record['environment']) - {'LC_CTYPE'}, {'PATH'})
        for kind, value in [(resource.RLIMIT_NOFILE, 3), (resource.RLIMIT_NOFILE, 4), (resource.RLIMIT_NOFILE, 5),
                            (resource.RLIMIT_NPROC, 0), (resource.RLIMIT_DATA, 1)]:
            process = harness.start('id=1&format=mp3', preexec_fn=lambda:
                                    resource.setrlimit(kind, (value, value)))
            body = process.communicate(timeout=20)[0].partition(b'\r\n\r\n')[2]
            self.assertTrue(body in (b'', expected.body), (kind, value))
