"use strict";
// Shows what /data tells of the switch that the address names, again and again while it is visible.

const $ = (id) => document.getElementById(id);
const WIDTH = 100, HEIGHT = 44;
const FAST = 1e10;
const NOT_THERE = ["None", "Not present", "Not applicable"];
const WORKING = ["Operational", "Powering", "Normal"];
let chosen = 1, names = [];

function element(tag, properties = {}, ...children) {
  const made = Object.assign(document.createElement(tag), properties);
  made.append(...children);
  return made;
}

// Puts children in the place of the old ones; what had the focus has it again.
function fill(id, children) {
  const focus = document.activeElement?.dataset?.key;
  $(id).replaceChildren(...children);
  if (focus && !document.activeElement?.dataset?.key)
    $(id).querySelector(`[data-key="${focus}"]`)?.focus({ preventScroll: true });
}

function bits(value) {
  for (const prefix of ["", "k", "M", "G"]) {
    if (value < 1000) return `${value < 10 ? value.toFixed(1) : Math.round(value)} ${prefix}bit/s`;
    value /= 1000;
  }
  return `${Math.round(value)} Tbit/s`;
}

function latest(port) {
  return port.history.at(-1) ?? { rx: 0, tx: 0, rx_errors: 0, tx_errors: 0 };
}

function portClass(port) {
  if (!port.enabled) return "port off";
  if (port.link !== "up") return "port";
  const now = latest(port);
  // More than one frame in a hundred with an error is shown; frames are taken as 500 bytes.
  if (now.rx_errors + now.tx_errors > Math.max(1, (now.rx + now.tx) / 500 / 100)) return "port errors";
  return port.bits >= FAST ? "port up fast" : "port up";
}

function portText(port) {
  const state = !port.enabled ? "switched off" : port.link === "up" ? "link" : "no link";
  const now = latest(port);
  const text = [`port ${port.number} (${port.name})`, state, port.speed, `VLAN ${port.pvid}`];
  if (port.description) text.push(port.description);
  if (port.link === "up") text.push(`received ${bits(now.rx * 8)}`, `sent ${bits(now.tx * 8)}`,
    `${Math.round(now.rx_errors + now.tx_errors)} errors/s`);
  return text.join(", ");
}

function showPanel(ports) {
  fill("panel", ports.map((port) => {
    const button = element("button", { type: "button", className: portClass(port), textContent: port.number });
    button.dataset.key = `port-${port.number}`;
    button.setAttribute("aria-label", portText(port));
    button.setAttribute("aria-pressed", port.number === chosen);
    button.tabIndex = port.number === chosen ? 0 : -1;
    const choose = () => { chosen = port.number; markChosen(ports); };
    button.addEventListener("click", choose);
    button.addEventListener("focus", choose);
    return button;
  }));
  markChosen(ports);
}

function markChosen(ports) {
  for (const button of $("panel").children) {
    const is = button.dataset.key === `port-${chosen}`;
    button.setAttribute("aria-pressed", is);
    button.tabIndex = is ? 0 : -1;
  }
  const port = ports.find((one) => one.number === chosen);
  $("port").textContent = port ? portText(port) : "";
}

$("panel").addEventListener("keydown", (event) => {
  const buttons = [...$("panel").children], at = buttons.indexOf(document.activeElement);
  const columns = buttons.filter((one) => one.offsetTop === buttons[0].offsetTop).length;
  const step = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: columns, ArrowUp: -columns,
    Home: -at, End: buttons.length - 1 - at }[event.key];
  if (step === undefined || at < 0) return;
  event.preventDefault();
  buttons[Math.min(Math.max(at + step, 0), buttons.length - 1)].focus();
});

function curve(history, direction, highest) {
  const path = document.createElementNS("http://www.w3.org/2000/svg", "path");
  const step = WIDTH / Math.max(1, history.length - 1);
  const points = history.map((one, i) => `${(i * step).toFixed(1)} ${(HEIGHT - 2 - (HEIGHT - 4) * one[direction] / highest).toFixed(1)}`);
  path.setAttribute("d", points.length > 1 ? `M${points.join("L")}` : "");
  path.setAttribute("class", direction);
  return path;
}

