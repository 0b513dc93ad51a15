"""Real media, the real converter and a real web server: what a player gets."""
import array
import http.client
import os
import shutil
import socket
import sqlite3
import subprocess
import time
import unittest

import harness

HERE = os.path.dirname(os.path.abspath(__file__))
PORT = 18080
SAMPLES = '/mnt/samples'
SECOND = 176400  # bytes of 44100 Hz, 2 channels, 16 bits


def get(query, **header):
    connection = http.client.HTTPConnection('127.0.0.1', PORT, timeout=60)
    connection.request('GET', '/lumetra/transcoder.cgi?' + query, headers=header)
    response = connection.getresponse()
    try:
        body = response.read()
    except http.client.IncompleteRead as cut:
        body = cut.partial
    connection.close()
    return response, body


def decode(data, *arguments):
    """Decodes a file's content with ffmpeg into 16-bit samples."""
    return subprocess.run(['ffmpeg', '-nostdin', '-v', 'quiet', '-i', 'pipe:', *arguments, '-f', 's16le',
                           'pipe:'], input=data, stdout=subprocess.PIPE, check=True).stdout


def pitch(samples):
    """The frequency of a tone of 44100 Hz mono, from the times it crosses zero upwards."""
    values = array.array('h', samples[44100:])
    crossings = [i for i in range(1, len(values)) if values[i - 1] < 0 <= values[i]]
    return 44100 * (len(crossings) - 1) / (crossings[-1] - crossings[0])


