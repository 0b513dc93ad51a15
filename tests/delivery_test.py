"""Which child a request starts, and which headers and bytes it answers with."""
import struct
import unittest
from pathlib import Path

import harness
from harness import FFMPEG, request

LIVE = MOST = 2**32 - 1
ODD = '/mnt/-a: "b\'$(c)\udcff;*.FLAC'
FEATURES = ('contentFeatures.dlna.org',
            'DLNA.ORG_PN=LPCM;DLNA.ORG_OP=01;DLNA.ORG_FLAGS=01700000000000000000000000000000')
MP3 = ['-f', 'mp3', '-ab', '128k', '-acodec', 'libmp3lame']
PCM = ['-f', 's16be', '-acodec', 'pcm_s16be']
WAV = ['-f', 'wav', '-acodec', 'pcm_s16le', '-write_info_tag', '0']
RESAMPLE = ['-ar', '44100', '-ac', '2']


def header(content_type, length, *more):
    if length is not None:
        more += (('Content-Length', str(length)),)
    return sorted([('Accept-Ranges', 'bytes'), ('Content-Type', content_type),
                   ('transferMode.dlna.org', 'Streaming'), *more])


def wav(format_size, riff, data):
    return (b'RIFF' + struct.pack('<I', riff) + b'WAVEfmt ' + struct.pack('<I', format_size)
            + bytes(format_size) + b'data' + struct.pack('<I', data))


