"""Components in Python: import classes, and any other by the names of its members."""

from __future__ import annotations

import ctypes
import datetime
import itertools
from collections import deque
from decimal import Decimal
from typing import TYPE_CHECKING, Any, Callable, ClassVar, Mapping, NamedTuple, Sequence

from . import _native
from ._callbacks import AUTOMATION, carried, text_of
from ._values import Value, Values, of_native
from .connections import Connection
from .errors import KestrelError
from .records import Recordset, empty_recordset

if TYPE_CHECKING:
    from .library import Library

# A record as it reaches an import class, by the names of fields: texts, of an INT or FLOAT numbers, of a date field
# days. None where nothing is assigned, and where a number or day is empty.
Record = Mapping[str, Value]


class Field(NamedTuple):
    """One field of a destination; kestrel/import_class.h tells more of each member."""

    name: str  # as specifications and errors name it
    type: str = "VARCHAR"  # "INT", "FLOAT", "VARCHAR" or "TEXT"
    size: int = 255  # the greatest number of characters of a VARCHAR
    obligation: bool = False  # must be assigned before an import may start
    date: bool = False  # a day: it reaches the import class as datetime.date
    row_source: str = ""  # the permitted values: "value*meaning#value*meaning", or a query
    row_source_type: int = 1  # 0: row_source is a query on the host's connection


class Stored(NamedTuple):
    """What import_record may return: the number of the address, and whether it was there already."""

    address: str | int  # its number in the host's list
    updated: bool = False  # it replaced what an address held


class RecordRefused(KestrelError):
    """What import_record and check_record raise for a record that cannot be stored: the run goes on.

    `number` and `text` are the import class's own; `field` names the destination's field, where it is one field's.
    """

    def __init__(self, text: str, number: int = AUTOMATION, field: str = "") -> None:
        super().__init__(text, number)
        self.field = field


class StopImport(RecordRefused):
    """The same where going on is senseless: the run ends, and says why."""


class _LateError(NamedTuple):
    error: RecordRefused
    first: int
    last: int


class ImportClass:
    """The component that stores the records of an import; each import makes one.

    Subclasses override what they need. What they raise beside RecordRefused stops the run and comes out of it.
    """

    fields: ClassVar[Sequence[Field]] = ()  # what get_fields returns, where nobody overrides it

    # These are set before anything is called.
    connection: Connection | None = None  # the host's; None where it gave none
    user: str = ""  # the personnel number
    application: int = 0  # the host's number of its application
    specification_file: str = ""  # the path of the working copy

    def get_fields(self) -> Sequence[Field]:
        """The fields of the destination, in the order of the list on page 3. Asked several times."""
        return self.fields

    def before_import(self) -> bool | None:
        """False ends the run with no record."""
        return None

    def import_record(self, record: Record) -> Stored | None:
        """Stores a record, by the names of its fields; tells as what, if it knows."""
        raise NotImplementedError

    def check_record(self, record: Record) -> None:
        """In a test run, in place of import_record: raises what that would refuse. Asked only where overridden."""

    def after_import(self) -> None:
        """The last record is over; not called where the run was cancelled or stopped."""

    def close(self) -> None:
        """The import has ended, whatever way."""

    def lose(self, error: RecordRefused, first: int, last: int) -> None:
        """Tells that records taken before were not stored after all, for instance with their transaction.

        They are counted from 1 over the calls of import_record.
        """
        self._late_errors.append(_LateError(error, first, last))

    @property
    def _late_errors(self) -> deque[_LateError]:
        return self.__dict__.setdefault("late errors", deque())  # type: ignore[no-any-return]


class Call:
    """A use of a member: "method" (also a property that is read), "let" or "set", and its arguments."""

    def __init__(self, library: Library, native: Any) -> None:
        self._library = library
        self.use = {_native.LET: "let", _native.SET: "set"}.get(native.use, "method")
        self.arguments = [
            of_native(library, native.arguments[i], lent=True) for i in range(native.argument_count)
        ]

    def write(self, argument: int, value: Value) -> None:
        """What the caller finds in an argument that it has passed by reference."""
        self._library.call("call_write", argument, Values([value]).array)


_NUMBERS = {"INT": _native.INTEGER, "FLOAT": _native.DECIMAL}


