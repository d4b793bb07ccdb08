"""Validates what cvhost has printed for programs against its schema.

Standard input: TEST, DEFINITION and JSON a line, with tabs between them; the definition is one of the schema's. Standard output: TEST, a tab
and what is wrong, for each that does not fit.
"""
import collections
import functools
import json
import pathlib
import re
import sys

import jsonschema

SCHEMA = json.loads((pathlib.Path(__file__).resolve().parents[2] / "apps/cvhost/output.schema.json").read_text())
DRIVERS_OWN = "Exception freeing deleting Software devices"  # which the driver prints when it is unloaded without memory
TIME = re.compile(r'^\{"t":\d+\.\d{6},')  # no two lines have the same; apart from it most lines come again and again


@functools.cache
def validator(definition):
    return jsonschema.Draft202012Validator({"$defs": SCHEMA["$defs"], "$ref": f"#/$defs/{definition}"})


def reasons(error):
    """What is wrong; of several definitions that might have fitted, with the one that has the event's name."""
    choices = collections.defaultdict(list)
    for each in error.context or ():
        choices[each.relative_schema_path[0]].append(each)
    for choice in choices.values():
        if not any(list(each.relative_path) == ["event"] for each in choice):
            return "; ".join(each.message for each in choice)
    return "there is no such event" if choices else error.message


@functools.cache
def problem(definition, text):
    """What is wrong with the text, or None."""
    try:
        value = json.loads(text)
    except ValueError as error:
        return f"is no JSON: {error}"
    return "; ".join(reasons(error) for error in validator(definition).iter_errors(value)) or None


def main():
    jsonschema.Draft202012Validator.check_schema(SCHEMA)
    sys.stdin.reconfigure(encoding="utf-8", errors="backslashreplace")  # which is no JSON
    for line in sys.stdin:
        test, definition, text = line.rstrip("\n").split("\t", 2)
        if text != DRIVERS_OWN and (wrong := problem(definition, TIME.sub('{"t":0,', text))):
            print(f"{test}\t{wrong}: {text}")


if __name__ == "__main__":
    main()
