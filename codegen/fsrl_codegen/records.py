"""Renders the typed signal-group records and what describes them: the records
and their enumerations, the field metadata for tools, and the detection groups
as one family (X-macro list and traits)."""

import re

from .catalogue import DETECTION_ROLES, DETECTION_SCAN_ID
from .cpp import PREFIX, banner, fill, wrap_call, x_macro

FIELD_TYPES = {8: "std::uint8_t", 16: "std::uint16_t", 64: "std::uint64_t"}


def field_type(sig):
    row = sig.row
    if row.value_type == "float":
        return "double"
    if row.value_type == "enumerated":
        return sig.enum_type
    return FIELD_TYPES[row.value_bits]


def meta_kind(sig):
    row = sig.row
    if row.value_type == "float":
        return "kDouble"
    if row.value_type == "enumerated":
        return "kEnum%d" % row.value_bits
    return "kUInt%d" % row.value_bits


def signals_in_bit_order(group):
    return sorted(group.signals, key=lambda s: (s.row.start_bit, s.row.bit_length))


# --------------------------------------------------------------------------
# initialfrontsideradarlefthal_signal_groups.h


def _enumeration(cat, sig):
    enum = cat.enumerations[sig.row.enumeration]
    return fill("signal_groups/enumeration.h", type=sig.enum_type, underlying=FIELD_TYPES[enum.bits],
                enumerators="".join("  %s = %d,\n" % e for e in enum.enumerators))


def render_types_header(cat):
    groups = []
    for group in cat.groups:
        # Enumerations in bit order, the order of the radar's interface description.
        enumerations = "".join(_enumeration(cat, sig) for sig in signals_in_bit_order(group)
                               if sig.row.value_type == "enumerated")
        groups.append(fill("signal_groups/group.h", name=group.name, data_id=group.data_id,
                           enumerations=enumerations,
                           fields="".join("  %s %s{};\n" % (field_type(s), s.field) for s in group.signals)))
    return fill("signal_groups/signal_groups.h", banner=banner(), n_groups=len(cat.groups), groups="".join(groups))


# --------------------------------------------------------------------------
# initialfrontsideradarlefthal_signal_groups_meta.h/.cpp


def render_meta_header(cat):
    return fill("signal_groups_meta/signal_groups_meta.h", banner=banner(),
                group_indices="".join(fill("signal_groups_meta/group_index_of.h", name=g.name, index=g.index)
                                      for g in cat.groups))


def _field_entry(cat, group, sig):
    if sig.row.value_type == "enumerated":
        enum = cat.enumerations[sig.row.enumeration]
        enums = "&k%sEnumerators[0], %dU" % (enum.name, len(enum.enumerators))
    else:
        enums = "nullptr, 0U"
    return '    {"%s", "%s", FieldKind::%s, %dU, offsetof(types::%s, %s), %s},\n' % (
        sig.field, sig.name, meta_kind(sig), sig.slot, group.name, sig.field, enums)


def render_meta_source(cat):
    enumerator_tables = "".join(
        fill("signal_groups_meta/enumerator_table.cpp", name=name, count=len(cat.enumerations[name].enumerators),
             entries="".join('    {"%s", %dU},\n' % e for e in cat.enumerations[name].enumerators))
        for name in sorted(cat.enumerations))
    field_tables = "".join(
        fill("signal_groups_meta/field_table.cpp", name=group.name, count=len(group.signals),
             entries="".join(_field_entry(cat, group, sig) for sig in group.signals))
        for group in cat.groups)
    group_infos = "".join('    {%dU, "%s", "%s", sizeof(types::%s), %dU, &k%sFields[0]},\n'
                          % (g.index, g.name, g.stem, g.name, len(g.signals), g.name) for g in cat.groups)
    return fill("signal_groups_meta/signal_groups_meta.cpp", banner=banner(), enumerator_tables=enumerator_tables,
                field_tables=field_tables, group_infos=group_infos)


# --------------------------------------------------------------------------
# initialfrontsideradarlefthal_detection_groups.h


def detection_suffix(group):
    """The numbering part of a detection group's name (000To004)."""
    return re.search(r"([0-9]+To[0-9]+)\Z", group.name).group(1)


def _traits(group):
    by_suffix = dict((s.row.suffix, s) for s in group.signals)
    calls = []
    for i in range(group.item_count):
        args = ["std::uint16_t{%dU}" % i]
        args += ["record.%s" % by_suffix["%s%d" % (suffix, i)].field for _, suffix in DETECTION_ROLES]
        calls.append(wrap_call("    f(", args, ");"))
    return fill("detection_groups/traits.h", name=group.name, first_number=group.first_number, index=group.index,
                scan_id_field=by_suffix[DETECTION_SCAN_ID].field, calls="".join(calls))


def render_detection_header(cat):
    detection = [g for g in cat.groups if g.family == "detection"]
    group_list = x_macro("#define FSRL_FOR_EACH_DETECTION_GROUP(X)",
                         ["X(%s, %s, %d, %s)" % (detection_suffix(g), g.name, g.first_number, g.stem)
                          for g in detection])
    return fill("detection_groups/detection_groups.h", banner=banner(), group_list=group_list,
                n_detection_groups=len(detection), per_group=detection[0].item_count if detection else 0,
                traits="".join(_traits(g) for g in detection))


def render(cat):
    return {
        PREFIX + "_signal_groups.h": render_types_header(cat),
        PREFIX + "_signal_groups_meta.h": render_meta_header(cat),
        PREFIX + "_signal_groups_meta.cpp": render_meta_source(cat),
        PREFIX + "_detection_groups.h": render_detection_header(cat),
    }
