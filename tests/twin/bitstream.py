"""Coded units to parameter words, and back.

Bit i of a unit is the bit of weight 2^(i mod 8) of byte i div 8. A field of n bits is an unsigned
number whose least significant bit comes first. So a unit, read as one little-endian number, gives
its fields from the low end upwards. Frames follow one another without a gap; units of flavors 0
and 2 hold two, and there are no bits to spare:

    flavor   bits per frame   frames per unit   bytes per unit   samples per frame
    0        116              2                 29               144
    1        152              1                 19               144
    2        148              2                 37               240
    3        160              1                 20               160

Fields of a frame, in order, with their widths in bits:

    flavors 0 and 1                               flavor 2
      5 ISF indices         6 7 7 7 5               5 ISF indices       6 7 7 7 5
      3 subframes, each                             5 subframes, each
        lag                 8, then 5 5               lag               8 5 8 5 5
        3 track words       5 (flavor 0)              codeword          10
                            9 (flavor 1)              gain index        7
        gain index          7

    flavor 3
      predictor choice      1
      5 LSF indices         7 8 7 7 7
      2 subframes, each
        lag                 9, then 6
        pitch gain index    4
        5 track words       9
        code gain index     5
"""


def narrowband_widths(lag_widths, code_words, code_width):
    widths = [6, 7, 7, 7, 5]
    for lag_width in lag_widths:
        widths += [lag_width] + [code_width] * code_words + [7]
    return widths


FIELD_WIDTHS = (
    narrowband_widths([8, 5, 5], code_words=3, code_width=5),
    narrowband_widths([8, 5, 5], code_words=3, code_width=9),
    narrowband_widths([8, 5, 8, 5, 5], code_words=1, code_width=10),
    [1, 7, 8, 7, 7, 7] + [9, 4, 9, 9, 9, 9, 9, 5] + [6, 4, 9, 9, 9, 9, 9, 5],
)
FRAME_BITS = (116, 152, 148, 160)
FRAMES_PER_UNIT = (2, 1, 2, 1)
UNIT_BYTES = (29, 19, 37, 20)
FRAME_SAMPLES = (144, 144, 240, 160)

for _flavor in range(4):
    assert sum(FIELD_WIDTHS[_flavor]) == FRAME_BITS[_flavor]
    assert FRAME_BITS[_flavor] * FRAMES_PER_UNIT[_flavor] == 8 * UNIT_BYTES[_flavor]


def unpack_frame(flavor, bits):
    """The fields of one frame, given as a number, in the order of the tables above."""
    fields = []
    for width in FIELD_WIDTHS[flavor]:
        fields.append(bits & ((1 << width) - 1))
        bits >>= width
    return fields


def frames(flavor, coded):
    """Yields each frame's fields from whole units one after another."""
    if len(coded) % UNIT_BYTES[flavor]:
        raise ValueError(f"{len(coded)} bytes are not whole units of {UNIT_BYTES[flavor]}")
    for start in range(0, len(coded), UNIT_BYTES[flavor]):
        unit = int.from_bytes(coded[start:start + UNIT_BYTES[flavor]], "little")
        for _ in range(FRAMES_PER_UNIT[flavor]):
            yield unpack_frame(flavor, unit)
            unit >>= FRAME_BITS[flavor]


def pack(flavor, all_frames):
    """Whole units from frames' fields, the other way round."""
    coded, unit, used = b"", 0, 0
    for fields in all_frames:
        for value, width in zip(fields, FIELD_WIDTHS[flavor]):
            unit |= (value & ((1 << width) - 1)) << used
            used += width
        if used == 8 * UNIT_BYTES[flavor]:
            coded += unit.to_bytes(UNIT_BYTES[flavor], "little")
            unit = used = 0
    if used:
        raise ValueError("the frames do not fill whole units")
    return coded
