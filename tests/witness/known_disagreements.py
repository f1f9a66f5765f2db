"""Where a witness says something else than the standard, one by one. docs/decoding.md has the same
list in words, under the same numbers.

Each names the witness, the field, the condition under which it differs and, wherever that is
known, exactly what the witness says then: anything else is a new disagreement."""

import generator
import sdrcomp
from court import NAME_OFFSETS, Known


def encoding(case):
    return case.name_byte() >> 6


def string(case):
    """The bytes of the name, whatever their encoding."""
    return case.record[NAME_OFFSETS[case.kind] + 1:]


def length(case):
    return case.name_byte() & 0x1F


# freeipmi

def sixteen_raw_bytes(case, _field, _must, theirs):
    return encoding(case) != generator.ASCII and theirs == list(string(case)[:16])


def channel_halves_swapped(case, _field, must, theirs):
    return case.kind == 0x10 and theirs == (must & 7) << 3 | must >> 3


def one_over_cube(case, _field, must, theirs):
    if case.ours["linearization"] != 11 or must is None:
        return False
    linear = must ** 3
    if linear == 0:
        return theirs in (0, "not finite")
    wrong = 1 / linear ** 3
    return theirs != "not finite" and abs(theirs - wrong) <= 1e-6 * abs(wrong)


def zero_inverted(case, _field, must, theirs):
    return case.ours["linearization"] == 7 and must is None and theirs == 0


# pyipmi

def bytes_for_characters(case, _field, _must, theirs):
    return encoding(case) != generator.ASCII and theirs == list(string(case)[:length(case)])


def rate_shifted_away(_case, _field, must, theirs):
    return must != 0 and theirs == 0


def accuracy_two_bits_too_high(_case, _field, must, theirs):
    return theirs == (must & 0x3F | must >> 6 << 8)


def refused_type(case, _field, _must, theirs):
    return theirs == f"Unsupported SDR type(0x{case.kind:02x})"


def no_analog_reading(case, _field, must, _theirs):
    return must is None and case.ours["analog_format"] == "none"


def root_of_negative(case, _field, must, theirs):
    return case.ours["linearization"] == 11 and must is not None and must < 0 \
        and theirs in ("not finite", "complex")


# pyghmi

def accuracy_shifted_whole(case, _field, _must, theirs):
    return theirs == (case.record[27] & 0x3F) + (case.record[28] & 0xF0) << 2


def never_ends(case, _field, _must, theirs):
    return encoding(case) == generator.SIX_BIT and len(string(case)) >= 3 and theirs == "TooSlow"


def six_bit_in_threes(case, _field, must, theirs):
    return encoding(case) == generator.SIX_BIT and 0 < len(string(case)) < 3 and theirs == ""


def every_nibble(case, _field, must, theirs):
    return encoding(case) == generator.BCD_PLUS and len(must) % 2 == 1 \
        and theirs == must + generator.BCD_CHARACTERS[string(case)[-1] & 15]


def taken_for_utf8(case, _field, _must, theirs):
    text = bytes(string(case))
    try:
        wrong = text.decode()
    except UnicodeDecodeError:
        wrong = "UnicodeDecodeError"
    plain = all(byte < 0x80 for byte in text)
    return theirs == wrong and (encoding(case) == generator.UNICODE
                                or encoding(case) == generator.ASCII and not plain)


# sdrcomp, compiling

def multiplied_for_divided(case, _field, must, theirs):
    """Code 1 is a division and code 2 a product; it has them the other way round."""
    use = must >> 1 & 3
    return use in (1, 2) and theirs == must ^ 6


def settable_sensor(case, _field, must, theirs):
    return case.kind == 1 and must & 0x80 and theirs == must & 0x7F


def refused_accuracy(case, _field, _must, theirs):
    return case.kind == 1 and case.ours["accuracy"] >= 512 \
        and theirs == "Value out of range for bit size"


def refused_channel(case, _field, _must, theirs):
    return case.kind == 0x10 and case.ours["channel"] >= 8 \
        and theirs == "Value too large for bit size"


def refused_instance(case, _field, _must, theirs):
    return case.kind == 9 and case.record[6] >= 16 and theirs == "Value too large for bit size"


def nibbles_swapped(case, _field, must, theirs):
    return case.kind == 9 and theirs == (must & 15) << 4 | must >> 4


def two_at_least(_case, _field, must, theirs):
    return len(must) == 1 and theirs == must + "\0"


