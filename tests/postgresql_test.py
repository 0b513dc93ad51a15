"""The lookup in a PostgreSQL server: the rows of the embedded database, whatever the environment
says, and an end in time when the server fails. And media-index into one."""
import contextlib
import os
import shutil
import signal
import socket
import subprocess
import time
import unittest

import harness
from harness import request
from postgresql_server import Server, make_certificate, run

ODD = '/mnt/-a: "b\'$(c)\udcff;*.FLAC'
ROWS = {
    'music': [(1, ODD, '2', '44100', '10'), (2, '/mnt/text', '2 ch', ' 44100', '10s'),
              (3, '/mnt/no rate', '2', None, ''), (4, None, '2', '44100', '1'),
              (-12, '/mnt/minus', '-1', '-8000', '0')],
    'video': [(1, '/mnt/old.avi', None, None, '10')], 'video_file': [(1, '/mnt/new.avi', *3 * '0')]}
LIBRARY = '/mnt/library'
AUTHENTICATED, READY, NOTICE = (
    b'R\0\0\0\x08\0\0\0\0', b'Z\0\0\0\x05I', b'N\0\0\0\x05\0')


def setUpModule():
    global server
    server = Server()
    harness.install_stand_in()


def literal(value):
    return 'NULL' if value is None else "'" + str(value).replace("'", "''") + "'"


