"""Reading and checking the catalogue (codegen/catalogue/).

Everything is checked before anything is built: every problem is collected as
`FILE:LINE: group: signal ...`, and only a catalogue without any becomes a
model.Catalogue. Standard library only: the generator has to run on any build
host.
"""

import csv
import math
import os
import re
import types

from .model import (Catalogue, E2eParameters, Enumeration, Group, Kind, LayoutRow, Signal, seeded_permutation,
                    snake)

NAME_SIZE = 129  # SIGNAL_DB_NAME_SIZE: up to 128 characters plus the terminator

GROUPS_COLUMNS = [
    "index", "name", "family", "first_number", "layout", "order", "order_lead", "signal_count",
    "data_id", "data_length_bits", "payload_bytes", "packing_index", "payload_bit_offset",
    "profile", "e2e_offset", "counter_offset", "data_id_mode", "crc_offset", "data_nibble_offset",
    "max_delta_counter", "max_delta_counter_init", "max_no_new_or_repeated_data", "sync_counter_init",
]
LAYOUT_COLUMNS = [
    "position", "suffix", "start_bit", "bit_length", "value_type", "value_bits", "enumeration",
    "factor", "offset", "min", "max", "flags",
]
ENUM_COLUMNS = ["enumeration", "underlying_bits", "enumerator", "value"]
DESCRIPTION_COLUMNS = ["kind", "name", "unit", "comment"]
# Placeholders a description's comment may use: a group's by its layout, a signal's by its role.
GROUP_PLACEHOLDERS = ("{first}", "{last}")
SIGNAL_PLACEHOLDERS = ("{number}",)
# Texts end up between the double quotes of a DBC file, which knows no escapes.
DESCRIPTION_TEXT = re.compile(r"[ -!#-\[\]-~]*\Z")
KIND_COLUMNS = ["kind", "flags", "value_type", "value_byte_length", "codec_flags", "codec_type", "count",
                "used_for"]

PROFILES = {"TAV": "SIGNAL_DB_E2E_PROFILE_TAV", "PROFILE_01": "SIGNAL_DB_E2E_PROFILE_01",
            "PROFILE_05": "SIGNAL_DB_E2E_PROFILE_05"}
DATA_ID_MODES = {"BOTH", "ALT", "LOW", "NIBBLE"}
DB_VALUE_TYPES = {"SIGNED_INTEGER", "ENUMERATED", "UNSIGNED_INTEGER", "FLOAT", "BYTE_ARRAY"}
DB_CODEC_TYPES = {"NOT_AVAILABLE", "SIGNED_INTEGER", "UNSIGNED_INTEGER", "FLOAT", "BYTE_ARRAY"}
SIGNAL_FLAG_BITS = 0x01 | 0x02 | 0x80
CODEC_FLAG_BITS = 0x01 | 0x02 | 0x04
CODEC_FLAG_FACTOR_OFFSET_FLOAT = 0x02
CODEC_FLAG_SKIP_FACTOR_OFFSET = 0x04

# Catalogue value types, the database value type they map to, and the record
# field widths each allows.
VALUE_TYPES = {
    "float": ("FLOAT", (64,)),
    "unsigned": ("UNSIGNED_INTEGER", (8, 16, 64)),
    "enumerated": ("ENUMERATED", (8, 16)),
}
FAMILIES = {"detection", "object", "status"}
ORDERS = {"layout", "seeded"}

# What a detection group has to offer per detection, so that one code path can
# translate all of them: (callback argument, signal suffix without detection number).
DETECTION_ROLES = (
    ("range", "Range"), ("rng_rt", "RngRt"), ("azi_ang", "AziAng"), ("ele_ang", "EleAng"),
    ("rcs", "RCS"), ("snr", "SNR"), ("quality", "Quality"), ("dyn_pr_pty", "DynPrPty"), ("mode", "Mode"),
)
DETECTION_SCAN_ID = "ScanID"

IDENTIFIER = re.compile(r"[A-Za-z_][A-Za-z0-9_]*\Z")
DECIMAL = re.compile(r"-?[0-9]+(\.[0-9]+)?\Z")
UNSIGNED = re.compile(r"[0-9]+\Z")
HEX_BYTE = re.compile(r"0x[0-9A-Fa-f]{2}\Z")


class CatalogueError(Exception):
    """The catalogue was rejected; args[0] is the list of problems."""


# --------------------------------------------------------------------------
# Reading and validation