class _Driven:
    """An import class as the library drives it."""

    def __init__(self, library: Library, instance: ImportClass) -> None:
        self.library = library
        self.instance = instance
        self.error: RecordRefused | None = None
        self.error_records = (0, 0)
        self.result = ""
        self.fields: Sequence[Field] = ()
        self.row: Any = None
        self.record: Recordset | None = None

    def empty_record(self) -> Recordset:
        """The same one for each record."""
        self.error = None
        if self.record is not None:
            self.library.call("recordset_clear", self.record.handle)
            return self.record
        self.fields = self.instance.get_fields()
        self.row = (_native.Text * len(self.fields))()
        columns = [(field.name, field.size if field.type == "VARCHAR" else 0) for field in self.fields]
        self.record = Recordset(self.library, empty_recordset(self.library, columns))
        self.library.call("recordset_add", self.record.handle)
        return self.record

    def take(self, store: Callable[[Record], Stored | None]) -> None:
        """Hands the current record over; what is raised is told by ErrorCode then."""
        self.error = None
        self.error_records = (0, 0)
        self.result = ""
        assert self.record is not None
        self.library.call("recordset_row", self.record.handle, self.row, len(self.fields))
        try:
            stored = store(
                {field.name: self._value(field, text) for field, text in zip(self.fields, self.row)}
            )
            if stored is not None and not isinstance(stored, Stored):
                raise TypeError(f"import_record gibt Stored oder None zurück, nicht {type(stored).__name__}")
        except RecordRefused as refused:
            self.error = refused
        except BaseException as error:  # noqa: B902 - nothing may pass through C
            self.error = RecordRefused(text_of(error))
            self.library.carry(error)
            self.library.stop()
        else:
            if stored is not None:
                self.result = f"{'updated' if stored.updated else 'new'} {stored.address}"

    def _value(self, field: Field, native: Any) -> Value:
        text = _native.text_or_none(native)
        kind = _NUMBERS.get(field.type.upper())
        if text is None or (kind is None and not field.date):
            return text
        if not text.strip():
            return None
        try:
            # A day is written as 14 digits; what is no day has passed unchanged.
            return datetime.datetime.strptime(text, "%Y%m%d000000").date() if kind is None else self._number(text, kind)
        except ValueError:
            raise RecordRefused(f"'{text}' ist kein Tag im Format des Feldes.", 13, field.name) from None

    def _number(self, text: str, kind: int) -> Value:
        # Most are written plainly, which Python reads sooner.
        if text.isdecimal():
            return int(text) if kind == _native.INTEGER else Decimal(text)
        return self.library.convert(text, kind)


def _set_connection(driven: _Driven, call: Any) -> None:
    lent = call.arguments[0].content.object
    # None where there is no host.
    if lent:
        driven.instance.connection = _Lent(driven.library, driven.library.call_for_handle("retain", lent))


class _Lent(Connection):
    """The host's connection: closing it gives only the handle back."""

    def close(self) -> None:
        super(Connection, self).close()


def _let(name: str) -> Callable[[_Driven, Any], None]:
    def let(driven: _Driven, call: Any) -> None:
        setattr(driven.instance, name, of_native(driven.library, call.arguments[0]))

    return let


def _get_fields(driven: _Driven, _call: Any) -> Value:
    kinds = (
        ("FieldName", _native.STRING),
        ("FieldTyp", _native.STRING),
        ("Size", _native.INTEGER),
        ("Obligation", _native.BOOLEAN),
        ("DateField", _native.BOOLEAN),
        ("RowSourceTyp", _native.INTEGER),
        ("RowSource", _native.STRING),
    )
    columns = (_native.Column * len(kinds))()
    for column, (name, kind) in zip(columns, kinds):
        column.__init__(name=_native.text_in(name), kind=kind)
    library = driven.library
    rows = Recordset(library, library.call_for_handle("recordset_create", columns, len(kinds)))
    for field in driven.instance.get_fields():
        library.call("recordset_add", rows.handle)
        values: tuple[Value, ...] = (
            field.name,
            field.type,
            field.size,
            field.obligation,
            field.date,
            field.row_source_type if field.row_source else 0,
            field.row_source,
        )
        for column_number, value in enumerate(values):
            library.call("recordset_set", rows.handle, column_number, Values([value]).array)
    library.call("recordset_first", rows.handle)
    return rows


