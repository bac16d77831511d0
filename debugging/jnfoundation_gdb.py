"""gdb shows JNFoundation's values, strings, collections, deferreds and managed objects by what they
hold. gdb loads this by itself beside an installed shared library; elsewhere `source` loads it.

Nothing of the program is called, so core files show the same.
"""

import datetime
import re

import gdb
import gdb.printing

NAMESPACE = "JNFoundation::v0_1::"
TEXT_LIMIT = 200

# As in Value::Kind.
NULL, BOOLEAN, INTEGER, UNSIGNED, FLOAT, DOUBLE, DATE, CLASS, OBJECT = range(9)


# ---- Reaching what things are made of

def type_named(name):
    try:
        return gdb.lookup_type(NAMESPACE + name)
    except gdb.error:
        return None


def address_of(pointer):
    return int(pointer.cast(gdb.lookup_type("unsigned long")))


def dynamic_class(pointer):
    """The name of the class that the object's table of virtual functions belongs to, without the
    template that only makes objects of it; an empty text where there are no symbols."""
    table = gdb.Value(address_of(pointer)).cast(
        gdb.lookup_type("unsigned long").pointer()).dereference()
    symbol = gdb.execute(f"info symbol {int(table)}", to_string=True)
    found = re.match(r"vtable for (.+?) \+ \d+ in section", symbol) \
        or re.match(r"vtable for (.+?)(?: \+ \d+)?(?: in section .*)?$", symbol.strip())
    if not found:
        return ""
    name = found[1]
    while True:
        inner = re.match(rf"{NAMESPACE}impl::Concrete<(.+)>$", name)
        if not inner:
            return name
        name = inner[1].strip()


def bases(kind):
    """The class and what it derives from, nearest first."""
    kind = kind.strip_typedefs().unqualified()
    yield kind
    if kind.code != gdb.TYPE_CODE_STRUCT:
        return
    for field in kind.fields():
        if field.is_base_class:
            yield from bases(field.type)


class Found:
    """An object by its address and class. Its fields are read by their places, because gdb warns
    about each look at an object whose class has no debug information."""

    def __init__(self, address, kind):
        self.address = address
        self.type = kind

    def __getitem__(self, name):
        place = place_of(self.type, name)
        if place is None:
            raise KeyError(name)
        offset, kind = place
        return gdb.Value(self.address + offset).cast(kind.pointer()).dereference()


def place_of(kind, name):
    """Where a field stands in a class or one of its bases, and its type."""
    for field in kind.strip_typedefs().fields():
        if field.is_base_class:
            inner = place_of(field.type, name)
            if inner:
                return field.bitpos // 8 + inner[0], inner[1]
        elif field.name == name and hasattr(field, "bitpos"):
            return field.bitpos // 8, field.type
        elif not field.name and hasattr(field, "bitpos"):  # an unnamed union
            inner = place_of(field.type, name)
            if inner:
                return field.bitpos // 8 + inner[0], inner[1]
    return None


def whole(pointer):
    """What a pointer to an object leads to, as the object's own class where the debugger knows that,
    and the name of that class."""
    name = dynamic_class(pointer)
    static = pointer.type.target().strip_typedefs().unqualified()
    try:
        kind = gdb.lookup_type(name) if name else static
    except gdb.error:
        kind = static
    # What no path of first bases leads to stands elsewhere in memory than the pointer says.
    if NAMESPACE + "NSObject" not in {str(base) for base in bases(kind)}:
        kind = static
    return Found(address_of(pointer), kind), name or str(kind)


def target(ref):
    """The object of a Ref; None where it is null."""
    pointer = pointer_in(ref)
    return whole(pointer)[0] if pointer is not None else None


def pointer_in(ref):
    """The object of a Ref; None where it is null."""
    pointer = ref["_object"]
    return pointer if address_of(pointer) else None


# What the library's sources keep to themselves is read by its place: StepList::Block and SideRecord
# say so where they are declared.

BLOCK_CAPACITY = 4
OBJECT_IN_SIDE_RECORD = 8


def word_at(address, kind="unsigned long"):
    return int(gdb.Value(address).cast(gdb.lookup_type(kind).pointer()).dereference())


def object_of_weak(weak_object):
    """The object that a WeakObject refers to; None once it has gone."""
    record = address_of(weak_object["_record"])
    found = word_at(record + OBJECT_IN_SIDE_RECORD) if record else 0
    return gdb.Value(found).cast(type_named("NSObject").pointer()) if found else None


def has_field(value, name):
    try:
        value[name]
        return True
    except (gdb.error, KeyError):
        return False


