// Reads an MCAP file written by fsrl's ReplayMcapSink with the MCAP project's own reader (@mcap/core) and holds
// it to the JSON lines of the same replay: records and CRCs (stream reader), summary, statistics, chunk and
// message indexes (indexed reader, seeking), every channel, schema and message, log times, the decoded point
// clouds, and the messages against the viewer's own JSON Schemas (@foxglove/schemas, checked with ajv).
//   node check_mcap.js FILE.mcap REPLAY.jsonl COMPRESSION [MIN_CHUNKS]
"use strict";

const assert = require("node:assert/strict");
const fs = require("node:fs");
const { McapIndexedReader, McapStreamReader } = require("@mcap/core");
const foxgloveSchemas = require("@foxglove/schemas/jsonschema");
const { decompress } = require("fzstd");
const Ajv = require("ajv");

const [mcapPath, jsonlPath, compression, minChunks = "1"] = process.argv.slice(2);
const bytes = new Uint8Array(fs.readFileSync(mcapPath));
const decompressHandlers = { zstd: (buffer, size) => decompress(buffer, new Uint8Array(Number(size))) };

// Replay output with number texts kept: a time stamp needs all its digits, a float its exact text.
function parseLine(line) {
  return JSON.parse(line.replace(/(:\s*)(-?\d+(?:\.\d+)?(?:[eE][+-]?\d+)?)(?=[,}\]])/g, '$1"#$2"'), (key, value) =>
    typeof value === "string" && value.startsWith("#") ? value.slice(1) : value);
}
const lines = fs.readFileSync(jsonlPath, "utf8").split("\n").filter((line) => line.trim() !== "").map(parseLine);
const scans = lines.filter((line) => line.type === "detections");
const statuses = lines.filter((line) => line.type === "status");
assert.ok(scans.length > 10 && statuses.length > 10, "the run publishes scans and statuses");

function nanoseconds(text) {
  const [whole, fraction = ""] = text.split(".");
  return BigInt(whole) * 1000000000n + BigInt((fraction + "000000000").slice(0, 9));
}
const f32 = (text) => (text === null ? NaN : Math.fround(Number(text)));
const kQuality = { kLow: 0, kMid: 1, kHigh: 2 };
const kMode = { kShortRange: 0, kNearRange: 1, kMidRange: 2, kLongRange: 3 };

