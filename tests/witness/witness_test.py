"""Compares our JSON of generated records, field by field, with what other decoders say of them.

witness_test.py DECODE_JSON FREEIPMI_JSON SCHEMA: the two programs beside this file, built, and the
JSON Schema that our objects keep to.

A difference must be one of known_disagreements.py; each of those must occur. What a witness does
not decode is not compared, but every field that it has must have been, and often."""

import collections
import json
import pathlib
import subprocess
import sys

import jsonschema

import generator
import known_disagreements
import python_peers
import sdrcomp
from court import NAME_OFFSETS, READINGS, Case, Court, instance_byte, words

LIMIT = 60  # seconds for a program over all records


def run(program, records, *arguments):
    """One JSON object for each record."""
    text = "".join(record.hex() + "\n" for record in records)
    done = subprocess.run([program, *arguments], input=text, capture_output=True, text=True,
                          timeout=LIMIT, check=True)
    return [json.loads(line) for line in done.stdout.splitlines()]


def hear_python_peers(court, cases):
    for case in cases:
        try:
            fields = python_peers.pyipmi_fields(case.record)
        except Exception as error:  # its DecodingError
            fields = {"refusal": str(error)}
        court.hear("pyipmi", case, fields)
        court.hear("pyghmi", case, python_peers.pyghmi_fields(case.record))


SOURCE_TYPES = (1, 2, 3, 8, 9, 0x10, 0x11, 0x12)


def can_be_written(name):
    return "\0" not in name and not set(name) & set("\"'\\") and name.isascii()


def hear_compiler(court, cases, decode):
    """The source that our JSON says, compiled: the bytes must be those that it was read from."""
    compiled, sources, results = [], [], []
    for case in cases:
        if case.kind not in SOURCE_TYPES or not can_be_written(case.ours.get("name", "")):
            continue
        source = sdrcomp.source(case.ours, case.record)
        try:
            result = sdrcomp.compile_source(source, True)
        except sdrcomp.Refused as refusal:
            court.compare("sdrcomp", case, "compiled", "a record", str(refusal).split(": ")[-1])
            continue
        court.compare("sdrcomp", case, "compiled", "a record", "a record")
        end = NAME_OFFSETS.get(case.kind, len(case.record))
        for offset in [3, *range(5, end)]:
            court.compare("sdrcomp", case, f"byte {offset}", case.record[offset], result[offset])
        if "name" in case.ours:
            compiled.append(case)
            sources.append(source)
            results.append(result)
    packed = sdrcomp.split(sdrcomp.compile_source("".join(sources), False))
    for how, records in (("8-bit", results), ("packed", packed)):
        for case, ours in zip(compiled, decode(records), strict=True):
            court.compare("sdrcomp", case, f"name, {how}", case.ours["name"], ours["name"])
            court.compared["sdrcomp", f"name in {ours['name_encoding']}"] += 1


DECOMPILED = {"sensor_owner_id": "owner_id", "sensor_owner_lun": "owner_lun",
              "channel_number": "channel", "device_channel_number": "channel",
              "container_entity_dev_chan": "channel", "container_entity_dev_addr": "device_address",
              "sensor_number": "sensor_number", "event_reading_type_code": "event_type",
              "m": "m", "b": "b", "r_exp": "r_exp", "b_exp": "b_exp", "tolerance": "tolerance",
              "accuracy": "accuracy", "accuracy_exp": "accuracy_exp", "oem": "oem",
              "share_count": "share_count", "instance_modifier_off": "id_modifier_offset",
              "device_type": "device_type", "device_type_modifier": "device_type_modifier",
              "fru_device_address": "fru_id"}


