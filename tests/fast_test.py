"""The converter that starts at once yields what the system's yields, from whatever people have."""
import functools
import http.server
import re
import ssl
import subprocess
import threading
import unittest
from pathlib import Path

import harness

SOUND = ['aevalsrc=0.3*sin(2*PI*(300+90*t)*t)|0.3*sin(2*PI*(500+60*t)*t):s=48000:d=2']
PICTURE = ['testsrc2=s=192x108:r=25:d=2,format=yuv420p', '-f', 'lavfi', '-i', *SOUND]
# Files, and the options by which the system's ffmpeg makes them.
MUSIC = '''1.flac|2.flac -sample_fmt s32|1.ogg -c:a flac|2.ogg -c:a libvorbis|3.ogg -c:a libspeex|1.opus|1.mp3|1.mp2
    1.aac|1.m4a|2.m4a -c:a alac|1.wma -c:a wmav1|2.wma -c:a wmav2|1.wv|1.tta|1.aiff|1.au|1.caf|1.w64|1.voc|1.ac3|1.eac3
    1.dts -c:a dca -strict -2|1.thd -c:a truehd -strict -2|1.mlp -strict -2|1.latm -c:a aac|1.mka -c:a pcm_f64le
    1.webm -c:a libopus|1.rm -c:a ac3|2.rm -c:a real_144 -ar 8000 -ac 1|1.spdif -c:a ac3|1.mov -c:a adpcm_ima_qt|1.wav
    1.flv -c:a nellymoser -ar 44100 -ac 1|2.flv -c:a adpcm_swf -ar 44100|2.wav -c:a pcm_u8|3.wav -c:a pcm_s24le
    4.wav -c:a pcm_s32le|5.wav -c:a pcm_f32le|6.wav -c:a pcm_alaw|7.wav -c:a adpcm_ima_wav|8.wav -c:a adpcm_ms'''
FILMS = '''1.avi|1.mp4|2.mov -c:a pcm_s24be|1.ts -c:v libx264 -c:a ac3|1.m2ts -c:a pcm_bluray -mpegts_m2ts_mode 1|1.vob
    2.vob -c:a pcm_dvd|3.flv -ar 44100|1.asf|1.wtv|1.dv -s 720x576'''
MATROSKA = ['libx264 -bf 3 -c:a aac', 'libx265 -x265-params log-level=-1 -c:a ac3', 'mpeg2video -bf 2 -c:a flac',
            'mpeg4 -bf 2 -c:a libopus']
# Decoders and demuxers for what cannot be made here.
WANTED = '''ape atrac3 atrac3plus amrnb amrwb cook dsd_lsbf dsd_msbf dsd_lsbf_planar dsd_msbf_planar dst mp1 mpc7 mpc8
    mp3on4float qdm2 ralf shorten sipr tak vc1 wmalossless wmapro wmavoice amr dsf dtshd iff mpc oma rtsp shn'''.split()


class Station(http.server.SimpleHTTPRequestHandler):
    def do_GET(self):
        if self.path != '/icy':
            return super().do_GET()
        music = Path('/mnt/1.mp3').read_bytes()
        self.wfile.write(b'ICY 200 OK\r\nicy-metaint: 8000\r\nContent-Type: audio/mpeg\r\n\r\n' + b"\1StreamTitle='x';"
                         .join(music[start:start + 8000] for start in range(0, len(music), 8000)))


def convert(source, profile='wav -acodec pcm_s16le -write_info_tag 0'):
    command = [harness.FFMPEG, '-v', '0', '-i', source, '-f', *profile.split(), '-']
    return subprocess.run(command, stdout=subprocess.PIPE).stdout


# What the fast converter yields, and what the system's does.
def both(function, *arguments):
    for configuration in (None, 'ffmpeg=/usr/bin/ffmpeg\n'):
        harness.configure(configuration)
        yield function(*arguments)


class Fast(unittest.TestCase):
    def assert_same(self, function, *arguments):
        with self.subTest(arguments):
            fast, system = both(function, *arguments)
            self.assertEqual((len(fast) > 30000, fast == system), (True, True))

    def test_files(self):
        for source, files in ((SOUND, MUSIC), (PICTURE, FILMS)):
            for name, *options in map(str.split, re.split(r'[|\n]', files)):
                harness.make('/mnt/' + name, *source, *options)
                self.assert_same(convert, '/mnt/' + name)

    def test_matroska(self):
        harness.write_database(video=[(id, f'/mnt/{id}.mkv', None, None, 2) for id in range(len(MATROSKA))])
        for id, codecs in enumerate(MATROSKA):
            harness.make(f'/mnt/{id}.mkv', *PICTURE, '-c:v', *codecs.split())
            self.assert_same(lambda query: harness.request(query).body, f'id={id}&type=video&format=m2ts&aac_copy=true')

    def test_stations(self):
        harness.make('/mnt/hls.m3u8', *SOUND, '/mnt/1.mp3')
        certificate = 'openssl req -x509 -newkey rsa:2048 -nodes -keyout /mnt/key -out /mnt/key.crt -subj /CN=x'
        subprocess.run(certificate.split(), check=True, stderr=subprocess.DEVNULL)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain('/mnt/key.crt', '/mnt/key')
        for scheme, path in (('http', '1.mp3'), ('http', 'icy'), ('http', 'hls.m3u8'), ('https', 'hls.m3u8')):
            server = http.server.ThreadingHTTPServer(('127.0.0.1', 0), functools.partial(Station, directory='/mnt'))
            if scheme == 'https':
                server.socket = context.wrap_socket(server.socket, server_side=True)
            threading.Thread(target=server.serve_forever, daemon=True).start()
            self.assert_same(convert, f'{scheme}://127.0.0.1:{server.server_port}/{path}', 'mp3 -acodec libmp3lame')

    # It holds what cannot be made here, and not what hardly anybody has.
    def test_components(self):
        listed = subprocess.getoutput('for kind in decoders demuxers; do %s-fast -v 0 -$kind; done' % harness.FFMPEG)
        self.assertEqual(set(WANTED) - set(re.findall(r'^ \S+ +(\w+)', listed, re.MULTILINE)), set())
        harness.make('/mnt/1.sox', *SOUND)
        self.assertEqual(list(map(len, both(convert, '/mnt/1.sox'))), [0, 384044])
