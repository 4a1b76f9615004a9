"""The set of generated files: rendering all of them, the CMake list of them,
and writing them into the output folder."""

import os

from . import adapter, database, dbc, descriptions, records
from .cpp import BANNER_MARKER, PREFIX, banner

GENERATED_HEADERS = (
    PREFIX + "_e2e_database.h",
    PREFIX + "_signal_groups.h",
    PREFIX + "_signal_groups_meta.h",
    PREFIX + "_detection_groups.h",
    PREFIX + "_signal_adapter.h",
    PREFIX + "_signal_descriptions.h",
)
GENERATED_SOURCES = (
    PREFIX + "_e2e_database.cpp",
    PREFIX + "_signal_groups_meta.cpp",
    PREFIX + "_signal_adapter.cpp",
    PREFIX + "_signal_descriptions.cpp",
)
# Headers the generated sources need but that are no interface of the library:
# built with it, never installed.
GENERATED_PRIVATE_HEADERS = (
    PREFIX + "_signal_adapter_impl.h",
)
FILE_LIST = "generated_files.cmake"


def render_file_list():
    lines = [banner("#"), "\n",
             "# The generated sources of this folder, for include() from a CMakeLists.txt.\n",
             "set(FSRL_CODEGEN_HEADERS\n"]
    lines += ["  ${CMAKE_CURRENT_LIST_DIR}/%s\n" % name for name in GENERATED_HEADERS]
    lines.append(")\n# Not installed: the inside of generated classes, for the sources and module tests.\n"
                 "set(FSRL_CODEGEN_PRIVATE_HEADERS\n")
    lines += ["  ${CMAKE_CURRENT_LIST_DIR}/%s\n" % name for name in GENERATED_PRIVATE_HEADERS]
    lines.append(")\nset(FSRL_CODEGEN_SOURCES\n")
    lines += ["  ${CMAKE_CURRENT_LIST_DIR}/%s\n" % name for name in GENERATED_SOURCES]
    lines.append(")\n")
    return "".join(lines)


def render(cat):
    """All generated files as {file name: text}."""
    files = {}
    for renderer in (database, records, adapter, descriptions, dbc):
        files.update(renderer.render(cat))
    files[FILE_LIST] = render_file_list()
    return files


def is_generated_file(path):
    try:
        with open(path, encoding="utf-8") as handle:
            head = handle.read(256)
    except (OSError, UnicodeDecodeError):
        return False
    return BANNER_MARKER in head.split("\n", 1)[0]


def write_outputs(files, out_dir):
    """Write the files (only those that changed, to spare rebuilds) and remove
    files of an earlier generation that are no longer produced."""
    os.makedirs(out_dir, exist_ok=True)
    for name in sorted(files):
        path = os.path.join(out_dir, name)
        data = files[name].encode("utf-8")
        try:
            with open(path, "rb") as handle:
                if handle.read() == data:
                    continue
        except OSError:
            pass
        tmp = path + ".tmp"
        with open(tmp, "wb") as handle:
            handle.write(data)
        os.replace(tmp, path)
    for name in sorted(os.listdir(out_dir)):
        path = os.path.join(out_dir, name)
        if name not in files and os.path.isfile(path) and is_generated_file(path):
            os.remove(path)
