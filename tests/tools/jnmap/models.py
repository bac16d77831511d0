"""Data models for the tests of jnmap, as the XML of their entities."""

from xml.sax.saxutils import quoteattr


def entity(name, attributes=(), rules=(), parent=None, cls=None, abstract=False, relationships=()):
    """The XML of an entity. Attributes are (name, type) or (name, type, {more})."""
    text = f"<entity name={quoteattr(name)}"
    if cls:
        text += f" representedClassName={quoteattr(cls)}"
    if parent:
        text += f" parentEntity={quoteattr(parent)}"
    if abstract:
        text += ' isAbstract="YES"'
    text += ">"
    for attribute in attributes:
        more = {"optional": "YES", **(attribute[2] if len(attribute) > 2 else {})}
        text += (f"<attribute name={quoteattr(attribute[0])} attributeType={quoteattr(attribute[1])} "
                 + " ".join(f"{key}={quoteattr(value)}" for key, value in more.items()) + "/>")
    for relationship in relationships:
        text += "<relationship " + " ".join(
            f"{key}={quoteattr(value)}" for key, value in relationship.items()) + "/>"
    if rules:
        text += "<userInfo>" + "".join(
            f"<entry key={quoteattr(key)} value={quoteattr(value)}/>" for key, value in rules
        ) + "</userInfo>"
    return text + "</entity>"


def model(*entities):
    return '<?xml version="1.0" encoding="UTF-8"?><model>' + "".join(entities) + "</model>"


# Every kind of property, with names that C++ has other plans for.
RICH = [
    entity("Root", cls="Root", abstract=True, attributes=[("code", "String", {"optional": "NO"})],
           rules=[("$all", "applyAll:")]),
    entity("Rich", cls="Rich", parent="Root", attributes=[
        ("small", "Integer 16"), ("medium", "Integer 32", {"optional": "NO"}), ("large", "Integer 64"),
        ("exact", "Decimal"), ("wide", "Double"), ("narrow", "Float", {"optional": "NO"}),
        ("text", "String"), ("truth", "Boolean", {"optional": "NO"}), ("maybe", "Boolean"),
        ("born", "Date"), ("photo", "Binary"), ("identity", "UUID"), ("home", "URI"),
        ("anything", "Transformable"), ("passing", "Undefined", {"transient": "YES"}),
        # Keywords, members of the bases, classes of the model, collisions, other alphabets.
        ("default", "String"), ("operator", "String"), ("entityDataMap", "String"),
        ("storedValueForKey", "String"), ("Other", "String"), ("GeneratedRich", "String"),
        ("setText", "String"), ("x", "String"), ("X", "String"), ("größe", "Double"),
        ("with-dash", "String"), ("9lives", "String"), ("quote\"d\\", "String"), ("std", "String")],
        rules=[("$payload", "applyPayload:"), ("$more", "applyPayload:"), ("$text", "setText:"),
               ("$code", "applyCode:"), ("$two", "setA:b:"), ("$odd", "apply-odd:"),
               ("$odder", 'apply "%@" \\:')],
        relationships=[
            {"name": "other", "optional": "YES", "destinationEntity": "Other", "maxCount": "1",
             "inverseName": "riches", "inverseEntity": "Other"},
            {"name": "Classless", "optional": "YES", "destinationEntity": "Classless", "maxCount": "1"},
            {"name": "others", "optional": "YES", "destinationEntity": "Other", "toMany": "YES"},
            {"name": "line", "optional": "YES", "destinationEntity": "Rich", "toMany": "YES",
             "ordered": "YES"}]),
    entity("Other", cls="Other", relationships=[
        {"name": "riches", "optional": "YES", "destinationEntity": "Rich", "toMany": "YES",
         "inverseName": "other", "inverseEntity": "Rich"}]),
    entity("Classless", attributes=[("name", "String")]),
    entity("Below", cls="Below", parent="Classless", attributes=[("age", "Integer 16")]),
]


# Ten of each depth, that relate to each other.
HUNDRED = [
    entity(f"E{number}", cls=f"E{number}", parent=f"E{number - 10}" if number >= 10 else None,
           attributes=[(f"name{number}", "String"), (f"count{number}", "Integer 32"),
                       (f"born{number}", "Date")],
           rules=[(f"$n{number}", f"trim|name{number}"), (f"%meta.$c{number}", f"count{number}"),
                  (f"$apply{number}", f"apply{number}:")],
           relationships=[{"name": f"next{number}", "optional": "YES",
                           "destinationEntity": f"E{(number + 1) % 100}", "maxCount": "1"}])
    for number in range(100)]
