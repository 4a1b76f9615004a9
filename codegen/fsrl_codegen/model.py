"""The catalogue as the renderers see it: plain, immutable records.

Every record is built whole by the checker (catalogue.py) from rows it has
already checked; a catalogue with any problem never becomes a Catalogue, so no
renderer ever sees a missing value.
"""

import re
from dataclasses import dataclass
from typing import Mapping, Optional, Tuple


def snake(name):
    """Record field and accessor spelling: lower case, an underscore where a
    lower-case letter meets an upper-case one (RSDS4SigSts1RSPStatusInfo ->
    rsds4sig_sts1rspstatus_info)."""
    return re.sub(r"([a-z])([A-Z])", r"\1_\2", name).lower()


def seeded_permutation(count, seed):
    """Fisher-Yates shuffle of range(count) driven by a 32-bit xorshift
    generator. Part of the generated interface: changing it reorders records,
    value slots and database rows of every seeded group."""
    state = (seed * 0x9E3779B1 + 0x2545F491) & 0xFFFFFFFF or 1
    perm = list(range(count))
    for i in range(count - 1, 0, -1):
        state ^= (state << 13) & 0xFFFFFFFF
        state ^= state >> 17
        state ^= (state << 5) & 0xFFFFFFFF
        j = state % (i + 1)
        perm[i], perm[j] = perm[j], perm[i]
    return perm


@dataclass(frozen=True)
class Kind:
    """One row of kinds.csv: a combination of database fields a signal may have."""
    where: str
    name: str
    flags: Optional[int]
    value_type: str
    byte_length: Optional[int]
    codec_flags: Optional[int]
    codec_type: str
    count: Optional[int]


@dataclass(frozen=True)
class Enumeration:
    """The enumerators of enums.csv that share one enumeration name, in file order."""
    where: str
    name: str
    bits: Optional[int]
    enumerators: Tuple[Tuple[str, int], ...]  # (name, value)


@dataclass(frozen=True)
class LayoutRow:
    """One signal of a layout file. The numeric columns stay text where the
    database wants the catalogue's exact decimal spelling (factor, offset,
    limits)."""
    where: str
    suffix: str
    position: Optional[int]
    start_bit: Optional[int]
    bit_length: Optional[int]
    value_type: str
    value_bits: Optional[int]
    enumeration: str
    factor: str
    offset: str
    min: str
    max: str
    flags_text: str
    flags: Optional[int]
    kind: Optional[Kind]


@dataclass(frozen=True)
class Signal:
    """A layout row under a group's name, at its value slot."""
    group_name: str
    row: LayoutRow
    slot: int
    unit: str  # as descriptions.csv gives it for the signal's role; empty if it has none
    comment: str  # descriptions.csv's text with the signal's own number filled in

    @property
    def name(self):
        return self.group_name + self.row.suffix

    @property
    def field(self):
        return snake(self.name)

    @property
    def enum_type(self):
        return self.name + "Enum"


@dataclass(frozen=True)
class E2eParameters:
    """The E2E columns of groups.csv that the database carries as they are."""
    e2e_offset: Optional[int]
    counter_offset: Optional[int]
    crc_offset: Optional[int]
    data_nibble_offset: Optional[int]
    max_delta_counter: Optional[int]
    max_delta_counter_init: Optional[int]
    max_no_new_or_repeated_data: Optional[int]
    sync_counter_init: Optional[int]


@dataclass(frozen=True)
class Group:
    """One row of groups.csv with its signals in database order."""
    where: str
    index: Optional[int]
    name: str
    family: str
    first_number: Optional[int]
    item_count: int  # detections or objects the name's range covers; 0 for status groups
    layout: str
    order: str
    order_lead: str
    signal_count: Optional[int]
    data_id: Optional[int]
    data_length: Optional[int]
    payload_bytes: Optional[int]
    packing_index: Optional[int]
    payload_bit_offset: Optional[int]
    profile: str
    data_id_mode: str
    e2e: E2eParameters
    comment: str  # descriptions.csv's text for the group's layout, its numbers filled in
    signals: Tuple[Signal, ...]

    @property
    def stem(self):
        """Accessor and property-owner stem (rsds4sig_sts1)."""
        return snake(self.name)

    @property
    def e2e_stem(self):
        """Stem of the group's E2E members and its property name: the name in
        lower case, without the underscores of the accessor stem (rsds4sigsts1)."""
        return self.name.lower()


@dataclass(frozen=True)
class Catalogue:
    kinds: Tuple[Kind, ...]
    enumerations: Mapping[str, Enumeration]
    layouts: Mapping[str, Tuple[LayoutRow, ...]]
    groups: Tuple[Group, ...]

    @property
    def signal_count(self):
        return sum(len(g.signals) for g in self.groups)
