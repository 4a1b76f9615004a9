"""The signal database file (autogen/signal_adapters/fsrl.dbc) read by a DBC tool
nobody here wrote: canmatrix (Debian python3-canmatrix) decodes a simulated
recording, and every signal value equals what `fsrl decode` makes of the same
frames through the HAL.

The HAL carries every scaled (physical) value at single precision (the typed
read narrows it to float and widens it back), while canmatrix computes the
exact decimal raw x factor + offset; a scaled value is therefore compared after
rounding canmatrix's value to float32. Unscaled values (integers, enumerations,
counters, CRCs, 64-bit time stamps) are compared exactly.

Environment: FSRL_TOOL, the fsrl executable; FSRL_DBC, the DBC file."""

import json
import os
import re
import shutil
import struct
import subprocess
import tempfile
import unittest

import canmatrix
import canmatrix.formats

FSRL_TOOL = os.environ.get("FSRL_TOOL", "fsrl")
FSRL_DBC = os.environ.get("FSRL_DBC", os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..",
                                                   "autogen", "signal_adapters", "fsrl.dbc"))
# candump -l: "(SECONDS) IFACE ID#DATA" for classic CAN, "(SECONDS) IFACE ID##FDATA" for CAN FD (F: flags nibble).
CANDUMP_LINE = re.compile(r"^\((?P<t>[0-9.]+)\) \S+ (?P<id>[0-9A-Fa-f]+)#(?:#[0-9A-Fa-f])?(?P<data>[0-9A-Fa-f]*)$")
SCANS = 3
GROUPS = 52


def field_name(signal_name):
    """The record field of a database signal: lower case, an underscore where a
    lower-case letter meets an upper-case one (the generator's naming rule)."""
    return re.sub(r"([a-z])([A-Z])", r"\1_\2", signal_name).lower()


def float32(value):
    return struct.unpack("<f", struct.pack("<f", float(value)))[0]


class CanmatrixDecodingTest(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        cls.tmp = tempfile.mkdtemp(prefix="fsrl_dbc_")
        log = os.path.join(cls.tmp, "radar.log")
        subprocess.run([FSRL_TOOL, "simulate", "--scans", str(SCANS), "--seed", "7", "--out", log], check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        decoded = subprocess.run([FSRL_TOOL, "decode", log], check=True, stdout=subprocess.PIPE,
                                 stderr=subprocess.DEVNULL, universal_newlines=True).stdout
        cls.decoded = [json.loads(line) for line in decoded.splitlines() if line.strip()]
        with open(log) as handle:
            cls.frames = [CANDUMP_LINE.match(line.strip()) for line in handle if line.strip()]
        cls.database = canmatrix.formats.loadp_flat(FSRL_DBC)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.tmp)

    def test_every_group_is_a_can_fd_message_with_its_e2e_attributes(self):
        self.assertEqual(len(self.database.frames), GROUPS)
        for frame in self.database.frames:
            self.assertTrue(frame.is_fd, frame.name)
            self.assertEqual(len(frame.signalGroups), 1, frame.name)
            self.assertEqual(frame.signalGroups[0].name, frame.name)
            self.assertEqual(frame.attributes["E2EProfile"], "PROFILE_05", frame.name)
        status2 = self.database.frame_by_id(canmatrix.ArbitrationId(0x433))
        self.assertEqual((status2.name, status2.size, int(status2.attributes["E2EDataId"])), ("RSDS4SigSts2", 24, 2745))

    def test_enumerated_signals_carry_their_value_names(self):
        frame = self.database.frame_by_id(canmatrix.ArbitrationId(0x400))
        quality = frame.signal_by_name("RSDS4Detn000To004Quality0")
        self.assertEqual(quality.values[3], "Quality_DetectionUnpopulated")
        self.assertEqual(frame.signal_by_name("RSDS4Detn000To004RngRt0").unit, "m/s")

    def test_every_signal_of_a_simulated_log_decodes_as_fsrl_decode_decodes_it(self):
        self.assertEqual(len(self.frames), SCANS * GROUPS)
        self.assertEqual(len(self.decoded), len(self.frames))
        compared = 0
        for match, line in zip(self.frames, self.decoded):
            self.assertIsNotNone(match, "not a candump line")
            frame = self.database.frame_by_id(canmatrix.ArbitrationId(int(match.group("id"), 16)))
            self.assertIsNotNone(frame, match.group("id"))
            self.assertEqual(frame.name, line["group"])
            self.assertEqual(line["status"], "kE2eOk", line["group"])
            record = line["record"]
            values = frame.decode(bytes.fromhex(match.group("data")))
            self.assertEqual(len(values), len(record), frame.name)
            for name, value in values.items():
                expected = record[field_name(name)]
                signal = value.signal
                if signal.factor != 1 or signal.offset != 0:
                    got = float32(value.phys_value)
                else:
                    got = int(value.raw_value)
                self.assertEqual(got, expected, "%s at t=%s" % (name, match.group("t")))
                compared += 1
        self.assertEqual(compared, SCANS * 2465)


if __name__ == "__main__":
    unittest.main()
