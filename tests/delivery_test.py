"""Which child a request starts, and which headers and bytes it answers with."""
import os
import struct
import unittest

import harness
from harness import FFMPEG, request

WAV = b'RIFF' + struct.pack('<I', 292) + b'WAVEfmt ' + struct.pack('<I', 16) + bytes(range(1, 17)) \
    + b'data' + struct.pack('<I', 256) + bytes(range(256))
TEXT = 'text/plain; charset="UTF-8"'
LPCM = 'DLNA.ORG_PN=LPCM;DLNA.ORG_OP=01;DLNA.ORG_FLAGS=01700000000000000000000000000000'
MP3_ARGUMENTS = ['-f', 'mp3', '-ab', '128k', '-acodec', 'libmp3lame']
PCM_ARGUMENTS = ['-f', 's16be', '-acodec', 'pcm_s16be']
WAV_ARGUMENTS = ['-f', 'wav', '-acodec', 'pcm_s16le', '-write_info_tag', '0']
RESAMPLE = ['-ar', '44100', '-ac', '2']
LIVE = 4294967295
ODD = '/mnt/-a: "b\'$(c)\udcff;*.FLAC'


def header(content_type, length, *more):
    block = [('Accept-Ranges', 'bytes'), ('Content-Type', content_type),
             ('transferMode.dlna.org', 'Streaming'), *more]
    if length is not None:
        block.append(('Content-Length', str(length)))
    return sorted(block)


def features():
    return 'contentFeatures.dlna.org', LPCM


def swapped(data):
    return bytes(byte for pair in zip(data[1::2], data[::2]) for byte in pair)


