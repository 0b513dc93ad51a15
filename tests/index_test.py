"""media-index: the database tells what is in the folders."""
import contextlib
import os
import shutil
import signal
import sqlite3
import subprocess
import time
import unittest

import harness

INDEX = harness.PACKAGE + '/target/bin/media-index'
LIBRARY = '/mnt/library'
ODD = b'odd "\'\xff\n: -x.flac'


def make(name, *arguments):
    subprocess.run(['ffmpeg', '-nostdin', '-v', 'error', '-y', '-f', 'lavfi', *arguments, name], check=True)


def index(*folders):
    return subprocess.run([INDEX, *folders], capture_output=True, timeout=60)


def rows(table, columns, file=harness.LUMETRA_DB):
    with contextlib.closing(sqlite3.connect(file)) as database:
        database.text_factory = bytes
        return database.execute(f'SELECT {columns} FROM {table} ORDER BY path').fetchall()


class Index(unittest.TestCase):
    def test_index(self):
        os.makedirs(LIBRARY + '/deep/er')
        os.symlink('../../deep', LIBRARY + '/deep/er/loop')
        os.symlink('/nowhere', LIBRARY + '/dangling.mp3')
        sine = ['-i', 'sine=d=2.9:r=48000']
        make(LIBRARY + '/a.flac', *sine, '-ac', '2', '-metadata', 'title=Ä "T"', '-metadata', 'artist=B',
             '-metadata', 'album=C')
        make(LIBRARY + '/deep/er/b.ogg', *sine, '-c:a', 'flac', '-metadata', 'title=In Ogg')
        make(LIBRARY + '/film.mkv', '-i', 'color=s=32x32:d=3', '-f', 'lavfi', *sine, '-c:v', 'mpeg4')
        make(LIBRARY + '/cover.png', '-i', 'color=s=32x32', '-frames:v', '1')
        shutil.copy(LIBRARY + '/a.flac', os.fsencode(LIBRARY) + b'/' + ODD)
        for name, content in [('text.txt', b'Hello\n'), ('empty.mp3', b''), ('noise.wav', b'\1\2' * 999),
                              ('.hidden.flac', harness.read(LIBRARY + '/a.flac')),
                              ('list.mp3', b'#EXTM3U\n#EXT-X-TARGETDURATION:9\n#EXTINF:9,\na.flac\n')]:
            with open(f'{LIBRARY}/{name}', 'wb') as file:
                file.write(content)

        first = index(LIBRARY)
        self.assertEqual(first.returncode, 0)
        named = first.stderr.decode().split('media-index: warning: ' + LIBRARY)[1:]
        self.assertEqual({line.split(':')[0] for line in named},
                         {'/empty.mp3', '/list.mp3', '/noise.wav', '/text.txt'})
        music = rows('music', 'path, title, artist, album, channel, frequency, duration')
        folder = os.fsencode(LIBRARY)
        self.assertEqual(music, [
            (folder + b'/a.flac', 'Ä "T"'.encode(), b'B', b'C', 2, 48000, 2),
            (folder + b'/deep/er/b.ogg', b'In Ogg', b'', b'', 1, 48000, 2),
            (folder + b'/' + ODD, 'Ä "T"'.encode(), b'B', b'C', 2, 48000, 2)])
        film = [(folder + b'/film.mkv', b'film', 1, 48000, 3)]
        columns = 'path, title, channel, frequency, duration'
        self.assertEqual(rows('video', columns), film)
        self.assertEqual(rows('video_file', columns, harness.METADATA_DB), film)

        # Again, after changes: ids stay, what is gone goes, other folders are not asked.
        ids = dict(rows('music', 'path, id'))
        os.unlink(LIBRARY + '/deep/er/b.ogg')
        make(LIBRARY + '/a.flac', '-i', 'sine=d=1:r=8000')
        make(LIBRARY + '/z.flac', '-i', 'sine=d=1:r=8000')
        before = harness.read(harness.LUMETRA_DB)
        self.assertEqual(index(LIBRARY + '/missing').returncode, 1)
        self.assertEqual(index(LIBRARY + '/deep/er/loop').returncode, 0)
        self.assertEqual(len(rows('music', 'id')), 2)
        self.assertEqual(index(LIBRARY, LIBRARY).returncode, 0)
        self.assertEqual(rows('music', 'path, frequency'), [
            (folder + b'/a.flac', 8000), (folder + b'/' + ODD, 48000), (folder + b'/z.flac', 8000)])
        again = dict(rows('music', 'path, id'))
        self.assertEqual(again[folder + b'/a.flac'], ids[folder + b'/a.flac'])
        self.assertNotIn(again[folder + b'/z.flac'], ids.values())
        self.assertNotEqual(before, harness.read(harness.LUMETRA_DB))

        # Interrupted, it leaves the database as it was.
        for number in range(1000):
            os.link(LIBRARY + '/z.flac', f'{LIBRARY}/link {number}.flac')
        before = harness.read(harness.LUMETRA_DB)
        process = subprocess.Popen([INDEX, LIBRARY], stderr=subprocess.DEVNULL)
        time.sleep(0.05)
        process.send_signal(signal.SIGKILL)
        process.wait()
        self.assertEqual(before, harness.read(harness.LUMETRA_DB))
        self.assertEqual(index(LIBRARY).returncode, 0)
        self.assertEqual(len(rows('music', 'id')), 1003)

    def test_no_database(self):
        harness.configure('mediadb=sqlite:/nowhere\n')
        failed = index('/mnt')
        harness.configure(None)
        self.assertEqual((failed.returncode, failed.stdout), (1, b''))
        self.assertIn(b'/nowhere/lumetra.db', failed.stderr)


if __name__ == '__main__':
    unittest.main()
