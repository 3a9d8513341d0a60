// A running engine on the simulated switch, on two ports of its own, in a folder of its own.
import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { once } from "node:events";
import * as fs from "node:fs";
import { fileURLToPath } from "node:url";

const KEEPER = fileURLToPath(new URL("../clients/engines.py", import.meta.url));

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

export const description = JSON.parse(
  fs.readFileSync(new URL("../../docs/openapi.json", import.meta.url), "utf8"),
);

// All operations of the description: { path, method, operation }.
export const operations = Object.entries(description.paths).flatMap(([path, item]) =>
  Object.entries(item).map(([method, operation]) => ({ path, method, operation })),
);
