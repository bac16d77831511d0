"""The figures that the benchmarks state: one entry each, in the order of the printed table."""

from dataclasses import dataclass


@dataclass(frozen=True)
class AtMost:
    """Ours is at most `times` what the side `of` takes."""

    times: float
    of: str = "limit"

    def text(self):
        return f"≤ {self.times:g} × {self.of}"

    def other_side(self):
        return self.of

    def holds(self, ours, sides):
        return ours <= self.times * sides[self.of]


@dataclass(frozen=True)
class Faster:
    """Ours is at least `times` as fast as the side `than`."""

    times: float
    than: str

    def text(self):
        return f"≥ {self.times:g} × faster than {self.than}"

    def other_side(self):
        return self.than

    def holds(self, ours, sides):
        return ours * self.times <= sides[self.than]


@dataclass(frozen=True)
class Grows:
    """Ours takes at most as many times what it takes in the row `since` as the side `like` does."""

    like: str
    since: str

    def text(self):
        return f"≤ growth of {self.like} since {self.since}"

    def other_side(self):
        return self.like

    def holds_since(self, sides, first):
        return sides["ours"] / first["ours"] <= sides[self.like] / first[self.like]


@dataclass(frozen=True)
class Within:
    """Ours is at most `bound`, in the figure's unit."""

    bound: float

    def text(self):
        return f"≤ {self.bound:g}"

    def other_side(self):
        return None

    def holds(self, ours, sides):
        return ours <= self.bound


@dataclass(frozen=True)
class Figure:
    """One row. A time is stated per item, in `unit`, of which a second has `per_second`; a figure
    that is no time (`per_second` None) is what the programs report as "figure"."""

    id: str
    work: str
    unit: str
    per_second: float | None
    reach: tuple


NANOSECONDS = 1e9
MICROSECONDS = 1e6

FIGURES = (
    Figure("chain", "create a deferred, 10 steps, resolve, destroy: per step",
           "ns", NANOSECONDS, (AtMost(5), Faster(3, "kj"))),
    Figure("fanout", "one promise to 100 listeners: per listener",
           "ns", NANOSECONDS, (Faster(4, "kj"),)),
    Figure("await", "co_await of a resolved deferred: per await",
           "ns", NANOSECONDS, (AtMost(2, of="step"),)),
    Figure("all", "100,000 resolved deferreds combined into one: per input",
           "ns", NANOSECONDS, (AtMost(1.05, of="ours-of-1000"),)),
    Figure("post", "1,000,000 tasks posted from another thread to the main queue: per task",
           "ns", NANOSECONDS, (AtMost(1.2),)),
    Figure("pending-bytes", "heap bytes of a pending deferred",
           "bytes", None, (Within(128),)),
    Figure("step-bytes", "heap bytes of a pending deferred with one step",
           "bytes", None, (Within(192),)),
    Figure("import", "100,000 records of 10 keys, JSON text to committed rows: per record",
           "µs", MICROSECONDS, (AtMost(2),)),
    Figure("reimport", "the same 100,000 records again, nothing changed: per record",
           "µs", MICROSECONDS, (AtMost(1.2),)),
    Figure("map", "a decoded record of 10 keys onto an object, not saved: per record",
           "ns", NANOSECONDS, (AtMost(4),)),
    Figure("date", "an RFC 3339 text to a date", "ns", NANOSECONDS, (AtMost(2),)),
    Figure("objects", "100,000 rows to objects, every attribute read: per row",
           "µs", MICROSECONDS, (AtMost(1.5),)),
    Figure("save-one", "one changed attribute of one object saved, in a transaction of its own",
           "µs", MICROSECONDS, (AtMost(1.25),)),
    Figure("registered", "an object that its context has, by identifier",
           "ns", NANOSECONDS, (AtMost(3),)),
    Figure("object-bytes", "heap bytes of a loaded object of 10 attributes, strings included",
           "bytes", None, (AtMost(2),)),
    Figure("query", "100 of 100,000 objects by predicate, sort and limit on an indexed attribute: "
           "per query", "µs", MICROSECONDS, (AtMost(1.3),)),
    Figure("ids", "100,000 identifiers: per identifier",
           "ns", NANOSECONDS, (AtMost(1.5),)),
    Figure("open", "a store of 1,000,000 objects", "µs", MICROSECONDS, (AtMost(2),)),
    Figure("positions-1k", "one of 1,000 objects to another position in the structure of a list",
           "ns", NANOSECONDS, (AtMost(3, of="boost"),)),
    Figure("positions-100k", "one of 100,000", "ns", NANOSECONDS, (AtMost(3, of="boost"),)),
    Figure("positions-1m", "one of 1,000,000", "ns", NANOSECONDS, (AtMost(3, of="boost"),)),
    Figure("batch-1k", "one of 1,000 objects changed and moved: context, list and delegate",
           "ns", NANOSECONDS, (AtMost(10, of="boost"),)),
    Figure("batch-1m", "one of 1,000,000", "ns", NANOSECONDS, (AtMost(3, of="boost"),)),
    Figure("sample-batch-1k", "one of 1,000 objects changed and moved: context, list, a random sample "
           "of 100 and delegate", "ns", NANOSECONDS, ()),
    Figure("sample-batch-1m", "one of 1,000,000", "ns", NANOSECONDS,
           (Grows(like="boost", since="sample-batch-1k"),)),
    Figure("draw-1k", "a sample of 100 of 1,000 objects: per object", "ns", NANOSECONDS,
           (AtMost(3, of="boost"),)),
    Figure("draw-1m", "100 of 1,000,000", "ns", NANOSECONDS,
           (AtMost(3, of="boost"), Grows(like="boost", since="draw-1k"))),
    Figure("sample-bytes", "heap bytes of a sample of 100 of 1,000,000 objects",
           "bytes", None, (AtMost(1.1, of="ours-of-1000"),)),
    Figure("filter", "100,000 dictionaries by a compiled predicate: per dictionary",
           "ns", NANOSECONDS, (AtMost(5),)),
    Figure("index", "100,000 records by the values of a key: per record",
           "ns", NANOSECONDS, (AtMost(2),)),
    Figure("map-block", "100,000 records by a block that reads a key: per record",
           "ns", NANOSECONDS, (AtMost(2),)),
    Figure("filter-block", "100,000 records filtered by a block that reads a key: per record",
           "ns", NANOSECONDS, (AtMost(2),)),
)