def _before_import(driven: _Driven, _call: Any) -> None:
    if driven.instance.before_import() is False:
        driven.library.call("call_write", 0, Values([True]).array)


def _next_late_error(driven: _Driven, _call: Any) -> bool:
    late = driven.instance._late_errors
    if not late:
        return False
    told = late.popleft()
    driven.error = told.error
    driven.error_records = (told.first, told.last)
    return True


def _after_import(driven: _Driven, _call: Any) -> None:
    driven.instance.after_import()


def _import_record(driven: _Driven, _call: Any) -> None:
    driven.take(driven.instance.import_record)


def _show_nothing(_driven: _Driven, _call: Any) -> None:
    return None


_Member = Callable[[_Driven, Any], Value]

_MEMBERS: dict[str, _Member] = {
    "Connection": _set_connection,
    "PersonalNr": _let("user"),
    "Application": _let("application"),
    "SpecificationFile": _let("specification_file"),
    "HasConfig": lambda driven, call: False,
    "ShowConfig": _show_nothing,
    "GetFields": _get_fields,
    "BeforeImport": _before_import,
    "GetNewRecord": lambda driven, call: driven.empty_record(),
    "ImportRecord": _import_record,
    "AfterImport": _after_import,
    "ErrorCode": lambda driven, call: 0 if driven.error is None else driven.error.number or AUTOMATION,
    "ErrorDescription": lambda driven, call: "" if driven.error is None else driven.error.text,
    "ErrorField": lambda driven, call: "" if driven.error is None else driven.error.field,
    "ErrorFirstRecord": lambda driven, call: driven.error_records[0],
    "ErrorLastRecord": lambda driven, call: driven.error_records[1],
    "StopReason": lambda driven, call: driven.error.text if isinstance(driven.error, StopImport) else "",
    "NextLateError": _next_late_error,
    "ImportResult": lambda driven, call: driven.result,
}


def _end(driven: _Driven) -> None:
    driven.instance.close()


def _check_record(driven: _Driven, _call: Any) -> None:
    def check(record: Record) -> None:
        driven.instance.check_record(record)

    driven.take(check)


def register_import_class(library: Library, identifier: str, import_class: Callable[[], ImportClass]) -> None:
    members = dict(_MEMBERS)
    # A test run asks only a class that has an answer.
    if getattr(import_class, "check_record", None) is not ImportClass.check_record:
        members["CheckRecord"] = _check_record
    _register(
        library,
        identifier,
        lambda: _Driven(library, import_class()),
        members,
        _end,
    )


def register_component(
    library: Library,
    identifier: str,
    create: Callable[[], Any],
    members: Mapping[str, Callable[[Any, Call], Value]],
) -> None:
    def by_call(function: Callable[[Any, Call], Value]) -> Callable[[Any, Any], Value]:
        return lambda instance, native: function(instance, Call(library, native))

    _register(
        library,
        identifier,
        create,
        {name: by_call(function) for name, function in members.items()},
        lambda instance: None,
    )


def _register(
    library: Library,
    identifier: str,
    create: Callable[[], Any],
    members: Mapping[str, Callable[[Any, Any], Value]],
    end: Callable[[Any], None],
) -> None:
    # By the numbers that stand for them where the library has a pointer.
    instances: dict[int, Any] = {}
    numbers = itertools.count(1)

    def create_native(_context: Any, _library: Any, instance: Any) -> None:
        made = create()
        number = next(numbers)
        instances[number] = made
        instance[0] = number

    def destroy(number: int) -> None:
        end(instances.pop(number))

    def member_of(function: Callable[[Any, Any], Value]) -> Any:
        def use(number: int, call: Any) -> None:
            result = function(instances[number], call.contents)
            if result is not None:
                library.return_value(result)

        return carried(library, _native.MemberFunction, use)

    table = (_native.Member * len(members))()
    uses = _native.METHOD | _native.GET | _native.LET | _native.SET
    for row, (name, function) in zip(table, members.items()):
        row.__init__(name=_native.text_in(name), uses=uses, function=member_of(function))
    component = _native.Component(
        identifier=_native.text_in(identifier),
        members=table,
        member_count=len(members),
        create=carried(library, _native.CreateFunction, create_native),
        destroy=_native.DestroyFunction(destroy),
    )
    library.keep((table, component))
    library.call("component_register", ctypes.byref(component))
