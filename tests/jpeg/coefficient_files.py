"""Writes sequential JPEG files of given coefficients: any components, factors, scans and segments that T.81 allows,
also those that no encoder at hand makes."""

import random

# All codes have 8 bits, and there are few enough that the all-ones code stays free.
DC_SYMBOLS = list(range(12))
AC_SYMBOLS = [0x00, 0xF0] + [run << 4 | category for run in range(6) for category in range(1, 4)]


class Component:
    def __init__(self, identifier, horizontal, vertical):
        self.identifier, self.horizontal, self.vertical = identifier, horizontal, vertical


def ceil_div(value, by):
    return -(-value // by)


def segment(code, body):
    return bytes([0xFF, code]) + (len(body) + 2).to_bytes(2, "big") + bytes(body)


class Bits:
    def __init__(self):
        self.value, self.count = 0, 0

    def put(self, value, count):
        self.value = self.value << count | value
        self.count += count

    def magnitude(self, value, category):
        self.put(value if value >= 0 else value + (1 << category) - 1, category)

    def bytes(self):
        padding = -self.count % 8
        self.put((1 << padding) - 1, padding)
        return self.value.to_bytes(self.count // 8, "big").replace(b"\xff", b"\xff\0")


def put_block(bits, block, last_dc):
    difference = block[0] - last_dc
    category = abs(difference).bit_length()
    bits.put(DC_SYMBOLS.index(category), 8)
    bits.magnitude(difference, category)
    last = max((k for k in range(64) if block[k]), default=0)
    run = 0
    for value in block[1:last + 1]:
        if value == 0:
            run += 1
            continue
        category = abs(value).bit_length()
        bits.put(AC_SYMBOLS.index(run << 4 | category), 8)
        bits.magnitude(value, category)
        run = 0
    bits.put(AC_SYMBOLS.index(0x00), 8)


def random_blocks(component, size, factors, seed):
    """Coefficients of every block of a component, those that fill up MCUs included: {(x, y): 64 in zig-zag order}. Few,
    small and early ones: these give smooth pictures, and need no more symbols than there are."""
    width, height = size
    wide = ceil_div(width, 8 * factors[0]) * component.horizontal
    high = ceil_div(height, 8 * factors[1]) * component.vertical
    source = random.Random(seed)
    blocks = {}
    for y in range(high):
        for x in range(wide):
            block = [0] * 64
            block[0] = source.randint(-50, 50)
            for k in range(1, source.choice([1, 4, 7])):
                block[k] = source.randint(-6, 6)
            blocks[x, y] = block
    return blocks


def jpeg(
    size, components, scans=None, step=8, restart=0, segments=b"", process=0xC0, wide_steps=False, line_count=None
):
    """`scans` are lists of component indices; without it there is one scan of all. `step` is the one quantiser step."""
    width, height = size
    factors = max(c.horizontal for c in components), max(c.vertical for c in components)
    scans = scans or [list(range(len(components)))]
    blocks = [random_blocks(c, size, factors, seed) for seed, c in enumerate(components)]
    file = b"\xff\xd8" + segments
    file += segment(0xDB, b"\x10" + step.to_bytes(2, "big") * 64 if wide_steps else b"\0" + bytes([step] * 64))
    header_height = 0 if line_count else height
    file += segment(process, b"\x08" + header_height.to_bytes(2, "big") + width.to_bytes(2, "big") +
                    bytes([len(components)]) +
                    b"".join(bytes([c.identifier, c.horizontal << 4 | c.vertical, 0]) for c in components))
    for table, symbols in ((0x00, DC_SYMBOLS), (0x10, AC_SYMBOLS)):
        file += segment(0xC4, bytes([table] + [0] * 7 + [len(symbols)] + [0] * 8 + symbols))
    if restart:
        file += segment(0xDD, restart.to_bytes(2, "big"))
    for number, scan in enumerate(scans):
        file += segment(
            0xDA, bytes([len(scan)]) + b"".join(bytes([components[i].identifier, 0]) for i in scan) + b"\0\x3f\0"
        )
        file += scan_data(size, components, factors, scan, blocks, restart)
        if line_count and number == 0:
            file += segment(0xDC, line_count.to_bytes(2, "big"))
    return file + b"\xff\xd9"


def scan_data(size, components, factors, scan, blocks, restart):
    width, height = size
    if len(scan) == 1:
        c = components[scan[0]]
        wide = ceil_div(ceil_div(width * c.horizontal, factors[0]), 8)
        high = ceil_div(ceil_div(height * c.vertical, factors[1]), 8)
        order = [[(scan[0], x, y)] for y in range(high) for x in range(wide)]
    else:
        wide, high = ceil_div(width, 8 * factors[0]), ceil_div(height, 8 * factors[1])
        order = [[(i, mx * components[i].horizontal + dx, my * components[i].vertical + dy)
                  for i in scan for dy in range(components[i].vertical) for dx in range(components[i].horizontal)]
                 for my in range(high) for mx in range(wide)]
    data, bits, last_dc = b"", Bits(), {}
    for number, mcu in enumerate(order):
        if restart and number and number % restart == 0:
            data += bits.bytes() + bytes([0xFF, 0xD0 + (number // restart - 1) % 8])
            bits, last_dc = Bits(), {}
        for i, x, y in mcu:
            block = blocks[i][x, y]
            put_block(bits, block, last_dc.get(i, 0))
            last_dc[i] = block[0]
    return data + bits.bytes()


def adobe(transform):
    return segment(0xEE, b"Adobe\0\x64\0\0\0\0" + bytes([transform]))


JFIF = segment(0xE0, b"JFIF\0\x01\x01\0\0\x01\0\x01\0\0")
