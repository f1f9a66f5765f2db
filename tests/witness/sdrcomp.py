"""sdrcomp, the SDR compiler of OpenIPMI, both ways."""

import pathlib
import subprocess
import tempfile

LIMIT = 60  # seconds for one call
THRESHOLDS = {"lower_non_critical": "lnc", "lower_critical": "lc", "lower_non_recoverable": "lnr",
              "upper_non_critical": "unc", "upper_critical": "uc", "upper_non_recoverable": "unr"}
THRESHOLD_EVENTS = [short + edge for short in THRESHOLDS.values() for edge in ("gl", "gh")]
CAPABILITIES = {"Sensor Device": "sensor", "SDR Repository Device": "sdr", "SEL Device": "sel",
                "FRU Inventory Device": "fru_inventory", "IPMB Event Receiver": "ipmb_event_recv",
                "IPMB Event Generator": "ipmb_event_gen", "Bridge": "bridge",
                "Chassis Device": "chassis"}
FORMATS = ("unsigned", "ones complement", "twos complement", "none")
RATES = ("none", "per_us", "per_ms", "per_s", "per_min", "per_hour", "per_day")
MODIFIERS = ("none", "divide", "multiply")
GEN_EVENTS = ("enable_event_msg_gen", "disable_event_msg_gen", "do_not_init")


class Refused(Exception):
    pass


def _run(arguments, content):
    with tempfile.TemporaryDirectory() as directory:
        source, output = pathlib.Path(directory, "in"), pathlib.Path(directory, "out")
        source.write_bytes(content)
        done = subprocess.run(["sdrcomp", *arguments, "-o", output, source], capture_output=True,
                              timeout=LIMIT, check=False)
        if done.returncode != 0 or not output.exists():
            raise Refused(done.stderr.decode(errors="replace").strip())
        return output.read_bytes()


def compile_source(text, eight_bit):
    """The bytes of the records that the source text gives; without `eight_bit` a name is packed
    where it can be."""
    return _run(["-r", "-8"] if eight_bit else ["-r"], text.encode("latin-1"))


def split(data):
    """The records that stand one after the other in `data`."""
    records = []
    while data:
        size = 5 + data[4]
        records.append(data[:size])
        data = data[size:]
    return records


def decompile(records):
    """What sdrcomp's source says of each record: {field: value}, texts as they stand."""
    sources = []
    for line in _run(["-r", "-d"], b"".join(records)).decode("latin-1").split("\n"):
        if line.startswith("sdr "):
            sources.append({})
        elif line.startswith("\t"):
            key, _, value = line[1:].partition("\t")
            sources[-1][key] = value
    return sources


def _flag(value):
    return "true" if value else "false"


def source(ours, record):
    """The source of the record that `ours`, its JSON, describes. What the JSON does not tell is
    taken from the bytes."""
    kind = ours["type"]
    fields = {1: _sensor, 2: _sensor, 3: _sensor, 8: _association, 9: _association, 0x10: _generic,
              0x11: _fru, 0x12: _controller}[kind](ours, record)
    if "name" in ours:
        fields["id_string"] = '"' + ours["name"] + '"'
    lines = "".join(f"\t{key}\t{value}\n" for key, value in fields.items())
    return f"sdr type {kind}\n{lines}endsdr\n"


def _entity(ours):
    return {"entity_id": ours["entity_id"], "logical_entity": _flag(ours["entity_logical"]),
            "entity_instance": ours["entity_instance"]}


def _instance_byte(ours):
    return ours["entity_instance"] | ours["entity_logical"] << 7


def _sensor(ours, record):
    kind = ours["type"]
    fields = {"sensor_owner_id": ours["owner_id"], "channel_number": ours["channel"],
              "sensor_owner_lun": ours["owner_lun"], "sensor_number": ours["sensor_number"],
              **_entity(ours)}
    if kind != 3:
        fields.update(_initialization(kind, record))
    fields.update(sensor_type=ours["sensor_type"], event_reading_type_code=ours["event_type"])
    if kind != 3:
        fields.update(_masks(ours, record), **_units(ours, record))
    fields["sensor_direction"] = ours["direction"]
    if kind == 1:
        fields.update(_full(ours, record))
    else:
        fields.update(id_string_modifier=("numeric", "alpha")[ours["id_modifier"]],
                      share_count=ours["share_count"],
                      entity_instance_incr=_flag(ours["entity_instance_sharing"]),
                      instance_modifier_off=ours["id_modifier_offset"])
    if kind != 3:
        fields.update(positive_hysteresis=ours["hysteresis"]["positive"],
                      negative_hysteresis=ours["hysteresis"]["negative"])
    fields["oem"] = ours["oem"]
    return fields