def digits_swapped(_case, _field, must, theirs):
    """BCD plus with the low nibble first."""
    pairs = [must[i:i + 2].ljust(2, "0") for i in range(0, len(must), 2)]
    swapped = "".join(pair[1] + pair[0] for pair in pairs)
    return set(must) <= set(generator.BCD_CHARACTERS) and theirs == swapped[:len(must)]


def ampersand(_case, _field, must, theirs):
    return "&" in must and theirs == must.replace("&", "@")


# sdrcomp, decompiling

def byte_behind(case, field, _must, theirs):
    """Every flag is read from the byte behind its own."""
    offset, bit = sdrcomp.flags(case.kind)[field.removeprefix("flag ")]
    return theirs == bool(case.record[offset + 1] >> bit & 1)


def negated(value, sign):
    """How it makes a number with the bit `sign` negative."""
    return -(value - (sign - 1)) if value & sign else value


def wrong_sign(sign):
    """A number is negated where a bit of its own value is set."""
    def when(_case, _field, must, theirs):
        mask = {0x20: 0x3FF, 0x02: 0x3FF, 0x08: 0x0F}[sign]
        return theirs == negated(must & mask, sign)
    return when


def with_logical_bit(case, _field, must, theirs):
    return case.kind in (1, 2, 3) and theirs == must | 0x80


def high_nibble(case, _field, must, theirs):
    return case.kind == 9 and theirs == must >> 4


def whole_byte(case, _field, must, theirs):
    return case.kind == 9 and theirs == must << 4


def three_bits(case, _field, must, theirs):
    return case.kind == 0x10 and theirs == must & 7


def commercial_at(_case, _field, must, theirs):
    return "@" in must and theirs == must.replace("@", "&")


def unicode_as_bytes(case, _field, _must, theirs):
    text = bytes(string(case)[:length(case)]).decode("latin-1")
    return encoding(case) == generator.UNICODE and theirs == text.partition("\0")[0]


def raw_of(case, field):
    return case.ours["thresholds"][field.removesuffix(".value")]["raw"]


def linear(case, x):
    ours = case.ours
    return (ours["m"] * x + ours["b"] * 10 ** ours["b_exp"]) * 10 ** ours["r_exp"]


def printed(value, theirs):
    """With six decimals."""
    return abs(value - theirs) <= 0.51e-6 + 1e-9 * abs(value)


def negative_raw(case, field, _must, theirs):
    signed = case.ours["analog_format"] in ("ones complement", "twos complement")
    raw = raw_of(case, field)
    return signed and raw >= 0x80 and printed(linear(case, negated(raw, 0x80)), theirs)


def not_linearized(case, field, _must, theirs):
    signed = case.ours["analog_format"] in ("ones complement", "twos complement")
    raw = raw_of(case, field)
    x = negated(raw, 0x80) if signed else raw
    return case.ours["linearization"] != 0 and printed(linear(case, x), theirs)


def six_decimals(case, _field, must, theirs):
    return case.ours["linearization"] == 0 and printed(must, theirs)


ALL = (
    Known(1, "freeipmi", "name_bytes", sixteen_raw_bytes),
    Known(2, "freeipmi", "channel", channel_halves_swapped),
    Known(3, "freeipmi", "*.value", one_over_cube),
    Known(4, "freeipmi", "*.value", zero_inverted),
    Known(5, "pyipmi", "refusal", refused_type),
    Known(6, "pyipmi", "name_bytes", bytes_for_characters),
    Known(7, "pyipmi", "rate_unit", rate_shifted_away),
    Known(8, "pyipmi", "accuracy", accuracy_two_bits_too_high),
    Known(9, "pyipmi", "*.value", no_analog_reading),
    Known(10, "pyipmi", "*.value", root_of_negative),
    Known(11, "pyghmi", "name", never_ends),
    Known(12, "pyghmi", "name", six_bit_in_threes),
    Known(13, "pyghmi", "name", every_nibble),
    Known(14, "pyghmi", "name", taken_for_utf8),
    Known(15, "pyghmi", "accuracy", accuracy_shifted_whole),
    Known(16, "pyghmi", "*.value", root_of_negative),
    Known(17, "sdrcomp", "byte 20", multiplied_for_divided),
    Known(18, "sdrcomp", "byte 10", settable_sensor),
    Known(19, "sdrcomp", "compiled", refused_accuracy),
    Known(20, "sdrcomp", "compiled", refused_channel),
    Known(21, "sdrcomp", "compiled", refused_instance),
    Known(22, "sdrcomp", "byte *", nibbles_swapped),
    Known(23, "sdrcomp", "name, *", two_at_least),
    Known(24, "sdrcomp", "name, packed", digits_swapped),
    Known(25, "sdrcomp", "name, packed", ampersand),
    Known(26, "sdrcomp -d", "flag *", byte_behind),
    Known(27, "sdrcomp -d", "[mb]", wrong_sign(0x20)),
    Known(28, "sdrcomp -d", "accuracy", wrong_sign(0x02)),
    Known(29, "sdrcomp -d", "[rb]_exp", wrong_sign(0x08)),
    Known(30, "sdrcomp -d", "entity_instance", with_logical_bit),
    Known(31, "sdrcomp -d", "container_entity_inst", high_nibble),
    Known(32, "sdrcomp -d", "channel", whole_byte),
    Known(33, "sdrcomp -d", "channel", three_bits),
    Known(34, "sdrcomp -d", "name", commercial_at),
    Known(35, "sdrcomp -d", "name", digits_swapped),
    Known(36, "sdrcomp -d", "name", unicode_as_bytes),
    Known(37, "sdrcomp -d", "*.value", not_linearized),
    Known(38, "sdrcomp -d", "*.value", six_decimals),
    Known(39, "sdrcomp -d", "*.value", negative_raw),
)

