"""SDR sets as bytes, and the source files that describe them.

A record is `bytes`: record ID (2, always 0 here), SDR version, record type, body length, body.
"""

HEADER_BYTES = 5
ID_BYTES = 2
MAKER = bytes([0x77, 0x00, 0x00])
SDR_VERSION = 0x51


def record(record_type, body):
    return bytes([0, 0, SDR_VERSION, record_type, len(body)]) + body


def version_record(version):
    """The maker's record that tells the set's version, e.g. "01.03"."""
    return record(0xC0, MAKER + b"SDR Version " + version.encode())


def compact_sensor(number, name):
    body = bytes([0x20, 0x00, number, 0x1D, 0x01, 0x67, 0x40, 0x04, 0x03]) + bytes(16)
    return record(0x02, body + b"\x00" + bytes([0xC0 | len(name)]) + name)


def full_sensor(number, name):
    """A sensor whose raw readings are multiplied by 1, the factor M."""
    body = bytes([0x20, 0x00, number, 0x03, 0x01, 0x7F, 0x68, 0x01, 0x01])
    body += bytes(10) + b"\x01" + bytes(22)
    return record(0x01, body + bytes([0xC0 | len(name)]) + name)


def oem_record(body_length, first_byte):
    """An OEM record of no meaning that holds consecutive byte values."""
    content = bytes((first_byte + i) % 0x100 for i in range(body_length - len(MAKER)))
    return record(0xC0, MAKER + content)


def board_set(count, version):
    """`count` records: the version, then sensors and OEM records of many lengths.

    Among them are the longest that a source file can hold (64 bytes) and one that is exactly one
    piece of 16 bytes, and every byte value occurs, so also those that mean something on the way.
    """
    records = [version_record(version)]
    for number in range(1, count):
        name = b"Sensor %d" % number
        records.append((
            compact_sensor(number, name),
            full_sensor(number, name.ljust(16, b"_")),
            oem_record(11, 0x20),
            oem_record(59, (number * 14) % 0x100),
        )[number % 4])
    return records


def source_text(records):
    """The SDR source file of the records."""
    lines = [
        "// An SDR set for one board",
        "_LF_NAME 'BOARD.SDR'",
        "_LF_VERSION '01.00'",
        "_LF_FMT_VER '1.5'",
        "_IPMI_VERSION '1.50'",
        "_SDR (",
        "_START_ADDR 0000 _DATA_LEN 2000 _NVS_TYPE 'IMBDEVICE' _DEV_BUS 00 _DEV_ADDRESS 20",
    ]
    for content in records:
        lines += ["_SDR_TYPE %02X" % content[3], "_REC_LEN %02X" % len(content)]
        lines += [content[i:i + 16].hex(" ").upper() for i in range(0, len(content), 16)]
        if content[-1] == 0xC0:  # says that an ID string follows: an empty one
            lines[-1] += " ''"
    return "\n".join(lines + [")", ""])


def split_records(area):
    """Cuts records that stand back to back; the last one may be a rest that is no whole record."""
    records = []
    while area:
        length = HEADER_BYTES + area[HEADER_BYTES - 1] if len(area) >= HEADER_BYTES else len(area)
        records.append(area[:length])
        area = area[length:]
    return records


def without_ids(records):
    """The BMC numbers the records itself, so IDs are left out of comparisons."""
    return [content[ID_BYTES:] for content in records]