def _initialization(kind, record):
    bits = {"init_scanning": 6, "init_events": 5, "init_thresholds": 4,
            "init_hysteresis" if kind == 1 else "init_systeresis": 3, "init_sensor_type": 2,
            "default_event_gen_on": 1, "default_sensor_scan_on": 0}
    fields = {key: _flag(record[10] >> bit & 1) for key, bit in bits.items()}
    capabilities = record[11]
    fields.update(ignore_if_no_entity=_flag(capabilities & 0x80),
                  sensor_auto_rearm=_flag(capabilities & 0x40),
                  sensor_hysteresis=capabilities >> 4 & 3,
                  sensor_threshold_access=capabilities >> 2 & 3,
                  sensor_event_msg_ctrl=capabilities & 3)
    return fields


def _masks(ours, record):
    fields = {}
    if ours["event_type"] != 1:
        for i in range(15):
            fields[f"assert_event{i}"] = _flag(i in ours["assertion_events"])
            fields[f"deassert_event{i}"] = _flag(i in ours["deassertion_events"])
            fields[f"event{i}_state_ret"] = _flag(i in ours["reading_mask"])
        return fields
    full = ours["type"] == 1
    for i, name in enumerate(THRESHOLD_EVENTS):
        fields[f"assert_{name}"] = _flag(i in ours["assertion_events"])
        fields[f"deassert_{name}"] = _flag(i in ours["deassertion_events"])
    for i, short in enumerate(("lnc", "lc", "lnr")):
        fields[("return_" if full else "assert_") + short] = _flag(record[15] >> 4 + i & 1)
    # In compact sensors the upper ones bear the lower ones' names.
    for i, short in enumerate(("return_unc", "return_uc", "return_unr") if full
                              else ("deassert_lnc", "deassert_lc", "deassert_lnr")):
        fields[short] = _flag(record[17] >> 4 + i & 1)
    for i, (key, short) in enumerate(THRESHOLDS.items()):
        if full:
            threshold = ours["thresholds"].get(key, {})
            readable, settable = threshold.get("readable"), threshold.get("settable")
        else:
            readable, settable = record[18] >> i & 1, record[19] >> i & 1
        fields[f"{short}_thrsh_readable"] = _flag(readable)
        fields[f"{short}_thrsh_settable"] = _flag(settable)
    return fields


def _units(ours, record):
    return {"rate_unit": RATES[ours["rate_unit"]], "modifier_unit": MODIFIERS[record[20] >> 1 & 3],
            "percentage": _flag(record[20] & 1), "base_unit": ours["base_unit"],
            "modifier_unit_code": ours["modifier_unit"]}


def _full(ours, record):
    fields = {"analog_data_format": FORMATS.index(ours["analog_format"])}
    for key in ("linearization", "m", "tolerance", "b", "accuracy", "accuracy_exp", "r_exp",
                "b_exp"):
        fields[key] = ours[key]
    for i, key in enumerate(("nominal", "normal_max", "normal_min")):
        fields[f"{key}_specified"] = _flag(key in ours)
        name = ("nominal_reading", "normal_maximum", "normal_minimum")[i]
        fields[name] = ours.get(key, {"raw": record[31 + i]})["raw"]
    fields.update(sensor_maximum=ours["sensor_max"]["raw"], sensor_minimum=ours["sensor_min"]["raw"])
    offsets = {"unr": 36, "uc": 37, "unc": 38, "lnr": 39, "lc": 40, "lnc": 41}
    for key, short in THRESHOLDS.items():
        unused = {"raw": record[offsets[short]]}
        fields[f"{short}_thresh"] = ours["thresholds"].get(key, unused)["raw"] \
            if "thresholds" in ours else unused["raw"]
    return fields


def _association(ours, record):
    device = ours["type"] == 9
    flags = record[9 if device else 7]
    fields = {"container_entity_id": ours["entity_id"], "container_entity_inst": _instance_byte(ours)}
    if device:
        fields.update(container_entity_dev_addr=ours["device_address"],
                      container_entity_dev_chan=ours["channel"])
    ranges = [entity.get("range", False) for entity in ours["contained_entities"]]
    fields.update(entities_are_range=_flag(any(ranges) if ranges else flags & 0x80),
                  linked_ears=_flag(flags & 0x40),
                  presence_sensor_always_there=_flag(flags & 0x20))
    size, first = (4, 10) if device else (2, 8)
    contained = list(ours["contained_entities"])
    for i in range(4):
        at = first + size * i
        used = record[at + size - 2] != 0
        entity = contained.pop(0) if used else {"entity_id": 0, "entity_instance": record[at + size - 1]}
        if device:
            fields[f"entity_{i + 1}_dev_addr"] = record[at]
            fields[f"entity_{i + 1}_dev_chan"] = record[at + 1] >> 4
        fields[f"entity_{i + 1}_id"] = entity["entity_id"]
        fields[f"entity_{i + 1}_inst"] = entity["entity_instance"] | entity.get("entity_logical", 0) << 7
    return fields


