"""The CSV tables of a simulated run, read with pandas, hold exactly what the run's JSON lines hold.

The fixture program (FSRL_EXPORT_FIXTURE) simulates a run with faults, replays and decodes it with the fsrl tool
(JSON lines), and writes the same publications and decoded frames as CSV. pandas is the reader nobody here wrote.
"""
import json
import math
import os
import shutil
import subprocess
import tempfile
import unittest

import pandas

SCANS = "60"


def run_fixture():
    directory = tempfile.mkdtemp(prefix="fsrl_csv_")
    subprocess.run([os.environ["FSRL_EXPORT_FIXTURE"], directory, SCANS], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return directory


def json_lines(path):
    # Numbers are kept as their text, so that time stamps and 64-bit integers compare exactly.
    with open(path, encoding="utf-8") as source:
        return [json.loads(line, parse_float=str, parse_int=str) for line in source if line.strip()]


def same_number(csv_value, json_text):
    if json_text is None:
        return isinstance(csv_value, float) and math.isnan(csv_value)
    return float(csv_value) == float(json_text)


def nanoseconds(seconds_text):
    whole, _, fraction = seconds_text.partition(".")
    return int(whole) * 1_000_000_000 + int((fraction + "000000000")[:9])


class PandasReadsCsvLikeJsonLines(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = run_fixture()
        cls.replay = json_lines(os.path.join(cls.directory, "replay.jsonl"))
        cls.decode = json_lines(os.path.join(cls.directory, "decode.jsonl"))

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.directory, ignore_errors=True)

    def path(self, name):
        return os.path.join(self.directory, name)

    def test_every_published_detection_is_a_row_with_the_json_values(self):
        table = pandas.read_csv(self.path("detections.csv"), float_precision="round_trip")
        scans = [line for line in self.replay if line["type"] == "detections"]
        self.assertGreater(len(scans), 10)
        self.assertEqual(len(table), 200 * len(scans))
        rows = table.itertuples(index=False)
        for scan in scans:
            for slot, detection in enumerate(scan["detections"]):
                row = next(rows)
                self.assertEqual(row.t_ns, nanoseconds(scan["t"]))
                self.assertEqual(row.t, float(scan["t"]))
                self.assertEqual(row.scan_id, int(scan["scan_id"]))
                self.assertEqual(row.is_valid, scan["is_valid"])
                for mode in ("short_range", "near_range", "mid_range", "long_range"):
                    self.assertEqual(getattr(row, "time_stamp_" + mode), int(scan["time_stamps"][mode]))
                for key in ("x_offset", "y_offset", "phi_offset"):
                    self.assertTrue(same_number(getattr(row, "mounting_" + key), scan["mounting"][key]))
                self.assertEqual(row.detection, slot)
                for key in ("snr", "rcs", "azimuth", "elevation", "range", "range_rate"):
                    self.assertTrue(same_number(getattr(row, key), detection[key]),
                                    f"scan {scan['scan_id']} slot {slot} {key}: {getattr(row, key)} "
                                    f"against {detection[key]}")
                self.assertEqual(row.is_dynamic, detection["is_dynamic"])
                self.assertEqual(row.mode, detection["mode"])
                self.assertEqual(row.quality_aggregated, detection["quality_aggregated"])
        self.assertIsNone(next(rows, None))

    def test_every_published_status_is_a_row_with_the_json_values(self):
        table = pandas.read_csv(self.path("status.csv"), float_precision="round_trip")
        statuses = [line for line in self.replay if line["type"] == "status"]
        self.assertEqual(len(table), len(statuses))
        self.assertTrue(any(status["fault_reason"]["is_communication_faulty"] for status in statuses),
                        "the run should contain a lost-communication status")
        for row, status in zip(table.to_dict("records"), statuses):
            self.assertEqual(row["t_ns"], nanoseconds(status["t"]))
            self.assertEqual(row["scan_id"], int(status["scan_id"]))
            for key in ("azimuth_alignment_error", "elevation_alignment_error", "flr_temperature"):
                self.assertTrue(same_number(row[key], status[key]), key)
            for key in ("blockage", "interference", "calibration_status"):
                self.assertEqual(row[key], status[key])
            for key, value in status["fault_reason"].items():
                self.assertEqual(row[key], value, key)
            for key in ("is_sensor_status_on", "is_transmission_activated", "is_system_failing", "is_time_sync_ok"):
                self.assertEqual(row[key], status[key], key)

    def test_crlf_line_ends_read_the_same_and_end_every_row(self):
        with open(self.path("status_crlf.csv"), "rb") as source:
            raw = source.read()
        self.assertTrue(raw.endswith(b"\r\n"))
        self.assertEqual(raw.count(b"\n"), raw.count(b"\r\n"))
        pandas.testing.assert_frame_equal(
            pandas.read_csv(self.path("status_crlf.csv"), float_precision="round_trip"),
            pandas.read_csv(self.path("status.csv"), float_precision="round_trip"))

    def test_every_decoded_frame_is_a_row_with_its_group_columns_filled(self):
        # Text first: 64-bit counters and time stamps do not fit a float64 column with gaps.
        table = pandas.read_csv(self.path("decode.csv"), dtype=str, keep_default_na=False)
        self.assertEqual(len(table), len(self.decode))
        self.assertEqual(list(table.columns[:9]),
                         ["t", "t_ns", "channel", "id", "extended", "group", "result", "status", "status_code"])
        statuses = set()
        for row, line in zip(table.to_dict("records"), self.decode):
            self.assertEqual(row["t"], line["t"])
            self.assertEqual(int(row["t_ns"]), nanoseconds(line["t"]))
            self.assertEqual(row["group"], line["group"])
            self.assertEqual(row["result"], line["result"])
            self.assertEqual(row["status"], line["status"])
            statuses.add(line["status"])
            record = line["record"]
            for key, value in record.items():
                self.assertNotEqual(row[key], "", f"{line['group']} {key} is empty")
                self.assertEqual(float(row[key]), float(value), f"{line['group']} {key}")
                if "." not in value and "e" not in value.lower():
                    self.assertEqual(int(row[key]), int(value), f"{line['group']} {key}")
            filled = sum(1 for column in table.columns[9:] if row[column] != "")
            self.assertEqual(filled, len(record), f"{line['group']}: only its own columns are filled")
        self.assertIn("kE2eWrongCRC", statuses)

    def test_a_group_reads_as_numbers_once_its_own_columns_are_kept(self):
        table = pandas.read_csv(self.path("decode.csv"), float_precision="round_trip", low_memory=False)
        group = table[table.group == "RSDS4Detn000To004"].dropna(axis=1, how="all")
        lines = [line for line in self.decode if line["group"] == "RSDS4Detn000To004"]
        self.assertEqual(len(group), len(lines))
        self.assertEqual(len(group.columns), 9 + len(lines[0]["record"]))
        for row, line in zip(group.to_dict("records"), lines):
            self.assertEqual(row["id"], 0x400)
            for key in ("rsds4detn000to004range0", "rsds4detn000to004azi_ang3", "rsds4detn000to004counter"):
                self.assertEqual(row[key], float(line["record"][key]), key)


if __name__ == "__main__":
    unittest.main()