def output(size):
    return (bytes(range(251)) * (size // 251 + 1))[:size]


class Delivery(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        for name in ('song.Wav', 'short.wav', 'empty.wav'):
            with open('/mnt/' + name, 'wb') as file:
                file.write({'song.Wav': WAV, 'short.wav': WAV[:7], 'empty.wav': b''}[name])
        harness.write_database(
            music=[(1, ODD, 2, 44100, 10), (2, '/mnt/song.Wav', 2, 44100, 10),
                   (3, '/mnt/rate unknown.flac', 2, None, 10), (4, '/mnt/six.flac', 6, 48000, 0),
                   (5, '/mnt/noext', '2 ch', ' 44100', '10s'), (6, '/mnt/film.MKV', 2, 44100, 10),
                   (7, '/mnt/big.flac', 2**31 - 1, 2**31 - 1, 2**31 - 1), (8, None, 2, 44100, 1),
                   (9, '/mnt/name.', -2, -44100, 10), (10, '/mnt/short.wav', 2, 44100, 1),
                   (11, '/mnt/empty.wav', 2, 44100, 1), (-12, '/mnt/minus.flac', 1, 8000, 0),
                   (13, '/mnt/a.dir/file', 2, 44100, -1)],
            video=[(1, '/mnt/film.mkv', None, None, 10), (2, '/mnt/old.avi', 2, 48000, 10)])
        harness.write_database(harness.METADATA_DB, video_file=[(1, '/mnt/other.mkv', 0, 0, 10)])
        harness.install_stand_in()

    def test_conversion(self):
        """Each request's input, output arguments, content type, length and header."""
        radio = 'http://radio.example/a?b=c&d=1'
        quoted = '&radio=http%3a%2F%2fradio.example/a?b%3Dc%26d%3d1'
        cases = [
            ('id=1&format=mp3', ODD, MP3_ARGUMENTS, 'audio/mpeg', 176000),
            ('id=1&format=MP3&downsample=TRUE', ODD, MP3_ARGUMENTS + RESAMPLE, 'audio/mpeg', 176000),
            ('id=1&format=pcm', ODD, PCM_ARGUMENTS, 'audio/L16;rate=44100;channels=2', 1940400),
            ('id=4&format=PCM', '/mnt/six.flac', PCM_ARGUMENTS,
             'audio/L16;rate=48000;channels=6', 576000),
            ('id=4&format=pcm&downsample=true', '/mnt/six.flac', PCM_ARGUMENTS + RESAMPLE,
             'audio/L16;rate=44100;channels=2', 176400),
            ('id=4&format=mp3&downsample=1', '/mnt/six.flac', MP3_ARGUMENTS, 'audio/mpeg', 16000),
            ('id=3&format=pcm', '/mnt/rate unknown.flac', PCM_ARGUMENTS,
             'audio/L16;rate=0;channels=2', None),
            ('id=3', '/mnt/rate unknown.flac', WAV_ARGUMENTS, 'audio/wav', None),
            ('id=5&format=pcm', '/mnt/noext', PCM_ARGUMENTS, 'audio/L16;rate=44100;channels=2',
             1940400),
            ('id=7&format=pcm', '/mnt/big.flac', PCM_ARGUMENTS,
             'audio/L16;rate=2147483647;channels=2147483647', None),
            ('id=9&format=pcm', '/mnt/name.', PCM_ARGUMENTS, 'audio/L16;rate=-44100;channels=-2',
             1940400),
            ('id=-12&format=pcm', '/mnt/minus.flac', PCM_ARGUMENTS,
             'audio/L16;rate=8000;channels=1', 16000),
            ('id=13&format=mp3', '/mnt/a.dir/file', MP3_ARGUMENTS, 'audio/mpeg', None),
            ('id=2&format=mp3', '/mnt/song.Wav', MP3_ARGUMENTS, 'audio/mpeg', 176000),
            ('trackid=1&format=mp3', ODD, MP3_ARGUMENTS, 'audio/mpeg', 176000),
            ('id=4294967297&format=mp3', ODD, MP3_ARGUMENTS, 'audio/mpeg', 176000),
            ('id=1abc&format=mp3&format=pcm&downsample=tru%65&x=%zz%', ODD,
             MP3_ARGUMENTS + RESAMPLE, 'audio/mpeg', 176000),
            ('id=2&type=video&format=mp3', '/mnt/old.avi', MP3_ARGUMENTS, 'audio/mpeg', 176000),
            ('id=2&type=video', '/mnt/old.avi', WAV_ARGUMENTS, 'audio/wav', None),
            ('id=2&type=video&format=m2ts', '/mnt/old.avi', WAV_ARGUMENTS, 'video/mpeg', None),
            ('id=2&type=Video&format=mp3', '/mnt/song.Wav', MP3_ARGUMENTS, 'audio/mpeg', 176000),
            ('id=2&format=mp3' + quoted, radio, MP3_ARGUMENTS, 'audio/mpeg', LIVE),
            ('id=2&format=pcm' + quoted, radio, PCM_ARGUMENTS, 'audio/L16;rate=44100;channels=2',
             LIVE),
            ('id=6&format=mp3&downsample=true' + quoted, radio, MP3_ARGUMENTS + RESAMPLE[:2],
             'audio/mpeg', LIVE),
            ('id=1&format=mp3&radio=file%3A/etc/passwd', '', MP3_ARGUMENTS, 'audio/mpeg', LIVE),
            ('id=1&format=mp3&radio=a+b%0d%0aX%00c', 'a b\r\nX', MP3_ARGUMENTS, 'audio/mpeg', LIVE),
            ('id=1&format=mp3&radio=' + 5000 * 'n', 4095 * 'n', MP3_ARGUMENTS, 'audio/mpeg', LIVE),
            ('id=1&format=mp3&radio=', ODD, MP3_ARGUMENTS, 'audio/mpeg', 176000),
            ('id=1&format=mp3&x=' + 33000 * '%41', ODD, MP3_ARGUMENTS, 'audio/mpeg', 176000),
        ]
        for query, source, arguments, content_type, length in cases:
            with self.subTest(query[:60]):
                response = request(query, 'HEAD')
                more = [features()] if 'L16' in content_type else []
                self.assertEqual(response, (header(content_type, length, *more), b'', []))
                self.assertEqual(harness.recorded()['arguments'],
                                 [FFMPEG, '-v', '0', '-i', source, *arguments, '-'])

    def test_child_surroundings(self):
        """A child has root's effective ids and nothing of the client's or the server's making."""
        hostile = {'HTTP_X': 'y', 'FFREPORT': 'file=/mnt/report', 'LD_DEBUG': 'all'}
        request('id=1&format=mp3', environment=hostile)
        record = harness.recorded()
        self.assertEqual(record['ids'], [33, 0, 0, 33, 0, 0])
        self.assertEqual(set(record['environment']) - {'LC_CTYPE'}, {'PATH'})
        self.assertEqual(record['descriptors'], [0, 1, 2])

    def test_body(self):
        """What the child writes is cut or filled up to the announced length."""
        for size in (0, 15999, 16000, 16001, 700000):
            with self.subTest(size):
                harness.set_output(output(size))
                response = request('id=4&format=mp3')
                self.assertEqual(response.body, output(size)[:16000].ljust(16000, b'\0'))
        self.assertEqual(request('id=3&format=pcm').body, output(700000))

    def test_wav_conversion(self):
        """The sizes in the header, wherever the format chunk puts them."""
        def stream(format_size, riff, data):
            return b'RIFF' + struct.pack('<I', riff) + b'WAVEfmt ' + struct.pack('<I', format_size) \
                + bytes(format_size) + b'data' + struct.pack('<I', data)
        harness.configure(None)
        cases = [('id=1', 16, 1940436, 1940400, 1940444), ('id=1', 18, 1940436, 1940400, 1940446),
                 ('id=1&format=wav', 40, 1940436, 1940400, 1940468),
                 ('id=1&radio=http://x/', 16, 0xffffffff, 0xffffffff, LIVE + 44)]
        for query, format_size, riff, data, length in cases:
            with self.subTest(query=query, format_size=format_size):
                harness.set_output(stream(format_size, 0xffffffff, 0xffffffff) + output(500))
                environment = {'HTTP_RANGE': 'bytes=0-299'}
                response = request(query, environment=environment)
                self.assertIn(('Content-Range', f'bytes 0-299/{length}'), response.header)
                self.assertEqual(response.body,
                                 (stream(format_size, riff, data) + output(500))[:300])
        # A chunk size beyond what is read, and an output that ends within the header.
        for head in (bytes([82] * 16 + [255]) + bytes(120), bytes([82] * 10), bytes([82] * 42)):
            harness.set_output(head)
            length = 1940444 + (239 if len(head) > 42 else 66 if len(head) > 16 else 0)
            fixed = bytearray(head)
            fixed[4:8] = struct.pack('<I', 1940436)
            if len(head) > 16 and 82 - 16 + 40 < len(head) and head[16] == 82:
                fixed[106:110] = struct.pack('<I', 1940400)
            self.assertEqual(request('id=1').body, bytes(fixed).ljust(length, b'\0'))

    def test_pass_through(self):
        response = request('id=2')
        self.assertEqual(response, (header('audio/wav', 300), WAV, []))
        response = request('id=2&format=pcm')
        self.assertEqual(response, (header('audio/L16;rate=44100;channels=2', 1940400, features()),
                                    swapped(WAV).ljust(1940400, b'\0'), []))
        self.assertEqual(request('id=10').header, header('audio/wav', 7))
        empty = request('id=11')
        self.assertEqual(empty, ([('Content-Type', 'audio/wav')], b'', [
            (11, 'genericoder:318 Transcoder cannot open /mnt/empty.wav')]))

    def test_ranges(self):
        """A range is the same slice of the whole; one that cannot be satisfied is refused."""
        harness.set_output(output(20000))
        for query in ('id=4&format=mp3', 'id=2', 'id=2&format=pcm&downsample=true'):
            whole = request(query).body
            total = len(whole)
            for text, first, last in [
                    ('0-0', 0, 0), ('100-199', 100, 199), ('127-128', 127, 128), ('299-', 299, None),
                    ('101-', 101, None), ('-7', total - 7, None), (f'{total - 1}-', total - 1, None),
                    ('99999999-,5-6', 5, 6), ('0-99999999999999999999', 0, None)]:
                with self.subTest(query=query, range=text):
                    response = request(query, environment={'HTTP_RANGE': 'bytes=' + text})
                    last = total - 1 if last is None else last
                    # An output that ends before the range gives no bytes.
                    if first > 20000 or (first > 300 and 'pcm' in query):
                        self.assertEqual(response.body, b'')
                    else:
                        self.assertEqual(response.body, whole[first:last + 1])
                    self.assertIn(('Content-Range', f'bytes {first}-{last}/{total}'), response.header)
                    self.assertIn(('Status', '206 Partial content'), response.header)
                    self.assertIn(('Content-Length', str(last - first + 1)), response.header)
        refused = request('id=4&format=mp3', environment={'HTTP_RANGE': 'bytes=16000-'})
        self.assertEqual(refused, ([('Accept-Ranges', 'none'), ('Content-Length', '0'),
                                    ('Content-Type', 'audio/mpeg'),
                                    ('Status', '416 Requested Range Not Satisfiable')], b'', [
            (11, 'genericoder:318 Transcoder cannot open /mnt/six.flac')]))

    def test_methods_and_forms(self):
        harness.set_output(output(20000))
        for method, body in [('GET', 16000), ('get', 0), ('HEAD', 0), ('GETX', 0), (None, 0)]:
            with self.subTest(method):
                response = request('id=4&format=mp3', method)
                self.assertEqual(response.header, header('audio/mpeg', 16000))
                self.assertEqual(len(response.body), body)
        read, write = os.pipe()
        os.write(write, b'format=pcm&x=y')
        os.close(write)
        form = request('id=4&format=mp3', 'POST', {
            'CONTENT_TYPE': 'application/x-www-form-urlencoded', 'CONTENT_LENGTH': '10'}, stdin=read)
        self.assertEqual(form.header, header('audio/L16;rate=48000;channels=6', 576000, features()))


if __name__ == '__main__':
    unittest.main()
