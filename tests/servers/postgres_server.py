#!/usr/bin/env python3
"""Starts a PostgreSQL server of its own, for tests and benchmarks.

    postgres_server.py [--durable] [--standby-of PORT PASSWORD]

The cluster lives in a scratch folder, listens on a free port of the loopback and in no other place, and is
owned by an unprivileged user where this is run as root, as the server refuses root. Says
"port N password TEXT" on standard output when it takes logins (user "kestrel", database "postgres"), and
stops and removes everything when its standard input ends. `--durable`: commits are flushed to the disk as in
real use; without it a crash of the machine may lose the cluster, which no test minds. `--standby-of`: a copy of
another one, which follows it, read-only, until it is promoted; password and databases are those of the first.
"""

import argparse
import glob
import os
import pwd
import secrets
import shutil
import socket
import subprocess
import sys
import tempfile
import time

START_SECONDS = 60


def find_program(name):
    """The newest installed server's program of that name; Debian keeps them off the PATH."""
    folders = glob.glob("/usr/lib/postgresql/*/bin")
    folders.sort(key=lambda folder: int(folder.split("/")[-2]) if folder.split("/")[-2].isdigit() else 0, reverse=True)
    for folder in folders:
        if os.access(os.path.join(folder, name), os.X_OK):
            return os.path.join(folder, name)
    found = shutil.which(name)
    if found is None:
        sys.exit("%s is missing (package postgresql)" % name)
    return found


def unprivileged_user():
    """Whom the server runs as: none where this is not run as root."""
    if os.geteuid() != 0:
        return None
    for name in ("postgres", "nobody"):
        try:
            return pwd.getpwnam(name)
        except KeyError:
            continue
    sys.exit("no unprivileged user for the server")


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as listener:
        return listener.getsockname()[1]


def takes_logins(port):
    command = [find_program("pg_isready"), "-q", "-h", "127.0.0.1", "-p", str(port)]
    return subprocess.run(command, check=False).returncode == 0


def make_cluster(data, scratch, password, **quiet):
    password_file = os.path.join(scratch, "password")
    with open(password_file, "w", encoding="ascii") as file:
        file.write(password)
    if "user" in quiet:
        os.chown(password_file, quiet["user"], quiet["group"])
    subprocess.run([find_program("initdb"), "-D", data, "-U", "kestrel", "-A", "scram-sha-256", "--pwfile",
                    password_file, "-E", "UTF8", "--locale=C.UTF-8", "--no-sync", "--no-instructions"],
                   check=True, **quiet)


def copy_cluster(data, port, password, **quiet):
    subprocess.run([find_program("pg_basebackup"), "-D", data, "-R", "-c", "fast", "--no-sync", "-d",
                    "host=127.0.0.1 port=%s user=kestrel password=%s application_name=standby" % (port, password)],
                   check=True, **quiet)


def main():
    parser = argparse.ArgumentParser(description="A PostgreSQL server for tests")
    parser.add_argument("--durable", action="store_true")
    parser.add_argument("--standby-of", nargs=2, metavar=("PORT", "PASSWORD"))
    options = parser.parse_args()

    user = unprivileged_user()
    as_user = {} if user is None else {"user": user.pw_uid, "group": user.pw_gid, "extra_groups": []}
    scratch = tempfile.mkdtemp(prefix="kestrel-postgres-")
    password = options.standby_of[1] if options.standby_of else secrets.token_hex(8)
    server = None
    try:
        if user is not None:
            os.chown(scratch, user.pw_uid, user.pw_gid)
        data = os.path.join(scratch, "data")
        quiet = {"stdin": subprocess.DEVNULL, "stdout": subprocess.DEVNULL, "cwd": scratch, **as_user}
        if options.standby_of:
            copy_cluster(data, *options.standby_of, **quiet)
        else:
            make_cluster(data, scratch, password, **quiet)
        port = free_port()
        settings = {"listen_addresses": "127.0.0.1", "port": port, "unix_socket_directories": "",
                    "max_connections": 30, "shared_buffers": "64MB", "logging_collector": "off"}
        if not options.durable:
            settings.update({"fsync": "off", "synchronous_commit": "off", "full_page_writes": "off"})
        command = [find_program("postgres"), "-D", data]
        for name, value in settings.items():
            command += ["-c", "%s=%s" % (name, value)]
        with open(os.path.join(scratch, "log"), "w", encoding="utf-8") as log:
            server = subprocess.Popen(command, stderr=log, **quiet)
        deadline = time.monotonic() + START_SECONDS
        while not takes_logins(port):
            if server.poll() is not None or time.monotonic() > deadline:
                with open(os.path.join(scratch, "log"), encoding="utf-8") as log:
                    sys.exit("the server did not start: " + log.read())
            time.sleep(0.05)
        print("port %d password %s" % (port, password), flush=True)
        sys.stdin.read()
    finally:
        if server is not None:
            # Fast shutdown: sessions are ended.
            server.send_signal(2)
            server.wait()
        shutil.rmtree(scratch, ignore_errors=True)


if __name__ == "__main__":
    main()
