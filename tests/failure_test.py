"""What goes wrong gets a clean answer: no crash, no hang, no leaked child, no wrong byte."""
import contextlib
import os
import shutil
import signal
import sqlite3
import subprocess
import time
import unittest

import harness
from harness import LUMETRA_DB, PROGRAM, request


def not_found(item, *before):
    return None, b'', [*before, (11, f'genericoder:322 Transcoder cannot find the entry of id={item}')]


class Failure(unittest.TestCase):
    def setUp(self):
        harness.write_database(music=[(1, '/mnt/a.flac', 2, 44100, 10), (2, None, 2, 44100, 10)])
        harness.configure(None)
        harness.install_stand_in(b'output')

    def assert_source(self, path):
        request('id=1&format=mp3', 'HEAD')
        self.assertEqual(harness.recorded()['arguments'][4], path)

    def test_no_entry(self):
        for query, item in [('id=7&format=mp3', 7), ('id=2', 2), ('', 0), ('id=abc', 0), ('x=1;id= -5', -5),
                            ('id=99999999999999999999', -1), (1100 * 'x' + 'id=1', 0), ('id=%31', 0)]:
            self.assertEqual(request(query), not_found(item), query)

    # A database that cannot be read is a failed lookup; a writer at work is no obstacle.
    def test_database(self):
        with contextlib.closing(sqlite3.connect(LUMETRA_DB, isolation_level=None)) as writer:
            writer.executescript("BEGIN IMMEDIATE; UPDATE music SET path = '/mnt/b.flac'")
            self.assert_source('/mnt/a.flac')
            writer.rollback()
            writer.execute('BEGIN EXCLUSIVE')
            self.assertEqual(request('id=1')[:2], (None, b''))
        for content in (b'', b'garbage' * 1000, LUMETRA_DB.read_bytes()[:5000], None):
            LUMETRA_DB.unlink() if content is None else LUMETRA_DB.write_bytes(content)
            self.assertEqual(request('id=1')[:2], (None, b''), content)
        harness.configure('mediadb=oracle:x\n')
        self.assertEqual(request('id=1').log[-1:], not_found(1)[2])
        harness.configure('# mediadb=x\r\n mediadb = "sqlite:/mnt/else where" \r\n')
        os.mkdir('/mnt/else where')
        harness.write_database('/mnt/else where/lumetra.db', music=[(1, '/mnt/c.flac', 2, 8000, 1)])
        self.assert_source('/mnt/c.flac')

    # The database is opened as the package's user: what that user may not read is not read.
    def test_database_user(self):
        subprocess.run(['useradd', '--badname', '--system', 'Lumetra'], check=True, capture_output=True)
        self.addCleanup(subprocess.run, ['userdel', 'Lumetra'], check=True)
        LUMETRA_DB.chmod(0o660)
        self.assertEqual(request('id=1', extra_groups=[0])[:2], (None, b''))
        shutil.chown(LUMETRA_DB, 'Lumetra')
        self.assert_source('/mnt/a.flac')

    def test_no_way_to_root(self):
        plain = shutil.copyfile(PROGRAM, '/mnt/transcoder.cgi')
        os.chmod(plain, 0o755)
        self.assertEqual(request('id=1', executable=plain), not_found(
            1, (35, 'transcoder:91 ERROR: IF_RUN_AS(0, 0)'), (11, 'transcoder:91 Permission denied')))

    # One that is killed, yields nothing or cannot be executed.
    def test_converter(self):
        harness.install_stand_in(text='#!/bin/sh\necho begun\nkill -KILL $$\n')
        self.assertEqual(request('id=1&format=mp3').body, b'begun\n'.ljust(176000, b'\0'))
        for text in ('#!/bin/sh\n', '', '#!/nowhere\n'):
            harness.install_stand_in(text=text)
            self.assertEqual(request('id=1'), ([('Content-Type', 'audio/wav')], b'', [
                (11, 'genericoder:318 Transcoder cannot open /mnt/a.flac')]), text)

    # The end of the client, or of the server's patience, ends program and converter, even where the
    # server blocks the signals of that and, like Python, ignores SIGPIPE.
    def test_endless_converter(self):
        harness.install_stand_in(text='#!/bin/sh\nexec /bin/cat /dev/zero\n')
        signals = [signal.SIGPIPE, signal.SIGTERM]
        for end in (lambda process: process.stdout.close(), lambda process: process.terminate()):
            with harness.start('id=1&format=pcm', restore_signals=False, preexec_fn=lambda:
                               signal.pthread_sigmask(signal.SIG_BLOCK, signals)) as process:
                process.stdout.read(100000)
                end(process)
                self.assertIn(-process.wait(timeout=10), signals)
        far = request('id=1&format=mp3&radio=http://x/', 'GET', {'HTTP_RANGE': 'bytes=2500000000-2500000009'})
        self.assertEqual(far.body, bytes(10))
        self.assertIn(('Content-Range', 'bytes 2500000000-2500000009/4294967295'), far.header)
        self.assertEqual(request('id=1&format=mp3', 'HEAD').body, b'')
        self.assertTrue(any(not harness.processes('cat') or time.sleep(0.01) for _ in range(500)))

    # What has arrived is passed on before the rest is waited for; swapping keeps pairs.
    def test_first_bytes(self):
        os.mkfifo('/mnt/more')
        harness.install_stand_in(text='#!/bin/sh\nprintf abc\nread x </mnt/more\nprintf defg\n')
        with harness.start('id=1&format=mp3') as process:
            self.assertTrue(any(line == b'\r\n' for line in process.stdout))
            self.assertEqual(process.stdout.read(3), b'abc')
            os.close(os.open('/mnt/more', os.O_WRONLY))
            self.assertEqual(process.stdout.read().rstrip(b'\0'), b'defg')
        harness.write_database(music=[(1, '/mnt/pipe.wav', 1, 8000, 0)])
        os.mkfifo('/mnt/pipe.wav')
        with harness.start('id=1&format=pcm') as process:
            pieces = '{ printf 12345; sleep 0.1; printf 678; sleep 0.1; printf 9; } >/mnt/pipe.wav'
            subprocess.run(pieces, shell=True, check=True)
            self.assertEqual(process.stdout.read().rpartition(b'\r\n')[2].rstrip(b'\0'), b'214365879')

    # What is logged before the body stays apart from it. As root, since the C library opens the missing
    # descriptors of a program that changes its user.
    def test_closed_descriptors(self):
        harness.write_database(music=[(1, '/mnt/missing.mkv', 2, 44100, 10)])
        for closed in ([0], [1], [2], [0, 1], [0, 1, 2]):
            process = harness.start('id=1', user=0, preexec_fn=lambda: list(map(os.close, closed)))
            body = process.communicate(timeout=10)[0].rpartition(b'\r\n')[2]
            self.assertEqual((process.returncode, body, len(harness.logged())),
                             (0, b'' if 1 in closed else b'output', 2), closed)

    def test_installation(self):
        self.assertEqual(oct(os.stat(PROGRAM).st_mode), '0o104755')
        needed = subprocess.run(['ldd', PROGRAM], capture_output=True, text=True, check=True).stdout
        self.assertNotRegex(needed, 'avformat|avcodec|jsoncpp|libcurl|libpq')
