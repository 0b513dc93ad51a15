"""Measures the staged program against the least that the same work takes; called by bench/run.

Every row of the table is two commands in alternating order, many times, as the web server's user; its
figures are medians."""
import contextlib
import ctypes
import glob
import json
import os
import re
import shutil
import socket
import sqlite3
import statistics
import subprocess
import sys
import threading
import time
from pathlib import Path

BENCH, WANTED = Path(sys.argv[1]), (sys.argv[2:] or [''])[0]
PACKAGE = '/var/packages/Lumetra'
PROGRAM = PACKAGE + '/target/cgi-bin/transcoder.cgi'
LAUNCHER = PACKAGE + '/target/bin/ffmpeg'
PROGRAMS = BENCH / 'release/bench'
DATA = BENCH / 'data'
FAST = BENCH / 'fast' / PACKAGE[1:] / 'target'
WEB_USER = 33
BARE_LIBPQ = '/mnt/bare_libpq'
GIBIBYTE = 1 << 30
PORT = 18090
BARE = {'PATH': '/usr/bin:/bin'}

results, instructions = [], []
stopwatch = ctypes.CDLL(str(PROGRAMS / 'stopwatch.so'))
for name in ('WholeRun', 'FirstByte', 'Drain'):
    getattr(stopwatch, name).restype = ctypes.c_double


def texts(values):
    return (ctypes.c_char_p * (len(values) + 1))(*map(os.fsencode, values), None)


# One command to be timed: the program with a request, or the least that does the same.
class Command:
    def __init__(self, *argv, environment=BARE, header=False):
        self.argv, self.header = list(map(str, argv)), header
        self.environment = environment
        self.arguments = (texts(self.argv), texts([f'{k}={v}' for k, v in environment.items()]))

    def whole(self):
        return checked(stopwatch.WholeRun(*self.arguments))

    def first_byte(self):
        header = ctypes.c_double()
        body = checked(stopwatch.FirstByte(*self.arguments, self.header, ctypes.byref(header)))
        self.header_time = header.value
        return body

    def drain(self):
        count = ctypes.c_long()
        elapsed = checked(stopwatch.Drain(*self.arguments, self.header, ctypes.byref(count)))
        self.count = count.value
        return elapsed

    def many(self, count=64):
        times = (ctypes.c_double * count)()
        stopwatch.ManyFirstBytes(*self.arguments, self.header, count, times)
        return list(map(checked, times))


def checked(elapsed):
    if elapsed < 0:
        raise SystemExit('measure: a command failed')
    return elapsed


def request(query, method='GET', **variables):
    return Command(PROGRAM, header=True, environment={
        'REQUEST_METHOD': method, 'REQUEST_URI': '/transcoder.cgi?' + query, 'QUERY_STRING': query, **variables})


# The web server's user cannot read the database.
LIBRARY = shutil.copy(PACKAGE + '/var/lumetra.db', '/mnt/library.db')
os.chmod(LIBRARY, 0o644)
with contextlib.closing(sqlite3.connect(LIBRARY)) as database:
    ITEMS = dict(database.execute('SELECT path, id FROM music UNION ALL SELECT path, id FROM video'))


def item(name):
    return ITEMS[str(DATA / name)]


def ffmpeg(source, *output):
    return ('/usr/bin/ffmpeg', '-v', '0', '-i', source, *output, '-')


# Medians of both, in alternating order.
def alternate(rounds, *measures):
    for measure in measures:
        measure()
    samples = [[measure() for measure in measures] for _ in range(rounds)]
    return [statistics.median(column) for column in zip(*samples)]


def row(name, what, value, against, base, figure, goal, met, unit='ms', scale=1000):
    results.append(dict(name=name, what=what, value=value * scale, against=against, base=base * scale, unit=unit,
                        figure=figure, goal=goal, met=bool(met)))
    print(f'{name:16} {what:38} {value * scale:9.2f} {unit:5} {against:38} {base * scale:9.2f} {figure:>9} {goal:>9}  '
          f'{"" if not goal else "met" if met else "NOT MET"}', flush=True)


def at_most(name, what, value, against, base, limit):
    row(name, what, value, against, base, f'{value / base:.2f}', f'<= {limit}', value <= limit * base)


def at_least(name, what, value, against, base, limit, count):
    row(name, what, count / value, against, count / base, f'{base / value:.2f}', f'>= {limit}', base >= limit * value,
        'GB/s', 1e-9)


