"""Renders the units and comments of every signal and group as constant tables
(initialfrontsideradarlefthal_signal_descriptions.h/.cpp), so that a tool can
write the DBC file (dbc.py) for any frame map from the HAL alone."""

from .cpp import PREFIX, banner, cpp_string, fill
from .dbc import dbc_version


def render(cat):
    signal_descriptions = []
    for group in cat.groups:
        signal_descriptions.append("    // %s\n" % group.name)
        signal_descriptions.extend("    {%s, %s},\n" % (cpp_string(s.unit), cpp_string(s.comment))
                                   for s in group.signals)
    return {
        PREFIX + "_signal_descriptions.h": fill("signal_descriptions/signal_descriptions.h", banner=banner()),
        PREFIX + "_signal_descriptions.cpp": fill(
            "signal_descriptions/signal_descriptions.cpp", banner=banner(),
            signal_descriptions="".join(signal_descriptions),
            group_comments="".join("    %s,\n" % cpp_string(g.comment) for g in cat.groups),
            version=cpp_string(dbc_version())),
    }
