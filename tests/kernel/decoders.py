"""What two programs in the guest say of the BMC's records, under the keys of our JSON.

Both print text for people. What of it comes from the records is compared; what a BMC would have to
tell besides, readings and states, is not."""

import pathlib
import re
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "witness"))

import court
import decoder_disagreements
import generator

IPMITOOL, IPMI_SENSORS = "ipmitool", "ipmi-sensors"
NOBODYS_ID = b"\xff\xff"  # stands for the last record, whose own ID is another
# The types that each lists, all others in silence.
LISTED = {IPMITOOL: (1, 2, 3, 0x10, 0x11, 0x12),
          IPMI_SENSORS: (1, 2, 3, 8, 9, 0x10, 0x11, 0x12, 0x13, 0x14, 0xC0)}


def records():
    """What the BMC holds; none without a body, for there ipmitool ends."""
    source = generator.Generator()
    return [record for record in (*source.all(), *source.named())
            if record[4] > 0 and record[:2] != NOBODYS_ID]


def of_hex(text):
    return int(text.removesuffix("h"), 16)


def address(text):
    """Its seven bits, printed as a number of their own."""
    return of_hex(text) << 1


def of_yes(text):
    return {"Yes": True, "No": False}[text]


def real(text):
    """A real number, with a unit behind it or without."""
    word = text.split()[0].rstrip("%")
    return "not finite" if word.lstrip("-") in ("nan", "inf") else court.Printed(word)


def name_words(name):
    """A name as names are compared; none is that of a reserved code."""
    plain = court.words(name)
    return "reserved" if plain in ("", "unknown", "unrecognized") else plain


def unit_words(unit):
    """A unit as units are compared."""
    return unit.lower().replace(" / ", "/")


def named(text, base=16):
    """`Fan (4h)`, `Fan (0x04)` or `4h`: the code and the name."""
    name, _, code = text.rpartition("(")
    return int(code.rstrip("h)"), base), name_words(name)


def code_of(text):
    return named(text)[0]


def read(table, lines):
    """The fields that `table` (label -> field, parser) finds in `lines` (label -> text)."""
    return {field: parse(lines[label]) for label, (field, parse) in table.items() if label in lines}


def read_named(table, lines, base=16):
    fields = {}
    for label, field in table.items():
        if label in lines:
            fields[field], fields[field.removesuffix("_id") + "_name"] = named(lines[label], base)
    return fields


# ipmi-sensors -vv

SENSORS_NAME = re.compile(r"^(?:Device )?ID String: (.*?)\n"
                          r"(?=Sensor Type: |Device (?:Access|Slave) Address: )",
                          re.DOTALL | re.MULTILINE)
SENSORS_KEYS = {
    "Record ID": ("record_id", int),
    "Record Type": ("type", code_of),
    "Sensor Number": ("sensor_number", int),
    "Sensor Owner ID": ("owner_id", of_hex),
    "IPMB Slave Address": ("owner_address", address),
    "System Software ID": ("owner_software", lambda text: address(text) | 1),
    "Sensor Owner LUN": ("owner_lun", of_hex),
    "Channel Number": ("channel", of_hex),
    "Entity Instance": ("entity_instance", int),
    "Entity Instance Type": ("entity_logical", {"Physical Entity": False,
                                                "Logical Container Entity": True}.get),
    "FRU Entity Instance": ("entity_instance_byte", int),
    "Container Entity Instance": ("entity_instance_byte", int),
    "Event/Reading Type Code": ("event_type", of_hex),
    "M": ("m", int),
    "B": ("b", int),
    "R Exponent": ("r_exp", int),
    "B Exponent": ("b_exp", int),
    "Linearization": ("linearization", code_of),
    "Analog Data Format": ("analog_format", code_of),
    "Accuracy": ("accuracy_percent", real),
    "Sensor Direction": ("direction", ("Unspecified", "Input", "Output").index),
    "Share Count": ("share_count", int),
    "ID String Instance Modifier Type": ("id_modifier", ("Numeric", "Alpha").index),
    "ID String Instance Modifier Offset": ("id_modifier_offset", int),
    "Entity Instance Sharing": ("entity_instance_sharing",
                                {"Same for all records": False,
                                 "Increments for reach shared record": True}.get),
    "Direct Slave Address": ("slave_address", address),
    "FRU Device ID": ("fru_id", of_hex),
    "Device Type Modifier": ("device_type_modifier", code_of),
    "OEM": ("oem", of_hex),
    "Manufacturer ID": ("manufacturer_id", code_of),
    "OEM Data": ("data", bytes.fromhex),
}
SENSORS_READINGS = {"nominal": "Nominal Reading", "normal_max": "Normal Max.",
                    "normal_min": "Normal Min.", "sensor_max": "Sensor Max. Reading",
                    "sensor_min": "Sensor Min. Reading"}
