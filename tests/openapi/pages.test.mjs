// The help pages and the reference page in a real browser.
import assert from "node:assert/strict";
import { existsSync } from "node:fs";
import { test } from "node:test";
import { chromium } from "playwright-core";
import { description, operations, startEngine } from "./engine.mjs";

const executablePath = process.env.CHROMIUM ?? "/usr/bin/chromium";
const skip = existsSync(executablePath) ? false : `no ${executablePath} here`;
const referencePage = new URL("../../docs/api.html", import.meta.url).href;

// A page whose errors, failed requests and requested addresses are collected.
async function openBrowser(t) {
  const browser = await chromium.launch({ executablePath, args: ["--no-sandbox"] });
  t.after(() => browser.close());
  const page = await browser.newPage({ viewport: { width: 1280, height: 900 } });
  const trouble = [];
  const requested = [];
  page.on("console", (message) => message.type() === "error" && trouble.push(message.text()));
  page.on("pageerror", (error) => trouble.push(error.message));
  page.on("requestfailed", (request) => trouble.push(`failed: ${request.url()}`));
  page.on("request", (request) => requested.push(request.url()));
  return { page, trouble, requested };
}

test("the help pages, from the list of modules to each module", { skip }, async (t) => {
  const engine = await startEngine();
  t.after(() => engine.stop());
  const { page, trouble } = await openBrowser(t);
  await page.goto(`${engine.url}/help?format=html`);
  assert.equal(await page.locator("h1").innerText(), "RESTful API Help Document");
  assert.equal(await page.locator("h2").innerText(), "Module List");
  assert.deepEqual(await page.locator("th").allInnerTexts(), ["Module Name", "Module Description"]);
  const links = await page.locator("td a").allInnerTexts();
  assert.deepEqual(
    links,
    description.tags.map((tag) => tag.name),
  );

  for (const { name, description: text } of description.tags) {
    await page.getByRole("link", { name, exact: true }).click();
    await page.waitForURL(`**/help/${name}?format=html`);
    assert.equal(await page.locator("h2").innerText(), `API List of Module [${name}]: ${text}`);
    assert.equal(await page.locator("th").count(), 5);
    const documented = operations.filter(({ operation }) => operation.tags[0] === name);
    const methods = await page.locator("td.api_method").allInnerTexts();
    const paths = await page.locator("td.api_uri").allInnerTexts();
    assert.deepEqual(
      methods.map((method, i) => `${method.trim().toLowerCase()} ${paths[i].trim()}`).sort(),
      documented.map(({ path, method }) => `${method} ${path}`).sort(),
    );
    assert.equal(await page.locator("td.api_param > ul").count(), documented.length);
    assert.equal(await page.locator("td.api_param > ul:not(:has(li))").count(), 0);
    await page.goBack();
  }
  assert.deepEqual(trouble, []);
});

test("the reference page needs no network and can be searched", { skip }, async (t) => {
  const { page, trouble, requested } = await openBrowser(t);
  await page.goto(referencePage);
  assert.equal(await page.locator("article").count(), operations.length);
  await page.getByLabel("Search").fill("/vlans/{vlanId}/name");
  assert.equal(await page.locator("article:visible").count(), 1);
  assert.equal(await page.locator("article:visible h3").innerText(), "Update VLAN Name");
  await page.getByLabel("Search").fill("");
  await page.getByRole("navigation").getByRole("link", { name: /^tcam/ }).click();
  assert.ok(await page.locator("h2#tcam").isVisible());
  assert.deepEqual(requested, [referencePage]);
  assert.deepEqual(trouble, []);
});
