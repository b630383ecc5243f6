// The real executable with a data folder of its own, and an xdg-open that does nothing, so that no
// browser window opens beside the one of the test.

import { spawn } from "node:child_process";
import { chmodSync, mkdirSync, mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";

// Gives the process, its folder, the page's address, and what removes the folder afterwards.
// environment: variables beside the usual ones.
export async function start_program(executable, first_port, environment = {}) {
  if (!executable) throw new Error("TVN_PROGRAM must name the executable");
  const folder = mkdtempSync(join(tmpdir(), "tvn-program-"));
  const tools = join(folder, "bin");
  mkdirSync(tools);
  writeFileSync(join(tools, "xdg-open"), "#!/bin/sh\nexit 0\n");
  chmodSync(join(tools, "xdg-open"), 0o755);
  const env = { ...process.env, HOME: folder, TVN_DATA: join(folder, "data"),
                PATH: tools + ":" + process.env.PATH, ...environment };
  delete env.TVN_BASE;
  const program = spawn(executable, [String(first_port)],
                        { env, stdio: ["ignore", "pipe", "inherit"] });
  const [, address] = await printed(program,
                                    /Open your browser at: {2}(http:\/\/127\.0\.0\.1:\d+\/)/);
  return { program, folder, address,
           remove: () => rmSync(folder, { recursive: true, force: true }) };
}

// The match of what a child process prints, once it is there.
export function printed(child, pattern) {
  return new Promise((found, failed) => {
    let text = "";
    child.stdout.on("data", (chunk) => {
      text += chunk;
      const match = text.match(pattern);
      if (match) found(match);
    });
    child.on("exit", (code) => failed(new Error(`it ended (${code}): ${text}`)));
    child.on("error", failed);
  });
}