SENSORS_THRESHOLDS = {key: key.replace("_non_", " non-").replace("_", " ").title() + " Threshold"
                      for key in court.THRESHOLDS}
SENSORS_CAPABILITIES = {name: name for name in court.CAPABILITIES} | {"Bridge": "Bridge Support"}
SENSORS_RATES = {"us": "microsecond", "ms": "millisecond", "s": "second"}


def sensors_unit(text):
    """The unit behind a number, with the words for its parts that ours has."""
    unit = unit_words(re.sub(r"^\S+ ", "", text)).replace("% unspecified", "%")
    return re.sub(r"per (us|ms|s)$", lambda found: "per " + SENSORS_RATES[found[1]], unit)


def sensors_analog(lines):
    """Readings and thresholds, and their unit."""
    fields = {}
    labels = {**SENSORS_READINGS, **SENSORS_THRESHOLDS}
    present = {key: lines[label] for key, label in labels.items()
               if lines.get(label, "N/A") != "N/A"}
    if SENSORS_THRESHOLDS["upper_critical"] in lines:
        fields["readable_thresholds"] = [key for key in court.THRESHOLDS if key in present]
    if SENSORS_READINGS["nominal"] in lines:
        fields["specified"] = [key in present for key in court.READINGS[:3]]
    for key, text in present.items():
        fields[key + ".value"] = real(text)
        fields["unit"] = sensors_unit(text)
    return fields


def sensors_fields(block):
    name = SENSORS_NAME.search(block)
    plain = SENSORS_NAME.sub("", block)
    lines = dict(line.split(": ", 1) for line in plain.splitlines() if ": " in line)
    fields = read(SENSORS_KEYS, lines) | read_named({"Sensor Type": "sensor_type"}, lines)
    fields |= read_named(dict.fromkeys(("Entity ID", "FRU Entity ID", "Container Entity ID"),
                                       "entity_id"), lines, base=10)
    if "Device Type" in lines:
        fields["device_type"] = code_of(lines["Device Type"])
    if fields["type"] == 0x11:
        fields["device_address"] = address(lines["Device Access Address"])
        fields["logical"] = "fru_id" in fields
    if fields["type"] == 0x10:
        fields["access_address"] = address(lines["Device Access Address"])
    if fields["type"] == 0x12:
        fields["device_address"] = address(lines["Device Slave Address"])
        fields["device_capabilities"] = [key for key, label in SENSORS_CAPABILITIES.items()
                                         if of_yes(lines[label])]
    if name:
        fields["name"] = name[1]
    return fields | sensors_analog(lines)


def sensors_records(text):
    return [sensors_fields("Record ID: " + block)
            for block in re.split(r"(?:\A|\n\n)Record ID: ", text)[1:]]


# ipmitool -v sdr list all

TOOL_BEGIN = re.compile(r"(?:\A|\n\n)(?=(?:Sensor|Device) ID {14,15}: )")
TOOL_NAME = re.compile(r"\A(?:Sensor|Device) ID +: (.*?)(?: \(0x(\w+)\))?\n(?= ?Entity ID +: )",
                       re.DOTALL)
TOOL_KEYS = {
    "Device Slave Address": ("device_address", of_hex),
    "Channel Number": ("channel", of_hex),
    "Logical FRU Device": ("fru_id", of_hex),
    "OEM": ("oem", of_hex),
}
TOOL_READINGS = {"nominal": "Nominal Reading", "normal_max": "Normal Maximum",
                 "normal_min": "Normal Minimum", "sensor_max": "Maximum sensor range",
                 "sensor_min": "Minimum sensor range"}
TOOL_THRESHOLDS = {key: key.replace("_non_", " non-").replace("_", " ").capitalize()
                   for key in court.THRESHOLDS}
TOOL_MASKS = {"lnc": "lower_non_critical", "lcr": "lower_critical", "lnr": "lower_non_recoverable",
              "unc": "upper_non_critical", "ucr": "upper_critical", "unr": "upper_non_recoverable"}
