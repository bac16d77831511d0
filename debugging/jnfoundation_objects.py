"""What JNFoundation's values and objects hold, as lines of text and as what is inside, for the
printers of debuggers. Nothing of the program is called, so core files show the same.

Everything is seen through a Look, which each debugger has a class of its own for.
"""

import datetime
import re

TEXT_LIMIT = 200
# What was not made yet may claim to be of any length.
LENGTH_LIMIT = 10_000

# As in Value::Kind.
NULL, BOOLEAN, INTEGER, UNSIGNED, FLOAT, DOUBLE, DATE, CLASS, OBJECT = range(9)

# The version is in the names of debug information, but not in those that sources use.
NAMESPACE = re.compile(r"\bJNFoundation::(?:v\d+(?:_\d+)*::)?")


def short(name):
    """The name of a class without the library's namespaces."""
    return NAMESPACE.sub("", name)


def namespace_of(name):
    """The library's namespaces before the name of a class."""
    found = NAMESPACE.search(name)
    return found[0] if found else ""


class Look:
    """A variable or an object of the program, with its type. What cannot be read raises a
    RuntimeError.

    `look[name]` is a field, of the class or one of its bases; a KeyError where there is none.
    `int(look)` is a number, a truth value or where a pointer leads, `float(look)` a double.
    """

    def pointed(self, index=0):
        """What a pointer leads to, or the element of an array, by the pointer's own type."""
        raise NotImplementedError

    def whole(self):
        """What a pointer to an object leads to, as the object's own class where the debugger knows
        that, and the full name of that class."""
        raise NotImplementedError

    def classes(self):
        """The names of the class and of what it derives from with their sizes, nearest first."""
        raise NotImplementedError

    def at(self, address):
        """What is at another address, of the same type."""
        raise NotImplementedError

    def pointer_to_object(self, address):
        """A pointer to the NSObject at an address."""
        raise NotImplementedError

    def memory(self, address, size):
        raise NotImplementedError

    def address(self):
        raise NotImplementedError

    def size(self):
        raise NotImplementedError

    def count(self):
        """How many elements an array has."""
        raise NotImplementedError

    def constant(self):
        """The name of an enumeration's constant."""
        raise NotImplementedError

    def word_at(self, address, size=8):
        return int.from_bytes(self.memory(address, size), "little")

    def has(self, name):
        try:
            self[name]
            return True
        except KeyError:
            return False


class Line:
    """Something inside of which only the line is shown: what leads back to where it was seen."""

    def __init__(self, look, text):
        self.look = look
        self.text = text


# ---- Reaching what things are made of

def symbol_class(symbol):
    """The class whose table of virtual functions a symbol is, without the template that only makes
    objects of it; an empty text for another symbol."""
    found = re.match(r"vtable for (.+)$", symbol or "")
    name = found[1].strip() if found else ""
    while True:
        inner = re.match(NAMESPACE.pattern + r"impl::Concrete<(.+)>$", name)
        if not inner:
            return name
        name = inner[1].strip()


def is_object(look):
    return any(re.fullmatch(NAMESPACE.pattern + "NSObject", name) for name, _ in look.classes())


def pointer_in(ref):
    """The object of a Ref; None where it is null."""
    pointer = ref["_object"]
    return pointer if int(pointer) else None


def target(ref):
    """The object of a Ref; None where it is null."""
    pointer = pointer_in(ref)
    return pointer.whole()[0] if pointer is not None else None


# What the library's sources keep to themselves is read by its place: StepList::Block and SideRecord
# say so where they are declared.

BLOCK_CAPACITY = 4
OBJECT_IN_SIDE_RECORD = 8


def object_of_weak(weak_object):
    """A pointer to the object that a WeakObject refers to; None once it has gone."""
    record = int(weak_object["_record"])
    found = weak_object.word_at(record + OBJECT_IN_SIDE_RECORD) if record else 0
    return weak_object.pointer_to_object(found) if found else None


def vector_length(value):
    start, end = value["_M_impl"]["_M_start"], int(value["_M_impl"]["_M_finish"])
    return (end - int(start)) // start.pointed().size() if int(start) else 0


