// The real executable with a data folder of its own, and an opener that does nothing, so that no
// browser window opens beside the one of the test.

import { spawn } from "node:child_process";
import { once } from "node:events";
import { chmodSync, mkdirSync, mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";

// Gives its folder, the page's address, and end(), which ends it and removes the folder.
// environment: variables beside the usual ones.
export async function start_program(executable, first_port, environment = {}) {
  if (!executable) throw new Error("TVN_PROGRAM must name the executable");
  const folder = mkdtempSync(join(tmpdir(), "tvn-program-"));
  const tools = join(folder, "bin");
  mkdirSync(tools);
  for (const opener of ["xdg-open", "open"]) {
    writeFileSync(join(tools, opener), "#!/bin/sh\nexit 0\n");
    chmodSync(join(tools, opener), 0o755);
  }
  const env = { ...process.env, HOME: folder, TVN_DATA: join(folder, "data"),
                PATH: tools + ":" + process.env.PATH, ...environment };
  delete env.TVN_BASE;
  const program = spawn(executable, [String(first_port)],
                        { env, stdio: ["ignore", "pipe", "inherit"] });
  const [, address] = await printed(program,
                                    /Open your browser at: {2}(http:\/\/127\.0\.0\.1:\d+\/)/);
  const end = async () => {
    // It takes leave of its strap, and notes that in a log below the folder, before it is gone.
    const gone = once(program, "exit");
    program.kill();
    await gone;
    rmSync(folder, { recursive: true, force: true });
  };
  return { folder, address, end };
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
