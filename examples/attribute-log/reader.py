#!/usr/bin/env python3
"""Reads a root of a state database, and prints it as JSON once it is there whole.

usage: reader.py [--follow] ENDPOINT ROOT

With --follow it goes on, and prints the root again after each change.
"""

import json
import sys

import attrlog
from attrlog import Fault, Payload


class Entity:
    def __init__(self, entity_type, parameters, parent=None, field=None):
        self.type, self.parameters = entity_type, parameters
        self.parent, self.field, self.key = parent, field, None
        self.values = {}  # by field: an attribute, a child, a set, or a map
        self.stale = {}  # by field: the keys that a transaction did not name yet
        self.children = set()  # numbers


def hashable(key):
    return json.dumps(key)


class Copy:
    """What a stream says."""

    def __init__(self, text):
        self.types = attrlog.parse_types(text)
        self.decoder = attrlog.Decoder(self.types)
        self.entities = {}
        self.synchronised = False

    def apply(self, kind, number, field, flags, payload):
        data = Payload(payload)
        removed = bool(flags & attrlog.REMOVED)
        if kind == attrlog.SYNCHRONISED:
            self.synchronised = True
        elif kind == attrlog.ROOT and removed:
            self.forget(number)
        elif kind == attrlog.ROOT:
            root_type = self.types[self.decoder.value("Vek::String", data)]
            self.add(number, root_type, data)
        else:
            self.apply_field(kind, self.entities[number], field, removed, data)
        data.end()

    def apply_field(self, kind, entity, field, removed, data):
        row = entity.type.rows[field]
        if kind == attrlog.CHILD:
            self.child(entity, row, removed, data)
        elif kind == attrlog.ATTRIBUTE:
            entity.values[field] = self.decoder.value(row.value, data)
        elif kind == attrlog.MEMBER:
            key = self.decoder.value(row.key, data)
            if removed:
                entity.values.get(field, {}).pop(hashable(key), None)
                return
            value = None if row.value == "nothing" else self.decoder.value(row.value, data)
            self.put(entity, field, key, value)
        elif kind == attrlog.TRANSACTION:
            self.transaction(entity, field, data.unpack("B"))
        else:
            raise Fault(f"a message of kind {kind}")

    def add(self, number, entity_type, data, parent=None, field=None):
        if number == 0 or number in self.entities:
            raise Fault(f"a new entity with the number {number}")
        parameters = [self.decoder.value(name, data) for name in entity_type.parameters]
        self.entities[number] = Entity(entity_type, parameters, parent, field)
        return self.entities[number]

    def child(self, parent, row, removed, data):
        number = data.unpack("Q")
        if removed:
            key = self.decoder.value(row.key, data) if row.key else None
            members = parent.values.get(row.id, {})
            if hashable(key) in members:
                self.forget(members[hashable(key)][1])
            return
        entity = self.add(number, self.types[row.value], data, parent, row.id)
        # The first parameter of the key's type is the key.
        key = entity.parameters[entity.type.parameters.index(row.key)] if row.key else None
        entity.key = hashable(key)
        present = parent.values.get(row.id, {}).get(entity.key)
        if present:
            self.forget(present[1])
        parent.children.add(number)
        self.put(parent, row.id, key, number)

    def put(self, entity, field, key, value):
        entity.values.setdefault(field, {})[hashable(key)] = (key, value)
        entity.stale.get(field, set()).discard(hashable(key))

    def transaction(self, entity, field, what):
        members = entity.values.setdefault(field, {})
        if what == attrlog.START:
            entity.stale[field] = set(members)
        elif what == attrlog.END:
            for key in entity.stale.pop(field, ()):
                if entity.type.rows[field].kind == "children":
                    self.forget(members[key][1])
                else:
                    del members[key]

    def forget(self, number):
        """An entity goes with all that it owns."""
        entity = self.entities.pop(number)
        for child in list(entity.children):
            self.forget(child)
        if entity.parent:
            entity.parent.children.remove(number)
            del entity.parent.values[entity.field][entity.key]

    def text(self, number):
        """An entity and what it owns, to be printed."""
        entity = self.entities[number]
        result = {"type": entity.type.name, "parameters": entity.parameters}
        for field, row in entity.type.rows.items():
            value = entity.values.get(field)
            if row.kind == "attribute":
                result[row.name] = value
                continue
            members = (value or {}).values()
            if row.kind in ("children", "child"):
                result[row.name] = [self.text(child) for _, child in members]
            elif row.value == "nothing":
                result[row.name] = [key for key, _ in members]
            else:
                result[row.name] = [list(member) for member in members]
        return result

    def print(self):
        roots = [number for number, entity in self.entities.items() if not entity.parent]
        print(json.dumps([self.text(number) for number in roots]), flush=True)


def read(endpoint, root, follow):
    connection = attrlog.connect(endpoint)
    stream = attrlog.greet(connection, "read", "reader.py", root)
    copy = Copy(attrlog.read_preamble(stream))
    while not copy.synchronised or follow:
        copy.apply(*attrlog.read_message(stream))
        if copy.synchronised:
            copy.print()


def main(arguments):
    follow = arguments[:1] == ["--follow"]
    if len(arguments) - follow != 2:
        print(__doc__, file=sys.stderr)
        return 2
    try:
        read(*arguments[follow:], follow)
    except EOFError:
        print("reader.py: the state database closed the connection", file=sys.stderr)
        return 1
    except (Fault, OSError) as error:
        print(f"reader.py: {error}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
