"""What python3-pyipmi and python3-pyghmi say of a record, under the keys of our JSON."""

import signal


class TooSlow(Exception):
    pass


def limited(seconds, call):
    """What `call` returns; TooSlow when it takes longer."""
    def give_up(_signal, _frame):
        raise TooSlow()
    signal.signal(signal.SIGALRM, give_up)
    signal.setitimer(signal.ITIMER_REAL, seconds)
    try:
        return call()
    finally:
        signal.setitimer(signal.ITIMER_REAL, 0)


CALL_LIMIT = 10  # seconds; a call that ends takes less than a thousandth of one
HOPELESS_LIMIT = 0.05


def offsets(mask, bits):
    return [i for i in range(bits) if mask >> i & 1]


def pyipmi_fields(record):
    """The fields that pyipmi decodes; it refuses some types."""
    from pyipmi.sdr import SdrCommon
    sdr = limited(CALL_LIMIT, lambda: SdrCommon.from_data(list(record)))
    kind = record[3]
    fields = {"record_id": sdr.id, "type": sdr.type}
    if kind in (1, 2, 3):
        fields.update(owner_id=sdr.owner_id, owner_lun=sdr.owner_lun, sensor_number=sdr.number,
                      entity_id=sdr.entity_id, entity_instance_byte=sdr.entity_instance,
                      oem=sdr.oem, event_type=sdr.event_reading_type_code)
    if kind in (1, 2):
        events = 12 if sdr.event_reading_type_code == 1 else 15
        fields.update(sensor_type=sdr.sensor_type_code, base_unit=sdr.units_2,
                      modifier_unit=sdr.units_3,
                      assertion_events=offsets(sdr.assertion_mask, events),
                      deassertion_events=offsets(sdr.deassertion_mask, events))
        if events == 15:
            fields["reading_mask"] = offsets(sdr.discrete_reading_mask, 15)
    if kind == 2:
        fields["hysteresis"] = {"positive": sdr.positive_going_hysteresis,
                                "negative": sdr.negative_going_hysteresis}
        fields["sharing_word"] = sdr.record_sharing
    if kind == 3:
        fields.update(sensor_type=sdr.sensor_type, sharing_word=sdr.record_sharing)
    if kind == 1:
        fields.update(_pyipmi_full(sdr))
    if kind == 0x11:
        fields.update(device_address=sdr.device_access_address << 1, fru_id=sdr.fru_device_id,
                      channel_byte=sdr.channel_number, device_type=sdr.device_type,
                      device_type_modifier=sdr.device_type_modifier)
    if kind == 0x12:
        fields.update(device_address=sdr.device_slave_address << 1, channel=sdr.channel_number,
                      capabilities_byte=sdr.device_capabilities)
    if kind in (0x11, 0x12):
        fields.update(entity_id=sdr.entity_id, entity_instance_byte=sdr.entity_instance,
                      oem=sdr.oem)
    if kind != 0xC0:
        fields["name_bytes"] = list(sdr.device_id_string)
    return fields


def _pyipmi_full(sdr):
    def value(raw):
        try:
            return limited(CALL_LIMIT, lambda: sdr.convert_sensor_raw_to_value(raw))
        except (ValueError, OverflowError, ZeroDivisionError):
            return "not finite"
        except Exception:  # its DecodingError
            return None
    names = {"lower_non_critical": "lnc", "lower_critical": "lcr", "lower_non_recoverable": "lnr",
             "upper_non_critical": "unc", "upper_critical": "ucr", "upper_non_recoverable": "unr"}
    readings = (sdr.nominal_reading, sdr.normal_maximum, sdr.normal_minimum,
                sdr.sensor_maximum_reading, sdr.sensor_minimum_reading)
    flags = ("nominal_reading", "normal_max", "normal_min")
    return {"rate_unit": sdr.rate_unit, "analog_format": sdr.analog_data_format,
            "linearization": sdr.linearization, "m": sdr.m, "tolerance": sdr.tolerance,
            "b": sdr.b, "accuracy": sdr.accuracy, "accuracy_exp": sdr.accuracy_exp,
            "r_exp": sdr.k2, "b_exp": sdr.k1,
            "specified": [flag in sdr.analog_characteristic for flag in flags],
            "reading_raws": list(readings), "readings": [value(raw) for raw in readings],
            "threshold_raws": {key: sdr.threshold[name] for key, name in names.items()},
            "threshold_values": {key: value(sdr.threshold[name]) for key, name in names.items()},
            "hysteresis": {"positive": sdr.hysteresis["positive_going"],
                           "negative": sdr.hysteresis["negative_going"]}}