TOOL_CAPABILITIES = {name: name for name in court.CAPABILITIES} | {
    "SDR Repository Device": "SDR Repository", "SEL Device": "SEL Device",
    "FRU Inventory Device": "FRU Inventory Device"}
TOOL_SENSOR = {"Sensor Type": None, "Sensor Type (Discrete)": False,
               "Sensor Type (Threshold)": True}


def tool_mask(text):
    """The thresholds of a mask; it prints other words where there is no access to them at all."""
    return sorted((TOOL_MASKS[word] for word in text.split()), key=court.THRESHOLDS.index)


def tool_reading(key, text):
    """A real number or, of a sensor that has none, the raw one."""
    if text.startswith("0x"):
        return {key + ".raw": int(text, 16)} if key in court.READINGS else {}
    return {key + ".value": text if text == "Unspecified" else real(text)}


def tool_sensor(lines):
    fields = {}
    for label, threshold in TOOL_SENSOR.items():
        if label in lines:
            fields |= read_named({label: "sensor_type"}, lines)
            if threshold is not None:
                fields["threshold"] = threshold
    for field, label in (("readable_thresholds", "Readable Thresholds"),
                         ("settable_thresholds", "Settable Thresholds")):
        if lines.get(label, "Thresholds").find("Thresholds") < 0:
            fields[field] = tool_mask(lines[label])
    sides = {side: lines.get(side.capitalize() + " Hysteresis", "")
             for side in ("positive", "negative")}
    if all(text.startswith("0x") for text in sides.values()):  # otherwise a real difference
        fields["hysteresis"] = {side: int(text, 16) for side, text in sides.items()}
    for key, label in {**TOOL_READINGS, **TOOL_THRESHOLDS}.items():
        if label in lines:
            fields |= tool_reading(key, lines[label])
    return fields


def tool_locator(lines):
    fields = {}
    if "Device Type.Modifier" in lines:
        kind, modifier = lines["Device Type.Modifier"].split()[0].split(".")
        fields |= {"device_type": of_hex(kind), "device_type_modifier": of_hex(modifier)}
        access = of_hex(lines["Device Access Address"])
        if "Device Slave Address" in lines:
            fields["access_address"] = access
        else:
            fields |= {"device_address": access, "logical": "Logical FRU Device" in lines}
    if "Device Capabilities" in lines:
        fields["device_capabilities"] = [key for key, label in TOOL_CAPABILITIES.items()
                                         if of_yes(lines[label])]
    return fields


def tool_fields(block):
    name = TOOL_NAME.match(block)
    lines = {}
    for line in block[name.end():].splitlines():
        label, _, text = line.partition(":")
        lines[label.strip()] = text.strip()
    fields = {"name": name[1]} | read(TOOL_KEYS, lines)
    place, _, entity = lines["Entity ID"].partition(" ")
    fields["entity_id"], fields["entity_instance"] = map(int, place.split("."))
    fields["entity_name"] = name_words(entity[1:-1])
    if name[2]:
        fields["sensor_number"] = int(name[2], 16)
    return fields | tool_sensor(lines) | tool_locator(lines)


def tool_records(text):
    return [tool_fields(block) for block in TOOL_BEGIN.split(text)[1:]]


PARSERS = {IPMITOOL: tool_records, IPMI_SENSORS: sensors_records}


def as_words(ours):
    """Our JSON with names and units as the witnesses' are compared."""
    plain = {"entity_name": name_words, "sensor_type_name": name_words, "unit": unit_words}
    return {key: plain[key](value) if key in plain else value for key, value in ours.items()}


def complaints(witness, text, ours):
    """What is wrong between what the witness printed and our JSON of the records, in their order.

    It must list all records of its types; a disagreement must be known, and a known one occur."""
    known = [one for one in decoder_disagreements.ALL if one.witness == witness]
    hearing = court.Court(known)
    listed = [entry for entry in ours if entry["type"] in LISTED[witness]]
    said = PARSERS[witness](text)
    if len(said) != len(listed):
        return [f"{witness} lists {len(said)} records of {len(listed)}"]
    for entry, fields in zip(listed, said):
        hearing.hear(witness, court.Case(bytes.fromhex(entry["bytes"]), as_words(entry)), fields)
    wanted = {witness: decoder_disagreements.MUST_BE_COMPARED[witness]}
    return hearing.unexplained + list(hearing.shortcomings(wanted))
