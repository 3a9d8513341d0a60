// A client generated from the description, as a user would make one: logs in and lists the VLANs.
import assert from "node:assert/strict";
import { test } from "node:test";
import createClient from "openapi-fetch";
import type { paths } from "./generated/api.d.ts";
import { startEngine } from "./engine.mjs";

test("a generated client logs in and lists the VLANs", async (t) => {
  const engine = await startEngine();
  t.after(() => engine.stop());
  const client = createClient<paths>({ baseUrl: engine.url });
  const logIn = async (password: string) => {
    const answer = await client.POST("/login", {
      params: { query: { format: "json" } },
      body: { user: "admin", password },
      headers: { "Content-Type": "application/x-www-form-urlencoded" },
      bodySerializer: (body: Record<string, string>) => new URLSearchParams(body),
    });
    return (answer.data as Exclude<typeof answer.data, string | undefined>).result;
  };

  assert.equal((await logIn("wrong")).rlt_mesg, "Authentication failed.");
  const login = await logIn("admin");
  const key = login.rlt_code === 0 ? login.rlt_data?.sessionKey : undefined;
  assert.match(key ?? "", /^[0-9a-f]{32}$/);

  // The session key is a security scheme, so it is no parameter of the operations.
  client.use({
    onRequest({ request }) {
      const url = new URL(request.url);
      url.searchParams.set("sessionkey", key ?? "");
      return new Request(url, request);
    },
  });
  const created = await client.POST("/vlans/{vlanId}", {
    params: { path: { vlanId: 10 }, query: { format: "json" } },
  });
  assert.equal(
    (created.data as Exclude<typeof created.data, string | undefined>).result.rlt_mesg,
    "Create VLAN 10 successfully.",
  );
  const list = await client.GET("/vlans", { params: { query: { format: "json" } } });
  const vlans = list.data as Exclude<typeof list.data, string | undefined>;
  assert.equal(vlans.result.rlt_code, 0);
  assert.deepEqual(vlans.result.rlt_code === 0 && vlans.result.rlt_data.vlans, {
    1: { id: 1 },
    2: { id: 10 },
  });
});
