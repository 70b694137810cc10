"""Imports customers from one REST service into another.

The source is a generator over the pages of a list; the import class posts each record. Both services are the stand-in
below, which runs in a thread of this program.
"""

from __future__ import annotations

import contextlib
import http.server
import json
import pathlib
import sys
import tempfile
import threading
import urllib.error
import urllib.request
from typing import Any, Iterator

import kestrel_import
from kestrel_import import Field, Record, RecordRefused, Stored

SPECIFICATION = """[Common]
Description=Kunden des Dienstes
ImportClass=service.customer
Provider=Dienst
Database={url}
Table=contacts
[FieldAssignments]
name=FIELD:name
city=FIELD:city
"""


class Service(http.server.BaseHTTPRequestHandler):
    """GET /contacts?page=N has two contacts a page; POST /customers takes one, unless its city is unknown."""

    contacts = [{"name": f"Kunde {n}", "city": "Nirgendwo" if n == 4 else "Ulm"} for n in range(1, 6)]
    customers: list[dict[str, Any]] = []

    def do_GET(self) -> None:
        page = int(self.path.rpartition("=")[2])
        self._answer(200, self.contacts[2 * page : 2 * page + 2])

    def do_POST(self) -> None:
        customer = json.loads(self.rfile.read(int(self.headers["Content-Length"])))
        if customer["city"] == "Nirgendwo":
            self._answer(422, {"detail": "Den Ort gibt es nicht", "field": "city"})
            return
        self.customers.append(customer)
        self._answer(201, {"id": len(self.customers)})

    def _answer(self, status: int, content: Any) -> None:
        body = json.dumps(content).encode()
        self.send_response(status)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, format: str, *arguments: Any) -> None:
        """Says nothing."""


@contextlib.contextmanager
def running_service() -> Iterator[str]:
    with http.server.ThreadingHTTPServer(("127.0.0.1", 0), Service) as server:
        thread = threading.Thread(target=server.serve_forever)
        thread.start()
        try:
            yield f"http://127.0.0.1:{server.server_port}"
        finally:
            server.shutdown()
            thread.join()


def contacts_of(url: str, table: str) -> Iterator[dict[str, str]]:
    page = 0
    while True:
        with urllib.request.urlopen(f"{url}/{table}?page={page}", timeout=30) as answer:
            contacts = json.load(answer)
        if not contacts:
            return
        yield from contacts
        page += 1


class Customer(kestrel_import.ImportClass):
    fields = (Field("name", obligation=True), Field("city"))
    url = ""

    def import_record(self, record: Record) -> Stored:
        request = urllib.request.Request(f"{self.url}/customers", json.dumps(dict(record)).encode())
        try:
            with urllib.request.urlopen(request, timeout=30) as answer:
                return Stored(json.load(answer)["id"])
        except urllib.error.HTTPError as error:
            if error.code != 422:
                # The service is at fault, not the record: ends the import.
                raise
            with error:
                problem = json.load(error)
            raise RecordRefused(problem["detail"], error.code, problem["field"]) from error


def main() -> int:
    with running_service() as url, tempfile.TemporaryDirectory() as folder:
        Customer.url = url
        specification = pathlib.Path(folder, "service.IMP")
        specification.write_text(SPECIFICATION.format(url=url), encoding="cp1252")
        with kestrel_import.Library(home=folder, plugins=False) as library:
            library.register("service.customer", Customer)
            library.register_source("Dienst", lambda url, table: (["name", "city"], contacts_of(url, table)))
            with library.open(specification) as job:
                result = job.run()
    print(f"{result.read} gelesen = {result.stored_new} neu + {result.rejected} abgewiesen")
    print(*(customer["name"] for customer in Service.customers), sep=", ")
    return 0


if __name__ == "__main__":
    sys.exit(main())
