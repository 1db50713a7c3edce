# SPDX-License-Identifier: Apache-2.0
"""Judges result records (JSON lines) by the schema: validate_results.py SCHEMA (FILE... | --run PROGRAM).

With --run it also makes sure that the schema would notice: every record with a member missing, added or of
another type must be refused.
"""
import json
import subprocess
import sys

import jsonschema


def strict_constant(name):
    raise ValueError(f"{name} is no JSON")


def records_of(text):
    if not text.endswith("\n"):
        raise ValueError("the last line has no end")
    return [json.loads(line, parse_constant=strict_constant) for line in text[:-1].split("\n")]


def broken_versions(record):
    for name in record:
        yield f"without {name}", {key: value for key, value in record.items() if key != name}
        yield f"{name} of another type", dict(record, **{name: {"an": "object"}})
    yield "with another member", dict(record, surprise=1)
    for i, code in enumerate(record["codes"]):
        rest = record["codes"][:i] + record["codes"][i + 1:]
        for name in set(code) - {"bytes"}:
            cut = {key: value for key, value in code.items() if key != name}
            yield f"code without {name}", dict(record, codes=rest + [cut])
        yield "code with three points", dict(record, codes=rest + [dict(code, points=code["points"][:3])])


def main(schema_path, *arguments):
    with open(schema_path) as file:
        schema = json.load(file)
    kind = jsonschema.validators.validator_for(schema)
    kind.check_schema(schema)
    validator = kind(schema)
    running = arguments[0] == "--run"
    if running:
        out = subprocess.run(arguments[1:], check=True, capture_output=True).stdout
        texts = [out.decode("utf-8")]
    else:
        texts = [open(path, encoding="utf-8", newline="").read() for path in arguments]
    records = [record for text in texts for record in records_of(text)]
    errors = [f"record {i}: {error.json_path}: {error.message}"
              for i, record in enumerate(records) for error in validator.iter_errors(record)]
    if running:
        errors += [f"record {i} {what} is not refused" for i, record in enumerate(records)
                   for what, broken in broken_versions(record) if validator.is_valid(broken)]
    print("\n".join(errors) or f"{len(records)} records as the schema says")
    return 1 if errors or not records else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