class _Events:
    """The tables of names that pyghmi takes from the maker of the BMC; we compare codes."""
    entity_ids = {}
    sensor_type_codes = {}


NAME_OFFSETS = {1: 47, 2: 31, 3: 16, 0x11: 15}


def pyghmi_fields(record):
    """The fields that pyghmi decodes: sensors and FRU locators alone. Where it fails, it fails for
    the name: then the others are those of the record without one."""
    from pyghmi.ipmi.sdr import SDREntry
    kind = record[3]
    at = NAME_OFFSETS.get(kind)
    # Its loop over three bytes and more of a 6-bit name does not end.
    hopeless = at is not None and record[at] >> 6 == 2 and len(record) - at > 3
    trouble = None
    try:
        sdr = limited(HOPELESS_LIMIT if hopeless else CALL_LIMIT, lambda: SDREntry(record, _Events()))
    except (TooSlow, UnicodeDecodeError) as error:
        trouble = type(error).__name__
        record = record[:at] + b"\xC0"
        sdr = limited(CALL_LIMIT, lambda: SDREntry(record, _Events()))
    fields = {"type": sdr.rectype}
    if kind in (1, 2, 3):
        fields.update(owner_id=sdr.sensor_owner, owner_lun=sdr.sensor_lun,
                      sensor_number=sdr.sensor_number, sensor_type=sdr.sensor_type_number,
                      event_type=sdr.reading_type, name=sdr.sensor_name)
    if kind == 0x11:
        fields.update(fru_id=sdr.fru_number, logical=sdr.fru_logical,
                      device_type=sdr.fru_type_and_modifier >> 8,
                      device_type_modifier=sdr.fru_type_and_modifier & 0xFF, name=sdr.fru_name)
    if kind == 1:
        fields.update(analog_format=sdr.numeric_format, linearization=sdr.linearization)
        if sdr.linearization <= 11:
            fields.update(_pyghmi_full(sdr, record))
    if trouble:
        fields["name"] = trouble
    return fields


def _pyghmi_full(sdr, record):
    from pyghmi.ipmi.sdr import ones_complement, twos_complement

    def value(raw):
        if sdr.numeric_format == 3:
            return None
        if sdr.numeric_format == 2:
            raw = twos_complement(raw, 8)
        elif sdr.numeric_format == 1:
            raw = ones_complement(raw, 8)
        try:
            result = limited(CALL_LIMIT, lambda: sdr.decode_value(None, raw))
        except (ValueError, OverflowError, ZeroDivisionError):
            return "not finite"
        return "complex" if isinstance(result, complex) else result
    names = ("upper_non_recoverable", "upper_critical", "upper_non_critical",
             "lower_non_recoverable", "lower_critical", "lower_non_critical")
    return {"m": sdr.m, "tolerance": sdr.tolerance, "accuracy": sdr.accuracy,
            "accuracy_exp": sdr.accuracyexp, "direction": sdr.direction,
            "r_exp": sdr.resultexponent, "constant": sdr.b,
            "readings": [value(raw) for raw in record[31:36]],
            "threshold_values": {name: value(record[36 + i]) for i, name in enumerate(names)}}
