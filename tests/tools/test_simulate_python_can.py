"""`fsrl simulate` writes a candump log, a Vector ASC log or a Vector BLF log by
the extension of --out; python-can (Debian python3-can), which nobody here
wrote, reads each of them as the same frames: a short run with faults, frame
for frame, with every field the format carries, times to the format's
resolution (ASC: microseconds; BLF and candump: python-can's double seconds,
about 0.24 us at today's dates).

Skipped, saying so, only when python-can cannot be imported.

Environment: FSRL_TOOL, the fsrl executable."""

import os
import shutil
import subprocess
import tempfile
import time
import unittest

try:
    import can
except ImportError:  # reported by the skip below
    can = None

FSRL_TOOL = os.environ.get("FSRL_TOOL", "fsrl")
SCANS = 6
GROUPS = 52
# One fault of each kind; the drop makes the run one frame short of SCANS x GROUPS.
FAULTS = ["crc:1:3", "drop:2:10", "repeat:2:50", "short:3:45", "counterjump:4:7:3", "silence:4:120"]
# Largest difference between two times that are the same to the format's resolution, seen through doubles.
TOLERANCE_S = 1.5e-6


def read(path):
    if path.endswith(".asc"):
        # Absolute times, from the log's start date, as the candump and BLF readers give them.
        return list(can.ASCReader(path, relative_timestamp=False))
    return list(can.LogReader(path))


@unittest.skipIf(can is None, "python-can is not installed (scripts/bootstrap.sh installs python3-can)")
class SimulatedLogsThroughPythonCan(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        # ASC and BLF dates are local time: writer and reader agree in any zone, UTC makes failures readable.
        cls.old_tz = os.environ.get("TZ")
        os.environ["TZ"] = "UTC"
        time.tzset()
        cls.tmp = tempfile.mkdtemp(prefix="fsrl_writers_")
        cls.paths = {}
        for extension in ("log", "asc", "blf"):
            path = os.path.join(cls.tmp, "radar." + extension)
            command = [FSRL_TOOL, "simulate", "--scans", str(SCANS), "--seed", "11", "--out", path]
            for fault in FAULTS:
                command += ["--fault", fault]
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            cls.paths[extension] = path
        cls.original = read(cls.paths["log"])

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.tmp, ignore_errors=True)
        if cls.old_tz is None:
            del os.environ["TZ"]
        else:
            os.environ["TZ"] = cls.old_tz
        time.tzset()

    def test_candump_log_holds_the_run_with_its_faults(self):
        self.assertEqual(len(self.original), SCANS * GROUPS - 1)
        self.assertTrue(all(m.is_fd for m in self.original))
        self.assertEqual({m.channel for m in self.original}, {"can0"})

    def assert_same_frames(self, extension):
        converted = read(self.paths[extension])
        self.assertEqual(len(converted), len(self.original))
        for i, (a, b) in enumerate(zip(self.original, converted)):
            where = "frame %d: %s vs %s" % (i, a, b)
            self.assertAlmostEqual(b.timestamp, a.timestamp, delta=TOLERANCE_S, msg=where)
            self.assertEqual(b.arbitration_id, a.arbitration_id, where)
            self.assertEqual(b.is_extended_id, a.is_extended_id, where)
            self.assertEqual(b.is_fd, a.is_fd, where)
            self.assertEqual(b.bitrate_switch, a.bitrate_switch, where)
            self.assertEqual(b.error_state_indicator, a.error_state_indicator, where)
            self.assertEqual(b.is_remote_frame, a.is_remote_frame, where)
            self.assertEqual(b.dlc, a.dlc, where)
            self.assertEqual(bytes(b.data), bytes(a.data), where)
            # python-can numbers ASC and BLF channels from 0; the log's channel is 1.
            self.assertEqual(b.channel, 0, where)

    def test_asc_log_reads_as_the_candump_log(self):
        self.assert_same_frames("asc")

    def test_blf_log_reads_as_the_candump_log(self):
        self.assert_same_frames("blf")


if __name__ == "__main__":
    unittest.main()