class Checker(object):
    def __init__(self, catalogue_dir):
        self.dir = catalogue_dir
        self.errors = []

    def error(self, where, message):
        self.errors.append("%s: %s" % (where, message))

    def rel(self, path):
        return os.path.relpath(path, self.dir).replace(os.sep, "/")

    def read_csv(self, path, columns):
        """Rows of a CSV file as (row dict, 'file:line') pairs; None if unusable."""
        name = self.rel(path)
        try:
            with open(path, newline="", encoding="utf-8") as handle:
                reader = csv.reader(handle)
                header = next(reader, None)
                if header != columns:
                    self.error(name + ":1", "expected the columns %s, found %s" % (",".join(columns),
                                                                                    ",".join(header or [])))
                    return None
                rows = []
                for number, values in enumerate(reader, start=2):
                    if not values:
                        continue
                    if len(values) != len(columns):
                        self.error("%s:%d" % (name, number),
                                   "expected %d values, found %d" % (len(columns), len(values)))
                        continue
                    rows.append((dict(zip(columns, [v.strip() for v in values])), "%s:%d" % (name, number)))
                return rows
        except (OSError, UnicodeDecodeError) as exc:
            self.error(name, "cannot read: %s" % exc)
            return None

    def unsigned(self, where, what, text, limit):
        if not UNSIGNED.match(text):
            self.error(where, "%s %r is not an unsigned integer" % (what, text))
            return None
        value = int(text)
        if value > limit:
            self.error(where, "%s %d exceeds %d" % (what, value, limit))
            return None
        return value

    def hex_byte(self, where, what, text):
        if not HEX_BYTE.match(text):
            self.error(where, "%s %r is not a two-digit hexadecimal byte such as 0x80" % (what, text))
            return None
        return int(text, 16)

    # -- kinds.csv ---------------------------------------------------------

    def load_kinds(self):
        rows = self.read_csv(os.path.join(self.dir, "kinds.csv"), KIND_COLUMNS)
        kinds = []
        seen = {}
        combos = {}
        for row, where in rows or []:
            name = row["kind"]
            if not IDENTIFIER.match(name):
                self.error(where, "kind name %r is not an identifier" % name)
            if name in seen:
                self.error(where, "duplicate kind %s (first at %s)" % (name, seen[name]))
            seen[name] = where
            flags = self.hex_byte(where, "kind %s: flags" % name, row["flags"])
            if flags is not None and flags & ~SIGNAL_FLAG_BITS:
                self.error(where, "kind %s: flags %s has bits no signal flag defines" % (name, row["flags"]))
            codec_flags = self.hex_byte(where, "kind %s: codec_flags" % name, row["codec_flags"])
            if codec_flags is not None and codec_flags & ~CODEC_FLAG_BITS:
                self.error(where, "kind %s: codec_flags %s has bits no codec flag defines"
                           % (name, row["codec_flags"]))
            byte_length = self.unsigned(where, "kind %s: value_byte_length" % name, row["value_byte_length"], 8)
            if byte_length not in (None, 1, 2, 8):
                self.error(where, "kind %s: value_byte_length must be 1, 2 or 8" % name)
            kind = Kind(where=where, name=name, flags=flags, value_type=row["value_type"], byte_length=byte_length,
                        codec_flags=codec_flags, codec_type=row["codec_type"],
                        count=self.unsigned(where, "kind %s: count" % name, row["count"], 1 << 32))
            if kind.value_type not in DB_VALUE_TYPES:
                self.error(where, "kind %s: unknown value_type %r" % (kind.name, kind.value_type))
            if kind.codec_type not in DB_CODEC_TYPES:
                self.error(where, "kind %s: unknown codec_type %r" % (kind.name, kind.codec_type))
            # Float values are always scaled in double arithmetic, integers never:
            # any other pairing would store a value of the wrong view.
            if kind.codec_flags is not None and kind.value_type in DB_VALUE_TYPES:
                is_float = kind.value_type == "FLOAT"
                if is_float != bool(kind.codec_flags & CODEC_FLAG_FACTOR_OFFSET_FLOAT) or \
                        is_float == bool(kind.codec_flags & CODEC_FLAG_SKIP_FACTOR_OFFSET):
                    self.error(where, "kind %s: codec_flags %s do not fit value_type %s"
                               % (kind.name, row["codec_flags"], kind.value_type))
            key = (kind.flags, kind.value_type, kind.byte_length)
            if None not in key:
                if key in combos:
                    self.error(where, "kind %s repeats flags, value_type and value_byte_length of kind %s"
                               % (kind.name, combos[key].name))
                combos[key] = kind
            kinds.append(kind)
        if rows is not None and not kinds:
            self.error("kinds.csv", "no kinds")
        return tuple(kinds)

    # -- enums.csv ---------------------------------------------------------

    def load_enumerations(self):
        rows = self.read_csv(os.path.join(self.dir, "enums.csv"), ENUM_COLUMNS)
        first = {}  # name -> (where, bits) of its first row
        enumerators = {}  # name -> [(enumerator, value)]
        for row, where in rows or []:
            name = row["enumeration"]
            if not IDENTIFIER.match(name):
                self.error(where, "enumeration name %r is not an identifier" % name)
                continue
            bits = self.unsigned(where, "enumeration %s: underlying_bits" % name, row["underlying_bits"], 64)
            if bits not in (None, 8, 16):
                self.error(where, "enumeration %s: underlying_bits must be 8 or 16" % name)
                bits = None
            if name not in first:
                first[name] = (where, bits)
                enumerators[name] = []
            elif bits is not None and first[name][1] is not None and bits != first[name][1]:
                self.error(where, "enumeration %s: underlying_bits %d differs from %d at %s"
                           % (name, bits, first[name][1], first[name][0]))
            enum_bits = first[name][1]
            enumerator = row["enumerator"]
            if not IDENTIFIER.match(enumerator):
                self.error(where, "enumeration %s: enumerator %r is not an identifier" % (name, enumerator))
                continue
            value = self.unsigned(where, "enumeration %s: value of %s" % (name, enumerator), row["value"],
                                  (1 << (enum_bits or 16)) - 1)
            if value is None:
                continue
            for other, other_value in enumerators[name]:
                if other == enumerator:
                    self.error(where, "enumeration %s: duplicate enumerator %s" % (name, enumerator))
                elif other_value == value:
                    self.error(where, "enumeration %s: %s repeats the value %d of %s"
                               % (name, enumerator, value, other))
            enumerators[name].append((enumerator, value))
        return dict((name, Enumeration(where=first[name][0], name=name, bits=first[name][1],
                                       enumerators=tuple(enumerators[name])))
                    for name in first)

    # -- layouts/*.csv -----------------------------------------------------

    def load_layouts(self):
        """{layout name: [(row, 'file:line')], or None for an unreadable file}."""
        layouts = {}
        layout_dir = os.path.join(self.dir, "layouts")
        try:
            names = sorted(n for n in os.listdir(layout_dir) if n.endswith(".csv"))
        except OSError as exc:
            self.error("layouts", "cannot list: %s" % exc)
            return layouts
        for file_name in names:
            layouts[file_name[:-len(".csv")]] = self.read_csv(os.path.join(layout_dir, file_name), LAYOUT_COLUMNS)
        return layouts

    def check_layout_row(self, kinds, enumerations, layout, raw, where):
        """Per-row checks; `layout` is also the group the layout is tabled for,
        so signal names in messages are that group's."""
        suffix = raw["suffix"]
        sig = layout + suffix
        tag = "%s: signal %s" % (layout, sig)
        if not suffix or not IDENTIFIER.match(sig):
            self.error(where, "%s: suffix %r does not make an identifier" % (tag, suffix))
        position = self.unsigned(where, tag + ": position", raw["position"], 65535)
        start_bit = self.unsigned(where, tag + ": start_bit", raw["start_bit"], 32767)
        bit_length = self.unsigned(where, tag + ": bit_length", raw["bit_length"], 65535)
        if bit_length is not None and not 1 <= bit_length <= 64:
            self.error(where, "%s: width of %d bits is outside 1..64" % (tag, bit_length))
            bit_length = None
        value_bits = self.unsigned(where, tag + ": value_bits", raw["value_bits"], 64)
        flags = self.hex_byte(where, tag + ": flags", raw["flags"])
        value_type = raw["value_type"]

        def make(value_bits, kind=None):
            return LayoutRow(where=where, suffix=suffix, position=position, start_bit=start_bit,
                             bit_length=bit_length, value_type=value_type, value_bits=value_bits,
                             enumeration=raw["enumeration"], factor=raw["factor"], offset=raw["offset"],
                             min=raw["min"], max=raw["max"], flags_text=raw["flags"], flags=flags, kind=kind)

        allowed = VALUE_TYPES.get(value_type)
        if allowed is None:
            self.error(where, "%s: unknown value_type %r (expected one of %s)"
                       % (tag, value_type, ", ".join(sorted(VALUE_TYPES))))
            return make(value_bits)
        db_type, widths = allowed
        if value_bits is not None and value_bits not in widths:
            self.error(where, "%s: a %s value cannot be %d bits wide" % (tag, value_type, value_bits))
            value_bits = None
        if value_type != "float" and None not in (bit_length, value_bits) and bit_length > value_bits:
            self.error(where, "%s: %d raw bits do not fit a %d-bit field" % (tag, bit_length, value_bits))

        if value_type == "enumerated":
            enum = enumerations.get(raw["enumeration"])
            if enum is None:
                self.error(where, "%s: unknown enumeration %r" % (tag, raw["enumeration"]))
            else:
                if value_bits is not None and enum.bits is not None and enum.bits != value_bits:
                    self.error(where, "%s: enumeration %s is %d bits, the field %d"
                               % (tag, enum.name, enum.bits, value_bits))
                if bit_length is not None:
                    for enumerator, value in enum.enumerators:
                        if value >= 1 << bit_length:
                            self.error(where, "%s: enumerator %s = %d does not fit %d bits"
                                       % (tag, enumerator, value, bit_length))
        elif raw["enumeration"]:
            self.error(where, "%s: a %s value takes no enumeration" % (tag, value_type))

        for column in ("factor", "offset", "min", "max"):
            if not DECIMAL.match(raw[column]):
                self.error(where, "%s: %s %r is not a plain decimal number" % (tag, column, raw[column]))
                return make(value_bits)
        if value_type == "float":
            factor, minimum, maximum = float(raw["factor"]), float(raw["min"]), float(raw["max"])
            if not all(math.isfinite(v) for v in (factor, float(raw["offset"]), minimum, maximum)):
                self.error(where, "%s: factor, offset and limits must be finite doubles" % tag)
            if factor == 0:
                self.error(where, "%s: factor 0 would erase every value" % tag)
            if minimum > maximum:
                self.error(where, "%s: min %s exceeds max %s" % (tag, raw["min"], raw["max"]))
        else:
            # Integers and enumerations are stored raw: a scaling here would be ignored
            # by the decoder, so it can only be a mistake in the catalogue.
            if raw["factor"] != "1" or raw["offset"] != "0":
                self.error(where, "%s: integer and enumerated signals take factor 1 and offset 0" % tag)
            if not UNSIGNED.match(raw["min"]) or not UNSIGNED.match(raw["max"]):
                self.error(where, "%s: integer limits must be unsigned integers" % tag)
            elif int(raw["min"]) > int(raw["max"]):
                self.error(where, "%s: min %s exceeds max %s" % (tag, raw["min"], raw["max"]))
            elif bit_length is not None and int(raw["max"]) >= 1 << bit_length:
                self.error(where, "%s: max %s does not fit %d bits" % (tag, raw["max"], bit_length))

        if flags is not None and value_bits is not None:
            byte_length = 8 if value_type == "float" else value_bits // 8
            for kind in kinds:
                if (kind.flags, kind.value_type, kind.byte_length) == (flags, db_type, byte_length):
                    return make(value_bits, kind)
            self.error(where, "%s: flags %s with a %d-byte %s value is none of the kinds in kinds.csv"
                       % (tag, raw["flags"], byte_length, value_type))
        return make(value_bits)

    def check_layout(self, kinds, enumerations, layout, raw_rows):
        """The layout's rows, each checked, and the checks across them."""
        if not raw_rows:
            self.error("layouts/%s.csv" % layout, "%s: the layout has no signals" % layout)
            return ()
        rows = tuple(self.check_layout_row(kinds, enumerations, layout, raw, where) for raw, where in raw_rows)

        by_suffix = {}
        for row in rows:
            if row.suffix in by_suffix:
                self.error(row.where, "%s: duplicate signal %s (first at %s)"
                           % (layout, layout + row.suffix, by_suffix[row.suffix].where))
            else:
                by_suffix[row.suffix] = row

        fields = {}
        for row in rows:
            field = snake(layout + row.suffix)
            if field in fields and fields[field].suffix != row.suffix:
                self.error(row.where, "%s: signals %s and %s both become the field %s"
                           % (layout, layout + fields[field].suffix, layout + row.suffix, field))
            fields.setdefault(field, row)

        # Positions are the database order, the value slots and the record's field
        # order at once: they must cover 0..n-1 exactly once.
        by_position = {}
        for row in rows:
            if row.position is None:
                continue
            if row.position in by_position:
                self.error(row.where, "%s: signal %s repeats position %d of signal %s"
                           % (layout, layout + row.suffix, row.position, layout + by_position[row.position].suffix))
            elif row.position >= len(rows):
                self.error(row.where, "%s: signal %s has position %d, beyond the last position %d (a gap)"
                           % (layout, layout + row.suffix, row.position, len(rows) - 1))
            else:
                by_position[row.position] = row
        for position in range(len(rows)):
            if position not in by_position:
                self.error("layouts/%s.csv" % layout, "%s: no signal takes position %d (a gap)" % (layout, position))

        placed = sorted((r for r in rows if None not in (r.start_bit, r.bit_length)),
                        key=lambda r: (r.start_bit, r.bit_length))
        last = None
        for row in placed:
            if last is not None and row.start_bit < last.start_bit + last.bit_length:
                self.error(row.where, "%s: signal %s (bits %d..%d) overlaps signal %s (bits %d..%d)"
                           % (layout, layout + row.suffix, row.start_bit, row.start_bit + row.bit_length - 1,
                              layout + last.suffix, last.start_bit, last.start_bit + last.bit_length - 1))
            if last is None or row.start_bit + row.bit_length > last.start_bit + last.bit_length:
                last = row

        # The E2E profile 5 header the check relies on: CRC in bits 0..15, counter in 16..23.
        for suffix, start, length in (("CRC", 0, 16), ("Counter", 16, 8)):
            row = by_suffix.get(suffix)
            if row is None:
                self.error("layouts/%s.csv" % layout, "%s: signal %s of the E2E header is missing"
                           % (layout, layout + suffix))
            elif (row.start_bit, row.bit_length) != (start, length) or row.value_type != "unsigned":
                self.error(row.where, "%s: signal %s must be an unsigned field of %d bits at bit %d"
                           % (layout, layout + suffix, length, start))
        return rows

    # -- descriptions.csv --------------------------------------------------

    def load_descriptions(self):
        """{("group", layout) or ("signal", role): (unit, comment, 'file:line')}."""
        descriptions = {}
        for row, where in self.read_csv(os.path.join(self.dir, "descriptions.csv"), DESCRIPTION_COLUMNS) or []:
            kind, name, unit, comment = row["kind"], row["name"], row["unit"], row["comment"]
            if kind not in ("group", "signal"):
                self.error(where, "description of %s: unknown kind %r (expected group or signal)" % (name, kind))
                continue
            if (kind, name) in descriptions:
                self.error(where, "duplicate description of %s %s (first at %s)"
                           % (kind, name, descriptions[(kind, name)][2]))
                continue
            for column, text in (("unit", unit), ("comment", comment)):
                if not DESCRIPTION_TEXT.match(text):
                    self.error(where, "description of %s %s: %s %r has a character other than printable ASCII "
                               "without double quote and backslash" % (kind, name, column, text))
            if kind == "group" and unit:
                self.error(where, "description of group %s: a group has no unit" % name)
            allowed = GROUP_PLACEHOLDERS if kind == "group" else SIGNAL_PLACEHOLDERS
            for placeholder in re.findall(r"\{[^}]*\}", comment):
                if placeholder not in allowed:
                    self.error(where, "description of %s %s: unknown placeholder %s (expected %s)"
                               % (kind, name, placeholder, " or ".join(allowed)))
            descriptions[(kind, name)] = (unit, comment, where)
        return descriptions

    def describe_signal(self, descriptions, used, group_tag, family, first_number, suffix, where):
        """The unit and comment of the group's signal with this suffix. The role is the
        suffix without its trailing number; {number} is that number, counted from the
        group's first detection or object."""
        role, digits = re.match(r"(.*?)([0-9]*)\Z", suffix).groups()
        description = descriptions.get(("signal", role))
        if description is None:
            self.error(where, "%s: signal %s: descriptions.csv describes no signal %s"
                       % (group_tag, group_tag + suffix, role))
            return "", ""
        used.add(("signal", role))
        unit, comment, described_at = description
        if "{number}" in comment:
            if not digits:
                self.error(described_at, "description of signal %s: {number}, but signal %s has no number"
                           % (role, group_tag + suffix))
                return unit, comment
            counted_from = first_number if family in ("detection", "object") and first_number is not None else 0
            number = counted_from + int(digits)
            comment = comment.replace("{number}", str(number))
        return unit, comment

    def describe_group(self, descriptions, used, name, layout, family, first_number, item_count, where):
        description = descriptions.get(("group", layout))
        if description is None:
            self.error(where, "%s: descriptions.csv describes no group %s" % (name, layout))
            return ""
        used.add(("group", layout))
        comment, described_at = description[1], description[2]
        if any(p in comment for p in GROUP_PLACEHOLDERS):
            if family not in ("detection", "object") or first_number is None:
                self.error(described_at, "description of group %s: {first} and {last} need a detection or "
                           "object group, %s is none" % (layout, name))
                return comment
            comment = comment.replace("{first}", str(first_number))
            comment = comment.replace("{last}", str(first_number + item_count - 1))
        return comment

    # -- groups.csv --------------------------------------------------------

    def load_groups(self):
        rows = self.read_csv(os.path.join(self.dir, "groups.csv"), GROUPS_COLUMNS)
        if rows is not None and not rows:
            self.error("groups.csv", "no groups")
        return rows or []

    def check_group(self, layouts, descriptions, used, index, raw, where):
        """The group of row `index` of groups.csv with its signals in database order."""
        name = raw["name"]
        tag = name
        # The checked columns, gathered here and frozen into a Group at the end.
        g = types.SimpleNamespace(item_count=0, signals=(), comment="")
        if not IDENTIFIER.match(name):
            self.error(where, "group name %r is not an identifier" % name)
        if len(name) >= NAME_SIZE:
            self.error(where, "%s: name longer than %d characters" % (tag, NAME_SIZE - 1))
        g.index = self.unsigned(where, tag + ": index", raw["index"], 65534)
        if g.index is not None and g.index != index:
            self.error(where, "%s: index %d, but the group is row %d of the table" % (tag, g.index, index))
        g.family = raw["family"]
        if g.family not in FAMILIES:
            self.error(where, "%s: unknown family %r" % (tag, g.family))
        g.signal_count = self.unsigned(where, tag + ": signal_count", raw["signal_count"], 65535)
        g.data_id = self.unsigned(where, tag + ": data_id", raw["data_id"], 0xFFFF)
        g.data_length = self.unsigned(where, tag + ": data_length_bits", raw["data_length_bits"], 0xFFFF)
        g.payload_bytes = self.unsigned(where, tag + ": payload_bytes", raw["payload_bytes"], 0xFFFF)
        if None not in (g.data_length, g.payload_bytes) and g.data_length != 8 * g.payload_bytes:
            self.error(where, "%s: data_length_bits %d is not 8 x payload_bytes %d"
                       % (tag, g.data_length, g.payload_bytes))
        g.packing_index = self.unsigned(where, tag + ": packing_index", raw["packing_index"], 0xFFFF)
        if None not in (g.packing_index, g.index) and g.packing_index != g.index + 1:
            self.error(where, "%s: packing_index %d must be the group index + 1" % (tag, g.packing_index))
        g.payload_bit_offset = self.unsigned(where, tag + ": payload_bit_offset", raw["payload_bit_offset"],
                                                 0xFFFF)
        g.profile = raw["profile"]
        if g.profile not in PROFILES:
            self.error(where, "%s: unknown profile %r" % (tag, g.profile))
        g.data_id_mode = raw["data_id_mode"]
        if g.data_id_mode not in DATA_ID_MODES:
            self.error(where, "%s: unknown data_id_mode %r" % (tag, g.data_id_mode))
        e2e = {}
        for column, limit in (("e2e_offset", 0xFFFF), ("counter_offset", 0xFFFF), ("crc_offset", 0xFFFF),
                              ("data_nibble_offset", 0xFFFF), ("max_delta_counter", 0xFF),
                              ("max_delta_counter_init", 0xFF), ("max_no_new_or_repeated_data", 0xFF),
                              ("sync_counter_init", 0xFF)):
            e2e[column] = self.unsigned(where, "%s: %s" % (tag, column), raw[column], limit)
        if e2e["e2e_offset"] is not None and e2e["e2e_offset"] != 0:
            # The layouts place CRC and counter at bits 0 and 16 of the payload.
            self.error(where, "%s: the E2E header has to start at bit 0 (e2e_offset %d)"
                       % (tag, e2e["e2e_offset"]))

        g.first_number = None
        g.e2e = E2eParameters(**e2e)
        match = re.search(r"([0-9]+)To([0-9]+)\Z", name)
        if g.family in ("detection", "object"):
            g.first_number = self.unsigned(where, tag + ": first_number", raw["first_number"], 0xFFFF)
            if not match:
                self.error(where, "%s: a %s group name ends in <first>To<last>" % (tag, g.family))
            elif g.first_number is not None and int(match.group(1)) != g.first_number:
                self.error(where, "%s: first_number %d disagrees with the name" % (tag, g.first_number))
            if match:
                g.item_count = int(match.group(2)) - int(match.group(1)) + 1
                if g.item_count < 1:
                    self.error(where, "%s: the name gives an empty range" % tag)
        elif raw["first_number"]:
            self.error(where, "%s: a status group has no first_number" % tag)

        g.layout = raw["layout"]
        g.order = raw["order"]
        g.order_lead = raw["order_lead"]
        rows = layouts.get(g.layout, False)
        if rows is False:
            self.error(where, "%s: no layout %r (expected layouts/%s.csv)" % (tag, g.layout, g.layout))
            return self.frozen_group(g, raw, where, index)
        if g.order not in ORDERS:
            self.error(where, "%s: unknown order %r (expected one of %s)"
                       % (tag, g.order, ", ".join(sorted(ORDERS))))
            return self.frozen_group(g, raw, where, index)
        if g.order == "layout" and g.layout != name:
            # A layout's positions are the record order of the group it is tabled for;
            # reusing them would give two groups the same order.
            self.error(where, "%s: order 'layout' is only for the group the layout is named after" % tag)
        if g.layout == name and g.order != "layout":
            self.error(where, "%s: the group a layout is named after takes the layout's order" % tag)
        if g.order_lead and g.order != "seeded":
            self.error(where, "%s: order_lead applies to seeded orders only" % tag)
        if rows is None:
            return self.frozen_group(g, raw, where, index)  # the layout file itself is broken; reported already

        if g.signal_count is not None and g.signal_count != len(rows):
            self.error(where, "%s: the table gives %d signals, layout %s yields %d"
                       % (tag, g.signal_count, g.layout, len(rows)))

        if g.order == "layout":
            if any(r.position is None for r in rows) or sorted(r.position for r in rows) != list(range(len(rows))):
                return self.frozen_group(g, raw, where, index)  # position problems reported with the layout
            ordered = sorted(rows, key=lambda r: r.position)
        else:
            base = sorted(rows, key=lambda r: (r.position if r.position is not None else 0, r.where))
            ordered = [base[i] for i in seeded_permutation(len(base), index)]
            if g.order_lead:
                leads = [i for i, r in enumerate(ordered) if r.suffix == g.order_lead]
                if not leads:
                    self.error(where, "%s: order_lead %s is no signal of layout %s"
                               % (tag, name + g.order_lead, g.layout))
                else:
                    ordered = ordered[leads[0]:] + ordered[:leads[0]]
        signals = []
        for slot, r in enumerate(ordered):
            unit, comment = self.describe_signal(descriptions, used, name, g.family, g.first_number, r.suffix,
                                                 r.where)
            signals.append(Signal(group_name=name, row=r, slot=slot, unit=unit, comment=comment))
        g.signals = tuple(signals)
        g.comment = self.describe_group(descriptions, used, name, g.layout, g.family, g.first_number, g.item_count,
                                        where)
        for sig in g.signals:
            if len(sig.name) >= NAME_SIZE:
                self.error(sig.row.where, "%s: signal %s: name longer than %d characters"
                           % (tag, sig.name, NAME_SIZE - 1))
            if not sig.name.startswith(name) or not sig.field.startswith(snake(name)):
                self.error(sig.row.where, "%s: signal %s does not begin with the group name" % (tag, sig.name))
            r = sig.row
            if None not in (r.start_bit, r.bit_length, g.data_length, g.payload_bit_offset) \
                    and g.payload_bit_offset + r.start_bit + r.bit_length > g.data_length:
                self.error(r.where, "%s: signal %s (bits %d..%d) lies outside the data length of %d bits"
                           % (tag, sig.name, r.start_bit, r.start_bit + r.bit_length - 1, g.data_length))

        if g.family == "detection" and g.item_count >= 1:
            suffixes = {r.suffix: r for r in rows}
            wanted = [DETECTION_SCAN_ID]
            wanted += ["%s%d" % (s, i) for i in range(g.item_count) for _, s in DETECTION_ROLES]
            for suffix in wanted:
                if suffix not in suffixes:
                    self.error(where, "%s: detection group lacks signal %s" % (tag, name + suffix))
            if DETECTION_SCAN_ID in suffixes and suffixes[DETECTION_SCAN_ID].value_type != "unsigned":
                self.error(where, "%s: signal %s must be unsigned" % (tag, name + DETECTION_SCAN_ID))
        return self.frozen_group(g, raw, where, index)

    @staticmethod
    def frozen_group(g, raw, where, index):
        return Group(where=where, index=g.index if g.index is not None else index, name=raw["name"],
                     family=g.family, first_number=g.first_number, item_count=g.item_count, layout=raw["layout"],
                     order=raw["order"], order_lead=raw["order_lead"], signal_count=g.signal_count,
                     data_id=g.data_id, data_length=g.data_length, payload_bytes=g.payload_bytes,
                     packing_index=g.packing_index, payload_bit_offset=g.payload_bit_offset, profile=g.profile,
                     data_id_mode=g.data_id_mode, e2e=g.e2e, comment=g.comment, signals=g.signals)

    def check_groups(self, kinds, layouts, descriptions, raw_groups):
        """Every group checked, alone and against the others; the groups in table order."""
        seen_names, seen_stems, seen_ids = {}, {}, {}
        groups = []
        used = set()  # descriptions some group or signal takes
        for index, (raw, where) in enumerate(raw_groups):
            name = raw["name"]
            for table, key, what in ((seen_names, name, "group"), (seen_stems, snake(name), "accessor stem"),
                                     (seen_ids, raw["data_id"], "data id")):
                if key in table:
                    self.error(where, "%s: duplicate %s %s (first in group %s at %s)"
                               % (name, what, key, table[key].name, table[key].where))
            group = self.check_group(layouts, descriptions, used, index, raw, where)
            for table, key in ((seen_names, name), (seen_stems, snake(name)), (seen_ids, raw["data_id"])):
                table.setdefault(key, group)
            groups.append(group)

        for layout in sorted(layouts):
            owner = seen_names.get(layout)
            if owner is None:
                self.error("layouts/%s.csv" % layout, "layout %s is named after no group" % layout)
            elif owner.layout != layout:
                self.error(owner.where, "%s: a layout is named after the group, but the group uses layout %s"
                           % (layout, owner.layout))

        # Record types, enumeration types and database names share one namespace.
        type_names = {}
        for group in groups:
            type_names.setdefault(group.name, group.name)
        for group in groups:
            for sig in group.signals:
                for key in (sig.name, sig.enum_type):
                    if key in type_names and type_names[key] != sig.name:
                        self.error(sig.row.where, "%s: signal %s clashes with the name %s of %s"
                                   % (group.name, sig.name, key, type_names[key]))
                    type_names.setdefault(key, sig.name)

        # Seeded orders must differ from the tabled order and from each other,
        # so that no two records can be confused by their layout alone.
        seen_orders = {}
        for group in groups:
            if not group.signals:
                continue
            key = (group.layout, tuple(s.row.suffix for s in group.signals))
            if key in seen_orders:
                self.error(group.where, "%s: database order is the same as that of group %s"
                           % (group.name, seen_orders[key].name))
            seen_orders[key] = group

        # The database uses a closed set of kinds: their counts are part of the catalogue.
        counts = dict((k.name, 0) for k in kinds)
        for group in groups:
            for sig in group.signals:
                if sig.row.kind is not None:
                    counts[sig.row.kind.name] += 1
        if not self.errors:
            for kind in kinds:
                if kind.count is not None and counts[kind.name] != kind.count:
                    self.error(kind.where, "kind %s: the groups hold %d such signals, kinds.csv expects %d"
                               % (kind.name, counts[kind.name], kind.count))
        # A description nothing takes is a misspelt role or layout: it would silently describe nothing.
        if not self.errors:
            for key in sorted(set(descriptions) - used):
                self.error(descriptions[key][2], "description of %s %s: no %s of the catalogue takes it"
                           % (key[0], key[1], key[0]))
        return tuple(groups)


def load_catalogue(catalogue_dir):
    """Read and validate the catalogue; raise CatalogueError with every problem."""
    if not os.path.isdir(catalogue_dir):
        raise CatalogueError(["%s: no such catalogue directory" % catalogue_dir])
    checker = Checker(catalogue_dir)
    kinds = checker.load_kinds()
    enumerations = checker.load_enumerations()
    raw_layouts = checker.load_layouts()
    raw_groups = checker.load_groups()
    descriptions = checker.load_descriptions()
    # None stands for a layout file that could not be read (reported already).
    layouts = dict((name, None if rows is None else checker.check_layout(kinds, enumerations, name, rows))
                   for name, rows in sorted(raw_layouts.items()))
    groups = checker.check_groups(kinds, layouts, descriptions, raw_groups)
    if checker.errors:
        raise CatalogueError(checker.errors)
    return Catalogue(kinds=kinds, enumerations=enumerations, layouts=layouts, groups=groups)
