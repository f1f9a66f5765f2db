"""Compares our JSON of records, field by field, with what other decoders say of them."""

import collections
import dataclasses
import fnmatch
import re
import typing

import sdrcomp

ABSENT = "absent"
LEAST = 3  # comparisons below which a field was not really looked at
READINGS = ("nominal", "normal_max", "normal_min", "sensor_max", "sensor_min")
THRESHOLDS = tuple(sdrcomp.THRESHOLDS)
FORMATS = ("unsigned", "ones complement", "twos complement", "none")
CAPABILITIES = tuple(sdrcomp.CAPABILITIES)
NAME_OFFSETS = {1: 47, 2: 31, 3: 16, 0x10: 15, 0x11: 15, 0x12: 15}


@dataclasses.dataclass(frozen=True)
class Known:
    number: int
    witness: str
    fields: str  # a pattern
    when: typing.Callable  # of (case, field, must, theirs)

    def covers(self, witness, field, case, must, theirs):
        return (witness == self.witness and fnmatch.fnmatchcase(field, self.fields)
                and self.when(case, field, must, theirs))

    def __str__(self):
        return f"{self.number}: {self.witness}, {self.fields}"


class Case:
    """A record, our JSON of it, and one witness's fields."""

    def __init__(self, record, ours):
        self.record = record
        self.ours = ours
        self.kind = record[3]

    def name_byte(self):
        return self.record[NAME_OFFSETS[self.kind]]


def instance_byte(case):
    return case.ours["entity_instance"] | case.ours["entity_logical"] << 7


def sharing_word(case):
    ours = case.ours
    return (ours["share_count"] | ours["id_modifier"] << 4 | ours["direction"] << 6
            | ours["id_modifier_offset"] << 8 | ours["entity_instance_sharing"] << 15)


def ascii_bytes(case):
    return list(case.ours["name"].encode("latin-1", "replace"))


def masked(which):
    return lambda case: [key for key in THRESHOLDS if case.ours["thresholds"].get(key, {}).get(which)]


# Of a witness's field that is no key of ours: what it must be by our JSON.
EXPECTED = {
    "entity_instance_byte": instance_byte,
    "sharing_word": sharing_word,
    "name_bytes": ascii_bytes,
    "analog_format": lambda case: FORMATS.index(case.ours["analog_format"]),
    "specified": lambda case: [key in case.ours for key in READINGS[:3]],
    "accuracy_percent": lambda case: case.ours["accuracy"] * 10 ** case.ours["accuracy_exp"] / 100,
    "readable_thresholds": masked("readable"),
    "settable_thresholds": masked("settable"),
    "constant": lambda case: case.ours["b"] * 10 ** case.ours["b_exp"],
    "slave_address": lambda case: case.ours["device_address"] & 0xFE,
    "owner_address": lambda case: case.ours["owner_id"],
    "owner_software": lambda case: case.ours["owner_id"],
    "threshold": lambda case: case.ours["event_type"] == 1,
    "logical": lambda case: "fru_id" in case.ours,
    "channel_byte": lambda case: case.ours["channel"] << 4,
    "capabilities_byte": lambda case: sum(1 << CAPABILITIES.index(name)
                                          for name in case.ours["device_capabilities"]),
}


def real(reading):
    """A reading's value, None where there is none."""
    return reading.get("value")


def reading(ours, key):
    """The reading or threshold of that name; an empty one if there is none."""
    return ours.get(key) or ours.get("thresholds", {}).get(key, {})


def expand(case, fields):
    """(field, what it must be, what the witness says) of everything that can be compared."""
    ours = case.ours
    for field, theirs in fields.items():
        if field == "readings":
            for key, value in zip(READINGS, theirs):
                if key in ours:
                    yield key + ".value", real(ours[key]), value
        elif field == "reading_raws":
            for key, value in zip(READINGS, theirs):
                if key in ours:
                    yield key + ".raw", ours[key]["raw"], value
        elif field in ("threshold_values", "threshold_raws"):
            for key, value in theirs.items():
                if key not in ours.get("thresholds", {}):
                    continue
                threshold = ours["thresholds"][key]
                if field == "threshold_raws":
                    yield key + ".raw", threshold["raw"], value
                else:
                    yield key + ".value", real(threshold), value
        elif field == "fru_id" and "fru_id" not in ours:
            continue  # its byte is a slave address, which `logical` tells
        elif field.endswith("able_thresholds") and "thresholds" not in ours:
            continue  # a compact sensor has masks, but nothing that they are about
        elif field == "data":
            yield field, ours.get("data", ABSENT), bytes(theirs).hex().upper()
        elif field in EXPECTED:
            yield field, EXPECTED[field](case), theirs
        elif field.endswith((".value", ".raw")):
            key, _, which = field.partition(".")
            yield field, reading(ours, key).get(which), theirs
        else:
            yield field, ours.get(field, ABSENT), theirs


class Printed(float):
    """A number as a witness prints it: right if it is as near as its decimals allow."""

    def __new__(cls, text):
        number = super().__new__(cls, text)
        number.decimals = len(text.partition(".")[2])
        return number

    def is_near(self, must):
        return abs(must - self) <= 0.501 * 10 ** -self.decimals + 1e-9 * abs(must)


def same(field, must, theirs):
    if isinstance(theirs, Printed):
        return isinstance(must, (int, float)) and theirs.is_near(must)
    numbers = isinstance(must, (int, float)) and isinstance(theirs, (int, float))
    if numbers and (field.endswith((".value", "_percent")) or field == "constant"):
        return abs(must - theirs) <= 1e-9 * max(abs(must), abs(theirs))
    # A linearization without a finite result: ours has no value, theirs says so in its way.
    if must is None and theirs in (None, "not finite"):
        return True
    return must == theirs and type(must) is type(theirs)


def words(name):
    """A name without case, punctuation and explanations."""
    plain = re.sub(r"\(.*?\)|\. .*", "", name)
    return "".join(c for c in plain.lower() if c.isalnum())


class Court:
    """Hears the witnesses, counts, and remembers what nobody can explain."""

    def __init__(self, known):
        """`known` are the disagreements that are excused."""
        self.known = known
        self.compared = collections.Counter()
        self.excused = collections.Counter()
        self.unexplained = []

    def compare(self, witness, case, field, must, theirs):
        self.compared[witness, field] += 1
        if same(field, must, theirs):
            return
        for known in self.known:
            if known.covers(witness, field, case, must, theirs):
                self.excused[known] += 1
                return
        self.unexplained.append(f"{witness}: {field}: ours {must!r}, theirs {theirs!r}: "
                                f"{case.record.hex()}")

    def hear(self, witness, case, fields):
        for field, must, theirs in expand(case, fields):
            self.compare(witness, case, field, must, theirs)

    def shortcomings(self, must_be_compared):
        """What was compared too rarely to mean anything, and disagreements that did not occur.

        `must_be_compared` has the fields of each witness."""
        for (witness, field), count in sorted(self.compared.items()):
            if count < LEAST:
                yield f"{witness}: {field} was compared only {count} times"
        for witness, fields in must_be_compared.items():
            for field in fields:
                if not self.compared[witness, field]:
                    yield f"{witness}: {field} was never compared"
        for known in self.known:
            if not self.excused[known]:
                yield f"{known} did not occur"
