"""Column types: what COLMETADATA says of each, and how a value of SQLite is written in a ROW.

An encoder has `type_info` (bytes) and `encode(value)` (bytes). Dates are kept in SQLite as ISO texts,
exact numbers as texts or numbers.
"""

import datetime
import decimal
import re
import struct

from tds_protocol import COLLATION

_DAY_ONE = datetime.date(1, 1, 1).toordinal()
_DAY_1900 = datetime.date(1900, 1, 1).toordinal()


class Encoder:
    def __init__(self, type_info, encode):
        self.type_info = type_info
        self.encode = encode


def _whole(size):
    layout = {1: "<BB", 2: "<Bh", 4: "<Bi", 8: "<Bq"}[size]

    def encode(value):
        return b"\x00" if value is None else struct.pack(layout, size, int(value))

    return Encoder(bytes([0x26, size]), encode)


def _bit():
    return Encoder(b"\x68\x01", lambda value: b"\x00" if value is None else bytes([1, 1 if value else 0]))


def _real(size):
    layout = "<Bf" if size == 4 else "<Bd"

    def encode(value):
        return b"\x00" if value is None else struct.pack(layout, size, float(value))

    return Encoder(bytes([0x6D, size]), encode)


def _money(size):
    def encode(value):
        if value is None:
            return b"\x00"
        units = int(decimal.Decimal(str(value)).scaleb(4).to_integral_value())
        if size == 4:
            return struct.pack("<Bi", 4, units)
        # The high half stands first.
        return struct.pack("<BiI", 8, units >> 32, units & 0xFFFFFFFF)

    return Encoder(bytes([0x6E, size]), encode)


def _decimal(precision, scale):
    size = 5 if precision <= 9 else 9 if precision <= 19 else 13 if precision <= 28 else 17

    def encode(value):
        if value is None:
            return b"\x00"
        with decimal.localcontext() as context:
            context.prec = 60
            units = int(decimal.Decimal(str(value)).scaleb(scale).to_integral_value())
        sign = 0 if units < 0 else 1
        return bytes([size, sign]) + abs(units).to_bytes(size - 1, "little")

    return Encoder(bytes([0x6A, size, precision, scale]), encode)


def _parse_moment(text):
    return datetime.datetime.fromisoformat(str(text))


def _datetime():
    def encode(value):
        if value is None:
            return b"\x00"
        moment = _parse_moment(value)
        seconds = moment.hour * 3600 + moment.minute * 60 + moment.second
        ticks = seconds * 300 + round(moment.microsecond * 300 / 1_000_000)
        return struct.pack("<BiI", 8, moment.toordinal() - _DAY_1900, ticks)

    return Encoder(b"\x6f\x08", encode)


def _small_datetime():
    def encode(value):
        if value is None:
            return b"\x00"
        moment = _parse_moment(value)
        return struct.pack("<BHH", 4, moment.toordinal() - _DAY_1900, moment.hour * 60 + moment.minute)

    return Encoder(b"\x6f\x04", encode)


def _date():
    def encode(value):
        if value is None:
            return b"\x00"
        return b"\x03" + (_parse_moment(value).toordinal() - _DAY_ONE).to_bytes(3, "little")

    return Encoder(b"\x28", encode)


def _hundred_nanoseconds(moment):
    seconds = moment.hour * 3600 + moment.minute * 60 + moment.second
    return (seconds * 10_000_000 + moment.microsecond * 10).to_bytes(5, "little")


def _time():
    def encode(value):
        if value is None:
            return b"\x00"
        return b"\x05" + _hundred_nanoseconds(datetime.time.fromisoformat(str(value)))

    return Encoder(b"\x29\x07", encode)


def _datetime2():
    def encode(value):
        if value is None:
            return b"\x00"
        moment = _parse_moment(value)
        days = (moment.toordinal() - _DAY_ONE).to_bytes(3, "little")
        return b"\x08" + _hundred_nanoseconds(moment) + days

    return Encoder(b"\x2a\x07", encode)


def _sized(token, size, convert, collated):
    """A type with a two-byte length; the empty size means MAX, which travels in pieces."""
    width = 0xFFFF if size is None else size
    type_info = bytes([token]) + struct.pack("<H", width) + (COLLATION if collated else b"")

    def encode_short(value):
        if value is None:
            return b"\xff\xff"
        data = convert(value)
        return struct.pack("<H", len(data)) + data

    def encode_in_pieces(value):
        if value is None:
            return b"\xff" * 8
        data = convert(value)
        pieces = [struct.pack("<Q", len(data))]
        for start in range(0, len(data), 8000):
            piece = data[start:start + 8000]
            pieces += [struct.pack("<I", len(piece)), piece]
        return b"".join(pieces) + b"\x00\x00\x00\x00"

    return Encoder(type_info, encode_in_pieces if size is None else encode_short)


def _wide(value):
    return str(value).encode("utf-16-le")


def _narrow(value):
    return str(value).encode("cp1252", errors="replace")


def _unique_identifier():
    import uuid

    def encode(value):
        return b"\x00" if value is None else b"\x10" + uuid.UUID(str(value)).bytes_le

    return Encoder(b"\x24\x10", encode)


def encoder_for(declared):
    """The encoder for a column type as CREATE TABLE names it, or none for a type it does not know."""
    match = re.fullmatch(r"\s*([a-z0-9_]+(?:\s+[a-z]+)?)\s*(?:\(\s*(\w+)\s*(?:,\s*(\d+)\s*)?\))?\s*", declared.lower())
    if not match:
        return None
    name, first, second = match.groups()
    if name in _PLAIN:
        return _PLAIN[name]()
    size = None if first == "max" else int(first or 1)
    if name in ("nvarchar", "nchar"):
        return _sized(0xE7 if name == "nvarchar" else 0xEF, None if size is None else 2 * size, _wide, True)
    if name in ("varchar", "char"):
        return _sized(0xA7 if name == "varchar" else 0xAF, size, _narrow, True)
    if name in ("varbinary", "binary"):
        return _sized(0xA5 if name == "varbinary" else 0xAD, size, bytes, False)
    if name in ("decimal", "numeric"):
        return _decimal(int(first or 18), int(second or 0))
    return None


_PLAIN = {
    "tinyint": lambda: _whole(1),
    "smallint": lambda: _whole(2),
    "int": lambda: _whole(4),
    "integer": lambda: _whole(4),
    "bigint": lambda: _whole(8),
    "bit": _bit,
    "real": lambda: _real(4),
    "float": lambda: _real(8),
    "double precision": lambda: _real(8),
    "money": lambda: _money(8),
    "smallmoney": lambda: _money(4),
    "datetime": _datetime,
    "smalldatetime": _small_datetime,
    "datetime2": _datetime2,
    "date": _date,
    "time": _time,
    "uniqueidentifier": _unique_identifier,
}


def encoder_for_value(value):
    """The encoder for a computed column, after its first value."""
    if isinstance(value, int):
        return _whole(8)
    if isinstance(value, float):
        return _real(8)
    if isinstance(value, bytes):
        return _sized(0xA5, None, bytes, False)
    return _sized(0xE7, 8000, _wide, True)
