#!/usr/bin/env python3
"""Instructions per call of the functions matching a pattern, from a callgrind output file.

Usage: callgrind_per_call.py CALLGRIND_OUT PATTERN [PATTERN ...]

For every PATTERN (a Python regular expression searched in the demangled function names) prints the calls to the
matching functions, their inclusive instruction count (Ir) and Ir per call, all matching functions together.
Instruction counts are reproducible where timings are not: they do not depend on the machine's load.

Run the benchmark under callgrind with one benchmark selected, for example:
  valgrind --tool=callgrind --callgrind-out-file=cg.out \
      build/h19-rel/bench/fsrl_benchmarks --benchmark_filter='^BM_E2eP05_Check48$' --benchmark_min_time=0.05
  bench/callgrind_per_call.py cg.out 'E2eProtectionProfile5::Check\\('
"""
import re
import sys
from collections import defaultdict


def parse(path):
    """Returns (inclusive Ir by function name, calls by function name)."""
    names = {}  # compressed id -> name, for fn/cfn (one shared table)
    inclusive = defaultdict(int)
    calls = defaultdict(int)
    events = None
    current = None
    callee = None
    pending_calls = None  # the cost line after calls= is the inclusive cost of those calls

    def name_of(value):
        match = re.match(r"\((\d+)\)(?:\s+(.*))?$", value)
        if not match:
            return value
        if match.group(2) is not None:
            names[match.group(1)] = match.group(2)
        return names.get(match.group(1), value)

    with open(path, encoding="utf-8", errors="replace") as handle:
        for raw in handle:
            line = raw.rstrip("\n")
            if not line:
                continue
            if line.startswith("events:"):
                events = line.split()[1:]
                continue
            if line.startswith("fn="):
                current = name_of(line[3:])
                continue
            if line.startswith("cfn="):
                callee = name_of(line[4:])
                continue
            if line.startswith("calls="):
                pending_calls = int(line[6:].split()[0])
                calls[callee] += pending_calls
                continue
            if line[0] in "0123456789+-*":
                fields = line.split()
                # One position column (line numbers) followed by the events; Ir is the first event.
                cost = int(fields[1]) if len(fields) > 1 else 0
                if current is not None:
                    # Self cost and the inclusive cost of calls both count for the caller's inclusive cost,
                    # except for calls the function makes to itself.
                    if pending_calls is None or callee != current:
                        inclusive[current] += cost
                pending_calls = None
                continue
            # Anything else (fl=, fi=, fe=, ob=, cob=, cfi=, cfl=, headers) names files and objects, which have
            # compression tables of their own and do not matter here.
    if events and events[0] != "Ir":
        sys.stderr.write("warning: first event is %s, not Ir\n" % events[0])
    return inclusive, calls


def main():
    if len(sys.argv) < 3:
        sys.stderr.write(__doc__)
        return 2
    inclusive, calls = parse(sys.argv[1])
    for pattern in sys.argv[2:]:
        regex = re.compile(pattern)
        matched = [name for name in inclusive if regex.search(name)]
        total_ir = sum(inclusive[name] for name in matched)
        total_calls = sum(calls[name] for name in matched)
        per_call = total_ir / total_calls if total_calls else float("nan")
        print("%-60s functions %3d  calls %10d  Ir %14d  Ir/call %12.1f" %
              (pattern, len(matched), total_calls, total_ir, per_call))
    return 0


if __name__ == "__main__":
    sys.exit(main())
