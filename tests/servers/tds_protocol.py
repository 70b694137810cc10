"""Packets and tokens of the published TDS 7.4 protocol, as a server writes them.

Multi-byte numbers are little-endian unless said otherwise; texts travel as UTF-16LE.
"""

import struct

PACKET_SQL_BATCH = 1
PACKET_RPC = 3
PACKET_REPLY = 4
PACKET_ATTENTION = 6
PACKET_LOGIN7 = 16
PACKET_PRELOGIN = 18

HEADER_SIZE = 8
PACKET_SIZE = 4096

DONE_MORE = 0x01
DONE_ERROR = 0x02
DONE_COUNT = 0x10
DONE_ATTENTION = 0x20

# Latin1_General, accents and case as in Windows-1252.
COLLATION = bytes([0x09, 0x04, 0xD0, 0x00, 0x34])


class ConnectionEnded(Exception):
    """The client has gone."""


def short_text(text):
    """A text with a one-byte length in characters."""
    return bytes([len(text)]) + text.encode("utf-16-le")


def long_text(text):
    """A text with a two-byte length in UTF-16 units."""
    data = text.encode("utf-16-le")
    return struct.pack("<H", len(data) // 2) + data


class PacketStream:
    """Reads whole messages and writes a reply packet by packet."""

    def __init__(self, sock):
        self._socket = sock
        self._pending = bytearray()
        self._number = 0

    def _read_exactly(self, count):
        data = bytearray()
        while len(data) < count:
            piece = self._socket.recv(count - len(data))
            if not piece:
                raise ConnectionEnded
            data += piece
        return bytes(data)

    def read_message(self):
        """The packet type and the whole payload of the next message."""
        payload = bytearray()
        while True:
            header = self._read_exactly(HEADER_SIZE)
            length = struct.unpack(">H", header[2:4])[0]
            payload += self._read_exactly(length - HEADER_SIZE)
            if header[1] & 1:
                return header[0], bytes(payload)

    def write(self, data):
        self._pending += data
        room = PACKET_SIZE - HEADER_SIZE
        if len(self._pending) > 16 * room:
            whole = len(self._pending) // room * room
            # The last packet is written by finish(), as only it ends the message.
            if whole == len(self._pending):
                whole -= room
            self._send(self._pending[:whole], last=False)
            del self._pending[:whole]

    def finish(self):
        self._send(self._pending, last=True)
        self._pending.clear()
        self._number = 0

    def _send(self, data, last):
        room = PACKET_SIZE - HEADER_SIZE
        packets = bytearray()
        for start in range(0, len(data), room):
            piece = data[start:start + room]
            self._number = self._number % 255 + 1
            status = 1 if last and start + room >= len(data) else 0
            packets += struct.pack(">BBHHBB", PACKET_REPLY, status, len(piece) + HEADER_SIZE, 0, self._number, 0)
            packets += piece
        self._socket.sendall(packets)


# --- Reading requests ----------------------------------------------------------------------------


def parse_login(payload):
    """User, password and database of a LOGIN7 message."""

    def field(index):
        offset, length = struct.unpack_from("<HH", payload, 36 + 4 * index)
        return payload[offset:offset + 2 * length]

    # Each byte of the password has its halves swapped and is combined with A5.
    password = bytes(((byte ^ 0xA5) >> 4 | (byte ^ 0xA5) << 4) & 0xFF for byte in field(2))
    # Client id: 6 bytes stand between database and what follows; nothing behind it is needed.
    return {
        "user": field(1).decode("utf-16-le"),
        "password": password.decode("utf-16-le"),
        "database": field(8).decode("utf-16-le"),
    }


def without_headers(payload):
    """A request without the ALL_HEADERS block in front of it."""
    return payload[struct.unpack_from("<I", payload)[0]:]


def parse_batch(payload):
    return without_headers(payload).decode("utf-16-le")


def parse_procedure_call(payload):
    """The name and the arguments of an RPC message; an argument without name stands under its position.

    Knows the types drivers send to catalog procedures: whole numbers and texts.
    """
    data = without_headers(payload)
    length = struct.unpack_from("<H", data)[0]
    if length == 0xFFFF:
        return "procedure %d" % struct.unpack_from("<H", data, 2)[0], {}
    position = 2 + 2 * length
    name = data[2:position].decode("utf-16-le")
    position += 2  # option flags
    arguments = {}
    while position < len(data):
        name_end = position + 1 + 2 * data[position]
        key = data[position + 1:name_end].decode("utf-16-le").lstrip("@").lower() or str(len(arguments))
        kind = data[name_end + 1]
        position = name_end + 2
        if kind in (0xE7, 0xA7):
            size = struct.unpack_from("<H", data, position + 7)[0]
            position += 9
            value = None
            if size != 0xFFFF:
                value = data[position:position + size].decode("utf-16-le" if kind == 0xE7 else "cp1252")
                position += size
        elif kind == 0x26:
            size = data[position + 1]
            value = int.from_bytes(data[position + 2:position + 2 + size], "little", signed=True) if size else None
            position += 2 + size
        else:
            raise ValueError("argument type %02x is not known" % kind)
        arguments[key] = value
    return name, arguments


# --- Tokens --------------------------------------------------------------------------------------


def prelogin_reply():
    """Version 15.0 and no encryption, as everything runs on the loopback."""
    options = [(0, bytes([15, 0, 7, 208, 0, 0])), (1, b"\x02"), (2, b"\x00"), (3, b""), (4, b"\x00")]
    offset = 5 * len(options) + 1
    table, data = b"", b""
    for token, value in options:
        table += struct.pack(">BHH", token, offset + len(data), len(value))
        data += value
    return table + b"\xff" + data


def environment_change(kind, new, old=""):
    body = bytes([kind]) + short_text(new) + short_text(old)
    return b"\xe3" + struct.pack("<H", len(body)) + body


def collation_change():
    body = bytes([7, len(COLLATION)]) + COLLATION + b"\x00"
    return b"\xe3" + struct.pack("<H", len(body)) + body


def login_acknowledgement():
    body = b"\x01" + bytes([0x74, 0, 0, 4]) + short_text("Microsoft SQL Server") + bytes([15, 0, 7, 208])
    return b"\xad" + struct.pack("<H", len(body)) + body


def _message(token, number, state, severity, text):
    body = struct.pack("<iBB", number, state, severity) + long_text(text) + short_text("STANDIN")
    body += short_text("") + struct.pack("<i", 1)
    return token + struct.pack("<H", len(body)) + body


def error(number, text, severity=16, state=1):
    return _message(b"\xaa", number, state, severity, text)


def information(number, text):
    return _message(b"\xab", number, 1, 0, text)


def done(status=0, count=0):
    return b"\xfd" + struct.pack("<HHQ", status, 0xC1, count)


def done_in_procedure(status=0, count=0):
    return b"\xff" + struct.pack("<HHQ", status, 0xC1, count)


def return_status(value):
    return b"\x79" + struct.pack("<i", value)


def done_procedure(status=0):
    return b"\xfe" + struct.pack("<HHQ", status, 0xE0, 0)


def column_metadata(columns):
    """`columns`: pairs of a name and an encoder of tds_types."""
    data = b"\x81" + struct.pack("<H", len(columns))
    for name, encoder in columns:
        # User type 0; the column may be null and written.
        data += struct.pack("<IH", 0, 0x0009) + encoder.type_info + short_text(name)
    return data
