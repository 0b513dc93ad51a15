"""What the end-to-end tests share. They run as root inside tools/private-tree."""
import collections
import contextlib
import json
import os
import socket
import sqlite3
import subprocess
import time
from pathlib import Path

PACKAGE = '/var/packages/Lumetra'
PROGRAM = PACKAGE + '/target/cgi-bin/transcoder.cgi'
FFMPEG = PACKAGE + '/target/bin/ffmpeg'
LUMETRA_DB = Path(PACKAGE + '/var/lumetra.db')
METADATA_DB = Path(PACKAGE + '/var/video_metadata.db')
CONFIGURATION = Path('/etc/orvainfo.conf')
WEB_USER = 33
RECORD, OUTPUT = Path('/mnt/record'), Path('/mnt/output')

Response = collections.namedtuple('Response', 'header body log')

Path('/dev/log').unlink(missing_ok=True)
log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
log.bind('/dev/log')
os.chmod('/dev/log', 0o666)


# The (priority, message) pairs logged since the last call or start of the program.
def logged():
    lines = []
    with contextlib.suppress(BlockingIOError):
        while True:
            line = log.recv(65536).decode('utf-8', 'surrogateescape').rstrip('\0\n')
            priority, _, rest = line[1:].partition('>')
            lines.append((int(priority), rest[16:].partition(': ')[2]))
    return lines


# Starts the program as the web server does, and as its user.
def start(query, method='GET', environment=None, user=WEB_USER, **options):
    logged()
    variables = {'REQUEST_METHOD': method, 'REQUEST_URI': b'/transcoder.cgi?' + os.fsencode(query),
                 'QUERY_STRING': query, **(environment or {})}
    return subprocess.Popen([PROGRAM], **{
        'env': {name: value for name, value in variables.items() if value is not None}, 'cwd': '/',
        'user': user, 'group': user, 'extra_groups': [], 'stdin': subprocess.DEVNULL,
        'stdout': subprocess.PIPE, 'stderr': subprocess.PIPE, **options})


# Serves one request. The header comes as a list of (name, value), None without a block.
def request(query, *arguments, **options):
    RECORD.unlink(missing_ok=True)
    process = start(query, *arguments, **options)
    output, errors = process.communicate(timeout=60)
    if process.returncode != 0 or errors:
        raise AssertionError(f'status {process.returncode}: {errors.decode()}')
    block, end, body = output.partition(b'\r\n\r\n')
    header = [tuple(line.split(': ', 1)) for line in block.decode().split('\r\n')] if end else None
    return Response(header, body, logged())


# Replaces a database: each table's rows are (id, path, channel, frequency, duration).
def write_database(file=LUMETRA_DB, **tables):
    Path(file).unlink(missing_ok=True)
    with contextlib.closing(sqlite3.connect(file)) as database, database:
        for table, rows in tables.items():
            database.execute(f'CREATE TABLE {table}(id, path, channel, frequency, duration)')
            database.executemany(
                f'INSERT INTO {table} VALUES (?, CAST(? AS TEXT), ?, ?, ?)',
                [(row[0], row[1] and os.fsencode(row[1]), *row[2:]) for row in rows])


# Replaces the system configuration; None removes it.
def configure(text):
    CONFIGURATION.unlink(missing_ok=True)
    if text is not None:
        CONFIGURATION.write_text(text)


STAND_IN = f'''#!/usr/bin/python3 -IS
import json, os, signal, sys
signal.signal(signal.SIGPIPE, signal.SIG_DFL)
record = dict(arguments=sys.argv, ids=os.getresuid() + os.getresgid(), environment=dict(os.environ),
              descriptors=sorted(map(int, os.listdir('/proc/self/fd')))[:-1])
with open('{RECORD}.new', 'w') as file: json.dump(record, file)
os.rename('{RECORD}.new', '{RECORD}')
sys.stdout.buffer.write(open('{OUTPUT}', 'rb').read())
'''


# Puts a program in ffmpeg's place; its own records how it was started and writes `output`.
def install_stand_in(output=b'', text=STAND_IN):
    OUTPUT.write_bytes(output)
    Path(FFMPEG).unlink(missing_ok=True)
    Path(FFMPEG).write_text(text)
    os.chmod(FFMPEG, 0o755)


# How the stand-in was started; the program may end before it has told.
def recorded():
    any(RECORD.exists() or time.sleep(0.01) for _ in range(500))
    return json.loads(RECORD.read_text())


# The ids of the processes of a name (of at most 15 characters) that have not ended.
def processes(name):
    found = subprocess.run(['pgrep', '--exact', '--runstates', 'R,S,D', name], stdout=subprocess.PIPE)
    return [int(process) for process in found.stdout.split()]


# Makes a file of what ffmpeg's source of test signals describes.
def make(file, *what):
    subprocess.run(['ffmpeg', '-nostdin', '-v', 'error', '-y', '-f', 'lavfi', '-i', *what, file], check=True)
