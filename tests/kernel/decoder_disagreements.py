"""Where a program in the guest says something else of a record than the standard, one by one, as in
tests/witness/known_disagreements.py. docs/decoding.md has the same list in words, under the same
numbers."""

import re

import court
import generator
import known_disagreements
from court import Known
from known_disagreements import encoding, length, linear, string

UNSPECIFIED = "Unspecified"
NON_LINEAR = 0x70
TOP = {"unsigned": 0xFF, "ones complement": 0x00, "twos complement": 0x7F}
BOTTOM = {"unsigned": 0x00, "ones complement": 0xFF}
NONE = -1  # no raw value


def up_to_nul(code):
    return bytes(code).partition(b"\0")[0].decode("latin-1")


# ipmitool

def bytes_for_characters(case, _field, _must, theirs):
    """As many bytes as there are characters; of a locator all that there is room for."""
    shown = 16 if case.kind >= generator.GENERIC else length(case)
    return encoding(case) != generator.ASCII and theirs == up_to_nul(string(case)[:shown])


def low_channel_bits(case, _field, must, theirs):
    return case.kind == 0x10 and theirs == must & 7


def extreme_or_zero(case, field, must, theirs):
    key = field.removesuffix(".value")
    ends = TOP if key == "sensor_max" else BOTTOM
    at_end = court.reading(case.ours, key).get("raw", NONE) == ends.get(case.ours["analog_format"])
    return theirs == UNSPECIFIED and (at_end or must == 0)


def as_if_linear(case, field, must, theirs):
    raw = court.reading(case.ours, field.removesuffix(".value")).get("raw", NONE)
    if case.ours["linearization"] < NON_LINEAR or must is not None or raw == NONE:
        return False
    if case.ours["analog_format"] == "twos complement" and raw >= 0x80:
        raw -= 0x100
    elif case.ours["analog_format"] == "ones complement" and raw >= 0x80:
        raw -= 0xFF
    return isinstance(theirs, court.Printed) and theirs.is_near(linear(case, raw))


# ipmi-sensors

def sixteen_raw_bytes(case, _field, _must, theirs):
    return encoding(case) != generator.ASCII and theirs == up_to_nul(string(case)[:16])


def one_over_cube(case, _field, must, theirs):
    if case.ours["linearization"] != 11 or must is None:
        return False
    if must == 0:
        return theirs == "not finite"
    return theirs != "not finite" and theirs.is_near(1 / must ** 9)


def modified(case):
    return case.record[20] >> 1 & 3 != 0


def rate_and_modifier(case, _field, _must, theirs):
    return modified(case) and case.ours["rate_unit"] != 0 and theirs == "unspecified"


def unspecified_modifier(case, _field, must, theirs):
    return modified(case) and case.ours["modifier_unit"] == 0 \
        and theirs == re.sub("(/| \\* )unspecified$", "", must)


# Names, as the court compares them: without case, punctuation and what stands in brackets.

CODES = {"entity_name": "entity_id", "sensor_type_name": "sensor_type"}


def called(first, last, name):
    """The codes from `first` to `last` have that name."""
    def when(case, field, _must, theirs):
        return first <= case.ours[CODES[field]] <= last and theirs == name
    return when


# Number, witness, field, and its names: first and last code, name.
NAMES = (
    (44, "ipmitool", "entity_name", (
        (0x90, 0xFF, "reserved"), (0xA0, 0xA0, "picmgfrontboard"),
        (0xC0, 0xC0, "picmgreartransitionmodule"), (0xC1, 0xC1, "picmgadvancedmcmodule"),
        (0xF0, 0xF0, "picmgshelfmanagementcontroller"), (0xF1, 0xF1, "picmgfiltrationunit"),
        (0xF2, 0xF2, "picmgshelffruinformation"), (0xF3, 0xF3, "picmgalarmpanel"))),
    (45, "ipmitool", "sensor_type_name", ((0xC0, 0xFF, "reserved"),)),
    (46, "ipmitool", "entity_name", (
        (0x13, 0x13, "powerunit"), (0x14, 0x14, "powermodule"), (0x15, 0x15, "powermanagement"),
        (0x1D, 0x1D, "fandevice"), (0x1E, 0x1E, "coolingunit"), (0x22, 0x22, "bios"),
        (0x26, 0x26, "remotemanagementdevice"), (0x42, 0x42, "baseboardmainsystemboard"))),
    (47, "ipmitool", "sensor_type_name", (
        (0x06, 0x06, "platformsecurity"), (0x0B, 0x0B, "other"), (0x0D, 0x0D, "driveslotbay"),
        (0x0F, 0x0F, "systemfirmwares"), (0x14, 0x14, "button"), (0x16, 0x16, "microcontroller"),
        (0x1D, 0x1D, "systembootinitiated"), (0x1F, 0x1F, "osboot"),
        (0x20, 0x20, "oscriticalstop"), (0x26, 0x26, "monitorasic"),
        (0x28, 0x28, "managementsubsyshealth"))),
    (54, "ipmi-sensors", "entity_name", ((0x37, 0x37, "reserved"),)),
    (55, "ipmi-sensors", "entity_name", (
        (0x41, 0x41, "processorcpu"), (0x42, 0x42, "baseboardmainsystemboard"),
        (0xD0, 0xFF, "oemsystemintegrator"))),
    (56, "ipmi-sensors", "sensor_type_name", (
        (0x1D, 0x1D, "systembootinitiated"), (0x1F, 0x1F, "osboot"),
        (0x20, 0x20, "oscriticalstop"), (0xC0, 0xFF, "oemreserved"))),
)

ALL = (
    Known(40, "ipmitool", "name", bytes_for_characters),
    Known(41, "ipmitool", "channel", low_channel_bits),
    Known(42, "ipmitool", "sensor_m??.value", extreme_or_zero),
    Known(43, "ipmitool", "*.value", as_if_linear),
    Known(48, "ipmi-sensors", "name", sixteen_raw_bytes),
    Known(49, "ipmi-sensors", "channel", known_disagreements.channel_halves_swapped),
    Known(50, "ipmi-sensors", "*.value", one_over_cube),
    Known(51, "ipmi-sensors", "*.value", known_disagreements.zero_inverted),
    Known(52, "ipmi-sensors", "unit", rate_and_modifier),
    Known(53, "ipmi-sensors", "unit", unspecified_modifier),
    *(Known(number, witness, field, called(*name))
      for number, witness, field, names in NAMES for name in names),
)

# What each decodes, so that neither falls silent.
BOTH = ("name", "sensor_number", "sensor_type", "sensor_type_name", "entity_id", "entity_name",
        "entity_instance", "readable_thresholds", "channel", "device_address", "access_address",
        "fru_id", "logical", "device_type", "device_type_modifier", "device_capabilities", "oem",
        *(f"{key}.value" for key in (*court.READINGS, *court.THRESHOLDS)))
MUST_BE_COMPARED = {
    "ipmitool": (*BOTH, "threshold", "settable_thresholds", "hysteresis",
                 *(f"{key}.raw" for key in court.READINGS)),
    "ipmi-sensors": (*BOTH, "record_id", "type", "owner_id", "owner_address", "owner_software",
                     "owner_lun", "event_type", "entity_logical", "entity_instance_byte", "m", "b",
                     "r_exp", "b_exp", "linearization", "analog_format", "accuracy_percent",
                     "specified", "unit", "direction", "share_count", "id_modifier",
                     "id_modifier_offset", "entity_instance_sharing", "slave_address",
                     "manufacturer_id", "data"),
}