async function main() {
  // 1. Every record in file order, CRCs of chunks and of the data section checked by the reader.
  const stream = new McapStreamReader({ includeChunks: true, validateCrcs: true, decompressHandlers });
  stream.append(bytes);
  const counts = {};
  let last;
  for (let record; (record = stream.nextRecord()); ) {
    counts[record.type] = (counts[record.type] ?? 0) + 1;
    if (record.type === "Chunk") {
      assert.equal(record.compression, compression, "chunk compression");
    }
    last = record;
  }
  assert.ok(stream.done(), "the stream reader reached the end of the file");
  assert.equal(last.type, "Footer");
  for (const type of ["Header", "Schema", "Channel", "Chunk", "MessageIndex", "DataEnd", "Statistics",
    "ChunkIndex", "SummaryOffset", "Footer"]) {
    assert.ok(counts[type] > 0, `a ${type} record`);
  }
  assert.equal(counts.ChunkIndex, counts.Chunk, "one chunk index per chunk");
  assert.ok(counts.Chunk >= Number(minChunks), `at least ${minChunks} chunk(s), found ${counts.Chunk}`);

  // 2. The summary, as a viewer opening the file reads it.
  const reader = await McapIndexedReader.Initialize({
    readable: {
      size: async () => BigInt(bytes.length),
      read: async (offset, size) => bytes.subarray(Number(offset), Number(offset + size)),
    },
    decompressHandlers,
  });
  // The summary CRC, which neither reader checks: CRC-32 from the summary's start to the footer's CRC field.
  const crcTable = Array.from({ length: 256 }, (_, n) => {
    let c = n;
    for (let k = 0; k < 8; ++k) c = c & 1 ? 0xedb88320 ^ (c >>> 1) : c >>> 1;
    return c >>> 0;
  });
  let crc = 0xffffffff;
  const footerCrcAt = bytes.length - 8 - 4;
  for (let i = Number(reader.footer.summaryStart); i < footerCrcAt; ++i) crc = crcTable[(crc ^ bytes[i]) & 0xff] ^ (crc >>> 8);
  assert.equal((crc ^ 0xffffffff) >>> 0, reader.footer.summaryCrc, "summary CRC");

  const topics = new Map([...reader.channelsById.values()].map((channel) => [channel.topic, channel]));
  assert.deepEqual([...topics.keys()].sort(), ["/fsrl/detections", "/fsrl/status", "/tf"]);
  const schemaOf = (topic) => reader.schemasById.get(topics.get(topic).schemaId);
  assert.equal(schemaOf("/fsrl/detections").name, "foxglove.PointCloud");
  assert.equal(schemaOf("/tf").name, "foxglove.FrameTransform");
  assert.equal(schemaOf("/fsrl/status").name, "fsrl.RadarStatus");
  for (const topic of topics.keys()) {
    assert.equal(topics.get(topic).messageEncoding, "json", `${topic} encoding`);
    assert.equal(schemaOf(topic).encoding, "jsonschema", `${topic} schema encoding`);
  }

  // The frame transform follows the mounting: one message per change of the scans' mounting.
  const mountings = [];
  for (const scan of scans) {
    const m = scan.mounting;
    const previous = mountings[mountings.length - 1];
    if (!previous || previous.m.x_offset !== m.x_offset || previous.m.y_offset !== m.y_offset ||
        previous.m.phi_offset !== m.phi_offset) {
      mountings.push({ t: scan.t, m });
    }
  }
  const stats = reader.statistics;
  assert.equal(stats.messageCount, BigInt(scans.length + statuses.length + mountings.length));
  assert.equal(stats.channelMessageCounts.get(topics.get("/fsrl/detections").id), BigInt(scans.length));
  assert.equal(stats.channelMessageCounts.get(topics.get("/fsrl/status").id), BigInt(statuses.length));
  assert.equal(stats.channelMessageCounts.get(topics.get("/tf").id), BigInt(mountings.length));
  assert.equal(stats.chunkCount, counts.Chunk);
  assert.equal(stats.messageStartTime, nanoseconds(lines[0].t));
  assert.equal(stats.messageEndTime, nanoseconds(lines[lines.length - 1].t));

  // 3. Every message through the indexes, in log time order.
  const byTopic = { "/fsrl/detections": [], "/fsrl/status": [], "/tf": [] };
  for await (const message of reader.readMessages({ validateCrcs: true })) {
    const topic = reader.channelsById.get(message.channelId).topic;
    byTopic[topic].push({ logTime: message.logTime, publishTime: message.publishTime,
      sequence: message.sequence, body: JSON.parse(new TextDecoder().decode(message.data)) });
  }
  assert.equal(byTopic["/fsrl/detections"].length, scans.length);
  assert.equal(byTopic["/fsrl/status"].length, statuses.length);
  assert.equal(byTopic["/tf"].length, mountings.length);

  // Schemas: every message valid against the viewer's own schema and against the one written in the file.
  const ajv = new Ajv({ strict: false, allErrors: true });
  const own = (topic) => ajv.compile(JSON.parse(new TextDecoder().decode(schemaOf(topic).data)));
  const checks = {
    "/fsrl/detections": [ajv.compile(foxgloveSchemas.PointCloud), own("/fsrl/detections")],
    "/tf": [ajv.compile(foxgloveSchemas.FrameTransform), own("/tf")],
    "/fsrl/status": [own("/fsrl/status")],
  };
  for (const [topic, validators] of Object.entries(checks)) {
    for (const { body } of byTopic[topic]) {
      for (const validate of validators) {
        assert.ok(validate(body), `${topic}: ${JSON.stringify(validate.errors)}`);
      }
    }
  }
  for (const [topic, name] of [["/fsrl/detections", "PointCloud"], ["/tf", "FrameTransform"]]) {
    const written = JSON.parse(new TextDecoder().decode(schemaOf(topic).data));
    assert.equal(written.title, foxgloveSchemas[name].title);
    assert.deepEqual([...written.required].sort(), [...foxgloveSchemas[name].required].sort(), `${name} required`);
    assert.deepEqual(Object.keys(written.properties).sort(), Object.keys(foxgloveSchemas[name].properties).sort());
  }

  // Point clouds against the scans, point by point.
  let points = 0;
  scans.forEach((scan, i) => {
    const message = byTopic["/fsrl/detections"][i];
    const t = nanoseconds(scan.t);
    assert.equal(message.logTime, t, `scan ${i} log time`);
    assert.equal(message.publishTime, t);
    assert.equal(message.sequence, i);
    const cloud = message.body;
    assert.equal(BigInt(cloud.timestamp.sec) * 1000000000n + BigInt(cloud.timestamp.nsec), t);
    assert.equal(cloud.frame_id, "vehicle");
    const offset = Object.fromEntries(cloud.fields.map((field) => [field.name, field]));
    const data = Buffer.from(cloud.data, "base64");
    const populated = scan.detections.map((d, slot) => ({ d, slot })).filter(({ d }) => d.quality_aggregated !== "kUnknown");
    assert.equal(data.length, populated.length * cloud.point_stride, `scan ${i} point count`);
    const phi = f32(scan.mounting.phi_offset);
    populated.forEach(({ d, slot }, n) => {
      const at = (name) => n * cloud.point_stride + offset[name].offset;
      const float = (name) => data.readFloatLE(at(name));
      for (const name of ["range", "azimuth", "elevation", "range_rate", "rcs", "snr"]) {
        assert.ok(Object.is(float(name), f32(d[name])), `scan ${i} slot ${slot} ${name}: ${float(name)} against ${d[name]}`);
      }
      const r = f32(d.range), a = f32(d.azimuth), e = f32(d.elevation);
      const x = f32(scan.mounting.x_offset) + r * Math.cos(e) * Math.cos(phi + a);
      const y = f32(scan.mounting.y_offset) + r * Math.cos(e) * Math.sin(phi + a);
      const z = r * Math.sin(e);
      for (const [name, expected] of [["x", x], ["y", y], ["z", z]]) {
        assert.ok(Math.abs(float(name) - expected) <= 1e-5 * Math.max(1, Math.abs(expected)),
          `scan ${i} slot ${slot} ${name}: ${float(name)} against ${expected}`);
      }
      assert.equal(data.readUInt8(at("detection")), slot);
      assert.equal(data.readUInt8(at("quality")), kQuality[d.quality_aggregated]);
      assert.equal(data.readUInt8(at("mode")), kMode[d.mode]);
      assert.equal(data.readUInt8(at("is_dynamic")), d.is_dynamic ? 1 : 0);
      ++points;
    });
  });
  assert.ok(points > 0, "the clouds hold points");

  // Statuses: the JSON line's fields, and the time as a foxglove time.
  statuses.forEach((status, i) => {
    const message = byTopic["/fsrl/status"][i];
    assert.equal(message.logTime, nanoseconds(status.t));
    const body = message.body;
    assert.equal(BigInt(body.timestamp.sec) * 1000000000n + BigInt(body.timestamp.nsec), nanoseconds(status.t));
    assert.equal(body.scan_id, Number(status.scan_id));
    for (const key of ["azimuth_alignment_error", "elevation_alignment_error", "flr_temperature"]) {
      assert.ok(Object.is(Math.fround(body[key]), f32(status[key])), `status ${i} ${key}`);
    }
    for (const key of ["blockage", "interference", "calibration_status", "fault_reason", "is_sensor_status_on",
      "is_transmission_activated", "is_system_failing", "is_time_sync_ok"]) {
      assert.deepEqual(body[key], status[key], `status ${i} ${key}`);
    }
  });
  assert.ok(statuses.some((s) => s.fault_reason.is_communication_faulty), "a lost-communication status in the run");

  // The transforms: vehicle to radar, at the scan that brought the mounting.
  mountings.forEach(({ t, m }, i) => {
    const message = byTopic["/tf"][i];
    assert.equal(message.logTime, nanoseconds(t));
    const tf = message.body;
    assert.equal(tf.parent_frame_id, "vehicle");
    assert.equal(tf.child_frame_id, "fsrl_radar");
    assert.ok(Object.is(Math.fround(tf.translation.x), f32(m.x_offset)));
    assert.ok(Object.is(Math.fround(tf.translation.y), f32(m.y_offset)));
    const yaw = 2 * Math.atan2(tf.rotation.z, tf.rotation.w);
    assert.ok(Math.abs(yaw - f32(m.phi_offset)) < 1e-12, `yaw ${yaw} against ${m.phi_offset}`);
  });

  // 4. Seeking: a window in the middle of the run gives exactly the messages of that window.
  const from = nanoseconds(scans[Math.floor(scans.length / 3)].t);
  const to = nanoseconds(scans[Math.floor((2 * scans.length) / 3)].t);
  let seen = 0;
  for await (const message of reader.readMessages({ topics: ["/fsrl/detections"], startTime: from, endTime: to })) {
    assert.ok(message.logTime >= from && message.logTime <= to);
    ++seen;
  }
  assert.equal(seen, scans.filter((scan) => nanoseconds(scan.t) >= from && nanoseconds(scan.t) <= to).length);

  console.log(`${mcapPath}: ${counts.Chunk} chunk(s) (${compression || "uncompressed"}), ${stats.messageCount} messages, ` +
    `${points} points checked against ${jsonlPath}`);
}

main().catch((error) => {
  console.error(`${mcapPath}: ${error.stack ?? error}`);
  process.exit(1);
});
