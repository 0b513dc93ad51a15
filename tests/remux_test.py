"""The audio track of a remuxed video, chosen from real files."""
import unittest

import harness
from harness import FFMPEG, request

COPY = ['-acodec', 'copy', '-map', '0:v', '-map']
CONVERT = ['-acodec', 'mp2', '-ab', '128k', '-ar', '44100', '-ac', '2', '-map', '0:v', '-map']
# Each film's tracks after the video: codec and language. Opus has no name in the system.
FILMS = [[('aac', 'fre'), ('ac3', 'eng'), ('aac', 'ger'), ('flac', 'chi'), ('aac', 'por')],
         [('libopus', 'eng'), ('aac', 'fre'), ('ac3', '')], [('ac3', 'ENG'), ('aac', 'eng'), ('ac3', 'eng')],
         [('libopus', 'eng')], 12 * [('aac', 'ger')] + [('ac3', 'eng')]]


class Remux(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for film, tracks in enumerate(FILMS):
            options = ['color=s=32x32:d=1', '-f', 'lavfi', '-i', 'sine=d=1:r=48000', '-map', '0']
            for i, (codec, language) in enumerate(tracks):
                options += ['-map', '1', f'-c:a:{i}', codec, f'-metadata:s:a:{i}', f'language={language}']
            harness.make(f'/mnt/{film}.mkv', *options, '-c:v', 'mpeg4')
        harness.write_database(video=[(id, f'/mnt/{id}.mkv', None, None, 10) for id in range(6)],
                               music=[(0, '/mnt/0.mkv', 2, 44100, 10)])
        harness.write_database(harness.METADATA_DB, video_file=[(1, '/mnt/1.mkv', 0, 0, 10)])
        harness.install_stand_in(b'transport stream')

    def assert_remux(self, query, audio, content_type='video/mpeg', log=()):
        self.assertEqual(request(query, environment={'HTTP_RANGE': 'bytes=0-1'}), ([
            ('Accept-Ranges', 'bytes'), ('Content-Type', content_type),
            ('transferMode.dlna.org', 'Streaming')], b'transport stream', list(log)), query)
        self.assertEqual(harness.recorded()['arguments'], [
            FFMPEG, '-v', '0', '-i', f'/mnt/{query[3]}.mkv', '-y', '-vcodec', 'copy', '-vbsf',
            'h264_mp4toannexb', '-copyts', *audio, '-sn', '-f', 'mpegts', '-'])

    def test_track(self):
        both = 'aac_copy=True&ac3_copy=true'
        for codepage, film, copy, audio, track in [
                (None, 0, both, COPY, 2), (None, 0, 'aac_copy=true', CONVERT, 2), ('ger', 0, both, COPY, 3),
                ('ger', 0, 'ac3_copy=true', CONVERT, 3), ('CHT', 0, both, CONVERT, 4),
                ('plk', 0, both, COPY, 5), ('"csy"', 0, both, COPY, 1), ('xyz', 0, both, COPY, 2),
                ('""', 0, both, COPY, 2), (31 * 'x' + 'ger', 0, both, COPY, 2), (None, 1, both, COPY, 2),
                (None, 2, 'aac_copy=1', CONVERT, 2), (None, 4, both, COPY, 13)]:
            with self.subTest(codepage=codepage, film=film, copy=copy):
                harness.configure(codepage and f'#codepage=fre\npage=fre\ncodepage={codepage}\ncodepage=fre')
                self.assert_remux(f'id={film}&type=video&format=m2ts&{copy}', [*audio, f'0:{track}'])
        self.assert_remux('id=3&type=video&format=m2ts', ['-an'])

    # What describes audio is not said of a transport stream. A missing file has no tracks.
    def test_profiles(self):
        harness.configure(None)
        for query, content_type in [
                ('id=0', 'video/mpeg'), ('id=0&format=pcm', 'video/mpeg'), ('id=0&type=video', 'audio/wav'),
                ('id=0&type=video&format=mp3', 'video/mpeg'), ('id=1&type=Vistrel&format=m2ts', 'video/mpeg'),
                ('id=0&type=video&downsample=true', 'video/mpeg'),
                ('id=0&type=video&format=pcm', 'audio/L16;rate=0;channels=0')]:
            self.assert_remux(query, [*CONVERT, '0:2'], content_type)
        self.assert_remux('id=5&type=video', [], 'audio/wav', [
            (11, 'utils:159 Failed to open file [/mnt/5.mkv]'),
            (11, 'utils:204 Failed to parse audio metadata [/mnt/5.mkv]')])
