"""gdb shows JNFoundation's values, strings, collections, deferreds and managed objects by what they
hold. gdb loads this by itself beside an installed shared library; elsewhere `source` loads it.
"""

import pathlib
import re
import sys

import gdb
import gdb.printing


def folder_of_objects():
    """Beside this file, or where the library's files are below the same prefix."""
    for folder in pathlib.Path(__file__).resolve().parents:
        for place in (folder, folder / "JNFoundation"):
            if (place / "jnfoundation_objects.py").is_file():
                return str(place)
    raise ImportError("jnfoundation_objects.py is not beside jnfoundation_gdb.py")


sys.path.insert(0, folder_of_objects())
import jnfoundation_objects as objects  # noqa: E402
sys.path.pop(0)


def bases(kind):
    """The class and what it derives from, nearest first."""
    kind = kind.strip_typedefs().unqualified()
    yield kind
    if kind.code != gdb.TYPE_CODE_STRUCT:
        return
    for field in kind.fields():
        if field.is_base_class:
            yield from bases(field.type)


def place_of(kind, name, start=0):
    """The bit at which a field starts in a class or one of its bases, and the field."""
    for field in kind.strip_typedefs().fields():
        if field.is_base_class or not field.name:  # or an unnamed union
            if hasattr(field, "bitpos"):
                inner = place_of(field.type, name, start + field.bitpos)
                if inner:
                    return inner
        elif field.name == name and hasattr(field, "bitpos"):
            return start + field.bitpos, field
    return None


def value_at(address, kind):
    return gdb.Value(address).cast(kind.pointer()).dereference()


class Look(objects.Look):
    def __init__(self, value):
        self.value = value
        self.type = value.type

    def __getitem__(self, name):
        try:
            return Look(self.value[name])
        except gdb.error as failure:
            raise KeyError(name) from failure

    def __int__(self):
        return int(self.value)

    def __float__(self):
        return float(self.value)

    def pointed(self, index=0):
        if self.type.strip_typedefs().code == gdb.TYPE_CODE_ARRAY:
            return Look(self.value[index])
        return Look((self.value + index).dereference())

    def whole(self):
        name = self._dynamic_class()
        static = self.type.strip_typedefs().target().strip_typedefs().unqualified()
        try:
            found = Found(int(self), gdb.lookup_type(name) if name else static)
        except gdb.error:
            found = Found(int(self), static)
        # What no path of bases leads to stands elsewhere in memory than the pointer says.
        if not objects.is_object(found):
            found = Found(int(self), static)
        return found, name or str(static)

    def _dynamic_class(self):
        table = self.word_at(int(self))
        symbol = gdb.execute(f"info symbol {table}", to_string=True).strip()
        return objects.symbol_class(
            re.sub(r"( \+ \d+)?( in section .*)?$", "", symbol, count=1))

    def classes(self):
        return [(str(base), base.sizeof) for base in bases(self.type)]

    def at(self, address):
        return Look(value_at(address, self.type))

    def pointer_to_object(self, address):
        kind = gdb.lookup_type(objects.namespace_of(str(self.type)) + "NSObject")
        return Look(gdb.Value(address).cast(kind.pointer()))

    def memory(self, address, size):
        return bytes(gdb.selected_inferior().read_memory(address, size))

    def address(self):
        return int(self.value.address)

    def size(self):
        return self.type.sizeof

    def count(self):
        return self.type.strip_typedefs().range()[1] + 1

    def constant(self):
        return str(self.value).rsplit("::", 1)[-1]


class Found(Look):
    """An object by its address and class. Its fields are read by their places, because gdb warns
    about each look at an object whose class has no debug information."""

    def __init__(self, address, kind):
        self._address = address
        self.type = kind

    def __getitem__(self, name):
        place = place_of(self.type, name)
        if place is None:
            raise KeyError(name)
        bit, field = place
        if field.bitsize:
            bytes_of_field = (bit % 8 + field.bitsize + 7) // 8
            return Look(gdb.Value(self.word_at(self._address + bit // 8, bytes_of_field) >> bit % 8
                                  & (1 << field.bitsize) - 1))
        return Look(value_at(self._address + bit // 8, field.type))

    def address(self):
        return self._address


# ---- What gdb asks for

class ObjectPrinter:
    """An object, by the line for it and by what is inside."""

    def __init__(self, pointer):
        self._pointer = pointer

    def to_string(self):
        return objects.object_summary(self._pointer)

    def children(self):
        for name, child in objects.children(self._pointer):
            yield name, child.text if isinstance(child, objects.Line) else child.value

    def display_hint(self):
        return "array" if objects.is_list(self._pointer) else None


class LeafPrinter:
    """What one line says all of."""

    def __init__(self, text):
        self._text = text

    def to_string(self):
        return self._text


def printer_for(value):
    kind = value.type.strip_typedefs().unqualified()
    if kind.code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
        value = value.referenced_value()
        kind = value.type.strip_typedefs().unqualified()
    if kind.code != gdb.TYPE_CODE_STRUCT:
        return None
    name = objects.short(kind.tag or "")
    look = Look(value)
    if name != kind.tag and name == "Value":
        if int(look["_kind"]) == objects.OBJECT:
            return ObjectPrinter(look["_object"])
        return LeafPrinter(objects.summary(look))
    if name != kind.tag and re.match(r"Ref<.*>$", name):
        pointer = objects.pointer_in(look)
        return ObjectPrinter(pointer) if pointer is not None else LeafPrinter("null")
    if objects.is_object(look):
        return ObjectPrinter(Look(value.address)) if value.address else None
    return None


class Printers(gdb.printing.PrettyPrinter):
    def __init__(self):
        super().__init__("JNFoundation")

    def __call__(self, value):
        if not self.enabled:
            return None
        try:
            return printer_for(value)
        except (gdb.error, KeyError):
            return None


gdb.printing.register_pretty_printer(gdb.current_objfile(), Printers(), replace=True)