function showRates(ports) {
  const moving = ports.filter((port) => port.history.some((one) => one.rx || one.tx));
  fill("rates", moving.map((port) => {
    const highest = Math.max(...port.history.flatMap((one) => [one.rx, one.tx]), 1), now = latest(port);
    const drawing = document.createElementNS("http://www.w3.org/2000/svg", "svg");
    drawing.setAttribute("viewBox", `0 0 ${WIDTH} ${HEIGHT}`);
    drawing.setAttribute("preserveAspectRatio", "none");
    drawing.setAttribute("role", "img");
    drawing.setAttribute("aria-label", `port ${port.number}, at most ${bits(highest * 8)}`);
    drawing.append(curve(port.history, "rx", highest), curve(port.history, "tx", highest));
    return element("div", { className: "curve" }, element("b", { textContent: `Port ${port.number}` }), drawing,
      element("div", { className: "rx", textContent: bits(now.rx * 8) }),
      element("div", { className: "tx", textContent: bits(now.tx * 8) }));
  }));
  if (!moving.length) $("rates").textContent = "Nothing moves yet.";
}

function box(title, value, state) {
  const kind = NOT_THERE.includes(state) ? "not-there" : WORKING.includes(state) ? "" : "bad";
  return element("div", { className: `box ${kind}` }, title, element("b", { textContent: value }), state);
}

function showBoxes(boxes) {
  fill("boxes", [
    ...boxes.temp_sensors.map((one) => box(one.description, `${one.temperature} °C`, one.state)),
    ...boxes.fans.map((one, i) => box(`Fan ${i + 1}`, one.speed === "-" ? "-" : `${one.speed} rpm`, one.state)),
    ...boxes.power_supplies.map((one, i) => box(`Power supply ${i + 1}`, one.type, one.state)),
    ...boxes.sfp_transceivers.map((one) => box(`Transceiver ${one.port}`, one.module_type, one.compliance)),
  ]);
  for (const one of $("boxes").children) // a transceiver has no state
    if (one.textContent.startsWith("Transceiver")) one.classList.remove("bad");
}

function showVlans(vlans, ports) {
  const head = element("tr", {}, element("th", { textContent: "VLAN" }),
    ...ports.map((port) => element("th", { scope: "col", textContent: port.number })));
  const rows = vlans.map((vlan) => element("tr", {},
    element("th", { scope: "row", textContent: `${vlan.id} ${vlan.name}` }),
    ...ports.map((port) => {
      const tagged = vlan.members[port.number];
      const mode = tagged === undefined ? "" : tagged ? "t" : "u";
      return element("td", { className: mode + (mode && port.pvid === vlan.id ? " pvid" : ""), textContent: mode });
    })));
  fill("vlans", [element("thead", {}, head), element("tbody", {}, ...rows)]);
}

function showNeighbors(neighbors) {
  fill("bgp", neighbors.map((one) => one.asn === null
    ? box(one.address, "not configured", "Failed")
    : box(one.address, `AS ${one.asn}`, one.activate ? "Operational" : "Failed")));
  for (const [i, one] of neighbors.entries()) {
    const state = one.asn === null ? "unknown to the switch" : one.activate ? `active, source ${one.update_source}` : "not active";
    $("bgp").children[i].lastChild.textContent = state;
  }
  if (!neighbors.length) $("bgp").textContent = "None is named: switchctl web --neighbor ADDRESS.";
}

function show(data) {
  const failed = data.error !== undefined;
  $("name").textContent = document.title = failed ? data.name : data.system.hostname;
  $("state").textContent = failed ? data.error : `as of ${data.at}`;
  $("state").className = failed ? "failed" : "";
  if (failed) return;
  $("identity").textContent = `${data.name}: ${data.identity.product_type}, serial number ${data.identity.sn}`;
  showPanel(data.ports);
  showRates(data.ports);
  showBoxes(data.boxes);
  showVlans(data.vlans, data.ports);
  showNeighbors(data.neighbors);
}

function current() {
  const named = decodeURIComponent(location.hash.slice(1));
  return names.includes(named) ? named : names[0];
}

function showNames() {
  if (names.length < 2) return;
  fill("switches", names.map((name) => {
    const link = element("a", { href: `#${encodeURIComponent(name)}`, textContent: name });
    if (name === current()) link.setAttribute("aria-current", "page");
    return link;
  }));
}

let waiting;
async function update() {
  clearTimeout(waiting);
  let pause = 5;
  const name = current();
  try {
    const data = await (await fetch(`data/${encodeURIComponent(name)}`)).json();
    if (name === current()) show(data);
    pause = data.interval ?? pause;
  } catch {
    $("state").textContent = "switchctl web does not answer any more";
    $("state").className = "failed";
  }
  clearTimeout(waiting);
  if (!document.hidden) waiting = setTimeout(update, pause * 1000);
}

async function start() {
  names = await (await fetch("switches")).json();
  showNames();
  addEventListener("hashchange", () => { showNames(); update(); });
  document.addEventListener("visibilitychange", () => document.hidden || update());
  update();
}
start();
