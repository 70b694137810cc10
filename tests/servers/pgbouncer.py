#!/usr/bin/env python3
"""Starts PgBouncer in transaction mode before a PostgreSQL server, for tests.

    pgbouncer.py PORT PASSWORD

Every transaction goes to another session of the server, as far as there are some. Says "port N" when it listens, and
stops when its standard input ends.
"""

import os
import shutil
import socket
import subprocess
import sys
import tempfile
import time

import postgres_server

CONFIGURATION = """
[databases]
* = host=127.0.0.1 port=%(server)s user=kestrel password=%(password)s
[pgbouncer]
listen_addr = 127.0.0.1
listen_port = %(port)d
unix_socket_dir =
auth_type = any
pool_mode = transaction
default_pool_size = 5
min_pool_size = 5
server_round_robin = 1
logfile = %(folder)s/log
"""


def listens(port):
    with socket.socket() as client:
        return client.connect_ex(("127.0.0.1", port)) == 0


def main():
    program = shutil.which("pgbouncer", path=os.environ.get("PATH", "") + ":/usr/sbin")
    if program is None:
        sys.exit("pgbouncer is missing (package pgbouncer)")
    user = postgres_server.unprivileged_user()
    as_user = {} if user is None else {"user": user.pw_uid, "group": user.pw_gid, "extra_groups": []}
    folder = tempfile.mkdtemp(prefix="kestrel-pgbouncer-")
    pooler = None
    try:
        port = postgres_server.free_port()
        settings = os.path.join(folder, "pgbouncer.ini")
        with open(settings, "w", encoding="ascii") as file:
            file.write(CONFIGURATION % {"server": sys.argv[1], "password": sys.argv[2], "port": port, "folder": folder})
        if user is not None:
            os.chown(folder, user.pw_uid, user.pw_gid)
            os.chown(settings, user.pw_uid, user.pw_gid)
        quiet = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        pooler = subprocess.Popen([program, settings], cwd=folder, **quiet, **as_user)
        deadline = time.monotonic() + postgres_server.START_SECONDS
        while not listens(port):
            if pooler.poll() is not None or time.monotonic() > deadline:
                sys.exit("pgbouncer did not start")
            time.sleep(0.05)
        print("port %d" % port, flush=True)
        sys.stdin.read()
    finally:
        if pooler is not None:
            pooler.terminate()
            pooler.wait()
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
