// The description itself; tests/clients/test_contract.py holds the engine's answers against it.
import assert from "node:assert/strict";
import { test } from "node:test";
import { Validator } from "@seriousme/openapi-schema-validator";
import { description, operations } from "./engine.mjs";

test("the description is valid OpenAPI 3.1", async () => {
  const { valid, errors } = await new Validator().validate(structuredClone(description));
  assert.ok(valid, JSON.stringify(errors));
  assert.equal(operations.length, 146);
});