def vector(value):
    start = value["_M_impl"]["_M_start"]
    for index in range(int(value["_M_impl"]["_M_finish"] - start)):
        yield (start + index).dereference()


# ---- Text of things

def string_text(string):
    """The text of an NSString, which stands behind it."""
    size = int(string["_size"])
    start = string.address + int(type_named("NSString").sizeof)
    shown = min(size, TEXT_LIMIT)
    data = bytes(gdb.selected_inferior().read_memory(start, shown)) if shown else b""
    text = data.decode("utf-8", errors="ignore")
    quoted = '"' + text.replace("\\", "\\\\").replace('"', '\\"').replace("\n", "\\n") + '"'
    return quoted + ("…" if shown < size else "")


def bare_text(ref):
    """The text of a Ref<NSString> without quotes; an empty one where it is null."""
    string = target(ref)
    return string_text(string)[1:-1] if string is not None else ""


def date_text(seconds):
    try:
        moment = datetime.datetime(1970, 1, 1) + datetime.timedelta(seconds=seconds)
        return moment.isoformat(sep=" ", timespec="milliseconds") + " UTC"
    except (OverflowError, ValueError):
        return f"{seconds} s after 1970"


def class_name(pointer):
    try:
        name = pointer.dereference()["_name"]
        return name["_M_str"].string(length=int(name["_M_len"]))
    except (gdb.error, UnicodeDecodeError):
        return "?"


def summary(value, depth=0):
    """One line for a Value."""
    kind = int(value["_kind"])
    if kind == NULL:
        return "null"
    if kind == BOOLEAN:
        return "true" if int(value["_integer"]) else "false"
    if kind == INTEGER:
        return str(int(value["_integer"]))
    if kind == UNSIGNED:
        return str(int(value["_integer"]) % (1 << 64))
    if kind in (FLOAT, DOUBLE):
        return repr(float(value["_double"]))
    if kind == DATE:
        return date_text(float(value["_double"]))
    if kind == CLASS:
        return "class " + class_name(value["_class"])
    return object_summary(value["_object"], depth)


def plural(count, noun):
    return f"{count} {noun}" + ("" if count == 1 else "s")


def short(name):
    return name.replace(NAMESPACE, "")


def object_summary(pointer, depth=0):
    """One line for an object."""
    found, name = whole(pointer)
    for base in bases(found.type):
        describe = SUMMARIES.get(short(str(base)))
        if describe:
            try:
                return describe(found, short(name), depth)
            except gdb.error as failure:
                return f"<{short(name)} {address_of(pointer):#x}: {failure}>"
    return f"<{short(name) or 'NSObject'} {address_of(pointer):#x}>"


def summary_of_string(found, name, depth):
    return string_text(found)


def table_entries(table):
    for entry in vector(table["_entries"]):
        if int(entry["key"]["_kind"]) != NULL:
            yield entry


def summary_of_array(found, name, depth):
    if bool(found["_foreign"]):
        return f"{name} whose elements are elsewhere"
    return f"{name} of {plural(sum(1 for _ in vector(found['_elements'])), 'element')}"


def summary_of_dictionary(found, name, depth):
    entries = int(found["_table"]["_live"])
    return f"{name} of {entries} " + ("entry" if entries == 1 else "entries")


def summary_of_set(found, name, depth):
    if bool(found["_foreign"]):
        return f"{name} whose members are elsewhere"
    return f"{name} of {plural(int(found['_table']['_live']), 'member')}"


def summary_of_null(found, name, depth):
    return "NSNull"


def summary_of_index_path(found, name, depth):
    indexes = [str(int(index)) for index in path_indexes(found)]
    return f"{name} {' - '.join(indexes) or 'empty'}"


def path_indexes(found):
    count = int(found["_length"])
    inline = found["_inside"]
    if count <= inline.type.range()[1] + 1:
        return [inline[i] for i in range(count)]
    return [found["_indexes"][i] for i in range(min(count, TEXT_LIMIT))]


def summary_of_index_set(found, name, depth):
    ranges = []
    for entry in vector(found["_ranges"]):
        first, length = int(entry["location"]), int(entry["length"])
        ranges.append(str(first) if length == 1 else f"{first}–{first + length - 1}")
    return f"{name} {', '.join(ranges) or 'empty'}"


def summary_of_error(found, name, depth):
    return f"{name} {bare_text(found['_domain'])} {int(found['_code'])}"


def summary_of_rejected(found, name, depth):
    word = "cancelled" if bool(found["_cancellation"]) else "rejected"
    inner = summary(found["_value"], depth + 1) if depth < 3 else "…"
    return f"{name} {word}: {inner}"