def output(size):
    return (bytes(range(251)) * (size // 251 + 1))[:size]


SONG = wav(16, 292, 256) + output(256)


class Delivery(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for name, content in [('song.Wav', SONG), ('short.wav', SONG[:7]), ('empty.wav', b'')]:
            Path('/mnt', name).write_bytes(content)
        harness.write_database(
            music=[(1, ODD, 2, 44100, 10), (2, '/mnt/song.Wav', 2, 44100, 10), (3, '/mnt/rate', 2, None, 10),
                   (4, '/mnt/six', 6, 48000, 0), (5, '/mnt/noext', '2 ch', ' 44100', '10s'),
                   (6, '/mnt/film.MKV', 2, 44100, 10), (7, '/mnt/big', *3 * [2**31 - 1]),
                   (9, '/mnt/name.', -2, -44100, 10), (10, '/mnt/short.wav', 2, 44100, 1),
                   (11, '/mnt/empty.wav', 2, 44100, 1), (-12, '/mnt/a.dir/file', 2, 44100, -1)],
            video=[(2, '/mnt/old.avi', 2, 48000, 10)])
        harness.install_stand_in()

    # Each request's input, output arguments, content type and length.
    def test_conversion(self):
        mpeg, lpcm = 'audio/mpeg', 'audio/L16;rate=%d;channels=%d'
        radio, quoted = 'http://radio.example/a?b=c&d=1', 'http%3a%2F%2fradio.example/a?b%3Dc%26d%3d1'
        for query, source, arguments, content_type, length in [
                ('id=1&format=mp3&radio=&x=' + 33000 * '%41', ODD, MP3, mpeg, 176000),
                ('id=1a&format=MP3&format=pcm&downsample=TRU%65&%=%zz', ODD, MP3 + RESAMPLE, mpeg, 176000),
                ('trackid=4294967297&format=pcm', ODD, PCM, lpcm % (44100, 2), 1940400),
                ('id=2&type=Video&format=mp3', '/mnt/song.Wav', MP3, mpeg, 176000),
                ('id=3&format=pcm', '/mnt/rate', PCM, lpcm % (0, 2), None),
                ('id=4&format=PCM&downsample=1', '/mnt/six', PCM, lpcm % (48000, 6), 576000),
                ('id=4&format=pcm&downsample=true', '/mnt/six', PCM + RESAMPLE, lpcm % (44100, 2), 176400),
                ('id=5&format=pcm', '/mnt/noext', PCM, lpcm % (44100, 2), 1940400),
                ('id=7&format=pcm', '/mnt/big', PCM, lpcm % (2**31 - 1, 2**31 - 1), None),
                ('id=9&format=pcm', '/mnt/name.', PCM, lpcm % (-44100, -2), 1940400),
                ('id=-12&format=mp3', '/mnt/a.dir/file', MP3, mpeg, None),
                ('id=2&type=video&format=mp3', '/mnt/old.avi', MP3, mpeg, 176000),
                ('id=2&type=video&format=m2ts', '/mnt/old.avi', WAV, 'video/mpeg', None),
                ('id=2&format=pcm&radio=' + quoted, radio, PCM, lpcm % (44100, 2), LIVE),
                ('id=6&format=mp3&downsample=true&radio=' + quoted, radio, MP3 + RESAMPLE[:2], mpeg, LIVE),
                ('id=1&format=mp3&radio=file%3A/etc/passwd', '', MP3, mpeg, LIVE),
                ('id=1&format=mp3&radio=a+b%0d%0aX%00c', 'a b\r\nX', MP3, mpeg, LIVE),
                ('id=1&format=mp3&radio=' + 5000 * 'n', 4095 * 'n', MP3, mpeg, LIVE)]:
            with self.subTest(query[:60]):
                features = [FEATURES] if arguments[1] == 's16be' else []
                self.assertEqual(request(query, 'HEAD'), (header(content_type, length, *features), b'', []))
                self.assertEqual(harness.recorded()['arguments'],
                                 [FFMPEG, '-v', '0', '-i', source, *arguments, '-'])

    # What the child writes is cut or filled up to the announced length.
    def test_body(self):
        for query, size, length in [('id=4&format=mp3', 0, 16000), ('id=4&format=mp3', 15999, 16000),
                                    ('id=4&format=mp3', 700000, 16000), ('id=3&format=pcm', 700000, 700000)]:
            harness.OUTPUT.write_bytes(output(size))
            self.assertEqual(request(query).body, output(size)[:length].ljust(length, b'\0'), size)

    # The sizes in a WAV header, wherever the format chunk puts them and however little there is.
    def test_wav_conversion(self):
        for query, format_size, size, riff, data in [
                ('id=1', 16, 500, 1940436, 1940400), ('id=1', 18, 500, 1940436, 1940400),
                ('id=1&format=wav', 40, 500, 1940436, 1940400), ('id=1', 255, 500, 1940436, MOST),
                ('id=1', 16, 10, 1940436, MOST), ('id=1', 16, 42, 1940436, 1940400),
                ('id=1&radio=http://x/', 16, 500, MOST, MOST)]:
            with self.subTest(query=query, format_size=format_size, size=size):
                harness.OUTPUT.write_bytes((wav(format_size, MOST, MOST) + output(500))[:size])
                response = request(query, environment={'HTTP_RANGE': 'bytes=0-299'})
                fixed = (wav(format_size, riff, data) + output(500))[:min(size, 300)]
                self.assertEqual(response.body, fixed.ljust(300, b'\0'))
                length = (LIVE if 'radio' in query else 1940400) + 28 + format_size
                self.assertIn(('Content-Range', f'bytes 0-299/{length}'), response.header)

    def test_pass_through(self):
        swapped = bytes(byte for pair in zip(SONG[1::2], SONG[::2]) for byte in pair)
        for query, expected in [('id=2', (header('audio/wav', 300), SONG, [])),
                ('id=10', (header('audio/wav', 7), SONG[:7], [])),
                ('id=2&format=pcm', (header('audio/L16;rate=44100;channels=2', 1940400, FEATURES),
                                     swapped.ljust(1940400, b'\0'), [])),
                ('id=11', ([('Content-Type', 'audio/wav')], b'', [
                    (11, 'genericoder:318 Transcoder cannot open /mnt/empty.wav')]))]:
            self.assertEqual(request(query), expected)

    # A range is the same slice of the whole, of which nothing is left beyond the child's output.
    def test_ranges(self):
        harness.OUTPUT.write_bytes(wav(16, MOST, MOST) + output(20000))
        for query, size in [('id=4&format=mp3', 20044), ('id=4', 20044),
                            ('id=2', 300), ('id=2&format=pcm', 300)]:
            whole = request(query).body
            end, features = len(whole) - 1, [FEATURES] if 'pcm' in query else []
            for text, first, last in [('0-0', 0, 0), ('6-41', 6, 41), ('127-128', 127, 128),
                                      ('299-', 299, end), ('-7', end - 6, end), ('99999999-,5-6', 5, 6)]:
                with self.subTest(query=query, range=text):
                    block, body, _ = request(query, environment={'HTTP_RANGE': 'bytes=' + text})
                    self.assertEqual(body, whole[first:last + 1] if first <= size else b'')
                    self.assertEqual(block, header(
                        dict(block)['Content-Type'], last - first + 1, ('Status', '206 Partial content'),
                        ('Content-Range', f'bytes {first}-{last}/{end + 1}'), *features))
        self.assertEqual(request('id=4&format=mp3', environment={'HTTP_RANGE': 'bytes=16000-'}), ([
            ('Accept-Ranges', 'none'), ('Content-Length', '0'), ('Content-Type', 'audio/mpeg'),
            ('Status', '416 Requested Range Not Satisfiable')], b'', [
            (11, 'genericoder:318 Transcoder cannot open /mnt/six')]))

    def test_methods_and_forms(self):
        for method, size in [('GET', 16000), ('get', 0), ('GETX', 0), (None, 0)]:
            self.assertEqual(len(request('id=4&format=mp3', method).body), size, method)
        Path('/mnt/form').write_text('format=pcm&x=y')
        form = {'CONTENT_TYPE': 'application/x-www-form-urlencoded', 'CONTENT_LENGTH': '10'}
        with open('/mnt/form') as stdin:
            self.assertIn(FEATURES, request('id=4&format=mp3', 'POST', form, stdin=stdin).header)
