#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-2.0-only OR BSD-3-Clause
"""Holds JSON objects, one behind the other on standard input, against a schema.

    check_json.py SCHEMA
"""
import json
import sys

import jsonschema

schema = json.load(open(sys.argv[1]))
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
text = sys.stdin.read()
decoder = json.JSONDecoder()
count = 0
while text.strip():
    text = text.lstrip()
    value, end = decoder.raw_decode(text)
    text = text[end:]
    count += 1
    for error in validator.iter_errors(value):
        sys.exit(f"object {count} ({value.get('command')}): {error.message} at {list(error.path)}")
print(count)