def steps_of(found):
    """What a deferred does next, oldest first."""
    steps = found["_deferredSteps"]
    only = steps["_only"]
    names = [step_text(only)] if bool(steps["_hasOnly"]) else []
    last = block = address_of(steps["_last"])
    while block:
        after_steps = BLOCK_CAPACITY * only.type.sizeof
        block = word_at(block + after_steps)
        counts = block + after_steps + 8
        for i in range(word_at(counts, "unsigned int"), word_at(counts + 4, "unsigned int")):
            step = gdb.Value(block + i * only.type.sizeof).cast(only.type.pointer())
            names.append(step_text(step.dereference()))
        if block == last or len(names) > TEXT_LIMIT:
            break
    return names


def step_text(step):
    kind = str(step["kind"]).rsplit("::", 1)[-1]
    pointer = pointer_in(step["object"])
    return kind + (f" → {object_summary(pointer, 3)}" if pointer is not None else "")


def summary_of_deferred(found, name, depth):
    if bool(found["_resolved"]):
        inner = summary(found["_resolution"], depth + 1) if depth < 3 else "…"
        state = f"resolved with {inner}"
    else:
        state = "pending"
    parts = [state]
    count = len(steps_of(found))
    if count:
        parts.append(plural(count, "step"))
    if bool(found["_consumingStep"]):
        parts.append("running a step")
    if bool(found["_cancelled"]):
        parts.append("cancelled")
    return f"{name} {', '.join(parts)}"


def summary_of_promise(found, name, depth):
    if bool(found["_resolved"]):
        inner = summary(found["_resolution"], depth + 1) if depth < 3 else "…"
        parts = [f"resolved with {inner}"]
    else:
        parts = ["fulfilled, waiting" if bool(found["_isFulfilled"]) else "pending"]
    listeners = target(found["_resolvables"])
    if listeners is not None:
        parts.append(plural(int(listeners["_table"]["_live"]), "listener"))
    if bool(found["_cancelled"]):
        parts.append("cancelled")
    return f"{name} {', '.join(parts)}"


INSERTED, UPDATED, DELETED, FAULT, HAS_VALUES, INVALID = 1, 2, 4, 8, 16, 64


def entity_name(found):
    entity = target(found["_entity"])
    return bare_text(entity["_name"]) if entity is not None else "no entity"


def summary_of_managed_object(found, name, depth):
    flags = int(found["_flags"])
    words = [word for bit, word in ((INSERTED, "inserted"), (UPDATED, "updated"),
                                    (DELETED, "deleted"), (FAULT, "fault"),
                                    (INVALID, "of a context that forgot it")) if flags & bit]
    number = int(found["_number"])
    return f"{entity_name(found)} {number}" + (f", {', '.join(words)}" if words else "")


def summary_of_object_id(found, name, depth):
    return f"{name} {entity_name(found)} {int(found['_number'])}"


def summary_of_entity(found, name, depth):
    return f"{name} {bare_text(found['_name'])}"


CHANGES = (("deleted sections", "_deletedSections"), ("inserted sections", "_insertedSections"),
           ("deleted items", "_deletedItemPaths"), ("inserted items", "_insertedItemPaths"),
           ("updated items", "_updatedItemPaths"), ("moved items", "_movedItems"))


def summary_of_changes(found, name, depth):
    parts = []
    for label, field in CHANGES:
        changed = target(found[field])
        if changed is None:
            continue
        if has_field(changed, "_ranges"):
            count = sum(int(entry["length"]) for entry in vector(changed["_ranges"]))
        else:
            count = sum(1 for _ in vector(changed["_elements"]))
        if count:
            parts.append(f"{count} {label}")
    return f"{name} {', '.join(parts) or 'empty'}"


def summary_of_data(found, name, depth):
    return f"{name} of {plural(int(found['_bytes']['_M_string_length']), 'byte')}"


SUMMARIES = {
    "NSString": summary_of_string,
    "NSArray": summary_of_array,
    "NSDictionary": summary_of_dictionary,
    "NSSet": summary_of_set,
    "NSOrderedSet": summary_of_set,
    "NSNull": summary_of_null,
    "NSData": summary_of_data,
    "NSIndexPath": summary_of_index_path,
    "NSIndexSet": summary_of_index_set,
    "NSError": summary_of_error,
    "PLVRejected": summary_of_rejected,
    "PLVDeferred": summary_of_deferred,
    "PLVPromise": summary_of_promise,
    "NSManagedObject": summary_of_managed_object,
    "NSManagedObjectID": summary_of_object_id,
    "NSEntityDescription": summary_of_entity,
    "PLVFetchedResultsChanges": summary_of_changes,
}


