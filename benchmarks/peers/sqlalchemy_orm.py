"""SQLAlchemy's ORM with Python's own JSON and dates, as a Python application would do it.

It reads the feed from the file that `--feed` names and reports like every program of this folder.
"""

import argparse
import datetime
import json
import os
import re
import sqlite3
import sys
import time

from sqlalchemy import Boolean, Column, Float, Integer, String, create_engine, event, select
from sqlalchemy.orm import Session, declarative_base

Base = declarative_base()


class Record(Base):
    __tablename__ = "record"
    identifier = Column(Integer, primary_key=True)
    quantity = Column(Integer)
    price = Column(Float)
    weight = Column(Float)
    name = Column(String)
    category = Column(String)
    barcode = Column(String)
    note = Column(String)
    available = Column(Boolean)
    updated = Column(Float)


def seconds(text):
    date = datetime.datetime.strptime(text, "%Y-%m-%dT%H:%M:%S.%fZ")
    return date.replace(tzinfo=datetime.timezone.utc).timestamp()


def engine_for(path):
    engine = create_engine("sqlite:///" + path)

    @event.listens_for(engine, "connect")
    def configure(connection, _):
        connection.execute("PRAGMA journal_mode = WAL")
        connection.execute("PRAGMA synchronous = NORMAL")

    return engine


def remove(path):
    for suffix in ("", "-wal", "-shm"):
        if os.path.exists(path + suffix):
            os.remove(path + suffix)


def import_records(engine, text):
    with Session(engine) as session:
        session.add_all(
            Record(**{**record, "updated": seconds(record["updated"])})
            for record in json.loads(text)
        )
        session.commit()


def read_objects(engine):
    """What reading every attribute of every object adds up to."""
    numbers, characters = 0.0, 0
    with Session(engine) as session:
        for record in session.execute(select(Record)).scalars().all():
            numbers += (record.identifier + record.quantity + record.price + record.weight
                        + record.available + record.updated)
            characters += (len(record.name) + len(record.category) + len(record.barcode)
                           + len(record.note))
    return numbers, characters


def expected(text):
    numbers, characters = 0.0, 0
    for record in json.loads(text):
        numbers += (record["identifier"] + record["quantity"] + record["price"] + record["weight"]
                    + record["available"] + seconds(record["updated"]))
        characters += sum(len(record[key]) for key in ("name", "category", "barcode", "note"))
    return numbers, characters


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--feed", required=True)
    arguments.add_argument("--benchmark_filter", default=".")
    known, _ = arguments.parse_known_args()
    matches = re.compile(known.benchmark_filter).search
    if not matches("import/SQLAlchemy") and not matches("objects/SQLAlchemy"):
        print(json.dumps({"benchmarks": []}))
        return
    with open(known.feed, encoding="utf-8") as file:
        text = file.read()
    count = len(json.loads(text))

    path = "sqlalchemy-%d.sqlite" % os.getpid()
    remove(path)
    engine = engine_for(path)
    Base.metadata.create_all(engine)
    benchmarks = []
    try:
        start = time.perf_counter()
        import_records(engine, text)
        if matches("import/SQLAlchemy"):
            benchmarks.append({"name": "import/SQLAlchemy",
                               "items_per_second": count / (time.perf_counter() - start)})
        with sqlite3.connect(path) as raw:
            if raw.execute("SELECT count(*) FROM record").fetchone()[0] != count:
                sys.exit("the table does not hold the feed's records")
        if matches("objects/SQLAlchemy"):
            wanted = expected(text)
            start = time.perf_counter()
            got = read_objects(engine)
            elapsed = time.perf_counter() - start
            if got != wanted:
                sys.exit("the records differ from the feed's")
            benchmarks.append({"name": "objects/SQLAlchemy", "items_per_second": count / elapsed})
    finally:
        engine.dispose()
        remove(path)
    print(json.dumps({"benchmarks": benchmarks}))


if __name__ == "__main__":
    main()
