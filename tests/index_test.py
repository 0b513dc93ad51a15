"""media-index: the database tells what is in the folders."""
import json
import os
import shutil
import sqlite3
import subprocess
import unittest
from pathlib import Path

import harness
from harness import make

INDEX, PAGE, OWNER = harness.PACKAGE + '/target/bin/media-index', Path('/mnt/page'), 'games'
LIBRARY, TONE, ODD = Path('/mnt/library'), Path('/mnt/library/.tone.flac'), 'odd "\'\udcff\n: -x.flac'
HOSTILE = {'LD_PRELOAD': os.environ['PARSER'], 'ASAN_OPTIONS': 'verify_asan_link_order=0'}


# The status and the names of the files that a warning, or the reason of a failure, is about.
def index(*arguments, **options):
    process = subprocess.run([INDEX, *arguments], capture_output=True, text=True, **options)
    return process.returncode, {Path(line.split(': ')[-2:][0]).name for line in process.stderr.splitlines()}


# The rows in the order of their paths, which are given relative to the library.
def rows(columns, table='music', file=harness.LUMETRA_DB):
    database = sqlite3.connect(file)
    database.text_factory = lambda text: text.decode(errors='surrogateescape').removeprefix(f'{LIBRARY}/')
    return database.execute(f'SELECT {columns} FROM {table} ORDER BY path').fetchall()


class Index(unittest.TestCase):
    def setUp(self):
        harness.configure(None)
        folders = f'{LIBRARY} {PAGE} {harness.LUMETRA_DB.parent}'
        subprocess.run(f'rm -rf {folders} && install -d -o {OWNER} -g {OWNER} {folders} && groupadd -f Lumetra',
                       shell=True, check=True)
        make(TONE, 'sine=d=1')

    def test_index(self):
        (LIBRARY / 'deep/er').mkdir(parents=True)
        (LIBRARY / 'deep/er/loop').symlink_to('../../deep')
        for name in ('a.flac', ODD):
            make(LIBRARY / name, 'sine=d=2.9', '-ac', '2', '-metadata', 'title=Ä "T"', '-metadata', 'album=C')
        make(LIBRARY / 'deep/er/b.ogg', 'sine=d=2.9', '-c:a', 'flac', '-metadata', 'artist=B')
        make(LIBRARY / 'film.mkv', 'color=s=32x32:d=3', '-f', 'lavfi', '-i', 'sine=d=2.9:r=48000',
             '-c:v', 'mpeg4')
        make(LIBRARY / 'cover.png', 'color=s=32x32', '-frames:v', '1')
        (LIBRARY / 'list.mp3').write_text('#EXTM3U\n#EXT-X-TARGETDURATION:9\n#EXTINF:9,\na.flac\n')
        (LIBRARY / 'foreign').symlink_to('deep')
        os.lchown(LIBRARY / 'foreign', 4321, 4321)
        self.assertEqual(index(LIBRARY), (0, {'list.mp3', 'foreign'}))
        (LIBRARY / 'foreign').unlink()
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

        harness.configure('mediadb=sqlite:/nowhere\n')
        self.assertEqual([index(*wrong)[0] for wrong in ([LIBRARY], [], ['--no', LIBRARY], [''])], [1, 2, 2, 2])

    # A file that takes the parser over costs itself. What was read before an end is kept.
    def test_hostile(self):
        for name in (*range(600), 'crash', 'z hang'):
            (LIBRARY / f'{name}.flac').hardlink_to(TONE)
        self.assertEqual(index('--page', PAGE), (0, set()))  # makes the tables
        with subprocess.Popen([INDEX, LIBRARY], env=HOSTILE, stderr=subprocess.DEVNULL) as process:
            while len(kept := set(rows('path, id'))) < 500:
                self.assertIsNone(process.poll())
            self.assertIn('\nUid:' + 4 * '\t5', Path(f'/proc/{process.pid}/status').read_text())
            process.kill()
        (LIBRARY / 'z hang.flac').unlink()
        self.assertEqual((index(LIBRARY, env=HOSTILE), rows('DISTINCT title')), ((0, {'crash.flac'}), [('confined',)]))
        self.assertEqual((kept - set(rows('path, id')), len(rows('id'))), (set(), 600))

    # A disk that is away takes nothing with it.
    def test_disks(self):
        subprocess.run(['mount', '-m', '-t', 'tmpfs', 'tmpfs', LIBRARY / 'disk'], check=True)
        for name in ('a.flac', 'disk/b.flac'):
            shutil.copy(TONE, LIBRARY / name)
        self.assertEqual(index(LIBRARY)[0], 0)
        subprocess.run(['umount', LIBRARY / 'disk'], check=True)
        for change in (bool, (LIBRARY / 'disk').rmdir, lambda: shutil.rmtree(LIBRARY), LIBRARY.mkdir):
            change()
            self.assertEqual((index(LIBRARY)[0], rows('path')), (3, [('a.flac',), ('disk/b.flac',)]))
        self.assertEqual((index('--forget', LIBRARY)[0], rows('path')), (0, []))

    # As root it acts for the owner of the folder, who cannot lead it elsewhere.
    def test_page(self):
        texts = [b'"\\</script>\r\n\x1b', b'\xe2\x80\xa8\xc2\x85', b'\xf0\x9f\x98(\xe0', b'\xed\xa0\x80\xf4\x90\xc0\xaf\xc3']
        files = [PAGE / 'library.json', PAGE / 'music.m3u8', harness.LUMETRA_DB, harness.METADATA_DB]
        files[0].symlink_to('/etc/passwd')
        TONE.rename(LIBRARY / 'tone.flac')
        LIBRARY.chmod(0o700)
        self.assertEqual(index('--page', PAGE, LIBRARY), (0, set()))
        with sqlite3.connect(harness.LUMETRA_DB) as database:
            for insert in ('INSERT INTO music', 'INSERT INTO video'):
                database.executemany(insert + ' VALUES (?, ?, CAST(?3 AS TEXT), CAST(?3 AS TEXT), "", 2, 3, 4, 5, 6)',
                                     [(number, f'/{number}.MkV', text) for number, text in enumerate(texts, 2)])
        self.assertEqual(index('--page', PAGE), (0, set()))
        page, lines = json.loads(files[0].read_text()), files[1].read_text().splitlines()
        wanted = [{'id': number, 'title': text, 'artist': text, 'album': '', 'duration': 4}
                  for number, text in enumerate((text.decode(errors='replace') for text in texts), 2)]
        self.assertEqual((page['music'][:-1], page['video']), (wanted, [{**item, 'matroska': True} for item in wanted]))
        self.assertEqual(lines[2::2], [f'transcoder.cgi?id={number}&format=mp3' for number in (2, 3, 4, 5, 1)])
        self.assertEqual(lines[1::8], ['#EXTINF:4,"\\</script>    - "\\</script>   ', '#EXTINF:1,tone'])
        self.assertEqual([(file.owner(), file.group(), file.lstat().st_mode & 0o7777) for file in files], [
            (OWNER, OWNER, 0o644), (OWNER, OWNER, 0o644), (OWNER, 'Lumetra', 0o640), (OWNER, OWNER, 0o644)])
