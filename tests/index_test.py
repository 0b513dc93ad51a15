"""media-index: the database tells what is in the folders."""
import sqlite3
import subprocess
import unittest
from pathlib import Path

import harness
from harness import make

LIBRARY, ODD = Path('/mnt/library'), 'odd "\'\udcff\n: -x.flac'


# The status and the names of the files that a warning, or the reason of a failure, is about.
def index(*folders, timeout=60):
    process = subprocess.run([harness.PACKAGE + '/target/bin/media-index', *folders], timeout=timeout,
                             stderr=subprocess.PIPE, stdout=subprocess.DEVNULL, text=True)
    return process.returncode, {Path(line.split(': ')[-2]).name for line in process.stderr.splitlines()}


# The rows in the order of their paths, which are given relative to the library.
def rows(columns, table='music', file=harness.LUMETRA_DB):
    database = sqlite3.connect(file)
    database.text_factory = lambda text: text.decode(errors='surrogateescape').removeprefix(f'{LIBRARY}/')
    return database.execute(f'SELECT {columns} FROM {table} ORDER BY path').fetchall()


class Index(unittest.TestCase):
    def test_index(self):
        (LIBRARY / 'deep/er').mkdir(parents=True)
        (LIBRARY / 'deep/er/loop').symlink_to('../../deep')
        for name in ('a.flac', ODD, '.hidden.flac'):
            make(LIBRARY / name, 'sine=d=2.9', '-ac', '2', '-metadata', 'title=Ä "T"', '-metadata', 'album=C')
        make(LIBRARY / 'deep/er/b.ogg', 'sine=d=2.9', '-c:a', 'flac', '-metadata', 'artist=B')
        make(LIBRARY / 'film.mkv', 'color=s=32x32:d=3', '-f', 'lavfi', '-i', 'sine=d=2.9:r=48000',
             '-c:v', 'mpeg4')
        make(LIBRARY / 'cover.png', 'color=s=32x32', '-frames:v', '1')
        (LIBRARY / 'list.mp3').write_text('#EXTM3U\n#EXT-X-TARGETDURATION:9\n#EXTINF:9,\na.flac\n')
        self.assertEqual(index(LIBRARY), (0, {'list.mp3'}))
        facts = 'path, title, artist, album, channel, frequency, duration'
        self.assertEqual(rows(facts), [
            ('a.flac', 'Ä "T"', '', 'C', 2, 44100, 2), ('deep/er/b.ogg', 'b', 'B', '', 1, 44100, 2),
            (ODD, 'Ä "T"', '', 'C', 2, 44100, 2)])
        for table, file in [('video', harness.LUMETRA_DB), ('video_file', harness.METADATA_DB)]:
            self.assertEqual(rows(facts, table, file), [('film.mkv', 'film', '', '', 1, 48000, 3)])

        # Again, after changes: ids stay, what is gone goes, other folders are not asked.
        ids = dict(rows('path, id'))
        make(LIBRARY / 'a.flac', 'sine=d=1:r=8000')
        (LIBRARY / 'deep/er/b.ogg').rename(LIBRARY / 'z.ogg')
        self.assertEqual([index(LIBRARY / name)[0] for name in ('missing', 'deep/er/loop')], [3, 0])
        self.assertEqual(rows('path'), [('a.flac',), (ODD,)])
        self.assertEqual(index(LIBRARY, LIBRARY)[0], 0)
        (*kept, _), _, (*_, new, title) = rows('frequency, id, title')
        self.assertEqual((kept, title, new in ids.values()), ([8000, ids['a.flac']], 'z', False))

        # Interrupted, it leaves the database as it was; without one it fails.
        for number in range(1000):
            (LIBRARY / f'{number}.flac').hardlink_to(LIBRARY / 'a.flac')
        self.assertRaises(subprocess.TimeoutExpired, index, LIBRARY, timeout=0.05)
        self.assertEqual(len(rows('id')), 3)
        harness.configure('mediadb=sqlite:/nowhere\n')
        self.assertEqual(index('/mnt'), (1, {'lumetra.db'}))
