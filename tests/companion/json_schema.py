"""As much of JSON Schema (draft 7) as the schemas in docs use; another word in one is an error."""

import functools
import json
import pathlib
import re

ANNOTATIONS = {"$schema", "title", "description", "definitions"}
TYPES = {"object": dict, "array": list, "string": str, "integer": int, "number": (int, float), "null": type(None), "boolean": bool}


DOCUMENTS = pathlib.Path(__file__).resolve().parents[2] / "docs"


@functools.lru_cache(maxsize=None)
def schema_of(name):
    return json.loads((DOCUMENTS / f"{name}.schema.json").read_text())


def checked(name, text):
    """The value of a JSON text, held to docs/NAME.schema.json."""
    value = json.loads(text)
    found = problems(value, schema_of(name))
    if found:
        raise AssertionError(f"not as docs/{name}.schema.json says:\n" + "\n".join(found[:10]))
    return value


def problems(value, schema, root=None, place="$"):
    """What does not hold, as lines; empty: the value is as the schema says."""
    root = root or schema
    found = []
    for word, rule in schema.items():
        if word not in ANNOTATIONS:
            found += CHECKS[word](value, rule, schema, root, place)
    return found


def check_type(value, rule, _schema, _root, place):
    is_right = isinstance(value, TYPES[rule]) and not (rule in ("integer", "number") and isinstance(value, bool))
    return [] if is_right else [f"{place}: {value!r} is no {rule}"]


def check_properties(value, rule, _schema, root, place):
    if not isinstance(value, dict):
        return []
    return [line for key, inner in rule.items() if key in value
            for line in problems(value[key], inner, root, f"{place}.{key}")]


def check_required(value, rule, _schema, _root, place):
    return [f"{place}: has no {key}" for key in rule if isinstance(value, dict) and key not in value]


def check_additional(value, rule, schema, root, place):
    more = [key for key in value if key not in schema.get("properties", {})] if isinstance(value, dict) else []
    if rule is False:
        return [f"{place}: has {key}" for key in more]
    return [line for key in more for line in problems(value[key], rule, root, f"{place}.{key}")]


def check_any_of(value, rule, _schema, root, place):
    ways = [problems(value, inner, root, place) for inner in rule]
    return [] if [] in ways else min(ways, key=len)


CHECKS = {
    "type": check_type,
    "properties": check_properties,
    "required": check_required,
    "additionalProperties": check_additional,
    "anyOf": check_any_of,
    "const": lambda value, rule, *at: [] if value == rule else [f"{at[2]}: {value!r} is not {rule!r}"],
    "enum": lambda value, rule, *at: [] if value in rule else [f"{at[2]}: {value!r} is none of {rule}"],
    "pattern": lambda value, rule, *at: (
        [f"{at[2]}: {value!r} is not of {rule}"] if isinstance(value, str) and not re.search(rule, value) else []),
    "minimum": lambda value, rule, *at: (
        [f"{at[2]}: {value} is below {rule}"] if isinstance(value, (int, float)) and value < rule else []),
    "maximum": lambda value, rule, *at: (
        [f"{at[2]}: {value} is above {rule}"] if isinstance(value, (int, float)) and value > rule else []),
    "items": lambda value, rule, _schema, root, place: [
        line for at, item in enumerate(value if isinstance(value, list) else [])
        for line in problems(item, rule, root, f"{place}[{at}]")],
    "$ref": lambda value, rule, _schema, root, place: problems(
        value, root["definitions"][rule.removeprefix("#/definitions/")], root, place),
}
