// A running engine on the simulated switch, on two ports of its own, in a folder of its own.
import { execFileSync, spawn } from "node:child_process";
import * as fs from "node:fs";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";

// One PEM file with the key and the certificate.
function makeCertificate(folder) {
  const options =
    "-x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj /CN=localhost";
  const pem = execFileSync("openssl", ["req", ...options.split(" "), "-keyout", "-"], {
    stdio: ["ignore", "pipe", "ignore"],
  });
  fs.writeFileSync(join(folder, "ssl.pem"), pem);
}

// The port that the process opened first: plain HTTP comes before HTTPS. Undefined before both are.
function httpPort(pid) {
  const table = execFileSync("ss", ["-Hltnp"], { encoding: "utf8" });
  const own = new RegExp(`:(\\d+) .*pid=${pid},fd=(\\d+)\\)`, "g");
  const ports = [...table.matchAll(own)].sort((a, b) => a[2] - b[2]).map((found) => found[1]);
  return ports.length === 2 ? ports[0] : undefined;
}

async function waitFor(what, condition) {
  const limit = Date.now() + 30000;
  for (;;) {
    const value = await condition();
    if (value !== undefined) return value;
    if (Date.now() > limit) throw new Error(`${what}: not within 30 seconds`);
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
}

export async function startEngine() {
  const folder = fs.mkdtempSync(join(tmpdir(), "engine-"));
  makeCertificate(folder);
  fs.mkdirSync(join(folder, "user-apps"));
  const child = spawn(process.env.ENGINE, { cwd: folder, stdio: ["ignore", "ignore", "pipe"] });
  let errors = "";
  child.stderr.on("data", (text) => (errors += text));
  const ended = new Promise((resolve) => child.on("exit", resolve));
  const port = await waitFor("the engine's ports", () => {
    if (child.exitCode !== null) throw new Error(`the engine ended: ${errors}`);
    return httpPort(child.pid);
  });
  return {
    url: `http://127.0.0.1:${port}`,
    isRunning: () => child.exitCode === null && child.signalCode === null,
    errors: () => errors,
    stop: async () => {
      child.kill();
      await ended;
      fs.rmSync(folder, { recursive: true });
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

export { waitFor };

export const description = JSON.parse(
  fs.readFileSync(new URL("../../docs/openapi.json", import.meta.url), "utf8"),
);

// All operations of the description: { path, method, operation }.
export const operations = Object.entries(description.paths).flatMap(([path, item]) =>
  Object.entries(item).map(([method, operation]) => ({ path, method, operation })),
);
