"""Renders the signal database as a CAN FD DBC file (fsrl.dbc) for the default
frame map: group index i on standard CAN id 0x400 + i.

tools/fsrl/src/dbc_writer.cpp writes the same file for any frame map from the
HAL's constant tables; a test holds the two to the same bytes, so every number
here is spelt the way that writer spells it (see dbc_number)."""

from .cpp import BANNER_LINES, fill

DBC_FILE = "fsrl.dbc"

# The default frame map (tools/fsrl/include/fsrl/frame_map.h: FrameMap::kDefaultBaseId).
DEFAULT_BASE_ID = 0x400
# Index of StandardCAN_FD in the VFrameFormat enumeration of the template.
VFRAME_FORMAT_STANDARD_CAN_FD = 14
# Profile names as the E2EProfile attribute carries them: the catalogue's own spelling.
PROFILE_ATTRIBUTE = {"TAV": "TAV", "PROFILE_01": "PROFILE_01", "PROFILE_05": "PROFILE_05"}


# CAN FD data lengths above 8 bytes (ISO 11898-1); a group travels in the smallest
# that holds it, as tools/fsrl/src/frame_builder.cpp (CanFdLength) sends it.
CAN_FD_LENGTHS = (12, 16, 20, 24, 32, 48, 64)


def can_fd_length(size):
    """The length of the CAN FD frame that carries size bytes: the message length DBC tools expect."""
    if size <= 8:
        return size
    return next((length for length in CAN_FD_LENGTHS if size <= length), 64)


def dbc_version():
    """The VERSION text: the banner, so that the file's first line marks it generated."""
    return " ".join(BANNER_LINES)


def dbc_number(text):
    """The shortest text that reads back as the same double, chosen as C++17's
    std::to_chars(double) chooses: fixed or scientific, whichever is shorter,
    fixed on a tie; scientific with a signed exponent of at least two digits."""
    value = float(text)
    if value == 0:
        return "-0" if str(value).startswith("-") else "0"
    sign = "-" if value < 0 else ""
    mantissa, _, exponent = ("%r" % abs(value)).partition("e")
    whole, _, fraction = mantissa.partition(".")
    digits = (whole + fraction).lstrip("0")
    # value = 0.<digits> x 10^point, with digits free of leading zeros
    point = len(whole.lstrip("0")) if whole.strip("0") else -(len(fraction) - len(fraction.lstrip("0")))
    point += int(exponent or 0)
    digits = digits.rstrip("0")
    if point >= len(digits):
        fixed = digits + "0" * (point - len(digits))
    elif point > 0:
        fixed = digits[:point] + "." + digits[point:]
    else:
        fixed = "0." + "0" * -point + digits
    exp = point - 1
    scientific = digits[0] + ("." + digits[1:] if len(digits) > 1 else "") + "e%s%02d" % ("-" if exp < 0 else "+",
                                                                                             abs(exp))
    return sign + (fixed if len(fixed) <= len(scientific) else scientific)


def signals_in_bit_order(group):
    return sorted(group.signals, key=lambda s: (s.row.start_bit, s.row.bit_length))


def _signal_line(sig):
    row = sig.row
    if row.value_type == "float":
        scaling = (dbc_number(row.factor), dbc_number(row.offset))
        limits = (dbc_number(row.min), dbc_number(row.max))
    else:
        scaling = ("1", "0")
        limits = (str(int(row.min)), str(int(row.max)))
    return fill("dbc/signal.dbc", name=sig.name, start_bit=row.start_bit, bit_length=row.bit_length,
                factor=scaling[0], offset=scaling[1], min=limits[0], max=limits[1], unit=sig.unit)


def _value_table(cat, can_id, sig):
    enum = cat.enumerations[sig.row.enumeration]
    # Highest value first, as DBC editors write them.
    pairs = "".join(' %d "%s"' % (value, name) for name, value in sorted(enum.enumerators, key=lambda e: -e[1]))
    return "VAL_ %d %s%s ;\n" % (can_id, sig.name, pairs)


def render(cat):
    messages, comments, attributes, value_tables, signal_groups = [], [], [], [], []
    for group in cat.groups:
        can_id = DEFAULT_BASE_ID + group.index
        ordered = signals_in_bit_order(group)
        messages.append(fill("dbc/message.dbc", id=can_id, name=group.name, length=can_fd_length(group.payload_bytes),
                             signals="".join(_signal_line(s) for s in ordered)))
        comments.append(fill("dbc/message_comment.dbc", id=can_id, comment=group.comment))
        comments.extend(fill("dbc/signal_comment.dbc", id=can_id, name=s.name, comment=s.comment)
                        for s in ordered if s.comment)
        attributes.append(fill("dbc/attributes.dbc", id=can_id, frame_format=VFRAME_FORMAT_STANDARD_CAN_FD,
                               data_id=group.data_id, profile=PROFILE_ATTRIBUTE[group.profile]))
        value_tables.extend(_value_table(cat, can_id, s) for s in ordered if s.row.value_type == "enumerated")
        signal_groups.append(fill("dbc/signal_group.dbc", id=can_id, name=group.name,
                                  signals="".join(" " + s.name for s in ordered)))
    return {DBC_FILE: fill("dbc/fsrl.dbc", version=dbc_version(), messages="".join(messages),
                           comments="".join(comments), attributes="".join(attributes),
                           value_tables="".join(value_tables), signal_groups="".join(signal_groups))}