# ---- What is inside, one by one

def children_of_array(found):
    if not bool(found["_foreign"]):
        for index, element in enumerate(vector(found["_elements"])):
            yield f"[{index}]", element


def children_of_set(found):
    if not bool(found["_foreign"]):
        for index, entry in enumerate(table_entries(found["_table"])):
            yield f"[{index}]", entry["key"]


def children_of_dictionary(found):
    for index, entry in enumerate(table_entries(found["_table"])):
        yield f"key {index}", entry["key"]
        yield f"value {index}", entry["value"]


def children_of_deferred(found):
    if bool(found["_resolved"]):
        yield "resolution", found["_resolution"]
    for index, name in enumerate(steps_of(found)):
        yield f"step {index}", name
    yield from source_of(found)


def source_of(found):
    """What it waits for, while that is alive."""
    pointer = object_of_weak(found["_resolutionSource"])
    if pointer is not None:
        yield "waits for", object_summary(pointer, 1)


def children_of_promise(found):
    if bool(found["_resolved"]):
        yield "resolution", found["_resolution"]
    listeners = target(found["_resolvables"])
    if listeners is not None:
        for index, entry in enumerate(table_entries(listeners["_table"])):
            yield f"listener {index}", summary(entry["key"], 1)
    yield from source_of(found)


def children_of_rejected(found):
    yield "value", found["_value"]


def children_of_error(found):
    details = target(found["_userInfo"])
    if details is not None:
        for entry in table_entries(details["_table"]):
            yield summary(entry["key"]).strip('"'), entry["value"]


def property_names(entity):
    """The names of an entity's attributes and relationships in the order of an object's values:
    inherited ones first."""
    line = []
    while entity is not None and len(line) < TEXT_LIMIT:
        line.append(entity)
        entity = target(entity["_superentity"])
    for ancestor in reversed(line):
        for ref in vector(ancestor["_ownProperties"]):
            found, name = whole(pointer_in(ref))
            if re.search(r"Attribute|Relationship", name):
                yield bare_text(found["_name"])


def children_of_managed_object(found):
    values = found["_values"]["_values"]
    entity = target(found["_entity"])
    if not int(found["_flags"]) & HAS_VALUES or not address_of(values) or entity is None:
        return
    for index, name in enumerate(property_names(entity)):
        yield name, (values + index).dereference()


def children_of_changes(found):
    for label, field in CHANGES:
        pointer = pointer_in(found[field])
        if pointer is not None:
            yield label, found[field]


CHILDREN = {
    "NSArray": (children_of_array, "array"),
    "NSSet": (children_of_set, "array"),
    "NSOrderedSet": (children_of_set, "array"),
    "NSDictionary": (children_of_dictionary, "map"),
    "PLVDeferred": (children_of_deferred, None),
    "PLVPromise": (children_of_promise, None),
    "PLVRejected": (children_of_rejected, None),
    "NSError": (children_of_error, None),
    "NSManagedObject": (children_of_managed_object, None),
    "PLVFetchedResultsChanges": (children_of_changes, None),
}


class ObjectPrinter:
    """An object, by the line for it and by what is inside."""

    def __init__(self, pointer):
        self._pointer = pointer
        self._found, _ = whole(pointer)
        self._children, self._hint = None, None
        for base in bases(self._found.type):
            if short(str(base)) in CHILDREN:
                self._children, self._hint = CHILDREN[short(str(base))]
                break

    def to_string(self):
        return object_summary(self._pointer)

    def children(self):
        return self._children(self._found) if self._children else iter(())

    def display_hint(self):
        return self._hint


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
    if kind.code != gdb.TYPE_CODE_STRUCT or not (kind.tag or "").startswith(NAMESPACE):
        return None
    name = short(kind.tag)
    if name == "Value":
        if int(value["_kind"]) == OBJECT:
            return ObjectPrinter(value["_object"])
        return LeafPrinter(summary(value))
    if re.match(r"Ref<.*>$", name):
        pointer = pointer_in(value)
        return ObjectPrinter(pointer) if pointer is not None else LeafPrinter("null")
    for base in bases(kind):
        if str(base) == NAMESPACE + "NSObject":
            return ObjectPrinter(value.address) if value.address else None
    return None


class Printers(gdb.printing.PrettyPrinter):
    def __init__(self):
        super().__init__("JNFoundation")

    def __call__(self, value):
        if not self.enabled:
            return None
        try:
            return printer_for(value)
        except gdb.error:
            return None


gdb.printing.register_pretty_printer(gdb.current_objfile(), Printers(), replace=True)
