"""What goes wrong gets a clean answer: no crash, no hang, no leaked child, no wrong byte."""
import contextlib
import os
import shutil
import signal
import sqlite3
import stat
import subprocess
import time
import unittest

import harness
from harness import FFMPEG, LUMETRA_DB, PROGRAM, request

ENDLESS = '#!/bin/sh\nexec /bin/cat /dev/zero\n'


def not_found(item, *before):
    return None, b'', [*before, (11, f'genericoder:322 Transcoder cannot find the entry of id={item}')]


class Failure(unittest.TestCase):
    def setUp(self):
        harness.write_database(music=[(1, '/mnt/a.flac', 2, 44100, 10), (2, None, 2, 44100, 10)])
        harness.configure(None)
        harness.install_stand_in(b'output')

    def assert_gone(self, name):
        for _ in range(500):
            if not harness.processes(name):
                return
            time.sleep(0.01)
        self.fail(name + ' is left running')

    def test_no_entry(self):
        for query, item in [('id=7&format=mp3', 7), ('id=2', 2), ('', 0), ('id=', 0), ('id=abc', 0),
                            ('x=1;id= -5', -5), ('id=99999999999999999999', -1), ('&&==&=&%', 0),
                            ('id=1&type=video', 1), (1100 * 'x' + 'id=1', 0), ('id=%31', 0)]:
            with self.subTest(query[:40]):
                response = request(query)
                self.assertEqual(response[:2], (None, b''))
                self.assertEqual(response.log[-1:], not_found(item)[2])
        self.assertEqual(request('id=7').log, not_found(7)[2])

    def test_database(self):
        """A database that cannot be read is a failed lookup; a writer at work is no obstacle."""
        with contextlib.closing(sqlite3.connect(LUMETRA_DB, isolation_level=None)) as writer:
            writer.execute('BEGIN IMMEDIATE')
            writer.execute("UPDATE music SET path = '/mnt/b.flac'")
            request('id=1&format=mp3', 'HEAD')
            self.assertIn('/mnt/a.flac', harness.recorded()['arguments'])
            writer.execute('ROLLBACK')
            writer.execute('BEGIN EXCLUSIVE')
            self.assertEqual(request('id=1')[:2], (None, b''))
            writer.execute('ROLLBACK')
        for content in (b'', b'garbage' * 1000, harness.read(LUMETRA_DB)[:5000], None):
            with self.subTest(content and content[:8]):
                os.unlink(LUMETRA_DB)
                if content is not None:
                    with open(LUMETRA_DB, 'wb') as file:
                        file.write(content)
                self.assertEqual(request('id=1')[:2], (None, b''))
        harness.configure('mediadb=oracle:x\n')
        self.assertEqual(request('id=1').log[-1:], not_found(1)[2])
        harness.configure('# mediadb=x\r\n mediadb = "sqlite:/mnt/else where" \r\n')
        os.makedirs('/mnt/else where', exist_ok=True)
        harness.write_database('/mnt/else where/lumetra.db', music=[(1, '/mnt/c.flac', 2, 8000, 1)])
        request('id=1&format=mp3', 'HEAD')
        self.assertIn('/mnt/c.flac', harness.recorded()['arguments'])

    def test_database_user(self):
        """The database is opened as the package's user: what that user may not read is not read."""
        subprocess.run(['useradd', '--badname', '--system', 'Lumetra'], check=True,
                       stderr=subprocess.DEVNULL)
        try:
            os.chmod(LUMETRA_DB, 0o600)
            self.assertEqual(request('id=1')[:2], (None, b''))
            shutil.chown(LUMETRA_DB, 'Lumetra')
            self.assertIsNotNone(request('id=1&format=mp3').header)
            self.assertEqual(harness.recorded()['ids'], [33, 0, 0, 33, 0, 0])
        finally:
            subprocess.run(['userdel', 'Lumetra'], check=True)

    def test_no_way_to_root(self):
        plain = '/mnt/transcoder.cgi'
        shutil.copyfile(PROGRAM, plain)
        os.chmod(plain, 0o755)
        denied = [(35, 'transcoder:91 ERROR: IF_RUN_AS(0, 0)'), (11, 'transcoder:91 Permission denied')]
        self.assertEqual(request('id=1', executable=plain), not_found(1, *denied))

    def test_converter(self):
        """One that cannot be started, yields nothing or is killed."""
        failed = [(11, 'genericoder:318 Transcoder cannot open /mnt/a.flac')]
        harness.set_output(b'')
        self.assertEqual(request('id=1'), ([('Content-Type', 'audio/wav')], b'', failed))
        self.assertEqual(request('id=1&format=mp3').body, bytes(176000))
        harness.install_stand_in(text='#!/bin/sh\necho begun\nkill -KILL $$\n')
        self.assertEqual(request('id=1&format=mp3').body, b'begun\n'.ljust(176000, b'\0'))
        for text in ('#!/nowhere\n', '', None):
            with self.subTest(text):
                if text is None:
                    os.unlink(FFMPEG)
                else:
                    harness.install_stand_in(text=text)
                response = request('id=1&format=mp3')
                self.assertEqual(response, ([('Content-Type', 'audio/mpeg')], b'', failed))

    def test_client_that_leaves(self):
        """The end of the client, or of the server's patience, ends program and converter."""
        harness.install_stand_in(text=ENDLESS)
        def ignore_signals():
            signal.signal(signal.SIGPIPE, signal.SIG_IGN)
            signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGPIPE, signal.SIGTERM])
        for end in (lambda p: p.stdout.close(), lambda p: p.terminate()):
            process = harness.start('id=1&format=pcm', preexec_fn=ignore_signals,
                                    restore_signals=False)
            process.stdout.read(100000)
            end(process)
            self.assertIn(process.wait(timeout=10), (-signal.SIGPIPE, -signal.SIGTERM))
            process.stderr.close()
            process.stdout.close()
            self.assert_gone('cat')
        self.assertEqual(request('id=1&format=mp3', 'HEAD').body, b'')
        self.assert_gone('cat')

    def test_first_bytes(self):
        """What has arrived is passed on before the rest is waited for; swapping keeps pairs."""
        os.mkfifo('/mnt/more')
        harness.install_stand_in(text='#!/bin/sh\nprintf abc\nread x </mnt/more\nprintf defg\n')
        with harness.start('id=1&format=mp3') as process:
            block = b''
            while not block.endswith(b'\r\n\r\nabc'):
                block += process.stdout.read(1)
            with open('/mnt/more', 'w') as more:
                more.write('go\n')
            self.assertEqual(process.stdout.read().rstrip(b'\0'), b'defg')
        harness.write_database(music=[(1, '/mnt/pipe.wav', 1, 8000, 0)])
        os.mkfifo('/mnt/pipe.wav')
        with harness.start('id=1&format=pcm') as process, open('/mnt/pipe.wav', 'wb') as pipe:
            for piece in (b'12345', b'678', b'9'):
                pipe.write(piece)
                pipe.flush()
                time.sleep(0.1)
            pipe.close()
            self.assertEqual(process.stdout.read().partition(b'\r\n\r\n')[2].rstrip(b'\0'), b'214365879')

    def test_far_range(self):
        harness.install_stand_in(text=ENDLESS)
        far = request('id=1&format=mp3&radio=http://x/', environment={'HTTP_RANGE': 'bytes=2500000000-2500000009'})
        self.assertEqual(far.body, bytes(10))
        self.assertIn(('Content-Range', 'bytes 2500000000-2500000009/4294967295'), far.header)

    def test_closed_descriptors(self):
        before = harness.read(LUMETRA_DB)
        for closed in ([0], [0, 1], [1], [2], [0, 1, 2]):
            with self.subTest(closed):
                def close():
                    for descriptor in closed:
                        os.close(descriptor)
                process = harness.start('id=1&format=mp3', preexec_fn=close)
                output, _ = process.communicate(timeout=10)
                self.assertEqual(process.returncode, 0)
                if 1 not in closed:
                    self.assertEqual(output.partition(b'\r\n\r\n')[2], b'output'.ljust(176000, b'\0'))
        self.assertEqual(harness.read(LUMETRA_DB), before)

    def test_installation(self):
        mode = os.stat(PROGRAM)
        self.assertEqual((mode.st_uid, stat.S_IMODE(mode.st_mode)), (0, 0o4755))
        needed = subprocess.run(['ldd', PROGRAM], capture_output=True, text=True, check=True).stdout
        self.assertRegex(needed, 'sqlite3')
        self.assertNotRegex(needed, 'avformat|avcodec|jsoncpp|libcurl|libpq')


if __name__ == '__main__':
    unittest.main()
