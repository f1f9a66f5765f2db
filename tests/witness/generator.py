"""Records to be taken apart: every type, every encoding, every linearization, boundary values."""

import random

SEED = 20
FULL, COMPACT, EVENT_ONLY = 0x01, 0x02, 0x03
ASSOCIATION, DEVICE_ASSOCIATION = 0x08, 0x09
GENERIC, FRU, CONTROLLER, CONFIRMATION, CHANNELS, OEM = 0x10, 0x11, 0x12, 0x13, 0x14, 0xC0
UNICODE, BCD_PLUS, SIX_BIT, ASCII = range(4)

BCD_CHARACTERS = "0123456789 -.:,_"
SIX_BIT_CHARACTERS = "".join(chr(c) for c in range(0x20, 0x60))
# What sdrcomp's source can write: no quotes, no backslash.
PLAIN_CHARACTERS = "".join(chr(c) for c in range(0x20, 0x7F) if chr(c) not in "\"'\\")
NAMED = 93  # codes of sensor types, entities and units are below
# A full sensor that reads what its raw value says.
PLAIN = {"event_type": 1, "m": 1, "b": 0, "r_exp": 0, "b_exp": 0, "flags": 7, "format": 0,
         "linearization": 0}
EDGE_BYTES = (0x00, 0x01, 0x7F, 0x80, 0x81, 0xFE, 0xFF)