class Postgresql(unittest.TestCase):
    def setUp(self):
        self.configure(server.conninfo)
        server.query(f"INSERT INTO music VALUES (1, {literal(ODD)}, '', '', '', 2, 44100, 10, 0, 0)")
        self.addCleanup(server.query, 'DELETE FROM music')

    def configure(self, conninfo):
        harness.configure(conninfo and f'mediadb="postgresql:{conninfo}"\n')

    def assert_found(self, source=ODD, query='id=1', **options):
        self.assertEqual(request(query + '&format=pcm', 'HEAD', **options).log, [])
        self.assertEqual(harness.recorded()['arguments'][4], source)

    def assert_fails(self, reason, meanwhile=lambda: None):
        harness.logged()
        process = harness.start('id=1')
        meanwhile()
        self.assertEqual(process.communicate(timeout=3), (b'', b''))
        self.assertEqual(process.returncode, 0)
        cause, (_, end) = harness.logged()
        self.assertRegex(cause[1], reason)
        self.assertEqual(end, 'genericoder:322 Transcoder cannot find the entry of id=1')

    def test_same_answers(self):
        """Each request is answered as from the embedded database with the same rows."""
        for table, rows in ROWS.items():
            user, database = ('Vistrel', 'video_metadata') if table == 'video_file' else (
                'Lumetra', 'lumetra')
            # A schema of the user's name stands before the one with the tables of the media index.
            server.query(
                f'CREATE SCHEMA IF NOT EXISTS "{user}"; GRANT USAGE ON SCHEMA "{user}" TO "{user}";'
                f' CREATE TABLE "{user}".{table}'
                '(id integer, "Path" text, channel text, frequency text, duration text);'
                f' GRANT SELECT ON "{user}".{table} TO "{user}"; INSERT INTO "{user}".{table} VALUES '
                + ', '.join('(' + ', '.join(map(literal, row)) + ')' for row in rows), database)
            self.addCleanup(server.query, f'DROP SCHEMA IF EXISTS "{user}" CASCADE', database)
        harness.write_database(music=ROWS['music'], video=ROWS['video'])
        harness.write_database(harness.METADATA_DB, video_file=ROWS['video_file'])
        sources = {'id=1': ODD, 'id=2': '/mnt/text', 'id=3': '/mnt/no rate', 'id=-12': '/mnt/minus',
                   'id=1&type=video': '/mnt/old.avi', 'id=1&type=Vistrel': '/mnt/new.avi',
                   'id=4': None, 'id=5': None, 'id=2&type=video': None}
        for query, source in sources.items():
            with self.subTest(query):
                answers = []
                for conninfo in (None, server.conninfo):
                    self.configure(conninfo)
                    answers.append(request(query + '&format=pcm', 'HEAD'))
                self.assertEqual(*answers)
                if source is None:
                    self.assertIsNone(answers[1].header)
                else:
                    self.assert_found(source, query)

    def test_users(self):
        """The system user's name is the key, and it opens nothing but reading."""
        for user, command, reason in [('Lumetra', 'UPDATE music SET id = 2', 'permission denied'),
                                      ('www-data', 'SELECT', 'Peer authentication failed')]:
            with self.assertRaises(subprocess.CalledProcessError) as refused:
                server.query(command, user=user, role='Lumetra')
            self.assertIn(reason, refused.exception.stderr.decode())
        self.configure(server.conninfo + ' user=postgres dbname=postgres')
        self.assert_found()

    def test_environment(self):
        with open('/mnt/service', 'w') as file:
            file.write('[other]\noptions=-c search_path=other\n')
        for variables in [
                {'PGHOSTADDR': '127.0.0.2'}, {'PGOPTIONS': '-c search_path=other'},
                {'PGSERVICE': 'other', 'PGSERVICEFILE': '/mnt/service'}, {'PGREQUIREPEER': 'other'}]:
            with self.subTest(variables):
                self.assert_found(environment=variables)

    def test_tls(self):
        """To another host, with the files of the system user who connects."""
        with open('/mnt/Lumetra/.pgpass', 'w') as file:
            file.write(f'localhost:{server.port}:lumetra:Lumetra:{server.password}\n')
        os.chmod(file.name, 0o600)
        shutil.chown(file.name, 'Lumetra')
        remote = f'host=localhost port={server.port}'
        self.configure(f'{remote} sslmode=verify-full sslrootcert={server.certificate}')
        self.assert_found(environment={'HOME': '/mnt', 'PGPASSFILE': '/mnt/none'})
        make_certificate('/mnt/other', 'root')
        self.configure(f'{remote} sslmode=verify-full sslrootcert=/mnt/other.crt')
        self.assert_fails('certificate verify failed')

    def test_failing_server(self):
        """A lookup ends in time, and by no signal, however far it comes with a server."""
        self.configure('host=/mnt')
        self.assert_fails('No such file or directory')

        def leave_before_query(connection):
            connection.shutdown(socket.SHUT_RD)
            connection.sendall(AUTHENTICATED + READY)
            connection.close()

        def trickle(connection):
            connection.sendall(AUTHENTICATED)
            with self.assertRaises(BrokenPipeError):
                for _ in range(30):
                    connection.sendall(NOTICE)
                    time.sleep(0.1)
        late, closed = 'no answer in time', 'closed the connection'
        with socket.socket(socket.AF_UNIX) as listener:
            listener.bind('/mnt/.s.PGSQL.5432')
            os.chmod('/mnt/.s.PGSQL.5432', 0o777)
            self.assert_fails('Connection refused')
            listener.listen()
            for reason, serve in [
                    (late, lambda connection: None), (late, trickle),
                    (late, lambda connection: connection.sendall(AUTHENTICATED)),
                    (late, lambda connection: connection.sendall(AUTHENTICATED + READY)),
                    ('received H', lambda connection: connection.sendall(b'HTTP/1.1 400 \r\n')),
                    (closed, leave_before_query), (closed, lambda connection: connection.close())]:
                def meanwhile():
                    connections.append(listener.accept()[0])
                    connections[0].recv(1000)
                    serve(connections[0])
                connections = []
                self.assert_fails(reason, meanwhile)
                connections[0].close()

    def test_busy_and_dying_server(self):
        def kill_backend():
            while not (pid := server.query("SELECT pid FROM pg_stat_activity WHERE"
                                           " usename = 'Lumetra' AND wait_event_type = 'Lock'")):
                time.sleep(0.01)
            os.kill(int(pid), signal.SIGKILL)
        with server.held('music'):
            self.assert_fails('statement timeout|no answer in time')
            self.assert_fails('closed the connection', kill_backend)
        server.wait()

    def test_media_index(self):
        def make(name, *arguments):
            run('ffmpeg', '-nostdin', '-v', 'error', '-y', '-f', 'lavfi', '-i', 'sine=d=2.5:r=48000',
                *arguments, f'{LIBRARY}/{name}', user='root')

        def index():
            return subprocess.run([harness.PACKAGE + '/target/bin/media-index', LIBRARY], timeout=60,
                                  env={'PGCLIENTENCODING': 'UTF8'}, capture_output=True).returncode

        def rows(table='music', database='lumetra', columns='path, id'):
            query = f'SELECT {columns} FROM {table} ORDER BY path'
            return [line.split('\t') for line in server.query(query, database).splitlines()]

        odd = 'o"d\'d|\udcff.flac'
        os.mkdir(LIBRARY)
        make(odd, '-metadata', "title=It's")
        make('gone.flac')
        make('film.mkv', '-f', 'lavfi', '-i', 'color=s=32x32:d=3', '-c:v', 'mpeg4')
        server.query('DELETE FROM music')
        self.assertEqual(index(), 0)
        columns = 'path, title, artist, album, channel, frequency, duration'
        self.assertEqual(rows(columns=columns), [
            [LIBRARY + '/gone.flac', 'gone', '', '', '1', '48000', '2'],
            [f'{LIBRARY}/{odd}', "It's", '', '', '1', '48000', '2']])
        for table, database in [('video', 'lumetra'), ('video_file', 'video_metadata')]:
            self.assertEqual(rows(table, database, columns),
                             [[LIBRARY + '/film.mkv', 'film', '', '', '1', '48000', '3']])

        gone, kept = rows()
        self.assert_found(kept[0], 'id=' + kept[1])
        os.unlink(LIBRARY + '/gone.flac')
        make(odd, '-ac', '2')
        make('new.flac')
        # A failure in one database leaves the other as it was.
        server.query('ALTER TABLE video_file RENAME TO hidden', 'video_metadata')
        self.assertEqual((index(), rows()), (1, [gone, kept]))
        server.query('ALTER TABLE hidden RENAME TO video_file', 'video_metadata')
        self.assertEqual(index(), 0)
        new, again = rows()
        self.assertEqual(again, kept)
        self.assertNotIn(new[1], (gone[1], kept[1]))
        self.assertEqual(rows(columns='channel'), [['1'], ['2']])


if __name__ == '__main__':
    unittest.main()