def _generic(ours, record):
    return {"device_access_address": ours["access_address"],
            "device_slave_address": ours["device_address"], "channel_number": ours["channel"],
            "lun": record[7] >> 3 & 3, "private_bus_id": record[7] & 7, "address_span": record[8] & 7,
            "device_type": ours["device_type"], "device_type_modifier": ours["device_type_modifier"],
            "entity_id": ours["entity_id"], "entity_instance": _instance_byte(ours),
            "oem": ours["oem"]}


# Where sdrcomp has the flags: (offset, bit).
FLAGS = {
    "sensor": {"logical_entity": (9, 7)},
    "reading": {"init_scanning": (10, 6), "init_events": (10, 5), "init_thresholds": (10, 4),
                "init_sensor_type": (10, 2), "default_event_gen_on": (10, 1),
                "default_sensor_scan_on": (10, 0), "ignore_if_no_entity": (11, 7),
                "sensor_auto_rearm": (11, 6), "percentage": (20, 0),
                **{f"assert_event{i}": (14 + i // 8, i % 8) for i in range(15)},
                **{f"deassert_event{i}": (16 + i // 8, i % 8) for i in range(15)},
                **{f"event{i}_state_ret": (18 + i // 8, i % 8) for i in range(15)},
                **{f"{short}_thrsh_readable": (18, i) for i, short in enumerate(THRESHOLDS.values())},
                **{f"{short}_thrsh_settable": (19, i) for i, short in enumerate(THRESHOLDS.values())}},
    1: {"init_hysteresis": (10, 3), "nominal_specified": (30, 0), "normal_max_specified": (30, 1),
        "normal_min_specified": (30, 2)},
    2: {"init_systeresis": (10, 3), "entity_instance_incr": (24, 7)},
    3: {"entity_instance_incr": (13, 7)},
    8: {"entities_are_range": (7, 7), "linked_ears": (7, 6), "presence_sensor_always_there": (7, 5)},
    9: {"entities_are_range": (9, 7), "linked_ears": (9, 6), "presence_sensor_always_there": (9, 5)},
    0x10: {},
    0x11: {"logical_fru": (7, 7)},
    0x12: {"ACPI_sys_power_state": (7, 7), "ACPI_dev_power_state": (7, 6),
           "static_controller": (7, 5), "controller_logs_init": (7, 3), "log_init": (7, 2),
           **{key: (8, i) for i, key in enumerate(CAPABILITIES.values())}},
}


def flags(kind):
    """The flags of a type: {field: (offset, bit)}."""
    where = dict(FLAGS[kind])
    if kind in (1, 2, 3):
        where.update(FLAGS["sensor"])
    if kind in (1, 2):
        where.update(FLAGS["reading"])
    return where


def _fru(ours, record):
    return {"device_access_address": ours["device_address"],
            "fru_device_address": ours.get("fru_id", record[6]),
            "logical_fru": _flag("fru_id" in ours), "lun": record[7] >> 3 & 3,
            "private_bus_id": record[7] & 7, "channel_number": ours["channel"],
            "device_type": ours["device_type"], "device_type_modifier": ours["device_type_modifier"],
            "fru_entity_id": ours["entity_id"], "fru_entity_instance": _instance_byte(ours),
            "oem": ours["oem"]}


def _controller(ours, record):
    power = record[7]
    fields = {"device_slave_address": ours["device_address"],
              "device_channel_number": ours["channel"],
              "ACPI_sys_power_state": _flag(power & 0x80),
              "ACPI_dev_power_state": _flag(power & 0x40), "static_controller": _flag(power & 0x20),
              "controller_logs_init": _flag(power & 8), "log_init": _flag(power & 4),
              "gen_events": GEN_EVENTS[power & 3]}
    for name, key in CAPABILITIES.items():
        fields[key] = _flag(name in ours["device_capabilities"])
    fields.update(entity_id=ours["entity_id"], entity_instance=_instance_byte(ours), oem=ours["oem"])
    return fields
