"""Renders the signal database: the constant group and signal tables the E2E
library reads (initialfrontsideradarlefthal_e2e_database.h/.cpp)."""

from .catalogue import PROFILES
from .cpp import PREFIX, banner, double_bits, fill, int64_literal, signed_view


def value_double(text):
    return "%s /* %s */" % (int64_literal(double_bits(float(text))), text)


def value_unsigned(text):
    value = int(text)
    view = signed_view(value)
    if view == value:
        return str(value)
    return "%s /* %s */" % (int64_literal(view), text)


def render_header(cat):
    n_groups = len(cat.groups)
    return fill("e2e_database/e2e_database.h", banner=banner(), n_groups=n_groups, n_signals=cat.signal_count,
                last_group=n_groups - 1)


def _group_record(group, start):
    e2e = group.e2e
    return fill("e2e_database/group_record.cpp", index=group.index, name=group.name,
                signal_count=len(group.signals), signal_start_index=start, packing_index=group.packing_index,
                payload_bit_offset=group.payload_bit_offset, storage_size=8 * len(group.signals),
                profile=PROFILES[group.profile], data_id=group.data_id, data_id_hex="0x%04X" % group.data_id,
                data_length=group.data_length, e2e_offset=e2e.e2e_offset, counter_offset=e2e.counter_offset,
                data_id_mode=group.data_id_mode, crc_offset=e2e.crc_offset,
                data_nibble_offset=e2e.data_nibble_offset, max_delta_counter=e2e.max_delta_counter,
                max_delta_counter_init=e2e.max_delta_counter_init,
                max_no_new_or_repeated_data=e2e.max_no_new_or_repeated_data,
                sync_counter_init=e2e.sync_counter_init)


def _signal_record(sig):
    row, kind = sig.row, sig.row.kind
    if row.value_type == "float":
        limits = (value_double(row.min), value_double(row.max))
        scaling = (value_double(row.factor), value_double(row.offset))
    else:
        limits = (value_unsigned(row.min), value_unsigned(row.max))
        scaling = ("1", "0")
    return fill("e2e_database/signal_record.cpp", name=sig.name, flags="0x%02X" % row.flags,
                value_type=kind.value_type, slot=sig.slot, byte_length=kind.byte_length, min=limits[0],
                max=limits[1], codec_flags="0x%02X" % kind.codec_flags, codec_type=kind.codec_type,
                factor=scaling[0], offset=scaling[1], start_bit=row.start_bit, bit_length=row.bit_length)


def render_source(cat):
    group_records, signal_records = [], []
    start = 0
    for group in cat.groups:
        group_records.append(_group_record(group, start))
        signal_records.append(fill("e2e_database/group_signals_comment.cpp", name=group.name, first=start,
                                   last=start + len(group.signals) - 1))
        signal_records.extend(_signal_record(sig) for sig in group.signals)
        start += len(group.signals)
    return fill("e2e_database/e2e_database.cpp", banner=banner(), n_groups=len(cat.groups),
                n_signals=cat.signal_count, group_records="".join(group_records),
                signal_records="".join(signal_records))


def render(cat):
    return {
        PREFIX + "_e2e_database.h": render_header(cat),
        PREFIX + "_e2e_database.cpp": render_source(cat),
    }