def vector(value):
    start = value["_M_impl"]["_M_start"]
    for index in range(min(vector_length(value), LENGTH_LIMIT)):
        yield start.pointed(index)


# ---- Text of things

def string_text(string):
    """The text of an NSString, which stands behind it."""
    size = int(string["_size"])
    behind = next(size for name, size in string.classes() if short(name) == "NSString")
    shown = min(size, TEXT_LIMIT)
    data = string.memory(string.address() + behind, shown) if shown else b""
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
    name = pointer.pointed()["_name"]
    length = min(int(name["_M_len"]), TEXT_LIMIT)
    return name.memory(int(name["_M_str"]), length).decode("utf-8", errors="replace")


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


def object_summary(pointer, depth=0):
    """One line for the object that a pointer leads to."""
    name = ""
    try:
        found, name = pointer.whole()
        for base, _ in found.classes():
            describe = SUMMARIES.get(short(base))
            if describe:
                return describe(found, short(name), depth)
        return f"<{short(name) or 'NSObject'} {int(pointer):#x}>"
    except (KeyError, RuntimeError) as failure:
        return f"<{short(name) or 'NSObject'} {int(pointer):#x}: {failure}>"


def summary_of_string(found, name, depth):
    return string_text(found)


def table_entries(table):
    for entry in vector(table["_entries"]):
        if int(entry["key"]["_kind"]) != NULL:
            yield entry


def summary_of_array(found, name, depth):
    if int(found["_foreign"]):
        return f"{name} whose elements are elsewhere"
    return f"{name} of {plural(vector_length(found['_elements']), 'element')}"


def summary_of_dictionary(found, name, depth):
    entries = int(found["_table"]["_live"])
    return f"{name} of {entries} " + ("entry" if entries == 1 else "entries")


def summary_of_set(found, name, depth):
    if int(found["_foreign"]):
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
    if count <= inline.count():
        return [inline.pointed(i) for i in range(count)]
    return [found["_indexes"].pointed(i) for i in range(min(count, TEXT_LIMIT))]


def summary_of_index_set(found, name, depth):
    ranges = []
    for entry in vector(found["_ranges"]):
        first, length = int(entry["location"]), int(entry["length"])
        ranges.append(str(first) if length == 1 else f"{first}–{first + length - 1}")
    return f"{name} {', '.join(ranges) or 'empty'}"


def summary_of_error(found, name, depth):
    return f"{name} {bare_text(found['_domain'])} {int(found['_code'])}"


def summary_of_rejected(found, name, depth):
    word = "cancelled" if int(found["_cancellation"]) else "rejected"
    inner = summary(found["_value"], depth + 1) if depth < 3 else "…"
    return f"{name} {word}: {inner}"


def steps_of(found):
    """What a deferred does next, oldest first."""
    steps = found["_deferredSteps"]
    only = steps["_only"]
    looks = [only] if int(steps["_hasOnly"]) else []
    last = block = int(steps["_last"])
    size = only.size()
    while block:
        block = only.word_at(block + BLOCK_CAPACITY * size)
        counts = block + BLOCK_CAPACITY * size + 8
        end = min(only.word_at(counts + 4, 4), BLOCK_CAPACITY)
        for i in range(only.word_at(counts, 4), end):
            looks.append(only.at(block + i * size))
        if block == last or len(looks) > TEXT_LIMIT:
            break
    return looks


def step_text(step):
    kind = step["kind"].constant()
    pointer = pointer_in(step["object"])
    return kind + (f" → {object_summary(pointer, 3)}" if pointer is not None else "")


def state(found, is_waiting, is_resolved, depth):
    if is_waiting:
        return "waiting"
    if not is_resolved:
        return "pending"
    return "resolved with " + (summary(found["_resolution"], depth + 1) if depth < 3 else "…")


def summary_of_deferred(found, name, depth):
    parts = [state(found, int(found["_paused"]), int(found["_resolved"]), depth)]
    count = len(steps_of(found))
    if count:
        parts.append(plural(count, "step"))
    if int(found["_consumingStep"]):
        parts.append("running a step")
    if int(found["_cancelled"]):
        parts.append("cancelled")
    return f"{name} {', '.join(parts)}"


