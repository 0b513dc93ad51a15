"""Real media and the real converter: what a player gets."""
import array
import functools
import http.server
import sqlite3
import subprocess
import threading
import unittest
from pathlib import Path

import harness

TREE, SAMPLES = Path(__file__).absolute().parent.parent, Path('/mnt/samples')
SECOND = 176400  # so many bytes at 44100 Hz, 2 channels and 16 bits


def run(*command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, check=True, **options).stdout


# Decodes a file's content into 16-bit samples.
def decode(data, *options):
    return run('ffmpeg', '-v', 'quiet', '-i', 'pipe:', *options, '-f', 's16le', 'pipe:', input=data)


def swapped(data):
    return bytes(byte for pair in zip(data[1::2], data[::2]) for byte in pair)


def get(name, query, asked=None):
    query = f'id={IDS[f"{SAMPLES}/{name}"]}&{query}'
    header, body, _ = harness.request(query, environment={'HTTP_RANGE': asked})
    return dict(header), body


def setUpModule():
    global IDS, STATION
    SAMPLES.mkdir()
    run(TREE / 'tools/make-samples', SAMPLES)
    run(harness.PACKAGE + '/target/bin/media-index', SAMPLES)
    IDS = dict(sqlite3.connect(harness.LUMETRA_DB).execute(
        'SELECT path, id FROM music UNION SELECT path, id FROM video'))
    handler = functools.partial(http.server.SimpleHTTPRequestHandler, directory=SAMPLES)
    handler.func.log_message = lambda *_: None
    server = http.server.ThreadingHTTPServer(('127.0.0.1', 0), handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    STATION = f'http://127.0.0.1:{server.server_port}/'


class Stream(unittest.TestCase):
    # FLAC and WAV keep every sample; the announced second too many is silence.
    def test_lossless(self):
        wav = (SAMPLES / 'melody.wav').read_bytes()
        flac = decode((SAMPLES / 'melody.flac').read_bytes()).ljust(21 * SECOND, b'\0')
        for name, profile, read, expected in [
                ('melody.flac', 'wav', decode, flac), ('melody.flac', 'wav', lambda body: body[44:], flac),
                ('melody.flac', 'pcm', swapped, flac), ('melody.wav', 'wav', bytes, wav),
                ('melody.wav', 'pcm&downsample=true', swapped, wav.ljust(21 * SECOND, b'\0'))]:
            header, body = get(name, 'format=' + profile)
            self.assertEqual(header['Content-Length'], str(len(body)))
            self.assertTrue(read(body) == expected, (name, profile))

    # Every source decodes from the MP3 stream to its full length, a large cover or none, loud to its end.
    def test_mp3(self):
        for name in ('melody.flac', 'melody.wav', 'cover.mp3', 'melody.m4a'):
            header, body = get(name, 'format=mp3')
            self.assertEqual((header['Content-Length'], len(body)), ('336000', 336000), name)
            samples = decode(body)
            self.assertAlmostEqual(len(samples) / SECOND, 20, msg=name, delta=0.2)
            self.assertGreater(max(array.array('h', samples[-SECOND // 2:])), 5000, name)
            self.assertTrue(get(name, 'format=mp3', 'bytes=40000-50000')[1] == body[40000:50001], name)

    # The household's language goes with the video, converted or copied.
    def test_remux(self):
        for codepage, copy, codec, tone in [('enu', 'none', b'mp2', 440), ('ger', 'aac_copy', b'aac', 880)]:
            with self.subTest(codepage=codepage, codec=codec):
                harness.configure(f'codepage="{codepage}"\n')
                body = get('two languages.mkv', f'type=video&format=m2ts&{copy}=true')[1]
                streams = run('ffprobe', '-v', 'error', '-count_frames', '-show_entries',
                              'stream=codec_name,nb_read_frames', '-of', 'csv=p=0', '-', input=body)
                self.assertRegex(streams, br'h264,500\s+' + codec)
                samples = array.array('h', decode(body, '-ac', '1', '-ar', '8000'))[8000:88000]
                periods = sum(before < 0 <= after for before, after in zip(samples, samples[1:]))
                self.assertAlmostEqual(periods / 10, tone, delta=10)

    # A station on the web, of television too, whose sound may come late; what is a file of this
    # machine plays nothing.
    def test_radio(self):
        harness.make(SAMPLES / 'late.ts', 'testsrc=d=8', '-f', 'lavfi', '-i', 'sine=d=8', '-af',
                     'asetpts=PTS+0.5/TB', '-c:a', 'aac')
        for radio, plays in [(STATION + 'cover.mp3', True), (STATION + 'late.ts', True),
                             (f'{SAMPLES}/cover.mp3', False), ('cover.mp3', False),
                             (f'file:{SAMPLES}/cover.mp3', False), (f'concat:{SAMPLES}/cover.mp3', False)]:
            body = get('melody.flac', f'format=pcm&radio={radio}', 'bytes=0-1763999')[1]
            self.assertEqual((len(body), any(body)), (1764000, plays), radio)
