"""lldb shows JNFoundation's values, strings, collections, deferreds and managed objects by what they
hold, once `command script import` has loaded this.
"""

import itertools
import pathlib
import sys

import lldb

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
import jnfoundation_objects as objects  # noqa: E402
sys.path.pop(0)

CATEGORY = "JNFoundation"
# As deep as gdb looks, and one more than lldb shows.
DEPTH_LIMIT = 20
CHILD_LIMIT = 257

SIGNED = {lldb.eBasicTypeSignedChar, lldb.eBasicTypeChar, lldb.eBasicTypeShort,
          lldb.eBasicTypeInt, lldb.eBasicTypeLong, lldb.eBasicTypeLongLong}


def plain(kind):
    return kind.GetCanonicalType().GetUnqualifiedType()


def bases(kind):
    """The class and what it derives from, nearest first."""
    kind = plain(kind)
    yield kind
    for index in range(kind.GetNumberOfDirectBaseClasses()):
        yield from bases(kind.GetDirectBaseClassAtIndex(index).GetType())


def symbol_at(target, address):
    """The name of what is at an address, for variables too: lldb itself resolves no address in some
    sections with data."""
    symbol = target.ResolveLoadAddress(address).GetSymbol()
    if symbol.IsValid():
        return symbol.GetName()
    for module in target.module_iter():
        for section in module.section_iter():
            for part in [section, *(section.GetSubSectionAtIndex(index)
                                    for index in range(section.GetNumSubSections()))]:
                start = part.GetLoadAddress(target)
                if start != lldb.LLDB_INVALID_ADDRESS and part.GetNumSubSections() == 0 \
                        and start <= address < start + part.GetByteSize():
                    place = module.ResolveFileAddress(part.GetFileAddress() + address - start)
                    if place.GetSymbol().IsValid():
                        return place.GetSymbol().GetName()
    return None


class Look(objects.Look):
    def __init__(self, value):
        self.value = value.GetNonSyntheticValue()
        self.target = value.GetTarget()
        self.type = plain(value.GetType())

    def __getitem__(self, name):
        field = self.value.GetChildMemberWithName(name)
        if field.IsValid():
            return Look(field)
        # lldb itself does not look into every unnamed union.
        for index in range(self.value.GetNumChildren()):
            inner = self.value.GetChildAtIndex(index)
            field = inner.GetChildMemberWithName(name)
            if not inner.GetName() and field.IsValid():
                return Look(field)
        raise KeyError(name)

    def __int__(self):
        if self.type.GetBasicType() in SIGNED:
            return self.value.GetValueAsSigned()
        return self.value.GetValueAsUnsigned()

    def __float__(self):
        return self.value.GetData().GetDouble(lldb.SBError(), 0)

    def pointed(self, index=0):
        if self.type.IsArrayType():
            return Look(self.value.GetChildAtIndex(index))
        element = self.type.GetPointeeType()
        return self._at(int(self) + index * element.GetByteSize(), element)

    def _at(self, address, kind):
        place = lldb.SBAddress(address, self.target)
        return Look(self.target.CreateValueFromAddress("object", place, kind))

    def whole(self):
        name = objects.symbol_class(symbol_at(self.target, self.word_at(int(self))))
        static = plain(self.type.GetPointeeType())
        for kind in ([self.target.FindFirstType(name)] if name else []):
            # What no path of bases leads to stands elsewhere in memory than the pointer says.
            if kind.IsValid() and objects.is_object(self._at(int(self), kind)):
                return self._at(int(self), kind), name
        return self._at(int(self), static), name or static.GetName()

    def classes(self):
        return [(base.GetName(), base.GetByteSize()) for base in bases(self.type)]

    def at(self, address):
        return self._at(address, self.type)

    def pointer_to_object(self, address):
        namespace = objects.namespace_of(self.type.GetName())
        kind = self.target.FindFirstType(namespace + "NSObject").GetPointerType()
        order, size = self.target.GetByteOrder(), self.target.GetAddressByteSize()
        data = lldb.SBData.CreateDataFromUInt64Array(order, size, [address])
        return Look(self.target.CreateValueFromData("object", data, kind))

    def memory(self, address, size):
        error = lldb.SBError()
        data = self.target.GetProcess().ReadMemory(address, size, error)
        if error.Fail():
            raise RuntimeError(error.GetCString())
        return data

    def address(self):
        return self.value.GetLoadAddress()

    def size(self):
        return self.type.GetByteSize()

    def count(self):
        return self.value.GetNumChildren()

    def constant(self):
        return self.value.GetValue().rsplit("::", 1)[-1]