def listeners_of(found):
    """Pointers to the listeners that a promise still has to tell."""
    listeners = target(found["_resolvables"])
    if listeners is not None:
        return [entry["key"]["_object"] for entry in table_entries(listeners["_table"])]
    own = list(vector(found["_ownListeners"]))[int(found["_toldListeners"]):]
    return [pointer for pointer in map(pointer_in, own) if pointer is not None]


def summary_of_promise(found, name, depth):
    is_fulfilled = int(found["_isFulfilled"])
    parts = [state(found, int(found["_resolved"]) and not is_fulfilled, is_fulfilled, depth)]
    listeners = listeners_of(found)
    if listeners:
        parts.append(plural(len(listeners), "listener"))
    if int(found["_cancelled"]):
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
        if changed.has("_ranges"):
            count = sum(int(entry["length"]) for entry in vector(changed["_ranges"]))
        else:
            count = vector_length(changed["_elements"])
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


# ---- What is inside, one by one: names with Looks or Lines

def children_of_array(found):
    if not int(found["_foreign"]):
        for index, element in enumerate(vector(found["_elements"])):
            yield f"[{index}]", element


def children_of_set(found):
    if not int(found["_foreign"]):
        for index, entry in enumerate(table_entries(found["_table"])):
            yield f"[{index}]", entry["key"]


def children_of_dictionary(found):
    for entry in table_entries(found["_table"]):
        yield f"[{summary(entry['key'])}]", entry["value"]


def lines(name, pointer):
    """The line of what a pointer leads to; nothing for None."""
    if pointer is not None:
        yield name, Line(pointer, object_summary(pointer, 1))


def children_of_deferred(found):
    if int(found["_paused"]):
        yield from lines("waits for", found["_resolution"]["_object"])
    elif int(found["_resolved"]):
        yield "resolution", found["_resolution"]
    for index, step in enumerate(steps_of(found)):
        yield f"step {index}", Line(step, step_text(step))
    if not int(found["_resolved"]):
        yield from lines("waits for", object_of_weak(found["_resolutionSource"]))


def children_of_promise(found):
    if int(found["_isFulfilled"]):
        yield "resolution", found["_resolution"]
    for index, pointer in enumerate(listeners_of(found)):
        yield from lines(f"listener {index}", pointer)
    if int(found["_resolved"]):
        yield from lines("waits for", object_of_weak(found["_deferredSource"]["_weak"]))
    else:
        yield from lines("waits for", object_of_weak(found["_resolutionSource"]))


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
            found, name = pointer_in(ref).whole()
            if re.search(r"Attribute|Relationship", name):
                yield bare_text(found["_name"])


def children_of_managed_object(found):
    values = found["_values"]["_values"]
    entity = target(found["_entity"])
    if not int(found["_flags"]) & HAS_VALUES or not int(values) or entity is None:
        return
    for index, name in enumerate(property_names(entity)):
        yield name, values.pointed(index)


def children_of_changes(found):
    for label, field in CHANGES:
        if pointer_in(found[field]) is not None:
            yield label, found[field]


CHILDREN = {
    "NSArray": children_of_array,
    "NSSet": children_of_set,
    "NSOrderedSet": children_of_set,
    "NSDictionary": children_of_dictionary,
    "PLVDeferred": children_of_deferred,
    "PLVPromise": children_of_promise,
    "PLVRejected": children_of_rejected,
    "NSError": children_of_error,
    "NSManagedObject": children_of_managed_object,
    "PLVFetchedResultsChanges": children_of_changes,
}


def described(pointer, table):
    """The object that a pointer leads to, and what the table has for its nearest class; None for an
    object that cannot be read."""
    try:
        found, _ = pointer.whole()
    except (KeyError, RuntimeError):
        return None, None
    return found, next((table[short(base)] for base, _ in found.classes() if short(base) in table),
                       None)


def children(pointer):
    """What is inside the object that a pointer leads to."""
    found, read = described(pointer, CHILDREN)
    return read(found) if read else iter(())


def is_list(pointer):
    """Whether what is inside has only numbers for names."""
    return described(pointer, CHILDREN)[1] in (children_of_array, children_of_set)
