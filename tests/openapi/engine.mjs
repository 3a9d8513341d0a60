// A running engine on the simulated switch, on two ports of its own, in a folder of its own.
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { once } from "node:events";
import * as fs from "node:fs";
import { createServer } from "node:http";
import { fileURLToPath } from "node:url";

const KEEPER = fileURLToPath(new URL("../clients/engines.py", import.meta.url));

export async function waitFor(what, condition) {
  const limit = Date.now() + 30000;
  for (;;) {
    const value = await condition();
    if (value !== undefined) return value;
    if (Date.now() > limit) throw new Error(`${what}: not within 30 seconds`);
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
}

// It runs until its keeper's input ends; the keeper then fails if the engine has ended or complained.
export async function startEngine() {
  const keeper = spawn("python3", [KEEPER], { stdio: ["pipe", "pipe", "inherit"] });
  const [url] = await once(keeper.stdout, "data");
  return {
    url: String(url).trim(),
    stop: async () => {
      keeper.stdin.end();
      assert.deepEqual(await once(keeper, "exit"), [0, null]);
    },
  };
}

// A server that the switch can fetch files from and send them to: each file is one line of a script.
export async function startFileServer() {
  const server = createServer((request, response) => {
    request.resume();
    request.on("end", () => response.end("hostname switch1\n"));
  });
  await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
  return {
    url: `http://127.0.0.1:${server.address().port}`,
    stop: () => new Promise((resolve) => server.close(resolve).closeAllConnections()),
  };
}

export const description = JSON.parse(
  fs.readFileSync(new URL("../../docs/openapi.json", import.meta.url), "utf8"),
);

// All operations of the description: { path, method, operation }.
export const operations = Object.entries(description.paths).flatMap(([path, item]) =>
  Object.entries(item).map(([method, operation]) => ({ path, method, operation })),
);
