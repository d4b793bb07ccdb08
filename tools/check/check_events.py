"""Whether the page for programs and the schema of what cvhost prints name the same events, members, types and values."""
import json
import re

PAGE = "docs/events.md"
SCHEMA = "apps/cvhost/output.schema.json"

EVENT = re.compile(r"^### `(\w+)`$")
DOCUMENT = re.compile(r"^## `cvhost (\w+) --json`$")
COMMON = "### Every event"
ROW = re.compile(r"^\| `([\w.\[\]]+)` \| ([^|]+) \| (.*) \|$")
# As the page calls the schema's types.
WORDS = {"array": "list"}


def of_page(text):
    """(event or document, member): (type, meaning). What every event has stands under each."""
    found, common, section = {}, {}, None
    for line in text.splitlines():
        if line.startswith("#"):
            heading = EVENT.match(line) or DOCUMENT.match(line)
            section = heading[1] if heading else common if line == COMMON else None
            if heading:
                found |= {(section, member): row for member, row in common.items() if EVENT.match(line)}
        elif section is not None and (row := ROW.match(line)):
            if section is common:
                common[row[1]] = row[2], row[3]
            else:
                found[section, row[1]] = row[2], row[3]
    return found


class Schema:
    """The members of each event and document, as `of_page` has them, with the values that a member may have."""

    def __init__(self, text):
        self.whole = json.loads(text)
        definitions = self.whole["$defs"]
        self.found = {}
        for event in definitions["event"]["anyOf"]:
            self.add(event["$ref"].rsplit("/", 1)[1], "", event)
        for document in ("ports", "doctor"):
            self.add(document, "", definitions[document])

    def resolved(self, schema):
        while "$ref" in schema:
            place = self.whole
            for step in schema["$ref"].removeprefix("#/").split("/"):
                place = place[step]
            schema = place
        return schema

    def add(self, section, path, schema):
        schema = self.resolved(schema)
        for name, value in schema.get("properties", {}).items():
            value = self.resolved(value)
            types = value.get("type", "string")
            types = [types] if isinstance(types, str) else types
            self.found[section, path + name] = " or ".join(WORDS.get(each, each) for each in types), value.get("enum", [])
            if "items" in value:
                self.add(section, f"{path}{name}[].", value["items"])
            else:
                self.add(section, f"{path}{name}.", value)


def loose(schema, path="#"):
    """Where the schema describes an object and allows members that it does not name."""
    if isinstance(schema, dict):
        if "properties" in schema and "type" in schema and schema.get("additionalProperties") is not False:
            yield path
        for name, value in schema.items():
            yield from loose(value, f"{path}/{name}")


def problems(root):
    page = of_page((root / PAGE).read_text())
    schema = Schema((root / SCHEMA).read_text())
    yield from (f"{SCHEMA}: {place} allows members that it does not name" for place in loose(schema.whole))
    yield from (f"{PAGE} lacks {section}: {member}" for section, member in sorted(schema.found.keys() - page.keys()))
    yield from (f"{SCHEMA} lacks {section}: {member}" for section, member in sorted(page.keys() - schema.found.keys()))
    for (section, member), (kind, values) in schema.found.items():
        if (section, member) in page:
            said, meaning = page[section, member]
            if said != kind:
                yield f"{PAGE}: {section}: {member} is {said}, in {SCHEMA} {kind}"
            yield from (f"{PAGE}: {section}: {member} lacks the value {value}" for value in values if f"`{value}`" not in meaning)
