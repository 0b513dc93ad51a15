"""The lookup in a PostgreSQL server of the test's own: the rows of the embedded database, whatever the
environment says, and an end in time when the server fails. And media-index into one."""
import glob
import os
import socket
import subprocess
import time
import unittest
from pathlib import Path

import harness

TOOLS = sorted(glob.glob('/usr/lib/postgresql/*/bin/'))[-1]
SCHEMA = os.path.join(os.path.dirname(__file__), '../packaging/postgresql.sql')
FOLDER, LIBRARY, PORT = '/mnt/postgresql', '/mnt/library', 18082
CONNINFO = f'host={FOLDER} port={PORT}'
HOSTILE = {'PGHOSTADDR': '127.0.0.2', 'PGOPTIONS': '-c search_path=other', 'PGREQUIREPEER': 'other',
           'HOME': '/mnt', 'PGPASSFILE': '/mnt/none', 'PGSERVICE': 'other'}
DATABASES = {'Lumetra': 'lumetra', 'Vistrel': 'video_metadata'}
ODD = '/mnt/-a: "b\'$(c)\udcff;*.FLAC'
ROWS = {'music': [(1, ODD, '2', '44100', '10'), (2, '/mnt/text', '2 ch', ' 44100', '10s'),
                  (3, '/mnt/no rate', '2', None, ''), (4, None, '2', '44100', '1'),
                  (-12, '/mnt/minus', '-1', '-8000', '0')],
        'video': [(1, '/mnt/old', None, None, '10')], 'video_file': [(1, '/mnt/n', *3 * '0')]}
AUTHENTICATED, READY, NOTICE = b'R\0\0\0\x08\0\0\0\0', b'Z\0\0\0\x05I', b'N\0\0\0\x05\0'
LATE = 'no answer in time'


def run(*command, user='postgres', **options):
    return os.fsdecode(subprocess.run(command, check=True, user=user, group=user, extra_groups=[], cwd='/',
                                      stdout=subprocess.PIPE, **options).stdout)


# Runs SQL as a system user.
def query(text, database='lumetra', user='postgres'):
    conninfo = f'{CONNINFO} dbname={database} user={user}'
    return run(TOOLS + 'psql', '-qtAX', '-v', 'ON_ERROR_STOP=1', '-d', conninfo, user=user,
               input=os.fsencode(text), stderr=subprocess.PIPE).splitlines()


def setUpModule():
    for name in ('Lumetra', 'Vistrel'):
        run('useradd', '--badname', '-m', '-d', '/mnt/' + name, name, user='root')
    run('install', '-d', '-o', 'postgres', FOLDER, user='root')
    run(TOOLS + 'initdb', '--no-sync', '--encoding=UTF8', '--locale=C', '-D', FOLDER + '/data')
    run('openssl', 'req', '-x509', '-newkey', 'rsa', '-nodes', '-subj', '/CN=localhost', '-keyout',
        FOLDER + '/data/server.key', '-out', FOLDER + '/certificate', stderr=subprocess.DEVNULL)
    with open(FOLDER + '/data/pg_hba.conf', 'w') as file:
        file.write('local all all peer\nhostssl lumetra "Lumetra" 127.0.0.1/32 scram-sha-256\n')
    run(TOOLS + 'pg_ctl', 'start', '-D', FOLDER + '/data', '-l', FOLDER + '/log', '-o',
        f'-F -p {PORT} -k {FOLDER} -h 127.0.0.1 -l -c ssl_cert_file={FOLDER}/certificate')
    for _ in range(2):  # it may be applied again
        query(Path(SCHEMA).read_text(), 'postgres')
    harness.install_stand_in()


