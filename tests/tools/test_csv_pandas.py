"""The CSV tables of the fsrl commands, read with pandas, hold exactly what their JSON lines hold.

A radar log with faults is simulated with `fsrl simulate` (FSRL_TOOL), then replayed with `fsrl replay` and
decoded with `fsrl decode`, each once writing JSON lines and once with `--format csv`. pandas is the reader nobody
here wrote.
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


def fsrl(*args, stdout=subprocess.DEVNULL):
    subprocess.run([os.environ["FSRL_TOOL"], *args], check=True, stdout=stdout, stderr=subprocess.DEVNULL)


def run_commands():
    directory = tempfile.mkdtemp(prefix="fsrl_csv_")

    def path(name):
        return os.path.join(directory, name)

    # A CRC error, a dropped group and a silence long enough for lost communication: statuses with faults, scans
    # that stay incomplete, and every E2E outcome the decode output knows.
    fsrl("simulate", "--scans", SCANS, "--out", path("radar.log"), "--seed", "5",
         "--fault", "crc:3:RSDS4Detn045To049", "--fault", "drop:6:RSDS4Detn100To104", "--fault", "silence:10:400")
    fsrl("replay", path("radar.log"), "--out", path("replay.jsonl"))
    fsrl("replay", path("radar.log"), "--format", "csv", "--out", path("detections.csv"))
    fsrl("replay", path("radar.log"), "--format", "csv", "--out", path("other.csv"), "--status-out",
         path("status.csv"))
    for output_format, name in (("jsonl", "decode.jsonl"), ("csv", "decode.csv")):
        with open(path(name), "wb") as out:
            fsrl("decode", "--format", output_format, path("radar.log"), stdout=out)
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
        cls.directory = run_commands()
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

    def test_the_statuses_table_defaults_to_the_detections_name_with_status_csv(self):
        # `--out detections.csv` alone puts the statuses beside it; `--status-out` names them; both the same.
        with open(self.path("detections.status.csv"), "rb") as default, open(self.path("status.csv"), "rb") as named:
            self.assertEqual(default.read(), named.read())
        with open(self.path("detections.csv"), "rb") as first, open(self.path("other.csv"), "rb") as second:
            self.assertEqual(first.read(), second.read())

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
