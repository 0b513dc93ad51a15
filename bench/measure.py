"""Times whole processes and first bytes; called by bench/run."""
import os
import sqlite3
import statistics
import subprocess
import sys
import time

BENCH, SAMPLES = sys.argv[1:]
PROGRAM = '/var/packages/Lumetra/target/cgi-bin/transcoder.cgi'


def item(name):
    database = sqlite3.connect('/var/packages/Lumetra/var/lumetra.db')
    return database.execute('SELECT id FROM music WHERE path = ?', [f'{SAMPLES}/{name}']).fetchone()[0]


def environment(name, method, profile):
    query = f'id={item(name)}&format={profile}'
    return {'REQUEST_METHOD': method, 'REQUEST_URI': '/transcoder.cgi?' + query, 'QUERY_STRING': query}


def whole(command, variables):
    started = time.perf_counter()
    process = os.posix_spawn(command, [command], variables, file_actions=[
        (os.POSIX_SPAWN_OPEN, 1, '/dev/null', os.O_WRONLY, 0)])
    os.waitpid(process, 0)
    return time.perf_counter() - started


def first_body_byte(command, variables):
    started = time.perf_counter()
    with subprocess.Popen(command, env=variables, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          stdin=subprocess.DEVNULL) as process:
        read = b''
        # A header ends at an empty line; the bare converter writes none.
        while not (read and (variables is None or read.partition(b'\r\n\r\n')[2])):
            read += os.read(process.stdout.fileno(), 65536)
        elapsed = time.perf_counter() - started
        process.kill()
    return elapsed


def report(name, measure, rounds):
    measure()
    times = sorted(1000 * measure() for _ in range(rounds))
    print(f'{name:44} median {statistics.median(times):8.2f} ms   '
          f'10% {times[rounds // 10]:8.2f}   90% {times[rounds * 9 // 10]:8.2f}')


head = environment('melody.wav', 'HEAD', 'wav')
flac = environment('melody.flac', 'GET', 'mp3')
bare = ['ffmpeg', '-v', '0', '-i', SAMPLES + '/melody.flac', '-f', 'mp3', '-ab', '128k', '-acodec',
        'libmp3lame', '-']
os.setegid(33), os.seteuid(33)
for _ in range(2):
    report('empty C++ program', lambda: whole(BENCH + '/empty', {}), 200)
    report('HEAD of a WAV item', lambda: whole(PROGRAM, head), 200)
    report('first byte of FLAC to MP3, bare ffmpeg', lambda: first_body_byte(bare, None), 20)
    report('first body byte of FLAC to MP3', lambda: first_body_byte([PROGRAM], flac), 20)
