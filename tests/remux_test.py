"""The audio track of a remuxed video, chosen from real files."""
import subprocess
import unittest

import harness
from harness import FFMPEG, request

COPY = ['-acodec', 'copy', '-map', '0:v', '-map']
CONVERT = ['-acodec', 'mp2', '-ab', '128k', '-ar', '44100', '-ac', '2', '-map', '0:v', '-map']
# Each film's tracks after the video: codec and language. Opus has no name in the system.
FILMS = [
    [('aac', 'fre'), ('ac3', 'eng'), ('aac', 'ger'), ('flac', 'chi'), ('aac', 'por')],
    [('libopus', 'eng'), ('aac', 'fre'), ('ac3', '')],
    [('ac3', 'ENG'), ('aac', 'eng'), ('ac3', 'eng')],
    [('libopus', 'eng')],
    [],
    12 * [('aac', 'ger')] + [('ac3', 'eng')],
]


class Remux(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for number, tracks in enumerate(FILMS):
            arguments = ['-f', 'lavfi', '-i', 'color=s=32x32:d=1', '-f', 'lavfi', '-i',
                         'sine=d=1:r=48000', '-map', '0', '-c:v', 'mpeg4']
            for index, (codec, language) in enumerate(tracks):
                arguments += ['-map', '1', f'-c:a:{index}', codec,
                              f'-metadata:s:a:{index}', f'language={language}']
            subprocess.run(['ffmpeg', '-nostdin', '-v', 'error', *arguments, f'/mnt/{number}.mkv'],
                           check=True)
        rows = [(number, f'/mnt/{number}.mkv', None, None, 10) for number in range(len(FILMS))]
        with open('/mnt/garbage.mkv', 'wb') as file:
            file.write(bytes(range(256)) * 40)
        rows += [(90, '/mnt/missing.mkv', 2, 48000, 10), (91, '/mnt/garbage.mkv', 2, 48000, 10)]
        harness.write_database(video=rows, music=[(0, '/mnt/0.mkv', 2, 44100, 10)])
        harness.write_database(harness.METADATA_DB, video_file=[(1, '/mnt/1.mkv', 0, 0, 10)])

    def setUp(self):
        harness.install_stand_in(b'transport stream')

    def arguments(self, path, audio):
        return [FFMPEG, '-v', '0', '-i', path, '-y', '-vcodec', 'copy', '-vbsf', 'h264_mp4toannexb',
                '-copyts', *audio, '-sn', '-f', 'mpegts', '-']

    def test_track(self):
        both = 'aac_copy=True&ac3_copy=true'
        for codepage, film, copy, audio in [
                (None, 0, both, [*COPY, '0:2']), (None, 0, 'aac_copy=true', [*CONVERT, '0:2']),
                (None, 0, 'ac3_copy=true', [*COPY, '0:2']), ('ger', 0, both, [*COPY, '0:3']),
                ('CHT', 0, both, [*CONVERT, '0:4']), ('plk', 0, both, [*COPY, '0:5']),
                ('"csy"', 0, both, [*COPY, '0:1']), ('xyz', 0, both, [*COPY, '0:2']),
                ('', 0, both, [*COPY, '0:2']), (31 * 'x' + 'ger', 0, both, [*COPY, '0:2']),
                (None, 1, both, [*COPY, '0:2']), (None, 2, 'aac_copy=true', [*COPY, '0:2']),
                (None, 2, 'aac_copy=1', [*CONVERT, '0:2']), (None, 3, both, ['-an']),
                (None, 4, both, ['-an']), (None, 5, both, [*COPY, '0:13'])]:
            with self.subTest(codepage=codepage, film=film, copy=copy):
                harness.configure(None if codepage is None else f'# \ncodepage={codepage}\n')
                response = request(f'id={film}&type=video&format=m2ts&{copy}',
                                   environment={'HTTP_RANGE': 'bytes=0-1'})
                self.assertEqual(response, ([
                    ('Accept-Ranges', 'bytes'), ('Content-Type', 'video/mpeg'),
                    ('transferMode.dlna.org', 'Streaming')], b'transport stream', []))
                self.assertEqual(harness.recorded()['arguments'],
                                 self.arguments(f'/mnt/{film}.mkv', audio))
                self.assertEqual(harness.recorded()['ids'], [33, 0, 0, 33, 0, 0])

    def test_unreadable(self):
        for item, path in [(90, '/mnt/missing.mkv'), (91, '/mnt/garbage.mkv')]:
            response = request(f'id={item}&type=video')
            self.assertEqual(harness.recorded()['arguments'], self.arguments(path, []))
            self.assertEqual(response.log, [
                (11, f'utils:159 Failed to open file [{path}]'),
                (11, f'utils:204 Failed to parse audio metadata [{path}]')])

    def test_profiles(self):
        """What describes audio is not said of a transport stream."""
        harness.configure(None)
        for query, content_type in [
                ('id=0', 'video/mpeg'), ('id=0&format=pcm', 'video/mpeg'),
                ('id=0&type=video', 'audio/wav'), ('id=0&type=video&format=mp3', 'video/mpeg'),
                ('id=0&type=video&downsample=true', 'video/mpeg'),
                ('id=1&type=Vistrel&format=m2ts', 'video/mpeg'),
                ('id=0&type=video&format=pcm', 'audio/L16;rate=0;channels=0')]:
            with self.subTest(query):
                response = request(query)
                self.assertEqual(response.header, [
                    ('Accept-Ranges', 'bytes'), ('Content-Type', content_type),
                    ('transferMode.dlna.org', 'Streaming')])
                self.assertEqual(response.body, b'transport stream')


if __name__ == '__main__':
    unittest.main()