FLAC, WAV, MKV = DATA / 'melody.flac', DATA / 'melody.wav', DATA / 'two languages.mkv'
OUTPUTS = {'mp3': ('-f', 'mp3', '-ab', '128k', '-acodec', 'libmp3lame'), 'pcm': ('-f', 's16be', '-acodec', 'pcm_s16be'),
           'wav': ('-f', 'wav', '-acodec', 'pcm_s16le')}
REMUX = ('-y', '-vcodec', 'copy', '-bsf:v', 'h264_mp4toannexb', '-copyts', '-acodec', 'mp2', '-ab', '128k', '-ar', '44100',
         '-ac', '2', '-map', '0:V', '-map', '0:2', '-sn', '-f', 'mpegts')


def head():
    program = request(f'id={item("melody.wav")}&format=wav', 'HEAD')
    empty, static = Command(PROGRAMS / 'empty'), Command(PROGRAMS / 'empty_static')
    # A program that follows one whose cat is still ending would be measured with it.
    least = Command(PROGRAMS / 'least_cgi', LIBRARY, item('melody.wav'))
    value, base, least, smallest = alternate(500, program.whole, empty.whole, least.whole, static.whole)
    at_most('head', 'HEAD of a WAV item, SQLite', value, 'an empty C++ program', base, 1.5)
    at_most('head', 'HEAD of a WAV item, SQLite', value, 'an empty static C program', smallest, 2.5)
    row('head', 'HEAD of a WAV item, SQLite', value, 'the least in C: SQLite and cat', least, f'{value / least:.2f}', '', True)
    converted = request(f'id={item("melody.flac")}&format=mp3')
    bare = Command(*ffmpeg(FLAC, *OUTPUTS['mp3']))

    def header():
        converted.first_byte()
        return converted.header_time
    block, first = alternate(20, header, bare.first_byte)
    row('head', 'header block of FLAC to MP3', block, 'first byte of bare ffmpeg', first, f'{block / value:.2f}', 'before',
        block < first)


# A server of the benchmark's own; its administrator runs as the user postgres.
@contextlib.contextmanager
def postgresql():
    tools, folder = sorted(glob.glob('/usr/lib/postgresql/*/bin/'))[-1], '/mnt/postgresql'

    def run(*command, user='postgres', **options):
        subprocess.run(command, check=True, user=user, group=user, extra_groups=[], stdout=subprocess.DEVNULL,
                       **options)
    os.seteuid(0)
    run('useradd', '--system', '--badname', 'Vistrel', user='root')
    run('install', '-d', '-o', 'postgres', folder, user='root')
    run(tools + 'initdb', '--no-sync', '--locale=C', '-A', 'peer', '-D', folder + '/data')
    run(tools + 'pg_ctl', 'start', '-w', '-D', folder + '/data', '-l', folder + '/log', '-o', f'-F -k {folder} -h ""')
    run(tools + 'psql', '-q', '-h', folder, 'postgres', input=Path('packaging/postgresql.sql').read_bytes())
    Path('/etc/orvainfo.conf').write_text(f'mediadb=postgresql:host={folder}\n')
    run(PACKAGE + '/target/bin/media-index', DATA, user='root')
    # The server knows whom it talks to by the user of the process.
    shutil.copy(PROGRAMS / 'bare_libpq', BARE_LIBPQ)
    shutil.chown(BARE_LIBPQ, 'Lumetra')
    os.chmod(BARE_LIBPQ, 0o4755)
    os.seteuid(WEB_USER)
    try:
        yield folder
    finally:
        os.seteuid(0)
        run(tools + 'pg_ctl', 'stop', '-m', 'immediate', '-D', folder + '/data')
        os.remove('/etc/orvainfo.conf')
        os.seteuid(WEB_USER)


def lookup():
    with postgresql() as folder:
        number = item('melody.wav')  # the same there: both were filled from the same folder
        program = request(f'id={number}&format=wav', 'HEAD')
        bare = Command(BARE_LIBPQ, f'host={folder} dbname=lumetra', f'SELECT * from music where id = {number}')
        value, base = alternate(200, program.whole, bare.whole)
        at_most('postgresql', 'HEAD of a WAV item, PostgreSQL', value, 'libpq: connect and SELECT', base, 1.2)