# What each witness decodes, so that none falls silent.
SENSOR = ("owner_id", "owner_lun", "sensor_number", "sensor_type", "event_type")
FACTORS = ("m", "r_exp")
READINGS = tuple(f"{key}.value" for key in ("nominal", "normal_max", "normal_min", "sensor_max",
                                            "sensor_min", *sdrcomp.THRESHOLDS))
LOCATORS = ("device_address", "channel", "fru_id", "device_type", "device_type_modifier")
MUST_BE_COMPARED = {
    "freeipmi": ("record_id", "type", *SENSOR, *FACTORS, *READINGS, *LOCATORS, "channel", "b",
                 "b_exp", "entity_id", "entity_instance", "entity_logical", "entity_instance_byte",
                 "direction", "hysteresis", "share_count", "id_modifier", "id_modifier_offset",
                 "entity_instance_sharing", "rate_unit", "base_unit", "modifier_unit",
                 "assertion_events", "deassertion_events", "readable_thresholds",
                 "settable_thresholds", "linearization", "analog_format", "accuracy_percent",
                 "specified", "access_address", "slave_address", "oem", "logical",
                 "device_capabilities", "name_bytes", "manufacturer_id", "data",
                 *(f"{key}.raw" for key in sdrcomp.THRESHOLDS)),
    "pyipmi": ("record_id", "type", *SENSOR, *FACTORS, *READINGS, "b", "b_exp", "tolerance",
               "accuracy_exp", "entity_id", "entity_instance_byte", "oem", "base_unit",
               "modifier_unit", "assertion_events", "deassertion_events", "reading_mask",
               "hysteresis", "sharing_word", "analog_format", "linearization", "specified",
               "device_address", "channel", "channel_byte", "capabilities_byte", "name_bytes"),
    "pyghmi": (*SENSOR, *FACTORS, *READINGS, "constant", "tolerance", "accuracy_exp", "direction",
               "analog_format", "linearization", "fru_id", "logical", "device_type", "name"),
    "sdrcomp": ("compiled", *(f"byte {offset}" for offset in range(5, 47)), "name, 8-bit",
                "name, packed", "name in ascii", "name in 6bit", "name in bcdplus"),
    "sdrcomp -d": ("owner_id", "owner_lun", "channel", "sensor_number", "event_type", "m", "b",
                   "r_exp", "b_exp", "tolerance", "accuracy", "accuracy_exp", "oem", "share_count",
                   "id_modifier_offset", "fru_id", "device_type", "hysteresis.positive",
                   "contained.instance", "nominal.raw", "upper_critical.raw", "name"),
}

# Names that say more, or less, than the standard's table does; what stands in brackets or behind a
# full stop is not compared.
NAMES = {
    # Revision 1.1 renamed these three.
    ("sensor_type", "29"): "System Boot Initiated",
    ("sensor_type", "31"): "OS Boot",
    ("sensor_type", "32"): "OS Critical Stop",
    # These are the table's own words and their explanation in one.
    ("specific_state", "12.0"): "Correctable ECC/other correctable memory error",
    ("specific_state", "12.1"): "Uncorrectable ECC/other uncorrectable memory error",
    ("specific_state", "36.2"): "Platform Event Trap generated, formatted per IPMI PET specification",
}
