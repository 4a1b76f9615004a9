#!/usr/bin/env python3
"""Generate the signal database, the typed signal-group records and their helpers.

Reads only the catalogue (codegen/catalogue/ by default), derives all signal
groups from it, validates the whole catalogue and, only if nothing is wrong,
writes the generated sources (autogen/signal_adapters/ by default).

    python3 codegen/generate.py [--out DIR] [--catalogue DIR]

Exit status 0 on success, 1 if the catalogue is rejected (every problem is
printed, nothing is written), 2 on a usage error.

Standard library only: the generator has to run on any build host. The work is
done by the package fsrl_codegen next to this file; this is its one entry point.
"""

import argparse
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)

from fsrl_codegen.catalogue import CatalogueError, load_catalogue  # noqa: E402  (the path is set just above)
from fsrl_codegen.cpp import PREFIX  # noqa: E402,F401  (part of this module's interface for the tests)
from fsrl_codegen.outputs import FILE_LIST, is_generated_file, render, write_outputs  # noqa: E402,F401

REPO_ROOT = os.path.dirname(HERE)
DEFAULT_CATALOGUE = os.path.join(HERE, "catalogue")
DEFAULT_OUT = os.path.join(REPO_ROOT, "autogen", "signal_adapters")


def main(argv=None):
    parser = argparse.ArgumentParser(description="Generate the signal database and typed records from the catalogue.")
    parser.add_argument("--out", default=DEFAULT_OUT, help="output folder (default: autogen/signal_adapters)")
    parser.add_argument("--catalogue", default=DEFAULT_CATALOGUE, help="catalogue folder (default: codegen/catalogue)")
    args = parser.parse_args(argv)
    try:
        cat = load_catalogue(args.catalogue)
    except CatalogueError as exc:
        for message in exc.args[0]:
            sys.stderr.write("generate.py: error: %s\n" % message)
        sys.stderr.write("generate.py: catalogue rejected (%d problem(s)); nothing written\n" % len(exc.args[0]))
        return 1
    write_outputs(render(cat), args.out)
    return 0


if __name__ == "__main__":
    sys.exit(main())
