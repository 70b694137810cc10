#!/usr/bin/env python3
"""A stand-in for SQL Server: speaks TDS 7.4 over real data in an SQLite file.

It is no SQL Server: it knows the login, SQL batches (run by SQLite), calls of sp_tables and sp_columns, and
the SET statements that drivers send. It serves the tests of the ODBC provider, which reach it through FreeTDS.

    sql_server_stand_in.py --data FILE --user NAME --password TEXT --database NAME
                           [--vanish-after-rows N] [--silent-after-rows N] [--log FILE]

Listens on a free port of the loopback, says "port N" on standard output, and ends when its standard
input does. `--vanish-after-rows`: the socket is closed in the middle of a result. `--silent-after-rows`: it
stays open, and nothing is answered any more. `--log`: a line for each login and each batch. Password and other texts
are taken as UTF-8.
"""

import argparse
import re
import select
import socket
import sqlite3
import sys
import threading

import tds_protocol as tds
from tds_types import encoder_for, encoder_for_value


class Refused(Exception):
    """A message for the client in place of a result."""

    def __init__(self, number, text):
        super().__init__(text)
        self.number = number


class Vanish(Exception):
    """The server is to go away now."""


def open_data(path):
    """The data under the schema name dbo, so that dbo.Name is understood."""
    data = sqlite3.connect(":memory:", check_same_thread=False)
    data.execute("ATTACH ? AS dbo", (path,))
    return data


def columns_of_query(data, sql, first_row, names):
    """Names and encoders; the declared types come from a view over the query."""
    declared = [""] * len(names)
    try:
        data.execute("CREATE TEMP VIEW standin_query AS " + sql)
        declared = [row[2] for row in data.execute("PRAGMA temp.table_info(standin_query)")]
        data.execute("DROP VIEW temp.standin_query")
    except sqlite3.Error:
        pass
    columns = []
    for index, name in enumerate(names):
        encoder = encoder_for(declared[index]) if index < len(declared) else None
        if encoder is None:
            encoder = encoder_for_value(first_row[index] if first_row else None)
        columns.append((name, encoder))
    return columns


def like(pattern, text):
    """LIKE with %, _ and [set], without case."""
    if pattern is None:
        return True
    parts = re.findall(r"\[[^\]]*\]|.", pattern, re.S)
    expression = ""
    for part in parts:
        if part == "%":
            expression += ".*"
        elif part == "_":
            expression += "."
        elif len(part) > 1:
            expression += "[" + re.escape(part[1:-1]) + "]"
        else:
            expression += re.escape(part)
    return re.fullmatch(expression, text, re.I | re.S) is not None


