"""Module tests of the DBC rendering of the signal database (codegen/fsrl_codegen/dbc.py).

What a DBC tool makes of the file is proven elsewhere (tests/tools/test_dbc_canmatrix.py);
these check the file's structure against the catalogue and the number spelling the C++
writer (tools/fsrl/src/dbc_writer.cpp) shares with it."""

import os
import re
import sys
import unittest

REPO_ROOT = os.path.abspath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", ".."))
CATALOGUE = os.path.join(REPO_ROOT, "codegen", "catalogue")
sys.path.insert(0, os.path.join(REPO_ROOT, "codegen"))
from fsrl_codegen import dbc  # noqa: E402  (the path is set just above)
from fsrl_codegen.catalogue import load_catalogue  # noqa: E402


class DbcNumberTest(unittest.TestCase):

    def test_numbers_are_spelt_shortest_in_the_shorter_notation(self):
        cases = {
            "300": "300", "-106": "-106", "0.025": "0.025", "-40.005": "-40.005", "255.9375": "255.9375",
            "0.00145204372": "0.00145204372", "0.001": "0.001",  # a tie goes to the fixed notation
            "0.0001": "1e-04", "100000": "1e+05", "1e16": "1e+16", "123456789012345678": "123456789012345680",
            "0": "0", "-0.5": "-0.5",
        }
        for text, expected in cases.items():
            self.assertEqual(dbc.dbc_number(text), expected, text)

    def test_spelt_numbers_read_back_as_the_same_double(self):
        for text in ("0.1", "0.315", "-25.6", "3.14", "0.0625", "1.7976931348623157e308", "5e-324"):
            self.assertEqual(float(dbc.dbc_number(text)), float(text), text)

    def test_frame_length_is_the_smallest_can_fd_length_holding_the_payload(self):
        self.assertEqual([dbc.can_fd_length(n) for n in (0, 8, 9, 21, 48, 50, 61, 64)],
                         [0, 8, 12, 24, 48, 64, 64, 64])


class DbcRenderingTest(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        cls.catalogue = load_catalogue(CATALOGUE)
        cls.text = dbc.render(cls.catalogue)[dbc.DBC_FILE]

    def test_every_group_is_one_message_at_0x400_plus_its_index(self):
        messages = re.findall(r"^BO_ (\d+) (\w+): (\d+) FSRL$", self.text, re.M)
        self.assertEqual([(int(i), n) for i, n, _ in messages],
                         [(0x400 + g.index, g.name) for g in self.catalogue.groups])
        lengths = dict((n, int(length)) for _, n, length in messages)
        self.assertEqual((lengths["RSDS4Detn000To004"], lengths["RSDS4Obj00To01"], lengths["RSDS4SigSts1"],
                          lengths["RSDS4SigSts2"]), (48, 64, 64, 24))

    def test_every_signal_appears_once_with_its_layout(self):
        lines = re.findall(r"^ SG_ (\w+) : (\d+)\|(\d+)@1\+ \(([^,]+),([^)]+)\) \[([^|]+)\|([^\]]+)\] \"([^\"]*)\" "
                           r"Vector__XXX$", self.text, re.M)
        by_name = dict((line[0], line) for line in lines)
        self.assertEqual(len(lines), 2465)
        self.assertEqual(len(by_name), 2465)
        for group in self.catalogue.groups:
            for sig in group.signals:
                _, start, length, factor, offset, low, high, unit = by_name[sig.name]
                self.assertEqual((int(start), int(length), unit), (sig.row.start_bit, sig.row.bit_length, sig.unit))
                self.assertEqual((float(factor), float(offset), float(low), float(high)),
                                 (float(sig.row.factor), float(sig.row.offset), float(sig.row.min),
                                  float(sig.row.max)), sig.name)

    def test_every_enumerated_signal_has_its_value_table(self):
        tables = dict(re.findall(r"^VAL_ \d+ (\w+) (.*) ;$", self.text, re.M))
        enumerated = [s for g in self.catalogue.groups for s in g.signals if s.row.value_type == "enumerated"]
        self.assertEqual(sorted(tables), sorted(s.name for s in enumerated))
        self.assertEqual(tables["RSDS4SigSts1Blockage"],
                         '2 "RSDS4Blockage_StatusNoBlockage" 1 "RSDS4Blockage_StatusFullBlockage" '
                         '0 "RSDS4Blockage_StatusBlockageUnknown"')

    def test_e2e_data_id_and_profile_are_message_attributes(self):
        ids = dict((int(i), int(v)) for i, v in re.findall(r'^BA_ "E2EDataId" BO_ (\d+) (\d+);$', self.text, re.M))
        profiles = re.findall(r'^BA_ "E2EProfile" BO_ \d+ "(\w+)";$', self.text, re.M)
        self.assertEqual(ids, dict((0x400 + g.index, g.data_id) for g in self.catalogue.groups))
        self.assertEqual(ids[0x403], 2690)  # groups 3 and 5 swap their data ids
        self.assertEqual(profiles, ["PROFILE_05"] * 52)

    def test_messages_are_declared_can_fd(self):
        self.assertIn('\nBA_DEF_ "BusType" STRING ;\n', self.text)
        self.assertIn('\nBA_DEF_DEF_ "BusType" "CAN FD";\n', self.text)
        self.assertIn('\nBA_DEF_DEF_ "VFrameFormat" "StandardCAN_FD";\n', self.text)
        formats = re.findall(r'^BA_ "VFrameFormat" BO_ \d+ (\d+);$', self.text, re.M)
        self.assertEqual(formats, ["14"] * 52)
        enum = re.search(r'^BA_DEF_ BO_ "VFrameFormat" ENUM (.*);$', self.text, re.M).group(1).split(",")
        self.assertEqual(enum[14], '"StandardCAN_FD"')

    def test_each_message_is_one_signal_group_of_all_its_signals(self):
        groups = re.findall(r"^SIG_GROUP_ (\d+) (\w+) 1 :((?: \w+)+);$", self.text, re.M)
        self.assertEqual(len(groups), 52)
        for (can_id, name, members), group in zip(groups, self.catalogue.groups):
            self.assertEqual((int(can_id), name), (0x400 + group.index, group.name))
            self.assertEqual(sorted(members.split()), sorted(s.name for s in group.signals))

    def test_comments_describe_messages_and_signals(self):
        self.assertIn('\nCM_ BO_ 1025 "Detections 5 to 9 of one radar scan";\n', self.text)
        self.assertIn('\nCM_ SG_ 1025 RSDS4Detn005To009Range2 "Radial distance of detection 7";\n', self.text)


if __name__ == "__main__":
    unittest.main()
