// A stand-in for the program: it serves the assembled page, answers every route as a test's
// script says, records what the page asked for, and sends the snapshots that a test pushes.

import { existsSync, readFileSync } from "node:fs";
import { createServer } from "node:http";
import { join } from "node:path";
import { fileURLToPath } from "node:url";

const ASSETS = fileURLToPath(new URL("../../assets", import.meta.url));

// What the program answers when nothing has happened yet, with the work of later jobs refused.
export const IDLE_REPLIES = {
  "/status": () => IDLE,
  "/batch_status": { status: "idle", total: 0, done: 0, msg: "" },
  "/recordings": { saved: [], samples: ["Sample 1.txt", "Sample 2.txt"] },
  "/bt_available": { available: false },
  "/start_replay": { ok: true },
  "/start_live": { ok: true },
  "/stop": { ok: true },
  "/seek": { ok: true },
  "/mark": { ok: true },
};

// A snapshot as the status route gives it, part way through a replay with the 16 s cycle.
export function snapshot(changes = {}) {
  return {
    mode: "replay", running: true, name_id: "", source_label: "Sample 1.txt", bt_status: "",
    elapsed: 10, total: 257.2, frac: 0.0389, cycles_done: 0.63, cycles_target: 16, hr: null,
    tvn: null, rr_count: 0, ecg: [], hr_series: [], tvn_series: [], indur: 5, outdur: 11,
    cycle_seconds: 16, expected_freq: 0.0625, sex: "M", age: 40, tfr_status: "idle",
    saved_as: null, export_status: "idle", markers: [], app_version: "1.0.0", ...changes,
  };
}

// The snapshot of a program that was just started.
export const IDLE = snapshot({ mode: "idle", running: false, source_label: "", elapsed: 0,
                               total: 256, frac: 0, cycles_done: 0 });

// Starts the server on a free port. The result:
//   address          where the page is
//   replies          path -> object (sent as JSON), text (sent as it is), null (the connection is
//                    cut), or function (request) -> one of them or a promise of it
//   status           path -> status number, 200 when absent
//   requests         every request for a JSON route, in order: { path, url, query, method, body }
//   push(snapshot)   sends an event to every open stream; a text is sent as it is
//   streams()        how many streams are open
//   refuse_streams   true: a stream is answered with status 503
//   close()          ends it and cuts every connection
//   reopen()         serves again at the same address
export async function start_scripted_server(page_file) {
  const streams = new Set();
  const server = { replies: { ...IDLE_REPLIES }, status: {}, requests: [], unknown: [] };
  const http = createServer(async (request, response) => {
    const url = new URL(request.url, "http://127.0.0.1");
    if (send_file(url.pathname, response, page_file)) return;
    if (url.pathname === "/stream") {
      if (server.refuse_streams) response.writeHead(503).end();
      else open_stream(response, streams);
      return;
    }
    const chunks = [];
    for await (const chunk of request) chunks.push(chunk);
    const record = { path: url.pathname, url: request.url, query: url.searchParams,
                     method: request.method, body: Buffer.concat(chunks) };
    server.requests.push(record);
    send_reply(server, record, response);
  });
  await new Promise((listening) => http.listen(0, "127.0.0.1", listening));
  const { port } = http.address();
  server.address = `http://127.0.0.1:${port}/`;
  server.reopen = () => new Promise((listening) => http.listen(port, "127.0.0.1", listening));
  server.streams = () => streams.size;
  server.push = (event) => {
    const text = typeof event === "string" ? event : JSON.stringify(event);
    for (const stream of streams) stream.write(`data: ${text}\n\n`);
  };
  server.close = () => new Promise((closed) => {
    http.close(() => closed());
    http.closeAllConnections();
  });
  return server;
}

function open_stream(response, streams) {
  response.writeHead(200, { "Content-Type": "text/event-stream", "Cache-Control": "no-cache" });
  // A browser waits 3 s before it asks again; tests need not.
  response.write("retry: 100\n\n");
  streams.add(response);
  response.on("close", () => streams.delete(response));
}

async function send_reply(server, record, response) {
  let reply = server.replies[record.path];
  if (typeof reply === "function") reply = await reply(record);
  if (reply === null) {
    response.destroy();
  } else if (reply === undefined) {
    server.unknown.push(record.path);
    response.writeHead(404).end();
  } else {
    response.writeHead(server.status[record.path] ?? 200, { "Content-Type": "application/json" });
    response.end(typeof reply === "string" ? reply : JSON.stringify(reply));
  }
}

function send_file(path, response, page_file) {
  const files = {
    "/": () => ["text/html; charset=utf-8", readFileSync(page_file)],
    "/ball.png": () => ["image/png", asset("ball.png", one_pixel_png)],
    "/piano.wav": () => ["audio/wav", asset("piano.wav", short_wav)],
  };
  if (!files[path]) return false;
  const [type, content] = files[path]();
  response.writeHead(200, { "Content-Type": type, "Cache-Control": "no-store" }).end(content);
  return true;
}

function asset(name, otherwise) {
  const file = join(ASSETS, name);
  return existsSync(file) ? readFileSync(file) : otherwise();
}

function one_pixel_png() {
  return Buffer.from("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwAD" +
    "hgGAWjR9awAAAABJRU5ErkJggg==", "base64");
}

// 0.05 s of silence, 16-bit mono.
function short_wav() {
  const samples = 2205;
  const wav = Buffer.alloc(44 + 2 * samples);
  wav.write("RIFF", 0);
  wav.writeUInt32LE(36 + 2 * samples, 4);
  wav.write("WAVEfmt ", 8);
  wav.writeUInt32LE(16, 16);
  wav.writeUInt16LE(1, 20);
  wav.writeUInt16LE(1, 22);
  wav.writeUInt32LE(44100, 24);
  wav.writeUInt32LE(88200, 28);
  wav.writeUInt16LE(2, 32);
  wav.writeUInt16LE(16, 34);
  wav.write("data", 36);
  wav.writeUInt32LE(2 * samples, 40);
  return wav;
}
