"""A PostgreSQL server of the tests' own, with the media databases and the system users for them."""
import contextlib
import glob
import os
import shutil
import socket
import subprocess
import time

TOOLS = sorted(glob.glob('/usr/lib/postgresql/*/bin'))[-1]
SCHEMA = os.path.join(os.path.dirname(__file__), '../packaging/postgresql.sql')
FOLDER = '/mnt/postgresql'  # data, sockets and the certificate
RULES = '''local all all peer
hostssl lumetra "Lumetra" 127.0.0.1/32 scram-sha-256
'''


def run(*command, user='postgres', **options):
    return subprocess.run(command, check=True, user=user, group=user, extra_groups=[], cwd='/',
                          capture_output=True, **options)


def make_certificate(name, user='postgres'):
    """`name`.crt, its own authority, and `name`.key."""
    run('openssl', 'req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes',
        '-subj', '/CN=localhost', '-keyout', name + '.key', '-out', name + '.crt', user=user)


class Server:
    """`conninfo` reaches it over its socket, `port` over TLS, certified by `certificate`."""
    certificate = FOLDER + '/server.crt'
    password = 'a secret'

    def __init__(self):
        for name in ('Lumetra', 'Vistrel'):
            run('useradd', '--badname', '-m', '-d', '/mnt/' + name, name, user='root')
        os.mkdir(FOLDER)
        shutil.chown(FOLDER, 'postgres', 'postgres')
        run(TOOLS + '/initdb', '--no-sync', '--encoding=UTF8', '--locale=C', '-D', FOLDER + '/data')
        make_certificate(FOLDER + '/server')
        with open(FOLDER + '/data/pg_hba.conf', 'w') as file:
            file.write(RULES)
        with socket.create_server(('127.0.0.1', 0)) as probe:
            self.port = probe.getsockname()[1]
        self.conninfo = f'host={FOLDER} port={self.port}'
        with open(FOLDER + '/log', 'wb') as log:
            self.process = subprocess.Popen(
                [TOOLS + '/postgres', '-D', FOLDER + '/data', f'--port={self.port}', '--fsync=off',
                 '--listen_addresses=127.0.0.1', '--unix_socket_directories=' + FOLDER, '--ssl=on',
                 f'--ssl_key_file={FOLDER}/server.key', '--ssl_cert_file=' + self.certificate],
                user='postgres', group='postgres', extra_groups=[], stdout=log, stderr=log)
        self.wait()
        for _ in range(2):  # it may be applied again
            with open(SCHEMA) as schema:
                self.query(schema.read(), 'postgres')
        self.query(f'ALTER ROLE "Lumetra" PASSWORD \'{self.password}\'')

    def wait(self):
        """Until it takes queries."""
        for _ in range(300):
            with contextlib.suppress(subprocess.CalledProcessError):
                return self.query('SELECT 1', 'postgres')
            time.sleep(0.1)
        raise AssertionError('no PostgreSQL server')

    def query(self, text, database='lumetra', user='postgres', role=None):
        """Runs SQL as a system user, by default as the database user of its name."""
        found = run(TOOLS + '/psql', '-qtAX', '-F', '\t', '-v', 'ON_ERROR_STOP=1', '-d',
                    f'{self.conninfo} dbname={database} user={role or user}', user=user,
                    input=os.fsencode(text))
        return os.fsdecode(found.stdout).strip()

    @contextlib.contextmanager
    def held(self, table):
        """Readers of the table wait."""
        command = [TOOLS + '/psql', '-qX', '-d', self.conninfo + ' dbname=lumetra']
        with subprocess.Popen(command, user='postgres', stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as holder:
            holder.stdin.write(f'BEGIN; LOCK TABLE {table}; \\echo held\n'.encode())
            holder.stdin.flush()
            holder.stdout.readline()
            yield
            holder.kill()