def name_bytes(encoding, text):
    """The type/length byte and the bytes of `text`, as section 43.15 has them."""
    code = [encoding << 6 | len(text)]
    if encoding == ASCII:
        return code + list(text.encode("latin-1"))
    if encoding == UNICODE:
        return code + list(text.encode("utf-16-le"))
    if encoding == BCD_PLUS:
        digits = [BCD_CHARACTERS.index(c) for c in text] + [0]
        return code + [digits[i] << 4 | digits[i + 1] for i in range(0, len(text), 2)]
    bits = sum((ord(c) - 0x20) << 6 * i for i, c in enumerate(text))
    return code + list(bits.to_bytes((6 * len(text) + 7) // 8, "little"))


class Generator:
    def __init__(self):
        self.random = random.Random(SEED)
        self.record_id = 0

    def byte(self):
        if self.random.random() < 0.4:
            return self.random.choice(EDGE_BYTES)
        return self.random.randrange(0x100)

    def bits(self, count):
        return self.random.choice((0, 1, (1 << count) - 1, 1 << count - 1,
                                   self.random.randrange(1 << count)))

    def name(self, encoding=None):
        if encoding is None:
            encoding = self.random.choice((UNICODE, BCD_PLUS, SIX_BIT, ASCII, ASCII, ASCII))
        length = self.random.choice((0, 1, 2, 3, 4, 5, 8, 15, 16))
        characters = {UNICODE: "AZaz 09é€Ωж",
                      BCD_PLUS: BCD_CHARACTERS,
                      SIX_BIT: SIX_BIT_CHARACTERS,
                      ASCII: PLAIN_CHARACTERS}[encoding]
        text = "".join(self.random.choice(characters) for _ in range(length))
        if encoding == ASCII and self.random.random() < 0.1 and length > 1:
            text = text[:-2] + self.random.choice("éÿ\x80\xa0") + text[-1:]
        return name_bytes(encoding, text)

    def record(self, kind, body):
        self.record_id = (self.record_id + 0x0101) & 0xFFFF
        return bytes([self.record_id & 0xFF, self.record_id >> 8, 0x51, kind, len(body)] + body)

    def owner(self):
        return [self.byte(), self.bits(4) << 4 | self.bits(2), self.byte()]

    def entity(self):
        return [self.byte(), self.byte()]

    def word(self, bits=15):
        value = self.bits(bits)
        return [value & 0xFF, value >> 8]

    def sensor_body(self, event_type, settable=True):
        threshold = event_type == 1
        masks = self.word() + self.word()
        masks += [self.bits(6), self.bits(6)] if threshold else self.word()
        initialization = self.bits(8 if settable else 7)
        return (self.owner() + self.entity() + [initialization, self.byte(), self.byte(),
                                                event_type] + masks)

    def event_type(self):
        return self.random.choice((0x01, 0x01, 0x02, 0x03, 0x0B, 0x0C, 0x6F, 0x70, 0x7F, 0x00))

    def full(self, **fixed):
        """A full sensor; `fixed` sets some of its fields."""
        r = self.random
        f = {"event_type": self.event_type(),
             "format": r.choice((0, 1, 2, 3)),
             "rate": r.randrange(7),
             "modifier_use": r.randrange(3),
             "percent": r.randrange(2),
             "base": r.choice((0, 1, 2, 4, 6, 18, 58, 92)),
             "modifier": r.choice((0, 5, 22, 92)),
             "linearization": r.choice((*range(12), 0, 0, 0, 0x70, 0x7F)),
             "m": r.choice((-512, -511, -1, 0, 1, 2, 5, 100, 255, 256, 511, r.randrange(-512, 512))),
             "tolerance": self.bits(6),
             "b": r.choice((-512, -511, -1, 0, 1, 255, 256, 511, r.randrange(-512, 512))),
             "accuracy": self.bits(10),
             "accuracy_exp": r.randrange(4),
             "direction": r.randrange(3),
             "r_exp": r.choice((-8, -3, -2, -1, 0, 0, 1, 7)),
             "b_exp": r.choice((-8, -2, -1, 0, 0, 1, 7)),
             "flags": r.randrange(8),
             "readings": [self.byte() for _ in range(11)],
             "name": self.name()}
        f.update(fixed)
        m, b = f["m"] & 0x3FF, f["b"] & 0x3FF
        return self.record(FULL, self.sensor_body(f["event_type"]) + [
            f["format"] << 6 | f["rate"] << 3 | f["modifier_use"] << 1 | f["percent"],
            f["base"], f["modifier"], f["linearization"],
            m & 0xFF, m >> 8 << 6 | f["tolerance"],
            b & 0xFF, b >> 8 << 6 | f["accuracy"] & 0x3F,
            f["accuracy"] >> 6 << 4 | f["accuracy_exp"] << 2 | f["direction"],
            (f["r_exp"] & 15) << 4 | f["b_exp"] & 15, f["flags"], *f["readings"],
            self.byte(), self.byte(), 0, 0, self.byte(), *f["name"]])

    def sharing(self):
        r = self.random
        return [r.randrange(3) << 6 | r.randrange(2) << 4 | self.bits(4), self.byte()]

    def compact(self, name=None):
        r = self.random
        return self.record(COMPACT, self.sensor_body(self.event_type(), settable=False) + [
            3 << 6 | r.randrange(7) << 3 | r.randrange(3) << 1 | r.randrange(2),
            r.choice((0, 1, 4, 18, 92)), r.choice((0, 22)), *self.sharing(),
            self.byte(), self.byte(), 0, 0, 0, self.byte(), *(name or self.name())])

    def event_only(self, name=None):
        return self.record(EVENT_ONLY, self.owner() + self.entity() + [
            self.byte(), self.event_type(), *self.sharing(), 0, self.byte(),
            *(name or self.name())])

    def association(self):
        entries = [b for _ in range(4) for b in self.random.choice(
            ([0, 0], [self.random.randrange(1, 256), self.byte()]))]
        return self.record(ASSOCIATION, self.entity() + [self.bits(3) << 5] + entries)

    def device_association(self):
        address = lambda: [self.bits(7) << 1, self.bits(4) << 4]
        entries = [b for _ in range(4) for b in self.random.choice(
            ([0, 0, 0, 0], address() + [self.random.randrange(1, 256), self.byte()]))]
        return self.record(DEVICE_ASSOCIATION, self.entity() + address() + [self.bits(3) << 5]
                           + entries + [0] * 6)

    def generic(self, name=None):
        return self.record(GENERIC, [self.bits(7) << 1, self.byte(), self.byte(), self.bits(3), 0,
                                     self.byte(), self.byte(), *self.entity(), self.byte(),
                                     *(name or self.name())])

    def fru(self, name=None, logical=None):
        if logical is None:
            logical = self.random.randrange(2)
        device = self.byte() if logical else self.byte() & 0xFE
        return self.record(FRU, [self.bits(7) << 1, device, logical << 7 | self.bits(5),
                                 self.bits(4) << 4, 0, self.byte(), self.byte(), *self.entity(),
                                 self.byte(), *(name or self.name())])

    def controller(self, name=None):
        power = self.bits(3) << 5 | self.bits(2) << 2 | self.random.randrange(3)
        return self.record(CONTROLLER, [self.bits(7) << 1, self.bits(4), power, self.byte(), 0, 0,
                                        0, *self.entity(), self.byte(), *(name or self.name())])

    def confirmation(self):
        return self.record(CONFIRMATION, [self.bits(7) << 1] + [self.byte() for _ in range(26)])

    def channels(self):
        return self.record(CHANNELS, [self.byte() for _ in range(10)] + [0])

    def oem(self):
        length = self.random.choice((0, 1, 2, 16, 56))
        return self.record(OEM, [self.byte() for _ in range(3 + length)])

    def unknown(self):
        kind = self.random.choice((0x00, 0x04, 0x0A, 0x15, 0xBF, 0xC1, 0xFF))
        return self.record(kind, [self.byte() for _ in range(self.random.randrange(20))])

    def directed(self):
        """Full sensors with one thing at its limit at a time."""
        ends = [0x00, 0x01, 0x7F, 0x80, 0xFF, 0x10, 0x20, 0x40, 0xC0, 0xFE, 0x08]
        for linearization in (*range(12), 0x70, 0x71, 0x7F):
            for form in range(4):
                yield self.full(**{**PLAIN, "linearization": linearization, "format": form,
                                   "readings": ends})
        for m in (-512, -511, -256, -1, 0, 1, 255, 256, 511):
            for b in (-512, -1, 0, 511):
                yield self.full(**{**PLAIN, "m": m, "b": b, "readings": ends})
        for exponent in range(-8, 8):
            yield self.full(**{**PLAIN, "r_exp": exponent, "b": 3, "readings": ends})
            yield self.full(**{**PLAIN, "b_exp": exponent, "b": -3, "readings": ends})
        for encoding in (UNICODE, BCD_PLUS, SIX_BIT, ASCII):
            for _ in range(6):
                name = self.name(encoding)
                yield self.full(**{**PLAIN, "name": name})
                yield self.compact(name)
                yield self.event_only(name)
                yield self.generic(name)
                yield self.fru(name)
                yield self.controller(name)

    def named(self):
        """Every sensor type, entity and unit that has a name."""
        for code in range(NAMED):
            yield self.record(EVENT_ONLY, [0x20, 0x00, code, code, 1, code, 0x6F, 0, 0, 0, 0,
                                           *name_bytes(ASCII, f"Code {code}")])
            yield self.full(**{**PLAIN, "base": code, "modifier_use": 0, "rate": 0, "percent": 0})

    def all(self):
        yield from self.directed()
        for _ in range(150):
            yield self.full()
            yield self.compact()
        for _ in range(60):
            for make in (self.event_only, self.association, self.device_association, self.generic,
                         self.fru, self.controller, self.confirmation, self.channels, self.oem,
                         self.unknown):
                yield make()