class Postgresql(unittest.TestCase):
    def answer(self, conninfo, text):
        harness.configure(conninfo and f'mediadb="postgresql:{conninfo} user=postgres dbname=postgres"\n')
        found = harness.request(text + '&format=pcm', 'HEAD', HOSTILE)
        return found, found.header and harness.recorded()['arguments'][4]

    # The rows are in a schema of the user's name, which stands before that of the media index.
    def test_answers(self):
        harness.write_database(music=ROWS['music'], video=ROWS['video'])
        harness.write_database(harness.METADATA_DB, video_file=ROWS['video_file'])
        for table, rows in ROWS.items():
            user = 'Vistrel' if table == 'video_file' else 'Lumetra'
            query(f'CREATE SCHEMA IF NOT EXISTS "{user}" AUTHORIZATION "{user}"', DATABASES[user])
            self.addCleanup(query, f'DROP SCHEMA IF EXISTS "{user}" CASCADE', DATABASES[user])
            lines = ['\t'.join('\\N' if value is None else str(value) for value in row) for row in rows]
            query(f'CREATE TABLE {table}(id int, "Path" text, channel text, frequency text, duration text);\n'
                  f'COPY {table} FROM STDIN;\n' + '\n'.join(lines), DATABASES[user], user)
        for text, source in {
                'id=1': ODD, 'id=2': '/mnt/text', 'id=3': '/mnt/no rate', 'id=4': None, 'id=5': None,
                'id=-12': '/mnt/minus', 'id=1&type=video': '/mnt/old', 'id=1&type=Vistrel': '/mnt/n'}.items():
            embedded, served = self.answer(None, text), self.answer(CONNINFO, text)
            self.assertEqual((embedded, served[1]), (served, source), text)
        # To another host, with the password file of the system user who connects.
        run('install', '-m', '600', '-o', 'Lumetra', '/dev/stdin', '/mnt/Lumetra/.pgpass', user='root',
            input=b'*:*:*:*:a secret')
        query('ALTER ROLE "Lumetra" PASSWORD \'a secret\'')
        tls = f'port={PORT} sslmode=verify-full sslrootcert={FOLDER}/certificate host='  # of localhost
        for at, source in {tls + 'localhost': ODD, tls + '127.0.0.1': None, 'host=::1 port=1': None}.items():
            self.assertEqual(self.answer(at, 'id=1')[1], source)

    def test_rights(self):
        with self.assertRaises(subprocess.CalledProcessError) as refused:
            query('UPDATE music SET id = 2', user='Lumetra')
        self.assertIn(b'permission denied', refused.exception.stderr)

    # A lookup ends in time, and by no signal, however far it comes with a server.
    def test_failing_server(self):
        harness.configure('mediadb=postgresql:host=/mnt\n')
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind('/mnt/.s.PGSQL.5432')
            os.chmod('/mnt/.s.PGSQL.5432', 0o777)
            listener.listen()
            for reason, *chunks in [(LATE,), (LATE, AUTHENTICATED, *15 * [NOTICE]),
                                    (LATE, AUTHENTICATED + READY), ('closed|reset', AUTHENTICATED + READY)]:
                harness.logged()
                end = time.monotonic() + 3
                with self.subTest(chunks), harness.start('id=1') as process, listener.accept()[0] as client:
                    for chunk in chunks:
                        client.sendall(chunk)
                        time.sleep(0.1)
                    if reason != LATE:
                        client.close()
                    output = process.communicate(timeout=end - time.monotonic())
                    self.assertEqual((output, process.returncode), ((b'', b''), 0))
                    self.assertRegex(harness.logged()[0][1], reason)

    def test_media_index(self):
        index = [harness.PACKAGE + '/target/bin/media-index', LIBRARY]
        harness.configure(f'mediadb=postgresql:{CONNINFO}\n')
        odd, columns = LIBRARY + '/o"d\'d|\udcff.flac', 'path, title, album, channel, frequency, duration'
        os.mkdir(LIBRARY)
        run('ffmpeg', '-v', 'error', '-f', 'lavfi', '-i', 'sine=d=2.5:r=48000', '-f', 'lavfi', '-i',
            'color=s=32x32:d=3', '-map', '0', '-metadata', "title=It's", odd, '-map', '0', '-map', '1',
            '-c:v', 'mpeg4', LIBRARY + '/film.mkv', user='root')
        run('cp', odd, LIBRARY + '/gone.flac', user='root')
        run(*index, user='root', env={'PGCLIENTENCODING': 'UTF8'})
        self.assertEqual(query(f'SELECT {columns} FROM music ORDER BY path'), [
            f"{path}|It's||1|48000|2" for path in (LIBRARY + '/gone.flac', odd)])
        for user, table in {'Lumetra': 'video', 'Vistrel': 'video_file'}.items():
            rows = query(f'SELECT {columns} FROM {table}', DATABASES[user], user)
            self.assertEqual(rows, [LIBRARY + '/film.mkv|film||1|48000|3'])
        gone, kept = query('SELECT id FROM music ORDER BY path')
        os.rename(LIBRARY + '/gone.flac', LIBRARY + '/new.flac')
        os.utime(odd)
        run(*index, user='root', env={'PGCLIENTENCODING': 'UTF8'})
        self.assertNotIn(query('SELECT id FROM music ORDER BY path')[0], (gone, kept))
        self.assertEqual(self.answer(CONNINFO, 'id=' + kept)[1], odd)