def pointer_of(look):
    """The object that a variable shows, as a pointer; None where it shows none."""
    if look.type.IsPointerType():
        return look if int(look) else None
    name = objects.short(look.type.GetName())
    if name == "Value":
        return look["_object"] if int(look["_kind"]) == objects.OBJECT else None
    if name.startswith("Ref<"):
        return objects.pointer_in(look)
    return Look(look.value.AddressOf())


# ---- What lldb asks for

def summary(value, _):
    look = Look(value)
    if look.type.IsReferenceType():
        look = Look(look.value.Dereference())
    try:
        pointer = pointer_of(look)
        if pointer is not None:
            # Pointers are what is inside something else, mostly.
            return objects.object_summary(pointer, 1 if look.type.IsPointerType() else 0)
        return objects.summary(look) if look.has("_kind") else "null"
    except (KeyError, RuntimeError) as failure:
        return f"<{failure}>"


def step_summary(value, _):
    return objects.step_text(Look(value))


class Inside:
    """What is inside an object."""

    # How deep the variables are that were made from others, by their addresses: what leads back to
    # itself comes to an end.
    depths = {}

    def __init__(self, value, _):
        self._value = value
        self._children = None

    def update(self):
        self._children = None
        return False

    def _found(self):
        if self._children is None:
            try:
                self._children = list(self._read())
            except (KeyError, RuntimeError):
                self._children = []
        return self._children

    def _read(self):
        look = Look(self._value)
        if look.type.IsReferenceType():
            look = Look(look.value.Dereference())
        depth = self.depths.get(look.address(), 0)
        pointer = pointer_of(look) if depth < DEPTH_LIMIT else None
        if pointer is None:
            return
        for name, child in itertools.islice(objects.children(pointer), CHILD_LIMIT):
            shown = child.look if isinstance(child, objects.Line) else child
            self.depths[shown.address()] = depth + 1
            yield name, shown.value.Clone(name)

    def num_children(self):
        return len(self._found())

    def has_children(self):
        return self.num_children() > 0

    def get_child_index(self, name):
        names = [each for each, _ in self._found()]
        return names.index(name) if name in names else -1

    def get_child_at_index(self, index):
        found = self._found()
        return found[index][1] if index < len(found) else None


def __lldb_init_module(debugger, _):
    namespace = r"^(const )?JNFoundation::(v[0-9_]+::)?"
    classes = "|".join([*sorted(objects.SUMMARIES), "NSObject", "NSMutable[A-Za-z]+"])
    category = debugger.CreateCategory(CATEGORY)

    def names(pattern):
        return lldb.SBTypeNameSpecifier(f"{namespace}({pattern})$", True)

    def add_summary(pattern, function, options):
        category.AddTypeSummary(names(pattern), lldb.SBTypeSummary.CreateWithFunctionName(
            f"{__name__}.{function}", options))

    line = lldb.eTypeOptionHideValue | lldb.eTypeOptionHideEmptyAggregates
    add_summary(f"{classes}|Value|Ref<.*>", "summary", line)
    add_summary("(impl::)?Step", "step_summary", line | lldb.eTypeOptionHideChildren)
    category.AddTypeSynthetic(
        names(f"{classes}|Value|Ref<.*>"),
        lldb.SBTypeSynthetic.CreateWithClassName(f"{__name__}.Inside", lldb.eTypeOptionNone))
    category.SetEnabled(True)