class Stream(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.mkdir(SAMPLES)
        subprocess.run([HERE + '/../tools/make-samples', SAMPLES], check=True)
        subprocess.run([harness.PACKAGE + '/target/bin/media-index', SAMPLES], check=True,
                       stdout=subprocess.DEVNULL)
        os.mkdir('/mnt/site')
        shutil.copy(SAMPLES + '/cover.mp3', '/mnt/site')
        shutil.copy(HERE + '/../packaging/lighttpd.conf', '/mnt')
        with open('/mnt/server.conf', 'w') as file:
            file.write(f'server.document-root = "/mnt/site"\nserver.port = {PORT}\n'
                       'server.bind = "127.0.0.1"\nmimetype.assign = (".mp3" => "audio/mpeg")\n'
                       'include "/mnt/lighttpd.conf"\n')
        cls.server = subprocess.Popen(['/usr/sbin/lighttpd', '-D', '-f', '/mnt/server.conf'], user=33, group=33,
                                      extra_groups=[], env={})
        for _ in range(100):
            try:
                socket.create_connection(('127.0.0.1', PORT)).close()
                break
            except ConnectionRefusedError:
                time.sleep(0.1)

    @classmethod
    def tearDownClass(cls):
        cls.server.terminate()
        cls.server.wait()

    def item(self, name, table='music'):
        database = sqlite3.connect(harness.LUMETRA_DB)
        (item,), = database.execute(f'SELECT id FROM {table} WHERE path = ?', [f'{SAMPLES}/{name}'])
        database.close()
        return f'id={item}'

    def test_lossless(self):
        """FLAC and WAV keep every sample; the announced second too many is silence."""
        for name in ('melody.flac', 'melody.wav'):
            samples = decode(harness.read(f'{SAMPLES}/{name}'))
            for profile in ('wav', 'pcm', 'pcm&downsample=true'):
                with self.subTest(name=name, profile=profile):
                    response, body = get(f'{self.item(name)}&format={profile}')
                    self.assertEqual(response.status, 200)
                    self.assertEqual(response.getheader('Content-Length'), str(len(body)))
                    if name == 'melody.wav' and profile == 'wav':
                        self.assertTrue(body == harness.read(f'{SAMPLES}/{name}'))
                        continue
                    swap = array.array('h', body[44:] if profile == 'wav' else body)
                    if profile != 'wav':
                        swap.byteswap()
                    # A WAV file goes out with its own header.
                    offset = harness.read(SAMPLES + '/melody.wav').index(b'data') + 8 \
                        if name == 'melody.wav' else 0
                    padded = samples.ljust(21 * SECOND - offset, b'\0')
                    self.assertTrue(swap.tobytes()[offset:] == padded)
                    if profile == 'wav':
                        self.assertTrue(decode(body) == padded)

    def test_mp3(self):
        """Every source decodes from the MP3 stream to its full length, a large cover or none."""
        for name in ('melody.flac', 'melody.wav', 'cover.mp3', 'melody.m4a'):
            with self.subTest(name):
                response, body = get(f'{self.item(name)}&format=mp3')
                self.assertEqual((response.getheader('Content-Length'), len(body)), ('336000', 336000))
                samples = decode(body)
                self.assertAlmostEqual(len(samples) / SECOND, 20, delta=0.2)
                # Loud to its end, so nothing was cut off.
                self.assertGreater(max(array.array('h', samples[int(19.5 * SECOND) // 4 * 4:])), 5000)

    def test_ranges(self):
        for name, profile, number in [('melody.flac', 'mp3', 40000), ('melody.flac', 'pcm', 1000001),
                                      ('melody.wav', 'wav', 127), ('melody.wav', 'pcm', 333333),
                                      ('melody.m4a', 'wav', 100)]:
            query = f'{self.item(name)}&format={profile}'
            whole = get(query)[1]
            # No byte comes from beyond what the converter yields.
            last = whole[-128:] if profile == 'wav' and name == 'melody.wav' else b''
            for text, part in [(f'{number}-{number + 999}', whole[number:number + 1000]),
                               ('-128', last), (f'{number}-', whole[number:]), ('0-', whole)]:
                with self.subTest(name=name, profile=profile, range=text):
                    response, body = get(query, Range='bytes=' + text)
                    self.assertEqual((response.status, body == part), (206, True))
        self.assertEqual(get(f'{self.item("melody.flac")}&format=mp3', Range='bytes=336000-')[0].status, 416)

    def test_remux(self):
        """The household's language goes with the video, converted or copied."""
        query = f'{self.item("two languages.mkv", "video")}&type=video&format=m2ts'
        for codepage, copy, codec, tone in [('enu', '', b'mp2', 440), ('ger', '', b'mp2', 880),
                                            ('enu', '&ac3_copy=true', b'ac3', 440),
                                            ('ger', '&aac_copy=true', b'aac', 880)]:
            with self.subTest(codepage=codepage, codec=codec):
                harness.configure(f'codepage="{codepage}"\n')
                response, body = get(query + copy)
                self.assertEqual(response.getheader('Content-Type'), 'video/mpeg')
                streams = subprocess.run(
                    ['ffprobe', '-v', 'error', '-count_frames', '-show_entries',
                     'stream=codec_name,nb_read_frames', '-of', 'csv=p=0', '-'], input=body,
                    stdout=subprocess.PIPE, check=True).stdout.split()
                self.assertIn(b'h264,500', streams)
                self.assertIn(codec, {stream.split(b',')[0] for stream in streams})
                self.assertAlmostEqual(pitch(decode(body, '-ac', '1', '-ar', '44100')), tone, delta=10)

    def test_radio(self):
        """A station on the web; what is a file of this machine plays nothing."""
        harness.configure(None)
        item = self.item('melody.flac')
        station = f'http://127.0.0.1:{PORT}/cover.mp3'
        body = get(f'{item}&format=pcm&radio={station}', Range='bytes=0-1763999')[1]
        self.assertAlmostEqual(len(decode(harness.read(SAMPLES + '/cover.mp3'))) / SECOND, 20, delta=0.2)
        self.assertGreater(max(array.array('h', body).tobytes()), 0)
        for local in (SAMPLES + '/cover.mp3', 'file:' + SAMPLES + '/cover.mp3', 'cover.mp3',
                      'concat:' + SAMPLES + '/cover.mp3'):
            with self.subTest(local):
                body = get(f'{item}&format=pcm&radio={local}', Range='bytes=0-999')[1]
                self.assertEqual(body, bytes(1000))


if __name__ == '__main__':
    unittest.main()