class Session:
    """One client: login, then one request after another."""

    def __init__(self, sock, options, log):
        self._socket = sock
        self._stream = tds.PacketStream(sock)
        self._options = options
        self._log = log
        self._data = None

    def run(self):
        try:
            if not self._login():
                return
            self._data = open_data(self._options.data)
            while True:
                kind, payload = self._stream.read_message()
                self._serve(kind, payload)
        except (tds.ConnectionEnded, ConnectionError, Vanish):
            pass
        finally:
            if self._data is not None:
                self._data.close()
            self._socket.close()

    def _serve(self, kind, payload):
        if kind == tds.PACKET_SQL_BATCH:
            self._run_batch(tds.parse_batch(payload))
        elif kind == tds.PACKET_RPC:
            self._call_procedure(*tds.parse_procedure_call(payload))
        elif kind == tds.PACKET_ATTENTION:
            self._stream.write(tds.done(tds.DONE_ATTENTION))
        else:
            self._send_refusal(Refused(4021, "The stand-in does not know message type %d." % kind))
        self._stream.finish()

    def _login(self):
        kind, payload = self._stream.read_message()
        if kind == tds.PACKET_PRELOGIN:
            self._stream.write(tds.prelogin_reply())
            self._stream.finish()
            kind, payload = self._stream.read_message()
        if kind != tds.PACKET_LOGIN7:
            return False
        login = tds.parse_login(payload)
        self._log("login %s %s" % (login["user"], login["database"]))
        wanted = self._options
        if login["user"] != wanted.user or login["password"] != wanted.password:
            return self._refuse(18456, "Login failed for user '%s'." % login["user"])
        if login["database"].lower() not in ("", wanted.database.lower()):
            text = 'Cannot open database "%s" requested by the login. The login failed.' % login["database"]
            return self._refuse(4060, text)
        stream = self._stream
        stream.write(tds.environment_change(1, wanted.database, "master"))
        stream.write(tds.information(5701, "Changed database context to '%s'." % wanted.database))
        stream.write(tds.collation_change())
        stream.write(tds.environment_change(2, "Deutsch"))
        stream.write(tds.login_acknowledgement())
        stream.write(tds.environment_change(4, str(tds.PACKET_SIZE), str(tds.PACKET_SIZE)))
        stream.write(tds.done())
        stream.finish()
        return True

    def _refuse(self, number, text):
        self._stream.write(tds.error(number, text, severity=14))
        self._stream.write(tds.done(tds.DONE_ERROR))
        self._stream.finish()
        return False

    # --- Requests --------------------------------------------------------------------------------

    def _run_batch(self, sql):
        sql = sql.strip().rstrip(";").strip()
        self._log("batch " + sql.replace("\n", " "))
        try:
            if re.match(r"set\b|use\b", sql, re.I):
                self._stream.write(tds.done())
            elif re.fullmatch(r"select\s+@@spid", sql, re.I):
                self._send_rows([("", encoder_for("smallint"))], iter([(51,)]), tds.done)
            else:
                self._run_query(sql)
        except Refused as refusal:
            self._send_refusal(refusal)

    def _call_procedure(self, name, arguments):
        self._log("call " + name)
        try:
            self._run_procedure(name.lower().rpartition(".")[2], arguments)
        except Refused as refusal:
            self._send_refusal(refusal)

    def _send_refusal(self, refusal):
        self._stream.write(tds.error(refusal.number, str(refusal)))
        self._stream.write(tds.done(tds.DONE_ERROR))

    def _run_query(self, sql):
        try:
            cursor = self._data.execute(sql)
            first = cursor.fetchone() if cursor.description else None
        except sqlite3.Warning as problem:
            raise Refused(102, "Incorrect syntax: %s" % problem) from problem
        except sqlite3.Error as problem:
            missing = re.match(r"no such table: (?:\w+\.)?(.*)", str(problem))
            if missing:
                raise Refused(208, "Invalid object name '%s'." % missing.group(1)) from problem
            raise Refused(102, "Incorrect syntax: %s" % problem) from problem
        if not cursor.description:
            self._data.commit()
            self._stream.write(tds.done(tds.DONE_COUNT, max(cursor.rowcount, 0)))
            return
        names = [column[0] for column in cursor.description]
        columns = columns_of_query(self._data, sql, first, names)

        def rows():
            if first is not None:
                yield first
                yield from cursor

        self._send_rows(columns, rows(), tds.done)

    def _send_rows(self, columns, rows, end):
        """COLMETADATA, the rows, and the closing token made by `end`."""
        stream = self._stream
        stream.write(tds.column_metadata(columns))
        encoders = [encoder.encode for _, encoder in columns]
        count = 0
        for row in rows:
            if count == self._options.vanish_after_rows:
                stream._send(stream._pending, last=False)
                raise Vanish
            if count == self._options.silent_after_rows:
                stream._send(stream._pending, last=False)
                while self._socket.recv(4096):
                    pass
                raise Vanish
            stream.write(b"\xd1" + b"".join([encode(value) for encode, value in zip(encoders, row)]))
            count += 1
            if count % 500 == 0 and self._wants_attention():
                stream.write(tds.done(tds.DONE_ATTENTION))
                return
        stream.write(end(tds.DONE_COUNT, count))

    def _wants_attention(self):
        """Whether the client has asked to stop; its message is taken off the wire."""
        if not select.select([self._socket], [], [], 0)[0]:
            return False
        kind, _ = self._stream.read_message()
        return kind == tds.PACKET_ATTENTION

    # --- Catalog procedures ----------------------------------------------------------------------

    def _catalog(self):
        sql = "SELECT name, type FROM dbo.sqlite_master WHERE type IN ('table', 'view') AND name NOT LIKE 'sqlite_%'"
        return self._data.execute(sql + " ORDER BY rowid").fetchall()

    def _run_procedure(self, name, arguments):
        if name == "sp_tables":
            columns, rows = self._tables(arguments)
        elif name == "sp_columns":
            columns, rows = self._columns(arguments)
        else:
            raise Refused(2812, "Could not find stored procedure '%s'." % name)
        self._send_rows(columns, iter(rows), lambda status, count: tds.done_in_procedure(status | tds.DONE_MORE, count))
        self._stream.write(tds.return_status(0))
        self._stream.write(tds.done_procedure())

    def _tables(self, arguments):
        pattern = arguments.get("table_name")
        kinds = arguments.get("table_type")
        text = encoder_for("nvarchar(128)")
        columns = [(name, text) for name in ("TABLE_QUALIFIER", "TABLE_OWNER", "TABLE_NAME", "TABLE_TYPE", "REMARKS")]
        rows = []
        for name, kind in self._catalog():
            kind = kind.upper()
            if like(pattern, name) and (not kinds or "'%s'" % kind in kinds):
                rows.append((self._options.database, "dbo", name, kind, None))
        return columns, rows

    def _columns(self, arguments):
        pattern = arguments.get("table_name")
        text, number = encoder_for("nvarchar(128)"), encoder_for("int")
        columns = [
            ("TABLE_QUALIFIER", text), ("TABLE_OWNER", text), ("TABLE_NAME", text), ("COLUMN_NAME", text),
            ("DATA_TYPE", number), ("TYPE_NAME", text), ("PRECISION", number), ("LENGTH", number),
            ("SCALE", number), ("RADIX", number), ("NULLABLE", number), ("REMARKS", text), ("COLUMN_DEF", text),
            ("SQL_DATA_TYPE", number), ("SQL_DATETIME_SUB", number), ("CHAR_OCTET_LENGTH", number),
            ("ORDINAL_POSITION", number), ("IS_NULLABLE", text), ("SS_DATA_TYPE", number),
        ]
        rows = []
        for table, _ in self._catalog():
            if not like(pattern, table):
                continue
            quoted = table.replace('"', '""')
            for position, row in enumerate(self._data.execute('PRAGMA dbo.table_info("%s")' % quoted), start=1):
                rows.append((self._options.database, "dbo", table, row[1], 12, row[2], 255, 255, 0, 10, 1, None, None,
                             12, None, 255, position, "YES", 39))
        return columns, rows


def main():
    parser = argparse.ArgumentParser(description="Stand-in for SQL Server over an SQLite file")
    parser.add_argument("--data", required=True)
    parser.add_argument("--user", required=True)
    parser.add_argument("--password", required=True)
    parser.add_argument("--database", required=True)
    parser.add_argument("--vanish-after-rows", type=int, default=-1)
    parser.add_argument("--silent-after-rows", type=int, default=-1)
    parser.add_argument("--log")
    options = parser.parse_args()

    lock = threading.Lock()

    def log(line):
        if options.log:
            with lock, open(options.log, "a", encoding="utf-8") as file:
                file.write(line + "\n")

    listener = socket.create_server(("127.0.0.1", 0))
    print("port %d" % listener.getsockname()[1], flush=True)

    def accept():
        while True:
            client, _ = listener.accept()
            client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            threading.Thread(target=Session(client, options, log).run, daemon=True).start()

    threading.Thread(target=accept, daemon=True).start()
    sys.stdin.read()


if __name__ == "__main__":
    main()