def first(prefix='first', what='first body byte'):
    for profile, output in OUTPUTS.items():
        program = request(f'id={item("melody.flac")}&format={profile}')
        value, base = alternate(40, program.first_byte, Command(*ffmpeg(FLAC, *output)).first_byte)
        at_most(f'{prefix}-{profile}', f'{what}, FLAC to {profile}', value, 'bare ffmpeg', base, 1.05)
    program = request(f'id={item("two languages.mkv")}&type=video&format=m2ts')
    bare, probe = Command(*ffmpeg(MKV, *REMUX)), Command(PROGRAMS / 'bare_probe', MKV)
    value, base, probed = alternate(40, program.first_byte, bare.first_byte, probe.whole)
    at_most(prefix + '-mkv', f'{what}, MKV to TS', value, 'bare ffmpeg and a bare probe', base + probed, 1.05)


# The same with the converter that starts at once, where it was built; still against Debian's.
def fast():
    if not (FAST / 'bin/ffmpeg-fast').exists():
        print('fast: built by packaging/ffmpeg/build; left out')
        return
    os.seteuid(0)
    shutil.copytree(FAST, PACKAGE + '/target', dirs_exist_ok=True)
    os.seteuid(WEB_USER)
    first('fast', 'fast converter')
    many('fast-many', 'fast converter, 64 at once, p99')
    os.seteuid(0)
    shutil.copytree(BENCH / 'stage' / PACKAGE[1:] / 'target/lib', PACKAGE + '/target/lib', dirs_exist_ok=True)
    os.remove(PACKAGE + '/target/bin/ffmpeg-fast')
    os.seteuid(WEB_USER)


# A station that sends `burst` bytes at once and then 16000 a second; when its first byte went out, in `sent`.
class Station(threading.Thread):
    def __init__(self, body, content_type, burst):
        super().__init__(daemon=True)
        self.body, self.type, self.burst = body, content_type, burst
        self.listener = socket.create_server(('127.0.0.1', PORT))

    def run(self):
        while True:
            with contextlib.suppress(OSError):
                self.serve(self.listener.accept()[0])

    def serve(self, client):
        with client:
            client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            client.recv(4096)
            client.sendall(f'HTTP/1.0 200 OK\r\nContent-Type: {self.type}\r\n\r\n'.encode())
            self.sent = start = time.monotonic()
            position, piece = 0, max(self.burst, 320)
            while position < len(self.body):
                client.sendall(self.body[position:position + piece])
                position, piece = position + piece, 320
                time.sleep(max(0, start + (position - self.burst) / 16000 - time.monotonic()))


def station():
    for extension, content_type, burst in (('mp3', 'audio/mpeg', 65536), ('mp3', 'audio/mpeg', 0),
                                           ('aac', 'audio/aac', 0)):
        body = subprocess.run(['ffmpeg', '-v', 'error', '-i', WAV, '-b:a', '128k', '-write_xing', '0', '-id3v2_version', '0',
                               '-f', dict(mp3='mp3', aac='adts')[extension], '-'], check=True, stdout=subprocess.PIPE).stdout
        server = Station(body, content_type, burst)
        server.start()
        program = request(f'id={item("melody.flac")}&format=mp3&radio=http%3A%2F%2F127.0.0.1%3A{PORT}%2F')

        def delay():
            program.first_byte()
            return received() - server.sent

        def received():
            return time.monotonic()
        (value,) = alternate(15, delay)
        name = f'{extension.upper()} station, {"with" if burst else "without"} a burst'
        row('station', name, value, "the station's first byte", 0.0, f'+{1000 * value:.0f} ms', '<= +150', value <= 0.150)
        server.listener.shutdown(socket.SHUT_RDWR)
        server.listener.close()
        server.join(0.5)


def through():
    path, number = DATA / 'big.wav', item('big.wav')
    program, swapped = request(f'id={number}&format=wav'), request(f'id={number}&format=pcm')
    chain = Command('/bin/sh', '-c', f'cat {path} | cat')
    loop = Command(PROGRAMS / 'copy_loop', path)
    value, swap, piped, least = alternate(7, program.drain, swapped.drain, chain.drain, loop.drain)
    if {program.count, chain.count, loop.count} != {path.stat().st_size}:
        raise SystemExit('measure: bodies of unequal lengths')
    at_least('through', '1 GiB of WAV, passed through', value, 'cat | cat', piped, 1.0, program.count)
    at_least('through', '1 GiB of WAV, passed through', value, 'read and write, pipes of 1 MiB', least, 0.95, program.count)
    at_least('through', '1 GiB of WAV, bytes swapped', swap, 'passed through', value, 0.8, swapped.count)
    late = request(f'id={number}&format=wav', HTTP_RANGE=f'bytes={GIBIBYTE}-')
    null = Command('/bin/sh', '-c', f'cat {path} | cat >/dev/null')
    value, base = alternate(7, late.drain, null.drain)
    at_least('skip', 'skip of 1 GiB to a range start', value, 'cat | cat >/dev/null', base, 0.95, GIBIBYTE)


