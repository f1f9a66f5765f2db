"""SDR sets of the simulated boards: records, made here, as a BMC keeps them and as a source file has them."""

SDR_VERSION = 0x51
COMPACT = 0x02
FULL = 0x01
LOCATOR = 0x12
OEM = 0xC0

MAKER = bytes.fromhex("770000")
TEXT_IS_ASCII = 0xC0  # in the byte before a name: eight-bit characters, and how many

# What surrounds a sensor's number: a processor's temperature, and a fan.
_TEMPERATURE = ("2000", "0301 7F68 0101 800A 807A 3838 8001 0000 0100 0000 0000 0728 500A 7F80 6964 5F00 0000 0202"
                        "0000 00")
_FAN = ("2000", "1D01 6740 0403 0000 0000 0300 C000 0001 0000 0000 0000 00")


class Record:
    """One record without its ID, which is the BMC's to give."""

    def __init__(self, kind, body, text=""):
        self.kind = kind
        self.body = body
        self.text = text

    def hex(self):
        """As `bmcsim --dump=hex` prints it."""
        whole = self.body + self.text.encode("ascii")
        return bytes([SDR_VERSION, self.kind, len(whole)]).hex(" ").upper() + " " + whole.hex(" ").upper()

    def source(self):
        """As an SDR source file has it."""
        length = 5 + len(self.body) + len(self.text)
        head = bytes([SDR_VERSION, self.kind, length - 5])
        data = "0000 " + (head + self.body).hex(" ").upper()
        return f"_SDR_TYPE {self.kind:02X}\n_REC_LEN {length:02X}\n{data} '{self.text}'\n"


def version_record(text):
    """The record with a set's version: five characters behind a title of twelve."""
    return Record(OEM, MAKER, f"SDR Version {text}")


def script_record(name):
    """The record that names the script of a set."""
    return Record(OEM, MAKER + bytes([0x16]), name)


def _named(kind, before, number, after, name):
    body = bytes.fromhex(before) + bytes([number]) + bytes.fromhex(after)
    return Record(kind, body + bytes([TEXT_IS_ASCII | len(name)]), name)


def temperature(number, name):
    """A full record of a sensor."""
    before, after = _TEMPERATURE
    return _named(FULL, before, number, after, name)


def fan(number, name):
    """A compact record of a sensor."""
    before, after = _FAN
    return _named(COMPACT, before, number, after, name)


def board_set(title, version, temperatures, fans, script="EXAMPLE"):
    """The records of a board."""
    return [version_record(version), script_record(script),
            Record(LOCATOR, bytes.fromhex("20000000000000070100") + bytes([TEXT_IS_ASCII | len(title)]), title),
            *[temperature(number, f"{title} temp {number}") for number in range(1, temperatures + 1)],
            *[fan(0x80 + number, f"{title} fan {number}") for number in range(1, fans + 1)]]


def hex_lines(records):
    """What `bmcsim --dump=hex` prints of a BMC that serves them."""
    return [record.hex() for record in records]


def source_file(name, version, records):
    """The text of an SDR source file."""
    return (f"_LF_NAME '{name}'\n_LF_VERSION '{version}'\n_LF_FMT_VER '1.5'\n_IPMI_VERSION '1.50'\n"
            "_SDR (\n_START_ADDR 0000 _DATA_LEN 2000 _NVS_TYPE 'IMBDEVICE' _DEV_BUS 00 _DEV_ADDRESS 20\n\n"
            + "\n".join(record.source() for record in records) + ")\n")
