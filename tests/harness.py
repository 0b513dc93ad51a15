"""What the end-to-end tests share. They run as root inside tools/private-tree."""
import atexit
import collections
import contextlib
import json
import os
import socket
import sqlite3
import subprocess
import time

PACKAGE = '/var/packages/Lumetra'
PROGRAM = PACKAGE + '/target/cgi-bin/transcoder.cgi'
FFMPEG = PACKAGE + '/target/bin/ffmpeg'
LUMETRA_DB = PACKAGE + '/var/lumetra.db'
METADATA_DB = PACKAGE + '/var/video_metadata.db'
CONFIGURATION = '/etc/orvainfo.conf'
WEB_USER = 33
RECORD, OUTPUT = '/mnt/record', '/mnt/output'

Response = collections.namedtuple('Response', 'header body log')

log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
with contextlib.suppress(FileNotFoundError):
    os.unlink('/dev/log')
log.bind('/dev/log')
os.chmod('/dev/log', 0o666)
log.setblocking(False)
atexit.register(log.close)


def logged():
    """The (priority, message) pairs logged since the last call."""
    lines = []
    with contextlib.suppress(BlockingIOError):
        while True:
            line = log.recv(65536).decode('utf-8', 'surrogateescape').rstrip('\0\n')
            priority, _, rest = line[1:].partition('>')
            lines.append((int(priority), rest[16:].partition(': ')[2]))
    return lines


def start(query, method='GET', environment=None, user=WEB_USER, **options):
    """Starts the program as the web server does, and as its user."""
    variables = {'REQUEST_METHOD': method, 'REQUEST_URI': b'/transcoder.cgi?' + os.fsencode(query),
                 'QUERY_STRING': query}
    variables.update(environment or {})
    variables = {name: value for name, value in variables.items() if value is not None}
    return subprocess.Popen([PROGRAM], **{
        'env': variables, 'user': user, 'group': user, 'extra_groups': [], 'cwd': '/',
        'stdout': subprocess.PIPE, 'stderr': subprocess.PIPE, 'stdin': subprocess.DEVNULL,
        **options})


def request(query, *arguments, **options):
    """Serves one request. The header comes as a list of (name, value), None without a block."""
    logged()
    with contextlib.suppress(FileNotFoundError):
        os.unlink(RECORD)
    process = start(query, *arguments, **options)
    output, errors = process.communicate(timeout=60)
    if process.returncode != 0 or errors:
        raise AssertionError(f'status {process.returncode}: {errors.decode()}')
    block, end, body = output.partition(b'\r\n\r\n')
    header = [tuple(line.split(': ', 1)) for line in block.decode().split('\r\n')] if end else None
    return Response(header, body, logged())


def write_database(file=LUMETRA_DB, **tables):
    """Replaces a database: each table's rows are (id, path, channel, frequency, duration)."""
    with contextlib.suppress(FileNotFoundError):
        os.unlink(file)
    with contextlib.closing(sqlite3.connect(file)) as database, database:
        for table, rows in tables.items():
            database.execute(f'CREATE TABLE {table}(id, path, channel, frequency, duration)')
            database.executemany(
                f'INSERT INTO {table} VALUES (?, CAST(? AS TEXT), ?, ?, ?)',
                [(row[0], row[1] and os.fsencode(row[1]), *row[2:]) for row in rows])


def read(file):
    with open(file, 'rb') as opened:
        return opened.read()


def configure(text):
    """Replaces the system configuration; None removes it."""
    if text is not None:
        with open(CONFIGURATION, 'w') as file:
            file.write(text)
    elif os.path.exists(CONFIGURATION):
        os.unlink(CONFIGURATION)


STAND_IN = f'''#!/usr/bin/python3 -IS
import json, os, signal, sys
signal.signal(signal.SIGPIPE, signal.SIG_DFL)
record = dict(arguments=sys.argv, ids=os.getresuid() + os.getresgid(), environment=dict(os.environ),
              descriptors=sorted(map(int, os.listdir('/proc/self/fd')))[:-1])
with open('{RECORD}.new', 'w') as file: json.dump(record, file)
os.rename('{RECORD}.new', '{RECORD}')
sys.stdout.buffer.write(open('{OUTPUT}', 'rb').read())
'''


def install_stand_in(output=b'', file=FFMPEG, text=STAND_IN):
    """Puts a program in ffmpeg's place that records how it was started and writes `output`."""
    set_output(output)
    with contextlib.suppress(FileNotFoundError):
        os.unlink(file)
    with open(file, 'w') as script:
        script.write(text)
    os.chmod(file, 0o755)


def set_output(output):
    with open(OUTPUT, 'wb') as file:
        file.write(output)


def recorded():
    """How the stand-in was started; the program may end before it has told."""
    for _ in range(500):
        with contextlib.suppress(FileNotFoundError):
            with open(RECORD) as file:
                return json.load(file)
        time.sleep(0.01)
    raise AssertionError('the converter was not started')


def processes(name):
    """The ids of the processes whose program file is `name` (at most 15 characters count)."""
    found = []
    for entry in filter(str.isdigit, os.listdir('/proc')):
        with contextlib.suppress(OSError), open(f'/proc/{entry}/stat') as file:
            stat = file.read()
            if f'({name[:15]})' in stat and stat.rpartition(')')[2].split()[0] != 'Z':
                found.append(int(entry))
    return found
