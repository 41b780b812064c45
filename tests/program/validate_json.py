"""Validates JSON values of standard input, one or several, against a schema: SCHEMA.

Stricter than the schema, which lets members be added: here every member has to be described.
"""

import json
import sys

import jsonschema


def close(schema):
    """Forbids members that are not described."""
    if isinstance(schema, dict):
        if "properties" in schema and schema.get("type") == "object":
            schema.setdefault("additionalProperties", False)
        for part in schema.values():
            close(part)
    elif isinstance(schema, list):
        for part in schema:
            close(part)


def values(text):
    decoder = json.JSONDecoder()
    text = text.strip()
    while text:
        value, end = decoder.raw_decode(text)
        yield value
        text = text[end:].strip()


def main():
    with open(sys.argv[1]) as file:
        schema = json.load(file)
    jsonschema.Draft7Validator.check_schema(schema)
    close(schema)
    count = 0
    for value in values(sys.stdin.read()):
        jsonschema.validate(value, schema)
        count += 1
    sys.exit(0 if count > 0 else "There is no JSON.")


main()
