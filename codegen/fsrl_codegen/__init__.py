"""The generator behind codegen/generate.py, split by what it emits.

- model: the catalogue as immutable records;
- catalogue: reading and checking codegen/catalogue/ (every problem as FILE:LINE);
- database, records, adapter: one renderer per kind of output, each filling the
  C++ templates of codegen/templates/;
- outputs: the set of generated files and how they are written.
"""
