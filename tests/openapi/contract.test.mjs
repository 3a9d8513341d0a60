// Drives every documented operation of a running engine with the values that the description gives
// as examples, and holds each answer against the description.
import assert from "node:assert/strict";
import { test } from "node:test";
import { Validator } from "@seriousme/openapi-schema-validator";
import Ajv2020 from "ajv/dist/2020.js";
import { XMLParser, XMLValidator } from "fast-xml-parser";
import { description, operations, startEngine, startFileServer, waitFor } from "./engine.mjs";

// Results that hold names no XML element can have: "prefix/prefix_length" and CPU periods.
const NOT_XML = [
  "/if/{ifNum}",
  "/routing/if",
  "/routing/vlanRtrIf",
  "/routing/vlanRtrIf/{logicalInterfaceId}",
  "/process/cpu",
];

const ajv = new Ajv2020({ strict: false, allErrors: true });
ajv.addSchema(description, "api");
const pointer = (text) => encodeURIComponent(text.replaceAll("~", "~0").replaceAll("/", "~1"));
const answerSchema = ({ path, method }) =>
  ajv.compile({
    $ref: `api#/paths/${pointer(path)}/${method}/responses/200/content/${pointer("application/json")}/schema`,
  });

// What the examples of an operation make as a request.
function exampleRequest({ path, method, operation }, format, key) {
  const query = new URLSearchParams({ format });
  if (key) query.set("sessionkey", key);
  for (const parameter of operation.parameters) {
    if (parameter.$ref || parameter.name === "format") continue;
    const example = parameter.schema.examples[0];
    if (parameter.in === "path")
      path = path.replace(`{${parameter.name}}`, encodeURIComponent(example));
    else query.set(parameter.name, example);
  }
  const form =
    operation.requestBody?.content["application/x-www-form-urlencoded"].schema.properties;
  const body =
    form &&
    new URLSearchParams(
      Object.entries(form)
        .filter(([, schema]) => schema.examples)
        .map(([name, schema]) => [name, schema.examples[0]]),
    );
  return { path: `${path}?${query}`, init: { method: method.toUpperCase(), body } };
}

async function send(engine, request) {
  const response = await fetch(engine.url + request.path, request.init);
  assert.equal(response.status, 200);
  return { type: response.headers.get("content-type"), text: await response.text() };
}

async function logIn(engine) {
  const login = operations.find(({ path, method }) => path === "/login" && method === "post");
  const answer = await send(engine, exampleRequest(login, "json"));
  return JSON.parse(answer.text).result.rlt_data.sessionKey;
}

// What others hang on comes first and goes last: VLANs, their routing interfaces, a downloaded
// script; the session ends at the very end.
function inOrderOfUse(list) {
  const rank = ({ path, method }) => {
    const bases = [/^\/vlans/, /^\/routing\/vlanRtrIf$/, /^(?!\/script)/];
    const base = bases.findIndex((pattern) => pattern.test(path));
    const depth = (base < 0 ? bases.length : base) * 10 + path.split("/").length;
    switch (method) {
      case "post":
        return depth;
      case "put":
        return 100 + depth;
      case "get":
        return 200 + depth;
      default:
        return (path === "/login" ? 500 : 400) - depth;
    }
  };
  return [...list].sort((a, b) => rank(a) - rank(b));
}

const isTransfer = ({ path, method }) => method === "post" && /^\/(down|up)load\//.test(path);

// Waits for the transfer that runs, as only one can.
async function transferEnds(engine, key, direction) {
  const status = operations.find(({ path }) => path === `/${direction}/status`);
  return waitFor("the end of a transfer", async () => {
    const answer = await send(engine, exampleRequest(status, "json", key));
    const text = JSON.parse(answer.text).result.rlt_data.information.status;
    return text.includes("in progress") ? undefined : text;
  });
}

// Every operation once, on an engine of its own: "method path" to the code it answered.
async function driveAll(t, format, check) {
  const engine = await startEngine();
  t.after(() => engine.stop());
  const files = await startFileServer();
  t.after(() => files.stop());
  const key = await logIn(engine);
  const codes = new Map();
  for (const entry of inOrderOfUse(operations)) {
    const name = `${entry.method} ${entry.path}`;
    const needsSession = !entry.operation.security;
    const request = exampleRequest(entry, format, needsSession ? key : undefined);
    // The server of the examples is nowhere; its files are here.
    const url = request.init.body?.get("url");
    if (url) request.init.body.set("url", files.url + new URL(url).pathname);
    codes.set(name, check(name, entry, await send(engine, request)));
    if (isTransfer(entry))
      assert.match(await transferEnds(engine, key, entry.path.split("/")[1]), /success/, name);
  }
  return codes;
}

function checkJson(name, entry, { type, text }) {
  assert.equal(type, "application/json; charset=utf-8", name);
  const answer = JSON.parse(text);
  const validate = answerSchema(entry);
  assert.ok(validate(answer), `${name} answers ${text}${ajv.errorsText(validate.errors)}`);
  return answer.result.rlt_code;
}

function checkXml(name, { path }, { type, text }) {
  assert.equal(type, "text/xml; charset=utf-8", name);
  const code = /^<result><rlt_code>(\d+)<\/rlt_code><rlt_mesg>[^<]+<\/rlt_mesg>/.exec(text)?.[1];
  assert.ok(code, `${name} answers ${text}`);
  if (!NOT_XML.includes(path)) {
    assert.equal(XMLValidator.validate(text), true, `${name} answers ${text}`);
    assert.deepEqual(Object.keys(new XMLParser().parse(text)), ["result"]);
  }
  return Number(code);
}

test("the description is valid OpenAPI 3.1", async () => {
  const { valid, errors } = await new Validator().validate(structuredClone(description));
  assert.ok(valid, JSON.stringify(errors));
  assert.equal(operations.length, 146);
});

test("every operation answers as described", async (t) => {
  const json = await driveAll(t, "json", checkJson);
  const failed = [...json].filter(([name, code]) => {
    const { operation } = operations.find((o) => `${o.method} ${o.path}` === name);
    return code !== 0 && !operation.deprecated;
  });
  // The example of the PVID is the VLAN that the interface is then taken out of.
  assert.deepEqual(failed, [["delete /if/{ifNum}/vlan/{vlanId}", 1]]);
  const xml = await driveAll(t, "xml", checkXml);
  assert.deepEqual(xml, json);
});