def memory():
    def peak(command, ready):
        with subprocess.Popen(command.argv, env=command.environment, stdout=subprocess.PIPE) as process:
            ready(process)
            os.seteuid(0)
            status = Path(f'/proc/{process.pid}/status').read_text()
            process.kill()
            os.seteuid(WEB_USER)
        return 1024 * int(re.search(r'VmHWM:\s*(\d+)', status)[1])
    program = peak(request(f'id={item("melody.flac")}&format=pcm'), lambda process: process.stdout.read(1 << 20))
    empty = peak(Command(PROGRAMS / 'empty', 'wait'), lambda process: time.sleep(0.2))
    row('memory', 'peak memory, FLAC to L16', program, 'an empty C++ program', empty,
        f'{(program - empty) / (1 << 20):+.2f} MiB', '<= +1.5', program - empty <= 1.5 * (1 << 20), 'MiB', 1 / (1 << 20))


def many(name='many', what='first body byte, 64 at once, p99'):
    program = request(f'id={item("melody.flac")}&format=mp3')
    bare = Command(*ffmpeg(FLAC, *OUTPUTS['mp3']))
    samples = [(program.many(), bare.many()) for _ in range(8)]
    value, base = (statistics.quantiles(sum(column, []), n=100)[-1] for column in zip(*samples))
    at_most(name, what, value, '64 bare ffmpeg at once', base, 1.1)


def launcher():
    os.seteuid(0)
    Path('/etc/orvainfo.conf').write_text('ffmpeg=/bin/true\n')
    os.seteuid(WEB_USER)
    arguments = ('-v', '0', '-i', FLAC, *OUTPUTS['mp3'], '-')
    value, base = alternate(500, as_root(Command(LAUNCHER, *arguments).whole),
                            as_root(Command('/bin/true', *arguments).whole))
    os.seteuid(0)
    os.remove('/etc/orvainfo.conf')
    os.seteuid(WEB_USER)
    row('launcher', 'launcher of /bin/true', value, '/bin/true', base, f'{1000 * (value - base):+.2f} ms', '<= +1.5',
        value - base <= 0.0015)


# As the streaming program starts it: with root's effective id.
def as_root(measure):
    def measured():
        os.seteuid(0)
        try:
            return measure()
        finally:
            os.seteuid(WEB_USER)
    return measured


# Instructions repeat exactly. A set-user-ID program cannot be counted, so a copy runs as root.
def count_instructions():
    os.seteuid(0)
    copy = shutil.copy(PROGRAM, '/mnt/program')
    os.chmod(copy, 0o755)
    wav, flac = item('melody.wav'), item('melody.flac')
    for what, command, query, method in (('an empty C++ program', PROGRAMS / 'empty', '', 'HEAD'),
                                         ('an unknown item', copy, 'id=0', 'GET'),
                                         ('HEAD of a WAV item', copy, f'id={wav}', 'HEAD'),
                                         ('HEAD, FLAC to MP3', copy, f'id={flac}&format=mp3', 'HEAD')):
        ran = subprocess.run(
            ['valgrind', '--tool=callgrind', '--callgrind-out-file=/dev/null', command], check=True, env={
                **BARE, 'REQUEST_METHOD': method, 'QUERY_STRING': query, 'REQUEST_URI': '/?' + query},
            user=0, group=0, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        number = int(re.search(rb'refs:\s*([\d,]+)', ran.stderr)[1].replace(b',', b''))
        instructions.append(dict(what=what, instructions=number))
        print(f'{what:38} {number:12,} instructions')


ROWS = {'head': head, 'postgresql': lookup, 'first': first, 'fast': fast, 'station': station, 'through': through, 'memory': memory,
        'many': many, 'launcher': launcher, 'instructions': count_instructions}
chosen = [measure for name, measure in ROWS.items() if name.startswith(WANTED)]
os.setresgid(WEB_USER, WEB_USER, 0), os.setresuid(WEB_USER, WEB_USER, 0)
for measure in chosen:
    measure()
if not WANTED or 'inside'.startswith(WANTED):
    subprocess.run([PROGRAMS / 'inside', '--benchmark_color=false'], check=True, stderr=subprocess.DEVNULL)
os.seteuid(0)
(BENCH / 'results.json').write_text(json.dumps(dict(rows=results, instructions=instructions), indent=1))