def decompiled_pairs(case, fields):
    ours = case.ours
    for theirs, key in DECOMPILED.items():
        if theirs in fields and key in ours:
            yield key, ours[key], int(fields[theirs])
    for theirs in ("entity_instance", "fru_entity_instance", "container_entity_inst"):
        if theirs in fields:
            sensor = case.kind in (1, 2, 3)
            yield theirs, ours["entity_instance"] if sensor else instance_byte(case), int(fields[theirs])
    for side in ("positive", "negative"):
        if f"{side}_hysteresis" in fields:
            yield f"hysteresis.{side}", ours["hysteresis"][side], int(fields[f"{side}_hysteresis"])
    for i in range(4):
        theirs = f"entity_{i + 1}_inst"
        if theirs in fields:
            at = (8 + 2 * i if case.kind == 8 else 12 + 4 * i) + 1
            yield "contained.instance", case.record[at], int(fields[theirs])
    names = ("nominal_reading", "normal_maximum", "normal_minimum", "sensor_maximum", "sensor_minimum")
    for key, theirs in zip(READINGS, names):
        if theirs in fields and key in ours:
            yield key + ".raw", ours[key]["raw"], int(fields[theirs])
    for key, short in sdrcomp.THRESHOLDS.items():
        if key in ours.get("thresholds", {}):
            threshold = ours["thresholds"][key]
            yield key + ".raw", threshold["raw"], int(fields[short + "_thresh"])
            if short + "_fthresh" in fields and "value" in threshold:
                yield key + ".value", threshold["value"], float(fields[short + "_fthresh"])
    for theirs, (offset, bit) in sdrcomp.flags(case.kind).items():
        if theirs in fields:
            yield "flag " + theirs, case.record[offset] >> bit & 1 == 1, fields[theirs] == "true"
    if "name" in ours:
        yield "name", ours["name"], fields["id_string"]


def hear_decompiler(court, cases):
    known = [case for case in cases if case.kind in SOURCE_TYPES]
    sources = sdrcomp.decompile([case.record for case in known])
    for case, fields in zip(known, sources, strict=True):
        for field, must, theirs in decompiled_pairs(case, fields):
            court.compare("sdrcomp -d", case, field, must, theirs)


def hear_names(court, ours, theirs):
    """The tables: every name that the witness has, compared without case and punctuation."""
    for table, names in theirs.items():
        for code, name in names.items():
            must = ours[table][code]
            if not must and name.lower() in ("reserved", "unspecified"):
                continue
            field = f"{table} {code}"
            court.compared["freeipmi names", table] += 1
            if words(must) == words(name):
                continue
            known = known_disagreements.NAMES.get((table, code))
            if known == name:
                court.excused["name", table, code] += 1
            else:
                court.unexplained.append(f"freeipmi: {field}: ours {must!r}, theirs {name!r}")


def against_schema(path, objects):
    """What the schema says against our objects."""
    schema = json.loads(pathlib.Path(path).read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    del schema["anyOf"]
    validator = jsonschema.Draft202012Validator({**schema, "$ref": "#/$defs/record"})
    for ours in objects:
        for error in validator.iter_errors(ours):
            yield f"schema: {error.json_path}: {error.message}: {ours['bytes']}"


def enough(court):
    """What the witnesses were not asked, and disagreements that did not occur."""
    yield from court.shortcomings(known_disagreements.MUST_BE_COMPARED)
    for table, code in known_disagreements.NAMES:
        if not court.excused["name", table, code]:
            yield f"the name of {table} {code} does not differ"


def main(decode_json, freeipmi_json, schema):
    def decode(records):
        return run(decode_json, records)
    records = list(generator.Generator().all())
    cases = [Case(record, ours) for record, ours in zip(records, decode(records), strict=True)]
    court = Court(known_disagreements.ALL)
    for case, fields in zip(cases, run(freeipmi_json, records), strict=True):
        court.hear("freeipmi", case, fields)
    hear_python_peers(court, cases)
    hear_compiler(court, cases, decode)
    hear_decompiler(court, cases)
    hear_names(court, run(decode_json, [], "--names")[0], run(freeipmi_json, [], "--names")[0])

    cut = [record[:4] + bytes([size - 5]) + record[5:size]
           for record in records[::40] for size in range(5, len(record))]
    objects = [case.ours for case in cases] + decode(cut)
    complaints = court.unexplained + list(enough(court)) + list(against_schema(schema, objects))
    witnesses = collections.Counter()
    for (witness, _), count in court.compared.items():
        witnesses[witness] += count
    print(f"{len(objects)} objects against the schema")
    print(f"{len(records)} records;", ", ".join(f"{w}: {n} comparisons" for w, n in witnesses.items()))
    print(f"{sum(court.excused.values())} known disagreements of {len(court.excused)} kinds")
    for complaint in complaints:
        print(complaint)
    if complaints:
        print(f"{len(complaints)} complaints")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
